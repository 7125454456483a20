// The HTML report without a browser: its text helpers, the data block, a hostile profile that
// must come out escaped, small and drawable, and the golden reports of the shipped scenarios
// (WIFIPROFILE_UPDATE_GOLDEN=1 rewrites unittests/golden/<name>.report.html; review the diff).

#include "ReportProfiles.h"

#include "host/report/Findings.h"
#include "host/report/HtmlReport.h"
#include "host/report/Strings.h"
#include "host/report/Svg.h"
#include "platform/wifi/WiFiRecords.h"

#include <QRegularExpression>
#include <QStringDecoder>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace {

using namespace reporttest;

std::string str(const QString& s) {
    return s.toStdString();
}

qsizetype countOf(const QByteArray& haystack, const QByteArray& needle,
                  Qt::CaseSensitivity cs = Qt::CaseSensitive) {
    const QString h = QString::fromUtf8(haystack);
    return h.count(QString::fromUtf8(needle), cs);
}

// The SVG elements of a report, each from "<svg" to "</svg>".
QStringList svgElements(const QString& html) {
    QStringList out;
    qsizetype from = 0;
    while ((from = html.indexOf(QLatin1String("<svg"), from)) >= 0) {
        const qsizetype end = html.indexOf(QLatin1String("</svg>"), from);
        if (end < 0) {
            out << html.mid(from);
            break;
        }
        out << html.mid(from, end + 6 - from);
        from = end + 6;
    }
    return out;
}

