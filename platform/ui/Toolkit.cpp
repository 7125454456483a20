#include "platform/ui/Toolkit.h"

#include "platform/foundation/Dispatch.h"

#include <QDir>
#include <QEvent>
#include <QFile>

#include <unistd.h>
#include <QFrame>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QPainter>
#include <QPushButton>
#include <QResizeEvent>
#include <QSignalBlocker>
#include <QThread>
#include <QVBoxLayout>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>

namespace platform::ui {

namespace {

QPalette whitePalette(QPalette palette) {
    palette.setColor(QPalette::Window, Qt::white);
    return palette;
}

// As on a touch platform, a view made inside a parent appears with it unless hidden later; Qt
// would leave a child made inside an already visible parent hidden until shown by hand.
void appearWithParent(QWidget* w) {
    if (w->parentWidget()) {
        w->setVisible(true);
    }
}

// A float progress as the double a person would write for it (0.1f reads 0.1, not 0.100000001).
double shortestDouble(float f) {
    char digits[32];
    const auto [end, error] = std::to_chars(digits, digits + sizeof digits, f);
    if (error != std::errc()) {
        return static_cast<double>(f);
    }
    *end = '\0';
    return std::strtod(digits, nullptr);
}

// The dimmed layer that covers the presenting widget while an alert is shown. It follows the
// presenting widget's size and stays above its other children, also those added or brought to
// the front later: a modal alert is above everything on the screen.
class AlertOverlay final : public QWidget {
  public:
    explicit AlertOverlay(QWidget* host) : QWidget(host) {
        setGeometry(host->rect());
        host->installEventFilter(this);
        for (QObject* sibling : host->children()) {
            watchSibling(sibling);
        }
    }

