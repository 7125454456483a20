#include "host/QtWorkerThreads.h"

#include <QDir>
#include <QFile>
#include <QThreadPool>

#include <thread>

namespace host {

namespace {

// The name Qt gives its pool threads, as the kernel keeps it (at most 15 characters).
const QByteArray kPoolThreadName = "Thread (pooled)";

bool anyPoolThreadLeft() {
    const QDir tasks(QStringLiteral("/proc/self/task"));
    for (const QString& task : tasks.entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        QFile comm(tasks.filePath(task + QStringLiteral("/comm")));
        if (comm.open(QIODevice::ReadOnly) && comm.readAll().trimmed() == kPoolThreadName) {
            return true;
        }
    }
    return false;
}

}  // namespace

bool stopQtWorkerThreads(std::chrono::milliseconds timeout) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    // Waits for the jobs, then ends and deletes the pool's threads, idle ones included.
    QThreadPool::globalInstance()->waitForDone(static_cast<int>(timeout.count()));
    // A thread counts as done once its run has returned, just before its thread-local clean-up
    // frees Qt's data for it; Qt removes the key of that clean-up when the process exits, so a
    // thread still that far behind would lose its data. It is gone from the system when done.
    while (anyPoolThreadLeft()) {
        if (std::chrono::steady_clock::now() >= deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

}  // namespace host
