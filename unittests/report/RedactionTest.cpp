// Redaction of a profile a person shares: BSSIDs and the other networks' names become pseudonyms
// wherever they appear, public addresses go, and the names of the joined and selected networks,
// the interface and every measurement stay.
#include "host/report/Redaction.h"

#include "platform/foundation/Json.h"
#include "platform/wifi/WiFiRecords.h"

#include <QRegularExpression>

#include <gtest/gtest.h>

using namespace report;
using platform::Dictionary;
using platform::Value;

namespace {

Value scanEntry(const char* ssid, const char* bssid, int rssi) {
    auto entry = std::make_shared<platform::WiFiScanResult>();
    if (ssid) {
        entry->ssidString = QString::fromUtf8(ssid);
    }
    entry->bssid = QString::fromLatin1(bssid);
    entry->rssi = rssi;
    entry->channel = 6;
    return Value::record(entry);
}

// Joined to "Home-5G"; around it "Home" and "Home-Guest" (names inside and around the joined one),
// "ab" (a short name) and a hidden network.
Profile neighbourhood() {
    Profile profile;
    auto ping = Dictionary::make({{QStringLiteral("SSID"), Value::string(QStringLiteral("wlan0"))},
                                  {QStringLiteral("avg"), Value::number(2.5)}});
    auto preferred = Dictionary::make({{QStringLiteral("SSID"), Value::string(QStringLiteral("Home-5G"))}});
    auto current =
        Dictionary::make({{QStringLiteral("networkName"), Value::string(QStringLiteral("Home-5G"))},
                          {QStringLiteral("pingLANResult"), Value::dictionary(ping)},
                          {QStringLiteral("preferredNetwork"), Value::dictionary(preferred)},
                          {QStringLiteral("RSSI"), Value::integer(-54)}});
    profile.result = Value::dictionary(Dictionary::make(
        {{QStringLiteral("statusCode"), Value::integer(0)},
         {QStringLiteral("data"), Value::dictionary(Dictionary::make(
                                      {{QStringLiteral("currentNetwork"), Value::dictionary(current)}}))}}));
    auto list = platform::makeArray(
        {scanEntry("Home-5G", "AC:DE:48:00:00:01", -54), scanEntry("Home", "ac:de:48:00:00:02", -60),
         scanEntry("Home-Guest", "ac:de:48:00:00:03", -61), scanEntry("ab", "ac:de:48:00:00:04", -70),
         scanEntry(nullptr, "ac:de:48:00:00:05", -80)});
    ServiceAnswer scan;
    scan.testID = 31;
    scan.answer = Dictionary::make(
        {{QStringLiteral("result"), Value::boolean(false)},
         {QStringLiteral("didPass"), Value::boolean(true)},
         {QStringLiteral("info"),
          Value::dictionary(Dictionary::make({{QStringLiteral("ScanResults"), Value::array(list)}}))}});
    ServiceAnswer failed;
    failed.testID = 8;
    failed.errorCode = 95;
    failed.errorText = QStringLiteral(
        "WiFiDiagnostics error 95: the route to 9.9.9.9 leaves through eth0, not wlan0 (gateway 192.168.1.1, "
        "2606:4700::1111, fe80::1, 100.64.0.7); Home-Guest and ab are near AC:DE:48:00:00:03");
    profile.answers = {scan, failed};
    profile.log = {LogLine{3, 2,
                           QStringLiteral("[ERROR] - Wi-Fi Profile: Home-5G beside Home (ac:de:48:00:00:02) "
                                          "and about 10.0.0.1")}};
    profile.metadata.machine = QStringLiteral("sams-laptop (Linux 6.1.0)");
    return profile;
}

QString everything(const Profile& profile) {
    return QString::fromUtf8(profileToJson(profile));
}

}  // namespace

TEST(Redaction, NoBssidNoNeighbourNoPublicAddressIsLeft) {
    const Profile shared = redacted(neighbourhood());
    const QString text = everything(shared);
    const QRegularExpression bssid(QStringLiteral("[0-9A-Fa-f]{2}(:[0-9A-Fa-f]{2}){5}"));
    EXPECT_FALSE(bssid.match(text).hasMatch()) << bssid.match(text).captured().toStdString();
    const QString withoutJoined = QString(text).remove(QStringLiteral("Home-5G"));
    for (const char* neighbour : {"\"Home\"", "Home ", "Home-Guest", "\"ab\"", " ab "}) {
        EXPECT_FALSE(withoutJoined.contains(QString::fromLatin1(neighbour))) << neighbour << "\n"
                                                                             << text.toStdString();
    }
    for (const char* address : {"9.9.9.9", "2606:4700::1111"}) {
        EXPECT_FALSE(text.contains(QString::fromLatin1(address))) << address;
    }
    EXPECT_TRUE(text.contains(QStringLiteral("(public address)")));
    EXPECT_EQ(shared.metadata.machine, QStringLiteral("Linux 6.1.0"));
    EXPECT_TRUE(shared.metadata.redacted);
}

TEST(Redaction, TheJoinedNetworkTheInterfaceAndTheMeasurementsStay) {
    const Profile original = neighbourhood();
    const Profile shared = redacted(original);
    const auto current = shared.group(QStringLiteral("currentNetwork"));
    ASSERT_TRUE(current);
    EXPECT_EQ(current->value(QStringLiteral("networkName"))->toString(), QStringLiteral("Home-5G"));
    EXPECT_EQ(current->value(QStringLiteral("RSSI"))->toInt(), -54);
    const auto ping = current->value(QStringLiteral("pingLANResult"))->toDictionary();
    EXPECT_EQ(ping->value(QStringLiteral("SSID"))->toString(), QStringLiteral("wlan0"));
    const QString text = everything(shared);
    for (const char* kept : {"192.168.1.1", "fe80::1", "100.64.0.7", "10.0.0.1", "eth0", "wlan0"}) {
        EXPECT_TRUE(text.contains(QString::fromLatin1(kept))) << kept;
    }
    EXPECT_TRUE(shared.log.front().message.startsWith(
        QStringLiteral("[ERROR] - Wi-Fi Profile: Home-5G beside Network-")))
        << shared.log.front().message.toStdString();
    // The scan keeps its size and signals; the same BSSID has the same pseudonym throughout.
    const auto scan = shared.scan();
    ASSERT_EQ(scan.size(), 5u);
    EXPECT_EQ(scan[0]->ssidString, QStringLiteral("Home-5G"));
    EXPECT_EQ(scan[1]->rssi, -60);
    EXPECT_FALSE(scan[4]->ssidString.has_value());
    EXPECT_TRUE(shared.answers[1].errorText.endsWith(scan[2]->bssid))
        << shared.answers[1].errorText.toStdString();
    EXPECT_TRUE(shared.log.front().message.contains(scan[1]->bssid));
}

TEST(Redaction, AJoinedNetworkWithoutItsNameKeyKeepsItsNameFromItsSavedProfile) {
    Profile profile = neighbourhood();
    profile.group(QStringLiteral("currentNetwork"))->remove(QStringLiteral("networkName"));
    const Profile shared = redacted(profile);
    EXPECT_EQ(shared.scan()[0]->ssidString, QStringLiteral("Home-5G"));
}
