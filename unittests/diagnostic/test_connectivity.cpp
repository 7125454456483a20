// The seven connectivity tests of the joined network: five write their verdict alone; the two ping
// tests, when they pass, also copy the service's ping statistics into a dictionary of their own.
#include "unittests/diagnostic/TestOperationTable.h"

#include <cmath>
#include <limits>

namespace testsupport {

using Controller = wifiprofile::WiFiProfileViewController;

std::vector<Operation> connectivityOperations() {
    return {
        givenOperation("PingLAN", &Controller::runCurrentNetworkPingLANWithConfiguration, 3, "Ping LAN",
                       "pingedLAN", {pingDetail("pingLANResult")}),
        givenOperation("PingWAN", &Controller::runCurrentNetworkPingWANWithConfiguration, 6, "Ping WAN",
                       "pingedWAN", {pingDetail("pingWANResult")}),
        givenOperation("IPv4Assigned", &Controller::runCurrentNetworkIPv4AssignedWithConfiguration, 12,
                       "IPv4 Assigned", "isIPv4Assigned"),
        givenOperation("IPv6Assigned", &Controller::runCurrentNetworkIPv6AssignedWithConfiguration, 13,
                       "IPv6 Assigned", "isIPv6Assigned"),
        givenOperation("ResolveDNS", &Controller::runCurrentNetworkResolveDNSWithConfiguration, 7,
                       "Resolve DNS", "resolvedDNS"),
        givenOperation("ReachOrvane", &Controller::runCurrentNetworkReachOrvaneWithConfiguration, 9,
                       "Reach Orvane", "reachedOrvane"),
        givenOperation("RetrieveOrvane", &Controller::runCurrentNetworkRetrieveOrvaneWithConfiguration, 11,
                       "Retrieve Orvane", "retrievedOrvane"),
    };
}

namespace {

using platform::Dictionary;
using platform::DictionaryRef;
using platform::Value;
using platform::WiFiPingResult;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

INSTANTIATE_TEST_SUITE_P(Connectivity, OperationContract, ::testing::ValuesIn(connectivityOperations()),
                         operationName);

// ---- The two ping tests ----

std::vector<Operation> pingOperations() {
    const auto all = connectivityOperations();
    return {all[0], all[1]};
}

class PingStatistics : public ::testing::TestWithParam<Operation> {
  protected:
    const Operation& ping() const { return GetParam(); }
    const QString& statisticsKey() const { return GetParam().details.front().resultKey; }

    // Runs the ping test against one passing answer whose info holds record under "PingResult".
    DictionaryRef runWithRecord(const std::shared_ptr<WiFiPingResult>& record) {
        return runWithInfo(Dictionary::make({{"PingResult", Value::record(record)}}));
    }
    DictionaryRef runWithInfo(DictionaryRef info, bool result = true, bool didPass = true) {
        harness.reset();  // one simulated device at a time
        harness = std::make_unique<DiagnosticHarness>(
            scenarioAnswering(ping().testID, answer(result, didPass, info)));
        return runOperation(ping(), *harness, harness->controller->currentNetworkConfiguration);
    }
    // The ping dictionary written by the last run.
    Dictionary statistics(const DictionaryRef& results) const {
        const std::optional<Value> value = results->value(statisticsKey());
        if (!value || !value->toDictionary()) {
            ADD_FAILURE() << statisticsKey().toStdString() << " is no dictionary in "
                          << describe(*results).toStdString();
            return {};
        }
        return *value->toDictionary();
    }

