#pragma once
// The run's result on stdout: one line, the status code first, printed once by whichever thread
// gets there first, and recorded in the events as printed.

#include "host/EventStream.h"

#include "platform/host/HostDiagnostic.h"

#include <atomic>

namespace host {

class ResultPrinter {
  public:
    explicit ResultPrinter(EventStream& events) : events_(events) {}

    // Prints result as it stands, with "finished": false added unless finished, and records a
    // "result" event; answers false, printing nothing, when it was printed before. Any thread.
    bool print(const platform::HostDiagnosticResult& result, bool finished);

  private:
    EventStream& events_;
    std::atomic<bool> printed_{false};
};

}  // namespace host
