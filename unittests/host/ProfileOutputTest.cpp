// What a run gives besides its JSON line: the saved profile (--save) rendered again later with no
// device (--render), the summary (--format text), the report file (--report) and redaction
// (--redact), through the real binary as a user runs it.
#include "unittests/host/HostProcess.h"

#include "host/report/Profile.h"
#include "platform/wifi/WiFiRecords.h"

#include <QRegularExpression>

using namespace hosttest;

namespace {

QByteArray readAll(const QString& path) {
    QFile f(path);
    EXPECT_TRUE(f.open(QIODevice::ReadOnly)) << str(path);
    return f.readAll();
}

}  // namespace

TEST_F(HostRunTest, ThePrintedJsonLineIsTheSameWithAFormatterInPlace) {
    // Not a terminal and no format asked for: the JSON line, exactly as --format json prints it.
    const HostRun plain = run({});
    const HostRun json = run({QStringLiteral("--format"), QStringLiteral("json")});
    ASSERT_EQ(plain.exitCode, 0) << str(plain.err);
    EXPECT_TRUE(plain.out.startsWith("{\"statusCode\": 0, \"data\": {")) << plain.out.toStdString();
    EXPECT_TRUE(plain.out.endsWith("}\n"));
    EXPECT_EQ(plain.out.count('\n'), 1);
    EXPECT_EQ(plain.out, json.out);
}

TEST_F(HostRunTest, ASavedProfileRendersTheSameSummaryLaterWithoutARun) {
    const QString saved = dir.filePath(QStringLiteral("profile.json"));
    const HostRun live =
        run({QStringLiteral("--format"), QStringLiteral("text"), QStringLiteral("--save"), saved});
    ASSERT_EQ(live.exitCode, 0) << str(live.err);
    const report::Profile profile = report::profileFromJson(readAll(saved), saved);
    EXPECT_EQ(profile.statusCode(), 0);
    EXPECT_EQ(profile.metadata.backend, QStringLiteral("sim"));
    EXPECT_FALSE(profile.answers.empty());
    EXPECT_FALSE(profile.scan().empty()) << "the run's scan is kept for the report's channel plot";
    EXPECT_EQ(static_cast<qsizetype>(profile.log.size()), live.err.count(QStringLiteral("] cat ")))
        << "every log message of the run is kept";

    const HostRun rendered =
        run({QStringLiteral("--render"), saved, QStringLiteral("--format"), QStringLiteral("text")});
    ASSERT_EQ(rendered.exitCode, 0) << str(rendered.err);
    EXPECT_EQ(rendered.out, live.out);
    EXPECT_FALSE(rendered.out.startsWith("{")) << "a summary, not the JSON line";

    // Rendered as JSON, it is the line the run printed.
    const HostRun asJson =
        run({QStringLiteral("--render"), saved, QStringLiteral("--format"), QStringLiteral("json")});
    const HostRun again = run({QStringLiteral("--format"), QStringLiteral("json")});
    EXPECT_EQ(asJson.out, again.out);
}

TEST_F(HostRunTest, ASavedProfileThatCannotBeReadIsNamed) {
    const QString bad =
        write(QStringLiteral("bad.json"),
              R"({"format": "wifi-profile/1", "result": {"statusCode": 0, "data": null}, "answers": 3})");
    const HostRun r = run({QStringLiteral("--render"), bad});
    EXPECT_EQ(r.exitCode, 3);
    EXPECT_TRUE(r.out.isEmpty());
    EXPECT_EQ(
        r.err,
        QStringLiteral("wifi-profile: saved profile %1, at answers: expected array, got integer\n").arg(bad));
    const HostRun missing = run({QStringLiteral("--render"), dir.filePath(QStringLiteral("none.json"))});
    EXPECT_EQ(missing.exitCode, 3);
    EXPECT_TRUE(missing.err.startsWith(QStringLiteral("wifi-profile: saved profile "))) << str(missing.err);
}

TEST_F(HostRunTest, RenderRunsNothingAndSaysWhatCannotGoWithIt) {
    const HostRun r = run({QStringLiteral("--render"), QStringLiteral("x.json"), QStringLiteral("--scenario"),
                           QStringLiteral("y.json")});
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_EQ(r.err,
              QStringLiteral("wifi-profile: --render shows a saved profile and runs nothing; it cannot go "
                             "with --scenario\n"));
    const HostRun format = run({QStringLiteral("--format"), QStringLiteral("yaml")});
    EXPECT_EQ(format.exitCode, 1);
    EXPECT_EQ(format.err, QStringLiteral("wifi-profile: --format is json or text, got \"yaml\"\n"));
}

