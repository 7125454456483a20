#include "platform/wifi/RunLoop.h"

#include "platform/foundation/Dispatch.h"

#include <QCoreApplication>
#include <QMetaObject>
#include <QObject>
#include <QThread>

#include <map>
#include <vector>

namespace platform {

namespace {

std::mutex gRunLoopsMutex;
// Run loops of threads that turn their own event loop, while they do.
std::map<QThread*, RunLoop*> gRunLoops;
// Every run loop ever made: never freed (not even at exit), since a manager scheduled on one may
// still hold it after its thread has ended.
std::vector<RunLoop*>& allRunLoops() {
    static auto* loops = new std::vector<RunLoop*>;
    return *loops;
}

bool isMainThread(QThread* thread) {
    const QCoreApplication* app = QCoreApplication::instance();
    return !app || app->thread() == thread;
}

}  // namespace

RunLoop::RunLoop(QThread* thread) : thread_(thread) {}

RunLoop* RunLoop::current() {
    QThread* thread = QThread::currentThread();
    // Called from code running inside the thread's event loop, a loop level above zero says it has
    // one; pool workers and plain threads run no loop that could deliver a job.
    if (isMainThread(thread) || thread->loopLevel() == 0) {
        return main();
    }
    std::lock_guard lock(gRunLoopsMutex);
    RunLoop*& loop = gRunLoops[thread];
    if (!loop) {
        loop = new RunLoop(thread);
        allRunLoops().push_back(loop);
        loop->receiver_ = new QObject;  // created on, and so living in, this thread
        RunLoop* ending = loop;
        // Emitted on the thread itself as it ends: its jobs go to the main run loop from then on,
        // and the thread's address may be reused by a later thread.
        QObject::connect(
            thread, &QThread::finished, loop->receiver_, [ending] { ending->threadEnded(); },
            Qt::DirectConnection);
    }
    return loop;
}

RunLoop* RunLoop::main() {
    static RunLoop* const loop = new RunLoop(nullptr);  // the main queue, for the whole process
    return loop;
}

void RunLoop::threadEnded() {
    {
        std::lock_guard lock(gRunLoopsMutex);
        gRunLoops.erase(thread_);
    }
    QObject* receiver = nullptr;
    {
        std::lock_guard lock(mutex_);
        receiver = receiver_;
        receiver_ = nullptr;
    }
    // Jobs that arrived before the end and were not run yet run now, on their own thread.
    QCoreApplication::sendPostedEvents(receiver);
    delete receiver;  // on its own thread, which is ending
}

void RunLoop::perform(std::function<void()> job) {
    std::lock_guard lock(mutex_);
    if (!receiver_) {
        dispatch::async(dispatch::mainQueue(), std::move(job));
        return;
    }
    QMetaObject::invokeMethod(receiver_, std::move(job), Qt::QueuedConnection);
}

}  // namespace platform
