// The application in another language, as a user runs it: under a German locale the JSON, the
// saved profile and the messages stay exactly as they are (no decimal comma anywhere a program
// reads); in the pseudo-language every text on the screens, in the summary and in the report is
// translated (only the device's own data is left in plain letters) and no label is too narrow for
// the longer texts.

#include "HostProcess.h"

#include "host/report/Summary.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>

#include <clocale>
#include <cstdlib>
#include <set>

namespace {

using namespace hosttest;

// This process's environment without any locale variable, plus the given ones.
QProcessEnvironment withLocale(const std::map<QString, QString>& variables) {
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    for (const char* name : {"LANGUAGE", "LC_ALL", "LC_MESSAGES", "LC_NUMERIC", "LANG"}) {
        environment.remove(QString::fromLatin1(name));
    }
    for (const auto& [name, value] : variables) {
        environment.insert(name, value);
    }
    return environment;
}

QProcessEnvironment german() {
    return withLocale({{"LANG", "de_DE.UTF-8"}, {"LC_ALL", "de_DE.UTF-8"}, {"LANGUAGE", "de"}});
}

QProcessEnvironment pseudo() {
    return withLocale({{"LANG", "en_US.UTF-8"}, {"LANGUAGE", "en_XA"}});
}

// Whether the C library has the German locale: without it a German run would print numbers as the
// C locale does and prove nothing. The install step makes it; on CI its absence is a failure.
bool germanLocaleAvailable() {
    const std::string before = std::setlocale(LC_ALL, nullptr);
    const bool available = std::setlocale(LC_ALL, "de_DE.UTF-8") != nullptr;
    std::setlocale(LC_ALL, before.c_str());
    return available;
}

#define REQUIRE_GERMAN_LOCALE()                                                                          \
    do {                                                                                                 \
        if (!germanLocaleAvailable()) {                                                                  \
            if (std::getenv("CI")) {                                                                     \
                FAIL() << "the de_DE.UTF-8 locale is missing: scripts/install-deps.sh test makes it";    \
            }                                                                                            \
            GTEST_SKIP() << "the de_DE.UTF-8 locale is missing (scripts/install-deps.sh test makes it)"; \
        }                                                                                                \
    } while (false)

// A saved profile without what differs from one run to the next (its start and duration).
QJsonObject withoutTimes(QJsonObject profile) {
    QJsonObject metadata = profile.value(QStringLiteral("metadata")).toObject();
    EXPECT_TRUE(metadata.contains(QStringLiteral("started")));
    metadata.remove(QStringLiteral("started"));
    metadata.remove(QStringLiteral("durationMs"));
    profile.insert(QStringLiteral("metadata"), metadata);
    return profile;
}

// A text of the diagnostic's strings table in a language, as its file has it.
QString diagnosticText(const QString& language, const QString& key) {
    QFile f(QStringLiteral(WIFIPROFILE_SOURCE_DIR "/wifiprofile/resources/strings/%1.json").arg(language));
    EXPECT_TRUE(f.open(QIODevice::ReadOnly));
    return QJsonDocument::fromJson(f.readAll()).object().value(key).toString();
}

// Every word of the names and addresses a JSON value holds (network and access point names,
// BSSIDs, addresses, the interface, a model, the names of security kinds and 802.11 modes such as
// "WPA2 Personal" and "802.11ac"): the run's own data, which a translated text may show as it is.
// Values the code names in words (addressing methods, states) are not data.
void collectDataWords(const QJsonValue& value, const QString& key, std::set<QString>* words) {
    static const QRegularExpression word(QStringLiteral("\\p{L}+"));
    static const QRegularExpression dataKey(
        QStringLiteral("ssid|name|bssid|address|gateway|interface|country|model|server|domain|url|host|"
                       "security|phymode"),
        QRegularExpression::CaseInsensitiveOption);
    if (value.isString()) {
        if (dataKey.match(key).hasMatch()) {
            for (auto it = word.globalMatch(value.toString()); it.hasNext();) {
                words->insert(it.next().captured());
            }
        }
    } else if (value.isArray()) {
        for (const QJsonValue& v : value.toArray()) {
            collectDataWords(v, key, words);
        }
    } else if (value.isObject()) {
        const QJsonObject object = value.toObject();
        for (auto it = object.begin(); it != object.end(); ++it) {
            collectDataWords(it.value(), it.key(), words);
        }
    }
}

// What of text lies outside the pseudo-language's brackets (they nest where one text holds another).
QString outsidePseudo(const QString& text) {
    QString outside;
    int depth = 0;
    for (const QChar c : text) {
        if (c == u'[') {
            ++depth;
        } else if (c == u']' && depth > 0) {
            --depth;
        } else if (depth == 0) {
            outside += c;
        }
    }
    return outside;
}

// The words of plain letters that text shows outside the pseudo-language and that the data does not
// hold: texts that escaped translation.
QStringList escapedWords(const QString& text, const std::set<QString>& data) {
    // Whole words: the pseudo-language's accented letters belong to the word they are in.
    static const QRegularExpression word(QStringLiteral("\\p{L}+"));
    static const QRegularExpression plain(QStringLiteral("^[A-Za-z]{2,}$"));
    QStringList escaped;
    for (auto it = word.globalMatch(outsidePseudo(text)); it.hasNext();) {
        const QString w = it.next().captured();
        if (plain.match(w).hasMatch() && !data.count(w)) {
            escaped.push_back(w);
        }
    }
    return escaped;
}

// Every text a snapshot of a screen shows (titles, buttons, labels, headers, rows, the alert).
void collectScreenTexts(const Value& value, const QString& key, QStringList* texts) {
    static const std::set<QString> notShown = {"barPosition", "image", "style"};
    if (value.kind() == Value::Kind::String) {
        if (!notShown.count(key) && !value.toString().isEmpty()) {
            texts->push_back(value.toString());
        }
    } else if (value.kind() == Value::Kind::Array) {
        for (const Value& v : *value.toArray()) {
            collectScreenTexts(v, key, texts);
        }
    } else if (value.kind() == Value::Kind::Dictionary) {
        for (const auto& [k, v] : value.toDictionary()->entries()) {
            collectScreenTexts(v, k, texts);
        }
    }
}

class LanguageRunTest : public HostRunTest {
  protected:
    QByteArray readFile(const QString& path) {
        QFile f(path);
        EXPECT_TRUE(f.open(QIODevice::ReadOnly)) << str(path);
        return f.readAll();
    }

