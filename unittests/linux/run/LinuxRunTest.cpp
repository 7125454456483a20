// Whole runs of `wifi-profile --backend linux` against a mocked NetworkManager and BlueZ: the
// profile's keys follow what the mocks hold, the nl80211 tests are logged with their errors, the
// scan is reused, and a machine without NetworkManager is told apart. Every probe aims at the
// loopback address: nothing leaves this machine.
#include "platform/foundation/JsonReader.h"
#include "platform/wifi/linux/NetworkManagerClient.h"
#include "unittests/linux/mock/MockSystemBus.h"

#include <QFile>
#include <QProcess>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <ctime>
#include <optional>

using platform::Value;
using testsupport::MockSystemBus;
namespace nm = platform::linuxwifi::nm;

namespace {

const QString kHost = QStringLiteral(WIFIPROFILE_BINARY_DIR "/host/wifi-profile");

struct HostOutcome {
    int exitCode = -1;
    QString out;
    QString err;
    platform::DictionaryRef result;  // the printed result, when it was JSON
};

qint64 bootTimeMs() {
    timespec now{};
    clock_gettime(CLOCK_BOOTTIME, &now);
    return static_cast<qint64>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

// Why the host cannot run in a network of its own here (no unshare, or user namespaces refused),
// or nothing.
std::optional<QString> noPrivateNetwork() {
    QProcess probe;
    probe.start(QStringLiteral("unshare"),
                {QStringLiteral("-rn"), QStringLiteral("ip"), QStringLiteral("link"), QStringLiteral("set"),
                 QStringLiteral("lo"), QStringLiteral("up")});
    if (!probe.waitForFinished(10000) || probe.exitStatus() != QProcess::NormalExit ||
        probe.exitCode() != 0) {
        return QStringLiteral("unshare -rn with ip link set lo up failed: %1 %2")
            .arg(probe.errorString(), QString::fromUtf8(probe.readAllStandardError()));
    }
    return std::nullopt;
}

// Runs the host in a network of its own (unshare -rn) holding only the loopback device, which the
// mocked Wi-Fi device is named after: every probe goes to this machine's own loopback and leaves
// "through the Wi-Fi device", and nothing of the machine's own network (its routes, its name
// servers) decides an answer.
// The probe targets of every run: the loopback address and a port nobody listens on.
const QStringList kLocalTargets = {QStringLiteral("--ping-wan"),  QStringLiteral("127.0.0.1"),
                                   QStringLiteral("--dns-name"),  QStringLiteral("localhost"),
                                   QStringLiteral("--check-url"), QStringLiteral("http://127.0.0.1:9/"),
                                   QStringLiteral("--timeout"),   QStringLiteral("120")};

// Runs the host through unshare with these flags and a shell script that sets the namespace up and
// then runs "$0" "$@" (the host and its arguments).
HostOutcome runHostIn(const QString& busAddress, const QStringList& unshareFlags, const QString& script,
                      const QStringList& arguments, const QProcessEnvironment& extra = {}) {
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("DBUS_SYSTEM_BUS_ADDRESS"), busAddress);
    environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    environment.insert(extra);
    process.setProcessEnvironment(environment);
    process.start(
        QStringLiteral("unshare"),
        unshareFlags + QStringList{QStringLiteral("sh"), QStringLiteral("-c"), script, kHost} + arguments);
    EXPECT_TRUE(process.waitForFinished(150000));
    HostOutcome run;
    run.exitCode = process.exitCode();
    run.out = QString::fromUtf8(process.readAllStandardOutput());
    run.err = QString::fromUtf8(process.readAllStandardError());
    QString why;
    if (const auto parsed = platform::tryParseJson(run.out.toUtf8(), &why);
        parsed && parsed->kind() == Value::Kind::Dictionary) {
        run.result = parsed->toDictionary();
    }
    return run;
}

HostOutcome runHost(const QString& busAddress, const QStringList& more) {
    return runHostIn(busAddress, {QStringLiteral("-rn")},
                     QStringLiteral("ip link set lo up && exec \"$0\" \"$@\""), kLocalTargets + more);
}

// A dictionary inside the result: data -> name.
platform::DictionaryRef section(const HostOutcome& run, const char* name) {
    if (!run.result) {
        return nullptr;
    }
    const auto data = run.result->value(QStringLiteral("data"));
    if (!data || data->kind() != Value::Kind::Dictionary) {
        return nullptr;
    }
    const auto inner = data->toDictionary()->value(QString::fromLatin1(name));
    return inner && inner->kind() == Value::Kind::Dictionary ? inner->toDictionary() : nullptr;
}

class LinuxRunTest : public ::testing::Test {
  protected:
    void SetUp() override {
        if (const auto missing = MockSystemBus::missingTools()) {
            GTEST_SKIP() << "cannot start a mocked NetworkManager here: " << missing->toStdString();
        }
        if (const auto missing = noPrivateNetwork()) {
            GTEST_SKIP() << "cannot give the host a network of its own: " << missing->toStdString();
        }
        MockSystemBus::Options options;
        options.bluez = true;
        bus_ = std::make_unique<MockSystemBus>(options);
    }

