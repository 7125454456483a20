#pragma once
// The Wi-Fi Profile diagnostic: profiles the device's configuration, the joined network and
// optionally one selected network through numbered requests to the Wi-Fi diagnostics service,
// and reports one status code with the "device", "currentNetwork" and "selectedNetwork" results.

#include "platform/foundation/Value.h"
#include "platform/host/HostDiagnostic.h"
#include "platform/wifi/WiFiDiagnosticsClient.h"
#include "platform/wifi/WiFiManager.h"
#include "platform/wifi/WiFiRecords.h"
#include "wifiprofile/controller/WiFiProfileInputs.h"

#include <QString>

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>

namespace platform::ui {
class TableView;
class RefreshControl;
class Image;
}  // namespace platform::ui

namespace wifiprofile {

class WiFiHeaderView;

// A value shared between the main queue and background jobs, read and replaced whole under a lock.
template <class T>
class Shared {
  public:
    T get() const {
        std::lock_guard lock(mutex_);
        return value_;
    }
    void set(T value) {
        std::lock_guard lock(mutex_);
        value_ = std::move(value);
    }

  private:
    mutable std::mutex mutex_;
    T value_{};
};

class WiFiProfileViewController final : public platform::HostDiagnosticViewController {
  public:
    using DictionaryRef = platform::DictionaryRef;

    // ---- Host entry points ----
    void setupWithInputs(std::shared_ptr<platform::HostDiagnosticInputs> inputs, void* responder) override;
    void start() override;
    void teardown() override;

    // ---- Lifecycle ----
    bool setupWiFi();
    void presentWiFiPoweredOffAlert();
    void powerChanged();
    static void powerCallback(platform::WiFiDeviceRef device, std::weak_ptr<void> context);
    void nextTapped(void* sender);
    void runTests();
    void endTestWithStatusCode(std::int64_t statusCode);
    void cleanUp();
    void finishTest();
    QString timestampFormattedInISO8601(const platform::Date& date) const;

    bool prefersStatusBarHidden() const override { return false; }
    bool shouldAutorotate() const override { return false; }
    unsigned supportedInterfaceOrientations() const override { return 2; }
    long preferredInterfaceOrientationForPresentation() const override { return 1; }

    // ---- Wi-Fi diagnostics service ----
    void determineCurrentNetwork();
    platform::DiagnosticsTestResultRef testResultFromResults(
        const platform::DiagnosticsTestResults& results) const;

    // ---- Test run and progress ----
    void testJob();
    void runDeviceConfigurationDiagnosticsTests();
    void runCurrentNetworkDiagnosticsTests();
    void runSelectedNetworkDiagnosticsTests();
    void updateProgress();

    // ---- Screens ----
    void displayProgressScreen();
    void updateViewConstraints() override;
    void setupViewWithNetworkList(bool showNetworkList);
    void displayNetworkList();
    void showSpinner();
    void hideSpinner();
    void enableRightBarButtonItem(bool enabled);
    void removeNavigationBarButtons();

    // ---- Device configuration tests ----
    void runDeviceConfigurationCustomIPv4();
    void runDeviceConfigurationCustomIPv6();
    void runDeviceConfigurationCustomDNS();
    void runDeviceConfigurationCustomWebProxy();
    void runDeviceConfigurationVornetRealTimeMode();
    void runDeviceConfigurationBluetoothConnected();
    void runDeviceConfigurationBluetoothPaired();
    void runDeviceConfigurationBTCoex();
    void runDeviceConfigurationLargePNL();
    void runDeviceConfigurationPNLContainsHidden();
    void runDeviceConfigurationConflictingSecurityTypeInPNL();

    // ---- Current network configuration and security tests ----
    void runCurrentNetworkDetectDoubleNATWithConfiguration(DictionaryRef configuration,
                                                           DictionaryRef resultsDictionary);
    void runCurrentNetworkLongBeaconIntervalWithConfiguration(DictionaryRef configuration,
                                                              DictionaryRef resultsDictionary);
    void runCurrentNetworkLongDTIMIntervalWithConfiguration(DictionaryRef configuration,
                                                            DictionaryRef resultsDictionary);
    void runCurrentNetworkNoSecurityWithConfiguration(DictionaryRef configuration,
                                                      DictionaryRef resultsDictionary);
    void runCurrentNetworkLegacySecurityWEPWithConfiguration(DictionaryRef configuration,
                                                             DictionaryRef resultsDictionary);
    void runCurrentNetworkLegacySecurityWPAWithConfiguration(DictionaryRef configuration,
                                                             DictionaryRef resultsDictionary);
    void runCurrentNetworkLegacyRates11bWithConfiguration(DictionaryRef configuration,
                                                          DictionaryRef resultsDictionary);
    void runCurrentNetworkAmbiguousNetworkNameWithConfiguration(DictionaryRef configuration,
                                                                DictionaryRef resultsDictionary);
    void runCurrentNetworkHiddenNetworkWithConfiguration(DictionaryRef configuration,
                                                         DictionaryRef resultsDictionary);
    void runCurrentNetworkLumoPersonalHotspotWithConfiguration(DictionaryRef configuration,
                                                               DictionaryRef resultsDictionary);
    void runCurrentNetworkCaptivePortalWithConfiguration(DictionaryRef configuration,
                                                         DictionaryRef resultsDictionary);
    void runCurrentNetworkPasspointWithConfiguration(DictionaryRef configuration,
                                                     DictionaryRef resultsDictionary);
    void runCurrentNetworkConflictingPHYMode11ACWithConfiguration(DictionaryRef configuration,
                                                                  DictionaryRef resultsDictionary);
    void runCurrentNetworkConflictingPHYMode11NWithConfiguration(DictionaryRef configuration,
                                                                 DictionaryRef resultsDictionary);
    void runCurrentNetworkHarbexBaseStationWithConfiguration(DictionaryRef configuration,
                                                             DictionaryRef resultsDictionary);