    std::unique_ptr<DiagnosticHarness> harness;
};

INSTANTIATE_TEST_SUITE_P(Connectivity, PingStatistics, ::testing::ValuesIn(pingOperations()), operationName);

TEST_P(PingStatistics, APassingPingWritesTheEightEntries) {
    const auto results = runWithRecord(samplePingResult());
    EXPECT_TRUE(holds(*results, ping().verdictKey, Value::boolean(true)));
    EXPECT_TRUE(sameDictionary(statistics(results), samplePingDictionary()));
    EXPECT_EQ(harness->messages(), QStringList());
}

TEST_P(PingStatistics, AnErrorWithCodeZeroCountsAsNoError) {
    auto withCodeZero =
        answer(false, true, Dictionary::make({{"PingResult", Value::record(samplePingResult())}}));
    withCodeZero.error = platform::makeError("WiFiDiagnostics", 0, "not a failure");
    DiagnosticHarness h(scenarioAnswering(ping().testID, withCodeZero));
    const auto results = runOperation(ping(), h, h.controller->currentNetworkConfiguration);
    EXPECT_TRUE(holds(*results, ping().verdictKey, Value::boolean(false)));
    EXPECT_TRUE(sameDictionary(statistics(results), samplePingDictionary()));
}

TEST_P(PingStatistics, AFailingPingWritesItsVerdictOnlyAndLogsNothing) {
    for (const bool result : {false, true}) {
        SCOPED_TRACE(testing::Message() << "result " << result);
        const auto results =
            runWithInfo(Dictionary::make({{"PingResult", Value::record(samplePingResult())}}), result, false);
        EXPECT_TRUE(sameDictionary(*results, {{ping().verdictKey, Value::boolean(result)}}));
        EXPECT_EQ(harness->messages(), QStringList());
    }
}

TEST_P(PingStatistics, APassingPingWithoutInfoLogsInfoNotFound) {
    const auto results = runWithInfo(nullptr);
    EXPECT_TRUE(sameDictionary(*results, {{ping().verdictKey, Value::boolean(true)}}));
    EXPECT_EQ(harness->messages(), QStringList{"[ERROR] - Wi-Fi Profile: Info not found."});
}

TEST_P(PingStatistics, APassingPingWithoutAPingResultLogsIt) {
    const auto results = runWithInfo(Dictionary::make({{"Ping", Value::record(samplePingResult())}}));
    EXPECT_TRUE(sameDictionary(*results, {{ping().verdictKey, Value::boolean(true)}}));
    EXPECT_EQ(harness->messages(), QStringList{"[ERROR] - Wi-Fi Profile: PingResult not found."});
}

TEST_P(PingStatistics, APingResultOfAnotherKindCountsAsAbsent) {
    auto channel = std::make_shared<platform::WiFiChannel>();
    channel->channel = 6;
    for (const Value& notAPing : {Value::record(channel), Value::record(sampleNetworkProfile()),
                                  Value::dictionary(Dictionary::make()), Value::integer(10), Value::null()}) {
        SCOPED_TRACE(notAPing.description().toStdString());
        const auto results = runWithInfo(Dictionary::make({{"PingResult", notAPing}}));
        EXPECT_TRUE(sameDictionary(*results, {{ping().verdictKey, Value::boolean(true)}}));
        EXPECT_EQ(harness->messages(), QStringList{"[ERROR] - Wi-Fi Profile: PingResult not found."});
    }
}

TEST_P(PingStatistics, ARecordWithoutAnInterfaceNameGivesSSIDTheNullMarker) {
    auto record = samplePingResult();
    record->interfaceName.reset();
    Dictionary expected = samplePingDictionary();
    expected.set("SSID", Value::null());
    EXPECT_TRUE(sameDictionary(statistics(runWithRecord(record)), expected));
}

TEST_P(PingStatistics, ANaNAverageGivesTheNullMarker) {
    auto record = samplePingResult();
    record->avg = kNaN;
    const Dictionary written = statistics(runWithRecord(record));
    EXPECT_TRUE(holds(written, "avg", Value::null()));
    EXPECT_TRUE(holds(written, "min", Value::number(1.25)));
}

TEST_P(PingStatistics, ANaNPacketLossAndDeviationGiveTheNullMarker) {
    auto record = samplePingResult();
    record->packetLoss = kNaN;
    record->stddev = kNaN;
    Dictionary expected = samplePingDictionary();
    expected.set("packetLoss", Value::null());
    expected.set("stddev", Value::null());
    EXPECT_TRUE(sameDictionary(statistics(runWithRecord(record)), expected));
}

TEST_P(PingStatistics, ANaNMinimumOrMaximumStaysANaNDouble) {
    auto record = samplePingResult();
    record->min = kNaN;
    record->max = kNaN;
    const Dictionary written = statistics(runWithRecord(record));
    for (const char* key : {"min", "max"}) {
        const std::optional<Value> value = written.value(key);
        ASSERT_TRUE(value.has_value()) << key;
        EXPECT_EQ(value->kind(), Value::Kind::Double) << key;
        EXPECT_TRUE(std::isnan(value->toDouble())) << key;
    }
}

TEST_P(PingStatistics, EveryStatisticIsNaNAndTheDictionaryStillHasEightEntries) {
    auto record = samplePingResult();
    record->packetLoss = record->min = record->max = record->avg = record->stddev = kNaN;
    Dictionary expected = samplePingDictionary();
    expected.set("packetLoss", Value::null());
    expected.set("min", Value::number(kNaN));
    expected.set("max", Value::number(kNaN));
    expected.set("avg", Value::null());
    expected.set("stddev", Value::null());
    EXPECT_TRUE(sameDictionary(statistics(runWithRecord(record)), expected));
}

TEST_P(PingStatistics, ACountOfZeroAndInconsistentStatisticsAreWrittenAsTheyStand) {
    auto record = samplePingResult();
    record->count = 0;
    record->packetLoss = 100.0;
    record->min = 50.0;
    record->max = 2.0;
    Dictionary expected = samplePingDictionary();
    expected.set("count", Value::integer(0));
    expected.set("packetLoss", Value::number(100.0));
    expected.set("min", Value::number(50.0));
    expected.set("max", Value::number(2.0));
    EXPECT_TRUE(sameDictionary(statistics(runWithRecord(record)), expected));
}

TEST_P(PingStatistics, TheTimestampCountsFromTheReferenceDateAndKeepsWholeSeconds) {
    auto record = samplePingResult();
    record->timestamp = kNov20At10SinceReferenceDate + 59.9;
    EXPECT_TRUE(holds(statistics(runWithRecord(record)), "timestamp", Value::string("2026-11-20T10:00:59Z")));
    record->timestamp = 0.0;
    EXPECT_TRUE(holds(statistics(runWithRecord(record)), "timestamp", Value::string("2001-01-01T00:00:00Z")));
}

TEST_P(PingStatistics, ASecondPassingPingReplacesTheFirstStatistics) {
    auto first = samplePingResult();
    auto second = samplePingResult();
    second->count = 3;
    second->interfaceName = QStringLiteral("wlan1");
    auto scenario = joinedScenario();
    scenario.tests[ping().testID] = {
        answer(true, true, Dictionary::make({{"PingResult", Value::record(first)}})),
        answer(true, true, Dictionary::make({{"PingResult", Value::record(second)}}))};
    DiagnosticHarness h(scenario);
    const auto results = Dictionary::make();
    (h.controller.get()->*ping().runWithArguments)(h.controller->currentNetworkConfiguration, results);
    (h.controller.get()->*ping().runWithArguments)(h.controller->currentNetworkConfiguration, results);
    Dictionary expected = samplePingDictionary();
    expected.set("count", Value::integer(3));
    expected.set("SSID", Value::string("wlan1"));
    EXPECT_TRUE(sameDictionary(statistics(results), expected));
}

// ---- The five plain tests ----

TEST(Connectivity, ThePlainTestsWriteOnlyTheirVerdictAndLogNothingWhateverTheAnswer) {
    const auto all = connectivityOperations();
    for (auto op = all.begin() + 2; op != all.end(); ++op) {
        for (const bool didPass : {false, true}) {
            SCOPED_TRACE(testing::Message() << op->name << ", didPass " << didPass);
            DiagnosticHarness h(scenarioAnswering(op->testID, answer(didPass, didPass, everySample())));
            const auto results = runOperation(*op, h, h.controller->currentNetworkConfiguration);
            EXPECT_TRUE(sameDictionary(*results, {{op->verdictKey, Value::boolean(didPass)}}));
            EXPECT_EQ(h.messages(), QStringList());
        }
    }
}

TEST(Connectivity, ThePlainTestsLogOnlyTheirFailureMessage) {
    const auto all = connectivityOperations();
    for (auto op = all.begin() + 2; op != all.end(); ++op) {
        SCOPED_TRACE(op->name);
        DiagnosticHarness h(scenarioAnswering(op->testID, errorAnswer(61)));
        const auto results = runOperation(*op, h, h.controller->currentNetworkConfiguration);
        EXPECT_TRUE(results->empty());
        EXPECT_EQ(h.messages(), QStringList{runFailure(op->title, 61)});
    }
}

TEST(Connectivity, TheGroupRunsTheSevenInOrderIntoTheCurrentNetworksDictionary) {
    auto scenario = joinedScenario();
    scenario.defaultAnswer = answer(true, true, everySample());
    DiagnosticHarness h(scenario);
    h.controller->totalTests = 40;
    h.controller->runCurrentNetworkDiagnosticsTests();
    const auto ids = h.backend->requestedTestIDs();
    ASSERT_EQ(ids.size(), 29u);
    EXPECT_EQ(std::vector<std::int64_t>(ids.begin() + 15, ids.begin() + 22),
              std::vector<std::int64_t>({3, 6, 12, 13, 7, 9, 11}));
    const auto& data = *h.controller->currentNetworkData;
    for (const char* key : {"pingedLAN", "pingedWAN", "isIPv4Assigned", "isIPv6Assigned", "resolvedDNS",
                            "reachedOrvane", "retrievedOrvane"}) {
        EXPECT_TRUE(holds(data, key, Value::boolean(true)));
    }
    const Value pingDictionary = Value::dictionary(std::make_shared<Dictionary>(samplePingDictionary()));
    EXPECT_TRUE(holds(data, "pingLANResult", pingDictionary));
    EXPECT_TRUE(holds(data, "pingWANResult", pingDictionary));
}

}  // namespace
}  // namespace testsupport
