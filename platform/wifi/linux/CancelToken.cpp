#include "platform/wifi/linux/CancelToken.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>

namespace platform::linuxwifi {

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

// Without an eventfd, a wait looks at the flags this often.
constexpr milliseconds kFallbackSlice{10};

int makeEventFd() {
    return ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
}

void raise(int fd) {
    if (fd < 0) {
        return;
    }
    const std::uint64_t one = 1;
    // The counter only grows; a full counter (EAGAIN) is readable already.
    while (::write(fd, &one, sizeof one) < 0 && errno == EINTR) {
    }
}

void drain(int fd) {
    if (fd < 0) {
        return;
    }
    std::uint64_t value = 0;
    while (::read(fd, &value, sizeof value) < 0 && errno == EINTR) {
    }
}

// Milliseconds for poll() until the deadline, rounded up so a wait never ends early.
int pollTimeout(Deadline deadline) {
    const auto left = deadline - steady_clock::now();
    if (left <= steady_clock::duration::zero()) {
        return 0;
    }
    const auto ms = std::chrono::ceil<milliseconds>(left).count();
    return ms > 60'000 ? 60'000 : static_cast<int>(ms);
}

}  // namespace

Completion::Completion() : fd_(makeEventFd()) {}

Completion::~Completion() {
    if (fd_ >= 0) {
        ::close(fd_);
    }
}

void Completion::signal() {
    signalled_.store(true);
    raise(fd_);
}

CancelToken::CancelToken() : fd_(makeEventFd()) {}

CancelToken::~CancelToken() {
    if (fd_ >= 0) {
        ::close(fd_);
    }
}

void CancelToken::cancel() {
    std::lock_guard lock(mutex_);
    if (!cancelled_.exchange(true)) {
        raise(fd_);
    }
}

void CancelToken::reset() {
    std::lock_guard lock(mutex_);
    if (cancelled_.exchange(false)) {
        drain(fd_);
    }
}

WaitEnd CancelToken::waitForSocket(int socket, short events, Deadline deadline) const {
    pollfd watched{socket, events, 0};
    return waitForFds(&watched, 1, nullptr, deadline);
}

WaitEnd CancelToken::waitForAny(std::vector<pollfd>& fds, Deadline deadline) const {
    return waitForFds(fds.data(), fds.size(), nullptr, deadline);
}

WaitEnd CancelToken::waitFor(const Completion& completion, Deadline deadline) const {
    pollfd watched{completion.fd(), POLLIN, 0};
    return waitForFds(&watched, 1, &completion, deadline);
}

WaitEnd CancelToken::sleepUntil(Deadline deadline) const {
    return waitForFds(nullptr, 0, nullptr, deadline);
}

WaitEnd CancelToken::waitForFds(pollfd* watched, std::size_t count, const Completion* completion,
                                Deadline deadline) const {
    // A completion whose eventfd could not be made is looked at like the token without one.
    const bool sliced = fd_ < 0 || (completion && completion->fd() < 0);
    std::vector<pollfd> fds(count + 1);
    for (;;) {
        if (isCancelled()) {
            return WaitEnd::Cancelled;
        }
        if (completion && completion->isSignalled()) {
            return WaitEnd::Ready;
        }
        int timeout = pollTimeout(deadline);
        if (sliced && timeout > kFallbackSlice.count()) {
            timeout = static_cast<int>(kFallbackSlice.count());
        }
        fds[0] = {fd_, POLLIN, 0};
        std::copy(watched, watched + count, fds.begin() + 1);
        const int ready = ::poll(fds.data(), fds.size(), timeout);
        if (ready < 0 && errno != EINTR) {
            // Out of kernel memory for the moment: look again a little later.
            ::poll(nullptr, 0, static_cast<int>(kFallbackSlice.count()));
        }
        if (ready > 0) {
            if (fds[0].revents & POLLIN) {
                return WaitEnd::Cancelled;
            }
            bool any = false;
            for (std::size_t i = 0; i < count; ++i) {
                watched[i].revents = fds[i + 1].revents;
                any = any || watched[i].revents != 0;
            }
            // A completion is ready by its flag, which also hands over what was done before it.
            if (any && (!completion || completion->isSignalled())) {
                return WaitEnd::Ready;
            }
        }
        if (steady_clock::now() >= deadline) {
            return WaitEnd::TimedOut;
        }
    }
}

ScopedFd::~ScopedFd() {
    if (fd_ >= 0) {
        ::close(fd_);
    }
}

QString describeDuration(std::chrono::milliseconds duration) {
    if (duration < std::chrono::seconds(1)) {
        return QStringLiteral("%1 ms").arg(duration.count());
    }
    return QStringLiteral("%1 s").arg(static_cast<double>(duration.count()) / 1000.0);
}

}  // namespace platform::linuxwifi
