// LinuxBackend against NetworkManager and BlueZ mocks on a private bus: each handler's verdict and
// details from a shaped world, the joined or a selected network, the status query, scan reuse and
// the fresh-scan wait with its timeout and cancel, and radio power changes reaching the platform.
#include "platform/wifi/linux/HandlerSupport.h"
#include "platform/wifi/linux/LinuxBackend.h"

#include "platform/foundation/Dispatch.h"
#include "platform/wifi/RunLoop.h"
#include "platform/wifi/WiFiManager.h"
#include "platform/wifi/WiFiRecords.h"
#include "platform/wifi/linux/NetworkManagerClient.h"
#include "unittests/linux/mock/MockSystemBus.h"
#include "unittests/support/MainLoop.h"
#include "unittests/support/PowerWatch.h"

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QHostAddress>
#include <QNetworkInterface>
#include <QObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QUrl>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <ctime>
#include <future>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

using namespace platform;
using namespace std::chrono_literals;
using platform::linuxwifi::LinuxBackend;
using platform::linuxwifi::LinuxBackendOptions;
using ::testing::HasSubstr;
using testsupport::ConnectionSettings;
using testsupport::MockSystemBus;
namespace nm = platform::linuxwifi::nm;

// Failures show Qt strings as text.
inline void PrintTo(const QString& text, std::ostream* os) {
    *os << '"' << text.toStdString() << '"';
}

