#pragma once
// The diagnostic log: one handle per category, each with levels that the host enables. Messages
// are formatted only when their level is enabled; "%@" placeholders take the description of the
// next argument (an error, a value or a string).

#include "platform/foundation/Error.h"
#include "platform/foundation/Value.h"

#include <QString>
#include <QStringList>

#include <functional>

namespace platform {

enum class LogLevel { Debug = 0, Info = 1, Error = 2, Fault = 3 };

const char* logLevelName(LogLevel level);

class LogHandle {
  public:
    explicit LogHandle(int category) : category_(category) {}
    int category() const { return category_; }
    bool isEnabled(LogLevel level) const;
    // Writes an already formatted message.
    void write(LogLevel level, const QString& message) const;

  private:
    int category_;
};

const LogHandle& logHandleForCategory(int category);

// Where messages go; called on the thread that logs. The host sets it before the diagnostic starts.
using LogSink = std::function<void(int category, LogLevel level, const QString& message)>;
void setLogSink(LogSink sink);
// Levels below minimum are disabled (and their messages never formatted). Error by default.
void setMinimumLogLevel(LogLevel minimum);

// How an argument of a log message is described in place of "%@".
inline QString logDescription(const QString& s) {
    return s;
}
inline QString logDescription(const char* s) {
    return QString::fromUtf8(s);
}
inline QString logDescription(const ErrorRef& e) {
    return e ? e->description() : QStringLiteral("(null)");
}
inline QString logDescription(const Value& v) {
    return v.description();
}

// Replaces each "%@" of format, in order, with the next description.
QString formatLogMessage(const char* format, const QStringList& descriptions);

template <class... Args>
void logError(const LogHandle& handle, const char* format, const Args&... args) {
    if (handle.isEnabled(LogLevel::Error)) {
        handle.write(LogLevel::Error, formatLogMessage(format, QStringList{logDescription(args)...}));
    }
}

}  // namespace platform
