// The network list screen: the navigation bar with the diagnostic's title and the right-hand "NEXT"
// button, and the grouped table of the selected network and the nearby networks with its "OTHER"
// row; the table's data source and delegate; the small screen operations the list processing and
// the selection call.
#include "platform/foundation/DeviceCapability.h"
#include "platform/ui/Toolkit.h"
#include "platform/ui/table/TableViewCell.h"
#include "wifiprofile/chooser/ListSections.h"
#include "wifiprofile/chooser/WiFiHeaderView.h"
#include "wifiprofile/chooser/WiFiTableViewCell.h"
#include "wifiprofile/controller/WiFiProfileViewController.h"
#include "wifiprofile/resources/Strings.h"

#include <limits>

namespace wifiprofile {

namespace {

using platform::ui::TableViewCell;

constexpr double kBarDrop = 20.0;
constexpr double kStatusBarHeight = 20.0;
constexpr double kSelectedNetworkHeaderHeight = 32.66;
// The smallest positive normal double: a header that takes no visible height (zero would ask the
// table for its default height instead).
constexpr double kNoHeaderHeight = std::numeric_limits<double>::min();
constexpr double kSpinnerHeaderPadding = 12.0 + 5.0;
const QString kCellIdentifier = QStringLiteral("cellIdentifier");

}  // namespace

void WiFiProfileViewController::setupViewWithNetworkList(bool showNetworkList) {
    view()->setBackgroundWhite();

    navigationBar = new platform::ui::NavigationBar(view());
    navigationBar->moveCentreBy(kBarDrop);
    navigationBar->setDelegate(this);
    const bool wapi = platform::queryDeviceCapability(QStringLiteral("wapi"));
    navigationItem = std::make_shared<platform::ui::NavigationItem>(
        localizedString(wapi ? QStringLiteral("WLAN_DIAGNOSTICS") : QStringLiteral("WIFI_DIAGNOSTICS")));
    if (showNetworkList) {
        std::weak_ptr<WiFiProfileViewController> weakSelf = self();
        navigationItem->setRightBarButtonItem(std::make_shared<platform::ui::BarButtonItem>(
            localizedString(QStringLiteral("NEXT")), platform::ui::BarButtonItem::Style::Plain, [weakSelf] {
                if (const auto strong = weakSelf.lock()) {
                    strong->nextTapped(nullptr);
                }
            }));
        enableRightBarButtonItem(false);
    }
    navigationBar->setItems({navigationItem});
    view()->addSubview(navigationBar);

    if (showNetworkList) {
        tableView = new TableView(platform::ui::bounds(view()).toRect(),
                                  platform::ui::TableViewStyle::Grouped, view());
        const double top = platform::ui::frame(navigationBar).height() + kStatusBarHeight;
        tableView->setContentInset({top, 0.0, 0.0, 0.0});
        tableView->setScrollIndicatorInsets({top, 0.0, 0.0, 0.0});
        tableView->setDelegate(this);
        tableView->setDataSource(this);
        tableView->setAutoresizingFlexibleSize(true, true);
        tableView->registerClassForCellReuseIdentifier<WiFiTableViewCell>(kCellIdentifier);
        view()->addSubview(tableView);
        blueCheck =
            platform::ui::Image::checkmark()->flattenedToColor(platform::ui::Image::interactionTintColor());
        spacer = platform::ui::Image::imageNamed(QStringLiteral("spacer"), resourceRoot());
        selectedNetworkHeaderView = WiFiHeaderView::initWithFrame(
            QRectF(), localizedString(QStringLiteral("SELECTED_NETWORK")), false, view());
        selectedNetworkHeaderView->setHidden(true);
        networksGroupHeaderView = WiFiHeaderView::initWithFrame(
            QRectF(), localizedString(QStringLiteral("CHOOSE_NETWORK")), true, view());
        networksGroupHeaderView->setHidden(true);
    }
    platform::ui::bringSubviewToFront(navigationBar);
}

platform::ui::BarPosition WiFiProfileViewController::positionForBar(platform::ui::NavigationBar* /*bar*/) {
    return platform::ui::BarPosition::TopAttached;
}

// ---- The table's data source and delegate ----

long WiFiProfileViewController::numberOfSectionsInTableView(TableView* /*table*/) {
    return 2;
}

long WiFiProfileViewController::tableViewNumberOfRowsInSection(TableView* /*table*/, long section) {
    if (section == kSelectedNetworkSection) {
        return inputs->selectedNetworkName() ? 1 : 0;
    }
    if (section == kNetworksSection) {
        return networksOffset();
    }
    return 0;
}

platform::ui::TableViewCell* WiFiProfileViewController::tableViewCellForRowAtIndexPath(TableView* table,
                                                                                       IndexPath indexPath) {
    TableViewCell* cell = table->dequeueReusableCellWithIdentifier(kCellIdentifier, indexPath);
    if (indexPath.section == kSelectedNetworkSection) {
        cell->textLabel()->setText(inputs->selectedNetworkName().value_or(QString()));
        cell->imageView()->setImage(blueCheck);
        cell->setUserInteractionEnabled(false);
    } else if (indexPath.section == kNetworksSection) {
        chooser::ScanResultRef network;
        long count = 0;
        {
            std::lock_guard lock(listsMutex);
            count = static_cast<long>(lists.filteredWiFiScanResults.size());
            if (indexPath.row >= 0 && indexPath.row < count) {
                network = lists.filteredWiFiScanResults[static_cast<std::size_t>(indexPath.row)];
            }
        }
        if (network) {
            cell->textLabel()->setText(network->ssidString.value_or(QString()));
        } else if (indexPath.row == count) {
            cell->textLabel()->setText(localizedString(QStringLiteral("OTHER")));
        }
        cell->imageView()->setImage(spacer);
        cell->setUserInteractionEnabled(true);
    }
    return cell;
}

double WiFiProfileViewController::tableViewHeightForHeaderInSection(TableView* /*table*/, long section) {
    if (section == kSelectedNetworkSection) {
        return inputs->selectedNetworkName() ? kSelectedNetworkHeaderHeight : kNoHeaderHeight;
    }
    if (section == kNetworksSection && networksGroupHeaderView && networksGroupHeaderView->spinner) {
        return platform::ui::frame(networksGroupHeaderView->spinner).height() + kSpinnerHeaderPadding;
    }
    return kSelectedNetworkHeaderHeight;
}

double WiFiProfileViewController::tableViewHeightForFooterInSection(TableView* /*table*/, long /*section*/) {
    return platform::ui::kTableViewAutomaticDimension;
}

platform::ui::View* WiFiProfileViewController::tableViewViewForHeaderInSection(TableView* /*table*/,
                                                                               long section) {
    if (section == kSelectedNetworkSection) {
        return inputs->selectedNetworkName() ? selectedNetworkHeaderView.data() : nullptr;
    }
    if (section == kNetworksSection) {
        if (wifiPoweredOn && !scanFinished) {
            showSpinner();
        }
        return networksGroupHeaderView.data();
    }
    return nullptr;
}

void WiFiProfileViewController::tableViewDidSelectRowAtIndexPath(TableView* table, IndexPath indexPath) {
    if (indexPath.section == kNetworksSection) {
        if (indexPath.row != networksOffset() - 1) {
            chooser::ScanResultRef network;
            {
                std::lock_guard lock(listsMutex);
                if (indexPath.row >= 0 &&
                    indexPath.row < static_cast<long>(lists.filteredWiFiScanResults.size())) {
                    network = lists.filteredWiFiScanResults[static_cast<std::size_t>(indexPath.row)];
                }
            }
            if (network) {
                updateSelectedNetwork(network);
                scrollToSelectedNetwork();
            }
        } else {
            askForSSID();
        }
    }
    table->deselectRowAtIndexPath(indexPath, true);
}

// ---- Screen operations ----

void WiFiProfileViewController::setupRefreshControl() {
    refreshControl = new platform::ui::RefreshControl;
    std::weak_ptr<WiFiProfileViewController> weakSelf = self();
    refreshControl->setValueChangedAction([weakSelf] {
        if (const auto strong = weakSelf.lock()) {
            strong->refreshNetworkList(strong->refreshControl.data());
        }
    });
    if (tableView) {
        tableView->setRefreshControl(refreshControl);
    }
    refreshEnabled = true;
}

void WiFiProfileViewController::showSpinner() {
    scanFinished = false;
    if (networksGroupHeaderView && networksGroupHeaderView->spinner) {
        networksGroupHeaderView->spinner->startAnimating();
    }
}

void WiFiProfileViewController::hideSpinner() {
    scanFinished = true;
    if (networksGroupHeaderView && networksGroupHeaderView->spinner) {
        networksGroupHeaderView->spinner->stopAnimating();
    }
}

void WiFiProfileViewController::enableTableViewSelection(bool enabled) {
    if (tableView) {
        tableView->setAllowsSelection(enabled);
    }
}

void WiFiProfileViewController::enableRightBarButtonItem(bool enabled) {
    if (navigationItem && navigationItem->rightBarButtonItem()) {
        navigationItem->rightBarButtonItem()->setEnabled(enabled);
    }
}

void WiFiProfileViewController::removeNavigationBarButtons() {
    if (navigationItem) {
        navigationItem->setRightBarButtonItem(nullptr);
    }
}

void WiFiProfileViewController::reloadRefreshCell() {}

void WiFiProfileViewController::scrollToSelectedNetwork() {
    if (tableView) {
        tableView->scrollToRowAtIndexPath(IndexPath::forRow(0, kSelectedNetworkSection),
                                          platform::ui::TableViewScrollPosition::None, true);
    }
}

void WiFiProfileViewController::scrollToLastFocusedItem() {}

}  // namespace wifiprofile
