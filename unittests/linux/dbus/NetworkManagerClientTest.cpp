// NetworkManagerClient against the networkmanager mock on a private bus: each read, its true and
// false cases, wrongly typed and missing values, the service vanishing or hanging, the radio
// watcher, scans and the wait for a fresh one, saved connections.
#include "platform/wifi/linux/NetworkManagerClient.h"

#include "unittests/linux/dbus/MockBusTest.h"
#include "unittests/support/MainLoop.h"

#include <QCoreApplication>
#include <QObject>
#include <QThread>
#include <QtEndian>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <stdexcept>
#include <thread>
#include <vector>

using namespace std::chrono_literals;
using platform::linuxwifi::DBusReadError;
using platform::linuxwifi::NetworkManagerClient;
using platform::linuxwifi::NMAccessPoint;
using platform::linuxwifi::NMDevice;
using platform::linuxwifi::NMScanWait;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using testsupport::MockBusTest;
using testsupport::MockSystemBus;
using testsupport::readError;
using testsupport::str;
namespace nm = platform::linuxwifi::nm;

namespace {

using Clock = std::chrono::steady_clock;

const QString kApInterface = QStringLiteral("org.freedesktop.NetworkManager.AccessPoint");
constexpr uint kActivated = 100;
constexpr uint kDisconnected = 30;
constexpr uint kInfrastructure = 2;
constexpr uint kKeyMgmtPsk = 0x100;

class NetworkManagerClientTest : public MockBusTest {
  protected:
    NetworkManagerClient client(std::chrono::milliseconds timeout = 2000ms) {
        return NetworkManagerClient(bus().connection(), timeout);
    }
};

// The template as it is: none of what real NetworkManager adds to it.
class BareNetworkManagerTest : public NetworkManagerClientTest {
  protected:
    MockSystemBus::Options busOptions() const override {
        MockSystemBus::Options options;
        options.completeNetworkManager = false;
        return options;
    }
};

class NoNetworkManagerTest : public NetworkManagerClientTest {
  protected:
    MockSystemBus::Options busOptions() const override {
        MockSystemBus::Options options;
        options.networkManager = false;
        return options;
    }
};

std::chrono::milliseconds since(Clock::time_point start) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start);
}

}  // namespace

// ---- The service and the radio switch -----------------------------------------------------------

TEST_F(NetworkManagerClientTest, IsRunningWhileTheServiceIsOnTheBus) {
    EXPECT_TRUE(client().isRunning());
}

