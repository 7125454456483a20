#include "host/HostRun.h"

#include "host/BackendChoice.h"

#include "platform/ui/ScreenEvents.h"

#include "host/DrainReport.h"
#include "host/HostObservers.h"
#include "host/HostOutput.h"
#include "host/ParameterReport.h"
#include "host/PluginLoader.h"
#include "host/ProfileOutput.h"

#include "host/QtWorkerThreads.h"
#include "host/report/Strings.h"

#include "platform/host/HostDiagnostic.h"
#include "platform/wifi/WiFiBackend.h"

#include <QApplication>
#include <QSysInfo>
#include <QTimer>

#include <cstdio>
#include <cstdlib>

namespace host {

using platform::Dictionary;
using platform::Value;

namespace {

// The handheld-sized portrait window of --ui (and the off-screen surface otherwise).
constexpr int kScreenWidth = 375;
constexpr int kScreenHeight = 667;
// How long the diagnostic's queued and running work may take to drain after the end.
constexpr std::chrono::milliseconds kDrain{5000};
// The service's No Scan Results test, whose answer lists the networks around.
constexpr std::int64_t kNoScanResultsTest = 31;
// How long past the time limit the host waits for a main thread that does not answer: the drain
// and a little more.
constexpr std::chrono::milliseconds kUnresponsiveGrace = kDrain + std::chrono::milliseconds(1000);

// "scenario home.json, at device.devices: why"; e is a ScenarioError or an AutomationError.
template <class FileError>
QString describeScenarioError(const QString& role, const FileError& e) {
    QString where = QStringLiteral("%1 %2").arg(role, e.file());
    if (!e.place().isEmpty()) {
        where += QStringLiteral(", at ") + e.place();
    }
    return QStringLiteral("%1: %2").arg(where, e.why());
}

Value optionalValue(const std::optional<Value>& v) {
    return v ? *v : Value::null();
}

}  // namespace

HostRun::HostRun(HostOptions options)
    : options_(std::move(options)), programmingErrorsBefore_(platform::ui::programmingErrorCount()) {}

HostRun::~HostRun() {
    watchdog_.stop();
}

void HostRun::error(const QString& message) {
    reportError(events_, message);
}

int HostRun::run() {
    try {
        return observedRun();
    } catch (const std::exception& e) {
        // A diagnostic that throws out of a hook fails its run; it does not take the host down.
        error(QStringLiteral("the run failed: %1").arg(QString::fromUtf8(e.what())));
        abandon();
        return kExitOther;
    }
}

void HostRun::abandon() {
    // Work the diagnostic started must not reach this run once it is gone: its finishes are no
    // longer heard, nothing new starts, and what is running is waited for.
    if (controller_) {
        controller_->setFinishedObserver(nullptr);
    }
    platform::dispatch::shutdown();
    platform::dispatch::waitForGlobalWork(kDrain);
}

int HostRun::observedRun() {
    // Whichever way this function is left, the observers go with it.
    HostObservers observers(events_);
    observers_ = &observers;
    struct Unobserved {
        HostObservers*& observers;
        ~Unobserved() { observers = nullptr; }
    } unobserved{observers_};
    const int early = prepare(observers);
    if (early >= 0) {
        return early;
    }
    // The time limit is kept by the event loop; the watchdog only acts when the main thread is
    // stuck (for example in a service call that never returns), so that the limit still holds.
    const auto limit =
        std::chrono::milliseconds(static_cast<qint64>(options_.timeoutSeconds * 1000.0)) + kUnresponsiveGrace;
    watchdog_.start(limit, [this, limit] { onMainThreadUnanswered(limit); });
    QTimer::singleShot(0, qApp, [this] { startDiagnostic(); });
    QTimer::singleShot(static_cast<int>(options_.timeoutSeconds * 1000.0), qApp, [this] { onTimeout(); });
    QCoreApplication::exec();
    return drainAndReport(exitCode_.load());
}

int HostRun::prepare(HostObservers& observers) {
    if (options_.eventsPath) {
        QString why;
        if (!events_.open(*options_.eventsPath, &why)) {
            error(QStringLiteral("cannot write events to %1: %2").arg(*options_.eventsPath, why));
            return kExitOther;
        }
    }
    // Whose Wi-Fi: this machine's, or the simulated device.
    bool simulated = options_.backend == BackendChoice::Sim;
    if (!simulated) {
        if (!prepareNl80211()) {
            return kExitScenarioUnusable;
        }
        QString why;
        if (realWiFiAvailable(&why)) {
            linux_ = makeLinuxBackend(options_, nl80211_);
        } else if (options_.backend == BackendChoice::Linux) {
            error(QStringLiteral("%1; start NetworkManager on a machine with Wi-Fi, or profile the simulated "
                                 "device with --backend sim")
                      .arg(why));
            return kExitNoRealWiFi;
        } else {
            writeOut(stderr,
                     QStringLiteral("wifi-profile: %1; profiling the simulated device\n").arg(why).toUtf8());
            if (options_.nl80211RecordDir || options_.nl80211ReplayDir) {
                writeOut(stderr, QStringLiteral("wifi-profile: the simulated device has no nl80211 to %1\n")
                                     .arg(options_.nl80211RecordDir ? QStringLiteral("record")
                                                                    : QStringLiteral("replay"))
                                     .toUtf8());
            }
            simulated = true;
            simulatedInstead_ = true;
        }
    }
    // The simulated device and the user actions to play on it.
    platform::sim::Scenario scenario;
    if (simulated) {
        try {
            scenario = options_.scenarioPath ? platform::sim::loadScenarioFile(*options_.scenarioPath)
                                             : platform::sim::builtInScenario();
        } catch (const platform::sim::ScenarioError& e) {
            error(describeScenarioError(QStringLiteral("scenario"), e));
            return kExitScenarioUnusable;
        }
    }
    std::optional<std::vector<AutomationAction>> automation;
    QString automationFile = scenario.file;
    if (options_.automationPath) {
        try {
            automation = loadAutomationFile(*options_.automationPath);
            automationFile = *options_.automationPath;
        } catch (const AutomationError& e) {
            error(describeScenarioError(QStringLiteral("automation"), e));
            return kExitScenarioUnusable;
        }
    } else if (scenario.automation) {
        try {
            automation = automationOfScenario(scenario);
        } catch (const AutomationError& e) {
            error(describeScenarioError(QStringLiteral("scenario"), e));
            return kExitScenarioUnusable;
        }
    }
    events_.write(QStringLiteral("host"),
                  Dictionary::make({
                      {QStringLiteral("parameters"), Value::dictionary(options_.parameters)},
                      {QStringLiteral("backend"),
                       Value::string(simulated ? QStringLiteral("sim") : QStringLiteral("linux"))},
                      {QStringLiteral("scenario"), simulated ? Value::string(scenario.file) : Value::null()},
                      {QStringLiteral("automation"), Value::boolean(automation.has_value())},
                  }));

    simulated_ = simulated;
    scenarioFile_ = simulated ? scenario.file : QString();
    printer_.setFormatter([this](const Value& result) {
        // The result is printed whatever goes wrong on the way to the summary and the files.
        try {
            scanForTheReport(result);
            return profileOutputs(profileOf(result), options_);
        } catch (const std::exception& e) {
            error(QStringLiteral("the summary and the files could not be made: %1")
                      .arg(QString::fromUtf8(e.what())));
            return resultJsonLine(result);
        }
    });

    // The device first: the diagnostic finds its platform in place when it loads.
    if (simulated) {
        sim_ = std::make_shared<platform::sim::SimBackend>(std::move(scenario));
        backend_ = std::make_shared<platform::RecordingBackend>(sim_);
    } else {
        backend_ = std::make_shared<platform::RecordingBackend>(linux_);
    }
    observers.observeRequests(backend_);
    platform::installWiFiBackend(backend_);

    const QString pluginPath = options_.pluginPath.value_or(defaultPluginPath());
    QString why;
    extension_ = loadDiagnosticPlugin(pluginPath, &why);
    if (!extension_) {
        error(why);
        return kExitOther;
    }

    // Parameters, checked by the diagnostic's own inputs; each problem is named.
    inputs_ = extension_->makeInputs();
    if (!acceptParameters(inputs_.get(), options_.parameters, events_)) {
        return kExitParametersRejected;
    }

    // The diagnostic posts its configuration, which the observers report, only when automation is on.
    platform::TestAutomation::sharedInstance()->setTestAutomationEnabled(automation.has_value());

    controller_ = extension_->makeViewController();
    if (!controller_) {
        error(QStringLiteral("the plugin %1 made no view controller").arg(pluginPath));
        return kExitOther;
    }
    controller_->setFinishedObserver([this](bool finished, std::optional<Value> statusCode) {
        onFinished(finished, std::move(statusCode));
    });
    controller_->setupWithInputs(inputs_, nullptr);

    auto* view = controller_->view();
    view->resize(kScreenWidth, kScreenHeight);
    view->setWindowTitle(simulatedInstead_
                             ? report::text(QStringLiteral("window.simulatedTitle"), {extension_->name()})
                             : extension_->name());
    view->show();

    if (automation) {
        player_ = std::make_unique<AutomationPlayer>(std::move(*automation), automationFile, extension_,
                                                     controller_, backend_, &events_);
        player_->setFailureHandler(
            [this](const QString& place, const QString& why) { onAutomationFailure(place, why); });
    }
    return -1;
}

void HostRun::startDiagnostic() {
    controller_->start();
    if (sim_) {
        sim_->startEvents();
    }
    if (player_) {
        player_->start();
    }
}

// Any thread: the diagnostic ends from whichever queue it is on.
void HostRun::onFinished(bool finished, std::optional<Value> statusCode) {
    events_.write(QStringLiteral("finished"), Dictionary::make({
                                                  {QStringLiteral("finished"), Value::boolean(finished)},
                                                  {QStringLiteral("statusCode"), optionalValue(statusCode)},
                                              }));
    if (finished && !finishSeen_.exchange(true)) {
        QMetaObject::invokeMethod(
            qApp, [this] { onFirstFinish(); }, Qt::QueuedConnection);
    }
}

void HostRun::onFirstFinish() {
    if (!settle(kExitFinished)) {
        return;
    }
    printer_.print(controller_->result(), true);
    if (showResults()) {
        return;  // the results screen concludes the run when it is closed
    }
    conclude();
}

void HostRun::onTimeout() {
    // A finish seen before the limit wins, even when the main thread has not printed it yet.
    if (finishSeen_ || !settle(kExitTimedOut)) {
        return;
    }
    error(QStringLiteral("the diagnostic did not finish within %1 s").arg(options_.timeoutSeconds));
    printer_.print(controller_->result(), false);
    conclude();
}

void HostRun::onAutomationFailure(const QString& place, const QString& why) {
    if (finishSeen_ || !settle(kExitScenarioUnusable)) {
        return;
    }
    error(QStringLiteral("automation %1, at %2: %3").arg(player_->file(), place, why));
    conclude();
}

void HostRun::scanForTheReport(const Value& result) {
    // --ui too: the results screen may save a report.
    if ((!options_.reportPath && !options_.savePath && !options_.ui) || !backend_) {
        return;
    }
    const auto finished = result.toDictionary()->value(QStringLiteral("finished"));
    const auto status = result.toDictionary()->value(QStringLiteral("statusCode"));
    if ((finished && !finished->toBool()) || !status || !status->isNumber() || status->toInt() != 0) {
        // A run that did not end asks nothing more of a service that may hang; one that found no
        // Wi-Fi to profile (no manager, no device, Wi-Fi left off) has no networks to draw.
        return;
    }
    for (const platform::RecordedAnswer& answer : backend_->answers()) {
        if (answer.testID == kNoScanResultsTest && answer.results) {
            return;
        }
    }
    const auto age =
        options_.parameters ? options_.parameters->value(QStringLiteral("maxScanCacheAge")) : std::nullopt;
    const auto configuration =
        Dictionary::make({{QStringLiteral("MaxScanCacheAge"),
                           age && age->isNumber() ? Value::integer(age->toInt()) : Value::integer(60)}});
    hostScanAnswer_ = backend_->answers().size();
    platform::ErrorRef error;
    backend_->runDiagnosticsTests(
        {platform::DiagnosticsTestRequest::requestWithTestID(kNoScanResultsTest, configuration)}, &error);
}

report::Profile HostRun::profileOf(const Value& result) const {
    report::Profile profile;
    profile.result = result;
    if (backend_) {
        profile.answers = serviceAnswers(backend_->answers());
        if (hostScanAnswer_ && *hostScanAnswer_ < profile.answers.size()) {
            profile.answers[*hostScanAnswer_].byHost = true;
        }
    }
    if (observers_) {
        profile.log = observers_->logLines();
    }
    report::ProfileMetadata& m = profile.metadata;
    m.backend = simulated_ ? QStringLiteral("sim") : QStringLiteral("linux");
    m.scenario = scenarioFile_;
    m.machine = QStringLiteral("%1 (%2 %3)")
                    .arg(QSysInfo::machineHostName(), QSysInfo::kernelType(), QSysInfo::kernelVersion());
    m.version = QStringLiteral(WIFIPROFILE_VERSION);
    m.qtVersion = QString::fromLatin1(qVersion());
    m.started = started_;
    m.durationMs = std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() -
                                                                         startedClock_)
                       .count();
    m.parameters = options_.parameters;
    return profile;
}

