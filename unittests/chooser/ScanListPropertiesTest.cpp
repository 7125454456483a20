// The chooser's lists over a few hundred generated scans (seeded, so every run sees the same ones):
// after the first load, each refresh and each change of selection, the lists keep their rules (the
// two filtered lists agree, one record per name, the selected name is not listed, other access points
// of the joined network never appear, the list is sorted), and a refresh's deleted and inserted rows
// turn the rows on screen into the new list (rows whose names compare equal may keep an older order).
#include "wifiprofile/chooser/ScanListProcessing.h"

#include <QCollator>
#include <QLocale>

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <random>
#include <set>
#include <vector>

namespace {

using namespace wifiprofile::chooser;

// Names that collide in every way the lists care about: case variants that sort as equal, an
// empty name, accents, and the joined network's name.
const QStringList kNames = {"Home",    "home",  "Cafe",  "CAFE",   "cafe", "",
                            "Ålesund", "Zebra", "alpha", "Alpha2", "beta", "Office"};
const QString kJoinedName = QStringLiteral("Home");
const QString kAssociatedBssid = QStringLiteral("home-ap-1");

class Generator {
  public:
    explicit Generator(unsigned seed) : random_(seed) {}

    int below(int n) { return std::uniform_int_distribution<int>(0, n - 1)(random_); }

    // A scan of up to 40 records; the joined network's name is broadcast by three access points.
    platform::ArrayRef scan() {
        auto array = platform::makeArray();
        const int count = below(41);
        for (int i = 0; i < count; ++i) {
            auto r = std::make_shared<platform::WiFiScanResult>();
            if (below(12) != 0) {
                r->ssidString = kNames[below(kNames.size())];
            }
            r->bssid = r->ssidString == kJoinedName ? QStringLiteral("home-ap-%1").arg(below(3))
                                                    : QStringLiteral("ap-%1").arg(below(1000));
            r->rssi = -30 - below(60);
            array->push_back(platform::Value::record(r));
        }
        return array;
    }

    std::optional<QString> name() {
        if (below(4) == 0) {
            return std::nullopt;
        }
        return kNames[below(kNames.size())];
    }

  private:
    std::mt19937 random_;
};

// The controller's state for the lists, moved by the same steps as the screen moves it.
struct Chooser {
    platform::WiFiStatus status;
    std::optional<QString> selected;
    ScanResultRef currentNetwork;
    NetworkLists lists;

    void firstLoad(const platform::ArrayRef& scan) {
        if (!selected) {
            selected = status.ssidString;
        }
        lists = dedupScanResultsToHighestRSSI(scan.get(), &status, currentNetwork);
        updateFilteredNetworkListIfNeeded(lists, selected, &status, currentNetwork);
        sortWiFiScanResults(lists.filteredWiFiScanResults);
    }

    void refresh(const platform::ArrayRef& scan) {
        const bool hadSelection = selected.has_value();
        lists = dedupScanResultsToHighestRSSI(scan.get(), &status, currentNetwork);
        if (!selected || selected != status.ssidString) {
            if (!hadSelection) {
                selected = status.ssidString;
            }
            if (selected) {
                if (const ScanResultRef record = lists.distinctNetworks.value(*selected)) {
                    removeNetworkFromFilteredNetworkList(lists, record);
                    if (hadSelection) {
                        addNetworkToFilteredNetworkList(lists, currentNetwork);
                    }
                }
            }
        }
        sortWiFiScanResults(lists.filteredWiFiScanResults);
    }

