#include "platform/ui/Alert.h"

#include <QChildEvent>
#include <QEvent>
#include <QFrame>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPainter>
#include <QPushButton>
#include <QSignalBlocker>
#include <QVBoxLayout>
#include "platform/foundation/Dispatch.h"
#include "platform/ui/ScreenEvents.h"
#include "platform/ui/ViewHelpers.h"

#include <algorithm>
#include <cstdint>
#include <vector>

namespace platform::ui {

namespace {

// The dimmed layer that covers the presenting widget while an alert is shown. It follows the
// presenting widget's size and stays above its other children, also those added or brought to
// the front later: a modal alert is above everything on the screen. Several alerts on one widget
// keep the order in which they were presented, the latest on top; a dismissed alert's layer stops
// taking part at once, although Qt deletes it only when the event loop next turns.
class AlertOverlay final : public QWidget {
  public:
    explicit AlertOverlay(QWidget* host) : QWidget(host), order_(++presentedCount) {
        setGeometry(host->rect());
        host->installEventFilter(this);
        for (QObject* sibling : host->children()) {
            watchSibling(sibling);
        }
    }

    void retire() {
        retired_ = true;
        hide();
        if (QWidget* host = parentWidget()) {
            host->removeEventFilter(this);
            for (QObject* sibling : host->children()) {
                sibling->removeEventFilter(this);
            }
        }
    }

  protected:
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (retired_ || restacking) {
            return QWidget::eventFilter(watched, event);
        }
        if (watched == parentWidget()) {
            if (event->type() == QEvent::Resize) {
                setGeometry(parentWidget()->rect());
            } else if (event->type() == QEvent::ChildAdded) {
                watchSibling(static_cast<QChildEvent*>(event)->child());
                restack(parentWidget());
            }
        } else if (event->type() == QEvent::ZOrderChange) {
            restack(parentWidget());
        }
        return QWidget::eventFilter(watched, event);
    }
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        painter.fillRect(rect(), QColor(0, 0, 0, 100));
    }

  private:
    void watchSibling(QObject* sibling) {
        if (sibling != this && sibling->isWidgetType()) {
            sibling->installEventFilter(this);
        }
    }
    // Raises the live layers on host above everything else, in the order they were presented.
    static void restack(QWidget* host) {
        std::vector<AlertOverlay*> live;
        for (QObject* child : host->children()) {
            auto* overlay = dynamic_cast<AlertOverlay*>(child);
            if (overlay && !overlay->retired_) {
                live.push_back(overlay);
            }
        }
        std::sort(live.begin(), live.end(),
                  [](const AlertOverlay* a, const AlertOverlay* b) { return a->order_ < b->order_; });
        restacking = true;  // the raises below are ours, not news to react to
        for (AlertOverlay* overlay : live) {
            overlay->raise();
        }
        restacking = false;
    }

    // Widgets live on the GUI thread only, so these need no lock.
    static inline std::uint64_t presentedCount = 0;
    static inline bool restacking = false;
    std::uint64_t order_;
    bool retired_ = false;
};

}  // namespace

const char* AlertAction::styleName(Style style) {
    switch (style) {
        case Style::Default:
            return "default";
        case Style::Cancel:
            return "cancel";
        case Style::Destructive:
            return "destructive";
    }
    return "default";
}

void AlertAction::setEnabled(bool enabled) {
    if (enabled_ == enabled) {
        return;
    }
    enabled_ = enabled;
    if (changed_) {
        changed_();
    }
}

AlertController::~AlertController() {
    for (const auto& action : actions_) {
        action->setChangedHandler(nullptr);
    }
    // The controller holding the alert may let go of it on any thread. Widgets are touched only on
    // the GUI thread: from elsewhere the overlay is not even looked at (the GUI thread may be
    // deleting it with its host right now), only a guarded pointer to it goes to the main queue.
    // The overlay's buttons hold the alert weakly, so a tap that lands before then finds it gone.
    if (dispatch::isMainThread()) {
        delete overlay_.data();
    } else if (!overlay_.isNull()) {
        dispatch::async(dispatch::mainQueue(), [overlay = overlay_] { delete overlay.data(); });
    }
}

void AlertController::addAction(std::shared_ptr<AlertAction> action) {
    if (!action) {
        return;
    }
    action->setChangedHandler([this] { refreshOverlay(); });
    actions_.push_back(std::move(action));
    if (isPresented()) {
        buildOverlay();
    }
}

void AlertController::addTextField(std::function<void(AlertTextField&)> configure) {
    if (!textField_) {
        textField_ = std::make_unique<AlertTextField>();  // at most one; later calls configure it again
    }
    if (configure) {
        configure(*textField_);
    }
    if (isPresented()) {
        buildOverlay();
    }
}

std::vector<AlertTextField*> AlertController::textFields() {
    if (!textField_) {
        return {};
    }
    return {textField_.get()};
}

void AlertController::presentOver(QWidget* host, std::function<void()> dismissed) {
    if (!host || isPresented()) {
        return;
    }
    dismissed_ = std::move(dismissed);
    overlay_ = new AlertOverlay(host);
    buildOverlay();
    overlay_->raise();
    overlay_->show();
    if (lineEdit_) {
        lineEdit_->setFocus();
    }
}