    // The data words of a saved profile (its result and every answer of the service), and the
    // name the report is saved under when none is typed (a file name, not a text).
    std::set<QString> dataOf(const QString& savedProfile) {
        std::set<QString> words = {QStringLiteral("wifi"), QStringLiteral("profile"),
                                   QStringLiteral("report"), QStringLiteral("html")};
        const QJsonObject profile = QJsonDocument::fromJson(readFile(savedProfile)).object();
        EXPECT_FALSE(profile.isEmpty()) << str(savedProfile);
        collectDataWords(profile.value(QStringLiteral("result")), QString(), &words);
        collectDataWords(profile.value(QStringLiteral("answers")), QString(), &words);
        // The report's appendix: the parameters by their names, the backend and the machine as the
        // system names them, and times in UTC.
        const QJsonObject metadata = profile.value(QStringLiteral("metadata")).toObject();
        for (const QString& name : metadata.value(QStringLiteral("parameters")).toObject().keys()) {
            words.insert(name);
        }
        collectDataWords(metadata.value(QStringLiteral("backend")), QStringLiteral("name"), &words);
        collectDataWords(metadata.value(QStringLiteral("machine")), QStringLiteral("name"), &words);
        words.insert(QStringLiteral("UTC"));
        return words;
    }

    // Plays script on the screens in the pseudo-language; every text of every snapshot must be
    // translated or data, and none may overflow. Answers the texts of each snapshot checked.
    std::vector<QStringList> expectScreensTranslated(const QStringList& arguments, const QByteArray& script) {
        const QString save = dir.filePath(QStringLiteral("screens-%1.json").arg(runs + 1));
        QProcessEnvironment environment = pseudo();
        environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
        const HostRun r =
            run(arguments + QStringList{QStringLiteral("--ui"), QStringLiteral("--automation"),
                                        write(QStringLiteral("script-%1.json").arg(runs + 1), script),
                                        QStringLiteral("--format"), QStringLiteral("json"),
                                        QStringLiteral("--save"), save},
                environment);
        EXPECT_EQ(r.exitCode, 0) << str(r.err);
        const std::set<QString> data = dataOf(save);
        std::vector<QStringList> checked;
        for (const auto& snapshot : r.eventsOf(QStringLiteral("snapshot"))) {
            const auto screen = field(snapshot, "screen").toDictionary();
            const QString where = field(snapshot, "place").toString();
            EXPECT_FALSE(screen->value(QStringLiteral("overflowing")).has_value())
                << "at " << str(where) << " texts do not fit: " << json(field(screen, "overflowing"));
            QStringList texts;
            collectScreenTexts(Value::dictionary(screen), QString(), &texts);
            EXPECT_FALSE(texts.isEmpty());
            for (const QString& text : texts) {
                EXPECT_TRUE(escapedWords(text, data).isEmpty())
                    << "at " << str(where) << " \"" << str(text) << "\" shows untranslated "
                    << str(escapedWords(text, data).join(QStringLiteral(", ")));
            }
            checked.push_back(texts);
        }
        return checked;
    }
};

TEST_F(LanguageRunTest, AGermanLocaleLeavesTheJsonLineAndTheSavedProfileAsTheyAre) {
    REQUIRE_GERMAN_LOCALE();
    const QStringList arguments = {QStringLiteral("--format"), QStringLiteral("json"),
                                   QStringLiteral("--network-name"), QStringLiteral("CityConnect Free")};
    const QString plainSave = dir.filePath(QStringLiteral("plain.json"));
    const QString germanSave = dir.filePath(QStringLiteral("german.json"));
    const HostRun plain = run(arguments + QStringList{QStringLiteral("--save"), plainSave}, withLocale({}));
    const HostRun inGerman = run(arguments + QStringList{QStringLiteral("--save"), germanSave}, german());
    ASSERT_EQ(plain.exitCode, 0) << str(plain.err);
    ASSERT_EQ(inGerman.exitCode, 0) << str(inGerman.err);
    // Byte for byte: the numbers (3.5, -54.25, ...) keep their points.
    EXPECT_EQ(inGerman.out.toStdString(), plain.out.toStdString());
    EXPECT_TRUE(plain.out.contains('.')) << "the result holds no fraction to check";
    EXPECT_EQ(str(inGerman.err), str(plain.err));
    const QJsonObject plainProfile = QJsonDocument::fromJson(readFile(plainSave)).object();
    const QJsonObject germanProfile = QJsonDocument::fromJson(readFile(germanSave)).object();
    ASSERT_FALSE(plainProfile.isEmpty());
    EXPECT_EQ(withoutTimes(germanProfile), withoutTimes(plainProfile));
}

TEST_F(LanguageRunTest, AGermanLocaleGivesAGermanSummaryAndReport) {
    const QString report = dir.filePath(QStringLiteral("bericht.html"));
    const HostRun r = run(
        {QStringLiteral("--format"), QStringLiteral("text"), QStringLiteral("--report"), report}, german());
    ASSERT_EQ(r.exitCode, 0) << str(r.err);
    const QString summary = QString::fromUtf8(r.out);
    EXPECT_TRUE(summary.startsWith(QStringLiteral("WLAN: Eingeschränkt"))) << str(summary);
    EXPECT_TRUE(summary.contains(QStringLiteral("Signal"))) << str(summary);
    // Numbers for a person are written as German writes them; the JSON keeps its points.
    EXPECT_TRUE(summary.contains(QStringLiteral("durchschnittlich 2,9 ms"))) << str(summary);
    const QString page = QString::fromUtf8(readFile(report));
    EXPECT_TRUE(page.contains(QStringLiteral("<html lang=\"de\">")));
    EXPECT_TRUE(page.contains(QStringLiteral("Alle Befunde"))) << "the findings' heading in German";
}

TEST_F(LanguageRunTest, ChineseWithTheWapiCapabilitySaysWlanOnTheList) {
    // The built-in home set-up on a device with the "wapi" capability.
    QFile home(QStringLiteral(WIFIPROFILE_SOURCE_DIR "/scenarios/default.json"));
    ASSERT_TRUE(home.open(QIODevice::ReadOnly));
    QByteArray wapi = home.readAll();
    ASSERT_TRUE(wapi.contains(R"("capabilities": {"wapi": false})"));
    wapi.replace(R"("capabilities": {"wapi": false})", R"("capabilities": {"wapi": true})");
    const QString scenario = write(QStringLiteral("wapi.json"), wapi);
    const QString script =
        write(QStringLiteral("script.json"),
              R"([{"snapshot": true}, {"tap": "NEXT"}, {"waitForResults": true}, {"tap": "CLOSE"}])");
    const HostRun r =
        run({QStringLiteral("--list"), QStringLiteral("--ui"), QStringLiteral("--scenario"), scenario,
             QStringLiteral("--automation"), script, QStringLiteral("--format"), QStringLiteral("json")},
            withLocale({{"LANG", "zh_CN.UTF-8"}, {"QT_QPA_PLATFORM", "offscreen"}}));
    ASSERT_EQ(r.exitCode, 0) << str(r.err);
    const auto snapshots = r.eventsOf(QStringLiteral("snapshot"));
    ASSERT_EQ(snapshots.size(), 1u);
    const auto screen = field(snapshots[0], "screen").toDictionary();
    EXPECT_EQ(str(field(screen, "title").toString()), "WLAN 诊断");
    EXPECT_EQ(str(field(field(screen, "rightButton").toDictionary(), "title").toString()),
              str(diagnosticText(QStringLiteral("zh_CN"), QStringLiteral("NEXT"))));
    EXPECT_EQ(str(diagnosticText(QStringLiteral("zh_CN"), QStringLiteral("WLAN_DIAGNOSTICS"))), "WLAN 诊断");
}

TEST_F(LanguageRunTest, ThePseudoLanguageLeavesNothingUntranslatedOnTheListItsAlertsAndTheResults) {
    const auto checked = expectScreensTranslated(
        {QStringLiteral("--list")},
        R"([{"snapshot": true}, {"tap": "OTHER"}, {"snapshot": true}, {"tap": "CANCEL"},
            {"tapNetwork": "Casa Moreno"}, {"snapshot": true}, {"tap": "NEXT"}, {"waitMs": 200},
            {"snapshot": true}, {"waitForResults": true}, {"snapshot": true}, {"tap": "SAVE_REPORT"},
            {"snapshot": true}, {"tap": "CANCEL"}, {"tap": "CLOSE"}])");
    ASSERT_EQ(checked.size(), 6u);
    // The fourth is the progress screen, pictured while the tests run.
    EXPECT_TRUE(checked[3].contains(QStringLiteral("[Prõfîlîñg Wî-Fî… ····· ·]")))
        << str(checked[3].join(u'|'));
}

