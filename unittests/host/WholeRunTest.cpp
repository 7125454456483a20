// Whole runs of the Wi-Fi Profile diagnostic through the host, from scenario files: the requests
// made, the status code, the progress, and the complete printed profile against reviewed golden
// files. Run with WIFIPROFILE_UPDATE_GOLDEN=1 to rewrite the golden files, then review the diff.

#include "unittests/host/HostProcess.h"

#include "unittests/support/ExpectedTestOrder.h"

#include <gtest/gtest.h>

namespace {

using namespace hosttest;

using testsupport::kCurrentNetworkTestIDs;
using testsupport::kDeviceTestIDs;
using testsupport::kSelectedNetworkTestIDs;
using testsupport::testIDsOf;

QByteArray joinedTo(const QString& ssid) {
    return QStringLiteral(R"({"status": {"ssid": "%1", "bssid": "02:00:5e:10:00:01"}})").arg(ssid).toUtf8();
}

const QByteArray kNotJoined = R"({"status": {"joined": false}})";

// The test IDs the service was asked for, in order.
std::vector<std::int64_t> requestedTestIDs(const HostRun& r) {
    std::vector<std::int64_t> ids;
    for (const auto& e : r.eventsOf(QStringLiteral("request"))) {
        if (field(e, "kind").toString() == QStringLiteral("test")) {
            ids.push_back(field(e, "testID").toInt());
        }
    }
    return ids;
}

std::int64_t printedStatusCode(const HostRun& r) {
    return field(platform::parseJson(r.out).toDictionary(), "statusCode").toInt();
}

class WholeRunTest : public HostRunTest {
  protected:
    HostRun runScenario(const QByteArray& scenario, QStringList arguments = {}) {
        return run(QStringList{"--scenario", write("scenario.json", scenario)} + arguments);
    }
};

TEST_F(WholeRunTest, NotJoinedRunsTheElevenDeviceTests) {
    const HostRun r = runScenario(kNotJoined);
    ASSERT_EQ(r.exitCode, 0) << str(r.err);
    EXPECT_EQ(requestedTestIDs(r), kDeviceTestIDs);
    EXPECT_EQ(printedStatusCode(r), 0);
}

TEST_F(WholeRunTest, NotJoinedWithANetworkNameRuns27Tests) {
    const HostRun r = runScenario(kNotJoined, {"--network-name", "Lab"});
    ASSERT_EQ(r.exitCode, 0) << str(r.err);
    EXPECT_EQ(requestedTestIDs(r), testIDsOf({kDeviceTestIDs, kSelectedNetworkTestIDs}));
}

TEST_F(WholeRunTest, JoinedRuns40Tests) {
    const HostRun r = runScenario(joinedTo("Home"));
    ASSERT_EQ(r.exitCode, 0) << str(r.err);
    EXPECT_EQ(requestedTestIDs(r), testIDsOf({kDeviceTestIDs, kCurrentNetworkTestIDs}));
}

TEST_F(WholeRunTest, JoinedWithAnotherNetworkNameRuns56Tests) {
    const HostRun r = runScenario(joinedTo("Home"), {"--network-name", "Lab"});
    ASSERT_EQ(r.exitCode, 0) << str(r.err);
    EXPECT_EQ(requestedTestIDs(r),
              testIDsOf({kDeviceTestIDs, kCurrentNetworkTestIDs, kSelectedNetworkTestIDs}));
    EXPECT_EQ(printedStatusCode(r), 0);
}

TEST_F(WholeRunTest, JoinedToAnExcludedNetworkEndsWithMinus7) {
    const HostRun r = runScenario(joinedTo("Cafe_NoMap"));
    ASSERT_EQ(r.exitCode, 0) << str(r.err);
    EXPECT_EQ(requestedTestIDs(r), kDeviceTestIDs);
    EXPECT_EQ(printedStatusCode(r), -7);
}

TEST_F(WholeRunTest, ExcludedSelectedNetworkEndsWithMinus7) {
    const HostRun r = runScenario(joinedTo("Home"), {"--network-name", "Lab_nomap"});
    ASSERT_EQ(r.exitCode, 0) << str(r.err);
    EXPECT_EQ(requestedTestIDs(r), testIDsOf({kDeviceTestIDs, kCurrentNetworkTestIDs}));
    EXPECT_EQ(printedStatusCode(r), -7);
}

TEST_F(WholeRunTest, ExcludedCurrentNetworkEndsWithMinus6) {
    const HostRun r = runScenario(joinedTo("Home_nomap"), {"--network-name", "Lab"});
    ASSERT_EQ(r.exitCode, 0) << str(r.err);
    EXPECT_EQ(requestedTestIDs(r), testIDsOf({kDeviceTestIDs, kSelectedNetworkTestIDs}));
    EXPECT_EQ(printedStatusCode(r), -6);
}

TEST_F(WholeRunTest, ProgressReachesOneBeforeTheEnd) {
    const HostRun r = runScenario(joinedTo("Home"), {"--network-name", "Lab"});
    ASSERT_EQ(r.exitCode, 0) << str(r.err);
    std::vector<double> progress;
    std::int64_t lastProgressTime = -1;
    for (const auto& e : r.eventsOf(QStringLiteral("progress"))) {
        progress.push_back(field(e, "progress").toDouble());
        lastProgressTime = field(e, "time").toInt();
    }
    ASSERT_EQ(progress.size(), 57u);  // the new bar at 0.0, then one step per test
    EXPECT_DOUBLE_EQ(progress.front(), 0.0);
    EXPECT_DOUBLE_EQ(progress.back(), 1.0);
    EXPECT_TRUE(std::is_sorted(progress.begin(), progress.end()));
    const auto finished = r.eventsOf(QStringLiteral("finished"));
    ASSERT_EQ(finished.size(), 1u);
    EXPECT_GE(field(finished[0], "time").toInt() - lastProgressTime, 400);  // the end comes 0.5 s later
}

TEST_F(WholeRunTest, PowerOffDuringListModeTestsEndsTwice) {
    const HostRun r =
        run({"--list", "--scenario", WIFIPROFILE_SOURCE_DIR "/scenarios/list-power-off-during-tests.json"});
    ASSERT_EQ(r.exitCode, 0) << str(r.err);
    EXPECT_EQ(printedStatusCode(r), -5);
    // The test job goes on after the first end, and ends the diagnostic again with its own code.
    EXPECT_EQ(finishedCodes(r), std::vector<std::int64_t>({-5, 0}));
    EXPECT_EQ(requestedTestIDs(r).size(), 1u + 40u);  // the list's scan, then the whole run
    expectNoHandleTrouble(r);
}

// ---- golden profiles ---------------------------------------------------------------------------

struct Golden {
    const char* name;
    QStringList arguments;
};

void PrintTo(const Golden& golden, std::ostream* os) {
    *os << golden.name;
}

QString goldenPath(const char* name, const char* extension) {
    return QStringLiteral(WIFIPROFILE_SOURCE_DIR "/unittests/golden/%1.%2").arg(name, extension);
}

QByteArray readFile(const QString& path) {
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

void writeFile(const QString& path, const QByteArray& text) {
    QFile f(path);
    ASSERT_TRUE(f.open(QIODevice::WriteOnly | QIODevice::Truncate)) << str(path);
    f.write(text);
}

// The diagnostic's own messages, one a line, as a support engineer reads them on stderr.
QByteArray diagnosticMessages(const HostRun& r) {
    QByteArray out;
    for (const auto& e : r.eventsOf(QStringLiteral("log"))) {
        out += QStringLiteral("[cat %1] %2\n")
                   .arg(field(e, "category").toInt())
                   .arg(field(e, "message").toString())
                   .toUtf8();
    }
    return out;
}

class GoldenProfileTest : public HostRunTest, public ::testing::WithParamInterface<Golden> {};

TEST_P(GoldenProfileTest, PrintsTheReviewedProfile) {
    const Golden& golden = GetParam();
    const HostRun r = run(golden.arguments);
    ASSERT_EQ(r.exitCode, 0) << str(r.err);
    const QString resultPath = goldenPath(golden.name, "result.json");
    const QString logPath = goldenPath(golden.name, "log");
    if (qEnvironmentVariableIsSet("WIFIPROFILE_UPDATE_GOLDEN")) {
        writeFile(resultPath, r.out);
        writeFile(logPath, diagnosticMessages(r));
        GTEST_SKIP() << "rewrote " << str(resultPath) << "; review the diff";
    }
    EXPECT_EQ(r.out.toStdString(), readFile(resultPath).toStdString()) << "golden file " << str(resultPath);
    EXPECT_EQ(diagnosticMessages(r).toStdString(), readFile(logPath).toStdString())
        << "golden file " << str(logPath);
}

INSTANTIATE_TEST_SUITE_P(
    Scenarios, GoldenProfileTest,
    ::testing::Values(
        Golden{"built-in", {}},
        Golden{"built-in-with-selected-network", {"--network-name", "CityConnect Free"}},
        Golden{"odd-answers", {"--scenario", WIFIPROFILE_SOURCE_DIR "/scenarios/odd-answers.json"}},
        Golden{"list-power-on-accept",
               {"--list", "--scenario", WIFIPROFILE_SOURCE_DIR "/scenarios/list-power-on-accept.json"}}),
    [](const ::testing::TestParamInfo<Golden>& info) {
        QString name = QString::fromUtf8(info.param.name);
        name.replace(u'-', u'_');
        return name.toStdString();
    });

}  // namespace
