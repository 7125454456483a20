// The strict JSON reader: kinds kept apart, positions in every complaint.
#include "platform/foundation/Json.h"
#include "platform/foundation/JsonReader.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

using namespace platform;

namespace {

Value read(const char* text) {
    return parseJson(QByteArray(text));
}

// The message of the error that reading text raises, or "(no error)".
std::string errorOf(const QByteArray& text, const JsonReadOptions& options = {}) {
    QString error;
    if (tryParseJson(text, &error, options)) {
        return "(no error)";
    }
    return error.toStdString();
}

}  // namespace

TEST(JsonReader, Literals) {
    EXPECT_EQ(read("true"), Value::boolean(true));
    EXPECT_EQ(read("false"), Value::boolean(false));
    EXPECT_EQ(read("null"), Value::null());
    EXPECT_EQ(read("null").kind(), Value::Kind::Null);
}

TEST(JsonReader, IntegersStayIntegers) {
    EXPECT_EQ(read("5").kind(), Value::Kind::Int);
    EXPECT_EQ(read("5").toInt(), 5);
    EXPECT_EQ(read("-54").toInt(), -54);
    EXPECT_EQ(read("0").kind(), Value::Kind::Int);
    EXPECT_EQ(read("-0").kind(), Value::Kind::Int);
    EXPECT_EQ(read("9223372036854775807").toInt(), std::numeric_limits<std::int64_t>::max());
    EXPECT_EQ(read("-9223372036854775808").toInt(), std::numeric_limits<std::int64_t>::min());
}

TEST(JsonReader, FractionsAndExponentsAreDoubles) {
    EXPECT_EQ(read("5.0").kind(), Value::Kind::Double);
    EXPECT_EQ(read("5.0").toDouble(), 5.0);
    EXPECT_EQ(read("1e3").kind(), Value::Kind::Double);
    EXPECT_EQ(read("1e3").toDouble(), 1000.0);
    EXPECT_EQ(read("1E+2").toDouble(), 100.0);
    EXPECT_EQ(read("2.5e-3").toDouble(), 0.0025);
    EXPECT_EQ(read("-0.0").kind(), Value::Kind::Double);
    EXPECT_TRUE(std::signbit(read("-0.0").toDouble()));
    EXPECT_EQ(read("0.1").toDouble(), 0.1);
    EXPECT_EQ(read("816861492.0").toDouble(), 816861492.0);
}

TEST(JsonReader, BigIntegersBecomeUnsignedThenDouble) {
    const Value u = read("9223372036854775808");
    EXPECT_EQ(u.kind(), Value::Kind::UInt);
    EXPECT_EQ(u.toUInt(), 9223372036854775808ULL);
    EXPECT_EQ(read("18446744073709551615").toUInt(), std::numeric_limits<std::uint64_t>::max());
    const Value d = read("18446744073709551616");
    EXPECT_EQ(d.kind(), Value::Kind::Double);
    EXPECT_EQ(d.toDouble(), 18446744073709551616.0);
    const Value negative = read("-9223372036854775809");
    EXPECT_EQ(negative.kind(), Value::Kind::Double);
    EXPECT_EQ(negative.toDouble(), -9223372036854775809.0);
}

TEST(JsonReader, TinyNumbersReadAsZeroHugeOnesAreErrors) {
    EXPECT_EQ(read("1e-400").toDouble(), 0.0);
    EXPECT_TRUE(std::signbit(read("-1e-400").toDouble()));
    EXPECT_EQ(read("0.0e99999999999").toDouble(), 0.0);
    EXPECT_EQ(errorOf("[1e400]"), "line 1, column 2: number 1e400 is too large for a double");
    EXPECT_EQ(errorOf("-123456789e999"), "line 1, column 1: number -123456789e999 is too large for a double");
}

TEST(JsonReader, BareNaNAndInfinities) {
    EXPECT_TRUE(std::isnan(read("NaN").toDouble()));
    EXPECT_EQ(read("NaN").kind(), Value::Kind::Double);
    EXPECT_EQ(read("Infinity").toDouble(), std::numeric_limits<double>::infinity());
    EXPECT_EQ(read("-Infinity").toDouble(), -std::numeric_limits<double>::infinity());
    EXPECT_EQ(read("[NaN, -Infinity]").toArray()->size(), 2u);
}

