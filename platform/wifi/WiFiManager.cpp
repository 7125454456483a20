#include "platform/wifi/WiFiManager.h"

#include "platform/foundation/DeviceCapability.h"
#include "platform/wifi/RunLoop.h"
#include "platform/wifi/WiFiBackend.h"

#include <algorithm>
#include <mutex>

namespace platform {

class WiFiDevice final : public Handle {
  public:
    QString kindName() const override { return QStringLiteral("WiFiDevice"); }

    struct Registration {
        WiFiPowerCallback callback;
        std::weak_ptr<void> context;
    };
    std::vector<Registration> registrations;
    WiFiManager* manager = nullptr;
};

class WiFiManager final : public Handle {
  public:
    QString kindName() const override { return QStringLiteral("WiFiManager"); }

    RunLoop* runLoop = nullptr;
    int clientType = -1;
    std::vector<WiFiDeviceRef> devices;  // one reference each, held by the manager
    bool devicesMade = false;

  private:
    void lastReferenceReleased() override;
};

class HandleRegistry {
  public:
    static HandleRegistry& instance() {
        static auto* registry = new HandleRegistry;  // outlives every handle
        return *registry;
    }

    std::recursive_mutex mutex;
    std::vector<std::unique_ptr<Handle>> handles;
    std::uint64_t nextSerial = 1;
    int overReleases = 0;

    template <class T, class... Args>
    T* make(Args&&... args) {
        std::lock_guard lock(mutex);
        auto owned = std::make_unique<T>(std::forward<Args>(args)...);
        T* handle = owned.get();
        handles.push_back(std::move(owned));
        return handle;
    }

