#pragma once
// Plays an automation script against a running diagnostic, one action at a time, each when the
// diagnostic is idle (no dispatch work queued, running or waiting on a timer) or, for a tap, as
// soon as the alert holding the button is shown. Once the diagnostic has finished, what is left
// plays on the host's own screen when there is one (the results screen), at once.

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

// A screen of the host's own (the results screen of --ui) that the actions left when the
// diagnostic finishes play on, as they played on the diagnostic's screens before.
class AutomationScreen {
  public:
    virtual ~AutomationScreen() = default;
    // What messages call it: "the results screen".
    virtual QString name() const = 0;
    // False once it has been closed: nothing more plays on it.
    virtual bool isShown() const = 0;
    virtual platform::ui::View* view() = 0;
    virtual std::shared_ptr<platform::ui::AlertController> presentedAlert() const = 0;
    // The title of the button or row an automation key names ("CLOSE"); empty for a key the
    // screen does not know.
    virtual QString textForKey(const QString& key) const = 0;
    virtual QStringList keys() const = 0;
};

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
    // Plays the actions left on screen from now on (the diagnostic has finished); done is called
    // once when none is left, at once when none was. The screen outlives the player's use of it.
    void playOn(AutomationScreen* screen, std::function<void()> done);
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
    // Records the screen's state as a snapshot event.
    bool snapshot(const AutomationAction& action);
    // The screen the actions act on: the host's own once it is shown, else the diagnostic's.
    platform::ui::View* screenView() const;
    std::shared_ptr<platform::ui::AlertController> presentedAlert() const;
    // The title an automation key names on that screen; empty when it names none.
    QString textForKey(const QString& key) const;
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
    std::optional<qint64> waitUntilMs_;   // while a waitMs action runs, on the events' clock
    AutomationScreen* screen_ = nullptr;  // the host's own screen, once the diagnostic has finished
    std::function<void()> done_;
};

}  // namespace host
