// The nl80211 layer over dumps laid out by the radio fixtures: each decoder with every attribute it
// reads present and absent, the split wiphy dump, the device's snapshot (its interface, its records,
// the joined BSS and station, noise and regulation), and the radio tests' findings either way.
#include "platform/wifi/linux/NetlinkBuilder.h"
#include "platform/wifi/linux/Nl80211Radio.h"
#include "platform/wifi/linux/Nl80211Records.h"
#include "unittests/linux/probes/QtPrinting.h"
#include "unittests/linux/support/RadioFixtures.h"

#include <linux/netlink.h>
#include <linux/nl80211.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <iterator>

using namespace platform::linuxwifi;
using namespace radiofixtures;

namespace {

constexpr int kIfindex = 3;
const QString kAp = QStringLiteral("aa:bb:cc:00:00:01");
const QString kNeighbour = QStringLiteral("aa:bb:cc:00:00:02");

template <typename Decode>
auto decoded(const QByteArray& bytes, Decode decode) {
    const NetlinkDump dump = readDump(bytes);
    return decode(dump);
}

template <typename Decode>
auto decoded(const RadioFixture& fixture, Nl80211Dump which, Decode decode) {
    return decoded(fixture.dumps().at(which), decode);
}

// A dump of one message, its attributes laid out by fill.
template <typename Fill>
QByteArray oneMessage(int command, Fill fill) {
    NetlinkBuilder b;
    b.message(kFixtureFamily, command, NLM_F_MULTI);
    fill(b);
    return b.done();
}

RadioSnapshot snapshotOf(const std::map<Nl80211Dump, QByteArray>& dumps, const QString& name = "wlan0") {
    MemoryNl80211Source source(dumps);
    return takeRadioSnapshot(source, name);
}

RadioSnapshot snapshotOf(const RadioFixture& fixture) {
    return snapshotOf(fixture.dumps(), fixture.interfaceName);
}

Nl80211Missing missingOf(const std::map<Nl80211Dump, QByteArray>& dumps, const QString& name = "wlan0") {
    try {
        snapshotOf(dumps, name);
        ADD_FAILURE() << "a snapshot was taken where nl80211 was expected to be missing";
    } catch (const Nl80211Missing& missing) {
        return missing;
    }
    return {};
}

Nl80211Bss bssWith(const QByteArray& elements, int frequency = 2437) {
    Nl80211Bss bss;
    bss.bssid = bssidFromText(kAp);
    bss.frequency = frequency;
    bss.informationElements = elements;
    return bss;
}

Nl80211Station stationWith(std::optional<Nl80211Bitrate> tx, std::optional<Nl80211Bitrate> rx) {
    Nl80211Station station;
    station.txBitrate = tx;
    station.rxBitrate = rx;
    return station;
}

Nl80211Bitrate rate(std::optional<int> mcs, std::optional<int> vht = {}, std::optional<int> he = {},
                    std::optional<int> eht = {}) {
    Nl80211Bitrate r;
    r.bitrate100kbps = 540;
    r.mcs = mcs;
    r.vhtMcs = vht;
    r.heMcs = he;
    r.ehtMcs = eht;
    return r;
}

Nl80211Wiphy wiphyWith(std::vector<Nl80211Band> bands) {
    Nl80211Wiphy wiphy;
    wiphy.name = "phy0";
    wiphy.bands = std::move(bands);
    return wiphy;
}

Nl80211Band band(int which, bool ht, bool vht, bool he = false, bool eht = false) {
    Nl80211Band b;
    b.band = which;
    if (ht) {
        b.htCapabilities = 0x01ef;
    }
    if (vht) {
        b.vhtCapabilities = 0x338819fa;
    }
    b.he = he;
    b.eht = eht;
    return b;
}

}  // namespace

// Names and addresses.

TEST(Nl80211Names, EachDumpHasItsFileNameAndCommand) {
    const std::pair<Nl80211Dump, std::pair<const char*, int>> expected[] = {
        {Nl80211Dump::Interface, {"GET_INTERFACE", NL80211_CMD_GET_INTERFACE}},
        {Nl80211Dump::Scan, {"GET_SCAN", NL80211_CMD_GET_SCAN}},
        {Nl80211Dump::Station, {"GET_STATION", NL80211_CMD_GET_STATION}},
        {Nl80211Dump::Survey, {"GET_SURVEY", NL80211_CMD_GET_SURVEY}},
        {Nl80211Dump::Regulatory, {"GET_REG", NL80211_CMD_GET_REG}},
        {Nl80211Dump::Wiphy, {"GET_WIPHY", NL80211_CMD_GET_WIPHY}}};
    ASSERT_EQ(std::size(kAllNl80211Dumps), std::size(expected));
    for (std::size_t i = 0; i < std::size(expected); ++i) {
        EXPECT_EQ(kAllNl80211Dumps[i], expected[i].first);
        EXPECT_EQ(nl80211DumpName(expected[i].first), expected[i].second.first);
        EXPECT_EQ(nl80211Command(expected[i].first), expected[i].second.second);
    }
}

TEST(Nl80211Names, BssidTextAndBack) {
    const QByteArray bssid = QByteArray::fromHex("a0b1c2d3e4f5");
    EXPECT_EQ(bssidText(bssid), "a0:b1:c2:d3:e4:f5");
    EXPECT_EQ(bssidFromText("a0:b1:c2:d3:e4:f5"), bssid);
    EXPECT_EQ(bssidFromText("A0:B1:C2:D3:E4:F5"), bssid);
    for (const char* bad : {"", "a0:b1:c2:d3:e4", "a0:b1:c2:d3:e4:f5:06", "a0:b1:c2:d3:e4:g5", "a0b1c2d3e4f5",
                            "a0:b1:c2:d3:e4:5", "a0:b1:c2:d3:e4:f50", "a0-b1-c2-d3-e4-f5"}) {
        EXPECT_TRUE(bssidFromText(bad).isEmpty()) << bad;
    }
}

// GET_INTERFACE.

TEST(Nl80211Interfaces, EveryAttribute) {
    RadioFixture f;
    f.wiphy = 1;
    f.frequency = 2437;
    f.channelWidth = NL80211_CHAN_WIDTH_40;
    f.centerFrequency1 = 2447;
    const auto interfaces = decoded(f, Nl80211Dump::Interface, decodeInterfaces);
    ASSERT_EQ(interfaces.size(), 1u);
    const Nl80211Interface& i = interfaces[0];
    EXPECT_EQ(i.ifindex, kIfindex);
    EXPECT_EQ(i.name, "wlan0");
    EXPECT_EQ(i.wiphy, 1);
    EXPECT_EQ(i.frequency, 2437);
    EXPECT_EQ(i.channelWidth, NL80211_CHAN_WIDTH_40);
    EXPECT_EQ(i.centerFrequency1, 2447);
}

TEST(Nl80211Interfaces, AbsentAttributesAreNone) {
    RadioFixture f;
    f.frequency.reset();
    f.otherInterfaces = {{"wlan1", 4, 1}};
    const auto interfaces = decoded(f, Nl80211Dump::Interface, decodeInterfaces);
    ASSERT_EQ(interfaces.size(), 2u);
    EXPECT_FALSE(interfaces[0].frequency.has_value());
    EXPECT_FALSE(interfaces[0].channelWidth.has_value());
    EXPECT_FALSE(interfaces[0].centerFrequency1.has_value());
    EXPECT_EQ(interfaces[1].name, "wlan1");
    EXPECT_EQ(interfaces[1].ifindex, 4);
    EXPECT_EQ(interfaces[1].wiphy, 1);

    const auto bare = decoded(
        oneMessage(NL80211_CMD_NEW_INTERFACE, [](NetlinkBuilder& b) { b.u32(NL80211_ATTR_IFINDEX, 9); }),
        decodeInterfaces);
    ASSERT_EQ(bare.size(), 1u);
    EXPECT_EQ(bare[0].ifindex, 9);
    EXPECT_TRUE(bare[0].name.isEmpty());
    EXPECT_FALSE(bare[0].wiphy.has_value());
}

