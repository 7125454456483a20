#include "wifiprofile/resources/Strings.h"

#include "platform/foundation/JsonReader.h"
#include "platform/foundation/Language.h"

#include <QFile>

#include <map>

namespace wifiprofile {

namespace {

// Reads :/wifiprofile/strings/<language>.json, a flat object of key to text. A table that cannot be
// read is empty: its texts come from English.
std::map<QString, QString> loadTable(const QString& language) {
    std::map<QString, QString> table;
    QFile file(QStringLiteral(":/wifiprofile/strings/%1.json").arg(language));
    if (!file.open(QIODevice::ReadOnly)) {
        return table;
    }
    try {
        const platform::DictionaryRef d = platform::parseJson(file.readAll()).toDictionary();
        if (d) {
            for (const auto& [key, value] : d->entries()) {
                if (value.isString() && !value.toString().isEmpty()) {
                    table[key] = value.toString();
                }
            }
        }
    } catch (const std::exception&) {
        table.clear();
    }
    return table;
}

// The user's table with English under it: a key the language lacks reads in English; the
// pseudo-language reads every English text in its form.
std::map<QString, QString> tableFor(const QString& language) {
    std::map<QString, QString> table = loadTable(QStringLiteral("en"));
    if (language == platform::pseudoLanguage()) {
        for (auto& [key, text] : table) {
            text = platform::pseudoText(text);
        }
    } else if (!language.isEmpty() && language != QLatin1String("en")) {
        for (auto& [key, text] : loadTable(language)) {
            table[key] = text;
        }
    }
    return table;
}

const std::map<QString, QString>& table() {
    static const std::map<QString, QString> strings = tableFor(stringsLanguage());
    return strings;
}

}  // namespace

QStringList stringsLanguages() {
    return {QStringLiteral("en"), QStringLiteral("de"), QStringLiteral("es"),
            QStringLiteral("fr"), QStringLiteral("ja"), QStringLiteral("zh_CN")};
}

QString stringsLanguage() {
    return platform::chooseLanguage(stringsLanguages());
}

QString localizedString(const QString& key) {
    const auto& t = table();
    const auto it = t.find(key);
    return it == t.end() ? QString() : it->second;
}

QString localizedString(const QString& key, const QString& language) {
    const auto t = tableFor(language);
    const auto it = t.find(key);
    return it == t.end() ? QString() : it->second;
}

}  // namespace wifiprofile
