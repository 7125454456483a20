#include "platform/foundation/Log.h"

#include <atomic>
#include <map>
#include <memory>
#include <mutex>

namespace platform {

namespace {

std::mutex& sinkMutex() {
    static std::mutex m;
    return m;
}

LogSink& sinkStorage() {
    static LogSink sink;
    return sink;
}

std::atomic<int>& minimumLevel() {
    static std::atomic<int> level{static_cast<int>(LogLevel::Error)};
    return level;
}

}  // namespace

const char* logLevelName(LogLevel level) {
    switch (level) {
        case LogLevel::Debug:
            return "debug";
        case LogLevel::Info:
            return "info";
        case LogLevel::Error:
            return "error";
        case LogLevel::Fault:
            return "fault";
    }
    return "unknown";
}

bool LogHandle::isEnabled(LogLevel level) const {
    return static_cast<int>(level) >= minimumLevel().load(std::memory_order_relaxed);
}

void LogHandle::write(LogLevel level, const QString& message) const {
    std::lock_guard lock(sinkMutex());
    if (sinkStorage()) {
        sinkStorage()(category_, level, message);
    }
}

const LogHandle& logHandleForCategory(int category) {
    static std::mutex m;
    static std::map<int, std::unique_ptr<LogHandle>> handles;
    std::lock_guard lock(m);
    auto& handle = handles[category];
    if (!handle) {
        handle = std::make_unique<LogHandle>(category);
    }
    return *handle;
}

void setLogSink(LogSink sink) {
    std::lock_guard lock(sinkMutex());
    sinkStorage() = std::move(sink);
}

void setMinimumLogLevel(LogLevel minimum) {
    minimumLevel().store(static_cast<int>(minimum), std::memory_order_relaxed);
}

QString formatLogMessage(const char* format, const QStringList& descriptions) {
    const QString f = QString::fromUtf8(format);
    QString out;
    out.reserve(f.size() + 32);
    qsizetype next = 0;
    for (qsizetype i = 0; i < f.size(); ++i) {
        if (f[i] == u'%' && i + 1 < f.size() && f[i + 1] == u'@') {
            out += next < descriptions.size() ? descriptions[next] : QStringLiteral("(null)");
            ++next;
            ++i;
        } else {
            out += f[i];
        }
    }
    return out;
}

}  // namespace platform