bool HostRun::prepareNl80211() {
    if (options_.nl80211ReplayDir) {
        try {
            nl80211_ = platform::linuxwifi::loadNl80211Recording(*options_.nl80211ReplayDir);
        } catch (const platform::linuxwifi::Nl80211DumpError& e) {
            error(QStringLiteral("nl80211 recording %1").arg(e.text()));
            return false;
        }
    } else if (options_.nl80211RecordDir) {
        nl80211Recorder_ = std::make_shared<platform::linuxwifi::RecordingNl80211Source>(
            std::make_shared<platform::linuxwifi::KernelNl80211Source>(), *options_.nl80211RecordDir);
        nl80211_ = nl80211Recorder_;
    }
    return true;
}

void HostRun::finishNl80211Recording() {
    if (!nl80211Recorder_ || !linux_) {
        return;
    }
    // A run whose tests needed no radio details still leaves a recording behind.
    std::optional<QString> why;
    if (nl80211Recorder_->written() == 0) {
        why = linux_->takeRadioDumps();
    }
    if (const auto failed = nl80211Recorder_->writeError()) {
        why = *failed;
    }
    if (nl80211Recorder_->written() == 0 || nl80211Recorder_->writeError()) {
        writeOut(stderr,
                 QStringLiteral("wifi-profile: no nl80211 recording written to %1: %2\n")
                     .arg(*options_.nl80211RecordDir, why.value_or(QStringLiteral("no dump was taken")))
                     .toUtf8());
        return;
    }
    writeOut(stderr, QStringLiteral("wifi-profile: nl80211 recording written to %1\n")
                         .arg(*options_.nl80211RecordDir)
                         .toUtf8());
}

