// The kernel's radio path on a crowded neighbourhood: the six nl80211 dumps of a device that hears
// 200 access points (2.4 and 5 GHz, a full element set each, beacons heard for most), read into a
// snapshot, and the radio tests answered from it as the backend's handlers answer them: beacon and
// DTIM intervals of the joined access point, Passpoint, the 802.11ac and 802.11n PHY mode conflicts,
// the base station's model, the 2.4 GHz channel width, the countries around, the signal and noise,
// and each scan entry's signal. Budget: 20 ms for all of it. The second case first checks all six
// dumps as a replayed recording is checked when it is loaded.
#include "platform/wifi/linux/InformationElements.h"
#include "platform/wifi/linux/Nl80211Radio.h"
#include "unittests/linux/support/RadioFixtures.h"

#include <benchmark/benchmark.h>

#include <linux/nl80211.h>

#include <algorithm>
#include <map>
#include <optional>
#include <vector>

namespace {

using namespace platform::linuxwifi;
using namespace radiofixtures;

constexpr int kAccessPoints = 200;

// Channels 1 to 13, and the 5 GHz channels of the US and Europe (UNII-1 to UNII-3).
const std::vector<int> k24GHzChannels = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13};
const std::vector<int> k5GHzChannels = {36,  40,  44,  48,  52,  56,  60,  64,  100, 104, 108, 112, 116,
                                        120, 124, 128, 132, 136, 140, 144, 149, 153, 157, 161, 165};

int frequencyOf(int channel) {
    return channel <= 14 ? 2407 + 5 * channel : 5000 + 5 * channel;
}

QString bssidOf(int i) {
    return QStringLiteral("02:1a:2b:3c:%1:%2")
        .arg(i / 256, 2, 16, QLatin1Char('0'))
        .arg(i % 256, 2, 16, QLatin1Char('0'));
}

QByteArray hex(const char* text) {
    return QByteArray::fromHex(text);
}

// What a typical access point sends besides the elements the tests read: RM Enabled Capabilities,
// BSS Load, Supported Operating Classes, Extended Capabilities, a Reduced Neighbor Report (its
// other band's radio), the WMM parameter element and two chipset makers' vendor elements; on
// 2.4 GHz the OBSS scan parameters, on 5 GHz two Transmit Power Envelopes; a Mobility Domain where
// fast roaming is on.
QByteArray commonTail(int i, bool on24) {
    QByteArray e = element(70, hex("7300000000")) +
                   element(11, hex("0300") + static_cast<char>(i % 200) + hex("127a")) +
                   element(59, hex("5173747576777c7d7e7f808182")) +
                   element(ie::kExtendedCapabilities, hex("0400088001400040"));
    if (on24) {
        e += element(74, hex("14000a002c01c800140005001900"));
    } else {
        e += element(195, hex("02fefefe")) + element(195, hex("1a7c7c7c7c"));
    }
    if (i % 3 == 0) {
        e += element(54, hex("a1b201"));
    }
    e += element(201, hex("000d") + (on24 ? hex("7324") : hex("5106")) + hex("ff021a2b3c4d") +
                          static_cast<char>(i % 256) + hex("9f3e7a1c4200"));
    return e + vendorElement(0x0050f2, 2, hex("0101800003a4000027a4000042435e0062322f00")) +
           vendorElement(0x00904c, 4, hex("0807bf0cb279c33baaff0000eaff0000c0050000000000")) +
           vendorElement(0x00037f, 1, hex("0100000000ff7f0000000000000000000000"));
}

