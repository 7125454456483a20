// Scenario files of the simulated Wi-Fi device: what they say, and the exact complaint for each
// kind of mistake (the bad files themselves are data: unittests/data/bad-scenarios).
#include "platform/foundation/DateFormatter.h"
#include "platform/foundation/Json.h"
#include "platform/wifi/WiFiRecords.h"
#include "platform/wifi/sim/Scenario.h"
#include "unittests/support/MessageCases.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <map>
#include <memory>
#include <optional>
#include <set>

using namespace platform;
using namespace platform::sim;

namespace {

Scenario parse(const char* json) {
    return parseScenario(QByteArray(json), QStringLiteral("test.json"));
}

// The single result of a one-answer test ID.
// The single result of the test's answer at index (its first by default), or nullptr.
DiagnosticsTestResultRef resultOf(const Scenario& s, std::int64_t id, std::size_t index = 0) {
    const auto it = s.tests.find(id);
    if (it == s.tests.end() || it->second.size() <= index || !it->second[index].results ||
        it->second[index].results->size() != 1) {
        return nullptr;
    }
    return it->second[index].results->front();
}

// The single result of a one-answer test ID in the answers of one network.
DiagnosticsTestResultRef onlyNetworkResult(const Scenario& s, const QString& network, std::int64_t id) {
    const auto tests = s.networkTests.find(network);
    if (tests == s.networkTests.end()) {
        return nullptr;
    }
    const auto it = tests->second.find(id);
    if (it == tests->second.end() || it->second.size() != 1 || !it->second[0].results ||
        it->second[0].results->size() != 1) {
        return nullptr;
    }
    return it->second[0].results->front();
}

Value infoValue(const DiagnosticsTestResultRef& r, const char* key) {
    if (!r || !r->info) {
        return Value::string("(no info)");
    }
    return r->info->value(QLatin1String(key)).value_or(Value::string("(missing)"));
}

QString scenarioPath(const char* name) {
    return QStringLiteral(WIFIPROFILE_SOURCE_DIR "/scenarios/") + QLatin1String(name);
}

}  // namespace

// ----- good files ------------------------------------------------------------------------------

TEST(Scenario, EmptyObjectGivesDefaults) {
    const Scenario s = parse("{}");
    EXPECT_EQ(s.file, QStringLiteral("test.json"));
    EXPECT_TRUE(s.description.isEmpty());
    EXPECT_TRUE(s.device.wifiRadio);
    EXPECT_TRUE(s.device.managerClient);
    EXPECT_EQ(s.device.devices, 1);
    EXPECT_TRUE(s.device.power);
    EXPECT_TRUE(s.device.capabilities.empty());
    ASSERT_EQ(s.status.size(), 1u);
    EXPECT_EQ(s.status[0].kind, StatusAnswer::Kind::NotJoined);
    EXPECT_TRUE(s.tests.empty());
    EXPECT_EQ(s.defaultLatency.count(), 0);
    EXPECT_TRUE(s.events.empty());
    EXPECT_FALSE(s.automation.has_value());
    // The neutral answer for unnamed IDs: no error, one result, false, passed, no info.
    EXPECT_EQ(s.defaultAnswer.error, nullptr);
    ASSERT_TRUE(s.defaultAnswer.results.has_value());
    ASSERT_EQ(s.defaultAnswer.results->size(), 1u);
    EXPECT_FALSE(s.defaultAnswer.results->front()->result);
    EXPECT_TRUE(s.defaultAnswer.results->front()->didPass);
    EXPECT_EQ(s.defaultAnswer.results->front()->info, nullptr);
    EXPECT_FALSE(s.defaultAnswer.latency.has_value());
}

TEST(Scenario, DescriptionLatencyAndDevice) {
    const Scenario s = parse(R"({"description": "A flat", "latencyMs": 40,
        "device": {"wifiRadio": false, "managerClient": false, "devices": 2, "power": false,
                   "capabilities": {"wapi": true, "other": false}}})");
    EXPECT_EQ(s.description, QStringLiteral("A flat"));
    EXPECT_EQ(s.defaultLatency.count(), 40);
    EXPECT_FALSE(s.device.wifiRadio);
    EXPECT_FALSE(s.device.managerClient);
    EXPECT_EQ(s.device.devices, 2);
    EXPECT_FALSE(s.device.power);
    EXPECT_EQ(s.device.capabilities, (std::map<QString, bool>{{"wapi", true}, {"other", false}}));
}

TEST(Scenario, StatusForms) {
    const Scenario s = parse(R"({"status": [
        {"ssid": "Home", "bssid": "aa:bb:cc:dd:ee:ff", "latencyMs": 5},
        {"joined": false},
        {"wifi": null},
        {"error": {"code": 16, "domain": "WiFiManager", "text": "busy"}},
        {"error": {"code": 3}},
        {"joined": true, "ssid": "Home", "bssid": "aa:bb:cc:dd:ee:ff", "comment": "back again"}]})");
    ASSERT_EQ(s.status.size(), 6u);
    EXPECT_EQ(s.status[0].kind, StatusAnswer::Kind::Joined);
    EXPECT_EQ(s.status[0].ssid, QStringLiteral("Home"));
    EXPECT_EQ(s.status[0].bssid, QStringLiteral("aa:bb:cc:dd:ee:ff"));
    EXPECT_EQ(s.status[0].latency, std::chrono::milliseconds(5));
    EXPECT_EQ(s.status[1].kind, StatusAnswer::Kind::NotJoined);
    EXPECT_FALSE(s.status[1].latency.has_value());
    EXPECT_EQ(s.status[2].kind, StatusAnswer::Kind::NoWiFiStatus);
    EXPECT_EQ(s.status[3].kind, StatusAnswer::Kind::Error);
    EXPECT_EQ(s.status[3].error->code, 16);
    EXPECT_EQ(s.status[3].error->domain, QStringLiteral("WiFiManager"));
    EXPECT_EQ(s.status[3].error->text, QStringLiteral("busy"));
    EXPECT_EQ(s.status[4].error->domain, QStringLiteral("WiFiDiagnostics"));
    EXPECT_EQ(s.status[4].error->text, QString());
    EXPECT_EQ(s.status[5].kind, StatusAnswer::Kind::Joined);
}

