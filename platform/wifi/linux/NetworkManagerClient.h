#pragma once
// NetworkManager as the Wi-Fi backend reads it over D-Bus: the radio switch, devices and their
// addresses, access points and scans, saved connections, global DNS and connectivity. Every read
// is a blocking call with a timeout, made from a worker thread, answering plain structs; anything
// the service does not answer as documented throws DBusReadError.

#include "platform/wifi/linux/DBusReading.h"

#include <QByteArray>
#include <QDBusConnection>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QStringList>
#include <QVariantMap>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace platform::linuxwifi {

namespace nm {
inline const QString kService = QStringLiteral("org.freedesktop.NetworkManager");
inline const QString kManagerPath = QStringLiteral("/org/freedesktop/NetworkManager");
inline const QString kManagerInterface = QStringLiteral("org.freedesktop.NetworkManager");
inline const QString kDeviceInterface = QStringLiteral("org.freedesktop.NetworkManager.Device");
inline const QString kWirelessInterface = QStringLiteral("org.freedesktop.NetworkManager.Device.Wireless");
inline const QString kAccessPointInterface = QStringLiteral("org.freedesktop.NetworkManager.AccessPoint");
inline const QString kIp4ConfigInterface = QStringLiteral("org.freedesktop.NetworkManager.IP4Config");
inline const QString kIp6ConfigInterface = QStringLiteral("org.freedesktop.NetworkManager.IP6Config");
inline const QString kActiveConnectionInterface =
    QStringLiteral("org.freedesktop.NetworkManager.Connection.Active");
inline const QString kSettingsPath = QStringLiteral("/org/freedesktop/NetworkManager/Settings");
inline const QString kSettingsInterface = QStringLiteral("org.freedesktop.NetworkManager.Settings");
inline const QString kConnectionInterface =
    QStringLiteral("org.freedesktop.NetworkManager.Settings.Connection");

// The object path NetworkManager gives where there is no object (no address, no access point).
inline const QString kNoObject = QStringLiteral("/");

// NMDeviceType values the backend looks for.
constexpr std::uint32_t kDeviceTypeWifi = 2;
constexpr std::uint32_t kDeviceTypeWifiP2P = 30;
// NMDeviceState: not managed; managed and ready to connect; connected and configured.
constexpr std::uint32_t kDeviceStateUnmanaged = 10;
constexpr std::uint32_t kDeviceStateDisconnected = 30;
constexpr std::uint32_t kDeviceStateActivated = 100;
// NMConnectivityState.
constexpr std::uint32_t kConnectivityUnknown = 0;
constexpr std::uint32_t kConnectivityNone = 1;
constexpr std::uint32_t kConnectivityPortal = 2;
constexpr std::uint32_t kConnectivityLimited = 3;
constexpr std::uint32_t kConnectivityFull = 4;
// NMMetered.
constexpr std::uint32_t kMeteredUnknown = 0;
constexpr std::uint32_t kMeteredYes = 1;
constexpr std::uint32_t kMeteredNo = 2;
constexpr std::uint32_t kMeteredGuessYes = 3;
constexpr std::uint32_t kMeteredGuessNo = 4;
}  // namespace nm

// One network device (org.freedesktop.NetworkManager.Device). Object paths are "/" for none.
struct NMDevice {
    QString path;
    std::uint32_t deviceType = 0;  // NMDeviceType: 2 Wi-Fi, 30 Wi-Fi P2P
    QString interface;             // the kernel's interface name
    std::uint32_t state = 0;       // NMDeviceState: 100 activated
    QString ip4Config;
    QString ip6Config;
    QString activeConnection;
    std::uint32_t metered = 0;  // NMMetered: 0 unknown, 1 yes, 2 no, 3 guess-yes, 4 guess-no
    // NMConnectivityState of this device's own IPv4 and IPv6 (absent from daemons older than 1.16).
    std::optional<std::uint32_t> ip4Connectivity;
    std::optional<std::uint32_t> ip6Connectivity;

    bool isWifi() const { return deviceType == nm::kDeviceTypeWifi; }
    bool isWifiP2P() const { return deviceType == nm::kDeviceTypeWifiP2P; }
    bool isActivated() const { return state == nm::kDeviceStateActivated; }
    // Ready to connect or connected: NMDeviceState 30 (disconnected) and above.
    bool isAvailable() const { return state >= nm::kDeviceStateDisconnected; }
    // Not managed by NetworkManager (state 10): nothing it says of the device is measured.
    bool isUnmanaged() const { return state == nm::kDeviceStateUnmanaged; }
};

// The Wi-Fi part of a device (org.freedesktop.NetworkManager.Device.Wireless).
struct NMWifiDevice {
    QString path;
    QString hwAddress;           // the device's own MAC address
    QString activeAccessPoint;   // "/" when not joined
    std::int64_t lastScan = -1;  // CLOCK_BOOTTIME milliseconds of the last finished scan; -1 never
};