    // A tap on row `row` of the networks section: that network becomes the selected one and the
    // one selected before goes back into the list.
    void select(std::size_t row) {
        const ScanResultRef tapped = lists.filteredWiFiScanResults.at(row);
        const std::optional<QString> before = selected;
        selected = tapped->ssidString;
        removeNetworkFromFilteredNetworkList(lists, tapped);
        if (before) {
            addNetworkToFilteredNetworkList(lists, lists.distinctNetworks.value(*before));
        }
        sortWiFiScanResults(lists.filteredWiFiScanResults);
    }
};

QStringList namesOf(const NetworkList& list) {
    QStringList names;
    for (const auto& r : list) {
        names << *r->ssidString;
    }
    return names;
}

// The rules the lists keep after every step; an empty answer when all hold.
QString brokenRule(const Chooser& c) {
    const NetworkLists& l = c.lists;
    std::set<const platform::WiFiScanResult*> inList;
    for (const auto& r : l.filteredWiFiScanResults) {
        if (!r || !r->ssidString) {
            return QStringLiteral("a listed record without a name");
        }
        if (l.filteredNetworks.value(*r->ssidString) != r) {
            return QStringLiteral("\"%1\" is listed but not filed under its name").arg(*r->ssidString);
        }
        inList.insert(r.get());
    }
    if (inList.size() != l.filteredWiFiScanResults.size() ||
        static_cast<qsizetype>(inList.size()) != l.filteredNetworks.size()) {
        return QStringLiteral("the two filtered lists differ or a name is listed twice");
    }
    if (c.selected && l.filteredNetworks.contains(*c.selected)) {
        return QStringLiteral("the selected name \"%1\" is listed").arg(*c.selected);
    }
    for (const NetworksByName* byName : {&l.filteredNetworks, &l.distinctNetworks}) {
        for (const auto& r : *byName) {
            if (c.status.ssidString && r->ssidString == c.status.ssidString && r->bssid != c.status.bssid) {
                return QStringLiteral("another access point of the joined network is kept");
            }
        }
    }
    QCollator collator;
    collator.setCaseSensitivity(Qt::CaseInsensitive);
    for (std::size_t i = 1; i < l.filteredWiFiScanResults.size(); ++i) {
        if (collator.compare(*l.filteredWiFiScanResults[i - 1]->ssidString,
                             *l.filteredWiFiScanResults[i]->ssidString) > 0) {
            return QStringLiteral("not sorted at row %1").arg(i);
        }
    }
    return QString();
}

// The rows on screen after the refresh's batch: deletions numbered in the old list (applied from
// the bottom up), then insertions numbered in the new list (applied from the top down).
QStringList applyDiff(QStringList rows, const std::vector<long>& deleted, const std::vector<long>& inserted,
                      const QStringList& newNames) {
    for (auto it = deleted.rbegin(); it != deleted.rend(); ++it) {
        rows.removeAt(*it);
    }
    for (const long row : inserted) {
        rows.insert(row, newNames.at(row));
    }
    return rows;
}

// Why the rows on screen are not the new list, or nothing. A refresh neither moves nor reloads a
// row that stays, so rows whose names compare equal may stand in another order than a fresh list
// puts them (a name put back after its equals by a selection stands first again after a refresh);
// the table shows each row's own record after the batch. Every other difference is a wrong diff.
QString differenceBeyondEqualNames(const QStringList& onScreen, const QStringList& fresh) {
    if (onScreen.size() != fresh.size()) {
        return QStringLiteral("%1 rows on screen, %2 in the list").arg(onScreen.size()).arg(fresh.size());
    }
    QStringList a = onScreen;
    QStringList b = fresh;
    std::sort(a.begin(), a.end());
    std::sort(b.begin(), b.end());
    if (a != b) {
        return QStringLiteral("other names on screen than in the list");
    }
    QCollator collator;
    collator.setCaseSensitivity(Qt::CaseInsensitive);
    for (qsizetype i = 0; i < fresh.size(); ++i) {
        if (collator.compare(onScreen[i], fresh[i]) != 0) {
            return QStringLiteral("row %1 shows \"%2\" where the list has \"%3\"")
                .arg(i)
                .arg(onScreen[i], fresh[i]);
        }
    }
    return QString();
}

// Run in the plain C locale and in a real one: the collators differ in how they order accents.
class ListProperties : public ::testing::TestWithParam<const char*> {
  protected:
    void SetUp() override { QLocale::setDefault(QLocale(QString::fromLatin1(GetParam()))); }
    void TearDown() override { QLocale::setDefault(QLocale::system()); }
};

INSTANTIATE_TEST_SUITE_P(Locales, ListProperties, ::testing::Values("C", "sv_SE"));

TEST_P(ListProperties, RulesHoldAndRefreshDiffsAddUpOverGeneratedScans) {
    Generator gen(20240611u);
    int refreshes = 0;
    int swapsOfEqualNames = 0;
    for (int run = 0; run < 300; ++run) {
        Chooser c;
        if (gen.below(4) != 0) {
            c.status = {kJoinedName, kAssociatedBssid};
        }
        c.selected = gen.name();
        c.firstLoad(gen.scan());
        ASSERT_EQ(brokenRule(c), QString()) << "run " << run << " after the first load";
        const int steps = 1 + gen.below(6);
        for (int step = 0; step < steps; ++step) {
            if (gen.below(3) == 0 && !c.lists.filteredWiFiScanResults.empty()) {
                c.select(static_cast<std::size_t>(gen.below(c.lists.filteredWiFiScanResults.size())));
                ASSERT_EQ(brokenRule(c), QString()) << "run " << run << " step " << step << " (selection)";
                continue;
            }
            const NetworkList previous = c.lists.filteredWiFiScanResults;
            const NetworksByName previousByName = c.lists.filteredNetworks;
            c.refresh(gen.scan());
            ++refreshes;
            ASSERT_EQ(brokenRule(c), QString()) << "run " << run << " step " << step << " (refresh)";
            const QStringList newNames = namesOf(c.lists.filteredWiFiScanResults);
            const QStringList onScreen =
                applyDiff(namesOf(previous), lostNetworkRows(previous, c.lists.filteredNetworks),
                          newNetworkRows(c.lists.filteredWiFiScanResults, previousByName), newNames);
            EXPECT_EQ(differenceBeyondEqualNames(onScreen, newNames), QString())
                << "run " << run << " step " << step << ": " << onScreen.join('|').toStdString() << " vs "
                << newNames.join('|').toStdString();
            swapsOfEqualNames += onScreen != newNames;
        }
    }
    EXPECT_GT(refreshes, 300);  // the generator did exercise refreshes, not only selections
    // Selections that put a name back after its equals did happen, and their refreshes were checked.
    EXPECT_GT(swapsOfEqualNames, 0);
}

TEST(ListDedupProperties, DedupKeepsTheStrongestRecordOfEachNameFirstOnATie) {
    Generator gen(7u);
    for (int run = 0; run < 300; ++run) {
        const platform::ArrayRef scan = gen.scan();
        ScanResultRef current;
        const NetworkLists lists = dedupScanResultsToHighestRSSI(scan.get(), nullptr, current);
        // The expected winner per name, found the slow way: first record with the highest signal.
        QHash<QString, ScanResultRef> best;
        for (const auto& v : *scan) {
            const auto r = v.recordAs<platform::WiFiScanResult>();
            if (r->ssidString && (!best.contains(*r->ssidString) || r->rssi > best[*r->ssidString]->rssi)) {
                best[*r->ssidString] = r;
            }
        }
        ASSERT_EQ(lists.filteredNetworks, best) << "run " << run;
        ASSERT_EQ(lists.distinctNetworks, best) << "run " << run;
        ASSERT_EQ(current, nullptr);
    }
}

}  // namespace
