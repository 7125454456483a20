#include "host/BackendChoice.h"

#include "host/HostOutput.h"

#include "platform/wifi/linux/DBusReading.h"
#include "platform/wifi/linux/NetworkManagerClient.h"

#include <QCoreApplication>
#include <QDBusConnection>

#include <chrono>

namespace host {

namespace {

constexpr std::chrono::milliseconds kProbeCallTimeout{2000};

}  // namespace

bool realWiFiAvailable(QString* why) {
    const QDBusConnection bus = QDBusConnection::systemBus();
    if (!bus.isConnected()) {
        *why = QStringLiteral("no NetworkManager on the system bus");
        return false;
    }
    try {
        const platform::linuxwifi::NetworkManagerClient nm(bus, kProbeCallTimeout);
        if (!nm.isRunning()) {
            *why = QStringLiteral("no NetworkManager on the system bus");
            return false;
        }
        bool unmanaged = false;
        for (const auto& device : nm.devices()) {
            if (device.isWifi() && !device.isUnmanaged()) {
                return true;
            }
            unmanaged = unmanaged || device.isWifi();
        }
        // An unmanaged device's networks are unknown to NetworkManager: nothing could be profiled.
        *why = unmanaged ? QStringLiteral("NetworkManager manages no Wi-Fi device")
                         : QStringLiteral("NetworkManager lists no Wi-Fi device");
    } catch (const platform::linuxwifi::DBusReadError& e) {
        *why = QStringLiteral("NetworkManager did not answer: %1").arg(e.text());
    }
    return false;
}

std::shared_ptr<platform::linuxwifi::LinuxBackend> makeLinuxBackend(
    const HostOptions& options, std::shared_ptr<platform::linuxwifi::Nl80211Source> nl80211) {
    platform::linuxwifi::LinuxBackendOptions linuxOptions;
    linuxOptions.nl80211 = std::move(nl80211);
    linuxOptions.targets = options.probeTargets;
    linuxOptions.warn = [](const QString& message) {
        writeOut(stderr, QStringLiteral("wifi-profile: %1\n").arg(message).toUtf8());
    };
    return std::make_shared<platform::linuxwifi::LinuxBackend>(std::move(linuxOptions), qApp);
}

}  // namespace host