  protected:
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (watched == parentWidget()) {
            if (event->type() == QEvent::Resize) {
                setGeometry(parentWidget()->rect());
            } else if (event->type() == QEvent::ChildAdded) {
                watchSibling(static_cast<QChildEvent*>(event)->child());
                raise();
            }
        } else if (event->type() == QEvent::ZOrderChange) {
            raise();
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
};

}  // namespace

void ensureRuntimeDirectory() {
    if (!qEnvironmentVariableIsEmpty("XDG_RUNTIME_DIR")) {
        return;
    }
    const QString path =
        QDir::temp().absoluteFilePath(QStringLiteral("wifi-profile-runtime-%1").arg(getuid()));
    if (QDir().mkpath(path)) {
        QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        qputenv("XDG_RUNTIME_DIR", QFile::encodeName(path));
    }
}

// ---- View, Label, ProgressView ----------------------------------------------------------------

View::View(QWidget* parent) : QWidget(parent) {
    appearWithParent(this);
}

void View::setBackgroundWhite() {
    setAutoFillBackground(true);
    setPalette(whitePalette(palette()));
}

void View::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    if (updateConstraints_) {
        setNeedsUpdateConstraints();
    }
}

void View::setNeedsUpdateConstraints() {
    if (updatePending_) {
        return;  // one pass serves every request made before it runs
    }
    updatePending_ = true;
    QPointer<View> self(this);
    dispatch::async(dispatch::mainQueue(), [self] {
        if (!self) {
            return;
        }
        self->updatePending_ = false;
        if (const auto handler = self->updateConstraints_) {
            handler();
        }
    });
}

Label::Label(QWidget* parent) : QLabel(parent) {
    setWordWrap(false);
    appearWithParent(this);
}

void Label::setNumberOfLines(int lines) {
    numberOfLines_ = lines;
    setWordWrap(lines != 1);  // 0 means as many lines as the text needs
}

int Label::heightForWidth(int w) const {
    const int needed = QLabel::heightForWidth(w);
    if (numberOfLines_ <= 0) {
        return needed;
    }
    const QMargins m = contentsMargins();
    const int limit = numberOfLines_ * fontMetrics().lineSpacing() + m.top() + m.bottom() + 2 * margin();
    return std::min(needed, limit);
}

void Label::setSystemFontSize(double points) {
    QFont f = font();
    f.setPointSizeF(points);
    setFont(f);
}

ProgressView::ProgressView(QWidget* parent) : QProgressBar(parent) {
    setRange(0, 1000);
    setTextVisible(false);
    setValue(0);
    appearWithParent(this);
}

namespace {

ScreenEventObserver& screenEventObserver() {
    static ScreenEventObserver observer;
    return observer;
}

void reportScreenEvent(const QString& kind, DictionaryRef fields) {
    if (screenEventObserver()) {
        screenEventObserver()(kind, std::move(fields));
    }
}

}  // namespace

void setScreenEventObserver(ScreenEventObserver observer) {
    screenEventObserver() = std::move(observer);
}

void ProgressView::setProgress(float progress, bool /*animated*/) {
    if (std::isnan(progress)) {
        progress = 0.0f;
    }
    progress_ = std::clamp(progress, 0.0f, 1.0f);
    setValue(static_cast<int>(std::lround(progress_ * 1000.0f)));
    reportScreenEvent(QStringLiteral("progress"),
                      Dictionary::make({{QStringLiteral("progress"), Value::number(progress_)}}));
}

// ---- Bar buttons and the navigation bar -------------------------------------------------------

BarButtonItem::BarButtonItem(QString title, Style style, std::function<void()> action)
    : title_(std::move(title)), style_(style), action_(std::move(action)) {}

void BarButtonItem::setEnabled(bool enabled) {
    if (enabled_ == enabled) {
        return;
    }
    enabled_ = enabled;
    if (changed_) {
        changed_();
    }
}

bool BarButtonItem::tap() {
    if (!enabled_) {
        return false;
    }
    if (action_) {
        const auto action = action_;  // the action may replace this button
        action();
    }
    return true;
}

NavigationItem::~NavigationItem() {
    if (right_) {
        right_->setChangedHandler(nullptr);
    }
}

void NavigationItem::setRightBarButtonItem(std::shared_ptr<BarButtonItem> item) {
    if (right_) {
        right_->setChangedHandler(nullptr);
    }
    right_ = std::move(item);
    if (right_) {
        right_->setChangedHandler([this] {
            if (changed_) {
                changed_();
            }
        });
    }
    if (changed_) {
        changed_();
    }
}

void NavigationItem::setChangedHandler(std::function<void()> handler) {
    changed_ = std::move(handler);
}

NavigationBar::NavigationBar(QWidget* parent)
    : QWidget(parent), balance_(new QWidget(this)), title_(new QLabel(this)), right_(new QPushButton(this)) {
    setAutoFillBackground(true);
    setPalette(whitePalette(palette()));
    setFixedHeight(44);
    QFont bold = title_->font();
    bold.setBold(true);
    title_->setFont(bold);
    title_->setAlignment(Qt::AlignCenter);
    right_->setFlat(true);
    right_->hide();
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(8, 0, 8, 0);
    layout->addWidget(balance_);
    layout->addWidget(title_, 1);
    layout->addWidget(right_);
    if (parent) {
        resize(parent->width(), height());
        parent->installEventFilter(this);
    }
    appearWithParent(this);
    connect(right_, &QPushButton::clicked, this, [this] {
        if (const auto item = topItem()) {
            if (const auto button = item->rightBarButtonItem()) {
                button->tap();
            }
        }
    });
}

void NavigationBar::setItems(std::vector<std::shared_ptr<NavigationItem>> items) {
    for (const auto& item : items_) {
        item->setChangedHandler(nullptr);
    }
    items_ = std::move(items);
    QPointer<NavigationBar> self(this);
    for (const auto& item : items_) {
        item->setChangedHandler([self] {
            if (self) {
                self->refresh();
            }
        });
    }
    refresh();
}

bool NavigationBar::eventFilter(QObject* watched, QEvent* event) {
    if (watched == parentWidget() && event->type() == QEvent::Resize) {
        resize(parentWidget()->width(), height());
    }
    return QWidget::eventFilter(watched, event);
}

void NavigationBar::moveCentreBy(double dy) {
    move(x(), y() + static_cast<int>(std::lround(dy)));
}

NavigationBar* NavigationBar::findIn(QWidget* root) {
    if (!root) {
        return nullptr;
    }
    if (auto* bar = qobject_cast<NavigationBar*>(root)) {
        return bar;
    }
    return root->findChild<NavigationBar*>();
}

void NavigationBar::refresh() {
    const auto item = topItem();
    title_->setText(item ? item->title() : QString());
    const auto button = item ? item->rightBarButtonItem() : nullptr;
    if (button) {
        right_->setText(button->title());
        right_->setEnabled(button->isEnabled());
        QFont f = right_->font();
        f.setBold(button->style() == BarButtonItem::Style::Done);
        right_->setFont(f);
    }
    right_->setVisible(button != nullptr);
    balance_->setFixedWidth(button ? right_->sizeHint().width() : 0);
}

// ---- Alerts -----------------------------------------------------------------------------------

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
                             const auto self = weak.lock();
                             if (!self || !self->textField_) {
                                 return;
                             }
                             self->textField_->text = text;
                             if (self->textField_->editingChanged) {
                                 self->textField_->editingChanged();
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
    overlay_->hide();
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
    textField_->text = text;
    if (lineEdit_) {
        const QSignalBlocker blocker(lineEdit_);
        lineEdit_->setText(text);
    }
    if (textField_->editingChanged) {
        textField_->editingChanged();
    }
    return true;
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

// ---- Screen description -----------------------------------------------------------------------

DictionaryRef describeScreen(QWidget* root, const AlertController* presentedAlert) {
    auto screen = Dictionary::make();
    if (!root) {
        return screen;
    }
    if (const auto* bar = NavigationBar::findIn(root)) {
        if (const auto item = bar->topItem()) {
            screen->set(QStringLiteral("title"), Value::string(item->title()));
            if (const auto button = item->rightBarButtonItem()) {
                screen->set(QStringLiteral("rightButton"),
                            Value::dictionary(Dictionary::make({
                                {QStringLiteral("title"), Value::string(button->title())},
                                {QStringLiteral("enabled"), Value::boolean(button->isEnabled())},
                            })));
            }
        }
    }
    if (presentedAlert && presentedAlert->isPresented()) {
        screen->set(QStringLiteral("alert"), Value::dictionary(presentedAlert->describe()));
    }
    // Only the toolkit's own labels and bars count: the texts inside bars and alerts are described above.
    auto labels = makeArray();
    for (const Label* label : root->findChildren<Label*>()) {
        if (label->isVisibleTo(root)) {
            labels->push_back(Value::string(label->text()));
        }
    }
    screen->set(QStringLiteral("labels"), Value::array(labels));
    auto progress = makeArray();
    for (const ProgressView* bar : root->findChildren<ProgressView*>()) {
        if (bar->isVisibleTo(root)) {
            progress->push_back(Value::number(shortestDouble(bar->progress())));
        }
    }
    screen->set(QStringLiteral("progress"), Value::array(progress));
    return screen;
}

}  // namespace platform::ui