TEST(Nl80211Interfaces, AWirelessDeviceWithoutANetworkInterfaceIsLeftOut) {
    const auto interfaces = decoded(oneMessage(NL80211_CMD_NEW_INTERFACE,
                                               [](NetlinkBuilder& b) {
                                                   b.string(NL80211_ATTR_IFNAME, "p2p-dev-wlan0")
                                                       .u32(NL80211_ATTR_WIPHY, 0)
                                                       .u32(NL80211_ATTR_IFTYPE, NL80211_IFTYPE_P2P_DEVICE);
                                               }),
                                    decodeInterfaces);
    EXPECT_TRUE(interfaces.empty());
}

TEST(Nl80211Interfaces, AShortNumberRefusesTheDump) {
    const QByteArray bytes =
        oneMessage(NL80211_CMD_NEW_INTERFACE, [](NetlinkBuilder& b) { b.u16(NL80211_ATTR_IFINDEX, 3); });
    EXPECT_THROW(decoded(bytes, decodeInterfaces), NetlinkFormatError);
}

// GET_SCAN.

TEST(Nl80211Scan, EveryAttribute) {
    RadioFixture f;
    const QByteArray frame = ssidElement("home") + dsParameterSetElement(6);
    const QByteArray beacon = frame + timElement(3);
    f.bsses = {{kAp, 2437, 102, 0x0431, frame, beacon, -4850, true, true, {}}};
    const auto scan = decoded(f, Nl80211Dump::Scan, decodeScan);
    ASSERT_EQ(scan.size(), 1u);
    const Nl80211Bss& b = scan[0];
    EXPECT_EQ(b.ifindex, kIfindex);
    EXPECT_EQ(b.bssid, bssidFromText(kAp));
    EXPECT_EQ(b.frequency, 2437);
    EXPECT_EQ(b.beaconInterval, 102);
    EXPECT_EQ(b.capability, 0x0431);
    EXPECT_EQ(b.informationElements, frame);
    EXPECT_EQ(b.beaconElements, beacon);
    EXPECT_EQ(b.signalMbm, -4850);
    EXPECT_EQ(b.status, NL80211_BSS_STATUS_ASSOCIATED);
    EXPECT_TRUE(b.associated());
    EXPECT_TRUE(b.fromProbeResponse);
}

TEST(Nl80211Scan, AbsentAttributesAreNone) {
    const QByteArray bytes = oneMessage(NL80211_CMD_NEW_SCAN_RESULTS, [](NetlinkBuilder& b) {
        b.begin(NL80211_ATTR_BSS).bytes(NL80211_BSS_BSSID, bssidFromText(kAp)).end();
    });
    const auto scan = decoded(bytes, decodeScan);
    ASSERT_EQ(scan.size(), 1u);
    const Nl80211Bss& b = scan[0];
    EXPECT_EQ(b.ifindex, 0);
    EXPECT_EQ(b.bssid, bssidFromText(kAp));
    EXPECT_FALSE(b.frequency.has_value());
    EXPECT_FALSE(b.beaconInterval.has_value());
    EXPECT_FALSE(b.capability.has_value());
    EXPECT_TRUE(b.informationElements.isEmpty());
    EXPECT_TRUE(b.beaconElements.isEmpty());
    EXPECT_FALSE(b.signalMbm.has_value());
    EXPECT_FALSE(b.status.has_value());
    EXPECT_FALSE(b.associated());
    EXPECT_FALSE(b.fromProbeResponse);

    RadioFixture f;
    f.bsses = {{kAp, 5180, 100, 0x0011, ssidElement("x"), {}, -7000, false, false, {}}};
    const auto heard = decoded(f, Nl80211Dump::Scan, decodeScan);
    ASSERT_EQ(heard.size(), 1u);
    EXPECT_TRUE(heard[0].beaconElements.isEmpty());
    EXPECT_FALSE(heard[0].status.has_value());
    EXPECT_FALSE(heard[0].fromProbeResponse);
}

TEST(Nl80211Scan, AnotherStatusIsNotAssociated) {
    const QByteArray bytes = oneMessage(NL80211_CMD_NEW_SCAN_RESULTS, [](NetlinkBuilder& b) {
        b.begin(NL80211_ATTR_BSS)
            .bytes(NL80211_BSS_BSSID, bssidFromText(kAp))
            .u32(NL80211_BSS_STATUS, NL80211_BSS_STATUS_AUTHENTICATED)
            .end();
    });
    const auto scan = decoded(bytes, decodeScan);
    ASSERT_EQ(scan.size(), 1u);
    EXPECT_EQ(scan[0].status, NL80211_BSS_STATUS_AUTHENTICATED);
    EXPECT_FALSE(scan[0].associated());
}

TEST(Nl80211Scan, AMessageWithoutABssIsLeftOut) {
    const QByteArray bytes =
        oneMessage(NL80211_CMD_NEW_SCAN_RESULTS, [](NetlinkBuilder& b) { b.u32(NL80211_ATTR_IFINDEX, 3); });
    EXPECT_TRUE(decoded(bytes, decodeScan).empty());
}

TEST(Nl80211Scan, ABssidThatIsNotSixBytesRefusesTheDump) {
    const QByteArray bytes = oneMessage(NL80211_CMD_NEW_SCAN_RESULTS, [](NetlinkBuilder& b) {
        b.begin(NL80211_ATTR_BSS).bytes(NL80211_BSS_BSSID, QByteArray::fromHex("aabbccddee")).end();
    });
    try {
        decoded(bytes, decodeScan);
        ADD_FAILURE() << "a five-byte BSSID was read";
    } catch (const NetlinkFormatError& error) {
        EXPECT_EQ(error.offset, 24);  // the BSSID attribute, first inside the BSS
        EXPECT_EQ(error.why, "a BSSID of 5 bytes, not 6");
    }
}

// GET_STATION.

TEST(Nl80211Stations, EveryAttribute) {
    RadioFixture f;
    BitrateFixture tx{8667, {}, 9, {}, {}, 80};
    BitrateFixture rx{1300, 7, {}, {}, {}, 40};
    f.station = StationFixture{kAp, -52, -54, tx, rx, 3, 102, {}};
    const auto stations = decoded(f, Nl80211Dump::Station, decodeStations);
    ASSERT_EQ(stations.size(), 1u);
    const Nl80211Station& s = stations[0];
    EXPECT_EQ(s.ifindex, kIfindex);
    EXPECT_EQ(s.mac, bssidFromText(kAp));
    EXPECT_EQ(s.signal, -52);
    EXPECT_EQ(s.signalAvg, -54);
    ASSERT_TRUE(s.txBitrate.has_value());
    EXPECT_EQ(s.txBitrate->bitrate100kbps, 8667);
    EXPECT_EQ(s.txBitrate->vhtMcs, 9);
    EXPECT_FALSE(s.txBitrate->mcs.has_value());
    EXPECT_EQ(s.txBitrate->widthMHz, 80);
    ASSERT_TRUE(s.rxBitrate.has_value());
    EXPECT_EQ(s.rxBitrate->bitrate100kbps, 1300);
    EXPECT_EQ(s.rxBitrate->mcs, 7);
    EXPECT_EQ(s.rxBitrate->widthMHz, 40);
    EXPECT_EQ(s.dtimPeriod, 3);
    EXPECT_EQ(s.beaconInterval, 102);
}

