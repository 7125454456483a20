#include "platform/ui/Animation.h"

#include <QGuiApplication>

namespace platform::ui {

bool shouldAnimate(const QWidget* view) {
    return view && view->isVisible() && QGuiApplication::platformName() != QStringLiteral("offscreen");
}

}  // namespace platform::ui
