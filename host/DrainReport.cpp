#include "host/DrainReport.h"

#include "host/HostOutput.h"

#include "platform/wifi/WiFiManager.h"

#include <QCoreApplication>
#include <QDeadlineTimer>

namespace host {

using platform::Dictionary;
using platform::Value;

void drainWork(std::chrono::milliseconds timeout) {
    // The event loop keeps turning while the diagnostic's work drains, so a late second end is seen.
    const QDeadlineTimer deadline(timeout);
    while (!deadline.hasExpired()) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        if (platform::dispatch::activity().idle()) {
            break;
        }
        platform::dispatch::waitForGlobalWork(std::chrono::milliseconds(5));
    }
}

bool reportWorkLeft(std::chrono::milliseconds timeout, EventStream& events) {
    const platform::dispatch::Activity left = platform::dispatch::activity();
    if (!left.idle()) {
        events.write(QStringLiteral("drain"),
                     Dictionary::make({
                         {QStringLiteral("drained"), Value::boolean(false)},
                         {QStringLiteral("mainPending"), Value::integer(left.mainPending)},
                         {QStringLiteral("globalPending"), Value::integer(left.globalPending)},
                         {QStringLiteral("delayedPending"), Value::integer(left.delayedPending)},
                     }));
        // Timers alone are harmless (the scenario's own events are stopped); work still queued or
        // running is worth a word.
        if (left.mainPending > 0 || left.globalPending > 0) {
            reportError(events,
                        QStringLiteral("the diagnostic's work did not drain within %1 ms (%2 main and "
                                       "%3 global jobs left); exiting without waiting for it")
                            .arg(timeout.count())
                            .arg(left.mainPending)
                            .arg(left.globalPending));
        }
    }
    // Timers left are freed at the shutdown that follows; only jobs count as work not drained.
    return left.mainPending == 0 && left.globalPending == 0;
}

void reportShutdown(EventStream& events) {
    const int discarded = platform::dispatch::shutdown();
    events.write(QStringLiteral("shutdown"),
                 Dictionary::make({{QStringLiteral("discardedJobs"), Value::integer(discarded)}}));
}

bool reportHandles(EventStream& events) {
    const platform::HandleReport report = platform::handleReport();
    auto held = platform::makeArray();
    for (const QString& h : report.liveHandles) {
        held->push_back(Value::string(h));
    }
    events.write(QStringLiteral("handles"),
                 Dictionary::make({
                     {QStringLiteral("created"), Value::integer(report.created)},
                     {QStringLiteral("live"), Value::integer(report.live)},
                     {QStringLiteral("overReleases"), Value::integer(report.overReleases)},
                     {QStringLiteral("liveHandles"), Value::array(held)},
                 }));
    bool trouble = false;
    if (report.live > 0) {
        reportError(events, QStringLiteral("%1 platform handle(s) still held after teardown: %2")
                                .arg(report.live)
                                .arg(report.liveHandles.empty()
                                         ? QStringLiteral("(unnamed)")
                                         : QStringList(report.liveHandles.begin(), report.liveHandles.end())
                                               .join(QStringLiteral(", "))));
        trouble = true;
    }
    if (report.overReleases > 0) {
        reportError(events,
                    QStringLiteral("%1 platform handle release(s) too many").arg(report.overReleases));
        trouble = true;
    }
    return trouble;
}

}  // namespace host
