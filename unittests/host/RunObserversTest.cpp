// A run of the host inside the test process, with the probe diagnostic: however the run ends, the
// platform's global observers it installed (the log sink, the screen events, the automation
// configuration, the simulated service's requests) no longer reach it afterwards.

#include "host/HostRun.h"

#include "platform/foundation/JsonReader.h"
#include "platform/foundation/Log.h"
#include "platform/host/HostDiagnostic.h"
#include "platform/ui/Toolkit.h"
#include "platform/wifi/WiFiDiagnosticsClient.h"

#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <string>

namespace {

class RunObserversTest : public ::testing::Test {
  protected:
    void SetUp() override { ASSERT_TRUE(dir.isValid()); }

    host::HostOptions probe(const char* parameters) const {
        host::HostOptions options;
        options.parameters = platform::parseJson(parameters).toDictionary();
        options.pluginPath = QStringLiteral(HOST_PROBE_PLUGIN);
        options.eventsPath = eventsPath;
        return options;
    }

    // The kinds of the events the run wrote, in order, comma separated.
    std::string eventKinds() const {
        QFile file(eventsPath);
        EXPECT_TRUE(file.open(QIODevice::ReadOnly));
        QStringList kinds;
        for (const QByteArray& line : file.readAll().split('\n')) {
            if (!line.isEmpty()) {
                kinds << platform::parseJson(line).toDictionary()->value(QStringLiteral("event"))->toString();
            }
        }
        return kinds.join(QStringLiteral(", ")).toStdString();
    }

    // Everything that reaches a global observer, as a diagnostic still at work would cause it: a
    // log message, a progress change on screen, a posted configuration and a service request.
    static void reachEveryObserver() {
        platform::logError(platform::logHandleForCategory(7), "a message after the run");
        platform::ui::ProgressView progress;
        progress.setProgress(0.5f, false);
        platform::TestAutomation::postConfiguration(platform::Dictionary::make());
        platform::ErrorRef error;
        platform::WiFiDiagnosticsClient::sharedClient()->queryStatusForPeer(nullptr, &error);
    }

    void expectNothingReachesTheEndedRun() {
        const std::string before = eventKinds();
        reachEveryObserver();
        EXPECT_EQ(eventKinds(), before);
    }

    QTemporaryDir dir;
    QString eventsPath = dir.filePath(QStringLiteral("events.jsonl"));
};

TEST_F(RunObserversTest, AFinishedRunLeavesNoObserverBehind) {
    host::HostRun run(probe(R"({"behaviour": "finish"})"));
    ASSERT_EQ(run.run(), host::kExitFinished);
    ASSERT_NE(eventKinds().find("result"), std::string::npos);
    expectNothingReachesTheEndedRun();
}

TEST_F(RunObserversTest, ARunStoppedByItsParametersLeavesNoObserverBehind) {
    host::HostRun run(probe(R"({"behaviour": 5})"));
    ASSERT_EQ(run.run(), host::kExitParametersRejected);
    ASSERT_NE(eventKinds().find("parametersRejected"), std::string::npos);
    expectNothingReachesTheEndedRun();
}

TEST_F(RunObserversTest, ARunWhoseSetUpThrowsLeavesNoObserverBehind) {
    host::HostRun run(probe(R"({"behaviour": "throwInSetup"})"));
    ASSERT_EQ(run.run(), host::kExitOther);
    ASSERT_EQ(eventKinds(), "host, error");
    expectNothingReachesTheEndedRun();
}

}  // namespace
