#pragma once
// The real Linux system as the Wi-Fi backend: we are the Wi-Fi diagnostics service. Each numbered
// test has a handler that measures it from NetworkManager and BlueZ (D-Bus), the kernel (sysfs,
// ICMP datagram sockets, getaddrinfo), the kernel's nl80211 (or a recording of it) and HTTP; a test
// whose source is missing answers error 95 naming what is missing. The radio is NetworkManager's
// WirelessEnabled. docs/linux-backend.md says what every test ID measures and where it comes from.

#include "platform/wifi/WiFiBackend.h"
#include "platform/wifi/linux/CancelToken.h"
#include "platform/wifi/linux/NetworkManagerClient.h"
#include "platform/wifi/linux/ProbeTargets.h"

#include <QDBusConnection>
#include <QHostAddress>
#include <QObject>
#include <QString>

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <vector>

namespace platform::linuxwifi {

class BluezClient;
class HttpProbe;
class Nl80211Source;
struct BluetoothState;
struct Nl80211Bss;
struct Nl80211Station;
struct RadioSnapshot;

// The service's error codes (errno values, as the platform's service uses them).
namespace servicecode {
inline constexpr std::int64_t kNoSuchNetwork = 2;  // the named network is not in the scan
inline constexpr std::int64_t kNotPermitted = 13;  // the system refuses this user what the test needs
inline constexpr std::int64_t kSystem = 5;         // a system service gave no usable answer
inline constexpr std::int64_t kNotJoined = 57;     // the test needs a joined network
inline constexpr std::int64_t kTimedOut = 60;      // no fresh scan within the scan timeout
inline constexpr std::int64_t kUnknownTest = 22;   // a test ID this service does not know
inline constexpr std::int64_t kNotSupported = 95;  // the source the test needs is missing here
inline constexpr std::int64_t kCancelled = 125;    // cancelAllRequests ended the request
}  // namespace servicecode

struct LinuxBackendOptions {
    QDBusConnection bus = QDBusConnection::systemBus();
    std::chrono::milliseconds callTimeout{2000};   // every D-Bus call
    std::chrono::milliseconds scanTimeout{15000};  // waiting for a fresh scan
    // NetworkManager's CheckConnectivity, which may take it up to 20 s.
    std::chrono::milliseconds connectivityCheckTimeout = NetworkManagerClient::kCheckConnectivityTimeout;
    ProbeTargets targets;
    // Root of the kernel's sysfs, where the Wi-Fi drivers' Bluetooth coexistence switch is read.
    QString sysfsRoot = QStringLiteral("/sys");
    // The kernel's IPv4 routing table, where the gateway is read when NetworkManager names none.
    QString routeTablePath = QStringLiteral("/proc/net/route");
    // The system resolver's configuration, whose first name server the DNS test's route is checked to.
    QString resolvConfPath = QStringLiteral("/etc/resolv.conf");
    // Where the radio details come from: the kernel's nl80211 when none is given, or a recording.
    std::shared_ptr<Nl80211Source> nl80211;
    // Called with a one-line message when the system refuses something the user asked for
    // (switching Wi-Fi on without the right); the host prints it.
    std::function<void(const QString&)> warn;
};

// The saved Wi-Fi connections a test reads, and how many saved connections it could not read
// (restricted to another user, or deleted while being read).
struct SavedWifiConnections {
    std::vector<NMConnectionSettings> wifi;
    int unreadable = 0;
};

// What a test's handler answers: a result, or a service error.
struct TestAnswer {
    std::optional<DiagnosticsTestResult> result;
    ErrorRef error;
};

class LinuxBackend final : public WiFiBackend {
  public:
    // Reads the radio's state at once; context is the object on whose thread (the main thread)
    // power changes are heard.
    LinuxBackend(LinuxBackendOptions options, QObject* context);
    ~LinuxBackend() override;

    using WiFiBackend::queryStatus;
    using WiFiBackend::runDiagnosticsTests;
    DiagnosticsTestResults runDiagnosticsTests(const std::vector<DiagnosticsTestRequest>& tests,
                                               ErrorRef* error, const Arrival& arrived) override;
    StatusSnapshotRef queryStatus(ErrorRef* error, const Arrival& arrived) override;
    void cancelAllRequests() override;
    bool containsWiFiRadio() override;
    bool managerClientAvailable() override;
    int deviceCount() override;
    bool power() override;
    void setPower(bool on) override;
    bool capability(const QString& key) override;

