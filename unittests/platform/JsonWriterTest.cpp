// The JSON text of platform values, as the host prints results and events.
#include "platform/foundation/DateFormatter.h"
#include "platform/foundation/Json.h"
#include "platform/foundation/JsonReader.h"
#include "platform/wifi/WiFiRecords.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <optional>

using namespace platform;

namespace {

std::string json(const Value& v) {
    return toJson(v).toStdString();
}

std::string jsonOfDouble(double d) {
    QByteArray out;
    appendJsonDouble(out, d);
    return out.toStdString();
}

}  // namespace

TEST(JsonWriter, BooleansAreWordsNotNumbers) {
    EXPECT_EQ(json(Value::boolean(true)), "true");
    EXPECT_EQ(json(Value::boolean(false)), "false");
}

TEST(JsonWriter, NullMarkerIsNull) {
    EXPECT_EQ(json(Value::null()), "null");
}

TEST(JsonWriter, IntegersAreDigitsWithoutPoint) {
    EXPECT_EQ(json(Value::integer(0)), "0");
    EXPECT_EQ(json(Value::integer(-54)), "-54");
    EXPECT_EQ(json(Value::integer(std::numeric_limits<std::int64_t>::max())), "9223372036854775807");
    EXPECT_EQ(json(Value::integer(std::numeric_limits<std::int64_t>::min())), "-9223372036854775808");
}

TEST(JsonWriter, UnsignedIntegersUseTheFullRange) {
    EXPECT_EQ(json(Value::unsignedInteger(3)), "3");
    EXPECT_EQ(json(Value::unsignedInteger(std::numeric_limits<std::uint64_t>::max())),
              "18446744073709551615");
}

TEST(JsonWriter, DoublesAlwaysShowTheyAreFractions) {
    EXPECT_EQ(json(Value::number(5.0)), "5.0");
    EXPECT_EQ(json(Value::number(0.0)), "0.0");
    EXPECT_EQ(json(Value::number(-0.0)), "-0.0");
    EXPECT_EQ(json(Value::number(2.91)), "2.91");
    EXPECT_EQ(json(Value::number(-54.5)), "-54.5");
    EXPECT_EQ(json(Value::number(100.0)), "100.0");
}

TEST(JsonWriter, DoublesUseShortestRoundTripDigits) {
    EXPECT_EQ(jsonOfDouble(0.1), "0.1");
    EXPECT_EQ(jsonOfDouble(0.1 + 0.2), "0.30000000000000004");
    EXPECT_EQ(jsonOfDouble(1.0 / 3.0), "0.3333333333333333");
    EXPECT_EQ(jsonOfDouble(816861492.0), "816861492.0");
    EXPECT_EQ(jsonOfDouble(123456.789), "123456.789");
}

TEST(JsonWriter, DoublesSwitchToExponentsLikePythonRepr) {
    EXPECT_EQ(jsonOfDouble(0.0001), "0.0001");
    EXPECT_EQ(jsonOfDouble(0.00001), "1e-05");
    EXPECT_EQ(jsonOfDouble(1e-07), "1e-07");
    EXPECT_EQ(jsonOfDouble(1.5e-07), "1.5e-07");
    EXPECT_EQ(jsonOfDouble(1e15), "1000000000000000.0");
    EXPECT_EQ(jsonOfDouble(1e16), "1e+16");
    EXPECT_EQ(jsonOfDouble(-2.5e16), "-2.5e+16");
    EXPECT_EQ(jsonOfDouble(1e300), "1e+300");
    EXPECT_EQ(jsonOfDouble(5e-324), "5e-324");
    EXPECT_EQ(jsonOfDouble(std::numeric_limits<double>::max()), "1.7976931348623157e+308");
}