TEST(JsonReader, Strings) {
    EXPECT_EQ(read("\"\"").toString(), QString());
    EXPECT_EQ(read("\"Willowbrook-5G\"").toString(), QStringLiteral("Willowbrook-5G"));
    EXPECT_EQ(read(R"("a\"b\\c\/d\be\ff\ng\rh\ti")").toString(), QStringLiteral("a\"b\\c/d\be\ff\ng\rh\ti"));
    EXPECT_EQ(read(R"("\u00e9\u20AC")").toString(), QStringLiteral("é€"));
    EXPECT_EQ(read(R"("\ud83d\ude00")").toString(), QStringLiteral("😀"));
    EXPECT_EQ(read("\"Café ☕ 😀\"").toString(), QStringLiteral("Café ☕ 😀"));
    const QString withNul = read(R"("a\u0000b")").toString();
    EXPECT_EQ(withNul.size(), 3);
    EXPECT_EQ(withNul.at(1), QChar(0));
}

// Half a surrogate pair is kept as the one UTF-16 unit it names, as the writer escapes it, so
// that text holding one reads back as it was.
TEST(JsonReader, LoneSurrogateEscapesAreKeptAsTheirUnit) {
    EXPECT_EQ(read(R"("\ud83d")").toString(), QString(QChar(0xD83D)));
    EXPECT_EQ(read(R"("\ude00")").toString(), QString(QChar(0xDE00)));
    EXPECT_EQ(read(R"("a\ud83dA\u0041")").toString(),
              QStringLiteral("a") + QChar(0xD83D) + QStringLiteral("AA"));
    EXPECT_EQ(read(R"("\ude00\ud83d")").toString(), QString(QChar(0xDE00)) + QChar(0xD83D));
    EXPECT_EQ(read(R"("é\ud83d\ud83d\ude00€")").toString(),
              QStringLiteral("é") + QChar(0xD83D) + QStringLiteral("😀€"));
}

TEST(JsonReader, ArraysAndObjects) {
    const Value v = read(R"( { "b": [1, 2.0, "x", null, true, {}], "a": {"nested": []} } )");
    ASSERT_EQ(v.kind(), Value::Kind::Dictionary);
    const DictionaryRef d = v.toDictionary();
    EXPECT_EQ(d->keys(), (QStringList{"a", "b"}));
    const ArrayRef b = d->value("b")->toArray();
    ASSERT_EQ(b->size(), 6u);
    EXPECT_EQ((*b)[0].kind(), Value::Kind::Int);
    EXPECT_EQ((*b)[1].kind(), Value::Kind::Double);
    EXPECT_EQ((*b)[2].kind(), Value::Kind::String);
    EXPECT_EQ((*b)[3].kind(), Value::Kind::Null);
    EXPECT_EQ((*b)[4].kind(), Value::Kind::Bool);
    EXPECT_EQ((*b)[5].kind(), Value::Kind::Dictionary);
    EXPECT_TRUE(d->value("a")->toDictionary()->value("nested")->toArray()->empty());
}

TEST(JsonReader, WhitespaceAndByteOrderMark) {
    EXPECT_EQ(read(" \t\r\n 7 \n").toInt(), 7);
    EXPECT_EQ(parseJson(QByteArray("\xEF\xBB\xBF[1]")).toArray()->size(), 1u);
}

TEST(JsonReader, WhatTheWriterWritesReadsBack) {
    auto d = Dictionary::make({{"int", Value::integer(-3)},
                               {"uint", Value::unsignedInteger(std::numeric_limits<std::uint64_t>::max())},
                               {"five", Value::number(5.0)},
                               {"small", Value::number(1e-07)},
                               {"big", Value::number(1e16)},
                               {"nan", Value::number(std::numeric_limits<double>::quiet_NaN())},
                               {"inf", Value::number(-std::numeric_limits<double>::infinity())},
                               {"text", Value::string("tab\there \"quoted\" \x01")},
                               {"list", Value::array(makeArray({Value::null(), Value::boolean(false)}))}});
    const Value original = Value::dictionary(d);
    EXPECT_EQ(parseJson(toJson(original)), original);
}

TEST(JsonReader, ErrorsNameLineAndColumn) {
    EXPECT_EQ(errorOf("{\n  \"a\": 1,\n  \"b\": 2 \"c\": 3\n}"),
              "line 3, column 10: expected ',' or '}', found '\"'");
    EXPECT_EQ(errorOf("[1, 2"), "line 1, column 6: expected ',' or ']', found the end of the text");
    EXPECT_EQ(errorOf("[1 2]"), "line 1, column 4: expected ',' or ']', found '2'");
    EXPECT_EQ(errorOf("{\"a\" 1}"), "line 1, column 6: expected ':' after the key, found '1'");
    EXPECT_EQ(errorOf("{a: 1}"), "line 1, column 2: expected a key in double quotes, found 'a'");
    EXPECT_EQ(errorOf("{'a': 1}"), "line 1, column 2: expected a key in double quotes, found '''");
}

