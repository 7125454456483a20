// What a person and a support engineer read, for a profile whose scan holds 2,000 access points:
// the findings, the terminal summary and the HTML report (budget 50 ms together, the report under
// 500 KB, shown as the "reportKB" counter).
#include "host/report/Findings.h"
#include "host/report/HtmlReport.h"
#include "host/report/Summary.h"
#include "platform/wifi/WiFiRecords.h"
#include "unittests/report/ReportProfiles.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>

namespace {

// The built-in scenario's run with its scan grown to 2,000 access points: the shipped networks
// repeated on every channel of both bands, each with a BSSID of its own and a signal of its place.
report::Profile profileWith2000AccessPoints() {
    report::Profile profile = reporttest::goldenProfile(reporttest::kGoldenCases[0]);
    const std::vector<std::shared_ptr<const platform::WiFiScanResult>> shipped = profile.scan();
    if (shipped.empty()) {
        std::fprintf(stderr, "ReportBenchmark: the built-in run's profile has no scan\n");
        std::abort();
    }
    static const int kChannels[] = {1,   2,   3,   4,   5,   6,   7,   8,   9,   10,  11,  12,  13,
                                    36,  40,  44,  48,  52,  56,  60,  64,  100, 104, 108, 112, 116,
                                    120, 124, 128, 132, 136, 140, 144, 149, 153, 157, 161, 165};
    auto grown = std::make_shared<platform::Array>();
    for (int i = 0; i < 2000; ++i) {
        auto entry = std::make_shared<platform::WiFiScanResult>(*shipped[i % shipped.size()]);
        entry->bssid = QStringLiteral("02:00:00:%1:%2:%3")
                           .arg(i / 65536, 2, 16, QLatin1Char('0'))
                           .arg(i / 256 % 256, 2, 16, QLatin1Char('0'))
                           .arg(i % 256, 2, 16, QLatin1Char('0'));
        entry->channel = kChannels[i % std::size(kChannels)];
        entry->rssi = -35 - (i * 7) % 60;
        if (entry->ssidString) {
            entry->ssidString = QStringLiteral("%1 %2").arg(*entry->ssidString).arg(i);
        }
        grown->push_back(platform::Value::record(entry));
    }
    report::ServiceAnswer scan;
    scan.testID = 31;
    scan.answer = platform::Dictionary::make(
        {{QStringLiteral("result"), platform::Value::boolean(false)},
         {QStringLiteral("didPass"), platform::Value::boolean(true)},
         {QStringLiteral("info"), platform::Value::dictionary(platform::Dictionary::make(
                                      {{QStringLiteral("ScanResults"), platform::Value::array(grown)}}))}});
    profile.answers.push_back(scan);
    if (profile.scan().size() != 2000) {
        std::fprintf(stderr, "ReportBenchmark: the grown scan has %zu entries\n", profile.scan().size());
        std::abort();
    }
    return profile;
}

void BM_FindingsSummaryAndReport2000AccessPoints(benchmark::State& state) {
    const report::Profile profile = profileWith2000AccessPoints();
    qsizetype reportBytes = 0;
    for (auto _ : state) {
        const report::Findings findings = report::findingsOf(profile);
        const QString summary = report::summaryText(profile, findings, report::SummaryOptions{});
        const QByteArray html = report::htmlReport(profile, findings);
        reportBytes = html.size();
        benchmark::DoNotOptimize(summary.size());
        benchmark::DoNotOptimize(html.constData());
    }
    state.counters["reportKB"] = static_cast<double>(reportBytes) / 1024.0;
}
BENCHMARK(BM_FindingsSummaryAndReport2000AccessPoints)->Unit(benchmark::kMillisecond);

}  // namespace
