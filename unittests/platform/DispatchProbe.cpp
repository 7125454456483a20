// A small program that uses the dispatch queues at the edges of a process's life, for the tests in
// DispatchTest.cpp: each mode prints what it saw and exits with 0 when all went as it should.
#include "platform/foundation/Dispatch.h"

#include <QCoreApplication>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <memory>
#include <thread>

namespace dispatch = platform::dispatch;
using namespace std::chrono_literals;

namespace {

// Counts the jobs it is captured in that were freed, whether they ran or not.
struct Tracked {
    std::atomic<int>* freed = nullptr;
    ~Tracked() { ++*freed; }
};

// Workers and the timer keep posting to the main queue while main() returns and the process's
// static objects are destroyed.
int exitWhilePosting() {
    {
        int argc = 1;
        char name[] = "dispatch_probe";
        char* argv[] = {name, nullptr};
        QCoreApplication app(argc, argv);
        for (int worker = 0; worker < 4; ++worker) {
            dispatch::async(dispatch::globalQueue(), [] {
                const auto until = std::chrono::steady_clock::now() + 300ms;
                while (std::chrono::steady_clock::now() < until) {
                    dispatch::async(dispatch::mainQueue(), [] {});
                    dispatch::asyncAfter(dispatch::mainQueue(), 1ms, [] {});
                }
            });
        }
        std::this_thread::sleep_for(20ms);
    }
    std::puts("exiting");
    return 0;
}

// Jobs waiting on every queue when the queues are shut down are freed without running; later
// ones are freed at once; a worker waiting on the main queue is let go.
int shutdownFreesWaitingJobs() {
    int argc = 1;
    char name[] = "dispatch_probe";
    char* argv[] = {name, nullptr};
    QCoreApplication app(argc, argv);
    std::atomic<int> ran{0};
    std::atomic<int> freed{0};
    auto job = [&] {
        auto tracked = std::make_shared<Tracked>();
        tracked->freed = &freed;
        return [&ran, tracked] { ++ran; };
    };
    dispatch::async(dispatch::mainQueue(), job());
    dispatch::async(dispatch::mainQueue(), job());
    dispatch::asyncAfter(dispatch::mainQueue(), 60s, job());
    dispatch::asyncAfter(dispatch::globalQueue(), 60s, job(), false);
    // A worker already waiting on the main queue at shutdown: its job is freed, and it is let go.
    std::atomic<bool> waitingReturned{false};
    dispatch::async(dispatch::globalQueue(), [&] {
        dispatch::sync(dispatch::mainQueue(), [&] { ++ran; });
        waitingReturned = true;
    });
    // A worker still running at shutdown, which then waits on the main queue: refused at once.
    std::atomic<bool> release{false};
    std::atomic<bool> started{false};
    std::atomic<bool> syncReturned{false};
    dispatch::async(dispatch::globalQueue(), [&] {
        started = true;
        while (!release.load()) {
            std::this_thread::sleep_for(1ms);
        }
        dispatch::sync(dispatch::mainQueue(), [&] { ++ran; });
        syncReturned = true;
    });
    while (!started.load() || dispatch::activity().mainPending < 3) {
        std::this_thread::sleep_for(1ms);
    }
    const int queuedBefore = dispatch::activity().mainPending + dispatch::activity().delayedPending;
    const int discarded = dispatch::shutdown();
    release = true;
    dispatch::async(dispatch::mainQueue(), job());
    dispatch::async(dispatch::globalQueue(), job());
    dispatch::asyncAfter(dispatch::mainQueue(), 1ms, job());
    const bool drained = dispatch::waitForGlobalWork(5000ms);
    QCoreApplication::processEvents();
    const auto left = dispatch::activity();
    std::printf(
        "queuedBefore=%d discarded=%d discardedJobs=%d ran=%d freed=%d waitingReturned=%d syncReturned=%d "
        "drained=%d idle=%d\n",
        queuedBefore, discarded, dispatch::discardedJobs(), ran.load(), freed.load(),
        waitingReturned.load() ? 1 : 0, syncReturned.load() ? 1 : 0, drained ? 1 : 0, left.idle() ? 1 : 0);
    return 0;
}

// Delays are multiplied by the scale a driver sets.
int delayScale() {
    int argc = 1;
    char name[] = "dispatch_probe";
    char* argv[] = {name, nullptr};
    QCoreApplication app(argc, argv);
    dispatch::setDelayScale(0.001);
    const auto start = std::chrono::steady_clock::now();
    std::atomic<bool> fired{false};
    dispatch::asyncAfter(dispatch::globalQueue(), 60s, [&] { fired = true; });
    dispatch::waitForGlobalWork(10000ms);
    const auto tookMs =
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start)
            .count();
    std::printf("fired=%d fast=%d\n", fired.load() ? 1 : 0, tookMs < 9000 ? 1 : 0);
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    const char* mode = argc > 1 ? argv[1] : "";
    if (std::strcmp(mode, "exit-while-posting") == 0) {
        return exitWhilePosting();
    }
    if (std::strcmp(mode, "shutdown") == 0) {
        return shutdownFreesWaitingJobs();
    }
    if (std::strcmp(mode, "delay-scale") == 0) {
        return delayScale();
    }
    std::fprintf(stderr, "dispatch_probe: unknown mode '%s'\n", mode);
    return 2;
}
