#include "host/AutomationPlayer.h"

#include "platform/foundation/Dispatch.h"
#include "platform/foundation/Json.h"
#include "platform/ui/Toolkit.h"
#include "platform/ui/table/TableView.h"

#include <QImageWriter>
#include <QPixmap>

namespace host {

using platform::Dictionary;
using platform::Value;

namespace {

constexpr int kPollIntervalMs = 5;

// The action's kind as written, for messages about actions this player does not know.
QString writtenKind(const AutomationAction& a) {
    if (!a.kind.isEmpty()) {
        return a.kind;
    }
    return a.raw ? a.raw->keys().join(QStringLiteral(", ")) : QStringLiteral("(empty)");
}

}  // namespace

AutomationPlayer::AutomationPlayer(std::vector<AutomationAction> actions, QString file,
                                   platform::DiagnosticExtension* extension,
                                   std::shared_ptr<platform::HostDiagnosticViewController> controller,
                                   std::shared_ptr<platform::WiFiBackend> backend, EventStream* events)
    : actions_(std::move(actions)),
      file_(std::move(file)),
      extension_(extension),
      controller_(std::move(controller)),
      backend_(std::move(backend)),
      events_(events) {
    poll_.setInterval(kPollIntervalMs);
    connect(&poll_, &QTimer::timeout, this, &AutomationPlayer::step);
}

void AutomationPlayer::start() {
    if (next_ < actions_.size()) {
        poll_.start();
    }
}

void AutomationPlayer::stop() {
    poll_.stop();
}

void AutomationPlayer::playOn(AutomationScreen* screen, std::function<void()> done) {
    screen_ = screen;
    done_ = std::move(done);
    waitUntilMs_.reset();
    if (next_ < actions_.size()) {
        poll_.start();
        return;
    }
    if (const auto finished = std::move(done_)) {
        finished();
    }
}

void AutomationPlayer::step() {
    while (poll_.isActive() && next_ < actions_.size()) {
        if (screen_ ? !screen_->isShown() : controller_->isFinished()) {
            break;  // what is left of the script has nothing to act on
        }
        // The host's own screen has no work of its own to wait for.
        const bool idle = screen_ || platform::dispatch::activity().idle();
        if (!perform(actions_[next_], idle)) {
            return;
        }
        ++next_;
    }
    poll_.stop();
    if (screen_ && next_ >= actions_.size()) {
        if (const auto finished = std::move(done_)) {
            finished();
        }
    }
}

platform::ui::View* AutomationPlayer::screenView() const {
    return screen_ ? screen_->view() : controller_->view();
}

std::shared_ptr<platform::ui::AlertController> AutomationPlayer::presentedAlert() const {
    return screen_ ? screen_->presentedAlert() : controller_->presentedViewController();
}

QString AutomationPlayer::textForKey(const QString& key) const {
    return screen_ ? screen_->textForKey(key) : extension_->localizedString(key);
}

bool AutomationPlayer::perform(const AutomationAction& action, bool idle) {
    if (action.waitForResults) {
        // Done once the host shows its screen; a run without one ends first, leaving it unplayed.
        if (!screen_) {
            return false;
        }
        record(action);
        return true;
    }
    if (action.waitMs) {
        // A wait is measured from when it is reached, busy or not.
        if (!waitUntilMs_) {
            record(action);
            // On the events' clock, so that the recorded times show the whole wait.
            waitUntilMs_ = events_->elapsedMs() + std::max(0, *action.waitMs);
        }
        if (events_->elapsedMs() < *waitUntilMs_) {
            return false;
        }
        waitUntilMs_.reset();
        return true;
    }
    if (action.tap) {
        return tap(action, idle);
    }
    if (action.type) {
        return type(action, idle);
    }
    // The progress screen lasts as long as the tests run, so it is pictured and described as soon
    // as it shows.
    if (action.screenshot && !idle && showsProgress()) {
        return screenshot(action);
    }
    if (action.snapshot && !idle && showsProgress()) {
        return snapshot(action);
    }
    if (!idle) {
        return false;
    }
    if (action.tapNetwork) {
        return tapNetwork(action);
    }
    if (action.tapRow) {
        return tapRow(action);
    }
    if (action.pullToRefresh) {
        return pullToRefresh(action);
    }
    if (action.screenshot) {
        return screenshot(action);
    }
    if (action.wifiPower) {
        record(action);
        backend_->setPower(*action.wifiPower);
        return true;
    }
    if (action.snapshot) {
        return snapshot(action);
    }
    fail(action, QStringLiteral("action \"%1\" is not supported yet").arg(writtenKind(action)));
    return false;
}

bool AutomationPlayer::snapshot(const AutomationAction& action) {
    record(action);
    const auto alert = presentedAlert();
    events_->write(QStringLiteral("snapshot"),
                   Dictionary::make({
                       {QStringLiteral("place"), Value::string(action.place)},
                       {QStringLiteral("screen"),
                        Value::dictionary(platform::ui::describeScreen(screenView(), alert.get()))},
                   }));
    return true;
}

bool AutomationPlayer::tap(const AutomationAction& action, bool idle) {
    const QString& key = *action.tap;
    const QString title = textForKey(key);
    if (title.isEmpty()) {
        if (screen_) {
            fail(action, QStringLiteral("\"%1\" is not a key of %2 (its keys: %3)")
                             .arg(key, screen_->name(), screen_->keys().join(QStringLiteral(", "))));
        } else {
            fail(action, QStringLiteral("\"%1\" is not a key of the diagnostic's strings table").arg(key));
        }
        return false;
    }
    const QString what = QStringLiteral("button \"%1\" (key %2)").arg(title, key);

    // An alert's button may be tapped as soon as the alert shows, even while work goes on behind it.
    if (const auto alert = presentedAlert()) {
        const auto& actions = alert->actions();
        for (std::size_t i = 0; i < actions.size(); ++i) {
            if (actions[i]->title() != title) {
                continue;
            }
            if (actions[i]->isEnabled()) {
                record(action);
                alert->tapAction(i);
                return true;
            }
            if (idle) {
                fail(action, QStringLiteral("the alert's %1 is disabled").arg(what));
            }
            return false;
        }
    }
    if (!idle) {
        return false;
    }
    if (coveredByAlert(action)) {
        return false;
    }
    if (const auto* bar = platform::ui::NavigationBar::findIn(screenView())) {
        const auto item = bar->topItem();
        const auto button = item ? item->rightBarButtonItem() : nullptr;
        if (button && button->title() == title) {
            if (!button->isEnabled()) {
                fail(action, QStringLiteral("the navigation bar's %1 is disabled").arg(what));
                return false;
            }
            record(action);
            button->tap();
            return true;
        }
    }
    if (auto* table = visibleTable()) {
        // The diagnostic's own row closes its section; a network of the same name stands above it.
        if (const auto row = rowWithText(table, title, std::nullopt, RowPick::Last)) {
            record(action);
            table->tapRowAtIndexPath(*row);
            return true;
        }
    }
    fail(action, QStringLiteral("no %1 on the screen: %2").arg(what, screenText()));
    return false;
}

bool AutomationPlayer::showsProgress() const {
    const auto bars = platform::ui::describeScreen(screenView(), nullptr)->value(QStringLiteral("progress"));
    return bars && bars->toArray() && !bars->toArray()->empty();
}

QString AutomationPlayer::screenText() const {
    return QString::fromUtf8(
        platform::toJson(*platform::ui::describeScreen(screenView(), presentedAlert().get())));
}

platform::ui::TableView* AutomationPlayer::visibleTable() const {
    QWidget* root = screenView();
    for (auto* table : root->findChildren<platform::ui::TableView*>()) {
        if (table->isVisibleTo(root)) {
            return table;
        }
    }
    return nullptr;
}

bool AutomationPlayer::coveredByAlert(const AutomationAction& action) {
    if (!presentedAlert()) {
        return false;
    }
    fail(action, QStringLiteral("an alert covers the screen; answer it first: %1").arg(screenText()));
    return true;
}

std::optional<platform::ui::IndexPath> AutomationPlayer::rowWithText(platform::ui::TableView* table,
                                                                     const QString& text,
                                                                     std::optional<long> onlySection,
                                                                     RowPick pick) {
    std::optional<platform::ui::IndexPath> found;
    const auto sections = table->describe()->value(QStringLiteral("sections"));
    const auto list = sections ? sections->toArray() : nullptr;
    for (long s = 0; list && s < static_cast<long>(list->size()); ++s) {
        if (onlySection && *onlySection != s) {
            continue;
        }
        const auto section = (*list)[static_cast<std::size_t>(s)].toDictionary();
        const auto rows = section ? section->value(QStringLiteral("rows")) : std::nullopt;
        const auto rowList = rows ? rows->toArray() : nullptr;
        for (long r = 0; rowList && r < static_cast<long>(rowList->size()); ++r) {
            const auto row = (*rowList)[static_cast<std::size_t>(r)].toDictionary();
            const auto rowText = row ? row->value(QStringLiteral("text")) : std::nullopt;
            if (rowText && rowText->isString() && rowText->toString() == text) {
                found = platform::ui::IndexPath::forRow(r, s);
                if (pick == RowPick::First) {
                    return found;
                }
            }
        }
    }
    return found;
}

bool AutomationPlayer::tapNetwork(const AutomationAction& action) {
    constexpr long kNetworksSection = 1;
    if (coveredByAlert(action)) {
        return false;
    }
    if (screen_) {
        fail(action, QStringLiteral("%1 has no network list: %2").arg(screen_->name(), screenText()));
        return false;
    }
    auto* table = visibleTable();
    if (!table) {
        fail(action, QStringLiteral("no network list on the screen: %1").arg(screenText()));
        return false;
    }
    const auto row = rowWithText(table, *action.tapNetwork, kNetworksSection, RowPick::First);
    if (!row) {
        fail(action,
             QStringLiteral("no network \"%1\" in the list: %2").arg(*action.tapNetwork, screenText()));
        return false;
    }
    record(action);
    if (!table->tapRowAtIndexPath(*row)) {
        fail(action,
             QStringLiteral("the row of network \"%1\" does not take taps now").arg(*action.tapNetwork));
        return false;
    }
    return true;
}

bool AutomationPlayer::tapRow(const AutomationAction& action) {
    if (coveredByAlert(action)) {
        return false;
    }
    auto* table = visibleTable();
    if (!table) {
        fail(action, QStringLiteral("no table on the screen: %1").arg(screenText()));
        return false;
    }
    const auto at = platform::ui::IndexPath::forRow(action.tapRow->row, action.tapRow->section);
    if (at.section >= table->numberOfSections() || at.row >= table->numberOfRowsInSection(at.section)) {
        fail(action, QStringLiteral("the table has no row %1 in section %2: %3")
                         .arg(QString::number(at.row), QString::number(at.section), screenText()));
        return false;
    }
    record(action);
    // As a finger: a row that takes no taps, or a table that allows no selection, ignores it.
    table->tapRowAtIndexPath(at);
    return true;
}

bool AutomationPlayer::type(const AutomationAction& action, bool idle) {
    // Typing goes into the alert as soon as it shows, like a tap on its buttons.
    const auto alert = presentedAlert();
    if (!alert || alert->textFields().empty()) {
        if (idle) {
            fail(action, QStringLiteral("no alert with a text field on the screen: %1").arg(screenText()));
        }
        return false;
    }
    record(action);
    QString typed = alert->textFields().front()->text;
    for (const QChar c : *action.type) {
        typed.append(c);
        alert->typeText(typed);
    }
    return true;
}

bool AutomationPlayer::pullToRefresh(const AutomationAction& action) {
    if (coveredByAlert(action)) {
        return false;
    }
    auto* table = visibleTable();
    if (!table || !table->refreshControl()) {
        fail(action, QStringLiteral("no list to pull down on the screen (it can be refreshed once its first "
                                    "scan is shown): %1")
                         .arg(screenText()));
        return false;
    }
    record(action);
    table->pullToRefresh();
    return true;
}

bool AutomationPlayer::screenshot(const AutomationAction& action) {
    QWidget* screen = screenView()->window();
    const QImage picture = screen->grab().toImage();
    QImageWriter writer(*action.screenshot, "png");
    if (!writer.write(picture)) {
        fail(
            action,
            QStringLiteral("cannot save the screen to %1: %2").arg(*action.screenshot, writer.errorString()));
        return false;
    }
    record(action);
    events_->write(QStringLiteral("screenshot"),
                   Dictionary::make({{QStringLiteral("place"), Value::string(action.place)},
                                     {QStringLiteral("file"), Value::string(*action.screenshot)},
                                     {QStringLiteral("width"), Value::integer(picture.width())},
                                     {QStringLiteral("height"), Value::integer(picture.height())}}));
    return true;
}

void AutomationPlayer::record(const AutomationAction& action) {
    events_->write(QStringLiteral("automation"),
                   Dictionary::make({
                       {QStringLiteral("place"), Value::string(action.place)},
                       {QStringLiteral("action"), action.raw ? Value::dictionary(action.raw) : Value::null()},
                   }));
}

void AutomationPlayer::fail(const AutomationAction& action, const QString& why) {
    poll_.stop();
    if (failed_) {
        failed_(action.place, why);
    }
}

}  // namespace host
