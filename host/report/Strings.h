#pragma once
// The texts a person reads in the summary, the report and the results screen, looked up by key in
// the host's strings table (host/report/strings/<language>.json, English first), so that languages
// are added without touching code. A key the table does not hold gives the key itself in brackets,
// which tests look for.

#include <QString>
#include <QStringList>

namespace report {

// The text of key with %1, %2, ... replaced by args in order.
QString text(const QString& key, const QStringList& args = {});

}  // namespace report
