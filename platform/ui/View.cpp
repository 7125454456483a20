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
