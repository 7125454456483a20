#pragma once
// The platform Wi-Fi manager: counted handles of the manager client and of the Wi-Fi devices,
// radio presence, power get and set, and power notifications delivered through the run loop the
// manager is scheduled on. Each handle starts with one reference owned by whoever obtained it.

#include <QString>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace platform {

class RunLoop;

// A counted platform handle. Released handles are kept as inert records so that a release too many
// is reported instead of touching freed memory.
class Handle {
  public:
    virtual ~Handle() = default;
    virtual QString kindName() const = 0;
    std::uint64_t serial() const { return serial_; }
    int references() const;

  protected:
    Handle();

  private:
    friend void retainHandle(Handle*);
    friend void releaseHandle(Handle*);
    friend class HandleRegistry;
    virtual void lastReferenceReleased() {}
    std::uint64_t serial_;
    int references_ = 1;
    bool freed_ = false;
};

void retainHandle(Handle* handle);
void releaseHandle(Handle* handle);

class WiFiManager;
class WiFiDevice;
using WiFiManagerRef = WiFiManager*;
using WiFiDeviceRef = WiFiDevice*;

// The manager and device handles are opaque here; these take and drop their references.
void retainHandle(WiFiManagerRef manager);
void releaseHandle(WiFiManagerRef manager);
void retainHandle(WiFiDeviceRef device);
void releaseHandle(WiFiDeviceRef device);

// An owned array of device handles; releasing it releases the references it holds.
class WiFiDeviceArray final : public Handle {
  public:
    explicit WiFiDeviceArray(std::vector<WiFiDeviceRef> devices);
    QString kindName() const override { return QStringLiteral("WiFiDeviceArray"); }
    std::size_t count() const { return devices_.size(); }
    WiFiDeviceRef at(std::size_t index) const { return devices_.at(index); }

  private:
    void lastReferenceReleased() override;
    std::vector<WiFiDeviceRef> devices_;
};
using WiFiDeviceArrayRef = WiFiDeviceArray*;

struct Allocator;  // the default allocator is nullptr
inline constexpr const char* kRunLoopDefaultMode = "default";

using WiFiPowerCallback = void (*)(WiFiDeviceRef device, std::weak_ptr<void> context);

bool containsWiFiRadio();
// A new manager client handle, owned by the caller, or nullptr when none can be had.
WiFiManagerRef createManagerClient(const Allocator* allocator, int options);
void scheduleWithRunLoop(WiFiManagerRef manager, RunLoop* runLoop, const char* mode);
void setClientType(WiFiManagerRef manager, int type);
// An owned array of the manager's devices (possibly empty).
WiFiDeviceArrayRef copyDevices(WiFiManagerRef manager);
// Non-zero when Wi-Fi is powered on.
int getPower(WiFiManagerRef manager);
void setPower(WiFiManagerRef manager, int power);
// The callback runs through the manager's run loop on every power change; context is held weakly.
void registerPowerCallback(WiFiDeviceRef device, WiFiPowerCallback callback, std::weak_ptr<void> context);

// Accounting of every handle made in this process, for the host's report at exit and for tests.
struct HandleReport {
    int created = 0;
    int live = 0;                      // handles with references still held
    int overReleases = 0;              // releases of a handle that had none left
    std::vector<QString> liveHandles;  // "WiFiManager #3 (1 reference)"
};
HandleReport handleReport();

}  // namespace platform
