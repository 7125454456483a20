#pragma once
// Cancellation of the service's blocking waits, and what every live probe answers: a value, or an
// error of the diagnostics service with one of the codes below. One CancelToken is shared by every
// wait of one service; cancel() from any thread ends all of them at once.

#include "platform/foundation/Error.h"

#include <QString>

#include <poll.h>

#include <atomic>
#include <chrono>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

namespace platform::linuxwifi {

// The codes of the errors the probes answer (domain "WiFiDiagnostics").
namespace probecode {
inline constexpr int kPermission = 13;         // the system refuses what the probe needs
inline constexpr int kInvalidArgument = 22;    // the request itself is wrong (an address, a count, a URL)
inline constexpr int kSystem = 5;              // the system failed (a socket, a program, a thread)
inline constexpr int kNameNotResolved = 8;     // a host name did not resolve
inline constexpr int kTimedOut = 60;           // no answer within the request's time
inline constexpr int kConnectionRefused = 61;  // the host refused the connection
inline constexpr int kUnreachable = 65;        // no route to the target
inline constexpr int kCancelled = 125;         // the service cancelled its requests
}  // namespace probecode

inline constexpr const char* kProbeErrorDomain = "WiFiDiagnostics";

inline platform::ErrorRef probeError(int code, QString text) {
    return platform::makeError(QString::fromLatin1(kProbeErrorDomain), code, std::move(text));
}

// A probe's answer: its value, or the error that stands in for it.
template <class T>
class ProbeOutcome {
  public:
    ProbeOutcome(T value) : value_(std::move(value)) {}
    ProbeOutcome(platform::ErrorRef error) : error_(std::move(error)) {}

    bool ok() const { return value_.has_value(); }
    const T& value() const { return *value_; }
    const platform::ErrorRef& error() const { return error_; }

  private:
    std::optional<T> value_;
    platform::ErrorRef error_;
};

using Deadline = std::chrono::steady_clock::time_point;

inline Deadline deadlineAfter(std::chrono::milliseconds duration) {
    return std::chrono::steady_clock::now() + duration;
}

// How a wait ended.
enum class WaitEnd { Ready, TimedOut, Cancelled };

// A one-shot signal from the thread that does a piece of work to the thread that waits for it:
// signal() makes it ready for good.
class Completion {
  public:
    Completion();
    ~Completion();
    Completion(const Completion&) = delete;
    Completion& operator=(const Completion&) = delete;

    void signal();
    bool isSignalled() const { return signalled_.load(); }
    int fd() const { return fd_; }  // readable once signalled; -1 when the system gave none

  private:
    int fd_ = -1;
    std::atomic<bool> signalled_{false};
};

class CancelToken {
  public:
    CancelToken();
    ~CancelToken();
    CancelToken(const CancelToken&) = delete;
    CancelToken& operator=(const CancelToken&) = delete;

    // Ends every wait in progress at once, and every later one, until reset().
    void cancel();
    // Makes the token ready for the next request.
    void reset();
    bool isCancelled() const { return cancelled_.load(); }
    // Readable while cancelled, so a poll() beside a socket wakes at once; -1 when the system gave
    // none (waits then look at the token every few milliseconds).
    int fd() const { return fd_; }

    // Waits until the socket has one of events (poll() events), the deadline or a cancel.
    WaitEnd waitForSocket(int socket, short events, Deadline deadline) const;
    // Waits until one of fds has one of its events; their revents tell which when Ready.
    WaitEnd waitForAny(std::vector<pollfd>& fds, Deadline deadline) const;
    WaitEnd waitFor(const Completion& completion, Deadline deadline) const;
    WaitEnd sleepUntil(Deadline deadline) const;

  private:
    WaitEnd waitForFds(pollfd* watched, std::size_t count, const Completion* completion,
                       Deadline deadline) const;

    int fd_ = -1;
    std::atomic<bool> cancelled_{false};
    std::mutex mutex_;  // orders cancel() and reset(), so the flag and the fd agree
};

// Owns a file descriptor (a socket, an eventfd) and closes it when it goes.
class ScopedFd {
  public:
    explicit ScopedFd(int fd) : fd_(fd) {}
    ~ScopedFd();
    ScopedFd(const ScopedFd&) = delete;
    ScopedFd& operator=(const ScopedFd&) = delete;
    int get() const { return fd_; }

  private:
    int fd_;
};

// The text of a duration for error messages: "500 ms", "2.5 s".
QString describeDuration(std::chrono::milliseconds duration);

}  // namespace platform::linuxwifi
