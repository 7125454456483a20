#pragma once
// The Wi-Fi Profile diagnostic: profiles the device's configuration, the joined network and
// optionally one selected network through numbered requests to the Wi-Fi diagnostics service,
// and reports one status code with the "device", "currentNetwork" and "selectedNetwork" results.

#include "platform/foundation/Value.h"
#include "platform/host/HostDiagnostic.h"
#include "platform/ui/Image.h"
#include "platform/ui/table/RefreshControl.h"
#include "platform/ui/table/TableView.h"
#include "platform/wifi/WiFiDiagnosticsClient.h"
#include "platform/wifi/WiFiManager.h"
#include "platform/wifi/WiFiRecords.h"
#include "wifiprofile/chooser/ScanListProcessing.h"
#include "wifiprofile/controller/WiFiProfileInputs.h"

#include <QPointer>
#include <QString>

#include <atomic>
#include <cstdint>
#include <future>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

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

class WiFiProfileViewController final : public platform::HostDiagnosticViewController,
                                        public platform::ui::TableViewDataSource,
                                        public platform::ui::TableViewDelegate,
                                        public platform::ui::NavigationBarDelegate {
  public:
    using DictionaryRef = platform::DictionaryRef;
    using IndexPath = platform::ui::IndexPath;
    using TableView = platform::ui::TableView;

    ~WiFiProfileViewController() override;

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

    // ---- Progress screen ----
    void displayProgressScreen();
    void updateViewConstraints() override;

    // ---- Network list screen ----
    void setupViewWithNetworkList(bool showNetworkList);
    long numberOfSectionsInTableView(TableView* table) override;
    long tableViewNumberOfRowsInSection(TableView* table, long section) override;
    platform::ui::TableViewCell* tableViewCellForRowAtIndexPath(TableView* table,
                                                                IndexPath indexPath) override;
    double tableViewHeightForHeaderInSection(TableView* table, long section) override;
    double tableViewHeightForFooterInSection(TableView* table, long section) override;
    platform::ui::View* tableViewViewForHeaderInSection(TableView* table, long section) override;
    void tableViewDidSelectRowAtIndexPath(TableView* table, IndexPath indexPath) override;
    // The bar sits at the top and joins the status bar.
    platform::ui::BarPosition positionForBar(platform::ui::NavigationBar* bar) override;
    void setupRefreshControl();
    void showSpinner();
    void hideSpinner();
    void enableTableViewSelection(bool enabled);
    void enableRightBarButtonItem(bool enabled);
    void removeNavigationBarButtons();
    void reloadRefreshCell();
    void scrollToSelectedNetwork();
    void scrollToLastFocusedItem();

    // ---- Scan list processing ----
    void displayNetworkList();
    void refreshNetworkList(void* sender);
    void dedupScanResultsToHighestRSSI();
    void updateFilteredNetworkListIfNeeded();
    void sortWiFiScanResults();
    void loadInitialNetworkList();
    void updateNetworkList();
    void deleteLostNetworks();
    void insertNewNetworks();
    void addNetworkToFilteredNetworkList(const chooser::ScanResultRef& network);
    void removeNetworkFromFilteredNetworkList(const chooser::ScanResultRef& network);
    long networksOffset() const;

    // ---- Network selection ----
    void updateSelectedNetwork(const chooser::ScanResultRef& network);
    void askForSSID();
    void textFieldAlertDidChange(void* sender);
    void updateSelectedNetworkFromOtherWithSSID(const QString& ssid);
    void reloadSelectedNetwork(bool hadRow);
    void deleteSelectedNetwork(unsigned long index);
    void insertPreviousSelectedNetwork(const chooser::ScanResultRef& network);

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
    // The chooser's lists are written by the scan jobs and read by the table on the main queue. The
    // flow keeps the two apart; the lock makes every single read and write whole as well.
    // lists holds distinctNetworks, filteredNetworks and filteredWiFiScanResults.
    mutable std::mutex listsMutex;
    chooser::ScanResultRef currentNetwork;
    chooser::NetworkLists lists;
    // Done once the finishing job of the latest list job (a first load or a refresh) has run, or was
    // dropped at shutdown. A power notification that finds Wi-Fi on starts another first load while
    // the list is shown; list jobs wait for the one before, so that each job's rows meet the table
    // its predecessor left. Main queue only.
    std::shared_future<void> listJobFinished;
    chooser::NetworkList previousScanFilteredWiFiScanResults;
    chooser::NetworksByName previousScanFilteredNetworks;
    Shared<platform::ArrayRef> wifiScanResults;
    QPointer<TableView> tableView;
    QPointer<platform::ui::RefreshControl> refreshControl;
    QPointer<platform::ui::NavigationBar> navigationBar;
    std::shared_ptr<platform::ui::NavigationItem> navigationItem;
    // Kept in the root view's tree (the table shows them as its headers); Qt deletes them.
    QPointer<WiFiHeaderView> networksGroupHeaderView;
    QPointer<WiFiHeaderView> selectedNetworkHeaderView;
    platform::ui::ImageRef blueCheck;
    platform::ui::ImageRef spacer;
    platform::ui::Label* mainLabel = nullptr;
    platform::ui::ProgressView* progressView = nullptr;
    std::atomic<bool> refreshEnabled{false};
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
    // One list job at a time: records this job's end and returns the end of the one before (main).
    std::shared_future<void> followListJob(std::shared_future<void> thisJobFinished);
    // Takes the pull-to-refresh away from the table while a later first load runs (main queue).
    void removeRefreshControl();
    // Empties distinctNetworks, filteredNetworks and filteredWiFiScanResults before a first load's
    // reload (main queue).
    void emptyNetworkLists();
    // The index path that a job on the default-priority global queue makes while the caller waits.
    std::vector<IndexPath> indexPathsOnGlobalQueue(const std::function<std::vector<IndexPath>()>& make);
    // The steps a tap and a typed name share: the name becomes the selected one (its row replaced
    // or added, "NEXT" enabled by the first choice); the chosen network leaves the list (its row
    // deleted, numbered as the list stood before); and, in a second batch, the network selected
    // before goes back in when the last scan saw it (its row inserted at its sorted place).
    void selectName(const std::optional<QString>& name);
    void removeFromListAndDeleteRow(const chooser::ScanResultRef& network);
    void putPreviousSelectedNetworkBack();
};

}  // namespace wifiprofile