TEST(JsonWriter, NaNAndInfinitiesAreBareTokens) {
    EXPECT_EQ(json(Value::number(std::numeric_limits<double>::quiet_NaN())), "NaN");
    EXPECT_EQ(json(Value::number(std::numeric_limits<double>::infinity())), "Infinity");
    EXPECT_EQ(json(Value::number(-std::numeric_limits<double>::infinity())), "-Infinity");
}

TEST(JsonWriter, DatesAreIso8601Strings) {
    EXPECT_EQ(json(Value::date(Date::fromSecondsSince1970(0))), "\"1970-01-01T00:00:00Z\"");
    EXPECT_EQ(json(Value::date(Date::fromSecondsSinceReferenceDate(816861492.0))),
              "\"2026-11-20T09:58:12Z\"");
    // Fractions of a second are dropped toward the past, also before 1970.
    EXPECT_EQ(json(Value::date(Date::fromSecondsSince1970(1.75))), "\"1970-01-01T00:00:01Z\"");
    EXPECT_EQ(json(Value::date(Date::fromSecondsSince1970(-0.5))), "\"1969-12-31T23:59:59Z\"");
}

TEST(JsonWriter, StringsAreEscaped) {
    EXPECT_EQ(json(Value::string(QStringLiteral("plain"))), "\"plain\"");
    EXPECT_EQ(json(Value::string(QStringLiteral("say \"hi\"\\now"))), "\"say \\\"hi\\\"\\\\now\"");
    EXPECT_EQ(json(Value::string(QStringLiteral("a\nb\rc\td\be\ff"))), "\"a\\nb\\rc\\td\\be\\ff\"");
    EXPECT_EQ(json(Value::string(QString(QChar(0x01)) + QChar(0x1F))), "\"\\u0001\\u001f\"");
    EXPECT_EQ(json(Value::string(QString(QChar(0)))), "\"\\u0000\"");
    // Non-ASCII text stays as UTF-8; the slash needs no escape.
    EXPECT_EQ(json(Value::string(QStringLiteral("Café/Straße ☕"))), "\"Café/Straße ☕\"");
    EXPECT_EQ(json(Value::string(QString())), "\"\"");
}

// Half a surrogate pair has no UTF-8 form; it is escaped, so keys that differ only there stay
// apart and the text reads back as it was.
TEST(JsonWriter, LoneSurrogatesAreEscaped) {
    EXPECT_EQ(json(Value::string(QStringLiteral("a") + QChar(0xD800) + QStringLiteral("b"))),
              "\"a\\ud800b\"");
    EXPECT_EQ(json(Value::string(QString(QChar(0xDFFF)) + QChar(0xD83D))), "\"\\udfff\\ud83d\"");
    EXPECT_EQ(json(Value::string(QStringLiteral("é😀") + QChar(0xDE00))), "\"é😀\\ude00\"");
    Dictionary keys;
    keys.set(QStringLiteral("a") + QChar(0xD800), Value::integer(1));
    keys.set(QStringLiteral("a") + QChar(0xDC00), Value::integer(2));
    keys.set(QStringLiteral("a") + QChar(0xFFFD), Value::integer(3));
    const std::optional<Value> back = tryParseJson(toJson(keys));
    ASSERT_TRUE(back.has_value()) << toJson(keys).toStdString();
    EXPECT_EQ(*back->toDictionary(), keys);
}

TEST(JsonWriter, ArraysKeepOrderWithCommaSpace) {
    EXPECT_EQ(json(Value::array(makeArray())), "[]");
    EXPECT_EQ(json(Value::array(makeArray({Value::integer(1), Value::number(1.0), Value::string("1"),
                                           Value::null(), Value::boolean(true)}))),
              "[1, 1.0, \"1\", null, true]");
}

