// Whole runs of `wifi-profile --backend linux` against a mocked NetworkManager and BlueZ: the
// profile's keys follow what the mocks hold, the radio details follow a replayed nl80211 recording
// (or are logged with their errors on a kernel without nl80211), the scan is reused, and a machine
// without NetworkManager is told apart. Every probe aims at the loopback address: nothing leaves
// this machine.
#include "platform/foundation/JsonReader.h"
#include "platform/wifi/linux/NetworkManagerClient.h"
#include "unittests/linux/mock/MockSystemBus.h"
#include "unittests/linux/support/RadioFixtures.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <linux/nl80211.h>

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

using radiofixtures::BitrateFixture;
using radiofixtures::BssFixture;
using radiofixtures::RadioFixture;
using radiofixtures::StationFixture;

// The kernel's view of joinHome's radio, the device named as NetworkManager's ("lo"): the home
// network on channel 6, the neighbour's NETGEAR on channel 36 and the hidden network on channel 1.
RadioFixture homeRadio() {
    RadioFixture radio;
    radio.interfaceName = QStringLiteral("lo");
    radio.frequency = 2437;
    radio.channelWidth = NL80211_CHAN_WIDTH_20;
    radio.bands = {{NL80211_BAND_2GHZ, 0x01ef, std::nullopt, false, false},
                   {NL80211_BAND_5GHZ, 0x01ef, 0x038071b2u, false, false}};
    BssFixture netgear;
    netgear.bssid = QStringLiteral("00:1a:2b:10:00:02");
    netgear.frequency = 5180;
    netgear.informationElements =
        radiofixtures::ssidElement("NETGEAR") + radiofixtures::supportedRatesElement("8c12982430486c") +
        radiofixtures::dsParameterSetElement(36) + radiofixtures::countryElement("US") +
        radiofixtures::htCapabilitiesElement(0x01ef) + radiofixtures::vhtCapabilitiesElement(0x038071b2) +
        radiofixtures::rsnElement();
    netgear.signalMbm = -6000;
    BssFixture hidden;
    hidden.bssid = QStringLiteral("00:1a:2b:10:00:03");
    hidden.frequency = 2412;
    hidden.informationElements =
        radiofixtures::ssidElement("") + radiofixtures::supportedRatesElement("82848b96");
    hidden.signalMbm = -8949;
    radio.bsses = {netgear, hidden};
    return radio;
}

// The home network's BSS as the kernel heard it: its elements, and a beacon's with its TIM.
BssFixture homeBss(const QByteArray& elements, int dtimPeriod) {
    BssFixture home;
    home.bssid = QStringLiteral("00:1a:2b:10:00:01");
    home.frequency = 2437;
    home.associated = true;
    home.informationElements = elements;
    home.beaconElements = elements + radiofixtures::timElement(dtimPeriod);
    return home;
}

// Writes a recording of radio into dir/name and answers its path.
QString record(const QTemporaryDir& dir, const QString& name, const RadioFixture& radio) {
    const QString path = dir.filePath(name);
    radio.writeTo(path);
    return path;
}

QStringList replaying(const QString& recording) {
    return {QStringLiteral("--backend"), QStringLiteral("linux"), QStringLiteral("--nl80211-replay"),
            recording};
}

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

    // The radio details need nl80211: on a kernel without it (this machine's kind) they are
    // answered with an error that says so; elsewhere the kernel does not know the mocked device.
    const QString missing = QDir(QStringLiteral("/sys/class/ieee80211")).exists()
                                ? QStringLiteral("nl80211 does not list the Wi-Fi device lo")
                                : QStringLiteral("this kernel does not offer nl80211");
    EXPECT_TRUE(
        run.err.contains(QStringLiteral("Long Beacon Interval failed with error: WiFiDiagnostics error "
                                        "95: the beacon interval needs nl80211: ") +
                         missing))
        << run.err.toStdString();
    EXPECT_TRUE(run.err.contains(QStringLiteral("Conflicting Country Code failed with error: WiFiDiagnostics "
                                                "error 95: the country code needs nl80211: ") +
                                 missing))
        << run.err.toStdString();
    EXPECT_FALSE(current->contains(QStringLiteral("noise")));
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

