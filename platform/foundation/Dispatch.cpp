#include "platform/foundation/Dispatch.h"

#include <QCoreApplication>
#include <QMetaObject>
#include <QThread>

#include <atomic>
#include <condition_variable>
#include <deque>
#include <map>
#include <mutex>
#include <thread>

namespace platform::dispatch {

namespace {

std::atomic<int> gMainPending{0};
std::atomic<int> gDelayedPending{0};

// Global default-priority queue: a pool that grows whenever a job arrives and no worker is idle.
// Idle workers leave after a while; the pool object itself lives for the whole process.
class GlobalPool {
  public:
    static GlobalPool& instance() {
        static auto* pool = new GlobalPool;  // never destroyed: workers may outlive static teardown
        return *pool;
    }

    void submit(Job job) {
        std::unique_lock lock(mutex_);
        queue_.push_back(std::move(job));
        ++pending_;
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
        std::lock_guard lock(mutex_);
        const auto due = std::chrono::steady_clock::now() + delay;
        timers_.emplace(due, Timer{queue, std::move(job), counted});
        if (!started_) {
            started_ = true;
            std::thread([this] { run(); }).detach();
        }
        wake_.notify_one();
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
            auto node = timers_.extract(timers_.begin());
            lock.unlock();
            Timer timer = std::move(node.mapped());
            async(timer.queue,
                  std::move(timer.job));  // counted on its queue before leaving the delayed count
            if (timer.counted) {
                --gDelayedPending;
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

}  // namespace

bool isMainThread() {
    const QCoreApplication* app = QCoreApplication::instance();
    return app && QThread::currentThread() == app->thread();
}

namespace {
// Main-queue jobs wait here, under a mutex the thread checkers see, rather than inside the posted
// Qt event: the event only says "run the next job".
std::mutex gMainJobsMutex;
std::deque<Job> gMainJobs;

void runNextMainJob() {
    Job job;
    {
        std::lock_guard lock(gMainJobsMutex);
        job = std::move(gMainJobs.front());
        gMainJobs.pop_front();
    }
    job();
    job = nullptr;
    --gMainPending;
}
}  // namespace

void async(Queue queue, Job job) {
    if (queue == Queue::Global) {
        GlobalPool::instance().submit(std::move(job));
        return;
    }
    ++gMainPending;
    {
        std::lock_guard lock(gMainJobsMutex);
        gMainJobs.push_back(std::move(job));
    }
    QMetaObject::invokeMethod(
        QCoreApplication::instance(), [] { runNextMainJob(); }, Qt::QueuedConnection);
}

void sync(Queue queue, Job job) {
    if (queue == Queue::Global || isMainThread()) {
        job();
        return;
    }
    std::mutex doneMutex;
    std::condition_variable doneChanged;
    bool done = false;
    async(Queue::Main, [&] {
        job();
        std::lock_guard lock(doneMutex);
        done = true;
        doneChanged.notify_one();
    });
    std::unique_lock lock(doneMutex);
    doneChanged.wait(lock, [&] { return done; });
}

void asyncAfter(Queue queue, std::chrono::nanoseconds delay, Job job, bool countsAsActivity) {
    if (countsAsActivity) {
        ++gDelayedPending;
    }
    TimerThread::instance().schedule(delay, queue, std::move(job), countsAsActivity);
}

Activity activity() {
    Activity a;
    a.mainPending = gMainPending.load();
    a.globalPending = GlobalPool::instance().pending();
    a.delayedPending = gDelayedPending.load();
    return a;
}

bool waitForGlobalWork(std::chrono::milliseconds timeout) {
    return GlobalPool::instance().waitUntilDrained(timeout);
}

}  // namespace platform::dispatch
