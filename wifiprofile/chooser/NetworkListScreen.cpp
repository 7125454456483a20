// The network list screen's frame: navigation bar with the diagnostic's title and the right-hand
// "NEXT" button, and the first load of the list (status, selected name, fresh scan).
#include "platform/foundation/DeviceCapability.h"
#include "platform/foundation/Dispatch.h"
#include "platform/ui/Toolkit.h"
#include "wifiprofile/controller/WiFiProfileViewController.h"
#include "wifiprofile/resources/Strings.h"

namespace wifiprofile {

namespace dispatch = platform::dispatch;

namespace {

constexpr double kBarDrop = 20.0;

}  // namespace

void WiFiProfileViewController::setupViewWithNetworkList(bool showNetworkList) {
    view()->setBackgroundWhite();
    navigationBar = new platform::ui::NavigationBar(view());
    navigationBar->moveCentreBy(kBarDrop);
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
    navigationBar->show();
    navigationBar->raise();
}

void WiFiProfileViewController::displayNetworkList() {
    dispatch::async(dispatch::globalQueue(), [self = self()] {
        self->determineCurrentNetwork();
        if (!self->inputs->selectedNetworkName()) {
            const platform::WiFiStatusRef status = self->wifiStatus.get();
            self->inputs->setSelectedNetworkName(status ? status->ssidString : std::nullopt);
        }
        dispatch::async(dispatch::mainQueue(), [self] {
            if (self->inputs->selectedNetworkName()) {
                self->enableRightBarButtonItem(true);
            }
        });
        self->runCurrentNetworkNoScanResultsWithConfiguration(self->freshScanConfiguration,
                                                              self->currentNetworkData);
        dispatch::async(dispatch::mainQueue(), [self] { self->hideSpinner(); });
    });
}

void WiFiProfileViewController::showSpinner() {
    scanFinished = false;
}

void WiFiProfileViewController::hideSpinner() {
    scanFinished = true;
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

}  // namespace wifiprofile