// One address of an IPv4 or IPv6 configuration (AddressData).
struct NMIpAddress {
    QString address;
    std::uint32_t prefix = 0;
};

struct NMIp4Config {
    QString path;
    std::vector<NMIpAddress> addresses;
    QString gateway;  // empty when there is none
};

struct NMIp6Config {
    QString path;
    std::vector<NMIpAddress> addresses;
    QString gateway;  // empty when there is none; often link-local (fe80::...)
};

// One access point seen by a scan (org.freedesktop.NetworkManager.AccessPoint).
struct NMAccessPoint {
    QString path;
    QByteArray ssid;               // raw bytes, 0 to 32, any values; empty for a hidden network
    QString hwAddress;             // the BSSID
    std::uint8_t strength = 0;     // 0 to 100
    std::uint32_t frequency = 0;   // MHz
    std::uint32_t maxBitrate = 0;  // kbit/s
    std::uint32_t flags = 0;       // NM80211ApFlags (1: privacy)
    std::uint32_t wpaFlags = 0;    // NM80211ApSecurityFlags of the WPA element
    std::uint32_t rsnFlags = 0;    // NM80211ApSecurityFlags of the RSN element
    std::uint32_t mode = 0;        // NM80211Mode: 1 ad-hoc, 2 infrastructure, 3 access point
    std::int32_t lastSeen = -1;    // CLOCK_BOOTTIME seconds when last seen; -1 never
};

// What the backend needs of one saved connection (Settings.Connection.GetSettings). NetworkManager
// leaves a setting out when it has its default value, so those stay optional here: absent means
// "NetworkManager's default", written next to each field, and the effective...() helpers apply it
// in the open.
struct NMConnectionSettings {
    QString path;
    // connection
    QString id;
    QString uuid;
    QString type;                            // "802-11-wireless" for Wi-Fi
    std::optional<std::uint64_t> timestamp;  // seconds since 1970 of the last activation; default 0: never
    std::optional<bool> autoconnect;         // default true
    // 802-11-wireless (only when hasWireless)
    bool hasWireless = false;
    QByteArray ssid;
    std::optional<bool> hidden;   // default false
    std::optional<QString> mode;  // default "infrastructure"
    // 802-11-wireless-security (only when hasWirelessSecurity)
    bool hasWirelessSecurity = false;
    std::optional<QString> keyMgmt;  // "none" (WEP), "ieee8021x", "owe", "wpa-psk", "sae", "wpa-eap", ...
    QStringList proto;               // "wpa", "rsn"; empty: any
    QStringList pairwise;            // "tkip", "ccmp"; empty: any
    // ipv4 / ipv6
    std::optional<QString> ipv4Method;  // "auto", "manual", "link-local", "shared", "disabled"
    std::optional<QString> ipv6Method;  // also "dhcp", "ignore"
    QStringList ipv4Dns;                // addresses as text, from "dns" or "dns-data"
    QStringList ipv6Dns;
    std::optional<bool> ipv4IgnoreAutoDns;  // default false
    std::optional<bool> ipv6IgnoreAutoDns;  // default false
    // proxy
    std::optional<std::int32_t> proxyMethod;  // 0 none, 1 auto; default 0

    bool isWifi() const { return type == QStringLiteral("802-11-wireless"); }
    bool effectiveAutoconnect() const { return autoconnect.value_or(true); }
    bool effectiveHidden() const { return hidden.value_or(false); }
    bool effectiveProxyNone() const { return proxyMethod.value_or(0) == 0; }
};

// NetworkManager's global DNS configuration (GlobalDnsConfiguration); isSet is false when the
// property is empty, which is how NetworkManager says there is none.
struct NMGlobalDns {
    bool isSet = false;
    QStringList searches;
    QStringList options;
    QStringList servers;  // of every domain, domains taken in name order
};

// Whether the daemon checks connectivity itself: available (a check URI is configured; stock Debian
// configures none) and enabled (the user has not switched checking off). Absent when the daemon
// does not say.
struct NMConnectivityChecking {
    std::optional<bool> available;
    std::optional<bool> enabled;
    bool checks() const { return available.value_or(false) && enabled.value_or(false); }
};

// How a wait for a fresh scan ended.
struct NMScanWait {
    // Refused: RequestScan was refused (the polkit right wifi.scan, which sessions that are not
    // local lack) or failed (the device is unavailable); refusal holds the daemon's answer.
    enum class Outcome { Fresh, TimedOut, Cancelled, Refused };
    Outcome outcome = Outcome::TimedOut;
    std::optional<DBusReadError> refusal;
    std::int64_t lastScanBefore = -1;
    std::int64_t lastScanAfter = -1;  // the last value read
};

