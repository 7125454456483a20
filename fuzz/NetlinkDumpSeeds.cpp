// Writes the seeds of the netlink_dump fuzz target into a folder: each dump of a made-up device as
// the kernel lays it out, a refused and an interrupted one, and damaged ones. Each seed is the
// dump's index in kAllNl80211Dumps, then the dump's bytes. The committed seeds in
// fuzz/corpus/netlink_dump were made with
//
//   cmake --build build --target netlink_dump_seeds && build/fuzz/netlink_dump_seeds fuzz/corpus/netlink_dump

#include "platform/wifi/linux/Nl80211Records.h"
#include "unittests/linux/support/RadioFixtures.h"

#include <QDir>
#include <QFile>

#include <linux/netlink.h>
#include <linux/nl80211.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iterator>

using namespace platform::linuxwifi;
using namespace radiofixtures;

namespace {

char indexOf(Nl80211Dump which) {
    for (std::size_t i = 0; i < std::size(kAllNl80211Dumps); ++i) {
        if (kAllNl80211Dumps[i] == which) {
            return static_cast<char>(i);
        }
    }
    return 0;
}

bool write(const QDir& dir, const char* name, Nl80211Dump which, const QByteArray& bytes) {
    QFile file(dir.filePath(QString::fromLatin1(name)));
    const QByteArray seed = indexOf(which) + bytes;
    if (!file.open(QIODevice::WriteOnly) || file.write(seed) != seed.size()) {
        std::fprintf(stderr, "netlink_dump_seeds: cannot write %s\n", qPrintable(file.fileName()));
        return false;
    }
    return true;
}

RadioFixture device() {
    RadioFixture f;
    f.channelWidth = NL80211_CHAN_WIDTH_40;
    f.centerFrequency1 = 2447;
    f.otherInterfaces = {{"wlan1", 4, 1}};
    f.bsses = {{"aa:bb:cc:00:00:01",
                2437,
                100,
                0x0411,
                ssidElement("home") + supportedRatesElement("82848b960c121824") + dsParameterSetElement(6) +
                    countryElement("DE") + htCapabilitiesElement(0x01ef) + htOperationElement(6, 1, true) +
                    rsnElement({2, 8}, 0x0080) + wpsElement({"Acme", "X1", "7", "Hall"}),
                timElement(3),
                -5000,
                true,
                false,
                {}},
               {"aa:bb:cc:00:00:02",
                5180,
                100,
                0x0411,
                ssidElement("lab") + vhtCapabilitiesElement(0x338819fa) + vhtOperationElement(1, 42) +
                    heCapabilitiesElement() + interworkingElement(2, true) + hotspot20Element(),
                {},
                -7000,
                false,
                true,
                4}};
    f.station = StationFixture{"aa:bb:cc:00:00:01",
                               -50,
                               -51,
                               BitrateFixture{1300, 7, {}, {}, {}, 40},
                               BitrateFixture{8667, {}, 9, {}, {}, 80},
                               3,
                               100,
                               {}};
    f.survey = {{2437, -92, true, {}}, {2412, {}, false, {}}, {5180, -95, false, 4}};
    f.regulatory = {{"US", {}, false}, {"DE", 0, true}};
    f.bands = {{NL80211_BAND_2GHZ, 0x01ef, {}, true, false},
               {NL80211_BAND_5GHZ, 0x09ef, 0x338819fa, true, true}};
    return f;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: netlink_dump_seeds FOLDER\n");
        return 2;
    }
    const QDir dir(QString::fromLocal8Bit(argv[1]));
    if (!QDir().mkpath(dir.path())) {
        std::fprintf(stderr, "netlink_dump_seeds: cannot make %s\n", argv[1]);
        return 1;
    }
    const auto dumps = device().dumps();
    bool ok = write(dir, "interface", Nl80211Dump::Interface, dumps.at(Nl80211Dump::Interface)) &&
              write(dir, "scan", Nl80211Dump::Scan, dumps.at(Nl80211Dump::Scan)) &&
              write(dir, "station", Nl80211Dump::Station, dumps.at(Nl80211Dump::Station)) &&
              write(dir, "survey", Nl80211Dump::Survey, dumps.at(Nl80211Dump::Survey)) &&
              write(dir, "regulatory", Nl80211Dump::Regulatory, dumps.at(Nl80211Dump::Regulatory)) &&
              write(dir, "wiphy_split", Nl80211Dump::Wiphy, dumps.at(Nl80211Dump::Wiphy));

    // The kernel's refusal, and a dump it flagged as interrupted.
    ok = ok && write(dir, "survey_refused", Nl80211Dump::Survey, refusedDump(EOPNOTSUPP));
    QByteArray interrupted = dumps.at(Nl80211Dump::Scan);
    const std::uint16_t flags = NLM_F_MULTI | NLM_F_DUMP_INTR;
    std::memcpy(interrupted.data() + 6, &flags, sizeof flags);
    ok = ok && write(dir, "scan_interrupted", Nl80211Dump::Scan, interrupted);

    // Damaged: the end cut off, a nested attribute past its parent (the station's first information
    // attribute, at 52, claiming all of its parent), a BSSID of five bytes.
    const QByteArray scan = dumps.at(Nl80211Dump::Scan);
    ok = ok && write(dir, "bad_scan_cut", Nl80211Dump::Scan, scan.left(scan.size() - 4));
    QByteArray station = dumps.at(Nl80211Dump::Station);
    std::memcpy(station.data() + 52, station.constData() + 48, 2);
    ok = ok && write(dir, "bad_station_nested_past_parent", Nl80211Dump::Station, station);
    platform::linuxwifi::NetlinkBuilder shortBssid;
    shortBssid.message(kFixtureFamily, NL80211_CMD_NEW_SCAN_RESULTS, NLM_F_MULTI)
        .begin(NL80211_ATTR_BSS)
        .bytes(NL80211_BSS_BSSID, QByteArray::fromHex("aabbccddee"))
        .end();
    ok = ok && write(dir, "bad_scan_short_bssid", Nl80211Dump::Scan, shortBssid.done());
    return ok ? 0 : 1;
}
