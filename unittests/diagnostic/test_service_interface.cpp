// The status query and the test step shared by every test.
#include "unittests/diagnostic/DiagnosticHarness.h"

#include <gtest/gtest.h>

namespace {

using platform::Dictionary;
using platform::Value;
using platform::sim::StatusAnswer;
using testsupport::answer;
using testsupport::DiagnosticHarness;
using testsupport::errorAnswer;
using testsupport::joinedScenario;
using testsupport::result;
using testsupport::resultsAnswer;

TEST(DetermineCurrentNetwork, JoinedStatusFillsSsidAndBssid) {
    DiagnosticHarness h(joinedScenario("Home", "02:aa:bb:cc:dd:ee"));
    h.controller->determineCurrentNetwork();
    const auto status = h.controller->wifiStatus.get();
    ASSERT_NE(status, nullptr);
    EXPECT_EQ(status->ssidString, QString("Home"));
    EXPECT_EQ(status->bssid, QString("02:aa:bb:cc:dd:ee"));
}

TEST(DetermineCurrentNetwork, SnapshotWithoutWiFiLeavesTheStatusAbsent) {
    auto scenario = joinedScenario();
    scenario.status.front().kind = StatusAnswer::Kind::NoWiFiStatus;
    DiagnosticHarness h(scenario);
    h.controller->determineCurrentNetwork();
    EXPECT_EQ(h.controller->wifiStatus.get(), nullptr);
    // Later reads of the name find nothing: the tests run for the device alone.
    ASSERT_TRUE(h.startAndWaitForFinish());
    EXPECT_FALSE(h.inputs->selectedNetworkName().has_value());
    EXPECT_EQ(h.controller->totalTests, 11);
}

TEST(DetermineCurrentNetwork, ErrorKeepsThePreviousStatusAndLogs) {
    auto scenario = joinedScenario("Home");
    StatusAnswer failure;
    failure.kind = StatusAnswer::Kind::Error;
    failure.error = platform::makeError("WiFiDiagnostics", 9, "status unavailable");
    scenario.status.push_back(failure);
    DiagnosticHarness h(scenario);
    h.controller->determineCurrentNetwork();
    h.controller->determineCurrentNetwork();
    ASSERT_NE(h.controller->wifiStatus.get(), nullptr);
    EXPECT_EQ(h.controller->wifiStatus.get()->ssidString, QString("Home"));
    EXPECT_EQ(h.messages(3), QStringList({"[ERROR] - Wi-Fi Profile: Query Status failed with error: "
                                          "WiFiDiagnostics error 9: status unavailable"}));
}

TEST(DetermineCurrentNetwork, ErrorAtTheFirstQueryLeavesTheStatusAbsent) {
    auto scenario = joinedScenario();
    scenario.status.front().kind = StatusAnswer::Kind::Error;
    scenario.status.front().error = platform::makeError("WiFiDiagnostics", 2, "x");
    DiagnosticHarness h(scenario);
    h.controller->determineCurrentNetwork();
    EXPECT_EQ(h.controller->wifiStatus.get(), nullptr);
}

TEST(TestResultFromResults, AbsentArrayIsLoggedAsResultsNotFound) {
    DiagnosticHarness h(joinedScenario());
    EXPECT_EQ(h.controller->testResultFromResults(std::nullopt), nullptr);
    EXPECT_EQ(h.messages(), QStringList({"[ERROR] - Wi-Fi Profile: Results not found."}));
}

TEST(TestResultFromResults, EmptyArrayIsLoggedAsResultsNotFound) {
    DiagnosticHarness h(joinedScenario());
    EXPECT_EQ(h.controller->testResultFromResults(std::vector<platform::DiagnosticsTestResultRef>{}),
              nullptr);
    EXPECT_EQ(h.messages(), QStringList({"[ERROR] - Wi-Fi Profile: Results not found."}));
}

TEST(TestResultFromResults, AbsentFirstElementIsLoggedAsTestResultNotFound) {
    DiagnosticHarness h(joinedScenario());
    EXPECT_EQ(h.controller->testResultFromResults(std::vector<platform::DiagnosticsTestResultRef>{nullptr}),
              nullptr);
    EXPECT_EQ(h.messages(), QStringList({"[ERROR] - Wi-Fi Profile: Test Result not found."}));
}

TEST(TestResultFromResults, OnlyTheFirstOfTwoIsUsed) {
    DiagnosticHarness h(joinedScenario());
    const auto first = result(true, false);
    EXPECT_EQ(h.controller->testResultFromResults(std::vector{first, result(false, true)}), first);
    EXPECT_TRUE(h.messages().isEmpty());
}

TEST(TestStep, ErrorWithCodeZeroIsNoFailure) {
    auto scenario = joinedScenario();
    auto a = answer(true, true);
    a.error = platform::makeError("WiFiDiagnostics", 0, "not an error");
    scenario.tests[16] = {a};
    DiagnosticHarness h(scenario);
    h.controller->configuration = h.controller->currentNetworkConfiguration;
    h.controller->runDeviceConfigurationCustomDNS();
    EXPECT_EQ(h.controller->deviceData->value("isUsingCustomDNS"), Value::boolean(true));
    EXPECT_TRUE(h.messages().isEmpty());
}

TEST(TestStep, TwoResultsUseOnlyTheFirst) {
    auto scenario = joinedScenario();
    scenario.tests[16] = {resultsAnswer(std::vector{result(true, true), result(false, true)})};
    DiagnosticHarness h(scenario);
    h.controller->configuration = h.controller->currentNetworkConfiguration;
    h.controller->runDeviceConfigurationCustomDNS();
    EXPECT_EQ(h.controller->deviceData->value("isUsingCustomDNS"), Value::boolean(true));
}

TEST(TestStep, MissingOneOfTwoDetailsWritesTheOtherAndLogsOnce) {
    auto scenario = joinedScenario();
    scenario.tests[32] = {answer(true, false, Dictionary::make({{"Noise", Value::integer(-92)}}))};
    DiagnosticHarness h(scenario);
    auto results = Dictionary::make();
    h.controller->runCurrentNetworkPoorSignalWithConfiguration(h.controller->currentNetworkConfiguration,
                                                               results);
    EXPECT_EQ(*results,
              Dictionary({{"hasPoorSignal", Value::boolean(true)}, {"noise", Value::integer(-92)}}));
    EXPECT_EQ(h.messages(), QStringList({"[ERROR] - Wi-Fi Profile: RSSI not found."}));
}

TEST(TestStep, SendsOneRequestWithTheIDAndConfiguration) {
    DiagnosticHarness h(joinedScenario());
    const auto config =
        Dictionary::make({{"MaxScanCacheAge", Value::integer(5)}, {"NetworkName", Value::string("X")}});
    h.controller->configuration = config;
    h.controller->runDeviceConfigurationCustomDNS();
    const auto requests = h.testRequests();
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_EQ(requests[0].testID, 16);
    EXPECT_EQ(*requests[0].configuration, *config);
}

TEST(TestStep, MessagesAreNotFormattedWhenErrorLevelIsOff) {
    auto scenario = joinedScenario();
    scenario.tests[16] = {errorAnswer(4)};
    DiagnosticHarness h(scenario);
    platform::setMinimumLogLevel(platform::LogLevel::Fault);
    h.controller->configuration = h.controller->currentNetworkConfiguration;
    h.controller->runDeviceConfigurationCustomDNS();
    platform::setMinimumLogLevel(platform::LogLevel::Error);
    EXPECT_TRUE(h.logs().empty());
    EXPECT_FALSE(h.controller->deviceData->contains("isUsingCustomDNS"));
}

}  // namespace
