#include "platform/wifi/linux/Nl80211Records.h"

#include <QStringList>

#include <linux/nl80211.h>

#include <algorithm>
#include <map>

namespace platform::linuxwifi {

namespace {

std::optional<int> u32If(const std::vector<NetlinkAttribute>& attributes, int type) {
    if (const NetlinkAttribute* a = findAttribute(attributes, type)) {
        return static_cast<int>(a->u32());
    }
    return std::nullopt;
}

std::optional<int> u16If(const std::vector<NetlinkAttribute>& attributes, int type) {
    if (const NetlinkAttribute* a = findAttribute(attributes, type)) {
        return a->u16();
    }
    return std::nullopt;
}

std::optional<int> u8If(const std::vector<NetlinkAttribute>& attributes, int type) {
    if (const NetlinkAttribute* a = findAttribute(attributes, type)) {
        return a->u8();
    }
    return std::nullopt;
}

std::optional<int> s8If(const std::vector<NetlinkAttribute>& attributes, int type) {
    if (const NetlinkAttribute* a = findAttribute(attributes, type)) {
        return a->s8();
    }
    return std::nullopt;
}

bool has(const std::vector<NetlinkAttribute>& attributes, int type) {
    return findAttribute(attributes, type) != nullptr;
}

Nl80211Bitrate decodeBitrate(const NetlinkAttribute& attribute) {
    const auto rate = attribute.nested();
    Nl80211Bitrate bitrate;
    bitrate.bitrate100kbps = u32If(rate, NL80211_RATE_INFO_BITRATE32);
    if (!bitrate.bitrate100kbps) {
        bitrate.bitrate100kbps = u16If(rate, NL80211_RATE_INFO_BITRATE);
    }
    bitrate.mcs = u8If(rate, NL80211_RATE_INFO_MCS);
    bitrate.vhtMcs = u8If(rate, NL80211_RATE_INFO_VHT_MCS);
    bitrate.heMcs = u8If(rate, NL80211_RATE_INFO_HE_MCS);
    bitrate.ehtMcs = u8If(rate, NL80211_RATE_INFO_EHT_MCS);
    if (has(rate, NL80211_RATE_INFO_320_MHZ_WIDTH)) {
        bitrate.widthMHz = 320;
    } else if (has(rate, NL80211_RATE_INFO_160_MHZ_WIDTH) || has(rate, NL80211_RATE_INFO_80P80_MHZ_WIDTH)) {
        bitrate.widthMHz = 160;
    } else if (has(rate, NL80211_RATE_INFO_80_MHZ_WIDTH)) {
        bitrate.widthMHz = 80;
    } else if (has(rate, NL80211_RATE_INFO_40_MHZ_WIDTH)) {
        bitrate.widthMHz = 40;
    } else if (has(rate, NL80211_RATE_INFO_10_MHZ_WIDTH)) {
        bitrate.widthMHz = 10;
    } else if (has(rate, NL80211_RATE_INFO_5_MHZ_WIDTH)) {
        bitrate.widthMHz = 5;
    }
    return bitrate;
}

Nl80211Band decodeBand(const NetlinkAttribute& attribute) {
    Nl80211Band band;
    band.band = attribute.type();
    const auto fields = attribute.nested();
    if (const NetlinkAttribute* ht = findAttribute(fields, NL80211_BAND_ATTR_HT_CAPA)) {
        band.htCapabilities = ht->u16();
    }
    if (const NetlinkAttribute* vht = findAttribute(fields, NL80211_BAND_ATTR_VHT_CAPA)) {
        band.vhtCapabilities = vht->u32();
    }
    if (const NetlinkAttribute* iftypes = findAttribute(fields, NL80211_BAND_ATTR_IFTYPE_DATA)) {
        for (const NetlinkAttribute& entry : iftypes->nested()) {
            const auto data = entry.nested();
            band.he = band.he || has(data, NL80211_BAND_IFTYPE_ATTR_HE_CAP_PHY);
            band.eht = band.eht || has(data, NL80211_BAND_IFTYPE_ATTR_EHT_CAP_PHY);
        }
    }
    return band;
}

}  // namespace

QString nl80211DumpName(Nl80211Dump dump) {
    switch (dump) {
        case Nl80211Dump::Interface:
            return QStringLiteral("GET_INTERFACE");
        case Nl80211Dump::Scan:
            return QStringLiteral("GET_SCAN");
        case Nl80211Dump::Station:
            return QStringLiteral("GET_STATION");
        case Nl80211Dump::Survey:
            return QStringLiteral("GET_SURVEY");
        case Nl80211Dump::Regulatory:
            return QStringLiteral("GET_REG");
        case Nl80211Dump::Wiphy:
            return QStringLiteral("GET_WIPHY");
    }
    return {};
}

int nl80211Command(Nl80211Dump dump) {
    switch (dump) {
        case Nl80211Dump::Interface:
            return NL80211_CMD_GET_INTERFACE;
        case Nl80211Dump::Scan:
            return NL80211_CMD_GET_SCAN;
        case Nl80211Dump::Station:
            return NL80211_CMD_GET_STATION;
        case Nl80211Dump::Survey:
            return NL80211_CMD_GET_SURVEY;
        case Nl80211Dump::Regulatory:
            return NL80211_CMD_GET_REG;
        case Nl80211Dump::Wiphy:
            return NL80211_CMD_GET_WIPHY;
    }
    return 0;
}

bool Nl80211Bss::associated() const {
    return status == NL80211_BSS_STATUS_ASSOCIATED;
}

std::optional<QString> Nl80211Bitrate::phyMode() const {
    if (ehtMcs) {
        return QStringLiteral("802.11be");
    }
    if (heMcs) {
        return QStringLiteral("802.11ax");
    }
    if (vhtMcs) {
        return QStringLiteral("802.11ac");
    }
    if (mcs) {
        return QStringLiteral("802.11n");
    }
    return std::nullopt;
}

const Nl80211Band* Nl80211Wiphy::band(int wanted) const {
    for (const Nl80211Band& b : bands) {
        if (b.band == wanted) {
            return &b;
        }
    }
    return nullptr;
}

std::vector<Nl80211Interface> decodeInterfaces(const NetlinkDump& dump) {
    std::vector<Nl80211Interface> interfaces;
    for (const NetlinkMessage& message : dump.messages) {
        const auto& a = message.attributes;
        const auto ifindex = u32If(a, NL80211_ATTR_IFINDEX);
        if (!ifindex) {
            continue;  // a wireless device without a network interface (P2P device, NAN)
        }
        Nl80211Interface interface;
        interface.ifindex = *ifindex;
        if (const NetlinkAttribute* name = findAttribute(a, NL80211_ATTR_IFNAME)) {
            interface.name = QString::fromUtf8(name->string());
        }
        interface.wiphy = u32If(a, NL80211_ATTR_WIPHY);
        interface.frequency = u32If(a, NL80211_ATTR_WIPHY_FREQ);
        interface.channelWidth = u32If(a, NL80211_ATTR_CHANNEL_WIDTH);
        interface.centerFrequency1 = u32If(a, NL80211_ATTR_CENTER_FREQ1);
        interfaces.push_back(std::move(interface));
    }
    return interfaces;
}

std::vector<Nl80211Bss> decodeScan(const NetlinkDump& dump) {
    std::vector<Nl80211Bss> scan;
    for (const NetlinkMessage& message : dump.messages) {
        const NetlinkAttribute* nested = findAttribute(message.attributes, NL80211_ATTR_BSS);
        if (!nested) {
            continue;
        }
        const auto b = nested->nested();
        Nl80211Bss bss;
        bss.ifindex = u32If(message.attributes, NL80211_ATTR_IFINDEX).value_or(0);
        if (const NetlinkAttribute* bssid = findAttribute(b, NL80211_BSS_BSSID)) {
            if (bssid->size() != 6) {
                throw NetlinkFormatError{bssid->offset(),
                                         QStringLiteral("a BSSID of %1 bytes, not 6").arg(bssid->size())};
            }
            bss.bssid = bssid->bytes();
        }
        bss.frequency = u32If(b, NL80211_BSS_FREQUENCY);
        bss.beaconInterval = u16If(b, NL80211_BSS_BEACON_INTERVAL);
        bss.capability = u16If(b, NL80211_BSS_CAPABILITY);
        if (const NetlinkAttribute* ies = findAttribute(b, NL80211_BSS_INFORMATION_ELEMENTS)) {
            bss.informationElements = ies->bytes();
        }
        if (const NetlinkAttribute* ies = findAttribute(b, NL80211_BSS_BEACON_IES)) {
            bss.beaconElements = ies->bytes();
        }
        if (const NetlinkAttribute* signal = findAttribute(b, NL80211_BSS_SIGNAL_MBM)) {
            bss.signalMbm = signal->s32();
        }
        bss.status = u32If(b, NL80211_BSS_STATUS);
        bss.fromProbeResponse = has(b, NL80211_BSS_PRESP_DATA);
        scan.push_back(std::move(bss));
    }
    return scan;
}

std::vector<Nl80211Station> decodeStations(const NetlinkDump& dump) {
    std::vector<Nl80211Station> stations;
    for (const NetlinkMessage& message : dump.messages) {
        Nl80211Station station;
        station.ifindex = u32If(message.attributes, NL80211_ATTR_IFINDEX).value_or(0);
        if (const NetlinkAttribute* mac = findAttribute(message.attributes, NL80211_ATTR_MAC)) {
            station.mac = mac->bytes();
        }
        if (const NetlinkAttribute* info = findAttribute(message.attributes, NL80211_ATTR_STA_INFO)) {
            const auto s = info->nested();
            station.signal = s8If(s, NL80211_STA_INFO_SIGNAL);
            station.signalAvg = s8If(s, NL80211_STA_INFO_SIGNAL_AVG);
            if (const NetlinkAttribute* tx = findAttribute(s, NL80211_STA_INFO_TX_BITRATE)) {
                station.txBitrate = decodeBitrate(*tx);
            }
            if (const NetlinkAttribute* rx = findAttribute(s, NL80211_STA_INFO_RX_BITRATE)) {
                station.rxBitrate = decodeBitrate(*rx);
            }
            if (const NetlinkAttribute* bss = findAttribute(s, NL80211_STA_INFO_BSS_PARAM)) {
                const auto p = bss->nested();
                station.dtimPeriod = u8If(p, NL80211_STA_BSS_PARAM_DTIM_PERIOD);
                station.beaconInterval = u16If(p, NL80211_STA_BSS_PARAM_BEACON_INTERVAL);
            }
        }
        stations.push_back(std::move(station));
    }
    return stations;
}

std::vector<Nl80211Survey> decodeSurvey(const NetlinkDump& dump) {
    std::vector<Nl80211Survey> surveys;
    for (const NetlinkMessage& message : dump.messages) {
        const NetlinkAttribute* info = findAttribute(message.attributes, NL80211_ATTR_SURVEY_INFO);
        if (!info) {
            continue;
        }
        const auto s = info->nested();
        Nl80211Survey survey;
        survey.ifindex = u32If(message.attributes, NL80211_ATTR_IFINDEX).value_or(0);
        survey.frequency = u32If(s, NL80211_SURVEY_INFO_FREQUENCY);
        survey.noise = s8If(s, NL80211_SURVEY_INFO_NOISE);
        survey.inUse = has(s, NL80211_SURVEY_INFO_IN_USE);
        surveys.push_back(survey);
    }
    return surveys;
}

std::vector<Nl80211Regulatory> decodeRegulatory(const NetlinkDump& dump) {
    std::vector<Nl80211Regulatory> domains;
    for (const NetlinkMessage& message : dump.messages) {
        const NetlinkAttribute* alpha2 = findAttribute(message.attributes, NL80211_ATTR_REG_ALPHA2);
        if (!alpha2) {
            continue;
        }
        Nl80211Regulatory domain;
        domain.alpha2 = alpha2->string();
        domain.wiphy = u32If(message.attributes, NL80211_ATTR_WIPHY);
        domain.selfManaged = has(message.attributes, NL80211_ATTR_WIPHY_SELF_MANAGED_REG);
        domains.push_back(std::move(domain));
    }
    return domains;
}

std::vector<Nl80211Wiphy> decodeWiphys(const NetlinkDump& dump) {
    std::vector<Nl80211Wiphy> wiphys;
    std::map<int, std::size_t> byIndex;
    for (const NetlinkMessage& message : dump.messages) {
        const auto index = u32If(message.attributes, NL80211_ATTR_WIPHY);
        if (!index) {
            continue;
        }
        auto [at, added] = byIndex.emplace(*index, wiphys.size());
        if (added) {
            wiphys.push_back(Nl80211Wiphy{*index, {}, {}});
        }
        Nl80211Wiphy& wiphy = wiphys[at->second];
        if (const NetlinkAttribute* name = findAttribute(message.attributes, NL80211_ATTR_WIPHY_NAME)) {
            wiphy.name = QString::fromUtf8(name->string());
        }
        if (const NetlinkAttribute* bands = findAttribute(message.attributes, NL80211_ATTR_WIPHY_BANDS)) {
            for (const NetlinkAttribute& bandAttribute : bands->nested()) {
                // A split dump sends a band's parts in several messages; the parts add up.
                const Nl80211Band part = decodeBand(bandAttribute);
                auto existing = std::find_if(wiphy.bands.begin(), wiphy.bands.end(),
                                             [&](const Nl80211Band& b) { return b.band == part.band; });
                if (existing == wiphy.bands.end()) {
                    wiphy.bands.push_back(part);
                    continue;
                }
                if (part.htCapabilities) {
                    existing->htCapabilities = part.htCapabilities;
                }
                if (part.vhtCapabilities) {
                    existing->vhtCapabilities = part.vhtCapabilities;
                }
                existing->he = existing->he || part.he;
                existing->eht = existing->eht || part.eht;
            }
        }
    }
    return wiphys;
}

QString bssidText(const QByteArray& bssid) {
    return QString::fromLatin1(bssid.toHex(':'));
}

QByteArray bssidFromText(const QString& text) {
    const QStringList parts = text.split(u':');
    if (parts.size() != 6) {
        return {};
    }
    QByteArray bssid;
    for (const QString& part : parts) {
        bool ok = false;
        const uint byte = part.toUInt(&ok, 16);
        if (!ok || part.size() != 2) {
            return {};
        }
        bssid.append(static_cast<char>(byte));
    }
    return bssid;
}

}  // namespace platform::linuxwifi
