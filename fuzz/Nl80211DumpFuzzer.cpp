// Fuzzes the netlink reader and the nl80211 decoders with any bytes as one dump's answer. The first
// byte picks the dump (GET_INTERFACE, GET_SCAN, GET_STATION, GET_SURVEY, GET_REG, GET_WIPHY, by
// its remainder of six); the rest is the dump's bytes. The reader and the decoders either read the
// bytes or refuse them with NetlinkFormatError at a byte inside them; every message and attribute
// they hand over lies inside what holds it, at any depth; checkNl80211Dump refuses exactly what
// the reader or the decoder refuses, naming the dump. The bytes then stand in for that dump of a
// made-up device whose other dumps are well-formed: the snapshot is taken or refused with
// Nl80211Missing or Nl80211DumpError, keeps only the device's records, and every finding read from
// it answers without throwing. Nothing else may escape.
#include "fuzz/FuzzSupport.h"
#include "platform/wifi/linux/Netlink.h"
#include "platform/wifi/linux/Nl80211Radio.h"
#include "platform/wifi/linux/Nl80211Records.h"
#include "unittests/linux/support/RadioFixtures.h"

#include <linux/netlink.h>
#include <linux/nl80211.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <map>

using fuzzsupport::excerpt;
using fuzzsupport::require;
using namespace platform::linuxwifi;