// The elements of access point i on channel: a beacon carries the TIM and a short WPS element; a
// probe response no TIM and the WPS element with the maker's names.
QByteArray elementsOf(int i, int channel, bool beacon) {
    const bool on24 = channel <= 14;
    const bool hidden = i % 23 == 7;
    QByteArray e =
        ssidElement(hidden ? QByteArray() : QByteArrayLiteral("Neighbour-") + QByteArray::number(i / 2));
    if (on24) {
        e += supportedRatesElement("82848b960c121824") + dsParameterSetElement(channel);
    } else {
        e += supportedRatesElement("8c129824b048606c") + dsParameterSetElement(channel);
    }
    if (beacon) {
        e += timElement(1 + i % 3);
    }
    // Most announce the regulatory domain's country; a few were set up abroad.
    e += countryElement(i % 37 == 5 ? QByteArrayLiteral("CA") : QByteArrayLiteral("US"));
    if (!on24) {
        e += element(32, hex("00")) + element(35, hex("1500"));  // Power Constraint, TPC Report
    }
    e += rsnElement(i % 5 == 0 ? std::vector<int>{2, 8} : std::vector<int>{2}, i % 5 == 0 ? 0x0080 : 0x000c);
    if (i % 5 == 0) {
        e += element(244, hex("20"));  // RSN Extension: SAE hash-to-element
    }
    if (on24) {
        e += extendedRatesElement("3048606c");
    }
    e += htCapabilitiesElement(on24 ? 0x19ad : 0x09ef);
    e += htOperationElement(channel, on24 ? (i % 4 == 0 ? 1 : 0) : 1, !on24 || i % 4 == 0);
    if (!on24) {
        e += vhtCapabilitiesElement(0x338b79b2) + vhtOperationElement(1, channel + 6);
    }
    if (i % 2 == 0) {
        e += heCapabilitiesElement() + heOperationElement();
    }
    if (i % 17 == 3) {
        e += interworkingElement(2, true) + hotspot20Element();
    }
    if (i % 4 == 0) {
        e += beacon ? wpsElement({})
                    : wpsElement({QByteArrayLiteral("Maker ") + QByteArray::number(i % 7),
                                  QByteArrayLiteral("Router AX") + QByteArray::number(1800 + i % 5 * 100),
                                  QByteArrayLiteral("RT-") + QByteArray::number(i),
                                  QByteArrayLiteral("Living room")});
    }
    return e + commonTail(i, on24);
}

// The neighbourhood: access point 0 is the joined one, on channel 36 at 80 MHz.
RadioFixture crowdedRadio() {
    RadioFixture f;
    f.frequency = frequencyOf(36);
    f.channelWidth = NL80211_CHAN_WIDTH_80;
    f.centerFrequency1 = frequencyOf(42);
    f.otherInterfaces = {{QStringLiteral("p2p-dev-wlan0"), 4, 0}};
    for (int i = 0; i < kAccessPoints; ++i) {
        // Two in five on 2.4 GHz, the rest spread over 5 GHz.
        const int channel = i == 0      ? 36
                            : i % 5 < 2 ? k24GHzChannels[static_cast<std::size_t>(i) % k24GHzChannels.size()]
                                        : k5GHzChannels[static_cast<std::size_t>(i) % k5GHzChannels.size()];
        BssFixture bss;
        bss.bssid = bssidOf(i);
        bss.frequency = frequencyOf(channel);
        bss.signalMbm = i == 0 ? -5200 : -4000 - (i * 37) % 5100;
        bss.associated = i == 0;
        const QByteArray beacon = elementsOf(i, channel, true);
        if (i % 10 < 6) {
            // A probe response last, a beacon before it.
            bss.informationElements = elementsOf(i, channel, false);
            bss.beaconElements = beacon;
            bss.fromProbeResponse = true;
        } else if (i % 10 < 9) {
            // Beacons only: the last frame is a beacon.
            bss.informationElements = beacon;
            bss.beaconElements = beacon;
        } else {
            // Only a probe response heard.
            bss.informationElements = elementsOf(i, channel, false);
            bss.fromProbeResponse = true;
        }
        f.bsses.push_back(bss);
    }
    StationFixture station;
    station.mac = bssidOf(0);
    station.signal = -52;
    station.signalAvg = -53;
    station.txBitrate = BitrateFixture{12010, std::nullopt, std::nullopt, 11, std::nullopt, 80};
    station.rxBitrate = BitrateFixture{8667, std::nullopt, 9, std::nullopt, std::nullopt, 80};
    station.dtimPeriod = 3;
    station.beaconInterval = 100;
    f.station = station;
    // The survey: every 2.4 GHz channel and 27 of 5 GHz, a noise floor on each.
    for (const int channel : k24GHzChannels) {
        f.survey.push_back({frequencyOf(channel), -95 + channel % 4, false, std::nullopt});
    }
    for (const int channel : k5GHzChannels) {
        f.survey.push_back({frequencyOf(channel), -92 - channel % 3, channel == 36, std::nullopt});
    }
    f.survey.push_back({frequencyOf(169), -93, false, std::nullopt});
    f.survey.push_back({frequencyOf(173), -93, false, std::nullopt});
    f.regulatory = {{"US", std::nullopt, false}};
    f.bands = {{NL80211_BAND_2GHZ, 0x19ef, std::nullopt, true, false},
               {NL80211_BAND_5GHZ, 0x09ef, 0x339b79b2, true, false}};
    return f;
}

