#include "platform/wifi/linux/NetworkManagerClient.h"

#include <QCoreApplication>

#include <QDBusObjectPath>

#include <arpa/inet.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <thread>

namespace platform::linuxwifi {

namespace {

const QString kDBusPropertiesInterface = QStringLiteral("org.freedesktop.DBus.Properties");
const QString kWirelessEnabled = QStringLiteral("WirelessEnabled");

// How often a wait looks at the caller's cancel flag.
constexpr std::chrono::milliseconds kCancelCheck(5);

std::vector<NMIpAddress> readAddressData(const DBusDict& properties) {
    std::vector<NMIpAddress> out;
    for (const DBusDict& entry : properties.at(QStringLiteral("AddressData")).readDictList()) {
        out.push_back(NMIpAddress{entry.at(QStringLiteral("address")).readString(),
                                  entry.at(QStringLiteral("prefix")).readUInt32()});
    }
    return out;
}

QString ipv4Text(std::uint32_t networkOrder) {
    // The integer is the address in network byte order as it lies in memory.
    unsigned char bytes[4];
    std::memcpy(bytes, &networkOrder, sizeof bytes);
    return QStringLiteral("%1.%2.%3.%4").arg(bytes[0]).arg(bytes[1]).arg(bytes[2]).arg(bytes[3]);
}

QString ipv6Text(const QByteArray& bytes, const DBusField& where) {
    if (bytes.size() != 16) {
        where.failBadValue(QStringLiteral("an IPv6 address has 16 bytes, this one %1").arg(bytes.size()));
    }
    char text[INET6_ADDRSTRLEN] = {};
    inet_ntop(AF_INET6, bytes.constData(), text, sizeof text);
    return QString::fromLatin1(text);
}

// The DNS servers of an ipv4 or ipv6 setting: "dns-data" (text) where NetworkManager gives it,
// else the older binary "dns".
QStringList readDns(const DBusDict& setting, bool ipv6) {
    if (const auto data = setting.find(QStringLiteral("dns-data"))) {
        return data->readStringList();
    }
    QStringList out;
    const auto dns = setting.find(QStringLiteral("dns"));
    if (!dns) {
        return out;
    }
    if (ipv6) {
        for (const QByteArray& address : dns->readByteArrayList()) {
            out << ipv6Text(address, *dns);
        }
    } else {
        for (const std::uint32_t address : dns->readUInt32List()) {
            out << ipv4Text(address);
        }
    }
    return out;
}

template <class T, class Read>
std::optional<T> optionalOf(const DBusDict& dict, const QString& key, Read read) {
    if (const auto field = dict.find(key)) {
        return read(*field);
    }
    return std::nullopt;
}

std::optional<bool> optionalBool(const DBusDict& dict, const QString& key) {
    return optionalOf<bool>(dict, key, [](const DBusField& f) { return f.readBool(); });
}

std::optional<QString> optionalString(const DBusDict& dict, const QString& key) {
    return optionalOf<QString>(dict, key, [](const DBusField& f) { return f.readString(); });
}

QStringList stringListOrEmpty(const DBusDict& dict, const QString& key) {
    const auto field = dict.find(key);
    return field ? field->readStringList() : QStringList();
}

}  // namespace

// ---- WirelessEnabledWatcher ---------------------------------------------------------------------

WirelessEnabledWatcher::WirelessEnabledWatcher(QDBusConnection connection, QObject* context,
                                               std::function<void(bool)> onChange,
                                               std::function<void(const DBusReadError&)> onError)
    : connection_(std::move(connection)),
      context_(context),
      onChange_(std::move(onChange)),
      onError_(std::move(onError)) {
    moveToThread(context->thread());
    // Only the standard signal: NetworkManager stopped sending its own older PropertiesChanged of
    // the manager interface in 1.32.
    watching_ = connection_.connect(nm::kService, nm::kManagerPath, kDBusPropertiesInterface,
                                    QStringLiteral("PropertiesChanged"), this,
                                    SLOT(onPropertiesChanged(QString, QVariantMap, QStringList)));
}

WirelessEnabledWatcher::~WirelessEnabledWatcher() {
    if (!QCoreApplication::instance()) {
        return;  // the bus connections are gone with the application; nothing is left to undo
    }
    connection_.disconnect(nm::kService, nm::kManagerPath, kDBusPropertiesInterface,
                           QStringLiteral("PropertiesChanged"), this,
                           SLOT(onPropertiesChanged(QString, QVariantMap, QStringList)));
}

void WirelessEnabledWatcher::onPropertiesChanged(const QString& interface, const QVariantMap& changed,
                                                 const QStringList&) {
    if (interface == nm::kManagerInterface) {
        deliver(changed);
    }
}

void WirelessEnabledWatcher::deliver(const QVariantMap& changed) {
    if (!context_) {
        return;
    }
    const auto value = changed.find(kWirelessEnabled);
    if (value == changed.end()) {
        return;
    }
    const DBusField field(
        DBusValue::fromQt(value.value()),
        DBusPlace{nm::kService, nm::kManagerPath, nm::kManagerInterface, kWirelessEnabled,
                  QStringLiteral(" (signal %1.PropertiesChanged)").arg(kDBusPropertiesInterface)});
    bool enabled = false;
    try {
        enabled = field.readBool();
    } catch (const DBusReadError& error) {
        if (onError_) {
            onError_(error);
        }
        return;
    }
    if (last_ == enabled) {
        return;
    }
    last_ = enabled;
    if (onChange_) {
        onChange_(enabled);
    }
}

// ---- NetworkManagerClient -----------------------------------------------------------------------

NetworkManagerClient::NetworkManagerClient(QDBusConnection connection, std::chrono::milliseconds callTimeout)
    : caller_(std::move(connection), nm::kService, callTimeout) {}

bool NetworkManagerClient::isRunning() const {
    return caller_.serviceIsPresent();
}

bool NetworkManagerClient::wirelessEnabled() const {
    return caller_.get(nm::kManagerPath, nm::kManagerInterface, kWirelessEnabled).readBool();
}

bool NetworkManagerClient::wirelessHardwareEnabled() const {
    return caller_.get(nm::kManagerPath, nm::kManagerInterface, QStringLiteral("WirelessHardwareEnabled"))
        .readBool();
}

void NetworkManagerClient::setWirelessEnabled(bool enabled) const {
    caller_.set(nm::kManagerPath, nm::kManagerInterface, kWirelessEnabled, QVariant(enabled));
}

std::unique_ptr<WirelessEnabledWatcher> NetworkManagerClient::watchWirelessEnabled(
    QObject* context, std::function<void(bool)> onChange,
    std::function<void(const DBusReadError&)> onError) const {
    if (context == nullptr) {
        throw std::invalid_argument(
            "NetworkManagerClient::watchWirelessEnabled: no context object whose thread would get the "
            "changes");
    }
    return std::unique_ptr<WirelessEnabledWatcher>(
        new WirelessEnabledWatcher(caller_.connection(), context, std::move(onChange), std::move(onError)));
}

QStringList NetworkManagerClient::devicePaths() const {
    return caller_
        .callForOne(nm::kManagerPath, nm::kManagerInterface, QStringLiteral("GetDevices"), {},
                    QStringLiteral("ao"))
        .readObjectPathList();
}

NMDevice NetworkManagerClient::device(const QString& path) const {
    const DBusDict properties = caller_.getAll(path, nm::kDeviceInterface);
    NMDevice out;
    out.path = path;
    out.deviceType = properties.at(QStringLiteral("DeviceType")).readUInt32();
    out.interface = properties.at(QStringLiteral("Interface")).readString();
    out.state = properties.at(QStringLiteral("State")).readUInt32();
    // The rest matters only to some tests: a device that lacks one of them (an older daemon, a
    // device kind without IPv6) reads as having none, and only the tests that need it say so.
    const auto objectPath = [&properties](const char* name) {
        const auto field = properties.find(QString::fromLatin1(name));
        return field ? field->readObjectPath() : nm::kNoObject;
    };
    out.ip4Config = objectPath("Ip4Config");
    out.ip6Config = objectPath("Ip6Config");
    out.activeConnection = objectPath("ActiveConnection");
    if (const auto metered = properties.find(QStringLiteral("Metered"))) {
        out.metered = metered->readUInt32();
    }
    if (const auto connectivity = properties.find(QStringLiteral("Ip4Connectivity"))) {
        out.ip4Connectivity = connectivity->readUInt32();
    }
    if (const auto connectivity = properties.find(QStringLiteral("Ip6Connectivity"))) {
        out.ip6Connectivity = connectivity->readUInt32();
    }
    return out;
}

std::vector<NMDevice> NetworkManagerClient::devices() const {
    std::vector<NMDevice> out;
    for (const QString& path : devicePaths()) {
        try {
            out.push_back(device(path));
        } catch (const DBusReadError& error) {
            // A device that went away since the list was read (a USB stick pulled out, a
            // container's link removed) is not listed.
            if (error.kind() != DBusReadError::Kind::NoSuchObject) {
                throw;
            }
        }
    }
    return out;
}

NMWifiDevice NetworkManagerClient::wifiDevice(const QString& devicePath) const {
    const DBusDict properties = caller_.getAll(devicePath, nm::kWirelessInterface);
    NMWifiDevice out;
    out.path = devicePath;
    out.hwAddress = properties.at(QStringLiteral("HwAddress")).readString();
    out.activeAccessPoint = properties.at(QStringLiteral("ActiveAccessPoint")).readObjectPath();
    out.lastScan = properties.at(QStringLiteral("LastScan")).readInt64();
    return out;
}

std::int64_t NetworkManagerClient::lastScan(const QString& devicePath) const {
    return caller_.get(devicePath, nm::kWirelessInterface, QStringLiteral("LastScan")).readInt64();
}

NMIp4Config NetworkManagerClient::ip4Config(const QString& path) const {
    const DBusDict properties = caller_.getAll(path, nm::kIp4ConfigInterface);
    NMIp4Config out;
    out.path = path;
    out.addresses = readAddressData(properties);
    out.gateway = properties.at(QStringLiteral("Gateway")).readString();
    return out;
}

NMIp6Config NetworkManagerClient::ip6Config(const QString& path) const {
    const DBusDict properties = caller_.getAll(path, nm::kIp6ConfigInterface);
    NMIp6Config out;
    out.path = path;
    out.addresses = readAddressData(properties);
    if (const auto gateway = properties.find(QStringLiteral("Gateway"))) {
        out.gateway = gateway->readString();
    }
    return out;
}

QStringList NetworkManagerClient::accessPointPaths(const QString& devicePath) const {
    return caller_
        .callForOne(devicePath, nm::kWirelessInterface, QStringLiteral("GetAllAccessPoints"), {},
                    QStringLiteral("ao"))
        .readObjectPathList();
}

NMAccessPoint NetworkManagerClient::accessPoint(const QString& path) const {
    const DBusDict properties = caller_.getAll(path, nm::kAccessPointInterface);
    NMAccessPoint out;
    out.path = path;
    const DBusField ssid = properties.at(QStringLiteral("Ssid"));
    out.ssid = ssid.readBytes();
    if (out.ssid.size() > 32) {
        ssid.failBadValue(QStringLiteral("an SSID has at most 32 bytes, this one %1").arg(out.ssid.size()));
    }
    out.hwAddress = properties.at(QStringLiteral("HwAddress")).readString();
    out.strength = properties.at(QStringLiteral("Strength")).readByte();
    out.frequency = properties.at(QStringLiteral("Frequency")).readUInt32();
    out.maxBitrate = properties.at(QStringLiteral("MaxBitrate")).readUInt32();
    out.flags = properties.at(QStringLiteral("Flags")).readUInt32();
    out.wpaFlags = properties.at(QStringLiteral("WpaFlags")).readUInt32();
    out.rsnFlags = properties.at(QStringLiteral("RsnFlags")).readUInt32();
    out.mode = properties.at(QStringLiteral("Mode")).readUInt32();
    out.lastSeen = properties.at(QStringLiteral("LastSeen")).readInt32();
    return out;
}

std::vector<NMAccessPoint> NetworkManagerClient::accessPoints(const QString& devicePath) const {
    std::vector<NMAccessPoint> out;
    for (const QString& path : accessPointPaths(devicePath)) {
        try {
            out.push_back(accessPoint(path));
        } catch (const DBusReadError& error) {
            if (error.kind() != DBusReadError::Kind::NoSuchObject) {
                throw;
            }
        }
    }
    return out;
}

void NetworkManagerClient::requestScan(const QString& devicePath) const {
    caller_.call(devicePath, nm::kWirelessInterface, QStringLiteral("RequestScan"), {QVariantMap()},
                 QString());
}

NMScanWait NetworkManagerClient::waitForFreshScan(const QString& devicePath,
                                                  std::chrono::milliseconds timeout,
                                                  const std::function<bool()>& isCancelled,
                                                  std::chrono::milliseconds pollInterval) const {
    using Clock = std::chrono::steady_clock;
    const auto deadline = Clock::now() + timeout;
    const auto cancelled = [&] { return isCancelled && isCancelled(); };

    NMScanWait out;
    out.lastScanBefore = lastScan(devicePath);
    out.lastScanAfter = out.lastScanBefore;
    if (cancelled()) {
        out.outcome = NMScanWait::Outcome::Cancelled;
        return out;
    }
    try {
        requestScan(devicePath);
    } catch (const DBusReadError& error) {
        // Only the daemon's own answer is a refusal; a cancel or a bus that gave no answer is not.
        const bool daemonsAnswer =
            error.kind() == DBusReadError::Kind::Refused ||
            (error.kind() == DBusReadError::Kind::CallFailed && !error.dbusErrorName().isEmpty());
        if (!daemonsAnswer) {
            throw;
        }
        out.outcome = NMScanWait::Outcome::Refused;
        out.refusal = error;
        return out;
    }
    auto nextPoll = Clock::now();
    while (true) {
        if (cancelled()) {
            out.outcome = NMScanWait::Outcome::Cancelled;
            return out;
        }
        const auto now = Clock::now();
        if (now >= deadline) {
            out.outcome = NMScanWait::Outcome::TimedOut;
            return out;
        }
        if (now >= nextPoll) {
            const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - now);
            const auto callTimeout = std::clamp(left, std::chrono::milliseconds(1), caller_.timeout());
            const NetworkManagerClient bounded(caller_.connection(), callTimeout);
            try {
                out.lastScanAfter = bounded.lastScan(devicePath);
            } catch (const DBusReadError& error) {
                if (error.kind() == DBusReadError::Kind::Timeout && Clock::now() >= deadline) {
                    out.outcome = NMScanWait::Outcome::TimedOut;
                    return out;
                }
                throw;
            }
            if (out.lastScanAfter != out.lastScanBefore) {
                out.outcome = NMScanWait::Outcome::Fresh;
                return out;
            }
            nextPoll = Clock::now() + pollInterval;
        }
        std::this_thread::sleep_for(
            std::min<Clock::duration>({kCancelCheck, nextPoll - Clock::now(), deadline - Clock::now()}));
    }
}

