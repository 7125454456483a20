// The results screen through the application, as a person or a script meets it: with --ui (on Qt's
// off-screen platform, as a test has no display) a script waits for the screen, snapshots and
// pictures it, saves the report from it and closes it; the result is printed once, at the finish,
// and the run ends as a run without a window does. Without --ui nothing of it shows.

#include "HostProcess.h"

#include "host/ResultsScreen.h"
#include "host/report/Findings.h"
#include "host/report/Strings.h"

#include <QFile>
#include <QImage>

#include <map>

namespace {

using hosttest::field;
using hosttest::HostRun;
using hosttest::json;
using hosttest::str;
using platform::DictionaryRef;
using platform::Value;

QString t(const char* key, const QStringList& args = {}) {
    return report::text(QString::fromLatin1(key), args);
}

QProcessEnvironment offScreen() {
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    return environment;
}

QByteArray readAll(const QString& path) {
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

// How many events of each kind a run wrote.
std::map<QString, int> countsOf(const HostRun& r) {
    std::map<QString, int> counts;
    for (const auto& e : r.events) {
        ++counts[e->value(QStringLiteral("event"))->toString()];
    }
    return counts;
}

// The kinds of the events in order.
std::vector<QString> kindsOf(const HostRun& r) {
    std::vector<QString> kinds;
    for (const auto& e : r.events) {
        kinds.push_back(e->value(QStringLiteral("event"))->toString());
    }
    return kinds;
}

// Where the first event of a kind stands; the number of events when there is none.
std::size_t indexOf(const HostRun& r, const QString& kind) {
    const auto kinds = kindsOf(r);
    return static_cast<std::size_t>(std::find(kinds.begin(), kinds.end(), kind) - kinds.begin());
}

// The rows of a snapshot's table, section by section.
std::vector<std::vector<DictionaryRef>> rowsOf(const DictionaryRef& screen) {
    std::vector<std::vector<DictionaryRef>> out;
    const auto table = screen->value(QStringLiteral("table"));
    if (!table || table->kind() != Value::Kind::Dictionary) {
        return out;
    }
    for (const Value& s : *table->toDictionary()->value(QStringLiteral("sections"))->toArray()) {
        std::vector<DictionaryRef> rows;
        for (const Value& row : *s.toDictionary()->value(QStringLiteral("rows"))->toArray()) {
            rows.push_back(row.toDictionary());
        }
        out.push_back(std::move(rows));
    }
    return out;
}

QString textOf(const DictionaryRef& row, const char* key) {
    const auto v = row->value(QString::fromLatin1(key));
    return v && v->isString() ? v->toString() : QString();
}

class ResultsRunTest : public hosttest::HostRunTest {
  protected:
    QString script(const QByteArray& actions) { return write(QStringLiteral("script.json"), actions); }
};

TEST_F(ResultsRunTest, AScriptWaitsForTheResultsScreenSnapshotsAndPicturesItAndClosesIt) {
    const QString picture = dir.filePath(QStringLiteral("results.png"));
    const QString path =
        script(QStringLiteral(R"([{"waitForResults": true}, {"snapshot": true}, {"screenshot": "%1"},
                                 {"tap": "CLOSE"}])")
                   .arg(picture)
                   .toUtf8());
    const HostRun r = run({QStringLiteral("--ui"), QStringLiteral("--automation"), path}, offScreen());
    ASSERT_EQ(r.exitCode, 0) << str(r.err);
    EXPECT_FALSE(r.err.contains(QStringLiteral("not played"))) << str(r.err);
    // The result once, as the run without a window prints it.
    EXPECT_EQ(r.out.count('\n'), 1);
    const HostRun plain = run({});
    ASSERT_EQ(plain.exitCode, 0) << str(plain.err);
    EXPECT_EQ(r.out, plain.out);
    EXPECT_EQ(r.eventsOf(QStringLiteral("result")).size(), 1u);

    // Printed at the finish, then the screen, the script's actions on it, its closing, the end.
    const std::vector<std::size_t> order = {
        indexOf(r, QStringLiteral("finished")),      indexOf(r, QStringLiteral("result")),
        indexOf(r, QStringLiteral("resultsScreen")), indexOf(r, QStringLiteral("snapshot")),
        indexOf(r, QStringLiteral("screenshot")),    indexOf(r, QStringLiteral("resultsClosed")),
        indexOf(r, QStringLiteral("shutdown")),      indexOf(r, QStringLiteral("handles"))};
    for (std::size_t i = 0; i + 1 < order.size(); ++i) {
        EXPECT_LT(order[i], order[i + 1]) << i;
    }
    EXPECT_LT(order.back(), r.events.size());
    hosttest::expectNoHandleTrouble(r);
    ASSERT_EQ(r.eventsOf(QStringLiteral("resultsClosed")).size(), 1u);
    EXPECT_EQ(str(field(r.eventsOf(QStringLiteral("resultsClosed"))[0], "by").toString()), "button");

    // The snapshot lists the verdict and every finding of the printed result.
    report::Profile printed;
    printed.result = platform::parseJson(r.out);
    const report::Findings findings = report::findingsOf(printed);
    const auto shown = r.eventsOf(QStringLiteral("resultsScreen"));
    ASSERT_EQ(shown.size(), 1u);
    EXPECT_EQ(field(shown[0], "warnings").toInt(), findings.count(report::Severity::Warning));
    EXPECT_EQ(field(shown[0], "problems").toInt(), findings.count(report::Severity::Problem));

    const auto snapshots = r.eventsOf(QStringLiteral("snapshot"));
    ASSERT_EQ(snapshots.size(), 1u);
    const DictionaryRef screen = field(snapshots[0], "screen").toDictionary();
    EXPECT_EQ(str(textOf(screen, "title")), str(t("results.title")));
    EXPECT_EQ(str(textOf(field(screen, "rightButton").toDictionary(), "title")), str(t("results.close")));
    const auto sections = rowsOf(screen);
    ASSERT_GE(sections.size(), 2u);
    EXPECT_EQ(str(textOf(sections[0][0], "text")), str(report::verdictName(findings.verdict)));
    EXPECT_EQ(str(textOf(sections[0][1], "text")), str(t("results.saveReport")));
    QString everything;
    for (const auto& rows : sections) {
        for (const auto& row : rows) {
            everything += textOf(row, "text") + QLatin1Char('\n') + textOf(row, "detail") + QLatin1Char('\n');
        }
    }
    ASSERT_FALSE(findings.items.empty());
    for (const report::Finding& f : findings.items) {
        EXPECT_TRUE(everything.contains(f.title)) << str(f.key);
        if (f.severity == report::Severity::Warning || f.severity == report::Severity::Problem) {
            EXPECT_TRUE(everything.contains(f.advice)) << str(f.key);
        }
    }

    // The picture is the screen at the window's size.
    const auto pictures = r.eventsOf(QStringLiteral("screenshot"));
    ASSERT_EQ(pictures.size(), 1u);
    EXPECT_EQ(field(pictures[0], "width").toInt(), 375);
    EXPECT_EQ(field(pictures[0], "height").toInt(), 667);
    const QImage image(picture);
    ASSERT_FALSE(image.isNull());
    EXPECT_EQ(image.size(), QSize(375, 667));
}

TEST_F(ResultsRunTest, WithoutTheWindowNoResultsScreenShowsAndTheScriptIsLeftUnplayed) {
    const QString path = script(R"([{"waitForResults": true}, {"snapshot": true}, {"tap": "CLOSE"}])");
    const HostRun r = run({QStringLiteral("--automation"), path});
    ASSERT_EQ(r.exitCode, 0) << str(r.err);
    EXPECT_EQ(r.out.count('\n'), 1);
    for (const char* kind : {"resultsScreen", "resultsClosed", "snapshot", "automation"}) {
        EXPECT_TRUE(r.eventsOf(QString::fromLatin1(kind)).empty()) << kind;
    }
    const auto unplayed = r.eventsOf(QStringLiteral("automationUnplayed"));
    ASSERT_EQ(unplayed.size(), 1u);
    EXPECT_EQ(field(unplayed[0], "remaining").toInt(), 3);
    EXPECT_TRUE(r.err.contains(QStringLiteral("3 actions not played"))) << str(r.err);
    // Otherwise the same events as a run whose script has nothing left at the finish.
    const QString empty = write(QStringLiteral("empty.json"), "[]");
    const HostRun before = run({QStringLiteral("--automation"), empty});
    ASSERT_EQ(before.exitCode, 0) << str(before.err);
    auto counts = countsOf(r);
    counts.erase(QStringLiteral("automationUnplayed"));
    EXPECT_EQ(counts, countsOf(before));
}

TEST_F(ResultsRunTest, AScriptThatEndsClosesTheResultsScreen) {
    const QString path = script(R"([{"waitForResults": true}, {"snapshot": true}])");
    const HostRun r = run({QStringLiteral("--ui"), QStringLiteral("--automation"), path}, offScreen());
    ASSERT_EQ(r.exitCode, 0) << str(r.err);
    EXPECT_EQ(r.out.count('\n'), 1);
    ASSERT_EQ(r.eventsOf(QStringLiteral("resultsClosed")).size(), 1u);
    EXPECT_EQ(str(field(r.eventsOf(QStringLiteral("resultsClosed"))[0], "by").toString()), "script");
    EXPECT_EQ(r.eventsOf(QStringLiteral("snapshot")).size(), 1u);
}

TEST_F(ResultsRunTest, AScenarioWhoseScriptEndsAtTheFinishStillEndsWithAWindow) {
    const HostRun r = run({QStringLiteral("--ui"), QStringLiteral("--list"), QStringLiteral("--scenario"),
                           QStringLiteral(WIFIPROFILE_SOURCE_DIR "/scenarios/list-choose-by-tap.json")},
                          offScreen());
    ASSERT_EQ(r.exitCode, 0) << str(r.err);
    EXPECT_EQ(r.out.count('\n'), 1);
    EXPECT_EQ(r.eventsOf(QStringLiteral("resultsScreen")).size(), 1u);
    ASSERT_EQ(r.eventsOf(QStringLiteral("resultsClosed")).size(), 1u);
    EXPECT_EQ(str(field(r.eventsOf(QStringLiteral("resultsClosed"))[0], "by").toString()), "script");
}

TEST_F(ResultsRunTest, AnActionTheResultsScreenCannotTakeFailsTheRunAfterItsResult) {
    const QString path = script(R"([{"waitForResults": true}, {"tap": "NEXT"}, {"snapshot": true}])");
    const HostRun r = run({QStringLiteral("--ui"), QStringLiteral("--automation"), path}, offScreen());
    EXPECT_EQ(r.exitCode, 3) << str(r.err);
    EXPECT_EQ(r.out.count('\n'), 1);
    EXPECT_TRUE(
        r.err.contains(QStringLiteral("at [1]: \"NEXT\" is not a key of the results screen (its keys: "
                                      "CANCEL, CLOSE, OK, SAVE, SAVE_REPORT)")))
        << str(r.err);
    ASSERT_EQ(r.eventsOf(QStringLiteral("resultsClosed")).size(), 1u);
    EXPECT_EQ(str(field(r.eventsOf(QStringLiteral("resultsClosed"))[0], "by").toString()),
              "automationFailure");
    EXPECT_TRUE(r.eventsOf(QStringLiteral("snapshot")).empty());
}

TEST_F(ResultsRunTest, TheScriptSavesTheReportFromTheResultsScreen) {
    const QString report = dir.filePath(QStringLiteral("saved.html"));
    const QString path = script(QStringLiteral(R"([{"waitForResults": true}, {"tap": "SAVE_REPORT"},
                                                   {"type": "%1"}, {"tap": "SAVE"}, {"snapshot": true},
                                                   {"tap": "OK"}, {"tap": "CLOSE"}])")
                                    .arg(report)
                                    .toUtf8());
    const HostRun r = run({QStringLiteral("--ui"), QStringLiteral("--automation"), path}, offScreen());
    ASSERT_EQ(r.exitCode, 0) << str(r.err);
    const QByteArray html = readAll(report);
    EXPECT_TRUE(html.startsWith("<!DOCTYPE html>")) << html.left(80).toStdString();
    EXPECT_TRUE(html.contains("id=\"profile\""));
    const auto snapshots = r.eventsOf(QStringLiteral("snapshot"));
    ASSERT_EQ(snapshots.size(), 1u);
    const DictionaryRef alert = field(field(snapshots[0], "screen").toDictionary(), "alert").toDictionary();
    ASSERT_TRUE(alert);
    EXPECT_EQ(str(textOf(alert, "title")), str(t("results.savedTitle")));
    EXPECT_EQ(str(textOf(alert, "message")), str(t("results.savedMessage", {report})));
    EXPECT_EQ(str(field(r.eventsOf(QStringLiteral("resultsClosed"))[0], "by").toString()), "button");
}

