// Saved Wi-Fi connections of every security kind, added to the real NetworkManager through
// Settings.AddConnection and read back through NetworkManagerClient: every field the reader gives
// is what was added, or the default the daemon fills in (it leaves out a setting that has its
// default value). Also what the daemon answers for a connection restricted to another user, to
// root and to that other user, and for a connection deleted meanwhile.
#include "unittests/linux/realnm/RealNetworkManager.h"

#include <QDBusArgument>
#include <QDBusError>
#include <QUuid>

#include <arpa/inet.h>
#include <pwd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using platform::linuxwifi::DBusReadError;
using platform::linuxwifi::NMConnectionSettings;
using realnm::Settings;
using realnm::str;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

const QString kWireless = QStringLiteral("802-11-wireless");
const QString kSecurity = QStringLiteral("802-11-wireless-security");

QString newUuid() {
    return QUuid::createUuid().toString(QUuid::WithoutBraces);
}

class RealNmSavedConnections : public realnm::RealNmTest {
  protected:
    void TearDown() override {
        for (const QString& path : added_) {
            realnm::deleteConnection(path);
        }
    }

    // Adds the connection (deleted again after the test) and answers its path.
    QString add(const Settings& settings) {
        const QString path = realnm::addConnection(settings);
        EXPECT_FALSE(path.isEmpty());
        added_ << path;
        return path;
    }

    // A Wi-Fi connection with a security setting of the given key management and extra values.
    Settings secured(const QString& id, const QByteArray& ssid, const QString& keyMgmt,
                     const QVariantMap& security = {}) {
        Settings settings = realnm::wifiConnection(id, newUuid(), ssid);
        QVariantMap values = security;
        values[QStringLiteral("key-mgmt")] = keyMgmt;
        settings[kSecurity] = values;
        return settings;
    }

    // What every connection added here reads as when it sets nothing else: the daemon's defaults.
    static void expectDaemonDefaults(const NMConnectionSettings& read) {
        EXPECT_EQ(read.timestamp, std::nullopt) << "never activated: the daemon leaves the timestamp out";
        EXPECT_EQ(read.ipv4Method, QStringLiteral("auto"));
        EXPECT_EQ(read.ipv6Method, QStringLiteral("auto"));
        EXPECT_THAT(read.ipv4Dns, IsEmpty());
        EXPECT_THAT(read.ipv6Dns, IsEmpty());
        EXPECT_EQ(read.ipv4IgnoreAutoDns, std::nullopt);
        EXPECT_EQ(read.ipv6IgnoreAutoDns, std::nullopt);
        // The daemon answers an empty proxy setting: no method, which is "none".
        EXPECT_EQ(read.proxyMethod, std::nullopt);
        EXPECT_TRUE(read.effectiveProxyNone());
    }

    QStringList added_;
};

// ---- Every security kind ------------------------------------------------------------------------

TEST_F(RealNmSavedConnections, OpenNetworkReadsBackWithTheDaemonsDefaults) {
    const QString uuid = newUuid();
    const QString path = add(realnm::wifiConnection(QStringLiteral("Cafe open"), uuid, "Cafe"));

    EXPECT_THAT(client().savedConnectionPaths(), Contains(path));
    const NMConnectionSettings read = client().connectionSettings(path);
    EXPECT_EQ(read.path, path);
    EXPECT_EQ(read.id, QStringLiteral("Cafe open"));
    EXPECT_EQ(read.uuid, uuid);
    EXPECT_EQ(read.type, kWireless);
    EXPECT_TRUE(read.isWifi());
    EXPECT_TRUE(read.hasWireless);
    EXPECT_EQ(read.ssid, QByteArray("Cafe"));
    // Defaults are left out of the answer: autoconnect on, not hidden, infrastructure.
    EXPECT_EQ(read.autoconnect, std::nullopt);
    EXPECT_TRUE(read.effectiveAutoconnect());
    EXPECT_EQ(read.hidden, std::nullopt);
    EXPECT_FALSE(read.effectiveHidden());
    EXPECT_EQ(read.mode, std::nullopt);
    EXPECT_FALSE(read.hasWirelessSecurity);
    EXPECT_EQ(read.keyMgmt, std::nullopt);
    expectDaemonDefaults(read);
}