QString NetworkManagerClient::activeConnectionSettingsPath(const QString& activeConnectionPath) const {
    return caller_.get(activeConnectionPath, nm::kActiveConnectionInterface, QStringLiteral("Connection"))
        .readObjectPath();
}

QStringList NetworkManagerClient::savedConnectionPaths() const {
    return caller_
        .callForOne(nm::kSettingsPath, nm::kSettingsInterface, QStringLiteral("ListConnections"), {},
                    QStringLiteral("ao"))
        .readObjectPathList();
}

NMConnectionSettings NetworkManagerClient::connectionSettings(const QString& path) const {
    const DBusField answer = caller_.callForOne(path, nm::kConnectionInterface, QStringLiteral("GetSettings"),
                                                {}, QStringLiteral("a{sa{sv}}"));
    std::map<QString, DBusDict> settings;
    for (const auto& [name, values] : answer.value().entries()) {
        const QString group = name.scalar().toString();
        const DBusField field(values, answer.place().withInner(QStringLiteral("[\"%1\"]").arg(group)));
        settings.insert_or_assign(group, field.readDict());
    }
    const auto setting = [&](const QString& name) -> const DBusDict* {
        const auto found = settings.find(name);
        return found == settings.end() ? nullptr : &found->second;
    };

    NMConnectionSettings out;
    out.path = path;
    const DBusDict* connection = setting(QStringLiteral("connection"));
    if (!connection) {
        throw DBusReadError(DBusReadError::Kind::Missing,
                            QStringLiteral("%1[\"connection\"] is missing: every saved connection has one")
                                .arg(answer.place().text()));
    }
    out.id = connection->at(QStringLiteral("id")).readString();
    out.uuid = connection->at(QStringLiteral("uuid")).readString();
    out.type = connection->at(QStringLiteral("type")).readString();
    out.timestamp = optionalOf<std::uint64_t>(*connection, QStringLiteral("timestamp"),
                                              [](const DBusField& f) { return f.readUInt64(); });
    out.autoconnect = optionalBool(*connection, QStringLiteral("autoconnect"));

    if (const DBusDict* wireless = setting(QStringLiteral("802-11-wireless"))) {
        out.hasWireless = true;
        out.ssid = wireless->at(QStringLiteral("ssid")).readBytes();
        out.hidden = optionalBool(*wireless, QStringLiteral("hidden"));
        out.mode = optionalString(*wireless, QStringLiteral("mode"));
    } else if (out.isWifi()) {
        throw DBusReadError(DBusReadError::Kind::Missing,
                            QStringLiteral("%1[\"802-11-wireless\"] is missing: the connection's type is %2")
                                .arg(answer.place().text(), out.type));
    }
    if (const DBusDict* security = setting(QStringLiteral("802-11-wireless-security"))) {
        out.hasWirelessSecurity = true;
        out.keyMgmt = optionalString(*security, QStringLiteral("key-mgmt"));
        out.proto = stringListOrEmpty(*security, QStringLiteral("proto"));
        out.pairwise = stringListOrEmpty(*security, QStringLiteral("pairwise"));
    }
    if (const DBusDict* ipv4 = setting(QStringLiteral("ipv4"))) {
        out.ipv4Method = optionalString(*ipv4, QStringLiteral("method"));
        out.ipv4Dns = readDns(*ipv4, false);
        out.ipv4IgnoreAutoDns = optionalBool(*ipv4, QStringLiteral("ignore-auto-dns"));
    }
    if (const DBusDict* ipv6 = setting(QStringLiteral("ipv6"))) {
        out.ipv6Method = optionalString(*ipv6, QStringLiteral("method"));
        out.ipv6Dns = readDns(*ipv6, true);
        out.ipv6IgnoreAutoDns = optionalBool(*ipv6, QStringLiteral("ignore-auto-dns"));
    }
    if (const DBusDict* proxy = setting(QStringLiteral("proxy"))) {
        out.proxyMethod = optionalOf<std::int32_t>(*proxy, QStringLiteral("method"),
                                                   [](const DBusField& f) { return f.readInt32(); });
    }
    return out;
}