TEST(JsonReader, ColumnsCountCharactersNotBytes) {
    EXPECT_EQ(errorOf("[\"é☕😀\", x]"), "line 1, column 9: expected a value, found 'x'");
    EXPECT_EQ(errorOf("[1,\r\n x]"), "line 2, column 2: expected a value, found 'x'");
}

TEST(JsonReader, EmptyAndTrailingText) {
    EXPECT_EQ(errorOf(""), "line 1, column 1: expected a value, found the end of the text");
    EXPECT_EQ(errorOf("   \n "), "line 2, column 2: expected a value, found the end of the text");
    EXPECT_EQ(errorOf("{} {}"), "line 1, column 4: unexpected '{' after the value");
    EXPECT_EQ(errorOf("truex"), "line 1, column 5: unexpected 'x' after the value");
    EXPECT_EQ(errorOf("1 2"), "line 1, column 3: unexpected '2' after the value");
}

TEST(JsonReader, TrailingCommasAndCommentsAreErrors) {
    EXPECT_EQ(errorOf("[1,]"), "line 1, column 4: expected a value, found ']'");
    EXPECT_EQ(errorOf("{\"a\": 1,}"), "line 1, column 9: expected a key in double quotes, found '}'");
    EXPECT_EQ(errorOf("// note\n1"), "line 1, column 1: expected a value, found '/'");
    EXPECT_EQ(errorOf("[,1]"), "line 1, column 2: expected a value, found ','");
}

TEST(JsonReader, BadLiterals) {
    EXPECT_EQ(errorOf("tru"), "line 1, column 1: expected a value, found 't'");
    EXPECT_EQ(errorOf("None"), "line 1, column 1: expected a value, found 'N'");
    EXPECT_EQ(errorOf("nan"), "line 1, column 1: expected a value, found 'n'");
    EXPECT_EQ(errorOf("+1"), "line 1, column 1: expected a value, found '+'");
    EXPECT_EQ(errorOf("-Inf"), "line 1, column 1: expected a digit after '-'");
}

TEST(JsonReader, BadNumbers) {
    EXPECT_EQ(errorOf("01"), "line 1, column 1: numbers must not have leading zeros");
    EXPECT_EQ(errorOf("[-007]"), "line 1, column 2: numbers must not have leading zeros");
    EXPECT_EQ(errorOf("1."), "line 1, column 3: expected a digit after the decimal point");
    EXPECT_EQ(errorOf(".5"), "line 1, column 1: expected a value, found '.'");
    EXPECT_EQ(errorOf("1e"), "line 1, column 3: expected a digit in the exponent");
    EXPECT_EQ(errorOf("1e+"), "line 1, column 4: expected a digit in the exponent");
    EXPECT_EQ(errorOf("-"), "line 1, column 1: expected a digit after '-'");
    EXPECT_EQ(errorOf("0x10"), "line 1, column 2: unexpected 'x' after the value");
}

TEST(JsonReader, BadStrings) {
    EXPECT_EQ(errorOf("[\"abc"), "line 1, column 2: the string starting here is not closed");
    EXPECT_EQ(errorOf("\"a\nb\""), "line 1, column 3: control character U+000A must be escaped in a string");
    EXPECT_EQ(errorOf("\"a\tb\""), "line 1, column 3: control character U+0009 must be escaped in a string");
    EXPECT_EQ(errorOf(R"("bad \x escape")"), "line 1, column 6: unknown escape \\x in a string");
    EXPECT_EQ(errorOf(R"("\u12G4")"), "line 1, column 2: \\u must be followed by four hex digits");
    EXPECT_EQ(errorOf(R"("\u12")"), "line 1, column 2: \\u must be followed by four hex digits");
    EXPECT_EQ(errorOf(R"("\ud83d\u12G4")"), "line 1, column 8: \\u must be followed by four hex digits");
    EXPECT_EQ(errorOf("\"\\"), "line 1, column 1: the string starting here is not closed");
}

TEST(JsonReader, InvalidUtf8IsAnError) {
    EXPECT_EQ(errorOf(QByteArray("\"ab\xFF\"")), "line 1, column 4: invalid UTF-8 byte 0xff");
    EXPECT_EQ(errorOf(QByteArray("\"\xC3\"")), "line 1, column 2: invalid UTF-8 sequence");
    EXPECT_EQ(errorOf(QByteArray("\"\xC0\xAF\"")), "line 1, column 2: invalid UTF-8 byte 0xc0");
    EXPECT_EQ(errorOf(QByteArray("\"\xE0\x80\xAF\"")),
              "line 1, column 2: invalid UTF-8 sequence");  // overlong
    EXPECT_EQ(errorOf(QByteArray("\"\xED\xA0\x80\"")),
              "line 1, column 2: invalid UTF-8 sequence");  // surrogate
    EXPECT_EQ(errorOf(QByteArray("[\xC3\xA9]")),
              "line 1, column 2: expected a value, found a non-ASCII character");
}

