#include "platform/ui/View.h"

#include <QPointer>
#include <QResizeEvent>
#include "platform/foundation/Dispatch.h"
#include "platform/ui/ViewHelpers.h"

namespace platform::ui {

View::View(QWidget* parent) : QWidget(parent) {
    appearWithParent(this);
}

void View::setBackgroundWhite() {
    setAutoFillBackground(true);
    setPalette(whitePalette(palette()));
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

bool View::event(QEvent* event) {
    if (event->type() == QEvent::ParentChange) {
        watchParent();
    }
    return QWidget::event(event);
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

}  // namespace platform::ui
