// The eight radio environment tests: channels written as integer numbers of the channel records,
// the country code, signal and noise copied as they came, the scan list kept for the network
// chooser, and the count of hidden networks.
#include "unittests/diagnostic/TestOperationTable.h"

namespace testsupport {

using Controller = wifiprofile::WiFiProfileViewController;

namespace {

// The four band channels both band tests copy, whichever band they test.
std::vector<Detail> bandChannels() {
    return {channelDetail("2GHzChannel", "2GHzChannel", 11), channelDetail("5GHzChannel", "5GHzChannel", 36),
            channelDetail("5GHz40MHzChannel", "5GHz40MHzChannel", 44),
            channelDetail("5GHzNonDFSChannel", "5GHzNonDFSChannel", 149)};
}

}  // namespace

std::vector<Operation> radioEnvironmentOperations() {
    std::vector<Detail> congestedChannelDetails = {channelDetail("CurrentChannel", "currentChannel", 6)};
    for (const Detail& band : bandChannels()) {
        congestedChannelDetails.push_back(band);
    }
    Operation noScanResults =
        givenOperation("NoScanResults", &Controller::runCurrentNetworkNoScanResultsWithConfiguration, 31,
                       "No Scan Results", "foundScanResults", {scanResultListDetail()});
    noScanResults.verdictKind = VerdictKind::IntegerOfNotResult;
    return {
        givenOperation("CongestedChannel", &Controller::runCurrentNetworkCongestedChannelWithConfiguration,
                       24, "Congested Channel", "isChannelCongested", congestedChannelDetails),
        givenOperation("Congested2GHz", &Controller::runCurrentNetworkCongested2GHzWithConfiguration, 25,
                       "Congested 2.4GHz", "is2GHzCongested", bandChannels()),
        givenOperation("Congested5GHz", &Controller::runCurrentNetworkCongested5GHzWithConfiguration, 26,
                       "Congested 5GHz", "is5GHzCongested", bandChannels()),
        givenOperation("HT402GHzChannel", &Controller::runCurrentNetworkHT402GHzChannelWithConfiguration, 27,
                       "HT 40 Channel", "hasHT40Channel"),
        givenOperation("ConflictingCountryCode",
                       &Controller::runCurrentNetworkConflictingCountryCodeWithConfiguration, 28,
                       "Conflicting Country Code", "foundConflictingCountryCode",
                       {plainDetail("AdoptedCountryCode", "adoptedCountryCode", "AdoptedCountryCode")}),
        givenOperation("PoorSignal", &Controller::runCurrentNetworkPoorSignalWithConfiguration, 32,
                       "Poor Signal", "hasPoorSignal",
                       {plainDetail("RSSI", "RSSI", "RSSI"), plainDetail("Noise", "noise", "Noise")}),
        noScanResults,
        givenOperation("HiddenScanResults", &Controller::runCurrentNetworkHiddenScanResultsWithConfiguration,
                       30, "Hidden Scan Results", "foundHiddenNetworks", {hiddenNetworkCountDetail()}),
    };
}

namespace {

using platform::ArrayRef;
using platform::Dictionary;
using platform::DictionaryRef;
using platform::Value;

INSTANTIATE_TEST_SUITE_P(RadioEnvironment, OperationContract,
                         ::testing::ValuesIn(radioEnvironmentOperations()), operationName);

using Test = void (Controller::*)(DictionaryRef, DictionaryRef);

DictionaryRef runTest(DiagnosticHarness& h, Test test) {
    auto results = Dictionary::make();
    (h.controller.get()->*test)(h.controller->currentNetworkConfiguration, results);
    return results;
}

Value channel(std::int64_t number) {
    auto record = std::make_shared<platform::WiFiChannel>();
    record->channel = number;
    record->band = number > 14 ? 5 : 2;
    record->width = 20;
    return Value::record(record);
}

// Every channel entry a congestion test could read, each with its own number.
DictionaryRef everyChannel() {
    return Dictionary::make({{"CurrentChannel", channel(6)},
                             {"2GHzChannel", channel(11)},
                             {"5GHzChannel", channel(36)},
                             {"5GHz40MHzChannel", channel(44)},
                             {"5GHzNonDFSChannel", channel(149)}});
}

// ---- Congestion ----

TEST(RadioEnvironment, ACongestionTestThatFailedStillCopiesEveryChannel) {
    DiagnosticHarness h(scenarioAnswering(24, answer(true, false, everyChannel())));
    const auto results = runTest(h, &Controller::runCurrentNetworkCongestedChannelWithConfiguration);
    EXPECT_TRUE(sameDictionary(*results, {{"isChannelCongested", Value::boolean(true)},
                                          {"currentChannel", Value::integer(6)},
                                          {"2GHzChannel", Value::integer(11)},
                                          {"5GHzChannel", Value::integer(36)},
                                          {"5GHz40MHzChannel", Value::integer(44)},
                                          {"5GHzNonDFSChannel", Value::integer(149)}}));
    EXPECT_EQ(h.messages(), QStringList());
}

TEST(RadioEnvironment, ACongestionTestWithOnlyThe5GHzChannelWritesItAloneAndLogsNothing) {
    DiagnosticHarness h(
        scenarioAnswering(24, answer(false, true, Dictionary::make({{"5GHzChannel", channel(48)}}))));
    const auto results = runTest(h, &Controller::runCurrentNetworkCongestedChannelWithConfiguration);
    EXPECT_TRUE(sameDictionary(
        *results, {{"isChannelCongested", Value::boolean(false)}, {"5GHzChannel", Value::integer(48)}}));
    EXPECT_EQ(h.messages(), QStringList());
}

TEST(RadioEnvironment, The2GHzTestWrites5GHzChannelAndNeitherBandTestWritesTheCurrentChannel) {
    for (const auto& [name, test, key] :
         {std::tuple{"2.4 GHz", &Controller::runCurrentNetworkCongested2GHzWithConfiguration,
                     "is2GHzCongested"},
          std::tuple{"5 GHz", &Controller::runCurrentNetworkCongested5GHzWithConfiguration,
                     "is5GHzCongested"}}) {
        SCOPED_TRACE(name);
        auto scenario = joinedScenario();
        scenario.defaultAnswer = answer(true, true, everyChannel());
        DiagnosticHarness h(scenario);
        const auto results = runTest(h, test);
        EXPECT_TRUE(sameDictionary(*results, {{key, Value::boolean(true)},
                                              {"2GHzChannel", Value::integer(11)},
                                              {"5GHzChannel", Value::integer(36)},
                                              {"5GHz40MHzChannel", Value::integer(44)},
                                              {"5GHzNonDFSChannel", Value::integer(149)}}));
    }
}

TEST(RadioEnvironment, AChannelEntryOfAnotherKindIsSkippedSilently) {
    auto info = everyChannel();
    info->set("CurrentChannel", Value::integer(6));
    info->set("2GHzChannel", Value::record(samplePingResult()));
    info->set("5GHzChannel", Value::null());
    info->set("5GHz40MHzChannel", Value::string("44"));
    DiagnosticHarness h(scenarioAnswering(24, answer(true, true, info)));
    const auto results = runTest(h, &Controller::runCurrentNetworkCongestedChannelWithConfiguration);
    EXPECT_TRUE(sameDictionary(*results, {{"isChannelCongested", Value::boolean(true)},
                                          {"5GHzNonDFSChannel", Value::integer(149)}}));
    EXPECT_EQ(h.messages(), QStringList());
}

TEST(RadioEnvironment, ACongestionTestWithoutInfoLogsInfoNotFound) {
    DiagnosticHarness h(scenarioAnswering(26, answer(true, false, nullptr)));
    const auto results = runTest(h, &Controller::runCurrentNetworkCongested5GHzWithConfiguration);
    EXPECT_TRUE(sameDictionary(*results, {{"is5GHzCongested", Value::boolean(true)}}));
    EXPECT_EQ(h.messages(), QStringList{"[ERROR] - Wi-Fi Profile: Info not found."});
}

TEST(RadioEnvironment, TheHT40TestsFailureMessageSaysHT40Channel) {
    DiagnosticHarness h(scenarioAnswering(27, errorAnswer(9)));
    const auto results = runTest(h, &Controller::runCurrentNetworkHT402GHzChannelWithConfiguration);
    EXPECT_TRUE(results->empty());
    EXPECT_EQ(h.messages(), QStringList{"[ERROR] - Wi-Fi Profile: HT 40 Channel failed with error: " +
                                        errorDescription(9)});
}

// ---- Country code and signal ----

TEST(RadioEnvironment, TheAdoptedCountryCodeIsCopiedAsItCame) {
    DiagnosticHarness h(scenarioAnswering(
        28, answer(true, false, Dictionary::make({{"AdoptedCountryCode", Value::string("DE")}}))));
    const auto results = runTest(h, &Controller::runCurrentNetworkConflictingCountryCodeWithConfiguration);
    EXPECT_TRUE(sameDictionary(*results, {{"foundConflictingCountryCode", Value::boolean(true)},
                                          {"adoptedCountryCode", Value::string("DE")}}));
}

TEST(RadioEnvironment, AMissingCountryCodeIsLogged) {
    DiagnosticHarness h(scenarioAnswering(28, answer(false, true, Dictionary::make())));
    const auto results = runTest(h, &Controller::runCurrentNetworkConflictingCountryCodeWithConfiguration);
    EXPECT_TRUE(sameDictionary(*results, {{"foundConflictingCountryCode", Value::boolean(false)}}));
    EXPECT_EQ(h.messages(), QStringList{"[ERROR] - Wi-Fi Profile: AdoptedCountryCode not found."});
}

TEST(RadioEnvironment, PoorSignalWithNoiseButNoRSSILogsRSSIAndStillWritesNoise) {
    DiagnosticHarness h(
        scenarioAnswering(32, answer(true, true, Dictionary::make({{"Noise", Value::integer(-95)}}))));
    const auto results = runTest(h, &Controller::runCurrentNetworkPoorSignalWithConfiguration);
    EXPECT_TRUE(
        sameDictionary(*results, {{"hasPoorSignal", Value::boolean(true)}, {"noise", Value::integer(-95)}}));
    EXPECT_EQ(h.messages(), QStringList{"[ERROR] - Wi-Fi Profile: RSSI not found."});
}

TEST(RadioEnvironment, PoorSignalWithNeitherLogsRSSIThenNoise) {
    DiagnosticHarness h(scenarioAnswering(32, answer(false, false, Dictionary::make())));
    const auto results = runTest(h, &Controller::runCurrentNetworkPoorSignalWithConfiguration);
    EXPECT_TRUE(sameDictionary(*results, {{"hasPoorSignal", Value::boolean(false)}}));
    EXPECT_EQ(h.messages(), QStringList({"[ERROR] - Wi-Fi Profile: RSSI not found.",
                                         "[ERROR] - Wi-Fi Profile: Noise not found."}));
}

TEST(RadioEnvironment, SignalAndNoiseAreCopiedUnderRSSIAndNoise) {
    DiagnosticHarness h(scenarioAnswering(
        32, answer(false, true,
                   Dictionary::make({{"RSSI", Value::integer(-52)}, {"Noise", Value::number(-91.5)}}))));
    const auto results = runTest(h, &Controller::runCurrentNetworkPoorSignalWithConfiguration);
    EXPECT_TRUE(sameDictionary(*results, {{"hasPoorSignal", Value::boolean(false)},
                                          {"RSSI", Value::integer(-52)},
                                          {"noise", Value::number(-91.5)}}));
    EXPECT_EQ(h.messages(), QStringList());
}

// ---- No scan results ----

class NoScanResults : public ::testing::Test {
  protected:
    // Runs the test once with answer a after wifiScanResults was set to previous.
    DictionaryRef run(platform::sim::TestAnswer a, ArrayRef previous = nullptr) {
        harness.reset();  // one simulated device at a time
        harness = std::make_unique<DiagnosticHarness>(scenarioAnswering(31, std::move(a)));
        harness->controller->wifiScanResults.set(previous);
        auto results = Dictionary::make();
        harness->controller->runCurrentNetworkNoScanResultsWithConfiguration(
            harness->controller->freshScanConfiguration, results);
        return results;
    }
    ArrayRef scanResults() const { return harness->controller->wifiScanResults.get(); }
    QStringList messages() const { return harness->messages(); }

