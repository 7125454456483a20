// The languages of the diagnostic's strings table and of the host's texts: every key of English in
// every language, none empty, the same places (%1, %2, ...), the "WLAN" wording where it is asked
// for; and the lookups in a language: English under it, the empty string (the diagnostic) or the
// bracketed key (the host) for a key that not even English has.

#include "host/report/Strings.h"
#include "wifiprofile/resources/Strings.h"

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>

#include <gtest/gtest.h>

#include <set>

namespace {

std::string str(const QString& s) {
    return s.toStdString();
}

const QStringList kLanguages = {"en", "de", "es", "fr", "ja", "zh_CN"};

// A table's file as written, keys in their order.
QJsonObject tableFile(const QString& folder, const QString& language) {
    QFile file(QStringLiteral(WIFIPROFILE_SOURCE_DIR "/%1/%2.json").arg(folder, language));
    EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << str(file.fileName());
    QJsonParseError error;
    const QJsonDocument doc = QJsonDocument::fromJson(file.readAll(), &error);
    EXPECT_EQ(error.error, QJsonParseError::NoError)
        << str(file.fileName()) << ": " << str(error.errorString());
    return doc.object();
}

std::multiset<QString> placesOf(const QString& text) {
    static const QRegularExpression place(QStringLiteral("%[1-9][0-9]?"));
    std::set<QString> distinct;
    for (auto it = place.globalMatch(text); it.hasNext();) {
        distinct.insert(it.next().captured());
    }
    return {distinct.begin(), distinct.end()};
}

// Every language of one table against English: the same keys, none empty, the same places.
void expectComplete(const QString& folder) {
    const QJsonObject english = tableFile(folder, QStringLiteral("en"));
    ASSERT_FALSE(english.isEmpty());
    for (const QString& language : kLanguages) {
        const QJsonObject table = tableFile(folder, language);
        for (auto it = english.begin(); it != english.end(); ++it) {
            const QString where = folder + QLatin1Char('/') + language + QStringLiteral(".json: ") + it.key();
            ASSERT_TRUE(table.contains(it.key())) << str(where) << " is missing";
            ASSERT_TRUE(table.value(it.key()).isString()) << str(where) << " is no text";
            const QString text = table.value(it.key()).toString();
            EXPECT_FALSE(text.trimmed().isEmpty()) << str(where) << " is empty";
            EXPECT_EQ(placesOf(text), placesOf(it.value().toString()))
                << str(where) << ": \"" << str(text) << "\" against \"" << str(it.value().toString()) << "\"";
            // No markup crept in: the texts are plain, the report escapes them.
            EXPECT_FALSE(text.contains(QRegularExpression(QStringLiteral("<[a-zA-Z/]"))))
                << str(where) << " holds markup";
        }
        for (auto it = table.begin(); it != table.end(); ++it) {
            EXPECT_TRUE(english.contains(it.key())) << str(folder) << "/" << str(language) << ".json has "
                                                    << str(it.key()) << ", which English has not";
        }
    }
}

TEST(Translations, TheDiagnosticsTableIsCompleteInEveryLanguage) {
    expectComplete(QStringLiteral("wifiprofile/resources/strings"));
}

TEST(Translations, TheHostsTextsAreCompleteInEveryLanguage) {
    expectComplete(QStringLiteral("host/report/strings"));
}

TEST(Translations, TheLanguagesTheCodeOffersAreTheFilesThereAre) {
    EXPECT_EQ(wifiprofile::stringsLanguages(), kLanguages);
    EXPECT_EQ(report::stringsLanguages(), kLanguages);
    for (const QString& language : kLanguages) {
        // Compiled in: the own table of every language is there and as big as English.
        EXPECT_EQ(report::ownStringsTable(language).size(),
                  report::ownStringsTable(QStringLiteral("en")).size())
            << str(language);
        EXPECT_FALSE(wifiprofile::localizedString(QStringLiteral("NEXT"), language).isEmpty())
            << str(language);
    }
}

TEST(Translations, TheWlanKeysSayWlanInEveryLanguage) {
    for (const QString& language : kLanguages) {
        for (const char* key : {"WLAN_DIAGNOSTICS", "POWER_ON_WLAN"}) {
            const QString text = wifiprofile::localizedString(QString::fromLatin1(key), language);
            EXPECT_TRUE(text.contains(QStringLiteral("WLAN")))
                << str(language) << " " << key << ": " << str(text);
            EXPECT_FALSE(text.contains(QStringLiteral("Wi-Fi")))
                << str(language) << " " << key << ": " << str(text);
        }
    }
}

TEST(Translations, ChineseSaysWiFiUnlessTheDeviceAsksForWlan) {
    const QString zh = QStringLiteral("zh_CN");
    EXPECT_EQ(str(wifiprofile::localizedString(QStringLiteral("WIFI_DIAGNOSTICS"), zh)), "Wi-Fi 诊断");
    EXPECT_EQ(str(wifiprofile::localizedString(QStringLiteral("WLAN_DIAGNOSTICS"), zh)), "WLAN 诊断");
    EXPECT_TRUE(
        wifiprofile::localizedString(QStringLiteral("POWER_ON_WIFI"), zh).contains(QStringLiteral("Wi-Fi")));
}

TEST(Translations, TheReportNamesItsLanguageForTheBrowser) {
    const std::map<QString, std::string> tags = {{"en", "en"}, {"de", "de"}, {"es", "es"},
                                                 {"fr", "fr"}, {"ja", "ja"}, {"zh_CN", "zh-CN"}};
    for (const auto& [language, tag] : tags) {
        EXPECT_EQ(str(report::stringsTable(language).value(QStringLiteral("report.page.language"))), tag);
    }
}

TEST(Translations, AKeyNoTableHoldsIsEmptyForTheDiagnostic) {
    for (const QString& language : kLanguages) {
        EXPECT_TRUE(wifiprofile::localizedString(QStringLiteral("NO_SUCH_KEY"), language).isNull())
            << str(language);
    }
    EXPECT_TRUE(wifiprofile::localizedString(QStringLiteral("NO_SUCH_KEY")).isNull());
}

TEST(Translations, ALanguageWithoutATableReadsEnglish) {
    EXPECT_EQ(str(wifiprofile::localizedString(QStringLiteral("NEXT"), QStringLiteral("ko"))), "Next");
    EXPECT_EQ(str(report::stringsTable(QStringLiteral("ko")).value(QStringLiteral("results.close"))),
              "Close");
}

TEST(Translations, ThePseudoLanguageIsEnglishInItsForm) {
    const QString next = wifiprofile::localizedString(QStringLiteral("NEXT"), QStringLiteral("en_XA"));
    EXPECT_TRUE(next.startsWith(QStringLiteral("[Ñéxt"))) << str(next);
    const auto pseudo = report::stringsTable(QStringLiteral("en_XA"));
    EXPECT_EQ(pseudo.size(), report::stringsTable(QStringLiteral("en")).size());
    EXPECT_TRUE(pseudo.value(QStringLiteral("value.ping")).contains(QStringLiteral("%2%")));
}

TEST(Translations, TestsReadEnglish) {
    // The test programs ask for English (LANGUAGE=en), so the other tests' texts hold anywhere.
    EXPECT_EQ(str(wifiprofile::stringsLanguage()), "en");
    EXPECT_EQ(str(report::stringsLanguage()), "en");
    EXPECT_EQ(str(report::text(QStringLiteral("results.close"))), "Close");
}

}  // namespace