bool HostRun::settle(int code) {
    int unsettled = kUnsettled;
    return exitCode_.compare_exchange_strong(unsettled, code);
}

void HostRun::conclude() {
    const int code = exitCode_.load();
    if (player_) {
        player_->stop();
        if (code == kExitFinished && player_->remaining() > 0) {
            // Not an error: a script may go on past the end, but its writer should know.
            const auto left = static_cast<qint64>(player_->remaining());
            writeOut(stderr,
                     QStringLiteral("wifi-profile: automation %1: the diagnostic finished before %2; %3 "
                                    "action%4 not played\n")
                         .arg(player_->file(), player_->nextPlace(), QString::number(left),
                              left == 1 ? QString() : QStringLiteral("s"))
                         .toUtf8());
            events_.write(QStringLiteral("automationUnplayed"),
                          Dictionary::make({{QStringLiteral("place"), Value::string(player_->nextPlace())},
                                            {QStringLiteral("remaining"), Value::integer(left)}}));
        }
    }
    if (sim_) {
        sim_->stopEvents();
    }  // the device's timed events belong to the run that has ended
    controller_->teardown();
    QCoreApplication::quit();
}

int HostRun::drainAndReport(int code) {
    drainWork(kDrain);
    watchdog_.stop();
    const bool drained = reportWorkLeft(kDrain, events_);
    // From here on no job starts: what still waits (the scenario's timed events not yet happened,
    // work that did not drain) is freed without running, and counted.
    reportShutdown(events_);

    // Jobs still running keep the controller alive; it goes when they are done.
    controller_->setFinishedObserver(nullptr);
    player_.reset();
    controller_.reset();
    inputs_.reset();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    // The backend goes while the application is still there: the real system's holds a bus
    // connection and a watcher that need it.
    platform::installWiFiBackend(nullptr);
    finishNl80211Recording();
    backend_.reset();
    linux_.reset();

    // A handle held after teardown, or released once too often, is a bug of the diagnostic.
    if (reportHandles(events_) && code == kExitFinished) {
        code = kExitOther;
    }
    // So is a misuse of the toolkit (a table update that does not add up), already named on stderr.
    if (platform::ui::programmingErrorCount() > programmingErrorsBefore_ && code == kExitFinished) {
        code = kExitOther;
    }

    if (!drained) {
        // Work left running may touch anything; leave without tearing the process down under it.
        std::fflush(stdout);
        std::fflush(stderr);
        std::_Exit(code);
    }
    // The process ends soon after: Qt's worker threads end now, in order, not as it goes down.
    if (!stopQtWorkerThreads(kDrain)) {
        error(QStringLiteral("Qt's worker threads did not end within %1 ms").arg(kDrain.count()));
    }
    return code;
}

void HostRun::onMainThreadUnanswered(std::chrono::milliseconds limit) {
    error(QStringLiteral("the main thread has not answered for %1 ms; exiting").arg(limit.count()));
    // A result the main thread never printed is printed here, as the diagnostic finished it or as it
    // stands, and the run counts as not ended in time. An automation failure, which prints no
    // result, keeps its code.
    int code = exitCode_.load();
    if (code != kExitScenarioUnusable) {
        // Printed here: the run did not end in time. Printed by the main thread (now complete):
        // the code it settled before printing stands.
        code = printer_.print(controller_->result(), false) ? kExitTimedOut : exitCode_.load();
    }
    if (code == kUnsettled) {
        code = kExitTimedOut;
    }
    std::fflush(stdout);
    std::fflush(stderr);
    std::_Exit(code);
}

}  // namespace host
