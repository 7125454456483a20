#include "host/report/Summary.h"

#include "host/report/FindingsTable.h"
#include "host/report/Strings.h"

#include <QStringList>

#include <unistd.h>

#include <algorithm>
#include <vector>

namespace report {

using platform::DictionaryRef;
using platform::Value;

namespace {

// At most this many problems and warnings are spelt out; the rest are counted.
constexpr int kMaxItems = 5;
// A report path longer than this many columns is shortened in its middle.
constexpr int kMaxPathColumns = 2 * kSummaryMaxColumns - 12;
// A network name longer than this many columns is shortened at its end.
constexpr int kMaxNameColumns = 40;

const QString kEllipsis = QStringLiteral("\u2026");

// Ranges of characters a terminal draws two columns wide: East Asian wide and fullwidth forms
// and the emoji shown as pictures. Erring wide only shortens a line.
constexpr char32_t kWide[][2] = {
    {0x1100, 0x115F},   {0x231A, 0x231B},   {0x2329, 0x232A},   {0x23E9, 0x23EC},   {0x23F0, 0x23F0},
    {0x23F3, 0x23F3},   {0x25FD, 0x25FE},   {0x2614, 0x2615},   {0x2648, 0x2653},   {0x267F, 0x267F},
    {0x2693, 0x2693},   {0x26A1, 0x26A1},   {0x26AA, 0x26AB},   {0x26BD, 0x26BE},   {0x26C4, 0x26C5},
    {0x26CE, 0x26CE},   {0x26D4, 0x26D4},   {0x26EA, 0x26EA},   {0x26F2, 0x26F3},   {0x26F5, 0x26F5},
    {0x26FA, 0x26FA},   {0x26FD, 0x26FD},   {0x2705, 0x2705},   {0x270A, 0x270B},   {0x2728, 0x2728},
    {0x274C, 0x274C},   {0x274E, 0x274E},   {0x2753, 0x2755},   {0x2757, 0x2757},   {0x2795, 0x2797},
    {0x27B0, 0x27B0},   {0x27BF, 0x27BF},   {0x2B1B, 0x2B1C},   {0x2B50, 0x2B50},   {0x2B55, 0x2B55},
    {0x2E80, 0x303E},   {0x3041, 0x33FF},   {0x3400, 0x4DBF},   {0x4E00, 0x9FFF},   {0xA000, 0xA4CF},
    {0xA960, 0xA97F},   {0xAC00, 0xD7A3},   {0xF900, 0xFAFF},   {0xFE10, 0xFE19},   {0xFE30, 0xFE6F},
    {0xFF00, 0xFF60},   {0xFFE0, 0xFFE6},   {0x16FE0, 0x16FE4}, {0x17000, 0x18CFF}, {0x1B000, 0x1B2FF},
    {0x1F004, 0x1F004}, {0x1F0CF, 0x1F0CF}, {0x1F18E, 0x1F18E}, {0x1F191, 0x1F19A}, {0x1F200, 0x1F2FF},
    {0x1F300, 0x1F64F}, {0x1F680, 0x1F6FF}, {0x1F7E0, 0x1F7EB}, {0x1F90C, 0x1F9FF}, {0x1FA70, 0x1FAFF},
    {0x20000, 0x2FFFD}, {0x30000, 0x3FFFD},
};

int charWidth(char32_t c) {
    if (c < 0x20 || (c >= 0x7F && c < 0xA0)) {
        return 0;
    }
    const auto category = QChar::category(c);
    if (category == QChar::Mark_NonSpacing || category == QChar::Mark_Enclosing ||
        category == QChar::Other_Format || (c >= 0x1160 && c <= 0x11FF)) {
        return 0;
    }
    for (const auto& range : kWide) {
        if (c >= range[0] && c <= range[1]) {
            return 2;
        }
    }
    return 1;
}

// Characters that would steer the terminal or reorder the line: C0 and C1 controls, DEL, the
// bidirectional controls, line and paragraph separators, and half surrogate pairs.
bool unsafe(char32_t c) {
    return c < 0x20 || (c >= 0x7F && c < 0xA0) || c == 0x061C || c == 0x200E || c == 0x200F ||
           (c >= 0x2028 && c <= 0x202E) || (c >= 0x2066 && c <= 0x2069) || (c >= 0xD800 && c <= 0xDFFF);
}

// Text from the profile, safe to print: every unsafe character replaced by U+FFFD.
QString safe(const QString& text) {
    QString out;
    out.reserve(text.size());
    for (const char32_t c : text.toUcs4()) {
        if (unsafe(c)) {
            out += QChar(0xFFFD);
        } else {
            out += QString::fromUcs4(&c, 1);
        }
    }
    return out;
}

// The longest start of text that takes at most columns.
QString fitting(const QString& text, int columns) {
    QString out;
    int used = 0;
    for (const char32_t c : text.toUcs4()) {
        const int w = charWidth(c);
        if (used + w > columns) {
            break;
        }
        used += w;
        out += QString::fromUcs4(&c, 1);
    }
    return out;
}

// text shortened at its end to at most columns, with an ellipsis where it was cut.
QString elideEnd(const QString& text, int columns) {
    if (displayWidth(text) <= columns) {
        return text;
    }
    return fitting(text, columns - 1) + kEllipsis;
}

// text shortened in its middle to at most columns (a path keeps its start and its file name).
QString elideMiddle(const QString& text, int columns) {
    if (displayWidth(text) <= columns) {
        return text;
    }
    const int half = (columns - 1) / 2;
    int room = columns - 1 - half;
    QString end;
    const QList<uint> chars = text.toUcs4();
    for (auto it = chars.crbegin(); it != chars.crend(); ++it) {
        const char32_t c = *it;
        room -= charWidth(c);
        if (room < 0) {
            break;
        }
        end.prepend(QString::fromUcs4(&c, 1));
    }
    return fitting(text, half) + kEllipsis + end;
}

// A paragraph broken into lines of at most kSummaryMaxColumns: the first line starts with
// prefix, the others with indent. Words longer than a line are broken where the line ends.
QStringList wrap(const QString& paragraph, const QString& prefix, const QString& indent) {
    QStringList lines;
    QString line = prefix;
    int used = displayWidth(prefix);
    bool empty = true;
    const int indentWidth = displayWidth(indent);
    for (QString word : paragraph.split(QLatin1Char(' '), Qt::SkipEmptyParts)) {
        int w = displayWidth(word);
        if (!empty && used + 1 + w > kSummaryMaxColumns) {
            lines.push_back(line);
            line = indent;
            used = indentWidth;
            empty = true;
        }
        while (used + (empty ? 0 : 1) + w > kSummaryMaxColumns) {
            // A word that fills no line of its own: as much as fits here, the rest on the next.
            const QString part = fitting(word, kSummaryMaxColumns - used - (empty ? 0 : 1));
            if (part.isEmpty()) {
                lines.push_back(line);
                line = indent;
                used = indentWidth;
                empty = true;
                continue;
            }
            line += (empty ? QString() : QStringLiteral(" ")) + part;
            lines.push_back(line);
            line = indent;
            used = indentWidth;
            empty = true;
            word = word.mid(part.size());
            w = displayWidth(word);
        }
        if (word.isEmpty()) {
            continue;
        }
        line += (empty ? QString() : QStringLiteral(" ")) + word;
        used += (empty ? 0 : 1) + w;
        empty = false;
    }
    if (!empty || lines.isEmpty()) {
        lines.push_back(line);
    }
    return lines;
}

QString padded(const QString& text, int columns) {
    return text + QString(std::max(0, columns - displayWidth(text)), QLatin1Char(' '));
}

// ANSI select graphic rendition codes.
constexpr const char* kRed = "31";
constexpr const char* kGreen = "32";
constexpr const char* kYellow = "33";
constexpr const char* kMagenta = "35";
constexpr const char* kBold = "1";

// length characters of line from start in colour (only when wanted).
QString coloured(const QString& line, qsizetype start, qsizetype length, const char* sgr, bool colour) {
    if (!colour || length <= 0) {
        return line;
    }
    return line.left(start) + QStringLiteral("\x1b[%1m").arg(QLatin1String(sgr)) + line.mid(start, length) +
           QStringLiteral("\x1b[0m") + line.mid(start + length);
}

const char* verdictColour(Verdict verdict) {
    switch (verdict) {
        case Verdict::Good:
            return kGreen;
        case Verdict::Degraded:
            return kYellow;
        case Verdict::NotWorking:
            return kRed;
        case Verdict::Incomplete:
            return kMagenta;
    }
    return kBold;
}

// The rank of a finding among the problems and warnings: problems first, those that stop the
// connection first among them, in the order one causes the next (no address, no router, no
// names, no internet), then the joined network, the selected one and the device.
int rankOf(const Finding& finding) {
    static const char* const kCausalOrder[] = {"isIPv4Assigned", "pingedLAN", "resolvedDNS", "reachedOrvane",
                                               "retrievedOrvane"};
    int rank = finding.severity == Severity::Problem ? 0 : 100;
    const FindingRow* row = findingRow(finding.key, finding.group);
    if (row && row->connectivity) {
        for (int i = 0; i < static_cast<int>(std::size(kCausalOrder)); ++i) {
            if (finding.key == QLatin1String(kCausalOrder[i])) {
                return rank + i;
            }
        }
        return rank + static_cast<int>(std::size(kCausalOrder));
    }
    rank += 10;
    switch (finding.group) {
        case Group::CurrentNetwork:
            break;
        case Group::SelectedNetwork:
            rank += 1;
            break;
        case Group::Device:
            rank += 2;
            break;
    }
    return rank;
}

QString itemHeading(const Finding& finding) {
    const bool selected = finding.group == Group::SelectedNetwork;
    const QString value = safe(finding.value);
    if (value.isEmpty()) {
        return selected ? text(QStringLiteral("summary.itemSelected"), {finding.title}) : finding.title;
    }
    return selected ? text(QStringLiteral("summary.itemSelectedValue"), {finding.title, value})
                    : text(QStringLiteral("summary.itemValue"), {finding.title, value});
}

// The joined network's name, as its keys give it.
QString networkName(const platform::Dictionary& data) {
    if (const auto name = data.value(QStringLiteral("networkName")); name && name->isString()) {
        return name->toString();
    }
    if (const auto profile = data.value(QStringLiteral("preferredNetwork"));
        profile && profile->kind() == Value::Kind::Dictionary) {
        if (const auto ssid = profile->toDictionary()->value(QStringLiteral("SSID"));
            ssid && ssid->isString()) {
            return ssid->toString();
        }
    }
    return QString();
}

std::optional<bool> boolOf(const platform::Dictionary& data, const char* key) {
    const auto value = data.value(QLatin1String(key));
    return value && value->isBool() ? std::optional<bool>(value->toBool()) : std::nullopt;
}

QString measured(const platform::Dictionary& data, const char* flagKey) {
    const FindingRow* row = findingRow(QLatin1String(flagKey), Group::CurrentNetwork);
    return row ? safe(measuredValue(*row, data)) : QString();
}

// The key numbers of the joined network: label and value.
std::vector<std::pair<QString, QString>> keyNumbers(const platform::Dictionary& data) {
    const QString notMeasured = text(QStringLiteral("summary.notMeasured"));
    const QString notChecked = text(QStringLiteral("summary.notCheckedValue"));
    std::vector<std::pair<QString, QString>> rows;

    QString signal = measured(data, "hasPoorSignal");
    rows.emplace_back(text(QStringLiteral("summary.signal")), signal.isEmpty() ? notMeasured : signal);

    QString channel = notMeasured;
    if (const auto c = data.value(QStringLiteral("currentChannel"));
        c && (c->kind() == Value::Kind::Int || c->kind() == Value::Kind::UInt)) {
        const QString band = bandOfChannel(c->toInt());
        channel = band.isEmpty()
                      ? QString::number(c->toInt())
                      : text(QStringLiteral("summary.channelValue"), {QString::number(c->toInt()), band});
    }
    rows.emplace_back(text(QStringLiteral("summary.channel")), channel);

    const auto ping = [&](const char* flagKey) {
        const QString statistics = measured(data, flagKey);
        if (!statistics.isEmpty()) {
            return statistics;
        }
        const auto answered = boolOf(data, flagKey);
        if (answered && !*answered) {
            return text(QStringLiteral("summary.noReply"));
        }
        return answered ? text(QStringLiteral("summary.replied")) : notMeasured;
    };
    rows.emplace_back(text(QStringLiteral("summary.routerPing")), ping("pingedLAN"));
    rows.emplace_back(text(QStringLiteral("summary.internetPing")), ping("pingedWAN"));

    const auto dns = boolOf(data, "resolvedDNS");
    rows.emplace_back(
        text(QStringLiteral("summary.dns")),
        !dns ? notChecked
             : text(*dns ? QStringLiteral("summary.dnsWorks") : QStringLiteral("summary.dnsFails")));

    const auto reached = boolOf(data, "reachedOrvane");
    const auto retrieved = boolOf(data, "retrievedOrvane");
    QString internet = notChecked;
    if (reached && !*reached) {
        internet = text(QStringLiteral("summary.internetFails"));
    } else if (retrieved && !*retrieved) {
        internet = text(QStringLiteral("summary.internetAltered"));
    } else if (retrieved && *retrieved) {
        internet = text(QStringLiteral("summary.internetWorks"));
    } else if (reached) {
        internet = text(QStringLiteral("summary.internetReached"));
    }
    rows.emplace_back(text(QStringLiteral("summary.internetCheck")), internet);
    return rows;
}

}  // namespace

int displayWidth(const QString& text) {
    int width = 0;
    for (const char32_t c : text.toUcs4()) {
        width += charWidth(c);
    }
    return width;
}

bool wantsColour(bool terminal, const QByteArray& noColour, const QByteArray& term) {
    return terminal && noColour.isEmpty() && !term.isEmpty() && term != "dumb";
}

bool wantsColour() {
    return wantsColour(isatty(STDOUT_FILENO) == 1, qgetenv("NO_COLOR"), qgetenv("TERM"));
}

QString summaryText(const Profile& profile, const Findings& findings, const SummaryOptions& options) {
    const bool colour = options.colour;

    // The verdict and its sentence.
    QStringList head;
    {
        const QString verdict = text(QStringLiteral("summary.verdict"), {verdictName(findings.verdict)});
        const QStringList lines = wrap(verdict, QString(), QString());
        for (qsizetype i = 0; i < lines.size(); ++i) {
            const char* sgr = verdictColour(findings.verdict);
            head.push_back(colour ? QStringLiteral("\x1b[1;%1m").arg(QLatin1String(sgr)) + lines[i] +
                                        QStringLiteral("\x1b[0m")
                                  : lines[i]);
        }
        head += wrap(verdictSentence(findings.verdict), QString(), QString());
        head.push_back(QString());
    }

    // The problems and warnings, the most important first.
    std::vector<const Finding*> flagged;
    for (const Finding& f : findings.items) {
        if (f.severity == Severity::Problem || f.severity == Severity::Warning) {
            flagged.push_back(&f);
        }
    }
    std::stable_sort(flagged.begin(), flagged.end(),
                     [](const Finding* a, const Finding* b) { return rankOf(*a) < rankOf(*b); });
    const int problems = findings.count(Severity::Problem);
    const int warnings = findings.count(Severity::Warning);
    const int notChecked = findings.count(Severity::NotChecked);
    QStringList counts;
    if (flagged.empty()) {
        counts += wrap(text(QStringLiteral("summary.nothingToFix")), QString(), QString());
    } else {
        counts += wrap(
            text(QStringLiteral("summary.counts"), {QString::number(problems), QString::number(warnings)}),
            QString(), QString());
    }
    QStringList notCheckedLines;
    if (notChecked > 0) {
        notCheckedLines =
            wrap(text(options.reportPath.isEmpty() ? QStringLiteral("summary.notCheckedNoReport")
                                                   : QStringLiteral("summary.notChecked"),
                      {QString::number(notChecked)}),
                 QString(), QString());
    }

    // The joined network's key numbers, or why there are none.
    QStringList network;
    network.push_back(QString());
    const DictionaryRef current = profile.group(QStringLiteral("currentNetwork"));
    if (current && !current->empty()) {
        const QString name = elideEnd(safe(networkName(*current)), kMaxNameColumns);
        network += wrap(name.isEmpty() ? text(QStringLiteral("summary.networkUnnamed"))
                                       : text(QStringLiteral("summary.network"), {name}),
                        QString(), QString());
        const auto numbers = keyNumbers(*current);
        int labelWidth = 0;
        for (const auto& [label, value] : numbers) {
            labelWidth = std::max(labelWidth, displayWidth(label));
        }
        const QString indent(2 + labelWidth + 2, QLatin1Char(' '));
        for (const auto& [label, value] : numbers) {
            network +=
                wrap(value, QStringLiteral("  ") + padded(label, labelWidth) + QStringLiteral("  "), indent);
        }
    } else {
        QString why = text(QStringLiteral("reason.notJoined"));
        for (const Finding& f : findings.items) {
            if (f.group == Group::CurrentNetwork && f.severity == Severity::NotChecked) {
                why = safe(f.reason);
                break;
            }
        }
        // A long reason (a service's error) keeps to three lines, so the rest still fits.
        QStringList lines = wrap(text(QStringLiteral("summary.noNetwork"), {why}), QString(), QString());
        if (lines.size() > 3) {
            lines = lines.mid(0, 3);
            lines[2] = lines[2].left(kSummaryMaxColumns - 1) + QChar(0x2026);
        }
        network += lines;
    }

    QStringList tail;
    if (!options.reportPath.isEmpty()) {
        tail += wrap(
            text(QStringLiteral("summary.report"), {elideMiddle(safe(options.reportPath), kMaxPathColumns)}),
            QString(), QStringLiteral("  "));
    }

    // The items fill what the fixed parts leave of the 25 lines; a line is kept for "and N more".
    const int fixed =
        static_cast<int>(head.size() + counts.size() + notCheckedLines.size() + network.size() + tail.size());
    int budget = kSummaryMaxLines - fixed;
    const QString labelProblem = severityName(Severity::Problem);
    const QString labelWarning = severityName(Severity::Warning);
    const int labelWidth = std::max(displayWidth(labelProblem), displayWidth(labelWarning));
    const QString indent(2 + labelWidth + 2, QLatin1Char(' '));
    QStringList items;
    std::size_t shown = 0;
    for (const Finding* f : flagged) {
        if (shown >= static_cast<std::size_t>(kMaxItems)) {
            break;
        }
        const bool problem = f->severity == Severity::Problem;
        const QString label = padded(problem ? labelProblem : labelWarning, labelWidth);
        QStringList lines =
            wrap(itemHeading(*f), QStringLiteral("  ") + label + QStringLiteral("  "), indent);
        if (!f->advice.isEmpty()) {
            lines += wrap(f->advice, indent, indent);
        }
        const bool last = shown + 1 == flagged.size();
        if (lines.size() + (last ? 0 : 1) > budget) {
            break;
        }
        budget -= static_cast<int>(lines.size());
        lines[0] = coloured(lines[0], 2, (problem ? labelProblem : labelWarning).size(),
                            problem ? kRed : kYellow, colour);
        items += lines;
        ++shown;
    }
    if (shown < flagged.size() && budget > 0) {
        const QString more = QString::number(flagged.size() - shown);
        items += wrap(text(options.reportPath.isEmpty() ? QStringLiteral("summary.moreNoReport")
                                                        : QStringLiteral("summary.more"),
                           {more}),
                      QStringLiteral("  "), QStringLiteral("  "))
                     .mid(0, budget);
    }

    // Whatever must give way, the line saying where the report went stays.
    QStringList body = head + counts + items + notCheckedLines + network;
    while (body.size() + tail.size() > kSummaryMaxLines && !body.isEmpty()) {
        body.removeLast();
    }
    const QStringList all = body + tail;
    QString out;
    for (const QString& line : all) {
        out += line;
        out += QLatin1Char('\n');
    }
    return out;
}

}  // namespace report