TEST_F(ResultsRunTest, WithAReportTheResultsScreenNamesItsFileInsteadOfSaving) {
    const QString report = dir.filePath(QStringLiteral("report.html"));
    const QString path = script(R"([{"waitForResults": true}, {"snapshot": true}, {"tap": "CLOSE"}])");
    const HostRun r = run(
        {QStringLiteral("--ui"), QStringLiteral("--report"), report, QStringLiteral("--automation"), path},
        offScreen());
    ASSERT_EQ(r.exitCode, 0) << str(r.err);
    EXPECT_FALSE(readAll(report).isEmpty());
    const auto snapshots = r.eventsOf(QStringLiteral("snapshot"));
    ASSERT_EQ(snapshots.size(), 1u);
    const auto sections = rowsOf(field(snapshots[0], "screen").toDictionary());
    ASSERT_FALSE(sections.empty());
    ASSERT_EQ(sections[0].size(), 2u);
    EXPECT_EQ(str(textOf(sections[0][1], "text")), str(t("results.reportWritten")));
    EXPECT_EQ(str(textOf(sections[0][1], "detail")), str(report));
}

}  // namespace

namespace {

TEST_F(ResultsRunTest, WhenNoRealWiFiCouldBeHadTheResultsSayTheyAreTheSimulatedDevices) {
    const QString path = script(R"([{"waitForResults": true}, {"snapshot": true}, {"tap": "CLOSE"}])");
    const HostRun r =
        run({QStringLiteral("--backend=auto"), QStringLiteral("--ui"), QStringLiteral("--automation"), path},
            offScreen());
    ASSERT_EQ(r.exitCode, 0) << str(r.err);
    if (!r.err.contains(QStringLiteral("profiling the simulated device"))) {
        GTEST_SKIP() << "this machine's NetworkManager lists a Wi-Fi device, so nothing falls back: "
                     << str(r.err);
    }
    const auto snapshots = r.eventsOf(QStringLiteral("snapshot"));
    ASSERT_EQ(snapshots.size(), 1u);
    const auto rows = rowsOf(field(snapshots[0], "screen").toDictionary());
    ASSERT_FALSE(rows.empty());
    ASSERT_GE(rows[0].size(), 2u);
    EXPECT_EQ(str(textOf(rows[0][0], "text")), "Simulated device");
    EXPECT_TRUE(textOf(rows[0][0], "detail").contains(QStringLiteral("not of this computer")));
    EXPECT_EQ(textOf(rows[0][1], "text"), report::verdictName(report::Verdict::Degraded));
}

TEST_F(ResultsRunTest, TheSimulatedDeviceAskedForIsNoSurprise) {
    const QString path = script(R"([{"waitForResults": true}, {"snapshot": true}, {"tap": "CLOSE"}])");
    const HostRun r = run({QStringLiteral("--ui"), QStringLiteral("--automation"), path}, offScreen());
    ASSERT_EQ(r.exitCode, 0) << str(r.err);
    const auto rows = rowsOf(field(r.eventsOf(QStringLiteral("snapshot")).at(0), "screen").toDictionary());
    ASSERT_FALSE(rows.empty());
    EXPECT_EQ(textOf(rows[0][0], "text"), report::verdictName(report::Verdict::Degraded));
}

}  // namespace
