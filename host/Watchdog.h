#pragma once
// A thread that keeps the time limit when the main thread cannot: if it is not stopped in time, it
// calls its handler, which ends the process.

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

namespace host {

class Watchdog {
  public:
    Watchdog() = default;
    ~Watchdog();
    Watchdog(const Watchdog&) = delete;
    Watchdog& operator=(const Watchdog&) = delete;

    // Calls onExpired on the watchdog's own thread once limit has passed without stop().
    void start(std::chrono::milliseconds limit, std::function<void()> onExpired);
    // Stops the watch, waiting for the thread; does nothing when it is not watching.
    void stop();

  private:
    std::mutex mutex_;
    std::condition_variable wake_;
    bool cancelled_ = false;
    std::thread thread_;
};

}  // namespace host
