#include "platform/wifi/linux/BluezClient.h"

#include <QDBusObjectPath>

#include <algorithm>

namespace platform::linuxwifi {

std::size_t BluetoothState::pairedCount() const {
    return static_cast<std::size_t>(
        std::count_if(devices.begin(), devices.end(), [](const BluetoothDevice& d) { return d.paired; }));
}

std::size_t BluetoothState::connectedCount() const {
    return static_cast<std::size_t>(
        std::count_if(devices.begin(), devices.end(), [](const BluetoothDevice& d) { return d.connected; }));
}

bool BluetoothState::anyAdapterPowered() const {
    return std::any_of(adapters.begin(), adapters.end(), [](const BluetoothAdapter& a) { return a.powered; });
}

BluezClient::BluezClient(QDBusConnection connection, std::chrono::milliseconds callTimeout)
    : caller_(std::move(connection), bluez::kService, callTimeout) {}

bool BluezClient::isRunning() const {
    return caller_.serviceIsPresent();
}

BluetoothState BluezClient::readState() const {
    const QString root = QStringLiteral("/");
    DBusField answer = [&] {
        try {
            return caller_.callForOne(root, QStringLiteral("org.freedesktop.DBus.ObjectManager"),
                                      QStringLiteral("GetManagedObjects"), {},
                                      QStringLiteral("a{oa{sa{sv}}}"));
        } catch (const DBusReadError& error) {
            if (error.kind() == DBusReadError::Kind::NoService) {
                throw DBusReadError(DBusReadError::Kind::NoService,
                                    QStringLiteral("no BlueZ on the bus: %1").arg(error.text()),
                                    error.dbusErrorName());
            }
            throw;
        }
    }();

    BluetoothState out;
    for (const auto& [pathValue, interfaces] : answer.value().entries()) {
        const QString path = pathValue.scalar().value<QDBusObjectPath>().path();
        for (const auto& [nameValue, properties] : interfaces.entries()) {
            const QString interface = nameValue.scalar().toString();
            if (interface != bluez::kAdapterInterface && interface != bluez::kDeviceInterface) {
                continue;
            }
            const DBusDict dict =
                DBusField(properties, DBusPlace{bluez::kService, path, interface, QString(), QString()})
                    .readProperties();
            if (interface == bluez::kAdapterInterface) {
                out.adapters.push_back(BluetoothAdapter{path, dict.at(QStringLiteral("Powered")).readBool()});
            } else {
                out.devices.push_back(BluetoothDevice{path, dict.at(QStringLiteral("Paired")).readBool(),
                                                      dict.at(QStringLiteral("Connected")).readBool()});
            }
        }
    }
    const auto byPath = [](const auto& a, const auto& b) { return a.path < b.path; };
    std::sort(out.adapters.begin(), out.adapters.end(), byPath);
    std::sort(out.devices.begin(), out.devices.end(), byPath);
    return out;
}

}  // namespace platform::linuxwifi
