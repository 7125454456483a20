// The steps the handlers share: the Wi-Fi device, the scan, the access point and the connection a
// test is about, and the checks that a live test measures the Wi-Fi.
#include "platform/wifi/linux/HandlerSupport.h"

#include "platform/wifi/linux/BluezClient.h"
#include "platform/wifi/linux/CancelToken.h"
#include "platform/wifi/linux/NetworkManagerClient.h"
#include "platform/wifi/linux/SsidText.h"

namespace platform::linuxwifi {

using namespace handlers;

QString LinuxBackend::wifiDevicePath() const {
    return wifiDevice().path;
}

NMDevice LinuxBackend::wifiDevice() const {
    // With several Wi-Fi devices (a built-in card and a USB stick), the one in use: the first
    // activated, else the first ready to connect, else the first NetworkManager manages at all
    // (unavailable, for example while its radio is killed). An unmanaged device is never measured:
    // NetworkManager knows nothing of its networks.
    std::optional<NMDevice> available;
    std::optional<NMDevice> managed;
    int unmanaged = 0;
    for (NMDevice& device : nm_->devices()) {
        if (!device.isWifi()) {
            continue;
        }
        if (device.isActivated()) {
            return device;
        }
        if (device.isUnmanaged()) {
            ++unmanaged;
        } else if (device.isAvailable() && !available) {
            available = device;
        } else if (!managed) {
            managed = device;
        }
    }
    if (available || managed) {
        return available ? *available : *managed;
    }
    if (unmanaged > 0) {
        fail(servicecode::kNotSupported,
             QStringLiteral("NetworkManager does not manage the Wi-Fi device (%1 unmanaged)").arg(unmanaged));
    }
    fail(servicecode::kNotSupported, QStringLiteral("NetworkManager lists no Wi-Fi device"));
}

bool LinuxBackend::accessPointsAreMadeUp() const {
    // On the iwd backend (wifi.backend=iwd) NetworkManager makes up one access point per network,
    // with a made-up BSSID, frequency and bit rate: nothing measured from them would be true.
    return DBusCaller(options_.bus, QStringLiteral("net.connman.iwd"), options_.callTimeout)
        .serviceIsPresent();
}

void LinuxBackend::requireRealAccessPoints() const {
    if (accessPointsAreMadeUp()) {
        fail(servicecode::kNotSupported,
             QStringLiteral(
                 "NetworkManager runs on the iwd backend, whose access points (one per network, with "
                 "made-up BSSID, frequency and bit rate) cannot be measured; this test needs "
                 "NetworkManager on wpa_supplicant"));
    }
}

std::int64_t LinuxBackend::lastScanInsteadOfARefusedOne(const NMScanWait& wait) {
    const QString why = wait.refusal ? wait.refusal->text() : QStringLiteral("no reason given");
    if (wait.lastScanBefore < 0) {
        fail(wait.refusal && wait.refusal->kind() == DBusReadError::Kind::Refused
                 ? servicecode::kNotPermitted
                 : servicecode::kNotSupported,
             QStringLiteral("NetworkManager refused a scan and has none to reuse: %1").arg(why));
    }
    // The daemon's last scan stands in; the user hears once per scan how old it is.
    bool tell = false;
    {
        std::lock_guard lock(mutex_);
        tell = lastStaleScanTold_ != wait.lastScanBefore;
        lastStaleScanTold_ = wait.lastScanBefore;
    }
    if (tell && options_.warn) {
        options_.warn(
            QStringLiteral("NetworkManager refused a fresh scan (%1); the tests use its last scan, %2 s old")
                .arg(why, QString::number((bootTimeMs() - wait.lastScanBefore) / 1000)));
    }
    return wait.lastScanBefore;
}

std::vector<NMAccessPoint> LinuxBackend::scan(const Request& request) {
    requireRealAccessPoints();
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
            case NMScanWait::Outcome::Refused:
                lastScan = lastScanInsteadOfARefusedOne(wait);
                break;
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
    const NMDevice device = wifiDevice();
    if (device.activeConnection.isEmpty() || device.activeConnection == nm::kNoObject) {
        return std::nullopt;
    }
    try {
        return nm_->connectionSettings(nm_->activeConnectionSettingsPath(device.activeConnection));
    } catch (const DBusReadError& error) {
        if (error.kind() != DBusReadError::Kind::Refused) {
            throw;
        }
        fail(servicecode::kNotPermitted,
             QStringLiteral("NetworkManager refuses this user the settings of the connection in use, which "
                            "belongs to another user (connection.permissions): %1")
                 .arg(error.text()));
    }
}

std::optional<NMConnectionSettings> LinuxBackend::activeConnectionIfReadable() const {
    try {
        return activeConnection();
    } catch (const ServiceFailure& failure) {
        if (failure.error->code != servicecode::kNotPermitted) {
            throw;
        }
        return std::nullopt;
    }
}

SavedWifiConnections LinuxBackend::savedWifiConnections() const {
    SavedWifiConnections saved;
    for (const QString& path : nm_->savedConnectionPaths()) {
        try {
            NMConnectionSettings settings = nm_->connectionSettings(path);
            if (isWifiConnection(settings)) {
                saved.wifi.push_back(std::move(settings));
            }
        } catch (const DBusReadError& error) {
            // A connection restricted to another user (connection.permissions) is refused to us,
            // and one deleted since the list was read is gone: the rest still answer.
            if (error.kind() != DBusReadError::Kind::Refused &&
                error.kind() != DBusReadError::Kind::NoSuchObject) {
                throw;
            }
            ++saved.unreadable;
        }
    }
    return saved;
}

std::optional<NMConnectionSettings> LinuxBackend::connectionFor(const Request& request,
                                                                const NMAccessPoint& ap) const {
    if (!request.networkName) {
        // The joined network: the connection the device is using, when it is for that SSID.
        if (auto active = activeConnectionIfReadable(); active && active->ssid == ap.ssid) {
            return active;
        }
    }
    return savedConnectionFor(ap.ssid);
}

std::optional<NMConnectionSettings> LinuxBackend::savedConnectionFor(const QByteArray& ssid) const {
    std::optional<NMConnectionSettings> best;
    for (NMConnectionSettings& settings : savedWifiConnections().wifi) {
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
    const QString wifi = wifiDevice().interface;
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

}  // namespace platform::linuxwifi