    // A home network joined over WPA2 on channel 6, a neighbour's NETGEAR on 5 GHz and a hidden
    // network; scanned a moment ago; two paired Bluetooth devices, one connected.
    QString joinHome() {
        MockSystemBus::WiFiDeviceExtras extras;
        extras.lastScan = bootTimeMs();
        const QString device = bus_->addWiFiDevice(QStringLiteral("wlan0"), QStringLiteral("lo"),
                                                   nm::kDeviceStateActivated, extras);
        const QString home =
            bus_->addAccessPoint(device, QStringLiteral("ap1"), QStringLiteral("Pemberton Home"),
                                 QStringLiteral("00:1A:2B:10:00:01"), 2, 2437, 300000, 80, 0x100);
        const QString neighbour =
            bus_->addAccessPoint(device, QStringLiteral("ap2"), QStringLiteral("NETGEAR"),
                                 QStringLiteral("00:1A:2B:10:00:02"), 2, 5180, 600000, 40, 0);
        bus_->setAccessPointSecurity(neighbour, 0x1, 0, 0x188);
        bus_->addAccessPoint(device, QStringLiteral("ap3"), QString(), QStringLiteral("00:1A:2B:10:00:03"), 2,
                             2412, 54000, 20, 0);
        bus_->updateProperties(device, nm::kWirelessInterface,
                               {{QStringLiteral("ActiveAccessPoint"), MockSystemBus::objectPath(home)}});
        const QString connection = bus_->addWiFiConnection(
            device, QStringLiteral("home"), QStringLiteral("Pemberton Home"), QStringLiteral("wpa-psk"));
        bus_->addActiveConnection({device}, connection, home, QStringLiteral("activeHome"), 2);
        // WPA2: CCMP in the RSN element only (the connection above was saved from the PSK flag).
        bus_->setAccessPointSecurity(home, 0x1, 0, 0x188);
        bus_->addIp4Config(device, QStringLiteral("ip4"), {{QStringLiteral("127.0.0.1"), 8}},
                           QStringLiteral("127.0.0.1"));
        // The daemon checks connectivity, and finds the Wi-Fi device's IPv4 online.
        bus_->addProperty(nm::kManagerPath, nm::kManagerInterface,
                          QStringLiteral("ConnectivityCheckAvailable"), true);
        bus_->addProperty(nm::kManagerPath, nm::kManagerInterface, QStringLiteral("ConnectivityCheckEnabled"),
                          true);
        bus_->addProperty(device, nm::kDeviceInterface, QStringLiteral("Ip4Connectivity"),
                          QVariant(nm::kConnectivityFull));
        bus_->addAdapter(QStringLiteral("hci0"), QStringLiteral("laptop"));
        bus_->addBluetoothDevice(QStringLiteral("hci0"), QStringLiteral("11:22:33:44:55:66"),
                                 QStringLiteral("mouse"));
        bus_->addBluetoothDevice(QStringLiteral("hci0"), QStringLiteral("11:22:33:44:55:67"),
                                 QStringLiteral("headset"));
        bus_->pairDevice(QStringLiteral("hci0"), QStringLiteral("11:22:33:44:55:66"));
        bus_->pairDevice(QStringLiteral("hci0"), QStringLiteral("11:22:33:44:55:67"));
        bus_->connectDevice(QStringLiteral("hci0"), QStringLiteral("11:22:33:44:55:66"));
        return device;
    }

