// The dispatch queues at the edges of a process's life: posting while the process exits, shutting
// the queues down, and scaled delays. Each case runs the probe program in a process of its own,
// since both exiting and shutting down happen once per process.
#include <QByteArray>
#include <QTemporaryFile>

#include <sys/wait.h>

#include <cstdio>

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
    // Two main jobs and two timers were waiting (one timer not counted as activity); the sync
    // from the worker and three jobs after the shutdown were freed at submission.
    EXPECT_EQ(run.out,
              "queuedBefore=3 discarded=4 discardedJobs=8 ran=0 freed=7 syncReturned=1 drained=1 idle=1");
}

TEST(DispatchDelays, ADriverCanShortenEveryDelay) {
    const ProbeRun run = runProbe("delay-scale");
    ASSERT_EQ(run.exitCode, 0) << run.err;
    EXPECT_EQ(run.out, "fired=1 fast=1");
}