TEST(Scenario, SingleStatusAnswerNeedsNoList) {
    const Scenario s = parse(R"({"status": {"ssid": "Home", "bssid": "01:02:03:04:05:06"}})");
    ASSERT_EQ(s.status.size(), 1u);
    EXPECT_EQ(s.status[0].ssid, QStringLiteral("Home"));
}

TEST(Scenario, TestAnswerShortForm) {
    const Scenario s = parse(R"({"tests": {"16": {"result": true, "didPass": false, "latencyMs": 7,
                                                   "info": {"IPv4ConfigMethod": "Manual"}}}})");
    ASSERT_EQ(s.tests.count(16), 1u);
    const TestAnswer& a = s.tests.at(16).at(0);
    EXPECT_EQ(a.error, nullptr);
    EXPECT_EQ(a.latency, std::chrono::milliseconds(7));
    ASSERT_TRUE(a.results.has_value());
    ASSERT_EQ(a.results->size(), 1u);
    EXPECT_TRUE(a.results->front()->result);
    EXPECT_FALSE(a.results->front()->didPass);
    EXPECT_EQ(*a.results->front()->info, *Dictionary::make({{"IPv4ConfigMethod", Value::string("Manual")}}));
}

TEST(Scenario, InfoNullOrMissingMeansNoInfo) {
    const Scenario s = parse(R"({"tests": {"1": {"result": true, "didPass": true, "info": null},
                                           "2": {"result": true, "didPass": true},
                                           "3": {"result": true, "didPass": true, "info": {}}}})");
    EXPECT_EQ(resultOf(s, 1)->info, nullptr);
    EXPECT_EQ(resultOf(s, 2)->info, nullptr);
    ASSERT_NE(resultOf(s, 3)->info, nullptr);
    EXPECT_TRUE(resultOf(s, 3)->info->empty());
}

TEST(Scenario, ExplicitResultsArrays) {
    const Scenario s = parse(R"({"tests": {
        "1": {"results": []},
        "2": {"results": null},
        "3": {"results": [null]},
        "4": {"results": [{"result": true, "didPass": true}, {"result": false, "didPass": false, "info": {"a": 1}}]},
        "5": {"results": [null, {"result": true, "didPass": true}]}}})");
    ASSERT_TRUE(s.tests.at(1)[0].results.has_value());
    EXPECT_TRUE(s.tests.at(1)[0].results->empty());
    EXPECT_FALSE(s.tests.at(2)[0].results.has_value());
    ASSERT_TRUE(s.tests.at(3)[0].results.has_value());
    ASSERT_EQ(s.tests.at(3)[0].results->size(), 1u);
    EXPECT_EQ(s.tests.at(3)[0].results->front(), nullptr);
    ASSERT_EQ(s.tests.at(4)[0].results->size(), 2u);
    EXPECT_TRUE((*s.tests.at(4)[0].results)[0]->result);
    EXPECT_FALSE((*s.tests.at(4)[0].results)[1]->didPass);
    EXPECT_EQ((*s.tests.at(4)[0].results)[1]->info->value("a"), Value::integer(1));
    EXPECT_EQ((*s.tests.at(5)[0].results)[0], nullptr);
    EXPECT_NE((*s.tests.at(5)[0].results)[1], nullptr);
}

TEST(Scenario, ErrorsAloneOrNextToResults) {
    const Scenario s = parse(R"({"tests": {
        "16": {"error": {"code": 5, "domain": "WiFiDiagnostics", "text": "test timed out"}},
        "14": {"error": {"code": 0}, "result": true, "didPass": true},
        "15": {"error": {"code": 0}, "results": []}}})");
    const TestAnswer& failed = s.tests.at(16)[0];
    ASSERT_NE(failed.error, nullptr);
    EXPECT_EQ(failed.error->code, 5);
    EXPECT_EQ(failed.error->text, QStringLiteral("test timed out"));
    EXPECT_FALSE(failed.results.has_value());
    const TestAnswer& zero = s.tests.at(14)[0];
    ASSERT_NE(zero.error, nullptr);
    EXPECT_EQ(zero.error->code, 0);
    ASSERT_TRUE(zero.results.has_value());
    EXPECT_TRUE(zero.results->front()->result);
    EXPECT_EQ(s.tests.at(15)[0].error->code, 0);
    EXPECT_TRUE(s.tests.at(15)[0].results->empty());
}

TEST(Scenario, SuccessiveAnswersKeepTheirOrder) {
    const Scenario s = parse(R"({"tests": {"31": [
        {"result": true, "didPass": true},
        {"error": {"code": 9}},
        {"results": []}]}})");
    const auto& answers = s.tests.at(31);
    ASSERT_EQ(answers.size(), 3u);
    EXPECT_TRUE(answers[0].results->front()->result);
    EXPECT_EQ(answers[1].error->code, 9);
    EXPECT_TRUE(answers[2].results->empty());
}