namespace {

const QString kName = QStringLiteral("fuzz/GET_DUMP");

// The device the fuzzed dump is dropped into: joined to one of two networks, with a survey, a
// regulatory domain and a wiphy of two bands.
const std::map<Nl80211Dump, QByteArray>& deviceDumps() {
    static const std::map<Nl80211Dump, QByteArray> dumps = [] {
        using namespace radiofixtures;
        RadioFixture f;
        f.otherInterfaces = {{"wlan1", 4, 1}};
        f.bsses = {{"aa:bb:cc:00:00:01",
                    2437,
                    100,
                    0x0411,
                    ssidElement("home") + htOperationElement(6, 1, true) + countryElement("DE") +
                        wpsElement({"Acme", "X1", "7", {}}),
                    timElement(3),
                    -5000,
                    true,
                    false,
                    {}},
                   {"aa:bb:cc:00:00:02",
                    5180,
                    100,
                    0x0411,
                    ssidElement("lab") + countryElement("FR"),
                    {},
                    -7000,
                    false,
                    true,
                    {}}};
        f.station = StationFixture{"aa:bb:cc:00:00:01",
                                   -50,
                                   -51,
                                   BitrateFixture{1300, 7, {}, {}, {}, 40},
                                   BitrateFixture{8667, {}, 9, {}, {}, 80},
                                   3,
                                   100,
                                   {}};
        f.survey = {{2437, -92, true, {}}, {5180, -95, false, {}}};
        f.regulatory = {{"US", {}, false}, {"DE", 0, true}};
        f.bands = {{NL80211_BAND_2GHZ, 0x01ef, {}, true, false},
                   {NL80211_BAND_5GHZ, 0x09ef, 0x338819fa, true, true}};
        return f.dumps();
    }();
    return dumps;
}

// Every attribute read as nested attributes, down to depth levels: each lies inside its holder.
void walk(const std::vector<NetlinkAttribute>& attributes, qsizetype begin, qsizetype end, int depth,
          const QString& context) {
    for (const NetlinkAttribute& a : attributes) {
        require(a.offset() >= begin && a.offset() + NLA_HDRLEN + a.size() <= end,
                "an attribute lies inside what holds it", context);
        if (depth == 0) {
            continue;
        }
        try {
            const auto nested = a.nested();
            walk(nested, a.offset() + NLA_HDRLEN, a.offset() + NLA_HDRLEN + a.size(), depth - 1, context);
        } catch (const NetlinkFormatError& error) {
            require(error.offset >= a.offset() + static_cast<qsizetype>(NLA_HDRLEN) &&
                        error.offset < a.offset() + static_cast<qsizetype>(NLA_HDRLEN) + a.size(),
                    "a nested attribute is refused inside its parent", context);
        }
    }
}

// Decodes the dump as its kind; the number of records, or none when the decoder refused it.
std::optional<std::size_t> decode(Nl80211Dump which, const NetlinkDump& dump, qsizetype size,
                                  const QString& context) {
    try {
        switch (which) {
            case Nl80211Dump::Interface:
                return decodeInterfaces(dump).size();
            case Nl80211Dump::Scan: {
                const auto scan = decodeScan(dump);
                for (const Nl80211Bss& bss : scan) {
                    require(bss.bssid.isEmpty() || bss.bssid.size() == 6, "a BSSID is six bytes", context);
                    require(bss.informationElements.size() <= size && bss.beaconElements.size() <= size,
                            "the elements are the dump's own bytes", context);
                }
                return scan.size();
            }
            case Nl80211Dump::Station: {
                const auto stations = decodeStations(dump);
                for (const Nl80211Station& station : stations) {
                    for (const auto& rate : {station.txBitrate, station.rxBitrate}) {
                        require(!rate || (rate->widthMHz >= 5 && rate->widthMHz <= 320),
                                "a rate's width is one of the flags'", context);
                    }
                }
                return stations.size();
            }
            case Nl80211Dump::Survey:
                return decodeSurvey(dump).size();
            case Nl80211Dump::Regulatory:
                return decodeRegulatory(dump).size();
            case Nl80211Dump::Wiphy: {
                const auto wiphys = decodeWiphys(dump);
                for (std::size_t i = 0; i < wiphys.size(); ++i) {
                    for (std::size_t j = i + 1; j < wiphys.size(); ++j) {
                        require(wiphys[i].index != wiphys[j].index, "a wiphy's messages are merged into one",
                                context);
                    }
                }
                return wiphys.size();
            }
        }
    } catch (const NetlinkFormatError& error) {
        require(error.offset >= 0 && error.offset < size, "a decoder refuses at a byte of the dump", context);
        require(!error.why.isEmpty(), "a refusal says why", context);
    }
    return std::nullopt;
}

void checkFindings(const RadioSnapshot& s, const QString& context) {
    require(s.interface.name == QLatin1String("wlan0"), "the snapshot is of the interface asked for",
            context);
    for (const Nl80211Bss& bss : s.scan) {
        require(bss.ifindex == s.interface.ifindex, "the scan holds only the device's BSSs", context);
    }
    for (const Nl80211Station& station : s.stations) {
        require(station.ifindex == s.interface.ifindex, "the stations are only the device's", context);
    }
    for (const Nl80211Survey& survey : s.survey) {
        require(survey.ifindex == s.interface.ifindex, "the survey is only the device's", context);
        if (survey.frequency) {
            const auto noise = s.noiseAt(*survey.frequency);
            bool known = !noise;
            for (const Nl80211Survey& other : s.survey) {
                known = known || (other.frequency == survey.frequency && other.noise == noise);
            }
            require(known, "the noise at a channel is one its survey reports", context);
        }
    }
    require(!s.wiphy || (s.interface.wiphy && s.wiphy->index == *s.interface.wiphy),
            "the wiphy is the interface's", context);
    (void)s.regulatoryDomain();

    const Nl80211Bss* joined = s.joinedBss(QByteArray::fromHex("aabbcc000001"));
    const Nl80211Station* station = s.station(QByteArray::fromHex("aabbcc000001"));
    for (const Nl80211Bss& bss : s.scan) {
        const BssElements elements(bss);
        const auto band = bss.frequency ? bandOfFrequency(*bss.frequency) : std::nullopt;
        const auto dtim = dtimPeriodOf(&bss == joined ? station : nullptr, elements);
        require(!dtim || (*dtim >= 0 && *dtim <= 255), "a DTIM period is a byte", context);
        (void)baseStationModel(elements);
        (void)isHt40On24GHz(&bss == joined ? std::optional(s.interface) : std::nullopt, bss, elements);
        const QStringList offered = phyModesOffered(elements.frame, band);
        const auto link = &bss == joined && station ? linkPhyMode(*station, band) : std::nullopt;
        for (const char* mode : {"802.11n", "802.11ac"}) {
            (void)hasPhyModeConflict(QString::fromLatin1(mode), offered, link, s.wiphy ? &*s.wiphy : nullptr,
                                     band);
        }
    }
    const CountryFinding countries = countryFinding(s);
    for (qsizetype i = 0; i < countries.announced.size(); ++i) {
        require(countries.announced[i].size() == 2, "an announced country is two letters", context);
        require(i == 0 || countries.announced[i - 1] < countries.announced[i],
                "the announced countries are sorted and different", context);
    }
    require(!countries.conflicting || !countries.announced.isEmpty(), "a conflict needs an announced country",
            context);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    fuzzsupport::startQt();
    deviceDumps();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    const Nl80211Dump which = kAllNl80211Dumps[data[0] % std::size(kAllNl80211Dumps)];
    const QByteArray bytes(reinterpret_cast<const char*>(data + 1), static_cast<qsizetype>(size - 1));
    const QString context = nl80211DumpName(which) + QStringLiteral(": ") + excerpt(bytes);

    // The reader.
    bool refused = false;
    try {
        const NetlinkDump dump = readDump(bytes);
        qsizetype previous = -1;
        for (const NetlinkMessage& message : dump.messages) {
            require(message.offset > previous &&
                        message.offset + static_cast<qsizetype>(NLMSG_HDRLEN) <= bytes.size(),
                    "messages come in order, inside the bytes", context);
            require(message.type >= NLMSG_MIN_TYPE, "no control message is handed over as a dump's", context);
            nlmsghdr header{};
            std::memcpy(&header, bytes.constData() + message.offset, sizeof header);
            require(message.offset + static_cast<qsizetype>(header.nlmsg_len) <= bytes.size(),
                    "a message lies inside the bytes", context);
            walk(message.attributes, message.offset, message.offset + header.nlmsg_len, 3, context);
            previous = message.offset;
        }
        require(!dump.error || *dump.error > 0, "the kernel's error is a positive errno", context);
        refused = !decode(which, dump, bytes.size(), context);
    } catch (const NetlinkFormatError& error) {
        require(error.offset >= 0 && error.offset <= bytes.size(),
                "the reader refuses at a byte of the bytes", context);
        require(!error.why.isEmpty(), "a refusal says why", context);
        refused = true;
    }

    // The whole check agrees with the reader and the decoder.
    try {
        checkNl80211Dump(which, bytes, kName);
        require(!refused, "checkNl80211Dump passes only what the reader and decoder read", context);
    } catch (const Nl80211DumpError& error) {
        require(refused, "checkNl80211Dump refuses only what the reader or decoder refuses", context);
        require(error.dump == kName, "the refusal names the dump", context);
    }

    // The bytes as that dump of a device.
    std::map<Nl80211Dump, QByteArray> dumps = deviceDumps();
    dumps[which] = bytes;
    MemoryNl80211Source source(std::move(dumps));
    try {
        checkFindings(takeRadioSnapshot(source, QStringLiteral("wlan0")), context);
    } catch (const Nl80211Missing& missing) {
        require(!missing.why.isEmpty(), "a missing nl80211 says why", context);
    } catch (const Nl80211DumpError& error) {
        require(error.dump == nl80211DumpName(which), "a damaged dump of the snapshot is the fuzzed one",
                context);
    }
    return 0;
}
