#include "host/HostRun.h"

#include "host/HostObservers.h"
#include "host/HostOutput.h"
#include "host/QtWorkerThreads.h"

#include "platform/foundation/Dispatch.h"
#include "platform/foundation/Json.h"
#include "platform/host/HostDiagnostic.h"
#include "platform/wifi/WiFiBackend.h"
#include "platform/wifi/WiFiManager.h"

#include <QApplication>
#include <QDeadlineTimer>
#include <QDir>
#include <QFileInfo>
#include <QLibrary>
#include <QTimer>

#include <cstdio>
#include <cstdlib>

#ifndef HOST_DEFAULT_PLUGIN_NAME
#error "HOST_DEFAULT_PLUGIN_NAME must name the diagnostic plugin's file"
#endif

namespace host {

using platform::Dictionary;
using platform::Value;

namespace {

// The handheld-sized portrait window of --ui (and the off-screen surface otherwise).
constexpr int kScreenWidth = 375;
constexpr int kScreenHeight = 667;
// How long the diagnostic's queued and running work may take to drain after the end.
constexpr int kDrainMs = 5000;
// How long past the time limit the host waits for a main thread that does not answer: the drain
// and a little more.
constexpr int kUnresponsiveGraceMs = kDrainMs + 1000;

QString defaultPluginPath() {
    const QString beside =
        QDir(QCoreApplication::applicationDirPath())
            .absoluteFilePath(QStringLiteral("../lib/") + QStringLiteral(HOST_DEFAULT_PLUGIN_NAME));
    if (QFileInfo::exists(beside)) {
        return QDir::cleanPath(beside);
    }
#ifdef HOST_DEFAULT_PLUGIN_PATH
    return QStringLiteral(HOST_DEFAULT_PLUGIN_PATH);
#else
    return QDir::cleanPath(beside);
#endif
}

QString describeScenarioError(const QString& role, const platform::sim::ScenarioError& e) {
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

HostRun::HostRun(HostOptions options) : options_(std::move(options)) {}

HostRun::~HostRun() {
    stopWatchdog();
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
        return kExitOther;
    }
}

int HostRun::observedRun() {
    // Whichever way this function is left, the observers go with it.
    HostObservers observers(events_);
    const int early = prepare(observers);
    if (early >= 0) {
        return early;
    }
    startWatchdog();
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
    // The simulated device and the user actions to play on it.
    platform::sim::Scenario scenario;
    try {
        scenario = options_.scenarioPath ? platform::sim::loadScenarioFile(*options_.scenarioPath)
                                         : platform::sim::builtInScenario();
    } catch (const platform::sim::ScenarioError& e) {
        error(describeScenarioError(QStringLiteral("scenario"), e));
        return kExitScenarioUnusable;
    }
    std::optional<std::vector<platform::sim::AutomationAction>> automation = scenario.automation;
    QString automationFile = scenario.file;
    if (options_.automationPath) {
        try {
            automation = platform::sim::loadAutomationFile(*options_.automationPath);
            automationFile = *options_.automationPath;
        } catch (const platform::sim::ScenarioError& e) {
            error(describeScenarioError(QStringLiteral("automation"), e));
            return kExitScenarioUnusable;
        }
    }
    if (automation) {
        if (const auto problem = AutomationPlayer::unsupportedAction(*automation)) {
            error(QStringLiteral("automation %1, %2").arg(automationFile, *problem));
            return kExitScenarioUnusable;
        }
    }
    events_.write(QStringLiteral("host"),
                  Dictionary::make({
                      {QStringLiteral("parameters"), Value::dictionary(options_.parameters)},
                      {QStringLiteral("scenario"), Value::string(scenario.file)},
                      {QStringLiteral("automation"), Value::boolean(automation.has_value())},
                  }));

    // The device first: the diagnostic finds its platform in place when it loads.
    backend_ = std::make_shared<platform::sim::SimBackend>(std::move(scenario));
    observers.observeRequests(backend_);
    platform::installWiFiBackend(backend_);

    // The plugin stays loaded until the process ends: jobs it started may outlive the controller.
    const QString pluginPath = options_.pluginPath.value_or(defaultPluginPath());
    QLibrary plugin(pluginPath);
    if (!plugin.load()) {
        error(
            QStringLiteral("cannot load the diagnostic plugin %1: %2").arg(pluginPath, plugin.errorString()));
        return kExitOther;
    }
    const auto entry = reinterpret_cast<PlatformDiagnosticExtensionEntry>(
        plugin.resolve(PLATFORM_DIAGNOSTIC_EXTENSION_ENTRY));
    if (!entry) {
        error(QStringLiteral("%1 is no diagnostic plugin: it does not export %2")
                  .arg(pluginPath, QStringLiteral(PLATFORM_DIAGNOSTIC_EXTENSION_ENTRY)));
        return kExitOther;
    }
    extension_ = entry();
    if (!extension_) {
        error(QStringLiteral("the plugin %1 made no diagnostic").arg(pluginPath));
        return kExitOther;
    }

    // Parameters, checked by the diagnostic's own inputs; each problem is named.
    inputs_ = extension_->makeInputs();
    bool accepted = false;
    QStringList problems;
    {
        platform::InputValidationReport report;
        accepted = inputs_ && inputs_->validateAndInitializeParameters(options_.parameters);
        problems = report.problems();
    }
    if (!accepted) {
        if (problems.isEmpty()) {
            problems << QStringLiteral("the diagnostic rejected its parameters %1")
                            .arg(QString::fromUtf8(platform::toJson(*options_.parameters)));
        }
        auto listed = platform::makeArray();
        for (const QString& p : problems) {
            writeOut(stderr, QStringLiteral("wifi-profile: parameter %1\n").arg(p).toUtf8());
            listed->push_back(Value::string(p));
        }
        events_.write(QStringLiteral("parametersRejected"),
                      Dictionary::make({{QStringLiteral("problems"), Value::array(listed)}}));
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
    view->setWindowTitle(extension_->name());
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
    backend_->startEvents();
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
    printResult(true);
    conclude();
}

void HostRun::onTimeout() {
    // A finish seen before the limit wins, even when the main thread has not printed it yet.
    if (finishSeen_ || !settle(kExitTimedOut)) {
        return;
    }
    error(QStringLiteral("the diagnostic did not finish within %1 s").arg(options_.timeoutSeconds));
    printResult(false);
    conclude();
}

void HostRun::onAutomationFailure(const QString& place, const QString& why) {
    if (finishSeen_ || !settle(kExitScenarioUnusable)) {
        return;
    }
    error(QStringLiteral("automation %1, at %2: %3").arg(player_->file(), place, why));
    conclude();
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
    backend_->stopEvents();  // the device's timed events belong to the run that has ended
    controller_->teardown();
    QCoreApplication::quit();
}

bool HostRun::printResult(bool finished) {
    if (resultPrinted_.exchange(true)) {
        return false;
    }
    const std::optional<Value> statusCode = controller_->result().statusCode();
    const platform::DictionaryRef data = controller_->result().data();
    // The status code leads, as readers of the result expect; the rest follows the JSON rules.
    QByteArray line = "{\"statusCode\": " + platform::toJson(optionalValue(statusCode)) +
                      ", \"data\": " + (data ? platform::toJson(*data) : QByteArray("null"));
    if (!finished) {
        line += ", \"finished\": false";
    }
    line += "}\n";
    writeOut(stdout, line);
    events_.write(QStringLiteral("result"),
                  Dictionary::make({
                      {QStringLiteral("statusCode"), optionalValue(statusCode)},
                      {QStringLiteral("data"), data ? Value::dictionary(data) : Value::null()},
                      {QStringLiteral("finished"), Value::boolean(finished)},
                  }));
    return true;
}

int HostRun::drainAndReport(int code) {
    // The event loop keeps turning while the diagnostic's work drains, so a late second end is seen.
    const QDeadlineTimer deadline(kDrainMs);
    while (!deadline.hasExpired()) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        if (platform::dispatch::activity().idle()) {
            break;
        }
        platform::dispatch::waitForGlobalWork(std::chrono::milliseconds(5));
    }
    stopWatchdog();

    const platform::dispatch::Activity left = platform::dispatch::activity();
    const bool drained = left.idle();
    if (!drained) {
        events_.write(QStringLiteral("drain"),
                      Dictionary::make({
                          {QStringLiteral("drained"), Value::boolean(false)},
                          {QStringLiteral("mainPending"), Value::integer(left.mainPending)},
                          {QStringLiteral("globalPending"), Value::integer(left.globalPending)},
                          {QStringLiteral("delayedPending"), Value::integer(left.delayedPending)},
                      }));
        // Timers alone are harmless (the scenario's own events are stopped); work still queued or
        // running is worth a word.
        if (left.mainPending > 0 || left.globalPending > 0) {
            error(
                QStringLiteral("the diagnostic's work did not drain within %1 ms (%2 main and %3 global jobs "
                               "left); exiting without waiting for it")
                    .arg(kDrainMs)
                    .arg(left.mainPending)
                    .arg(left.globalPending));
        }
    }

    // Jobs still running keep the controller alive; it goes when they are done.
    controller_->setFinishedObserver(nullptr);
    player_.reset();
    controller_.reset();
    inputs_.reset();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);