void AlertController::buildOverlay() {
    // Rebuilt from scratch: alerts are small and change shape rarely (an action added late). The old
    // widgets go later, since a tap on one of them may be what changed the alert.
    delete overlay_->layout();
    for (QWidget* old : overlay_->findChildren<QWidget*>(Qt::FindDirectChildrenOnly)) {
        old->hide();
        old->setParent(nullptr);
        old->deleteLater();
    }
    lineEdit_ = nullptr;
    buttons_.clear();

    auto* outer = new QVBoxLayout(overlay_);
    auto* panel = new QFrame(overlay_);
    panel->setAutoFillBackground(true);
    panel->setPalette(whitePalette(panel->palette()));
    panel->setFrameShape(QFrame::StyledPanel);
    panel->setFixedWidth(270);
    outer->addStretch(1);
    outer->addWidget(panel, 0, Qt::AlignHCenter);
    outer->addStretch(1);

    auto* column = new QVBoxLayout(panel);
    if (!title_.isEmpty()) {
        auto* title = new QLabel(title_, panel);
        QFont bold = title->font();
        bold.setBold(true);
        title->setFont(bold);
        title->setAlignment(Qt::AlignCenter);
        title->setWordWrap(true);
        column->addWidget(title);
    }
    auto* message = new QLabel(message_, panel);
    message->setAlignment(Qt::AlignCenter);
    message->setWordWrap(true);
    column->addWidget(message);
    if (textField_) {
        lineEdit_ = new QLineEdit(panel);
        lineEdit_->setPlaceholderText(textField_->placeholder);
        lineEdit_->setText(textField_->text);
        QObject::connect(lineEdit_, &QLineEdit::textEdited, lineEdit_,
                         [weak = weak_from_this()](const QString& text) {
                             if (const auto self = weak.lock()) {
                                 self->textEdited(text);
                             }
                         });
        column->addWidget(lineEdit_);
    }
    // Two buttons side by side, more stacked, as a handheld platform lays them out.
    QBoxLayout* row = actions_.size() <= 2 ? static_cast<QBoxLayout*>(new QHBoxLayout)
                                           : static_cast<QBoxLayout*>(new QVBoxLayout);
    column->addLayout(row);
    for (std::size_t i = 0; i < actions_.size(); ++i) {
        auto* button = new QPushButton(actions_[i]->title(), panel);
        QFont f = button->font();
        f.setBold(actions_[i]->style() == AlertAction::Style::Cancel);
        button->setFont(f);
        if (actions_[i]->style() == AlertAction::Style::Destructive) {
            QPalette p = button->palette();
            p.setColor(QPalette::ButtonText, Qt::red);
            button->setPalette(p);
        }
        button->setEnabled(actions_[i]->isEnabled());
        QObject::connect(button, &QPushButton::clicked, button, [weak = weak_from_this(), i] {
            if (const auto self = weak.lock()) {
                self->tapAction(i);
            }
        });
        row->addWidget(button);
        buttons_.push_back(button);
    }
    // The panel is as tall as its wrapped texts need at its width: the overlay's layout would
    // otherwise size it from the texts' unwrapped hint and clip a long message.
    panel->setFixedHeight(panel->heightForWidth(panel->width()));
}

void AlertController::refreshOverlay() {
    if (!isPresented()) {
        return;
    }
    for (std::size_t i = 0; i < buttons_.size() && i < actions_.size(); ++i) {
        buttons_[i]->setEnabled(actions_[i]->isEnabled());
    }
}

void AlertController::dismiss() {
    if (!isPresented()) {
        return;
    }
    // Deleted later: the tap that dismisses the alert comes from one of the overlay's own buttons.
    static_cast<AlertOverlay*>(overlay_.data())->retire();
    overlay_->deleteLater();
    overlay_ = nullptr;
    lineEdit_ = nullptr;
    buttons_.clear();
    const auto dismissed = std::move(dismissed_);
    dismissed_ = nullptr;
    if (dismissed) {
        dismissed();
    }
}

bool AlertController::tapAction(std::size_t index) {
    if (!isPresented() || index >= actions_.size() || !actions_[index]->isEnabled()) {
        return false;
    }
    const auto keepAlive = weak_from_this().lock();  // the presenter lets go of the alert on dismissal
    const auto action = actions_[index];
    dismiss();
    if (action->handler()) {
        action->handler()();
    }
    return true;
}

bool AlertController::typeText(const QString& text) {
    if (!textField_ || !isPresented()) {
        return false;
    }
    if (lineEdit_) {
        const QSignalBlocker blocker(lineEdit_);
        lineEdit_->setText(text);
    }
    textEdited(text);
    return true;
}

void AlertController::textEdited(const QString& text) {
    if (!textField_) {
        return;
    }
    textField_->text = text;
    reportScreenEvent(QStringLiteral("textEdited"),
                      Dictionary::make({{QStringLiteral("text"), Value::string(text)}}));
    if (textField_->editingChanged) {
        textField_->editingChanged();
    }
}

DictionaryRef AlertController::describe() const {
    auto d = Dictionary::make();
    if (!title_.isEmpty()) {
        d->set(QStringLiteral("title"), Value::string(title_));
    }
    d->set(QStringLiteral("message"), Value::string(message_));
    auto buttons = makeArray();
    for (const auto& action : actions_) {
        buttons->push_back(Value::dictionary(Dictionary::make({
            {QStringLiteral("title"), Value::string(action->title())},
            {QStringLiteral("style"),
             Value::string(QString::fromUtf8(AlertAction::styleName(action->style())))},
            {QStringLiteral("enabled"), Value::boolean(action->isEnabled())},
        })));
    }
    d->set(QStringLiteral("buttons"), Value::array(buttons));
    if (textField_) {
        d->set(QStringLiteral("textField"),
               Value::dictionary(Dictionary::make({
                   {QStringLiteral("placeholder"), Value::string(textField_->placeholder)},
                   {QStringLiteral("text"), Value::string(textField_->text)},
               })));
    }
    return d;
}

}  // namespace platform::ui
