// The refresh's finishing job on the main queue for a 500-row list: the selected network's row
// replaced and the list's difference (59 rows gone, 60 new) applied to the table in one batch, as
// the user sees it at the end of a pull to refresh. The lists are set back before each pass, so
// every pass does the same work.
#include "unittests/diagnostic/DiagnosticHarness.h"

#include <benchmark/benchmark.h>

namespace {

using testsupport::DiagnosticHarness;

platform::sim::TestAnswer scanOf(int first, int count) {
    auto list = platform::makeArray();
    for (int i = first; i < first + count; ++i) {
        auto r = std::make_shared<platform::WiFiScanResult>();
        r->ssidString = QStringLiteral("Network %1").arg(i, 4, 10, QLatin1Char('0'));
        r->bssid = QStringLiteral("02:00:00:00:%1:%2")
                       .arg(i / 256, 2, 16, QLatin1Char('0'))
                       .arg(i % 256, 2, 16, QLatin1Char('0'));
        r->rssi = -40 - (i % 50);
        list->push_back(platform::Value::record(r));
    }
    return testsupport::answer(
        false, true,
        platform::Dictionary::make({{QStringLiteral("ScanResults"), platform::Value::array(list)}}));
}

void BM_RefreshFinishingJobFor500Rows(benchmark::State& state) {
    auto scenario =
        testsupport::joinedScenario(QStringLiteral("Network 0000"), QStringLiteral("02:00:00:00:00:00"));
    scenario.tests[31] = {scanOf(0, 501), scanOf(60, 501)};
    DiagnosticHarness h(scenario, testsupport::parameters(60, true));
    auto& c = *h.controller;
    c.start();
    if (!h.waitUntilIdle() || !c.tableView || c.tableView->numberOfRowsInSection(1) != 501) {
        state.SkipWithError("the list did not load 500 networks");
        return;
    }
    const auto before = c.lists;
    c.wifiScanResults.set(
        scanOf(60, 501).results->front()->info->value(QStringLiteral("ScanResults"))->toArray());
    c.dedupScanResultsToHighestRSSI();
    c.sortWiFiScanResults();
    const auto after = c.lists;
    for (auto _ : state) {
        state.PauseTiming();
        c.lists = before;
        c.tableView->reloadData();
        c.previousScanFilteredWiFiScanResults = before.filteredWiFiScanResults;
        c.previousScanFilteredNetworks = before.filteredNetworks;
        c.lists = after;
        state.ResumeTiming();
        c.tableView->beginUpdates();
        c.reloadSelectedNetwork(true);
        c.updateNetworkList();
        c.reloadRefreshCell();
        c.tableView->endUpdates();
    }
    // The joined network is not in the new scan, so all 501 of its names are listed, with "OTHER".
    if (c.tableView->numberOfRowsInSection(1) != 502) {
        state.SkipWithError("the refresh did not list the new scan's 501 networks");
    }
}
BENCHMARK(BM_RefreshFinishingJobFor500Rows)->Unit(benchmark::kMillisecond)->Iterations(50);

}  // namespace
