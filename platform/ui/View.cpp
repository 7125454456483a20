#include "platform/ui/View.h"

#include <QEvent>
#include <QPointer>
#include <QResizeEvent>
#include "platform/foundation/Dispatch.h"
#include "platform/ui/LayoutSolver.h"
#include "platform/ui/ViewHelpers.h"

namespace platform::ui {

View::View(QWidget* parent) : QWidget(parent) {
    appearWithParent(this);
}

void View::setBackgroundWhite() {
    setAutoFillBackground(true);
    setPalette(whitePalette(palette()));
}

void View::addSubview(QWidget* child) {
    if (!child || child == this) {
        return;
    }
    const bool hiddenByHand = child->testAttribute(Qt::WA_WState_ExplicitShowHide) && child->isHidden();
    child->setParent(this);
    if (!hiddenByHand) {
        child->show();
    }
    setNeedsLayout();
}

void View::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    layoutSubviews();
    if (updateConstraints_) {
        setNeedsUpdateConstraints();
    } else {
        setNeedsLayout();
    }
}

void View::setBackgroundClear() {
    setAutoFillBackground(false);
}

void View::setAutoresizingFlexibleSize(bool width, bool height) {
    flexibleWidth_ = width;
    flexibleHeight_ = height;
    watchParent();
}

void View::watchParent() {
    if (watchedParent_ == parentWidget()) {
        return;
    }
    if (watchedParent_) {
        watchedParent_->removeEventFilter(this);
    }
    watchedParent_ = parentWidget();
    if (watchedParent_ && (flexibleWidth_ || flexibleHeight_)) {
        watchedParent_->installEventFilter(this);
    }
}

bool View::eventFilter(QObject* watched, QEvent* event) {
    if (watched == watchedParent_ && event->type() == QEvent::Resize) {
        const auto* resize = static_cast<QResizeEvent*>(event);
        if (resize->oldSize().isValid()) {
            const QSize change = resize->size() - resize->oldSize();
            QWidget::resize(width() + (flexibleWidth_ ? change.width() : 0),
                            height() + (flexibleHeight_ ? change.height() : 0));
        }
    }
    return QWidget::eventFilter(watched, event);
}

bool View::event(QEvent* event) {
    if (event->type() == QEvent::ParentChange) {
        parentChanged();
        watchParent();
    }
    return QWidget::event(event);
}

void View::setNeedsUpdateConstraints() {
    constraintsPending_ = true;
    layoutPending_ = true;
    schedulePass();
}

void View::setNeedsLayout() {
    layoutPending_ = true;
    schedulePass();
}

void View::schedulePass() {
    if (passScheduled_) {
        return;  // one pass serves every request made before it runs
    }
    passScheduled_ = true;
    QPointer<View> self(this);
    dispatch::async(dispatch::mainQueue(), [self] {
        if (self) {
            self->passScheduled_ = false;
            self->layoutIfNeeded();
        }
    });
}

void View::layoutIfNeeded() {
    QPointer<View> self(this);
    if (constraintsPending_) {
        constraintsPending_ = false;
        if (const auto handler = updateConstraints_) {
            handler();
        }
    }
    if (self && layoutPending_) {
        layoutPending_ = false;
        solveLayout(this);
    }
}

}  // namespace platform::ui
