#pragma once
// Plays an automation script against a running diagnostic, one action at a time, each when the
// diagnostic is idle (no dispatch work queued, running or waiting on a timer) or, for a tap, as
// soon as the alert holding the button is shown.

#include "host/EventStream.h"

#include "host/Automation.h"
#include "platform/host/Extension.h"
#include "platform/ui/table/TableView.h"
#include "platform/wifi/WiFiBackend.h"

#include <QObject>
#include <QTimer>

#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace host {

class AutomationPlayer : public QObject {
    Q_OBJECT
  public:
    // file names where the actions were written, for messages.
    AutomationPlayer(std::vector<AutomationAction> actions, QString file,
                     platform::DiagnosticExtension* extension,
                     std::shared_ptr<platform::HostDiagnosticViewController> controller,
                     std::shared_ptr<platform::WiFiBackend> backend, EventStream* events);

    // Called once when an action cannot be performed; the player has stopped by then.
    void setFailureHandler(std::function<void(const QString& place, const QString& why)> handler) {
        failed_ = std::move(handler);
    }

    void start();
    void stop();
    std::size_t remaining() const { return actions_.size() - next_; }
    // Where the next action to play stands, or empty when all were played.
    QString nextPlace() const { return next_ < actions_.size() ? actions_[next_].place : QString(); }
    const QString& file() const { return file_; }

  private:
    void step();
    // Answers whether the action at next_ is done (or failed); false means try again later.
    bool perform(const AutomationAction& action, bool idle);
    bool tap(const AutomationAction& action, bool idle);
    bool tapNetwork(const AutomationAction& action);
    bool tapRow(const AutomationAction& action);
    bool type(const AutomationAction& action, bool idle);
    bool pullToRefresh(const AutomationAction& action);
    bool screenshot(const AutomationAction& action);
    // Whether a progress bar is on the screen (the tests are running).
    bool showsProgress() const;
    // The screen as data, for messages.
    QString screenText() const;
    platform::ui::TableView* visibleTable() const;
    // A presented alert covers the screen as it does for a finger: an action aimed behind it fails
    // (true), naming the alert.
    bool coveredByAlert(const AutomationAction& action);
    enum class RowPick { First, Last };
    // The first or the last row whose text is text, in onlySection or in any section.
    static std::optional<platform::ui::IndexPath> rowWithText(platform::ui::TableView* table,
                                                              const QString& text,
                                                              std::optional<long> onlySection, RowPick pick);
    void record(const AutomationAction& action);
    void fail(const AutomationAction& action, const QString& why);

    std::vector<AutomationAction> actions_;
    QString file_;
    platform::DiagnosticExtension* extension_;
    std::shared_ptr<platform::HostDiagnosticViewController> controller_;
    std::shared_ptr<platform::WiFiBackend> backend_;
    EventStream* events_;
    std::function<void(const QString&, const QString&)> failed_;
    QTimer poll_;
    std::size_t next_ = 0;
    std::optional<qint64> waitUntilMs_;  // while a waitMs action runs, on the events' clock
};

}  // namespace host
