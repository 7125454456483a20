#include "platform/wifi/WiFiDiagnosticsClient.h"

#include "platform/wifi/WiFiBackend.h"

namespace platform {

namespace {

ErrorRef noBackendError() {
    return makeError(QStringLiteral("WiFiDiagnostics"), 6, QStringLiteral("no Wi-Fi backend is installed"));
}

}  // namespace

WiFiDiagnosticsClient* WiFiDiagnosticsClient::sharedClient() {
    static WiFiDiagnosticsClient client;
    return &client;
}

DiagnosticsTestResults WiFiDiagnosticsClient::runDiagnosticsTests(
    const std::vector<DiagnosticsTestRequest>& tests, const void* /*peer*/,
    const DiagnosticsUpdateHandler* /*update*/, ErrorRef* error) {
    const auto backend = installedWiFiBackend();
    if (!backend) {
        if (error) {
            *error = noBackendError();
        }
        return std::nullopt;
    }
    ErrorRef localError;
    DiagnosticsTestResults results = backend->runDiagnosticsTests(tests, &localError);
    if (error) {
        *error = localError;
    }
    return results;
}

StatusSnapshotRef WiFiDiagnosticsClient::queryStatusForPeer(const void* /*peer*/, ErrorRef* error) {
    const auto backend = installedWiFiBackend();
    if (!backend) {
        if (error) {
            *error = noBackendError();
        }
        return nullptr;
    }
    ErrorRef localError;
    StatusSnapshotRef snapshot = backend->queryStatus(&localError);
    if (error) {
        *error = localError;
    }
    return snapshot;
}

void WiFiDiagnosticsClient::cancelAllRequests() {
    if (const auto backend = installedWiFiBackend()) {
        backend->cancelAllRequests();
    }
}

}  // namespace platform
