#pragma once
// A Wi-Fi manager set up as the diagnostic sets it up (scheduled on the main run loop, a power
// callback on its first device), and what that callback saw: for tests of any backend's power
// notifications.

#include "platform/foundation/Dispatch.h"
#include "platform/wifi/RunLoop.h"
#include "platform/wifi/WiFiManager.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <vector>

namespace testsupport {

using platform::WiFiDeviceRef;
using platform::WiFiManagerRef;

// What a power callback saw; held by the test, given to the callback as its weak context.
struct PowerWatch {
    std::atomic<int> calls{0};
    std::atomic<bool> onMainThread{true};
    std::mutex mutex;
    std::vector<int> powers;
    WiFiManagerRef manager = nullptr;
};

inline void powerCallback(WiFiDeviceRef, std::weak_ptr<void> context) {
    if (const auto watch = std::static_pointer_cast<PowerWatch>(context.lock())) {
        if (!platform::dispatch::isMainThread()) {
            watch->onMainThread = false;
        }
        {
            std::lock_guard lock(watch->mutex);
            watch->powers.push_back(platform::getPower(watch->manager));
        }
        ++watch->calls;
    }
}

// A manager scheduled on the main run loop with the power callback on its first device, as the
// diagnostic sets it up; released again by release().
struct ManagerSetup {
    WiFiManagerRef manager = nullptr;
    WiFiDeviceRef device = nullptr;
    std::shared_ptr<PowerWatch> watch = std::make_shared<PowerWatch>();

    bool make() {
        manager = platform::createManagerClient(nullptr, 0);
        if (!manager) {
            return false;
        }
        platform::scheduleWithRunLoop(manager, platform::RunLoop::main(), platform::kRunLoopDefaultMode);
        platform::setClientType(manager, 0);
        platform::WiFiDeviceArrayRef devices = platform::copyDevices(manager);
        if (devices->count() == 0) {
            platform::releaseHandle(devices);
            return false;
        }
        device = devices->at(0);
        platform::retainHandle(device);
        platform::releaseHandle(devices);
        watch->manager = manager;
        platform::registerPowerCallback(device, powerCallback, watch);
        return true;
    }
    void release() {
        platform::releaseHandle(manager);
        platform::releaseHandle(device);
        manager = nullptr;
        device = nullptr;
    }
};

}  // namespace testsupport
