#include "platform/wifi/RecordingBackend.h"

namespace platform {

namespace {

DictionaryRef copyOf(const DictionaryRef& configuration) {
    return configuration ? std::make_shared<Dictionary>(*configuration) : nullptr;
}

}  // namespace

RecordingBackend::RecordingBackend(std::shared_ptr<WiFiBackend> inner) : inner_(std::move(inner)) {}

void RecordingBackend::arrived(const std::vector<RecordedRequest>& requests) {
    std::shared_ptr<const std::function<void(const RecordedRequest&)>> observer;
    {
        std::lock_guard lock(mutex_);
        requests_.insert(requests_.end(), requests.begin(), requests.end());
        observer = observer_;
    }
    if (observer && *observer) {
        for (const RecordedRequest& request : requests) {
            (*observer)(request);
        }
    }
}

DiagnosticsTestResults RecordingBackend::runDiagnosticsTests(const std::vector<DiagnosticsTestRequest>& tests,
                                                             ErrorRef* error, const Arrival& arrivedInner) {
    std::vector<RecordedRequest> requests;
    requests.reserve(tests.size());
    for (const DiagnosticsTestRequest& test : tests) {
        requests.push_back(
            RecordedRequest{RecordedRequest::Kind::Test, test.testID, copyOf(test.configuration)});
    }
    // Recorded when the wrapped backend has taken the request in, so that an observer that
    // cancels on arrival reaches it.
    ErrorRef answeredError;
    DiagnosticsTestResults results = inner_->runDiagnosticsTests(tests, &answeredError, [&] {
        arrived(requests);
        if (arrivedInner) {
            arrivedInner();
        }
    });
    {
        std::lock_guard lock(mutex_);
        for (const RecordedRequest& request : requests) {
            answers_.push_back(RecordedAnswer{request.testID, request.configuration, results, answeredError});
        }
    }
    if (error) {
        *error = answeredError;
    }
    return results;
}

std::vector<RecordedAnswer> RecordingBackend::answers() const {
    std::lock_guard lock(mutex_);
    return answers_;
}

StatusSnapshotRef RecordingBackend::queryStatus(ErrorRef* error, const Arrival& arrivedInner) {
    return inner_->queryStatus(error, [&] {
        arrived({RecordedRequest{RecordedRequest::Kind::Status, 0, nullptr}});
        if (arrivedInner) {
            arrivedInner();
        }
    });
}

void RecordingBackend::cancelAllRequests() {
    {
        std::lock_guard lock(mutex_);
        ++cancels_;
    }
    inner_->cancelAllRequests();
}

bool RecordingBackend::containsWiFiRadio() {
    return inner_->containsWiFiRadio();
}

bool RecordingBackend::managerClientAvailable() {
    return inner_->managerClientAvailable();
}

int RecordingBackend::deviceCount() {
    return inner_->deviceCount();
}

bool RecordingBackend::power() {
    return inner_->power();
}

void RecordingBackend::setPower(bool on) {
    inner_->setPower(on);
}

bool RecordingBackend::capability(const QString& key) {
    return inner_->capability(key);
}

std::vector<RecordedRequest> RecordingBackend::requests() const {
    std::lock_guard lock(mutex_);
    return requests_;
}

std::vector<std::int64_t> RecordingBackend::requestedTestIDs() const {
    std::lock_guard lock(mutex_);
    std::vector<std::int64_t> ids;
    for (const RecordedRequest& request : requests_) {
        if (request.kind == RecordedRequest::Kind::Test) {
            ids.push_back(request.testID);
        }
    }
    return ids;
}

std::size_t RecordingBackend::cancelCount() const {
    std::lock_guard lock(mutex_);
    return cancels_;
}

void RecordingBackend::setRequestObserver(std::function<void(const RecordedRequest&)> observer) {
    auto shared =
        observer ? std::make_shared<const std::function<void(const RecordedRequest&)>>(std::move(observer))
                 : nullptr;
    std::lock_guard lock(mutex_);
    observer_ = std::move(shared);
}

}  // namespace platform
