#pragma once
// The texts a person reads in the summary, the report and the results screen, looked up by key in
// the host's strings table (host/report/strings/<language>.json) in the user's language as the
// locale environment tells it, English where the language is not there or lacks a key. A key that
// not even English holds gives the key itself in brackets, which tests look for.

#include <QHash>
#include <QString>
#include <QStringList>

namespace report {

// The text of key with %1, %2, ... replaced by args in order.
QString text(const QString& key, const QStringList& args = {});

// A number written with a decimal point ("2.9"), as the reader's language writes it ("2,9" in
// German, French and Spanish). Only for texts a person reads: what programs read keeps the point.
QString decimalText(const QString& number);

// The languages the table has: "en", "de", "es", "fr", "ja", "zh_CN".
QStringList stringsLanguages();

// The language the texts are shown in, chosen once from the environment.
QString stringsLanguage();

// A language's texts as they are shown: English under the language's own (or, for the
// pseudo-language, English in its form).
QHash<QString, QString> stringsTable(const QString& language);

// Only what the language's own file holds: for the tests that check every language is complete.
QHash<QString, QString> ownStringsTable(const QString& language);

}  // namespace report