namespace {

using Clock = std::chrono::steady_clock;

constexpr uint kActivated = 100;
constexpr uint kDisconnected = 30;
constexpr uint kInfrastructure = 2;
constexpr uint kKeyMgmtPsk = 0x100;

// NetworkManager's access point security flags as the tests shape them.
constexpr uint kPrivacy = 0x1;
constexpr uint kWpaTkip = 0x4 | 0x40 | 0x100;  // pairwise TKIP, group TKIP, PSK
constexpr uint kRsnCcmp = 0x8 | 0x80 | 0x100;  // pairwise CCMP, group CCMP, PSK

std::string str(const QString& text) {
    return text.toStdString();
}

std::int64_t bootTimeMs() {
    timespec now{};
    clock_gettime(CLOCK_BOOTTIME, &now);
    return static_cast<std::int64_t>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

// What one test request answered.
struct Outcome {
    DiagnosticsTestResultRef result;
    ErrorRef error;

    std::int64_t errorCode() const { return error ? error->code : -1; }
    std::string errorText() const { return error ? str(error->text) : std::string(); }
    std::optional<Value> info(const char* key) const {
        if (!result || !result->info) {
            return std::nullopt;
        }
        return result->info->value(QString::fromLatin1(key));
    }
    std::optional<std::int64_t> intInfo(const char* key) const {
        const auto v = info(key);
        return v && v->isNumber() ? std::optional<std::int64_t>(v->toInt()) : std::nullopt;
    }
    std::optional<QString> stringInfo(const char* key) const {
        const auto v = info(key);
        return v && v->isString() ? std::optional<QString>(v->toString()) : std::nullopt;
    }
};

// The result and didPass of an answer, or an error code, in one comparable form.
struct Verdict {
    bool result = false;
    bool didPass = false;
    bool operator==(const Verdict&) const = default;
};
std::ostream& operator<<(std::ostream& os, const Verdict& v) {
    return os << "{result " << v.result << ", didPass " << v.didPass << "}";
}

Verdict verdictOf(const Outcome& o) {
    return o.result ? Verdict{o.result->result, o.result->didPass} : Verdict{};
}

DictionaryRef selecting(const char* network, std::int64_t maxScanCacheAge = 60) {
    return Dictionary::make({{QStringLiteral("NetworkName"), Value::string(QString::fromUtf8(network))},
                             {QStringLiteral("MaxScanCacheAge"), Value::integer(maxScanCacheAge)}});
}

DictionaryRef maxAge(std::int64_t seconds) {
    return Dictionary::make({{QStringLiteral("MaxScanCacheAge"), Value::integer(seconds)}});
}

ConnectionSettings wifiConnection(const QString& id, const QByteArray& ssid) {
    static int serial = 0;
    ++serial;
    return ConnectionSettings{
        {QStringLiteral("connection"),
         {{QStringLiteral("id"), id},
          {QStringLiteral("uuid"),
           QStringLiteral("00000000-0000-4000-8000-%1").arg(serial, 12, 10, QLatin1Char('0'))},
          {QStringLiteral("type"), QStringLiteral("802-11-wireless")}}},
        {QStringLiteral("802-11-wireless"), {{QStringLiteral("ssid"), ssid}}},
    };
}

ConnectionSettings withKeyMgmt(ConnectionSettings settings, const QString& keyMgmt) {
    settings[QStringLiteral("802-11-wireless-security")] = {{QStringLiteral("key-mgmt"), keyMgmt}};
    return settings;
}

class LinuxBackendTest : public ::testing::Test {
  protected:
    void SetUp() override {
        if (const auto missing = MockSystemBus::missingTools()) {
            GTEST_SKIP() << "needs a private D-Bus with python-dbusmock: " << str(*missing);
        }
        mock_ = std::make_unique<MockSystemBus>(busOptions());
    }
    void TearDown() override {
        backend_.reset();
        mock_.reset();
    }

    virtual MockSystemBus::Options busOptions() const { return MockSystemBus::Options{}; }

    MockSystemBus& mock() { return *mock_; }

    // The backend, made on first use so that it reads the world the test has shaped.
    LinuxBackend& backend() {
        if (!backend_) {
            LinuxBackendOptions options;
            options.bus = mock_->connection();
            options.callTimeout = 1000ms;
            options.scanTimeout = scanTimeout_;
            options.sysfsRoot = sysfsRoot_;
            options.routeTablePath = routeTablePath_;
            options.warn = [this](const QString& message) {
                std::lock_guard lock(warningsMutex_);
                warnings_.push_back(message);
            };
            // Probe targets on this machine only; the Wi-Fi device is wlp2s0, so a probe whose
            // route leaves through the loopback device is refused before anything is sent.
            options.targets.wanPingAddress = QStringLiteral("127.0.0.1");
            options.targets.wanPingAddress6 = QStringLiteral("::1");
            options.targets.dnsName = QStringLiteral("localhost");
            options.targets.checkUrl = checkUrl_;
            options.targets.checkBody = checkBody_;
            options.resolvConfPath = resolvConfPath_;
            backend_ = std::make_shared<LinuxBackend>(options, &context_);
        }
        return *backend_;
    }
    std::shared_ptr<LinuxBackend> sharedBackend() {
        backend();
        return backend_;
    }

    Outcome run(std::int64_t id, DictionaryRef configuration = nullptr) {
        Outcome o;
        const auto results = backend().runDiagnosticsTests(
            {DiagnosticsTestRequest::requestWithTestID(id, std::move(configuration))}, &o.error);
        if (results && results->size() == 1) {
            o.result = results->front();
        }
        EXPECT_NE(results.has_value(), o.error != nullptr) << "test " << id;
        return o;
    }

    // A Wi-Fi device whose last scan finished just now, unless told otherwise.
    QString addDevice(MockSystemBus::WiFiDeviceExtras extras = scannedNow()) {
        device_ = mock().addWiFiDevice(QStringLiteral("wlan0"), QStringLiteral("wlp2s0"), kActivated, extras);
        return device_;
    }
    static MockSystemBus::WiFiDeviceExtras scannedNow() {
        MockSystemBus::WiFiDeviceExtras extras;
        extras.lastScan = bootTimeMs();
        return extras;
    }

    QString addAp(const QString& ssid, uint frequency, uchar strength = 70, uint maxBitrate = 54000,
                  uint security = kKeyMgmtPsk) {
        ++apSerial_;
        return mock().addAccessPoint(
            device_, QStringLiteral("ap%1").arg(apSerial_), ssid,
            QStringLiteral("AC:DE:48:00:00:%1").arg(apSerial_, 2, 16, QLatin1Char('0')), kInfrastructure,
            frequency, maxBitrate, strength, security);
    }

    void join(const QString& accessPoint) {
        mock().updateProperties(
            device_, nm::kWirelessInterface,
            {{QStringLiteral("ActiveAccessPoint"), MockSystemBus::objectPath(accessPoint)}});
    }

    // A joined device on "Home" with the given security flags.
    QString joinedAp(uint flags, uint wpaFlags, uint rsnFlags) {
        addDevice();
        const QString ap = addAp(QStringLiteral("Home"), 2437);
        mock().setAccessPointSecurity(ap, flags, wpaFlags, rsnFlags);
        join(ap);
        return ap;
    }

    // The device's active connection with the given saved settings.
    void activate(const ConnectionSettings& settings) {
        const QString saved = mock().addConnection(settings);
        mock().addActiveConnection({device_}, saved, QStringLiteral("/"), QStringLiteral("0"), 2);
    }

    QObject context_;
    std::chrono::milliseconds scanTimeout_ = 2000ms;
    QString sysfsRoot_ = QStringLiteral("/nonexistent-sysfs");
    QString routeTablePath_ = QStringLiteral("/nonexistent-route-table");
    QString resolvConfPath_ = QStringLiteral("/nonexistent-resolv.conf");
    QUrl checkUrl_ = QUrl(QStringLiteral("http://127.0.0.1:9/"));  // nobody listens there
    std::optional<QByteArray> checkBody_ = QByteArray("NetworkManager is online\n");
    QString device_;
    int apSerial_ = 0;
    std::mutex warningsMutex_;
    std::vector<QString> warnings_;  // what the backend told the user

  private:
    std::unique_ptr<MockSystemBus> mock_;
    std::shared_ptr<LinuxBackend> backend_;
};

class LinuxBackendBluezTest : public LinuxBackendTest {
  protected:
    MockSystemBus::Options busOptions() const override {
        MockSystemBus::Options options;
        options.bluez = true;
        return options;
    }
};

}  // namespace

// ---- Device configuration ------------------------------------------------------------------------

TEST_F(LinuxBackendTest, ManualAddressingIsACustomConfiguration) {
    addDevice();
    auto settings = wifiConnection(QStringLiteral("Home"), "Home");
    settings[QStringLiteral("ipv4")] = {{QStringLiteral("method"), QStringLiteral("manual")}};
    settings[QStringLiteral("ipv6")] = {{QStringLiteral("method"), QStringLiteral("manual")}};
    activate(settings);

    const Outcome v4 = run(14);
    EXPECT_EQ(verdictOf(v4), (Verdict{true, false}));
    EXPECT_EQ(v4.stringInfo("IPv4ConfigMethod"), QStringLiteral("manual"));
    const Outcome v6 = run(15);
    EXPECT_EQ(verdictOf(v6), (Verdict{true, false}));
    EXPECT_EQ(v6.stringInfo("IPv6ConfigMethod"), QStringLiteral("manual"));
}

TEST_F(LinuxBackendTest, AutomaticAddressingPasses) {
    addDevice();
    auto settings = wifiConnection(QStringLiteral("Home"), "Home");
    settings[QStringLiteral("ipv4")] = {{QStringLiteral("method"), QStringLiteral("auto")}};
    activate(settings);  // no ipv6 setting: NetworkManager's default, auto

    const Outcome v4 = run(14);
    EXPECT_EQ(verdictOf(v4), (Verdict{false, true}));
    EXPECT_EQ(v4.stringInfo("IPv4ConfigMethod"), QStringLiteral("auto"));
    const Outcome v6 = run(15);
    EXPECT_EQ(verdictOf(v6), (Verdict{false, true}));
    EXPECT_EQ(v6.stringInfo("IPv6ConfigMethod"), QStringLiteral("auto"));
}

TEST_F(LinuxBackendTest, AddressingTestsNeedAnActiveConnection) {
    addDevice();
    for (const std::int64_t id : {14, 15}) {
        const Outcome o = run(id);
        EXPECT_EQ(o.errorCode(), 57) << id;
        EXPECT_EQ(o.error ? str(o.error->domain) : "", "WiFiDiagnostics");
        EXPECT_THAT(o.errorText(), HasSubstr("no Wi-Fi connection is active"));
    }
}

TEST_F(LinuxBackendTest, DnsServersOfTheConnectionAreCustomDns) {
    addDevice();
    auto settings = wifiConnection(QStringLiteral("Home"), "Home");
    // 9.9.9.9, in network byte order as NetworkManager keeps it.
    settings[QStringLiteral("ipv4")] = {
        {QStringLiteral("method"), QStringLiteral("auto")},
        {QStringLiteral("dns"), QVariant::fromValue(QList<uint>{0x09090909u})}};
    activate(settings);
    EXPECT_EQ(verdictOf(run(16)), (Verdict{true, false}));
}

TEST_F(LinuxBackendTest, NoDnsServersIsNoCustomDns) {
    addDevice();
    activate(wifiConnection(QStringLiteral("Home"), "Home"));
    EXPECT_EQ(verdictOf(run(16)), (Verdict{false, true}));
}

TEST_F(LinuxBackendTest, ThirtySavedNetworksAreALargeList) {
    addDevice();
    for (int i = 0; i < 29; ++i) {
        mock().addConnection(
            wifiConnection(QStringLiteral("net%1").arg(i), QByteArray("net") + QByteArray::number(i)));
    }
    const Outcome below = run(47);
    EXPECT_EQ(verdictOf(below), (Verdict{false, true}));
    EXPECT_EQ(below.intInfo("PNLCount"), 29);

    mock().addConnection(wifiConnection(QStringLiteral("net29"), "net29"));
    const Outcome at = run(47);
    EXPECT_EQ(verdictOf(at), (Verdict{true, false}));
    EXPECT_EQ(at.intInfo("PNLCount"), 30);
}

TEST_F(LinuxBackendTest, ASavedConnectionOfAnotherUserIsSkippedAndCounted) {
    addDevice();
    mock().addConnection(wifiConnection(QStringLiteral("Home"), "Home"));
    auto hidden = wifiConnection(QStringLiteral("Office"), "Office");
    hidden[QStringLiteral("802-11-wireless")][QStringLiteral("hidden")] = true;
    mock().addConnection(hidden);
    // Restricted to another user: NetworkManager refuses its settings to us.
    const QString other = mock().addConnection(wifiConnection(QStringLiteral("Theirs"), "Theirs"));
    mock().addMethod(other, QStringLiteral("org.freedesktop.NetworkManager.Settings.Connection"),
                     QStringLiteral("GetSettings"), QString(), QStringLiteral("a{sa{sv}}"),
                     QStringLiteral("raise dbus.exceptions.DBusException('Insufficient privileges', "
                                    "name='org.freedesktop.NetworkManager.Settings.PermissionDenied')"));
    const Outcome large = run(47);
    EXPECT_EQ(verdictOf(large), (Verdict{false, true})) << large.errorText();
    EXPECT_EQ(large.intInfo("PNLCount"), 2);
    EXPECT_EQ(large.intInfo("UnreadableConnectionCount"), 1);
    const Outcome hiddenOne = run(48);
    EXPECT_EQ(verdictOf(hiddenOne), (Verdict{true, false})) << hiddenOne.errorText();
    EXPECT_EQ(hiddenOne.intInfo("UnreadableConnectionCount"), 1);
    const Outcome conflicts = run(29);
    EXPECT_EQ(verdictOf(conflicts), (Verdict{false, true})) << conflicts.errorText();
}

TEST_F(LinuxBackendTest, AConnectionInUseThatBelongsToAnotherUserIsNamed) {
    joinedAp(0, 0, 0);  // an open access point
    const QString saved = mock().addConnection(wifiConnection(QStringLiteral("Home"), "Home"));
    mock().addActiveConnection({device_}, saved, QStringLiteral("/"), QStringLiteral("0"), 2);
    mock().addMethod(saved, QStringLiteral("org.freedesktop.NetworkManager.Settings.Connection"),
                     QStringLiteral("GetSettings"), QString(), QStringLiteral("a{sa{sv}}"),
                     QStringLiteral("raise dbus.exceptions.DBusException('Insufficient privileges', "
                                    "name='org.freedesktop.NetworkManager.Settings.PermissionDenied')"));
    const Outcome v4 = run(14);
    EXPECT_EQ(v4.errorCode(), 13);
    EXPECT_THAT(v4.errorText(), HasSubstr("belongs to another user"));
    // What the access point itself tells still answers.
    EXPECT_EQ(verdictOf(run(38)), (Verdict{true, false}));
    EXPECT_EQ(verdictOf(run(43)), (Verdict{false, true}));
}

TEST_F(LinuxBackendTest, OnlyWiFiConnectionsCountAsSavedNetworks) {
    addDevice();
    mock().addConnection(wifiConnection(QStringLiteral("Home"), "Home"));
    mock().addConnection({{QStringLiteral("connection"),
                           {{QStringLiteral("id"), QStringLiteral("Wired")},
                            {QStringLiteral("uuid"), QStringLiteral("9a8b7c6d-0000-4000-8000-000000000001")},
                            {QStringLiteral("type"), QStringLiteral("802-3-ethernet")}}}});
    const Outcome o = run(47);
    EXPECT_EQ(verdictOf(o), (Verdict{false, true}));
    EXPECT_EQ(o.intInfo("PNLCount"), 1);
}

TEST_F(LinuxBackendTest, AHiddenSavedNetworkIsFound) {
    addDevice();
    mock().addConnection(wifiConnection(QStringLiteral("Home"), "Home"));
    EXPECT_EQ(verdictOf(run(48)), (Verdict{false, true}));

    auto hidden = wifiConnection(QStringLiteral("Attic"), "Attic");
    hidden[QStringLiteral("802-11-wireless")][QStringLiteral("hidden")] = true;
    mock().addConnection(hidden);
    EXPECT_EQ(verdictOf(run(48)), (Verdict{true, false}));
}

TEST_F(LinuxBackendTest, OneNameSavedWithTwoSecurityTypesConflicts) {
    addDevice();
    mock().addConnection(
        withKeyMgmt(wifiConnection(QStringLiteral("Home"), "Home"), QStringLiteral("wpa-psk")));
    mock().addConnection(wifiConnection(QStringLiteral("Home open"), "Home"));
    EXPECT_EQ(verdictOf(run(29)), (Verdict{true, false}));
}

TEST_F(LinuxBackendTest, OneNameSavedTwiceWithOneSecurityTypeDoesNotConflict) {
    addDevice();
    mock().addConnection(
        withKeyMgmt(wifiConnection(QStringLiteral("Home"), "Home"), QStringLiteral("wpa-psk")));
    mock().addConnection(
        withKeyMgmt(wifiConnection(QStringLiteral("Home 2"), "Home"), QStringLiteral("wpa-psk")));
    mock().addConnection(wifiConnection(QStringLiteral("Cafe"), "Cafe"));
    EXPECT_EQ(verdictOf(run(29)), (Verdict{false, true}));
}

TEST_F(LinuxBackendTest, AnActivatedPeerToPeerDeviceIsRealTimeMode) {
    addDevice();
    const QString p2p = mock().addDevice(QStringLiteral("p2p0"), QStringLiteral("p2p-dev-wlp2s0"),
                                         nm::kDeviceTypeWifiP2P, kDisconnected);
    EXPECT_EQ(verdictOf(run(22)), (Verdict{false, true}));
    mock().updateProperties(p2p, nm::kDeviceInterface, {{QStringLiteral("State"), QVariant(kActivated)}});
    EXPECT_EQ(verdictOf(run(22)), (Verdict{true, false}));
}

TEST_F(LinuxBackendBluezTest, PairedAndConnectedBluetoothDevicesAreCounted) {
    addDevice();
    mock().addAdapter(QStringLiteral("hci0"), QStringLiteral("laptop"));
    for (int i = 1; i <= 3; ++i) {
        mock().addBluetoothDevice(QStringLiteral("hci0"), QStringLiteral("11:22:33:44:55:0%1").arg(i),
                                  QStringLiteral("device %1").arg(i));
    }
    mock().pairDevice(QStringLiteral("hci0"), QStringLiteral("11:22:33:44:55:01"));
    mock().pairDevice(QStringLiteral("hci0"), QStringLiteral("11:22:33:44:55:02"));
    mock().connectDevice(QStringLiteral("hci0"), QStringLiteral("11:22:33:44:55:01"));

    const Outcome paired = run(18);
    EXPECT_EQ(verdictOf(paired), (Verdict{false, true}));
    EXPECT_EQ(paired.intInfo("BTPairedCount"), 2);
    const Outcome connected = run(19);
    EXPECT_EQ(verdictOf(connected), (Verdict{false, true}));
    EXPECT_EQ(connected.intInfo("BTConnectedCount"), 1);
}

TEST_F(LinuxBackendTest, BluetoothTestsWithoutBluezNameWhatIsMissing) {
    addDevice();
    for (const std::int64_t id : {18, 19}) {
        const Outcome o = run(id);
        EXPECT_EQ(o.errorCode(), 95) << id;  // the source is missing here
        EXPECT_THAT(o.errorText(), HasSubstr("no BlueZ on the bus"));
    }
}

// A sysfs of the test's own: the Wi-Fi device wlp2s0 bound to driver, and module parameters.
class FakeSysfs {
  public:
    explicit FakeSysfs(const QString& driver) {
        EXPECT_TRUE(dir_.isValid());
        EXPECT_TRUE(QDir(dir_.path()).mkpath(QStringLiteral("class/net/wlp2s0/device")));
        EXPECT_TRUE(QDir(dir_.path()).mkpath(QStringLiteral("bus/pci/drivers/") + driver));
        EXPECT_TRUE(QFile::link(dir_.path() + QStringLiteral("/bus/pci/drivers/") + driver,
                                dir_.path() + QStringLiteral("/class/net/wlp2s0/device/driver")));
    }
    void parameter(const QString& module, const QString& name, const QByteArray& value) {
        ASSERT_TRUE(QDir(dir_.path()).mkpath(QStringLiteral("module/%1/parameters").arg(module)));
        QFile file(dir_.path() + QStringLiteral("/module/%1/parameters/%2").arg(module, name));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(value);
    }
    QString path() const { return dir_.path(); }

