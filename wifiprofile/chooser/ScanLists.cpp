// The chooser's lists on the controller: the first load and the pull-to-refresh (status, fresh scan,
// one record per name, the selected network moved out, sorting, then the rows inserted or deleted
// by difference on the main queue). The list processing itself is in ScanListProcessing.
#include "platform/foundation/Dispatch.h"
#include "platform/ui/Toolkit.h"
#include "wifiprofile/chooser/ListSections.h"
#include "wifiprofile/controller/WiFiProfileViewController.h"

#include <future>
#include <utility>

namespace wifiprofile {

namespace dispatch = platform::dispatch;

namespace {

std::vector<platform::ui::IndexPath> rowsOfNetworksSection(const std::vector<long>& rows) {
    std::vector<platform::ui::IndexPath> paths;
    paths.reserve(rows.size());
    for (const long row : rows) {
        paths.push_back(platform::ui::IndexPath::forRow(row, kNetworksSection));
    }
    return paths;
}

// Fulfils its promise when the last job holding it has run or been dropped.
struct DoneWhenReleased {
    std::promise<void> done;
    DoneWhenReleased() = default;
    DoneWhenReleased(const DoneWhenReleased&) = delete;
    DoneWhenReleased& operator=(const DoneWhenReleased&) = delete;
    ~DoneWhenReleased() { done.set_value(); }
};

}  // namespace

std::vector<platform::ui::IndexPath> WiFiProfileViewController::indexPathsOnGlobalQueue(
    const std::function<std::vector<IndexPath>()>& make) {
    auto paths = std::make_shared<std::vector<IndexPath>>();
    dispatch::sync(dispatch::globalQueue(), [paths, &make] { *paths = make(); });
    return std::move(*paths);
}

// ---- List operations ----

void WiFiProfileViewController::dedupScanResultsToHighestRSSI() {
    const platform::ArrayRef scan = wifiScanResults.get();
    const platform::WiFiStatusRef status = wifiStatus.get();
    std::lock_guard lock(listsMutex);
    lists = chooser::dedupScanResultsToHighestRSSI(scan.get(), status.get(), currentNetwork);
}

void WiFiProfileViewController::updateFilteredNetworkListIfNeeded() {
    const platform::WiFiStatusRef status = wifiStatus.get();
    const auto selected = inputs->selectedNetworkName();
    std::lock_guard lock(listsMutex);
    chooser::updateFilteredNetworkListIfNeeded(lists, selected, status.get(), currentNetwork);
}

void WiFiProfileViewController::sortWiFiScanResults() {
    std::lock_guard lock(listsMutex);
    chooser::sortWiFiScanResults(lists.filteredWiFiScanResults);
}

void WiFiProfileViewController::addNetworkToFilteredNetworkList(const chooser::ScanResultRef& network) {
    std::lock_guard lock(listsMutex);
    chooser::addNetworkToFilteredNetworkList(lists, network);
}

void WiFiProfileViewController::removeNetworkFromFilteredNetworkList(const chooser::ScanResultRef& network) {
    std::lock_guard lock(listsMutex);
    chooser::removeNetworkFromFilteredNetworkList(lists, network);
}

long WiFiProfileViewController::networksOffset() const {
    std::lock_guard lock(listsMutex);
    return static_cast<long>(lists.filteredWiFiScanResults.size()) + 1;
}

// ---- The first load ----

void WiFiProfileViewController::displayNetworkList() {
    auto finished = std::make_shared<DoneWhenReleased>();
    std::shared_future<void> earlier = followListJob(finished->done.get_future().share());
    removeRefreshControl();
    dispatch::async(dispatch::globalQueue(), [self = self(), finished, earlier] {
        earlier.wait();
        self->determineCurrentNetwork();
        if (!self->inputs->selectedNetworkName()) {
            const platform::WiFiStatusRef status = self->wifiStatus.get();
            self->inputs->setSelectedNetworkName(status ? status->ssidString : std::nullopt);
        }
        // The reload shows the lists as they stand before this scan; they are rewritten only once it
        // has run (or was dropped at shutdown), so that the rows inserted at the end of the load are
        // exactly those the table has not shown yet, however fast the scan answers.
        auto reloaded = std::make_shared<DoneWhenReleased>();
        std::shared_future<void> reloadedDone = reloaded->done.get_future().share();
        dispatch::async(dispatch::mainQueue(), [self, reloaded] {
            self->emptyNetworkLists();
            if (self->scanFinished) {
                // A load that waited behind another list job finds the spinner stopped by that
                // job's end; its own scan is still to come.
                self->showSpinner();
            }
            if (self->tableView) {
                self->tableView->reloadData();
            }
            if (self->inputs->selectedNetworkName()) {
                self->enableRightBarButtonItem(true);
            }
        });
        reloaded.reset();
        self->runCurrentNetworkNoScanResultsWithConfiguration(self->freshScanConfiguration,
                                                              self->currentNetworkData);
        reloadedDone.wait();
        self->dedupScanResultsToHighestRSSI();
        self->updateFilteredNetworkListIfNeeded();
        self->sortWiFiScanResults();
        dispatch::async(dispatch::mainQueue(), [self, finished] {
            self->hideSpinner();
            self->setupRefreshControl();
            self->loadInitialNetworkList();
            self->scrollToLastFocusedItem();
        });
    });
}

std::shared_future<void> WiFiProfileViewController::followListJob(std::shared_future<void> thisJobFinished) {
    std::shared_future<void> earlier = std::exchange(listJobFinished, std::move(thisJobFinished));
    if (!earlier.valid()) {
        std::promise<void> none;
        none.set_value();
        earlier = none.get_future().share();
    }
    return earlier;
}

void WiFiProfileViewController::removeRefreshControl() {
    // A load after the first puts in a new refresh control when it ends, as the first load does;
    // until then the list cannot be pulled.
    if (tableView) {
        tableView->setRefreshControl(nullptr);
    }
    refreshControl = nullptr;
    refreshEnabled = false;
}

void WiFiProfileViewController::emptyNetworkLists() {
    // A load after the first (Wi-Fi found on again) starts, like the first, from empty lists: the
    // networks section holds only the "OTHER" row, its insertion adds every listed row, and a name
    // chosen meanwhile puts back no record of an earlier scan.
    std::lock_guard lock(listsMutex);
    lists = chooser::NetworkLists{};
}

void WiFiProfileViewController::loadInitialNetworkList() {
    const std::vector<IndexPath> paths = indexPathsOnGlobalQueue([this] {
        std::lock_guard lock(listsMutex);
        const std::size_t count = lists.filteredWiFiScanResults.size();
        std::vector<IndexPath> made(count);
        for (std::size_t i = 0; i < count; ++i) {
            made[i] = IndexPath::forRow(static_cast<long>(i), kNetworksSection);
        }
        return made;
    });
    if (!tableView) {
        return;
    }
    tableView->beginUpdates();
    reloadRefreshCell();
    tableView->insertRowsAtIndexPaths(paths, kFade);
    tableView->endUpdates();
}

// ---- The pull-to-refresh ----

void WiFiProfileViewController::refreshNetworkList(void* /*sender*/) {
    const bool hadSelection = inputs->selectedNetworkName().has_value();
    {
        std::lock_guard lock(listsMutex);
        previousScanFilteredWiFiScanResults = lists.filteredWiFiScanResults;
        previousScanFilteredNetworks = lists.filteredNetworks;
    }
    enableTableViewSelection(false);
    showSpinner();
    reloadRefreshCell();
    auto finished = std::make_shared<DoneWhenReleased>();
    std::shared_future<void> earlier = followListJob(finished->done.get_future().share());
    dispatch::async(dispatch::globalQueue(), [self = self(), hadSelection, finished, earlier] {
        earlier.wait();
        self->determineCurrentNetwork();
        self->runCurrentNetworkNoScanResultsWithConfiguration(self->freshScanConfiguration,
                                                              self->currentNetworkData);
        self->dedupScanResultsToHighestRSSI();
        const platform::WiFiStatusRef status = self->wifiStatus.get();
        const std::optional<QString> statusName = status ? status->ssidString : std::nullopt;
        const auto selected = self->inputs->selectedNetworkName();
        if (!selected || selected != statusName) {
            if (!hadSelection) {
                self->inputs->setSelectedNetworkName(statusName);
                dispatch::async(dispatch::mainQueue(), [self] { self->enableRightBarButtonItem(true); });
            }
            chooser::ScanResultRef selectedRecord;
            if (const auto name = self->inputs->selectedNetworkName()) {
                std::lock_guard lock(self->listsMutex);
                selectedRecord = self->lists.distinctNetworks.value(*name);
            }
            if (selectedRecord) {
                self->removeNetworkFromFilteredNetworkList(selectedRecord);
                if (hadSelection) {
                    std::lock_guard lock(self->listsMutex);
                    chooser::addNetworkToFilteredNetworkList(self->lists, self->currentNetwork);
                }
            }
        }
        self->sortWiFiScanResults();
        dispatch::async(dispatch::mainQueue(), [self, hadSelection, finished] {
            self->hideSpinner();
            self->enableTableViewSelection(true);
            if (self->refreshControl) {
                self->refreshControl->endRefreshing();
            }
            if (self->tableView) {
                self->tableView->beginUpdates();
            }
            const platform::WiFiStatusRef finalStatus = self->wifiStatus.get();
            if (self->inputs->selectedNetworkName() || (finalStatus && finalStatus->ssidString)) {
                self->reloadSelectedNetwork(hadSelection);
            }
            self->updateNetworkList();
            self->reloadRefreshCell();
            if (self->tableView) {
                self->tableView->endUpdates();
            }
        });
    });
}

void WiFiProfileViewController::updateNetworkList() {
    if (tableView) {
        tableView->beginUpdates();
    }
    deleteLostNetworks();
    insertNewNetworks();
    if (tableView) {
        tableView->endUpdates();
    }
}

void WiFiProfileViewController::deleteLostNetworks() {
    const std::vector<IndexPath> paths = indexPathsOnGlobalQueue([this] {
        std::lock_guard lock(listsMutex);
        return rowsOfNetworksSection(
            chooser::lostNetworkRows(previousScanFilteredWiFiScanResults, lists.filteredNetworks));
    });
    if (!tableView) {
        return;
    }
    tableView->beginUpdates();
    tableView->deleteRowsAtIndexPaths(paths, kFade);
    tableView->endUpdates();
}

void WiFiProfileViewController::insertNewNetworks() {
    const std::vector<IndexPath> paths = indexPathsOnGlobalQueue([this] {
        std::lock_guard lock(listsMutex);
        return rowsOfNetworksSection(
            chooser::newNetworkRows(lists.filteredWiFiScanResults, previousScanFilteredNetworks));
    });
    if (!tableView) {
        return;
    }
    tableView->beginUpdates();
    tableView->insertRowsAtIndexPaths(paths, kFade);
    tableView->endUpdates();
}

}  // namespace wifiprofile
