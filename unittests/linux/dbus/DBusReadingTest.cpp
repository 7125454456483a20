// Typed reads of D-Bus values, without a bus: signatures of what QtDBus hands out, reads by type,
// and the texts of the errors (place, expected, found).
#include "platform/wifi/linux/DBusReading.h"
#include "platform/wifi/linux/NetworkManagerClient.h"

#include "unittests/linux/dbus/MockBusTest.h"

#include <QDBusConnection>
#include <QDBusObjectPath>
#include <QDBusVariant>
#include <QPoint>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>

using platform::linuxwifi::DBusDict;
using platform::linuxwifi::DBusField;
using platform::linuxwifi::DBusPlace;
using platform::linuxwifi::DBusReadError;
using platform::linuxwifi::DBusValue;
using platform::linuxwifi::NetworkManagerClient;
using ::testing::HasSubstr;
using testsupport::readError;
using testsupport::str;

namespace {

const DBusPlace kWirelessEnabledPlace{
    QStringLiteral("org.freedesktop.NetworkManager"), QStringLiteral("/org/freedesktop/NetworkManager"),
    QStringLiteral("org.freedesktop.NetworkManager"), QStringLiteral("WirelessEnabled"), QString()};

DBusField field(const QVariant& value, const DBusPlace& place = kWirelessEnabledPlace) {
    return DBusField(DBusValue::fromQt(value), place);
}

}  // namespace

TEST(DBusValue, QtValuesGetTheSignaturesOfTheirDBusTypes) {
    EXPECT_EQ(DBusValue::fromQt(QVariant(true)).signature(), QStringLiteral("b"));
    EXPECT_EQ(DBusValue::fromQt(QVariant::fromValue(uchar(7))).signature(), QStringLiteral("y"));
    EXPECT_EQ(DBusValue::fromQt(QVariant(-3)).signature(), QStringLiteral("i"));
    EXPECT_EQ(DBusValue::fromQt(QVariant(3u)).signature(), QStringLiteral("u"));
    EXPECT_EQ(DBusValue::fromQt(QVariant(qint64(-1))).signature(), QStringLiteral("x"));
    EXPECT_EQ(DBusValue::fromQt(QVariant(quint64(1))).signature(), QStringLiteral("t"));
    EXPECT_EQ(DBusValue::fromQt(QVariant(QStringLiteral("s"))).signature(), QStringLiteral("s"));
    EXPECT_EQ(DBusValue::fromQt(QVariant::fromValue(QDBusObjectPath(QStringLiteral("/a")))).signature(),
              QStringLiteral("o"));
    EXPECT_EQ(DBusValue::fromQt(QVariant(QByteArray("\0\1", 2))).signature(), QStringLiteral("ay"));
    EXPECT_EQ(DBusValue::fromQt(QVariant(QStringList{QStringLiteral("a")})).signature(),
              QStringLiteral("as"));
    EXPECT_EQ(DBusValue::fromQt(QVariant(QVariantMap{{QStringLiteral("k"), 1}})).signature(),
              QStringLiteral("a{sv}"));
    EXPECT_EQ(DBusValue::fromQt(QVariant::fromValue(QDBusVariant(QVariant(true)))).signature(),
              QStringLiteral("v"));
    EXPECT_EQ(DBusValue::fromQt(QVariant(QPoint(1, 2))).signature(), QStringLiteral("?"));
}

TEST(DBusField, ReadsAValueOfTheExpectedType) {
    EXPECT_TRUE(field(QVariant(true)).readBool());
    EXPECT_EQ(field(QVariant::fromValue(uchar(200))).readByte(), 200);
    EXPECT_EQ(field(QVariant(qint64(-1))).readInt64(), -1);
    EXPECT_EQ(field(QVariant(4000000000u)).readUInt32(), 4000000000u);
    EXPECT_EQ(field(QVariant::fromValue(QDBusObjectPath(QStringLiteral("/x/1")))).readObjectPath(),
              QStringLiteral("/x/1"));
    EXPECT_EQ(field(QVariant(QByteArray("a\0b", 3))).readBytes(), QByteArray("a\0b", 3));
}

