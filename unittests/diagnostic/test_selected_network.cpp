// The sixteen selected-network tests: each runs a current-network test with the controller's
// configuration into selectedNetworkData, writing exactly what that test writes.
#include "unittests/diagnostic/TestOperationTable.h"

#include <set>

namespace testsupport {
namespace {

using Controller = wifiprofile::WiFiProfileViewController;
using platform::Dictionary;
using platform::DictionaryRef;
using platform::Value;

// The current-network test with testID, as the selected-network operation run reruns it.
Operation reusing(std::string name, void (Controller::*run)(), std::int64_t testID) {
    std::vector<Operation> reusable = currentNetworkConfigurationOperations();
    for (const Operation& op : radioEnvironmentOperations()) {
        reusable.push_back(op);
    }
    for (Operation op : reusable) {
        if (op.testID == testID) {
            op.name = std::move(name);
            op.target = Target::Selected;
            op.runWithoutArguments = run;
            op.runWithArguments = nullptr;
            return op;
        }
    }
    ADD_FAILURE() << "no current-network test with ID " << testID;
    return {};
}

std::vector<Operation> selectedNetworkOperations() {
    return {
        reusing("LongBeaconInterval", &Controller::runSelectedNetworkLongBeaconInterval, 34),
        reusing("NoSecurity", &Controller::runSelectedNetworkNoSecurity, 38),
        reusing("LegacySecurityWEP", &Controller::runSelectedNetworkLegacySecurityWEP, 39),
        reusing("LegacySecurityWPA", &Controller::runSelectedNetworkLegacySecurityWPA, 40),
        reusing("LegacyRates11b", &Controller::runSelectedNetworkLegacyRates11b, 41),
        reusing("AmbiguousNetworkName", &Controller::runSelectedNetworkAmbiguousNetworkName, 42),
        reusing("HiddenNetwork", &Controller::runSelectedNetworkHiddenNetwork, 43),
        reusing("LumoPersonalHotspot", &Controller::runSelectedNetworkLumoPersonalHotspot, 44),
        reusing("CaptivePortal", &Controller::runSelectedNetworkCaptivePortal, 46),
        reusing("Passpoint", &Controller::runSelectedNetworkPasspoint, 45),
        reusing("ConflictingPHYMode11AC", &Controller::runSelectedNetworkConflictingPHYMode11AC, 36),
        reusing("ConflictingPHYMode11N", &Controller::runSelectedNetworkConflictingPHYMode11N, 37),
        reusing("HarbexBaseStation", &Controller::runSelectedNetworkHarbexBaseStation, 33),
        reusing("CongestedChannel", &Controller::runSelectedNetworkCongestedChannel, 24),
        reusing("ConflictingCountryCode", &Controller::runSelectedNetworkConflictingCountryCode, 28),
        reusing("PoorSignal", &Controller::runSelectedNetworkPoorSignal, 32),
    };
}

INSTANTIATE_TEST_SUITE_P(SelectedNetwork, OperationContract, ::testing::ValuesIn(selectedNetworkOperations()),
                         operationName);

// Every key the sixteen reused tests can write.
const QStringList kSelectedNetworkKeys = {
    "isBeaconIntervalLong",
    "beaconInterval",
    "isUsingOpenSecurity",
    "isUsingWEPSecurity",
    "isUsingWPASecurity",
    "security",
    "isUsingLegacyRates",
    "isUsingAmbiguousNetworkName",
    "networkName",
    "isHiddenNetwork",
    "isLumoPersonalHotspot",
    "isCaptive",
    "preferredNetwork",
    "isPasspointNetwork",
    "hasConflictingPHYMode11AC",
    "hasConflictingPHYMode11N",
    "supportedPHYModes",
    "isHostedByHarbexBaseStation",
    "harbexModelName",
    "isChannelCongested",
    "currentChannel",
    "2GHzChannel",
    "5GHzChannel",
    "5GHz40MHzChannel",
    "5GHzNonDFSChannel",
    "foundConflictingCountryCode",
    "adoptedCountryCode",
    "hasPoorSignal",
    "RSSI",
    "noise",
};

// Keys of tests the selected group never runs.
const QStringList kNeverSelectedKeys = {
    "hasDoubleNATConfiguration",
    "isDTIMIntervalLong",
    "DTIMInterval",
    "pingedLAN",
    "pingLANResult",
    "pingedWAN",
    "pingWANResult",
    "isIPv4Assigned",
    "isIPv6Assigned",
    "resolvedDNS",
    "reachedOrvane",
    "retrievedOrvane",
    "is2GHzCongested",
    "is5GHzCongested",
    "hasHT40Channel",
    "foundHiddenNetworks",
    "hiddenNetworkCount",
    "foundScanResults",
};

DictionaryRef selectedConfiguration() {
    return Dictionary::make({{"MaxScanCacheAge", Value::integer(60)}, {"NetworkName", Value::string("Lab")}});
}

// Every test ID answered with result and didPass and an info holding every detail of every test.
platform::sim::Scenario richScenario(const QString& joined, bool didPass) {
    auto scenario = joinedScenario(joined);
    scenario.defaultAnswer = answer(true, didPass, everySample());
    return scenario;
}

TEST(SelectedNetwork, TheGroupWritesOnlyKeysOfTheSixteenReusedTests) {
    for (const bool didPass : {false, true}) {
        SCOPED_TRACE(testing::Message() << "didPass " << didPass);
        DiagnosticHarness h(richScenario("Home", didPass));
        h.controller->configuration = selectedConfiguration();
        h.controller->totalTests = 27;
        h.controller->runSelectedNetworkDiagnosticsTests();

        QStringList expected = kSelectedNetworkKeys;
        if (!didPass) {
            expected.removeAll("harbexModelName");  // recorded only when that test passes
        }
        EXPECT_EQ(sortedKeys(*h.controller->selectedNetworkData), sorted(expected));
        EXPECT_EQ(h.backend->requestedTestIDs(), std::vector<std::int64_t>({34, 38, 39, 40, 41, 42, 43, 44,
                                                                            46, 45, 36, 37, 33, 24, 28, 32}));
        EXPECT_TRUE(h.controller->currentNetworkData->empty());
        EXPECT_TRUE(h.controller->deviceData->empty());
    }
}

TEST(SelectedNetwork, AfterAWholeRunTheSelectedDictionaryHoldsNoKeyOfAnotherTest) {
    DiagnosticHarness h(richScenario("Home", true), parameters(60, false, "Lab"));
    ASSERT_TRUE(h.startAndWaitForFinish());
    ASSERT_EQ(h.finishes(), std::vector<std::int64_t>({0}));
    const QStringList keys = h.controller->selectedNetworkData->keys();
    EXPECT_EQ(sorted(keys), sorted(kSelectedNetworkKeys));
    for (const QString& key : kNeverSelectedKeys) {
        EXPECT_FALSE(keys.contains(key)) << key.toStdString();
    }
    // The current network's run wrote those keys into its own dictionary.
    for (const char* key :
         {"pingedLAN", "is2GHzCongested", "foundHiddenNetworks", "hasDoubleNATConfiguration"}) {
        EXPECT_TRUE(h.controller->currentNetworkData->contains(key)) << key;
    }
}

TEST(SelectedNetwork, WithoutASelectedNetworkTheGroupDoesNotRunAndItsDictionaryStaysEmpty) {
    auto scenario = notJoinedScenario();
    scenario.defaultAnswer = answer(true, true, everySample());
    DiagnosticHarness h(scenario);
    ASSERT_TRUE(h.startAndWaitForFinish());
    EXPECT_FALSE(h.inputs->selectedNetworkName().has_value());
    ASSERT_NE(h.controller->configuration, nullptr);
    EXPECT_TRUE(sameDictionary(*h.controller->configuration, *h.controller->currentNetworkConfiguration));
    EXPECT_TRUE(h.controller->selectedNetworkData->empty());
    EXPECT_EQ(h.backend->requestedTestIDs(),
              std::vector<std::int64_t>({14, 15, 16, 17, 22, 19, 18, 20, 47, 48, 29}));
}

TEST(SelectedNetwork, TheSelectedRunWritesTheSameKeysAsTheCurrentRunAndLeavesTheCurrentOnesAlone) {
    auto scenario = joinedScenario();
    scenario.tests[46] = {answer(false, true, everySample()), answer(true, false, everySample())};
    DiagnosticHarness h(scenario);
    h.controller->runCurrentNetworkCaptivePortalWithConfiguration(h.controller->currentNetworkConfiguration,
                                                                  h.controller->currentNetworkData);
    h.controller->configuration = selectedConfiguration();
    h.controller->runSelectedNetworkCaptivePortal();

    const Value preferred = Value::dictionary(std::make_shared<Dictionary>(sampleProfileDictionary()));
    EXPECT_TRUE(sameDictionary(*h.controller->currentNetworkData,
                               {{"isCaptive", Value::boolean(false)}, {"preferredNetwork", preferred}}));
    EXPECT_TRUE(sameDictionary(*h.controller->selectedNetworkData,
                               {{"isCaptive", Value::boolean(true)}, {"preferredNetwork", preferred}}));
}

TEST(SelectedNetwork, TheMessagesAreTheCurrentNetworksTexts) {
    auto scenario = joinedScenario();
    scenario.tests[46] = {answer(true, true, Dictionary::make())};
    scenario.tests[32] = {errorAnswer(8)};
    DiagnosticHarness h(scenario);
    h.controller->configuration = selectedConfiguration();
    h.controller->runSelectedNetworkCaptivePortal();
    h.controller->runSelectedNetworkPoorSignal();
    EXPECT_EQ(h.messages(), QStringList({"[ERROR] - Wi-Fi Profile: currentPreferredNetwork not found.",
                                         runFailure("Poor Signal", 8)}));
}

TEST(SelectedNetwork, EachOperationReadsTheConfigurationWhenCalled) {
    DiagnosticHarness h(joinedScenario());
    const auto first = selectedConfiguration();
    const auto second =
        Dictionary::make({{"MaxScanCacheAge", Value::integer(60)}, {"NetworkName", Value::string("Cafe")}});
    h.controller->configuration = first;
    h.controller->runSelectedNetworkNoSecurity();
    h.controller->configuration = second;
    h.controller->runSelectedNetworkPoorSignal();
    const auto requests = h.testRequests();
    ASSERT_EQ(requests.size(), 2u);
    EXPECT_TRUE(sameDictionary(*requests[0].configuration, *first));
    EXPECT_TRUE(sameDictionary(*requests[1].configuration, *second));
}

TEST(SelectedNetwork, AFailingTestLeavesItsKeysOutAndTheGroupGoesOn) {
    auto scenario = richScenario("Home", true);
    scenario.tests[38] = {errorAnswer(2)};
    DiagnosticHarness h(scenario);
    h.controller->configuration = selectedConfiguration();
    h.controller->totalTests = 27;
    h.controller->runSelectedNetworkDiagnosticsTests();
    const auto& data = *h.controller->selectedNetworkData;
    EXPECT_FALSE(data.contains("isUsingOpenSecurity"));
    EXPECT_TRUE(holds(data, "isUsingWEPSecurity", Value::boolean(true)));
    EXPECT_TRUE(holds(data, "hasPoorSignal", Value::boolean(true)));
    EXPECT_EQ(h.messages(), QStringList{runFailure("No Security", 2)});
}

}  // namespace
}  // namespace testsupport
