#pragma once
// The Wi-Fi diagnostics service: numbered tests with a configuration, answered synchronously with
// one result record per request, and status queries. Calls go to the installed WiFiBackend.

#include "platform/foundation/Error.h"
#include "platform/foundation/Value.h"
#include "platform/wifi/WiFiRecords.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace platform {

struct DiagnosticsTestRequest {
    std::int64_t testID = 0;
    DictionaryRef configuration;

    static DiagnosticsTestRequest requestWithTestID(std::int64_t testID, DictionaryRef configuration) {
        return DiagnosticsTestRequest{testID, std::move(configuration)};
    }
};

struct DiagnosticsTestResult {
    bool result = false;
    bool didPass = false;
    DictionaryRef info;  // absent when the service gives no details
};
using DiagnosticsTestResultRef = std::shared_ptr<const DiagnosticsTestResult>;

// The answer of a test run: absent, or an array whose elements may themselves be absent (nullptr).
using DiagnosticsTestResults = std::optional<std::vector<DiagnosticsTestResultRef>>;

// Progress handler of a test run; this program never passes one.
using DiagnosticsUpdateHandler = std::function<void(double progress)>;

class WiFiDiagnosticsClient {
  public:
    static WiFiDiagnosticsClient* sharedClient();

    // Runs the tests and returns when they are done; on failure sets *error.
    DiagnosticsTestResults runDiagnosticsTests(const std::vector<DiagnosticsTestRequest>& tests,
                                               const void* peer, const DiagnosticsUpdateHandler* update,
                                               ErrorRef* error);
    StatusSnapshotRef queryStatusForPeer(const void* peer, ErrorRef* error);
    // Makes every request still running return at once with an error.
    void cancelAllRequests();

  private:
    WiFiDiagnosticsClient() = default;
};

}  // namespace platform
