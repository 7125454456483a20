#pragma once
// The diagnostic's strings table: display texts looked up by key, in the user's language as the
// locale environment tells it (English where the table has no such language, or the language no
// such key), the empty string for a key the table does not hold.

#include <QString>
#include <QStringList>

namespace wifiprofile {

QString localizedString(const QString& key);

// The same in the given language (one of stringsLanguages(), or the pseudo-language): for tests.
QString localizedString(const QString& key, const QString& language);

// The languages the table has: "en", "de", "es", "fr", "ja", "zh_CN".
QStringList stringsLanguages();

// The language the texts are shown in, chosen once from the environment.
QString stringsLanguage();

// Where the extension's resources (strings, images) live in the program's resources.
inline QString resourceRoot() {
    return QStringLiteral(":/wifiprofile");
}

}  // namespace wifiprofile
