#include "host/report/HtmlReport.h"

#include "host/report/FindingsTable.h"
#include "host/report/Strings.h"
#include "host/report/Svg.h"
#include "platform/foundation/Json.h"
#include "platform/wifi/WiFiRecords.h"
#include "platform/wifi/sim/Scenario.h"

#include <algorithm>
#include <cmath>

namespace report {

using platform::DictionaryRef;
using platform::Value;

namespace {

// ---- text ----------------------------------------------------------------------------------------

QString esc(const QString& s) {
    return escapedText(s);
}

// Text of the profile inside running text: escaped and isolated, so that a right-to-left name
// does not reorder the words around it.
QString bdi(const QString& s) {
    return QStringLiteral("<bdi>") + escapedText(s) + QStringLiteral("</bdi>");
}

// A text of the strings table, escaped, with its arguments given as HTML already made safe (so
// that they can carry <bdi>). Each argument goes in through a private-use marker that no table
// text holds, after the table's text has been escaped.
QString html(const char* key, const QStringList& htmlArgs = {}) {
    QStringList markers;
    for (qsizetype i = 0; i < htmlArgs.size(); ++i) {
        markers << QString(QChar(0xE000)) + QString::number(i) + QChar(0xE001);
    }
    QString out = escapedText(text(QString::fromLatin1(key), markers));
    for (qsizetype i = 0; i < htmlArgs.size(); ++i) {
        out.replace(markers[i], htmlArgs[i]);
    }
    return out;
}

QString plain(const char* key, const QStringList& args = {}) {
    return text(QString::fromLatin1(key), args);
}

// ---- values of the result ------------------------------------------------------------------------

std::optional<Value> field(const DictionaryRef& group, const char* key) {
    if (!group) {
        return std::nullopt;
    }
    return group->value(QString::fromLatin1(key));
}

std::optional<double> number(const DictionaryRef& group, const char* key) {
    const auto v = field(group, key);
    return v && v->isNumber() ? std::optional<double>(v->toDouble()) : std::nullopt;
}

std::optional<QString> string(const DictionaryRef& group, const char* key) {
    const auto v = field(group, key);
    return v && v->isString() ? std::optional<QString>(v->toString()) : std::nullopt;
}

// A dictionary of the result, or the fields of a record standing where one is expected.
DictionaryRef dictionaryOf(const std::optional<Value>& v) {
    if (!v) {
        return nullptr;
    }
    if (v->kind() == Value::Kind::Dictionary) {
        return v->toDictionary();
    }
    if (v->kind() == Value::Kind::Record && v->toRecord()) {
        return v->toRecord()->fields();
    }
    return nullptr;
}

// Any value of the result in words, for the link table.
QString valueText(const Value& v) {
    switch (v.kind()) {
        case Value::Kind::Null:
            return plain("report.value.none");
        case Value::Kind::Bool:
            return plain(v.toBool() ? "report.value.yes" : "report.value.no");
        case Value::Kind::Int:
            return QString::number(v.toInt());
        case Value::Kind::UInt:
            return QString::number(v.toUInt());
        case Value::Kind::Double:
            return numberText(v.toDouble());
        case Value::Kind::String:
            return v.toString();
        case Value::Kind::Array: {
            QStringList items;
            for (const Value& item : *v.toArray()) {
                if (items.size() == 32) {
                    items << QStringLiteral("…");
                    break;
                }
                items << valueText(item);
            }
            return items.join(QStringLiteral(", "));
        }
        case Value::Kind::Date:
        case Value::Kind::Dictionary:
        case Value::Kind::Record: {
            QString json = QString::fromUtf8(platform::toJson(v));
            if (json.size() > 200) {
                json = json.left(200) + QStringLiteral("…");
            }
            return json;
        }
    }
    return QString();
}

QString dBmText(double v) {
    return plain("report.unit.dBm", {numberText(v)});
}

std::optional<svg::Band> bandOf(const std::optional<double>& channel) {
    if (!channel || !std::isfinite(*channel) || *channel != std::trunc(*channel) ||
        std::abs(*channel) > 1e6) {
        return std::nullopt;
    }
    return svg::bandOfChannel(static_cast<std::int64_t>(*channel));
}

QString bandText(svg::Band band) {
    return plain(band == svg::Band::GHz2 ? "report.band.2GHz" : "report.band.5GHz");
}

QString qualityText(double rssi) {
    switch (svg::signalQuality(rssi)) {
        case svg::SignalQuality::Good:
            return plain("report.signal.good");
        case svg::SignalQuality::Fair:
            return plain("report.signal.fair");
        case svg::SignalQuality::Poor:
            return plain("report.signal.poor");
    }
    return QString();
}

// A network's group of the result, or null when the run wrote nothing into it: the diagnostic
// always hands over a selected network's group, empty when no network was selected.
DictionaryRef networkGroup(const Profile& profile, const char* name) {
    DictionaryRef group = profile.group(QString::fromLatin1(name));
    return group && !group->empty() ? group : nullptr;
}

QString networkNameOf(const DictionaryRef& group) {
    if (const auto name = string(group, "networkName")) {
        return *name;
    }
    if (const DictionaryRef preferred = dictionaryOf(field(group, "preferredNetwork"))) {
        if (const auto ssid = preferred->value(QStringLiteral("SSID")); ssid && ssid->isString()) {
            return ssid->toString();
        }
    }
    return QString();
}

// ---- the page ------------------------------------------------------------------------------------

const char* kStyle = R"CSS(
:root{--ink:#1d2330;--muted:#5b6474;--line:#d8dce3;--paper:#fff;--soft:#f4f6f9;--good:#1a7f37;--fair:#b26b00;--poor:#c0262d;--check:#6e5bb8;--joined:#1f6feb;--selected:#d4640f}
*{box-sizing:border-box}
html{-webkit-print-color-adjust:exact;print-color-adjust:exact}
body{margin:0;background:var(--soft);color:var(--ink);font:15px/1.45 system-ui,-apple-system,"Segoe UI",Roboto,"Noto Sans","DejaVu Sans",sans-serif}
main{max-width:1100px;margin:0 auto;padding:24px 28px 48px;background:var(--paper)}
header.top{border-bottom:2px solid var(--ink);padding-bottom:10px;margin-bottom:18px}
h1{font-size:26px;margin:0 0 4px}
h2{font-size:20px;margin:30px 0 10px;padding-bottom:4px;border-bottom:1px solid var(--line)}
h3{font-size:16px;margin:20px 0 8px}
.sub{color:var(--muted);margin:0}
.verdict{border-left:8px solid var(--muted);background:var(--soft);padding:14px 18px;border-radius:4px}
.verdict h2{border:0;margin:0 0 4px;padding:0;font-size:24px}
.verdict p{margin:4px 0}
.verdict-good{border-color:var(--good)}.verdict-good h2{color:var(--good)}
.verdict-degraded{border-color:var(--fair)}.verdict-degraded h2{color:var(--fair)}
.verdict-notworking{border-color:var(--poor)}.verdict-notworking h2{color:var(--poor)}
.verdict-incomplete{border-color:var(--check)}.verdict-incomplete h2{color:var(--check)}
.counts{color:var(--muted)}
ol.top{padding-left:22px;margin:8px 0}
ol.top li{margin:6px 0}
.advice{margin:2px 0 0}
.advice::before{content:"\2192\00a0"}
table{border-collapse:collapse;width:100%;margin:8px 0 4px;font-size:14px}
th,td{text-align:left;vertical-align:top;padding:6px 8px;border-bottom:1px solid var(--line)}
thead th{background:var(--soft);font-weight:600;border-bottom:2px solid var(--line)}
tbody th{font-weight:600;width:24%}
table.findings th:nth-child(1){width:19%}table.findings th:nth-child(2){width:15%}table.findings th:nth-child(3){width:18%}table.findings th:nth-child(5){width:92px}
td.num{text-align:right;font-variant-numeric:tabular-nums;white-space:nowrap}
.link td{width:38%}
.sev{display:inline-block;padding:1px 8px;border-radius:10px;font-size:12px;font-weight:600;white-space:nowrap;color:#fff}
.sev-problem .sev{background:var(--poor)}.sev-warning .sev{background:var(--fair)}
.sev-fine .sev{background:var(--good)}.sev-notchecked .sev{background:var(--check)}
tr.sev-problem td:first-child{box-shadow:inset 4px 0 var(--poor)}
tr.sev-warning td:first-child{box-shadow:inset 4px 0 var(--fair)}
tr.sev-notchecked td:first-child{box-shadow:inset 4px 0 var(--check)}
.reason{color:var(--check);margin:2px 0 0;font-size:13px}
.note{color:var(--muted);font-size:13px;margin:4px 0}
figure{margin:10px 0 18px}
figcaption{color:var(--muted);font-size:13px;margin-top:2px}
svg.plot{display:block;width:100%;height:auto;font-size:13px;font-family:inherit}
svg .grid{stroke:#e6e9ee;stroke-width:1}
svg .axis{stroke:#8a93a3;stroke-width:1}
svg .tick{fill:var(--muted);font-size:12px}
svg .count{fill:var(--ink);font-size:12px;font-weight:600}
svg .axis-title{fill:var(--muted);font-size:12px}
svg .vertical{writing-mode:vertical-rl;transform-box:fill-box}
svg .plot-title{font-weight:700;font-size:15px;fill:var(--ink)}
svg .plot-note{fill:var(--muted);font-size:12px;font-style:italic}
svg .ap{fill:#8792a6;fill-opacity:.18;stroke:#6c7890;stroke-width:1}
svg .ap-network{fill:var(--joined);fill-opacity:.12;stroke:var(--joined);stroke-dasharray:4 3}
svg .ap-joined{fill:var(--joined);fill-opacity:.35;stroke:var(--joined);stroke-width:2.5}
svg .ap-selected{fill:var(--selected);fill-opacity:.3;stroke:var(--selected);stroke-width:2.5}
svg .mark-label{font-size:13px;font-weight:700;paint-order:stroke;stroke:#fff;stroke-width:4px}
svg .mark-label.joined{fill:var(--joined)}svg .mark-label.selected{fill:var(--selected)}
svg .band-poor{fill:#f6d5d6}svg .band-fair{fill:#fbe7c6}svg .band-good{fill:#d3efd9}
svg .band-name{fill:var(--muted);font-size:13px;font-weight:600}
svg .row-label{fill:var(--ink);font-size:14px;font-weight:600}
svg .value-label{fill:var(--ink);font-size:13px;font-weight:600}
svg .on-bar{paint-order:stroke;stroke:#fff;stroke-width:3px}
svg .signal{fill:var(--joined);stroke:#fff;stroke-width:2}svg .signal.selected{fill:var(--selected)}
svg .noise{fill:#5b6474}
svg .snr{stroke:var(--ink);stroke-width:2;stroke-dasharray:2 3}
svg .snr-label{fill:var(--ink);font-size:12px}
svg .range{stroke:var(--ink);stroke-width:2}
svg .spread{fill:var(--joined);fill-opacity:.25;stroke:var(--joined)}
svg .average{stroke:var(--joined);stroke-width:4}
svg .loss-track{fill:var(--soft);stroke:var(--line)}svg .loss{fill:var(--poor)}
.legend{display:flex;flex-wrap:wrap;gap:6px 18px;font-size:13px;color:var(--muted);margin:4px 0}
.swatch{display:inline-block;width:14px;height:10px;margin-right:5px;border:1.5px solid;vertical-align:middle}
.sw-joined{background:rgba(31,111,235,.35);border-color:var(--joined)}
.sw-network{background:rgba(31,111,235,.12);border:1.5px dashed var(--joined)}
.sw-selected{background:rgba(212,100,15,.3);border-color:var(--selected)}
.sw-other{background:rgba(135,146,166,.18);border-color:#6c7890}
dl.meta{display:grid;grid-template-columns:max-content 1fr;gap:4px 18px;margin:8px 0}
dl.meta dt{color:var(--muted)}dl.meta dd{margin:0}
details{margin:10px 0}
summary{cursor:pointer;color:var(--muted)}
ol.log{font:12px/1.4 ui-monospace,"DejaVu Sans Mono",monospace;padding-left:44px;margin:6px 0;overflow-wrap:anywhere}
.mono{font-family:ui-monospace,"DejaVu Sans Mono",monospace;font-size:13px}
footer{margin-top:30px;color:var(--muted);font-size:12px}
@media print{
 body{background:#fff;font-size:11pt}
 main{max-width:none;padding:0}
 h2{break-after:avoid}
 figure,tr,.verdict,dl.meta{break-inside:avoid}
 thead{display:table-header-group}
 .legend{break-after:avoid}
 a{color:inherit;text-decoration:none}
}
@page{margin:14mm 12mm}
)CSS";

struct Page {
    QString out;
    void add(const QString& s) { out += s; }
};

QString severityClass(Severity s) {
    switch (s) {
        case Severity::Problem:
            return QStringLiteral("sev-problem");
        case Severity::Warning:
            return QStringLiteral("sev-warning");
        case Severity::Fine:
            return QStringLiteral("sev-fine");
        case Severity::NotChecked:
            return QStringLiteral("sev-notchecked");
    }
    return QString();
}

QString verdictClass(Verdict v) {
    switch (v) {
        case Verdict::Good:
            return QStringLiteral("verdict-good");
        case Verdict::Degraded:
            return QStringLiteral("verdict-degraded");
        case Verdict::NotWorking:
            return QStringLiteral("verdict-notworking");
        case Verdict::Incomplete:
            return QStringLiteral("verdict-incomplete");
    }
    return QString();
}

QString startedText(const ProfileMetadata& m) {
    if (!m.started.isValid()) {
        return plain("report.value.unknown");
    }
    return m.started.toUTC().toString(QStringLiteral("yyyy-MM-dd HH:mm:ss 'UTC'"));
}

// ---- sections ------------------------------------------------------------------------------------

constexpr int kTopFindings = 6;

void verdictSection(Page& p, const Profile& profile, const Findings& findings) {
    p.add(
        QStringLiteral("<section id=\"verdict\" class=\"verdict %1\">").arg(verdictClass(findings.verdict)));
    p.add(QStringLiteral("<h2>%1</h2>").arg(esc(verdictName(findings.verdict))));
    p.add(QStringLiteral("<p>%1</p>").arg(esc(verdictSentence(findings.verdict))));
    p.add(QStringLiteral("<p class=\"counts\">%1</p>")
              .arg(html("report.verdict.counts", {QString::number(findings.count(Severity::Problem)),
                                                  QString::number(findings.count(Severity::Warning)),
                                                  QString::number(findings.count(Severity::Fine)),
                                                  QString::number(findings.count(Severity::NotChecked))})));
    if (!profile.finished()) {
        p.add(QStringLiteral("<p>%1</p>").arg(html("report.verdict.unfinished")));
    }
    p.add(QStringLiteral("</section>"));

    p.add(QStringLiteral("<section id=\"attention\"><h2>%1</h2>").arg(html("report.attention.heading")));
    std::vector<const Finding*> top;
    for (const Severity severity : {Severity::Problem, Severity::Warning}) {
        for (const Finding& f : findings.items) {
            if (f.severity == severity) {
                top.push_back(&f);
            }
        }
    }
    if (top.empty()) {
        p.add(QStringLiteral("<p>%1</p>").arg(html("report.attention.none")));
    } else {
        p.add(QStringLiteral("<ol class=\"top\">"));
        for (std::size_t i = 0; i < top.size() && i < kTopFindings; ++i) {
            const Finding& f = *top[i];
            p.add(QStringLiteral("<li class=\"%1\"><span class=\"sev\">%2</span> <strong>%3</strong>")
                      .arg(severityClass(f.severity), esc(severityName(f.severity)), esc(f.title)));
            if (f.group == Group::SelectedNetwork) {
                p.add(QStringLiteral(" (%1)").arg(esc(groupName(f.group))));
            }
            if (!f.value.isEmpty()) {
                p.add(QStringLiteral(": %1").arg(bdi(f.value)));
            }
            p.add(QStringLiteral("<p class=\"advice\">%1</p>")
                      .arg(esc(f.advice.isEmpty() ? f.meaning : f.advice)));
            p.add(QStringLiteral("</li>"));
        }
        p.add(QStringLiteral("</ol>"));
        if (top.size() > kTopFindings) {
            p.add(QStringLiteral("<p class=\"note\">%1</p>")
                      .arg(html("report.attention.more", {QString::number(top.size() - kTopFindings)})));
        }
    }
    p.add(QStringLiteral("</section>"));
}

void linkSection(Page& p, const Profile& profile) {
    const DictionaryRef joined = networkGroup(profile, "currentNetwork");
    const DictionaryRef selected = networkGroup(profile, "selectedNetwork");
    std::vector<DictionaryRef> columns{joined};
    if (selected) {
        columns.push_back(selected);
    }
    p.add(QStringLiteral("<section id=\"link\"><h2>%1</h2>").arg(html("report.link.heading")));
    if (!joined && !selected) {
        p.add(QStringLiteral("<p>%1</p></section>").arg(html("report.link.none")));
        return;
    }

    const QString missing = esc(plain("report.value.notMeasured"));
    // One row: its label and each column's cell, already HTML; a row whose cells are all missing is
    // left out unless it is one every report shows.
    const auto row = [&](const char* label, bool always, const auto& cell) {
        QStringList cells;
        bool any = false;
        for (const DictionaryRef& g : columns) {
            const QString c = g ? cell(g) : QString();
            any = any || !c.isEmpty();
            cells << (c.isEmpty() ? QStringLiteral("<span class=\"note\">%1</span>").arg(missing) : c);
        }
        if (!any && !always) {
            return;
        }
        p.add(QStringLiteral("<tr><th scope=\"row\">%1</th>").arg(html(label)));
        for (const QString& c : cells) {
            p.add(QStringLiteral("<td>%1</td>").arg(c));
        }
        p.add(QStringLiteral("</tr>"));
    };
    const auto plainField = [](const char* key) {
        return [key](const DictionaryRef& g) {
            const auto v = field(g, key);
            return v ? bdi(valueText(*v)) : QString();
        };
    };

    p.add(QStringLiteral("<table class=\"link\"><thead><tr><th></th><th scope=\"col\">%1</th>")
              .arg(html("report.link.joined")));
    if (selected) {
        p.add(QStringLiteral("<th scope=\"col\">%1</th>").arg(html("report.link.selected")));
    }
    p.add(QStringLiteral("</tr></thead><tbody>"));
    row("report.link.network", true, [](const DictionaryRef& g) {
        const QString name = networkNameOf(g);
        return name.isEmpty() ? QString() : bdi(name);
    });
    row("report.link.security", true, [](const DictionaryRef& g) {
        const auto v = field(g, "security");
        return v ? bdi(securityText(*v)) : QString();
    });
    row("report.link.band", true, [](const DictionaryRef& g) {
        const auto band = bandOf(number(g, "currentChannel"));
        return band ? esc(bandText(*band)) : QString();
    });
    row("report.link.channel", true, plainField("currentChannel"));
    row("report.link.signal", true, [](const DictionaryRef& g) {
        const auto v = field(g, "RSSI");
        if (!v) {
            return QString();
        }
        if (!v->isNumber() || !std::isfinite(v->toDouble())) {
            return bdi(valueText(*v));
        }
        return html("report.link.signalValue",
                    {esc(dBmText(v->toDouble())), esc(qualityText(v->toDouble()))});
    });
    row("report.link.noise", true, [](const DictionaryRef& g) {
        const auto v = field(g, "noise");
        if (!v) {
            return QString();
        }
        return v->isNumber() ? esc(dBmText(v->toDouble())) : bdi(valueText(*v));
    });
    row("report.link.snr", true, [](const DictionaryRef& g) {
        const auto rssi = number(g, "RSSI"), noise = number(g, "noise");
        if (!rssi || !noise || !std::isfinite(*rssi - *noise)) {
            return QString();
        }
        return esc(plain("report.unit.dB", {numberText(*rssi - *noise)}));
    });
    row("report.link.phyModes", true, plainField("supportedPHYModes"));
    row("report.link.rates", true, [](const DictionaryRef& g) {
        const auto v = field(g, "isUsingLegacyRates");
        if (!v || !(v->isBool() || v->isNumber())) {
            return QString();
        }
        const bool legacy = v->isBool() ? v->toBool() : v->toDouble() != 0;
        return html(legacy ? "report.link.ratesLegacy" : "report.link.ratesModern");
    });
    row("report.link.beaconInterval", false, [](const DictionaryRef& g) {
        const auto v = field(g, "beaconInterval");
        return v ? esc(plain("report.unit.timeUnits", {valueText(*v)})) : QString();
    });
    row("report.link.dtimInterval", false, plainField("DTIMInterval"));
    row("report.link.countryCode", false, plainField("adoptedCountryCode"));
    row("report.link.baseStation", false, plainField("harbexModelName"));
    p.add(QStringLiteral("</tbody></table>"));
    p.add(QStringLiteral("<p class=\"note\">%1</p>").arg(html("report.link.ratesNote")));

    std::vector<svg::SignalRow> rows;
    const auto signalRow = [&](const DictionaryRef& g, bool isSelected) {
        svg::SignalRow r;
        const QString name = networkNameOf(g);
        r.label = plain(isSelected ? "report.plot.signal.selectedRow" : "report.plot.signal.joinedRow",
                        {name.isEmpty() ? plain("report.value.unknown") : name});
        r.rssi = number(g, "RSSI");
        r.noise = number(g, "noise");
        r.selected = isSelected;
        rows.push_back(r);
    };
    if (joined) {
        signalRow(joined, false);
    }
    if (selected) {
        signalRow(selected, true);
    }
    p.add(QStringLiteral("<figure>"));
    p.add(svg::signalPlot(rows, QStringLiteral("signal-plot")));
    p.add(QStringLiteral("<figcaption>%1</figcaption></figure>")
              .arg(html("report.plot.signal.caption",
                        {numberText(svg::kGoodSignalFrom), numberText(svg::kPoorSignalBelow)})));
    p.add(QStringLiteral("</section>"));
}

constexpr std::size_t kStrongestListed = 20;

void channelSection(Page& p, const Profile& profile) {
    p.add(QStringLiteral("<section id=\"channels\"><h2>%1</h2>").arg(html("report.channels.heading")));
    const auto scan = profile.scan();
    if (scan.empty()) {
        p.add(QStringLiteral("<p>%1</p></section>").arg(html("report.channels.noScan")));
        return;
    }
    const DictionaryRef joined = networkGroup(profile, "currentNetwork");
    const DictionaryRef selected = networkGroup(profile, "selectedNetwork");
    const QString joinedName = networkNameOf(joined);
    const QString selectedName = networkNameOf(selected);
    const auto joinedChannel = number(joined, "currentChannel");

    std::vector<svg::AccessPoint> aps;
    aps.reserve(scan.size());
    std::optional<std::size_t> joinedIndex;
    for (const auto& entry : scan) {
        svg::AccessPoint ap;
        // A hidden network's entry has no name, or an empty one.
        if (entry->ssidString && !entry->ssidString->isEmpty()) {
            ap.name = entry->ssidString;
        }
        ap.bssid = entry->bssid;
        ap.rssi = entry->rssi;
        ap.channel = entry->channel.value_or(0);
        if (ap.name && !joinedName.isEmpty() && *ap.name == joinedName) {
            ap.mark = svg::AccessPoint::Mark::JoinedNetwork;
            // The access point the device is on: the joined network's strongest on its channel.
            if (joinedChannel && entry->channel && static_cast<double>(*entry->channel) == *joinedChannel &&
                (!joinedIndex || aps[*joinedIndex].rssi < ap.rssi)) {
                joinedIndex = aps.size();
            }
        } else if (ap.name && !selectedName.isEmpty() && *ap.name == selectedName) {
            ap.mark = svg::AccessPoint::Mark::Selected;
        }
        aps.push_back(std::move(ap));
    }
    if (joinedIndex) {
        aps[*joinedIndex].mark = svg::AccessPoint::Mark::Joined;
    }

    p.add(QStringLiteral("<div class=\"legend\">"));
    p.add(QStringLiteral("<span><span class=\"swatch sw-joined\"></span>%1</span>")
              .arg(html("report.channels.legendJoined")));
    p.add(QStringLiteral("<span><span class=\"swatch sw-network\"></span>%1</span>")
              .arg(html("report.channels.legendNetwork")));
    if (selected) {
        p.add(QStringLiteral("<span><span class=\"swatch sw-selected\"></span>%1</span>")
                  .arg(html("report.channels.legendSelected")));
    }
    p.add(QStringLiteral("<span><span class=\"swatch sw-other\"></span>%1</span>")
              .arg(html("report.channels.legendOther")));
    p.add(QStringLiteral("</div>"));

    std::size_t drawnAnywhere = 0;
    for (const svg::Band band : {svg::Band::GHz2, svg::Band::GHz5}) {
        const svg::ChannelPlot plot = svg::channelPlot(
            band, aps,
            band == svg::Band::GHz2 ? QStringLiteral("channels-2ghz") : QStringLiteral("channels-5ghz"));
        drawnAnywhere += plot.total;
        p.add(QStringLiteral("<figure>"));
        p.add(plot.svg);
        p.add(QStringLiteral("<figcaption>%1").arg(html("report.channels.caption", {esc(bandText(band))})));
        if (plot.drawn < plot.total) {
            p.add(QStringLiteral(" %1").arg(
                html("report.channels.capped", {QString::number(plot.drawn), QString::number(plot.total)})));
        }
        p.add(QStringLiteral("</figcaption></figure>"));
    }
    if (drawnAnywhere < aps.size()) {
        p.add(QStringLiteral("<p class=\"note\">%1</p>")
                  .arg(html("report.channels.outside", {QString::number(aps.size() - drawnAnywhere)})));
    }

    // The strongest access points as a table, for names the plots cannot show.
    std::vector<const svg::AccessPoint*> strongest;
    strongest.reserve(aps.size());
    for (const svg::AccessPoint& ap : aps) {
        strongest.push_back(&ap);
    }
    std::stable_sort(strongest.begin(), strongest.end(),
                     [](const svg::AccessPoint* a, const svg::AccessPoint* b) { return a->rssi > b->rssi; });
    if (strongest.size() > kStrongestListed) {
        strongest.resize(kStrongestListed);
    }
    p.add(QStringLiteral("<h3>%1</h3>").arg(html("report.channels.strongestHeading")));
    p.add(QStringLiteral("<table class=\"aps\"><thead><tr><th scope=\"col\">%1</th><th scope=\"col\">%2</th>"
                         "<th scope=\"col\">%3</th><th scope=\"col\">%4</th><th scope=\"col\">%5</th></tr>"
                         "</thead><tbody>")
              .arg(html("report.channels.columnNetwork"), html("report.channels.columnBssid"),
                   html("report.channels.columnChannel"), html("report.channels.columnSignal"),
                   html("report.channels.columnNote")));
    for (const svg::AccessPoint* ap : strongest) {
        QString note;
        switch (ap->mark) {
            case svg::AccessPoint::Mark::Joined:
                note = html("report.channels.noteJoined");
                break;
            case svg::AccessPoint::Mark::JoinedNetwork:
                note = html("report.channels.noteNetwork");
                break;
            case svg::AccessPoint::Mark::Selected:
                note = html("report.channels.noteSelected");
                break;
            case svg::AccessPoint::Mark::None:
                break;
        }
        const auto band = svg::bandOfChannel(ap->channel);
        const QString channel = ap->channel == 0
                                    ? esc(plain("report.value.unknown"))
                                    : (band ? html("report.channels.channelInBand",
                                                   {QString::number(ap->channel), esc(bandText(*band))})
                                            : QString::number(ap->channel));
        p.add(QStringLiteral("<tr><td>%1</td><td class=\"mono\">%2</td><td>%3</td><td class=\"num\">%4</td>"
                             "<td>%5</td></tr>")
                  .arg(ap->name ? bdi(*ap->name)
                                : QStringLiteral("<em>%1</em>").arg(html("report.network.hidden")),
                       bdi(ap->bssid), channel, esc(dBmText(static_cast<double>(ap->rssi))), note));
    }
    p.add(QStringLiteral("</tbody></table>"));
    p.add(QStringLiteral("<p class=\"note\">%1</p>")
              .arg(html("report.channels.strongestNote",
                        {QString::number(strongest.size()), QString::number(aps.size())})));
    p.add(QStringLiteral("</section>"));
}

void pingSection(Page& p, const Profile& profile) {
    p.add(QStringLiteral("<section id=\"pings\"><h2>%1</h2>").arg(html("report.ping.heading")));
    const DictionaryRef joined = networkGroup(profile, "currentNetwork");
    struct Source {
        const char* key;
        const char* flag;
        const char* label;
    };
    std::vector<svg::PingRow> rows;
    QString table;
    for (const Source& source : {Source{"pingLANResult", "pingedLAN", "report.ping.lan"},
                                 Source{"pingWANResult", "pingedWAN", "report.ping.wan"}}) {
        const DictionaryRef stats = dictionaryOf(field(joined, source.key));
        svg::PingRow row;
        row.label = plain(source.label);
        const auto stat = [&](const char* key) { return number(stats, key); };
        row.min = stat("min");
        row.avg = stat("avg");
        row.max = stat("max");
        row.stddev = stat("stddev");
        row.loss = stat("packetLoss");
        rows.push_back(row);

        const auto cell = [&](const std::optional<double>& v, const char* unit) {
            if (!v) {
                return QStringLiteral("<td class=\"num note\">%1</td>").arg(esc(plain("report.value.none")));
            }
            return QStringLiteral("<td class=\"num\">%1</td>")
                .arg(esc(std::isfinite(*v) ? plain(unit, {numberText(*v)}) : numberText(*v)));
        };
        table += QStringLiteral("<tr><th scope=\"row\">%1</th>").arg(esc(row.label));
        if (!stats) {
            const auto pinged = field(joined, source.flag);
            const char* why = !pinged                                      ? "report.ping.notRun"
                              : (pinged->toBool() || pinged->toInt() != 0) ? "report.ping.noStatistics"
                                                                           : "report.ping.failed";
            table += QStringLiteral("<td colspan=\"6\" class=\"note\">%1</td></tr>").arg(html(why));
            continue;
        }
        const auto count = stats->value(QStringLiteral("count"));
        table += QStringLiteral("<td class=\"num\">%1</td>").arg(count ? bdi(valueText(*count)) : QString());
        table += cell(row.min, "report.unit.milliseconds");
        table += cell(row.avg, "report.unit.milliseconds");
        table += cell(row.max, "report.unit.milliseconds");
        table += cell(row.stddev, "report.unit.milliseconds");
        table += cell(row.loss, "report.unit.percent");
        table += QStringLiteral("</tr>");
    }
    p.add(QStringLiteral("<figure>"));
    p.add(svg::pingPlot(rows, QStringLiteral("ping-plot")));
    p.add(QStringLiteral("<figcaption>%1</figcaption></figure>").arg(html("report.plot.ping.caption")));
    p.add(QStringLiteral("<table class=\"pings\"><thead><tr><th></th><th scope=\"col\">%1</th>"
                         "<th scope=\"col\">%2</th><th scope=\"col\">%3</th><th scope=\"col\">%4</th>"
                         "<th scope=\"col\">%5</th><th scope=\"col\">%6</th></tr></thead><tbody>")
              .arg(html("report.ping.count"), html("report.ping.min"), html("report.ping.avg"),
                   html("report.ping.max"), html("report.ping.spread"), html("report.ping.loss")));
    p.add(table);
    p.add(QStringLiteral("</tbody></table></section>"));
}

void findingsSection(Page& p, const Findings& findings) {
    p.add(QStringLiteral("<section id=\"findings\"><h2>%1</h2>").arg(html("report.findings.heading")));
    if (findings.items.empty()) {
        p.add(QStringLiteral("<p>%1</p>").arg(html("report.findings.none")));
    }
    bool open = false;
    std::optional<Group> current;
    for (const Finding& f : findings.items) {
        if (f.group != current) {
            if (open) {
                p.add(QStringLiteral("</tbody></table>"));
            }
            current = f.group;
            open = true;
            p.add(QStringLiteral("<h3>%1</h3>").arg(esc(groupName(f.group))));
            p.add(
                QStringLiteral(
                    "<table class=\"findings\"><thead><tr><th scope=\"col\">%1</th><th scope=\"col\">%2</th>"
                    "<th scope=\"col\">%3</th><th scope=\"col\">%4</th><th scope=\"col\">%5</th></tr>"
                    "</thead><tbody>")
                    .arg(html("report.findings.columnTest"), html("report.findings.columnValue"),
                         html("report.findings.columnThreshold"), html("report.findings.columnMeaning"),
                         html("report.findings.columnSeverity")));
        }
        p.add(QStringLiteral("<tr class=\"%1\" data-key=\"%2\"><td>%3</td><td>%4</td><td>%5</td><td>%6")
                  .arg(severityClass(f.severity), esc(f.key), esc(f.title),
                       f.value.isEmpty() ? QString() : bdi(f.value), esc(f.threshold), esc(f.meaning)));
        if (!f.advice.isEmpty()) {
            p.add(QStringLiteral("<p class=\"advice\">%1</p>").arg(esc(f.advice)));
        }
        if (!f.reason.isEmpty()) {
            p.add(QStringLiteral("<p class=\"reason\">%1</p>")
                      .arg(html("report.findings.reason", {bdi(f.reason)})));
        }
        p.add(QStringLiteral("</td><td><span class=\"sev\">%1</span></td></tr>")
                  .arg(esc(severityName(f.severity))));
    }
    if (open) {
        p.add(QStringLiteral("</tbody></table>"));
    }
    p.add(QStringLiteral("</section>"));
}

constexpr std::size_t kLogLinesShown = 400;

void appendixSection(Page& p, const Profile& profile) {
    const ProfileMetadata& m = profile.metadata;
    p.add(QStringLiteral("<section id=\"appendix\"><h2>%1</h2><dl class=\"meta\">")
              .arg(html("report.appendix.heading")));
    const auto item = [&](const char* label, const QString& valueHtml) {
        p.add(QStringLiteral("<dt>%1</dt><dd>%2</dd>").arg(html(label), valueHtml));
    };
    const auto orUnknown = [](const QString& s) {
        return s.isEmpty() ? esc(plain("report.value.unknown")) : bdi(s);
    };
    item("report.appendix.backend", orUnknown(m.backend));
    if (!m.scenario.isEmpty()) {
        // The built-in scenario is named by a text of its own; a file by its path.
        item("report.appendix.scenario", m.scenario == QLatin1String(platform::sim::kBuiltInScenarioFile)
                                             ? html("report.appendix.builtInScenario")
                                             : bdi(m.scenario));
    }
    item("report.appendix.machine", orUnknown(m.machine));
    item("report.appendix.version", orUnknown(m.version));
    item("report.appendix.qtVersion", orUnknown(m.qtVersion));
    item("report.appendix.started", esc(startedText(m)));
    item("report.appendix.duration",
         esc(plain("report.unit.seconds", {numberText(static_cast<double>(m.durationMs) / 1000.0, 1)})));
    const auto code = profile.statusCode();
    item("report.appendix.statusCode", code ? QString::number(*code) : esc(plain("report.value.unknown")));
    item("report.appendix.finished", esc(plain(profile.finished() ? "report.value.yes" : "report.value.no")));
    item("report.appendix.redacted", esc(plain(m.redacted ? "report.value.yes" : "report.value.no")));
    item("report.appendix.answers", QString::number(profile.answers.size()));
    if (m.parameters && !m.parameters->empty()) {
        QStringList parameters;
        for (const auto& [key, value] : m.parameters->entries()) {
            parameters << QStringLiteral("%1 = %2").arg(bdi(key), bdi(valueText(value)));
        }
        item("report.appendix.parameters", parameters.join(QStringLiteral("; ")));
    }
    p.add(QStringLiteral("</dl>"));

    p.add(QStringLiteral("<details id=\"log\"><summary>%1</summary>")
              .arg(html("report.appendix.log", {QString::number(profile.log.size())})));
    if (profile.log.empty()) {
        p.add(QStringLiteral("<p class=\"note\">%1</p>").arg(html("report.appendix.logEmpty")));
    } else {
        p.add(QStringLiteral("<ol class=\"log\">"));
        const std::size_t shown = std::min(profile.log.size(), kLogLinesShown);
        for (std::size_t i = 0; i < shown; ++i) {
            p.add(QStringLiteral("<li>%1</li>").arg(esc(profile.log[i].message)));
        }
        p.add(QStringLiteral("</ol>"));
        if (shown < profile.log.size()) {
            p.add(QStringLiteral("<p class=\"note\">%1</p>")
                      .arg(html("report.appendix.logCapped",
                                {QString::number(shown), QString::number(profile.log.size())})));
        }
    }
    p.add(QStringLiteral("</details></section>"));
}

}  // namespace

QByteArray profileDataBlock(const Profile& profile) {
    const QString json = QString::fromUtf8(profileToJson(profile));
    QString out;
    out.reserve(json.size() + json.size() / 8);
    for (const QChar c : json) {
        const char16_t u = c.unicode();
        if (u == '<' || u == '>' || u == '&' ||
            (u >= 0x7F && (c.isSurrogate() ? false : isShownAsCodePoint(u)))) {
            out += QStringLiteral("\\u%1").arg(static_cast<uint>(u), 4, 16, QLatin1Char('0'));
        } else {
            out += c;
        }
    }
    return out.toUtf8();
}

QByteArray htmlReport(const Profile& profile, const Findings& findings) {
    Page p;
    p.out.reserve(64 * 1024);
    const DictionaryRef joined = networkGroup(profile, "currentNetwork");
    const QString network = networkNameOf(joined);
    const QString started = startedText(profile.metadata);
    const QString title = network.isEmpty() ? plain("report.page.title", {started})
                                            : plain("report.page.titleWithNetwork", {network, started});

    p.add(QStringLiteral("<!DOCTYPE html>\n<html lang=\"%1\">\n<head>\n<meta charset=\"utf-8\">\n")
              .arg(esc(plain("report.page.language"))));
    p.add(
        QStringLiteral("<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; "
                       "style-src 'unsafe-inline'; img-src data:\">\n"));
    p.add(QStringLiteral("<meta name=\"referrer\" content=\"no-referrer\">\n"));
    p.add(QStringLiteral("<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"));
    p.add(QStringLiteral("<meta name=\"generator\" content=\"wifi-profile\">\n"));
    p.add(QStringLiteral("<title>%1</title>\n<style>%2</style>\n</head>\n<body>\n<main>\n")
              .arg(esc(title), QString::fromLatin1(kStyle)));

    p.add(QStringLiteral("<header class=\"top\"><h1>%1</h1><p class=\"sub\">%2</p></header>\n")
              .arg(html("report.page.heading"),
                   network.isEmpty()
                       ? html("report.page.subtitle", {esc(started)})
                       : html("report.page.subtitleWithNetwork", {bdi(network), esc(started)})));
    verdictSection(p, profile, findings);
    p.add(QStringLiteral("\n"));
    linkSection(p, profile);
    p.add(QStringLiteral("\n"));
    channelSection(p, profile);
    p.add(QStringLiteral("\n"));
    pingSection(p, profile);
    p.add(QStringLiteral("\n"));
    findingsSection(p, findings);
    p.add(QStringLiteral("\n"));
    appendixSection(p, profile);
    p.add(QStringLiteral("\n<footer>%1</footer>\n</main>\n").arg(html("report.page.footer")));

    QByteArray out = p.out.toUtf8();
    out += "<script type=\"application/json\" id=\"profile\">";
    out += profileDataBlock(profile);
    out += "</script>\n</body>\n</html>\n";
    return out;
}

}  // namespace report
