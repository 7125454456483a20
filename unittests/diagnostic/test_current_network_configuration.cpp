// The fifteen configuration and security tests of a network: each sends the configuration it is
// given and writes into the dictionary it is given; the captive-portal test turns the remembered
// network profile into the preferred network dictionary.
#include "unittests/diagnostic/TestOperationTable.h"

namespace testsupport {

using Controller = wifiprofile::WiFiProfileViewController;

std::vector<Operation> currentNetworkConfigurationOperations() {
    return {
        givenOperation("DetectDoubleNAT", &Controller::runCurrentNetworkDetectDoubleNATWithConfiguration, 8,
                       "Detect Double NAT", "hasDoubleNATConfiguration"),
        givenOperation("LongBeaconInterval",
                       &Controller::runCurrentNetworkLongBeaconIntervalWithConfiguration, 34,
                       "Long Beacon Interval", "isBeaconIntervalLong",
                       {plainDetail("BeaconInterval", "beaconInterval", "BeaconInterval")}),
        givenOperation("LongDTIMInterval", &Controller::runCurrentNetworkLongDTIMIntervalWithConfiguration,
                       35, "Long DTIM Interval", "isDTIMIntervalLong",
                       {plainDetail("DTIMInterval", "DTIMInterval", "DTIMInterval")}),
        givenOperation("NoSecurity", &Controller::runCurrentNetworkNoSecurityWithConfiguration, 38,
                       "No Security", "isUsingOpenSecurity",
                       {plainDetail("Security", "security", "Security")}),
        givenOperation("LegacySecurityWEP", &Controller::runCurrentNetworkLegacySecurityWEPWithConfiguration,
                       39, "Legacy Security: WEP", "isUsingWEPSecurity",
                       {plainDetail("Security", "security", "Security")}),
        givenOperation("LegacySecurityWPA", &Controller::runCurrentNetworkLegacySecurityWPAWithConfiguration,
                       40, "Legacy Security: WPA", "isUsingWPASecurity",
                       {plainDetail("Security", "security", "Security")}),
        givenOperation("LegacyRates11b", &Controller::runCurrentNetworkLegacyRates11bWithConfiguration, 41,
                       "Legacy Rates (802.11b)", "isUsingLegacyRates"),
        givenOperation("AmbiguousNetworkName",
                       &Controller::runCurrentNetworkAmbiguousNetworkNameWithConfiguration, 42,
                       "Ambiguous Network Name", "isUsingAmbiguousNetworkName",
                       {plainDetail("NetworkName", "networkName", "NetworkName")}),
        givenOperation("HiddenNetwork", &Controller::runCurrentNetworkHiddenNetworkWithConfiguration, 43,
                       "Hidden Network", "isHiddenNetwork"),
        givenOperation("LumoPersonalHotspot",
                       &Controller::runCurrentNetworkLumoPersonalHotspotWithConfiguration, 44,
                       "Lumo Personal Hotspot", "isLumoPersonalHotspot"),
        givenOperation("CaptivePortal", &Controller::runCurrentNetworkCaptivePortalWithConfiguration, 46,
                       "Captive Portal", "isCaptive", {preferredNetworkDetail()}),
        givenOperation("Passpoint", &Controller::runCurrentNetworkPasspointWithConfiguration, 45, "Passpoint",
                       "isPasspointNetwork"),
        givenOperation("ConflictingPHYMode11AC",
                       &Controller::runCurrentNetworkConflictingPHYMode11ACWithConfiguration, 36,
                       "Conflicting PHY Mode (11AC)", "hasConflictingPHYMode11AC",
                       {plainDetail("SupportedPHYModes", "supportedPHYModes", "SupportedPHYModes")}),
        givenOperation("ConflictingPHYMode11N",
                       &Controller::runCurrentNetworkConflictingPHYMode11NWithConfiguration, 37,
                       "Conflicting PHY Mode (11N)", "hasConflictingPHYMode11N",
                       {plainDetail("SupportedPHYModes", "supportedPHYModes", "SupportedPHYModes")}),
        givenOperation(
            "HarbexBaseStation", &Controller::runCurrentNetworkHarbexBaseStationWithConfiguration, 33,
            "Harbex Base Station", "isHostedByHarbexBaseStation",
            {plainDetail("HarbexModelName", "harbexModelName", "HarbexModelName", Gate::WhenPassed)}),
    };
}

namespace {

using platform::Dictionary;
using platform::DictionaryRef;
using platform::NetworkProfile;
using platform::Value;

INSTANTIATE_TEST_SUITE_P(CurrentNetworkConfiguration, OperationContract,
                         ::testing::ValuesIn(currentNetworkConfigurationOperations()), operationName);

using Test = void (Controller::*)(DictionaryRef, DictionaryRef);

// Runs one test against the current network as the group runner does, into a fresh dictionary.
DictionaryRef runTest(DiagnosticHarness& h, Test test) {
    auto results = Dictionary::make();
    (h.controller.get()->*test)(h.controller->currentNetworkConfiguration, results);
    return results;
}

// The preferred network dictionary the captive-portal test writes for profile.
std::optional<Value> preferredNetworkFor(const std::shared_ptr<NetworkProfile>& profile,
                                         QStringList* messages) {
    DiagnosticHarness h(scenarioAnswering(
        46, answer(false, true, Dictionary::make({{"PreferredNetwork", Value::record(profile)}}))));
    const auto results = runTest(h, &Controller::runCurrentNetworkCaptivePortalWithConfiguration);
    *messages = h.messages();
    return results->value("preferredNetwork");
}

// Runs the whole current-network group against scenario and answers its dictionary.
DictionaryRef runCurrentNetworkGroup(DiagnosticHarness& h) {
    h.controller->totalTests = 40;
    h.controller->runCurrentNetworkDiagnosticsTests();
    return h.controller->currentNetworkData;
}

TEST(CurrentNetworkConfiguration, AnErrorWithCodeZeroCountsAsNoError) {
    auto withCodeZero = answer(true, false);
    withCodeZero.error = platform::makeError("WiFiDiagnostics", 0, "not a failure");
    DiagnosticHarness h(scenarioAnswering(8, withCodeZero));
    const auto results = runTest(h, &Controller::runCurrentNetworkDetectDoubleNATWithConfiguration);
    EXPECT_TRUE(sameDictionary(*results, {{"hasDoubleNATConfiguration", Value::boolean(true)}}));
    EXPECT_EQ(h.messages(), QStringList());
}

TEST(CurrentNetworkConfiguration, AServiceErrorOnDetectDoubleNATLeavesItsKeyOutAndTheGroupGoesOn) {
    auto scenario = joinedScenario();
    scenario.defaultAnswer = answer(true, true);
    scenario.tests[8] = {errorAnswer(12)};
    DiagnosticHarness h(scenario);
    const auto results = runCurrentNetworkGroup(h);
    EXPECT_FALSE(results->contains("hasDoubleNATConfiguration"));
    EXPECT_TRUE(holds(*results, "isBeaconIntervalLong", Value::boolean(true)));
    EXPECT_TRUE(holds(*results, "isHostedByHarbexBaseStation", Value::boolean(true)));
    EXPECT_EQ(h.backend->requestedTestIDs().size(), 29u);
    EXPECT_EQ(h.messages().front(), runFailure("Detect Double NAT", 12));
}

TEST(CurrentNetworkConfiguration, SecurityHoldsTheWPATestsValueWhenWEPFailsToRun) {
    auto scenario = joinedScenario();
    scenario.tests[38] = {
        answer(false, true, Dictionary::make({{"Security", Value::string("WPA2 Personal")}}))};
    scenario.tests[39] = {errorAnswer(5)};
    scenario.tests[40] = {answer(true, false, Dictionary::make({{"Security", Value::integer(8)}}))};
    DiagnosticHarness h(scenario);
    const auto results = runCurrentNetworkGroup(h);
    EXPECT_TRUE(holds(*results, "security", Value::integer(8)));
    EXPECT_TRUE(holds(*results, "isUsingOpenSecurity", Value::boolean(false)));
    EXPECT_FALSE(results->contains("isUsingWEPSecurity"));
    EXPECT_TRUE(holds(*results, "isUsingWPASecurity", Value::boolean(true)));
}

TEST(CurrentNetworkConfiguration, TheLastPHYModeTestsValueStands) {
    auto scenario = joinedScenario();
    scenario.tests[36] = {
        answer(true, false, Dictionary::make({{"SupportedPHYModes", Value::string("11a/b/g/n/ac")}}))};
    scenario.tests[37] = {
        answer(false, true, Dictionary::make({{"SupportedPHYModes", Value::string("11b/g/n")}}))};
    DiagnosticHarness h(scenario);
    const auto results = runCurrentNetworkGroup(h);
    EXPECT_TRUE(holds(*results, "supportedPHYModes", Value::string("11b/g/n")));
    EXPECT_TRUE(holds(*results, "hasConflictingPHYMode11AC", Value::boolean(true)));
    EXPECT_TRUE(holds(*results, "hasConflictingPHYMode11N", Value::boolean(false)));
}

TEST(CurrentNetworkConfiguration, HarbexThatFailedStoresOnlyItsFlagEvenWithAModelName) {
    DiagnosticHarness h(scenarioAnswering(
        33,
        answer(false, false, Dictionary::make({{"HarbexModelName", Value::string("Harbex Station 6")}}))));
    const auto results = runTest(h, &Controller::runCurrentNetworkHarbexBaseStationWithConfiguration);
    EXPECT_TRUE(sameDictionary(*results, {{"isHostedByHarbexBaseStation", Value::boolean(false)}}));
    EXPECT_EQ(h.messages(), QStringList());
}

TEST(CurrentNetworkConfiguration, HarbexThatPassedWithoutAModelNameLogsIt) {
    DiagnosticHarness h(scenarioAnswering(33, answer(true, true, Dictionary::make())));
    const auto results = runTest(h, &Controller::runCurrentNetworkHarbexBaseStationWithConfiguration);
    EXPECT_TRUE(sameDictionary(*results, {{"isHostedByHarbexBaseStation", Value::boolean(true)}}));
    EXPECT_EQ(h.messages(), QStringList{"[ERROR] - Wi-Fi Profile: HarbexModelName not found."});
}

TEST(CurrentNetworkConfiguration, HarbexThatPassedStoresItsModelName) {
    DiagnosticHarness h(scenarioAnswering(
        33, answer(true, true, Dictionary::make({{"HarbexModelName", Value::string("Harbex Station 6")}}))));
    const auto results = runTest(h, &Controller::runCurrentNetworkHarbexBaseStationWithConfiguration);
    EXPECT_TRUE(sameDictionary(*results, {{"isHostedByHarbexBaseStation", Value::boolean(true)},
                                          {"harbexModelName", Value::string("Harbex Station 6")}}));
}

TEST(CurrentNetworkConfiguration, AmbiguousNetworkNameIsStoredUnderNetworkName) {
    DiagnosticHarness h(scenarioAnswering(
        42, answer(true, false, Dictionary::make({{"NetworkName", Value::string("linksys")}}))));
    const auto results = runTest(h, &Controller::runCurrentNetworkAmbiguousNetworkNameWithConfiguration);
    EXPECT_TRUE(sameDictionary(*results, {{"isUsingAmbiguousNetworkName", Value::boolean(true)},
                                          {"networkName", Value::string("linksys")}}));
    EXPECT_EQ(wifiprofile::kNetworkName, QString("networkName"));
}

TEST(CurrentNetworkConfiguration, CaptivePortalWithoutAPreferredNetworkLogsCurrentPreferredNetwork) {
    DiagnosticHarness h(
        scenarioAnswering(46, answer(true, true, Dictionary::make({{"Other", Value::integer(1)}}))));
    const auto results = runTest(h, &Controller::runCurrentNetworkCaptivePortalWithConfiguration);
    EXPECT_TRUE(sameDictionary(*results, {{"isCaptive", Value::boolean(true)}}));
    EXPECT_EQ(h.messages(), QStringList{"[ERROR] - Wi-Fi Profile: currentPreferredNetwork not found."});
}

TEST(CurrentNetworkConfiguration, ThePreferredNetworkDictionaryHasItsEightEntries) {
    QStringList messages;
    const auto preferred = preferredNetworkFor(sampleNetworkProfile(), &messages);
    ASSERT_TRUE(preferred.has_value());
    ASSERT_EQ(preferred->kind(), Value::Kind::Dictionary);
    EXPECT_TRUE(
        sameDictionary(*preferred->toDictionary(), {{"SSID", Value::string("Home")},
                                                    {"security", Value::integer(4)},
                                                    {"isPasspoint", Value::boolean(false)},
                                                    {"isEnabled", Value::boolean(true)},
                                                    {"isCaptive", Value::boolean(true)},
                                                    {"isHidden", Value::boolean(false)},
                                                    {"isMultiAP", Value::boolean(true)},
                                                    {"lastJoined", Value::string("2026-11-20T10:00:00Z")}}));
    EXPECT_EQ(messages, QStringList());
}

TEST(CurrentNetworkConfiguration, EachProfileFlagGoesUnderItsOwnKey) {
    const std::vector<std::pair<QString, bool NetworkProfile::*>> flags = {
        {"isPasspoint", &NetworkProfile::isPasspoint}, {"isEnabled", &NetworkProfile::isEnabled},
        {"isCaptive", &NetworkProfile::isCaptive},     {"isHidden", &NetworkProfile::isHidden},
        {"isMultiAP", &NetworkProfile::isMultiAP},
    };
    for (const auto& [key, flag] : flags) {
        SCOPED_TRACE(key.toStdString());
        auto profile = sampleNetworkProfile();
        for (const auto& [otherKey, other] : flags) {
            (*profile).*other = false;
        }
        (*profile).*flag = true;
        QStringList messages;
        const auto preferred = preferredNetworkFor(profile, &messages);
        ASSERT_TRUE(preferred.has_value());
        const auto dictionary = preferred->toDictionary();
        ASSERT_NE(dictionary, nullptr);
        for (const auto& [otherKey, other] : flags) {
            EXPECT_TRUE(holds(*dictionary, otherKey, Value::boolean(otherKey == key)));
        }
    }
}

TEST(CurrentNetworkConfiguration, AProfileWithoutANameGivesSSIDTheNullMarker) {
    auto profile = sampleNetworkProfile();
    profile->ssidString.reset();
    QStringList messages;
    const auto preferred = preferredNetworkFor(profile, &messages);
    ASSERT_TRUE(preferred.has_value());
    Dictionary expected = sampleProfileDictionary();
    expected.set("SSID", Value::null());
    EXPECT_TRUE(sameDictionary(*preferred->toDictionary(), expected));
    EXPECT_EQ(messages, QStringList());
}

TEST(CurrentNetworkConfiguration, AProfileWithoutALastJoinedDateGivesLastJoinedTheNullMarker) {
    auto profile = sampleNetworkProfile();
    profile->lastJoinedTimestamp.reset();
    QStringList messages;
    const auto preferred = preferredNetworkFor(profile, &messages);
    ASSERT_TRUE(preferred.has_value());
    Dictionary expected = sampleProfileDictionary();
    expected.set("lastJoined", Value::null());
    EXPECT_TRUE(sameDictionary(*preferred->toDictionary(), expected));
}

TEST(CurrentNetworkConfiguration, TheLastJoinedDateIsWrittenInUTCWithWholeSeconds) {
    auto profile = sampleNetworkProfile();
    // 2027-01-31T23:59:59.750Z
    profile->lastJoinedTimestamp = platform::Date::fromSecondsSince1970(1801439999.75);
    QStringList messages;
    const auto preferred = preferredNetworkFor(profile, &messages);
    ASSERT_TRUE(preferred.has_value());
    EXPECT_TRUE(holds(*preferred->toDictionary(), "lastJoined", Value::string("2027-01-31T23:59:59Z")));
}

TEST(CurrentNetworkConfiguration, TheProfilesSecurityIsASignedIntegerAsItCame) {
    auto profile = sampleNetworkProfile();
    profile->security = -1;
    QStringList messages;
    const auto preferred = preferredNetworkFor(profile, &messages);
    ASSERT_TRUE(preferred.has_value());
    EXPECT_TRUE(holds(*preferred->toDictionary(), "security", Value::integer(-1)));
}

TEST(CurrentNetworkConfiguration, APreferredNetworkOfAnotherRecordKindCountsAsAbsent) {
    auto channel = std::make_shared<platform::WiFiChannel>();
    channel->channel = 6;
    for (const Value& notAProfile : {Value::record(channel), Value::record(samplePingResult()),
                                     Value::dictionary(Dictionary::make({{"SSID", Value::string("Home")}})),
                                     Value::string("Home"), Value::null()}) {
        SCOPED_TRACE(notAProfile.description().toStdString());
        DiagnosticHarness h(scenarioAnswering(
            46, answer(false, false, Dictionary::make({{"PreferredNetwork", notAProfile}}))));
        const auto results = runTest(h, &Controller::runCurrentNetworkCaptivePortalWithConfiguration);
        EXPECT_TRUE(sameDictionary(*results, {{"isCaptive", Value::boolean(false)}}));
        EXPECT_EQ(h.messages(), QStringList{"[ERROR] - Wi-Fi Profile: currentPreferredNetwork not found."});
    }
}

TEST(CurrentNetworkConfiguration, TheGroupWritesIntoTheCurrentNetworksDictionaryOnly) {
    auto scenario = joinedScenario();
    scenario.defaultAnswer = answer(true, true, everySample());
    DiagnosticHarness h(scenario);
    runCurrentNetworkGroup(h);
    EXPECT_TRUE(holds(*h.controller->currentNetworkData, "preferredNetwork",
                      Value::dictionary(std::make_shared<Dictionary>(sampleProfileDictionary()))));
    EXPECT_TRUE(h.controller->deviceData->empty());
    EXPECT_TRUE(h.controller->selectedNetworkData->empty());
    for (const auto& request : h.testRequests()) {
        EXPECT_TRUE(sameDictionary(*request.configuration, {{"MaxScanCacheAge", Value::integer(60)}}))
            << "test ID " << request.testID;
    }
}

}  // namespace
}  // namespace testsupport