    // Takes the kernel's dumps of the Wi-Fi device's radio once, whether or not a test needed them (a
    // recording source writes them down); answers why it could not.
    std::optional<QString> takeRadioDumps();

    // How many scans this backend asked NetworkManager for.
    int scansRequested() const;

    // One request as a handler sees it.
    struct Request;

  private:
    using Handler = TestAnswer (LinuxBackend::*)(const Request&);
    static const std::map<std::int64_t, Handler>& handlers();
    TestAnswer answer(const DiagnosticsTestRequest& test, const std::shared_ptr<CancelToken>& cancel);

    // Device configuration.
    TestAnswer customIPv4(const Request&);
    TestAnswer customIPv6(const Request&);
    TestAnswer customDNS(const Request&);
    TestAnswer customWebProxy(const Request&);
    TestAnswer realTimeMode(const Request&);
    TestAnswer bluetoothConnected(const Request&);
    TestAnswer bluetoothPaired(const Request&);
    TestAnswer bluetoothCoex(const Request&);
    TestAnswer largePNL(const Request&);
    TestAnswer pnlContainsHidden(const Request&);
    TestAnswer conflictingSecurityInPNL(const Request&);
    // A network: the joined one, or the one the request names.
    TestAnswer doubleNAT(const Request&);
    TestAnswer longBeaconInterval(const Request&);
    TestAnswer longDTIMInterval(const Request&);
    TestAnswer passpoint(const Request&);
    TestAnswer conflictingPHYMode11AC(const Request&);
    TestAnswer conflictingPHYMode11N(const Request&);
    TestAnswer baseStation(const Request&);
    TestAnswer ht40Channel(const Request&);
    TestAnswer conflictingCountryCode(const Request&);
    TestAnswer noSecurity(const Request&);
    TestAnswer legacyWEP(const Request&);
    TestAnswer legacyWPA(const Request&);
    TestAnswer legacyRates(const Request&);
    TestAnswer ambiguousName(const Request&);
    TestAnswer hiddenNetwork(const Request&);
    TestAnswer personalHotspot(const Request&);
    TestAnswer captivePortal(const Request&);
    TestAnswer pingLAN(const Request&);
    TestAnswer pingWAN(const Request&);
    TestAnswer ipv4Assigned(const Request&);
    TestAnswer ipv6Assigned(const Request&);
    TestAnswer resolveDNS(const Request&);
    TestAnswer reachInternet(const Request&);
    TestAnswer retrieveInternet(const Request&);
    TestAnswer congestedChannel(const Request&);
    TestAnswer congested2GHz(const Request&);
    TestAnswer congested5GHz(const Request&);
    TestAnswer poorSignal(const Request&);
    TestAnswer hiddenScanResults(const Request&);
    TestAnswer noScanResults(const Request&);

