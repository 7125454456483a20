#pragma once
// A run's hold on the platform's global observers (the log sink, the screen events, the test
// automation's configuration and the simulated service's requests), all reported to the run's
// events. They are installed for the lifetime of one object whose destructor removes every one, so
// no way out of a run leaves an observer pointing at it.

#include "host/EventStream.h"

#include "host/report/Profile.h"

#include "platform/wifi/RecordingBackend.h"

#include <memory>
#include <mutex>
#include <vector>

namespace host {

class HostObservers {
  public:
    // Installs the log sink (stderr and events), the screen event and the configuration observers.
    explicit HostObservers(EventStream& events);
    ~HostObservers();
    HostObservers(const HostObservers&) = delete;
    HostObservers& operator=(const HostObservers&) = delete;

    // Reports backend's requests as well, until this object goes.
    void observeRequests(std::shared_ptr<platform::RecordingBackend> backend);
    // The diagnostic's log so far, for the run's profile.
    std::vector<report::LogLine> logLines() const;

  private:
    EventStream& events_;
    std::shared_ptr<platform::RecordingBackend> backend_;
    mutable std::mutex logMutex_;
    std::vector<report::LogLine> log_;
};

}  // namespace host