TEST(DBusField, AValueOfAnotherTypeNamesThePlaceWhatWasExpectedAndWhatWasFound) {
    const auto error = readError([] { field(QVariant(QStringLiteral("yes"))).readBool(); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->kind(), DBusReadError::Kind::WrongType);
    EXPECT_EQ(str(error->text()),
              "org.freedesktop.NetworkManager.WirelessEnabled at /org/freedesktop/NetworkManager on "
              "org.freedesktop.NetworkManager: expected a boolean (b), found a string (s): \"yes\"");
}

TEST(DBusField, ANumberOfAnotherWidthIsAnotherType) {
    // A uint32 where a byte belongs is a fault of the service, not something to convert.
    const auto error = readError([] { field(QVariant(70u)).readByte(); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->kind(), DBusReadError::Kind::WrongType);
    EXPECT_THAT(str(error->text()), HasSubstr("expected a byte (y), found a uint32 (u): 70"));
}

TEST(DBusDict, AMissingKeyIsNamedWithTheKeysThatAreThere) {
    const DBusDict dict =
        field(QVariant(QVariantMap{{QStringLiteral("address"), QStringLiteral("10.0.0.2")}})).readDict();
    EXPECT_EQ(dict.at(QStringLiteral("address")).readString(), QStringLiteral("10.0.0.2"));
    EXPECT_FALSE(dict.find(QStringLiteral("prefix")).has_value());
    const auto error = readError([&] { dict.at(QStringLiteral("prefix")); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->kind(), DBusReadError::Kind::Missing);
    EXPECT_THAT(str(error->text()),
                HasSubstr("WirelessEnabled[\"prefix\"] at /org/freedesktop/NetworkManager"));
    EXPECT_THAT(str(error->text()), HasSubstr("(there are: address)"));
}

TEST(DBusDict, PropertiesAreNamedAsMembersOfTheirInterface) {
    const DBusPlace accessPoint{QStringLiteral("org.freedesktop.NetworkManager"),
                                QStringLiteral("/org/freedesktop/NetworkManager/AccessPoint/7"),
                                QStringLiteral("org.freedesktop.NetworkManager.AccessPoint"), QString(),
                                QString()};
    const DBusDict properties =
        field(QVariant(QVariantMap{{QStringLiteral("Strength"), QStringLiteral("high")}}), accessPoint)
            .readProperties();
    const auto error = readError([&] { properties.at(QStringLiteral("Strength")).readByte(); });
    ASSERT_TRUE(error);
    EXPECT_EQ(str(error->text()),
              "org.freedesktop.NetworkManager.AccessPoint.Strength at "
              "/org/freedesktop/NetworkManager/AccessPoint/7 "
              "on org.freedesktop.NetworkManager: expected a byte (y), found a string (s): \"high\"");
    const auto missing = readError([&] { properties.at(QStringLiteral("Frequency")); });
    ASSERT_TRUE(missing);
    EXPECT_THAT(
        str(missing->text()),
        HasSubstr("org.freedesktop.NetworkManager.AccessPoint.Frequency at "
                  "/org/freedesktop/NetworkManager/AccessPoint/7 on org.freedesktop.NetworkManager is "
                  "missing: the property is not there (there are: Strength)"));
}

TEST(DBusValue, ErrorTextsQuoteStringsAndShowBytes) {
    EXPECT_EQ(str(DBusValue::fromQt(QVariant(QStringLiteral("a\"b\n"))).shortText()), "\"a\\\"b\\x0a\"");
    EXPECT_EQ(str(DBusValue::fromQt(QVariant(QByteArray("A\0", 2))).shortText()), "[0x41, 0x00]");
    const QString longText(500, u'x');
    EXPECT_LT(DBusValue::fromQt(QVariant(longText)).shortText().size(), 130);
}

TEST(DBusReadError, BecomesAServiceErrorWithTheCallersCode) {
    const DBusReadError error(DBusReadError::Kind::NoService, QStringLiteral("no org.bluez on the bus"));
    const platform::ErrorRef serviceError = error.toServiceError(95);
    EXPECT_EQ(serviceError->domain, QStringLiteral("WiFiDiagnostics"));
    EXPECT_EQ(serviceError->code, 95);
    EXPECT_EQ(serviceError->text, QStringLiteral("no org.bluez on the bus"));
}

TEST(DBusCaller, AClosedConnectionGivesADisconnectedError) {
    // No bus listens at this address, so the connection never opens.
    const QDBusConnection closed = QDBusConnection::connectToBus(
        QStringLiteral("unix:path=/nonexistent/wifi-profile-test-bus"), QStringLiteral("closed-bus-test"));
    ASSERT_FALSE(closed.isConnected());
    const NetworkManagerClient client(closed, std::chrono::milliseconds(500));
    const auto error = readError([&] { client.wirelessEnabled(); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->kind(), DBusReadError::Kind::Disconnected);
    EXPECT_THAT(str(error->text()), HasSubstr("org.freedesktop.NetworkManager.WirelessEnabled"));
    QDBusConnection::disconnectFromBus(QStringLiteral("closed-bus-test"));
}

TEST(DBusCaller, AnInvalidObjectPathIsRefusedBeforeAnythingIsSent) {
    const QDBusConnection closed = QDBusConnection::connectToBus(
        QStringLiteral("unix:path=/nonexistent/wifi-profile-test-bus"), QStringLiteral("invalid-path-test"));
    const NetworkManagerClient client(closed, std::chrono::milliseconds(500));
    for (const QString& path :
         {QString(), QStringLiteral("not a path"), QStringLiteral("/a//b"), QStringLiteral("/a/")}) {
        const auto error = readError([&] { client.device(path); });
        ASSERT_TRUE(error) << str(path);
        EXPECT_EQ(error->kind(), DBusReadError::Kind::InvalidPath) << str(path);
        EXPECT_EQ(str(error->text()),
                  "reading org.freedesktop.NetworkManager.Device on org.freedesktop.NetworkManager: \"" +
                      str(path) + "\" is not a D-Bus object path");
    }
    QDBusConnection::disconnectFromBus(QStringLiteral("invalid-path-test"));
}
