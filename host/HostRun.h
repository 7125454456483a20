#pragma once
// One run of a diagnostic by the host: install the simulated device, load the diagnostic plugin,
// validate its parameters, set it up, start it, play the automation script, print the result when
// it first finishes, tear it down, let its work drain and report what it left behind.

#include "host/AutomationPlayer.h"
#include "host/EventStream.h"
#include "host/HostOptions.h"
#include "host/ResultPrinter.h"
#include "host/ResultsScreen.h"
#include "host/Watchdog.h"
#include "host/report/Profile.h"

#include "platform/host/Extension.h"
#include "platform/wifi/RecordingBackend.h"
#include "platform/wifi/linux/LinuxBackend.h"
#include "platform/wifi/linux/Nl80211Sources.h"
#include "platform/wifi/sim/SimBackend.h"

#include <QDateTime>
#include <atomic>

#include <chrono>
#include <memory>
#include <optional>

namespace host {

class HostObservers;

// The host's exit codes.
enum ExitCode : int {
    kExitFinished = 0,
    kExitOther = 1,
    kExitParametersRejected = 2,
    kExitScenarioUnusable = 3,
    kExitTimedOut = 4,
    kExitNoRealWiFi = 5,
};

class HostRun {
  public:
    explicit HostRun(HostOptions options);
    ~HostRun();
    HostRun(const HostRun&) = delete;
    HostRun& operator=(const HostRun&) = delete;

    // Runs the diagnostic to its end inside the application's event loop; answers the exit code.
    // An exception out of the diagnostic's hooks fails the run (exit 1) after it is reported.
    int run();

  private:
    // Reads the recording to replay, or sets up the one to write; false, said on stderr, for a
    // damaged recording.
    bool prepareNl80211();
    // Writes the recording when no test took the dumps, and says where it went.
    void finishNl80211Recording();
    int observedRun();
    // Everything before the event loop; answers -1 when the run may go on.
    int prepare(HostObservers& observers);
    void startDiagnostic();
    void onFinished(bool finished, std::optional<platform::Value> statusCode);
    void onFirstFinish();
    void onTimeout();
    void onAutomationFailure(const QString& place, const QString& why);
    // On the watchdog's thread: prints the result if nobody has, and ends the process.
    [[noreturn]] void onMainThreadUnanswered(std::chrono::milliseconds limit);
    // After a failed run: detaches from the diagnostic's work, ends the queues and waits for it.
    void abandon();
    // Settles the exit code unless it was settled before; answers whether it did.
    bool settle(int code);
    // Ends the settled run: tears the diagnostic down and leaves the event loop.
    void conclude();
    int drainAndReport(int code);
    // --ui, once the result is printed: the results screen, whose closing concludes the run
    // (HostRunResults.cpp). Answers whether it shows.
    bool showResults();
    void onResultsClosed(const QString& by);
    void onResultsAutomationFailure(const QString& place, const QString& why);
    // The run's profile for the result as printed: the service's answers, the log, the metadata.
    report::Profile profileOf(const platform::Value& result) const;
    // A report or a saved profile draws the networks around: when the run made no scan of its own
    // (the list was not shown), one is asked of the service, within the run's scan cache age.
    void scanForTheReport(const platform::Value& result);
    void error(const QString& message);

    HostOptions options_;
    EventStream events_;
    ResultPrinter printer_{events_};
    std::shared_ptr<platform::sim::SimBackend> sim_;  // the simulated device, when it is the backend
    std::shared_ptr<platform::linuxwifi::LinuxBackend> linux_;  // the real system, when it is the backend
    // The radio details the real system reads: a recording replayed, or the kernel's written down.
    std::shared_ptr<platform::linuxwifi::Nl80211Source> nl80211_;
    std::shared_ptr<platform::linuxwifi::RecordingNl80211Source> nl80211Recorder_;
    std::shared_ptr<platform::RecordingBackend> backend_;  // what the diagnostic talks to
    platform::DiagnosticExtension* extension_ = nullptr;
    std::shared_ptr<platform::HostDiagnosticInputs> inputs_;
    std::shared_ptr<platform::HostDiagnosticViewController> controller_;
    std::unique_ptr<AutomationPlayer> player_;
    std::unique_ptr<ResultsScreen> results_;  // --ui, after the finish

    static constexpr int kUnsettled = -1;
    std::atomic<bool> finishSeen_{false};  // the diagnostic first reported it finished (any thread)
    std::atomic<int> exitCode_{kUnsettled};
    int programmingErrorsBefore_ =
        0;  // the toolkit's count when this run began  // how the run ends, settled once on the main thread

    // What the run's profile records of it.
    HostObservers* observers_ = nullptr;  // while the run is observed
    bool simulated_ = false;
    // --backend auto found no real Wi-Fi: the simulated device is profiled instead, which the
    // window says, for a person who started the program from the menu and reads no stderr.
    bool simulatedInstead_ = false;
    std::optional<std::size_t> hostScanAnswer_;  // where scanForTheReport's answer is among the answers
    QString scenarioFile_;
    QDateTime started_ = QDateTime::currentDateTimeUtc();
    std::chrono::steady_clock::time_point startedClock_ = std::chrono::steady_clock::now();

    Watchdog watchdog_;  // last, so that it stops before anything it reads goes
};

}  // namespace host
