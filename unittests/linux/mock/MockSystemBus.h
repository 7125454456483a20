#pragma once
// A private system bus for tests of the Linux backend: its own dbus-daemon (a system-type bus on a
// socket in a temporary folder) with python-dbusmock standing in for NetworkManager (its
// "networkmanager" template) and, when asked, BlueZ ("bluez5"). The test shapes the mocked world
// through the mocks' org.freedesktop.DBus.Mock interface with the helpers below, and reads it with
// the clients over connection(). Each instance starts fresh processes (the mocks cannot be reset)
// and kills their process groups when destroyed.

#include <QByteArray>
#include <QDBusArgument>
#include <QDBusConnection>
#include <QList>
#include <QMap>
#include <QMetaType>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>
#include <QVariant>
#include <QVariantList>
#include <QVariantMap>

#include <sys/types.h>

#include <memory>
#include <optional>
#include <utility>
#include <vector>

namespace testsupport {

// One method of a mocked object: name, D-Bus in and out signatures, and the Python code run for it
// (it sees self, args and objects; it answers by setting ret).
struct MockMethod {
    QString name;
    QString inSignature;
    QString outSignature;
    QString code;
};
QDBusArgument& operator<<(QDBusArgument& arg, const MockMethod& method);
const QDBusArgument& operator>>(const QDBusArgument& arg, MockMethod& method);

// Saved connection settings as NetworkManager's Settings.AddConnection takes them (a{sa{sv}}).
using ConnectionSettings = QMap<QString, QVariantMap>;

class MockSystemBus {
  public:
    static inline const QString kNetworkManager = QStringLiteral("org.freedesktop.NetworkManager");
    static inline const QString kBluez = QStringLiteral("org.bluez");

    struct Options {
        bool networkManager = true;
        // Adds what NetworkManager has and the template lacks on the manager object
        // (GlobalDnsConfiguration, empty). Off: the template as it is.
        bool completeNetworkManager = true;
        // JSON for the template's parameters, e.g. {"WirelessEnabled": false}.
        QString networkManagerParameters;
        bool bluez = false;
    };

    // What keeps these tests from running here (no dbus-daemon, no /usr/bin/python3, no dbusmock
    // module), or nothing. Checked once per process.
    static std::optional<QString> missingTools();

    // Starts the bus and the mocks and waits until the mocks own their names. Throws
    // std::runtime_error with the reason and the processes' output when that fails.
    explicit MockSystemBus(Options options);
    MockSystemBus() : MockSystemBus(Options{}) {}
    ~MockSystemBus();
    MockSystemBus(const MockSystemBus&) = delete;
    MockSystemBus& operator=(const MockSystemBus&) = delete;

    // A connection of its own to the private bus, for the clients under test.
    QDBusConnection connection() const;
    const QString& address() const { return address_; }
    // The bus's and the mocks' process ids, bus first (each leads its own process group).
    std::vector<pid_t> processIds() const;

    // What a mock printed so far (its log of calls and any Python error).
    QString log(const QString& service = kNetworkManager) const;

    // The NetworkManager mock vanishes (killed; returns once its name is gone from the bus), or
    // hangs (stopped: calls to it get no answer) until resumed.
    void killNetworkManager();
    void pauseNetworkManager();
    void resumeNetworkManager();

    // ---- The mocks' org.freedesktop.DBus.Mock interface (each throws std::runtime_error with the
    // mock's answer when it fails) ----
    QVariantList callMock(const QString& path, const QString& interface, const QString& method,
                          const QVariantList& args, const QString& service = kNetworkManager) const;
    void addObject(const QString& path, const QString& interface, const QVariantMap& properties,
                   const QList<MockMethod>& methods = {}, const QString& service = kNetworkManager) const;
    // Adds a property the object lacks (no signal); updateProperties changes existing ones and
    // signals the change (with the mock's UpdateProperties, or Properties.Set for object paths and
    // dictionaries, which that cannot signal); setProperty is the NetworkManager template's
    // SetProperty, which sets a property and sends both the standard and NetworkManager's own
    // properties-changed signal.
    void addProperty(const QString& path, const QString& interface, const QString& name,
                     const QVariant& value, const QString& service = kNetworkManager) const;
    void updateProperties(const QString& path, const QString& interface, const QVariantMap& values,
                          const QString& service = kNetworkManager) const;
    void setProperty(const QString& path, const QString& interface, const QString& name,
                     const QVariant& value) const;
    void emitSignal(const QString& path, const QString& interface, const QString& name,
                    const QString& signature, const QVariantList& args,
                    const QString& service = kNetworkManager) const;
    void addMethod(const QString& path, const QString& interface, const QString& name,
                   const QString& inSignature, const QString& outSignature, const QString& code,
                   const QString& service = kNetworkManager) const;
    // How many times method was called on the object at path since the mock started.
    int methodCallCount(const QString& path, const QString& method,
                        const QString& service = kNetworkManager) const;