TEST(Scenario, DefaultAnswerReplacesTheNeutralOne) {
    const Scenario s = parse(R"({"defaultAnswer": {"error": {"code": 45, "text": "not supported"}}})");
    ASSERT_NE(s.defaultAnswer.error, nullptr);
    EXPECT_EQ(s.defaultAnswer.error->code, 45);
    EXPECT_FALSE(s.defaultAnswer.results.has_value());
}

TEST(Scenario, PlainInfoValuesKeepTheirKinds) {
    const Scenario s = parse(R"({"tests": {"1": {"result": true, "didPass": true, "info": {
        "b": true, "i": -54, "d": 5.0, "s": "US", "n": null, "a": [1, "x", [2.5]], "o": {"k": {"z": false}},
        "nan": NaN, "big": 18446744073709551615}}}})");
    const DictionaryRef info = resultOf(s, 1)->info;
    EXPECT_EQ(info->value("b"), Value::boolean(true));
    EXPECT_EQ(info->value("i"), Value::integer(-54));
    EXPECT_EQ(info->value("d"), Value::number(5.0));
    EXPECT_EQ(info->value("s"), Value::string("US"));
    EXPECT_EQ(info->value("n"), Value::null());
    EXPECT_EQ(info->value("a"), Value::array(makeArray({Value::integer(1), Value::string("x"),
                                                        Value::array(makeArray({Value::number(2.5)}))})));
    EXPECT_EQ(info->value("o"),
              Value::dictionary(Dictionary::make(
                  {{"k", Value::dictionary(Dictionary::make({{"z", Value::boolean(false)}}))}})));
    EXPECT_TRUE(std::isnan(info->value("nan")->toDouble()));
    EXPECT_EQ(info->value("big"), Value::unsignedInteger(18446744073709551615ULL));
}

TEST(Scenario, TaggedInfoValues) {
    const Scenario s = parse(R"({"tests": {"1": {"result": true, "didPass": true, "info": {
        "nan": {"$double": "NaN"}, "inf": {"$double": "Infinity"}, "ninf": {"$double": "-Infinity"},
        "five": {"$double": 5}, "u": {"$unsigned": 3}, "ubig": {"$unsigned": 18446744073709551615},
        "when": {"$date": "2026-11-20T10:00:00Z"}, "offset": {"$date": "2026-11-20T12:00:00.500+02:00"},
        "list": [{"$unsigned": 0}]}}}})");
    const DictionaryRef info = resultOf(s, 1)->info;
    EXPECT_EQ(info->value("nan")->kind(), Value::Kind::Double);
    EXPECT_TRUE(std::isnan(info->value("nan")->toDouble()));
    EXPECT_EQ(info->value("inf"), Value::number(std::numeric_limits<double>::infinity()));
    EXPECT_EQ(info->value("ninf"), Value::number(-std::numeric_limits<double>::infinity()));
    EXPECT_EQ(info->value("five"), Value::number(5.0));
    EXPECT_EQ(info->value("u"), Value::unsignedInteger(3));
    EXPECT_EQ(info->value("ubig"), Value::unsignedInteger(18446744073709551615ULL));
    EXPECT_EQ(info->value("when"), Value::date(Date::fromSecondsSince1970(1795168800.0)));
    EXPECT_EQ(info->value("offset"), Value::date(Date::fromSecondsSince1970(1795168800.5)));
    EXPECT_EQ(info->value("list"), Value::array(makeArray({Value::unsignedInteger(0)})));
}

TEST(Scenario, ScanAndChannelRecords) {
    const Scenario s = parse(R"({"tests": {"1": {"result": true, "didPass": true, "info": {
        "ScanResults": [
            {"$record": "WiFiScanResult", "ssidString": "Home", "bssid": "aa", "rssi": -60, "channel": 36},
            {"$record": "WiFiScanResult", "bssid": "bb", "rssi": -80},
            {"$record": "WiFiScanResult", "ssidString": null, "bssid": "cc", "rssi": -70, "channel": null}],
        "CurrentChannel": {"$record": "WiFiChannel", "channel": 44, "band": 5, "width": 80},
        "Bare": {"$record": "WiFiChannel", "channel": 1}}}}})");
    const DictionaryRef info = resultOf(s, 1)->info;
    const ArrayRef scans = info->value("ScanResults")->toArray();
    ASSERT_EQ(scans->size(), 3u);
    const auto first = (*scans)[0].recordAs<WiFiScanResult>();
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(first->ssidString, QStringLiteral("Home"));
    EXPECT_EQ(first->bssid, QStringLiteral("aa"));
    EXPECT_EQ(first->rssi, -60);
    EXPECT_EQ(first->channel, 36);
    const auto hidden = (*scans)[1].recordAs<WiFiScanResult>();
    EXPECT_FALSE(hidden->ssidString.has_value());
    EXPECT_FALSE(hidden->channel.has_value());
    const auto nulls = (*scans)[2].recordAs<WiFiScanResult>();
    EXPECT_FALSE(nulls->ssidString.has_value());
    EXPECT_FALSE(nulls->channel.has_value());
    const auto channel = info->value("CurrentChannel")->recordAs<WiFiChannel>();
    ASSERT_NE(channel, nullptr);
    EXPECT_EQ(channel->channel, 44);
    EXPECT_EQ(channel->band, 5);
    EXPECT_EQ(channel->width, 80);
    const auto bare = info->value("Bare")->recordAs<WiFiChannel>();
    EXPECT_EQ(bare->channel, 1);
    EXPECT_FALSE(bare->band.has_value());
    EXPECT_FALSE(bare->width.has_value());
}

