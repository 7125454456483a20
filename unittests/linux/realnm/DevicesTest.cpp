// The device list of the real NetworkManager read through NetworkManagerClient: loopback and the
// veth ends of realnm.sh, one of them managed, their types, states and IP configurations; a device
// that goes away; and the radio switch, its kill switch and the changes of WirelessEnabled as the
// daemon signals them, although there is no Wi-Fi device.
#include "unittests/linux/realnm/RealNetworkManager.h"
#include "unittests/support/MainLoop.h"

#include <QDBusMessage>
#include <QObject>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

using platform::linuxwifi::DBusReadError;
using platform::linuxwifi::NMDevice;
using realnm::str;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
namespace nm = platform::linuxwifi::nm;

namespace {

const QString kDevice = QStringLiteral("org.freedesktop.NetworkManager.Device");
// NMDeviceType: the daemon's own types of the devices here.
constexpr std::uint32_t kDeviceTypeVeth = 20;
constexpr std::uint32_t kDeviceTypeLoopback = 32;
// NMDeviceState 20: managed, but the device cannot be used yet.
constexpr std::uint32_t kDeviceStateUnavailable = 20;

class RealNmDevices : public realnm::RealNmTest {
  protected:
    static NMDevice byInterface(const std::vector<NMDevice>& devices, const QString& name) {
        const auto found = std::find_if(devices.begin(), devices.end(),
                                        [&name](const NMDevice& d) { return d.interface == name; });
        if (found == devices.end()) {
            ADD_FAILURE() << "no device " << str(name);
            return NMDevice{};
        }
        return *found;
    }
};

TEST_F(RealNmDevices, ListsLoopbackAndTheVethEnds) {
    const std::vector<NMDevice> devices = client().devices();
    QStringList names;
    for (const NMDevice& device : devices) {
        names << device.interface;
    }
    names.sort();
    // peer0, veth0's other end, lives in another namespace: the daemon does not see it.
    EXPECT_THAT(names, ElementsAre(QStringLiteral("lo"), QStringLiteral("veth0"), QStringLiteral("veth1"),
                                   QStringLiteral("veth1p")));
    EXPECT_EQ(client().devicePaths(), realnm::devicePaths());
    for (const NMDevice& device : devices) {
        EXPECT_FALSE(device.isWifi()) << str(device.interface);
        EXPECT_FALSE(device.isWifiP2P()) << str(device.interface);
    }
}

TEST_F(RealNmDevices, LoopbackIsItsOwnTypeAndUnmanaged) {
    const NMDevice lo = byInterface(client().devices(), QStringLiteral("lo"));
    // NetworkManager 1.42 lists loopback as NM_DEVICE_TYPE_LOOPBACK (32), not as generic (14).
    EXPECT_EQ(lo.deviceType, kDeviceTypeLoopback);
    EXPECT_EQ(lo.state, nm::kDeviceStateUnmanaged);
    EXPECT_TRUE(lo.isUnmanaged());
    EXPECT_FALSE(lo.isAvailable());
    EXPECT_EQ(lo.activeConnection, nm::kNoObject);
    EXPECT_EQ(lo.metered, nm::kMeteredUnknown);
    EXPECT_EQ(lo.ip4Connectivity, nm::kConnectivityUnknown);
}

TEST_F(RealNmDevices, UnmanagedVethEnds) {
    const std::vector<NMDevice> devices = client().devices();
    for (const QString& name : {QStringLiteral("veth1"), QStringLiteral("veth1p")}) {
        const NMDevice veth = byInterface(devices, name);
        EXPECT_EQ(veth.deviceType, kDeviceTypeVeth) << str(name);
        EXPECT_EQ(veth.state, nm::kDeviceStateUnmanaged) << str(name);
        EXPECT_TRUE(veth.isUnmanaged()) << str(name);
        EXPECT_EQ(veth.activeConnection, nm::kNoObject) << str(name);
        // Every device of 1.42 has the property, managed or not.
        EXPECT_TRUE(veth.ip4Connectivity.has_value()) << str(name);
    }
}

TEST_F(RealNmDevices, TheManagedVethIsDisconnectedWithoutAConnection) {
    // realnm.sh's [device-veth0] section manages it; with carrier and no connection to activate it
    // waits, ready.
    const NMDevice veth0 = byInterface(client().devices(), QStringLiteral("veth0"));
    EXPECT_EQ(veth0.deviceType, kDeviceTypeVeth);
    EXPECT_GE(veth0.state, kDeviceStateUnavailable);
    EXPECT_EQ(veth0.state, nm::kDeviceStateDisconnected);
    EXPECT_FALSE(veth0.isUnmanaged());
    EXPECT_TRUE(veth0.isAvailable());
    EXPECT_FALSE(veth0.isActivated());
    EXPECT_EQ(veth0.activeConnection, nm::kNoObject);
    // Checking is off and the device has no address: no connectivity.
    EXPECT_EQ(veth0.ip4Connectivity, nm::kConnectivityNone);
    EXPECT_EQ(realnm::property(veth0.path, kDevice, QStringLiteral("Managed")), QVariant(true));
}

TEST_F(RealNmDevices, EveryDeviceHasIpConfigurationObjectsEvenUnmanaged) {
    // NetworkManager 1.42 gives each device IP4Config and IP6Config objects of its own, never "/",
    // whether it manages the device or not: they show the addresses the kernel has.
    const std::vector<NMDevice> devices = client().devices();
    for (const NMDevice& device : devices) {
        EXPECT_NE(device.ip4Config, nm::kNoObject) << str(device.interface);
        EXPECT_NE(device.ip6Config, nm::kNoObject) << str(device.interface);
        EXPECT_FALSE(device.ip4Config.isEmpty()) << str(device.interface);
    }
    const NMDevice lo = byInterface(devices, QStringLiteral("lo"));
    const auto ip4 = client().ip4Config(lo.ip4Config);
    ASSERT_EQ(ip4.addresses.size(), 1u);
    EXPECT_EQ(ip4.addresses[0].address, QStringLiteral("127.0.0.1"));
    EXPECT_EQ(ip4.addresses[0].prefix, 8u);
    EXPECT_EQ(ip4.gateway, QString());
    const auto ip6 = client().ip6Config(lo.ip6Config);
    ASSERT_EQ(ip6.addresses.size(), 1u);
    EXPECT_EQ(ip6.addresses[0].address, QStringLiteral("::1"));
    EXPECT_EQ(ip6.addresses[0].prefix, 128u);

    const NMDevice veth0 = byInterface(devices, QStringLiteral("veth0"));
    EXPECT_THAT(client().ip4Config(veth0.ip4Config).addresses, IsEmpty());
}

TEST_F(RealNmDevices, AVethHasNoWirelessInterface) {
    const NMDevice veth0 = byInterface(client().devices(), QStringLiteral("veth0"));
    try {
        client().wifiDevice(veth0.path);
        ADD_FAILURE() << "a veth device answered as a Wi-Fi device";
    } catch (const DBusReadError& error) {
        // GDBus answers InvalidArgs "No such interface" to GetAll of an interface the object lacks.
        EXPECT_EQ(error.kind(), DBusReadError::Kind::Missing) << str(error.text());
        EXPECT_EQ(error.dbusErrorName(), QStringLiteral("org.freedesktop.DBus.Error.InvalidArgs"));
    }
}

TEST_F(RealNmDevices, ADeviceThatGoesAwayIsNoSuchObjectAndLeftOutOfTheList) {
    realnm::run(QStringLiteral("ip"), {QStringLiteral("link"), QStringLiteral("add"), QStringLiteral("gone0"),
                                       QStringLiteral("type"), QStringLiteral("veth"), QStringLiteral("peer"),
                                       QStringLiteral("name"), QStringLiteral("gone1")});
    QString path;
    ASSERT_TRUE(realnm::waitUntil([&path] {
        path = realnm::devicePathOf(QStringLiteral("gone0"));
        return !path.isEmpty();
    })) << "the daemon did not list the new link gone0";
    EXPECT_EQ(client().device(path).interface, QStringLiteral("gone0"));

    realnm::run(QStringLiteral("ip"),
                {QStringLiteral("link"), QStringLiteral("del"), QStringLiteral("gone0")});
    ASSERT_TRUE(realnm::waitUntil([&path] {
        return !realnm::devicePaths().contains(path) &&
               realnm::devicePathOf(QStringLiteral("gone1")).isEmpty();
    })) << "the daemon still lists gone0 or gone1";
    try {
        client().device(path);
        ADD_FAILURE() << "a removed device answered";
    } catch (const DBusReadError& error) {
        EXPECT_EQ(error.kind(), DBusReadError::Kind::NoSuchObject) << str(error.text());
        EXPECT_EQ(error.dbusErrorName(), QStringLiteral("org.freedesktop.DBus.Error.UnknownMethod"));
    }
    for (const NMDevice& device : client().devices()) {
        EXPECT_NE(device.interface, QStringLiteral("gone0"));
        EXPECT_NE(device.interface, QStringLiteral("gone1"));
    }
}

// ---- The radio switch ---------------------------------------------------------------------------

class RealNmRadio : public realnm::RealNmTest {
  protected:
    void TearDown() override {
        if (!realnm::unavailable()) {
            realnm::setProperty(nm::kManagerPath, nm::kManagerInterface, QStringLiteral("WirelessEnabled"),
                                true);
        }
    }
};

TEST_F(RealNmRadio, WithoutRfkillTheRadioIsOnAndNotHeldOff) {
    // Without a Wi-Fi device nor an rfkill switch the daemon says the radio is on, and that no
    // kill switch holds it off.
    EXPECT_TRUE(client().isRunning());
    EXPECT_TRUE(client().wirelessEnabled());
    EXPECT_TRUE(client().wirelessHardwareEnabled());
    EXPECT_EQ(realnm::property(nm::kManagerPath, nm::kManagerInterface, QStringLiteral("Version")),
              QVariant(QStringLiteral("1.42.4")));
}

TEST_F(RealNmRadio, SwitchingWiFiWorksWithoutAWiFiDevice) {
    client().setWirelessEnabled(false);
    EXPECT_FALSE(client().wirelessEnabled());
    EXPECT_TRUE(client().wirelessHardwareEnabled());
    client().setWirelessEnabled(true);
    EXPECT_TRUE(client().wirelessEnabled());
}

TEST_F(RealNmRadio, TheWatcherSeesEachChangeThroughTheStandardSignal) {
    // NetworkManager 1.42 sends org.freedesktop.DBus.Properties.PropertiesChanged only: its own
    // older org.freedesktop.NetworkManager.PropertiesChanged is gone from the interface.
    const QString introspection = [] {
        QDBusMessage message = QDBusMessage::createMethodCall(
            nm::kService, nm::kManagerPath, QStringLiteral("org.freedesktop.DBus.Introspectable"),
            QStringLiteral("Introspect"));
        const QDBusMessage reply = realnm::bus().call(message);
        return reply.arguments().value(0).toString();
    }();
    ASSERT_TRUE(
        introspection.contains(QStringLiteral("<interface name=\"org.freedesktop.NetworkManager\">")));
    const QString managerInterface =
        introspection.section(QStringLiteral("<interface name=\"org.freedesktop.NetworkManager\">"), 1)
            .section(QStringLiteral("</interface>"), 0, 0);
    EXPECT_TRUE(managerInterface.contains(QStringLiteral("<signal name=\"StateChanged\">")));
    EXPECT_FALSE(managerInterface.contains(QStringLiteral("<signal name=\"PropertiesChanged\">")));

    QObject context;
    std::vector<bool> seen;
    std::vector<QString> errors;
    const auto watcher = client().watchWirelessEnabled(
        &context, [&seen](bool enabled) { seen.push_back(enabled); },
        [&errors](const DBusReadError& error) { errors.push_back(error.text()); });
    ASSERT_TRUE(watcher->isWatching());

    client().setWirelessEnabled(false);
    EXPECT_TRUE(testsupport::runMainLoopUntil([&seen] { return seen.size() >= 1; }));
    client().setWirelessEnabled(true);
    EXPECT_TRUE(testsupport::runMainLoopUntil([&seen] { return seen.size() >= 2; }));
    EXPECT_THAT(seen, ElementsAre(false, true));
    EXPECT_THAT(errors, IsEmpty());
}

}  // namespace
