// The run's results screen (--ui): shown once the result is printed, in place of the diagnostic's
// window; the actions left of an automation script play on it; closing it ends the run as the
// finish ends a run without a window.

#include "host/HostRun.h"

#include "host/report/Findings.h"

#include <QApplication>

namespace host {

using platform::Dictionary;
using platform::Value;

namespace {

// The verdict as events name it, whatever the language of the screen.
QString verdictKey(report::Verdict verdict) {
    switch (verdict) {
        case report::Verdict::Good:
            return QStringLiteral("good");
        case report::Verdict::Degraded:
            return QStringLiteral("degraded");
        case report::Verdict::NotWorking:
            return QStringLiteral("notWorking");
        case report::Verdict::Incomplete:
            break;
    }
    return QStringLiteral("incomplete");
}

}  // namespace

bool HostRun::showResults() {
    const std::optional<Value> printed = printer_.printed();
    if (!options_.ui || !controller_ || !printed) {
        return false;
    }
    // The time limit was the diagnostic's: a person reads the results as long as they like.
    watchdog_.stop();
    if (sim_) {
        sim_->stopEvents();  // the device's timed events belong to the run of the diagnostic
    }

    QWidget* diagnostic = controller_->view()->window();
    ResultsScreen::Options screen;
    screen.size = diagnostic->size();
    screen.reportWritten = options_.reportPath;
    screen.redact = options_.redact;
    screen.simulatedInstead = simulatedInstead_;
    results_ = std::make_unique<ResultsScreen>(profileOf(*printed), screen,
                                               [this](const QString& by) { onResultsClosed(by); });
    const report::Findings& findings = results_->findings();
    events_.write(
        QStringLiteral("resultsScreen"),
        Dictionary::make({
            {QStringLiteral("verdict"), Value::string(verdictKey(findings.verdict))},
            {QStringLiteral("problems"), Value::integer(findings.count(report::Severity::Problem))},
            {QStringLiteral("warnings"), Value::integer(findings.count(report::Severity::Warning))},
            {QStringLiteral("notChecked"), Value::integer(findings.count(report::Severity::NotChecked))},
        }));
    // The results take the diagnostic's place: the same window size and position.
    results_->view()->setGeometry(diagnostic->geometry());
    results_->show();
    diagnostic->hide();

    if (player_) {
        // A script goes on on the results screen; one that ends leaves no one to close it.
        player_->setFailureHandler(
            [this](const QString& place, const QString& why) { onResultsAutomationFailure(place, why); });
        player_->playOn(results_.get(), [this] {
            if (results_) {
                results_->close(QStringLiteral("script"));
            }
        });
    }
    return true;
}

void HostRun::onResultsClosed(const QString& by) {
    events_.write(QStringLiteral("resultsClosed"),
                  Dictionary::make({{QStringLiteral("by"), Value::string(by)}}));
    conclude();
}

void HostRun::onResultsAutomationFailure(const QString& place, const QString& why) {
    // The result is out already; the run still says that its script could not be played.
    exitCode_.store(kExitScenarioUnusable);
    error(QStringLiteral("automation %1, at %2: %3").arg(player_->file(), place, why));
    if (results_) {
        results_->close(QStringLiteral("automationFailure"));
    }
}

}  // namespace host
