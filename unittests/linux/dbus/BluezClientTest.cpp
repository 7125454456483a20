// BluezClient against the bluez5 mock on a private bus: adapters and devices counted, a wrongly
// typed property named, and BlueZ missing from the bus told apart.
#include "platform/wifi/linux/BluezClient.h"

#include "unittests/linux/dbus/MockBusTest.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>

using namespace std::chrono_literals;
using platform::linuxwifi::BluetoothState;
using platform::linuxwifi::BluezClient;
using platform::linuxwifi::DBusReadError;
using ::testing::HasSubstr;
using ::testing::StartsWith;
using testsupport::MockBusTest;
using testsupport::MockSystemBus;
using testsupport::readError;
using testsupport::str;
namespace bluez = platform::linuxwifi::bluez;

namespace {

class BluezClientTest : public MockBusTest {
  protected:
    MockSystemBus::Options busOptions() const override {
        MockSystemBus::Options options;
        options.networkManager = false;
        options.bluez = true;
        return options;
    }
    BluezClient client() { return BluezClient(bus().connection(), 2000ms); }
};

// A bus with NetworkManager and no BlueZ.
class NoBluezTest : public MockBusTest {};

}  // namespace

TEST_F(BluezClientTest, CountsAdaptersAndPairedAndConnectedDevices) {
    EXPECT_TRUE(client().isRunning());
    const BluetoothState empty = client().readState();
    EXPECT_TRUE(empty.adapters.empty());
    EXPECT_EQ(empty.pairedCount(), 0u);
    EXPECT_FALSE(empty.anyAdapterPowered());

    const QString adapter = bus().addAdapter(QStringLiteral("hci0"), QStringLiteral("laptop"));
    const QString headset = bus().addBluetoothDevice(
        QStringLiteral("hci0"), QStringLiteral("11:22:33:44:55:01"), QStringLiteral("Headset"));
    bus().addBluetoothDevice(QStringLiteral("hci0"), QStringLiteral("11:22:33:44:55:02"),
                             QStringLiteral("Mouse"));
    bus().addBluetoothDevice(QStringLiteral("hci0"), QStringLiteral("11:22:33:44:55:03"),
                             QStringLiteral("Phone"));
    bus().pairDevice(QStringLiteral("hci0"), QStringLiteral("11:22:33:44:55:01"));
    bus().pairDevice(QStringLiteral("hci0"), QStringLiteral("11:22:33:44:55:02"));
    bus().connectDevice(QStringLiteral("hci0"), QStringLiteral("11:22:33:44:55:01"));

    const BluetoothState state = client().readState();
    ASSERT_EQ(state.adapters.size(), 1u);
    EXPECT_EQ(state.adapters[0].path, adapter);
    EXPECT_TRUE(state.adapters[0].powered);
    EXPECT_TRUE(state.anyAdapterPowered());
    ASSERT_EQ(state.devices.size(), 3u);
    EXPECT_EQ(state.devices[0].path, headset);
    EXPECT_TRUE(state.devices[0].paired);
    EXPECT_TRUE(state.devices[0].connected);
    EXPECT_TRUE(state.devices[1].paired);
    EXPECT_FALSE(state.devices[1].connected);
    EXPECT_FALSE(state.devices[2].paired);
    EXPECT_FALSE(state.devices[2].connected);
    EXPECT_EQ(state.pairedCount(), 2u);
    EXPECT_EQ(state.connectedCount(), 1u);

    bus().updateProperties(adapter, bluez::kAdapterInterface, {{QStringLiteral("Powered"), false}},
                           MockSystemBus::kBluez);
    EXPECT_FALSE(client().readState().anyAdapterPowered());
}

TEST_F(BluezClientTest, AWronglyTypedDevicePropertyIsNamed) {
    bus().addAdapter(QStringLiteral("hci0"), QStringLiteral("laptop"));
    const QString device = bus().addBluetoothDevice(
        QStringLiteral("hci0"), QStringLiteral("11:22:33:44:55:01"), QStringLiteral("Headset"));
    bus().updateProperties(device, bluez::kDeviceInterface, {{QStringLiteral("Paired"), 1u}},
                           MockSystemBus::kBluez);
    const auto error = readError([&] { client().readState(); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->kind(), DBusReadError::Kind::WrongType);
    EXPECT_EQ(str(error->text()), "org.bluez.Device1.Paired at " + str(device) +
                                      " on org.bluez: expected a boolean (b), found a uint32 (u): 1");
}

TEST_F(NoBluezTest, BluezMissingFromTheBusIsAnErrorOfItsOwn) {
    const BluezClient client(bus().connection(), 2000ms);
    EXPECT_FALSE(client.isRunning());
    const auto error = readError([&] { client.readState(); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->kind(), DBusReadError::Kind::NoService);
    EXPECT_THAT(str(error->text()), StartsWith("no BlueZ on the bus: "));
    EXPECT_THAT(str(error->text()), HasSubstr("org.freedesktop.DBus.ObjectManager.GetManagedObjects()"));
}