    std::unique_ptr<MockSystemBus> bus_;
};

}  // namespace

TEST_F(LinuxRunTest, AProfileOfTheMockedSystem) {
    const QString device = joinHome();
    const HostOutcome run = runHost(bus_->address(), {QStringLiteral("--backend"), QStringLiteral("linux")});
    ASSERT_EQ(run.exitCode, 0) << run.err.right(1500).toStdString();
    ASSERT_TRUE(run.result) << run.out.toStdString();
    EXPECT_EQ(run.result->value(QStringLiteral("statusCode"))->toInt(), 0);

    const auto current = section(run, "currentNetwork");
    ASSERT_TRUE(current) << run.out.toStdString();
    EXPECT_EQ(current->value(QStringLiteral("networkName"))->toString(), QStringLiteral("Pemberton Home"));
    EXPECT_EQ(current->value(QStringLiteral("isUsingAmbiguousNetworkName")), Value::boolean(false));
    EXPECT_EQ(current->value(QStringLiteral("isUsingOpenSecurity")), Value::boolean(false));
    EXPECT_EQ(current->value(QStringLiteral("isUsingWPASecurity")), Value::boolean(false));
    EXPECT_EQ(current->value(QStringLiteral("security"))->toInt(), 3);  // WPA2-Personal
    EXPECT_EQ(current->value(QStringLiteral("foundHiddenNetworks")), Value::boolean(true));
    EXPECT_EQ(current->value(QStringLiteral("isUsingLegacyRates")), Value::boolean(false));
    EXPECT_EQ(current->value(QStringLiteral("hasPoorSignal")), Value::boolean(false));
    EXPECT_EQ(current->value(QStringLiteral("RSSI"))->toInt(), -52);  // strength 80
    EXPECT_FALSE(current->contains(QStringLiteral("beaconInterval")));
    EXPECT_EQ(current->value(QStringLiteral("isLumoPersonalHotspot")), Value::boolean(false));
    EXPECT_EQ(current->value(QStringLiteral("currentChannel"))->toInt(), 6);
    EXPECT_EQ(current->value(QStringLiteral("isIPv4Assigned")), Value::boolean(true));
    EXPECT_EQ(current->value(QStringLiteral("resolvedDNS")), Value::boolean(true));     // localhost
    EXPECT_EQ(current->value(QStringLiteral("reachedOrvane")), Value::boolean(false));  // nobody on port 9
    const auto preferred = current->value(QStringLiteral("preferredNetwork"));
    ASSERT_TRUE(preferred && preferred->kind() == Value::Kind::Dictionary);
    EXPECT_EQ(preferred->toDictionary()->value(QStringLiteral("SSID"))->toString(),
              QStringLiteral("Pemberton Home"));
    EXPECT_EQ(preferred->toDictionary()->value(QStringLiteral("security"))->toInt(), 3);

    const auto device_ = section(run, "device");
    ASSERT_TRUE(device_) << run.out.toStdString();
    EXPECT_EQ(device_->value(QStringLiteral("isUsingCustomDNS")), Value::boolean(false));
    EXPECT_EQ(device_->value(QStringLiteral("bluetoothPairedCount"))->toInt(), 2);
    EXPECT_EQ(device_->value(QStringLiteral("bluetoothConnectedCount"))->toInt(), 1);
    EXPECT_EQ(device_->value(QStringLiteral("preferredNetworkListCount"))->toInt(), 1);

    // The nl80211 tests are answered with an error that says what is missing.
    EXPECT_TRUE(run.err.contains(QStringLiteral(
        "Long Beacon Interval failed with error: WiFiDiagnostics error 95: beacon interval needs "
        "nl80211")))
        << run.err.toStdString();
    // Scanned a moment ago: the profile asks for no scan of its own.
    EXPECT_EQ(bus_->methodCallCount(device, QStringLiteral("RequestScan")), 0);
}

