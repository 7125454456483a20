#pragma once
// Drives the real Wi-Fi Profile controller in-process against the simulated Wi-Fi device: a
// scenario in, observable facts out (result dictionaries, log lines, requests, finishes).

#include "platform/foundation/Log.h"
#include "platform/foundation/Value.h"
#include "platform/wifi/RecordingBackend.h"
#include "platform/wifi/sim/Scenario.h"
#include "platform/wifi/sim/SimBackend.h"
#include "wifiprofile/controller/WiFiProfileInputs.h"
#include "wifiprofile/controller/WiFiProfileViewController.h"

#include <QString>
#include <QStringList>

#include <chrono>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

namespace testsupport {

struct LogLine {
    int category;
    platform::LogLevel level;
    QString message;
};

// A scenario joined to ssid (with bssid), Wi-Fi on, one device; no tests named (neutral answers).
platform::sim::Scenario joinedScenario(const QString& ssid = QStringLiteral("Home"),
                                       const QString& bssid = QStringLiteral("02:11:22:33:44:55"));
// A scenario whose status query says the device is joined to no network.
platform::sim::Scenario notJoinedScenario();

// One answer: a single result record.
platform::sim::TestAnswer answer(bool result, bool didPass, platform::DictionaryRef info = nullptr);
// One answer: a service error with code (domain "WiFiDiagnostics", text "boom"), no results.
platform::sim::TestAnswer errorAnswer(std::int64_t code);
// One answer: an explicit result array (nullptr elements are absent results).
platform::sim::TestAnswer resultsAnswer(
    std::optional<std::vector<platform::DiagnosticsTestResultRef>> results);
platform::DiagnosticsTestResultRef result(bool result, bool didPass, platform::DictionaryRef info = nullptr);

// The description an errorAnswer(code) logs in place of "%@".
QString errorDescription(std::int64_t code);

// Parameters as the host passes them.
platform::DictionaryRef parameters(std::int64_t maxScanCacheAge, bool reprofileWithUI,
                                   std::optional<QString> networkName = std::nullopt);

class DiagnosticHarness {
  public:
    // Installs the simulated device for scenario, captures the log, validates parameters and sets
    // the controller up with them (the host's steps before start).
    explicit DiagnosticHarness(platform::sim::Scenario scenario,
                               platform::DictionaryRef params = parameters(60, false));
    ~DiagnosticHarness();
    DiagnosticHarness(const DiagnosticHarness&) = delete;
    DiagnosticHarness& operator=(const DiagnosticHarness&) = delete;

    std::shared_ptr<wifiprofile::WiFiProfileViewController> controller;
    std::shared_ptr<wifiprofile::WiFiProfileInputs> inputs;
    std::shared_ptr<platform::sim::SimBackend> sim;
    std::shared_ptr<platform::RecordingBackend> backend;  // records the requests on their way to sim
    bool parametersValid = false;

    // Calls start() and runs the main loop until the diagnostic reports finished (or timeout).
    bool startAndWaitForFinish(std::chrono::milliseconds timeout = std::chrono::milliseconds(10000));
    // Runs the main loop until count finishes were reported.
    bool waitForFinishes(std::size_t count,
                         std::chrono::milliseconds timeout = std::chrono::milliseconds(10000));
    // Runs the main loop until nothing is queued, running or waiting on a timer.
    bool waitUntilIdle(std::chrono::milliseconds timeout = std::chrono::milliseconds(10000));

    // The test requests the service received (status queries left out), in order.
    std::vector<platform::RecordedRequest> testRequests() const;

    std::vector<LogLine> logs() const;
    // The messages logged at error level on the given category, in order.
    QStringList messages(int category = 3) const;
    // Status codes of the setFinished(true) calls, in order.
    std::vector<std::int64_t> finishes() const;
    void clearLogs();

  private:
    mutable std::mutex mutex_;
    std::vector<LogLine> logs_;
    std::vector<std::int64_t> finishes_;
};

}  // namespace testsupport
