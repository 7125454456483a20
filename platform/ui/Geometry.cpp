#include "platform/ui/Geometry.h"

#include "platform/ui/View.h"

#include <cmath>

namespace platform::ui {

void setFrame(QWidget* view, const QRectF& frame) {
    const int left = static_cast<int>(std::lround(frame.x()));
    const int top = static_cast<int>(std::lround(frame.y()));
    view->setGeometry(left, top, static_cast<int>(std::lround(frame.width())),
                      static_cast<int>(std::lround(frame.height())));
}

QRectF frame(const QWidget* view) {
    return QRectF(view->geometry());
}

QRectF bounds(const QWidget* view) {
    return QRectF(view->rect());
}

void sizeToFit(QWidget* view) {
    view->adjustSize();
}

void bringSubviewToFront(QWidget* child) {
    child->raise();
}

View* superview(const QWidget* view) {
    return qobject_cast<View*>(view->parentWidget());
}

}  // namespace platform::ui