TEST_F(LinuxRunTest, TheListShowsTheMockedScanAndAChosenNetworkIsProfiled) {
    const QString device = joinHome();
    bus_->finishScansAfter(device, 100);  // the list asks for a fresh scan, which ends 100 ms later
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    QFile script(dir.filePath(QStringLiteral("choose.json")));
    ASSERT_TRUE(script.open(QIODevice::WriteOnly));
    script.write(R"([{"snapshot": true}, {"tapNetwork": "NETGEAR"}, {"tap": "NEXT"}])");
    script.close();
    const HostOutcome run = runHost(
        bus_->address(), {QStringLiteral("--backend"), QStringLiteral("linux"), QStringLiteral("--list"),
                          QStringLiteral("--automation"), script.fileName()});
    ASSERT_EQ(run.exitCode, 0) << run.err.right(1500).toStdString();
    const auto selected = section(run, "selectedNetwork");
    ASSERT_TRUE(selected) << run.out.toStdString();
    EXPECT_EQ(selected->value(QStringLiteral("networkName"))->toString(), QStringLiteral("NETGEAR"));
    EXPECT_EQ(selected->value(QStringLiteral("isUsingAmbiguousNetworkName")), Value::boolean(true));
    EXPECT_EQ(selected->value(QStringLiteral("security"))->toInt(), 3);
    EXPECT_EQ(selected->value(QStringLiteral("RSSI"))->toInt(), -76);  // strength 40
    // The list's first load asks for a fresh scan; the profile after it reuses that scan.
    EXPECT_EQ(bus_->methodCallCount(device, QStringLiteral("RequestScan")), 1);
}

TEST_F(LinuxRunTest, AutoTakesTheRealSystemWhenNetworkManagerListsWiFi) {
    joinHome();
    const HostOutcome run = runHost(bus_->address(), {});
    EXPECT_EQ(run.exitCode, 0) << run.err.right(1500).toStdString();
    EXPECT_FALSE(run.err.contains(QStringLiteral("profiling the simulated device"))) << run.err.toStdString();
    const auto current = section(run, "currentNetwork");
    ASSERT_TRUE(current);
    EXPECT_EQ(current->value(QStringLiteral("networkName"))->toString(), QStringLiteral("Pemberton Home"));
}

TEST_F(LinuxRunTest, WithoutAWiFiDeviceAutoProfilesTheSimulatedDeviceAndLinuxRefuses) {
    const HostOutcome automatic = runHost(bus_->address(), {});
    EXPECT_EQ(automatic.exitCode, 0);
    EXPECT_TRUE(automatic.err.contains(
        QStringLiteral("wifi-profile: NetworkManager lists no Wi-Fi device; profiling the simulated device")))
        << automatic.err.toStdString();

    const HostOutcome refused =
        runHost(bus_->address(), {QStringLiteral("--backend"), QStringLiteral("linux")});
    EXPECT_EQ(refused.exitCode, 5);
    EXPECT_TRUE(
        refused.err.contains(QStringLiteral("NetworkManager lists no Wi-Fi device; start NetworkManager")))
        << refused.err.toStdString();
    EXPECT_TRUE(refused.out.isEmpty());
}

