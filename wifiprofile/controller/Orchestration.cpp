// The test run: which groups run, the total for the progress bar, the configuration of the device
// and selected-network tests, the fixed order of the tests, and the end 0.5 s after the last one.
#include "platform/foundation/Dispatch.h"
#include "wifiprofile/controller/WiFiProfileViewController.h"

#include <chrono>

namespace wifiprofile {

using platform::Dictionary;
using platform::Value;
namespace dispatch = platform::dispatch;

namespace {

constexpr std::int32_t kDeviceTests = 11;
constexpr std::int32_t kDeviceAndCurrentNetworkTests = 40;
constexpr std::int32_t kSelectedNetworkTests = 16;
constexpr std::chrono::nanoseconds kEndDelay{500'000'000};

const QString kExcludedSuffix = QStringLiteral("_nomap");

bool isExcludedName(const std::optional<QString>& name) {
    return name && name->toLower().endsWith(kExcludedSuffix);
}

}  // namespace

void WiFiProfileViewController::testJob() {
    const platform::WiFiStatusRef status = wifiStatus.get();
    const std::optional<QString> currentName = status ? status->ssidString : std::nullopt;
    const std::optional<QString> selectedName = inputs->selectedNetworkName();
    const bool currentNameExcluded = isExcludedName(currentName);
    const bool selectedNameExcluded = isExcludedName(selectedName);

    const bool currentGroupRuns = currentName && !currentNameExcluded;
    const bool selectedGroupRuns = selectedName && !(selectedNameExcluded || selectedName == currentName);
    totalTests = (selectedGroupRuns ? kSelectedNetworkTests : 0) +
                 (currentGroupRuns ? kDeviceAndCurrentNetworkTests : kDeviceTests);

    if (selectedName) {
        configuration =
            Dictionary::make({{"MaxScanCacheAge", inputs->maxScanCacheAge.value_or(Value::null())},
                              {"NetworkName", Value::string(*selectedName)}});
    } else {
        configuration = currentNetworkConfiguration;
    }

    runDeviceConfigurationDiagnosticsTests();
    if (currentGroupRuns) {
        runCurrentNetworkDiagnosticsTests();
    }
    if (selectedGroupRuns) {
        runSelectedNetworkDiagnosticsTests();
    }

    const std::int64_t statusCode = selectedNameExcluded ? -7 : currentNameExcluded ? -6 : 0;
    dispatch::asyncAfter(dispatch::globalQueue(), kEndDelay,
                         [self = self(), statusCode] { self->endTestWithStatusCode(statusCode); });
}

void WiFiProfileViewController::runDeviceConfigurationDiagnosticsTests() {
    using Test = void (WiFiProfileViewController::*)();
    static constexpr Test kTests[] = {
        &WiFiProfileViewController::runDeviceConfigurationCustomIPv4,
        &WiFiProfileViewController::runDeviceConfigurationCustomIPv6,
        &WiFiProfileViewController::runDeviceConfigurationCustomDNS,
        &WiFiProfileViewController::runDeviceConfigurationCustomWebProxy,
        &WiFiProfileViewController::runDeviceConfigurationVornetRealTimeMode,
        &WiFiProfileViewController::runDeviceConfigurationBluetoothConnected,
        &WiFiProfileViewController::runDeviceConfigurationBluetoothPaired,
        &WiFiProfileViewController::runDeviceConfigurationBTCoex,
        &WiFiProfileViewController::runDeviceConfigurationLargePNL,
        &WiFiProfileViewController::runDeviceConfigurationPNLContainsHidden,
        &WiFiProfileViewController::runDeviceConfigurationConflictingSecurityTypeInPNL,
    };
    for (const Test test : kTests) {
        (this->*test)();
        updateProgress();
    }
}

void WiFiProfileViewController::runCurrentNetworkDiagnosticsTests() {
    using Test = void (WiFiProfileViewController::*)(DictionaryRef, DictionaryRef);
    static constexpr Test kTests[] = {
        &WiFiProfileViewController::runCurrentNetworkDetectDoubleNATWithConfiguration,
        &WiFiProfileViewController::runCurrentNetworkLongBeaconIntervalWithConfiguration,
        &WiFiProfileViewController::runCurrentNetworkLongDTIMIntervalWithConfiguration,
        &WiFiProfileViewController::runCurrentNetworkNoSecurityWithConfiguration,
        &WiFiProfileViewController::runCurrentNetworkLegacySecurityWEPWithConfiguration,
        &WiFiProfileViewController::runCurrentNetworkLegacySecurityWPAWithConfiguration,
        &WiFiProfileViewController::runCurrentNetworkLegacyRates11bWithConfiguration,
        &WiFiProfileViewController::runCurrentNetworkAmbiguousNetworkNameWithConfiguration,
        &WiFiProfileViewController::runCurrentNetworkHiddenNetworkWithConfiguration,
        &WiFiProfileViewController::runCurrentNetworkLumoPersonalHotspotWithConfiguration,
        &WiFiProfileViewController::runCurrentNetworkCaptivePortalWithConfiguration,
        &WiFiProfileViewController::runCurrentNetworkPasspointWithConfiguration,
        &WiFiProfileViewController::runCurrentNetworkConflictingPHYMode11ACWithConfiguration,
        &WiFiProfileViewController::runCurrentNetworkConflictingPHYMode11NWithConfiguration,
        &WiFiProfileViewController::runCurrentNetworkHarbexBaseStationWithConfiguration,
        &WiFiProfileViewController::runCurrentNetworkPingLANWithConfiguration,
        &WiFiProfileViewController::runCurrentNetworkPingWANWithConfiguration,
        &WiFiProfileViewController::runCurrentNetworkIPv4AssignedWithConfiguration,
        &WiFiProfileViewController::runCurrentNetworkIPv6AssignedWithConfiguration,
        &WiFiProfileViewController::runCurrentNetworkResolveDNSWithConfiguration,
        &WiFiProfileViewController::runCurrentNetworkReachOrvaneWithConfiguration,
        &WiFiProfileViewController::runCurrentNetworkRetrieveOrvaneWithConfiguration,
        &WiFiProfileViewController::runCurrentNetworkCongestedChannelWithConfiguration,
        &WiFiProfileViewController::runCurrentNetworkCongested2GHzWithConfiguration,
        &WiFiProfileViewController::runCurrentNetworkCongested5GHzWithConfiguration,
        &WiFiProfileViewController::runCurrentNetworkHT402GHzChannelWithConfiguration,
        &WiFiProfileViewController::runCurrentNetworkConflictingCountryCodeWithConfiguration,
        &WiFiProfileViewController::runCurrentNetworkPoorSignalWithConfiguration,
        &WiFiProfileViewController::runCurrentNetworkHiddenScanResultsWithConfiguration,
    };
    for (const Test test : kTests) {
        // Both read afresh before each call.
        (this->*test)(currentNetworkConfiguration, currentNetworkData);
        updateProgress();
    }
}

void WiFiProfileViewController::runSelectedNetworkDiagnosticsTests() {
    using Test = void (WiFiProfileViewController::*)();
    static constexpr Test kTests[] = {
        &WiFiProfileViewController::runSelectedNetworkLongBeaconInterval,
        &WiFiProfileViewController::runSelectedNetworkNoSecurity,
        &WiFiProfileViewController::runSelectedNetworkLegacySecurityWEP,
        &WiFiProfileViewController::runSelectedNetworkLegacySecurityWPA,
        &WiFiProfileViewController::runSelectedNetworkLegacyRates11b,
        &WiFiProfileViewController::runSelectedNetworkAmbiguousNetworkName,
        &WiFiProfileViewController::runSelectedNetworkHiddenNetwork,
        &WiFiProfileViewController::runSelectedNetworkLumoPersonalHotspot,
        &WiFiProfileViewController::runSelectedNetworkCaptivePortal,
        &WiFiProfileViewController::runSelectedNetworkPasspoint,
        &WiFiProfileViewController::runSelectedNetworkConflictingPHYMode11AC,
        &WiFiProfileViewController::runSelectedNetworkConflictingPHYMode11N,
        &WiFiProfileViewController::runSelectedNetworkHarbexBaseStation,
        &WiFiProfileViewController::runSelectedNetworkCongestedChannel,
        &WiFiProfileViewController::runSelectedNetworkConflictingCountryCode,
        &WiFiProfileViewController::runSelectedNetworkPoorSignal,
    };
    for (const Test test : kTests) {
        (this->*test)();
        updateProgress();
    }
}

void WiFiProfileViewController::updateProgress() {
    ++completedTests;
    dispatch::async(dispatch::mainQueue(), [self = self()] {
        const float progress =
            static_cast<float>(self->completedTests) / static_cast<float>(self->totalTests);
        if (self->progressView) {
            self->progressView->setProgress(progress, false);
        }
    });
}

}  // namespace wifiprofile