    static bool isLive(const Handle* h) { return h && !h->freed_ && h->references_ > 0; }
    static int referencesOf(const Handle* h) { return h->references_; }
};

namespace {

std::mutex gBackendMutex;
std::shared_ptr<WiFiBackend> gBackend;

}  // namespace

Handle::Handle() {
    auto& registry = HandleRegistry::instance();
    std::lock_guard lock(registry.mutex);
    serial_ = registry.nextSerial++;
}

void retainHandle(Handle* handle) {
    if (!handle) {
        return;
    }
    auto& registry = HandleRegistry::instance();
    std::lock_guard lock(registry.mutex);
    if (handle->freed_) {
        ++registry.overReleases;  // a retain of a freed handle is the same misuse
        return;
    }
    ++handle->references_;
}

void releaseHandle(Handle* handle) {
    if (!handle) {
        return;
    }
    auto& registry = HandleRegistry::instance();
    std::lock_guard lock(registry.mutex);
    if (handle->freed_ || handle->references_ <= 0) {
        ++registry.overReleases;
        return;
    }
    if (--handle->references_ == 0) {
        handle->freed_ = true;
        handle->lastReferenceReleased();
    }
}

void retainHandle(WiFiManagerRef manager) {
    retainHandle(static_cast<Handle*>(manager));
}

void releaseHandle(WiFiManagerRef manager) {
    releaseHandle(static_cast<Handle*>(manager));
}

void retainHandle(WiFiDeviceRef device) {
    retainHandle(static_cast<Handle*>(device));
}

void releaseHandle(WiFiDeviceRef device) {
    releaseHandle(static_cast<Handle*>(device));
}

int Handle::references() const {
    std::lock_guard lock(HandleRegistry::instance().mutex);
    return references_;
}

void WiFiManager::lastReferenceReleased() {
    for (WiFiDeviceRef device : devices) {
        releaseHandle(device);
    }
    devices.clear();
}

WiFiDeviceArray::WiFiDeviceArray(std::vector<WiFiDeviceRef> devices) : devices_(std::move(devices)) {
    for (WiFiDeviceRef device : devices_) {
        retainHandle(device);
    }
}

void WiFiDeviceArray::lastReferenceReleased() {
    for (WiFiDeviceRef device : devices_) {
        releaseHandle(device);
    }
}

void installWiFiBackend(std::shared_ptr<WiFiBackend> backend) {
    {
        std::lock_guard lock(gBackendMutex);
        gBackend = backend;
    }
    if (backend) {
        std::weak_ptr<WiFiBackend> weak = backend;
        setDeviceCapabilityProvider([weak](const QString& key) {
            const auto b = weak.lock();
            return b && b->capability(key);
        });
    } else {
        setDeviceCapabilityProvider(nullptr);
    }
}

std::shared_ptr<WiFiBackend> installedWiFiBackend() {
    std::lock_guard lock(gBackendMutex);
    return gBackend;
}

bool containsWiFiRadio() {
    const auto backend = installedWiFiBackend();
    return backend && backend->containsWiFiRadio();
}

WiFiManagerRef createManagerClient(const Allocator* /*allocator*/, int /*options*/) {
    const auto backend = installedWiFiBackend();
    if (!backend || !backend->managerClientAvailable()) {
        return nullptr;
    }
    return HandleRegistry::instance().make<WiFiManager>();
}

void scheduleWithRunLoop(WiFiManagerRef manager, RunLoop* runLoop, const char* /*mode*/) {
    auto& registry = HandleRegistry::instance();
    std::lock_guard lock(registry.mutex);
    if (HandleRegistry::isLive(manager)) {
        manager->runLoop = runLoop;
    }
}

void setClientType(WiFiManagerRef manager, int type) {
    auto& registry = HandleRegistry::instance();
    std::lock_guard lock(registry.mutex);
    if (HandleRegistry::isLive(manager)) {
        manager->clientType = type;
    }
}

WiFiDeviceArrayRef copyDevices(WiFiManagerRef manager) {
    // The backend is asked before the handle lock is taken: a real system's answer may take a
    // while, and no handle operation should wait for it.
    const auto backend = installedWiFiBackend();
    const int count = backend ? std::max(0, backend->deviceCount()) : 0;
    auto& registry = HandleRegistry::instance();
    std::lock_guard lock(registry.mutex);
    if (!HandleRegistry::isLive(manager)) {
        return registry.make<WiFiDeviceArray>(std::vector<WiFiDeviceRef>{});
    }
    if (!manager->devicesMade) {
        manager->devicesMade = true;
        for (int i = 0; i < count; ++i) {
            WiFiDevice* device = registry.make<WiFiDevice>();
            device->manager = manager;
            manager->devices.push_back(device);
        }
    }
    return registry.make<WiFiDeviceArray>(manager->devices);
}

int getPower(WiFiManagerRef manager) {
    const auto backend = installedWiFiBackend();
    if (!manager || !backend) {
        return 0;
    }
    return backend->power() ? 1 : 0;
}

void setPower(WiFiManagerRef manager, int power) {
    const auto backend = installedWiFiBackend();
    if (!manager || !backend) {
        return;
    }
    backend->setPower(power != 0);
}

void registerPowerCallback(WiFiDeviceRef device, WiFiPowerCallback callback, std::weak_ptr<void> context) {
    auto& registry = HandleRegistry::instance();
    std::lock_guard lock(registry.mutex);
    if (HandleRegistry::isLive(device) && callback) {
        device->registrations.push_back({callback, std::move(context)});
    }
}

void notifyWiFiPowerChanged() {
    auto& registry = HandleRegistry::instance();
    std::lock_guard lock(registry.mutex);
    for (const auto& owned : registry.handles) {
        auto* manager = dynamic_cast<WiFiManager*>(owned.get());
        if (!HandleRegistry::isLive(manager) || !manager->runLoop) {
            continue;
        }
        for (WiFiDeviceRef device : manager->devices) {
            for (const auto& registration : device->registrations) {
                manager->runLoop->perform([device, registration] {
                    // A device released before the notification is delivered hears nothing. One
                    // that is still live is held by a reference of the delivery's own while the
                    // callback runs, so a release on another thread cannot free it in between;
                    // the handle lock is not held during the callback, which may ask the backend.
                    {
                        std::lock_guard deliveryLock(HandleRegistry::instance().mutex);
                        if (!HandleRegistry::isLive(device)) {
                            return;
                        }
                        retainHandle(device);
                    }
                    registration.callback(device, registration.context);
                    releaseHandle(device);
                });
            }
        }
    }
}

HandleReport handleReport() {
    auto& registry = HandleRegistry::instance();
    std::lock_guard lock(registry.mutex);
    HandleReport report;
    report.created = static_cast<int>(registry.handles.size());
    report.overReleases = registry.overReleases;
    for (const auto& handle : registry.handles) {
        if (HandleRegistry::isLive(handle.get())) {
            ++report.live;
            report.liveHandles.push_back(
                QStringLiteral("%1 #%2 (%3 reference%4)")
                    .arg(handle->kindName())
                    .arg(handle->serial())
                    .arg(HandleRegistry::referencesOf(handle.get()))
                    .arg(HandleRegistry::referencesOf(handle.get()) == 1 ? "" : "s"));
        }
    }
    return report;
}

}  // namespace platform
