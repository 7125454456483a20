#include "platform/foundation/Language.h"

#include <QHash>

namespace platform {

namespace {

// "de_DE.UTF-8@euro" -> "de_DE"; "C.UTF-8" -> "C".
QString languageOfLocale(QString locale) {
    locale = locale.section(u'@', 0, 0).section(u'.', 0, 0).trimmed();
    return locale.replace(u'-', u'_');
}

// The C library's own locale: no language at all. "C.UTF-8" is a locale of its own, under which
// gettext reads LANGUAGE.
bool isCLocale(const QString& locale) {
    return locale.trimmed() == QLatin1String("C") || locale.trimmed() == QLatin1String("POSIX");
}

bool isLanguage(const QString& language) {
    return !language.isEmpty() && language != QLatin1String("C") && language != QLatin1String("POSIX");
}

QString baseLanguage(const QString& language) {
    return language.section(u'_', 0, 0);
}

// The table that serves one requested language, or "".
QString servingTable(const QString& requested, const QStringList& available) {
    if (available.contains(requested)) {
        return requested;
    }
    const QString base = baseLanguage(requested);
    if (base == QLatin1String("zh")) {
        // Only the regions that write Simplified Chinese; Taiwan, Hong Kong and Macao write
        // Traditional Chinese, which the Simplified table does not serve.
        const QString region = requested.section(u'_', 1, 1);
        const bool simplified = region.isEmpty() || region == QLatin1String("CN") ||
                                region == QLatin1String("SG") || region == QLatin1String("Hans");
        return simplified && available.contains(QStringLiteral("zh_CN")) ? QStringLiteral("zh_CN")
                                                                         : QString();
    }
    if (requested == pseudoLanguage()) {
        return QString();  // never English in disguise: only its own table serves it
    }
    return available.contains(base) ? base : QString();
}

}  // namespace

QStringList requestedLanguages(const std::function<QString(const char* variable)>& environment) {
    // The messages locale: the first of LC_ALL, LC_MESSAGES, LANG that is set.
    QString locale;
    for (const char* variable : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        locale = environment(variable);
        if (!locale.isEmpty()) {
            break;
        }
    }
    if (locale.isEmpty() || isCLocale(locale)) {
        return {};  // the C locale, or none: LANGUAGE is not read then, as gettext does
    }
    // A LANGUAGE list replaces the messages locale's language, as in gettext.
    QStringList languages;
    for (const QString& entry : environment("LANGUAGE").split(u':', Qt::SkipEmptyParts)) {
        const QString language = languageOfLocale(entry);
        if (isLanguage(language) && !languages.contains(language)) {
            languages.push_back(language);
        }
    }
    if (languages.isEmpty() && isLanguage(languageOfLocale(locale))) {
        languages.push_back(languageOfLocale(locale));
    }
    return languages;
}

QStringList requestedLanguages() {
    return requestedLanguages([](const char* variable) { return QString::fromLocal8Bit(qgetenv(variable)); });
}

QString matchLanguage(const QStringList& requested, const QStringList& available) {
    for (const QString& language : requested) {
        if (const QString table = servingTable(language, available); !table.isEmpty()) {
            return table;
        }
    }
    return QString();
}

QString chooseLanguage(const QStringList& available) {
    const QString matched = matchLanguage(requestedLanguages(), available + QStringList{pseudoLanguage()});
    return matched.isEmpty() ? QStringLiteral("en") : matched;
}

QString pseudoText(const QString& text) {
    static const QHash<QChar, QChar> accented = [] {
        const QString plain = QStringLiteral("aeiouycnsAEIOUYCNS");
        const QString marked = QStringLiteral("áéîõüýçñšÁÉÎÕÜÝÇÑŠ");
        QHash<QChar, QChar> map;
        for (qsizetype i = 0; i < plain.size(); ++i) {
            map.insert(plain[i], marked[i]);
        }
        return map;
    }();
    QString out = QStringLiteral("[");
    qsizetype letters = 0;
    for (qsizetype i = 0; i < text.size(); ++i) {
        const QChar c = text[i];
        if (c == u'%' && i + 1 < text.size() && text[i + 1].isDigit()) {
            out += c;  // a placeholder stays readable for the code that fills it
            continue;
        }
        out += accented.value(c, c);
        letters += c.isLetter() ? 1 : 0;
    }
    // About 40% longer, at least three more, as words so that wrapping still has places to break.
    const qsizetype extra = std::max<qsizetype>(3, (letters * 2 + 4) / 5);
    for (qsizetype added = 0; added < extra; added += 5) {
        out += QStringLiteral(" ") + QString(std::min<qsizetype>(5, extra - added), QChar(0x00B7));
    }
    return out + QStringLiteral("]");
}

}  // namespace platform