    // ---- Current network connectivity tests ----
    void runCurrentNetworkPingLANWithConfiguration(DictionaryRef configuration,
                                                   DictionaryRef resultsDictionary);
    void runCurrentNetworkPingWANWithConfiguration(DictionaryRef configuration,
                                                   DictionaryRef resultsDictionary);
    void runCurrentNetworkIPv4AssignedWithConfiguration(DictionaryRef configuration,
                                                        DictionaryRef resultsDictionary);
    void runCurrentNetworkIPv6AssignedWithConfiguration(DictionaryRef configuration,
                                                        DictionaryRef resultsDictionary);
    void runCurrentNetworkResolveDNSWithConfiguration(DictionaryRef configuration,
                                                      DictionaryRef resultsDictionary);
    void runCurrentNetworkReachOrvaneWithConfiguration(DictionaryRef configuration,
                                                       DictionaryRef resultsDictionary);
    void runCurrentNetworkRetrieveOrvaneWithConfiguration(DictionaryRef configuration,
                                                          DictionaryRef resultsDictionary);

    // ---- Current network radio environment tests ----
    void runCurrentNetworkCongestedChannelWithConfiguration(DictionaryRef configuration,
                                                            DictionaryRef resultsDictionary);
    void runCurrentNetworkCongested2GHzWithConfiguration(DictionaryRef configuration,
                                                         DictionaryRef resultsDictionary);
    void runCurrentNetworkCongested5GHzWithConfiguration(DictionaryRef configuration,
                                                         DictionaryRef resultsDictionary);
    void runCurrentNetworkHT402GHzChannelWithConfiguration(DictionaryRef configuration,
                                                           DictionaryRef resultsDictionary);
    void runCurrentNetworkConflictingCountryCodeWithConfiguration(DictionaryRef configuration,
                                                                  DictionaryRef resultsDictionary);
    void runCurrentNetworkPoorSignalWithConfiguration(DictionaryRef configuration,
                                                      DictionaryRef resultsDictionary);
    void runCurrentNetworkNoScanResultsWithConfiguration(DictionaryRef configuration,
                                                         DictionaryRef resultsDictionary);
    void runCurrentNetworkHiddenScanResultsWithConfiguration(DictionaryRef configuration,
                                                             DictionaryRef resultsDictionary);

    // ---- Selected network tests ----
    void runSelectedNetworkLongBeaconInterval();
    void runSelectedNetworkNoSecurity();
    void runSelectedNetworkLegacySecurityWEP();
    void runSelectedNetworkLegacySecurityWPA();
    void runSelectedNetworkLegacyRates11b();
    void runSelectedNetworkAmbiguousNetworkName();
    void runSelectedNetworkHiddenNetwork();
    void runSelectedNetworkLumoPersonalHotspot();
    void runSelectedNetworkCaptivePortal();
    void runSelectedNetworkPasspoint();
    void runSelectedNetworkConflictingPHYMode11AC();
    void runSelectedNetworkConflictingPHYMode11N();
    void runSelectedNetworkHarbexBaseStation();
    void runSelectedNetworkCongestedChannel();
    void runSelectedNetworkConflictingCountryCode();
    void runSelectedNetworkPoorSignal();

    // ---- Properties ----
    DictionaryRef currentNetworkConfiguration;
    DictionaryRef configuration;
    DictionaryRef freshScanConfiguration;
    DictionaryRef deviceData;
    DictionaryRef currentNetworkData;
    DictionaryRef selectedNetworkData;
    Shared<platform::WiFiStatusRef> wifiStatus;
    std::shared_ptr<const platform::WiFiScanResult> currentNetwork;
    platform::ArrayRef filteredWiFiScanResults;
    platform::ArrayRef previousScanFilteredWiFiScanResults;
    DictionaryRef distinctNetworks;
    DictionaryRef filteredNetworks;
    DictionaryRef previousScanFilteredNetworks;
    Shared<platform::ArrayRef> wifiScanResults;
    platform::ui::TableView* tableView = nullptr;
    platform::ui::RefreshControl* refreshControl = nullptr;
    platform::ui::NavigationBar* navigationBar = nullptr;
    std::shared_ptr<platform::ui::NavigationItem> navigationItem;
    WiFiHeaderView* networksGroupHeaderView = nullptr;
    WiFiHeaderView* selectedNetworkHeaderView = nullptr;
    platform::ui::Image* blueCheck = nullptr;
    platform::ui::Image* spacer = nullptr;
    platform::ui::Label* mainLabel = nullptr;
    platform::ui::ProgressView* progressView = nullptr;
    bool refreshEnabled = false;
    bool progressScreenVisible = false;
    std::atomic<bool> scanFinished{false};
    // The two platform handles are owned by hand: taken once in setupWiFi, released once in cleanUp.
    std::atomic<platform::WiFiManagerRef> manager{nullptr};
    std::atomic<platform::WiFiDeviceRef> device{nullptr};
    std::atomic<bool> wifiPoweredOn{false};
    std::atomic<std::int32_t> completedTests{0};
    std::atomic<std::int32_t> totalTests{0};
    std::optional<QString> previousSelectedNetworkName;
    std::shared_ptr<WiFiProfileInputs> inputs;

  private:
    std::shared_ptr<WiFiProfileViewController> self();
};

}  // namespace wifiprofile
