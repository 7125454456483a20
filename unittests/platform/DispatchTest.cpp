// The dispatch queues at the edges of a process's life: posting while the process exits, shutting
// the queues down, and scaled delays. Each case runs the probe program in a process of its own,
// since both exiting and shutting down happen once per process.
#include <QProcess>
#include <QString>

#include <gtest/gtest.h>

namespace {

struct ProbeRun {
    int exitCode = -1;
    bool crashed = false;
    std::string out;
    std::string err;
};

ProbeRun runProbe(const char* mode) {
    QProcess probe;
    probe.start(QStringLiteral(WIFIPROFILE_BINARY_DIR "/unittests/platform/dispatch_probe"),
                {QString::fromLatin1(mode)});
    ProbeRun run;
    if (!probe.waitForFinished(30000)) {
        probe.kill();
        probe.waitForFinished();
        run.err = "(did not finish within 30 s)";
        return run;
    }
    run.crashed = probe.exitStatus() == QProcess::CrashExit;
    run.exitCode = probe.exitCode();
    run.out = probe.readAllStandardOutput().trimmed().toStdString();
    run.err = probe.readAllStandardError().toStdString();
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
