#pragma once
// A backend that records every request on its way to another backend: the requests made, in
// order, what the wrapped backend answered to each test request, an observer told of each request
// as it arrives (the host's request events), and how many times every request was cancelled.
// Works the same whatever backend it wraps.

#include "platform/wifi/WiFiBackend.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

namespace platform {

// One request the diagnostics service received.
struct RecordedRequest {
    enum class Kind { Test, Status };
    Kind kind = Kind::Test;
    std::int64_t testID = 0;      // Test only
    DictionaryRef configuration;  // Test only: a copy, as it was when the request arrived
};

// What the service answered to one test request: the results (absent, or an array that may hold
// absent elements) or an error.
struct RecordedAnswer {
    std::int64_t testID = 0;
    DictionaryRef configuration;  // a copy, as it was when the request arrived
    DiagnosticsTestResults results;
    ErrorRef error;
};

class RecordingBackend final : public WiFiBackend {
  public:
    explicit RecordingBackend(std::shared_ptr<WiFiBackend> inner);

    using WiFiBackend::queryStatus;
    using WiFiBackend::runDiagnosticsTests;
    DiagnosticsTestResults runDiagnosticsTests(const std::vector<DiagnosticsTestRequest>& tests,
                                               ErrorRef* error, const Arrival& arrived) override;
    StatusSnapshotRef queryStatus(ErrorRef* error, const Arrival& arrived) override;
    void cancelAllRequests() override;
    bool containsWiFiRadio() override;
    bool managerClientAvailable() override;
    int deviceCount() override;
    bool power() override;
    void setPower(bool on) override;
    bool capability(const QString& key) override;

    const std::shared_ptr<WiFiBackend>& inner() const { return inner_; }
    std::vector<RecordedRequest> requests() const;
    // The answers to the test requests so far, in the order they came back.
    std::vector<RecordedAnswer> answers() const;
    // The test IDs requested so far, in order.
    std::vector<std::int64_t> requestedTestIDs() const;
    // How many times cancelAllRequests was called.
    std::size_t cancelCount() const;
    // Called on the requesting thread for every request as it arrives, before the wrapped
    // backend answers it; never with a lock of ours held.
    void setRequestObserver(std::function<void(const RecordedRequest&)> observer);

  private:
    void arrived(const std::vector<RecordedRequest>& requests);

    const std::shared_ptr<WiFiBackend> inner_;
    mutable std::mutex mutex_;
    std::vector<RecordedRequest> requests_;
    std::vector<RecordedAnswer> answers_;
    std::size_t cancels_ = 0;
    std::shared_ptr<const std::function<void(const RecordedRequest&)>> observer_;
};

}  // namespace platform
