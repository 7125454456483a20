#pragma once
// The diagnostic's strings table: display texts looked up by key, in the user's language (English
// when the table has no language of the user's), the empty string for an unknown key.

#include <QString>

namespace wifiprofile {

QString localizedString(const QString& key);

}  // namespace wifiprofile
