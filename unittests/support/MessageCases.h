#pragma once
// Folders of bad input files, each case <name>.json beside <name>.expected holding the exact
// message that reading it raises: listing the cases, checking a case's message (or rewriting the
// .expected file when WIFIPROFILE_UPDATE_GOLDEN is set; review the diff), and checking that the
// folder holds whole cases with distinct names.

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QString>

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

namespace testsupport {

// The files of dir with the given suffix, without it, in order.
inline std::vector<std::string> caseFiles(const QString& dir, const QString& suffix) {
    std::vector<std::string> names;
    for (const QString& file : QDir(dir).entryList({QLatin1Char('*') + suffix}, QDir::Files, QDir::Name)) {
        names.push_back(file.chopped(suffix.size()).toStdString());
    }
    return names;
}

// The test name of a case: its file name with hyphens made underscores.
inline std::string caseTestName(const ::testing::TestParamInfo<std::string>& info) {
    QString name = QString::fromStdString(info.param);
    name.replace(u'-', u'_');
    return name.toStdString();
}

// message is what reading the case raised (nullopt: it was read without error).
inline void expectMessageOfCase(const QString& dir, const std::string& name,
                                const std::optional<std::string>& message) {
    const QString casePath = dir + u'/' + QString::fromStdString(name) + QStringLiteral(".json");
    const QString expectedPath = dir + u'/' + QString::fromStdString(name) + QStringLiteral(".expected");
    ASSERT_TRUE(message.has_value()) << casePath.toStdString()
                                     << " is read without error; it must be rejected";
    if (qEnvironmentVariableIsSet("WIFIPROFILE_UPDATE_GOLDEN")) {
        QFile f(expectedPath);
        ASSERT_TRUE(f.open(QIODevice::WriteOnly | QIODevice::Truncate)) << expectedPath.toStdString();
        f.write(QByteArray::fromStdString(*message) + '\n');
        GTEST_SKIP() << "rewrote " << expectedPath.toStdString() << "; review the diff";
    }
    QFile expectedFile(expectedPath);
    ASSERT_TRUE(expectedFile.open(QIODevice::ReadOnly))
        << expectedPath.toStdString() << " is missing (WIFIPROFILE_UPDATE_GOLDEN=1 writes it)";
    QByteArray expected = expectedFile.readAll();
    if (expected.endsWith('\n')) {
        expected.chop(1);
    }
    EXPECT_EQ(*message, expected.toStdString()) << "case " << casePath.toStdString();
}

// Every case has its message and every message its case, and names are lower-case words joined by
// hyphens, so that each gives a distinct test name.
inline void expectCasesComplete(const QString& dir) {
    const std::vector<std::string> cases = caseFiles(dir, QStringLiteral(".json"));
    EXPECT_FALSE(cases.empty()) << "no cases in " << dir.toStdString();
    EXPECT_EQ(cases, caseFiles(dir, QStringLiteral(".expected")))
        << "each <name>.json in " << dir.toStdString() << " needs a <name>.expected, and back";
    static const QRegularExpression kName(QStringLiteral("^[a-z0-9]+(-[a-z0-9]+)*$"));
    for (const std::string& name : cases) {
        EXPECT_TRUE(kName.match(QString::fromStdString(name)).hasMatch()) << "badly named case: " << name;
    }
}

}  // namespace testsupport
