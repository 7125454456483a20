// The chooser's list processing on a crowded scan: 2,000 access points broadcasting 600 names,
// de-duplicated, the selected network moved out and the rest sorted, as each scan of the list does.
#include "wifiprofile/chooser/ScanListProcessing.h"

#include <benchmark/benchmark.h>

#include <memory>
#include <random>

namespace {

using namespace wifiprofile::chooser;

platform::ArrayRef crowdedScan(int accessPoints, int names) {
    std::mt19937 random(42u);
    std::uniform_int_distribution<int> pickName(0, names - 1);
    std::uniform_int_distribution<int> pickSignal(-95, -30);
    auto scan = platform::makeArray();
    for (int i = 0; i < accessPoints; ++i) {
        auto r = std::make_shared<platform::WiFiScanResult>();
        const int n = pickName(random);
        // Mixed case and shared prefixes, so that the collator has real work to do.
        r->ssidString = (n % 3 == 0 ? QStringLiteral("Network-%1") : QStringLiteral("network %1")).arg(n);
        r->bssid = QStringLiteral("02:00:00:%1:%2:%3").arg(i / 65536).arg((i / 256) % 256).arg(i % 256);
        r->rssi = pickSignal(random);
        scan->push_back(platform::Value::record(r));
    }
    return scan;
}

void BM_DedupFilterAndSort2000AccessPoints600Names(benchmark::State& state) {
    const platform::ArrayRef scan = crowdedScan(2000, 600);
    const platform::WiFiStatus status{QStringLiteral("network 1"), QStringLiteral("02:00:00:0:0:7")};
    const std::optional<QString> selected = QStringLiteral("Network-3");
    for (auto _ : state) {
        ScanResultRef current;
        NetworkLists lists = dedupScanResultsToHighestRSSI(scan.get(), &status, current);
        updateFilteredNetworkListIfNeeded(lists, selected, &status, current);
        sortWiFiScanResults(lists.filteredWiFiScanResults);
        benchmark::DoNotOptimize(lists.filteredWiFiScanResults.data());
    }
}

}  // namespace

BENCHMARK(BM_DedupFilterAndSort2000AccessPoints600Names)->Unit(benchmark::kMillisecond);
