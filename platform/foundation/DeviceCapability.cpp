#include "platform/foundation/DeviceCapability.h"

#include <mutex>

namespace platform {

namespace {

std::mutex& providerMutex() {
    static std::mutex m;
    return m;
}

std::function<bool(const QString&)>& provider() {
    static std::function<bool(const QString&)> p;
    return p;
}

}  // namespace

bool queryDeviceCapability(const QString& key) {
    std::lock_guard lock(providerMutex());
    return provider() ? provider()(key) : false;
}

void setDeviceCapabilityProvider(std::function<bool(const QString&)> p) {
    std::lock_guard lock(providerMutex());
    provider() = std::move(p);
}

}  // namespace platform