// NetworkManager's view of the same scan: each access point's address as it writes it.
std::vector<QString> networkManagerAddresses() {
    std::vector<QString> addresses;
    for (int i = 0; i < kAccessPoints; ++i) {
        addresses.push_back(bssidOf(i).toUpper());
    }
    return addresses;
}

struct RadioAnswers {
    std::optional<int> beaconInterval;  // 34
    std::optional<int> dtimPeriod;      // 35
    bool passpoint = false;             // 45
    QStringList offeredModes;           // 36, 37
    bool conflict11ac = false;
    bool conflict11n = false;
    std::optional<QString> model;  // 33
    bool ht40 = false;             // 27
    CountryFinding countries;      // 28
    std::optional<int> rssi;       // 32
    std::optional<int> noise;
    std::vector<int> scanRssi;  // 30, 31
};

// One PHY mode conflict, read as the handler reads it: the elements parsed afresh.
bool phyModeConflict(const RadioSnapshot& radio, const Nl80211Bss& bss, const Nl80211Station* station,
                     const QString& mode, QStringList& offered) {
    const BssElements elements(bss);
    const auto band = bss.frequency ? bandOfFrequency(*bss.frequency) : std::nullopt;
    offered = phyModesOffered(elements.frame, band);
    const std::optional<QString> link = station ? linkPhyMode(*station, band) : std::optional<QString>();
    return hasPhyModeConflict(mode, offered, link, radio.wiphy ? &*radio.wiphy : nullptr, band);
}

// The radio tests of a run on the joined network, each handler taking its own look at the snapshot.
RadioAnswers answerRadioTests(const RadioSnapshot& radio, const QByteArray& activeBssid,
                              const std::vector<QString>& scanAddresses) {
    RadioAnswers answers;
    const Nl80211Bss* bss = radio.joinedBss(activeBssid);
    const Nl80211Station* station = radio.station(activeBssid);
    if (bss) {
        answers.beaconInterval = bss->beaconInterval;
        if (!answers.beaconInterval && station) {
            answers.beaconInterval = station->beaconInterval;
        }
        answers.dtimPeriod = dtimPeriodOf(station, BssElements(*bss));
        {
            const BssElements elements(*bss);
            answers.passpoint =
                isPasspoint(elements.frame) || (elements.beacon && isPasspoint(*elements.beacon));
        }
        answers.conflict11ac =
            phyModeConflict(radio, *bss, station, QStringLiteral("802.11ac"), answers.offeredModes);
        answers.conflict11n =
            phyModeConflict(radio, *bss, station, QStringLiteral("802.11n"), answers.offeredModes);
        answers.model = baseStationModel(BssElements(*bss));
        std::optional<Nl80211Interface> joinedInterface;
        if (radio.interface.frequency == bss->frequency) {
            joinedInterface = radio.interface;
        }
        answers.ht40 = isHt40On24GHz(joinedInterface, *bss, BssElements(*bss));
        if (station && station->signal) {
            answers.rssi = station->signal;
        } else if (bss->signalMbm) {
            answers.rssi = dbmFromMbm(*bss->signalMbm);
        }
        if (answers.rssi && bss->frequency) {
            answers.noise = radio.noiseAt(*bss->frequency);
        }
    }
    answers.countries = countryFinding(radio);
    answers.scanRssi.reserve(scanAddresses.size());
    for (const QString& address : scanAddresses) {
        const Nl80211Bss* entry = radio.bss(bssidFromText(address));
        answers.scanRssi.push_back(entry && entry->signalMbm ? dbmFromMbm(*entry->signalMbm) : -100);
    }
    return answers;
}

