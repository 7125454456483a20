// The controller's side of the Wi-Fi diagnostics service: the status query and result picking.
#include "wifiprofile/controller/WiFiProfileViewController.h"
#include "wifiprofile/service/TestStep.h"

namespace wifiprofile {

void WiFiProfileViewController::determineCurrentNetwork() {
    platform::ErrorRef error;
    const platform::StatusSnapshotRef snapshot =
        platform::WiFiDiagnosticsClient::sharedClient()->queryStatusForPeer(nullptr, &error);
    if (error && error->code != 0) {
        platform::logError(testLog(), "[ERROR] - Wi-Fi Profile: Query Status failed with error: %@", error);
        return;  // the previous status stays
    }
    wifiStatus.set(snapshot ? snapshot->wifi : nullptr);
}

platform::DiagnosticsTestResultRef WiFiProfileViewController::testResultFromResults(
    const platform::DiagnosticsTestResults& results) const {
    if (!results || results->empty()) {
        platform::logError(testLog(), "[ERROR] - Wi-Fi Profile: Results not found.");
        return nullptr;
    }
    platform::DiagnosticsTestResultRef first = results->front();
    if (!first) {
        platform::logError(testLog(), "[ERROR] - Wi-Fi Profile: Test Result not found.");
    }
    return first;
}

}  // namespace wifiprofile