TEST_F(LanguageRunTest, ThePseudoLanguageLeavesNothingUntranslatedInThePowerAlert) {
    const auto checked = expectScreensTranslated(
        {QStringLiteral("--list"), QStringLiteral("--scenario"),
         QStringLiteral(WIFIPROFILE_SOURCE_DIR "/scenarios/list-power-on-accept.json")},
        R"([{"snapshot": true}, {"tap": "YES"}, {"snapshot": true}, {"tap": "NEXT"},
            {"waitForResults": true}, {"snapshot": true}, {"tap": "CLOSE"}])");
    EXPECT_EQ(checked.size(), 3u);
}

TEST_F(LanguageRunTest, ThePseudoLanguageLeavesNothingUntranslatedInTheSummaryOrTheReport) {
    const QString save = dir.filePath(QStringLiteral("profile.json"));
    const QString report = dir.filePath(QStringLiteral("report.html"));
    const HostRun r = run({QStringLiteral("--format"), QStringLiteral("text"),
                           QStringLiteral("--network-name"), QStringLiteral("CityConnect Free"),
                           QStringLiteral("--save"), save, QStringLiteral("--report"), report},
                          pseudo());
    ASSERT_EQ(r.exitCode, 0) << str(r.err);
    std::set<QString> data = dataOf(save);
    for (const QString& part :
         dir.path().split(QRegularExpression(QStringLiteral("[^A-Za-z]+")), Qt::SkipEmptyParts)) {
        data.insert(part);  // the report's path, which the summary names
    }
    // The summary's longer texts still keep to its lines and columns; a text wrapped over several
    // lines is checked whole.
    const QString summary = QString::fromUtf8(r.out);
    const QStringList lines = summary.split(u'\n');
    EXPECT_LE(lines.size(), report::kSummaryMaxLines + 1) << r.out.toStdString();
    for (const QString& line : lines) {
        EXPECT_LE(report::displayWidth(line), report::kSummaryMaxColumns) << str(line);
    }
    EXPECT_GT(lines.size(), 10);
    EXPECT_TRUE(escapedWords(summary, data).isEmpty())
        << "the summary shows untranslated " << str(escapedWords(summary, data).join(QStringLiteral(", ")))
        << ":\n"
        << r.out.toStdString();
    // The report's texts: what lies between its tags, without its style sheet and the profile's data.
    QString page = QString::fromUtf8(readFile(report));
    page.remove(QRegularExpression(QStringLiteral("<style[^>]*>.*?</style>"),
                                   QRegularExpression::DotMatchesEverythingOption));
    page.remove(QRegularExpression(QStringLiteral("<script[^>]*>.*?</script>"),
                                   QRegularExpression::DotMatchesEverythingOption));
    const QStringList texts = page.split(QRegularExpression(QStringLiteral("<[^>]*>")), Qt::SkipEmptyParts);
    int checked = 0;
    for (QString text : texts) {
        text = text.replace(QStringLiteral("&amp;"), QStringLiteral("&"))
                   .replace(QStringLiteral("&quot;"), QStringLiteral("\""));
        text.remove(QRegularExpression(QStringLiteral("&[a-z]+;|&#[0-9]+;")));
        if (text.trimmed().isEmpty()) {
            continue;
        }
        ++checked;
        EXPECT_TRUE(escapedWords(text, data).isEmpty())
            << "the report's \"" << str(text.trimmed()) << "\" shows untranslated "
            << str(escapedWords(text, data).join(QStringLiteral(", ")));
    }
    EXPECT_GT(checked, 200);
}

}  // namespace
