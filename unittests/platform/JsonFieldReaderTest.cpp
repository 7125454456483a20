// The JSON field reader: each read checks its value's kind, and every complaint carries the path of
// the offending value in the document.
#include "platform/foundation/JsonFieldReader.h"
#include "platform/foundation/JsonReader.h"

#include <gtest/gtest.h>

#include <functional>

using namespace platform;

namespace {

// The document text as a field at the document's own (empty) path.
JsonField document(const char* json) {
    return JsonField(parseJson(QByteArray(json)));
}

// "place | why" of the JsonFieldError that read raises, or "(no error)".
std::string complaintOf(const std::function<void()>& read) {
    try {
        read();
    } catch (const JsonFieldError& e) {
        return (e.place() + QStringLiteral(" | ") + e.why()).toStdString();
    }
    return "(no error)";
}

}  // namespace

// ----- paths -------------------------------------------------------------------------------------

TEST(JsonFieldReader, PathsFollowKeysAndIndexes) {
    const JsonField root = document(R"({"tests": {"16": [{"result": true}, {"info": {"2GHzChannel": 6}}]}})");
    EXPECT_EQ(root.path(), QString());
    const JsonField tests = *root.readObject().find("tests");
    EXPECT_EQ(tests.path(), QStringLiteral("tests"));
    const JsonField answers = *tests.readObject().find("16");
    EXPECT_EQ(answers.path(), QStringLiteral("tests.\"16\""));
    const std::vector<JsonField> list = answers.readArray();
    ASSERT_EQ(list.size(), 2u);
    EXPECT_EQ(list[0].path(), QStringLiteral("tests.\"16\"[0]"));
    const JsonField info = *list[1].readObject().find("info");
    EXPECT_EQ(info.path(), QStringLiteral("tests.\"16\"[1].info"));
    const JsonField channel = *info.readObject().find("2GHzChannel");
    EXPECT_EQ(channel.path(), QStringLiteral("tests.\"16\"[1].info.\"2GHzChannel\""));
    EXPECT_EQ(channel.readInt(), 6);
}

TEST(JsonFieldReader, AnArrayAtTheDocumentIndexesFromNothing) {
    const std::vector<JsonField> list = document(R"(["a", "b"])").readArray();
    ASSERT_EQ(list.size(), 2u);
    EXPECT_EQ(list[1].path(), QStringLiteral("[1]"));
    EXPECT_EQ(list[1].readString(), QStringLiteral("b"));
}

TEST(JsonFieldReader, AFieldStartsWhereItsCallerSays) {
    const JsonField field(Value::integer(3), QStringLiteral("device.count"));
    EXPECT_EQ(complaintOf([&] { field.readString(); }), "device.count | expected a string, got an integer");
}

TEST(JsonFieldReader, EntriesComeInKeyOrderWithTheirPaths) {
    const JsonObjectFields object = document(R"({"b": 2, "a b": 1, "c": 3})").readObject();
    const auto entries = object.entries();
    ASSERT_EQ(entries.size(), 3u);
    EXPECT_EQ(entries[0].first, QStringLiteral("a b"));
    EXPECT_EQ(entries[0].second.path(), QStringLiteral("\"a b\""));
    EXPECT_EQ(entries[0].second.readInt(), 1);
    EXPECT_EQ(entries[1].first, QStringLiteral("b"));
    EXPECT_EQ(entries[2].second.path(), QStringLiteral("c"));
    EXPECT_EQ(object.keys(), (QStringList{"a b", "b", "c"}));
    EXPECT_EQ(object.size(), 3u);
}

// ----- reads by kind -------------------------------------------------------------------------------

TEST(JsonFieldReader, ValuesOfTheExpectedKindAreRead) {
    const JsonObjectFields o =
        document(R"({"b": true, "i": -54, "n": 2.5, "ni": 7, "s": "x", "o": {"k": null},
                                            "a": [1, 2]})")
            .readObject();
    EXPECT_TRUE(o.find("b")->readBool());
    EXPECT_EQ(o.find("i")->readInt(), -54);
    EXPECT_EQ(o.find("i")->readIntInRange(-54, -54), -54);
    EXPECT_EQ(o.find("n")->readNumber(), 2.5);
    EXPECT_EQ(o.find("ni")->readNumber(), 7.0);
    EXPECT_EQ(o.find("s")->readString(), QStringLiteral("x"));
    EXPECT_EQ(o.find("s")->readNonEmptyString(), QStringLiteral("x"));
    EXPECT_TRUE(o.find("o")->readObject().find("k")->isNull());
    EXPECT_EQ(o.find("a")->readArray().size(), 2u);
    EXPECT_FALSE(o.find("missing").has_value());
    EXPECT_TRUE(o.contains("a"));
    EXPECT_FALSE(o.contains("A"));
}

