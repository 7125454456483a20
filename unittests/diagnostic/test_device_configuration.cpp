// The eleven device configuration tests: each sends the controller's configuration and writes into
// deviceData; the IP tests keep their method only when they do not pass, the count tests always.
#include "unittests/diagnostic/TestOperationTable.h"

namespace testsupport {

using Controller = wifiprofile::WiFiProfileViewController;

std::vector<Operation> deviceConfigurationOperations() {
    return {
        deviceOperation(
            "CustomIPv4", &Controller::runDeviceConfigurationCustomIPv4, 14, "Custom IPv4",
            "isUsingCustomIPv4",
            {plainDetail("IPv4ConfigMethod", "IPv4ConfigMethod", "IPv4ConfigMethod", Gate::WhenNotPassed)}),
        deviceOperation(
            "CustomIPv6", &Controller::runDeviceConfigurationCustomIPv6, 15, "Custom IPv6",
            "isUsingCustomIPv6",
            {plainDetail("IPv6ConfigMethod", "IPv6ConfigMethod", "IPv6ConfigMethod", Gate::WhenNotPassed)}),
        deviceOperation("CustomDNS", &Controller::runDeviceConfigurationCustomDNS, 16, "Custom DNS",
                        "isUsingCustomDNS"),
        deviceOperation("CustomWebProxy", &Controller::runDeviceConfigurationCustomWebProxy, 17,
                        "Custom Web Proxy", "isUsingCustomWebProxy"),
        deviceOperation("VornetRealTimeMode", &Controller::runDeviceConfigurationVornetRealTimeMode, 22,
                        "Vornet Real Time Mode", "isVornetInRealTimeMode"),
        deviceOperation(
            "BluetoothConnected", &Controller::runDeviceConfigurationBluetoothConnected, 19,
            "Bluetooth Connected", "isLargeConnectedBT",
            {plainDetail("BTConnectedCount", "bluetoothConnectedCount", "BluetoothConnectedCount")}),
        deviceOperation("BluetoothPaired", &Controller::runDeviceConfigurationBluetoothPaired, 18,
                        "Bluetooth Paired", "isLargePairedBT",
                        {plainDetail("BTPairedCount", "bluetoothPairedCount", "BluetoothPairedCount")}),
        deviceOperation("BTCoex", &Controller::runDeviceConfigurationBTCoex, 20, "Bluetooth Coex",
                        "isHYBRIDBTCoexistenceMode"),
        deviceOperation("LargePNL", &Controller::runDeviceConfigurationLargePNL, 47, "Large PNL",
                        "isLargePNL",
                        {plainDetail("PNLCount", "preferredNetworkListCount", "PreferredNetworkListCount")}),
        deviceOperation("PNLContainsHidden", &Controller::runDeviceConfigurationPNLContainsHidden, 48,
                        "PNL Contains Hidden", "doesPNLContainHiddenNetworks"),
        deviceOperation("ConflictingSecurityTypeInPNL",
                        &Controller::runDeviceConfigurationConflictingSecurityTypeInPNL, 29,
                        "Conflicting Security Type in PNL", "doesPNLContainConflictingSecurityType"),
    };
}

namespace {

using platform::Dictionary;
using platform::DictionaryRef;
using platform::Value;

INSTANTIATE_TEST_SUITE_P(DeviceConfiguration, OperationContract,
                         ::testing::ValuesIn(deviceConfigurationOperations()), operationName);

// A device test run on its own, with the current network's configuration as the test job would set it.
DictionaryRef runDeviceTest(DiagnosticHarness& h, void (Controller::*test)()) {
    h.controller->configuration = h.controller->currentNetworkConfiguration;
    (h.controller.get()->*test)();
    return h.controller->deviceData;
}

TEST(DeviceConfiguration, AnErrorWithCodeZeroCountsAsNoError) {
    auto withCodeZero =
        answer(true, false, Dictionary::make({{"IPv4ConfigMethod", Value::string("Manual")}}));
    withCodeZero.error = platform::makeError("WiFiDiagnostics", 0, "not a failure");
    DiagnosticHarness h(scenarioAnswering(14, withCodeZero));
    const auto deviceData = runDeviceTest(h, &Controller::runDeviceConfigurationCustomIPv4);
    EXPECT_TRUE(sameDictionary(*deviceData, {{"isUsingCustomIPv4", Value::boolean(true)},
                                             {"IPv4ConfigMethod", Value::string("Manual")}}));
    EXPECT_EQ(h.messages(), QStringList());
}

TEST(DeviceConfiguration, AServiceErrorOnCustomDNSLeavesItsKeyOutAndTheOtherTenStillWrite) {
    auto scenario = joinedScenario();
    scenario.defaultAnswer = answer(true, false, everySample());
    scenario.tests[16] = {errorAnswer(3)};
    DiagnosticHarness h(scenario);
    h.controller->configuration = h.controller->currentNetworkConfiguration;
    h.controller->totalTests = 11;
    h.controller->runDeviceConfigurationDiagnosticsTests();

    EXPECT_EQ(h.backend->requestedTestIDs(),
              std::vector<std::int64_t>({14, 15, 16, 17, 22, 19, 18, 20, 47, 48, 29}));
    EXPECT_EQ(sortedKeys(*h.controller->deviceData),
              sorted({"IPv4ConfigMethod", "IPv6ConfigMethod", "bluetoothConnectedCount",
                      "bluetoothPairedCount", "doesPNLContainConflictingSecurityType",
                      "doesPNLContainHiddenNetworks", "isHYBRIDBTCoexistenceMode", "isLargeConnectedBT",
                      "isLargePNL", "isLargePairedBT", "isUsingCustomIPv4", "isUsingCustomIPv6",
                      "isUsingCustomWebProxy", "isVornetInRealTimeMode", "preferredNetworkListCount"}));
    EXPECT_EQ(h.messages(), QStringList{runFailure("Custom DNS", 3)});
}

TEST(DeviceConfiguration, CustomIPv4ThatPassedStoresOnlyItsFlagWhateverTheResultAndInfo) {
    for (const bool result : {false, true}) {
        SCOPED_TRACE(testing::Message() << "result " << result);
        DiagnosticHarness h(scenarioAnswering(
            14, answer(result, true, Dictionary::make({{"IPv4ConfigMethod", Value::string("Manual")}}))));
        const auto deviceData = runDeviceTest(h, &Controller::runDeviceConfigurationCustomIPv4);
        EXPECT_TRUE(sameDictionary(*deviceData, {{"isUsingCustomIPv4", Value::boolean(result)}}));
        EXPECT_EQ(h.messages(), QStringList());
    }
}

TEST(DeviceConfiguration, CustomIPv4ThatFailedWithoutItsMethodStoresTheFlagAndLogsTheMethod) {
    DiagnosticHarness h(scenarioAnswering(
        14, answer(true, false, Dictionary::make({{"IPv6ConfigMethod", Value::string("Automatic")}}))));
    const auto deviceData = runDeviceTest(h, &Controller::runDeviceConfigurationCustomIPv4);
    EXPECT_TRUE(sameDictionary(*deviceData, {{"isUsingCustomIPv4", Value::boolean(true)}}));
    EXPECT_EQ(h.messages(), QStringList{"[ERROR] - Wi-Fi Profile: IPv4ConfigMethod not found."});
}

TEST(DeviceConfiguration, CustomIPv6ThatFailedStoresItsMethodUnderTheSameKey) {
    DiagnosticHarness h(scenarioAnswering(
        15, answer(false, false, Dictionary::make({{"IPv6ConfigMethod", Value::string("LinkLocal")}}))));
    const auto deviceData = runDeviceTest(h, &Controller::runDeviceConfigurationCustomIPv6);
    EXPECT_TRUE(sameDictionary(*deviceData, {{"isUsingCustomIPv6", Value::boolean(false)},
                                             {"IPv6ConfigMethod", Value::string("LinkLocal")}}));
}

TEST(DeviceConfiguration, BluetoothConnectedThatPassedStoresItsFlagAndCount) {
    DiagnosticHarness h(scenarioAnswering(
        19, answer(false, true, Dictionary::make({{"BTConnectedCount", Value::integer(2)}}))));
    const auto deviceData = runDeviceTest(h, &Controller::runDeviceConfigurationBluetoothConnected);
    EXPECT_TRUE(sameDictionary(*deviceData, {{"isLargeConnectedBT", Value::boolean(false)},
                                             {"bluetoothConnectedCount", Value::integer(2)}}));
    EXPECT_EQ(h.messages(), QStringList());
}

TEST(DeviceConfiguration, BluetoothPairedWithoutItsCountLogsTheLongName) {
    DiagnosticHarness h(scenarioAnswering(18, answer(true, false, Dictionary::make())));
    const auto deviceData = runDeviceTest(h, &Controller::runDeviceConfigurationBluetoothPaired);
    EXPECT_TRUE(sameDictionary(*deviceData, {{"isLargePairedBT", Value::boolean(true)}}));
    EXPECT_EQ(h.messages(), QStringList{"[ERROR] - Wi-Fi Profile: BluetoothPairedCount not found."});
}

TEST(DeviceConfiguration, LargePNLWithoutInfoStoresItsFlagAndLogsInfoNotFound) {
    DiagnosticHarness h(scenarioAnswering(47, answer(true, true, nullptr)));
    const auto deviceData = runDeviceTest(h, &Controller::runDeviceConfigurationLargePNL);
    EXPECT_TRUE(sameDictionary(*deviceData, {{"isLargePNL", Value::boolean(true)}}));
    EXPECT_EQ(h.messages(), QStringList{"[ERROR] - Wi-Fi Profile: Info not found."});
}

TEST(DeviceConfiguration, LargePNLWithoutItsCountLogsPreferredNetworkListCount) {
    DiagnosticHarness h(
        scenarioAnswering(47, answer(false, true, Dictionary::make({{"PNLSize", Value::integer(3)}}))));
    const auto deviceData = runDeviceTest(h, &Controller::runDeviceConfigurationLargePNL);
    EXPECT_TRUE(sameDictionary(*deviceData, {{"isLargePNL", Value::boolean(false)}}));
    EXPECT_EQ(h.messages(), QStringList{"[ERROR] - Wi-Fi Profile: PreferredNetworkListCount not found."});
}

TEST(DeviceConfiguration, ADetailOfAnyKindIsStoredAsItCame) {
    const std::vector<Value> counts = {
        Value::integer(31),
        Value::unsignedInteger(31),
        Value::number(31.5),
        Value::string("thirty-one"),
        Value::array(platform::makeArray({Value::string("Home"), Value::string("Lab")})),
        Value::null(),
    };
    for (const Value& count : counts) {
        SCOPED_TRACE(count.description().toStdString());
        DiagnosticHarness h(
            scenarioAnswering(47, answer(true, true, Dictionary::make({{"PNLCount", count}}))));
        const auto deviceData = runDeviceTest(h, &Controller::runDeviceConfigurationLargePNL);
        EXPECT_TRUE(holds(*deviceData, "preferredNetworkListCount", count));
    }
}

TEST(DeviceConfiguration, ANullMarkerInInfoIsStoredAsANullMarker) {
    DiagnosticHarness h(
        scenarioAnswering(14, answer(true, false, Dictionary::make({{"IPv4ConfigMethod", Value::null()}}))));
    const auto deviceData = runDeviceTest(h, &Controller::runDeviceConfigurationCustomIPv4);
    EXPECT_TRUE(holds(*deviceData, "IPv4ConfigMethod", Value::null()));
    EXPECT_EQ(h.messages(), QStringList());
}

TEST(DeviceConfiguration, TheTestsSendTheSelectedNetworksConfigurationUnchanged) {
    DiagnosticHarness h(joinedScenario());
    const auto selected =
        Dictionary::make({{"MaxScanCacheAge", Value::integer(60)}, {"NetworkName", Value::string("Lab")}});
    h.controller->configuration = selected;
    h.controller->totalTests = 11;
    h.controller->runDeviceConfigurationDiagnosticsTests();
    const auto requests = h.testRequests();
    ASSERT_EQ(requests.size(), 11u);
    for (const auto& request : requests) {
        EXPECT_TRUE(sameDictionary(*request.configuration, *selected)) << "test ID " << request.testID;
    }
}

}  // namespace
}  // namespace testsupport
