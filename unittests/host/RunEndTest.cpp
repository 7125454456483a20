// What a run leaves in the process once it has ended, driven in process with the probe diagnostic:
// no worker thread of Qt's global pool, which the raster paint engine uses to fill large areas. A
// pool thread still winding down when the process exits loses Qt's per-thread data.

#include "host/HostRun.h"

#include "platform/foundation/JsonReader.h"

#include <QDir>
#include <QFile>
#include <QThreadPool>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

namespace {

// The threads of this process the kernel knows by name (at most 15 characters).
int threadsNamed(const QByteArray& name) {
    int count = 0;
    const QDir tasks(QStringLiteral("/proc/self/task"));
    for (const QString& task : tasks.entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        QFile comm(tasks.filePath(task + QStringLiteral("/comm")));
        if (comm.open(QIODevice::ReadOnly) && comm.readAll().trimmed() == name) {
            ++count;
        }
    }
    return count;
}

const QByteArray kPoolThread = "Thread (pooled)";

TEST(RunEndTest, NoThreadOfQtsGlobalPoolOutlivesARun) {
    // A job on the global pool, as painting a progress bar puts there; its thread then idles.
    std::atomic<bool> ran{false};
    QThreadPool::globalInstance()->start([&ran] { ran = true; });
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    while (!ran && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    ASSERT_TRUE(ran);
    ASSERT_GE(threadsNamed(kPoolThread), 1);

    host::HostOptions options;
    options.parameters = platform::parseJson(R"({"behaviour": "finish"})").toDictionary();
    options.pluginPath = QStringLiteral(HOST_PROBE_PLUGIN);
    host::HostRun run(options);
    ASSERT_EQ(run.run(), host::kExitFinished);

    EXPECT_EQ(threadsNamed(kPoolThread), 0);
}

}  // namespace
