#include "host/report/Strings.h"

#include "platform/foundation/Language.h"

#include <QFile>
#include <QHash>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLocale>

// The strings table is compiled into the report library as a Qt resource; registering it by hand
// makes it available whether the library is linked shared or static.
static void registerReportStrings() {
    Q_INIT_RESOURCE(strings);
}

namespace report {

namespace {

// One language's table as the file has it: a flat JSON object of key -> text. A table that cannot be
// read is empty.
QHash<QString, QString> readTable(const QString& language) {
    registerReportStrings();
    QHash<QString, QString> read;
    QFile file(QStringLiteral(":/report/strings/%1.json").arg(language));
    if (!file.open(QIODevice::ReadOnly)) {
        return read;
    }
    const QJsonObject object = QJsonDocument::fromJson(file.readAll()).object();
    for (auto it = object.begin(); it != object.end(); ++it) {
        if (it.value().isString() && !it.value().toString().isEmpty()) {
            read.insert(it.key(), it.value().toString());
        }
    }
    return read;
}

// The table of the language the user reads, read once. A table that cannot be read leaves every
// lookup to the bracketed key, which the tests catch.
const QHash<QString, QString>& table() {
    static const QHash<QString, QString> strings = stringsTable(stringsLanguage());
    return strings;
}

// The highest %N of a text (N from 1 to 99); 0 when it has none.
int highestPlace(const QString& text) {
    int highest = 0;
    for (qsizetype i = 0; i + 1 < text.size(); ++i) {
        if (text[i] != u'%' || !text[i + 1].isDigit() || text[i + 1] == u'0') {
            continue;
        }
        int n = text[i + 1].digitValue();
        if (i + 2 < text.size() && text[i + 2].isDigit()) {
            n = n * 10 + text[i + 2].digitValue();
        }
        highest = std::max(highest, n);
    }
    return highest;
}

}  // namespace

QStringList stringsLanguages() {
    return {QStringLiteral("en"), QStringLiteral("de"), QStringLiteral("es"),
            QStringLiteral("fr"), QStringLiteral("ja"), QStringLiteral("zh_CN")};
}

QString stringsLanguage() {
    static const QString language = platform::chooseLanguage(stringsLanguages());
    return language;
}

QString decimalText(const QString& number) {
    static const QString point = QLocale(stringsLanguage()).decimalPoint();
    QString out = number;
    return point == QLatin1String(".") ? out : out.replace(QLatin1Char('.'), point);
}

QHash<QString, QString> stringsTable(const QString& language) {
    QHash<QString, QString> strings = readTable(QStringLiteral("en"));
    if (language == platform::pseudoLanguage()) {
        for (auto it = strings.begin(); it != strings.end(); ++it) {
            *it = platform::pseudoText(*it);
        }
    } else if (language != QLatin1String("en")) {
        const QHash<QString, QString> own = readTable(language);
        for (auto it = own.begin(); it != own.end(); ++it) {
            strings.insert(it.key(), it.value());
        }
    }
    return strings;
}

QHash<QString, QString> ownStringsTable(const QString& language) {
    return readTable(language);
}

QString text(const QString& key, const QStringList& args) {
    const auto& strings = table();
    const auto found = strings.constFind(key);
    // A text whose places do not match the arguments given is a mistake of the code or of a
    // translation: it reads as missing rather than with a hole or a stray argument.
    if (found == strings.constEnd() || highestPlace(*found) != args.size()) {
        return QLatin1Char('[') + key + QLatin1Char(']');
    }
    // One pass over the text, so that an argument holding "%1" (a network's name may) is never
    // replaced again.
    const QString& pattern = *found;
    QString out;
    out.reserve(pattern.size() + 16 * args.size());
    for (qsizetype i = 0; i < pattern.size(); ++i) {
        if (pattern[i] == u'%' && i + 1 < pattern.size() && pattern[i + 1].isDigit() &&
            pattern[i + 1] != u'0') {
            int n = pattern[i + 1].digitValue();
            qsizetype end = i + 2;
            if (end < pattern.size() && pattern[end].isDigit()) {
                n = n * 10 + pattern[end].digitValue();
                ++end;
            }
            out += args[n - 1];
            i = end - 1;
            continue;
        }
        out += pattern[i];
    }
    return out;
}

}  // namespace report