TEST(Nl80211Stations, AbsentAttributesAreNone) {
    RadioFixture f;
    f.station = StationFixture{kAp, {}, {}, {}, {}, {}, {}, {}};
    const auto stations = decoded(f, Nl80211Dump::Station, decodeStations);
    ASSERT_EQ(stations.size(), 1u);
    const Nl80211Station& s = stations[0];
    EXPECT_EQ(s.mac, bssidFromText(kAp));
    EXPECT_FALSE(s.signal.has_value());
    EXPECT_FALSE(s.signalAvg.has_value());
    EXPECT_FALSE(s.txBitrate.has_value());
    EXPECT_FALSE(s.rxBitrate.has_value());
    EXPECT_FALSE(s.dtimPeriod.has_value());
    EXPECT_FALSE(s.beaconInterval.has_value());

    // A station without its information at all.
    const auto bare = decoded(
        oneMessage(NL80211_CMD_NEW_STATION, [](NetlinkBuilder& b) { b.u32(NL80211_ATTR_IFINDEX, 5); }),
        decodeStations);
    ASSERT_EQ(bare.size(), 1u);
    EXPECT_EQ(bare[0].ifindex, 5);
    EXPECT_TRUE(bare[0].mac.isEmpty());
    EXPECT_FALSE(bare[0].signal.has_value());

    // A rate without a bit rate, and BSS parameters with only the beacon interval.
    f.station = StationFixture{kAp, {}, {}, BitrateFixture{{}, 3, {}, {}, {}, 20}, {}, {}, 100, {}};
    const auto partial = decoded(f, Nl80211Dump::Station, decodeStations);
    ASSERT_TRUE(partial.at(0).txBitrate.has_value());
    EXPECT_FALSE(partial[0].txBitrate->bitrate100kbps.has_value());
    EXPECT_EQ(partial[0].txBitrate->mcs, 3);
    EXPECT_EQ(partial[0].txBitrate->widthMHz, 20);
    EXPECT_FALSE(partial[0].dtimPeriod.has_value());
    EXPECT_EQ(partial[0].beaconInterval, 100);
}

TEST(Nl80211Stations, TheWideBitRateWinsOverTheNarrowOne) {
    const auto withBoth = [](int narrow, std::optional<int> wide) {
        return oneMessage(NL80211_CMD_NEW_STATION, [=](NetlinkBuilder& b) {
            b.begin(NL80211_ATTR_STA_INFO)
                .begin(NL80211_STA_INFO_TX_BITRATE)
                .u16(NL80211_RATE_INFO_BITRATE, narrow);
            if (wide) {
                b.u32(NL80211_RATE_INFO_BITRATE32, *wide);
            }
            b.end().end();
        });
    };
    EXPECT_EQ(decoded(withBoth(540, {}), decodeStations).at(0).txBitrate->bitrate100kbps, 540);
    EXPECT_EQ(decoded(withBoth(0, 72060), decodeStations).at(0).txBitrate->bitrate100kbps, 72060);
    // The fixture sends a rate too wide for 16 bits only in the 32-bit attribute, as the kernel does.
    RadioFixture f;
    f.station = StationFixture{kAp, {}, {}, BitrateFixture{72060, {}, {}, {}, 11, 320}, {}, {}, {}, {}};
    EXPECT_EQ(decoded(f, Nl80211Dump::Station, decodeStations).at(0).txBitrate->bitrate100kbps, 72060);
}

TEST(Nl80211Stations, EachWidthFlag) {
    for (const int width : {5, 10, 20, 40, 80, 160, 320}) {
        RadioFixture f;
        f.station = StationFixture{kAp, {}, {}, BitrateFixture{60, {}, {}, {}, {}, width}, {}, {}, {}, {}};
        EXPECT_EQ(decoded(f, Nl80211Dump::Station, decodeStations).at(0).txBitrate->widthMHz, width);
    }
    const QByteArray eightyPlusEighty = oneMessage(NL80211_CMD_NEW_STATION, [](NetlinkBuilder& b) {
        b.begin(NL80211_ATTR_STA_INFO)
            .begin(NL80211_STA_INFO_RX_BITRATE)
            .flag(NL80211_RATE_INFO_80P80_MHZ_WIDTH)
            .end()
            .end();
    });
    EXPECT_EQ(decoded(eightyPlusEighty, decodeStations).at(0).rxBitrate->widthMHz, 160);
}

TEST(Nl80211Stations, EachRateKindHasItsPhyMode) {
    RadioFixture f;
    const std::pair<BitrateFixture, std::optional<QString>> cases[] = {
        {BitrateFixture{540, {}, {}, {}, {}, 20}, std::nullopt},
        {BitrateFixture{1300, 7, {}, {}, {}, 20}, QString("802.11n")},
        {BitrateFixture{8667, {}, 9, {}, {}, 80}, QString("802.11ac")},
        {BitrateFixture{12010, {}, {}, 11, {}, 80}, QString("802.11ax")},
        {BitrateFixture{28820, {}, {}, {}, 13, 160}, QString("802.11be")}};
    for (const auto& [fixture, mode] : cases) {
        f.station = StationFixture{kAp, {}, {}, fixture, {}, {}, {}, {}};
        EXPECT_EQ(decoded(f, Nl80211Dump::Station, decodeStations).at(0).txBitrate->phyMode(), mode)
            << mode.value_or("legacy").toStdString();
    }
}

TEST(Nl80211Stations, ADamagedRateRefusesTheDump) {
    const QByteArray bytes = oneMessage(NL80211_CMD_NEW_STATION, [](NetlinkBuilder& b) {
        b.begin(NL80211_ATTR_STA_INFO)
            .begin(NL80211_STA_INFO_TX_BITRATE)
            .u8(NL80211_RATE_INFO_BITRATE, 1)
            .end()
            .end();
    });
    EXPECT_THROW(decoded(bytes, decodeStations), NetlinkFormatError);
}

// GET_SURVEY.

TEST(Nl80211Survey, EveryAttributeAndAbsentNoise) {
    RadioFixture f;
    f.survey = {{2412, -95, false, {}}, {2437, -91, true, {}}, {2462, {}, false, {}}};
    const auto survey = decoded(f, Nl80211Dump::Survey, decodeSurvey);
    ASSERT_EQ(survey.size(), 3u);
    EXPECT_EQ(survey[0].ifindex, kIfindex);
    EXPECT_EQ(survey[0].frequency, 2412);
    EXPECT_EQ(survey[0].noise, -95);
    EXPECT_FALSE(survey[0].inUse);
    EXPECT_EQ(survey[1].noise, -91);
    EXPECT_TRUE(survey[1].inUse);
    EXPECT_EQ(survey[2].frequency, 2462);
    EXPECT_FALSE(survey[2].noise.has_value());

    const auto bare = decoded(oneMessage(NL80211_CMD_NEW_SURVEY_RESULTS,
                                         [](NetlinkBuilder& b) { b.begin(NL80211_ATTR_SURVEY_INFO).end(); }),
                              decodeSurvey);
    ASSERT_EQ(bare.size(), 1u);
    EXPECT_EQ(bare[0].ifindex, 0);
    EXPECT_FALSE(bare[0].frequency.has_value());
    EXPECT_FALSE(bare[0].inUse);
}

