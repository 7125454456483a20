#include "platform/ui/NavigationBar.h"

#include <QEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QPointer>
#include <QPushButton>
#include <cmath>
#include "platform/ui/ViewHelpers.h"

namespace platform::ui {

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

BarPosition NavigationBar::barPosition() {
    return delegate_ ? delegate_->positionForBar(this) : BarPosition::Any;
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

}  // namespace platform::ui
