// The controller's lifecycle: set-up from the inputs, start in either mode, Wi-Fi power handling,
// and the one way a run ends (endTestWithStatusCode).
#include "wifiprofile/controller/WiFiProfileViewController.h"

#include "platform/foundation/DateFormatter.h"
#include "platform/foundation/DeviceCapability.h"
#include "platform/foundation/Dispatch.h"
#include "platform/foundation/Log.h"
#include "platform/wifi/RunLoop.h"
#include "wifiprofile/resources/Strings.h"

namespace wifiprofile {

using platform::Dictionary;
using platform::Value;
namespace dispatch = platform::dispatch;

namespace {

constexpr int kSetupLogCategory = 0;

}  // namespace

WiFiProfileViewController::~WiFiProfileViewController() {
    // The table and the bar outlive this object by a moment (the base class deletes the root view):
    // they must not ask a data source or delegate that is gone.
    if (tableView) {
        tableView->setDataSource(nullptr);
        tableView->setDelegate(nullptr);
    }
    if (navigationBar) {
        navigationBar->setDelegate(nullptr);
    }
}

std::shared_ptr<WiFiProfileViewController> WiFiProfileViewController::self() {
    return std::static_pointer_cast<WiFiProfileViewController>(shared_from_this());
}

void WiFiProfileViewController::setupWithInputs(std::shared_ptr<platform::HostDiagnosticInputs> newInputs,
                                                void* /*responder*/) {
    inputs = std::dynamic_pointer_cast<WiFiProfileInputs>(newInputs);
    if (!inputs) {
        inputs = std::make_shared<WiFiProfileInputs>();  // a host bug; run on empty inputs rather than crash
    }
    completedTests = 0;
    refreshEnabled = false;
    progressScreenVisible = false;
    scanFinished = false;
    const Value maxScanCacheAge = inputs->maxScanCacheAge.value_or(Value::null());
    currentNetworkConfiguration = Dictionary::make({{"MaxScanCacheAge", maxScanCacheAge}});
    freshScanConfiguration = Dictionary::make({{"MaxScanCacheAge", Value::integer(0)}});
    deviceData = Dictionary::make();
    currentNetworkData = Dictionary::make();
    selectedNetworkData = Dictionary::make();
    if (platform::TestAutomation::sharedInstance()->testAutomationEnabled()) {
        platform::TestAutomation::postConfiguration(Dictionary::make(
            {{"parameters", Value::dictionary(inputs->parameters ? inputs->parameters : Dictionary::make())},
             {"predicates", Value::dictionary(Dictionary::make())},
             {"specifications", Value::dictionary(Dictionary::make())}}));
    }
}

void WiFiProfileViewController::start() {
    if (!inputs->reprofileWithNetworksListUI) {
        determineCurrentNetwork();
        if (!inputs->selectedNetworkName()) {
            const platform::WiFiStatusRef status = wifiStatus.get();
            inputs->setSelectedNetworkName(status ? status->ssidString : std::nullopt);
        }
        runTests();
    } else if (setupWiFi()) {
        if (wifiPoweredOn) {
            displayNetworkList();
        } else {
            presentWiFiPoweredOffAlert();
        }
    }
    setupViewWithNetworkList(inputs->reprofileWithNetworksListUI);
}

void WiFiProfileViewController::teardown() {
    cleanUp();
}

bool WiFiProfileViewController::setupWiFi() {
    auto ready = std::make_shared<bool>(false);
    dispatch::sync(dispatch::globalQueue(), [self = self(), ready] {
        if (platform::containsWiFiRadio()) {
            self->manager = platform::createManagerClient(nullptr, 0);
        }
        platform::WiFiManagerRef wifiManager = self->manager;
        if (!wifiManager) {
            platform::logError(platform::logHandleForCategory(kSetupLogCategory),
                               "createManagerClient failed - unable to get Wi-Fi manager handle.");
            self->endTestWithStatusCode(-2);
            return;
        }
        platform::scheduleWithRunLoop(wifiManager, platform::RunLoop::current(),
                                      platform::kRunLoopDefaultMode);
        platform::setClientType(wifiManager, 0);
        platform::WiFiDeviceArrayRef devices = platform::copyDevices(wifiManager);
        if (devices->count() == 0) {
            platform::logError(platform::logHandleForCategory(kSetupLogCategory),
                               "[ERROR] - Couldn't find a Wi-Fi device.");
            platform::releaseHandle(self->manager.exchange(nullptr));
            self->endTestWithStatusCode(-3);
        } else {
            *ready = true;
            platform::WiFiDeviceRef first = devices->at(0);
            platform::retainHandle(first);
            self->device = first;
            self->wifiPoweredOn = platform::getPower(wifiManager) != 0;
            platform::registerPowerCallback(first, &WiFiProfileViewController::powerCallback,
                                            self->weak_from_this());
        }
        platform::releaseHandle(devices);
    });
    return *ready;
}

void WiFiProfileViewController::powerCallback(platform::WiFiDeviceRef /*device*/,
                                              std::weak_ptr<void> context) {
    const std::shared_ptr<void> strong = context.lock();
    if (!strong) {
        return;
    }
    auto* controller =
        static_cast<WiFiProfileViewController*>(static_cast<HostDiagnosticViewController*>(strong.get()));
    controller->powerChanged();
}

void WiFiProfileViewController::powerChanged() {
    wifiPoweredOn = platform::getPower(manager) != 0;
    if (!wifiPoweredOn) {
        endTestWithStatusCode(-5);
        return;
    }
    showSpinner();
    displayNetworkList();
}

void WiFiProfileViewController::presentWiFiPoweredOffAlert() {
    const bool wapi = platform::queryDeviceCapability(QStringLiteral("wapi"));
    const QString message =
        localizedString(wapi ? QStringLiteral("POWER_ON_WLAN") : QStringLiteral("POWER_ON_WIFI"));
    auto alert = platform::ui::AlertController::alertControllerWithTitle(QString(), message);
    std::weak_ptr<WiFiProfileViewController> weakSelf = self();
    alert->addAction(std::make_shared<platform::ui::AlertAction>(
        localizedString(QStringLiteral("NO")), platform::ui::AlertAction::Style::Default, [weakSelf] {
            if (const auto strong = weakSelf.lock()) {
                strong->endTestWithStatusCode(-4);
            }
        }));
    alert->addAction(std::make_shared<platform::ui::AlertAction>(
        localizedString(QStringLiteral("YES")), platform::ui::AlertAction::Style::Default, [weakSelf] {
            const auto strong = weakSelf.lock();
            const platform::WiFiManagerRef wifiManager = strong ? strong->manager.load() : nullptr;
            if (wifiManager) {
                platform::setPower(wifiManager, 1);  // the list follows the power notification
            }
        }));
    presentViewController(alert, true, nullptr);
}

void WiFiProfileViewController::nextTapped(void* /*sender*/) {
    runTests();
}

void WiFiProfileViewController::runTests() {
    displayProgressScreen();
    dispatch::async(dispatch::globalQueue(), [self = self()] { self->testJob(); });
}

void WiFiProfileViewController::endTestWithStatusCode(std::int64_t statusCode) {
    cleanUp();
    result().setStatusCode(Value::integer(statusCode));
    result().setData(Dictionary::make({{"device", Value::dictionary(deviceData)},
                                       {"currentNetwork", Value::dictionary(currentNetworkData)},
                                       {"selectedNetwork", Value::dictionary(selectedNetworkData)}}));
    finishTest();
}

void WiFiProfileViewController::cleanUp() {
    dispatch::sync(dispatch::globalQueue(), [self = self()] {
        platform::WiFiDiagnosticsClient::sharedClient()->cancelAllRequests();
        // Each handle is taken out before it is released, so no handle is ever released twice.
        if (platform::WiFiManagerRef m = self->manager.exchange(nullptr)) {
            platform::releaseHandle(m);
        }
        if (platform::WiFiDeviceRef d = self->device.exchange(nullptr)) {
            platform::releaseHandle(d);
        }
    });
}

void WiFiProfileViewController::finishTest() {
    setFinished(true);
}

QString WiFiProfileViewController::timestampFormattedInISO8601(const platform::Date& date) const {
    const platform::DateFormatter* formatter =
        platform::DateFormatterService::sharedInstance()->formatterOfType(
            platform::DateFormatterService::ISO8601);
    return formatter ? formatter->stringFromDate(date) : QString();
}

}  // namespace wifiprofile
