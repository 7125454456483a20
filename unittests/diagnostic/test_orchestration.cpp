// The test run: which groups run, totals, configurations, the fixed order, progress and the end.
#include "unittests/diagnostic/DiagnosticHarness.h"
#include "unittests/support/MainLoop.h"

#include "unittests/support/ExpectedTestOrder.h"

#include <gtest/gtest.h>

namespace {

using platform::Dictionary;
using platform::Value;
using testsupport::DiagnosticHarness;
using testsupport::joinedScenario;
using testsupport::notJoinedScenario;
using testsupport::parameters;

using testsupport::kCurrentNetworkTestIDs;
using testsupport::kDeviceTestIDs;
using testsupport::kSelectedNetworkTestIDs;
using testsupport::testIDsOf;

struct RunFacts {
    std::int32_t total;
    std::int64_t status;
    std::vector<std::int64_t> ids;
};

RunFacts runDirect(const platform::sim::Scenario& scenario, std::optional<QString> networkName) {
    DiagnosticHarness h(scenario, parameters(60, false, networkName));
    EXPECT_TRUE(h.startAndWaitForFinish());
    return {h.controller->totalTests, h.finishes().empty() ? 99 : h.finishes().front(),
            h.backend->requestedTestIDs()};
}

TEST(Orchestration, NotJoinedRunsTheElevenDeviceTests) {
    const RunFacts run = runDirect(notJoinedScenario(), std::nullopt);
    EXPECT_EQ(run.total, 11);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.ids, kDeviceTestIDs);
}

TEST(Orchestration, NotJoinedWithASelectedNetworkRuns27) {
    const RunFacts run = runDirect(notJoinedScenario(), "Lab");
    EXPECT_EQ(run.total, 27);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.ids, testIDsOf({kDeviceTestIDs, kSelectedNetworkTestIDs}));
}

TEST(Orchestration, JoinedRuns40) {
    const RunFacts run = runDirect(joinedScenario("Home"), std::nullopt);
    EXPECT_EQ(run.total, 40);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.ids, testIDsOf({kDeviceTestIDs, kCurrentNetworkTestIDs}));
}

TEST(Orchestration, JoinedWithAnotherSelectedNetworkRuns56) {
    const RunFacts run = runDirect(joinedScenario("Home"), "Lab");
    EXPECT_EQ(run.total, 56);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.ids, testIDsOf({kDeviceTestIDs, kCurrentNetworkTestIDs, kSelectedNetworkTestIDs}));
}

TEST(Orchestration, JoinedExcludedNameSelectedByDefaultEndsWithMinus7) {
    DiagnosticHarness h(joinedScenario("Cafe_NoMap"));
    ASSERT_TRUE(h.startAndWaitForFinish());
    EXPECT_EQ(h.inputs->selectedNetworkName(), QString("Cafe_NoMap"));
    EXPECT_EQ(h.controller->totalTests, 11);
    EXPECT_EQ(h.finishes(), std::vector<std::int64_t>({-7}));
    EXPECT_EQ(h.backend->requestedTestIDs(), kDeviceTestIDs);
}

TEST(Orchestration, ExcludedSelectedNameSkipsTheSelectedGroupAndEndsWithMinus7) {
    const RunFacts run = runDirect(joinedScenario("Home"), "Lab_nomap");
    EXPECT_EQ(run.total, 40);
    EXPECT_EQ(run.status, -7);
    EXPECT_EQ(run.ids, testIDsOf({kDeviceTestIDs, kCurrentNetworkTestIDs}));
}

TEST(Orchestration, ExcludedCurrentNameSkipsTheCurrentGroupAndEndsWithMinus6) {
    const RunFacts run = runDirect(joinedScenario("Home_nomap"), "Lab");
    EXPECT_EQ(run.total, 27);
    EXPECT_EQ(run.status, -6);
    EXPECT_EQ(run.ids, testIDsOf({kDeviceTestIDs, kSelectedNetworkTestIDs}));
}