TEST_F(LinuxRunTest, ARecordedRadioWithEveryProblemIsProfiledFromTheKernelsView) {
    joinHome();
    // A Passpoint home network with long beacon and DTIM intervals, 802.11b rates only, a WPS
    // element naming its maker, and a German country element under the US regulatory domain; the
    // link runs 802.11ac rates it does not announce, 40 MHz wide, with a weak signal.
    RadioFixture radio = homeRadio();
    radio.channelWidth = NL80211_CHAN_WIDTH_40;
    BssFixture home = homeBss(
        radiofixtures::ssidElement("Pemberton Home") + radiofixtures::supportedRatesElement("82848b96") +
            radiofixtures::dsParameterSetElement(6) + radiofixtures::countryElement("DE") +
            radiofixtures::rsnElement() + radiofixtures::interworkingElement(2, true) +
            radiofixtures::hotspot20Element() +
            radiofixtures::wpsElement({"Harbex", "Beacon", "AX3", "Living room"}),
        5);
    home.beaconInterval = 300;
    home.signalMbm = -7900;  // the last frame heard; the station's own signal counts
    radio.bsses.insert(radio.bsses.begin(), home);
    StationFixture station;
    station.mac = home.bssid;
    station.signal = -81;
    station.txBitrate = BitrateFixture{4333, std::nullopt, 9, std::nullopt, std::nullopt, 80};
    station.rxBitrate = BitrateFixture{650, 7, std::nullopt, std::nullopt, std::nullopt, 20};
    radio.station = station;
    radio.survey = {{2412, -97, false, std::nullopt}, {2437, -95, true, std::nullopt}};
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const HostOutcome run = runHost(bus_->address(), replaying(record(dir, QStringLiteral("radio"), radio)));
    ASSERT_EQ(run.exitCode, 0) << run.err.right(1500).toStdString();
    const auto current = section(run, "currentNetwork");
    ASSERT_TRUE(current) << run.out.toStdString();
    EXPECT_EQ(current->value(QStringLiteral("isBeaconIntervalLong")), Value::boolean(true));
    EXPECT_EQ(current->value(QStringLiteral("beaconInterval"))->toInt(), 300);
    EXPECT_EQ(current->value(QStringLiteral("isDTIMIntervalLong")), Value::boolean(true));
    EXPECT_EQ(current->value(QStringLiteral("DTIMInterval"))->toInt(), 5);
    EXPECT_EQ(current->value(QStringLiteral("isPasspointNetwork")), Value::boolean(true));
    EXPECT_EQ(current->value(QStringLiteral("hasConflictingPHYMode11AC")), Value::boolean(true));
    EXPECT_EQ(current->value(QStringLiteral("hasConflictingPHYMode11N")), Value::boolean(false));
    EXPECT_EQ(current->value(QStringLiteral("supportedPHYModes"))->description(),
              QStringLiteral("[\"802.11b\"]"));
    EXPECT_EQ(current->value(QStringLiteral("isHostedByHarbexBaseStation")), Value::boolean(true));
    EXPECT_EQ(current->value(QStringLiteral("harbexModelName"))->toString(),
              QStringLiteral("Harbex Beacon AX3"));
    EXPECT_EQ(current->value(QStringLiteral("hasHT40Channel")), Value::boolean(true));
    EXPECT_EQ(current->value(QStringLiteral("foundConflictingCountryCode")), Value::boolean(true));
    EXPECT_EQ(current->value(QStringLiteral("adoptedCountryCode"))->toString(), QStringLiteral("US"));
    EXPECT_EQ(current->value(QStringLiteral("hasPoorSignal")), Value::boolean(true));
    EXPECT_EQ(current->value(QStringLiteral("RSSI"))->toInt(), -81);
    EXPECT_EQ(current->value(QStringLiteral("noise"))->toInt(), -95);
    EXPECT_EQ(current->value(QStringLiteral("isUsingLegacyRates")), Value::boolean(true));
    EXPECT_EQ(current->value(QStringLiteral("hiddenNetworkCount"))->toInt(), 1);
    EXPECT_FALSE(run.err.contains(QStringLiteral("nl80211"))) << run.err.toStdString();
}