TEST(Nl80211Survey, AMessageWithoutSurveyInformationIsLeftOut) {
    const QByteArray bytes =
        oneMessage(NL80211_CMD_NEW_SURVEY_RESULTS, [](NetlinkBuilder& b) { b.u32(NL80211_ATTR_IFINDEX, 3); });
    EXPECT_TRUE(decoded(bytes, decodeSurvey).empty());
}

// GET_REG.

TEST(Nl80211Regulatory, GlobalAndWiphyDomains) {
    RadioFixture f;
    f.regulatory = {{"US", {}, false}, {"DE", 0, true}, {"JP", 1, false}};
    const auto domains = decoded(f, Nl80211Dump::Regulatory, decodeRegulatory);
    ASSERT_EQ(domains.size(), 3u);
    EXPECT_EQ(domains[0].alpha2, "US");
    EXPECT_FALSE(domains[0].wiphy.has_value());
    EXPECT_FALSE(domains[0].selfManaged);
    EXPECT_EQ(domains[1].alpha2, "DE");
    EXPECT_EQ(domains[1].wiphy, 0);
    EXPECT_TRUE(domains[1].selfManaged);
    EXPECT_EQ(domains[2].wiphy, 1);
    EXPECT_FALSE(domains[2].selfManaged);
}

TEST(Nl80211Regulatory, AMessageWithoutACountryIsLeftOut) {
    const QByteArray bytes = oneMessage(
        NL80211_CMD_GET_REG, [](NetlinkBuilder& b) { b.u8(NL80211_ATTR_DFS_REGION, NL80211_DFS_ETSI); });
    EXPECT_TRUE(decoded(bytes, decodeRegulatory).empty());
}

// GET_WIPHY.

TEST(Nl80211Wiphys, TheSplitDumpIsMergedIntoOneWiphy) {
    RadioFixture f;
    f.wiphy = 2;
    f.bands = {{NL80211_BAND_2GHZ, 0x01ef, {}, true, false},
               {NL80211_BAND_5GHZ, 0x09ef, 0x338819fa, true, true}};
    const QByteArray bytes = f.dumps().at(Nl80211Dump::Wiphy);
    // The fixture sends it as the kernel does: more messages than wiphys.
    EXPECT_GT(readDump(bytes).messages.size(), 3u);
    const auto wiphys = decoded(bytes, decodeWiphys);
    ASSERT_EQ(wiphys.size(), 1u);
    const Nl80211Wiphy& w = wiphys[0];
    EXPECT_EQ(w.index, 2);
    EXPECT_EQ(w.name, "phy2");
    ASSERT_EQ(w.bands.size(), 2u);
    const Nl80211Band* two = w.band(NL80211_BAND_2GHZ);
    ASSERT_NE(two, nullptr);
    EXPECT_EQ(two->htCapabilities, 0x01ef);
    EXPECT_FALSE(two->vhtCapabilities.has_value());
    EXPECT_TRUE(two->he);
    EXPECT_FALSE(two->eht);
    const Nl80211Band* five = w.band(NL80211_BAND_5GHZ);
    ASSERT_NE(five, nullptr);
    EXPECT_EQ(five->htCapabilities, 0x09ef);
    EXPECT_EQ(five->vhtCapabilities, 0x338819fau);
    EXPECT_TRUE(five->he);
    EXPECT_TRUE(five->eht);
    EXPECT_EQ(w.band(NL80211_BAND_6GHZ), nullptr);
}

TEST(Nl80211Wiphys, ABandsPartsInSeveralMessagesAddUpAndWiphysStayApart) {
    NetlinkBuilder b;
    const auto start = [&](int wiphy) {
        b.message(kFixtureFamily, NL80211_CMD_NEW_WIPHY, NLM_F_MULTI).u32(NL80211_ATTR_WIPHY, wiphy);
    };
    start(0);
    b.string(NL80211_ATTR_WIPHY_NAME, "phy0");
    start(1);
    b.string(NL80211_ATTR_WIPHY_NAME, "phy1");
    start(0);
    b.begin(NL80211_ATTR_WIPHY_BANDS)
        .begin(NL80211_BAND_5GHZ)
        .u16(NL80211_BAND_ATTR_HT_CAPA, 0x0001)
        .end()
        .end();
    start(1);
    b.begin(NL80211_ATTR_WIPHY_BANDS)
        .begin(NL80211_BAND_2GHZ)
        .u16(NL80211_BAND_ATTR_HT_CAPA, 0x0002)
        .end()
        .end();
    start(0);
    b.begin(NL80211_ATTR_WIPHY_BANDS)
        .begin(NL80211_BAND_5GHZ)
        .u32(NL80211_BAND_ATTR_VHT_CAPA, 0x0100)
        .begin(NL80211_BAND_ATTR_IFTYPE_DATA)
        .begin(1)
        .bytes(NL80211_BAND_IFTYPE_ATTR_EHT_CAP_PHY, QByteArray(9, '\0'))
        .end()
        .end()
        .end()
        .end();
    // A message that names no wiphy belongs to none.
    b.message(kFixtureFamily, NL80211_CMD_NEW_WIPHY, NLM_F_MULTI).string(NL80211_ATTR_WIPHY_NAME, "stray");
    const auto wiphys = decoded(b.done(), decodeWiphys);
    ASSERT_EQ(wiphys.size(), 2u);
    EXPECT_EQ(wiphys[0].index, 0);
    EXPECT_EQ(wiphys[0].name, "phy0");
    ASSERT_EQ(wiphys[0].bands.size(), 1u);
    EXPECT_EQ(wiphys[0].bands[0].band, NL80211_BAND_5GHZ);
    EXPECT_EQ(wiphys[0].bands[0].htCapabilities, 0x0001);
    EXPECT_EQ(wiphys[0].bands[0].vhtCapabilities, 0x0100u);
    EXPECT_FALSE(wiphys[0].bands[0].he);
    EXPECT_TRUE(wiphys[0].bands[0].eht);
    EXPECT_EQ(wiphys[1].index, 1);
    EXPECT_EQ(wiphys[1].name, "phy1");
    ASSERT_EQ(wiphys[1].bands.size(), 1u);
    EXPECT_EQ(wiphys[1].bands[0].htCapabilities, 0x0002);
    EXPECT_FALSE(wiphys[1].bands[0].vhtCapabilities.has_value());
}

TEST(Nl80211Wiphys, ABandWithoutCapabilitiesOffersNone) {
    RadioFixture f;
    f.bands = {{NL80211_BAND_2GHZ, {}, {}, false, false}};
    const auto wiphys = decoded(f, Nl80211Dump::Wiphy, decodeWiphys);
    ASSERT_EQ(wiphys.size(), 1u);
    const Nl80211Band* b = wiphys[0].band(NL80211_BAND_2GHZ);
    ASSERT_NE(b, nullptr);
    EXPECT_FALSE(b->htCapabilities.has_value());
    EXPECT_FALSE(b->vhtCapabilities.has_value());
    EXPECT_FALSE(b->he);
    EXPECT_FALSE(b->eht);
}

TEST(Nl80211Wiphys, ADamagedBandRefusesTheDump) {
    QByteArray bytes = oneMessage(NL80211_CMD_NEW_WIPHY, [](NetlinkBuilder& b) {
        b.u32(NL80211_ATTR_WIPHY, 0)
            .begin(NL80211_ATTR_WIPHY_BANDS)
            .begin(NL80211_BAND_2GHZ)
            .u16(NL80211_BAND_ATTR_HT_CAPA, 1)
            .end()
            .end();
    });
    // The HT capabilities (at 36) claim more than their band holds.
    std::uint16_t length = 12;
    std::memcpy(bytes.data() + 36, &length, sizeof length);
    EXPECT_THROW(decoded(bytes, decodeWiphys), NetlinkFormatError);
}

