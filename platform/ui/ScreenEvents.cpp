#include "platform/ui/ScreenEvents.h"

#include <atomic>
#include <cstdio>

namespace platform::ui {

namespace {

ScreenEventObserver& screenEventObserver() {
    static ScreenEventObserver observer;
    return observer;
}

std::atomic<int>& programmingErrors() {
    static std::atomic<int> count{0};
    return count;
}

}  // namespace

void reportScreenEvent(const QString& kind, DictionaryRef fields) {
    if (screenEventObserver()) {
        screenEventObserver()(kind, std::move(fields));
    }
}

void reportProgrammingError(const QString& message, DictionaryRef fields) {
    programmingErrors().fetch_add(1);
    std::fprintf(stderr, "wifi-profile: programming error: %s\n", message.toUtf8().constData());
    std::fflush(stderr);
    auto event = fields ? fields : Dictionary::make();
    event->set(QStringLiteral("message"), Value::string(message));
    reportScreenEvent(QStringLiteral("error"), event);
}

int programmingErrorCount() {
    return programmingErrors().load();
}

void setScreenEventObserver(ScreenEventObserver observer) {
    screenEventObserver() = std::move(observer);
}

}  // namespace platform::ui
