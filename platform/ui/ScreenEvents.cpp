#include "platform/ui/ScreenEvents.h"

namespace platform::ui {

namespace {

ScreenEventObserver& screenEventObserver() {
    static ScreenEventObserver observer;
    return observer;
}

}  // namespace

void reportScreenEvent(const QString& kind, DictionaryRef fields) {
    if (screenEventObserver()) {
        screenEventObserver()(kind, std::move(fields));
    }
}

void setScreenEventObserver(ScreenEventObserver observer) {
    screenEventObserver() = std::move(observer);
}

}  // namespace platform::ui
