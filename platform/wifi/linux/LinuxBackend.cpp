#include "platform/wifi/linux/HandlerSupport.h"

#include "platform/wifi/linux/BluezClient.h"
#include "platform/wifi/linux/CancelToken.h"
#include "platform/wifi/linux/HttpProbe.h"
#include "platform/wifi/linux/NetworkManagerClient.h"
#include "platform/wifi/linux/Nl80211Sources.h"
#include "platform/wifi/linux/SsidText.h"

namespace platform::linuxwifi {

using namespace handlers;

LinuxBackend::LinuxBackend(LinuxBackendOptions options, QObject* context)
    : options_(std::move(options)),
      nm_(std::make_unique<NetworkManagerClient>(options_.bus, options_.callTimeout)),
      bluez_(std::make_unique<BluezClient>(options_.bus, options_.callTimeout)),
      http_(std::make_unique<HttpProbe>()) {
    if (!options_.nl80211) {
        options_.nl80211 = std::make_shared<KernelNl80211Source>();
    }
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
        {34, &LinuxBackend::longBeaconInterval},
        {35, &LinuxBackend::longDTIMInterval},
        {45, &LinuxBackend::passpoint},
        {36, &LinuxBackend::conflictingPHYMode11AC},
        {37, &LinuxBackend::conflictingPHYMode11N},
        {33, &LinuxBackend::baseStation},
        {27, &LinuxBackend::ht40Channel},
        {28, &LinuxBackend::conflictingCountryCode},
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
            count += device.isWifi() && !device.isUnmanaged() ? 1 : 0;
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
    // NetworkManager takes the wish even when the radio cannot follow it (a hardware switch or the
    // firmware holds it off): the state is what it says afterwards, not what was asked.
    bool now = on;
    try {
        now = nm_->wirelessEnabled();
        if (now != on && options_.warn) {
            const bool hardwareOn = nm_->wirelessHardwareEnabled();
            options_.warn(hardwareOn
                              ? QStringLiteral("NetworkManager took the request to switch Wi-Fi %1, but "
                                               "Wi-Fi is still %2")
                                    .arg(on ? "on" : "off", now ? "on" : "off")
                              : QStringLiteral("cannot switch Wi-Fi on: its radio is switched off by a "
                                               "hardware switch or the firmware (rfkill); turn the "
                                               "switch on, or see rfkill list"));
        }
    } catch (const DBusReadError& e) {
        // The switch was taken; its change is heard from NetworkManager's signal when it comes.
        if (options_.warn) {
            options_.warn(QStringLiteral("switched Wi-Fi %1, but cannot read whether it is: %2")
                              .arg(on ? "on" : "off", e.text()));
        }
    }
    bool changed = false;
    {
        std::lock_guard lock(mutex_);
        changed = power_ != now;
        power_ = now;
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

}  // namespace platform::linuxwifi
