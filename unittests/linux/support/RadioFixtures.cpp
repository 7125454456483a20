#include "unittests/linux/support/RadioFixtures.h"

#include "platform/wifi/linux/InformationElements.h"

#include <QDir>
#include <QSaveFile>

#include <linux/netlink.h>
#include <linux/nl80211.h>

#include <cstring>
#include <stdexcept>

namespace radiofixtures {

using platform::linuxwifi::NetlinkBuilder;
namespace ie = platform::linuxwifi::ie;

namespace {

// The answer to a dump request carries the request's sequence number.
constexpr std::uint32_t kSequence = 7;
constexpr std::uint16_t kMulti = NLM_F_MULTI;

QByteArray zeros(int n) {
    return QByteArray(n, '\0');
}

QByteArray le16(std::uint16_t value) {
    QByteArray out;
    out.append(static_cast<char>(value & 0xff));
    out.append(static_cast<char>(value >> 8));
    return out;
}

QByteArray le32(std::uint32_t value) {
    return le16(static_cast<std::uint16_t>(value & 0xffff)) + le16(static_cast<std::uint16_t>(value >> 16));
}

QByteArray ouiBytes(std::uint32_t oui) {
    QByteArray out;
    out.append(static_cast<char>((oui >> 16) & 0xff));
    out.append(static_cast<char>((oui >> 8) & 0xff));
    out.append(static_cast<char>(oui & 0xff));
    return out;
}

QByteArray macFromText(const QString& text) {
    const QByteArray mac = platform::linuxwifi::bssidFromText(text);
    if (mac.size() != 6) {
        throw std::invalid_argument("a fixture's address is not aa:bb:cc:dd:ee:ff: " + text.toStdString());
    }
    return mac;
}

void addBitrate(NetlinkBuilder& b, int type, const BitrateFixture& rate) {
    b.begin(type);
    if (rate.bitrate100kbps) {
        // As the kernel does: the 16-bit attribute only while the rate fits in it.
        if (*rate.bitrate100kbps <= 0xffff) {
            b.u16(NL80211_RATE_INFO_BITRATE, static_cast<std::uint16_t>(*rate.bitrate100kbps));
        }
        b.u32(NL80211_RATE_INFO_BITRATE32, static_cast<std::uint32_t>(*rate.bitrate100kbps));
    }
    if (rate.mcs) {
        b.u8(NL80211_RATE_INFO_MCS, static_cast<std::uint8_t>(*rate.mcs));
    }
    if (rate.vhtMcs) {
        b.u8(NL80211_RATE_INFO_VHT_MCS, static_cast<std::uint8_t>(*rate.vhtMcs));
        b.u8(NL80211_RATE_INFO_VHT_NSS, 2);
    }
    if (rate.heMcs) {
        b.u8(NL80211_RATE_INFO_HE_MCS, static_cast<std::uint8_t>(*rate.heMcs));
        b.u8(NL80211_RATE_INFO_HE_NSS, 2);
    }
    if (rate.ehtMcs) {
        b.u8(NL80211_RATE_INFO_EHT_MCS, static_cast<std::uint8_t>(*rate.ehtMcs));
        b.u8(NL80211_RATE_INFO_EHT_NSS, 2);
    }
    switch (rate.widthMHz) {
        case 5:
            b.flag(NL80211_RATE_INFO_5_MHZ_WIDTH);
            break;
        case 10:
            b.flag(NL80211_RATE_INFO_10_MHZ_WIDTH);
            break;
        case 40:
            b.flag(NL80211_RATE_INFO_40_MHZ_WIDTH);
            break;
        case 80:
            b.flag(NL80211_RATE_INFO_80_MHZ_WIDTH);
            break;
        case 160:
            b.flag(NL80211_RATE_INFO_160_MHZ_WIDTH);
            break;
        case 320:
            b.flag(NL80211_RATE_INFO_320_MHZ_WIDTH);
            break;
        default:
            break;  // 20 MHz has no flag
    }
    b.end();
}

void addInterfaceMessage(NetlinkBuilder& b, const QString& name, int ifindex, int wiphy,
                         const RadioFixture* channel) {
    b.message(kFixtureFamily, NL80211_CMD_NEW_INTERFACE, kMulti, kSequence)
        .u32(NL80211_ATTR_IFINDEX, static_cast<std::uint32_t>(ifindex))
        .string(NL80211_ATTR_IFNAME, name.toUtf8())
        .u32(NL80211_ATTR_WIPHY, static_cast<std::uint32_t>(wiphy))
        .u32(NL80211_ATTR_IFTYPE, NL80211_IFTYPE_STATION)
        .bytes(NL80211_ATTR_MAC, QByteArray::fromHex("0200000000") + static_cast<char>(ifindex))
        .u32(NL80211_ATTR_GENERATION, 1);
    if (!channel) {
        return;
    }
    if (channel->frequency) {
        b.u32(NL80211_ATTR_WIPHY_FREQ, static_cast<std::uint32_t>(*channel->frequency));
    }
    if (channel->channelWidth) {
        b.u32(NL80211_ATTR_CHANNEL_WIDTH, static_cast<std::uint32_t>(*channel->channelWidth));
    }
    if (channel->centerFrequency1) {
        b.u32(NL80211_ATTR_CENTER_FREQ1, static_cast<std::uint32_t>(*channel->centerFrequency1));
    }
}

QByteArray interfaceDump(const RadioFixture& f) {
    NetlinkBuilder b;
    addInterfaceMessage(b, f.interfaceName, f.ifindex, f.wiphy, &f);
    for (const OtherInterfaceFixture& other : f.otherInterfaces) {
        addInterface(b, other.name, other.ifindex, other.wiphy);
    }
    return b.done();
}

QByteArray scanDump(const RadioFixture& f) {
    NetlinkBuilder b;
    for (const BssFixture& bss : f.bsses) {
        addBss(b, bss, bss.ifindex.value_or(f.ifindex));
    }
    return b.done();
}

QByteArray stationDump(const RadioFixture& f) {
    NetlinkBuilder b;
    if (f.station) {
        addStation(b, *f.station, f.station->ifindex.value_or(f.ifindex));
    }
    return b.done();
}

QByteArray surveyDump(const RadioFixture& f) {
    NetlinkBuilder b;
    for (const SurveyFixture& s : f.survey) {
        b.message(kFixtureFamily, NL80211_CMD_NEW_SURVEY_RESULTS, kMulti, kSequence)
            .u32(NL80211_ATTR_IFINDEX, static_cast<std::uint32_t>(s.ifindex.value_or(f.ifindex)))
            .begin(NL80211_ATTR_SURVEY_INFO)
            .u32(NL80211_SURVEY_INFO_FREQUENCY, static_cast<std::uint32_t>(s.frequency));
        if (s.noise) {
            b.u8(NL80211_SURVEY_INFO_NOISE, static_cast<std::uint8_t>(*s.noise));
        }
        if (s.inUse) {
            b.flag(NL80211_SURVEY_INFO_IN_USE);
        }
        b.end();
    }
    return b.done();
}

QByteArray regulatoryDump(const RadioFixture& f) {
    NetlinkBuilder b;
    for (const RegulatoryFixture& r : f.regulatory) {
        b.message(kFixtureFamily, NL80211_CMD_GET_REG, kMulti, kSequence)
            .string(NL80211_ATTR_REG_ALPHA2, r.alpha2)
            .u8(NL80211_ATTR_DFS_REGION, NL80211_DFS_FCC);
        if (r.wiphy) {
            b.u32(NL80211_ATTR_WIPHY, static_cast<std::uint32_t>(*r.wiphy));
        }
        if (r.selfManaged) {
            b.flag(NL80211_ATTR_WIPHY_SELF_MANAGED_REG);
        }
        // One rule, as every domain has: channels 1 to 13 at 20 dBm.
        b.begin(NL80211_ATTR_REG_RULES)
            .begin(1)
            .u32(NL80211_ATTR_REG_RULE_FLAGS, 0)
            .u32(NL80211_ATTR_FREQ_RANGE_START, 2402000)
            .u32(NL80211_ATTR_FREQ_RANGE_END, 2482000)
            .u32(NL80211_ATTR_FREQ_RANGE_MAX_BW, 40000)
            .u32(NL80211_ATTR_POWER_RULE_MAX_EIRP, 2000)
            .end()
            .end();
    }
    return b.done();
}

// The split dump: the wiphy's own attributes first, then each band in two messages (its
// capabilities, then its channels), then the interface types; every message repeats the wiphy's
// index and name.
QByteArray wiphyDump(const RadioFixture& f) {
    NetlinkBuilder b;
    const QByteArray name = QByteArrayLiteral("phy") + QByteArray::number(f.wiphy);
    const auto start = [&] {
        b.message(kFixtureFamily, NL80211_CMD_NEW_WIPHY, kMulti, kSequence)
            .u32(NL80211_ATTR_WIPHY, static_cast<std::uint32_t>(f.wiphy))
            .string(NL80211_ATTR_WIPHY_NAME, name)
            .u32(NL80211_ATTR_GENERATION, 1);
    };
    start();
    b.u8(NL80211_ATTR_MAX_NUM_SCAN_SSIDS, 4);
    for (const BandFixture& band : f.bands) {
        start();
        b.begin(NL80211_ATTR_WIPHY_BANDS).begin(band.band);
        if (band.htCapabilities) {
            b.u16(NL80211_BAND_ATTR_HT_CAPA, *band.htCapabilities);
            b.bytes(NL80211_BAND_ATTR_HT_MCS_SET, zeros(16));
        }
        if (band.vhtCapabilities) {
            b.u32(NL80211_BAND_ATTR_VHT_CAPA, *band.vhtCapabilities);
            b.bytes(NL80211_BAND_ATTR_VHT_MCS_SET, zeros(8));
        }
        if (band.he || band.eht) {
            b.begin(NL80211_BAND_ATTR_IFTYPE_DATA).begin(1);
            b.begin(NL80211_BAND_IFTYPE_ATTR_IFTYPES).flag(NL80211_IFTYPE_STATION).end();
            if (band.he) {
                b.bytes(NL80211_BAND_IFTYPE_ATTR_HE_CAP_MAC, zeros(6));
                b.bytes(NL80211_BAND_IFTYPE_ATTR_HE_CAP_PHY, zeros(11));
                b.bytes(NL80211_BAND_IFTYPE_ATTR_HE_CAP_MCS_SET, zeros(4));
            }
            if (band.eht) {
                b.bytes(NL80211_BAND_IFTYPE_ATTR_EHT_CAP_MAC, zeros(2));
                b.bytes(NL80211_BAND_IFTYPE_ATTR_EHT_CAP_PHY, zeros(9));
            }
            b.end().end();
        }
        b.end().end();
        // The band's channels, in a message of their own as a long channel list is.
        const int first = band.band == NL80211_BAND_2GHZ   ? 2412
                          : band.band == NL80211_BAND_5GHZ ? 5180
                                                           : 5955;
        start();
        b.begin(NL80211_ATTR_WIPHY_BANDS).begin(band.band).begin(NL80211_BAND_ATTR_FREQS);
        for (int i = 0; i < 3; ++i) {
            b.begin(i).u32(NL80211_FREQUENCY_ATTR_FREQ, static_cast<std::uint32_t>(first + 20 * i)).end();
        }
        b.end().end().end();
    }
    start();
    b.begin(NL80211_ATTR_SUPPORTED_IFTYPES).flag(NL80211_IFTYPE_STATION).flag(NL80211_IFTYPE_AP).end();
    return b.done();
}

}  // namespace

QByteArray element(int id, const QByteArray& body) {
    if (body.size() > 255) {
        throw std::invalid_argument("an element body longer than 255 bytes");
    }
    QByteArray out;
    out.append(static_cast<char>(id));
    out.append(static_cast<char>(body.size()));
    out.append(body);
    return out;
}

QByteArray extensionElement(int extensionId, const QByteArray& body) {
    return element(ie::kExtension, QByteArray(1, static_cast<char>(extensionId)) + body);
}

QByteArray vendorElement(std::uint32_t oui, int type, const QByteArray& body) {
    return element(ie::kVendorSpecific, ouiBytes(oui) + static_cast<char>(type) + body);
}

QByteArray ssidElement(const QByteArray& ssid) {
    return element(ie::kSsid, ssid);
}

QByteArray supportedRatesElement(const QByteArray& hexRates) {
    return element(ie::kSupportedRates, QByteArray::fromHex(hexRates));
}

QByteArray extendedRatesElement(const QByteArray& hexRates) {
    return element(ie::kExtendedSupportedRates, QByteArray::fromHex(hexRates));
}

QByteArray dsParameterSetElement(int channel) {
    return element(ie::kDsParameterSet, QByteArray(1, static_cast<char>(channel)));
}

QByteArray timElement(int dtimPeriod, int dtimCount) {
    QByteArray body;
    body.append(static_cast<char>(dtimCount));
    body.append(static_cast<char>(dtimPeriod));
    body.append('\0');  // bitmap control
    body.append('\0');  // partial virtual bitmap
    return element(ie::kTim, body);
}

QByteArray countryElement(const QByteArray& code, char environment) {
    // First channel 1, 13 channels, 20 dBm.
    return element(ie::kCountry, code + environment + QByteArray::fromHex("010d14"));
}

QByteArray htCapabilitiesElement(std::uint16_t info) {
    return element(ie::kHtCapabilities, le16(info) + zeros(24));
}

QByteArray htOperationElement(int primaryChannel, int secondaryOffset, bool anyWidth) {
    QByteArray body;
    body.append(static_cast<char>(primaryChannel));
    body.append(static_cast<char>((secondaryOffset & 0x03) | (anyWidth ? 0x04 : 0)));
    return element(ie::kHtOperation, body + zeros(20));
}

QByteArray vhtCapabilitiesElement(std::uint32_t info) {
    return element(ie::kVhtCapabilities, le32(info) + zeros(8));
}

QByteArray vhtOperationElement(int channelWidth, int centerSegment0, int centerSegment1) {
    QByteArray body;
    body.append(static_cast<char>(channelWidth));
    body.append(static_cast<char>(centerSegment0));
    body.append(static_cast<char>(centerSegment1));
    return element(ie::kVhtOperation, body + le16(0xfffc));  // basic MCS: one stream, MCS 0-7
}

QByteArray heCapabilitiesElement() {
    // MAC (6) and PHY (11) capabilities, and the 80 MHz MCS map.
    return extensionElement(ie::kHeCapabilities, zeros(17) + le16(0xfffa) + le16(0xfffa));
}

QByteArray heOperationElement() {
    // HE Operation Parameters (3), BSS Color (1), basic HE-MCS and NSS set (2).
    return extensionElement(ie::kHeOperation, zeros(3) + QByteArray(1, '\x01') + le16(0xfffc));
}

QByteArray ehtCapabilitiesElement() {
    // MAC (2) and PHY (9) capabilities, and a 20 MHz-only MCS map.
    return extensionElement(ie::kEhtCapabilities, zeros(11) + QByteArray::fromHex("22222222"));
}

QByteArray rsnElement(const std::vector<int>& akmTypes, std::uint16_t capabilities) {
    const QByteArray ccmp = ouiBytes(platform::linuxwifi::kOuiIeee80211) + '\x04';
    QByteArray body = le16(1) + ccmp + le16(1) + ccmp + le16(static_cast<std::uint16_t>(akmTypes.size()));
    for (const int akm : akmTypes) {
        body += ouiBytes(platform::linuxwifi::kOuiIeee80211) + static_cast<char>(akm);
    }
    return element(ie::kRsn, body + le16(capabilities));
}

QByteArray wpsAttribute(int type, const QByteArray& value) {
    QByteArray out;
    out.append(static_cast<char>(type >> 8));
    out.append(static_cast<char>(type & 0xff));
    out.append(static_cast<char>(value.size() >> 8));
    out.append(static_cast<char>(value.size() & 0xff));
    return out + value;
}

QByteArray wpsElement(const WpsFixture& names) {
    namespace wps = platform::linuxwifi::wps;
    QByteArray attributes = wpsAttribute(0x104a, "\x10") + wpsAttribute(0x1044, "\x02");
    const std::pair<int, const std::optional<QByteArray>*> fields[] = {
        {wps::kManufacturer, &names.manufacturer},
        {wps::kModelName, &names.modelName},
        {wps::kModelNumber, &names.modelNumber},
        {wps::kDeviceName, &names.deviceName}};
    for (const auto& [type, value] : fields) {
        if (*value) {
            attributes += wpsAttribute(type, **value);
        }
    }
    // Attributes longer than one element carries go on in the next one, as access points send them.
    QByteArray out;
    for (qsizetype at = 0; at < attributes.size(); at += 251) {
        out += vendorElement(platform::linuxwifi::kOuiMicrosoft, 4, attributes.mid(at, 251));
    }
    return out;
}

QByteArray interworkingElement(int accessNetworkType, bool internet) {
    return element(ie::kInterworking,
                   QByteArray(1, static_cast<char>((accessNetworkType & 0x0f) | (internet ? 0x10 : 0))));
}

QByteArray hotspot20Element() {
    return vendorElement(platform::linuxwifi::kOuiWiFiAlliance, 0x10, QByteArray(1, '\x10'));
}

void addInterface(NetlinkBuilder& dump, const QString& name, int ifindex, int wiphy) {
    addInterfaceMessage(dump, name, ifindex, wiphy, nullptr);
}

void addBss(NetlinkBuilder& b, const BssFixture& bss, int ifindex) {
    b.message(kFixtureFamily, NL80211_CMD_NEW_SCAN_RESULTS, kMulti, kSequence)
        .u32(NL80211_ATTR_GENERATION, 1)
        .u32(NL80211_ATTR_IFINDEX, static_cast<std::uint32_t>(ifindex))
        .begin(NL80211_ATTR_BSS)
        .bytes(NL80211_BSS_BSSID, macFromText(bss.bssid))
        .u32(NL80211_BSS_FREQUENCY, static_cast<std::uint32_t>(bss.frequency))
        .u16(NL80211_BSS_BEACON_INTERVAL, static_cast<std::uint16_t>(bss.beaconInterval))
        .u16(NL80211_BSS_CAPABILITY, static_cast<std::uint16_t>(bss.capability))
        .bytes(NL80211_BSS_INFORMATION_ELEMENTS, bss.informationElements);
    if (!bss.beaconElements.isEmpty()) {
        b.bytes(NL80211_BSS_BEACON_IES, bss.beaconElements);
    }
    b.s32(NL80211_BSS_SIGNAL_MBM, bss.signalMbm).u32(NL80211_BSS_SEEN_MS_AGO, 120);
    if (bss.associated) {
        b.u32(NL80211_BSS_STATUS, NL80211_BSS_STATUS_ASSOCIATED);
    }
    if (bss.fromProbeResponse) {
        b.flag(NL80211_BSS_PRESP_DATA);
    }
    b.end();
}

void addStation(NetlinkBuilder& b, const StationFixture& station, int ifindex) {
    b.message(kFixtureFamily, NL80211_CMD_NEW_STATION, kMulti, kSequence)
        .u32(NL80211_ATTR_IFINDEX, static_cast<std::uint32_t>(ifindex))
        .bytes(NL80211_ATTR_MAC, macFromText(station.mac))
        .u32(NL80211_ATTR_GENERATION, 1)
        .begin(NL80211_ATTR_STA_INFO)
        .u32(NL80211_STA_INFO_INACTIVE_TIME, 40);
    if (station.signal) {
        b.u8(NL80211_STA_INFO_SIGNAL, static_cast<std::uint8_t>(*station.signal));
    }
    if (station.signalAvg) {
        b.u8(NL80211_STA_INFO_SIGNAL_AVG, static_cast<std::uint8_t>(*station.signalAvg));
    }
    if (station.txBitrate) {
        addBitrate(b, NL80211_STA_INFO_TX_BITRATE, *station.txBitrate);
    }
    if (station.rxBitrate) {
        addBitrate(b, NL80211_STA_INFO_RX_BITRATE, *station.rxBitrate);
    }
    if (station.dtimPeriod || station.beaconInterval) {
        b.begin(NL80211_STA_INFO_BSS_PARAM).flag(NL80211_STA_BSS_PARAM_SHORT_SLOT_TIME);
        if (station.dtimPeriod) {
            b.u8(NL80211_STA_BSS_PARAM_DTIM_PERIOD, static_cast<std::uint8_t>(*station.dtimPeriod));
        }
        if (station.beaconInterval) {
            b.u16(NL80211_STA_BSS_PARAM_BEACON_INTERVAL, static_cast<std::uint16_t>(*station.beaconInterval));
        }
        b.end();
    }
    b.end();
}

QByteArray refusedDump(int error) {
    // struct nlmsgerr: the error, then the header of the request it answers.
    nlmsghdr request{};
    request.nlmsg_len = NLMSG_HDRLEN + 4;
    request.nlmsg_type = kFixtureFamily;
    request.nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
    request.nlmsg_seq = kSequence;
    nlmsghdr header{};
    header.nlmsg_len = NLMSG_HDRLEN + sizeof(int) + sizeof request;
    header.nlmsg_type = NLMSG_ERROR;
    header.nlmsg_flags = NLM_F_CAPPED;
    header.nlmsg_seq = kSequence;
    const int code = -error;
    QByteArray out(reinterpret_cast<const char*>(&header), sizeof header);
    out.append(reinterpret_cast<const char*>(&code), sizeof code);
    out.append(reinterpret_cast<const char*>(&request), sizeof request);
    return out;
}

std::map<Nl80211Dump, QByteArray> RadioFixture::dumps() const {
    std::map<Nl80211Dump, QByteArray> out;
    for (const Nl80211Dump dump : platform::linuxwifi::kAllNl80211Dumps) {
        if (leftOut.contains(dump)) {
            continue;
        }
        if (const auto refused = refusals.find(dump); refused != refusals.end()) {
            out.emplace(dump, refusedDump(refused->second));
            continue;
        }
        switch (dump) {
            case Nl80211Dump::Interface:
                out.emplace(dump, interfaceDump(*this));
                break;
            case Nl80211Dump::Scan:
                out.emplace(dump, scanDump(*this));
                break;
            case Nl80211Dump::Station:
                out.emplace(dump, stationDump(*this));
                break;
            case Nl80211Dump::Survey:
                out.emplace(dump, surveyDump(*this));
                break;
            case Nl80211Dump::Regulatory:
                out.emplace(dump, regulatoryDump(*this));
                break;
            case Nl80211Dump::Wiphy:
                out.emplace(dump, wiphyDump(*this));
                break;
        }
    }
    return out;
}

void RadioFixture::writeTo(const QString& dir) const {
    if (!QDir().mkpath(dir)) {
        throw std::runtime_error("cannot make " + dir.toStdString());
    }
    for (const auto& [dump, bytes] : dumps()) {
        QSaveFile file(QDir(dir).filePath(platform::linuxwifi::nl80211DumpName(dump)));
        if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() || !file.commit()) {
            throw std::runtime_error("cannot write " + file.fileName().toStdString() + ": " +
                                     file.errorString().toStdString());
        }
    }
}

}  // namespace radiofixtures
