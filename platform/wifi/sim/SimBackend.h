#pragma once
// The simulated Wi-Fi device: answers the diagnostics service and the Wi-Fi manager from a
// scenario, sleeping each answer's latency (a cancel ends the wait at once with an error), and
// raises the scenario's timed power events. Requests are recorded by a RecordingBackend around it.

#include "platform/wifi/WiFiBackend.h"
#include "platform/wifi/sim/Scenario.h"

#include <memory>

namespace platform::sim {

class SimBackend final : public WiFiBackend {
  public:
    explicit SimBackend(Scenario scenario);
    // Stops the scheduled events; requests still waiting keep their own reference to the state.
    ~SimBackend() override;

    using WiFiBackend::queryStatus;
    using WiFiBackend::runDiagnosticsTests;
    DiagnosticsTestResults runDiagnosticsTests(const std::vector<DiagnosticsTestRequest>& tests,
                                               ErrorRef* error, const Arrival& arrived) override;
    StatusSnapshotRef queryStatus(ErrorRef* error, const Arrival& arrived) override;
    void cancelAllRequests() override;
    bool containsWiFiRadio() override;
    bool managerClientAvailable() override;
    int deviceCount() override;
    bool power() override;
    // Changes the power and, when it changed, notifies through notifyWiFiPowerChanged().
    void setPower(bool on) override;
    bool capability(const QString& key) override;

    const Scenario& scenario() const { return scenario_; }
    // Schedules the scenario's timed events from now on (on the global queue's timer). Events
    // apply in the order of their times (the order written for equal times), whatever order the
    // pool's workers run them in.
    void startEvents();
    // Drops the events scheduled by startEvents that have not happened yet.
    void stopEvents();

    // The error a cancelled request returns.
    static ErrorRef cancelledError();

  private:
    static std::optional<QString> networkNameOf(const DiagnosticsTestRequest& request);
    TestAnswer nextAnswer(std::int64_t id, const std::optional<QString>& network);

    struct State;

    const Scenario scenario_;
    // Everything that changes, shared with the scheduled event jobs so that they may outlive the
    // backend harmlessly.
    std::shared_ptr<State> state_;
};

}  // namespace platform::sim
