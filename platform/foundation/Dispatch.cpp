#include "platform/foundation/Dispatch.h"

#include <QCoreApplication>
#include <QMetaObject>
#include <QPointer>
#include <QThread>

#include <atomic>
#include <condition_variable>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <thread>

namespace platform::dispatch {

namespace {

// Every piece of state below is made once on the heap and never destroyed: pool workers and the
// timer thread are detached and may post until the very end of the process, after static
// destructors have run.

std::atomic<int> gMainPending{0};
std::atomic<int> gDelayedPending{0};
// All counted work, whatever queue it is on. A job is counted here before the job it hands on to
// (a timer's job to its queue, a global job's post to the main queue) stops being counted, so this
// sum never passes through zero while work is still in flight, as the three counts read one after
// another could.
std::atomic<int> gInFlight{0};
std::atomic<bool> gShutDown{false};
std::atomic<int> gDiscarded{0};
std::atomic<double> gDelayScale{1.0};

// Frees jobs that will never run, outside any lock: what they hold may post or lock in turn.
int discard(std::deque<Job>& jobs) {
    const int count = static_cast<int>(jobs.size());
    jobs.clear();
    gDiscarded += count;
    return count;
}

// Frees a job that no queue will take (they were shut down), outside the queue's lock: what the
// job holds may post or lock in turn.
void refuse(std::unique_lock<std::mutex>& lock, Job& job) {
    lock.unlock();
    job = nullptr;
    ++gDiscarded;
}

// Global default-priority queue: a pool that grows whenever a job arrives and no worker is idle.
// Idle workers leave after a while.
class GlobalPool {
  public:
    static GlobalPool& instance() {
        static auto* pool = new GlobalPool;
        return *pool;
    }

    void submit(Job job) {
        std::unique_lock lock(mutex_);
        if (gShutDown.load()) {
            refuse(lock, job);
            return;
        }
        queue_.push_back(std::move(job));
        ++pending_;
        ++gInFlight;
        // Every queued job needs a worker of its own: wake an idle one if there are enough, else start one.
        if (static_cast<std::size_t>(idleWorkers_) >= queue_.size()) {
            wake_.notify_one();
        } else {
            std::thread([this] { workerLoop(); }).detach();
        }
    }

    int pending() {
        std::lock_guard lock(mutex_);
        return pending_;
    }

    bool waitUntilDrained(std::chrono::milliseconds timeout) {
        std::unique_lock lock(mutex_);
        return drained_.wait_for(lock, timeout,
                                 [this] { return pending_ == 0 && gDelayedPending.load() == 0; });
    }

    void notifyDrainWaiters() {
        std::lock_guard lock(mutex_);
        drained_.notify_all();
    }

    // Takes the jobs that have not started; running ones finish.
    std::deque<Job> takeQueued() {
        std::lock_guard lock(mutex_);
        std::deque<Job> queued;
        queued.swap(queue_);
        pending_ -= static_cast<int>(queued.size());
        gInFlight -= static_cast<int>(queued.size());
        drained_.notify_all();
        return queued;
    }

  private:
    void workerLoop() {
        std::unique_lock lock(mutex_);
        for (;;) {
            if (queue_.empty()) {
                ++idleWorkers_;
                const bool woken =
                    wake_.wait_for(lock, std::chrono::seconds(10), [this] { return !queue_.empty(); });
                --idleWorkers_;
                if (!woken) {
                    return;
                }
            }
            Job job = std::move(queue_.front());
            queue_.pop_front();
            lock.unlock();
            job();
            job = nullptr;  // release what the job held before reporting it done
            lock.lock();
            --pending_;
            --gInFlight;
            drained_.notify_all();
        }
    }

    std::mutex mutex_;
    std::condition_variable wake_;
    std::condition_variable drained_;
    std::deque<Job> queue_;
    int idleWorkers_ = 0;
    int pending_ = 0;  // queued or running
};

// One timer thread for all delayed jobs; on expiry the job goes to its queue.
class TimerThread {
  public:
    static TimerThread& instance() {
        static auto* timer = new TimerThread;
        return *timer;
    }

    void schedule(std::chrono::nanoseconds delay, Queue queue, Job job, bool counted) {
        std::unique_lock lock(mutex_);
        if (gShutDown.load()) {
            refuse(lock, job);
            return;
        }
        if (counted) {
            ++gDelayedPending;
            ++gInFlight;
        }
        const auto due = std::chrono::steady_clock::now() + delay;
        timers_.emplace(due, Timer{queue, std::move(job), counted});
        if (!started_) {
            started_ = true;
            std::thread([this] { run(); }).detach();
        }
        wake_.notify_one();
    }

    // Takes every timer that has not fired.
    std::deque<Job> takeWaiting() {
        std::deque<Job> waiting;
        {
            std::lock_guard lock(mutex_);
            for (auto& [due, timer] : timers_) {
                if (timer.counted) {
                    --gDelayedPending;
                    --gInFlight;
                }
                waiting.push_back(std::move(timer.job));
            }
            timers_.clear();
        }
        GlobalPool::instance().notifyDrainWaiters();
        return waiting;
    }

  private:
    void run() {
        std::unique_lock lock(mutex_);
        for (;;) {
            if (timers_.empty()) {
                wake_.wait(lock, [this] { return !timers_.empty(); });
                continue;
            }
            const auto due = timers_.begin()->first;
            if (wake_.wait_until(lock, due) != std::cv_status::timeout &&
                std::chrono::steady_clock::now() < due) {
                continue;
            }
            if (timers_.empty()) {
                continue;  // taken away while waiting
            }
            auto node = timers_.extract(timers_.begin());
            lock.unlock();
            Timer timer = std::move(node.mapped());
            async(timer.queue,
                  std::move(timer.job));  // counted on its queue before leaving the delayed count
            if (timer.counted) {
                --gDelayedPending;
                --gInFlight;
            }
            GlobalPool::instance().notifyDrainWaiters();
            lock.lock();
        }
    }