TEST(JsonWriter, DictionariesHaveSortedKeys) {
    auto d = Dictionary::make();
    d->set("zeta", Value::integer(1));
    d->set("Alpha", Value::integer(2));
    d->set("alpha", Value::integer(3));
    d->set("2GHzChannel", Value::integer(6));
    EXPECT_EQ(json(Value::dictionary(d)), "{\"2GHzChannel\": 6, \"Alpha\": 2, \"alpha\": 3, \"zeta\": 1}");
    EXPECT_EQ(json(Value::dictionary(Dictionary::make())), "{}");
    EXPECT_EQ(toJson(*d).toStdString(), json(Value::dictionary(d)));
}

TEST(JsonWriter, NestedContainers) {
    auto inner = Dictionary::make({{"count", Value::unsignedInteger(3)}});
    auto outer = Dictionary::make(
        {{"list", Value::array(makeArray({Value::dictionary(inner), Value::array(makeArray())}))}});
    EXPECT_EQ(json(Value::dictionary(outer)), "{\"list\": [{\"count\": 3}, []]}");
}

TEST(JsonWriter, RecordsCarryTheirTypeFirst) {
    auto scan = std::make_shared<WiFiScanResult>();
    scan->bssid = "3c:84:6a:1f:72:e5";
    scan->rssi = -54;
    EXPECT_EQ(json(Value::record(scan)),
              "{\"$record\": \"WiFiScanResult\", \"bssid\": \"3c:84:6a:1f:72:e5\", \"rssi\": -54}");
    scan->ssidString = "Willowbrook-5G";
    scan->channel = 44;
    EXPECT_EQ(
        json(Value::record(scan)),
        "{\"$record\": \"WiFiScanResult\", \"bssid\": \"3c:84:6a:1f:72:e5\", \"channel\": 44, \"rssi\": -54, "
        "\"ssidString\": \"Willowbrook-5G\"}");
}

TEST(JsonWriter, PingRecordKeepsNaNAndDoubles) {
    auto ping = std::make_shared<WiFiPingResult>();
    ping->interfaceName = "wlan0";
    ping->count = 10;
    ping->packetLoss = 0.0;
    ping->min = 1.42;
    ping->max = 6.87;
    ping->avg = std::numeric_limits<double>::quiet_NaN();
    ping->stddev = 1.58;
    ping->timestamp = 816861492.0;
    EXPECT_EQ(
        json(Value::record(ping)),
        "{\"$record\": \"WiFiPingResult\", \"avg\": NaN, \"count\": 10, \"interfaceName\": \"wlan0\", "
        "\"max\": 6.87, \"min\": 1.42, \"packetLoss\": 0.0, \"stddev\": 1.58, \"timestamp\": 816861492.0}");
}

TEST(JsonWriter, NetworkProfileDateIsIsoString) {
    auto profile = std::make_shared<NetworkProfile>();
    profile->security = 4;
    profile->isEnabled = true;
    profile->lastJoinedTimestamp = Date::fromSecondsSinceReferenceDate(816853333.0);
    EXPECT_EQ(
        json(Value::record(profile)),
        "{\"$record\": \"NetworkProfile\", \"isCaptive\": false, \"isEnabled\": true, \"isHidden\": false, "
        "\"isMultiAP\": false, \"isPasspoint\": false, \"lastJoinedTimestamp\": \"2026-11-20T07:42:13Z\", "
        "\"security\": 4}");
}

TEST(JsonWriter, ChannelRecordOmitsAbsentFields) {
    auto channel = std::make_shared<WiFiChannel>();
    channel->channel = 149;
    EXPECT_EQ(json(Value::record(channel)), "{\"$record\": \"WiFiChannel\", \"channel\": 149}");
    channel->band = 5;
    channel->width = 80;
    EXPECT_EQ(json(Value::record(channel)),
              "{\"$record\": \"WiFiChannel\", \"band\": 5, \"channel\": 149, \"width\": 80}");
}

TEST(JsonWriter, DescriptionIsTheJsonForm) {
    EXPECT_EQ(Value::number(0.5).description().toStdString(), "0.5");
    EXPECT_EQ(Value::string("x").description().toStdString(), "\"x\"");
}
