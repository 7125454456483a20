#pragma once
// The chooser's list processing as plain functions over the lists: one record per network name at
// its strongest signal (the joined network's associated access point apart), the selected network
// moved out of the list, sorting by name, and the rows a refresh deletes and inserts. The
// controller's operations call these; they touch no screen and take no lock.

#include "platform/foundation/Value.h"
#include "platform/wifi/WiFiRecords.h"

#include <QHash>
#include <QString>

#include <optional>
#include <vector>

namespace wifiprofile::chooser {

using ScanResultRef = std::shared_ptr<const platform::WiFiScanResult>;
using NetworkList = std::vector<ScanResultRef>;
using NetworksByName = QHash<QString, ScanResultRef>;

// The lists behind the screen. filteredNetworks and filteredWiFiScanResults hold the same records
// (the networks section, in display order); distinctNetworks holds every name that may be shown.
struct NetworkLists {
    NetworksByName distinctNetworks;
    NetworksByName filteredNetworks;
    NetworkList filteredWiFiScanResults;
};

// One record per name from a raw scan (entries that are not scan records are skipped). The record
// whose BSSID is the status's goes into distinctNetworks only and becomes currentNetwork; other
// access points of the status's network are dropped; otherwise the strongest record of a name wins,
// the first in scan order on a tie. Records without a name are skipped. currentNetwork is left as it
// was when the scan has no associated access point. The filtered list comes back in the order of
// the names' characters, not sorted for display.
NetworkLists dedupScanResultsToHighestRSSI(const platform::Array* scanResults,
                                           const platform::WiFiStatus* status, ScanResultRef& currentNetwork);

// The first load's move of the selected network: when another network than the joined one is
// selected and in the scan, it leaves the filtered lists and the joined network's record (when the
// status names a network) joins them.
void updateFilteredNetworkListIfNeeded(NetworkLists& lists, const std::optional<QString>& selectedName,
                                       const platform::WiFiStatus* status,
                                       const ScanResultRef& currentNetwork);

// Stable sort by name: localised, case-insensitive, ascending.
void sortWiFiScanResults(NetworkList& list);

// Appends the record (no duplicate check) and files it under its name; an absent record is ignored.
void addNetworkToFilteredNetworkList(NetworkLists& lists, const ScanResultRef& network);
// Removes every occurrence of the record (the same object) and the entry under its name; an absent
// record is ignored.
void removeNetworkFromFilteredNetworkList(NetworkLists& lists, const ScanResultRef& network);

// Where the record (the same object) stands in the list, or absent.
std::optional<long> positionOfNetwork(const NetworkList& list, const ScanResultRef& network);

// Rows of the previous list whose name the new lists no longer hold, in the previous numbering.
std::vector<long> lostNetworkRows(const NetworkList& previous, const NetworksByName& current);
// Rows of the new list whose name the previous lists did not hold, in the new numbering.
std::vector<long> newNetworkRows(const NetworkList& current, const NetworksByName& previous);

}  // namespace wifiprofile::chooser
