// The controller's lifecycle: set-up, start in both modes, Wi-Fi power handling and the end.
#include "platform/foundation/DeviceCapability.h"
#include "platform/host/HostDiagnostic.h"
#include "platform/wifi/WiFiManager.h"
#include "unittests/diagnostic/DiagnosticHarness.h"
#include "unittests/support/MainLoop.h"
#include "wifiprofile/resources/Strings.h"

#include <gtest/gtest.h>

namespace {

using platform::Dictionary;
using platform::Value;
using testsupport::DiagnosticHarness;
using testsupport::joinedScenario;
using testsupport::notJoinedScenario;
using testsupport::parameters;

const QString kNoManagerMessage = "createManagerClient failed - unable to get Wi-Fi manager handle.";
const QString kNoDeviceMessage = "[ERROR] - Couldn't find a Wi-Fi device.";

platform::sim::Scenario listScenario(bool power = true) {
    auto scenario = joinedScenario("Home");
    scenario.device.power = power;
    return scenario;
}

// Index of the alert button titled with the strings-table text of key.
std::size_t buttonIndex(const platform::ui::AlertController& alert, const QString& title) {
    for (std::size_t i = 0; i < alert.actions().size(); ++i) {
        if (alert.actions()[i]->title() == title) {
            return i;
        }
    }
    return alert.actions().size();
}

bool isEmptyResultData(const platform::DictionaryRef& data) {
    return data && data->keys() == QStringList({"currentNetwork", "device", "selectedNetwork"}) &&
           data->value("device")->toDictionary()->empty() &&
           data->value("currentNetwork")->toDictionary()->empty() &&
           data->value("selectedNetwork")->toDictionary()->empty();
}

TEST(Setup, BuildsConfigurationsAndEmptyResults) {
    DiagnosticHarness h(joinedScenario(), parameters(45, false));
    const auto& c = *h.controller;
    EXPECT_EQ(*c.currentNetworkConfiguration, Dictionary({{"MaxScanCacheAge", Value::integer(45)}}));
    EXPECT_EQ(*c.freshScanConfiguration, Dictionary({{"MaxScanCacheAge", Value::integer(0)}}));
    EXPECT_TRUE(c.deviceData->empty());
    EXPECT_TRUE(c.currentNetworkData->empty());
    EXPECT_TRUE(c.selectedNetworkData->empty());
    EXPECT_EQ(c.completedTests, 0);
    EXPECT_FALSE(c.progressScreenVisible);
    EXPECT_FALSE(c.refreshEnabled);
    EXPECT_FALSE(c.scanFinished);
    EXPECT_EQ(c.manager, nullptr);
    EXPECT_EQ(c.device, nullptr);
}

TEST(Setup, PostsTheAutomationConfigurationWhenAutomationIsEnabled) {
    platform::DictionaryRef posted;
    auto* automation = platform::TestAutomation::sharedInstance();
    automation->setTestAutomationEnabled(true);
    automation->setConfigurationObserver([&posted](platform::DictionaryRef c) { posted = c; });
    const auto raw = parameters(60, true, "Lab");
    { DiagnosticHarness h(joinedScenario(), raw); }
    automation->setTestAutomationEnabled(false);
    automation->setConfigurationObserver(nullptr);
    ASSERT_TRUE(posted);
    EXPECT_EQ(*posted, Dictionary({{"parameters", Value::dictionary(raw)},
                                   {"predicates", Value::dictionary(Dictionary::make())},
                                   {"specifications", Value::dictionary(Dictionary::make())}}));
    EXPECT_EQ(posted->value("parameters")->toDictionary(), raw);  // the raw dictionary itself
}

TEST(Setup, PostsNothingWhenAutomationIsDisabled) {
    bool posted = false;
    platform::TestAutomation::sharedInstance()->setConfigurationObserver([&posted](auto) { posted = true; });
    { DiagnosticHarness h(joinedScenario()); }
    platform::TestAutomation::sharedInstance()->setConfigurationObserver(nullptr);
    EXPECT_FALSE(posted);
}

TEST(DirectMode, GivenNetworkNameIsKept) {
    DiagnosticHarness h(joinedScenario("Home"), parameters(60, false, "Lab"));
    ASSERT_TRUE(h.startAndWaitForFinish());
    EXPECT_EQ(h.inputs->selectedNetworkName(), QString("Lab"));
    EXPECT_EQ(h.controller->configuration->value("NetworkName"), Value::string("Lab"));
}

TEST(DirectMode, MissingNameIsFilledFromTheJoinedNetwork) {
    DiagnosticHarness h(joinedScenario("Home"));
    ASSERT_TRUE(h.startAndWaitForFinish());
    EXPECT_EQ(h.inputs->selectedNetworkName(), QString("Home"));
}

TEST(DirectMode, NotJoinedAndNoNameLeavesTheSelectedNameAbsent) {
    DiagnosticHarness h(notJoinedScenario());
    ASSERT_TRUE(h.startAndWaitForFinish());
    EXPECT_FALSE(h.inputs->selectedNetworkName().has_value());
    EXPECT_EQ(h.controller->totalTests, 11);
    EXPECT_EQ(h.finishes(), std::vector<std::int64_t>({0}));
}

TEST(DirectMode, CreatesNoWiFiManager) {
    const int before = platform::handleReport().created;
    DiagnosticHarness h(joinedScenario());
    ASSERT_TRUE(h.startAndWaitForFinish());
    EXPECT_EQ(platform::handleReport().created, before);
}

TEST(DirectMode, ShowsTheProgressScreenThenTheBarWithoutButton) {
    DiagnosticHarness h(joinedScenario());
    h.controller->start();
    EXPECT_TRUE(h.controller->progressScreenVisible);
    ASSERT_NE(h.controller->navigationItem, nullptr);
    EXPECT_EQ(h.controller->navigationItem->rightBarButtonItem(), nullptr);
    ASSERT_TRUE(h.waitForFinishes(1));
}

TEST(ListMode, NoRadioEndsWithMinus2AndStillBuildsTheListView) {
    auto scenario = listScenario();
    scenario.device.wifiRadio = false;
    DiagnosticHarness h(scenario, parameters(60, true));
    h.controller->start();
    EXPECT_EQ(h.finishes(), std::vector<std::int64_t>({-2}));
    EXPECT_EQ(h.messages(0), QStringList({kNoManagerMessage}));
    EXPECT_NE(h.controller->navigationBar, nullptr);
    ASSERT_NE(h.controller->navigationItem, nullptr);
    EXPECT_NE(h.controller->navigationItem->rightBarButtonItem(), nullptr);
    EXPECT_TRUE(isEmptyResultData(h.controller->result().data()));
}

TEST(ListMode, NoManagerClientEndsWithMinus2) {
    auto scenario = listScenario();
    scenario.device.managerClient = false;
    DiagnosticHarness h(scenario, parameters(60, true));
    h.controller->start();
    EXPECT_EQ(h.finishes(), std::vector<std::int64_t>({-2}));
    EXPECT_EQ(h.messages(0), QStringList({kNoManagerMessage}));
}

TEST(ListMode, NoDeviceEndsWithMinus3AndReleasesTheManager) {
    auto scenario = listScenario();
    scenario.device.devices = 0;
    const int liveBefore = platform::handleReport().live;
    DiagnosticHarness h(scenario, parameters(60, true));
    h.controller->start();
    EXPECT_EQ(h.finishes(), std::vector<std::int64_t>({-3}));
    EXPECT_EQ(h.messages(0), QStringList({kNoDeviceMessage}));
    EXPECT_EQ(h.controller->manager, nullptr);
    EXPECT_EQ(platform::handleReport().live, liveBefore);
}

TEST(ListMode, PoweredOnTakesTheHandlesAndShowsTheList) {
    DiagnosticHarness h(listScenario(true), parameters(60, true));
    h.controller->start();
    EXPECT_NE(h.controller->manager, nullptr);
    EXPECT_NE(h.controller->device, nullptr);
    EXPECT_TRUE(h.controller->wifiPoweredOn);
    EXPECT_EQ(h.controller->presentedViewController(), nullptr);
    ASSERT_TRUE(h.waitUntilIdle());
    EXPECT_EQ(h.inputs->selectedNetworkName(), QString("Home"));
    EXPECT_TRUE(h.controller->navigationItem->rightBarButtonItem()->isEnabled());
    EXPECT_TRUE(h.finishes().empty());
}

TEST(ListMode, PoweredOffShowsTheAlertWithNoThenYes) {
    DiagnosticHarness h(listScenario(false), parameters(60, true));
    h.controller->start();
    const auto alert = h.controller->presentedViewController();
    ASSERT_NE(alert, nullptr);
    EXPECT_TRUE(alert->title().isEmpty());
    EXPECT_EQ(alert->message(), wifiprofile::localizedString("POWER_ON_WIFI"));
    ASSERT_EQ(alert->actions().size(), 2u);
    EXPECT_EQ(alert->actions()[0]->title(), wifiprofile::localizedString("NO"));
    EXPECT_EQ(alert->actions()[1]->title(), wifiprofile::localizedString("YES"));
    EXPECT_EQ(alert->actions()[0]->style(), platform::ui::AlertAction::Style::Default);
    EXPECT_EQ(alert->actions()[1]->style(), platform::ui::AlertAction::Style::Default);
}

TEST(ListMode, WapiDeviceAsksToPowerOnWLAN) {
    auto scenario = listScenario(false);
    scenario.device.capabilities["wapi"] = true;
    DiagnosticHarness h(scenario, parameters(60, true));
    h.controller->start();
    ASSERT_NE(h.controller->presentedViewController(), nullptr);
    EXPECT_EQ(h.controller->presentedViewController()->message(),
              wifiprofile::localizedString("POWER_ON_WLAN"));
    EXPECT_FALSE(wifiprofile::localizedString("POWER_ON_WLAN").isEmpty());
}

TEST(ListMode, DecliningPowerEndsWithMinus4AndEmptyResults) {
    DiagnosticHarness h(listScenario(false), parameters(60, true));
    h.controller->start();
    const auto alert = h.controller->presentedViewController();
    ASSERT_NE(alert, nullptr);
    ASSERT_TRUE(alert->tapAction(buttonIndex(*alert, wifiprofile::localizedString("NO"))));
    ASSERT_TRUE(h.waitForFinishes(1));
    EXPECT_EQ(h.finishes(), std::vector<std::int64_t>({-4}));
    EXPECT_TRUE(isEmptyResultData(h.controller->result().data()));
    EXPECT_EQ(h.controller->manager, nullptr);
    EXPECT_EQ(h.controller->device, nullptr);
}

TEST(ListMode, AcceptingPowerShowsTheListOnlyAfterThePowerNotification) {
    DiagnosticHarness h(listScenario(false), parameters(60, true));
    h.controller->start();
    const auto alert = h.controller->presentedViewController();
    ASSERT_NE(alert, nullptr);
    ASSERT_TRUE(alert->tapAction(buttonIndex(*alert, wifiprofile::localizedString("YES"))));
    EXPECT_TRUE(h.backend->power());            // switched on at once
    EXPECT_FALSE(h.controller->wifiPoweredOn);  // but the controller waits for the notification
    EXPECT_TRUE(h.testRequests().empty());
    ASSERT_TRUE(h.waitUntilIdle());
    EXPECT_TRUE(h.controller->wifiPoweredOn);
    EXPECT_EQ(h.inputs->selectedNetworkName(), QString("Home"));
    EXPECT_EQ(h.backend->requestedTestIDs(), std::vector<std::int64_t>({31}));
    EXPECT_TRUE(h.finishes().empty());
}

TEST(ListMode, PowerOffWhileTheListIsShownEndsWithMinus5) {
    DiagnosticHarness h(listScenario(true), parameters(60, true));
    h.controller->start();
    ASSERT_TRUE(h.waitUntilIdle());
    h.backend->setPower(false);
    ASSERT_TRUE(h.waitForFinishes(1));
    EXPECT_EQ(h.finishes(), std::vector<std::int64_t>({-5}));
    EXPECT_FALSE(h.controller->wifiPoweredOn);
}

TEST(ListMode, NextStartsTheTestsOnTheSelectedNetwork) {
    DiagnosticHarness h(listScenario(true), parameters(60, true));
    h.controller->start();
    ASSERT_TRUE(h.waitUntilIdle());
    h.controller->navigationItem->rightBarButtonItem()->tap();
    EXPECT_TRUE(h.controller->progressScreenVisible);
    EXPECT_EQ(h.controller->navigationItem->rightBarButtonItem(), nullptr);
    ASSERT_TRUE(h.waitForFinishes(1));
    EXPECT_EQ(h.finishes(), std::vector<std::int64_t>({0}));
    EXPECT_EQ(h.controller->totalTests, 40);
}

TEST(ListMode, PowerOffDuringTheTestsEndsAtOnceAndAgainAfterTheLastTest) {
    auto scenario = listScenario(true);
    scenario.defaultLatency = std::chrono::milliseconds(5);
    DiagnosticHarness h(scenario, parameters(60, true));
    h.controller->start();
    ASSERT_TRUE(h.waitUntilIdle());
    h.controller->nextTapped(nullptr);
    ASSERT_TRUE(testsupport::runMainLoopUntil([&] { return h.controller->completedTests >= 3; }));
    h.backend->setPower(false);
    ASSERT_TRUE(h.waitForFinishes(2));
    EXPECT_EQ(h.finishes(), std::vector<std::int64_t>({-5, 0}));
    EXPECT_EQ(h.controller->completedTests, 40);  // the job went on with its remaining tests
}

TEST(End, TeardownAfterTheEndReleasesNothingTwice) {
    const auto before = platform::handleReport();
    {
        DiagnosticHarness h(listScenario(true), parameters(60, true));
        h.controller->start();
        ASSERT_TRUE(h.waitUntilIdle());
        const std::size_t cancelsBefore = h.backend->cancelCount();
        h.controller->endTestWithStatusCode(-5);
        EXPECT_EQ(h.controller->manager, nullptr);
        EXPECT_EQ(h.backend->cancelCount(), cancelsBefore + 1);
        h.controller->teardown();
        h.controller->teardown();
        // Each later clean-up still cancels the service's requests.
        EXPECT_EQ(h.backend->cancelCount(), cancelsBefore + 3);
    }
    const auto after = platform::handleReport();
    EXPECT_EQ(after.overReleases, before.overReleases);
    EXPECT_EQ(after.live, before.live);
}

TEST(End, ResultDataAlwaysHasTheThreeLiveDictionaries) {
    DiagnosticHarness h(joinedScenario());
    h.controller->endTestWithStatusCode(-6);
    const auto data = h.controller->result().data();
    ASSERT_TRUE(isEmptyResultData(data));
    EXPECT_EQ(data->value("device")->toDictionary(), h.controller->deviceData);
    EXPECT_EQ(data->value("currentNetwork")->toDictionary(), h.controller->currentNetworkData);
    EXPECT_EQ(data->value("selectedNetwork")->toDictionary(), h.controller->selectedNetworkData);
    EXPECT_EQ(h.controller->result().statusCode(), Value::integer(-6));
    EXPECT_TRUE(h.controller->isFinished());
}

TEST(Presentation, PortraitOnlyWithStatusBar) {
    DiagnosticHarness h(joinedScenario());
    EXPECT_FALSE(h.controller->prefersStatusBarHidden());
    EXPECT_FALSE(h.controller->shouldAutorotate());
    EXPECT_EQ(h.controller->supportedInterfaceOrientations(), 2u);
    EXPECT_EQ(h.controller->preferredInterfaceOrientationForPresentation(), 1);
}

TEST(Presentation, TitleFollowsTheWapiCapability) {
    auto scenario = joinedScenario();
    scenario.device.capabilities["wapi"] = true;
    DiagnosticHarness h(scenario);
    h.controller->setupViewWithNetworkList(false);
    EXPECT_EQ(h.controller->navigationItem->title(), wifiprofile::localizedString("WLAN_DIAGNOSTICS"));
}

TEST(Presentation, WithoutWapiTheTitleSaysWiFi) {
    DiagnosticHarness h(joinedScenario());
    h.controller->setupViewWithNetworkList(true);
    EXPECT_EQ(h.controller->navigationItem->title(), wifiprofile::localizedString("WIFI_DIAGNOSTICS"));
    EXPECT_NE(wifiprofile::localizedString("WIFI_DIAGNOSTICS"),
              wifiprofile::localizedString("WLAN_DIAGNOSTICS"));
}

TEST(Timestamp, FormatsISO8601InUTCWithWholeSeconds) {
    DiagnosticHarness h(joinedScenario());
    const auto date = platform::Date::fromSecondsSince1970(1795168800.75);
    EXPECT_EQ(h.controller->timestampFormattedInISO8601(date), "2026-11-20T10:00:00Z");
}

}  // namespace
