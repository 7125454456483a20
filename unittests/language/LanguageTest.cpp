// The user's language from the locale environment, read as gettext reads it, matched against the
// languages a strings table has; and the pseudo-language.

#include "platform/foundation/Language.h"

#include <QRegularExpression>

#include <gtest/gtest.h>

#include <map>

namespace {

using platform::matchLanguage;
using platform::pseudoText;

QStringList requested(const std::map<std::string, QString>& environment) {
    return platform::requestedLanguages([&](const char* variable) {
        const auto it = environment.find(variable);
        return it == environment.end() ? QString() : it->second;
    });
}

const QStringList kTables = {"en", "de", "es", "fr", "ja", "zh_CN"};

TEST(RequestedLanguages, NothingSetIsNoLanguage) {
    EXPECT_TRUE(requested({}).isEmpty());
}

TEST(RequestedLanguages, LangAloneWithoutEncodingOrModifier) {
    EXPECT_EQ(requested({{"LANG", "de_DE.UTF-8"}}), QStringList{"de_DE"});
    EXPECT_EQ(requested({{"LANG", "de_DE@euro"}}), QStringList{"de_DE"});
    EXPECT_EQ(requested({{"LANG", "ja_JP.eucJP"}}), QStringList{"ja_JP"});
}

TEST(RequestedLanguages, LcAllOverLcMessagesOverLang) {
    EXPECT_EQ(requested({{"LC_ALL", "fr_FR.UTF-8"}, {"LC_MESSAGES", "es_ES"}, {"LANG", "de_DE"}}),
              QStringList{"fr_FR"});
    EXPECT_EQ(requested({{"LC_MESSAGES", "es_ES"}, {"LANG", "de_DE"}}), QStringList{"es_ES"});
}

TEST(RequestedLanguages, TheLanguageListTakesThePlaceOfTheMessagesLocale) {
    EXPECT_EQ(requested({{"LANGUAGE", "fr:de_AT"}, {"LANG", "es_ES.UTF-8"}}), (QStringList{"fr", "de_AT"}));
    EXPECT_EQ(requested({{"LANGUAGE", "es::es_ES"}, {"LANG", "de_DE.UTF-8"}}), (QStringList{"es", "es_ES"}));
    // A list of languages no table has reads English, as gettext's would, not the locale's language.
    EXPECT_EQ(requested({{"LANGUAGE", "xx"}, {"LANG", "de_DE.UTF-8"}}), QStringList{"xx"});
    EXPECT_EQ(requested({{"LANGUAGE", ""}, {"LANG", "de_DE.UTF-8"}}), QStringList{"de_DE"});
}

TEST(RequestedLanguages, TheCLocaleIgnoresLanguageAsGettextDoes) {
    EXPECT_TRUE(requested({{"LANGUAGE", "de"}, {"LANG", "C"}}).isEmpty());
    EXPECT_TRUE(requested({{"LANGUAGE", "de"}, {"LC_ALL", "C"}, {"LANG", "de_DE.UTF-8"}}).isEmpty());
    EXPECT_TRUE(requested({{"LANGUAGE", "de"}, {"LC_ALL", "POSIX"}}).isEmpty());
    EXPECT_TRUE(requested({{"LANGUAGE", "de"}}).isEmpty());
}

TEST(RequestedLanguages, CUtf8IsALocaleUnderWhichLanguageIsRead) {
    EXPECT_EQ(requested({{"LANGUAGE", "de"}, {"LANG", "C.UTF-8"}}), QStringList{"de"});
    EXPECT_TRUE(requested({{"LANG", "C.UTF-8"}}).isEmpty());
}

TEST(MatchLanguage, ARegionIsServedByItsLanguage) {
    EXPECT_EQ(matchLanguage({"de_AT"}, kTables), "de");
    EXPECT_EQ(matchLanguage({"fr_CA"}, kTables), "fr");
    EXPECT_EQ(matchLanguage({"es_MX"}, kTables), "es");
    EXPECT_EQ(matchLanguage({"ja_JP"}, kTables), "ja");
    EXPECT_EQ(matchLanguage({"en_GB"}, kTables), "en");
}

TEST(MatchLanguage, SimplifiedChineseServesOnlyTheRegionsThatWriteIt) {
    EXPECT_EQ(matchLanguage({"zh_CN"}, kTables), "zh_CN");
    EXPECT_EQ(matchLanguage({"zh"}, kTables), "zh_CN");
    EXPECT_EQ(matchLanguage({"zh_SG"}, kTables), "zh_CN");
    EXPECT_EQ(matchLanguage({"zh_TW"}, kTables), "");
    EXPECT_EQ(matchLanguage({"zh_HK", "ja"}, kTables), "ja");
}

TEST(MatchLanguage, TheFirstRequestedLanguageThatIsServedWins) {
    EXPECT_EQ(matchLanguage({"pt_BR", "it", "fr", "de"}, kTables), "fr");
    EXPECT_EQ(matchLanguage({"pt_BR", "ko"}, kTables), "");
}

TEST(MatchLanguage, ThePseudoLanguageOnlyByItsOwnTable) {
    EXPECT_EQ(matchLanguage({"en_XA"}, kTables), "");
    EXPECT_EQ(matchLanguage({"en_XA"}, kTables + QStringList{"en_XA"}), "en_XA");
}

TEST(PseudoText, BracketedAccentedAndLonger) {
    const QString text = QStringLiteral("Choose a network");
    const QString pseudo = pseudoText(text);
    EXPECT_TRUE(pseudo.startsWith(u'[') && pseudo.endsWith(u']')) << pseudo.toStdString();
    EXPECT_GE(pseudo.size(), text.size() * 14 / 10) << pseudo.toStdString();
    EXPECT_FALSE(pseudo.contains(QRegularExpression(QStringLiteral("[aeiouAEIOU]")))) << pseudo.toStdString();
    EXPECT_TRUE(pseudo.contains(QStringLiteral("Çhõõšé á ñétwõrk"))) << pseudo.toStdString();
}

TEST(PseudoText, PlaceholdersStayAsTheyAre) {
    const QString pseudo = pseudoText(QStringLiteral("%1 ms average, %2% lost, %12"));
    EXPECT_TRUE(pseudo.contains(QStringLiteral("%1 ")));
    EXPECT_TRUE(pseudo.contains(QStringLiteral("%2%")));
    EXPECT_TRUE(pseudo.contains(QStringLiteral("%12")));
}

TEST(PseudoText, AShortTextStillGrows) {
    EXPECT_GE(pseudoText(QStringLiteral("OK")).size(), 2 + 2 + 4);
}

}  // namespace
