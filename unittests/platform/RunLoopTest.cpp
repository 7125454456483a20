// Run loops: a job performed on the run loop of any thread runs, on the thread that can run it.
#include "platform/foundation/Dispatch.h"
#include "platform/wifi/RunLoop.h"

#include "unittests/support/MainLoop.h"

#include <QCoreApplication>
#include <QObject>
#include <QThread>

#include <gtest/gtest.h>

#include <atomic>

using platform::RunLoop;
namespace dispatch = platform::dispatch;

namespace {

QThread* mainThread() {
    return QCoreApplication::instance()->thread();
}

}  // namespace

TEST(RunLoop, MainThreadsRunLoopIsTheMainQueue) {
    EXPECT_EQ(RunLoop::current(), RunLoop::main());
    std::atomic<QThread*> ranOn{nullptr};
    RunLoop::main()->perform([&] { ranOn = QThread::currentThread(); });
    ASSERT_TRUE(testsupport::runMainLoopUntil([&] { return ranOn.load() != nullptr; }));
    EXPECT_EQ(ranOn.load(), mainThread());
}

TEST(RunLoop, JobsPerformedOnAGlobalWorkersRunLoopRun) {
    // A global-queue worker turns no event loop of its own; what is scheduled from there still runs.
    std::atomic<RunLoop*> workersLoop{nullptr};
    std::atomic<QThread*> ranOn{nullptr};
    dispatch::async(dispatch::globalQueue(), [&] {
        RunLoop* loop = RunLoop::current();
        workersLoop = loop;
        loop->perform([&] { ranOn = QThread::currentThread(); });
    });
    ASSERT_TRUE(testsupport::runMainLoopUntil([&] { return ranOn.load() != nullptr; }));
    EXPECT_EQ(workersLoop.load(), RunLoop::main());
    EXPECT_EQ(ranOn.load(), mainThread());
}

TEST(RunLoop, AThreadTurningItsOwnLoopGetsItsJobsUntilItEnds) {
    QThread thread;
    QObject inThread;
    inThread.moveToThread(&thread);
    thread.start();

    std::atomic<RunLoop*> threadsLoop{nullptr};
    std::atomic<QThread*> firstRanOn{nullptr};
    QMetaObject::invokeMethod(&inThread, [&] {
        RunLoop* loop = RunLoop::current();
        threadsLoop = loop;
        loop->perform([&] { firstRanOn = QThread::currentThread(); });
    });
    ASSERT_TRUE(testsupport::runMainLoopUntil([&] { return firstRanOn.load() != nullptr; }));
    EXPECT_EQ(firstRanOn.load(), &thread);
    EXPECT_NE(threadsLoop.load(), RunLoop::main());

    thread.quit();
    thread.wait();
    // The thread has ended; a notification for its run loop is delivered on the main run loop.
    std::atomic<QThread*> laterRanOn{nullptr};
    threadsLoop.load()->perform([&] { laterRanOn = QThread::currentThread(); });
    ASSERT_TRUE(testsupport::runMainLoopUntil([&] { return laterRanOn.load() != nullptr; }));
    EXPECT_EQ(laterRanOn.load(), mainThread());
}