TEST(Scenario, PingRecords) {
    const Scenario s = parse(R"({"tests": {"3": {"result": true, "didPass": true, "info": {
        "PingResult": {"$record": "WiFiPingResult", "interfaceName": "wlan0", "count": 10, "packetLoss": 0,
                       "min": 1.5, "max": {"$double": "Infinity"}, "avg": NaN, "stddev": {"$double": "NaN"},
                       "timestamp": 816861492.0},
        "Dated": {"$record": "WiFiPingResult", "count": 0, "packetLoss": 1.0, "min": 0, "max": 0, "avg": 0,
                  "stddev": 0, "timestamp": {"$date": "2026-11-20T09:58:12Z"}}}}}})");
    const DictionaryRef info = resultOf(s, 3)->info;
    const auto ping = info->value("PingResult")->recordAs<WiFiPingResult>();
    ASSERT_NE(ping, nullptr);
    EXPECT_EQ(ping->interfaceName, QStringLiteral("wlan0"));
    EXPECT_EQ(ping->count, 10);
    EXPECT_EQ(ping->packetLoss, 0.0);
    EXPECT_EQ(ping->min, 1.5);
    EXPECT_TRUE(std::isinf(ping->max));
    EXPECT_TRUE(std::isnan(ping->avg));
    EXPECT_TRUE(std::isnan(ping->stddev));
    EXPECT_EQ(ping->timestamp, 816861492.0);
    const auto dated = info->value("Dated")->recordAs<WiFiPingResult>();
    EXPECT_FALSE(dated->interfaceName.has_value());
    EXPECT_EQ(dated->timestamp, 816861492.0);
}

TEST(Scenario, NetworkProfileRecords) {
    const Scenario s = parse(R"({"tests": {"46": {"result": false, "didPass": true, "info": {
        "A": {"$record": "NetworkProfile", "ssidString": "Home", "security": 4, "isPasspoint": false,
              "isEnabled": true, "isCaptive": false, "isHidden": true, "isMultiAP": true,
              "lastJoinedTimestamp": "2026-11-20T07:42:13Z"},
        "B": {"$record": "NetworkProfile", "security": -1, "isPasspoint": true, "isEnabled": false,
              "isCaptive": true, "isHidden": false, "isMultiAP": false,
              "lastJoinedTimestamp": {"$date": "2026-11-20T07:42:13Z"}},
        "C": {"$record": "NetworkProfile", "security": 0, "isPasspoint": false, "isEnabled": false,
              "isCaptive": false, "isHidden": false, "isMultiAP": false}}}}})");
    const DictionaryRef info = resultOf(s, 46)->info;
    const auto a = info->value("A")->recordAs<NetworkProfile>();
    ASSERT_NE(a, nullptr);
    EXPECT_EQ(a->ssidString, QStringLiteral("Home"));
    EXPECT_EQ(a->security, 4);
    EXPECT_FALSE(a->isPasspoint);
    EXPECT_TRUE(a->isEnabled);
    EXPECT_FALSE(a->isCaptive);
    EXPECT_TRUE(a->isHidden);
    EXPECT_TRUE(a->isMultiAP);
    ASSERT_TRUE(a->lastJoinedTimestamp.has_value());
    EXPECT_EQ(iso8601String(*a->lastJoinedTimestamp), QStringLiteral("2026-11-20T07:42:13Z"));
    const auto b = info->value("B")->recordAs<NetworkProfile>();
    EXPECT_FALSE(b->ssidString.has_value());
    EXPECT_EQ(b->security, -1);
    EXPECT_TRUE(b->isPasspoint);
    EXPECT_TRUE(b->isCaptive);
    EXPECT_EQ(b->lastJoinedTimestamp, a->lastJoinedTimestamp);
    EXPECT_FALSE(info->value("C")->recordAs<NetworkProfile>()->lastJoinedTimestamp.has_value());
}

TEST(Scenario, Events) {
    const Scenario s = parse(R"({
        "events": [{"atMs": 1500, "wifiPower": false}, {"atMs": 0, "wifiPower": true, "comment": "x"}],
        "automation": [{"tap": "YES"}]})");
    ASSERT_EQ(s.events.size(), 2u);
    EXPECT_EQ(s.events[0].at.count(), 1500);
    EXPECT_EQ(s.events[0].wifiPower, false);
    EXPECT_EQ(s.events[1].at.count(), 0);
    EXPECT_EQ(s.events[1].wifiPower, true);
    // The user actions are the host's: kept as written, with their place.
    ASSERT_TRUE(s.automation.has_value());
    EXPECT_EQ(s.automation->path(), QStringLiteral("automation"));
    EXPECT_EQ(s.automation->kind(), Value::Kind::Array);
}

TEST(Scenario, TypedValueFromJsonIsTheInfoConversion) {
    const Value v =
        typedValueFromJson(Value::dictionary(Dictionary::make({{"$unsigned", Value::integer(4)}})),
                           "golden.json", "device.count");
    EXPECT_EQ(v, Value::unsignedInteger(4));
    try {
        typedValueFromJson(Value::dictionary(Dictionary::make({{"$unsigned", Value::integer(-4)}})),
                           "golden.json", "device.count");
        FAIL() << "no error raised";
    } catch (const ScenarioError& e) {
        EXPECT_EQ(e.file(), QStringLiteral("golden.json"));
        EXPECT_EQ(e.place(), QStringLiteral("device.count.$unsigned"));
        EXPECT_EQ(e.why(), QStringLiteral("an unsigned integer cannot be negative, got -4"));
    }
}

