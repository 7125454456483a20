// The dispatch queues: how busy they say they are while work moves between them, and the edges of
// a process's life (posting while the process exits, shutting the queues down, scaled delays),
// which run the probe program in a process of their own, since they happen once per process.
#include "platform/foundation/Dispatch.h"

#include <QByteArray>
#include <QCoreApplication>
#include <QTemporaryFile>

#include <sys/wait.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <functional>

#include <gtest/gtest.h>

namespace {

struct ProbeRun {
    int exitCode = -1;
    bool crashed = false;
    std::string out;
    std::string err;
};

// Started through the shell rather than QProcess: the thread checker cannot follow the way
// QProcess starts a child, and the probe's own output is all the test needs.
ProbeRun runProbe(const char* mode) {
    ProbeRun run;
    QTemporaryFile errors;
    if (!errors.open()) {
        run.err = "(no temporary file for the probe's stderr)";
        return run;
    }
    const QByteArray command =
        QByteArray("timeout 30 " WIFIPROFILE_BINARY_DIR "/unittests/platform/dispatch_probe ") + mode +
        " 2>" + errors.fileName().toLocal8Bit();
    FILE* out = popen(command.constData(), "r");
    if (!out) {
        run.err = "(the probe could not be started)";
        return run;
    }
    QByteArray text;
    char buffer[4096];
    for (std::size_t n; (n = std::fread(buffer, 1, sizeof buffer, out)) > 0;) {
        text.append(buffer, static_cast<qsizetype>(n));
    }
    const int status = pclose(out);
    run.crashed = !WIFEXITED(status) || WEXITSTATUS(status) >= 124;  // a signal, or the time limit
    run.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    run.out = text.trimmed().toStdString();
    run.err = errors.readAll().toStdString();
    return run;
}

}  // namespace

TEST(DispatchAtExit, PostsWhileTheProcessExitsAreHarmless) {
    // Workers post to the main queue and to the timer until well after main() has returned.
    for (int attempt = 0; attempt < 10; ++attempt) {
        const ProbeRun run = runProbe("exit-while-posting");
        ASSERT_FALSE(run.crashed) << "attempt " << attempt << ": " << run.err;
        ASSERT_EQ(run.exitCode, 0) << "attempt " << attempt << ": " << run.err;
        EXPECT_EQ(run.out, "exiting");
        // A sanitized build reports a late post into freed memory here, even when the exit code
        // survives it.
        EXPECT_EQ(run.err, "") << "attempt " << attempt;
    }
}

TEST(DispatchShutdown, WaitingJobsAreFreedWithoutRunningAndLaterOnesAtOnce) {
    const ProbeRun run = runProbe("shutdown");
    ASSERT_FALSE(run.crashed) << run.err;
    ASSERT_EQ(run.exitCode, 0) << run.err;
    // Two main jobs, a worker's sync and two timers were waiting (one timer not counted as
    // activity); a later sync and three jobs after the shutdown were freed at submission. Both
    // workers waiting on the main queue were let go.
    EXPECT_EQ(run.out,
              "queuedBefore=4 discarded=5 discardedJobs=9 ran=0 freed=7 waitingReturned=1 syncReturned=1 "
              "drained=1 idle=1");
}

TEST(DispatchDelays, ADriverCanShortenEveryDelay) {
    const ProbeRun run = runProbe("delay-scale");
    ASSERT_EQ(run.exitCode, 0) << run.err;
    EXPECT_EQ(run.out, "fired=1 fast=1");
}

TEST(DispatchActivity, WorkHandedOnBetweenQueuesNeverLooksIdle) {
    // A chain of jobs, each handing the next to a timer, the global queue or the main queue.
    constexpr int kHops = 3000;
    std::atomic<int> hops{0};
    std::function<void()> hop = [&] {
        const int done = ++hops;
        if (done >= kHops) {
            return;
        }
        switch (done % 3) {
            case 0:
                platform::dispatch::asyncAfter(platform::dispatch::globalQueue(), std::chrono::nanoseconds(0),
                                               hop);
                break;
            case 1:
                platform::dispatch::async(platform::dispatch::globalQueue(), hop);
                break;
            default:
                platform::dispatch::async(platform::dispatch::mainQueue(), hop);
        }
    };
    platform::dispatch::async(platform::dispatch::globalQueue(), hop);
    int falseIdle = 0;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (hops.load() < kHops && std::chrono::steady_clock::now() < deadline) {
        QCoreApplication::processEvents();
        // Idle means nothing is in flight at that instant, so the chain must be complete by then.
        if (platform::dispatch::activity().idle() && hops.load() < kHops) {
            ++falseIdle;
        }
    }
    EXPECT_EQ(hops.load(), kHops);
    EXPECT_EQ(falseIdle, 0);
    while (!platform::dispatch::activity().idle()) {
        QCoreApplication::processEvents();
    }
}
