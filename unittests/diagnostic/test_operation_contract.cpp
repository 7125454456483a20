// What every test operation does with the service's answer: the request it sends, its verdict, its
// details behind their gates, its messages, and nothing written when the service gives no result.
// Instantiated per group with that group's table (test_device_configuration.cpp and the others).
#include "unittests/diagnostic/TestOperationTable.h"

#include <cmath>
#include <limits>

namespace testsupport {
namespace {

using platform::Dictionary;
using platform::Value;

// Info values of every kind a service could put under a key.
std::vector<std::pair<std::string, Value>> valuesOfEveryKind() {
    auto channel = std::make_shared<platform::WiFiChannel>();
    channel->channel = 44;
    return {
        {"null marker", Value::null()},
        {"boolean", Value::boolean(true)},
        {"integer", Value::integer(-7)},
        {"unsigned integer", Value::unsignedInteger(7)},
        {"double", Value::number(2.5)},
        {"NaN double", Value::number(std::numeric_limits<double>::quiet_NaN())},
        {"string", Value::string("eleven")},
        {"date", Value::date(platform::Date::fromSecondsSince1970(kNov20At10Since1970))},
        {"array of scan results", twoNearbyNetworks()},
        {"dictionary", Value::dictionary(Dictionary::make({{"Band", Value::integer(5)}}))},
        {"channel record", Value::record(channel)},
        {"scan result record", scanResult(QStringLiteral("Cafe"), "02:00:00:00:00:09", -80)},
    };
}

// What a detail makes of an info value of any kind: a plain detail keeps it as it came; a detail
// that converts a record or an array takes only its own kind and treats any other as absent.
std::optional<Value> convertedFrom(const Detail& detail, const Value& value) {
    switch (detail.conversion) {
        case Conversion::Plain:
            return value;
        case Conversion::Channel:
            if (const auto channel = value.recordAs<platform::WiFiChannel>()) {
                return Value::integer(channel->channel);
            }
            return std::nullopt;
        case Conversion::ScanResultCount:
            if (value.kind() == Value::Kind::Array) {
                return Value::unsignedInteger(value.toArray()->size());
            }
            return std::nullopt;
        case Conversion::ScanResultList:
            if (value.kind() == Value::Kind::Array) {
                return value;
            }
            return std::nullopt;
        case Conversion::PingStatistics:
        case Conversion::PreferredNetwork:
            // valuesOfEveryKind holds no ping result and no network profile.
            return std::nullopt;
    }
    return std::nullopt;
}

TEST_P(OperationContract, SendsOneRequestWithItsTestIDAndConfiguration) {
    const Operation& op = GetParam();
    DiagnosticHarness h(joinedScenario());
    if (op.target == Target::Given) {
        // A test given its configuration sends that one, not the controller's.
        h.controller->configuration = Dictionary::make(
            {{"MaxScanCacheAge", Value::integer(99)}, {"NetworkName", Value::string("Other")}});
    }
    const auto config = distinctConfiguration();
    runOperation(op, h, config);
    const auto requests = h.testRequests();
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_EQ(requests[0].testID, op.testID);
    ASSERT_NE(requests[0].configuration, nullptr);
    EXPECT_TRUE(sameDictionary(*requests[0].configuration, *config));
}

TEST_P(OperationContract, WritesTheVerdictOfEveryOutcome) {
    const Operation& op = GetParam();
    for (const bool result : {false, true}) {
        for (const bool didPass : {false, true}) {
            SCOPED_TRACE(testing::Message() << "result " << result << ", didPass " << didPass);
            DiagnosticHarness h(scenarioAnswering(op.testID, answer(result, didPass, sampleInfo(op))));
            const auto written = runOperation(op, h, distinctConfiguration());
            EXPECT_TRUE(holds(*written, op.verdictKey, verdictFor(op, result)));
        }
    }
}

TEST_P(OperationContract, CopiesEachDetailWhileItsGateIsOpenAndNoneWhileClosed) {
    const Operation& op = GetParam();
    for (const bool didPass : {false, true}) {
        SCOPED_TRACE(testing::Message() << "didPass " << didPass);
        DiagnosticHarness h(scenarioAnswering(op.testID, answer(true, didPass, sampleInfo(op))));
        const auto written = runOperation(op, h, distinctConfiguration());
        EXPECT_TRUE(sameDictionary(*written, writtenFromSamples(op, true, didPass)));
        EXPECT_EQ(h.messages(), QStringList());
    }
}

TEST_P(OperationContract, ReadsNoKeyOfAnotherTest) {
    const Operation& op = GetParam();
    for (const bool didPass : {false, true}) {
        SCOPED_TRACE(testing::Message() << "didPass " << didPass);
        DiagnosticHarness h(scenarioAnswering(op.testID, answer(false, didPass, everySample())));
        const auto written = runOperation(op, h, distinctConfiguration());
        EXPECT_TRUE(sameDictionary(*written, writtenFromSamples(op, false, didPass)));
    }
}

TEST_P(OperationContract, TakesInfoValuesOfEveryKindAsTheDetailAllows) {
    const Operation& op = GetParam();
    for (const auto& [kindName, value] : valuesOfEveryKind()) {
        for (const bool didPass : {false, true}) {
            SCOPED_TRACE(testing::Message() << kindName << " under every key, didPass " << didPass);
            auto info = Dictionary::make();
            for (const QString& key : everySample()->keys()) {
                info->set(key, value);
            }
            DiagnosticHarness h(scenarioAnswering(op.testID, answer(true, didPass, info)));
            const auto written = runOperation(op, h, distinctConfiguration());

            Dictionary expected{{op.verdictKey, verdictFor(op, true)}};
            QStringList expectedMessages;
            for (const Detail& detail : op.details) {
                if (!gateOpens(detail.gate, didPass)) {
                    continue;
                }
                const std::optional<Value> converted = convertedFrom(detail, value);
                if (converted && !detail.resultKey.isEmpty()) {
                    expected.set(detail.resultKey, *converted);
                } else if (!converted && !detail.missingName.isEmpty()) {
                    expectedMessages.append(notFound(detail.missingName));
                }
            }
            EXPECT_TRUE(sameDictionary(*written, expected));
            EXPECT_EQ(h.messages(), expectedMessages);
        }
    }
}

TEST_P(OperationContract, AMissingDetailIsLoggedAndTheOthersAreStillCopied) {
    const Operation& op = GetParam();
    if (op.details.empty()) {
        // A test without details needs nothing from an empty info.
        DiagnosticHarness h(scenarioAnswering(op.testID, answer(true, false, Dictionary::make())));
        const auto written = runOperation(op, h, distinctConfiguration());
        EXPECT_TRUE(sameDictionary(*written, Dictionary{{op.verdictKey, verdictFor(op, true)}}));
        EXPECT_EQ(h.messages(), QStringList());
        return;
    }
    for (const Detail& missing : op.details) {
        for (const bool didPass : didPassOpening(missing.gate)) {
            SCOPED_TRACE(testing::Message()
                         << missing.infoKey.toStdString() << " missing, didPass " << didPass);
            auto info = sampleInfo(op);
            info->remove(missing.infoKey);
            DiagnosticHarness h(scenarioAnswering(op.testID, answer(true, didPass, info)));
            const auto written = runOperation(op, h, distinctConfiguration());

            Dictionary expected = writtenFromSamples(op, true, didPass);
            if (!missing.resultKey.isEmpty()) {
                expected.remove(missing.resultKey);
            }
            EXPECT_TRUE(sameDictionary(*written, expected));
            const QStringList expectedMessages =
                missing.missingName.isEmpty() ? QStringList() : QStringList{notFound(missing.missingName)};
            EXPECT_EQ(h.messages(), expectedMessages);
        }
    }
}

TEST_P(OperationContract, AnAbsentInfoIsLoggedOnlyWhereDetailsAreRead) {
    const Operation& op = GetParam();
    for (const bool didPass : {false, true}) {
        SCOPED_TRACE(testing::Message() << "didPass " << didPass);
        DiagnosticHarness h(scenarioAnswering(op.testID, answer(true, didPass, nullptr)));
        const auto written = runOperation(op, h, distinctConfiguration());
        EXPECT_TRUE(sameDictionary(*written, Dictionary{{op.verdictKey, verdictFor(op, true)}}));
        const bool readsInfo = !op.details.empty() && gateOpens(gateOf(op), didPass);
        EXPECT_EQ(h.messages(),
                  readsInfo ? QStringList{"[ERROR] - Wi-Fi Profile: Info not found."} : QStringList());
    }
}

TEST_P(OperationContract, AServiceErrorIsLoggedWithTheTitleAndWritesNothing) {
    const Operation& op = GetParam();
    DiagnosticHarness h(scenarioAnswering(op.testID, errorAnswer(7)));
    const auto written = runOperation(op, h, distinctConfiguration());
    EXPECT_TRUE(sameDictionary(*written, Dictionary()));
    EXPECT_EQ(h.messages(), QStringList{runFailure(op.title, 7)});
}

TEST_P(OperationContract, AnEmptyResultArrayWritesNothing) {
    const Operation& op = GetParam();
    DiagnosticHarness h(
        scenarioAnswering(op.testID, resultsAnswer(std::vector<platform::DiagnosticsTestResultRef>{})));
    const auto written = runOperation(op, h, distinctConfiguration());
    EXPECT_TRUE(sameDictionary(*written, Dictionary()));
    EXPECT_EQ(h.messages(), QStringList{"[ERROR] - Wi-Fi Profile: Results not found."});
}

TEST_P(OperationContract, AnAbsentResultArrayWritesNothing) {
    const Operation& op = GetParam();
    DiagnosticHarness h(scenarioAnswering(op.testID, resultsAnswer(std::nullopt)));
    const auto written = runOperation(op, h, distinctConfiguration());
    EXPECT_TRUE(sameDictionary(*written, Dictionary()));
    EXPECT_EQ(h.messages(), QStringList{"[ERROR] - Wi-Fi Profile: Results not found."});
}

TEST_P(OperationContract, AnAbsentFirstResultWritesNothing) {
    const Operation& op = GetParam();
    DiagnosticHarness h(
        scenarioAnswering(op.testID, resultsAnswer(std::vector<platform::DiagnosticsTestResultRef>{
                                         nullptr, result(true, true, sampleInfo(op))})));
    const auto written = runOperation(op, h, distinctConfiguration());
    EXPECT_TRUE(sameDictionary(*written, Dictionary()));
    EXPECT_EQ(h.messages(), QStringList{"[ERROR] - Wi-Fi Profile: Test Result not found."});
}

TEST_P(OperationContract, AnErrorWithCodeZeroIsNoError) {
    const Operation& op = GetParam();
    for (const bool didPass : {false, true}) {
        SCOPED_TRACE(testing::Message() << "didPass " << didPass);
        auto withCodeZero = answer(true, didPass, sampleInfo(op));
        withCodeZero.error =
            platform::makeError(QStringLiteral("WiFiDiagnostics"), 0, QStringLiteral("fine"));
        DiagnosticHarness h(scenarioAnswering(op.testID, withCodeZero));
        const auto written = runOperation(op, h, distinctConfiguration());
        EXPECT_TRUE(sameDictionary(*written, writtenFromSamples(op, true, didPass)));
        EXPECT_EQ(h.messages(), QStringList());
    }
}

TEST_P(OperationContract, OnlyTheFirstOfTwoResultsIsUsed) {
    const Operation& op = GetParam();
    for (const bool didPass : {false, true}) {
        SCOPED_TRACE(testing::Message() << "didPass " << didPass);
        // The second result differs in everything: verdict, gate and info.
        const auto second = result(false, !didPass, Dictionary::make());
        DiagnosticHarness h(scenarioAnswering(
            op.testID, resultsAnswer(std::vector{result(true, didPass, sampleInfo(op)), second})));
        const auto written = runOperation(op, h, distinctConfiguration());
        EXPECT_TRUE(sameDictionary(*written, writtenFromSamples(op, true, didPass)));
        EXPECT_EQ(h.messages(), QStringList());
    }
}

TEST_P(OperationContract, ASecondRunReplacesTheValuesOfTheFirst) {
    const Operation& op = GetParam();
    const bool didPass = didPassOpening(gateOf(op)).front();
    auto secondInfo = sampleInfo(op);
    Dictionary expected{{op.verdictKey, verdictFor(op, false)}};
    for (const Detail& detail : op.details) {
        if (detail.conversion == Conversion::Plain) {
            secondInfo->set(detail.infoKey, Value::integer(2));
        }
        if (!detail.resultKey.isEmpty()) {
            expected.set(detail.resultKey,
                         detail.conversion == Conversion::Plain ? Value::integer(2) : detail.expected);
        }
    }
    auto scenario = joinedScenario();
    scenario.tests[op.testID] = {answer(true, didPass, sampleInfo(op)), answer(false, didPass, secondInfo)};
    DiagnosticHarness h(scenario);
    const auto config = distinctConfiguration();
    const auto written = runOperation(op, h, config);
    if (op.target == Target::Given) {
        // Both runs write into the same dictionary.
        (h.controller.get()->*op.runWithArguments)(config, written);
    } else {
        runOperation(op, h, config);
    }
    EXPECT_TRUE(sameDictionary(*written, expected));
}

TEST_P(OperationContract, WritesIntoItsOwnDictionaryOnly) {
    const Operation& op = GetParam();
    for (const bool didPass : {false, true}) {
        SCOPED_TRACE(testing::Message() << "didPass " << didPass);
        DiagnosticHarness h(scenarioAnswering(op.testID, answer(true, didPass, everySample())));
        const auto written = runOperation(op, h, distinctConfiguration());
        EXPECT_FALSE(written->empty());
        const auto& controller = *h.controller;
        for (const auto& [name, dictionary] : {std::pair{"deviceData", controller.deviceData},
                                               {"currentNetworkData", controller.currentNetworkData},
                                               {"selectedNetworkData", controller.selectedNetworkData}}) {
            if (dictionary != written) {
                EXPECT_TRUE(sameDictionary(*dictionary, Dictionary())) << name;
            }
        }
    }
}

}  // namespace
}  // namespace testsupport