// checkNl80211Dump.

TEST(Nl80211Check, EveryDumpOfAFullFixturePasses) {
    RadioFixture f;
    f.otherInterfaces = {{"wlan1", 4, 1}};
    f.bsses = {
        {kAp, 2437, 100, 0x0411, ssidElement("home") + rsnElement(), timElement(2), -5000, true, false, {}}};
    f.station = StationFixture{kAp, -50, -51, BitrateFixture{1300, 7, {}, {}, {}, 20}, {}, 2, 100, {}};
    f.survey = {{2437, -92, true, {}}};
    f.regulatory = {{"US", {}, false}, {"DE", 0, true}};
    f.bands = {{NL80211_BAND_2GHZ, 0x01ef, {}, true, false}};
    for (const auto& [which, bytes] : f.dumps()) {
        EXPECT_NO_THROW(checkNl80211Dump(which, bytes, nl80211DumpName(which)))
            << nl80211DumpName(which).toStdString();
    }
}

TEST(Nl80211Check, ADamagedDumpIsNamedWithWhereAndWhy) {
    const QByteArray good = RadioFixture().dumps().at(Nl80211Dump::Interface);
    try {
        checkNl80211Dump(Nl80211Dump::Interface, good.left(good.size() - 4), "recording/GET_INTERFACE");
        ADD_FAILURE() << "a cut dump passed";
    } catch (const Nl80211DumpError& error) {
        EXPECT_EQ(error.dump, "recording/GET_INTERFACE");
        EXPECT_EQ(error.error.offset, good.size() - 20);  // the NLMSG_DONE, now four bytes short
        EXPECT_EQ(error.text(),
                  QStringLiteral("recording/GET_INTERFACE: byte %1: message of 20 bytes runs past "
                                 "the end (16 bytes left)")
                      .arg(good.size() - 20));
    }
}

TEST(Nl80211Check, WhatOnlyTheDecoderSeesIsRefusedToo) {
    const QByteArray bytes = oneMessage(NL80211_CMD_NEW_SCAN_RESULTS, [](NetlinkBuilder& b) {
        b.begin(NL80211_ATTR_BSS).bytes(NL80211_BSS_BSSID, "abc").end();
    });
    ASSERT_NO_THROW(readDump(bytes));
    EXPECT_THROW(checkNl80211Dump(Nl80211Dump::Scan, bytes, "GET_SCAN"), Nl80211DumpError);
    // The same bytes are no damage to a dump that does not read BSSs.
    EXPECT_NO_THROW(checkNl80211Dump(Nl80211Dump::Survey, bytes, "GET_SURVEY"));
}

// The snapshot.

TEST(RadioSnapshot, TakesTheInterfaceNamedAndOnlyItsRecords) {
    RadioFixture f;
    f.otherInterfaces = {{"wlan1", 4, 1}, {"wlan2", 5, 0}};
    BssFixture mine{kAp, 2437, 100, 0x0411, ssidElement("home"), {}, -5000, true, false, {}};
    BssFixture theirs{kNeighbour, 5180, 100, 0x0411, ssidElement("lab"), {}, -6000, true, false, 4};
    f.bsses = {theirs, mine};
    f.survey = {{2437, -90, true, {}}, {5180, -97, true, 4}};
    f.station = StationFixture{kNeighbour, -60, {}, {}, {}, {}, {}, 4};
    const RadioSnapshot s = snapshotOf(f);
    EXPECT_EQ(s.interface.name, "wlan0");
    EXPECT_EQ(s.interface.ifindex, kIfindex);
    EXPECT_EQ(s.interface.frequency, 2437);
    ASSERT_EQ(s.scan.size(), 1u);
    EXPECT_EQ(s.scan[0].bssid, bssidFromText(kAp));
    ASSERT_EQ(s.survey.size(), 1u);
    EXPECT_EQ(s.survey[0].frequency, 2437);
    EXPECT_TRUE(s.stations.empty());

    const RadioSnapshot other = snapshotOf(f.dumps(), "wlan1");
    EXPECT_EQ(other.interface.ifindex, 4);
    ASSERT_EQ(other.scan.size(), 1u);
    EXPECT_EQ(other.scan[0].bssid, bssidFromText(kNeighbour));
    ASSERT_EQ(other.stations.size(), 1u);
    EXPECT_EQ(other.survey.at(0).frequency, 5180);
}

TEST(RadioSnapshot, AnInterfaceNl80211DoesNotListIsMissing) {
    RadioFixture f;
    f.otherInterfaces = {{"wlan1", 4, 1}};
    const Nl80211Missing missing = missingOf(f.dumps(), "wlp2s0");
    EXPECT_EQ(missing.why, "nl80211 does not list the Wi-Fi device wlp2s0 among its 2 interfaces");

    f.leftOut = {Nl80211Dump::Interface};
    EXPECT_EQ(missingOf(f.dumps()).why, "nl80211 lists no interfaces (no GET_INTERFACE)");
    f.leftOut.clear();
    f.refusals = {{Nl80211Dump::Interface, EOPNOTSUPP}};
    EXPECT_EQ(missingOf(f.dumps()).why, "nl80211 lists no interfaces (no GET_INTERFACE)");
}

TEST(RadioSnapshot, MissingOrRefusedDumpsLeaveTheirPartEmpty) {
    RadioFixture f;
    f.bsses = {{kAp, 2437, 100, 0x0411, {}, {}, -5000, true, false, {}}};
    f.survey = {{2437, -90, true, {}}};
    f.bands = {{NL80211_BAND_2GHZ, 0x01ef, {}, false, false}};
    f.station = StationFixture{kAp, -50, {}, {}, {}, {}, {}, {}};
    const RadioSnapshot full = snapshotOf(f);
    EXPECT_EQ(full.scan.size(), 1u);
    EXPECT_EQ(full.stations.size(), 1u);
    EXPECT_EQ(full.survey.size(), 1u);
    EXPECT_TRUE(full.regulatory.has_value());
    EXPECT_TRUE(full.wiphy.has_value());

    f.leftOut = {Nl80211Dump::Scan, Nl80211Dump::Station, Nl80211Dump::Regulatory};
    f.refusals = {{Nl80211Dump::Survey, EOPNOTSUPP}, {Nl80211Dump::Wiphy, EPERM}};
    const RadioSnapshot bare = snapshotOf(f);
    EXPECT_EQ(bare.interface.name, "wlan0");
    EXPECT_TRUE(bare.scan.empty());
    EXPECT_TRUE(bare.stations.empty());
    EXPECT_TRUE(bare.survey.empty());
    EXPECT_FALSE(bare.regulatory.has_value());
    EXPECT_FALSE(bare.wiphy.has_value());
}

TEST(RadioSnapshot, ADamagedDumpIsNamed) {
    RadioFixture f;
    f.bsses = {{kAp, 2437, 100, 0x0411, {}, {}, -5000, true, false, {}}};
    auto dumps = f.dumps();
    QByteArray& scan = dumps.at(Nl80211Dump::Scan);
    scan = scan.left(scan.size() - 24) + scan.right(20);  // the BSS message's end cut off
    try {
        snapshotOf(dumps);
        ADD_FAILURE() << "a damaged scan was read";
    } catch (const Nl80211DumpError& error) {
        EXPECT_EQ(error.dump, "GET_SCAN");
        EXPECT_FALSE(error.error.why.isEmpty());
    }
}