TEST(JsonFieldReader, KindMessagesNameWhatWasExpectedAndWhatWasFound) {
    const JsonObjectFields o =
        document(R"({"s": "on", "i": 1, "f": 1.0, "n": null, "a": [], "o": {}, "b": false})").readObject();
    EXPECT_EQ(complaintOf([&] { o.find("s")->readBool(); }), "s | expected a boolean, got a string");
    EXPECT_EQ(complaintOf([&] { o.find("f")->readInt(); }), "f | expected an integer, got a fraction");
    EXPECT_EQ(complaintOf([&] { o.find("n")->readString(); }), "n | expected a string, got null");
    EXPECT_EQ(complaintOf([&] { o.find("b")->readNumber(); }), "b | expected a number, got a boolean");
    EXPECT_EQ(complaintOf([&] { o.find("a")->readObject(); }), "a | expected an object, got an array");
    EXPECT_EQ(complaintOf([&] { o.find("o")->readArray(); }), "o | expected an array, got an object");
    EXPECT_EQ(complaintOf([&] { o.find("i")->readArray(QStringLiteral("an array of events")); }),
              "i | expected an array of events, got an integer");
    EXPECT_EQ(complaintOf([&] { o.find("i")->failExpected(QStringLiteral("a date")); }),
              "i | expected a date, got an integer");
}

TEST(JsonFieldReader, KindPhrases) {
    EXPECT_EQ(jsonKindPhrase(Value::null()), QStringLiteral("null"));
    EXPECT_EQ(jsonKindPhrase(Value::boolean(true)), QStringLiteral("a boolean"));
    EXPECT_EQ(jsonKindPhrase(Value::integer(1)), QStringLiteral("an integer"));
    EXPECT_EQ(jsonKindPhrase(Value::unsignedInteger(1)), QStringLiteral("an unsigned integer"));
    EXPECT_EQ(jsonKindPhrase(Value::number(1.0)), QStringLiteral("a fraction"));
    EXPECT_EQ(jsonKindPhrase(Value::string("x")), QStringLiteral("a string"));
    EXPECT_EQ(jsonKindPhrase(Value::date(Date())), QStringLiteral("a date"));
    EXPECT_EQ(jsonKindPhrase(Value::array(makeArray())), QStringLiteral("an array"));
    EXPECT_EQ(jsonKindPhrase(Value::dictionary(Dictionary::make())), QStringLiteral("an object"));
}

TEST(JsonFieldReader, IntegersOutsideTheirRange) {
    const JsonObjectFields o =
        document(R"({"big": 18446744073709551615, "low": -1, "high": 65, "max": 9223372036854775807})")
            .readObject();
    EXPECT_EQ(complaintOf([&] { o.find("big")->readInt(); }),
              "big | integer 18446744073709551615 is too large (at most 9223372036854775807)");
    EXPECT_EQ(complaintOf([&] { o.find("low")->readIntInRange(0, 64); }),
              "low | expected an integer from 0 to 64, got -1");
    EXPECT_EQ(complaintOf([&] { o.find("high")->readIntInRange(0, 64); }),
              "high | expected an integer from 0 to 64, got 65");
    EXPECT_EQ(o.find("high")->readIntInRange(65, 65), 65);
    EXPECT_EQ(o.find("max")->readInt(), 9223372036854775807);
}

TEST(JsonFieldReader, AnEmptyStringIsNotANonEmptyOne) {
    const JsonObjectFields o = document(R"({"tap": "", "n": 0})").readObject();
    EXPECT_EQ(o.find("tap")->readString(), QString());
    EXPECT_EQ(complaintOf([&] { o.find("tap")->readNonEmptyString(); }), "tap | expected a non-empty string");
    EXPECT_EQ(complaintOf([&] { o.find("n")->readNonEmptyString(); }),
              "n | expected a string, got an integer");
}

// ----- keys ----------------------------------------------------------------------------------------

TEST(JsonFieldReader, UnknownKeysAreNamedWithTheKnownOnesSorted) {
    const JsonObjectFields event = document(R"({"events": [{"atMs": 5, "power": true, "zz": 1}]})")
                                       .readObject()
                                       .find("events")
                                       .value()
                                       .readArray()
                                       .front()
                                       .readObject();
    EXPECT_EQ(complaintOf([&] {
                  event.rejectUnknownKeys({"wifiPower", "atMs", "comment"}, QStringLiteral("an event"));
              }),
              "events[0].power | unknown key \"power\" in an event (known keys: atMs, comment, wifiPower)");
    EXPECT_EQ(complaintOf([&] {
                  event.rejectUnknownKeys({"atMs", "power", "zz"}, QStringLiteral("an event"));
              }),
              "(no error)");
}

TEST(JsonFieldReader, AMissingRequiredKeyIsNamedAtTheObject) {
    const JsonObjectFields error =
        document(R"({"error": {"text": "x"}})").readObject().find("error")->readObject();
    EXPECT_EQ(complaintOf([&] { error.require("code", QStringLiteral("an error")); }),
              "error | an error needs the key \"code\"");
    EXPECT_EQ(error.require("text", QStringLiteral("an error")).readString(), QStringLiteral("x"));
}

TEST(JsonFieldReader, FailuresAtAnObjectOrAtOneOfItsKeys) {
    const JsonObjectFields status =
        document(R"({"status": {"joined": false}})").readObject().find("status")->readObject();
    EXPECT_EQ(status.pathOf("ssid"), QStringLiteral("status.ssid"));
    EXPECT_EQ(complaintOf([&] { status.fail("no form"); }), "status | no form");
    EXPECT_EQ(complaintOf([&] { status.failAt("joined", "not here"); }), "status.joined | not here");
}

TEST(JsonFieldReader, ErrorTextReadsPlaceThenWhy) {
    EXPECT_STREQ(JsonFieldError("tests.\"16\"", "why").what(), "tests.\"16\": why");
    EXPECT_STREQ(JsonFieldError(QString(), "why").what(), "why");
}
