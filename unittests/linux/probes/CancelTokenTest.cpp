// The cancel token: a cancel from another thread ends every wait in progress at once, and every
// later one until the token is reset; waits otherwise end when ready or at their deadline.
#include "platform/wifi/linux/CancelToken.h"

#include "unittests/linux/probes/QtPrinting.h"

#include <gtest/gtest.h>

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

using namespace platform::linuxwifi;
using namespace std::chrono_literals;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

namespace {

constexpr milliseconds kPromptly{250};

// Two connected sockets; the first becomes readable when the second writes.
struct SocketPair {
    SocketPair() { EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, fds), 0); }
    ~SocketPair() {
        ::close(fds[0]);
        ::close(fds[1]);
    }
    int fds[2] = {-1, -1};
};

}  // namespace

TEST(CancelToken, WaitEndsAtItsDeadlineWhenNothingHappens) {
    CancelToken token;
    const auto start = steady_clock::now();
    EXPECT_EQ(token.sleepUntil(deadlineAfter(100ms)), WaitEnd::TimedOut);
    const auto took = steady_clock::now() - start;
    EXPECT_GE(took, 100ms);
    EXPECT_LT(took, 100ms + kPromptly);
}

TEST(CancelToken, CancelFromAnotherThreadEndsEveryWaitAtOnce) {
    CancelToken token;
    SocketPair pair;
    Completion never;
    std::vector<std::thread> waiters;
    std::atomic<int> cancelled{0};
    std::vector<steady_clock::time_point> ended(3);
    waiters.emplace_back([&] {
        cancelled += token.sleepUntil(deadlineAfter(10s)) == WaitEnd::Cancelled;
        ended[0] = steady_clock::now();
    });
    waiters.emplace_back([&] {
        cancelled += token.waitForSocket(pair.fds[0], POLLIN, deadlineAfter(10s)) == WaitEnd::Cancelled;
        ended[1] = steady_clock::now();
    });
    waiters.emplace_back([&] {
        cancelled += token.waitFor(never, deadlineAfter(10s)) == WaitEnd::Cancelled;
        ended[2] = steady_clock::now();
    });
    std::this_thread::sleep_for(100ms);
    const auto cancelledAt = steady_clock::now();
    token.cancel();
    for (std::thread& waiter : waiters) {
        waiter.join();
    }
    EXPECT_EQ(cancelled.load(), 3);
    for (const auto& end : ended) {
        EXPECT_LT(end - cancelledAt, kPromptly);
    }
    EXPECT_TRUE(token.isCancelled());
}

TEST(CancelToken, WaitAfterCancelEndsAtOnceUntilReset) {
    CancelToken token;
    token.cancel();
    token.cancel();  // twice is once
    const auto start = steady_clock::now();
    EXPECT_EQ(token.sleepUntil(deadlineAfter(10s)), WaitEnd::Cancelled);
    EXPECT_LT(steady_clock::now() - start, kPromptly);

    token.reset();
    EXPECT_FALSE(token.isCancelled());
    EXPECT_EQ(token.sleepUntil(deadlineAfter(50ms)), WaitEnd::TimedOut);
}

TEST(CancelToken, ReadySocketEndsTheWait) {
    CancelToken token;
    SocketPair pair;
    ASSERT_EQ(::write(pair.fds[1], "x", 1), 1);
    EXPECT_EQ(token.waitForSocket(pair.fds[0], POLLIN, deadlineAfter(10s)), WaitEnd::Ready);
}

TEST(CancelToken, CompletionSignalledFromAnotherThreadEndsTheWait) {
    CancelToken token;
    Completion done;
    int result = 0;  // written before the signal, read after the wait: the completion orders them
    std::thread worker([&] {
        std::this_thread::sleep_for(50ms);
        result = 42;
        done.signal();
    });
    EXPECT_EQ(token.waitFor(done, deadlineAfter(10s)), WaitEnd::Ready);
    EXPECT_EQ(result, 42);
    worker.join();
    // Signalled for good: a later wait is ready at once.
    EXPECT_EQ(token.waitFor(done, deadlineAfter(10s)), WaitEnd::Ready);
}

TEST(CancelToken, CancelAndResetFromManyThreadsKeepFlagAndWaitsInStep) {
    CancelToken token;
    std::atomic<bool> stop{false};
    std::thread canceller([&] {
        while (!stop) {
            token.cancel();
        }
    });
    std::thread resetter([&] {
        while (!stop) {
            token.reset();
        }
    });
    std::this_thread::sleep_for(50ms);
    stop = true;
    canceller.join();
    resetter.join();
    // Whatever order they ran in, the flag and the waits agree.
    if (token.isCancelled()) {
        EXPECT_EQ(token.sleepUntil(deadlineAfter(10s)), WaitEnd::Cancelled);
    }
    token.reset();
    EXPECT_EQ(token.sleepUntil(deadlineAfter(20ms)), WaitEnd::TimedOut);
    token.cancel();
    EXPECT_EQ(token.sleepUntil(deadlineAfter(10s)), WaitEnd::Cancelled);
}

TEST(CancelToken, DurationsReadAsTheyAreMeant) {
    EXPECT_EQ(describeDuration(300ms), QStringLiteral("300 ms"));
    EXPECT_EQ(describeDuration(2500ms), QStringLiteral("2.5 s"));
    EXPECT_EQ(describeDuration(60000ms), QStringLiteral("60 s"));
}