TEST_F(RealNmSavedConnections, WepKeyManagementIsNone) {
    const QString path = add(secured(
        QStringLiteral("Old router"), "Old router", QStringLiteral("none"),
        {{QStringLiteral("wep-key0"), QStringLiteral("0123456789")}, {QStringLiteral("wep-key-type"), 1u}}));

    const NMConnectionSettings read = client().connectionSettings(path);
    EXPECT_EQ(read.ssid, QByteArray("Old router"));
    EXPECT_TRUE(read.hasWirelessSecurity);
    EXPECT_EQ(read.keyMgmt, QStringLiteral("none"));
    EXPECT_THAT(read.proto, IsEmpty());
    EXPECT_THAT(read.pairwise, IsEmpty());
    expectDaemonDefaults(read);
    // The key itself is a secret: GetSettings never answers it.
    const Settings raw = realnm::rawSettings(path);
    EXPECT_FALSE(raw.value(kSecurity).contains(QStringLiteral("wep-key0")));
    EXPECT_EQ(raw.value(kSecurity).value(QStringLiteral("wep-key-type")), QVariant(1u));
}

TEST_F(RealNmSavedConnections, WpaPersonalWithItsProtocolAndCiphers) {
    const QString path = add(secured(QStringLiteral("Home"), "Home", QStringLiteral("wpa-psk"),
                                     {{QStringLiteral("psk"), QStringLiteral("correct horse")},
                                      {QStringLiteral("proto"), QStringList{QStringLiteral("rsn")}},
                                      {QStringLiteral("pairwise"), QStringList{QStringLiteral("ccmp")}}}));

    const NMConnectionSettings read = client().connectionSettings(path);
    EXPECT_EQ(read.ssid, QByteArray("Home"));
    EXPECT_EQ(read.keyMgmt, QStringLiteral("wpa-psk"));
    EXPECT_THAT(read.proto, ElementsAre(QStringLiteral("rsn")));
    EXPECT_THAT(read.pairwise, ElementsAre(QStringLiteral("ccmp")));
    expectDaemonDefaults(read);
    EXPECT_FALSE(realnm::rawSettings(path).value(kSecurity).contains(QStringLiteral("psk")));
}

TEST_F(RealNmSavedConnections, Wpa3PersonalIsSae) {
    const QString path = add(secured(QStringLiteral("Flat"), "Flat", QStringLiteral("sae"),
                                     {{QStringLiteral("psk"), QStringLiteral("correct horse")}}));

    const NMConnectionSettings read = client().connectionSettings(path);
    EXPECT_EQ(read.ssid, QByteArray("Flat"));
    EXPECT_TRUE(read.hasWirelessSecurity);
    EXPECT_EQ(read.keyMgmt, QStringLiteral("sae"));
    EXPECT_THAT(read.proto, IsEmpty());
    expectDaemonDefaults(read);
}

TEST_F(RealNmSavedConnections, EnhancedOpenIsOwe) {
    const QString path = add(secured(QStringLiteral("Airport"), "Airport", QStringLiteral("owe")));

    const NMConnectionSettings read = client().connectionSettings(path);
    EXPECT_EQ(read.ssid, QByteArray("Airport"));
    EXPECT_TRUE(read.hasWirelessSecurity);
    EXPECT_EQ(read.keyMgmt, QStringLiteral("owe"));
    expectDaemonDefaults(read);
}

TEST_F(RealNmSavedConnections, Enterprise8021xIsWpaEap) {
    Settings settings = secured(QStringLiteral("Corp"), "Corp", QStringLiteral("wpa-eap"));
    settings[QStringLiteral("802-1x")] =
        QVariantMap{{QStringLiteral("eap"), QStringList{QStringLiteral("peap")}},
                    {QStringLiteral("identity"), QStringLiteral("alice")},
                    {QStringLiteral("password"), QStringLiteral("secret")},
                    {QStringLiteral("phase2-auth"), QStringLiteral("mschapv2")}};
    const QString path = add(settings);

    const NMConnectionSettings read = client().connectionSettings(path);
    EXPECT_EQ(read.ssid, QByteArray("Corp"));
    EXPECT_EQ(read.keyMgmt, QStringLiteral("wpa-eap"));
    expectDaemonDefaults(read);
    // The 802.1X setting comes back without its password.
    const QVariantMap dot1x = realnm::rawSettings(path).value(QStringLiteral("802-1x"));
    EXPECT_EQ(dot1x.value(QStringLiteral("identity")), QVariant(QStringLiteral("alice")));
    EXPECT_EQ(dot1x.value(QStringLiteral("eap")), QVariant(QStringList{QStringLiteral("peap")}));
    EXPECT_FALSE(dot1x.contains(QStringLiteral("password")));
}

