// The manual page against the program: every option of --help documented and no other, the exit
// codes, the probes' default targets in its privacy section, and one version in the program, the
// manual page, the package and the AppStream description.

#include "host/HostOptions.h"
#include "host/HostRun.h"

#include "platform/wifi/linux/ProbeTargets.h"

#include <QFile>
#include <QRegularExpression>

#include <gtest/gtest.h>

#include <set>

namespace {

std::string str(const QString& s) {
    return s.toStdString();
}

QString sourceFile(const char* path) {
    QFile f(QStringLiteral(WIFIPROFILE_SOURCE_DIR "/") + QString::fromLatin1(path));
    EXPECT_TRUE(f.open(QIODevice::ReadOnly)) << path;
    return QString::fromUtf8(f.readAll());
}

// The manual page with troff's escaped hyphens plain, so "\-\-network\-name" reads --network-name.
QString manualPage() {
    return sourceFile("data/wifi-profile.1").replace(QStringLiteral("\\-"), QStringLiteral("-"));
}

// One section of the manual page: from its .SH heading to the next.
QString section(const QString& page, const QString& heading) {
    const qsizetype start = page.indexOf(QStringLiteral(".SH ") + heading);
    EXPECT_GE(start, 0) << "no section " << str(heading);
    const qsizetype end = page.indexOf(QStringLiteral("\n.SH "), start + 1);
    return page.mid(start, end < 0 ? -1 : end - start);
}

std::set<QString> optionsIn(const QString& text) {
    static const QRegularExpression option(
        QStringLiteral("(?<![\\w-])(--[a-z0-9]+(?:-[a-z0-9]+)*|-h)(?![\\w-])"));
    std::set<QString> options;
    for (auto it = option.globalMatch(text); it.hasNext();) {
        options.insert(it.next().captured(1));
    }
    return options;
}

// The options that head an entry of a section: the line after each ".TP", where the entry's
// option is set in bold (".B", ".BI", ".BR"); an option named only in another's text is no entry.
std::set<QString> entriesIn(const QString& text) {
    static const QRegularExpression head(QStringLiteral("\\.TP\n(\\.B[IR]? [^\n]*)"));
    std::set<QString> entries;
    for (auto it = head.globalMatch(text); it.hasNext();) {
        const auto options = optionsIn(it.next().captured(1));
        entries.insert(options.begin(), options.end());
    }
    return entries;
}

TEST(ManualPage, DocumentsEveryOptionOfTheHelpInAnEntryOfItsOwn) {
    const std::set<QString> help = optionsIn(host::hostUsage());
    ASSERT_GT(help.size(), 25u);
    const std::set<QString> documented = entriesIn(section(manualPage(), QStringLiteral("OPTIONS")));
    for (const QString& option : help) {
        EXPECT_TRUE(documented.count(option)) << str(option) << " has no entry in the manual page's OPTIONS";
    }
}

TEST(ManualPage, NamesNoOptionTheProgramDoesNotHave) {
    const std::set<QString> help = optionsIn(host::hostUsage());
    for (const QString& option : optionsIn(manualPage())) {
        EXPECT_TRUE(help.count(option))
            << "the manual page names " << str(option) << ", which --help does not know";
    }
}

TEST(ManualPage, EveryOptionItNamesIsOneTheProgramTakes) {
    // The program itself agrees: each documented option parses (with a value where it takes one).
    for (const QString& option : entriesIn(section(manualPage(), QStringLiteral("OPTIONS")))) {
        host::HostOptionsError error;
        const bool alone = host::parseHostOptions({option}, &error).has_value();
        EXPECT_TRUE(alone || !error.message.startsWith(QStringLiteral("unknown option")))
            << str(option) << ": " << str(error.message);
    }
}

TEST(ManualPage, DocumentsEveryExitCode) {
    const QString exits = section(manualPage(), QStringLiteral("EXIT STATUS"));
    for (const int code : {host::kExitFinished, host::kExitOther, host::kExitParametersRejected,
                           host::kExitScenarioUnusable, host::kExitTimedOut, host::kExitNoRealWiFi}) {
        EXPECT_TRUE(exits.contains(QStringLiteral(".TP\n.B %1\n").arg(code))) << "exit code " << code;
    }
}

TEST(ManualPage, ItsPrivacySectionNamesWhatTheProbesContactAndHowToChangeIt) {
    const QString privacy = section(manualPage(), QStringLiteral("PRIVACY"));
    const platform::linuxwifi::ProbeTargets defaults;
    for (const QString& target : {defaults.wanPingAddress, defaults.wanPingAddress6, defaults.dnsName,
                                  defaults.checkUrl.toString()}) {
        EXPECT_TRUE(privacy.contains(target)) << str(target) << " is not in PRIVACY";
    }
    for (const char* option : {"--ping-wan", "--ping-wan6", "--dns-name", "--check-url", "--redact"}) {
        EXPECT_TRUE(optionsIn(privacy).count(QString::fromLatin1(option))) << option << " is not in PRIVACY";
    }
}

TEST(ManualPage, OneVersionInTheProgramTheManualPageThePackageAndTheMetainfo) {
    const QString version = host::hostVersion().trimmed().section(u' ', 1);
    EXPECT_EQ(str(host::hostVersion()), "wifi-profile " + str(version) + "\n");
    const QString changelog = sourceFile("debian/changelog");
    EXPECT_TRUE(changelog.startsWith(QStringLiteral("wifi-profile (%1) ").arg(version)))
        << str(changelog.left(40));
    EXPECT_TRUE(manualPage().contains(QStringLiteral("\"wifi-profile %1\"").arg(version)));
    EXPECT_TRUE(sourceFile("data/org.wifiprofile.WifiProfile.metainfo.xml")
                    .contains(QStringLiteral("<release version=\"%1\"").arg(version)));
}

}  // namespace
