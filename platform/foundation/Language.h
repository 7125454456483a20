#pragma once
// The user's language, as the system tells it: the locale environment read the way gettext reads it
// (the messages locale from LC_ALL, LC_MESSAGES, LANG; unless that is C, the LANGUAGE list in its
// place), matched
// against the languages a strings table has. Also the pseudo-language "en_XA" that tests use to
// find texts that escaped translation and labels too narrow for longer texts.

#include <QString>
#include <QStringList>

#include <functional>

namespace platform {

// The languages the user asks for, most wanted first, from the given environment (a variable's
// value, or an empty string when it is not set): LANGUAGE "de_AT:fr" gives {"de_AT", "fr"}, else
// the messages locale's language. Encodings and modifiers are left out ("de_DE.UTF-8@euro" is
// "de_DE"). Empty for the C or POSIX locale (LANGUAGE is then not read), for C.UTF-8 without
// LANGUAGE, or when nothing is set.
QStringList requestedLanguages(const std::function<QString(const char* variable)>& environment);

// The same, from this process's environment.
QStringList requestedLanguages();

// Of the available tables (named "en", "de", "zh_CN", ...), the one that serves the first
// requested language that any serves: "de_AT" is served by "de", "zh" and "zh_SG" by "zh_CN" (both
// write Simplified Chinese), "zh_TW" by none. "en_XA" is served by itself when available. Empty when
// none serves.
QString matchLanguage(const QStringList& requested, const QStringList& available);

// Of a strings table's languages, the one its texts are shown in: the first requested language it
// serves, the pseudo-language when that is asked for, else English.
QString chooseLanguage(const QStringList& available);

// The pseudo-language's name.
inline QString pseudoLanguage() {
    return QStringLiteral("en_XA");
}

// text in the pseudo-language: in brackets, its Latin letters accented, about 40% longer; the
// placeholders (%1 ... %99) stay as they are.
QString pseudoText(const QString& text);

}  // namespace platform