TEST(JsonReader, DuplicateKeysNameTheirPath) {
    EXPECT_EQ(errorOf("{\"a\": 1, \"a\": 2}"), "line 1, column 10: duplicate key \"a\" (a)");
    EXPECT_EQ(errorOf("{\"tests\": {\"16\": [{}, {\"info\": {\"x\": 1,\n \"x\": 2}}]}}"),
              "line 2, column 2: duplicate key \"x\" (tests.\"16\"[1].info.x)");
    EXPECT_EQ(errorOf("{\"a b\": {\"q\\\"\": 1, \"q\\\"\": 1}}"),
              "line 1, column 20: duplicate key \"q\\\"\" (\"a b\".\"q\\\"\")");
}

TEST(JsonReader, ControlCharactersInAKeyAreEscapedInMessages) {
    // A NUL would cut the message short where it is read as a C string; a newline would break it.
    const std::string message = errorOf("{\"a\\u0000b\": {\"x\\ny\": 1, \"x\\ny\": 2}}");
    EXPECT_EQ(message, "line 1, column 26: duplicate key \"x\\u000ay\" (\"a\\u0000b\".\"x\\u000ay\")");
    EXPECT_EQ(message.find('\0'), std::string::npos);
}

TEST(JsonReader, HalvesOfSurrogatePairsInAKeyAreEscapedInMessages) {
    // Half a pair has no UTF-8 form: written as it is, it would turn into another character in
    // the message's UTF-8 text. A whole pair stays the character it is.
    const QByteArray text = R"({"a\ud800😀": {"b\ude00": 1, "b\ude00": 2}})";
    QString message;
    ASSERT_FALSE(tryParseJson(text, &message));
    EXPECT_EQ(message,
              QStringLiteral(R"(line 1, column 29: duplicate key "b\ude00" ("a\ud800😀"."b\ude00"))"));
    try {
        parseJson(text);
        FAIL() << "no error";
    } catch (const JsonParseError& error) {
        EXPECT_EQ(QString::fromUtf8(error.what()), error.message());
    }
}

TEST(JsonReader, DepthIsLimited) {
    const QByteArray ok = QByteArray(256, '[') + QByteArray(256, ']');
    EXPECT_EQ(errorOf(ok), "(no error)");
    const QByteArray deep = QByteArray(257, '[') + QByteArray(257, ']');
    EXPECT_EQ(errorOf(deep), "line 1, column 257: arrays and objects nest deeper than 256 levels");
    // Far deeper input fails the same way instead of exhausting the stack.
    const QByteArray hostile = QByteArray(1000000, '[');
    EXPECT_EQ(errorOf(hostile), "line 1, column 257: arrays and objects nest deeper than 256 levels");
    JsonReadOptions shallow;
    shallow.maxDepth = 2;
    EXPECT_EQ(errorOf("{\"a\": [{}]}", shallow),
              "line 1, column 8: arrays and objects nest deeper than 2 levels");
    EXPECT_EQ(errorOf("{\"a\": [1]}", shallow), "(no error)");
}

TEST(JsonReader, ParseJsonThrowsWithParts) {
    try {
        parseJson("[1,\n  }");
        FAIL() << "no error raised";
    } catch (const JsonParseError& e) {
        EXPECT_EQ(e.line(), 2);
        EXPECT_EQ(e.column(), 3);
        EXPECT_EQ(e.reason(), QStringLiteral("expected a value, found '}'"));
        EXPECT_EQ(e.position(), QStringLiteral("line 2, column 3"));
        EXPECT_STREQ(e.what(), "line 2, column 3: expected a value, found '}'");
    }
}

TEST(JsonReader, PathNotation) {
    EXPECT_EQ(jsonPathWithKey(QString(), "tests"), QStringLiteral("tests"));
    EXPECT_EQ(jsonPathWithKey("tests", "16"), QStringLiteral("tests.\"16\""));
    EXPECT_EQ(jsonPathWithIndex("tests.\"16\"", 1), QStringLiteral("tests.\"16\"[1]"));
    EXPECT_EQ(jsonPathWithKey("x", "$record"), QStringLiteral("x.$record"));
    EXPECT_EQ(jsonPathWithKey("x", "2GHzChannel"), QStringLiteral("x.\"2GHzChannel\""));
    EXPECT_EQ(jsonPathWithKey("x", "Willowbrook 5G"), QStringLiteral("x.\"Willowbrook 5G\""));
    EXPECT_EQ(jsonPathWithIndex(QString(), 3), QStringLiteral("[3]"));
}