    const platform::HandleReport report = platform::handleReport();
    auto held = platform::makeArray();
    for (const QString& h : report.liveHandles) {
        held->push_back(Value::string(h));
    }
    events_.write(QStringLiteral("handles"),
                  Dictionary::make({
                      {QStringLiteral("created"), Value::integer(report.created)},
                      {QStringLiteral("live"), Value::integer(report.live)},
                      {QStringLiteral("overReleases"), Value::integer(report.overReleases)},
                      {QStringLiteral("liveHandles"), Value::array(held)},
                  }));
    // A handle held after teardown, or released once too often, is a bug of the diagnostic.
    bool leaked = false;
    if (report.live > 0) {
        error(QStringLiteral("%1 platform handle(s) still held after teardown: %2")
                  .arg(report.live)
                  .arg(report.liveHandles.empty()
                           ? QStringLiteral("(unnamed)")
                           : QStringList(report.liveHandles.begin(), report.liveHandles.end())
                                 .join(QStringLiteral(", "))));
        leaked = true;
    }
    if (report.overReleases > 0) {
        error(QStringLiteral("%1 platform handle release(s) too many").arg(report.overReleases));
        leaked = true;
    }
    if (leaked && code == kExitFinished) {
        code = kExitOther;
    }

    if (!drained) {
        // Work left running may touch anything; leave without tearing the process down under it.
        std::fflush(stdout);
        std::fflush(stderr);
        std::_Exit(code);
    }
    // The process ends soon after: Qt's worker threads end now, in order, not as it goes down.
    if (!stopQtWorkerThreads(std::chrono::milliseconds(kDrainMs))) {
        error(QStringLiteral("Qt's worker threads did not end within %1 ms").arg(kDrainMs));
    }
    return code;
}

void HostRun::startWatchdog() {
    // The time limit is kept by the event loop; this thread only acts when the main thread is stuck
    // (for example in a service call that never returns), so that the limit still holds.
    const auto limit = std::chrono::milliseconds(static_cast<qint64>(options_.timeoutSeconds * 1000.0)) +
                       std::chrono::milliseconds(kUnresponsiveGraceMs);
    watchdog_ = std::thread([this, limit] {
        std::unique_lock lock(watchdogMutex_);
        if (watchdogWake_.wait_for(lock, limit, [this] { return watchdogCancelled_; })) {
            return;
        }
        error(QStringLiteral("the main thread has not answered for %1 ms; exiting").arg(limit.count()));
        // A result the main thread never printed is printed here, as the diagnostic finished it or
        // as it stands, and the run counts as not ended in time. An automation failure, which
        // prints no result, keeps its code.
        int code = exitCode_.load();
        if (code != kExitScenarioUnusable && printResult(false)) {
            code = kExitTimedOut;
        }
        std::fflush(stdout);
        std::fflush(stderr);
        std::_Exit(code);
    });
}

void HostRun::stopWatchdog() {
    {
        std::lock_guard lock(watchdogMutex_);
        watchdogCancelled_ = true;
    }
    watchdogWake_.notify_all();
    if (watchdog_.joinable()) {
        watchdog_.join();
    }
}

}  // namespace host