TEST_F(RealNmSavedConnections, HiddenNetworkSaysSo) {
    Settings settings = secured(QStringLiteral("Attic"), "Attic", QStringLiteral("wpa-psk"),
                                {{QStringLiteral("psk"), QStringLiteral("correct horse")}});
    settings[kWireless][QStringLiteral("hidden")] = true;
    const QString path = add(settings);

    const NMConnectionSettings read = client().connectionSettings(path);
    EXPECT_EQ(read.hidden, true);
    EXPECT_TRUE(read.effectiveHidden());
    EXPECT_EQ(read.autoconnect, std::nullopt);
}

TEST_F(RealNmSavedConnections, AutoconnectOffSaysSo) {
    Settings settings = realnm::wifiConnection(QStringLiteral("Neighbour"), newUuid(), "Neighbour");
    settings[QStringLiteral("connection")][QStringLiteral("autoconnect")] = false;
    const QString path = add(settings);

    const NMConnectionSettings read = client().connectionSettings(path);
    EXPECT_EQ(read.autoconnect, false);
    EXPECT_FALSE(read.effectiveAutoconnect());
}

TEST_F(RealNmSavedConnections, ValuesEqualToTheDefaultsAreLeftOutOfTheAnswer) {
    Settings settings = realnm::wifiConnection(QStringLiteral("Explicit"), newUuid(), "Explicit");
    settings[QStringLiteral("connection")][QStringLiteral("autoconnect")] = true;
    settings[kWireless][QStringLiteral("hidden")] = false;
    settings[QStringLiteral("ipv6")] = QVariantMap{{QStringLiteral("method"), QStringLiteral("auto")},
                                                   {QStringLiteral("ignore-auto-dns"), false}};
    const QString path = add(settings);

    const NMConnectionSettings read = client().connectionSettings(path);
    EXPECT_EQ(read.autoconnect, std::nullopt);
    EXPECT_EQ(read.hidden, std::nullopt);
    EXPECT_EQ(read.ipv6IgnoreAutoDns, std::nullopt);
    EXPECT_TRUE(read.effectiveAutoconnect());
    EXPECT_FALSE(read.effectiveHidden());
}

TEST_F(RealNmSavedConnections, SsidBytesThatAreNoTextComeBackAsTheyWere) {
    QByteArray ssid("\xff\x00net\x01", 6);
    ssid += QByteArray(26, 'x');  // 32 bytes, the most an SSID has
    ASSERT_EQ(ssid.size(), 32);
    Settings settings = realnm::wifiConnection(QStringLiteral("Bytes"), newUuid(), ssid);
    settings[kWireless][QStringLiteral("mode")] = QStringLiteral("adhoc");
    const QString path = add(settings);

    const NMConnectionSettings read = client().connectionSettings(path);
    EXPECT_EQ(read.ssid, ssid);
    EXPECT_EQ(read.mode, QStringLiteral("adhoc"));
}

TEST_F(RealNmSavedConnections, DnsServersProxyAndAddressMethods) {
    Settings settings = secured(QStringLiteral("Office"), "Office", QStringLiteral("wpa-psk"),
                                {{QStringLiteral("psk"), QStringLiteral("correct horse")}});
    // The older binary form of the servers, which every daemon takes: IPv4 as integers holding
    // the address in network byte order, IPv6 as 16 bytes.
    in_addr v4{};
    ASSERT_EQ(inet_pton(AF_INET, "192.0.2.53", &v4), 1);
    in6_addr v6{};
    ASSERT_EQ(inet_pton(AF_INET6, "2001:db8::53", &v6), 1);
    QDBusArgument v4Servers;
    v4Servers.beginArray(QMetaType::fromType<uint>());
    v4Servers << static_cast<uint>(v4.s_addr);
    v4Servers.endArray();
    QDBusArgument v6Servers;
    v6Servers.beginArray(QMetaType::fromType<QByteArray>());
    v6Servers << QByteArray(reinterpret_cast<const char*>(&v6), sizeof v6);
    v6Servers.endArray();
    settings[QStringLiteral("ipv4")] = QVariantMap{{QStringLiteral("method"), QStringLiteral("auto")},
                                                   {QStringLiteral("dns"), QVariant::fromValue(v4Servers)},
                                                   {QStringLiteral("ignore-auto-dns"), true}};
    settings[QStringLiteral("ipv6")] = QVariantMap{{QStringLiteral("method"), QStringLiteral("auto")},
                                                   {QStringLiteral("dns"), QVariant::fromValue(v6Servers)}};
    settings[QStringLiteral("proxy")] =
        QVariantMap{{QStringLiteral("method"), 1},
                    {QStringLiteral("pac-url"), QStringLiteral("http://192.0.2.1/proxy.pac")}};
    const QString path = add(settings);

    const NMConnectionSettings read = client().connectionSettings(path);
    EXPECT_THAT(read.ipv4Dns, ElementsAre(QStringLiteral("192.0.2.53")));
    EXPECT_THAT(read.ipv6Dns, ElementsAre(QStringLiteral("2001:db8::53")));
    EXPECT_EQ(read.ipv4IgnoreAutoDns, true);
    EXPECT_EQ(read.ipv6IgnoreAutoDns, std::nullopt);
    EXPECT_EQ(read.proxyMethod, 1);
    EXPECT_FALSE(read.effectiveProxyNone());
    // NetworkManager 1.42 answers the servers both ways: "dns" in binary and "dns-data" as text.
    const Settings raw = realnm::rawSettings(path);
    EXPECT_EQ(raw.value(QStringLiteral("ipv4")).value(QStringLiteral("dns-data")),
              QVariant(QStringList{QStringLiteral("192.0.2.53")}));
    EXPECT_EQ(raw.value(QStringLiteral("ipv6")).value(QStringLiteral("dns-data")),
              QVariant(QStringList{QStringLiteral("2001:db8::53")}));
    EXPECT_TRUE(raw.value(QStringLiteral("ipv4")).contains(QStringLiteral("dns")));
}

