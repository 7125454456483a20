#pragma once
// What a Wi-Fi backend provides to the platform: the diagnostics service, the status query and the
// Wi-Fi manager's radio, devices and power. The host installs one backend before loading the
// diagnostic: the simulated device, or (later) the real system.

#include "platform/wifi/WiFiDiagnosticsClient.h"

#include <QString>

#include <functional>
#include <memory>

namespace platform {

class WiFiBackend {
  public:
    virtual ~WiFiBackend() = default;

    // Told once a request has arrived: from then on a cancelAllRequests reaches it. Runs on the
    // requesting thread, with no lock of the backend held.
    using Arrival = std::function<void()>;

    DiagnosticsTestResults runDiagnosticsTests(const std::vector<DiagnosticsTestRequest>& tests,
                                               ErrorRef* error) {
        return runDiagnosticsTests(tests, error, Arrival());
    }
    StatusSnapshotRef queryStatus(ErrorRef* error) { return queryStatus(error, Arrival()); }
    virtual DiagnosticsTestResults runDiagnosticsTests(const std::vector<DiagnosticsTestRequest>& tests,
                                                       ErrorRef* error, const Arrival& arrived) = 0;
    virtual StatusSnapshotRef queryStatus(ErrorRef* error, const Arrival& arrived) = 0;
    virtual void cancelAllRequests() = 0;

    virtual bool containsWiFiRadio() = 0;
    virtual bool managerClientAvailable() = 0;
    virtual int deviceCount() = 0;
    virtual bool power() = 0;
    // Changes the radio's power; the platform then notifies the registered power callbacks.
    virtual void setPower(bool on) = 0;
    virtual bool capability(const QString& key) = 0;
};

// Installs the backend (and its device capabilities) for the whole process.
void installWiFiBackend(std::shared_ptr<WiFiBackend> backend);
std::shared_ptr<WiFiBackend> installedWiFiBackend();

// Called by a backend whenever the radio's power changed, on any thread: every scheduled manager
// delivers the change to the power callbacks of its devices through its run loop.
void notifyWiFiPowerChanged();

}  // namespace platform