// Delivers changes of NetworkManager's WirelessEnabled on the thread of a QObject (the main
// thread): onChange(enabled) once per change. It listens to the standard properties-changed signal
// of the manager object (NetworkManager's own older one is gone since 1.32); a value equal to the
// last one delivered is not delivered twice. A changed value of the wrong
// type goes to onError. Destroy it on the context's thread; it stops on its own when the context
// object goes away.
class WirelessEnabledWatcher final : public QObject {
    Q_OBJECT
  public:
    ~WirelessEnabledWatcher() override;

    // Whether the bus accepted the subscription.
    bool isWatching() const { return watching_; }

  private slots:
    void onPropertiesChanged(const QString& interface, const QVariantMap& changed,
                             const QStringList& invalidated);

  private:
    friend class NetworkManagerClient;
    WirelessEnabledWatcher(QDBusConnection connection, QObject* context, std::function<void(bool)> onChange,
                           std::function<void(const DBusReadError&)> onError);
    void deliver(const QVariantMap& changed);

    QDBusConnection connection_;
    QPointer<QObject> context_;
    std::function<void(bool)> onChange_;
    std::function<void(const DBusReadError&)> onError_;
    std::optional<bool> last_;
    bool watching_ = false;
};

class NetworkManagerClient {
  public:
    // NetworkManager's own check gives up after 20 s; a little more for the call itself.
    static constexpr std::chrono::milliseconds kCheckConnectivityTimeout{25000};

    // connection: the system bus (or a test's bus); every call waits at most callTimeout.
    NetworkManagerClient(QDBusConnection connection, std::chrono::milliseconds callTimeout);

    // Whether NetworkManager owns its name on the bus. Throws only when the bus does not answer.
    bool isRunning() const;

    bool wirelessEnabled() const;
    // The radio's kill switch (rfkill): false while a hardware switch or the firmware holds Wi-Fi
    // off, whatever WirelessEnabled is asked to be.
    bool wirelessHardwareEnabled() const;
    // Switches the Wi-Fi radio. Needs a polkit right; a refusal throws DBusReadError (Refused) with
    // the service's text.
    void setWirelessEnabled(bool enabled) const;
    // Starts watching WirelessEnabled; see WirelessEnabledWatcher. Call it on any thread; a null
    // context throws std::invalid_argument.
    std::unique_ptr<WirelessEnabledWatcher> watchWirelessEnabled(
        QObject* context, std::function<void(bool)> onChange,
        std::function<void(const DBusReadError&)> onError = {}) const;

    // GetDevices: the object paths, then each device read; one gone in between is left out.
    QStringList devicePaths() const;
    NMDevice device(const QString& path) const;
    std::vector<NMDevice> devices() const;

    NMWifiDevice wifiDevice(const QString& devicePath) const;
    std::int64_t lastScan(const QString& devicePath) const;
    NMIp4Config ip4Config(const QString& path) const;
    NMIp6Config ip6Config(const QString& path) const;

    // GetAllAccessPoints (hidden ones included), then each access point read. An access point that
    // goes away between the two (NetworkManager drops old ones at any time) is left out.
    QStringList accessPointPaths(const QString& devicePath) const;
    NMAccessPoint accessPoint(const QString& path) const;
    std::vector<NMAccessPoint> accessPoints(const QString& devicePath) const;

    // RequestScan({}).
    void requestScan(const QString& devicePath) const;
    // Asks for a scan and waits until the device's LastScan changes (Fresh), timeout passes
    // (TimedOut) or isCancelled() answers true (Cancelled; checked every few milliseconds); a
    // request the daemon does not take is Refused. LastScan
    // is read every pollInterval, each read held to what is left of the timeout, so the wait ends
    // in time even when the service is slow. Errors of the bus throw DBusReadError.
    NMScanWait waitForFreshScan(
        const QString& devicePath, std::chrono::milliseconds timeout,
        const std::function<bool()>& isCancelled = {},
        std::chrono::milliseconds pollInterval = std::chrono::milliseconds(100)) const;

    // The saved connection (its Settings path) an active connection runs.
    QString activeConnectionSettingsPath(const QString& activeConnectionPath) const;
    // Settings.ListConnections.
    QStringList savedConnectionPaths() const;
    NMConnectionSettings connectionSettings(const QString& path) const;

    NMGlobalDns globalDnsConfiguration() const;
    // NMConnectivityState as last checked, and after asking NetworkManager to check now, which may
    // take it up to 20 s (its own HTTP timeout): that call waits at most timeout, and a cancel of
    // the thread's work (CallCancellation) ends it at once.
    std::uint32_t connectivity() const;
    std::uint32_t checkConnectivity(std::chrono::milliseconds timeout = kCheckConnectivityTimeout) const;
    NMConnectivityChecking connectivityChecking() const;

    const DBusCaller& caller() const { return caller_; }

  private:
    DBusCaller caller_;
};

}  // namespace platform::linuxwifi
