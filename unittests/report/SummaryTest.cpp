// The terminal summary: at most 25 lines of 80 columns whatever the profile, colour only when
// asked, nothing from the profile that steers the terminal, the problems before the warnings and
// the rest counted, and the golden summaries of the shipped runs (WIFIPROFILE_UPDATE_GOLDEN=1
// rewrites unittests/golden/<name>.summary.txt; review the diff).

#include "ReportProfiles.h"

#include "host/report/Findings.h"
#include "host/report/FindingsTable.h"
#include "host/report/Strings.h"
#include "host/report/Summary.h"

#include <QRegularExpression>

#include <gtest/gtest.h>

namespace {

using platform::Dictionary;
using platform::DictionaryRef;
using platform::Value;
using report::Group;
using report::SummaryOptions;

std::string str(const QString& s) {
    return s.toStdString();
}

const QString kReportPath = QStringLiteral("/home/sam/wifi-profile-report.html");

QString summaryOf(const report::Profile& profile, const SummaryOptions& options = {false, kReportPath}) {
    return report::summaryText(profile, report::findingsOf(profile), options);
}

QStringList linesOf(const QString& summary) {
    EXPECT_TRUE(summary.endsWith(QLatin1Char('\n')));
    QStringList lines = summary.split(QLatin1Char('\n'));
    lines.removeLast();
    return lines;
}

QString withoutEscapes(const QString& s) {
    static const QRegularExpression sgr(QStringLiteral("\x1b\\[[0-9;]*m"));
    QString out = s;
    return out.remove(sgr);
}

// The shape every summary keeps: lines and columns, and no character that steers a terminal.
void expectFits(const QString& summary, const std::string& what) {
    const QStringList lines = linesOf(summary);
    EXPECT_LE(lines.size(), report::kSummaryMaxLines) << what << "\n" << str(summary);
    EXPECT_GE(lines.size(), 5) << what;
    for (const QString& line : lines) {
        EXPECT_LE(report::displayWidth(withoutEscapes(line)), report::kSummaryMaxColumns)
            << what << ": " << str(line);
        for (const char32_t c : withoutEscapes(line).toUcs4()) {
            const bool control = c < 0x20 || (c >= 0x7F && c < 0xA0);
            const bool bidi = c == 0x061C || c == 0x200E || c == 0x200F || (c >= 0x2028 && c <= 0x202E) ||
                              (c >= 0x2066 && c <= 0x2069) || (c >= 0xD800 && c <= 0xDFFF);
            EXPECT_FALSE(control || bidi)
                << what << ": U+" << std::hex << static_cast<unsigned>(c) << " in " << str(line);
        }
    }
    static const QRegularExpression missing(QStringLiteral("\\[[a-zA-Z]+\\.[A-Za-z0-9_.]+\\]"));
    EXPECT_FALSE(missing.match(summary).hasMatch()) << what << ": a strings-table key is missing\n"
                                                    << str(summary);
}

Value resultOf(DictionaryRef device, DictionaryRef current, DictionaryRef selected,
               std::int64_t statusCode = 0) {
    return Value::dictionary(Dictionary::make({
        {QStringLiteral("statusCode"), Value::integer(statusCode)},
        {QStringLiteral("data"), Value::dictionary(Dictionary::make({
                                     {QStringLiteral("device"), Value::dictionary(device)},
                                     {QStringLiteral("currentNetwork"), Value::dictionary(current)},
                                     {QStringLiteral("selectedNetwork"), Value::dictionary(selected)},
                                 }))},
    }));
}

// Every flag of every group at its problem value, with a long name for both networks.
report::Profile everythingWrong() {
    DictionaryRef groups[3] = {Dictionary::make(), Dictionary::make(), Dictionary::make()};
    const unsigned bits[3] = {report::kInDevice, report::kInCurrent, report::kInSelected};
    for (const report::FindingRow& row : report::findingRows()) {
        for (int g = 0; g < 3; ++g) {
            if (row.groups & bits[g]) {
                groups[g]->set(QString::fromLatin1(row.key),
                               Value::boolean(row.problemWhen != report::ProblemWhen::False));
            }
        }
    }
    const QString longName = QStringLiteral("A network whose name is as long as names go");
    groups[1]->set(QStringLiteral("networkName"), Value::string(longName));
    groups[1]->set(QStringLiteral("RSSI"), Value::integer(-88));
    groups[1]->set(QStringLiteral("noise"), Value::integer(-90));
    groups[1]->set(QStringLiteral("currentChannel"), Value::integer(6));
    groups[2]->set(QStringLiteral("networkName"), Value::string(longName));
    report::Profile profile;
    profile.result = resultOf(groups[0], groups[1], groups[2]);
    return profile;
}

TEST(DisplayWidth, CountsColumnsAsATerminalDrawsThem) {
    EXPECT_EQ(report::displayWidth(QStringLiteral("Wi-Fi")), 5);
    EXPECT_EQ(report::displayWidth(QStringLiteral("\u65e5\u672c\u8a9e")), 6);   // three CJK characters
    EXPECT_EQ(report::displayWidth(QStringLiteral("e\u0301")), 1);              // a combining accent
    EXPECT_EQ(report::displayWidth(QString::fromUtf8("\xf0\x9f\x98\x80")), 2);  // an emoji
    EXPECT_EQ(report::displayWidth(QStringLiteral("a\u200Bb")), 2);             // a zero-width space
    EXPECT_EQ(report::displayWidth(QStringLiteral("\uFF21")), 2);               // a fullwidth letter
}

TEST(Colour, OnlyOnATerminalWithoutNoColourAndWithATermThatTakesIt) {
    EXPECT_TRUE(report::wantsColour(true, QByteArray(), "xterm-256color"));
    EXPECT_FALSE(report::wantsColour(false, QByteArray(), "xterm-256color"));
    EXPECT_FALSE(report::wantsColour(true, "1", "xterm-256color"));
    EXPECT_TRUE(report::wantsColour(true, QByteArray(), "linux")) << "an empty NO_COLOR counts as unset";
    EXPECT_FALSE(report::wantsColour(true, QByteArray(), "dumb"));
    EXPECT_FALSE(report::wantsColour(true, QByteArray(), QByteArray()));
}

TEST(Summary, FitsWhateverTheProfile) {
    for (const reporttest::GoldenCase& golden : reporttest::kGoldenCases) {
        expectFits(summaryOf(reporttest::goldenProfile(golden)), golden.name);
    }
    expectFits(summaryOf(reporttest::hostileProfile()), "hostile");
    expectFits(summaryOf(everythingWrong()), "everything wrong");
    expectFits(summaryOf(report::Profile{}), "empty profile");
    // A path of 300 characters and a terminal-wide name.
    const QString longPath =
        QStringLiteral("/tmp/") + QString(300, QLatin1Char('d')) + QStringLiteral("/report.html");
    expectFits(summaryOf(everythingWrong(), {false, longPath}), "long path");
    report::Profile wide = everythingWrong();
    wide.group(QStringLiteral("currentNetwork"))
        ->set(QStringLiteral("networkName"), Value::string(QString(32, QChar(0x7DB2))));
    wide.group(QStringLiteral("currentNetwork"))
        ->set(QStringLiteral("isUsingAmbiguousNetworkName"), Value::boolean(true));
    expectFits(summaryOf(wide, {true, longPath}), "wide name, colour");
}

TEST(Summary, HostileNamesCannotSteerTheTerminal) {
    const QString summary = summaryOf(reporttest::hostileProfile(), {true, kReportPath});
    // The only escapes are the summary's own colours.
    const QString plain = withoutEscapes(summary);
    EXPECT_FALSE(plain.contains(QChar(0x1b)));
    EXPECT_FALSE(plain.contains(QChar(0x202E)));
    expectFits(summary, "hostile with colour");
}

TEST(Summary, ColourOnlyWhenAskedAndTheSameTextWithout) {
    for (const reporttest::GoldenCase& golden : reporttest::kGoldenCases) {
        const report::Profile profile = reporttest::goldenProfile(golden);
        const QString plain = summaryOf(profile, {false, kReportPath});
        const QString coloured = summaryOf(profile, {true, kReportPath});
        EXPECT_FALSE(plain.contains(QChar(0x1b))) << golden.name;
        EXPECT_TRUE(coloured.contains(QStringLiteral("\x1b["))) << golden.name;
        EXPECT_EQ(str(withoutEscapes(coloured)), str(plain)) << golden.name;
    }
}

TEST(Summary, SaysTheVerdictFirstAndWhereTheReportIs) {
    const report::Profile profile = everythingWrong();
    const report::Findings findings = report::findingsOf(profile);
    const QStringList lines = linesOf(summaryOf(profile));
    ASSERT_FALSE(lines.isEmpty());
    EXPECT_TRUE(lines[0].contains(report::verdictName(findings.verdict))) << str(lines[0]);
    EXPECT_EQ(str(lines.last()), str(report::text(QStringLiteral("summary.report"), {kReportPath})));
    const QStringList noReport = linesOf(summaryOf(profile, {false, QString()}));
    EXPECT_FALSE(noReport.join(QLatin1Char('\n')).contains(QStringLiteral("Report:")));
}

TEST(Summary, ProblemsComeFirstAndTheRestAreCounted) {
    const report::Profile profile = everythingWrong();
    const report::Findings findings = report::findingsOf(profile);
    const QString summary = summaryOf(profile);
    const QStringList lines = linesOf(summary);
    const QString problem = report::severityName(report::Severity::Problem);
    const QString warning = report::severityName(report::Severity::Warning);
    int shown = 0;
    int firstWarning = -1;
    int lastProblem = -1;
    QStringList headings;
    for (int i = 0; i < lines.size(); ++i) {
        if (lines[i].startsWith(QStringLiteral("  ") + problem)) {
            lastProblem = i;
            ++shown;
            headings << lines[i];
        } else if (lines[i].startsWith(QStringLiteral("  ") + warning)) {
            firstWarning = firstWarning < 0 ? i : firstWarning;
            ++shown;
            headings << lines[i];
        }
    }
    ASSERT_GT(shown, 0) << str(summary);
    EXPECT_TRUE(firstWarning < 0 || firstWarning > lastProblem);
    // The connection's problems lead: no IPv4 address is the first.
    EXPECT_TRUE(headings[0].contains(report::text(QStringLiteral("finding.isIPv4Assigned.title"))))
        << str(headings[0]);
    const int flagged = findings.count(report::Severity::Problem) + findings.count(report::Severity::Warning);
    ASSERT_GT(flagged, shown);
    EXPECT_TRUE(
        summary.contains(report::text(QStringLiteral("summary.more"), {QString::number(flagged - shown)})))
        << str(summary);
    EXPECT_TRUE(summary.contains(report::text(QStringLiteral("summary.counts"),
                                              {QString::number(findings.count(report::Severity::Problem)),
                                               QString::number(findings.count(report::Severity::Warning))})));
}

TEST(Summary, KeyNumbersOfTheJoinedNetwork) {
    const QString summary = summaryOf(reporttest::goldenProfile(reporttest::kGoldenCases[0]));
    EXPECT_TRUE(summary.contains(QStringLiteral("-54 dBm, noise -92 dBm, SNR 38 dB"))) << str(summary);
    EXPECT_TRUE(summary.contains(QStringLiteral("44 (5 GHz)"))) << str(summary);
    EXPECT_TRUE(summary.contains(QStringLiteral("2.9 ms average, 0% lost"))) << str(summary);
    EXPECT_TRUE(summary.contains(QStringLiteral("14.4 ms average, 0% lost"))) << str(summary);
    EXPECT_TRUE(summary.contains(QStringLiteral("Willowbrook-5G"))) << str(summary);
}

TEST(Summary, NotJoinedSaysSoInsteadOfNumbers) {
    report::Profile profile;
    profile.result = resultOf(Dictionary::make({{QStringLiteral("isLargePNL"), Value::boolean(false)}}),
                              Dictionary::make(), Dictionary::make());
    const QString summary = summaryOf(profile);
    EXPECT_TRUE(summary.contains(report::text(QStringLiteral("reason.notJoined")))) << str(summary);
    EXPECT_FALSE(summary.contains(report::text(QStringLiteral("summary.signal")) + QStringLiteral("  ")));
}

// ---- golden summaries ---------------------------------------------------------------------------

class GoldenSummaryTest : public ::testing::TestWithParam<reporttest::GoldenCase> {};

TEST_P(GoldenSummaryTest, MatchesTheReviewedSummary) {
    const reporttest::GoldenCase& golden = GetParam();
    const QString summary = summaryOf(reporttest::goldenProfile(golden), {false, kReportPath});
    expectFits(summary, golden.name);
    const QString path = reporttest::sourcePath(
        QStringLiteral("unittests/golden/%1.summary.txt").arg(QString::fromLatin1(golden.name)));
    if (qEnvironmentVariableIsSet("WIFIPROFILE_UPDATE_GOLDEN")) {
        ASSERT_TRUE(reporttest::writeFile(path, summary.toUtf8())) << str(path);
        GTEST_SKIP() << "rewrote " << str(path) << "; review the diff";
    }
    const QByteArray expected = reporttest::readFile(path);
    ASSERT_FALSE(expected.isEmpty()) << str(path) << " is missing (WIFIPROFILE_UPDATE_GOLDEN=1 writes it)";
    EXPECT_EQ(summary.toStdString(), expected.toStdString()) << "golden file " << str(path);
}

INSTANTIATE_TEST_SUITE_P(Scenarios, GoldenSummaryTest, ::testing::ValuesIn(reporttest::kGoldenCases),
                         [](const ::testing::TestParamInfo<reporttest::GoldenCase>& info) {
                             std::string name = info.param.name;
                             for (char& c : name) {
                                 c = c == '-' ? '_' : c;
                             }
                             return name;
                         });

}  // namespace
