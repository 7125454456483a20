#pragma once
// BlueZ as the Wi-Fi backend reads it over D-Bus: the Bluetooth adapters and whether they are
// powered, and the known devices and whether they are paired and connected (Bluetooth shares the
// radio with Wi-Fi). One ObjectManager call answers everything; blocking, with a timeout, for a
// worker thread.

#include "platform/wifi/linux/DBusReading.h"

#include <QDBusConnection>
#include <QString>

#include <chrono>
#include <cstddef>
#include <vector>

namespace platform::linuxwifi {

namespace bluez {
inline const QString kService = QStringLiteral("org.bluez");
inline const QString kAdapterInterface = QStringLiteral("org.bluez.Adapter1");
inline const QString kDeviceInterface = QStringLiteral("org.bluez.Device1");
}  // namespace bluez

struct BluetoothAdapter {
    QString path;
    bool powered = false;
};

struct BluetoothDevice {
    QString path;
    bool paired = false;
    bool connected = false;
};

// Every adapter and device BlueZ knows, in object path order.
struct BluetoothState {
    std::vector<BluetoothAdapter> adapters;
    std::vector<BluetoothDevice> devices;

    std::size_t pairedCount() const;
    std::size_t connectedCount() const;
    bool anyAdapterPowered() const;
};

class BluezClient {
  public:
    BluezClient(QDBusConnection connection, std::chrono::milliseconds callTimeout);

    // Whether BlueZ owns its name on the bus. Throws only when the bus does not answer.
    bool isRunning() const;

    // Reads every adapter and device. When BlueZ is not on the bus this throws DBusReadError of
    // kind NoService whose text starts "no BlueZ on the bus"; other failures throw as any read does.
    BluetoothState readState() const;

  private:
    DBusCaller caller_;
};

}  // namespace platform::linuxwifi
