#include "unittests/diagnostic/DiagnosticHarness.h"

#include "platform/host/HostDiagnostic.h"
#include "platform/wifi/WiFiBackend.h"
#include "unittests/support/MainLoop.h"

namespace testsupport {

using platform::Dictionary;
using platform::Value;
using platform::sim::Scenario;
using platform::sim::StatusAnswer;
using platform::sim::TestAnswer;

Scenario joinedScenario(const QString& ssid, const QString& bssid) {
    Scenario scenario;
    scenario.file = QStringLiteral("(test)");
    StatusAnswer status;
    status.kind = StatusAnswer::Kind::Joined;
    status.ssid = ssid;
    status.bssid = bssid;
    scenario.status = {status};
    scenario.defaultAnswer = answer(false, true);
    return scenario;
}

Scenario notJoinedScenario() {
    Scenario scenario = joinedScenario();
    scenario.status.front().kind = StatusAnswer::Kind::NotJoined;
    return scenario;
}

platform::DiagnosticsTestResultRef result(bool result, bool didPass, platform::DictionaryRef info) {
    return std::make_shared<const platform::DiagnosticsTestResult>(
        platform::DiagnosticsTestResult{result, didPass, std::move(info)});
}

TestAnswer answer(bool r, bool didPass, platform::DictionaryRef info) {
    TestAnswer a;
    a.results = std::vector<platform::DiagnosticsTestResultRef>{result(r, didPass, std::move(info))};
    return a;
}

TestAnswer errorAnswer(std::int64_t code) {
    TestAnswer a;
    a.error = platform::makeError(QStringLiteral("WiFiDiagnostics"), code, QStringLiteral("boom"));
    return a;
}

TestAnswer resultsAnswer(std::optional<std::vector<platform::DiagnosticsTestResultRef>> results) {
    TestAnswer a;
    a.results = std::move(results);
    return a;
}

QString errorDescription(std::int64_t code) {
    return QStringLiteral("WiFiDiagnostics error %1: boom").arg(code);
}

platform::DictionaryRef parameters(std::int64_t maxScanCacheAge, bool reprofileWithUI,
                                   std::optional<QString> networkName) {
    auto p = Dictionary::make({{"maxScanCacheAge", Value::integer(maxScanCacheAge)},
                               {"reprofileWithUI", Value::boolean(reprofileWithUI)}});
    if (networkName) {
        p->set("networkName", Value::string(*networkName));
    }
    return p;
}

DiagnosticHarness::DiagnosticHarness(Scenario scenario, platform::DictionaryRef params) {
    sim = std::make_shared<platform::sim::SimBackend>(std::move(scenario));
    backend = std::make_shared<platform::RecordingBackend>(sim);
    platform::installWiFiBackend(backend);
    platform::setLogSink([this](int category, platform::LogLevel level, const QString& message) {
        std::lock_guard lock(mutex_);
        logs_.push_back({category, level, message});
    });
    inputs = std::make_shared<wifiprofile::WiFiProfileInputs>();
    parametersValid = inputs->validateAndInitializeParameters(params);
    controller = std::make_shared<wifiprofile::WiFiProfileViewController>();
    controller->setFinishedObserver([this](bool finished, std::optional<Value> statusCode) {
        if (finished) {
            std::lock_guard lock(mutex_);
            finishes_.push_back(statusCode ? statusCode->toInt() : 0);
        }
    });
    controller->setupWithInputs(inputs, nullptr);
}

DiagnosticHarness::~DiagnosticHarness() {
    controller->teardown();
    waitUntilIdle();
    controller->setFinishedObserver(nullptr);
    platform::setLogSink(nullptr);
    platform::installWiFiBackend(nullptr);
}

bool DiagnosticHarness::startAndWaitForFinish(std::chrono::milliseconds timeout) {
    controller->start();
    return waitForFinishes(1, timeout);
}

bool DiagnosticHarness::waitForFinishes(std::size_t count, std::chrono::milliseconds timeout) {
    return runMainLoopUntil(
        [this, count] {
            std::lock_guard lock(mutex_);
            return finishes_.size() >= count;
        },
        timeout);
}

bool DiagnosticHarness::waitUntilIdle(std::chrono::milliseconds timeout) {
    return runMainLoopUntilIdle(timeout);
}

std::vector<platform::RecordedRequest> DiagnosticHarness::testRequests() const {
    std::vector<platform::RecordedRequest> out;
    for (const auto& request : backend->requests()) {
        if (request.kind == platform::RecordedRequest::Kind::Test) {
            out.push_back(request);
        }
    }
    return out;
}

std::vector<LogLine> DiagnosticHarness::logs() const {
    std::lock_guard lock(mutex_);
    return logs_;
}

QStringList DiagnosticHarness::messages(int category) const {
    std::lock_guard lock(mutex_);
    QStringList out;
    for (const LogLine& line : logs_) {
        if (line.category == category && line.level == platform::LogLevel::Error) {
            out.append(line.message);
        }
    }
    return out;
}

std::vector<std::int64_t> DiagnosticHarness::finishes() const {
    std::lock_guard lock(mutex_);
    return finishes_;
}

void DiagnosticHarness::clearLogs() {
    std::lock_guard lock(mutex_);
    logs_.clear();
}

}  // namespace testsupport