NMGlobalDns NetworkManagerClient::globalDnsConfiguration() const {
    const DBusDict config =
        caller_.get(nm::kManagerPath, nm::kManagerInterface, QStringLiteral("GlobalDnsConfiguration"))
            .readDict();
    NMGlobalDns out;
    out.isSet = !config.isEmpty();
    out.searches = stringListOrEmpty(config, QStringLiteral("searches"));
    out.options = stringListOrEmpty(config, QStringLiteral("options"));
    if (const auto domains = config.find(QStringLiteral("domains"))) {
        const DBusDict byDomain = domains->readDict();
        for (const QString& domain : byDomain.keys()) {
            out.servers << stringListOrEmpty(byDomain.at(domain).readDict(), QStringLiteral("servers"));
        }
    }
    return out;
}

std::uint32_t NetworkManagerClient::connectivity() const {
    return caller_.get(nm::kManagerPath, nm::kManagerInterface, QStringLiteral("Connectivity")).readUInt32();
}

NMConnectivityChecking NetworkManagerClient::connectivityChecking() const {
    const DBusDict properties = caller_.getAll(nm::kManagerPath, nm::kManagerInterface);
    NMConnectivityChecking out;
    // Both are absent from daemons older than 1.10, which say nothing about their checking.
    if (const auto available = properties.find(QStringLiteral("ConnectivityCheckAvailable"))) {
        out.available = available->readBool();
    }
    if (const auto enabled = properties.find(QStringLiteral("ConnectivityCheckEnabled"))) {
        out.enabled = enabled->readBool();
    }
    return out;
}

std::uint32_t NetworkManagerClient::checkConnectivity(std::chrono::milliseconds timeout) const {
    return caller_.withTimeout(timeout)
        .callForOneUnlessCancelled(nm::kManagerPath, nm::kManagerInterface,
                                   QStringLiteral("CheckConnectivity"), {}, QStringLiteral("u"))
        .readUInt32();
}

}  // namespace platform::linuxwifi
