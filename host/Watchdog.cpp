#include "host/Watchdog.h"

namespace host {

Watchdog::~Watchdog() {
    stop();
}

void Watchdog::start(std::chrono::milliseconds limit, std::function<void()> onExpired) {
    thread_ = std::thread([this, limit, onExpired = std::move(onExpired)] {
        std::unique_lock lock(mutex_);
        if (wake_.wait_for(lock, limit, [this] { return cancelled_; })) {
            return;
        }
        onExpired();
    });
}

void Watchdog::stop() {
    {
        std::lock_guard lock(mutex_);
        cancelled_ = true;
    }
    wake_.notify_all();
    if (thread_.joinable()) {
        thread_.join();
    }
}

}  // namespace host
