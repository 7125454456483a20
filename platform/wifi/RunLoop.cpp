#include "platform/wifi/RunLoop.h"

#include "platform/foundation/Dispatch.h"

#include <QCoreApplication>
#include <QMetaObject>
#include <QObject>
#include <QThread>

#include <map>
#include <mutex>

namespace platform {

namespace {

std::mutex gRunLoopsMutex;
std::map<QThread*, RunLoop*> gRunLoops;

}  // namespace

RunLoop::RunLoop(QThread* thread) : thread_(thread) {}

RunLoop* RunLoop::current() {
    QThread* thread = QThread::currentThread();
    std::lock_guard lock(gRunLoopsMutex);
    RunLoop*& loop = gRunLoops[thread];
    if (!loop) {
        loop = new RunLoop(thread);  // lives as long as the process, like the thread's own loop
        const QCoreApplication* app = QCoreApplication::instance();
        if (!app || app->thread() != thread) {
            loop->receiver_ = new QObject;  // created on, and so living in, this thread
        }
    }
    return loop;
}

RunLoop* RunLoop::main() {
    const QCoreApplication* app = QCoreApplication::instance();
    QThread* thread = app ? app->thread() : QThread::currentThread();
    std::lock_guard lock(gRunLoopsMutex);
    RunLoop*& loop = gRunLoops[thread];
    if (!loop) {
        loop = new RunLoop(thread);
    }
    return loop;
}

void RunLoop::perform(std::function<void()> job) {
    if (!receiver_) {
        dispatch::async(dispatch::mainQueue(), std::move(job));
        return;
    }
    QMetaObject::invokeMethod(receiver_, std::move(job), Qt::QueuedConnection);
}

}  // namespace platform