    static ArrayRef earlierScan() {
        return platform::makeArray({scanResult(QStringLiteral("Old"), "02:00:00:00:00:aa", -40)});
    }
    static DictionaryRef infoWith(Value scanResults) {
        return Dictionary::make({{"ScanResults", scanResults}});
    }

    std::unique_ptr<DiagnosticHarness> harness;
};

TEST_F(NoScanResults, AResultOfTrueWritesTheIntegerZero) {
    const auto results = run(answer(true, true, infoWith(twoNearbyNetworks())));
    EXPECT_TRUE(sameDictionary(*results, {{"foundScanResults", Value::integer(0)}}));
}

TEST_F(NoScanResults, AResultOfFalseWritesTheIntegerOne) {
    const auto results = run(answer(false, true, infoWith(twoNearbyNetworks())));
    EXPECT_TRUE(sameDictionary(*results, {{"foundScanResults", Value::integer(1)}}));
    EXPECT_EQ(results->value("foundScanResults")->kind(), Value::Kind::Int);
}

TEST_F(NoScanResults, APassingScanReplacesTheListWhole) {
    run(answer(false, true, infoWith(twoNearbyNetworks())), earlierScan());
    ASSERT_NE(scanResults(), nullptr);
    EXPECT_TRUE(Value::array(scanResults()) == twoNearbyNetworks())
        << Value::array(scanResults()).description().toStdString();
    EXPECT_EQ(messages(), QStringList());
}

TEST_F(NoScanResults, AnInfoWithoutScanResultsClearsTheListAndLogs) {
    run(answer(false, true, Dictionary::make({{"Other", Value::integer(1)}})), earlierScan());
    EXPECT_EQ(scanResults(), nullptr);
    EXPECT_EQ(messages(), QStringList{"[ERROR] - Wi-Fi Profile: Scan Results not found."});
}

TEST_F(NoScanResults, AnEmptyScanIsKeptAsAnEmptyListAndNotLogged) {
    run(answer(true, true, infoWith(Value::array(platform::makeArray()))), earlierScan());
    ASSERT_NE(scanResults(), nullptr);
    EXPECT_TRUE(scanResults()->empty());
    EXPECT_EQ(messages(), QStringList());
}

TEST_F(NoScanResults, ScanResultsOfAnotherKindClearTheListAndLog) {
    auto channelRecord = channel(6);
    for (const Value& notAList :
         {channelRecord, scanResult(QStringLiteral("Home"), "02:11:22:33:44:55", -50), Value::string("Home"),
          Value::null(), Value::dictionary(Dictionary::make())}) {
        SCOPED_TRACE(notAList.description().toStdString());
        run(answer(false, true, infoWith(notAList)), earlierScan());
        EXPECT_EQ(scanResults(), nullptr);
        EXPECT_EQ(messages(), QStringList{"[ERROR] - Wi-Fi Profile: Scan Results not found."});
    }
}

TEST_F(NoScanResults, AScanThatDidNotPassKeepsThePreviousList) {
    const auto previous = earlierScan();
    const auto results = run(answer(true, false, infoWith(twoNearbyNetworks())), previous);
    EXPECT_EQ(scanResults(), previous);
    EXPECT_TRUE(sameDictionary(*results, {{"foundScanResults", Value::integer(0)}}));
    EXPECT_EQ(messages(), QStringList());
}

TEST_F(NoScanResults, APassingScanWithoutInfoKeepsThePreviousListAndLogs) {
    const auto previous = earlierScan();
    run(answer(false, true, nullptr), previous);
    EXPECT_EQ(scanResults(), previous);
    EXPECT_EQ(messages(), QStringList{"[ERROR] - Wi-Fi Profile: Info not found."});
}

TEST_F(NoScanResults, AServiceErrorKeepsThePreviousListAndWritesNothing) {
    const auto previous = earlierScan();
    const auto results = run(errorAnswer(4), previous);
    EXPECT_EQ(scanResults(), previous);
    EXPECT_TRUE(results->empty());
    EXPECT_EQ(messages(), QStringList{runFailure("No Scan Results", 4)});
}

TEST_F(NoScanResults, AnEmptyResultArrayKeepsThePreviousList) {
    const auto previous = earlierScan();
    const auto results = run(resultsAnswer(std::vector<platform::DiagnosticsTestResultRef>{}), previous);
    EXPECT_EQ(scanResults(), previous);
    EXPECT_TRUE(results->empty());
}

TEST_F(NoScanResults, SendsTheFreshScanConfiguration) {
    run(answer(false, true, infoWith(twoNearbyNetworks())));
    const auto requests = harness->testRequests();
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_EQ(requests[0].testID, 31);
    EXPECT_TRUE(sameDictionary(*requests[0].configuration, {{"MaxScanCacheAge", Value::integer(0)}}));
}

// ---- Hidden scan results ----

TEST(RadioEnvironment, HiddenScanResultsThatPassWriteOnlyTheirVerdict) {
    DiagnosticHarness h(scenarioAnswering(
        30, answer(false, true, Dictionary::make({{"ScanResults", threeHiddenNetworks()}}))));
    const auto results = runTest(h, &Controller::runCurrentNetworkHiddenScanResultsWithConfiguration);
    EXPECT_TRUE(sameDictionary(*results, {{"foundHiddenNetworks", Value::boolean(false)}}));
    EXPECT_EQ(h.messages(), QStringList());
}

TEST(RadioEnvironment, HiddenScanResultsThatFailCountThreeHiddenNetworks) {
    DiagnosticHarness h(scenarioAnswering(
        30, answer(true, false, Dictionary::make({{"ScanResults", threeHiddenNetworks()}}))));
    const auto results = runTest(h, &Controller::runCurrentNetworkHiddenScanResultsWithConfiguration);
    EXPECT_TRUE(sameDictionary(*results, {{"foundHiddenNetworks", Value::boolean(true)},
                                          {"hiddenNetworkCount", Value::unsignedInteger(3)}}));
    EXPECT_EQ(results->value("hiddenNetworkCount")->kind(), Value::Kind::UInt);
}

TEST(RadioEnvironment, AnEmptyHiddenScanCountsZero) {
    DiagnosticHarness h(scenarioAnswering(
        30, answer(false, false, Dictionary::make({{"ScanResults", Value::array(platform::makeArray())}}))));
    const auto results = runTest(h, &Controller::runCurrentNetworkHiddenScanResultsWithConfiguration);
    EXPECT_TRUE(holds(*results, "hiddenNetworkCount", Value::unsignedInteger(0)));
    EXPECT_EQ(h.messages(), QStringList());
}

TEST(RadioEnvironment, HiddenScanResultsWithoutOrWithAnotherKindOfScanResultsLog) {
    for (const auto& info : {Dictionary::make(), Dictionary::make({{"ScanResults", channel(1)}}),
                             Dictionary::make({{"ScanResults", Value::integer(3)}})}) {
        SCOPED_TRACE(describe(*info).toStdString());
        DiagnosticHarness h(scenarioAnswering(30, answer(true, false, info)));
        const auto results = runTest(h, &Controller::runCurrentNetworkHiddenScanResultsWithConfiguration);
        EXPECT_TRUE(sameDictionary(*results, {{"foundHiddenNetworks", Value::boolean(true)}}));
        EXPECT_EQ(h.messages(), QStringList{"[ERROR] - Wi-Fi Profile: Scan Results not found."});
    }
}

TEST(RadioEnvironment, HiddenScanResultsDoNotTouchTheChoosersList) {
    DiagnosticHarness h(scenarioAnswering(
        30, answer(true, false, Dictionary::make({{"ScanResults", threeHiddenNetworks()}}))));
    const auto previous = platform::makeArray({scanResult(QStringLiteral("Home"), "02:11:22:33:44:55", -50)});
    h.controller->wifiScanResults.set(previous);
    runTest(h, &Controller::runCurrentNetworkHiddenScanResultsWithConfiguration);
    EXPECT_EQ(h.controller->wifiScanResults.get(), previous);
}

}  // namespace
}  // namespace testsupport