TEST(RadioSnapshot, TheWiphyOfTheInterface) {
    RadioFixture f;
    f.wiphy = 1;
    f.bands = {{NL80211_BAND_5GHZ, 0x09ef, 0x338819fa, false, false}};
    auto dumps = f.dumps();
    // Another wiphy before it in the dump.
    RadioFixture other;
    other.wiphy = 0;
    other.bands = {{NL80211_BAND_2GHZ, 0x01ef, {}, false, false}};
    const QByteArray first = other.dumps().at(Nl80211Dump::Wiphy);
    dumps[Nl80211Dump::Wiphy] = first.left(first.size() - 20) + dumps.at(Nl80211Dump::Wiphy);
    const RadioSnapshot s = snapshotOf(dumps);
    ASSERT_TRUE(s.wiphy.has_value());
    EXPECT_EQ(s.wiphy->index, 1);
    EXPECT_NE(s.wiphy->band(NL80211_BAND_5GHZ), nullptr);
    EXPECT_EQ(s.wiphy->band(NL80211_BAND_2GHZ), nullptr);

    // An interface that names no wiphy has none.
    dumps[Nl80211Dump::Interface] = oneMessage(NL80211_CMD_NEW_INTERFACE, [](NetlinkBuilder& b) {
        b.u32(NL80211_ATTR_IFINDEX, 3).string(NL80211_ATTR_IFNAME, "wlan0");
    });
    EXPECT_FALSE(snapshotOf(dumps).wiphy.has_value());
}

TEST(RadioSnapshot, TheJoinedBssIsNetworkManagersElseTheAssociatedOne) {
    RadioFixture f;
    f.bsses = {{kNeighbour, 2412, 100, 0x0411, {}, {}, -7000, false, false, {}},
               {kAp, 2437, 100, 0x0411, {}, {}, -5000, true, false, {}}};
    const RadioSnapshot s = snapshotOf(f);
    ASSERT_NE(s.joinedBss(bssidFromText(kNeighbour)), nullptr);
    EXPECT_EQ(s.joinedBss(bssidFromText(kNeighbour))->bssid, bssidFromText(kNeighbour));
    ASSERT_NE(s.joinedBss(bssidFromText("aa:bb:cc:00:00:09")), nullptr);
    EXPECT_EQ(s.joinedBss(bssidFromText("aa:bb:cc:00:00:09"))->bssid, bssidFromText(kAp));
    EXPECT_EQ(s.joinedBss({})->bssid, bssidFromText(kAp));
    EXPECT_EQ(s.bss(bssidFromText("aa:bb:cc:00:00:09")), nullptr);
    EXPECT_EQ(s.bss(bssidFromText(kNeighbour))->frequency, 2412);

    f.bsses[1].associated = false;
    const RadioSnapshot unjoined = snapshotOf(f);
    EXPECT_EQ(unjoined.joinedBss(bssidFromText("aa:bb:cc:00:00:09")), nullptr);
    EXPECT_NE(unjoined.joinedBss(bssidFromText(kAp)), nullptr);
}

TEST(RadioSnapshot, TheStationOfTheJoinedBss) {
    RadioFixture f;
    f.station = StationFixture{kAp, -50, {}, {}, {}, {}, {}, {}};
    const RadioSnapshot one = snapshotOf(f);
    ASSERT_NE(one.station(bssidFromText(kAp)), nullptr);
    // The interface's only station is the joined one, whatever address is asked for.
    ASSERT_NE(one.station(bssidFromText(kNeighbour)), nullptr);
    EXPECT_EQ(one.station(bssidFromText(kNeighbour))->mac, bssidFromText(kAp));

    auto dumps = f.dumps();
    NetlinkBuilder b;
    addStation(b, StationFixture{kNeighbour, -70, {}, {}, {}, {}, {}, {}}, kIfindex);
    addStation(b, StationFixture{kAp, -50, {}, {}, {}, {}, {}, {}}, kIfindex);
    dumps[Nl80211Dump::Station] = b.done();
    const RadioSnapshot two = snapshotOf(dumps);
    ASSERT_NE(two.station(bssidFromText(kAp)), nullptr);
    EXPECT_EQ(two.station(bssidFromText(kAp))->signal, -50);
    EXPECT_EQ(two.station(bssidFromText(kNeighbour))->signal, -70);
    EXPECT_EQ(two.station(bssidFromText("aa:bb:cc:00:00:09")), nullptr);

    f.station.reset();
    EXPECT_EQ(snapshotOf(f).station(bssidFromText(kAp)), nullptr);
}

TEST(RadioSnapshot, NoiseAtAChannelPrefersTheOneInUse) {
    RadioFixture f;
    f.survey = {{2437, -95, false, {}}, {2437, -90, true, {}}, {2412, -97, false, {}}, {2462, {}, true, {}}};
    const RadioSnapshot s = snapshotOf(f);
    EXPECT_EQ(s.noiseAt(2437), -90);
    EXPECT_EQ(s.noiseAt(2412), -97);
    EXPECT_FALSE(s.noiseAt(2462).has_value());
    EXPECT_FALSE(s.noiseAt(5180).has_value());
    // Without an entry in use, the first with a noise.
    f.survey = {{2437, {}, true, {}}, {2437, -95, false, {}}, {2437, -93, false, {}}};
    EXPECT_EQ(snapshotOf(f).noiseAt(2437), -95);
}

TEST(RadioSnapshot, TheRegulatoryDomainIsTheSelfManagedWiphysElseTheGlobalOne) {
    RadioFixture f;
    f.wiphy = 0;
    f.regulatory = {{"US", {}, false}};
    EXPECT_EQ(snapshotOf(f).regulatoryDomain(), "US");

    f.regulatory = {{"US", {}, false}, {"DE", 0, true}};
    EXPECT_EQ(snapshotOf(f).regulatoryDomain(), "DE");
    f.regulatory = {{"DE", 0, true}, {"US", {}, false}};
    EXPECT_EQ(snapshotOf(f).regulatoryDomain(), "DE");

    // Another wiphy's own domain is not this device's.
    f.regulatory = {{"US", {}, false}, {"DE", 1, true}};
    EXPECT_EQ(snapshotOf(f).regulatoryDomain(), "US");
    // A wiphy that is not self-managed follows the global domain, whatever its driver hinted.
    f.regulatory = {{"US", {}, false}, {"JP", 0, false}};
    EXPECT_EQ(snapshotOf(f).regulatoryDomain(), "US");

    f.regulatory = {{"DE", 1, true}};
    EXPECT_FALSE(snapshotOf(f).regulatoryDomain().has_value());
    f.regulatory.clear();
    EXPECT_FALSE(snapshotOf(f).regulatoryDomain().has_value());
    f.leftOut = {Nl80211Dump::Regulatory};
    EXPECT_FALSE(snapshotOf(f).regulatoryDomain().has_value());
}

// The findings.

TEST(BssElements, TheBeaconIsKeptOnlyWhenItIsAnotherFrame) {
    Nl80211Bss bss = bssWith(ssidElement("home") + countryElement("DE"));
    bss.beaconElements =
        ssidElement("home") + timElement(3) + countryElement("FR") + wpsElement({"Acme", "X1", {}, {}});
    const BssElements both(bss);
    ASSERT_TRUE(both.beacon.has_value());
    EXPECT_EQ(both.dtimPeriod(), 3);
    EXPECT_EQ(both.country()->code, "DE");        // the frame's own
    EXPECT_EQ(both.wps()->manufacturer, "Acme");  // only the beacon has it

    bss.beaconElements = bss.informationElements;
    const BssElements same(bss);
    EXPECT_FALSE(same.beacon.has_value());
    EXPECT_FALSE(same.dtimPeriod().has_value());
    EXPECT_FALSE(same.wps().has_value());

    bss.beaconElements.clear();
    EXPECT_FALSE(BssElements(bss).beacon.has_value());
    EXPECT_EQ(BssElements(bssWith(timElement(2))).dtimPeriod(), 2);
}

