// The device configuration tests: addresses and DNS set by hand, the proxy, peer-to-peer links,
// Bluetooth, and the saved networks.
#include "platform/wifi/linux/HandlerSupport.h"

#include "platform/wifi/linux/BluezClient.h"
#include "platform/wifi/linux/NetworkManagerClient.h"
#include "platform/wifi/linux/Security.h"

#include <QFile>
#include <QFileInfo>

namespace platform::linuxwifi {

using namespace handlers;

namespace {

// Tests 14 and 15: the active connection's addressing method for one family is set by hand, with
// the method under key; NetworkManager leaves the default (auto) out of the settings.
TestAnswer customAddressing(const std::optional<NMConnectionSettings>& active,
                            std::optional<QString> NMConnectionSettings::*method, const QString& key) {
    if (!active) {
        fail(servicecode::kNotJoined, QStringLiteral("no Wi-Fi connection is active"));
    }
    const QString value = ((*active).*method).value_or(QStringLiteral("auto"));
    const bool manual = value == QLatin1String("manual");
    return verdict(manual, !manual, Dictionary::make({{key, Value::string(value)}}));
}

}  // namespace

TestAnswer LinuxBackend::customIPv4(const Request&) {
    return customAddressing(activeConnection(), &NMConnectionSettings::ipv4Method,
                            QStringLiteral("IPv4ConfigMethod"));
}

TestAnswer LinuxBackend::customIPv6(const Request&) {
    return customAddressing(activeConnection(), &NMConnectionSettings::ipv6Method,
                            QStringLiteral("IPv6ConfigMethod"));
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
    // The Wi-Fi device's own driver says whether it coordinates its radio with Bluetooth; another
    // driver that happens to be loaded (a second card, a module left from a dock) says nothing.
    struct Switch {
        const char* driver;
        const char* parameter;
        const char* on;
    };
    const QString interface = wifiDevice().interface;
    const QString driverLink =
        QStringLiteral("%1/class/net/%2/device/driver").arg(options_.sysfsRoot, interface);
    const QString driver = QFileInfo(QFileInfo(driverLink).symLinkTarget()).fileName();
    if (driver.isEmpty()) {
        fail(servicecode::kNotSupported,
             QStringLiteral("Bluetooth coexistence needs the Wi-Fi device's driver, and %1 names none")
                 .arg(driverLink));
    }
    for (const Switch& s :
         {Switch{"iwlwifi", "bt_coex_active", "Y"}, Switch{"ath9k", "btcoex_enable", "1"}}) {
        if (driver != QLatin1String(s.driver)) {
            continue;
        }
        const QString path = QStringLiteral("%1/module/%2/parameters/%3")
                                 .arg(options_.sysfsRoot, driver, QLatin1String(s.parameter));
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly)) {
            fail(servicecode::kNotSupported,
                 QStringLiteral("Bluetooth coexistence of the %1 driver needs %2, which cannot be read: %3")
                     .arg(driver, path, file.errorString()));
        }
        const bool coex = file.readAll().trimmed() == s.on;
        return finding(coex && bluetoothState().anyAdapterPowered());
    }
    fail(servicecode::kNotSupported,
         QStringLiteral("the Wi-Fi device's driver %1 has no Bluetooth coexistence switch this service reads "
                        "(it reads iwlwifi's and ath9k's)")
             .arg(driver));
}

namespace {

// The saved networks' details: the count under key when asked, and how many saved connections
// could not be read when there are any, so that a support engineer sees what the answer left out;
// none when there is nothing to say.
DictionaryRef savedNetworksInfo(const SavedWifiConnections& saved, const QString& countKey = QString()) {
    auto info = Dictionary::make();
    if (!countKey.isEmpty()) {
        info->set(countKey, Value::integer(static_cast<std::int64_t>(saved.wifi.size())));
    }
    if (saved.unreadable > 0) {
        info->set(QStringLiteral("UnreadableConnectionCount"), Value::integer(saved.unreadable));
    }
    return info->empty() ? nullptr : info;
}

}  // namespace

TestAnswer LinuxBackend::largePNL(const Request&) {
    const SavedWifiConnections saved = savedWifiConnections();
    return finding(saved.wifi.size() >= 30, savedNetworksInfo(saved, QStringLiteral("PNLCount")));
}

TestAnswer LinuxBackend::pnlContainsHidden(const Request&) {
    const SavedWifiConnections saved = savedWifiConnections();
    return finding(
        std::any_of(saved.wifi.begin(), saved.wifi.end(), [](const auto& s) { return s.effectiveHidden(); }),
        savedNetworksInfo(saved));
}

TestAnswer LinuxBackend::conflictingSecurityInPNL(const Request&) {
    const SavedWifiConnections saved = savedWifiConnections();
    std::vector<SavedNetworkSecurity> networks;
    for (const NMConnectionSettings& settings : saved.wifi) {
        if (const auto security = securityOfSettings(settings)) {
            networks.push_back(SavedNetworkSecurity{settings.ssid, *security});
        }
    }
    return finding(conflictingSecurityInSavedNetworks(networks), savedNetworksInfo(saved));
}

}  // namespace platform::linuxwifi
