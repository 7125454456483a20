#pragma once
// The end of a run: the diagnostic's work drains with the event loop still turning, then what it
// left behind (work not done, platform handles still held or released too often) is reported.

#include "host/EventStream.h"

#include "platform/foundation/Dispatch.h"

#include <chrono>

namespace host {

// Turns the event loop until no dispatch work is queued, running or waiting, at most timeout.
void drainWork(std::chrono::milliseconds timeout);

// Answers whether no job is left (timers alone are freed by the shutdown that follows). When any
// work is left, records a "drain" event, and when jobs are, reports an error that names the drain's
// timeout.
bool reportWorkLeft(std::chrono::milliseconds timeout, EventStream& events);

// Shuts the dispatch queues down for good and records a "shutdown" event with the number of jobs
// that were still waiting and are freed without running.
void reportShutdown(EventStream& events);

// Records the platform handle report as a "handles" event and reports each kind of trouble as an
// error; answers whether there was any (a handle held after teardown or released once too often).
bool reportHandles(EventStream& events);

}  // namespace host