TEST(RadioFindings, DtimPeriodFromTheStationElseTheBeacon) {
    const BssElements tim(bssWith(timElement(1)));
    const BssElements noTim(bssWith(ssidElement("home")));
    Nl80211Station station;
    station.dtimPeriod = 3;
    EXPECT_EQ(dtimPeriodOf(&station, tim), 3);
    EXPECT_EQ(dtimPeriodOf(&station, noTim), 3);
    EXPECT_EQ(dtimPeriodOf(nullptr, tim), 1);
    station.dtimPeriod.reset();
    EXPECT_EQ(dtimPeriodOf(&station, tim), 1);
    EXPECT_FALSE(dtimPeriodOf(&station, noTim).has_value());
    EXPECT_FALSE(dtimPeriodOf(nullptr, noTim).has_value());
}

TEST(RadioFindings, BandOfFrequency) {
    EXPECT_EQ(bandOfFrequency(2412), 2);
    EXPECT_EQ(bandOfFrequency(2484), 2);
    EXPECT_EQ(bandOfFrequency(5180), 5);
    EXPECT_EQ(bandOfFrequency(5885), 5);
    EXPECT_EQ(bandOfFrequency(5955), 6);
    EXPECT_EQ(bandOfFrequency(7115), 6);
    EXPECT_FALSE(bandOfFrequency(915).has_value());
    EXPECT_FALSE(bandOfFrequency(58320).has_value());
}

TEST(RadioFindings, LinkPhyModeIsTheHigherOfTheTwoRates) {
    EXPECT_FALSE(linkPhyMode(stationWith({}, {}), 5).has_value());
    EXPECT_EQ(linkPhyMode(stationWith(rate(7), rate({}, 9)), 5), "802.11ac");
    EXPECT_EQ(linkPhyMode(stationWith(rate({}, 9), rate(7)), 5), "802.11ac");
    EXPECT_EQ(linkPhyMode(stationWith(rate({}), rate(7)), 2), "802.11n");
    EXPECT_EQ(linkPhyMode(stationWith(rate({}), {}), 2), "802.11g");
    EXPECT_EQ(linkPhyMode(stationWith({}, rate({})), 5), "802.11a");
    EXPECT_EQ(linkPhyMode(stationWith(rate({}), {}), std::nullopt), "802.11a");
    EXPECT_EQ(linkPhyMode(stationWith(rate({}, {}, 11), rate({}, 9)), 5), "802.11ax");
    EXPECT_EQ(linkPhyMode(stationWith(rate({}, {}, 11), rate({}, {}, {}, 13)), 6), "802.11be");
}

TEST(RadioFindings, DeviceOffersByItsBandsCapabilities) {
    const Nl80211Wiphy wiphy =
        wiphyWith({band(NL80211_BAND_2GHZ, true, false), band(NL80211_BAND_5GHZ, true, true, true, false)});
    EXPECT_TRUE(deviceOffers(&wiphy, "802.11n", 2));
    EXPECT_FALSE(deviceOffers(&wiphy, "802.11ac", 2));
    EXPECT_TRUE(deviceOffers(&wiphy, "802.11ac", 5));
    EXPECT_TRUE(deviceOffers(&wiphy, "802.11ax", 5));
    EXPECT_FALSE(deviceOffers(&wiphy, "802.11ax", 2));
    EXPECT_FALSE(deviceOffers(&wiphy, "802.11be", 5));
    EXPECT_TRUE(deviceOffers(&wiphy, "802.11g", 2));
    EXPECT_FALSE(deviceOffers(&wiphy, "802.11n", 6));  // no 6 GHz band at all
    const Nl80211Wiphy eht = wiphyWith({band(NL80211_BAND_6GHZ, false, false, true, true)});
    EXPECT_TRUE(deviceOffers(&eht, "802.11be", 6));
    // Unknown capabilities or band: assumed offered.
    EXPECT_TRUE(deviceOffers(nullptr, "802.11ac", 5));
    EXPECT_TRUE(deviceOffers(&wiphy, "802.11be", std::nullopt));
}

TEST(RadioFindings, PhyModeConflictWhenTheLinkRunsBelowWhatBothOffer) {
    const QStringList acAp = {"802.11a", "802.11n", "802.11ac"};
    const Nl80211Wiphy vht = wiphyWith({band(NL80211_BAND_5GHZ, true, true)});
    const Nl80211Wiphy htOnly = wiphyWith({band(NL80211_BAND_5GHZ, true, false)});
    EXPECT_TRUE(hasPhyModeConflict("802.11ac", acAp, QString("802.11n"), &vht, 5));
    EXPECT_TRUE(hasPhyModeConflict("802.11ac", acAp, QString("802.11a"), &vht, 5));
    EXPECT_FALSE(hasPhyModeConflict("802.11ac", acAp, QString("802.11ac"), &vht, 5));
    EXPECT_FALSE(hasPhyModeConflict("802.11ac", acAp, QString("802.11ax"), &vht, 5));
    // A device without VHT on the band explains the lower link.
    EXPECT_FALSE(hasPhyModeConflict("802.11ac", acAp, QString("802.11n"), &htOnly, 5));
    // Unknown device capabilities do not excuse it.
    EXPECT_TRUE(hasPhyModeConflict("802.11ac", acAp, QString("802.11n"), nullptr, 5));
    // 802.11n around a legacy link on 2.4 GHz.
    const QStringList nAp = {"802.11b", "802.11g", "802.11n"};
    const Nl80211Wiphy ht24 = wiphyWith({band(NL80211_BAND_2GHZ, true, false)});
    EXPECT_TRUE(hasPhyModeConflict("802.11n", nAp, QString("802.11g"), &ht24, 2));
    EXPECT_FALSE(hasPhyModeConflict("802.11n", nAp, QString("802.11n"), &ht24, 2));
    EXPECT_FALSE(hasPhyModeConflict("802.11n", {"802.11b", "802.11g"}, QString("802.11g"), &ht24, 2));
}

TEST(RadioFindings, PhyModeConflictWhenTheLinkRunsAModeTheAccessPointDoesNotOffer) {
    const Nl80211Wiphy vht = wiphyWith({band(NL80211_BAND_5GHZ, true, true)});
    EXPECT_TRUE(hasPhyModeConflict("802.11ac", {"802.11a", "802.11n"}, QString("802.11ac"), &vht, 5));
    EXPECT_TRUE(hasPhyModeConflict("802.11n", {"802.11a"}, QString("802.11n"), &vht, 5));
    EXPECT_FALSE(hasPhyModeConflict("802.11ac", {"802.11a", "802.11n"}, QString("802.11n"), &vht, 5));
}

TEST(RadioFindings, PhyModeConflictOfANetworkNotJoined) {
    const Nl80211Wiphy vht = wiphyWith({band(NL80211_BAND_5GHZ, true, true)});
    EXPECT_TRUE(hasPhyModeConflict("802.11ac", {"802.11a", "802.11ac"}, std::nullopt, &vht, 5));
    EXPECT_FALSE(hasPhyModeConflict("802.11ac", {"802.11a", "802.11n", "802.11ac"}, std::nullopt, &vht, 5));
    EXPECT_FALSE(hasPhyModeConflict("802.11ac", {"802.11a", "802.11n"}, std::nullopt, &vht, 5));
    EXPECT_FALSE(hasPhyModeConflict("802.11n", {"802.11a", "802.11ac"}, std::nullopt, &vht, 5));
    EXPECT_FALSE(hasPhyModeConflict("802.11n", {"802.11g", "802.11n"}, std::nullopt, nullptr, 2));
}