TEST_F(RealNmSavedConnections, ManualAndDisabledAddressMethods) {
    Settings settings = realnm::wifiConnection(QStringLiteral("Static"), newUuid(), "Static");
    settings[QStringLiteral("ipv4")] = QVariantMap{
        {QStringLiteral("method"), QStringLiteral("manual")},
        {QStringLiteral("address-data"),
         QVariant::fromValue(QList<QVariantMap>{
             {{QStringLiteral("address"), QStringLiteral("192.0.2.10")}, {QStringLiteral("prefix"), 24u}}})},
        {QStringLiteral("gateway"), QStringLiteral("192.0.2.1")}};
    settings[QStringLiteral("ipv6")] = QVariantMap{{QStringLiteral("method"), QStringLiteral("disabled")}};
    const QString path = add(settings);

    const NMConnectionSettings read = client().connectionSettings(path);
    EXPECT_EQ(read.ipv4Method, QStringLiteral("manual"));
    EXPECT_EQ(read.ipv6Method, QStringLiteral("disabled"));
}

TEST_F(RealNmSavedConnections, TheDaemonAnswersWhatTheMockLeavesOut) {
    // Every connection's answer has connection.permissions (empty: everyone's), an ipv4, an ipv6
    // and a proxy setting, and a secured one names its security setting in 802-11-wireless.
    const QString path = add(secured(QStringLiteral("Shape"), "Shape", QStringLiteral("wpa-psk"),
                                     {{QStringLiteral("psk"), QStringLiteral("correct horse")}}));
    const Settings raw = realnm::rawSettings(path);
    EXPECT_THAT(raw.keys(),
                ElementsAre(kWireless, kSecurity, QStringLiteral("connection"), QStringLiteral("ipv4"),
                            QStringLiteral("ipv6"), QStringLiteral("proxy")));
    const QVariant permissions = raw.value(QStringLiteral("connection")).value(QStringLiteral("permissions"));
    EXPECT_EQ(permissions.metaType(), QMetaType::fromType<QStringList>());
    EXPECT_THAT(permissions.toStringList(), IsEmpty());
    EXPECT_EQ(raw.value(kWireless).value(QStringLiteral("security")), QVariant(kSecurity));
    EXPECT_THAT(raw.value(QStringLiteral("proxy")).keys(), IsEmpty());
}

TEST_F(RealNmSavedConnections, TheDaemonIgnoresATimestampGivenToAddConnection) {
    // The time of the last activation is the daemon's own record: a new connection has none
    // whatever it was added with.
    Settings settings = realnm::wifiConnection(QStringLiteral("Old"), newUuid(), "Old");
    settings[QStringLiteral("connection")][QStringLiteral("timestamp")] =
        QVariant::fromValue(quint64(1700000000));
    const QString path = add(settings);

    EXPECT_EQ(client().connectionSettings(path).timestamp, std::nullopt);
}

// ---- A deleted connection -----------------------------------------------------------------------

