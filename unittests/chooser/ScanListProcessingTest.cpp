// The chooser's list processing, case by case: de-duplication, the joined network's access points,
// the first load's move of the selected network, sorting, adding and removing, and the refresh diff.
#include "wifiprofile/chooser/ScanListProcessing.h"

#include <QLocale>

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <vector>

namespace {

using namespace wifiprofile::chooser;
using platform::Value;

ScanResultRef scan(std::optional<QString> ssid, const QString& bssid, std::int64_t rssi) {
    auto r = std::make_shared<platform::WiFiScanResult>();
    r->ssidString = std::move(ssid);
    r->bssid = bssid;
    r->rssi = rssi;
    return r;
}

platform::ArrayRef scanOf(const std::vector<ScanResultRef>& records) {
    auto array = platform::makeArray();
    for (const auto& r : records) {
        array->push_back(Value::record(r));
    }
    return array;
}

QStringList namesOf(const NetworkList& list) {
    QStringList names;
    for (const auto& r : list) {
        names << r->ssidString.value_or(QStringLiteral("<absent>"));
    }
    return names;
}

const platform::WiFiStatus kNotJoined{};
const platform::WiFiStatus kJoinedHome{QStringLiteral("Home"), QStringLiteral("aa:00:00:00:00:02")};

// The rows the networks section shows: the list and the "OTHER" row after it.
long networksOffset(const NetworkLists& lists) {
    return static_cast<long>(lists.filteredWiFiScanResults.size()) + 1;
}

TEST(Dedup, EqualSignalKeepsTheFirstInScanOrder) {
    const auto first = scan(QStringLiteral("Cafe"), QStringLiteral("01"), -60);
    const auto second = scan(QStringLiteral("Cafe"), QStringLiteral("02"), -60);
    ScanResultRef current;
    const auto lists = dedupScanResultsToHighestRSSI(scanOf({first, second}).get(), &kNotJoined, current);
    ASSERT_EQ(lists.filteredWiFiScanResults.size(), 1u);
    EXPECT_EQ(lists.filteredWiFiScanResults[0], first);
    EXPECT_EQ(lists.filteredNetworks.value("Cafe"), first);
    EXPECT_EQ(lists.distinctNetworks.value("Cafe"), first);
}

TEST(Dedup, AStrongerLaterRecordReplacesTheWeaker) {
    const auto weaker = scan(QStringLiteral("Cafe"), QStringLiteral("01"), -61);
    const auto stronger = scan(QStringLiteral("Cafe"), QStringLiteral("02"), -60);
    ScanResultRef current;
    const auto lists = dedupScanResultsToHighestRSSI(scanOf({weaker, stronger}).get(), &kNotJoined, current);
    ASSERT_EQ(lists.filteredWiFiScanResults.size(), 1u);
    EXPECT_EQ(lists.filteredWiFiScanResults[0], stronger);
    EXPECT_EQ(lists.distinctNetworks.value("Cafe"), stronger);
}

TEST(Dedup, AnAbsentNameIsNeverListedAnEmptyNameIs) {
    const auto hidden = scan(std::nullopt, QStringLiteral("01"), -40);
    const auto empty = scan(QString(""), QStringLiteral("02"), -50);
    ScanResultRef current;
    const auto lists = dedupScanResultsToHighestRSSI(scanOf({hidden, empty}).get(), &kNotJoined, current);
    ASSERT_EQ(lists.filteredWiFiScanResults.size(), 1u);
    EXPECT_EQ(lists.filteredWiFiScanResults[0], empty);
    EXPECT_EQ(lists.filteredNetworks.value(QString("")), empty);
    EXPECT_EQ(lists.distinctNetworks.size(), 1);
}

TEST(Dedup, EntriesThatAreNoScanRecordsAreSkipped) {
    auto array = scanOf({scan(QStringLiteral("Cafe"), QStringLiteral("01"), -60)});
    array->insert(array->begin(), Value::string(QStringLiteral("Cafe")));
    array->push_back(Value::null());
    array->push_back(Value::integer(3));
    ScanResultRef current;
    const auto lists = dedupScanResultsToHighestRSSI(array.get(), &kNotJoined, current);
    EXPECT_EQ(namesOf(lists.filteredWiFiScanResults), QStringList({"Cafe"}));
}

TEST(Dedup, NoScanAndNoStatusGiveEmptyListsAndKeepTheCurrentNetwork) {
    const auto earlier = scan(QStringLiteral("Home"), QStringLiteral("aa:00:00:00:00:02"), -50);
    ScanResultRef current = earlier;
    const auto lists = dedupScanResultsToHighestRSSI(nullptr, nullptr, current);
    EXPECT_TRUE(lists.filteredWiFiScanResults.empty());
    EXPECT_TRUE(lists.filteredNetworks.isEmpty());
    EXPECT_TRUE(lists.distinctNetworks.isEmpty());
    EXPECT_EQ(current, earlier);
    EXPECT_EQ(networksOffset(lists), 1);
}

TEST(Dedup, OnlyTheAssociatedAccessPointOfTheJoinedNetworkIsKeptAndOnlyAmongDistinctNetworks) {
    const auto strongest = scan(QStringLiteral("Home"), QStringLiteral("aa:00:00:00:00:01"), -30);
    const auto associated = scan(QStringLiteral("Home"), QStringLiteral("aa:00:00:00:00:02"), -70);
    const auto third = scan(QStringLiteral("Home"), QStringLiteral("aa:00:00:00:00:03"), -50);
    const auto other = scan(QStringLiteral("Cafe"), QStringLiteral("bb"), -60);
    ScanResultRef current;
    const auto lists = dedupScanResultsToHighestRSSI(scanOf({strongest, associated, third, other}).get(),
                                                     &kJoinedHome, current);
    EXPECT_EQ(current, associated);
    EXPECT_EQ(lists.distinctNetworks.value("Home"), associated);
    EXPECT_FALSE(lists.filteredNetworks.contains("Home"));
    EXPECT_EQ(namesOf(lists.filteredWiFiScanResults), QStringList({"Cafe"}));
}

TEST(Dedup, TheCurrentNetworkSurvivesAScanWithoutTheAssociatedAccessPoint) {
    const auto earlier = scan(QStringLiteral("Home"), QStringLiteral("aa:00:00:00:00:02"), -50);
    ScanResultRef current = earlier;
    const auto lists = dedupScanResultsToHighestRSSI(
        scanOf({scan(QStringLiteral("Home"), QStringLiteral("aa:00:00:00:00:09"), -40)}).get(), &kJoinedHome,
        current);
    EXPECT_EQ(current, earlier);
    EXPECT_TRUE(lists.distinctNetworks.isEmpty());
}

TEST(Dedup, ANameMatchesTheStatusCaseSensitively) {
    ScanResultRef current;
    const auto lists = dedupScanResultsToHighestRSSI(
        scanOf({scan(QStringLiteral("home"), QStringLiteral("cc"), -40)}).get(), &kJoinedHome, current);
    EXPECT_EQ(namesOf(lists.filteredWiFiScanResults), QStringList({"home"}));
    EXPECT_EQ(current, nullptr);
}

TEST(FirstLoad, AnotherSelectedNetworkInRangeLeavesTheListAndTheJoinedOneJoins) {
    const auto associated = scan(QStringLiteral("Home"), QStringLiteral("aa:00:00:00:00:02"), -70);
    const auto cafe = scan(QStringLiteral("Cafe"), QStringLiteral("bb"), -60);
    const auto office = scan(QStringLiteral("Office"), QStringLiteral("dd"), -60);
    ScanResultRef current;
    auto lists =
        dedupScanResultsToHighestRSSI(scanOf({associated, cafe, office}).get(), &kJoinedHome, current);
    updateFilteredNetworkListIfNeeded(lists, QStringLiteral("Cafe"), &kJoinedHome, current);
    sortWiFiScanResults(lists.filteredWiFiScanResults);
    EXPECT_EQ(namesOf(lists.filteredWiFiScanResults), QStringList({"Home", "Office"}));
    EXPECT_EQ(lists.filteredNetworks.value("Home"), associated);
    EXPECT_FALSE(lists.filteredNetworks.contains("Cafe"));
    EXPECT_EQ(lists.distinctNetworks.value("Cafe"), cafe);
}

TEST(FirstLoad, TheJoinedNetworkSelectedChangesNothing) {
    const auto associated = scan(QStringLiteral("Home"), QStringLiteral("aa:00:00:00:00:02"), -70);
    const auto cafe = scan(QStringLiteral("Cafe"), QStringLiteral("bb"), -60);
    ScanResultRef current;
    auto lists = dedupScanResultsToHighestRSSI(scanOf({associated, cafe}).get(), &kJoinedHome, current);
    updateFilteredNetworkListIfNeeded(lists, QStringLiteral("Home"), &kJoinedHome, current);
    EXPECT_EQ(namesOf(lists.filteredWiFiScanResults), QStringList({"Cafe"}));
}

TEST(FirstLoad, ASelectedNetworkOutOfRangeLeavesTheJoinedNetworkListedNowhere) {
    const auto associated = scan(QStringLiteral("Home"), QStringLiteral("aa:00:00:00:00:02"), -70);
    const auto cafe = scan(QStringLiteral("Cafe"), QStringLiteral("bb"), -60);
    ScanResultRef current;
    auto lists = dedupScanResultsToHighestRSSI(scanOf({associated, cafe}).get(), &kJoinedHome, current);
    updateFilteredNetworkListIfNeeded(lists, QStringLiteral("Faraway"), &kJoinedHome, current);
    EXPECT_EQ(namesOf(lists.filteredWiFiScanResults), QStringList({"Cafe"}));
    EXPECT_FALSE(lists.filteredNetworks.contains("Home"));
}

TEST(FirstLoad, NoSelectionOrNoJoinedNetworkAddsNoCurrentNetwork) {
    const auto cafe = scan(QStringLiteral("Cafe"), QStringLiteral("bb"), -60);
    const auto earlier = scan(QStringLiteral("Home"), QStringLiteral("aa:00:00:00:00:02"), -70);
    ScanResultRef current = earlier;
    auto lists = dedupScanResultsToHighestRSSI(scanOf({cafe}).get(), &kNotJoined, current);
    updateFilteredNetworkListIfNeeded(lists, std::nullopt, &kNotJoined, current);
    EXPECT_EQ(namesOf(lists.filteredWiFiScanResults), QStringList({"Cafe"}));
    // Selected and in range, but the status names no network: the record leaves, nothing joins.
    updateFilteredNetworkListIfNeeded(lists, QStringLiteral("Cafe"), &kNotJoined, current);
    EXPECT_TRUE(lists.filteredWiFiScanResults.empty());
    EXPECT_TRUE(lists.filteredNetworks.isEmpty());
    EXPECT_EQ(networksOffset(lists), 1);
}

// The sort follows the user's locale; the plain C locale and a real one both ignore case.
class Sort : public ::testing::TestWithParam<const char*> {
  protected:
    void SetUp() override { QLocale::setDefault(QLocale(QString::fromLatin1(GetParam()))); }
    void TearDown() override { QLocale::setDefault(QLocale::system()); }
};

INSTANTIATE_TEST_SUITE_P(Locales, Sort, ::testing::Values("C", "en_US", "de_DE"));

TEST_P(Sort, NamesSortLocalisedAndCaseInsensitively) {
    NetworkList list = {scan(QStringLiteral("beta"), "1", -50), scan(QStringLiteral("Alpha"), "2", -50),
                        scan(QStringLiteral("alpha2"), "3", -50)};
    sortWiFiScanResults(list);
    EXPECT_EQ(namesOf(list), QStringList({"Alpha", "alpha2", "beta"}));
}

TEST_P(Sort, RecordsOfTheSameNameKeepTheirRelativeOrder) {
    const auto first = scan(QStringLiteral("Cafe"), "1", -50);
    const auto second = scan(QStringLiteral("Cafe"), "2", -70);
    const auto third = scan(QStringLiteral("Cafe"), "3", -60);
    const auto zoo = scan(QStringLiteral("Zoo"), "0", -50);
    NetworkList list = {zoo, first, second, third};
    sortWiFiScanResults(list);
    EXPECT_EQ(list, NetworkList({first, second, third, zoo}));
    NetworkList reversed = {third, second, zoo, first};
    sortWiFiScanResults(reversed);
    EXPECT_EQ(reversed, NetworkList({third, second, first, zoo}));
}

TEST_P(Sort, NamesComparingEqualKeepTheirPreviousRelativeOrder) {
    const auto upper = scan(QStringLiteral("CAFE"), "1", -50);
    const auto lower = scan(QStringLiteral("cafe"), "2", -50);
    const auto mixed = scan(QStringLiteral("Cafe"), "3", -50);
    const auto bar = scan(QStringLiteral("bar"), "4", -50);
    NetworkList one = {lower, upper, bar, mixed};
    sortWiFiScanResults(one);
    EXPECT_EQ(namesOf(one), QStringList({"bar", "cafe", "CAFE", "Cafe"}));
    NetworkList other = {mixed, bar, upper, lower};
    sortWiFiScanResults(other);
    EXPECT_EQ(namesOf(other), QStringList({"bar", "Cafe", "CAFE", "cafe"}));
}

TEST_P(Sort, ARecordAppendedToAFreshListLandsAfterTheNamesComparingEqualToIt) {
    // The user had selected "Cafe" and now taps another network: "Cafe" goes back in at the end
    // and the sort puts it after "cafe", which compares equal to it.
    ScanResultRef current;
    const auto cafe = scan(QStringLiteral("cafe"), "1", -50);
    const auto selected = scan(QStringLiteral("Cafe"), "2", -60);
    const auto zoo = scan(QStringLiteral("Zoo"), "3", -50);
    auto lists = dedupScanResultsToHighestRSSI(scanOf({zoo, selected, cafe}).get(), &kNotJoined, current);
    removeNetworkFromFilteredNetworkList(lists, selected);
    sortWiFiScanResults(lists.filteredWiFiScanResults);
    EXPECT_EQ(namesOf(lists.filteredWiFiScanResults), QStringList({"cafe", "Zoo"}));
    addNetworkToFilteredNetworkList(lists, selected);
    sortWiFiScanResults(lists.filteredWiFiScanResults);
    EXPECT_EQ(namesOf(lists.filteredWiFiScanResults), QStringList({"cafe", "Cafe", "Zoo"}));
    EXPECT_EQ(positionOfNetwork(lists.filteredWiFiScanResults, selected), 1);
}

TEST_P(Sort, AFreshListOfNamesComparingEqualHasOneOrderWhateverTheScansOrder) {
    const auto upper = scan(QStringLiteral("CAFE"), "1", -50);
    const auto lower = scan(QStringLiteral("cafe"), "2", -50);
    const auto mixed = scan(QStringLiteral("Cafe"), "3", -50);
    const auto bar = scan(QStringLiteral("bar"), "4", -50);
    ScanResultRef current;
    auto one = dedupScanResultsToHighestRSSI(scanOf({lower, upper, bar, mixed}).get(), &kNotJoined, current);
    auto other =
        dedupScanResultsToHighestRSSI(scanOf({mixed, bar, upper, lower}).get(), &kNotJoined, current);
    sortWiFiScanResults(one.filteredWiFiScanResults);
    sortWiFiScanResults(other.filteredWiFiScanResults);
    // By the names' characters: capitals before small letters.
    EXPECT_EQ(namesOf(one.filteredWiFiScanResults), QStringList({"bar", "CAFE", "Cafe", "cafe"}));
    EXPECT_EQ(one.filteredWiFiScanResults, other.filteredWiFiScanResults);
}

TEST_P(Sort, AnEmptyListAndAnEmptyNameSortFine) {
    NetworkList empty;
    sortWiFiScanResults(empty);
    EXPECT_TRUE(empty.empty());
    NetworkList list = {scan(QStringLiteral("a"), "1", -50), scan(QString(""), "2", -50)};
    sortWiFiScanResults(list);
    EXPECT_EQ(namesOf(list), QStringList({"", "a"}));
}

TEST(AddRemove, AddingAppendsWithoutCheckAndRemovingTakesEveryOccurrence) {
    NetworkLists lists;
    const auto cafe = scan(QStringLiteral("Cafe"), "1", -50);
    const auto cafeTwin = scan(QStringLiteral("Cafe"), "2", -50);
    addNetworkToFilteredNetworkList(lists, cafe);
    addNetworkToFilteredNetworkList(lists, cafe);
    addNetworkToFilteredNetworkList(lists, cafeTwin);
    EXPECT_EQ(lists.filteredWiFiScanResults, NetworkList({cafe, cafe, cafeTwin}));
    EXPECT_EQ(lists.filteredNetworks.value("Cafe"), cafeTwin);
    EXPECT_EQ(positionOfNetwork(lists.filteredWiFiScanResults, cafeTwin), 2);
    removeNetworkFromFilteredNetworkList(lists, cafe);
    // Only the same object leaves the list; the entry under the name goes whatever it holds.
    EXPECT_EQ(lists.filteredWiFiScanResults, NetworkList({cafeTwin}));
    EXPECT_FALSE(lists.filteredNetworks.contains("Cafe"));
    EXPECT_EQ(positionOfNetwork(lists.filteredWiFiScanResults, cafe), std::nullopt);
}

TEST(AddRemove, AnAbsentNetworkIsIgnored) {
    NetworkLists lists;
    addNetworkToFilteredNetworkList(lists, nullptr);
    removeNetworkFromFilteredNetworkList(lists, nullptr);
    EXPECT_TRUE(lists.filteredWiFiScanResults.empty());
    EXPECT_TRUE(lists.filteredNetworks.isEmpty());
    EXPECT_EQ(positionOfNetwork(lists.filteredWiFiScanResults, nullptr), std::nullopt);
}

// A refresh: the previous lists as the table shows them, then a new scan processed the same way.
struct Refresh {
    NetworkLists previous;
    NetworkLists current;
};

Refresh refresh(const std::vector<ScanResultRef>& before, const std::vector<ScanResultRef>& after) {
    ScanResultRef current;
    Refresh r;
    r.previous = dedupScanResultsToHighestRSSI(scanOf(before).get(), &kNotJoined, current);
    sortWiFiScanResults(r.previous.filteredWiFiScanResults);
    r.current = dedupScanResultsToHighestRSSI(scanOf(after).get(), &kNotJoined, current);
    sortWiFiScanResults(r.current.filteredWiFiScanResults);
    return r;
}

TEST(Diff, AVanishedNetworkIsDeletedAndANewOneInsertedTheOthersUntouched) {
    const auto a = scan(QStringLiteral("A"), "1", -50);
    const auto c = scan(QStringLiteral("C"), "3", -50);
    const auto d = scan(QStringLiteral("D"), "4", -50);
    const auto b = scan(QStringLiteral("B"), "2", -50);
    // C's access point changes between the scans: its row stays as it is.
    const auto cStronger = scan(QStringLiteral("C"), "5", -30);
    const Refresh r = refresh({a, c, d}, {b, cStronger, d});
    EXPECT_EQ(lostNetworkRows(r.previous.filteredWiFiScanResults, r.current.filteredNetworks),
              std::vector<long>({0}));
    EXPECT_EQ(newNetworkRows(r.current.filteredWiFiScanResults, r.previous.filteredNetworks),
              std::vector<long>({0}));
    EXPECT_EQ(networksOffset(r.current), 4);
}

TEST(Diff, DeletedRowsCountInTheOldListInsertedRowsInTheNew) {
    const auto n = [](const char* name) { return scan(QString::fromLatin1(name), name, -50); };
    const Refresh r = refresh({n("b"), n("d"), n("f")}, {n("a"), n("b"), n("c"), n("f"), n("g")});
    EXPECT_EQ(lostNetworkRows(r.previous.filteredWiFiScanResults, r.current.filteredNetworks),
              std::vector<long>({1}));
    EXPECT_EQ(newNetworkRows(r.current.filteredWiFiScanResults, r.previous.filteredNetworks),
              std::vector<long>({0, 2, 4}));
}

TEST(Diff, AnEmptyNewScanDeletesEveryRowAndLeavesOnlyTheOtherRow) {
    const Refresh r = refresh({scan(QStringLiteral("A"), "1", -50), scan(QStringLiteral("B"), "2", -50),
                               scan(QStringLiteral("C"), "3", -50)},
                              {});
    EXPECT_EQ(lostNetworkRows(r.previous.filteredWiFiScanResults, r.current.filteredNetworks),
              std::vector<long>({0, 1, 2}));
    EXPECT_TRUE(newNetworkRows(r.current.filteredWiFiScanResults, r.previous.filteredNetworks).empty());
    EXPECT_EQ(networksOffset(r.previous), 4);
    EXPECT_EQ(networksOffset(r.current), 1);
}

TEST(Diff, TheSameScanAgainChangesNoRow) {
    const std::vector<ScanResultRef> records = {scan(QStringLiteral("A"), "1", -50),
                                                scan(QStringLiteral("B"), "2", -50)};
    const Refresh r = refresh(records, records);
    EXPECT_TRUE(lostNetworkRows(r.previous.filteredWiFiScanResults, r.current.filteredNetworks).empty());
    EXPECT_TRUE(newNetworkRows(r.current.filteredWiFiScanResults, r.previous.filteredNetworks).empty());
}

}  // namespace