    // Shared steps of the handlers.
    // The Wi-Fi device the tests measure; error 95 when NetworkManager manages none.
    NMDevice wifiDevice() const;
    QString wifiDevicePath() const;
    // Whether NetworkManager's access points are made up (its iwd backend is on the bus), and
    // error 95 saying so when they are.
    bool accessPointsAreMadeUp() const;
    void requireRealAccessPoints() const;
    std::vector<NMAccessPoint> scan(const Request& request);
    // The daemon's last scan when it refused a fresh one, said on stderr; error 13 or 95 when it
    // has none.
    std::int64_t lastScanInsteadOfARefusedOne(const NMScanWait& wait);
    NMAccessPoint targetAccessPoint(const Request& request);
    // The settings of the connection the Wi-Fi device is using, none when it uses none; error 13
    // when they belong to another user (NetworkManager refuses them), or, IfReadable, none then too.
    std::optional<NMConnectionSettings> activeConnection() const;
    std::optional<NMConnectionSettings> activeConnectionIfReadable() const;
    // The most recently used connection saved for the SSID.
    std::optional<NMConnectionSettings> savedConnectionFor(const QByteArray& ssid) const;
    // The connection a network test reads: the active one for the joined network, else the saved one.
    std::optional<NMConnectionSettings> connectionFor(const Request& request, const NMAccessPoint& ap) const;
    // The saved Wi-Fi connections this user may read, and how many connections could not be read.
    SavedWifiConnections savedWifiConnections() const;
    void requireJoinedTarget(const Request& request) const;
    // A probe measures the Wi-Fi only when it left through the Wi-Fi device; otherwise (another
    // network holds the route) the test answers error 95 naming both.
    void requireThroughWiFi(const std::optional<QString>& interfaceName, const QString& what,
                            const QString& address) const;
    TestAnswer ping(const Request& request, const QString& what, const QHostAddress& target);
    // The Wi-Fi device's gateways: IPv4 (NetworkManager's, else the kernel's default route when it
    // leaves through the Wi-Fi device, else why there is none) and IPv6 (NetworkManager's, a
    // link-local one scoped to the Wi-Fi device).
    struct Gateways {
        std::optional<QHostAddress> ipv4;
        QString noIPv4Because;
        bool hasIPv4Address = false;  // the device has an IPv4 address of NetworkManager's
        std::optional<QHostAddress> ipv6;
        // A network without IPv4 (IPv6 only, with NAT64): no IPv4 address or gateway, an IPv6 gateway.
        bool ipv6Only() const { return !ipv4 && !hasIPv4Address && ipv6.has_value(); }
    };
    Gateways gateways() const;
    // Whether a sign-in page stands between the Wi-Fi and the internet: NetworkManager's own check of
    // the Wi-Fi device where the daemon checks, else our HTTP probe through the Wi-Fi device.
    bool behindCaptivePortal(const Request& request);
    // The internet check's address, resolved here and its route checked to leave through the
    // Wi-Fi device (error 95 otherwise); a resolution that failed comes back as its error.
    ProbeOutcome<QHostAddress> internetCheckAddress(const Request& request);
    // Error 95 when the system resolver's first name server is reached through another device.
    void requireResolverThroughWiFi() const;
    // The kernel's view of the radio, taken right after the scan the request uses (the kernel
    // forgets a BSS 30 s after a scan) and kept while that scan stays the last; error 95 saying what
    // needs it when nl80211 is missing or does not list the Wi-Fi device.
    std::shared_ptr<const RadioSnapshot> radio(const Request& request, const QString& what);
    // The same, or none where nl80211 cannot be read (for the tests that have another source).
    std::shared_ptr<const RadioSnapshot> radioIfReadable(const Request& request);
    // The access point a test is about as the kernel sees it: its BSS in the kernel's scan (error 95
    // when absent) and, for the joined network, the station.
    struct RadioTarget {
        std::shared_ptr<const RadioSnapshot> radio;
        const Nl80211Bss* bss = nullptr;
        const Nl80211Station* station = nullptr;  // the joined network's only
        bool joined = false;
    };
    RadioTarget radioTarget(const Request& request, const QString& what);
    // The BSS of an access point NetworkManager lists, in a snapshot; none when the kernel has none.
    static const Nl80211Bss* bssOf(const RadioSnapshot& radio, const NMAccessPoint& ap);
    TestAnswer phyModeConflict(const Request& request, const QString& mode);
    void watchPower(QObject* context);
    BluetoothState bluetoothState() const;

    LinuxBackendOptions options_;
    std::unique_ptr<NetworkManagerClient> nm_;
    std::unique_ptr<BluezClient> bluez_;
    std::unique_ptr<HttpProbe> http_;
    std::unique_ptr<WirelessEnabledWatcher> powerWatcher_;

    std::mutex scanMutex_;  // held by the one request waiting for a fresh scan
    mutable std::mutex mutex_;
    std::set<std::shared_ptr<CancelToken>> running_;  // the cancel tokens of requests in progress
    bool power_ = false;
    int scansRequested_ = 0;
    // The last scan read, kept while NetworkManager's LastScan stays the same.
    std::optional<std::int64_t> cachedScanTime_;
    std::int64_t lastStaleScanTold_ = -1;  // the last scan the user heard was used for a refused one
    std::shared_ptr<const std::vector<NMAccessPoint>> cachedScan_;
    std::mutex radioMutex_;  // held while the kernel's dumps are taken
    std::optional<std::int64_t> cachedRadioScanTime_;
    std::shared_ptr<const RadioSnapshot> cachedRadio_;
};

}  // namespace platform::linuxwifi