    // ---- NetworkManager ----
    // What a Wi-Fi device gets beyond the template, as NetworkManager has it.
    struct WiFiDeviceExtras {
        QString ip4Config = QStringLiteral("/");
        QString ip6Config = QStringLiteral("/");
        uint metered = 0;
        QString activeAccessPoint = QStringLiteral("/");
        qint64 lastScan = -1;
    };
    // The template's AddWiFiDevice plus the extras; answers the device's path.
    QString addWiFiDevice(const QString& name, const QString& interfaceName, uint state,
                          const WiFiDeviceExtras& extras) const;
    QString addWiFiDevice(const QString& name, const QString& interfaceName, uint state) const {
        return addWiFiDevice(name, interfaceName, state, WiFiDeviceExtras{});
    }
    // The template's AddWiFiDevice alone (lacking Ip4Config, Ip6Config, Metered, ActiveAccessPoint
    // and LastScan).
    QString addBareWiFiDevice(const QString& name, const QString& interfaceName, uint state) const;
    // A device of any type with every Device property the client reads.
    QString addDevice(const QString& name, const QString& interfaceName, uint deviceType, uint state) const;
    // The template's AddAccessPoint (security goes to both WpaFlags and RsnFlags; see
    // setAccessPointSecurity); answers the access point's path.
    QString addAccessPoint(const QString& devicePath, const QString& name, const QString& ssid,
                           const QString& bssid, uint mode, uint frequency, uint maxBitrate, uchar strength,
                           uint security) const;
    void setAccessPointSecurity(const QString& accessPointPath, uint flags, uint wpaFlags,
                                uint rsnFlags) const;
    // The template's AddWiFiConnection: a saved connection for an access point the device has.
    QString addWiFiConnection(const QString& devicePath, const QString& name, const QString& ssid,
                              const QString& keyMgmt) const;
    // Settings.AddConnection with any settings; answers the connection's path.
    QString addConnection(const ConnectionSettings& settings) const;
    QString addActiveConnection(const QStringList& devicePaths, const QString& connectionPath,
                                const QString& specificObject, const QString& name, uint state) const;
    // An IP4Config / IP6Config object (AddressData entries of address and prefix, and for IPv4 a
    // Gateway), made the device's Ip4Config / Ip6Config.
    QString addIp4Config(const QString& devicePath, const QString& name,
                         const QList<std::pair<QString, uint>>& addresses, const QString& gateway) const;
    QString addIp6Config(const QString& devicePath, const QString& name,
                         const QList<std::pair<QString, uint>>& addresses,
                         const QString& gateway = QString()) const;
    // From now on each RequestScan of the device sets its LastScan to the current CLOCK_BOOTTIME
    // milliseconds delayMs later, as a finished scan does. (The template's RequestScan changes
    // nothing.)
    void finishScansAfter(const QString& devicePath, int delayMs) const;
    // From now on Properties.Set on path fails with the given D-Bus error, as a polkit refusal does.
    void refusePropertySet(const QString& path, const QString& errorName, const QString& message) const;

    // ---- BlueZ ----
    QString addAdapter(const QString& name, const QString& alias) const;
    QString addBluetoothDevice(const QString& adapterName, const QString& address,
                               const QString& alias) const;
    void pairDevice(const QString& adapterName, const QString& address) const;
    void connectDevice(const QString& adapterName, const QString& address) const;

    // ---- Values of D-Bus types that QVariant alone does not carry ----
    static QVariant objectPath(const QString& path);
    static QVariant objectPaths(const QStringList& paths);
    static QVariant dictList(const QList<QVariantMap>& dicts);       // aa{sv}
    static QVariant byteArrayList(const QList<QByteArray>& arrays);  // aay
    // A Python string literal of text, for method code.
    static QString pythonString(const QString& text);

  private:
    struct Child;
    void start(const Options& options);
    void shutDown();
    void startMock(const QString& service, const QString& templateName, const QString& parameters);
    Child* child(const QString& service) const;
    void waitForName(const QString& service, bool owned, Child& process) const;
    void waitUntilReady(Child& mock) const;
    // Whether the process has ended (and is reaped); its pid is then -1.
    static bool reapIfEnded(Child& process);

    std::unique_ptr<QTemporaryDir> dir_;
    QString address_;
    QString connectionName_;
    std::vector<std::unique_ptr<Child>> children_;
};

}  // namespace testsupport

Q_DECLARE_METATYPE(testsupport::MockMethod)