TEST(RadioFindings, BaseStationModelFromTheWpsNames) {
    const auto model = [](const WpsFixture& names) {
        return baseStationModel(BssElements(bssWith(wpsElement(names))));
    };
    EXPECT_EQ(model({"Acme", "AX3000", "R7", "Living room"}), "Acme AX3000 R7");
    EXPECT_EQ(model({"  Acme ", " AX3000\t", {}, {}}), "Acme AX3000");
    EXPECT_EQ(model({QByteArray("Acme\0\0", 6), QByteArray("AX3000\0", 7), {}, {}}),
              "Acme AX3000");  // NUL-padded
    EXPECT_EQ(model({"Acme", "R7000", "R7000", {}}), "Acme R7000");
    EXPECT_EQ(model({{}, "AX3000", "R7", {}}), "AX3000 R7");
    EXPECT_EQ(model({"Acme", {}, {}, {}}), "Acme");
    EXPECT_EQ(model({"   ", "X1", {}, {}}), "X1");
    EXPECT_EQ(model({QByteArray("\xff"
                                "Acme"),
                     "X1",
                     {},
                     {}}),
              "\\xffAcme X1");
    EXPECT_FALSE(model({{}, {}, "R7", "Living room"}).has_value());
    EXPECT_FALSE(model({"  ", {}, {}, {}}).has_value());
    EXPECT_FALSE(baseStationModel(BssElements(bssWith(ssidElement("home")))).has_value());
}

TEST(RadioFindings, Ht40On24GHzByTheInterfaceWidthElseTheHtOperation) {
    Nl80211Interface joined;
    joined.channelWidth = NL80211_CHAN_WIDTH_40;
    const Nl80211Bss wide = bssWith(htOperationElement(6, 1, true));
    const Nl80211Bss narrow = bssWith(htOperationElement(6, 0, true));
    EXPECT_TRUE(isHt40On24GHz(joined, narrow, BssElements(narrow)));
    joined.channelWidth = NL80211_CHAN_WIDTH_20;
    EXPECT_FALSE(isHt40On24GHz(joined, wide, BssElements(wide)));
    joined.channelWidth = NL80211_CHAN_WIDTH_20_NOHT;
    EXPECT_FALSE(isHt40On24GHz(joined, wide, BssElements(wide)));
    // An interface without its width, or none, leaves it to the access point's HT Operation.
    joined.channelWidth.reset();
    EXPECT_TRUE(isHt40On24GHz(joined, wide, BssElements(wide)));
    EXPECT_TRUE(isHt40On24GHz(std::nullopt, wide, BssElements(wide)));
    const Nl80211Bss below = bssWith(htOperationElement(6, 3, true));
    EXPECT_TRUE(isHt40On24GHz(std::nullopt, below, BssElements(below)));
    EXPECT_FALSE(isHt40On24GHz(std::nullopt, narrow, BssElements(narrow)));
    const Nl80211Bss twentyOnly = bssWith(htOperationElement(6, 1, false));
    EXPECT_FALSE(isHt40On24GHz(std::nullopt, twentyOnly, BssElements(twentyOnly)));
    const Nl80211Bss reserved = bssWith(htOperationElement(6, 2, true));
    EXPECT_FALSE(isHt40On24GHz(std::nullopt, reserved, BssElements(reserved)));
    const Nl80211Bss noHt = bssWith(ssidElement("home"));
    EXPECT_FALSE(isHt40On24GHz(std::nullopt, noHt, BssElements(noHt)));
    // Only 2.4 GHz counts.
    const Nl80211Bss fiveGHz = bssWith(htOperationElement(36, 1, true), 5180);
    joined.channelWidth = NL80211_CHAN_WIDTH_40;
    EXPECT_FALSE(isHt40On24GHz(joined, fiveGHz, BssElements(fiveGHz)));
    EXPECT_FALSE(isHt40On24GHz(std::nullopt, fiveGHz, BssElements(fiveGHz)));
    Nl80211Bss noFrequency = wide;
    noFrequency.frequency.reset();
    EXPECT_FALSE(isHt40On24GHz(joined, noFrequency, BssElements(noFrequency)));
}

namespace {

RadioFixture countries(const std::vector<QByteArray>& announced, std::vector<RegulatoryFixture> regulatory) {
    RadioFixture f;
    int n = 1;
    for (const QByteArray& code : announced) {
        const QString bssid = QStringLiteral("aa:bb:cc:00:01:%1").arg(n++, 2, 10, QLatin1Char('0'));
        f.bsses.push_back({bssid,
                           2437,
                           100,
                           0x0411,
                           ssidElement("net") + countryElement(code),
                           {},
                           -6000,
                           false,
                           false,
                           {}});
    }
    f.regulatory = std::move(regulatory);
    return f;
}

}  // namespace

TEST(RadioFindings, CountryFinding) {
    const RegulatoryFixture us{"US", {}, false};
    const CountryFinding conflicting = countryFinding(snapshotOf(countries({"DE", "FR", "DE"}, {us})));
    EXPECT_TRUE(conflicting.conflicting);
    EXPECT_EQ(conflicting.announced, (QStringList{"DE", "FR"}));
    EXPECT_EQ(conflicting.adopted, "US");

    const CountryFinding agreeing = countryFinding(snapshotOf(countries({"US", "us"}, {us})));
    EXPECT_FALSE(agreeing.conflicting);
    EXPECT_EQ(agreeing.announced, (QStringList{"US"}));

    // One country announced, another one adopted.
    const CountryFinding differs = countryFinding(snapshotOf(countries({"DE"}, {us})));
    EXPECT_TRUE(differs.conflicting);
    EXPECT_EQ(differs.adopted, "US");

    // The world domain, the unset one and codes that are no country conflict with nothing.
    const CountryFinding world = countryFinding(snapshotOf(countries({"DE"}, {{"00", {}, false}})));
    EXPECT_FALSE(world.conflicting);
    EXPECT_EQ(world.adopted, "00");
    EXPECT_FALSE(countryFinding(snapshotOf(countries({"DE"}, {{"99", {}, false}}))).conflicting);
    const CountryFinding noCountries = countryFinding(snapshotOf(countries({"00", "99", "X1", "DE"}, {us})));
    EXPECT_EQ(noCountries.announced, (QStringList{"DE"}));

    const CountryFinding silent = countryFinding(snapshotOf(countries({}, {us})));
    EXPECT_FALSE(silent.conflicting);
    EXPECT_TRUE(silent.announced.isEmpty());
    EXPECT_EQ(silent.adopted, "US");

    const CountryFinding unknown = countryFinding(snapshotOf(countries({"DE"}, {})));
    EXPECT_FALSE(unknown.conflicting);
    EXPECT_FALSE(unknown.adopted.has_value());
}

TEST(RadioFindings, DbmFromMbmRoundsToTheNearestWholeDbm) {
    EXPECT_EQ(dbmFromMbm(-5500), -55);
    EXPECT_EQ(dbmFromMbm(-5549), -55);
    EXPECT_EQ(dbmFromMbm(-5551), -56);
    EXPECT_EQ(dbmFromMbm(-5450), -55);  // halves round away from zero
    EXPECT_EQ(dbmFromMbm(-49), 0);
    EXPECT_EQ(dbmFromMbm(0), 0);
    EXPECT_EQ(dbmFromMbm(150), 2);
}