TEST_F(LinuxRunTest, ARecordedRadioWithoutProblemsIsProfiledFromTheKernelsView) {
    joinHome();
    // An 802.11b/g/n home network with the usual intervals, no WPS element and the country of the
    // regulatory domain; the link runs legacy rates (the one problem: 802.11n offered, not used) at
    // a good signal, and the driver reports no noise.
    RadioFixture radio = homeRadio();
    BssFixture home =
        homeBss(radiofixtures::ssidElement("Pemberton Home") +
                    radiofixtures::supportedRatesElement("82848b960c121824") +
                    radiofixtures::extendedRatesElement("30486c") + radiofixtures::dsParameterSetElement(6) +
                    radiofixtures::countryElement("US") + radiofixtures::htCapabilitiesElement(0x01ad) +
                    radiofixtures::htOperationElement(6, 0, false) + radiofixtures::rsnElement(),
                1);
    home.signalMbm = -5000;
    radio.bsses.insert(radio.bsses.begin(), home);
    StationFixture station;
    station.mac = home.bssid;
    station.signal = -50;
    station.txBitrate = BitrateFixture{540, std::nullopt, std::nullopt, std::nullopt, std::nullopt, 20};
    station.dtimPeriod = 1;
    station.beaconInterval = 100;
    radio.station = station;
    radio.survey = {{2437, std::nullopt, true, std::nullopt}};
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const HostOutcome run = runHost(bus_->address(), replaying(record(dir, QStringLiteral("radio"), radio)));
    ASSERT_EQ(run.exitCode, 0) << run.err.right(1500).toStdString();
    const auto current = section(run, "currentNetwork");
    ASSERT_TRUE(current) << run.out.toStdString();
    EXPECT_EQ(current->value(QStringLiteral("isBeaconIntervalLong")), Value::boolean(false));
    EXPECT_EQ(current->value(QStringLiteral("beaconInterval"))->toInt(), 100);
    EXPECT_EQ(current->value(QStringLiteral("isDTIMIntervalLong")), Value::boolean(false));
    EXPECT_EQ(current->value(QStringLiteral("DTIMInterval"))->toInt(), 1);
    EXPECT_EQ(current->value(QStringLiteral("isPasspointNetwork")), Value::boolean(false));
    EXPECT_EQ(current->value(QStringLiteral("hasConflictingPHYMode11AC")), Value::boolean(false));
    EXPECT_EQ(current->value(QStringLiteral("hasConflictingPHYMode11N")), Value::boolean(true));
    EXPECT_EQ(current->value(QStringLiteral("supportedPHYModes"))->description(),
              QStringLiteral("[\"802.11b\", \"802.11g\", \"802.11n\"]"));
    EXPECT_EQ(current->value(QStringLiteral("isHostedByHarbexBaseStation")), Value::boolean(false));
    EXPECT_FALSE(current->contains(QStringLiteral("harbexModelName")));
    EXPECT_EQ(current->value(QStringLiteral("hasHT40Channel")), Value::boolean(false));
    EXPECT_EQ(current->value(QStringLiteral("foundConflictingCountryCode")), Value::boolean(false));
    EXPECT_EQ(current->value(QStringLiteral("adoptedCountryCode"))->toString(), QStringLiteral("US"));
    EXPECT_EQ(current->value(QStringLiteral("hasPoorSignal")), Value::boolean(false));
    EXPECT_EQ(current->value(QStringLiteral("RSSI"))->toInt(), -50);
    EXPECT_FALSE(current->contains(QStringLiteral("noise")));
    EXPECT_TRUE(run.err.contains(QStringLiteral("[ERROR] - Wi-Fi Profile: Noise not found.")))
        << run.err.toStdString();
    EXPECT_EQ(current->value(QStringLiteral("isUsingLegacyRates")), Value::boolean(false));
}

