#pragma once
// The run's result on stdout: one line, the status code first, printed once by whichever thread
// gets there first, and recorded in the events as printed.

#include "host/EventStream.h"

#include "platform/host/HostDiagnostic.h"

#include <QByteArray>

#include <functional>
#include <mutex>
#include <optional>

namespace host {

class ResultPrinter {
  public:
    explicit ResultPrinter(EventStream& events) : events_(events) {}

    // Prints result as it stands, with "finished": false added unless finished, and records a
    // "result" event; answers false, printing nothing, when it was printed before. Any thread: a
    // print under way on another thread is waited for, so a false answer means the line is out.
    bool print(const platform::HostDiagnosticResult& result, bool finished);
    // What is printed for the result {"statusCode", "data", "finished" when false}: by default its
    // JSON line; a formatter may print the summary instead, and write files on the way.
    using Formatter = std::function<QByteArray(const platform::Value& result)>;
    void setFormatter(Formatter formatter);

    // The result as print() prints it: {"statusCode", "data", and "finished": false unless finished}.
    static platform::Value resultValue(const platform::HostDiagnosticResult& result, bool finished);
    // The result as it was printed; absent before it was.
    std::optional<platform::Value> printed();

  private:
    EventStream& events_;
    std::mutex mutex_;
    bool printed_ = false;
    std::optional<platform::Value> printedResult_;
    Formatter formatter_;
};

}  // namespace host
