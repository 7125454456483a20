// The real NetworkManager's connectivity state read through NetworkManagerClient. With checking
// off (realnm.sh's default) the daemon says so and answers CheckConnectivity from its own state.
// With checking on (realnm.sh --connectivity), veth0 is activated with a static address and a
// default route through the peer namespace, whose HTTP server (portal.py) answers the daemon's
// check as a working network, a captive portal or not at all: the daemon's answer, and its
// per-device Ip4Connectivity, follow.
#include "unittests/linux/realnm/RealNetworkManager.h"

#include <QDateTime>
#include <QFile>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using platform::linuxwifi::NMConnectionSettings;
using platform::linuxwifi::NMDevice;
using realnm::str;
using ::testing::IsEmpty;
namespace nm = platform::linuxwifi::nm;

namespace {

const QString kDevice = QStringLiteral("org.freedesktop.NetworkManager.Device");

// ---- Checking off -------------------------------------------------------------------------------

class RealNmConnectivityOff : public realnm::RealNmTest {
  protected:
    void SetUp() override {
        RealNmTest::SetUp();
        if (!IsSkipped() && realnm::checkingOn()) {
            GTEST_SKIP() << "the daemon was started with its connectivity check on: these cases need it off";
        }
    }
};

TEST_F(RealNmConnectivityOff, TheDaemonSaysCheckingIsNeitherAvailableNorEnabled) {
    const auto checking = client().connectivityChecking();
    EXPECT_EQ(checking.available, false);
    EXPECT_EQ(checking.enabled, false);
    EXPECT_FALSE(checking.checks());
    EXPECT_EQ(realnm::property(nm::kManagerPath, nm::kManagerInterface,
                               QStringLiteral("ConnectivityCheckAvailable")),
              QVariant(false));
    EXPECT_EQ(
        realnm::property(nm::kManagerPath, nm::kManagerInterface, QStringLiteral("ConnectivityCheckUri")),
        QVariant(QString()));
}

TEST_F(RealNmConnectivityOff, WithoutADefaultRouteCheckConnectivityAnswersNone) {
    // Nothing is activated: the daemon's own state is "none", and asking it to check changes nothing.
    EXPECT_EQ(client().connectivity(), nm::kConnectivityNone);
    EXPECT_EQ(client().checkConnectivity(), nm::kConnectivityNone);
    EXPECT_EQ(realnm::property(nm::kManagerPath, nm::kManagerInterface, QStringLiteral("Connectivity")),
              QVariant(nm::kConnectivityNone));
}

TEST_F(RealNmConnectivityOff, WithADefaultRouteTheDaemonAnswersFullWithoutChecking) {
    // As on a machine with no check configured (stock Debian): once a device has a default route,
    // the daemon says "full" though it asked nobody. Only ConnectivityCheckAvailable and
    // ConnectivityCheckEnabled tell that this "full" was not measured.
    const QString veth0 = realnm::devicePathOf(QStringLiteral("veth0"));
    ASSERT_FALSE(veth0.isEmpty());
    realnm::Settings wired;
    wired[QStringLiteral("connection")] =
        QVariantMap{{QStringLiteral("id"), QStringLiteral("wired-routed")},
                    {QStringLiteral("type"), QStringLiteral("802-3-ethernet")},
                    {QStringLiteral("interface-name"), QStringLiteral("veth0")},
                    {QStringLiteral("autoconnect"), false}};
    wired[QStringLiteral("ipv4")] = QVariantMap{
        {QStringLiteral("method"), QStringLiteral("manual")},
        {QStringLiteral("address-data"),
         QVariant::fromValue(QList<QVariantMap>{
             {{QStringLiteral("address"), QStringLiteral("10.20.0.2")}, {QStringLiteral("prefix"), 24u}}})},
        {QStringLiteral("gateway"), QStringLiteral("10.20.0.1")}};
    wired[QStringLiteral("ipv6")] = QVariantMap{{QStringLiteral("method"), QStringLiteral("disabled")}};
    const QString connection = realnm::addConnection(wired);
    ASSERT_FALSE(connection.isEmpty());
    const QString active = realnm::activateConnection(connection, veth0);
    EXPECT_TRUE(realnm::waitUntil([&] { return client().device(veth0).isActivated(); }))
        << "veth0 was not activated";

    EXPECT_EQ(client().checkConnectivity(), nm::kConnectivityFull);
    EXPECT_EQ(client().connectivity(), nm::kConnectivityFull);
    EXPECT_EQ(client().device(veth0).ip4Connectivity, nm::kConnectivityFull);
    EXPECT_FALSE(client().connectivityChecking().checks());

    // Back as the other cases expect the daemon: veth0 disconnected, no connectivity.
    if (!active.isEmpty()) {
        realnm::deactivateConnection(active);
    }
    realnm::deleteConnection(connection);
    EXPECT_TRUE(realnm::waitUntil([&] {
        return client().device(veth0).state == nm::kDeviceStateDisconnected &&
               client().connectivity() == nm::kConnectivityNone;
    })) << "veth0 did not go back to disconnected";
}

// ---- Checking on --------------------------------------------------------------------------------

class RealNmConnectivityOn : public realnm::RealNmTest {
  protected:
    void SetUp() override {
        RealNmTest::SetUp();
        if (!IsSkipped() && !realnm::checkingOn()) {
            GTEST_SKIP() << "the daemon was started with its connectivity check off: these cases need "
                            "realnm.sh --connectivity";
        }
        if (!IsSkipped()) {
            veth0_ = realnm::devicePathOf(QStringLiteral("veth0"));
            ASSERT_FALSE(veth0_.isEmpty());
        }
    }

