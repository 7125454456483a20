// Changing the selected network: a tap on a listed network, or a name typed into the alert of the
// "OTHER" row. The new name moves into the selected-network section with its check mark and the
// network selected before goes back into the list at its sorted place, each change in a batch
// update of its own so that its row numbers refer to the list the table holds at that moment.
#include "platform/foundation/Dispatch.h"
#include "platform/ui/Toolkit.h"
#include "wifiprofile/chooser/ListSections.h"
#include "wifiprofile/controller/WiFiProfileViewController.h"
#include "wifiprofile/resources/Strings.h"

namespace wifiprofile {

namespace dispatch = platform::dispatch;

namespace {}  // namespace

void WiFiProfileViewController::reloadSelectedNetwork(bool hadRow) {
    if (!tableView) {
        return;
    }
    const IndexPath row = IndexPath::forRow(0, kSelectedNetworkSection);
    tableView->beginUpdates();
    if (hadRow) {
        tableView->deleteRowsAtIndexPaths({row}, kFade);
    }
    tableView->insertRowsAtIndexPaths({row}, kFade);
    tableView->endUpdates();
}

void WiFiProfileViewController::deleteSelectedNetwork(unsigned long index) {
    const std::vector<IndexPath> paths = indexPathsOnGlobalQueue([index] {
        return std::vector<IndexPath>{IndexPath::forRow(static_cast<long>(index), kNetworksSection)};
    });
    if (!tableView) {
        return;
    }
    tableView->beginUpdates();
    tableView->deleteRowsAtIndexPaths(paths, kFade);
    tableView->endUpdates();
}

void WiFiProfileViewController::insertPreviousSelectedNetwork(const chooser::ScanResultRef& network) {
    const std::vector<IndexPath> paths = indexPathsOnGlobalQueue([this, &network] {
        std::lock_guard lock(listsMutex);
        const auto position = chooser::positionOfNetwork(lists.filteredWiFiScanResults, network);
        return std::vector<IndexPath>{IndexPath::forRow(position.value_or(-1), kNetworksSection)};
    });
    if (!tableView) {
        return;
    }
    tableView->beginUpdates();
    tableView->insertRowsAtIndexPaths(paths, kFade);
    tableView->endUpdates();
}

namespace {

// The record filed under name in the lists, or absent.
chooser::ScanResultRef recordNamed(std::mutex& mutex, const chooser::NetworksByName& byName,
                                   const QString& name) {
    std::lock_guard lock(mutex);
    return byName.value(name);
}

}  // namespace

void WiFiProfileViewController::removeFromListAndDeleteRow(const chooser::ScanResultRef& network) {
    std::optional<long> position;
    {
        std::lock_guard lock(listsMutex);
        position = chooser::positionOfNetwork(lists.filteredWiFiScanResults, network);
    }
    removeNetworkFromFilteredNetworkList(network);
    if (position) {
        deleteSelectedNetwork(static_cast<unsigned long>(*position));
    }
}

void WiFiProfileViewController::selectName(const std::optional<QString>& name) {
    const bool hadSelection = inputs->selectedNetworkName().has_value();
    previousSelectedNetworkName = inputs->selectedNetworkName();
    inputs->setSelectedNetworkName(name);
    reloadSelectedNetwork(hadSelection);
    if (!hadSelection) {
        enableRightBarButtonItem(true);
    }
}

void WiFiProfileViewController::putPreviousSelectedNetworkBack() {
    if (tableView) {
        tableView->beginUpdates();
    }
    if (previousSelectedNetworkName) {
        if (const auto previous =
                recordNamed(listsMutex, lists.distinctNetworks, *previousSelectedNetworkName)) {
            addNetworkToFilteredNetworkList(previous);
            sortWiFiScanResults();
            insertPreviousSelectedNetwork(previous);
        }
    }
    if (tableView) {
        tableView->endUpdates();
    }
}

void WiFiProfileViewController::updateSelectedNetwork(const chooser::ScanResultRef& network) {
    if (tableView) {
        tableView->beginUpdates();
    }
    selectName(network ? network->ssidString : std::nullopt);
    removeFromListAndDeleteRow(network);
    if (tableView) {
        tableView->endUpdates();
    }
    putPreviousSelectedNetworkBack();
}

void WiFiProfileViewController::askForSSID() {
    auto alert = platform::ui::AlertController::alertControllerWithTitle(
        QString(), localizedString(QStringLiteral("OTHER_NETWORK_MESSAGE")));
    std::weak_ptr<WiFiProfileViewController> weakSelf = self();
    std::weak_ptr<platform::ui::AlertController> weakAlert = alert;
    alert->addTextField([weakSelf](platform::ui::AlertTextField& field) {
        field.placeholder = localizedString(QStringLiteral("OTHER_NETWORK_PLACEHOLDER"));
        field.editingChanged = [weakSelf] {
            if (const auto strong = weakSelf.lock()) {
                strong->textFieldAlertDidChange(nullptr);
            }
        };
    });
    alert->addAction(std::make_shared<platform::ui::AlertAction>(
        localizedString(QStringLiteral("CANCEL")), platform::ui::AlertAction::Style::Cancel, nullptr));
    auto done = std::make_shared<platform::ui::AlertAction>(
        localizedString(QStringLiteral("DONE")), platform::ui::AlertAction::Style::Default,
        [weakSelf, weakAlert] {
            const auto strong = weakSelf.lock();
            const auto shown = weakAlert.lock();
            if (!strong || !shown) {
                return;
            }
            const auto fields = shown->textFields();
            strong->updateSelectedNetworkFromOtherWithSSID(fields.empty() ? QString() : fields.front()->text);
            strong->scrollToSelectedNetwork();
        });
    done->setEnabled(false);
    alert->addAction(done);
    presentViewController(alert, true, nullptr);
}

void WiFiProfileViewController::textFieldAlertDidChange(void* /*sender*/) {
    const auto alert = presentedViewController();
    if (!alert) {
        return;
    }
    const auto fields = alert->textFields();
    if (fields.empty() || alert->actions().empty()) {
        return;
    }
    alert->actions().back()->setEnabled(!fields.front()->text.isEmpty());
}

void WiFiProfileViewController::updateSelectedNetworkFromOtherWithSSID(const QString& ssid) {
    if (inputs->selectedNetworkName() == ssid) {
        return;
    }
    if (tableView) {
        tableView->beginUpdates();
    }
    selectName(ssid);
    if (const auto listed = recordNamed(listsMutex, lists.filteredNetworks, ssid)) {
        removeFromListAndDeleteRow(listed);
    }
    if (tableView) {
        tableView->endUpdates();
    }
    putPreviousSelectedNetworkBack();
}

}  // namespace wifiprofile
