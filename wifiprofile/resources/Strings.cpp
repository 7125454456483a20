#include "wifiprofile/resources/Strings.h"

#include "platform/foundation/JsonReader.h"

#include <QFile>
#include <QLocale>

#include <map>
#include <mutex>

namespace wifiprofile {

namespace {

// Reads :/wifiprofile/strings/<language>.json, a flat object of key to text.
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
                table[key] = value.toString();
            }
        }
    } catch (const std::exception&) {
        table.clear();  // a broken table reads as empty: every text falls back to the empty string
    }
    return table;
}

const std::map<QString, QString>& table() {
    static const std::map<QString, QString> strings = [] {
        auto t = loadTable(QLocale().name().section(u'_', 0, 0));
        return t.empty() ? loadTable(QStringLiteral("en")) : t;
    }();
    return strings;
}

}  // namespace

QString localizedString(const QString& key) {
    const auto& t = table();
    const auto it = t.find(key);
    return it == t.end() ? QString() : it->second;
}

}  // namespace wifiprofile