qint64 totalBytes(const std::map<Nl80211Dump, QByteArray>& dumps) {
    qint64 total = 0;
    for (const auto& [dump, bytes] : dumps) {
        total += bytes.size();
    }
    return total;
}

// Refuses to time a neighbourhood that does not reach the tests: every dump read, the joined access
// point, its station and its maker's names found, every scan entry matched to the kernel's.
bool reachesEveryTest(benchmark::State& state, const std::map<Nl80211Dump, QByteArray>& dumps,
                      const QByteArray& activeBssid, const std::vector<QString>& scanAddresses) {
    MemoryNl80211Source source(dumps);
    const RadioSnapshot radio = takeRadioSnapshot(source, QStringLiteral("wlan0"));
    const RadioAnswers answers = answerRadioTests(radio, activeBssid, scanAddresses);
    if (radio.scan.size() != kAccessPoints || radio.stations.size() != 1 || !radio.wiphy ||
        radio.wiphy->bands.size() != 2 || !answers.dtimPeriod || !answers.noise || !answers.model ||
        answers.offeredModes.isEmpty() || !answers.countries.adopted ||
        std::count(answers.scanRssi.begin(), answers.scanRssi.end(), -100) != 0) {
        state.SkipWithError("the made-up neighbourhood does not reach every radio test");
        return false;
    }
    return true;
}

void BM_RadioSnapshotAndTests200AccessPoints(benchmark::State& state) {
    const std::map<Nl80211Dump, QByteArray> dumps = crowdedRadio().dumps();
    const QByteArray activeBssid = bssidFromText(bssidOf(0));
    const std::vector<QString> scanAddresses = networkManagerAddresses();
    if (!reachesEveryTest(state, dumps, activeBssid, scanAddresses)) {
        return;
    }
    MemoryNl80211Source source(dumps);
    for (auto _ : state) {
        const RadioSnapshot radio = takeRadioSnapshot(source, QStringLiteral("wlan0"));
        RadioAnswers answers = answerRadioTests(radio, activeBssid, scanAddresses);
        benchmark::DoNotOptimize(answers);
    }
    state.SetBytesProcessed(state.iterations() * totalBytes(dumps));
}

void BM_CheckedRecordingSnapshotAndTests200AccessPoints(benchmark::State& state) {
    const std::map<Nl80211Dump, QByteArray> dumps = crowdedRadio().dumps();
    const QByteArray activeBssid = bssidFromText(bssidOf(0));
    const std::vector<QString> scanAddresses = networkManagerAddresses();
    if (!reachesEveryTest(state, dumps, activeBssid, scanAddresses)) {
        return;
    }
    for (auto _ : state) {
        // As a recording is loaded: every dump checked, then held in memory.
        std::map<Nl80211Dump, QByteArray> loaded;
        for (const auto& [dump, bytes] : dumps) {
            checkNl80211Dump(dump, bytes, nl80211DumpName(dump));
            loaded.emplace(dump, bytes);
        }
        MemoryNl80211Source source(std::move(loaded));
        const RadioSnapshot radio = takeRadioSnapshot(source, QStringLiteral("wlan0"));
        RadioAnswers answers = answerRadioTests(radio, activeBssid, scanAddresses);
        benchmark::DoNotOptimize(answers);
    }
    state.SetBytesProcessed(state.iterations() * totalBytes(dumps));
}

}  // namespace

BENCHMARK(BM_RadioSnapshotAndTests200AccessPoints)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CheckedRecordingSnapshotAndTests200AccessPoints)->Unit(benchmark::kMillisecond);
