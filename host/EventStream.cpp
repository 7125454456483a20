#include "host/EventStream.h"

#include "platform/foundation/Json.h"

namespace host {

EventStream::EventStream() {
    clock_.start();
}

bool EventStream::open(const QString& path, QString* error) {
    std::lock_guard lock(mutex_);
    file_.setFileName(path);
    if (!file_.open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Text)) {
        if (error) {
            *error = file_.errorString();
        }
        return false;
    }
    return true;
}

bool EventStream::isOpen() const {
    std::lock_guard lock(mutex_);
    return file_.isOpen();
}

void EventStream::write(const QString& kind, platform::DictionaryRef fields) {
    platform::Dictionary line = fields ? *fields : platform::Dictionary();
    line.set(QStringLiteral("event"), platform::Value::string(kind));
    std::lock_guard lock(mutex_);  // taken before the time is read, so lines come in time order
    if (!file_.isOpen()) {
        return;
    }
    line.set(QStringLiteral("time"), platform::Value::integer(clock_.elapsed()));
    file_.write(platform::toJson(line) + '\n');
    file_.flush();
}

}  // namespace host