TEST_F(LinuxRunTest, WithOnlyAnUnmanagedWiFiDeviceAutoProfilesTheSimulatedDevice) {
    bus_->addWiFiDevice(QStringLiteral("wlan0"), QStringLiteral("lo"), nm::kDeviceStateUnmanaged);
    const HostOutcome automatic = runHost(bus_->address(), {});
    EXPECT_EQ(automatic.exitCode, 0);
    EXPECT_TRUE(automatic.err.contains(QStringLiteral(
        "wifi-profile: NetworkManager manages no Wi-Fi device; profiling the simulated device")))
        << automatic.err.toStdString();
    const HostOutcome refused =
        runHost(bus_->address(), {QStringLiteral("--backend"), QStringLiteral("linux")});
    EXPECT_EQ(refused.exitCode, 5);
    EXPECT_TRUE(refused.err.contains(QStringLiteral("NetworkManager manages no Wi-Fi device")))
        << refused.err.toStdString();
}

TEST(LinuxRunWithoutBus, NoSystemBusMeansTheSimulatedDevice) {
    const HostOutcome run = runHost(QStringLiteral("unix:path=/nonexistent/wifi-profile-test-bus"), {});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_TRUE(run.err.contains(
        QStringLiteral("wifi-profile: no NetworkManager on the system bus; profiling the simulated device")))
        << run.err.toStdString();
    const HostOutcome refused = runHost(QStringLiteral("unix:path=/nonexistent/wifi-profile-test-bus"),
                                        {QStringLiteral("--backend=linux")});
    EXPECT_EQ(refused.exitCode, 5);
    EXPECT_TRUE(refused.err.startsWith(QStringLiteral("wifi-profile: no NetworkManager on the system bus")))
        << refused.err.toStdString();
}

TEST_F(LinuxRunTest, AResolverThatNeverAnswersDoesNotHoldUpTheEndOfTheRun) {
    // The network's resolver drops every query (a server on 53 that never answers): the internet
    // check's name does not resolve within its time, and the lookups still hang when the run ends.
    joinHome();
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    QFile conf(dir.filePath(QStringLiteral("resolv.conf")));
    ASSERT_TRUE(conf.open(QIODevice::WriteOnly));
    conf.write("nameserver 127.0.0.1\noptions timeout:30 attempts:1\n");
    conf.close();
    QProcessEnvironment extra;
    extra.insert(QStringLiteral("WIFI_TEST_RESOLV_CONF"), conf.fileName());
    const QString script = QStringLiteral(
        "ip link set lo up && mount --bind \"$WIFI_TEST_RESOLV_CONF\" /etc/resolv.conf || exit 97\n"
        "/usr/bin/python3 -c \"import socket, time; s = socket.socket(socket.AF_INET, socket.SOCK_DGRAM); "
        "s.bind(('127.0.0.1', 53)); time.sleep(120)\" &\n"
        "silent=$!\n"
        "sleep 0.3\n"
        "\"$0\" \"$@\"; code=$?\n"
        "kill $silent\n"
        "exit $code\n");
    const HostOutcome run =
        runHostIn(bus_->address(), {QStringLiteral("-rnm")}, script,
                  {QStringLiteral("--ping-wan"), QStringLiteral("127.0.0.1"), QStringLiteral("--dns-name"),
                   QStringLiteral("localhost"), QStringLiteral("--check-url"),
                   QStringLiteral("http://check.test:9/"), QStringLiteral("--timeout"), QStringLiteral("120"),
                   QStringLiteral("--backend"), QStringLiteral("linux")},
                  extra);
    ASSERT_NE(run.exitCode, 97) << "cannot put the silent resolver in place: " << run.err.toStdString();
    ASSERT_EQ(run.exitCode, 0) << run.err.right(1500).toStdString();
    const auto current = section(run, "currentNetwork");
    ASSERT_TRUE(current) << run.out.toStdString();
    EXPECT_EQ(current->value(QStringLiteral("reachedOrvane")), Value::boolean(false));
    EXPECT_FALSE(run.err.contains(QStringLiteral("did not end"))) << run.err.toStdString();
    EXPECT_FALSE(run.err.contains(QStringLiteral("still running"))) << run.err.toStdString();
}
