// The chooser's list processing: de-duplication by name, the first load's move of the selected
// network, the localised sort and the rows a refresh deletes and inserts.
#include "wifiprofile/chooser/ScanListProcessing.h"

#include <QCollator>
#include <QCollatorSortKey>

#include <algorithm>
#include <numeric>

namespace wifiprofile::chooser {

NetworkLists dedupScanResultsToHighestRSSI(const platform::Array* scanResults,
                                           const platform::WiFiStatus* status,
                                           ScanResultRef& currentNetwork) {
    NetworkLists lists;
    const std::optional<QString> statusBssid = status ? status->bssid : std::nullopt;
    const std::optional<QString> statusSsid = status ? status->ssidString : std::nullopt;
    std::vector<QString> names;
    if (scanResults) {
        for (const platform::Value& entry : *scanResults) {
            const ScanResultRef record = entry.recordAs<platform::WiFiScanResult>();
            if (!record || !record->ssidString) {
                continue;
            }
            const QString& name = *record->ssidString;
            if (statusBssid && *statusBssid == record->bssid) {
                currentNetwork = record;
                lists.distinctNetworks.insert(name, record);
                continue;
            }
            if (statusSsid && *statusSsid == name) {
                continue;  // another access point of the joined network
            }
            const auto stored = lists.filteredNetworks.constFind(name);
            if (stored == lists.filteredNetworks.cend()) {
                names.push_back(name);
            } else if (record->rssi <= stored.value()->rssi) {
                continue;  // the first record met keeps its place on a tie
            }
            lists.filteredNetworks.insert(name, record);
            lists.distinctNetworks.insert(name, record);
        }
    }
    // The list is built in the order of the names' characters, whatever the scan's order, so that
    // the stable sort gives a fresh list one fixed order: names the sort finds equal ("CAFE", "Cafe",
    // "cafe") stand in that order after every scan, and a record appended later lands after them.
    std::sort(names.begin(), names.end());
    lists.filteredWiFiScanResults.reserve(names.size());
    for (const QString& name : names) {
        lists.filteredWiFiScanResults.push_back(lists.filteredNetworks.value(name));
    }
    return lists;
}

void updateFilteredNetworkListIfNeeded(NetworkLists& lists, const std::optional<QString>& selectedName,
                                       const platform::WiFiStatus* status,
                                       const ScanResultRef& currentNetwork) {
    const std::optional<QString> statusSsid = status ? status->ssidString : std::nullopt;
    if (!selectedName || selectedName == statusSsid) {
        return;
    }
    const ScanResultRef selected = lists.distinctNetworks.value(*selectedName);
    if (!selected) {
        return;  // the selected network is out of range
    }
    removeNetworkFromFilteredNetworkList(lists, selected);
    if (statusSsid) {
        addNetworkToFilteredNetworkList(lists, currentNetwork);
    }
}

void sortWiFiScanResults(NetworkList& list) {
    QCollator collator;
    collator.setCaseSensitivity(Qt::CaseInsensitive);
    // In the C locale a collator's sort key is the plain string, case and all, although its compare
    // ignores case; keys made from case-folded names order the same way as that compare.
    const bool plainLocale = collator.locale().language() == QLocale::C;
    // One key per record, made once: comparing keys is far cheaper than collating two strings.
    std::vector<QCollatorSortKey> keys;
    keys.reserve(list.size());
    for (const ScanResultRef& record : list) {
        const QString name = record && record->ssidString ? *record->ssidString : QString();
        keys.push_back(collator.sortKey(plainLocale ? name.toCaseFolded() : name));
    }
    // Stable: records whose names compare equal ("Cafe", "CAFE", or the very same name) keep their
    // relative order.
    std::vector<std::size_t> order(list.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::stable_sort(order.begin(), order.end(),
                     [&keys](std::size_t a, std::size_t b) { return keys[a].compare(keys[b]) < 0; });
    NetworkList sorted;
    sorted.reserve(list.size());
    for (const std::size_t i : order) {
        sorted.push_back(std::move(list[i]));
    }
    list = std::move(sorted);
}

void addNetworkToFilteredNetworkList(NetworkLists& lists, const ScanResultRef& network) {
    if (!network) {
        return;
    }
    lists.filteredWiFiScanResults.push_back(network);
    lists.filteredNetworks.insert(network->ssidString.value_or(QString()), network);
}

void removeNetworkFromFilteredNetworkList(NetworkLists& lists, const ScanResultRef& network) {
    if (!network) {
        return;
    }
    std::erase(lists.filteredWiFiScanResults, network);
    lists.filteredNetworks.remove(network->ssidString.value_or(QString()));
}

std::optional<long> positionOfNetwork(const NetworkList& list, const ScanResultRef& network) {
    const auto found = std::find(list.cbegin(), list.cend(), network);
    if (!network || found == list.cend()) {
        return std::nullopt;
    }
    return static_cast<long>(found - list.cbegin());
}

namespace {

// Rows of list whose name other does not hold.
std::vector<long> rowsMissingFrom(const NetworkList& list, const NetworksByName& other) {
    std::vector<long> rows;
    for (std::size_t i = 0; i < list.size(); ++i) {
        const ScanResultRef& record = list[i];
        if (!record || !other.contains(record->ssidString.value_or(QString()))) {
            rows.push_back(static_cast<long>(i));
        }
    }
    return rows;
}

}  // namespace

std::vector<long> lostNetworkRows(const NetworkList& previous, const NetworksByName& current) {
    return rowsMissingFrom(previous, current);
}

std::vector<long> newNetworkRows(const NetworkList& current, const NetworksByName& previous) {
    return rowsMissingFrom(current, previous);
}

}  // namespace wifiprofile::chooser