  private:
    QTemporaryDir dir_;
};

TEST_F(LinuxBackendBluezTest, TheDriversCoexistenceSwitchWithAPoweredAdapterIsCoexistence) {
    FakeSysfs sysfs(QStringLiteral("iwlwifi"));
    sysfs.parameter(QStringLiteral("iwlwifi"), QStringLiteral("bt_coex_active"), "Y\n");
    sysfsRoot_ = sysfs.path();
    addDevice();
    mock().addAdapter(QStringLiteral("hci0"), QStringLiteral("laptop"));
    EXPECT_EQ(verdictOf(run(20)), (Verdict{true, false}));
}

TEST_F(LinuxBackendBluezTest, CoexistenceWithoutTheDriversSwitchIsNotSupported) {
    FakeSysfs sysfs(QStringLiteral("iwlwifi"));
    sysfsRoot_ = sysfs.path();
    addDevice();
    mock().addAdapter(QStringLiteral("hci0"), QStringLiteral("laptop"));
    const Outcome o = run(20);
    EXPECT_EQ(o.errorCode(), 95);
    EXPECT_THAT(o.errorText(), HasSubstr("module/iwlwifi/parameters/bt_coex_active"));
}

TEST_F(LinuxBackendBluezTest, ASwitchedOffCoexistenceIsNoCoexistence) {
    FakeSysfs sysfs(QStringLiteral("iwlwifi"));
    sysfs.parameter(QStringLiteral("iwlwifi"), QStringLiteral("bt_coex_active"), "N\n");
    sysfsRoot_ = sysfs.path();
    addDevice();
    mock().addAdapter(QStringLiteral("hci0"), QStringLiteral("laptop"));
    EXPECT_EQ(verdictOf(run(20)), (Verdict{false, true}));
}

TEST_F(LinuxBackendBluezTest, CoexistenceIsReadFromTheWiFiDevicesOwnDriverNotAnotherLoadedOne) {
    // iwlwifi is loaded (a second card, or left from a dock) with its switch on; the Wi-Fi device
    // runs on ath9k, whose switch is off.
    FakeSysfs sysfs(QStringLiteral("ath9k"));
    sysfs.parameter(QStringLiteral("iwlwifi"), QStringLiteral("bt_coex_active"), "Y\n");
    sysfs.parameter(QStringLiteral("ath9k"), QStringLiteral("btcoex_enable"), "0\n");
    sysfsRoot_ = sysfs.path();
    addDevice();
    mock().addAdapter(QStringLiteral("hci0"), QStringLiteral("laptop"));
    EXPECT_EQ(verdictOf(run(20)), (Verdict{false, true}));
}

TEST_F(LinuxBackendBluezTest, ADriverWithoutACoexistenceSwitchIsNamed) {
    FakeSysfs sysfs(QStringLiteral("mt7921e"));
    sysfs.parameter(QStringLiteral("iwlwifi"), QStringLiteral("bt_coex_active"), "Y\n");
    sysfsRoot_ = sysfs.path();
    addDevice();
    mock().addAdapter(QStringLiteral("hci0"), QStringLiteral("laptop"));
    const Outcome o = run(20);
    EXPECT_EQ(o.errorCode(), 95);
    EXPECT_THAT(o.errorText(), HasSubstr("driver mt7921e has no Bluetooth coexistence switch"));
}

TEST_F(LinuxBackendTest, AnUnknownTestIdIsRefused) {
    addDevice();
    const Outcome o = run(999);
    EXPECT_EQ(o.errorCode(), 22);
    EXPECT_THAT(o.errorText(), HasSubstr("999"));
}

TEST_F(LinuxBackendTest, WithoutAWiFiDeviceTestsAndStatusSaySo) {
    const Outcome o = run(38);
    EXPECT_EQ(o.errorCode(), 95);
    EXPECT_THAT(o.errorText(), HasSubstr("no Wi-Fi device"));
    ErrorRef error;
    EXPECT_FALSE(backend().queryStatus(&error));
    ASSERT_TRUE(error);
    EXPECT_EQ(error->code, 95);
}

// ---- The joined network --------------------------------------------------------------------------

struct SecurityCase {
    const char* name;
    uint flags;
    uint wpaFlags;
    uint rsnFlags;
    bool open;
    bool wep;
    bool legacyWpa;
    std::int64_t security;
};

class LinuxBackendSecurityTest : public LinuxBackendTest,
                                 public ::testing::WithParamInterface<SecurityCase> {};

TEST_P(LinuxBackendSecurityTest, SecurityTestsReadTheJoinedAccessPointsFlags) {
    const SecurityCase& c = GetParam();
    joinedAp(c.flags, c.wpaFlags, c.rsnFlags);
    const Outcome open = run(38);
    const Outcome wep = run(39);
    const Outcome wpa = run(40);
    EXPECT_EQ(verdictOf(open), (Verdict{c.open, !c.open}));
    EXPECT_EQ(verdictOf(wep), (Verdict{c.wep, !c.wep}));
    EXPECT_EQ(verdictOf(wpa), (Verdict{c.legacyWpa, !c.legacyWpa}));
    for (const Outcome* o : {&open, &wep, &wpa}) {
        EXPECT_EQ(o->intInfo("Security"), c.security);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Flags, LinuxBackendSecurityTest,
    ::testing::Values(SecurityCase{"Open", 0, 0, 0, true, false, false, 0},
                      SecurityCase{"Wep", kPrivacy, 0, 0, false, true, false, 1},
                      SecurityCase{"WpaTkip", kPrivacy, kWpaTkip, 0, false, false, true, 2},
                      SecurityCase{"Wpa2", kPrivacy, 0, kRsnCcmp, false, false, false, 3}),
    [](const auto& info) { return std::string(info.param.name); });

TEST_F(LinuxBackendTest, An11MbpsAccessPointOffersLegacyRatesOnly) {
    addDevice();
    const QString slow = addAp(QStringLiteral("Old"), 2412, 70, 11000);
    const QString fast = addAp(QStringLiteral("New"), 2412, 70, 54000);
    join(slow);
    EXPECT_EQ(verdictOf(run(41)), (Verdict{true, false}));
    join(fast);
    EXPECT_EQ(verdictOf(run(41)), (Verdict{false, true}));
}

TEST_F(LinuxBackendTest, AMakersDefaultNameIsAmbiguous) {
    addDevice();
    const QString maker = addAp(QStringLiteral("NETGEAR"), 2437);
    const QString own = addAp(QStringLiteral("Pemberton Home"), 2437);
    join(maker);
    const Outcome ambiguous = run(42);
    EXPECT_EQ(verdictOf(ambiguous), (Verdict{true, false}));
    EXPECT_EQ(ambiguous.stringInfo("NetworkName"), QStringLiteral("NETGEAR"));
    join(own);
    const Outcome clear = run(42);
    EXPECT_EQ(verdictOf(clear), (Verdict{false, true}));
    EXPECT_EQ(clear.stringInfo("NetworkName"), QStringLiteral("Pemberton Home"));
}

TEST_F(LinuxBackendTest, TheJoinedNetworkIsHiddenWhenItsSavedConnectionIsHidden) {
    addDevice();
    join(addAp(QStringLiteral("Attic"), 2437));
    mock().addConnection(wifiConnection(QStringLiteral("Attic"), "Attic"));
    EXPECT_EQ(verdictOf(run(43)), (Verdict{false, true}));

    auto hidden = wifiConnection(QStringLiteral("Attic hidden"), "Attic");
    hidden[QStringLiteral("802-11-wireless")][QStringLiteral("hidden")] = true;
    hidden[QStringLiteral("connection")][QStringLiteral("timestamp")] = QVariant(quint64(1700000000));
    mock().addConnection(hidden);
    EXPECT_EQ(verdictOf(run(43)), (Verdict{true, false}));
}

TEST_F(LinuxBackendTest, TheJoinedNetworkIsReadFromTheConnectionInUseNotTheLastSaved) {
    addDevice();
    join(addAp(QStringLiteral("Attic"), 2437));
    activate(wifiConnection(QStringLiteral("Attic"), "Attic"));  // in use, not hidden
    auto hidden = wifiConnection(QStringLiteral("Attic hidden"), "Attic");
    hidden[QStringLiteral("802-11-wireless")][QStringLiteral("hidden")] = true;
    hidden[QStringLiteral("connection")][QStringLiteral("timestamp")] = QVariant(quint64(1700000000));
    mock().addConnection(hidden);  // saved for the same name and used more recently
    EXPECT_EQ(verdictOf(run(43)), (Verdict{false, true}));
    // Named as a selected network, it is read from the connection saved last.
    EXPECT_EQ(verdictOf(run(43, selecting("Attic"))), (Verdict{true, false}));
}

TEST_F(LinuxBackendTest, OfTwoWiFiDevicesTheActivatedOneIsProfiled) {
    constexpr uint kDisconnected = 30;
    const QString idle = mock().addWiFiDevice(QStringLiteral("wlan1"), QStringLiteral("wlx00c0ca112233"),
                                              kDisconnected, scannedNow());
    mock().addAccessPoint(idle, QStringLiteral("idleap"), QStringLiteral("Elsewhere"),
                          QStringLiteral("AC:DE:48:00:01:01"), kInfrastructure, 2412, 54000, 90, kKeyMgmtPsk);
    addDevice();  // wlp2s0, activated
    join(addAp(QStringLiteral("Home"), 2437));
    ErrorRef error;
    const auto snapshot = backend().queryStatus(&error);
    ASSERT_TRUE(snapshot) << (error ? str(error->text) : "");
    ASSERT_TRUE(snapshot->wifi);
    EXPECT_EQ(snapshot->wifi->ssidString, QStringLiteral("Home"));
    const Outcome name = run(42);  // a network test reads the joined network of the same device
    EXPECT_EQ(name.stringInfo("NetworkName"), QStringLiteral("Home")) << name.errorText();
}

// The names of the access points a scan answered.
QStringList scannedNames(const Outcome& o) {
    QStringList names;
    const auto list = o.info("ScanResults");
    if (list && list->toArray()) {
        for (const Value& entry : *list->toArray()) {
            const auto record = entry.recordAs<WiFiScanResult>();
            names << (record ? record->ssidString.value_or(QStringLiteral("<hidden>"))
                             : QStringLiteral("<?>"));
        }
    }
    return names;
}

TEST_F(LinuxBackendTest, AnUnmanagedWiFiDeviceListedFirstIsNotProfiled) {
    constexpr uint kUnmanaged = 10;
    const QString unmanaged = mock().addWiFiDevice(QStringLiteral("wlan1"), QStringLiteral("wlx00c0ca112233"),
                                                   kUnmanaged, scannedNow());
    mock().addAccessPoint(unmanaged, QStringLiteral("otherap"), QStringLiteral("Elsewhere"),
                          QStringLiteral("AC:DE:48:00:01:01"), kInfrastructure, 2412, 54000, 90, kKeyMgmtPsk);
    device_ =
        mock().addWiFiDevice(QStringLiteral("wlan0"), QStringLiteral("wlp2s0"), kDisconnected, scannedNow());
    addAp(QStringLiteral("Mine"), 2437);
    const Outcome o = run(31, maxAge(60));
    EXPECT_EQ(scannedNames(o), QStringList({QStringLiteral("Mine")})) << o.errorText();
    EXPECT_EQ(backend().deviceCount(), 1);
}

TEST_F(LinuxBackendTest, ADeviceReadyToConnectIsProfiledBeforeAnUnavailableOne) {
    constexpr uint kUnavailable = 20;
    const QString unavailable = mock().addWiFiDevice(
        QStringLiteral("wlan1"), QStringLiteral("wlx00c0ca112233"), kUnavailable, scannedNow());
    mock().addAccessPoint(unavailable, QStringLiteral("otherap"), QStringLiteral("Elsewhere"),
                          QStringLiteral("AC:DE:48:00:01:01"), kInfrastructure, 2412, 54000, 90, kKeyMgmtPsk);
    device_ =
        mock().addWiFiDevice(QStringLiteral("wlan0"), QStringLiteral("wlp2s0"), kDisconnected, scannedNow());
    addAp(QStringLiteral("Mine"), 2437);
    EXPECT_EQ(scannedNames(run(31, maxAge(60))), QStringList({QStringLiteral("Mine")}));
}

TEST_F(LinuxBackendTest, OnlyUnmanagedWiFiDevicesAreNoWiFiToProfile) {
    constexpr uint kUnmanaged = 10;
    device_ =
        mock().addWiFiDevice(QStringLiteral("wlan0"), QStringLiteral("wlp2s0"), kUnmanaged, scannedNow());
    addAp(QStringLiteral("Mine"), 2437);
    const Outcome o = run(31, maxAge(60));
    EXPECT_EQ(o.errorCode(), 95);
    EXPECT_THAT(o.errorText(), HasSubstr("NetworkManager does not manage the Wi-Fi device (1 unmanaged)"));
    EXPECT_EQ(backend().deviceCount(), 0);
    EXPECT_FALSE(backend().containsWiFiRadio());
}

TEST_F(LinuxBackendTest, ADeviceGoneBetweenTheListAndItsReadingIsLeftOut) {
    addDevice();
    join(addAp(QStringLiteral("Home"), 2437));
    // GetDevices names a device (a USB stick just pulled out) whose object is already gone.
    mock().addMethod(nm::kManagerPath, nm::kManagerInterface, QStringLiteral("GetDevices"), QString(),
                     QStringLiteral("ao"),
                     QStringLiteral("ret = ['/org/freedesktop/NetworkManager/Devices/gone'] + "
                                    "[k for k in objects.keys() if '/Devices/' in k]"));
    const Outcome o = run(31, maxAge(60));
    EXPECT_EQ(scannedNames(o), QStringList({QStringLiteral("Home")})) << o.errorText();
    ErrorRef error;
    const auto snapshot = backend().queryStatus(&error);
    ASSERT_TRUE(snapshot && snapshot->wifi) << (error ? str(error->text) : "");
    EXPECT_EQ(snapshot->wifi->ssidString, QStringLiteral("Home"));
    EXPECT_EQ(backend().deviceCount(), 1);
}

TEST_F(LinuxBackendTest, ADeviceWithoutIPv6PropertiesStopsOnlyTheTestsThatNeedThem) {
    // A device of an older daemon, or one that has no IPv6 at all: no Ip6Config, no Metered.
    device_ = mock().addBareWiFiDevice(QStringLiteral("wlan0"), QStringLiteral("wlp2s0"), kActivated);
    mock().addProperty(device_, nm::kDeviceInterface, QStringLiteral("Ip4Config"),
                       MockSystemBus::objectPath(QStringLiteral("/")));
    mock().addProperty(device_, nm::kWirelessInterface, QStringLiteral("ActiveAccessPoint"),
                       MockSystemBus::objectPath(QStringLiteral("/")));
    mock().addProperty(device_, nm::kWirelessInterface, QStringLiteral("LastScan"),
                       QVariant(qint64(bootTimeMs())));
    join(addAp(QStringLiteral("Home"), 2437));
    EXPECT_EQ(run(42).stringInfo("NetworkName"), QStringLiteral("Home"));
    EXPECT_EQ(verdictOf(run(13)), (Verdict{false, false})) << run(13).errorText();
    EXPECT_EQ(verdictOf(run(44)), (Verdict{false, true})) << run(44).errorText();
}

TEST_F(LinuxBackendTest, AJoinedNetworkWithoutANameIsHidden) {
    addDevice();
    join(addAp(QString(), 2437));
    EXPECT_EQ(verdictOf(run(43)), (Verdict{true, false}));
}

TEST_F(LinuxBackendTest, AMeteredDeviceIsOnAPersonalHotspot) {
    MockSystemBus::WiFiDeviceExtras extras = scannedNow();
    extras.metered = nm::kMeteredYes;
    addDevice(extras);
    join(addAp(QStringLiteral("Phone"), 2437));
    EXPECT_EQ(verdictOf(run(44)), (Verdict{true, false}));
}

TEST_F(LinuxBackendTest, AnUnmeteredDeviceWithAMakersBssidIsNoPersonalHotspot) {
    addDevice();
    join(addAp(QStringLiteral("Home"), 2437));  // AC: a globally administered address
    EXPECT_EQ(verdictOf(run(44)), (Verdict{false, true}));
}

TEST_F(LinuxBackendTest, AnUnmeteredLinkToALocallyAdministeredBssidIsNoPersonalHotspot) {
    // Enterprise access points with several BSSIDs and mesh nodes use such addresses too.
    addDevice();
    const QString ap = mock().addAccessPoint(device_, QStringLiteral("mesh"), QStringLiteral("Office"),
                                             QStringLiteral("02:11:22:33:44:55"), kInfrastructure, 5180,
                                             400000, 70, kKeyMgmtPsk);
    join(ap);
    EXPECT_EQ(verdictOf(run(44)), (Verdict{false, true}));
}

TEST_F(LinuxBackendTest, ASelectedNetworksHotspotCannotBeToldBeforeJoining) {
    addDevice();
    mock().addAccessPoint(device_, QStringLiteral("phone"), QStringLiteral("Pixel"),
                          QStringLiteral("02:11:22:33:44:55"), kInfrastructure, 2437, 54000, 70, kKeyMgmtPsk);
    const Outcome o = run(44, selecting("Pixel"));
    EXPECT_EQ(o.errorCode(), 95);
    EXPECT_THAT(o.errorText(), HasSubstr("tells itself only once joined"));
}

TEST_F(LinuxBackendTest, TheOpenHalfOfAnOweTransitionPairJoinedOpenIsNoSecurity) {
    constexpr uint kOweTransition = 0x1000;
    joinedAp(0, 0, kOweTransition);
    activate(wifiConnection(QStringLiteral("Home"), "Home"));  // no wireless security: joined open
    const Outcome o = run(38);
    EXPECT_EQ(verdictOf(o), (Verdict{true, false}));
    EXPECT_EQ(o.intInfo("Security"), 0);
}

TEST_F(LinuxBackendTest, TheSameAccessPointJoinedWithOweIsSecured) {
    constexpr uint kOweTransition = 0x1000;
    joinedAp(0, 0, kOweTransition);
    activate(withKeyMgmt(wifiConnection(QStringLiteral("Home"), "Home"), QStringLiteral("owe")));
    const Outcome o = run(38);
    EXPECT_EQ(verdictOf(o), (Verdict{false, true}));
    EXPECT_EQ(o.intInfo("Security"), 6);
}

TEST_F(LinuxBackendTest, EightAccessPointsOnAndAroundTheChannelCongestIt) {
    addDevice();
    const QString joined = addAp(QStringLiteral("Home"), 2412);  // channel 1
    for (int i = 0; i < 4; ++i) {
        addAp(QStringLiteral("n1-%1").arg(i), 2412);
    }
    addAp(QStringLiteral("n3"), 2422);  // channel 3 overlaps 1
    addAp(QStringLiteral("n5"), 2432);  // channel 5 overlaps 1
    addAp(QStringLiteral("n6"), 2437);  // channel 6 does not
    addAp(QStringLiteral("n36"), 5180);
    join(joined);

    const Outcome below = run(24, maxAge(60));
    EXPECT_EQ(verdictOf(below), (Verdict{false, true}));

    addAp(QStringLiteral("n2"), 2417);  // channel 2: the eighth
    // A new scan result: NetworkManager's LastScan moves on.
    mock().updateProperties(device_, nm::kWirelessInterface,
                            {{QStringLiteral("LastScan"), QVariant(qint64(bootTimeMs()))}});
    const Outcome at = run(24, maxAge(60));
    EXPECT_EQ(verdictOf(at), (Verdict{true, false}));

    const auto channel = [&](const char* key) -> std::shared_ptr<const WiFiChannel> {
        const auto v = at.info(key);
        return v ? v->recordAs<WiFiChannel>() : nullptr;
    };
    const auto current = channel("CurrentChannel");
    ASSERT_TRUE(current);
    EXPECT_EQ(current->channel, 1);
    EXPECT_EQ(current->band, 2);
    // Channel 1 has 8, channel 6 (2 to 10) has 4, channel 11 (7 to 15) none.
    const auto twoGHz = channel("2GHzChannel");
    ASSERT_TRUE(twoGHz);
    EXPECT_EQ(twoGHz->channel, 11);
    EXPECT_EQ(twoGHz->band, 2);
    EXPECT_EQ(twoGHz->width, 20);
    // Channel 36 has one access point: the least crowded 5 GHz channels avoid it.
    const auto fiveGHz = channel("5GHzChannel");
    ASSERT_TRUE(fiveGHz);
    EXPECT_EQ(fiveGHz->channel, 40);
    EXPECT_EQ(fiveGHz->band, 5);
    const auto wide = channel("5GHz40MHzChannel");
    ASSERT_TRUE(wide);
    EXPECT_EQ(wide->channel, 44);
    EXPECT_EQ(wide->width, 40);
    const auto nonDfs = channel("5GHzNonDFSChannel");
    ASSERT_TRUE(nonDfs);
    EXPECT_EQ(nonDfs->channel, 40);
}

TEST_F(LinuxBackendTest, TwelveAccessPointsCongestThe2GHzBand) {
    addDevice();
    for (int i = 0; i < 11; ++i) {
        addAp(QStringLiteral("n%1").arg(i), 2412 + 5 * i);
    }
    addAp(QStringLiteral("five"), 5180);
    const Outcome below = run(25, maxAge(60));
    EXPECT_EQ(verdictOf(below), (Verdict{false, true}));
    EXPECT_TRUE(below.info("2GHzChannel"));
    EXPECT_TRUE(below.info("5GHzNonDFSChannel"));

    addAp(QStringLiteral("n11"), 2472);
    mock().updateProperties(device_, nm::kWirelessInterface,
                            {{QStringLiteral("LastScan"), QVariant(qint64(bootTimeMs() + 1))}});
    EXPECT_EQ(verdictOf(run(25, maxAge(60))), (Verdict{true, false}));
}

TEST_F(LinuxBackendTest, TwentyAccessPointsCongestThe5GHzBand) {
    addDevice();
    for (int i = 0; i < 19; ++i) {
        addAp(QStringLiteral("n%1").arg(i), 5180 + 20 * (i % 8));
    }
    addAp(QStringLiteral("two"), 2412);
    const Outcome below = run(26, maxAge(60));
    EXPECT_EQ(verdictOf(below), (Verdict{false, true}));
    const auto twoGHz = below.info("2GHzChannel");
    ASSERT_TRUE(twoGHz);
    ASSERT_TRUE(twoGHz->recordAs<WiFiChannel>());
    EXPECT_EQ(twoGHz->recordAs<WiFiChannel>()->channel, 6);

    addAp(QStringLiteral("n19"), 5745);
    mock().updateProperties(device_, nm::kWirelessInterface,
                            {{QStringLiteral("LastScan"), QVariant(qint64(bootTimeMs() + 1))}});
    EXPECT_EQ(verdictOf(run(26, maxAge(60))), (Verdict{true, false}));
}

TEST_F(LinuxBackendTest, AWeakSignalIsPoor) {
    addDevice();
    const QString weak = addAp(QStringLiteral("Far"), 2437, 30);
    const QString strong = addAp(QStringLiteral("Near"), 2437, 80);
    join(weak);
    const Outcome poor = run(32);
    EXPECT_EQ(verdictOf(poor), (Verdict{true, false}));
    EXPECT_EQ(poor.intInfo("RSSI"), -82);
    join(strong);
    const Outcome good = run(32);
    EXPECT_EQ(verdictOf(good), (Verdict{false, true}));
    EXPECT_EQ(good.intInfo("RSSI"), -52);
}

TEST_F(LinuxBackendTest, HiddenAccessPointsAreListed) {
    addDevice();
    addAp(QStringLiteral("Home"), 2437);
    EXPECT_EQ(verdictOf(run(30, maxAge(60))), (Verdict{false, true}));

    addAp(QString(), 5180, 50);
    mock().updateProperties(device_, nm::kWirelessInterface,
                            {{QStringLiteral("LastScan"), QVariant(qint64(bootTimeMs() + 1))}});
    const Outcome o = run(30, maxAge(60));
    EXPECT_EQ(verdictOf(o), (Verdict{true, false}));
    const auto list = o.info("ScanResults");
    ASSERT_TRUE(list && list->toArray());
    ASSERT_EQ(list->toArray()->size(), 1u);
    const auto hidden = list->toArray()->front().recordAs<WiFiScanResult>();
    ASSERT_TRUE(hidden);
    EXPECT_FALSE(hidden->ssidString.has_value());
    EXPECT_EQ(hidden->bssid, QStringLiteral("ac:de:48:00:00:02"));
    EXPECT_EQ(hidden->rssi, -70);
    EXPECT_EQ(hidden->channel, 36);
}

TEST_F(LinuxBackendTest, OnTheIwdBackendTheScanTestsSayTheAccessPointsAreMadeUp) {
    addDevice();
    join(addAp(QStringLiteral("Home"), 2437));
    addAp(QStringLiteral("Cafe"), 5745, 30);
    QDBusConnection bus = mock().connection();
    ASSERT_TRUE(bus.registerService(QStringLiteral("net.connman.iwd")));
    for (const std::int64_t id : {24, 25, 26, 30, 31, 41}) {
        const Outcome o = run(id, maxAge(60));
        EXPECT_EQ(o.errorCode(), 95) << id;
        EXPECT_THAT(o.errorText(), HasSubstr("iwd backend")) << id;
    }
    // What does not come from the access points' made-up details still answers.
    EXPECT_EQ(run(42).stringInfo("NetworkName"), QStringLiteral("Home"));
    bus.unregisterService(QStringLiteral("net.connman.iwd"));
    EXPECT_EQ(run(31, maxAge(60)).errorCode(), -1);
}

TEST_F(LinuxBackendTest, AnEmptyScanIsAFindingThatPasses) {
    addDevice();
    const Outcome o = run(31, maxAge(60));
    EXPECT_EQ(verdictOf(o), (Verdict{true, true}));
    const auto list = o.info("ScanResults");
    ASSERT_TRUE(list && list->toArray());
    EXPECT_TRUE(list->toArray()->empty());
}

TEST_F(LinuxBackendTest, AScanListsEveryAccessPoint) {
    addDevice();
    addAp(QStringLiteral("Home"), 2437, 80);
    addAp(QStringLiteral("Cafe"), 5745, 30);
    const Outcome o = run(31, maxAge(60));
    EXPECT_EQ(verdictOf(o), (Verdict{false, true}));
    const auto list = o.info("ScanResults");
    ASSERT_TRUE(list && list->toArray());
    ASSERT_EQ(list->toArray()->size(), 2u);
    const auto home = list->toArray()->at(0).recordAs<WiFiScanResult>();
    const auto cafe = list->toArray()->at(1).recordAs<WiFiScanResult>();
    ASSERT_TRUE(home && cafe);
    EXPECT_EQ(home->ssidString, QStringLiteral("Home"));
    EXPECT_EQ(home->bssid, QStringLiteral("ac:de:48:00:00:01"));
    EXPECT_EQ(home->rssi, -52);
    EXPECT_EQ(home->channel, 6);
    EXPECT_EQ(cafe->ssidString, QStringLiteral("Cafe"));
    EXPECT_EQ(cafe->bssid, QStringLiteral("ac:de:48:00:00:02"));
    EXPECT_EQ(cafe->rssi, -82);
    EXPECT_EQ(cafe->channel, 149);
}

TEST_F(LinuxBackendTest, TestsThatNeedNl80211AreNotSupported) {
    joinedAp(kPrivacy, 0, kRsnCcmp);
    for (const std::int64_t id : {34, 35, 45, 36, 37, 33, 27, 28}) {
        const Outcome o = run(id);
        EXPECT_EQ(o.errorCode(), 95) << id;
        EXPECT_THAT(o.errorText(), HasSubstr("nl80211")) << id;
    }
}

TEST_F(LinuxBackendTest, AnIPv4AddressIsAssigned) {
    joinedAp(kPrivacy, 0, kRsnCcmp);
    EXPECT_EQ(verdictOf(run(12)), (Verdict{false, false}));
    mock().addIp4Config(device_, QStringLiteral("1"), {{QStringLiteral("192.168.1.23"), 24u}},
                        QStringLiteral("192.168.1.1"));
    EXPECT_EQ(verdictOf(run(12)), (Verdict{true, true}));
}

TEST_F(LinuxBackendTest, AnEmptyIPv4ConfigurationIsNoAddress) {
    joinedAp(kPrivacy, 0, kRsnCcmp);
    mock().addIp4Config(device_, QStringLiteral("1"), {}, QString());
    EXPECT_EQ(verdictOf(run(12)), (Verdict{false, false}));
}

TEST_F(LinuxBackendTest, OnlyAGlobalIPv6AddressCounts) {
    joinedAp(kPrivacy, 0, kRsnCcmp);
    mock().addIp6Config(device_, QStringLiteral("1"), {{QStringLiteral("fe80::1a2b"), 64u}});
    EXPECT_EQ(verdictOf(run(13)), (Verdict{false, false}));
    mock().addIp6Config(device_, QStringLiteral("2"),
                        {{QStringLiteral("fe80::1a2b"), 64u}, {QStringLiteral("2001:db8::23"), 64u}});
    EXPECT_EQ(verdictOf(run(13)), (Verdict{true, true}));
}

TEST_F(LinuxBackendTest, AddressTestsNeedAJoinedNetwork) {
    addDevice();
    for (const std::int64_t id : {12, 13, 38, 32}) {
        const Outcome o = run(id);
        EXPECT_EQ(o.errorCode(), 57) << id;
        EXPECT_THAT(o.errorText(), HasSubstr("not joined")) << id;
    }
}

// ---- A selected network --------------------------------------------------------------------------

TEST_F(LinuxBackendTest, ASelectedNetworkIsAnsweredFromItsStrongestAccessPoint) {
    addDevice();
    const QString weak = addAp(QStringLiteral("Cafe"), 2412, 30);
    const QString strong = addAp(QStringLiteral("Cafe"), 2437, 80);
    addAp(QStringLiteral("Home"), 2462, 95);
    mock().setAccessPointSecurity(weak, 0, 0, 0);
    mock().setAccessPointSecurity(strong, kPrivacy, 0, kRsnCcmp);

    const Outcome signal = run(32, selecting("Cafe"));
    EXPECT_EQ(verdictOf(signal), (Verdict{false, true}));
    EXPECT_EQ(signal.intInfo("RSSI"), -52);
    const Outcome open = run(38, selecting("Cafe"));
    EXPECT_EQ(verdictOf(open), (Verdict{false, true}));
    EXPECT_EQ(open.intInfo("Security"), 3);
    const Outcome name = run(42, selecting("Cafe"));
    EXPECT_EQ(name.stringInfo("NetworkName"), QStringLiteral("Cafe"));
    EXPECT_EQ(mock().methodCallCount(device_, QStringLiteral("RequestScan")), 0);
}

TEST_F(LinuxBackendTest, ASelectedNetworkMissingFromTheScanIsNoSuchNetwork) {
    addDevice();
    addAp(QStringLiteral("Cafe"), 2437);
    const Outcome o = run(32, selecting("Library"));
    EXPECT_EQ(o.errorCode(), 2);
    EXPECT_THAT(o.errorText(), HasSubstr("\"Library\""));
}

// ---- Status --------------------------------------------------------------------------------------

TEST_F(LinuxBackendTest, TheStatusNamesTheJoinedNetwork) {
    joinedAp(kPrivacy, 0, kRsnCcmp);
    ErrorRef error;
    const auto status = backend().queryStatus(&error);
    EXPECT_FALSE(error);
    ASSERT_TRUE(status && status->wifi);
    EXPECT_EQ(status->wifi->ssidString, QStringLiteral("Home"));
    EXPECT_EQ(status->wifi->bssid, QStringLiteral("ac:de:48:00:00:01"));
}

TEST_F(LinuxBackendTest, TheStatusWithoutAJoinedNetworkHasNoName) {
    addDevice();
    addAp(QStringLiteral("Home"), 2437);
    ErrorRef error;
    const auto status = backend().queryStatus(&error);
    EXPECT_FALSE(error);
    ASSERT_TRUE(status && status->wifi);
    EXPECT_FALSE(status->wifi->ssidString.has_value());
    EXPECT_FALSE(status->wifi->bssid.has_value());
}

TEST_F(LinuxBackendTest, ANameOfNulBytesIsEscapedInTheStatus) {
    const QString ap = joinedAp(kPrivacy, 0, kRsnCcmp);
    QByteArray ssid(32, '\0');
    ssid[0] = 'A';
    mock().updateProperties(ap, nm::kAccessPointInterface, {{QStringLiteral("Ssid"), ssid}});
    ErrorRef error;
    const auto status = backend().queryStatus(&error);
    EXPECT_FALSE(error);
    ASSERT_TRUE(status && status->wifi && status->wifi->ssidString);
    EXPECT_THAT(str(*status->wifi->ssidString), HasSubstr("\\x00"));
    EXPECT_TRUE(status->wifi->ssidString->startsWith(QLatin1Char('A')));
    EXPECT_FALSE(status->wifi->ssidString->contains(QChar(0)));
}

// ---- Scans ---------------------------------------------------------------------------------------

TEST_F(LinuxBackendTest, ARecentScanIsReusedByEveryScanTest) {
    addDevice();
    join(addAp(QStringLiteral("Home"), 2437));
    addAp(QString(), 5180);
    for (const std::int64_t id : {24, 25, 26, 30, 31}) {
        const Outcome o = run(id, maxAge(60));
        EXPECT_FALSE(o.error) << id << ": " << o.errorText();
    }
    EXPECT_EQ(mock().methodCallCount(device_, QStringLiteral("RequestScan")), 0);
    EXPECT_EQ(backend().scansRequested(), 0);
}

TEST_F(LinuxBackendTest, AScanOlderThanAllowedIsRenewedOnce) {
    addDevice();
    addAp(QStringLiteral("Home"), 2437);
    mock().finishScansAfter(device_, 100);
    const Outcome o = run(31, maxAge(0));
    EXPECT_EQ(verdictOf(o), (Verdict{false, true}));
    EXPECT_EQ(mock().methodCallCount(device_, QStringLiteral("RequestScan")), 1);
    EXPECT_EQ(backend().scansRequested(), 1);
}

TEST_F(LinuxBackendTest, ARefusedScanFallsBackToTheDaemonsLastScanAndSaysHowOld) {
    MockSystemBus::WiFiDeviceExtras extras;
    extras.lastScan = bootTimeMs() - 90'000;  // a minute and a half ago
    addDevice(extras);
    addAp(QStringLiteral("Home"), 2437);
    // A session that is not local lacks the polkit right wifi.scan.
    mock().addMethod(device_, nm::kWirelessInterface, QStringLiteral("RequestScan"), QStringLiteral("a{sv}"),
                     QString(),
                     QStringLiteral("raise dbus.exceptions.DBusException('Not authorized to request a scan', "
                                    "name='org.freedesktop.NetworkManager.PermissionDenied')"));
    const Outcome o = run(31, maxAge(0));
    EXPECT_EQ(verdictOf(o), (Verdict{false, true})) << o.errorText();
    EXPECT_EQ(scannedNames(o), QStringList({QStringLiteral("Home")}));
    EXPECT_EQ(run(30, maxAge(0)).errorCode(), -1);
    std::lock_guard lock(warningsMutex_);
    ASSERT_EQ(warnings_.size(), 1u);  // once for that last scan
    EXPECT_THAT(str(warnings_[0]), HasSubstr("NetworkManager refused a fresh scan ("));
    EXPECT_THAT(str(warnings_[0]), HasSubstr("Not authorized to request a scan"));
    EXPECT_THAT(str(warnings_[0]), ::testing::ContainsRegex("the tests use its last scan, 9[01] s old"));
}

TEST_F(LinuxBackendTest, ARefusedScanWithNoneToReuseIsNamed) {
    MockSystemBus::WiFiDeviceExtras extras;
    extras.lastScan = -1;  // the device never scanned
    addDevice(extras);
    mock().addMethod(
        device_, nm::kWirelessInterface, QStringLiteral("RequestScan"), QStringLiteral("a{sv}"), QString(),
        QStringLiteral("raise dbus.exceptions.DBusException('Scanning not allowed while unavailable', "
                       "name='org.freedesktop.NetworkManager.Device.NotAllowed')"));
    const Outcome o = run(31, maxAge(0));
    EXPECT_EQ(o.errorCode(), 95);
    EXPECT_THAT(o.errorText(), HasSubstr("NetworkManager refused a scan and has none to reuse"));
    EXPECT_THAT(o.errorText(), HasSubstr("Scanning not allowed while unavailable"));
}

TEST_F(LinuxBackendTest, AScanThatNeverFinishesTimesOut) {
    addDevice();
    const auto start = Clock::now();
    const Outcome o = run(31, maxAge(0));
    const auto took = Clock::now() - start;
    EXPECT_EQ(o.errorCode(), 60);
    EXPECT_THAT(o.errorText(), HasSubstr("2000 ms"));
    EXPECT_GE(took, 1900ms);
    EXPECT_LT(took, 4000ms);
}

TEST_F(LinuxBackendTest, CancellingEndsAFreshScanWait) {
    scanTimeout_ = 10000ms;
    addDevice();
    auto backend = sharedBackend();
    auto pending = std::async(std::launch::async, [backend] {
        ErrorRef error;
        const auto results =
            backend->runDiagnosticsTests({DiagnosticsTestRequest::requestWithTestID(31, maxAge(0))}, &error);
        return std::make_pair(results.has_value(), error);
    });
    // The request is waiting once it has asked for a scan.
    const auto deadline = Clock::now() + 5s;
    while (mock().methodCallCount(device_, QStringLiteral("RequestScan")) == 0 && Clock::now() < deadline) {
        std::this_thread::sleep_for(20ms);
    }
    ASSERT_EQ(mock().methodCallCount(device_, QStringLiteral("RequestScan")), 1);
    const auto cancelled = Clock::now();
    backend->cancelAllRequests();
    ASSERT_EQ(pending.wait_for(1s), std::future_status::ready);
    EXPECT_LT(Clock::now() - cancelled, 1000ms);
    const auto [answered, error] = pending.get();
    EXPECT_FALSE(answered);
    ASSERT_TRUE(error);
    EXPECT_EQ(error->code, 125);
    EXPECT_EQ(error->domain, QStringLiteral("WiFiDiagnostics"));
}

TEST_F(LinuxBackendTest, ACancelledRequestMakesNoFurtherCallToAHangingService) {
    addDevice();
    join(addAp(QStringLiteral("Home"), 2412));
    auto backend = sharedBackend();
    mock().pauseNetworkManager();  // every call would now wait its whole timeout (1 s here)
    const auto start = Clock::now();
    ErrorRef error;
    const auto results =
        backend->runDiagnosticsTests({DiagnosticsTestRequest::requestWithTestID(11, maxAge(60)),
                                      DiagnosticsTestRequest::requestWithTestID(43, maxAge(60))},
                                     &error, [&backend] { backend->cancelAllRequests(); });
    const auto took = Clock::now() - start;
    mock().resumeNetworkManager();
    EXPECT_FALSE(results.has_value());
    ASSERT_TRUE(error);
    EXPECT_EQ(error->code, 125);
    EXPECT_LT(took, 500ms) << "a call was made after the cancel";
}

// ---- Power ---------------------------------------------------------------------------------------

TEST_F(LinuxBackendTest, PowerIsReadAtConstruction) {
    addDevice();
    mock().setProperty(nm::kManagerPath, nm::kManagerInterface, QStringLiteral("WirelessEnabled"), false);
    EXPECT_FALSE(backend().power());
}

TEST_F(LinuxBackendTest, ARadioSwitchReachesThePowerCallbacksOnTheMainThread) {
    addDevice();
    EXPECT_TRUE(backend().power());
    installWiFiBackend(sharedBackend());
    // The process-wide backend goes again however the test ends.
    const std::shared_ptr<void> uninstall(nullptr, [](void*) { installWiFiBackend(nullptr); });

    testsupport::ManagerSetup setup;
    ASSERT_TRUE(setup.make());
    const auto& watch = setup.watch;

    // Switched off elsewhere, as another program or the radio key does.
    std::thread([&] {
        mock().setProperty(nm::kManagerPath, nm::kManagerInterface, QStringLiteral("WirelessEnabled"), false);
    }).join();
    EXPECT_TRUE(testsupport::runMainLoopUntil([&] { return watch->calls.load() == 1; }));
    EXPECT_FALSE(backend().power());
    mock().setProperty(nm::kManagerPath, nm::kManagerInterface, QStringLiteral("WirelessEnabled"), true);
    EXPECT_TRUE(testsupport::runMainLoopUntil([&] { return watch->calls.load() == 2; }));
    testsupport::runMainLoopUntil([] { return false; }, 200ms);

    EXPECT_TRUE(backend().power());
    EXPECT_EQ(watch->calls.load(), 2);
    {
        std::lock_guard lock(watch->mutex);
        EXPECT_EQ(watch->powers, (std::vector<int>{0, 1}));
    }
    EXPECT_TRUE(watch->onMainThread.load());

    setup.release();
}

TEST_F(LinuxBackendTest, SwitchingTheRadioOffNotifiesOnce) {
    addDevice();
    installWiFiBackend(sharedBackend());
    const std::shared_ptr<void> uninstall(nullptr, [](void*) { installWiFiBackend(nullptr); });

    testsupport::ManagerSetup setup;
    ASSERT_TRUE(setup.make());
    const auto& watch = setup.watch;

    // The backend's own switch and NetworkManager's signal of it are one change.
    backend().setPower(false);
    EXPECT_FALSE(backend().power());
    EXPECT_TRUE(testsupport::runMainLoopUntil([&] { return watch->calls.load() >= 1; }));
    testsupport::runMainLoopUntil([] { return false; }, 300ms);
    EXPECT_EQ(watch->calls.load(), 1);
    // NetworkManager itself has the radio off.
    EXPECT_FALSE(platform::linuxwifi::NetworkManagerClient(mock().connection(), 1000ms).wirelessEnabled());
    EXPECT_TRUE(watch->onMainThread.load());

    setup.release();
}

TEST_F(LinuxBackendTest, SwitchingWiFiOnWhileItsHardwareSwitchIsOffLeavesItOffAndSaysWhy) {
    addDevice();
    mock().setProperty(nm::kManagerPath, nm::kManagerInterface, QStringLiteral("WirelessEnabled"), false);
    mock().setProperty(nm::kManagerPath, nm::kManagerInterface, QStringLiteral("WirelessHardwareEnabled"),
                       false);
    // NetworkManager takes the request, but the killed radio stays off.
    mock().addMethod(nm::kManagerPath, QStringLiteral("org.freedesktop.DBus.Properties"),
                     QStringLiteral("Set"), QStringLiteral("ssv"), QString(), QStringLiteral("pass"));
    EXPECT_FALSE(backend().power());
    backend().setPower(true);
    EXPECT_FALSE(backend().power());
    std::lock_guard lock(warningsMutex_);
    ASSERT_EQ(warnings_.size(), 1u);
    EXPECT_THAT(str(warnings_[0]), HasSubstr("hardware switch or the firmware (rfkill)"));
}

TEST_F(LinuxBackendTest, APingWhoseRouteLeavesThroughAnotherDeviceIsNotSent) {
    addDevice();
    join(addAp(QStringLiteral("Home"), 2412));
    mock().addIp4Config(device_, QStringLiteral("ip4"), {{QStringLiteral("192.168.1.20"), 24}},
                        QStringLiteral("127.0.0.1"));
    for (const std::int64_t id : {3, 6}) {
        const auto start = std::chrono::steady_clock::now();
        const Outcome o = run(id);
        EXPECT_EQ(o.errorCode(), 95) << id;
        EXPECT_THAT(o.errorText(), HasSubstr("leaves through lo, not the Wi-Fi device wlp2s0")) << id;
        EXPECT_LT(std::chrono::steady_clock::now() - start, 1000ms) << "no ping series was sent";
    }
}

// ---- The captive portal and the internet check ----

// The probe tests' HTTP server on this machine's loopback, at a port of its own.
class LocalHttpServer {
  public:
    LocalHttpServer() {
        process_.setProgram(QStringLiteral("/usr/bin/python3"));
        process_.setArguments({QStringLiteral(WIFIPROFILE_SOURCE_DIR "/unittests/linux/probes/httpserver.py"),
                               QStringLiteral("127.0.0.1"), QStringLiteral("0")});
        process_.setProcessChannelMode(QProcess::SeparateChannels);
        process_.start();
        if (process_.waitForStarted(5000) && process_.waitForReadyRead(10000)) {
            port_ = process_.readLine().trimmed().toInt();
        }
    }
    ~LocalHttpServer() {
        process_.kill();
        process_.waitForFinished(5000);
    }
    int port() const { return port_; }
    QUrl url(const char* path) const {
        return QUrl(QStringLiteral("http://127.0.0.1:%1%2").arg(port_).arg(QLatin1String(path)));
    }

  private:
    QProcess process_;
    int port_ = 0;
};

class CaptivePortalTest : public LinuxBackendTest {
  protected:
    // Joined on "Home" through a Wi-Fi device named after this machine's loopback device, so that
    // the probes to the local server leave "through the Wi-Fi device".
    void joinThroughLoopback() {
        device_ =
            mock().addWiFiDevice(QStringLiteral("wlan0"), QStringLiteral("lo"), kActivated, scannedNow());
        join(addAp(QStringLiteral("Home"), 2437));
        activate(withKeyMgmt(wifiConnection(QStringLiteral("Home"), "Home"), QStringLiteral("wpa-psk")));
    }
    // NetworkManager's connectivity checking: available and enabled, or not; its global state.
    void daemonChecks(bool checks, uint globalState) {
        mock().addProperty(nm::kManagerPath, nm::kManagerInterface,
                           QStringLiteral("ConnectivityCheckAvailable"), checks);
        mock().addProperty(nm::kManagerPath, nm::kManagerInterface,
                           QStringLiteral("ConnectivityCheckEnabled"), checks);
        mock().setProperty(nm::kManagerPath, nm::kManagerInterface, QStringLiteral("Connectivity"),
                           QVariant(globalState));
    }
};

TEST_F(CaptivePortalTest, TheDaemonsVerdictOnTheWiFiDeviceCountsNotTheGlobalState) {
    // Docked: Ethernet makes the global state FULL, while the Wi-Fi's own IPv4 sits behind a portal.
    joinThroughLoopback();
    daemonChecks(true, nm::kConnectivityFull);
    mock().addProperty(device_, nm::kDeviceInterface, QStringLiteral("Ip4Connectivity"),
                       QVariant(nm::kConnectivityPortal));
    const Outcome o = run(46);
    EXPECT_EQ(verdictOf(o), (Verdict{true, false})) << o.errorText();
    const auto profile = o.info("PreferredNetwork");
    ASSERT_TRUE(profile) << o.errorText();
    const auto record = profile->recordAs<NetworkProfile>();
    ASSERT_TRUE(record);
    EXPECT_TRUE(record->isCaptive);
}

TEST_F(CaptivePortalTest, OnANetworkWithoutIPv4TheDaemonsIPv6VerdictCounts) {
    joinThroughLoopback();
    daemonChecks(true, nm::kConnectivityFull);
    mock().addProperty(device_, nm::kDeviceInterface, QStringLiteral("Ip4Connectivity"),
                       QVariant(nm::kConnectivityNone));
    mock().addProperty(device_, nm::kDeviceInterface, QStringLiteral("Ip6Connectivity"),
                       QVariant(nm::kConnectivityPortal));
    EXPECT_EQ(verdictOf(run(46)), (Verdict{true, false}));
    mock().updateProperties(device_, nm::kDeviceInterface,
                            {{QStringLiteral("Ip6Connectivity"), QVariant(nm::kConnectivityFull)}});
    EXPECT_EQ(verdictOf(run(46)), (Verdict{false, true}));
}

TEST_F(CaptivePortalTest, OnTheIwdBackendThePortalIsCheckedWithoutAMadeUpProfile) {
    joinThroughLoopback();
    daemonChecks(true, nm::kConnectivityFull);
    mock().addProperty(device_, nm::kDeviceInterface, QStringLiteral("Ip4Connectivity"),
                       QVariant(nm::kConnectivityPortal));
    QDBusConnection bus = mock().connection();
    ASSERT_TRUE(bus.registerService(QStringLiteral("net.connman.iwd")));
    const Outcome o = run(46);
    bus.unregisterService(QStringLiteral("net.connman.iwd"));
    EXPECT_EQ(verdictOf(o), (Verdict{true, false})) << o.errorText();
    EXPECT_FALSE(o.info("PreferredNetwork").has_value());
}

TEST_F(CaptivePortalTest, WhereTheDaemonDoesNotCheckOurProbeFindsARedirect) {
    // Stock Debian: no check URI, and the daemon calls any routed link FULL.
    LocalHttpServer server;
    ASSERT_NE(server.port(), 0) << "the local HTTP server did not start";
    checkUrl_ = server.url("/redirect");
    joinThroughLoopback();
    daemonChecks(false, nm::kConnectivityFull);
    const Outcome o = run(46);
    EXPECT_EQ(verdictOf(o), (Verdict{true, false})) << o.errorText();
}

TEST_F(CaptivePortalTest, WhereTheDaemonDoesNotCheckOurProbeFindsTheInternet) {
    LocalHttpServer server;
    ASSERT_NE(server.port(), 0) << "the local HTTP server did not start";
    checkUrl_ = server.url("/success");
    checkBody_ = QByteArray("Success");
    joinThroughLoopback();
    daemonChecks(false, nm::kConnectivityPortal);  // the daemon's word does not count here
    const Outcome o = run(46);
    EXPECT_EQ(verdictOf(o), (Verdict{false, true})) << o.errorText();
    EXPECT_EQ(verdictOf(run(11)), (Verdict{true, true}));
    EXPECT_EQ(verdictOf(run(9)), (Verdict{true, true}));
}

TEST_F(CaptivePortalTest, ACancelEndsTheDaemonsLongConnectivityCheckAtOnce) {
    joinThroughLoopback();
    daemonChecks(true, nm::kConnectivityFull);
    // The daemon's own check may take it up to 20 s; here it takes 3.
    mock().addMethod(nm::kManagerPath, nm::kManagerInterface, QStringLiteral("CheckConnectivity"), QString(),
                     QStringLiteral("u"), QStringLiteral("import time\ntime.sleep(3)\nret = 4"));
    auto backend = sharedBackend();
    auto answer = std::async(std::launch::async, [&backend] {
        ErrorRef error;
        backend->runDiagnosticsTests({DiagnosticsTestRequest::requestWithTestID(46, nullptr)}, &error);
        return error;
    });
    std::this_thread::sleep_for(500ms);  // well inside the daemon's check
    const auto cancelled = Clock::now();
    backend->cancelAllRequests();
    ASSERT_EQ(answer.wait_for(2s), std::future_status::ready) << "the check did not end with the cancel";
    EXPECT_LT(Clock::now() - cancelled, 500ms);
    const ErrorRef error = answer.get();
    ASSERT_TRUE(error);
    EXPECT_EQ(error->code, 125);
}

TEST_F(LinuxBackendTest, AnInternetCheckThatWouldLeaveThroughAnotherDeviceIsNotMade) {
    // The Wi-Fi device is wlp2s0; the check's address is reached through lo (a docked laptop's
    // Ethernet, or a VPN, in real life).
    addDevice();
    join(addAp(QStringLiteral("Home"), 2437));
    for (const std::int64_t id : {9, 11, 46}) {
        const Outcome o = run(id);
        EXPECT_EQ(o.errorCode(), 95) << id;
        EXPECT_THAT(o.errorText(), HasSubstr("internet check address 127.0.0.1 leaves through lo, not the "
                                             "Wi-Fi device wlp2s0"))
            << id;
    }
}

TEST_F(LinuxBackendTest, AResolverWhoseServerIsReachedThroughAnotherDeviceIsNotMeasured) {
    // One of this machine's own addresses: the kernel reaches it through another device than wlp2s0.
    QString own;
    for (const QHostAddress& address : QNetworkInterface::allAddresses()) {
        if (address.protocol() == QAbstractSocket::IPv4Protocol && !address.isLoopback()) {
            own = address.toString();
            break;
        }
    }
    if (own.isEmpty()) {
        GTEST_SKIP() << "this machine has no IPv4 address but the loopback one";
    }
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    resolvConfPath_ = dir.filePath(QStringLiteral("resolv.conf"));
    QFile conf(resolvConfPath_);
    ASSERT_TRUE(conf.open(QIODevice::WriteOnly));
    conf.write(
        QStringLiteral("# Generated by NetworkManager\nsearch lan\nnameserver %1\n").arg(own).toUtf8());
    conf.close();
    addDevice();
    join(addAp(QStringLiteral("Home"), 2437));
    const Outcome o = run(7);
    EXPECT_EQ(o.errorCode(), 95);
    EXPECT_THAT(o.errorText(),
                HasSubstr("the route to the DNS server address " + str(own) + " leaves through "));
    EXPECT_THAT(o.errorText(), HasSubstr("not the Wi-Fi device wlp2s0"));
}

TEST_F(LinuxBackendTest, ALocalCachingResolverIsAskedAsItIs) {
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    resolvConfPath_ = dir.filePath(QStringLiteral("resolv.conf"));
    QFile conf(resolvConfPath_);
    ASSERT_TRUE(conf.open(QIODevice::WriteOnly));
    conf.write("nameserver 127.0.0.53\noptions edns0\n");
    conf.close();
    addDevice();
    join(addAp(QStringLiteral("Home"), 2437));
    const Outcome o = run(7);  // the fixture resolves "localhost"
    EXPECT_EQ(verdictOf(o), (Verdict{true, true})) << o.errorText();
}

// ---- Which address a probe takes ----

using platform::linuxwifi::handlers::addressThroughWiFi;

// Routes as a table gives them: the interface of each address, or no route at all.
platform::linuxwifi::handlers::RouteLookup routes(std::map<QString, std::optional<QString>> table) {
    return [table](const QHostAddress& address) -> platform::linuxwifi::ProbeOutcome<std::optional<QString>> {
        const auto found = table.find(address.toString());
        if (found == table.end()) {
            return platform::makeError(QStringLiteral("test"), 65, QStringLiteral("no route"));
        }
        return found->second;
    };
}

TEST(AddressThroughWiFi, IPv4ComesFirstWhenItsRouteTakesTheWiFi) {
    const auto choice = addressThroughWiFi(
        {QHostAddress(QStringLiteral("2001:db8::1")), QHostAddress(QStringLiteral("192.0.2.1"))},
        QStringLiteral("wlan0"),
        routes({{QStringLiteral("2001:db8::1"), QStringLiteral("wlan0")},
                {QStringLiteral("192.0.2.1"), QStringLiteral("wlan0")}}));
    EXPECT_EQ(choice.address, QHostAddress(QStringLiteral("192.0.2.1")));
    EXPECT_FALSE(choice.elsewhere.has_value());
}

TEST(AddressThroughWiFi, OnANetworkWithoutIPv4TheIPv6AddressIsTaken) {
    // NAT64: DNS64 still gives the name's real IPv4 address, which has no route here.
    const auto choice = addressThroughWiFi(
        {QHostAddress(QStringLiteral("192.0.2.1")), QHostAddress(QStringLiteral("2001:db8::1"))},
        QStringLiteral("wlan0"), routes({{QStringLiteral("2001:db8::1"), QStringLiteral("wlan0")}}));
    EXPECT_EQ(choice.address, QHostAddress(QStringLiteral("2001:db8::1")));
    EXPECT_FALSE(choice.elsewhere.has_value());
}

TEST(AddressThroughWiFi, AnAddressReachedOnlyThroughAnotherDeviceIsNamedWithIt) {
    const auto choice = addressThroughWiFi(
        {QHostAddress(QStringLiteral("192.0.2.1")), QHostAddress(QStringLiteral("2001:db8::1"))},
        QStringLiteral("wlan0"),
        routes({{QStringLiteral("192.0.2.1"), QStringLiteral("eth0")},
                {QStringLiteral("2001:db8::1"), QStringLiteral("tun0")}}));
    ASSERT_TRUE(choice.elsewhere.has_value());
    EXPECT_EQ(choice.elsewhere->first, QHostAddress(QStringLiteral("192.0.2.1")));
    EXPECT_EQ(choice.elsewhere->second, QStringLiteral("eth0"));
}

TEST(AddressThroughWiFi, WithNoRouteAtAllTheFirstAddressIsTakenAndTheProbeSaysWhy) {
    const auto choice = addressThroughWiFi(
        {QHostAddress(QStringLiteral("2001:db8::1")), QHostAddress(QStringLiteral("192.0.2.1"))},
        QStringLiteral("wlan0"), routes({}));
    EXPECT_EQ(choice.address, QHostAddress(QStringLiteral("192.0.2.1")));
    EXPECT_FALSE(choice.elsewhere.has_value());
}

// ---- A network without IPv4 ----

TEST_F(LinuxBackendTest, OnAnIPv6OnlyNetworkThePingsAimAtIPv6AndNoRouterTranslatesAddresses) {
    // NAT64: no IPv4 address, no IPv4 route; NetworkManager names a link-local IPv6 gateway.
    addDevice();
    join(addAp(QStringLiteral("Home"), 2437));
    mock().addIp6Config(device_, QStringLiteral("ip6"), {{QStringLiteral("2001:db8:1::20"), 64}},
                        QStringLiteral("fe80::1"));
    // The gateway is pinged on the Wi-Fi device, which this machine does not have.
    const Outcome lan = run(3);
    EXPECT_EQ(lan.errorCode(), 65) << lan.errorText();
    EXPECT_THAT(lan.errorText(), HasSubstr("fe80::1%wlp2s0"));
    // The WAN ping takes the IPv6 address (::1 here, which leaves through lo).
    const Outcome wan = run(6);
    EXPECT_EQ(wan.errorCode(), 95);
    EXPECT_THAT(wan.errorText(),
                HasSubstr("WAN ping address ::1 leaves through lo, not the Wi-Fi device wlp2s0"));
    EXPECT_EQ(verdictOf(run(8)), (Verdict{false, true}));
}

TEST_F(LinuxBackendTest, AnIPv4AddressWithoutAnIPv4GatewayIsNoIPv6OnlyNetwork) {
    // ipv4.never-default: the link has IPv4, but the default route is another's.
    addDevice();
    join(addAp(QStringLiteral("Home"), 2437));
    mock().addIp4Config(device_, QStringLiteral("ip4"), {{QStringLiteral("192.168.1.20"), 24}}, QString());
    mock().addIp6Config(device_, QStringLiteral("ip6"), {{QStringLiteral("2001:db8:1::20"), 64}},
                        QStringLiteral("fe80::1"));
    for (const std::int64_t id : {3, 8}) {
        const Outcome o = run(id);
        EXPECT_EQ(o.errorCode(), 57) << id;
        EXPECT_THAT(o.errorText(), HasSubstr("names no IPv4 or IPv6 gateway")) << id;
    }
}

TEST_F(LinuxBackendTest, WithIPv4TheIPv6GatewayIsNotPinged) {
    addDevice();
    join(addAp(QStringLiteral("Home"), 2437));
    mock().addIp4Config(device_, QStringLiteral("ip4"), {{QStringLiteral("192.168.1.20"), 24}},
                        QStringLiteral("127.0.0.1"));
    mock().addIp6Config(device_, QStringLiteral("ip6"), {{QStringLiteral("2001:db8:1::20"), 64}},
                        QStringLiteral("fe80::1"));
    const Outcome lan = run(3);
    EXPECT_EQ(lan.errorCode(), 95);
    EXPECT_THAT(lan.errorText(), HasSubstr("gateway address 127.0.0.1 leaves through lo"));
    EXPECT_THAT(run(6).errorText(), HasSubstr("WAN ping address 127.0.0.1 leaves through lo"));
}

// ---- The gateway when NetworkManager names none ----

class GatewayFromTheRouteTableTest : public LinuxBackendTest {
  protected:
    // Joined, with an IPv4 configuration that names no gateway, and a routing table of the given rows.
    void joinWithoutGateway(const QString& rows) {
        addDevice();
        join(addAp(QStringLiteral("Home"), 2412));
        mock().addIp4Config(device_, QStringLiteral("ip4"), {{QStringLiteral("192.168.1.20"), 24}},
                            QString());
        if (!rows.isNull()) {
            routeTablePath_ = dir_.filePath(QStringLiteral("route"));
            QFile file(routeTablePath_);
            ASSERT_TRUE(file.open(QIODevice::WriteOnly));
            file.write(
                ("Iface\tDestination\tGateway \tFlags\tRefCnt\tUse\tMetric\tMask\t\tMTU\tWindow\tIRTT\n" +
                 rows)
                    .toUtf8());
        }
    }
    QTemporaryDir dir_;
};

TEST_F(GatewayFromTheRouteTableTest, TheKernelsDefaultRouteThroughTheWiFiDeviceGivesTheGateway) {
    // Default route via 127.0.0.1 on wlp2s0: the gateway ping then finds its route through lo.
    joinWithoutGateway(QStringLiteral("wlp2s0\t00000000\t0100007F\t0003\t0\t0\t600\t00000000\t0\t0\t0\n"));
    const Outcome ping = run(3);
    EXPECT_EQ(ping.errorCode(), 95);
    EXPECT_THAT(ping.errorText(), HasSubstr("the route to the gateway address 127.0.0.1 leaves through lo"));
    // 127.0.0.1 is no private address: no double NAT, answered without a probe.
    const Outcome nat = run(8);
    ASSERT_EQ(nat.errorCode(), -1) << nat.errorText();
    EXPECT_EQ(verdictOf(nat), (Verdict{false, true}));
}

TEST_F(GatewayFromTheRouteTableTest, ADefaultRouteThroughAnotherDeviceGivesNone) {
    joinWithoutGateway(QStringLiteral("enp0s31f6\t00000000\t0100000A\t0003\t0\t0\t100\t00000000\t0\t0\t0\n"));
    for (const std::int64_t id : {3, 8}) {
        const Outcome o = run(id);
        EXPECT_EQ(o.errorCode(), 57) << id;
        EXPECT_THAT(o.errorText(), HasSubstr("NetworkManager names no IPv4 or IPv6 gateway, and the default "
                                             "route leaves through enp0s31f6"))
            << id;
    }
}

TEST_F(GatewayFromTheRouteTableTest, NoDefaultRouteGivesNone) {
    joinWithoutGateway(QStringLiteral("wlp2s0\t0001A8C0\t00000000\t0001\t0\t0\t600\t00FFFFFF\t0\t0\t0\n"));
    const Outcome o = run(3);
    EXPECT_EQ(o.errorCode(), 57);
    EXPECT_THAT(
        o.errorText(),
        HasSubstr("NetworkManager names no IPv4 or IPv6 gateway, and the kernel has no default route"));
}

TEST_F(GatewayFromTheRouteTableTest, AnUnreadableRouteTableGivesNoneAndSaysWhy) {
    joinWithoutGateway(QString());
    const Outcome o = run(8);
    EXPECT_EQ(o.errorCode(), 57);
    EXPECT_THAT(o.errorText(),
                HasSubstr("NetworkManager names no IPv4 or IPv6 gateway, and cannot read the routing table "
                          "/nonexistent-route-table"));
}