TEST_F(HostRunTest, TheReportIsWrittenAndTheSummarySaysWhere) {
    const QString reportPath = dir.filePath(QStringLiteral("report.html"));
    const HostRun r =
        run({QStringLiteral("--format"), QStringLiteral("text"), QStringLiteral("--report"), reportPath});
    ASSERT_EQ(r.exitCode, 0) << str(r.err);
    const QByteArray html = readAll(reportPath);
    EXPECT_TRUE(html.startsWith("<!DOCTYPE html>")) << html.left(80).toStdString();
    EXPECT_TRUE(r.out.contains(reportPath.toUtf8())) << r.out.toStdString();
    // A report that cannot be written is said, and the run still ends well.
    const HostRun unwritable =
        run({QStringLiteral("--report"), QStringLiteral("/nonexistent-dir/report.html")});
    EXPECT_EQ(unwritable.exitCode, 0);
    EXPECT_TRUE(
        unwritable.err.contains(QStringLiteral("wifi-profile: cannot write the report to "
                                               "/nonexistent-dir/report.html")))
        << str(unwritable.err);
    EXPECT_TRUE(unwritable.out.startsWith("{\"statusCode\": 0"));
}

TEST_F(HostRunTest, RedactionLeavesNoBssidAndNoNeighboursNameInAnyOutput) {
    const QString saved = dir.filePath(QStringLiteral("profile.json"));
    const QString reportPath = dir.filePath(QStringLiteral("report.html"));
    const HostRun plain = run({QStringLiteral("--save"), saved});
    ASSERT_EQ(plain.exitCode, 0);
    const report::Profile profile = report::profileFromJson(readAll(saved), saved);
    // The neighbours: every named network of the scan but the joined one.
    const QString joined =
        profile.group(QStringLiteral("currentNetwork"))->value(QStringLiteral("networkName"))->toString();
    QStringList neighbours;
    for (const auto& entry : profile.scan()) {
        if (entry->ssidString && *entry->ssidString != joined && !neighbours.contains(*entry->ssidString)) {
            neighbours.push_back(*entry->ssidString);
        }
    }
    ASSERT_GE(neighbours.size(), 3) << "the built-in scenario has neighbours to hide";
    EXPECT_TRUE(readAll(saved).contains(neighbours.front().toUtf8()));

    const QString redactedSave = dir.filePath(QStringLiteral("redacted.json"));
    const HostRun redacted =
        run({QStringLiteral("--redact"), QStringLiteral("--format"), QStringLiteral("text"),
             QStringLiteral("--save"), redactedSave, QStringLiteral("--report"), reportPath});
    ASSERT_EQ(redacted.exitCode, 0) << str(redacted.err);
    const QRegularExpression bssid(QStringLiteral("[0-9A-Fa-f]{2}(:[0-9A-Fa-f]{2}){5}"));
    for (const auto& [name, bytes] : {std::pair{QStringLiteral("summary"), redacted.out},
                                      std::pair{QStringLiteral("saved profile"), readAll(redactedSave)},
                                      std::pair{QStringLiteral("report"), readAll(reportPath)}}) {
        // The joined network's name stays, and may hold a neighbour's ("Willowbrook-5G").
        const QString text = QString::fromUtf8(bytes).remove(joined);
        EXPECT_FALSE(bssid.match(text).hasMatch())
            << str(name) << " holds " << str(bssid.match(text).captured());
        for (const QString& neighbour : neighbours) {
            EXPECT_FALSE(text.contains(neighbour)) << str(name) << " names " << str(neighbour);
        }
    }
    const report::Profile shared = report::profileFromJson(readAll(redactedSave), redactedSave);
    EXPECT_TRUE(shared.metadata.redacted);
    EXPECT_EQ(
        shared.group(QStringLiteral("currentNetwork"))->value(QStringLiteral("networkName"))->toString(),
        joined);
    EXPECT_EQ(shared.scan().size(), profile.scan().size()) << "the measurements stay";
}
