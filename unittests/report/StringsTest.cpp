// The strings table: lookups and their places, every key the code names present in en.json, no
// text empty, places numbered from %1 without a gap, and every text the table's rows name there.

#include "ReportProfiles.h"

#include "host/report/FindingsTable.h"
#include "host/report/Strings.h"

#include <QDir>
#include <QDirIterator>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>

#include <gtest/gtest.h>

#include <set>

namespace {

std::string str(const QString& s) {
    return s.toStdString();
}

QJsonObject englishTable() {
    const QByteArray bytes =
        reporttest::readFile(reporttest::sourcePath(QStringLiteral("host/report/strings/en.json")));
    QJsonParseError error;
    const QJsonDocument doc = QJsonDocument::fromJson(bytes, &error);
    EXPECT_EQ(error.error, QJsonParseError::NoError) << str(error.errorString());
    EXPECT_TRUE(doc.isObject());
    return doc.object();
}

// The places of a text: the numbers N of its %N.
std::set<int> placesOf(const QString& text) {
    static const QRegularExpression place(QStringLiteral("%([1-9][0-9]?)"));
    std::set<int> places;
    for (auto it = place.globalMatch(text); it.hasNext();) {
        places.insert(it.next().captured(1).toInt());
    }
    return places;
}

// The namespaces of the table's keys ("finding", "summary", ...).
std::set<QString> namespacesOf(const QJsonObject& table) {
    std::set<QString> namespaces;
    for (const QString& k : table.keys()) {
        namespaces.insert(k.section(QLatin1Char('.'), 0, 0));
    }
    return namespaces;
}

// Every string literal of the host's sources that looks like a key of one of the namespaces.
std::map<QString, QString> keysNamedInSources(const std::set<QString>& namespaces) {
    static const QRegularExpression literal(
        QStringLiteral("\"([a-zA-Z][a-zA-Z0-9]*(?:\\.[a-zA-Z0-9_-]+)+)\""));
    std::map<QString, QString> keys;  // key -> a file naming it
    QDirIterator it(reporttest::sourcePath(QStringLiteral("host")),
                    {QStringLiteral("*.cpp"), QStringLiteral("*.h")}, QDir::Files,
                    QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString file = it.next();
        const QString source = QString::fromUtf8(reporttest::readFile(file));
        for (auto m = literal.globalMatch(source); m.hasNext();) {
            const QString k = m.next().captured(1);
            if (namespaces.count(k.section(QLatin1Char('.'), 0, 0))) {
                keys.emplace(k, file);
            }
        }
    }
    return keys;
}

TEST(Strings, AMissingKeyGivesTheKeyInBrackets) {
    EXPECT_EQ(str(report::text(QStringLiteral("no.such.key"))), "[no.such.key]");
}

TEST(Strings, PlacesAreFilledInOnePass) {
    // "%1 (%2)": a first argument holding "%2" stays as it is.
    EXPECT_EQ(str(report::text(QStringLiteral("summary.channelValue"),
                               {QStringLiteral("%2"), QStringLiteral("x")})),
              "%2 (x)");
    EXPECT_EQ(str(report::text(QStringLiteral("value.ping"), {QStringLiteral("3"), QStringLiteral("0")})),
              "3 ms average, 0% lost");
}

TEST(Strings, ArgumentsThatDoNotMatchThePlacesGiveTheKeyInBrackets) {
    EXPECT_EQ(str(report::text(QStringLiteral("summary.channelValue"), {QStringLiteral("1")})),
              "[summary.channelValue]");
    EXPECT_EQ(str(report::text(QStringLiteral("verdict.good"), {QStringLiteral("1")})), "[verdict.good]");
}

TEST(Strings, NoTextIsEmptyAndPlacesRunFromOneWithoutAGap) {
    const QJsonObject table = englishTable();
    ASSERT_GT(table.size(), 100);
    for (auto it = table.begin(); it != table.end(); ++it) {
        ASSERT_TRUE(it.value().isString()) << str(it.key());
        const QString t = it.value().toString();
        EXPECT_FALSE(t.trimmed().isEmpty()) << str(it.key());
        const std::set<int> places = placesOf(t);
        int expected = 1;
        for (const int p : places) {
            EXPECT_EQ(p, expected) << str(it.key()) << ": " << str(t);
            ++expected;
        }
    }
}

TEST(Strings, EveryKeyTheSourcesNameIsInTheTable) {
    const QJsonObject table = englishTable();
    const auto named = keysNamedInSources(namespacesOf(table));
    EXPECT_GT(named.size(), 100u);
    for (const auto& [k, file] : named) {
        EXPECT_TRUE(table.contains(k)) << str(k) << " (named in " << str(file) << ") is not in en.json";
    }
}

TEST(Strings, EveryKeyOfTheTableIsNamedInTheSources) {
    const QJsonObject table = englishTable();
    const auto named = keysNamedInSources(namespacesOf(table));
    for (const QString& k : table.keys()) {
        EXPECT_TRUE(named.count(k)) << str(k) << " is in en.json but no source names it";
    }
}

TEST(Strings, TheRowsTextsTakeTheirArguments) {
    const QJsonObject table = englishTable();
    const auto placesOfKey = [&](const char* k) {
        return placesOf(table.value(QString::fromLatin1(k)).toString());
    };
    for (const report::FindingRow& row : report::findingRows()) {
        for (const char* k : {row.title, row.threshold, row.meaningTrue, row.meaningFalse, row.advice}) {
            if (k) {
                EXPECT_TRUE(table.contains(QString::fromLatin1(k))) << k;
                EXPECT_TRUE(placesOfKey(k).empty()) << k << " takes no argument";
            }
        }
        if (row.valueText) {
            EXPECT_TRUE(table.contains(QString::fromLatin1(row.valueText))) << row.valueText;
            const std::size_t wanted = row.form == report::ValueForm::Channel ? 2 : 1;
            EXPECT_EQ(placesOfKey(row.valueText).size(), wanted) << row.valueText;
        }
        EXPECT_FALSE(row.form == report::ValueForm::Channel && !row.valueText) << row.key;
    }
}

}  // namespace
