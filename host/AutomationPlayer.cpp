#include "host/AutomationPlayer.h"

#include "platform/foundation/Dispatch.h"
#include "platform/foundation/Json.h"
#include "platform/ui/Toolkit.h"

namespace host {

using platform::Dictionary;
using platform::Value;
using platform::sim::AutomationAction;

namespace {

constexpr int kPollIntervalMs = 5;

bool isSupported(const AutomationAction& a) {
    return a.tap || a.wifiPower || a.waitMs || a.snapshot;
}

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
                                   std::shared_ptr<platform::sim::SimBackend> backend, EventStream* events)
    : actions_(std::move(actions)),
      file_(std::move(file)),
      extension_(extension),
      controller_(std::move(controller)),
      backend_(std::move(backend)),
      events_(events) {
    poll_.setInterval(kPollIntervalMs);
    connect(&poll_, &QTimer::timeout, this, &AutomationPlayer::step);
}

std::optional<QString> AutomationPlayer::unsupportedAction(const std::vector<AutomationAction>& actions) {
    for (const auto& a : actions) {
        if (!isSupported(a)) {
            return QStringLiteral("at %1: action \"%2\" is not supported yet").arg(a.place, writtenKind(a));
        }
    }
    return std::nullopt;
}

void AutomationPlayer::start() {
    if (next_ < actions_.size()) {
        poll_.start();
    }
}

void AutomationPlayer::stop() {
    poll_.stop();
}

void AutomationPlayer::step() {
    while (poll_.isActive() && next_ < actions_.size()) {
        if (controller_->isFinished()) {
            break;  // what is left of the script has nothing to act on
        }
        const bool idle = platform::dispatch::activity().idle();
        if (!perform(actions_[next_], idle)) {
            return;
        }
        ++next_;
    }
    poll_.stop();
}

bool AutomationPlayer::perform(const AutomationAction& action, bool idle) {
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
    if (!idle) {
        return false;
    }
    if (action.wifiPower) {
        record(action);
        backend_->setPower(*action.wifiPower);
        return true;
    }
    if (action.snapshot) {
        record(action);
        const auto alert = controller_->presentedViewController();
        events_->write(QStringLiteral("snapshot"),
                       Dictionary::make({
                           {QStringLiteral("place"), Value::string(action.place)},
                           {QStringLiteral("screen"), Value::dictionary(platform::ui::describeScreen(
                                                          controller_->view(), alert.get()))},
                       }));
        return true;
    }
    fail(action, QStringLiteral("action \"%1\" is not supported yet").arg(writtenKind(action)));
    return false;
}

bool AutomationPlayer::tap(const AutomationAction& action, bool idle) {
    const QString& key = *action.tap;
    const QString title = extension_->localizedString(key);
    if (title.isEmpty()) {
        fail(action, QStringLiteral("\"%1\" is not a key of the diagnostic's strings table").arg(key));
        return false;
    }
    const QString what = QStringLiteral("button \"%1\" (key %2)").arg(title, key);

    // An alert's button may be tapped as soon as the alert shows, even while work goes on behind it.
    if (const auto alert = controller_->presentedViewController()) {
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
    if (const auto* bar = platform::ui::NavigationBar::findIn(controller_->view())) {
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
    fail(action, QStringLiteral("no %1 on the screen: %2")
                     .arg(what, QString::fromUtf8(platform::toJson(*platform::ui::describeScreen(
                                    controller_->view(), controller_->presentedViewController().get())))));
    return false;
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