    void TearDown() override {
        if (!realnm::unavailable() && realnm::checkingOn()) {
            realnm::setProperty(nm::kManagerPath, nm::kManagerInterface,
                                QStringLiteral("ConnectivityCheckEnabled"), true);
            serve("full");
            EXPECT_EQ(client().checkConnectivity(), nm::kConnectivityFull);
        }
    }

    // What portal.py answers the next checks: "full", "portal", "silent" or "broken".
    static void serve(const char* mode) {
        QFile file(QString::fromLocal8Bit(qgetenv("REALNM_HTTP_MODE")));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate)) << str(file.fileName());
        file.write(mode);
    }

    // How many checks the server has answered.
    static int checksServed() {
        QFile log(QString::fromLocal8Bit(qgetenv("REALNM_DIR")) + QStringLiteral("/http.log"));
        if (!log.open(QIODevice::ReadOnly)) {
            return 0;
        }
        return static_cast<int>(log.readAll().count("GET /check "));
    }

    // veth0's Ip4Connectivity as the daemon has it right after answering CheckConnectivity: the
    // answer comes once the check has ended and every device's state is set.
    std::uint32_t deviceConnectivity() const { return client().device(veth0_).ip4Connectivity.value_or(0); }

    QString veth0_;
};

TEST_F(RealNmConnectivityOn, TheDaemonSaysCheckingIsAvailableAndEnabled) {
    const auto checking = client().connectivityChecking();
    EXPECT_EQ(checking.available, true);
    EXPECT_EQ(checking.enabled, true);
    EXPECT_TRUE(checking.checks());
    EXPECT_EQ(
        realnm::property(nm::kManagerPath, nm::kManagerInterface, QStringLiteral("ConnectivityCheckUri")),
        QVariant(QStringLiteral("http://10.20.0.1/check")));
}

