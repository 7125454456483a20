#pragma once
// The diagnostic's strings table: display texts looked up by key, in the user's language (English
// when the table has no language of the user's), the empty string for an unknown key.

#include <QString>

namespace wifiprofile {

QString localizedString(const QString& key);

// Where the extension's resources (strings, images) live in the program's resources.
inline QString resourceRoot() {
    return QStringLiteral(":/wifiprofile");
}

}  // namespace wifiprofile
