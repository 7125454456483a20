#include "host/report/Svg.h"

#include "host/report/Strings.h"

#include <algorithm>
#include <cmath>
#include <map>

namespace report {

namespace {

void appendCodePoint(QString& out, char32_t c) {
    out += QChar(0x27E8);
    out += QStringLiteral("U+%1").arg(static_cast<uint>(c), 4, 16, QLatin1Char('0')).toUpper();
    out += QChar(0x27E9);
}

}  // namespace

// Characters a reader should see rather than have them act on the text around them.
bool isShownAsCodePoint(char32_t c) {
    if (c == U'\t') {
        return false;
    }
    if (c < 0x20 || (c >= 0x7F && c <= 0x9F)) {
        return true;
    }
    switch (c) {
        case 0x061C:  // Arabic letter mark
        case 0x200B:  // zero-width space
        case 0x200E:  // left-to-right mark
        case 0x200F:  // right-to-left mark
        case 0x2028:  // line separator
        case 0x2029:  // paragraph separator
        case 0xFEFF:  // zero-width no-break space
            return true;
        default:
            break;
    }
    return (c >= 0x202A && c <= 0x202E)      // embeddings and overrides
           || (c >= 0x2060 && c <= 0x206F)   // word joiner, invisible operators, isolates
           || (c >= 0xFFF9 && c <= 0xFFFB);  // interlinear annotation
}

QString visibleText(const QString& s) {
    QString out;
    out.reserve(s.size());
    for (qsizetype i = 0; i < s.size(); ++i) {
        const QChar c = s.at(i);
        if (c.isHighSurrogate() && i + 1 < s.size() && s.at(i + 1).isLowSurrogate()) {
            out += c;
            out += s.at(++i);
            continue;
        }
        if (c.isSurrogate() || isShownAsCodePoint(c.unicode())) {
            appendCodePoint(out, c.unicode());
            continue;
        }
        out += c;
    }
    return out;
}

QString escapedText(const QString& s) {
    const QString visible = visibleText(s);
    QString out;
    out.reserve(visible.size() + 16);
    for (const QChar c : visible) {
        switch (c.unicode()) {
            case '&':
                out += QLatin1String("&amp;");
                break;
            case '<':
                out += QLatin1String("&lt;");
                break;
            case '>':
                out += QLatin1String("&gt;");
                break;
            case '"':
                out += QLatin1String("&quot;");
                break;
            case '\'':
                out += QLatin1String("&#39;");
                break;
            default:
                out += c;
        }
    }
    return out;
}

QString numberText(double value, int decimals) {
    if (std::isnan(value)) {
        return text(QStringLiteral("report.number.nan"));
    }
    if (std::isinf(value)) {
        return text(value > 0 ? QStringLiteral("report.number.infinity")
                              : QStringLiteral("report.number.negativeInfinity"));
    }
    if (value == 0.0) {
        return QStringLiteral("0");  // also -0
    }
    if (std::abs(value) < 1e15 && value == std::trunc(value)) {
        return QString::number(static_cast<qint64>(value));
    }
    QString out = QString::number(value, 'f', decimals);
    if (out.contains(QLatin1Char('.'))) {
        while (out.endsWith(QLatin1Char('0'))) {
            out.chop(1);
        }
        if (out.endsWith(QLatin1Char('.'))) {
            out.chop(1);
        }
    }
    return out == QLatin1String("-0") ? QStringLiteral("0") : decimalText(out);
}

namespace svg {

namespace {

// A coordinate or length: finite by construction, held to a sane range all the same, with one
// decimal at most.
QString c(double v) {
    if (!std::isfinite(v)) {
        v = 0.0;
    }
    v = std::clamp(v, -100000.0, 100000.0);
    QString out = QString::number(std::round(v * 10.0) / 10.0, 'f', 1);
    if (out.endsWith(QLatin1String(".0"))) {
        out.chop(2);
    }
    return out == QLatin1String("-0") ? QStringLiteral("0") : out;
}

QString t(const char* key, const QStringList& args = {}) {
    return escapedText(text(QString::fromLatin1(key), args));
}

QString svgOpen(const QString& id, double width, double height, const QString& label) {
    return QStringLiteral(
               "<svg id=\"%1\" class=\"plot\" viewBox=\"0 0 %2 %3\" role=\"img\" aria-label=\"%4\" "
               "preserveAspectRatio=\"xMidYMid meet\">")
        .arg(escapedText(id), c(width), c(height), label);
}

QString textAt(double x, double y, const QString& escaped, const char* cls = nullptr,
               const char* anchor = nullptr) {
    QString out = QStringLiteral("<text x=\"%1\" y=\"%2\"").arg(c(x), c(y));
    if (cls) {
        out += QStringLiteral(" class=\"%1\"").arg(QLatin1String(cls));
    }
    if (anchor) {
        out += QStringLiteral(" text-anchor=\"%1\"").arg(QLatin1String(anchor));
    }
    out += QLatin1Char('>') + escaped + QStringLiteral("</text>");
    return out;
}

QString line(double x1, double y1, double x2, double y2, const char* cls) {
    return QStringLiteral("<line x1=\"%1\" y1=\"%2\" x2=\"%3\" y2=\"%4\" class=\"%5\"/>")
        .arg(c(x1), c(y1), c(x2), c(y2), QLatin1String(cls));
}

QString rect(double x, double y, double w, double h, const char* cls) {
    return QStringLiteral("<rect x=\"%1\" y=\"%2\" width=\"%3\" height=\"%4\" class=\"%5\"/>")
        .arg(c(x), c(y), c(std::max(0.0, w)), c(std::max(0.0, h)), QLatin1String(cls));
}

QString dBm(double v) {
    return text(QStringLiteral("report.unit.dBm"), {numberText(v)});
}

// The drawn signal range of the channel and signal plots, in dBm.
constexpr double kFloor = -100.0;
constexpr double kCeiling = -20.0;

}  // namespace

SignalQuality signalQuality(double rssi) {
    if (rssi >= kGoodSignalFrom) {
        return SignalQuality::Good;
    }
    return rssi < kPoorSignalBelow ? SignalQuality::Poor : SignalQuality::Fair;
}

std::optional<Band> bandOfChannel(std::int64_t channel) {
    if (channel >= 1 && channel <= 14) {
        return Band::GHz2;
    }
    if (channel >= 32 && channel <= 177) {
        return Band::GHz5;
    }
    return std::nullopt;
}

// ---- channel occupancy ---------------------------------------------------------------------------

ChannelPlot channelPlot(Band band, const std::vector<AccessPoint>& accessPoints, const QString& id) {
    constexpr double kWidth = 1000, kHeight = 330;
    constexpr double kLeft = 58, kRight = 14, kTop = 34, kPlotBottom = 250;
    // Channel numbers are 5 MHz apart in both bands; a channel of w MHz spans w / 5 numbers.
    const double firstChannel = band == Band::GHz2 ? -1.0 : 30.0;
    const double lastChannel = band == Band::GHz2 ? 16.0 : 179.0;
    const auto x = [&](double channel) {
        return kLeft + (channel - firstChannel) / (lastChannel - firstChannel) * (kWidth - kLeft - kRight);
    };
    const auto y = [&](double rssi) {
        rssi = std::clamp(rssi, kFloor, kCeiling);
        return kPlotBottom - (rssi - kFloor) / (kCeiling - kFloor) * (kPlotBottom - kTop);
    };

    std::vector<const AccessPoint*> inBand;
    for (const AccessPoint& ap : accessPoints) {
        if (bandOfChannel(ap.channel) == band) {
            inBand.push_back(&ap);
        }
    }
    ChannelPlot plot;
    plot.total = inBand.size();

    // What is drawn: the marked access points first, then the strongest; ties keep the scan's order.
    std::vector<const AccessPoint*> drawn = inBand;
    std::stable_sort(drawn.begin(), drawn.end(), [](const AccessPoint* a, const AccessPoint* b) {
        const bool am = a->mark != AccessPoint::Mark::None, bm = b->mark != AccessPoint::Mark::None;
        if (am != bm) {
            return am;
        }
        return a->rssi > b->rssi;
    });
    if (drawn.size() > kMaxDrawnAccessPoints) {
        drawn.resize(kMaxDrawnAccessPoints);
    }
    plot.drawn = drawn.size();
    // Painted strongest first, so that a weak network stays visible in front of a strong one, and
    // the marked ones last, on top of all.
    std::stable_sort(drawn.begin(), drawn.end(), [](const AccessPoint* a, const AccessPoint* b) {
        const bool am = a->mark != AccessPoint::Mark::None, bm = b->mark != AccessPoint::Mark::None;
        if (am != bm) {
            return bm;
        }
        return a->rssi > b->rssi;
    });

    const QString bandName = band == Band::GHz2 ? text(QStringLiteral("report.band.2GHz"))
                                                : text(QStringLiteral("report.band.5GHz"));
    QString& s = plot.svg;
    s.reserve(4096 + drawn.size() * 220);
    s += svgOpen(id, kWidth, kHeight, t("report.plot.channels.label", {bandName}));
    s += textAt(kLeft, 20, escapedText(bandName), "plot-title");
    if (plot.drawn < plot.total) {
        s += textAt(
            kWidth - kRight, 20,
            t("report.plot.channels.capped", {QString::number(plot.drawn), QString::number(plot.total)}),
            "plot-note", "end");
    }

    // The signal grid, every 10 dBm.
    for (int level = -100; level <= -30; level += 10) {
        s += line(kLeft, y(level), kWidth - kRight, y(level), "grid");
        s += textAt(kLeft - 6, y(level) + 4, escapedText(QString::number(level)), "tick", "end");
    }
    s += line(kLeft, kPlotBottom, kWidth - kRight, kPlotBottom, "axis");
    s += line(kLeft, kTop, kLeft, kPlotBottom, "axis");

    // The channel axis: every channel of 2.4 GHz, every 20 MHz channel of 5 GHz.
    std::vector<int> ticks;
    if (band == Band::GHz2) {
        for (int ch = 1; ch <= 14; ++ch) {
            ticks.push_back(ch);
        }
    } else {
        for (int ch = 36; ch <= 64; ch += 4) {
            ticks.push_back(ch);
        }
        for (int ch = 100; ch <= 144; ch += 4) {
            ticks.push_back(ch);
        }
        for (int ch = 149; ch <= 177; ch += 4) {
            ticks.push_back(ch);
        }
    }
    for (std::size_t i = 0; i < ticks.size(); ++i) {
        const int ch = ticks[i];
        s += line(x(ch), kPlotBottom, x(ch), kPlotBottom + 4, "axis");
        // 5 GHz names every other 20 MHz channel, or the numbers would run into each other.
        const bool named = band == Band::GHz2 || ch == 36 || ch == 100 || ch == 149 ||
                           (ch < 100   ? (ch - 36) % 8 == 0
                            : ch < 149 ? (ch - 100) % 8 == 0
                                       : (ch - 149) % 8 == 0);
        if (named) {
            s += textAt(x(ch), kPlotBottom + 17, QString::number(ch), "tick", "middle");
        }
    }
    s += textAt(14, (kTop + kPlotBottom) / 2, t("report.plot.axis.signal"), "axis-title vertical", "middle");
    s += textAt((kLeft + kWidth - kRight) / 2, kHeight - 6, t("report.plot.axis.channel"), "axis-title",
                "middle");

    // Every access point of the band counted under its channel, drawn or not.
    std::map<std::int64_t, int> perChannel;
    for (const AccessPoint* ap : inBand) {
        ++perChannel[ap->channel];
    }
    s += textAt(kLeft - 6, kPlotBottom + 40, t("report.plot.channels.count"), "tick", "end");
    for (const auto& [channel, count] : perChannel) {
        s += textAt(x(static_cast<double>(channel)), kPlotBottom + 40, QString::number(count), "count",
                    "middle");
    }

    for (const AccessPoint* ap : drawn) {
        const double channel = static_cast<double>(ap->channel);
        const double half = std::clamp(ap->widthMHz, 5, 320) / 10.0;  // in channel numbers
        const double top = y(static_cast<double>(std::clamp<std::int64_t>(ap->rssi, -99, -20)));
        const char* cls = "ap";
        switch (ap->mark) {
            case AccessPoint::Mark::Joined:
                cls = "ap ap-joined";
                break;
            case AccessPoint::Mark::JoinedNetwork:
                cls = "ap ap-network";
                break;
            case AccessPoint::Mark::Selected:
                cls = "ap ap-selected";
                break;
            case AccessPoint::Mark::None:
                break;
        }
        const QString name = ap->name ? *ap->name : text(QStringLiteral("report.network.hidden"));
        s += QStringLiteral("<path class=\"%1\" d=\"M%2 %3L%4 %5H%6L%7 %3Z\"><title>%8</title></path>")
                 .arg(QLatin1String(cls), c(x(channel - half)), c(kPlotBottom), c(x(channel - half * 0.75)),
                      c(top), c(x(channel + half * 0.75)), c(x(channel + half)),
                      t("report.plot.channels.accessPoint",
                        {name, dBm(static_cast<double>(ap->rssi)), QString::number(ap->channel), ap->bssid}));
    }
    // The joined and the selected access point named above their shapes.
    for (const AccessPoint* ap : drawn) {
        if (ap->mark != AccessPoint::Mark::Joined && ap->mark != AccessPoint::Mark::Selected) {
            continue;
        }
        const QString name = ap->name ? *ap->name : text(QStringLiteral("report.network.hidden"));
        const double top = y(static_cast<double>(std::clamp<std::int64_t>(ap->rssi, -99, -20)));
        const QString label =
            text(ap->mark == AccessPoint::Mark::Joined ? QStringLiteral("report.plot.channels.joined")
                                                       : QStringLiteral("report.plot.channels.selected"),
                 {name});
        const double lx = std::clamp(x(static_cast<double>(ap->channel)), kLeft + 80, kWidth - kRight - 80);
        s += textAt(lx, std::max(kTop + 10, top - 6), escapedText(label),
                    ap->mark == AccessPoint::Mark::Joined ? "mark-label joined" : "mark-label selected",
                    "middle");
    }
    if (plot.total == 0) {
        s += textAt((kLeft + kWidth) / 2, (kTop + kPlotBottom) / 2, t("report.plot.channels.none"),
                    "plot-note", "middle");
    }
    s += QStringLiteral("</svg>");
    return plot;
}

// ---- signal --------------------------------------------------------------------------------------

QString signalPlot(const std::vector<SignalRow>& rows, const QString& id) {
    constexpr double kWidth = 1000, kLeft = 20, kRight = 20, kTop = 36, kRowHeight = 62;
    const double height = kTop + kRowHeight * static_cast<double>(rows.size()) + 34;
    const auto x = [&](double dbm) {
        dbm = std::clamp(dbm, kFloor, kCeiling);
        return kLeft + (dbm - kFloor) / (kCeiling - kFloor) * (kWidth - kLeft - kRight);
    };
    QString s = svgOpen(id, kWidth, height, t("report.plot.signal.label"));
    // The band names over the bands.
    s +=
        textAt((x(kFloor) + x(kPoorSignalBelow)) / 2, 22, t("report.signal.poorBand"), "band-name", "middle");
    s += textAt((x(kPoorSignalBelow) + x(kGoodSignalFrom)) / 2, 22, t("report.signal.fairBand"), "band-name",
                "middle");
    s += textAt((x(kGoodSignalFrom) + x(kCeiling)) / 2, 22, t("report.signal.goodBand"), "band-name",
                "middle");

    for (std::size_t i = 0; i < rows.size(); ++i) {
        const SignalRow& row = rows[i];
        const double top = kTop + kRowHeight * static_cast<double>(i);
        const double barTop = top + 22, barHeight = 22;
        s += textAt(kLeft, top + 15, escapedText(row.label), "row-label");
        s += rect(x(kFloor), barTop, x(kPoorSignalBelow) - x(kFloor), barHeight, "band-poor");
        s += rect(x(kPoorSignalBelow), barTop, x(kGoodSignalFrom) - x(kPoorSignalBelow), barHeight,
                  "band-fair");
        s += rect(x(kGoodSignalFrom), barTop, x(kCeiling) - x(kGoodSignalFrom), barHeight, "band-good");
        const bool hasSignal = row.rssi && std::isfinite(*row.rssi);
        const bool hasNoise = row.noise && std::isfinite(*row.noise);
        if (hasSignal && hasNoise) {
            s += line(x(*row.noise), barTop + barHeight / 2, x(*row.rssi), barTop + barHeight / 2, "snr");
            s += textAt(kWidth - kRight, top + 15,
                        t("report.signal.snr", {numberText(*row.rssi - *row.noise)}), "snr-label", "end");
        }
        if (hasNoise) {
            const double nx = x(*row.noise), cy = barTop + barHeight / 2;
            s += QStringLiteral("<path class=\"noise\" d=\"M%1 %2L%3 %4L%1 %5L%6 %4Z\"/>")
                     .arg(c(nx), c(cy - 7), c(nx + 7), c(cy), c(cy + 7), c(nx - 7));
            s += textAt(nx, barTop + barHeight + 14, t("report.signal.noiseAt", {dBm(*row.noise)}), "tick",
                        "middle");
        }
        if (hasSignal) {
            const double sx = x(*row.rssi);
            s += QStringLiteral("<circle cx=\"%1\" cy=\"%2\" r=\"8\" class=\"%3\"/>")
                     .arg(c(sx), c(barTop + barHeight / 2),
                          QLatin1String(row.selected ? "signal selected" : "signal"));
            // The value beside the dot, on the side with room.
            const bool roomRight = sx < kWidth - kRight - 90;
            s += textAt(roomRight ? sx + 13 : sx - 13, barTop + barHeight / 2 + 5,
                        escapedText(dBm(*row.rssi)), "value-label on-bar", roomRight ? "start" : "end");
        } else {
            s += textAt((x(kFloor) + x(kCeiling)) / 2, barTop + barHeight / 2 + 5,
                        t("report.signal.notMeasured"), "plot-note", "middle");
        }
    }
    const double axisY = kTop + kRowHeight * static_cast<double>(rows.size()) + 6;
    for (int level = -100; level <= -20; level += 10) {
        s += textAt(x(level), axisY + 8, QString::number(level), "tick", "middle");
    }
    s += textAt(kWidth / 2, axisY + 26, t("report.plot.axis.signal"), "axis-title", "middle");
    s += QStringLiteral("</svg>");
    return s;
}

// ---- pings ---------------------------------------------------------------------------------------

namespace {

std::optional<double> finite(const std::optional<double>& v) {
    return v && std::isfinite(*v) ? v : std::nullopt;
}

// The smallest of 1, 2, 2.5 and 5 times a power of ten at or above v: a fifth of it is a round step.
double niceCeiling(double v) {
    if (!(v > 0)) {
        return 1.0;
    }
    const double power = std::pow(10.0, std::floor(std::log10(v)));
    for (const double step : {1.0, 2.0, 2.5, 5.0, 10.0}) {
        if (step * power >= v) {
            return step * power;
        }
    }
    return 10.0 * power;
}

}  // namespace

QString pingPlot(const std::vector<PingRow>& rows, const QString& id) {
    constexpr double kWidth = 1000, kLeft = 170, kPlotRight = 760, kLossLeft = 810, kLossRight = 960;
    constexpr double kTop = 30, kRowHeight = 54;
    const double height = kTop + kRowHeight * static_cast<double>(rows.size()) + 40;
    double largest = 0;
    for (const PingRow& row : rows) {
        for (const auto& v : {finite(row.min), finite(row.max), finite(row.avg)}) {
            if (v) {
                largest = std::max(largest, *v);
            }
        }
        if (finite(row.avg) && finite(row.stddev)) {
            largest = std::max(largest, *row.avg + std::abs(*row.stddev));
        }
    }
    const bool anyTime = largest > 0;
    const double scale = niceCeiling(std::min(largest, 1e9));
    const auto x = [&](double ms) {
        return kLeft + std::clamp(ms, 0.0, scale) / scale * (kPlotRight - kLeft);
    };

    QString s = svgOpen(id, kWidth, height, t("report.plot.ping.label"));
    s += textAt(kLeft, 18, t("report.plot.ping.times"), "band-name");
    s += textAt(kLossLeft, 18, t("report.plot.ping.loss"), "band-name");
    const double axisY = kTop + kRowHeight * static_cast<double>(rows.size());
    if (anyTime) {
        for (int i = 0; i <= 5; ++i) {
            const double v = scale * i / 5.0;
            s += line(x(v), kTop, x(v), axisY, "grid");
            s += textAt(x(v), axisY + 16, escapedText(numberText(v)), "tick", "middle");
        }
        s += textAt((kLeft + kPlotRight) / 2, axisY + 34, t("report.plot.axis.milliseconds"), "axis-title",
                    "middle");
    } else {
        s +=
            textAt((kLeft + kPlotRight) / 2, kTop + 20, t("report.plot.ping.noTimes"), "plot-note", "middle");
    }
    for (int p = 0; p <= 100; p += 50) {
        s += textAt(kLossLeft + (kLossRight - kLossLeft) * p / 100.0, axisY + 16,
                    escapedText(text(QStringLiteral("report.unit.percent"), {QString::number(p)})), "tick",
                    "middle");
    }

    for (std::size_t i = 0; i < rows.size(); ++i) {
        const PingRow& row = rows[i];
        const double mid = kTop + kRowHeight * static_cast<double>(i) + kRowHeight / 2;
        s += textAt(kLeft - 10, mid + 4, escapedText(row.label), "row-label", "end");
        const auto min = finite(row.min), max = finite(row.max), avg = finite(row.avg),
                   sd = finite(row.stddev);
        if (min && max && *min <= *max) {
            s += line(x(*min), mid, x(*max), mid, "range");
            s += line(x(*min), mid - 8, x(*min), mid + 8, "range");
            s += line(x(*max), mid - 8, x(*max), mid + 8, "range");
        }
        if (avg && sd) {
            const double from = x(*avg - std::abs(*sd)), to = x(*avg + std::abs(*sd));
            s += rect(from, mid - 9, to - from, 18, "spread");
        }
        if (avg) {
            s += line(x(*avg), mid - 13, x(*avg), mid + 13, "average");
            s += textAt(x(*avg), mid - 16, t("report.plot.ping.average", {numberText(*avg)}), "value-label",
                        "middle");
        } else if (anyTime && !min && !max) {
            s += textAt(kLeft + 8, mid + 4, t("report.plot.ping.notMeasured"), "plot-note");
        }
        s += rect(kLossLeft, mid - 9, kLossRight - kLossLeft, 18, "loss-track");
        if (const auto loss = finite(row.loss)) {
            const double share = std::clamp(*loss, 0.0, 100.0) / 100.0;
            s += rect(kLossLeft, mid - 9, (kLossRight - kLossLeft) * share, 18, "loss");
            s += textAt(kLossRight + 6, mid + 4,
                        escapedText(text(QStringLiteral("report.unit.percent"), {numberText(*loss)})),
                        "value-label");
        } else {
            s += textAt(kLossRight + 6, mid + 4, t("report.plot.ping.lossUnknown"), "plot-note");
        }
    }
    s += QStringLiteral("</svg>");
    return s;
}

}  // namespace svg
}  // namespace report