TEST_F(RealNmConnectivityOn, TheWiredDeviceIsActivatedWithItsAddressAndDefaultRoute) {
    const NMDevice veth0 = client().device(veth0_);
    EXPECT_EQ(veth0.state, nm::kDeviceStateActivated);
    EXPECT_TRUE(veth0.isActivated());
    ASSERT_NE(veth0.activeConnection, nm::kNoObject);

    const auto ip4 = client().ip4Config(veth0.ip4Config);
    ASSERT_EQ(ip4.addresses.size(), 1u);
    EXPECT_EQ(ip4.addresses[0].address, QStringLiteral("10.20.0.2"));
    EXPECT_EQ(ip4.addresses[0].prefix, 24u);
    EXPECT_EQ(ip4.gateway, QStringLiteral("10.20.0.1"));
    // IPv6 is disabled in the connection; the device still has an IP6Config object, empty.
    ASSERT_NE(veth0.ip6Config, nm::kNoObject);
    EXPECT_THAT(client().ip6Config(veth0.ip6Config).addresses, IsEmpty());

    const QString settingsPath = client().activeConnectionSettingsPath(veth0.activeConnection);
    const NMConnectionSettings settings = client().connectionSettings(settingsPath);
    EXPECT_EQ(settings.id, QStringLiteral("wired-veth0"));
    EXPECT_EQ(settings.uuid, QStringLiteral("5f0c6a43-93f1-4a62-9a8e-6c1d1e2f7a01"));
    EXPECT_EQ(settings.type, QStringLiteral("802-3-ethernet"));
    EXPECT_FALSE(settings.isWifi());
    EXPECT_FALSE(settings.hasWireless);
    EXPECT_EQ(settings.ipv4Method, QStringLiteral("manual"));
    EXPECT_EQ(settings.ipv6Method, QStringLiteral("disabled"));
    // Activated a moment ago: the daemon has written the time of it.
    ASSERT_TRUE(settings.timestamp.has_value());
    const auto now = static_cast<std::uint64_t>(QDateTime::currentSecsSinceEpoch());
    EXPECT_LE(*settings.timestamp, now);
    EXPECT_GE(*settings.timestamp + 120, now);
}

TEST_F(RealNmConnectivityOn, FullWhenTheServerAnswersTheExpectedBody) {
    serve("full");
    const int before = checksServed();
    EXPECT_EQ(client().checkConnectivity(), nm::kConnectivityFull);
    EXPECT_EQ(client().connectivity(), nm::kConnectivityFull);
    EXPECT_EQ(deviceConnectivity(), nm::kConnectivityFull);
    // The daemon really asked: one more request reached the server.
    EXPECT_GT(checksServed(), before);
    // IPv6 is disabled on veth0: nothing to check there.
    EXPECT_EQ(realnm::property(veth0_, kDevice, QStringLiteral("Ip6Connectivity")),
              QVariant(nm::kConnectivityNone));
}

TEST_F(RealNmConnectivityOn, PortalWhenTheServerRedirects) {
    serve("portal");
    EXPECT_EQ(client().checkConnectivity(), nm::kConnectivityPortal);
    EXPECT_EQ(client().connectivity(), nm::kConnectivityPortal);
    EXPECT_EQ(deviceConnectivity(), nm::kConnectivityPortal);
}

TEST_F(RealNmConnectivityOn, PortalWhenTheServerAnswersAnotherBody) {
    serve("broken");
    EXPECT_EQ(client().checkConnectivity(), nm::kConnectivityPortal);
    EXPECT_EQ(deviceConnectivity(), nm::kConnectivityPortal);
}

TEST_F(RealNmConnectivityOn, LimitedWhenTheServerSendsNoAnswer) {
    serve("silent");
    EXPECT_EQ(client().checkConnectivity(), nm::kConnectivityLimited);
    EXPECT_EQ(client().connectivity(), nm::kConnectivityLimited);
    EXPECT_EQ(deviceConnectivity(), nm::kConnectivityLimited);
}

TEST_F(RealNmConnectivityOn, SwitchedOffCheckingAnswersFullWithoutAsking) {
    serve("portal");
    EXPECT_EQ(client().checkConnectivity(), nm::kConnectivityPortal);
    realnm::setProperty(nm::kManagerPath, nm::kManagerInterface, QStringLiteral("ConnectivityCheckEnabled"),
                        false);

    const auto checking = client().connectivityChecking();
    EXPECT_EQ(checking.available, true);
    EXPECT_EQ(checking.enabled, false);
    EXPECT_FALSE(checking.checks());
    // With a default route and checking off, the daemon takes the network as working, portal or not.
    const int before = checksServed();
    EXPECT_EQ(client().checkConnectivity(), nm::kConnectivityFull);
    EXPECT_EQ(client().connectivity(), nm::kConnectivityFull);
    EXPECT_EQ(checksServed(), before);
}

}  // namespace