TEST_F(LinuxRunTest, ASelectedNetworkIsProfiledFromItsBssInTheRecording) {
    joinHome();
    RadioFixture radio = homeRadio();
    radio.bsses.insert(
        radio.bsses.begin(),
        homeBss(radiofixtures::ssidElement("Pemberton Home") + radiofixtures::countryElement("US"), 1));
    // NETGEAR announces 802.11ac without 802.11n, beacons every 200 TU, and its channel is surveyed.
    BssFixture& netgear = radio.bsses[1];
    ASSERT_EQ(netgear.bssid, QStringLiteral("00:1a:2b:10:00:02"));
    netgear.informationElements =
        radiofixtures::ssidElement("NETGEAR") + radiofixtures::supportedRatesElement("8c12982430486c") +
        radiofixtures::countryElement("US") + radiofixtures::vhtCapabilitiesElement(0x038071b2) +
        radiofixtures::rsnElement();
    netgear.beaconInterval = 200;
    netgear.signalMbm = -6349;
    radio.survey = {{2437, -95, true, std::nullopt}, {5180, -90, false, std::nullopt}};
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const HostOutcome run = runHost(
        bus_->address(), replaying(record(dir, QStringLiteral("radio"), radio)) +
                             QStringList{QStringLiteral("--network-name"), QStringLiteral("NETGEAR")});
    ASSERT_EQ(run.exitCode, 0) << run.err.right(1500).toStdString();
    const auto selected = section(run, "selectedNetwork");
    ASSERT_TRUE(selected) << run.out.toStdString();
    EXPECT_EQ(selected->value(QStringLiteral("networkName"))->toString(), QStringLiteral("NETGEAR"));
    EXPECT_EQ(selected->value(QStringLiteral("isBeaconIntervalLong")), Value::boolean(true));
    EXPECT_EQ(selected->value(QStringLiteral("beaconInterval"))->toInt(), 200);
    EXPECT_EQ(selected->value(QStringLiteral("hasConflictingPHYMode11AC")), Value::boolean(true));
    EXPECT_EQ(selected->value(QStringLiteral("supportedPHYModes"))->description(),
              QStringLiteral("[\"802.11a\", \"802.11ac\"]"));
    EXPECT_EQ(selected->value(QStringLiteral("RSSI"))->toInt(), -63);
    EXPECT_EQ(selected->value(QStringLiteral("noise"))->toInt(), -90);
    EXPECT_EQ(selected->value(QStringLiteral("foundConflictingCountryCode")), Value::boolean(false));
    // The joined network's own profile is read from its BSS, not the selected one's.
    const auto current = section(run, "currentNetwork");
    ASSERT_TRUE(current);
    EXPECT_EQ(current->value(QStringLiteral("beaconInterval"))->toInt(), 100);
}

TEST_F(LinuxRunTest, ADamagedRecordingIsRefusedNamingTheFileAndTheByte) {
    joinHome();
    RadioFixture radio = homeRadio();
    radio.bsses.insert(radio.bsses.begin(), homeBss(radiofixtures::ssidElement("Pemberton Home"), 1));
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const QString recording = record(dir, QStringLiteral("radio"), radio);
    QFile scan(QDir(recording).filePath(QStringLiteral("GET_SCAN")));
    ASSERT_TRUE(scan.open(QIODevice::ReadWrite));
    const qint64 size = scan.size();
    ASSERT_TRUE(scan.resize(size - 30));  // the NLMSG_DONE and the end of the last BSS cut off
    scan.close();
    const HostOutcome run = runHost(bus_->address(), replaying(recording));
    EXPECT_EQ(run.exitCode, 3) << run.err.toStdString();
    EXPECT_TRUE(run.out.isEmpty()) << run.out.toStdString();
    EXPECT_TRUE(
        run.err.startsWith(QStringLiteral("wifi-profile: nl80211 recording %1: byte ").arg(scan.fileName())))
        << run.err.toStdString();
    EXPECT_TRUE(run.err.contains(QStringLiteral("runs past the end"))) << run.err.toStdString();
}

TEST_F(LinuxRunTest, RecordingOnAKernelWithoutNl80211SaysSo) {
    if (QDir(QStringLiteral("/sys/class/ieee80211")).exists()) {
        GTEST_SKIP() << "this kernel has nl80211; the run would record the machine's own radio";
    }
    joinHome();
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const QString recording = dir.filePath(QStringLiteral("radio"));
    const HostOutcome run = runHost(bus_->address(), {QStringLiteral("--backend"), QStringLiteral("linux"),
                                                      QStringLiteral("--nl80211-record"), recording});
    EXPECT_EQ(run.exitCode, 0) << run.err.right(1500).toStdString();
    EXPECT_TRUE(run.err.contains(
        QStringLiteral("wifi-profile: no nl80211 recording written to %1: this kernel does not offer nl80211")
            .arg(recording)))
        << run.err.toStdString();
    EXPECT_FALSE(QDir(recording).exists());
}