// The checks every report must pass, whatever its profile: one script element (the data block),
// the policy, no tag that loads anything, no control a reader cannot see, coordinates that are
// numbers.
void expectSafeReport(const QByteArray& report) {
    QStringDecoder utf8(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString html = utf8(report);
    ASSERT_FALSE(utf8.hasError()) << "the report is not valid UTF-8";

    EXPECT_EQ(countOf(report, "<script", Qt::CaseInsensitive), 1);
    EXPECT_EQ(countOf(report, "</script", Qt::CaseInsensitive), 1);
    EXPECT_EQ(countOf(report, "<script type=\"application/json\" id=\"profile\">"), 1);
    EXPECT_TRUE(report.endsWith("</script>\n</body>\n</html>\n"));
    EXPECT_TRUE(
        report.contains("<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; "
                        "style-src 'unsafe-inline'; img-src data:\">"));
    EXPECT_TRUE(report.startsWith("<!DOCTYPE html>\n"));

    // No element that loads or links anything, and none from a profile.
    static const QRegularExpression loading(
        QStringLiteral("<[a-zA-Z][^>]*\\s(src|href|srcset|action|data)\\s*="),
        QRegularExpression::CaseInsensitiveOption);
    EXPECT_FALSE(loading.match(html).hasMatch()) << str(loading.match(html).captured());
    for (const char* tag : {"<img", "<iframe", "<a ", "<b>", "<i>", "<h1>x", "<!--", "<![CDATA[", "<object",
                            "<embed", "<link", "<base", "<form"}) {
        EXPECT_EQ(countOf(report, tag, Qt::CaseInsensitive), 0) << tag;
    }
    for (const QChar c : html) {
        const char16_t u = c.unicode();
        const bool control = (u < 0x20 && u != '\n' && u != '\t') || (u >= 0x7F && u <= 0x9F);
        const bool bidi = u == 0x061C || u == 0x200E || u == 0x200F || (u >= 0x202A && u <= 0x202E) ||
                          (u >= 0x2066 && u <= 0x2069) || u == 0x2028 || u == 0x2029;
        EXPECT_FALSE(control || bidi) << "raw U+" << std::hex << int(u);
        if (control || bidi) {
            break;
        }
    }

    // Inside the plots every coordinate is a finite number.
    static const QRegularExpression numeric(
        QStringLiteral("\\s(x|y|x1|y1|x2|y2|cx|cy|r|width|height)=\"([^\"]*)\""));
    static const QRegularExpression number(QStringLiteral("^-?\\d+(\\.\\d)?$"));
    static const QRegularExpression path(QStringLiteral("\\sd=\"([^\"]*)\""));
    static const QRegularExpression pathData(QStringLiteral("^[MLHZ0-9 .\\-]+$"));
    const QStringList svgs = svgElements(html);
    for (const QString& svg : svgs) {
        for (auto it = numeric.globalMatch(svg); it.hasNext();) {
            const auto m = it.next();
            EXPECT_TRUE(number.match(m.captured(2)).hasMatch()) << str(m.captured(0));
        }
        for (auto it = path.globalMatch(svg); it.hasNext();) {
            const auto m = it.next();
            EXPECT_TRUE(pathData.match(m.captured(1)).hasMatch()) << str(m.captured(0));
        }
        static const QRegularExpression viewBox(
            QStringLiteral("^<svg [^>]*viewBox=\"0 0 \\d+(\\.\\d)? \\d+(\\.\\d)?\""));
        EXPECT_TRUE(viewBox.match(svg).hasMatch()) << str(svg.left(200));
    }
}

// ---- text --------------------------------------------------------------------------------------

TEST(ReportTextTest, ControlsBecomeVisibleCodePoints) {
    EXPECT_EQ(report::visibleText(QStringLiteral("a\u202Eb")), QStringLiteral("a\u27E8U+202E\u27E9b"));
    EXPECT_EQ(report::visibleText(QStringLiteral("\u2066x\u2069")),
              QStringLiteral("\u27E8U+2066\u27E9x\u27E8U+2069\u27E9"));
    EXPECT_EQ(report::visibleText(QString(QChar(0x0007))), QStringLiteral("\u27E8U+0007\u27E9"));
    EXPECT_EQ(report::visibleText(QString(QChar(0x009B))), QStringLiteral("\u27E8U+009B\u27E9"));
    EXPECT_EQ(report::visibleText(QStringLiteral("tab\there")), QStringLiteral("tab\there"));
    // A surrogate pair is one character and stays; a lone half is shown.
    EXPECT_EQ(report::visibleText(QStringLiteral("Caf\u00E9 \U0001F4F6")),
              QStringLiteral("Caf\u00E9 \U0001F4F6"));
    EXPECT_EQ(report::visibleText(QString(QChar(0xD800)) + QLatin1Char('x')),
              QStringLiteral("\u27E8U+D800\u27E9x"));
    EXPECT_EQ(report::visibleText(QString(QChar(0xDC00))), QStringLiteral("\u27E8U+DC00\u27E9"));
}

TEST(ReportTextTest, MarkupIsEscaped) {
    EXPECT_EQ(report::escapedText(QStringLiteral("<a href=\"x\">'&</a>")),
              QStringLiteral("&lt;a href=&quot;x&quot;&gt;&#39;&amp;&lt;/a&gt;"));
    EXPECT_EQ(report::escapedText(QStringLiteral("\u202E<")), QStringLiteral("\u27E8U+202E\u27E9&lt;"));
}

TEST(ReportTextTest, NumbersAreShortAndNamedWhenNotFinite) {
    EXPECT_EQ(report::numberText(-54), QStringLiteral("-54"));
    EXPECT_EQ(report::numberText(2.91), QStringLiteral("2.91"));
    EXPECT_EQ(report::numberText(1.0 / 3.0), QStringLiteral("0.33"));
    EXPECT_EQ(report::numberText(12.4, 1), QStringLiteral("12.4"));
    EXPECT_EQ(report::numberText(-0.0), QStringLiteral("0"));
    EXPECT_EQ(report::numberText(-0.001), QStringLiteral("0"));
    for (const double v : {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity(),
                           -std::numeric_limits<double>::infinity()}) {
        const QString t = report::numberText(v);
        EXPECT_FALSE(t.isEmpty());
        EXPECT_FALSE(t.startsWith(QLatin1Char('['))) << "missing from the strings table: " << str(t);
    }
    EXPECT_NE(report::numberText(std::numeric_limits<double>::infinity()),
              report::numberText(-std::numeric_limits<double>::infinity()));
}

TEST(ReportTextTest, SignalBandsAndChannels) {
    using report::svg::signalQuality;
    using report::svg::SignalQuality;
    EXPECT_EQ(signalQuality(-40), SignalQuality::Good);
    EXPECT_EQ(signalQuality(-60), SignalQuality::Good);
    EXPECT_EQ(signalQuality(-61), SignalQuality::Fair);
    EXPECT_EQ(signalQuality(-75), SignalQuality::Fair);
    EXPECT_EQ(signalQuality(-76), SignalQuality::Poor);
    using report::svg::Band;
    EXPECT_EQ(report::svg::bandOfChannel(1), Band::GHz2);
    EXPECT_EQ(report::svg::bandOfChannel(14), Band::GHz2);
    EXPECT_EQ(report::svg::bandOfChannel(36), Band::GHz5);
    EXPECT_EQ(report::svg::bandOfChannel(177), Band::GHz5);
    EXPECT_FALSE(report::svg::bandOfChannel(0));
    EXPECT_FALSE(report::svg::bandOfChannel(20));
    EXPECT_FALSE(report::svg::bandOfChannel(181));
}

// ---- the plots ---------------------------------------------------------------------------------

TEST(ReportPlotTest, AnAccessPointIsAsWideAsItsChannelAndAsHighAsItsSignal) {
    using report::svg::AccessPoint;
    AccessPoint strong{QStringLiteral("Strong"), QStringLiteral("02:00:00:00:00:01"), -40, 6, 20,
                       AccessPoint::Mark::Joined};
    AccessPoint weak{QStringLiteral("Weak"), QStringLiteral("02:00:00:00:00:02"), -80, 1, 20,
                     AccessPoint::Mark::None};
    AccessPoint other{std::nullopt,           QStringLiteral("02:00:00:00:00:03"), -60, 44, 20,
                      AccessPoint::Mark::None};
    const auto plot =
        report::svg::channelPlot(report::svg::Band::GHz2, {strong, weak, other}, QStringLiteral("p"));
    EXPECT_EQ(plot.total, 2u);  // the 5 GHz one is not of this band
    EXPECT_EQ(plot.drawn, 2u);
    static const QRegularExpression shape(QStringLiteral(
        "<path class=\"([^\"]*)\" d=\"M([-0-9.]+) ([-0-9.]+)L([-0-9.]+) ([-0-9.]+)H([-0-9.]+)L([-0-9.]+) "));
    std::map<QString, std::vector<double>> shapes;
    for (auto it = shape.globalMatch(plot.svg); it.hasNext();) {
        const auto m = it.next();
        shapes[m.captured(1)] = {m.captured(2).toDouble(), m.captured(3).toDouble(), m.captured(5).toDouble(),
                                 m.captured(7).toDouble()};
    }
    ASSERT_EQ(shapes.size(), 2u) << str(plot.svg);
    const auto& joined = shapes.at(QStringLiteral("ap ap-joined"));
    const auto& plain = shapes.at(QStringLiteral("ap"));
    // Both span four channel numbers (20 MHz): the same width, the joined one five channels right.
    EXPECT_NEAR(joined[3] - joined[0], plain[3] - plain[0], 0.2);
    const double perChannel = (joined[0] - plain[0]) / 5.0;
    EXPECT_NEAR(joined[3] - joined[0], 4 * perChannel, 0.3);
    // Higher on the page (smaller y) for the stronger signal, both on the same baseline.
    EXPECT_EQ(joined[1], plain[1]);
    EXPECT_LT(joined[2], plain[2]);
    EXPECT_TRUE(plot.svg.contains(QLatin1String("class=\"mark-label joined\"")));
    // Each channel of the band counts its access points under the axis.
    EXPECT_TRUE(plot.svg.contains(QLatin1String("class=\"count\" text-anchor=\"middle\">1</text>")));
}

TEST(ReportPlotTest, ManyAccessPointsAreCappedAndSaidSo) {
    using report::svg::AccessPoint;
    std::vector<AccessPoint> aps;
    for (int i = 0; i < 500; ++i) {
        aps.push_back(AccessPoint{QStringLiteral("n%1").arg(i), QString(), -90 + i % 60, 1 + i % 13, 20,
                                  i == 499 ? AccessPoint::Mark::Selected : AccessPoint::Mark::None});
    }
    const auto plot = report::svg::channelPlot(report::svg::Band::GHz2, aps, QStringLiteral("p"));
    EXPECT_EQ(plot.total, 500u);
    EXPECT_EQ(plot.drawn, report::svg::kMaxDrawnAccessPoints);
    EXPECT_EQ(plot.svg.count(QLatin1String("<path class=\"ap")), static_cast<qsizetype>(plot.drawn));
    // The selected one is drawn even though it is not among the strongest.
    EXPECT_TRUE(plot.svg.contains(QLatin1String("ap ap-selected")));
    EXPECT_TRUE(plot.svg.contains(report::escapedText(
        report::text(QStringLiteral("report.plot.channels.capped"),
                     {QString::number(report::svg::kMaxDrawnAccessPoints), QStringLiteral("500")}))));
}

TEST(ReportPlotTest, NotFiniteValuesAreLeftOutOfThePlots) {
    constexpr double nan = std::numeric_limits<double>::quiet_NaN();
    constexpr double inf = std::numeric_limits<double>::infinity();
    const QString signal = report::svg::signalPlot(
        {{QStringLiteral("a"), nan, -inf, false}, {QStringLiteral("b"), inf, nan, true}},
        QStringLiteral("s"));
    EXPECT_FALSE(signal.contains(QLatin1String("<circle"))) << "a signal that is no number got a marker";
    EXPECT_EQ(signal.count(report::escapedText(report::text(QStringLiteral("report.signal.notMeasured")))),
              2);
    const QString ping = report::svg::pingPlot({{QStringLiteral("LAN"), nan, inf, -inf, nan, nan},
                                                {QStringLiteral("WAN"), 1.0, 2.0, 3.0, 0.5, 25.0}},
                                               QStringLiteral("p"));
    EXPECT_EQ(ping.count(QLatin1String("class=\"average\"")), 1);
    EXPECT_EQ(ping.count(QLatin1String("class=\"loss\"")), 1);
    // WAN's scale: the largest time is 3 ms, the axis ends at the next round number, 5.
    EXPECT_TRUE(ping.contains(QLatin1String(">5</text>")));
    expectSafeReport(
        QByteArray("<!DOCTYPE html>\n<meta http-equiv=\"Content-Security-Policy\" content=\"default-src "
                   "'none'; style-src 'unsafe-inline'; img-src data:\">") +
        (signal + ping).toUtf8() +
        "<script type=\"application/json\" id=\"profile\">{}</script>\n</body>\n</html>\n");
}

// ---- the data block ----------------------------------------------------------------------------

TEST(ReportDataBlockTest, NeverEndsTheBlockAndReadsBackAsTheProfile) {
    const report::Profile hostile = hostileProfile();
    const QByteArray block = report::profileDataBlock(hostile);
    EXPECT_FALSE(block.contains('<'));
    EXPECT_FALSE(block.contains('>'));
    EXPECT_FALSE(block.contains('&'));
    EXPECT_FALSE(QString::fromUtf8(block).contains(QChar(0x202E)));
    EXPECT_TRUE(block.contains("\\u003c/script\\u003e"));
    EXPECT_TRUE(block.contains("\\u202e"));
    const report::Profile back = report::profileFromJson(block, QStringLiteral("data block"));
    EXPECT_EQ(report::profileToJson(back), report::profileToJson(hostile));
}

// ---- the hostile profile -----------------------------------------------------------------------

TEST(HostileReportTest, EscapesEverythingAndStaysSmall) {
    const report::Profile profile = hostileProfile();
    report::Findings findings = report::findingsOf(profile);
    // Findings may quote what the profile holds; the report escapes their texts too.
    report::Finding loud;
    loud.group = report::Group::CurrentNetwork;
    loud.key = QStringLiteral("x\"><script>");
    loud.title = QStringLiteral("<script>alert('title')</script>");
    loud.severity = report::Severity::Problem;
    loud.value = hostileNetworkName();
    loud.threshold = QStringLiteral("<b>threshold</b>");
    loud.meaning = QStringLiteral("\u202Emeaning");
    loud.advice = QStringLiteral("<img src=x>");
    loud.reason = QStringLiteral("</td>");
    findings.items.push_back(loud);

    const QByteArray report = report::htmlReport(profile, findings);
    EXPECT_LT(report.size(), 500 * 1024)
        << "the report of 2,000 access points is " << report.size() << " bytes";
    expectSafeReport(report);
    const QString html = QString::fromUtf8(report);
    EXPECT_TRUE(html.contains(report::escapedText(hostileNetworkName())));
    EXPECT_TRUE(html.contains(QStringLiteral("&lt;script&gt;alert(&#39;title&#39;)&lt;/script&gt;")));
    EXPECT_TRUE(html.contains(QStringLiteral("\u27E8U+202E\u27E9")));
    // Both bands drawn, each at most the cap, and the cap said in the plot.
    for (const char* id : {"channels-2ghz", "channels-5ghz"}) {
        const qsizetype at = html.indexOf(QStringLiteral("<svg id=\"%1\"").arg(QLatin1String(id)));
        ASSERT_GE(at, 0) << id;
        const QString svg = html.mid(at, html.indexOf(QLatin1String("</svg>"), at) - at);
        EXPECT_LE(svg.count(QLatin1String("<path class=\"ap")),
                  static_cast<qsizetype>(report::svg::kMaxDrawnAccessPoints));
        EXPECT_TRUE(svg.contains(QLatin1String("class=\"plot-note\""))) << id << " does not say it is capped";
    }
    // The joined access point is marked even among 2,000.
    EXPECT_TRUE(html.contains(QLatin1String("class=\"ap ap-joined\"")));
    // Neither the signal nor the ping plot drew anything for a value that is no number.
    const qsizetype signal = html.indexOf(QLatin1String("<svg id=\"signal-plot\""));
    ASSERT_GE(signal, 0);
    EXPECT_FALSE(html.mid(signal, html.indexOf(QLatin1String("</svg>"), signal) - signal)
                     .contains(QLatin1String("<circle")));
}

TEST(HostileReportTest, ANearlyEmptyProfileStillMakesAWholeReport) {
    report::Profile profile;
    profile.result = platform::Value::dictionary(
        platform::Dictionary::make({{QStringLiteral("statusCode"), platform::Value::integer(-3)}}));
    const QByteArray report = report::htmlReport(profile, report::findingsOf(profile));
    expectSafeReport(report);
    const QString html = QString::fromUtf8(report);
    EXPECT_TRUE(html.contains(report::escapedText(report::text(QStringLiteral("report.channels.noScan")))));
    EXPECT_TRUE(html.contains(report::escapedText(report::text(QStringLiteral("report.link.none")))));
}

TEST(ReportContentTest, AnEmptyOrAbsentNameIsAHiddenNetwork) {
    using platform::Value;
    report::Profile profile;
    profile.result = Value::dictionary(platform::Dictionary::make(
        {{QStringLiteral("statusCode"), Value::integer(0)},
         {QStringLiteral("data"),
          Value::dictionary(platform::Dictionary::make(
              {{QStringLiteral("currentNetwork"),
                Value::dictionary(platform::Dictionary::make(
                    {{QStringLiteral("networkName"), Value::string(QStringLiteral("Home"))},
                     {QStringLiteral("currentChannel"), Value::integer(6)}}))}}))}}));
    auto scan = std::make_shared<platform::Array>();
    for (const std::optional<QString>& name : {std::optional<QString>(QString()), std::optional<QString>(),
                                               std::optional<QString>(QStringLiteral("Home"))}) {
        auto ap = std::make_shared<platform::WiFiScanResult>();
        ap->ssidString = name;
        ap->bssid = QStringLiteral("02:00:00:00:00:0%1").arg(scan->size());
        ap->rssi = -50 - static_cast<int>(scan->size());
        ap->channel = 6;
        scan->push_back(Value::record(ap));
    }
    report::ServiceAnswer answer;
    answer.testID = 31;
    answer.answer = platform::Dictionary::make(
        {{QStringLiteral("result"), Value::boolean(false)},
         {QStringLiteral("didPass"), Value::boolean(true)},
         {QStringLiteral("info"), Value::dictionary(platform::Dictionary::make(
                                      {{QStringLiteral("ScanResults"), Value::array(scan)}}))}});
    profile.answers.push_back(answer);
    const QString html = QString::fromUtf8(report::htmlReport(profile, report::findingsOf(profile)));
    const QString hidden =
        QStringLiteral("<em>%1</em>")
            .arg(report::escapedText(report::text(QStringLiteral("report.network.hidden"))));
    EXPECT_EQ(html.count(hidden), 2);
    EXPECT_EQ(html.count(QLatin1String("class=\"ap ap-joined\"")), 1);
}

// ---- golden reports ----------------------------------------------------------------------------

class GoldenReportTest : public ::testing::TestWithParam<GoldenCase> {};

TEST_P(GoldenReportTest, MatchesTheReviewedReport) {
    const GoldenCase& golden = GetParam();
    const report::Profile profile = goldenProfile(golden);
    const report::Findings findings = report::findingsOf(profile);
    const QByteArray report = report::htmlReport(profile, findings);
    const QString path =
        sourcePath(QStringLiteral("unittests/golden/%1.report.html").arg(QLatin1String(golden.name)));

    expectSafeReport(report);
    EXPECT_LT(report.size(), 500 * 1024);
    const QString html = QString::fromUtf8(report);
    // Every text comes from the strings table: none is missing.
    static const QRegularExpression missing(QStringLiteral("\\[[a-zA-Z0-9]+(\\.[a-zA-Z0-9]+)+\\]"));
    EXPECT_FALSE(missing.match(html).hasMatch())
        << "missing from the strings table: " << str(missing.match(html).captured());
    ASSERT_FALSE(findings.items.empty());
    for (const report::Finding& f : findings.items) {
        EXPECT_TRUE(html.contains(report::escapedText(f.title))) << str(f.title);
        EXPECT_TRUE(html.contains(QStringLiteral("data-key=\"%1\"").arg(report::escapedText(f.key))))
            << str(f.key);
    }
    for (const char* id : {"verdict", "attention", "link", "signal-plot", "channels", "channels-2ghz",
                           "channels-5ghz", "pings", "ping-plot", "findings", "appendix"}) {
        EXPECT_TRUE(html.contains(QStringLiteral("id=\"%1\"").arg(QLatin1String(id)))) << id;
    }

    if (qEnvironmentVariableIsSet("WIFIPROFILE_UPDATE_GOLDEN")) {
        ASSERT_TRUE(writeFile(path, report)) << str(path);
        GTEST_SKIP() << "rewrote " << str(path) << "; review the diff";
    }
    const QByteArray expected = readFile(path);
    ASSERT_FALSE(expected.isEmpty()) << str(path) << " is missing (WIFIPROFILE_UPDATE_GOLDEN=1 writes it)";
    if (report != expected) {
        // The first line that differs, rather than two whole pages.
        const QList<QByteArray> got = report.split('\n'), want = expected.split('\n');
        qsizetype line = 0;
        while (line < got.size() && line < want.size() && got[line] == want[line]) {
            ++line;
        }
        ADD_FAILURE() << "golden file " << str(path) << " differs at line " << line + 1
                      << "\n  expected: " << want.value(line).left(400).toStdString()
                      << "\n  actual:   " << got.value(line).left(400).toStdString()
                      << "\n(WIFIPROFILE_UPDATE_GOLDEN=1 rewrites it; review the diff)";
    }
}

INSTANTIATE_TEST_SUITE_P(Scenarios, GoldenReportTest, ::testing::ValuesIn(kGoldenCases),
                         [](const ::testing::TestParamInfo<GoldenCase>& info) {
                             QString name = QString::fromLatin1(info.param.name);
                             name.replace(u'-', u'_');
                             return name.toStdString();
                         });

TEST(GoldenReportContentTest, AnEmptySelectedNetworkIsNoColumn) {
    // The diagnostic always hands over the selected network's group, empty when none was chosen.
    const report::Profile profile = goldenProfile(kGoldenCases[0]);
    ASSERT_TRUE(profile.group(QStringLiteral("selectedNetwork")));
    const QString html = QString::fromUtf8(report::htmlReport(profile, report::findingsOf(profile)));
    const qsizetype link = html.indexOf(QLatin1String("<table class=\"link\">"));
    ASSERT_GE(link, 0);
    const QString head = html.mid(link, html.indexOf(QLatin1String("</thead>"), link) - link);
    EXPECT_EQ(head.count(QLatin1String("<th scope=\"col\">")), 1);
    EXPECT_FALSE(html.contains(QLatin1String("class=\"swatch sw-selected\"")));
    const qsizetype signal = html.indexOf(QLatin1String("<svg id=\"signal-plot\""));
    ASSERT_GE(signal, 0);
    EXPECT_EQ(html.mid(signal, html.indexOf(QLatin1String("</svg>"), signal) - signal)
                  .count(QLatin1String("class=\"row-label\"")),
              1);
}

TEST(GoldenReportContentTest, TheJoinedAndTheSelectedNetworkAreMarked) {
    const report::Profile profile = goldenProfile(kGoldenCases[1]);
    const QString html = QString::fromUtf8(report::htmlReport(profile, report::findingsOf(profile)));
    // The joined network, Willowbrook-5G on channel 44; the selected one, CityConnect Free on 11.
    const qsizetype five = html.indexOf(QLatin1String("<svg id=\"channels-5ghz\""));
    const qsizetype two = html.indexOf(QLatin1String("<svg id=\"channels-2ghz\""));
    ASSERT_GE(five, 0);
    ASSERT_GE(two, 0);
    const QString fiveSvg = html.mid(five, html.indexOf(QLatin1String("</svg>"), five) - five);
    const QString twoSvg = html.mid(two, html.indexOf(QLatin1String("</svg>"), two) - two);
    EXPECT_EQ(fiveSvg.count(QLatin1String("class=\"ap ap-joined\"")), 1);
    EXPECT_TRUE(fiveSvg.contains(QLatin1String("Willowbrook-5G")));
    EXPECT_GE(twoSvg.count(QLatin1String("class=\"ap ap-selected\"")), 1);
    EXPECT_TRUE(twoSvg.contains(QLatin1String("CityConnect Free")));
    // The link table has a column for each of them.
    const qsizetype link = html.indexOf(QLatin1String("<table class=\"link\">"));
    ASSERT_GE(link, 0);
    const QString head = html.mid(link, html.indexOf(QLatin1String("</thead>"), link) - link);
    EXPECT_EQ(head.count(QLatin1String("<th scope=\"col\">")), 2);
    // Signal -54 dBm over noise -92 dBm: 38 dB.
    EXPECT_TRUE(html.contains(
        report::escapedText(report::text(QStringLiteral("report.unit.dB"), {QStringLiteral("38")}))));
    // Both rows of the signal plot.
    const qsizetype signal = html.indexOf(QLatin1String("<svg id=\"signal-plot\""));
    EXPECT_EQ(html.mid(signal, html.indexOf(QLatin1String("</svg>"), signal) - signal)
                  .count(QLatin1String("<circle")),
              2);
}

}  // namespace
