#include "ReportProfiles.h"

#include "platform/foundation/JsonReader.h"
#include "platform/foundation/Log.h"
#include "platform/wifi/WiFiRecords.h"
#include "platform/wifi/sim/Scenario.h"

#include <QFile>
#include <QRegularExpression>

#include <limits>

namespace reporttest {

using platform::Dictionary;
using platform::Value;

QString sourcePath(const QString& relative) {
    return QStringLiteral(WIFIPROFILE_SOURCE_DIR "/") + relative;
}

QByteArray readFile(const QString& path) {
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

bool writeFile(const QString& path, const QByteArray& bytes) {
    QFile f(path);
    return f.open(QIODevice::WriteOnly | QIODevice::Truncate) && f.write(bytes) == bytes.size();
}

namespace {

report::ProfileMetadata fixedMetadata(const QString& scenario) {
    report::ProfileMetadata m;
    m.backend = QStringLiteral("sim");
    m.scenario = scenario;
    m.machine = QStringLiteral("golden-host (Linux 6.1.0-golden)");
    m.version = QStringLiteral("0.0.0-golden");
    m.qtVersion = QStringLiteral("6.4.2");
    m.started = QDateTime(QDate(2026, 11, 20), QTime(10, 0), Qt::UTC);
    m.durationMs = 12400;
    return m;
}

// The log as the .log golden file writes it: "[cat N] message", one a line.
std::vector<report::LogLine> logOf(const QByteArray& text) {
    static const QRegularExpression line(QStringLiteral("^\\[cat (\\d+)\\] (.*)$"));
    std::vector<report::LogLine> log;
    for (const QString& l : QString::fromUtf8(text).split(QLatin1Char('\n'), Qt::SkipEmptyParts)) {
        const auto m = line.match(l);
        if (!m.hasMatch()) {
            continue;
        }
        const QString message = m.captured(2);
        log.push_back(report::LogLine{
            m.captured(1).toInt(),
            static_cast<int>(message.startsWith(QLatin1String("[ERROR]")) ? platform::LogLevel::Error
                                                                          : platform::LogLevel::Info),
            message});
    }
    return log;
}

}  // namespace

report::Profile goldenProfile(const GoldenCase& golden) {
    report::Profile profile;
    const QString name = QString::fromLatin1(golden.name);
    profile.result = platform::parseJson(
        readFile(sourcePath(QStringLiteral("unittests/golden/%1.result.json").arg(name))));
    profile.log = logOf(readFile(sourcePath(QStringLiteral("unittests/golden/%1.log").arg(name))));
    const QString scenarioFile = QString::fromLatin1(golden.scenario);
    profile.metadata = fixedMetadata(scenarioFile);

    const platform::sim::Scenario scenario = platform::sim::loadScenarioFile(sourcePath(scenarioFile));
    const auto tests = scenario.tests.find(31);
    if (tests == scenario.tests.end()) {
        return profile;
    }
    for (const platform::sim::TestAnswer& answer : tests->second) {
        if (!answer.results || answer.results->empty() || !answer.results->front() ||
            !answer.results->front()->info ||
            !answer.results->front()->info->contains(QStringLiteral("ScanResults"))) {
            continue;
        }
        const auto& result = *answer.results->front();
        report::ServiceAnswer a;
        a.testID = 31;
        a.configuration = Dictionary::make();
        a.answer = Dictionary::make({{QStringLiteral("result"), Value::boolean(result.result)},
                                     {QStringLiteral("didPass"), Value::boolean(result.didPass)},
                                     {QStringLiteral("info"), Value::dictionary(result.info)}});
        profile.answers.push_back(std::move(a));
        break;
    }
    return profile;
}

QString hostileNetworkName() {
    return QStringLiteral("</script><script>alert(\"joined\")</script>\u202Egnp.exe' & <b>bold</b>");
}

report::Profile hostileProfile() {
    constexpr double nan = std::numeric_limits<double>::quiet_NaN();
    constexpr double inf = std::numeric_limits<double>::infinity();
    const QString joined = hostileNetworkName();
    const QString selected = QStringLiteral("<img src=x onerror=alert(1)>\u2067\u200Fselected\u2069");

    const auto ping = [](double min, double avg, double max, double stddev, double loss) {
        return Value::dictionary(Dictionary::make({
            {QStringLiteral("SSID"), Value::string(QStringLiteral("wlan0<script>"))},
            {QStringLiteral("count"), Value::integer(10)},
            {QStringLiteral("packetLoss"), Value::number(loss)},
            {QStringLiteral("min"), Value::number(min)},
            {QStringLiteral("max"), Value::number(max)},
            {QStringLiteral("avg"), Value::number(avg)},
            {QStringLiteral("stddev"), Value::number(stddev)},
            {QStringLiteral("timestamp"), Value::string(QStringLiteral("2026-11-20T09:58:12Z"))},
        }));
    };
    auto current = Dictionary::make({
        {QStringLiteral("networkName"), Value::string(joined)},
        {QStringLiteral("RSSI"), Value::number(nan)},
        {QStringLiteral("noise"), Value::number(-inf)},
        {QStringLiteral("currentChannel"), Value::integer(6)},
        {QStringLiteral("security"), Value::string(QStringLiteral("\"WPA2\" <i>Personal</i>\u202E"))},
        {QStringLiteral("hasPoorSignal"), Value::boolean(true)},
        {QStringLiteral("pingedLAN"), Value::boolean(true)},
        {QStringLiteral("pingedWAN"), Value::boolean(true)},
        {QStringLiteral("pingLANResult"), ping(nan, inf, inf, nan, nan)},
        {QStringLiteral("pingWANResult"), ping(-inf, 1e308, 1.7e308, -1e308, inf)},
        {QStringLiteral("supportedPHYModes"),
         Value::array(platform::makeArray({Value::string(QStringLiteral("<svg onload=alert(1)>")),
                                           Value::string(QStringLiteral("802.11ax\u202E"))}))},
        {QStringLiteral("harbexModelName"), Value::string(QStringLiteral("Model\u0000\u0007\u009B<x>"))},
        {QStringLiteral("beaconInterval"), Value::number(inf)},
    });
    auto selectedGroup = Dictionary::make({
        {QStringLiteral("networkName"), Value::string(selected)},
        {QStringLiteral("RSSI"), Value::number(inf)},
        {QStringLiteral("noise"), Value::number(nan)},
        {QStringLiteral("currentChannel"), Value::number(nan)},
        {QStringLiteral("isCaptive"), Value::boolean(true)},
    });
    auto device = Dictionary::make({
        {QStringLiteral("IPv4ConfigMethod"), Value::string(QStringLiteral("</td></tr></table><h1>x</h1>"))},
        {QStringLiteral("preferredNetworkListCount"), Value::number(nan)},
    });
    report::Profile profile;
    profile.result = Value::dictionary(Dictionary::make({
        {QStringLiteral("statusCode"), Value::integer(0)},
        {QStringLiteral("data"), Value::dictionary(Dictionary::make({
                                     {QStringLiteral("device"), Value::dictionary(device)},
                                     {QStringLiteral("currentNetwork"), Value::dictionary(current)},
                                     {QStringLiteral("selectedNetwork"), Value::dictionary(selectedGroup)},
                                 }))},
    }));

    // 2,000 access points: the joined and the selected network among them, names that try every
    // way out of their element, every channel of both bands and some of neither, extreme signals.
    auto scan = std::make_shared<platform::Array>();
    const QString names[] = {
        joined,
        selected,
        QStringLiteral("<!-- --><script>alert('scan')</script>"),
        QStringLiteral("\"'><a href=\"http://example.invalid/\">link</a>"),
        QStringLiteral("\u202Eevil\u202C \u2066iso\u2069 \u200E\u200F\u061C mark"),
        QStringLiteral("half ") + QChar(0xD800) + QStringLiteral(" surrogate ") + QChar(0xDC00),
        QStringLiteral("line\u2028break\u2029para\r\nnl\u0085"),
        QStringLiteral("]]><![CDATA[ &amp; &#x3c;"),
        QStringLiteral("zero\u200Bwidth\uFEFF"),
    };
    const std::int64_t channels[] = {1, 6, 11, 13, 14, 36, 40, 100, 149, 165, 177, 0, -5, 200, 2147483647};
    const std::int64_t strengths[] = {-30,
                                      -55,
                                      -67,
                                      -80,
                                      -95,
                                      std::numeric_limits<std::int64_t>::min(),
                                      std::numeric_limits<std::int64_t>::max(),
                                      0,
                                      20};
    for (int i = 0; i < 2000; ++i) {
        auto ap = std::make_shared<platform::WiFiScanResult>();
        if (i % 17 != 5) {
            ap->ssidString = names[i % std::size(names)] + QString::number(i / std::size(names));
        }
        if (i < 2) {
            ap->ssidString = names[i];  // the joined and the selected network by their exact names
        }
        ap->bssid = QStringLiteral("02:00:%1:%2:00:<b>")
                        .arg(i / 256, 2, 16, QLatin1Char('0'))
                        .arg(i % 256, 2, 16, QLatin1Char('0'));
        ap->rssi = strengths[i % std::size(strengths)];
        if (i % 23 != 7) {
            ap->channel = channels[i % std::size(channels)];
        }
        if (i == 0) {
            ap->channel = 6;
            ap->rssi = -55;
        }
        scan->push_back(Value::record(ap));
    }
    report::ServiceAnswer answer;
    answer.testID = 31;
    answer.configuration = Dictionary::make();
    answer.answer = Dictionary::make(
        {{QStringLiteral("result"), Value::boolean(false)},
         {QStringLiteral("didPass"), Value::boolean(true)},
         {QStringLiteral("info"),
          Value::dictionary(Dictionary::make({{QStringLiteral("ScanResults"), Value::array(scan)}}))}});
    profile.answers.push_back(answer);
    report::ServiceAnswer failed;
    failed.testID = 32;
    failed.configuration = Dictionary::make();
    failed.errorCode = 5;
    failed.errorText =
        QStringLiteral("WiFiDiagnostics error 5: </script><script>alert(\"error\")</script>\u202E");
    profile.answers.push_back(failed);

    profile.log.push_back(
        report::LogLine{3, 2, QStringLiteral("[ERROR] </script><script>alert('log')</script>\u202E")});
    profile.log.push_back(report::LogLine{3, 1, QStringLiteral("<!-- unclosed comment \u0000")});

    profile.metadata.backend = QStringLiteral("sim<script>");
    profile.metadata.scenario = QStringLiteral("../<script>.json");
    profile.metadata.machine = QStringLiteral("host\u202E\"'<>&");
    profile.metadata.version = QStringLiteral("<b>1</b>");
    profile.metadata.qtVersion = QStringLiteral("6\u0000");
    profile.metadata.started = QDateTime(QDate(2026, 11, 20), QTime(10, 0), Qt::UTC);
    profile.metadata.durationMs = std::numeric_limits<std::int64_t>::max();
    profile.metadata.parameters = Dictionary::make(
        {{QStringLiteral("networkName</script>"), Value::string(QStringLiteral("<script>x</script>"))}});
    return profile;
}

}  // namespace reporttest