TEST_F(NoNetworkManagerTest, WithoutTheServiceReadsSaySoByName) {
    EXPECT_FALSE(client().isRunning());
    const auto error = readError([&] { client().wirelessEnabled(); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->kind(), DBusReadError::Kind::NoService);
    EXPECT_THAT(str(error->text()), HasSubstr("no org.freedesktop.NetworkManager on the bus"));
    EXPECT_THAT(str(error->text()), HasSubstr("org.freedesktop.NetworkManager.WirelessEnabled"));
}

TEST_F(NetworkManagerClientTest, WirelessEnabledIsReadTrueAndFalse) {
    EXPECT_TRUE(client().wirelessEnabled());
    bus().updateProperties(nm::kManagerPath, nm::kManagerInterface,
                           {{QStringLiteral("WirelessEnabled"), false}});
    EXPECT_FALSE(client().wirelessEnabled());
}

TEST_F(NetworkManagerClientTest, SettingWirelessEnabledSwitchesTheRadio) {
    client().setWirelessEnabled(false);
    EXPECT_FALSE(client().wirelessEnabled());
    client().setWirelessEnabled(true);
    EXPECT_TRUE(client().wirelessEnabled());
}

TEST_F(NetworkManagerClientTest, ARefusedSwitchReportsTheServicesText) {
    bus().refusePropertySet(nm::kManagerPath,
                            QStringLiteral("org.freedesktop.NetworkManager.PermissionDenied"),
                            QStringLiteral("Not authorized to control networking."));
    const auto error = readError([&] { client().setWirelessEnabled(false); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->kind(), DBusReadError::Kind::Refused);
    EXPECT_EQ(error->dbusErrorName(), QStringLiteral("org.freedesktop.NetworkManager.PermissionDenied"));
    EXPECT_THAT(str(error->text()), HasSubstr("setting org.freedesktop.NetworkManager.WirelessEnabled"));
    EXPECT_THAT(str(error->text()), HasSubstr("was refused"));
    EXPECT_THAT(str(error->text()), HasSubstr("Not authorized to control networking."));
    EXPECT_TRUE(client().wirelessEnabled());
}

// ---- Watching the radio switch ------------------------------------------------------------------

TEST_F(NetworkManagerClientTest, TheWatcherDeliversEachChangeOnceOnTheContextsThread) {
    QObject context;
    std::vector<bool> delivered;
    std::vector<QThread*> threads;
    // Started from a worker thread, delivering on the main thread where the context lives.
    std::unique_ptr<platform::linuxwifi::WirelessEnabledWatcher> watcher;
    std::thread starter([&] {
        watcher = client().watchWirelessEnabled(&context, [&](bool enabled) {
            delivered.push_back(enabled);
            threads.push_back(QThread::currentThread());
        });
    });
    starter.join();
    ASSERT_TRUE(watcher->isWatching());
    EXPECT_EQ(watcher->thread(), context.thread());

    // Switched from a worker thread, the way the backend does it.
    std::thread worker([&] { client().setWirelessEnabled(false); });
    worker.join();
    ASSERT_TRUE(testsupport::runMainLoopUntil([&] { return delivered.size() == 1; }));

    // The template's SetProperty sends NetworkManager's own older signal besides the standard one;
    // the daemon no longer does (since 1.32), and the watcher hears the standard one only.
    bus().setProperty(nm::kManagerPath, nm::kManagerInterface, QStringLiteral("WirelessEnabled"), true);
    ASSERT_TRUE(testsupport::runMainLoopUntil([&] { return delivered.size() >= 2; }));
    // NetworkManager's older signal alone changes nothing.
    bus().emitSignal(nm::kManagerPath, nm::kManagerInterface, QStringLiteral("PropertiesChanged"),
                     QStringLiteral("a{sv}"), {QVariantMap{{QStringLiteral("WirelessEnabled"), false}}});
    testsupport::runMainLoopUntil([] { return false; }, 300ms);

    EXPECT_THAT(delivered, ElementsAre(false, true));
    EXPECT_THAT(threads, ElementsAre(context.thread(), context.thread()));
}

TEST_F(NetworkManagerClientTest, TheWatcherReportsAWronglyTypedChange) {
    QObject context;
    int changes = 0;
    std::vector<DBusReadError> errors;
    const auto watcher = client().watchWirelessEnabled(
        &context, [&](bool) { ++changes; }, [&](const DBusReadError& error) { errors.push_back(error); });
    bus().emitSignal(
        nm::kManagerPath, QStringLiteral("org.freedesktop.DBus.Properties"),
        QStringLiteral("PropertiesChanged"), QStringLiteral("sa{sv}as"),
        {nm::kManagerInterface, QVariantMap{{QStringLiteral("WirelessEnabled"), QStringLiteral("yes")}},
         QStringList()});
    ASSERT_TRUE(testsupport::runMainLoopUntil([&] { return !errors.empty(); }));
    EXPECT_EQ(changes, 0);
    EXPECT_EQ(errors.front().kind(), DBusReadError::Kind::WrongType);
    EXPECT_THAT(str(errors.front().text()), HasSubstr("org.freedesktop.NetworkManager.WirelessEnabled"));
    EXPECT_THAT(str(errors.front().text()), HasSubstr("expected a boolean (b), found a string (s): \"yes\""));
}

TEST(NetworkManagerClient, AWatcherWithoutAContextIsRefused) {
    const NetworkManagerClient client(QDBusConnection(QStringLiteral("no-such-connection")), 100ms);
    EXPECT_THROW(client.watchWirelessEnabled(nullptr, [](bool) {}), std::invalid_argument);
}

TEST_F(NetworkManagerClientTest, ADestroyedWatcherDeliversNothing) {
    QObject context;
    int changes = 0;
    auto watcher = client().watchWirelessEnabled(&context, [&](bool) { ++changes; });
    client().setWirelessEnabled(false);
    ASSERT_TRUE(testsupport::runMainLoopUntil([&] { return changes == 1; }));
    watcher.reset();
    client().setWirelessEnabled(true);
    testsupport::runMainLoopUntil([] { return false; }, 300ms);
    EXPECT_EQ(changes, 1);
}

// ---- Devices and addresses ----------------------------------------------------------------------

TEST_F(NetworkManagerClientTest, DevicesAreListedWithTheirProperties) {
    MockSystemBus::WiFiDeviceExtras extras;
    extras.metered = nm::kMeteredGuessYes;
    const QString wifi =
        bus().addWiFiDevice(QStringLiteral("wlan0"), QStringLiteral("wlp2s0"), kActivated, extras);
    const QString p2p = bus().addDevice(QStringLiteral("p2p0"), QStringLiteral("p2p-dev-wlp2s0"),
                                        nm::kDeviceTypeWifiP2P, kDisconnected);

    EXPECT_THAT(client().devicePaths(), ::testing::UnorderedElementsAre(wifi, p2p));
    const auto wifiDevice = client().device(wifi);
    EXPECT_EQ(wifiDevice.path, wifi);
    EXPECT_TRUE(wifiDevice.isWifi());
    EXPECT_FALSE(wifiDevice.isWifiP2P());
    EXPECT_EQ(wifiDevice.interface, QStringLiteral("wlp2s0"));
    EXPECT_TRUE(wifiDevice.isActivated());
    EXPECT_EQ(wifiDevice.ip4Config, nm::kNoObject);
    EXPECT_EQ(wifiDevice.ip6Config, nm::kNoObject);
    EXPECT_EQ(wifiDevice.activeConnection, nm::kNoObject);
    EXPECT_EQ(wifiDevice.metered, nm::kMeteredGuessYes);

    const auto p2pDevice = client().device(p2p);
    EXPECT_TRUE(p2pDevice.isWifiP2P());
    EXPECT_FALSE(p2pDevice.isWifi());
    EXPECT_FALSE(p2pDevice.isActivated());
    EXPECT_EQ(p2pDevice.metered, nm::kMeteredUnknown);
    EXPECT_EQ(client().devices().size(), 2u);
}

TEST_F(NetworkManagerClientTest, AWiFiDeviceHasItsAddressAccessPointAndLastScan) {
    MockSystemBus::WiFiDeviceExtras extras;
    extras.lastScan = 123456;
    const QString device =
        bus().addWiFiDevice(QStringLiteral("wlan0"), QStringLiteral("wlp2s0"), kActivated, extras);
    EXPECT_EQ(client().wifiDevice(device).activeAccessPoint, nm::kNoObject);

    const QString ap = bus().addAccessPoint(device, QStringLiteral("ap1"), QStringLiteral("Home"),
                                            QStringLiteral("aa:bb:cc:dd:ee:01"), kInfrastructure, 2437, 54000,
                                            70, kKeyMgmtPsk);
    bus().updateProperties(device, nm::kWirelessInterface,
                           {{QStringLiteral("ActiveAccessPoint"), MockSystemBus::objectPath(ap)}});
    const auto wifi = client().wifiDevice(device);
    EXPECT_EQ(wifi.path, device);
    EXPECT_EQ(wifi.hwAddress, QStringLiteral("11:22:33:44:55:66"));
    EXPECT_EQ(wifi.activeAccessPoint, ap);
    EXPECT_EQ(wifi.lastScan, 123456);
    EXPECT_EQ(client().lastScan(device), 123456);
}

TEST_F(NetworkManagerClientTest, IpConfigurationsGiveAddressesAndGateway) {
    const QString device = bus().addWiFiDevice(QStringLiteral("wlan0"), QStringLiteral("wlp2s0"), kActivated);
    const QString ip4 = bus().addIp4Config(
        device, QStringLiteral("1"), {{QStringLiteral("192.168.1.23"), 24u}}, QStringLiteral("192.168.1.1"));
    const QString ip6 =
        bus().addIp6Config(device, QStringLiteral("1"),
                           {{QStringLiteral("fe80::1a2b"), 64u}, {QStringLiteral("2001:db8::23"), 64u}});

    const auto read = client().device(device);
    ASSERT_EQ(read.ip4Config, ip4);
    ASSERT_EQ(read.ip6Config, ip6);
    const auto v4 = client().ip4Config(read.ip4Config);
    ASSERT_EQ(v4.addresses.size(), 1u);
    EXPECT_EQ(v4.addresses[0].address, QStringLiteral("192.168.1.23"));
    EXPECT_EQ(v4.addresses[0].prefix, 24u);
    EXPECT_EQ(v4.gateway, QStringLiteral("192.168.1.1"));
    const auto v6 = client().ip6Config(read.ip6Config);
    ASSERT_EQ(v6.addresses.size(), 2u);
    EXPECT_EQ(v6.addresses[0].address, QStringLiteral("fe80::1a2b"));
    EXPECT_EQ(v6.addresses[1].address, QStringLiteral("2001:db8::23"));
    EXPECT_EQ(v6.addresses[1].prefix, 64u);

    // An empty configuration is read as empty, not filled in.
    bus().addObject(QStringLiteral("/org/freedesktop/NetworkManager/IP4Config/2"), nm::kIp4ConfigInterface,
                    {{QStringLiteral("AddressData"), MockSystemBus::dictList({})},
                     {QStringLiteral("Gateway"), QString()}});
    const auto empty = client().ip4Config(QStringLiteral("/org/freedesktop/NetworkManager/IP4Config/2"));
    EXPECT_TRUE(empty.addresses.empty());
    EXPECT_TRUE(empty.gateway.isEmpty());
}

// ---- Access points ------------------------------------------------------------------------------

TEST_F(NetworkManagerClientTest, AccessPointsAreReadWithEveryProperty) {
    const QString device = bus().addWiFiDevice(QStringLiteral("wlan0"), QStringLiteral("wlp2s0"), kActivated);
    const QString secure = bus().addAccessPoint(device, QStringLiteral("ap1"), QStringLiteral("Home"),
                                                QStringLiteral("aa:bb:cc:dd:ee:01"), kInfrastructure, 5180,
                                                866700, 82, kKeyMgmtPsk);
    // WPA2-Personal with CCMP: no WPA element, an RSN one.
    bus().setAccessPointSecurity(secure, 1, 0, 0x188);
    const QString open =
        bus().addAccessPoint(device, QStringLiteral("ap2"), QStringLiteral("Cafe"),
                             QStringLiteral("aa:bb:cc:dd:ee:02"), kInfrastructure, 2412, 11000, 30, 0);

    const std::vector<NMAccessPoint> aps = client().accessPoints(device);
    ASSERT_EQ(aps.size(), 2u);
    const NMAccessPoint& a = aps[0];
    EXPECT_EQ(a.path, secure);
    EXPECT_EQ(a.ssid, QByteArray("Home"));
    EXPECT_EQ(a.hwAddress, QStringLiteral("aa:bb:cc:dd:ee:01"));
    EXPECT_EQ(a.strength, 82);
    EXPECT_EQ(a.frequency, 5180u);
    EXPECT_EQ(a.maxBitrate, 866700u);
    EXPECT_EQ(a.flags, 1u);
    EXPECT_EQ(a.wpaFlags, 0u);
    EXPECT_EQ(a.rsnFlags, 0x188u);
    EXPECT_EQ(a.mode, kInfrastructure);
    EXPECT_EQ(a.lastSeen, 1);
    const NMAccessPoint& b = aps[1];
    EXPECT_EQ(b.path, open);
    EXPECT_EQ(b.ssid, QByteArray("Cafe"));
    EXPECT_EQ(b.strength, 30);
    EXPECT_EQ(b.frequency, 2412u);
    EXPECT_EQ(b.maxBitrate, 11000u);
    EXPECT_EQ(b.flags, 0u);
    EXPECT_EQ(b.wpaFlags, 0u);
    EXPECT_EQ(b.rsnFlags, 0u);
}

TEST_F(NetworkManagerClientTest, AnSsidOf32BytesWithNulsComesBackAsTheExactBytes) {
    const QString device = bus().addWiFiDevice(QStringLiteral("wlan0"), QStringLiteral("wlp2s0"), kActivated);
    const QString ap =
        bus().addAccessPoint(device, QStringLiteral("ap1"), QStringLiteral("placeholder"),
                             QStringLiteral("aa:bb:cc:dd:ee:01"), kInfrastructure, 2437, 54000, 70, 0);
    QByteArray ssid;
    for (int i = 0; i < 32; ++i) {
        ssid.append(static_cast<char>(i % 3 == 0 ? 0 : 0xC0 + i));
    }
    ASSERT_EQ(ssid.size(), 32);
    bus().updateProperties(ap, kApInterface, {{QStringLiteral("Ssid"), ssid}});
    EXPECT_EQ(client().accessPoint(ap).ssid, ssid);

    // A hidden network: no bytes at all.
    bus().updateProperties(ap, kApInterface, {{QStringLiteral("Ssid"), QByteArray()}});
    EXPECT_TRUE(client().accessPoint(ap).ssid.isEmpty());
}

TEST_F(NetworkManagerClientTest, AnAccessPointThatWentAwayIsLeftOutOfTheList) {
    const QString device = bus().addWiFiDevice(QStringLiteral("wlan0"), QStringLiteral("wlp2s0"), kActivated);
    const QString ap =
        bus().addAccessPoint(device, QStringLiteral("ap1"), QStringLiteral("Home"),
                             QStringLiteral("aa:bb:cc:dd:ee:01"), kInfrastructure, 2437, 54000, 70, 0);
    const QString gone = QStringLiteral("/org/freedesktop/NetworkManager/AccessPoint/gone");
    bus().addMethod(device, nm::kWirelessInterface, QStringLiteral("GetAllAccessPoints"), QString(),
                    QStringLiteral("ao"),
                    QStringLiteral("ret = self.access_points + [%1]").arg(MockSystemBus::pythonString(gone)));

    EXPECT_THAT(client().accessPointPaths(device), ElementsAre(ap, gone));
    const auto aps = client().accessPoints(device);
    ASSERT_EQ(aps.size(), 1u);
    EXPECT_EQ(aps[0].path, ap);
    const auto error = readError([&] { client().accessPoint(gone); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->kind(), DBusReadError::Kind::NoSuchObject);
    EXPECT_THAT(str(error->text()), HasSubstr(str(gone)));
}

// ---- Wrong types and missing values -------------------------------------------------------------

TEST_F(NetworkManagerClientTest, AWronglyTypedPropertyNamesPlaceExpectedAndFound) {
    const QString device = bus().addWiFiDevice(QStringLiteral("wlan0"), QStringLiteral("wlp2s0"), kActivated);
    const QString ap =
        bus().addAccessPoint(device, QStringLiteral("ap1"), QStringLiteral("Home"),
                             QStringLiteral("aa:bb:cc:dd:ee:01"), kInfrastructure, 2437, 54000, 70, 0);
    bus().updateProperties(ap, kApInterface, {{QStringLiteral("Strength"), QStringLiteral("strong")}});
    const auto error = readError([&] { client().accessPoint(ap); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->kind(), DBusReadError::Kind::WrongType);
    EXPECT_EQ(str(error->text()),
              "org.freedesktop.NetworkManager.AccessPoint.Strength at " + str(ap) +
                  " on org.freedesktop.NetworkManager: expected a byte (y), found a string (s): \"strong\"");
}

TEST_F(NetworkManagerClientTest, AWronglyTypedEntryNamesItsWayIntoTheValue) {
    const QString device = bus().addWiFiDevice(QStringLiteral("wlan0"), QStringLiteral("wlp2s0"), kActivated);
    const QString path = QStringLiteral("/org/freedesktop/NetworkManager/IP4Config/9");
    bus().addObject(path, nm::kIp4ConfigInterface,
                    {{QStringLiteral("AddressData"),
                      MockSystemBus::dictList({{{QStringLiteral("address"), QStringLiteral("10.0.0.2")},
                                                {QStringLiteral("prefix"), QStringLiteral("24")}}})},
                     {QStringLiteral("Gateway"), QStringLiteral("10.0.0.1")}});
    const auto error = readError([&] { client().ip4Config(path); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->kind(), DBusReadError::Kind::WrongType);
    EXPECT_THAT(
        str(error->text()),
        HasSubstr("org.freedesktop.NetworkManager.IP4Config.AddressData[0][\"prefix\"] at " + str(path)));
    EXPECT_THAT(str(error->text()), HasSubstr("expected a uint32 (u), found a string (s): \"24\""));

    // A method answering another signature than documented.
    bus().addMethod(device, nm::kWirelessInterface, QStringLiteral("GetAllAccessPoints"), QString(),
                    QStringLiteral("as"), QStringLiteral("ret = ['x']"));
    const auto answer = readError([&] { client().accessPointPaths(device); });
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->kind(), DBusReadError::Kind::WrongType);
    EXPECT_THAT(
        str(answer->text()),
        HasSubstr("the answer of org.freedesktop.NetworkManager.Device.Wireless.GetAllAccessPoints() at " +
                  str(device)));
    EXPECT_THAT(str(answer->text()),
                HasSubstr("expected an object path array (ao), found a string array (as)"));
}

TEST_F(BareNetworkManagerTest, MissingPropertiesAreNamedNotMadeUp) {
    const QString device =
        bus().addBareWiFiDevice(QStringLiteral("wlan0"), QStringLiteral("wlp2s0"), kActivated);

    // The device's addresses, connection, metering and connectivity matter only to some tests: a
    // device without them reads as having none, and the tests that need them say so.
    const NMDevice bare = client().device(device);
    EXPECT_EQ(bare.interface, QStringLiteral("wlp2s0"));
    EXPECT_EQ(bare.ip4Config, nm::kNoObject);
    EXPECT_EQ(bare.ip6Config, nm::kNoObject);
    EXPECT_EQ(bare.metered, nm::kMeteredUnknown);
    EXPECT_EQ(bare.ip4Connectivity, std::nullopt);
    // What every device has is still required.
    bus().addObject(
        QStringLiteral("/org/freedesktop/NetworkManager/Devices/odd"), nm::kDeviceInterface,
        {{QStringLiteral("DeviceType"), QVariant(2u)}, {QStringLiteral("State"), QVariant(100u)}});
    const auto deviceError =
        readError([&] { client().device(QStringLiteral("/org/freedesktop/NetworkManager/Devices/odd")); });
    ASSERT_TRUE(deviceError);
    EXPECT_EQ(deviceError->kind(), DBusReadError::Kind::Missing);
    EXPECT_THAT(str(deviceError->text()), HasSubstr("org.freedesktop.NetworkManager.Device.Interface at "
                                                    "/org/freedesktop/NetworkManager/Devices/odd on "
                                                    "org.freedesktop.NetworkManager is missing"));

    const auto wifiError = readError([&] { client().wifiDevice(device); });
    ASSERT_TRUE(wifiError);
    EXPECT_EQ(wifiError->kind(), DBusReadError::Kind::Missing);
    EXPECT_THAT(str(wifiError->text()),
                HasSubstr("org.freedesktop.NetworkManager.Device.Wireless.ActiveAccessPoint"));

    // Read on its own (Properties.Get), a missing property is named as well.
    const auto scanError = readError([&] { client().lastScan(device); });
    ASSERT_TRUE(scanError);
    EXPECT_EQ(scanError->kind(), DBusReadError::Kind::Missing);
    EXPECT_THAT(
        str(scanError->text()),
        HasSubstr("reading org.freedesktop.NetworkManager.Device.Wireless.LastScan at " + str(device)));

    const auto dnsError = readError([&] { client().globalDnsConfiguration(); });
    ASSERT_TRUE(dnsError);
    EXPECT_EQ(dnsError->kind(), DBusReadError::Kind::Missing);
    EXPECT_THAT(str(dnsError->text()), HasSubstr("org.freedesktop.NetworkManager.GlobalDnsConfiguration"));

    // An interface the object does not have.
    const auto interfaceError = readError([&] { client().ip4Config(device); });
    ASSERT_TRUE(interfaceError);
    EXPECT_EQ(interfaceError->kind(), DBusReadError::Kind::Missing);
    EXPECT_THAT(str(interfaceError->text()), HasSubstr("the object has no such interface"));
}

TEST_F(BareNetworkManagerTest, APropertyAddedWithAnotherSignatureIsAWrongType) {
    const QString device =
        bus().addBareWiFiDevice(QStringLiteral("wlan0"), QStringLiteral("wlp2s0"), kActivated);
    // LastScan is an int64; an int32 of the same value is still another type.
    bus().addProperty(device, nm::kWirelessInterface, QStringLiteral("LastScan"), QVariant(5000));
    bus().addProperty(device, nm::kWirelessInterface, QStringLiteral("ActiveAccessPoint"),
                      QStringLiteral("/"));
    const auto scanError = readError([&] { client().lastScan(device); });
    ASSERT_TRUE(scanError);
    EXPECT_EQ(scanError->kind(), DBusReadError::Kind::WrongType);
    EXPECT_EQ(str(scanError->text()),
              "org.freedesktop.NetworkManager.Device.Wireless.LastScan at " + str(device) +
                  " on org.freedesktop.NetworkManager: expected an int64 (x), found an "
                  "int32 (i): 5000");
    const auto wifiError = readError([&] { client().wifiDevice(device); });
    ASSERT_TRUE(wifiError);
    EXPECT_EQ(wifiError->kind(), DBusReadError::Kind::WrongType);
    EXPECT_THAT(str(wifiError->text()), HasSubstr("ActiveAccessPoint"));
    EXPECT_THAT(str(wifiError->text()), HasSubstr("expected an object path (o), found a string (s): \"/\""));
}

// ---- The service going away ---------------------------------------------------------------------

TEST_F(NetworkManagerClientTest, TheServiceVanishingMidRunGivesAnErrorWithinTheTimeout) {
    const NetworkManagerClient reader = client(1000ms);
    ASSERT_TRUE(reader.wirelessEnabled());
    bus().killNetworkManager();

    const auto start = Clock::now();
    const auto error = readError([&] { reader.wirelessEnabled(); });
    EXPECT_LT(since(start), 1000ms);
    ASSERT_TRUE(error);
    EXPECT_EQ(error->kind(), DBusReadError::Kind::NoService);
    EXPECT_THAT(str(error->text()), HasSubstr("no org.freedesktop.NetworkManager on the bus"));
    EXPECT_FALSE(reader.isRunning());
}

TEST_F(NetworkManagerClientTest, CallsOfCancelledWorkAreNotMadeUntilTheCancellationEnds) {
    const NetworkManagerClient reader = client(300ms);
    bool cancelled = false;
    {
        const platform::linuxwifi::CallCancellation cancellation([&cancelled] { return cancelled; });
        EXPECT_TRUE(reader.wirelessEnabled());  // not cancelled yet: the call is made
        cancelled = true;
        bus().pauseNetworkManager();  // a call made now would wait its timeout
        const auto start = Clock::now();
        const auto error = readError([&] { reader.devicePaths(); });
        const auto took = since(start);
        bus().resumeNetworkManager();
        ASSERT_TRUE(error);
        EXPECT_EQ(error->kind(), DBusReadError::Kind::CallFailed);
        EXPECT_THAT(
            str(error->text()),
            HasSubstr("calling org.freedesktop.NetworkManager.GetDevices() at "
                      "/org/freedesktop/NetworkManager on org.freedesktop.NetworkManager: cancelled"));
        EXPECT_LT(took, 100ms);
    }
    EXPECT_FALSE(platform::linuxwifi::CallCancellation::cancelledOnThisThread());
    EXPECT_TRUE(reader.wirelessEnabled());
}

TEST_F(NetworkManagerClientTest, AHangingServiceGivesATimeoutError) {
    const NetworkManagerClient reader = client(300ms);
    ASSERT_TRUE(reader.wirelessEnabled());
    bus().pauseNetworkManager();

    const auto start = Clock::now();
    const auto error = readError([&] { reader.devicePaths(); });
    const auto took = since(start);
    bus().resumeNetworkManager();
    ASSERT_TRUE(error);
    EXPECT_EQ(error->kind(), DBusReadError::Kind::Timeout);
    EXPECT_THAT(str(error->text()), HasSubstr("org.freedesktop.NetworkManager.GetDevices()"));
    EXPECT_THAT(str(error->text()), HasSubstr("no answer within 300 ms"));
    EXPECT_GE(took, 280ms);
    EXPECT_LT(took, 1500ms);
}

// ---- Worker threads -----------------------------------------------------------------------------

TEST_F(NetworkManagerClientTest, ReadsFromSeveralWorkerThreadsAtOnceAgree) {
    const QString device = bus().addWiFiDevice(QStringLiteral("wlan0"), QStringLiteral("wlp2s0"), kActivated);
    for (int i = 0; i < 5; ++i) {
        bus().addAccessPoint(device, QStringLiteral("ap%1").arg(i), QStringLiteral("Net %1").arg(i),
                             QStringLiteral("aa:bb:cc:dd:ee:0%1").arg(i), kInfrastructure, 2412 + 5 * i,
                             54000, static_cast<uchar>(20 + i), 0);
    }
    const NetworkManagerClient shared = client();
    std::atomic<int> good{0};
    std::atomic<int> bad{0};
    std::vector<std::thread> workers;
    for (int t = 0; t < 4; ++t) {
        workers.emplace_back([&] {
            for (int round = 0; round < 10; ++round) {
                try {
                    const auto aps = shared.accessPoints(device);
                    const bool ok = aps.size() == 5 && aps[3].ssid == QByteArray("Net 3") &&
                                    aps[3].strength == 23 &&
                                    shared.device(device).interface == QStringLiteral("wlp2s0");
                    (ok ? good : bad)++;
                } catch (const DBusReadError&) {
                    bad++;
                }
            }
        });
    }
    for (std::thread& worker : workers) {
        worker.join();
    }
    EXPECT_EQ(good.load(), 40);
    EXPECT_EQ(bad.load(), 0);
}

// ---- Scans --------------------------------------------------------------------------------------

TEST_F(NetworkManagerClientTest, ScanRequestsReachTheServiceAndAreCounted) {
    const QString device = bus().addWiFiDevice(QStringLiteral("wlan0"), QStringLiteral("wlp2s0"), kActivated);
    EXPECT_EQ(bus().methodCallCount(device, QStringLiteral("RequestScan")), 0);
    client().requestScan(device);
    client().requestScan(device);
    EXPECT_EQ(bus().methodCallCount(device, QStringLiteral("RequestScan")), 2);
}

TEST_F(NetworkManagerClientTest, TheFreshScanWaitEndsWhenLastScanChanges) {
    MockSystemBus::WiFiDeviceExtras extras;
    extras.lastScan = 5000;
    const QString device =
        bus().addWiFiDevice(QStringLiteral("wlan0"), QStringLiteral("wlp2s0"), kActivated, extras);
    bus().finishScansAfter(device, 300);

    const auto start = Clock::now();
    const NMScanWait wait = client().waitForFreshScan(device, 5000ms, {}, 50ms);
    const auto took = since(start);
    EXPECT_EQ(wait.outcome, NMScanWait::Outcome::Fresh);
    EXPECT_EQ(wait.lastScanBefore, 5000);
    EXPECT_NE(wait.lastScanAfter, 5000);
    EXPECT_EQ(client().lastScan(device), wait.lastScanAfter);
    EXPECT_GE(took, 250ms);
    EXPECT_LT(took, 3000ms);
    EXPECT_EQ(bus().methodCallCount(device, QStringLiteral("RequestScan")), 1);
}

TEST_F(NetworkManagerClientTest, TheFreshScanWaitEndsOnTimeoutWhenNoScanFinishes) {
    MockSystemBus::WiFiDeviceExtras extras;
    extras.lastScan = 5000;
    const QString device =
        bus().addWiFiDevice(QStringLiteral("wlan0"), QStringLiteral("wlp2s0"), kActivated, extras);

    const auto start = Clock::now();
    const NMScanWait wait = client().waitForFreshScan(device, 400ms, {}, 50ms);
    const auto took = since(start);
    EXPECT_EQ(wait.outcome, NMScanWait::Outcome::TimedOut);
    EXPECT_EQ(wait.lastScanBefore, 5000);
    EXPECT_EQ(wait.lastScanAfter, 5000);
    EXPECT_GE(took, 400ms);
    EXPECT_LT(took, 1500ms);
    EXPECT_EQ(bus().methodCallCount(device, QStringLiteral("RequestScan")), 1);
}

TEST_F(NetworkManagerClientTest, TheFreshScanWaitEndsWhenTheCallerCancels) {
    const QString device = bus().addWiFiDevice(QStringLiteral("wlan0"), QStringLiteral("wlp2s0"), kActivated);
    std::atomic<bool> cancelled{false};
    std::thread canceller([&] {
        std::this_thread::sleep_for(200ms);
        cancelled = true;
    });
    const auto start = Clock::now();
    const NMScanWait wait = client().waitForFreshScan(device, 10000ms, [&] { return cancelled.load(); });
    const auto took = since(start);
    canceller.join();
    EXPECT_EQ(wait.outcome, NMScanWait::Outcome::Cancelled);
    EXPECT_GE(took, 190ms);
    EXPECT_LT(took, 1500ms);
}

// ---- Saved and active connections ---------------------------------------------------------------

TEST_F(NetworkManagerClientTest, TheActiveConnectionLeadsToItsSavedSettings) {
    const QString device = bus().addWiFiDevice(QStringLiteral("wlan0"), QStringLiteral("wlp2s0"), kActivated);
    const QString ap = bus().addAccessPoint(device, QStringLiteral("ap1"), QStringLiteral("Home"),
                                            QStringLiteral("aa:bb:cc:dd:ee:01"), kInfrastructure, 2437, 54000,
                                            70, kKeyMgmtPsk);
    const QString saved = bus().addWiFiConnection(device, QStringLiteral("home"), QStringLiteral("Home"),
                                                  QStringLiteral("wpa-psk"));
    const QString active = bus().addActiveConnection({device}, saved, ap, QStringLiteral("0"), 2);

    const auto read = client().device(device);
    ASSERT_EQ(read.activeConnection, active);
    ASSERT_EQ(client().activeConnectionSettingsPath(read.activeConnection), saved);
    const auto settings = client().connectionSettings(saved);
    EXPECT_EQ(settings.path, saved);
    // The template names the connection after the SSID.
    EXPECT_EQ(settings.id, QStringLiteral("Home"));
    EXPECT_FALSE(settings.uuid.isEmpty());
    EXPECT_TRUE(settings.isWifi());
    EXPECT_EQ(settings.timestamp, std::optional<std::uint64_t>(1374828522));
    EXPECT_TRUE(settings.hasWireless);
    EXPECT_EQ(settings.ssid, QByteArray("Home"));
    EXPECT_EQ(settings.mode, std::optional<QString>(QStringLiteral("infrastructure")));
    EXPECT_TRUE(settings.hasWirelessSecurity);
    EXPECT_EQ(settings.keyMgmt, std::optional<QString>(QStringLiteral("wpa-psk")));
    EXPECT_THAT(client().savedConnectionPaths(), ElementsAre(saved));
}

TEST_F(NetworkManagerClientTest, SavedConnectionsGiveWhatTheyHoldAndNothingElse) {
    const QString full = bus().addConnection({
        {QStringLiteral("connection"),
         {{QStringLiteral("id"), QStringLiteral("Office")},
          {QStringLiteral("uuid"), QStringLiteral("0b3c6e2a-8d0f-4b52-9a55-1f1c2d3e4f50")},
          {QStringLiteral("type"), QStringLiteral("802-11-wireless")},
          {QStringLiteral("timestamp"), QVariant(quint64(1700000000))},
          {QStringLiteral("autoconnect"), false}}},
        {QStringLiteral("802-11-wireless"),
         {{QStringLiteral("ssid"), QByteArray("Office\0Net", 10)},
          {QStringLiteral("hidden"), true},
          {QStringLiteral("mode"), QStringLiteral("infrastructure")}}},
        {QStringLiteral("802-11-wireless-security"),
         {{QStringLiteral("key-mgmt"), QStringLiteral("sae")},
          {QStringLiteral("proto"), QStringList{QStringLiteral("rsn")}},
          {QStringLiteral("pairwise"), QStringList{QStringLiteral("ccmp")}}}},
        // 192.168.1.1 and 9.9.9.9 as NetworkManager sends them: network byte order in memory.
        {QStringLiteral("ipv4"),
         {{QStringLiteral("method"), QStringLiteral("manual")},
          {QStringLiteral("dns"),
           QVariant::fromValue(QList<uint>{qToBigEndian(0xC0A80101u), qToBigEndian(0x09090909u)})},
          {QStringLiteral("ignore-auto-dns"), true}}},
        {QStringLiteral("ipv6"),
         {{QStringLiteral("method"), QStringLiteral("auto")},
          {QStringLiteral("dns"),
           MockSystemBus::byteArrayList({QByteArray::fromHex("20010db8000000000000000000000001")})}}},
        {QStringLiteral("proxy"), {{QStringLiteral("method"), 1}}},
    });
    const QString minimal = bus().addConnection({
        {QStringLiteral("connection"),
         {{QStringLiteral("id"), QStringLiteral("Cafe")},
          {QStringLiteral("uuid"), QStringLiteral("5d1f1a5c-7a43-4f0e-bd1f-6a0b8f3c2e11")},
          {QStringLiteral("type"), QStringLiteral("802-11-wireless")}}},
        {QStringLiteral("802-11-wireless"), {{QStringLiteral("ssid"), QByteArray("Cafe")}}},
    });
    EXPECT_THAT(client().savedConnectionPaths(), ElementsAre(full, minimal));

    const auto office = client().connectionSettings(full);
    EXPECT_EQ(office.id, QStringLiteral("Office"));
    EXPECT_EQ(office.uuid, QStringLiteral("0b3c6e2a-8d0f-4b52-9a55-1f1c2d3e4f50"));
    EXPECT_EQ(office.timestamp, std::optional<std::uint64_t>(1700000000));
    EXPECT_EQ(office.autoconnect, std::optional<bool>(false));
    EXPECT_FALSE(office.effectiveAutoconnect());
    EXPECT_EQ(office.ssid, QByteArray("Office\0Net", 10));
    EXPECT_EQ(office.hidden, std::optional<bool>(true));
    EXPECT_EQ(office.keyMgmt, std::optional<QString>(QStringLiteral("sae")));
    EXPECT_EQ(office.proto, QStringList{QStringLiteral("rsn")});
    EXPECT_EQ(office.pairwise, QStringList{QStringLiteral("ccmp")});
    EXPECT_EQ(office.ipv4Method, std::optional<QString>(QStringLiteral("manual")));
    EXPECT_EQ(office.ipv4Dns, (QStringList{QStringLiteral("192.168.1.1"), QStringLiteral("9.9.9.9")}));
    EXPECT_EQ(office.ipv4IgnoreAutoDns, std::optional<bool>(true));
    EXPECT_EQ(office.ipv6Method, std::optional<QString>(QStringLiteral("auto")));
    EXPECT_EQ(office.ipv6Dns, QStringList{QStringLiteral("2001:db8::1")});
    EXPECT_EQ(office.proxyMethod, std::optional<std::int32_t>(1));
    EXPECT_FALSE(office.effectiveProxyNone());

    const auto cafe = client().connectionSettings(minimal);
    EXPECT_EQ(cafe.ssid, QByteArray("Cafe"));
    EXPECT_FALSE(cafe.timestamp.has_value());
    EXPECT_FALSE(cafe.autoconnect.has_value());
    EXPECT_TRUE(cafe.effectiveAutoconnect());
    EXPECT_FALSE(cafe.hidden.has_value());
    EXPECT_FALSE(cafe.effectiveHidden());
    EXPECT_FALSE(cafe.hasWirelessSecurity);
    EXPECT_FALSE(cafe.keyMgmt.has_value());
    EXPECT_FALSE(cafe.ipv4Method.has_value());
    EXPECT_TRUE(cafe.ipv4Dns.isEmpty());
    EXPECT_FALSE(cafe.proxyMethod.has_value());
    EXPECT_TRUE(cafe.effectiveProxyNone());
}

TEST_F(NetworkManagerClientTest, AWronglyTypedSettingNamesTheSettingAndTheConnection) {
    const QString path = bus().addConnection({
        {QStringLiteral("connection"),
         {{QStringLiteral("id"), QStringLiteral("Odd")},
          {QStringLiteral("uuid"), QStringLiteral("7c0e3f55-2b6a-4d8e-9f10-3a4b5c6d7e8f")},
          {QStringLiteral("type"), QStringLiteral("802-11-wireless")}}},
        {QStringLiteral("802-11-wireless"), {{QStringLiteral("ssid"), QStringLiteral("Odd")}}},
    });
    const auto error = readError([&] { client().connectionSettings(path); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->kind(), DBusReadError::Kind::WrongType);
    EXPECT_EQ(
        str(error->text()),
        "org.freedesktop.NetworkManager.Settings.Connection.GetSettings()[\"802-11-wireless\"][\"ssid\"] "
        "at " +
            str(path) +
            " on org.freedesktop.NetworkManager: expected a byte array (ay), found a string (s): \"Odd\"");
}

// ---- DNS and connectivity -----------------------------------------------------------------------

TEST_F(NetworkManagerClientTest, GlobalDnsIsSetOnlyWhenConfigured) {
    EXPECT_FALSE(client().globalDnsConfiguration().isSet);
    bus().updateProperties(
        nm::kManagerPath, nm::kManagerInterface,
        {{QStringLiteral("GlobalDnsConfiguration"),
          QVariantMap{{QStringLiteral("searches"), QStringList{QStringLiteral("example.org")}},
                      {QStringLiteral("domains"),
                       QVariantMap{{QStringLiteral("*"),
                                    QVariantMap{{QStringLiteral("servers"),
                                                 QStringList{QStringLiteral("10.0.0.53")}}}}}}}}});
    const auto dns = client().globalDnsConfiguration();
    EXPECT_TRUE(dns.isSet);
    EXPECT_EQ(dns.searches, QStringList{QStringLiteral("example.org")});
    EXPECT_EQ(dns.servers, QStringList{QStringLiteral("10.0.0.53")});
}

TEST_F(NetworkManagerClientTest, ConnectivityIsReadAndChecked) {
    EXPECT_EQ(client().connectivity(), nm::kConnectivityFull);
    EXPECT_EQ(client().checkConnectivity(), nm::kConnectivityFull);
    bus().callMock(QStringLiteral("/org/freedesktop"), QStringLiteral("org.freedesktop.DBus.Mock"),
                   QStringLiteral("SetConnectivity"), {QVariant(nm::kConnectivityPortal)});
    EXPECT_EQ(client().connectivity(), nm::kConnectivityPortal);
    EXPECT_EQ(client().checkConnectivity(), nm::kConnectivityPortal);
}
