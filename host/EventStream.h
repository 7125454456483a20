#pragma once
// Observable events of a run as JSON lines: one object per line, with "event" (its kind) and
// "time" (milliseconds since the host started) next to the event's own fields. Safe to write from
// any thread; each line is flushed as it is written, so a run that dies leaves what it saw.

#include "platform/foundation/Value.h"

#include <QElapsedTimer>
#include <QFile>
#include <QString>

#include <mutex>

namespace host {

class EventStream {
  public:
    EventStream();
    // Starts writing to path (replacing it). Until then, events go nowhere.
    bool open(const QString& path, QString* error);
    bool isOpen() const;
    void write(const QString& kind, platform::DictionaryRef fields = nullptr);
    qint64 elapsedMs() const { return clock_.elapsed(); }

  private:
    QElapsedTimer clock_;
    mutable std::mutex mutex_;
    QFile file_;
};

}  // namespace host
