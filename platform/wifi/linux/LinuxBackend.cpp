#include "platform/wifi/linux/LinuxBackend.h"

#include "platform/wifi/linux/AccessPointTraits.h"
#include "platform/wifi/linux/Addresses.h"
#include "platform/wifi/linux/BluezClient.h"
#include "platform/wifi/linux/CancelToken.h"
#include "platform/wifi/linux/Channels.h"
#include "platform/wifi/linux/DnsProbe.h"
#include "platform/wifi/linux/HttpProbe.h"
#include "platform/wifi/linux/IcmpEcho.h"
#include "platform/wifi/linux/NetworkManagerClient.h"
#include "platform/wifi/linux/NetworkNames.h"
#include "platform/wifi/linux/PingStatistics.h"
#include "platform/wifi/linux/RouteTable.h"
#include "platform/wifi/linux/SecondHop.h"
#include "platform/wifi/linux/Security.h"
#include "platform/wifi/linux/SignalLevels.h"
#include "platform/wifi/linux/SsidText.h"

#include <QDateTime>
#include <QFile>
#include <QHostAddress>

#include <algorithm>
#include <ctime>
#include <utility>

namespace platform::linuxwifi {

namespace {

const QString kDomain = QStringLiteral("WiFiDiagnostics");

// A handler's way out with a service error; answer() turns it into the request's error.
struct ServiceFailure {
    ErrorRef error;
};

[[noreturn]] void fail(std::int64_t code, const QString& text) {
    throw ServiceFailure{makeError(kDomain, code, text)};
}

TestAnswer verdict(bool result, bool didPass, DictionaryRef info = nullptr) {
    return TestAnswer{DiagnosticsTestResult{result, didPass, std::move(info)}, nullptr};
}

// A problem test: the finding is the result, and passing means no problem found.
TestAnswer finding(bool found, DictionaryRef info = nullptr) {
    return verdict(found, !found, std::move(info));
}

// CLOCK_BOOTTIME in milliseconds, the clock of NetworkManager's LastScan.
std::int64_t bootTimeMs() {
    timespec now{};
    clock_gettime(CLOCK_BOOTTIME, &now);
    return static_cast<std::int64_t>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

AccessPointSecurityFlags securityFlagsOf(const NMAccessPoint& ap) {
    return AccessPointSecurityFlags{ap.flags, ap.wpaFlags, ap.rsnFlags};
}

DictionaryRef securityInfo(const NMAccessPoint& ap) {
    QString problem;
    const auto security = securityOfAccessPoint(securityFlagsOf(ap), &problem);
    if (!security) {
        return Dictionary::make();  // the type cannot be told: the key stays out
    }
    return Dictionary::make(
        {{QStringLiteral("Security"), Value::integer(static_cast<std::int64_t>(*security))}});
}

std::vector<int> frequenciesOf(const std::vector<NMAccessPoint>& scan) {
    std::vector<int> frequencies;
    frequencies.reserve(scan.size());
    for (const NMAccessPoint& ap : scan) {
        frequencies.push_back(static_cast<int>(ap.frequency));
    }
    return frequencies;
}

// The four least crowded channels, under the keys the service gives them.
void putBandChannels(Dictionary& info, const std::vector<NMAccessPoint>& scan) {
    const LeastCrowdedChannels least = leastCrowdedChannels(frequenciesOf(scan));
    info.set(QStringLiteral("2GHzChannel"), Value::record(std::make_shared<WiFiChannel>(least.twoGHz)));
    info.set(QStringLiteral("5GHzChannel"), Value::record(std::make_shared<WiFiChannel>(least.fiveGHz)));
    info.set(QStringLiteral("5GHz40MHzChannel"),
             Value::record(std::make_shared<WiFiChannel>(least.fiveGHz40MHz)));
    info.set(QStringLiteral("5GHzNonDFSChannel"),
             Value::record(std::make_shared<WiFiChannel>(least.fiveGHzNonDfs)));
}

Value scanResultValue(const NMAccessPoint& ap) {
    auto record = std::make_shared<WiFiScanResult>();
    if (!ap.ssid.isEmpty()) {
        record->ssidString = ssidText(ap.ssid);
    }
    record->bssid = ap.hwAddress.toLower();
    record->rssi = dbmFromStrength(ap.strength).value_or(-100);
    if (const auto channel = channelOfFrequency(static_cast<int>(ap.frequency))) {
        record->channel = channel->channel;
    }
    return Value::record(record);
}

// A probe's error that says something about the network (no such name, no answer in time, refused,
// no route), as against one that says the probe could not be made (cancelled, a bad target, the
// system failing): only the first kind is a finding.
bool isNetworkFinding(const ErrorRef& error) {
    static const std::set<std::int64_t> kFindings = {probecode::kNameNotResolved, probecode::kTimedOut,
                                                     probecode::kConnectionRefused, probecode::kUnreachable};
    return error && kFindings.count(error->code) > 0;
}

bool isWifiConnection(const NMConnectionSettings& settings) {
    return settings.isWifi() && settings.hasWireless;
}

std::optional<SecurityType> securityOfSettings(const NMConnectionSettings& settings) {
    SavedSecuritySettings security;
    if (settings.hasWirelessSecurity) {
        security.keyMgmt = settings.keyMgmt;
        security.proto = settings.proto;
        security.pairwise = settings.pairwise;
    }
    return securityOfSavedConnection(security);
}

}  // namespace

struct LinuxBackend::Request {
    std::int64_t testID = 0;
    std::optional<std::int64_t> maxScanCacheAge;  // seconds; absent: any scan NetworkManager has
    std::optional<QString> networkName;           // the selected network, when one is named
    std::shared_ptr<CancelToken> cancel;
    std::int64_t arrivedAtMs = 0;  // CLOCK_BOOTTIME: a scan finished after it is fresh for the request
};

LinuxBackend::LinuxBackend(LinuxBackendOptions options, QObject* context)
    : options_(std::move(options)),
      nm_(std::make_unique<NetworkManagerClient>(options_.bus, options_.callTimeout)),
      bluez_(std::make_unique<BluezClient>(options_.bus, options_.callTimeout)),
      http_(std::make_unique<HttpProbe>()) {
    try {
        power_ = nm_->wirelessEnabled();
    } catch (const DBusReadError& e) {
        if (options_.warn) {
            options_.warn(QStringLiteral("cannot read whether Wi-Fi is on: %1").arg(e.text()));
        }
    }
    watchPower(context);
}

LinuxBackend::~LinuxBackend() {
    cancelAllRequests();
}

void LinuxBackend::watchPower(QObject* context) {
    if (!context) {
        return;
    }
    powerWatcher_ = nm_->watchWirelessEnabled(context, [this](bool enabled) {
        {
            std::lock_guard lock(mutex_);
            if (power_ == enabled) {
                return;
            }
            power_ = enabled;
        }
        notifyWiFiPowerChanged();
    });
}

// ----- the service ----------------------------------------------------------------------------------

const std::map<std::int64_t, LinuxBackend::Handler>& LinuxBackend::handlers() {
    static const std::map<std::int64_t, Handler> table = {
        {14, &LinuxBackend::customIPv4},
        {15, &LinuxBackend::customIPv6},
        {16, &LinuxBackend::customDNS},
        {17, &LinuxBackend::customWebProxy},
        {22, &LinuxBackend::realTimeMode},
        {19, &LinuxBackend::bluetoothConnected},
        {18, &LinuxBackend::bluetoothPaired},
        {20, &LinuxBackend::bluetoothCoex},
        {47, &LinuxBackend::largePNL},
        {48, &LinuxBackend::pnlContainsHidden},
        {29, &LinuxBackend::conflictingSecurityInPNL},
        {8, &LinuxBackend::doubleNAT},
        {34, &LinuxBackend::needsNl80211},
        {35, &LinuxBackend::needsNl80211},
        {45, &LinuxBackend::needsNl80211},
        {36, &LinuxBackend::needsNl80211},
        {37, &LinuxBackend::needsNl80211},
        {33, &LinuxBackend::needsNl80211},
        {27, &LinuxBackend::needsNl80211},
        {28, &LinuxBackend::needsNl80211},
        {38, &LinuxBackend::noSecurity},
        {39, &LinuxBackend::legacyWEP},
        {40, &LinuxBackend::legacyWPA},
        {41, &LinuxBackend::legacyRates},
        {42, &LinuxBackend::ambiguousName},
        {43, &LinuxBackend::hiddenNetwork},
        {44, &LinuxBackend::personalHotspot},
        {46, &LinuxBackend::captivePortal},
        {3, &LinuxBackend::pingLAN},
        {6, &LinuxBackend::pingWAN},
        {12, &LinuxBackend::ipv4Assigned},
        {13, &LinuxBackend::ipv6Assigned},
        {7, &LinuxBackend::resolveDNS},
        {9, &LinuxBackend::reachInternet},
        {11, &LinuxBackend::retrieveInternet},
        {24, &LinuxBackend::congestedChannel},
        {25, &LinuxBackend::congested2GHz},
        {26, &LinuxBackend::congested5GHz},
        {32, &LinuxBackend::poorSignal},
        {30, &LinuxBackend::hiddenScanResults},
        {31, &LinuxBackend::noScanResults},
    };
    return table;
}

DiagnosticsTestResults LinuxBackend::runDiagnosticsTests(const std::vector<DiagnosticsTestRequest>& tests,
                                                         ErrorRef* error, const Arrival& arrived) {
    // The request's cancel token is in place before anyone hears it arrived.
    const auto cancel = std::make_shared<CancelToken>();
    {
        std::lock_guard lock(mutex_);
        running_.insert(cancel);
    }
    if (arrived) {
        arrived();
    }
    std::vector<DiagnosticsTestResultRef> results;
    ErrorRef firstError;
    for (const DiagnosticsTestRequest& test : tests) {
        TestAnswer a = answer(test, cancel);
        if (a.error) {
            firstError = a.error;
            break;
        }
        results.push_back(std::make_shared<const DiagnosticsTestResult>(std::move(*a.result)));
    }
    {
        std::lock_guard lock(mutex_);
        running_.erase(cancel);
    }
    if (error) {
        *error = firstError;
    }
    if (firstError) {
        return std::nullopt;
    }
    return results;
}

TestAnswer LinuxBackend::answer(const DiagnosticsTestRequest& test,
                                const std::shared_ptr<CancelToken>& cancel) {
    const auto handler = handlers().find(test.testID);
    if (handler == handlers().end()) {
        return TestAnswer{std::nullopt, makeError(kDomain, servicecode::kUnknownTest,
                                                  QStringLiteral("no test has ID %1").arg(test.testID))};
    }
    Request request;
    request.testID = test.testID;
    if (test.configuration) {
        if (const auto age = test.configuration->value(QStringLiteral("MaxScanCacheAge"));
            age && age->isNumber()) {
            // Held to a day: older than that is no cache at all, and seconds × 1000 stay in range.
            request.maxScanCacheAge = std::clamp<std::int64_t>(age->toInt(), 0, 86400);
        }
        if (const auto name = test.configuration->value(QStringLiteral("NetworkName"));
            name && name->isString()) {
            request.networkName = name->toString();
        }
    }
    request.cancel = cancel;
    request.arrivedAtMs = bootTimeMs();
    TestAnswer result;
    // A cancel ends the handler at its next D-Bus call; the answer is then the cancel's (below).
    const CallCancellation callsEndOnCancel([cancel] { return cancel->isCancelled(); });
    try {
        result = (this->*(handler->second))(request);
    } catch (const ServiceFailure& failure) {
        result = TestAnswer{std::nullopt, failure.error};
    } catch (const DBusReadError& e) {
        result = TestAnswer{std::nullopt, e.toServiceError(servicecode::kSystem)};
    }
    if (request.cancel->isCancelled()) {
        return TestAnswer{std::nullopt, makeError(kDomain, servicecode::kCancelled,
                                                  QStringLiteral("the request was cancelled"))};
    }
    return result;
}

void LinuxBackend::cancelAllRequests() {
    std::lock_guard lock(mutex_);
    for (const auto& token : running_) {
        token->cancel();
    }
}

StatusSnapshotRef LinuxBackend::queryStatus(ErrorRef* error, const Arrival& arrived) {
    if (arrived) {
        arrived();  // the query waits on nothing a cancel could end; its calls have their timeouts
    }
    if (error) {
        *error = nullptr;
    }
    try {
        const QString device = wifiDevicePath();
        const NMWifiDevice wifi = nm_->wifiDevice(device);
        auto status = std::make_shared<WiFiStatus>();
        if (wifi.activeAccessPoint != nm::kNoObject && !wifi.activeAccessPoint.isEmpty()) {
            const NMAccessPoint ap = nm_->accessPoint(wifi.activeAccessPoint);
            status->ssidString = ssidText(ap.ssid);
            status->bssid = ap.hwAddress.toLower();
        }
        auto snapshot = std::make_shared<StatusSnapshot>();
        snapshot->wifi = status;
        return snapshot;
    } catch (const ServiceFailure& failure) {
        if (error) {
            *error = failure.error;
        }
    } catch (const DBusReadError& e) {
        if (error) {
            *error = e.toServiceError(servicecode::kSystem);
        }
    }
    return nullptr;
}

// ----- the radio ------------------------------------------------------------------------------------

bool LinuxBackend::containsWiFiRadio() {
    return deviceCount() > 0;
}

bool LinuxBackend::managerClientAvailable() {
    try {
        return nm_->isRunning();
    } catch (const DBusReadError&) {
        return false;
    }
}

int LinuxBackend::deviceCount() {
    try {
        int count = 0;
        for (const NMDevice& device : nm_->devices()) {
            count += device.isWifi() ? 1 : 0;
        }
        return count;
    } catch (const DBusReadError&) {
        return 0;
    }
}

bool LinuxBackend::power() {
    std::lock_guard lock(mutex_);
    return power_;
}

void LinuxBackend::setPower(bool on) {
    try {
        nm_->setWirelessEnabled(on);
    } catch (const DBusReadError& e) {
        if (options_.warn) {
            options_.warn(QStringLiteral("cannot switch Wi-Fi %1: %2").arg(on ? "on" : "off", e.text()));
        }
        return;
    }
    bool changed = false;
    {
        std::lock_guard lock(mutex_);
        changed = power_ != on;
        power_ = on;
    }
    if (changed) {
        notifyWiFiPowerChanged();
    }
}

bool LinuxBackend::capability(const QString& /*key*/) {
    return false;  // no WAPI on Linux's Wi-Fi stack
}

int LinuxBackend::scansRequested() const {
    std::lock_guard lock(mutex_);
    return scansRequested_;
}

// ----- shared steps ---------------------------------------------------------------------------------

QString LinuxBackend::wifiDevicePath() const {
    // With several Wi-Fi devices (a built-in card and a USB stick), the one in use: the first
    // activated, else the first listed.
    std::optional<QString> first;
    for (const NMDevice& device : nm_->devices()) {
        if (!device.isWifi()) {
            continue;
        }
        if (device.isActivated()) {
            return device.path;
        }
        if (!first) {
            first = device.path;
        }
    }
    if (first) {
        return *first;
    }
    fail(servicecode::kNotSupported, QStringLiteral("NetworkManager lists no Wi-Fi device"));
}

std::vector<NMAccessPoint> LinuxBackend::scan(const Request& request) {
    const QString device = wifiDevicePath();
    const auto isFresh = [&](std::int64_t lastScan) {
        return lastScan >= 0 && (!request.maxScanCacheAge || lastScan >= request.arrivedAtMs ||
                                 bootTimeMs() - lastScan <= *request.maxScanCacheAge * 1000);
    };
    std::int64_t lastScan = nm_->lastScan(device);
    std::unique_lock<std::mutex> oneScanAtATime;
    if (!isFresh(lastScan)) {
        // One scan at a time: a request that waited for another's finds that scan fresh and uses it.
        oneScanAtATime = std::unique_lock(scanMutex_);
        if (request.cancel->isCancelled()) {
            fail(servicecode::kCancelled, QStringLiteral("the request was cancelled"));
        }
        lastScan = nm_->lastScan(device);
    }
    if (!isFresh(lastScan)) {
        {
            std::lock_guard lock(mutex_);
            ++scansRequested_;
        }
        const auto cancel = request.cancel;
        const NMScanWait wait =
            nm_->waitForFreshScan(device, options_.scanTimeout, [cancel] { return cancel->isCancelled(); });
        switch (wait.outcome) {
            case NMScanWait::Outcome::Fresh:
                lastScan = wait.lastScanAfter;
                break;
            case NMScanWait::Outcome::Cancelled:
                fail(servicecode::kCancelled, QStringLiteral("the request was cancelled"));
            case NMScanWait::Outcome::TimedOut:
                fail(servicecode::kTimedOut, QStringLiteral("NetworkManager finished no scan within %1 ms")
                                                 .arg(options_.scanTimeout.count()));
        }
    }
    {
        std::lock_guard lock(mutex_);
        if (cachedScan_ && cachedScanTime_ == lastScan) {
            return *cachedScan_;
        }
    }
    auto aps = std::make_shared<const std::vector<NMAccessPoint>>(nm_->accessPoints(device));
    std::lock_guard lock(mutex_);
    cachedScan_ = aps;
    cachedScanTime_ = lastScan;
    return *aps;
}

// The access point a network test is about: the joined one, or the strongest access point of the
// network the request names.
NMAccessPoint LinuxBackend::targetAccessPoint(const Request& request) {
    if (request.networkName) {
        std::optional<NMAccessPoint> strongest;
        for (const NMAccessPoint& ap : scan(request)) {
            if (!ap.ssid.isEmpty() && ssidText(ap.ssid) == *request.networkName &&
                (!strongest || ap.strength > strongest->strength)) {
                strongest = ap;
            }
        }
        if (!strongest) {
            fail(servicecode::kNoSuchNetwork,
                 QStringLiteral("no access point of \"%1\" in the scan").arg(*request.networkName));
        }
        return *strongest;
    }
    const NMWifiDevice wifi = nm_->wifiDevice(wifiDevicePath());
    if (wifi.activeAccessPoint.isEmpty() || wifi.activeAccessPoint == nm::kNoObject) {
        fail(servicecode::kNotJoined, QStringLiteral("the Wi-Fi device is not joined to a network"));
    }
    return nm_->accessPoint(wifi.activeAccessPoint);
}

std::optional<NMConnectionSettings> LinuxBackend::activeConnection() const {
    const QString devicePath = wifiDevicePath();
    const NMDevice device = nm_->device(devicePath);
    if (device.activeConnection.isEmpty() || device.activeConnection == nm::kNoObject) {
        return std::nullopt;
    }
    return nm_->connectionSettings(nm_->activeConnectionSettingsPath(device.activeConnection));
}

std::vector<NMConnectionSettings> LinuxBackend::savedWifiConnections() const {
    std::vector<NMConnectionSettings> saved;
    for (const QString& path : nm_->savedConnectionPaths()) {
        NMConnectionSettings settings = nm_->connectionSettings(path);
        if (isWifiConnection(settings)) {
            saved.push_back(std::move(settings));
        }
    }
    return saved;
}

std::optional<NMConnectionSettings> LinuxBackend::connectionFor(const Request& request,
                                                                const NMAccessPoint& ap) const {
    if (!request.networkName) {
        // The joined network: the connection the device is using, when it is for that SSID.
        if (auto active = activeConnection(); active && active->ssid == ap.ssid) {
            return active;
        }
    }
    return savedConnectionFor(ap.ssid);
}

std::optional<NMConnectionSettings> LinuxBackend::savedConnectionFor(const QByteArray& ssid) const {
    std::optional<NMConnectionSettings> best;
    for (NMConnectionSettings& settings : savedWifiConnections()) {
        // The most recently used of the connections saved for the SSID.
        if (settings.ssid == ssid &&
            (!best || settings.timestamp.value_or(0) > best->timestamp.value_or(0))) {
            best = std::move(settings);
        }
    }
    return best;
}

// The live tests measure the link the device has: a named network must be the joined one.
void LinuxBackend::requireJoinedTarget(const Request& request) const {
    const NMWifiDevice wifi = nm_->wifiDevice(wifiDevicePath());
    const bool joined = !wifi.activeAccessPoint.isEmpty() && wifi.activeAccessPoint != nm::kNoObject;
    if (!joined) {
        fail(servicecode::kNotJoined, QStringLiteral("the Wi-Fi device is not joined to a network"));
    }
    if (request.networkName &&
        ssidText(nm_->accessPoint(wifi.activeAccessPoint).ssid) != *request.networkName) {
        fail(
            servicecode::kNotSupported,
            QStringLiteral("measuring \"%1\" needs the device to be joined to it").arg(*request.networkName));
    }
}

void LinuxBackend::requireThroughWiFi(const std::optional<QString>& interfaceName, const QString& what,
                                      const QString& address) const {
    const QString wifi = nm_->device(wifiDevicePath()).interface;
    if (interfaceName && !wifi.isEmpty() && *interfaceName != wifi) {
        fail(servicecode::kNotSupported,
             QStringLiteral("the route to the %1 address %2 leaves through %3, not the Wi-Fi device %4")
                 .arg(what, address, *interfaceName, wifi));
    }
}

BluetoothState LinuxBackend::bluetoothState() const {
    try {
        return bluez_->readState();
    } catch (const DBusReadError& e) {
        if (e.kind() == DBusReadError::Kind::NoService) {
            fail(servicecode::kNotSupported, e.text());  // no Bluetooth stack to ask
        }
        throw;
    }
}

// ----- device configuration -------------------------------------------------------------------------

TestAnswer LinuxBackend::customIPv4(const Request&) {
    const auto active = activeConnection();
    if (!active) {
        fail(servicecode::kNotJoined, QStringLiteral("no Wi-Fi connection is active"));
    }
    const QString method = active->ipv4Method.value_or(QStringLiteral("auto"));
    return verdict(method == QLatin1String("manual"), method != QLatin1String("manual"),
                   Dictionary::make({{QStringLiteral("IPv4ConfigMethod"), Value::string(method)}}));
}

TestAnswer LinuxBackend::customIPv6(const Request&) {
    const auto active = activeConnection();
    if (!active) {
        fail(servicecode::kNotJoined, QStringLiteral("no Wi-Fi connection is active"));
    }
    const QString method = active->ipv6Method.value_or(QStringLiteral("auto"));
    return verdict(method == QLatin1String("manual"), method != QLatin1String("manual"),
                   Dictionary::make({{QStringLiteral("IPv6ConfigMethod"), Value::string(method)}}));
}

TestAnswer LinuxBackend::customDNS(const Request&) {
    bool custom = nm_->globalDnsConfiguration().isSet;
    if (const auto active = activeConnection()) {
        custom = custom || !active->ipv4Dns.isEmpty() || !active->ipv6Dns.isEmpty() ||
                 active->ipv4IgnoreAutoDns.value_or(false) || active->ipv6IgnoreAutoDns.value_or(false);
    }
    return finding(custom);
}

TestAnswer LinuxBackend::customWebProxy(const Request&) {
    bool proxy = false;
    for (const char* name : {"http_proxy", "https_proxy", "HTTP_PROXY", "HTTPS_PROXY"}) {
        proxy = proxy || !qEnvironmentVariableIsEmpty(name);
    }
    if (const auto active = activeConnection()) {
        proxy = proxy || !active->effectiveProxyNone();
    }
    return finding(proxy);
}

TestAnswer LinuxBackend::realTimeMode(const Request&) {
    bool p2pActive = false;
    for (const NMDevice& device : nm_->devices()) {
        p2pActive = p2pActive || (device.isWifiP2P() && device.isActivated());
    }
    return finding(p2pActive);
}

TestAnswer LinuxBackend::bluetoothConnected(const Request&) {
    const auto count = static_cast<std::int64_t>(bluetoothState().connectedCount());
    return finding(count >= 4,
                   Dictionary::make({{QStringLiteral("BTConnectedCount"), Value::integer(count)}}));
}

TestAnswer LinuxBackend::bluetoothPaired(const Request&) {
    const auto count = static_cast<std::int64_t>(bluetoothState().pairedCount());
    return finding(count >= 16, Dictionary::make({{QStringLiteral("BTPairedCount"), Value::integer(count)}}));
}

TestAnswer LinuxBackend::bluetoothCoex(const Request&) {
    // The Wi-Fi drivers that share their radio with Bluetooth say whether they coordinate the two.
    struct Switch {
        const char* path;
        const char* on;
    };
    for (const Switch& s : {Switch{"/module/iwlwifi/parameters/bt_coex_active", "Y"},
                            Switch{"/module/ath9k/parameters/btcoex_enable", "1"}}) {
        QFile file(options_.sysfsRoot + QLatin1String(s.path));
        if (file.open(QIODevice::ReadOnly)) {
            const bool coex = file.readAll().trimmed() == s.on;
            return finding(coex && bluetoothState().anyAdapterPowered());
        }
    }
    fail(
        servicecode::kNotSupported,
        QStringLiteral("Bluetooth coexistence needs the iwlwifi or ath9k driver's switch in %1/module, which "
                       "this system does not have")
            .arg(options_.sysfsRoot));
}

TestAnswer LinuxBackend::largePNL(const Request&) {
    const auto count = static_cast<std::int64_t>(savedWifiConnections().size());
    return finding(count >= 30, Dictionary::make({{QStringLiteral("PNLCount"), Value::integer(count)}}));
}

TestAnswer LinuxBackend::pnlContainsHidden(const Request&) {
    const auto saved = savedWifiConnections();
    return finding(
        std::any_of(saved.begin(), saved.end(), [](const auto& s) { return s.effectiveHidden(); }));
}

TestAnswer LinuxBackend::conflictingSecurityInPNL(const Request&) {
    std::vector<SavedNetworkSecurity> networks;
    for (const NMConnectionSettings& settings : savedWifiConnections()) {
        if (const auto security = securityOfSettings(settings)) {
            networks.push_back(SavedNetworkSecurity{settings.ssid, *security});
        }
    }
    return finding(conflictingSecurityInSavedNetworks(networks));
}

// ----- a network ------------------------------------------------------------------------------------

TestAnswer LinuxBackend::needsNl80211(const Request& request) {
    static const std::map<std::int64_t, const char*> kWhat = {
        {34, "beacon interval"},    {35, "DTIM interval"},    {45, "Passpoint"},
        {36, "802.11ac PHY mode"},  {37, "802.11n PHY mode"}, {33, "base station model"},
        {27, "HT40 channel width"}, {28, "country code"},
    };
    fail(servicecode::kNotSupported, QStringLiteral("%1 needs nl80211, which this service does not read yet")
                                         .arg(kWhat.at(request.testID)));
}

TestAnswer LinuxBackend::noSecurity(const Request& request) {
    const NMAccessPoint ap = targetAccessPoint(request);
    return finding(isOpenAccessPoint(securityFlagsOf(ap)), securityInfo(ap));
}

TestAnswer LinuxBackend::legacyWEP(const Request& request) {
    const NMAccessPoint ap = targetAccessPoint(request);
    return finding(isWepAccessPoint(securityFlagsOf(ap)), securityInfo(ap));
}

TestAnswer LinuxBackend::legacyWPA(const Request& request) {
    const NMAccessPoint ap = targetAccessPoint(request);
    return finding(isLegacyWpaAccessPoint(securityFlagsOf(ap)), securityInfo(ap));
}

TestAnswer LinuxBackend::legacyRates(const Request& request) {
    const NMAccessPoint ap = targetAccessPoint(request);
    QString problem;
    const auto legacy = usesLegacyRatesOnly(static_cast<int>(ap.frequency), ap.maxBitrate, &problem);
    if (!legacy) {
        fail(servicecode::kSystem, problem);
    }
    return finding(*legacy);
}

TestAnswer LinuxBackend::ambiguousName(const Request& request) {
    const NMAccessPoint ap = targetAccessPoint(request);
    const QString name = ssidText(ap.ssid);
    return finding(isAmbiguousNetworkName(name),
                   Dictionary::make({{QStringLiteral("NetworkName"), Value::string(name)}}));
}

TestAnswer LinuxBackend::hiddenNetwork(const Request& request) {
    const NMAccessPoint ap = targetAccessPoint(request);
    const auto saved = connectionFor(request, ap);
    return finding(ap.ssid.isEmpty() || (saved && saved->effectiveHidden()));
}

TestAnswer LinuxBackend::personalHotspot(const Request& request) {
    const NMAccessPoint ap = targetAccessPoint(request);
    if (!request.networkName) {
        const NMDevice device = nm_->device(wifiDevicePath());
        if (device.metered == nm::kMeteredYes || device.metered == nm::kMeteredGuessYes) {
            return finding(true);
        }
    }
    QString problem;
    const bool local = isLocallyAdministeredBssid(ap.hwAddress, &problem);
    if (!problem.isEmpty()) {
        fail(servicecode::kSystem, problem);
    }
    return finding(local);
}

TestAnswer LinuxBackend::captivePortal(const Request& request) {
    requireJoinedTarget(request);
    const NMAccessPoint ap = targetAccessPoint(request);
    bool captive = false;
    std::uint32_t connectivity = nm::kConnectivityUnknown;
    try {
        connectivity = nm_->checkConnectivity();
    } catch (const DBusReadError&) {
        // Refused (a polkit right) or too slow: our own probe tells instead.
    }
    if (connectivity == nm::kConnectivityUnknown) {
        // NetworkManager does not check connectivity here: our own probe tells.
        const auto retrieved =
            http_->retrieve(options_.targets.checkUrl, options_.targets.checkStatus,
                            options_.targets.checkBody, options_.targets.httpTimeout, *request.cancel);
        if (!retrieved.ok()) {
            throw ServiceFailure{retrieved.error()};  // no answer tells nothing about a portal
        }
        captive = retrieved.value().portalLike();
    } else {
        captive = connectivity == nm::kConnectivityPortal;
    }
    auto info = Dictionary::make();
    const auto saved = connectionFor(request, ap);
    // The saved connection's security, else the access point's; the profile stays out when
    // neither can be told.
    auto security = saved ? securityOfSettings(*saved) : std::nullopt;
    if (!security) {
        security = securityOfAccessPoint(securityFlagsOf(ap));
    }
    if (saved && security) {
        auto profile = std::make_shared<NetworkProfile>();
        profile->ssidString = ssidText(ap.ssid);
        profile->security = static_cast<std::int64_t>(*security);
        profile->isPasspoint = false;  // NetworkManager saves no Passpoint profiles
        profile->isEnabled = saved->effectiveAutoconnect();
        profile->isCaptive = captive;
        profile->isHidden = saved->effectiveHidden();
        int accessPoints = 0;
        for (const NMAccessPoint& other : scan(request)) {
            accessPoints += other.ssid == ap.ssid ? 1 : 0;
        }
        profile->isMultiAP = accessPoints > 1;
        if (saved->timestamp && *saved->timestamp > 0) {
            profile->lastJoinedTimestamp = Date::fromSecondsSince1970(static_cast<double>(*saved->timestamp));
        }
        info->set(QStringLiteral("PreferredNetwork"), Value::record(profile));
    }
    return finding(captive, info);
}

TestAnswer LinuxBackend::ping(const Request& request, const QString& what, const QString& address) {
    requireJoinedTarget(request);
    QString problem;
    const auto target = parseIpAddress(address, &problem);
    if (!target || target->protocol() != QAbstractSocket::IPv4Protocol) {
        fail(servicecode::kSystem,
             QStringLiteral("the %1 address \"%2\" is no IPv4 address").arg(what, address));
    }
    // Asked of the kernel's routing before anything is sent: a ping that would leave through
    // another device is not sent at all.
    if (const auto route = outgoingInterface(*target); route.ok()) {
        requireThroughWiFi(route.value(), what, address);
    }
    PingRequest ping;
    ping.target = *target;
    ping.count = options_.targets.pingCount;
    ping.interval = options_.targets.pingInterval;
    ping.replyTimeout = options_.targets.replyTimeout;
    const auto series = pingSeries(ping, *request.cancel);
    if (!series.ok()) {
        throw ServiceFailure{series.error()};
    }
    requireThroughWiFi(series.value().interfaceName, what, address);
    const auto record =
        pingResult(series.value().interfaceName, series.value().sent, series.value().roundTripsMs,
                   Date::fromSecondsSince1970(QDateTime::currentMSecsSinceEpoch() / 1000.0), &problem);
    if (!record) {
        fail(servicecode::kSystem, problem);
    }
    const bool answered = !series.value().roundTripsMs.empty();
    return verdict(answered, answered,
                   Dictionary::make({{QStringLiteral("PingResult"),
                                      Value::record(std::make_shared<WiFiPingResult>(*record))}}));
}

// The Wi-Fi device's IPv4 gateway: NetworkManager's, or else the kernel's default route when it
// leaves through the Wi-Fi device (a connection NetworkManager does not manage the addresses of).
static QString gatewayOf(const NetworkManagerClient& nm, const QString& devicePath,
                         const QString& routeTablePath) {
    const NMDevice device = nm.device(devicePath);
    if (!device.ip4Config.isEmpty() && device.ip4Config != nm::kNoObject) {
        const QString gateway = nm.ip4Config(device.ip4Config).gateway;
        if (!gateway.isEmpty()) {
            return gateway;
        }
    }
    const auto route = readDefaultRoute(routeTablePath);
    if (route.ok() && route.value() && route.value()->interfaceName == device.interface) {
        return route.value()->gateway.toString();
    }
    const QString why =
        !route.ok() ? route.error()->text
        : route.value()
            ? QStringLiteral("the default route leaves through %1").arg(route.value()->interfaceName)
            : QStringLiteral("the kernel has no default route");
    fail(servicecode::kNotJoined,
         QStringLiteral("the Wi-Fi device has no IPv4 gateway: NetworkManager names none, and %1").arg(why));
}

TestAnswer LinuxBackend::pingLAN(const Request& request) {
    requireJoinedTarget(request);
    return ping(request, QStringLiteral("gateway"),
                gatewayOf(*nm_, wifiDevicePath(), options_.routeTablePath));
}

TestAnswer LinuxBackend::pingWAN(const Request& request) {
    return ping(request, QStringLiteral("WAN ping"), options_.targets.wanPingAddress);
}

TestAnswer LinuxBackend::doubleNAT(const Request& request) {
    requireJoinedTarget(request);
    const QString gateway = gatewayOf(*nm_, wifiDevicePath(), options_.routeTablePath);
    if (!isPrivateIPv4(gateway)) {
        return finding(false);
    }
    const auto target = parseIpAddress(options_.targets.wanPingAddress);
    if (!target) {
        fail(servicecode::kSystem, QStringLiteral("the WAN ping address \"%1\" is no IP address")
                                       .arg(options_.targets.wanPingAddress));
    }
    if (const auto route = outgoingInterface(*target); route.ok()) {
        requireThroughWiFi(route.value(), QStringLiteral("WAN ping"), options_.targets.wanPingAddress);
    }
    const auto hop = findSecondHop(*target, options_.targets.secondHopTimeout, *request.cancel);
    if (!hop.ok()) {
        throw ServiceFailure{hop.error()};
    }
    if (!hop.value().router && !hop.value().targetAnswered) {
        fail(servicecode::kTimedOut,
             QStringLiteral("no router answered the probe with a time to live of 2 within %1 ms")
                 .arg(options_.targets.secondHopTimeout.count()));
    }
    return finding(hop.value().router && isPrivateIPv4(*hop.value().router));
}

TestAnswer LinuxBackend::ipv4Assigned(const Request& request) {
    requireJoinedTarget(request);
    const NMDevice device = nm_->device(wifiDevicePath());
    const bool assigned = !device.ip4Config.isEmpty() && device.ip4Config != nm::kNoObject &&
                          !nm_->ip4Config(device.ip4Config).addresses.empty();
    return verdict(assigned, assigned);
}

TestAnswer LinuxBackend::ipv6Assigned(const Request& request) {
    requireJoinedTarget(request);
    const NMDevice device = nm_->device(wifiDevicePath());
    QStringList addresses;
    if (!device.ip6Config.isEmpty() && device.ip6Config != nm::kNoObject) {
        for (const NMIpAddress& a : nm_->ip6Config(device.ip6Config).addresses) {
            addresses << a.address;
        }
    }
    const bool global = hasGlobalIPv6(addresses);
    return verdict(global, global);
}

TestAnswer LinuxBackend::resolveDNS(const Request& request) {
    requireJoinedTarget(request);
    const auto resolved = resolveHost(options_.targets.dnsName, options_.targets.dnsTimeout, *request.cancel);
    if (!resolved.ok() && !isNetworkFinding(resolved.error())) {
        throw ServiceFailure{resolved.error()};
    }
    const bool ok = resolved.ok() && !resolved.value().isEmpty();
    return verdict(ok, ok);
}

TestAnswer LinuxBackend::reachInternet(const Request& request) {
    requireJoinedTarget(request);
    const auto reached =
        http_->reach(options_.targets.checkUrl, options_.targets.httpTimeout, *request.cancel);
    if (!reached.ok() && !isNetworkFinding(reached.error())) {
        throw ServiceFailure{reached.error()};
    }
    return verdict(reached.ok(), reached.ok());
}

TestAnswer LinuxBackend::retrieveInternet(const Request& request) {
    requireJoinedTarget(request);
    const auto retrieved =
        http_->retrieve(options_.targets.checkUrl, options_.targets.checkStatus, options_.targets.checkBody,
                        options_.targets.httpTimeout, *request.cancel);
    if (!retrieved.ok() && !isNetworkFinding(retrieved.error())) {
        throw ServiceFailure{retrieved.error()};
    }
    const bool ok = retrieved.ok() && !retrieved.value().portalLike();
    return verdict(ok, ok);
}

TestAnswer LinuxBackend::congestedChannel(const Request& request) {
    const NMAccessPoint ap = targetAccessPoint(request);
    const auto aps = scan(request);
    const auto count = accessPointsOnOrOverlappingChannel(frequenciesOf(aps), static_cast<int>(ap.frequency));
    const auto current = currentChannel(static_cast<int>(ap.frequency));
    if (!count || !current) {
        fail(servicecode::kSystem,
             QStringLiteral("the access point's frequency %1 MHz is no Wi-Fi channel").arg(ap.frequency));
    }
    auto info = Dictionary::make(
        {{QStringLiteral("CurrentChannel"), Value::record(std::make_shared<WiFiChannel>(*current))}});
    putBandChannels(*info, aps);
    return finding(isChannelCongested(*count), info);
}

TestAnswer LinuxBackend::congested2GHz(const Request& request) {
    const auto aps = scan(request);
    auto info = Dictionary::make();
    putBandChannels(*info, aps);
    return finding(is2GHzBandCongested(accessPointsOn2GHz(frequenciesOf(aps))), info);
}

TestAnswer LinuxBackend::congested5GHz(const Request& request) {
    const auto aps = scan(request);
    auto info = Dictionary::make();
    putBandChannels(*info, aps);
    return finding(is5GHzBandCongested(accessPointsOn5GHz(frequenciesOf(aps))), info);
}

TestAnswer LinuxBackend::poorSignal(const Request& request) {
    const NMAccessPoint ap = targetAccessPoint(request);
    QString problem;
    const auto rssi = dbmFromStrength(ap.strength, &problem);
    if (!rssi) {
        fail(servicecode::kSystem, problem);
    }
    // Noise needs nl80211's survey: the key stays out until then.
    return finding(isSignalPoor(*rssi, std::nullopt),
                   Dictionary::make({{QStringLiteral("RSSI"), Value::integer(*rssi)}}));
}

TestAnswer LinuxBackend::hiddenScanResults(const Request& request) {
    auto hidden = std::make_shared<Array>();
    for (const NMAccessPoint& ap : scan(request)) {
        if (ap.ssid.isEmpty()) {
            hidden->push_back(scanResultValue(ap));
        }
    }
    return finding(!hidden->empty(),
                   Dictionary::make({{QStringLiteral("ScanResults"), Value::array(hidden)}}));
}

TestAnswer LinuxBackend::noScanResults(const Request& request) {
    auto all = std::make_shared<Array>();
    for (const NMAccessPoint& ap : scan(request)) {
        all->push_back(scanResultValue(ap));
    }
    // Passing always: the scan's entries are the details every caller reads.
    return verdict(all->empty(), true,
                   Dictionary::make({{QStringLiteral("ScanResults"), Value::array(all)}}));
}

}  // namespace platform::linuxwifi