    std::mutex mutex_;
    std::condition_variable wake_;
    struct Timer {
        Queue queue;
        Job job;
        bool counted;
    };
    std::multimap<std::chrono::steady_clock::time_point, Timer> timers_;
    bool started_ = false;
};

// Main-queue jobs wait here, under a mutex the thread checkers see, rather than inside the posted
// Qt event: the event only says "run the next job". Jobs are posted to the application only while
// it lives: its destructor takes the jobs still waiting (they would never run) under the same lock,
// so a worker posting at that moment either finishes before or finds it gone.
class MainJobs {
  public:
    static MainJobs& instance() {
        static auto* jobs = new MainJobs;
        return *jobs;
    }

    void post(Job job) {
        std::unique_lock lock(mutex_);
        if (!app_ && !appEnded_) {
            app_ = QCoreApplication::instance();
            if (app_) {
                qAddPostRoutine(&MainJobs::applicationEnding);
            }
        }
        // Without an application (gone at exit, or not made yet) no loop will ever run the job.
        if (gShutDown.load() || !app_) {
            refuse(lock, job);
            return;
        }
        ++gMainPending;
        ++gInFlight;
        jobs_.push_back(std::move(job));
        QMetaObject::invokeMethod(
            app_, [] { MainJobs::instance().runNext(); }, Qt::QueuedConnection);
    }

    std::deque<Job> takeQueued() {
        std::lock_guard lock(mutex_);
        std::deque<Job> queued;
        queued.swap(jobs_);
        gMainPending -= static_cast<int>(queued.size());
        gInFlight -= static_cast<int>(queued.size());
        return queued;
    }

  private:
    // Called by the application's destructor, on the main thread.
    static void applicationEnding() {
        MainJobs& self = instance();
        {
            std::lock_guard lock(self.mutex_);
            self.app_ = nullptr;
            self.appEnded_ = true;
        }
        std::deque<Job> left = self.takeQueued();
        discard(left);
    }

    void runNext() {
        Job job;
        {
            std::lock_guard lock(mutex_);
            if (jobs_.empty()) {
                return;  // taken by shutdown
            }
            job = std::move(jobs_.front());
            jobs_.pop_front();
        }
        job();
        job = nullptr;
        --gMainPending;
        --gInFlight;
    }

    std::mutex mutex_;
    std::deque<Job> jobs_;
    QCoreApplication* app_ = nullptr;  // the application posted to, while it lives
    bool appEnded_ = false;            // one application per process: none is posted to after it
};

}  // namespace

bool isMainThread() {
    const QCoreApplication* app = QCoreApplication::instance();
    return app && QThread::currentThread() == app->thread();
}

void async(Queue queue, Job job) {
    if (queue == Queue::Global) {
        GlobalPool::instance().submit(std::move(job));
    } else {
        MainJobs::instance().post(std::move(job));
    }
}

void sync(Queue queue, Job job) {
    if (queue == Queue::Global || isMainThread()) {
        job();
        return;
    }
    // The waiter is woken when the job has run, or when it is freed without running (the queues
    // were shut down meanwhile): either way the main loop is done with it.
    struct Waiter {
        std::mutex mutex;
        std::condition_variable changed;
        bool done = false;
    };
    struct WakeOnRelease {
        std::shared_ptr<Waiter> waiter;
        ~WakeOnRelease() {
            std::lock_guard lock(waiter->mutex);
            waiter->done = true;
            waiter->changed.notify_one();
        }
    };
    const auto waiter = std::make_shared<Waiter>();
    {
        const auto wake = std::make_shared<WakeOnRelease>();
        wake->waiter = waiter;
        async(Queue::Main, [&job, wake] { job(); });
    }
    std::unique_lock lock(waiter->mutex);
    waiter->changed.wait(lock, [&] { return waiter->done; });
}

void asyncAfter(Queue queue, std::chrono::nanoseconds delay, Job job, bool countsAsActivity) {
    const double scale = gDelayScale.load();
    if (scale != 1.0) {
        delay =
            std::chrono::nanoseconds(static_cast<std::int64_t>(static_cast<double>(delay.count()) * scale));
    }
    TimerThread::instance().schedule(delay, queue, std::move(job), countsAsActivity);
}

Activity activity() {
    Activity a;
    a.mainPending = gMainPending.load();
    a.globalPending = GlobalPool::instance().pending();
    a.delayedPending = gDelayedPending.load();
    a.inFlight = gInFlight.load();
    return a;
}

bool waitForGlobalWork(std::chrono::milliseconds timeout) {
    return GlobalPool::instance().waitUntilDrained(timeout);
}

int shutdown() {
    gShutDown = true;
    // Taken under each queue's lock, freed outside them.
    std::deque<Job> timers = TimerThread::instance().takeWaiting();
    std::deque<Job> global = GlobalPool::instance().takeQueued();
    std::deque<Job> main = MainJobs::instance().takeQueued();
    return discard(timers) + discard(global) + discard(main);
}

bool isShutDown() {
    return gShutDown.load();
}

int discardedJobs() {
    return gDiscarded.load();
}

void setDelayScale(double factor) {
    gDelayScale = factor > 0.0 ? factor : 0.0;
}

}  // namespace platform::dispatch