TEST_F(RealNmSavedConnections, AConnectionDeletedMeanwhileIsNoSuchObject) {
    const QString path =
        realnm::addConnection(realnm::wifiConnection(QStringLiteral("Gone"), newUuid(), "Gone"));
    ASSERT_FALSE(path.isEmpty());
    realnm::deleteConnection(path);
    EXPECT_THAT(client().savedConnectionPaths(), ::testing::Not(Contains(path)));

    // NetworkManager (GDBus) answers org.freedesktop.DBus.Error.UnknownMethod "Object does not
    // exist at path" for a method of an object that is gone, as it does for its properties.
    try {
        client().connectionSettings(path);
        ADD_FAILURE() << "GetSettings of a deleted connection answered";
    } catch (const DBusReadError& error) {
        EXPECT_EQ(error.dbusErrorName(), QStringLiteral("org.freedesktop.DBus.Error.UnknownMethod"));
        EXPECT_EQ(error.kind(), DBusReadError::Kind::NoSuchObject)
            << DBusReadError::kindName(error.kind()) << ": " << str(error.text());
    }
}

// ---- Connections restricted to a user -----------------------------------------------------------

class RealNmRestrictedConnections : public RealNmSavedConnections {
  protected:
    Settings restricted(const QString& id, const QString& user) {
        Settings settings = secured(id, id.toUtf8(), QStringLiteral("wpa-psk"),
                                    {{QStringLiteral("psk"), QStringLiteral("correct horse")}});
        settings[QStringLiteral("connection")][QStringLiteral("permissions")] =
            QStringList{QStringLiteral("user:") + user};
        return settings;
    }
};

TEST_F(RealNmRestrictedConnections, RootReadsAConnectionRestrictedToAnotherUser) {
    // The daemon lets root read every connection (this process is root in its namespace).
    const QString path = add(restricted(QStringLiteral("Theirs"), QStringLiteral("someoneelse")));

    const NMConnectionSettings read = client().connectionSettings(path);
    EXPECT_EQ(read.id, QStringLiteral("Theirs"));
    EXPECT_EQ(read.keyMgmt, QStringLiteral("wpa-psk"));
    // The daemon writes the entry in its full form, "user:NAME:" (the last field, reserved, empty).
    EXPECT_EQ(
        realnm::rawSettings(path).value(QStringLiteral("connection")).value(QStringLiteral("permissions")),
        QVariant(QStringList{QStringLiteral("user:someoneelse:")}));
}

TEST_F(RealNmRestrictedConnections, AnotherUserIsRefusedAConnectionRestrictedToSomeoneElse) {
    if (!realnm::otherUsersMapped()) {
        GTEST_SKIP() << "this namespace maps only root (realnm.sh maps more users only when run by root): "
                        "no user but root to call as";
    }
    const passwd* nobody = getpwnam("nobody");
    ASSERT_NE(nobody, nullptr) << "no user \"nobody\" in /etc/passwd";
    const QString theirs = add(restricted(QStringLiteral("Theirs"), QStringLiteral("someoneelse")));
    const QString nobodys = add(restricted(QStringLiteral("Nobodys"), QStringLiteral("nobody")));
    const QString everyones =
        add(realnm::wifiConnection(QStringLiteral("Everyones"), newUuid(), "Everyones"));

    const QDBusConnection asNobody = realnm::busAs(nobody->pw_uid, QStringLiteral("realnm-nobody"));
    ASSERT_TRUE(asNobody.isConnected()) << str(asNobody.lastError().message());
    const platform::linuxwifi::NetworkManagerClient nobodysClient(asNobody, std::chrono::seconds(10));

    // Listed to everyone, read only by root and the users it names.
    EXPECT_THAT(nobodysClient.savedConnectionPaths(), Contains(theirs));
    EXPECT_EQ(nobodysClient.connectionSettings(nobodys).id, QStringLiteral("Nobodys"));
    EXPECT_EQ(nobodysClient.connectionSettings(everyones).id, QStringLiteral("Everyones"));
    try {
        nobodysClient.connectionSettings(theirs);
        ADD_FAILURE() << "the daemon let nobody read a connection restricted to someoneelse";
    } catch (const DBusReadError& error) {
        EXPECT_EQ(error.kind(), DBusReadError::Kind::Refused) << str(error.text());
        EXPECT_EQ(error.dbusErrorName(),
                  QStringLiteral("org.freedesktop.NetworkManager.Settings.PermissionDenied"));
        EXPECT_THAT(str(error.text()), ::testing::HasSubstr("has no permission to perform this operation"));
    }
    QDBusConnection::disconnectFromBus(QStringLiteral("realnm-nobody"));
}

}  // namespace
