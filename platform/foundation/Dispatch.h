#pragma once
// Dispatch queues: the main queue (the Qt event loop of the GUI thread) and the global
// default-priority queue (a pool that starts another worker whenever every worker is busy, so a
// job blocked in a service call never starves another). Jobs capture a strong reference to the
// object they work for, so that object lives until its jobs are done.
//
// The layer also counts its work in flight, so that a driver (the host's automation, the tests)
// can tell when nothing is queued, running or waiting on a timer. Its state lives as long as the
// process: workers and the timer may still post while the process exits. A driver ends it with
// shutdown(), after which no job starts and every job still waiting is freed and counted.

#include <chrono>
#include <functional>

namespace platform::dispatch {

using Job = std::function<void()>;

enum class Queue { Main, Global };

inline Queue mainQueue() {
    return Queue::Main;
}
inline Queue globalQueue() {
    return Queue::Global;
}

// Runs job later on queue.
void async(Queue queue, Job job);
// Runs job and returns when it is done. For the global queue the job runs on the calling thread
// (a nested sync inside a global job runs at once too). For the main queue from the main thread it
// runs at once; from another thread the caller waits for the main loop to run it.
void sync(Queue queue, Job job);
// Runs job on queue once delay has passed. A job that stands for something outside the program
// (a simulated world's timed event) passes countsAsActivity false, so waiting for it does not
// make the program look busy; once it fires, the job itself is counted like any other.
void asyncAfter(Queue queue, std::chrono::nanoseconds delay, Job job, bool countsAsActivity = true);

bool isMainThread();

// Work in flight: main-queue jobs posted and not yet run, global jobs queued or running, delayed
// jobs whose timer has not fired, and their sum taken at one instant (idle is judged on that sum:
// the three counts are read one after another while work moves between them).
struct Activity {
    int mainPending = 0;
    int globalPending = 0;
    int delayedPending = 0;
    int inFlight = 0;
    bool idle() const { return inFlight == 0; }
};
Activity activity();

// Ends the queues for good (the process is about to exit): jobs still waiting on the main queue,
// on the global queue and on timers are freed without running, and jobs submitted later are freed
// at once. Global jobs already running finish. Answers how many jobs were freed without running
// (here and, later, at submission), counted by discardedJobs() too. Call on the main thread.
int shutdown();
bool isShutDown();
int discardedJobs();

// Multiplies every later asyncAfter delay by factor (1 by default), for a driver that runs many
// diagnostics and wants their fixed pauses short. Not for production use.
void setDelayScale(double factor);

// Waits (on a non-main thread, or on the main thread without running its loop) until no global or
// delayed job is left, at most timeout. Answers whether that point was reached.
bool waitForGlobalWork(std::chrono::milliseconds timeout);

}  // namespace platform::dispatch