TEST(Orchestration, SelectedEqualToJoinedIsNotTestedTwiceButNamedInTheConfiguration) {
    DiagnosticHarness h(joinedScenario("Home"), parameters(60, false, "Home"));
    ASSERT_TRUE(h.startAndWaitForFinish());
    EXPECT_EQ(h.controller->totalTests, 40);
    EXPECT_EQ(h.finishes(), std::vector<std::int64_t>({0}));
    EXPECT_EQ(*h.controller->configuration,
              Dictionary({{"MaxScanCacheAge", Value::integer(60)}, {"NetworkName", Value::string("Home")}}));
    // The device group still receives the network name.
    EXPECT_EQ(*h.testRequests().front().configuration, *h.controller->configuration);
}

TEST(Orchestration, NamesDifferingOnlyInCaseAreDifferentNetworks) {
    const RunFacts run = runDirect(joinedScenario("Home"), "home");
    EXPECT_EQ(run.total, 56);
}

TEST(Orchestration, EachGroupSendsItsConfiguration) {
    DiagnosticHarness h(joinedScenario("Home"), parameters(30, false, "Lab"));
    ASSERT_TRUE(h.startAndWaitForFinish());
    const auto requests = h.testRequests();
    ASSERT_EQ(requests.size(), 56u);
    const Dictionary selected{{"MaxScanCacheAge", Value::integer(30)}, {"NetworkName", Value::string("Lab")}};
    const Dictionary current{{"MaxScanCacheAge", Value::integer(30)}};
    for (std::size_t i = 0; i < requests.size(); ++i) {
        const bool currentGroup = i >= 11 && i < 40;
        EXPECT_EQ(*requests[i].configuration, currentGroup ? current : selected) << "request " << i;
    }
}

TEST(Orchestration, WithoutASelectedNameTheConfigurationIsTheCurrentNetworks) {
    DiagnosticHarness h(notJoinedScenario());
    ASSERT_TRUE(h.startAndWaitForFinish());
    EXPECT_EQ(h.controller->configuration, h.controller->currentNetworkConfiguration);
    EXPECT_TRUE(h.controller->selectedNetworkData->empty());
}

TEST(Orchestration, FailingTestsStillAdvanceTheProgress) {
    auto scenario = joinedScenario("Home");
    scenario.defaultAnswer = testsupport::errorAnswer(5);
    DiagnosticHarness h(scenario);
    ASSERT_TRUE(h.startAndWaitForFinish());
    EXPECT_EQ(h.controller->completedTests, 40);
    EXPECT_EQ(h.messages().size(), 40);
    EXPECT_TRUE(h.controller->deviceData->empty());
    EXPECT_EQ(h.finishes(), std::vector<std::int64_t>({0}));
}

TEST(Orchestration, ProgressReachesOneBeforeTheEnd) {
    DiagnosticHarness h(joinedScenario("Home"));
    h.controller->start();
    ASSERT_NE(h.controller->progressView, nullptr);
    std::vector<float> seen;
    ASSERT_TRUE(testsupport::runMainLoopUntil([&] {
        const float p = h.controller->progressView->progress();
        if (seen.empty() || seen.back() != p) {
            seen.push_back(p);
        }
        return p >= 1.0f;
    }));
    EXPECT_TRUE(h.finishes().empty());  // the end comes 0.5 s after the last test
    EXPECT_FLOAT_EQ(seen.back(), 1.0f);
    EXPECT_TRUE(std::is_sorted(seen.begin(), seen.end()));
    ASSERT_TRUE(h.waitForFinishes(1));
    EXPECT_EQ(h.controller->completedTests, h.controller->totalTests);
}

TEST(Orchestration, TheEndComesHalfASecondAfterTheLastTest) {
    DiagnosticHarness h(joinedScenario("Home"));
    const auto started = std::chrono::steady_clock::now();
    ASSERT_TRUE(h.startAndWaitForFinish());
    EXPECT_GE(std::chrono::steady_clock::now() - started, std::chrono::milliseconds(500));
}

}  // namespace