// ----- bad files: each names the file, the place and the reason -------------------------------
//
// Each case is a whole scenario file, unittests/data/bad-scenarios/<name>.json, next to
// <name>.expected holding the exact message that reading it raises. With WIFIPROFILE_UPDATE_GOLDEN=1
// set the test writes what the reader says into the .expected files instead; review the diff.

namespace {

const QString kBadScenarioDir = QStringLiteral(WIFIPROFILE_SOURCE_DIR "/unittests/data/bad-scenarios");

QByteArray readFile(const QString& path) {
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

// The message that reading the case's file raises, the file named as itself; nullopt when the file
// is read without error.
std::optional<std::string> messageOfBadScenario(const QString& name) {
    const QString file = name + QStringLiteral(".json");
    try {
        parseScenario(readFile(kBadScenarioDir + u'/' + file), file);
    } catch (const ScenarioError& e) {
        return std::string(e.what());
    }
    return std::nullopt;
}

}  // namespace

class BadScenarioFile : public ::testing::TestWithParam<std::string> {};

TEST_P(BadScenarioFile, RaisesTheExpectedMessage) {
    testsupport::expectMessageOfCase(kBadScenarioDir, GetParam(),
                                     messageOfBadScenario(QString::fromStdString(GetParam())));
}

INSTANTIATE_TEST_SUITE_P(Data, BadScenarioFile,
                         ::testing::ValuesIn(testsupport::caseFiles(kBadScenarioDir,
                                                                    QStringLiteral(".json"))),
                         testsupport::caseTestName);

TEST(BadScenarioFiles, EveryCaseIsComplete) {
    testsupport::expectCasesComplete(kBadScenarioDir);
}

// ----- files ---------------------------------------------------------------------------------

TEST(ScenarioFiles, MissingFileIsNamed) {
    try {
        loadScenarioFile("/nonexistent/scenario.json");
        FAIL() << "no error raised";
    } catch (const ScenarioError& e) {
        EXPECT_EQ(e.file(), QStringLiteral("/nonexistent/scenario.json"));
        EXPECT_EQ(e.place(), QString());
        EXPECT_EQ(std::string(e.what()),
                  "/nonexistent/scenario.json: cannot be read: No such file or directory");
    }
}

TEST(ScenarioFiles, ErrorsInAFileNameThePath) {
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const QString path = dir.filePath("bad.json");
    QFile f(path);
    ASSERT_TRUE(f.open(QIODevice::WriteOnly));
    f.write("{\"device\": {\"power\": 1}}");
    f.close();
    try {
        loadScenarioFile(path);
        FAIL() << "no error raised";
    } catch (const ScenarioError& e) {
        EXPECT_EQ(e.file(), path);
        EXPECT_EQ(e.place(), QStringLiteral("device.power"));
        EXPECT_EQ(e.why(), QStringLiteral("expected a boolean, got an integer"));
    }
}

// ----- the built-in scenario and the examples --------------------------------------------------

TEST(BuiltInScenario, IsTheShippedDefaultFile) {
    const Scenario builtIn = builtInScenario();
    EXPECT_EQ(builtIn.file, QStringLiteral("(built-in)"));
    const Scenario shipped = loadScenarioFile(scenarioPath("default.json"));
    EXPECT_EQ(builtIn.description, shipped.description);
    EXPECT_FALSE(builtIn.description.isEmpty());
    ASSERT_EQ(builtIn.tests.size(), shipped.tests.size());
    for (const auto& [id, answers] : shipped.tests) {
        const DiagnosticsTestResultRef a = resultOf(builtIn, id), b = resultOf(shipped, id);
        ASSERT_NE(a, nullptr) << id;
        ASSERT_NE(b, nullptr) << id;
        EXPECT_EQ(a->result, b->result) << id;
        EXPECT_EQ(a->didPass, b->didPass) << id;
        EXPECT_EQ(a->info ? toJson(*a->info) : QByteArray(), b->info ? toJson(*b->info) : QByteArray()) << id;
    }
    ASSERT_EQ(builtIn.networkTests.size(), shipped.networkTests.size());
    for (const auto& [network, tests] : shipped.networkTests) {
        ASSERT_EQ(builtIn.networkTests.count(network), 1u) << network.toStdString();
        EXPECT_EQ(builtIn.networkTests.at(network).size(), tests.size()) << network.toStdString();
        for (const auto& entry : tests) {
            const std::int64_t id = entry.first;
            const DiagnosticsTestResultRef a = onlyNetworkResult(builtIn, network, id),
                                           b = onlyNetworkResult(shipped, network, id);
            ASSERT_NE(a, nullptr) << network.toStdString() << " " << id;
            ASSERT_NE(b, nullptr) << network.toStdString() << " " << id;
            EXPECT_EQ(a->result, b->result) << network.toStdString() << " " << id;
            EXPECT_EQ(a->info ? toJson(*a->info) : QByteArray(), b->info ? toJson(*b->info) : QByteArray())
                << network.toStdString() << " " << id;
        }
    }
}

TEST(BuiltInScenario, IsAJoinedHomeDevice) {
    const Scenario s = builtInScenario();
    EXPECT_TRUE(s.device.wifiRadio);
    EXPECT_TRUE(s.device.managerClient);
    EXPECT_EQ(s.device.devices, 1);
    EXPECT_TRUE(s.device.power);
    EXPECT_FALSE(s.device.capabilities.count("wapi") && s.device.capabilities.at("wapi"));
    ASSERT_EQ(s.status.size(), 1u);
    EXPECT_EQ(s.status[0].kind, StatusAnswer::Kind::Joined);
    EXPECT_FALSE(s.status[0].ssid.endsWith("_nomap"));
    EXPECT_FALSE(s.automation.has_value());
    EXPECT_TRUE(s.events.empty());
}

TEST(BuiltInScenario, AnswersEveryTestOfTheDiagnosticWithoutError) {
    const std::set<std::int64_t> used = {14, 15, 16, 17, 22, 19, 18, 20, 47, 48, 29, 8,  34, 35,
                                         38, 39, 40, 41, 42, 43, 44, 46, 45, 36, 37, 33, 3,  6,
                                         12, 13, 7,  9,  11, 24, 25, 26, 27, 28, 32, 31, 30};
    const Scenario s = builtInScenario();
    for (const std::int64_t id : used) {
        ASSERT_EQ(s.tests.count(id), 1u) << "test " << id << " is not answered";
        EXPECT_EQ(s.tests.at(id)[0].error, nullptr) << id;
        EXPECT_NE(resultOf(s, id), nullptr) << id;
    }
    std::set<std::int64_t> named;
    for (const auto& entry : s.tests) {
        named.insert(entry.first);
    }
    EXPECT_EQ(named, used) << "the default answers IDs the diagnostic never asks for";
}

TEST(BuiltInScenario, DetailsPassTheirGates) {
    const Scenario s = builtInScenario();
    // Device: the IPv4 method shows only when the test does not pass.
    EXPECT_FALSE(resultOf(s, 14)->didPass);
    EXPECT_TRUE(infoValue(resultOf(s, 14), "IPv4ConfigMethod").isString());
    EXPECT_EQ(infoValue(resultOf(s, 19), "BTConnectedCount").kind(), Value::Kind::Int);
    EXPECT_EQ(infoValue(resultOf(s, 18), "BTPairedCount").kind(), Value::Kind::Int);
    EXPECT_EQ(infoValue(resultOf(s, 47), "PNLCount").kind(), Value::Kind::Int);
    // Current network configuration.
    EXPECT_TRUE(infoValue(resultOf(s, 34), "BeaconInterval").isNumber());
    EXPECT_TRUE(infoValue(resultOf(s, 35), "DTIMInterval").isNumber());
    for (const int id : {38, 39, 40}) {
        EXPECT_EQ(infoValue(resultOf(s, id), "Security"), Value::string("WPA2 Personal")) << id;
    }
    EXPECT_EQ(infoValue(resultOf(s, 42), "NetworkName"), Value::string(s.status[0].ssid));
    const auto profile = infoValue(resultOf(s, 46), "PreferredNetwork").recordAs<NetworkProfile>();
    ASSERT_NE(profile, nullptr);
    EXPECT_EQ(profile->ssidString, s.status[0].ssid);
    EXPECT_TRUE(profile->lastJoinedTimestamp.has_value());
    EXPECT_EQ(infoValue(resultOf(s, 36), "SupportedPHYModes").kind(), Value::Kind::Array);
    EXPECT_EQ(infoValue(resultOf(s, 37), "SupportedPHYModes").kind(), Value::Kind::Array);
    EXPECT_TRUE(resultOf(s, 33)->didPass);  // the model name shows only when the test passes
    EXPECT_TRUE(infoValue(resultOf(s, 33), "HarbexModelName").isString());
    // Connectivity: both pings pass and carry statistics from the Wi-Fi interface.
    for (const int id : {3, 6}) {
        EXPECT_TRUE(resultOf(s, id)->didPass) << id;
        const auto ping = infoValue(resultOf(s, id), "PingResult").recordAs<WiFiPingResult>();
        ASSERT_NE(ping, nullptr) << id;
        EXPECT_EQ(ping->interfaceName, QStringLiteral("wlan0"));
        EXPECT_GT(ping->count, 0);
        EXPECT_LE(ping->min, ping->avg);
        EXPECT_LE(ping->avg, ping->max);
        EXPECT_GT(ping->timestamp, 0.0);
    }
    // Radio environment.
    const char* channels[] = {"CurrentChannel", "2GHzChannel", "5GHzChannel", "5GHz40MHzChannel",
                              "5GHzNonDFSChannel"};
    for (const char* key : channels) {
        EXPECT_NE(infoValue(resultOf(s, 24), key).recordAs<WiFiChannel>(), nullptr) << key;
    }
    for (const int id : {25, 26}) {
        for (const char* key : {"2GHzChannel", "5GHzChannel", "5GHz40MHzChannel", "5GHzNonDFSChannel"}) {
            EXPECT_NE(infoValue(resultOf(s, id), key).recordAs<WiFiChannel>(), nullptr) << id << key;
        }
    }
    EXPECT_EQ(infoValue(resultOf(s, 28), "AdoptedCountryCode"), Value::string("US"));
    const std::int64_t rssi = infoValue(resultOf(s, 32), "RSSI").toInt();
    const std::int64_t noise = infoValue(resultOf(s, 32), "Noise").toInt();
    EXPECT_EQ(infoValue(resultOf(s, 32), "RSSI").kind(), Value::Kind::Int);
    EXPECT_TRUE(rssi < -30 && rssi > -90 && noise < rssi);
}

// The strongest record of each named network in a scan answer.
std::map<QString, std::shared_ptr<const WiFiScanResult>> strongestByName(
    const DiagnosticsTestResultRef& scan) {
    std::map<QString, std::shared_ptr<const WiFiScanResult>> strongest;
    for (const Value& v : *infoValue(scan, "ScanResults").toArray()) {
        const auto r = v.recordAs<WiFiScanResult>();
        if (r && r->ssidString &&
            (!strongest.count(*r->ssidString) || strongest[*r->ssidString]->rssi < r->rssi)) {
            strongest[*r->ssidString] = r;
        }
    }
    return strongest;
}

TEST(BuiltInScenario, ASecondScanChangesTheNeighbourhoodForAPullToRefresh) {
    const Scenario s = builtInScenario();
    ASSERT_EQ(s.tests.at(31).size(), 2u);
    const auto before = strongestByName(resultOf(s, 31, 0));
    const auto after = strongestByName(resultOf(s, 31, 1));
    int vanished = 0, appeared = 0, strongestChanged = 0;
    for (const auto& [name, record] : before) {
        if (!after.count(name)) {
            ++vanished;
        } else if (after.at(name)->bssid != record->bssid) {
            ++strongestChanged;
        }
    }
    for (const auto& [name, record] : after) {
        appeared += before.count(name) ? 0 : 1;
    }
    EXPECT_GE(vanished, 1);
    EXPECT_GE(appeared, 1);
    EXPECT_GE(strongestChanged, 1);
    // Both scans keep several access points of the joined network and of a neighbour's.
    for (std::size_t index : {0u, 1u}) {
        std::map<QString, int> accessPoints;
        for (const Value& v : *infoValue(resultOf(s, 31, index), "ScanResults").toArray()) {
            const auto r = v.recordAs<WiFiScanResult>();
            accessPoints[r->ssidString.value_or(QString())] += r->ssidString ? 1 : 0;
        }
        EXPECT_GE(accessPoints[s.status[0].ssid], 2) << index;
        EXPECT_GE(accessPoints["Pemberton Family"], 2) << index;
    }
}

TEST(BuiltInScenario, ScanResultsLookLikeARealNeighbourhood) {
    const Scenario s = builtInScenario();
    const DiagnosticsTestResultRef scan = resultOf(s, 31);
    EXPECT_FALSE(scan->result);  // the scan did find networks
    EXPECT_TRUE(scan->didPass);  // so the list is read
    const ArrayRef list = infoValue(scan, "ScanResults").toArray();
    ASSERT_NE(list, nullptr);
    EXPECT_GE(list->size(), 12u);
    int hidden = 0, band2 = 0, band5 = 0;
    bool joinedFound = false;
    std::set<QString> bssids;
    for (const Value& v : *list) {
        const auto r = v.recordAs<WiFiScanResult>();
        ASSERT_NE(r, nullptr);
        EXPECT_TRUE(r->rssi <= -40 && r->rssi >= -95) << r->bssid.toStdString();
        EXPECT_TRUE(bssids.insert(r->bssid).second) << "bssid twice: " << r->bssid.toStdString();
        hidden += r->ssidString ? 0 : 1;
        ASSERT_TRUE(r->channel.has_value());
        (*r->channel <= 14 ? band2 : band5) += 1;
        joinedFound |= r->bssid == s.status[0].bssid && r->ssidString == s.status[0].ssid;
    }
    EXPECT_GE(hidden, 1);
    EXPECT_GE(band2, 4);
    EXPECT_GE(band5, 4);
    EXPECT_TRUE(joinedFound) << "the joined access point is not among the scan results";

    const DiagnosticsTestResultRef hiddenScan = resultOf(s, 30);
    EXPECT_FALSE(hiddenScan->didPass);  // so the hidden networks are counted
    const ArrayRef hiddenList = infoValue(hiddenScan, "ScanResults").toArray();
    ASSERT_NE(hiddenList, nullptr);
    EXPECT_EQ(static_cast<int>(hiddenList->size()), hidden);
    for (const Value& v : *hiddenList) {
        EXPECT_FALSE(v.recordAs<WiFiScanResult>()->ssidString.has_value());
    }
}

// Each nearby network that answers for itself answers all the selected-network tests, and its
// answers agree with what the scan saw of it: its name, its channel, a signal close to the scanned
// one, and one set of PHY modes and one security type throughout.
TEST(BuiltInScenario, NearbyNetworksAgreeWithTheScan) {
    const std::set<std::int64_t> selectedIDs = {34, 38, 39, 40, 41, 42, 43, 44,
                                                46, 45, 36, 37, 33, 24, 28, 32};
    const Scenario s = builtInScenario();
    EXPECT_GE(s.networkTests.size(), 2u);
    const ArrayRef scan = infoValue(resultOf(s, 31), "ScanResults").toArray();
    ASSERT_NE(scan, nullptr);
    // Whether a channel is congested does not depend on which of its networks is asked.
    std::map<std::int64_t, bool> congested;
    const auto joinedChannel = infoValue(resultOf(s, 24), "CurrentChannel").recordAs<WiFiChannel>();
    ASSERT_NE(joinedChannel, nullptr);
    congested[joinedChannel->channel] = resultOf(s, 24)->result;
    for (const auto& [network, tests] : s.networkTests) {
        const std::string name = network.toStdString();
        EXPECT_NE(network, s.status[0].ssid) << "the joined network answers from the scenario's tests";
        std::shared_ptr<const WiFiScanResult> seen;
        for (const Value& v : *scan) {
            const auto r = v.recordAs<WiFiScanResult>();
            if (r && r->ssidString == network) {
                seen = r;
            }
        }
        ASSERT_NE(seen, nullptr) << name << " is not among the scan results";

        std::set<std::int64_t> named;
        for (const auto& entry : tests) {
            named.insert(entry.first);
            ASSERT_NE(onlyNetworkResult(s, network, entry.first), nullptr) << name << " " << entry.first;
        }
        EXPECT_EQ(named, selectedIDs) << name;

        const auto answer = [&, networkName = network](std::int64_t id) {
            return onlyNetworkResult(s, networkName, id);
        };
        EXPECT_EQ(infoValue(answer(42), "NetworkName"), Value::string(network)) << name;
        const auto channel = infoValue(answer(24), "CurrentChannel").recordAs<WiFiChannel>();
        ASSERT_NE(channel, nullptr) << name;
        EXPECT_EQ(channel->channel, seen->channel.value_or(-1)) << name;
        const auto verdict = congested.emplace(channel->channel, answer(24)->result).first;
        EXPECT_EQ(answer(24)->result, verdict->second) << name << " on channel " << channel->channel;
        const std::int64_t rssi = infoValue(answer(32), "RSSI").toInt();
        EXPECT_EQ(infoValue(answer(32), "RSSI").kind(), Value::Kind::Int) << name;
        EXPECT_LE(std::abs(rssi - seen->rssi), 3) << name;
        EXPECT_LT(infoValue(answer(32), "Noise").toInt(), rssi) << name;
        EXPECT_EQ(infoValue(answer(38), "Security"), infoValue(answer(39), "Security")) << name;
        EXPECT_EQ(infoValue(answer(38), "Security"), infoValue(answer(40), "Security")) << name;
        EXPECT_TRUE(infoValue(answer(38), "Security").isString()) << name;
        EXPECT_EQ(infoValue(answer(36), "SupportedPHYModes"), infoValue(answer(37), "SupportedPHYModes"))
            << name;
        EXPECT_EQ(infoValue(answer(28), "AdoptedCountryCode"), Value::string("US")) << name;
        // A remembered profile is of this network; the device need not remember one.
        if (answer(46)->info && answer(46)->info->value(QStringLiteral("PreferredNetwork"))) {
            const auto profile = infoValue(answer(46), "PreferredNetwork").recordAs<NetworkProfile>();
            ASSERT_NE(profile, nullptr) << name;
            EXPECT_EQ(profile->ssidString, network);
            EXPECT_TRUE(profile->lastJoinedTimestamp.has_value()) << name;
        }
        // The Harbex model name shows only for a network that passes, so only such a one has it.
        if (answer(33)->didPass) {
            EXPECT_TRUE(infoValue(answer(33), "HarbexModelName").isString()) << name;
        }
    }
}

TEST(ExampleScenarios, AllLoadAndDescribeThemselves) {
    const QDir dir(QStringLiteral(WIFIPROFILE_SOURCE_DIR "/scenarios"));
    const QStringList files = dir.entryList({"*.json"}, QDir::Files, QDir::Name);
    EXPECT_GE(files.size(), 7);
    for (const QString& name : files) {
        const Scenario s = loadScenarioFile(dir.filePath(name));
        EXPECT_FALSE(s.description.isEmpty()) << name.toStdString();
    }
}

TEST(ExampleScenarios, OddAnswersCoverTheAwkwardShapes) {
    const Scenario s = loadScenarioFile(scenarioPath("odd-answers.json"));
    bool serviceError = false, zeroCodeWithResults = false, emptyResults = false, absentArray = false,
         absentElement = false, severalResults = false, successive = false;
    for (const auto& [id, answers] : s.tests) {
        successive |= answers.size() > 1;
        for (const TestAnswer& a : answers) {
            serviceError |= a.error && a.error->code != 0;
            zeroCodeWithResults |= a.error && a.error->code == 0 && a.results && !a.results->empty();
            emptyResults |= a.results && a.results->empty();
            absentArray |= !a.error && !a.results;
            absentElement |= a.results && !a.results->empty() && a.results->front() == nullptr;
            severalResults |= a.results && a.results->size() > 1;
        }
    }
    EXPECT_TRUE(serviceError);
    EXPECT_TRUE(zeroCodeWithResults);
    EXPECT_TRUE(emptyResults);
    EXPECT_TRUE(absentArray);
    EXPECT_TRUE(absentElement);
    EXPECT_TRUE(severalResults);
    EXPECT_TRUE(successive);
    bool statusError = false;
    for (const StatusAnswer& a : s.status) {
        statusError |= a.kind == StatusAnswer::Kind::Error;
    }
    EXPECT_TRUE(statusError);
}

// ----- answers per network -----------------------------------------------------------------------

TEST(ScenarioNetworks, AnswersAreKeptPerNetworkAndID) {
    const Scenario s = parse(R"({"networks": {"Corner Cafe": {"comment": "guest network",
                                   "tests": {"34": [{"result": true, "didPass": false},
                                                    {"error": {"code": 3}}]}}}})");
    ASSERT_EQ(s.networkTests.count(QStringLiteral("Corner Cafe")), 1u);
    const auto& answers = s.networkTests.at(QStringLiteral("Corner Cafe")).at(34);
    ASSERT_EQ(answers.size(), 2u);
    ASSERT_TRUE(answers[0].results.has_value());
    EXPECT_TRUE(answers[0].results->front()->result);
    ASSERT_NE(answers[1].error, nullptr);
    EXPECT_EQ(answers[1].error->code, 3);
}

TEST(ScenarioNetworks, NamesAreKeptExactly) {
    const Scenario s = parse(R"({"networks": {"Attic-Guest": {"tests": {}}, "attic-guest": {"tests": {}},
                                              "": {"tests": {"32": {"result": true, "didPass": false}}}}})");
    ASSERT_EQ(s.networkTests.size(), 3u);
    EXPECT_TRUE(s.networkTests.at(QStringLiteral("Attic-Guest")).empty());
    EXPECT_TRUE(s.networkTests.at(QStringLiteral("attic-guest")).empty());
    EXPECT_EQ(s.networkTests.at(QString()).count(32), 1u);
    EXPECT_TRUE(s.tests.empty());  // a network's answers never become the scenario's own
}
