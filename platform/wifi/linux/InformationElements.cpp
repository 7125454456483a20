// The information-element reader: one pass over the elements, then each known element decoded
// from its body with bounds checks on every read.
#include "platform/wifi/linux/InformationElements.h"

#include <algorithm>
#include <set>

namespace platform::linuxwifi {

namespace {

std::uint8_t byteAt(const QByteArray& b, qsizetype i) {
    return static_cast<std::uint8_t>(b.at(i));
}

std::uint16_t le16(const QByteArray& b, qsizetype i) {
    return static_cast<std::uint16_t>(byteAt(b, i) | (byteAt(b, i + 1) << 8));
}

std::uint16_t be16(const QByteArray& b, qsizetype i) {
    return static_cast<std::uint16_t>((byteAt(b, i) << 8) | byteAt(b, i + 1));
}

std::uint32_t le32(const QByteArray& b, qsizetype i) {
    return static_cast<std::uint32_t>(le16(b, i)) | (static_cast<std::uint32_t>(le16(b, i + 2)) << 16);
}

std::uint32_t oui(const QByteArray& b, qsizetype i) {
    return (std::uint32_t{byteAt(b, i)} << 16) | (std::uint32_t{byteAt(b, i + 1)} << 8) | byteAt(b, i + 2);
}

QString bytesText(qsizetype n) {
    return n == 1 ? QStringLiteral("1 byte") : QStringLiteral("%1 bytes").arg(n);
}

class Reader {
  public:
    explicit Reader(ParsedElements& out) : out_(out) {}

    void problem(const InformationElement& e, const QString& why) {
        out_.problems << QStringLiteral("element %1 (%2) at byte %3: %4")
                             .arg(e.id)
                             .arg(elementName(e.id))
                             .arg(e.offset)
                             .arg(why);
    }

    // True when the body holds at least needed bytes; otherwise reports the element as truncated.
    bool needs(const InformationElement& e, qsizetype needed) {
        if (e.body.size() >= needed) {
            return true;
        }
        problem(e, QStringLiteral("body of %1, shorter than the %2 it needs; not decoded")
                       .arg(bytesText(e.body.size()))
                       .arg(needed));
        return false;
    }

    // True the first time an element that must appear once is seen; reports the later ones.
    bool first(const InformationElement& e, const QString& what) {
        if (seen_.insert(what).second) {
            return true;
        }
        problem(e, QStringLiteral("repeated %1, which must appear once; ignored").arg(what));
        return false;
    }

    // RSN and WPA bodies after the version: group suite, pairwise count and suites, AKM count and
    // suites, capabilities (RSN only). Stops at the end of the body; a list or field cut in its
    // middle is reported.
    SecurityElement security(const InformationElement& e, qsizetype start, bool withCapabilities) {
        const QByteArray& b = e.body;
        SecurityElement s;
        s.version = le16(b, start);
        qsizetype at = start + 2;
        const auto cut = [&](const char* field) {
            problem(e, QStringLiteral("%1 cut off at byte %2 of the body").arg(QLatin1String(field)).arg(at));
        };
        if (at == b.size()) {
            return s;
        }
        if (b.size() - at < 4) {
            cut("group cipher suite");
            return s;
        }
        s.groupCipher = Suite{oui(b, at), byteAt(b, at + 3)};
        at += 4;
        for (std::vector<Suite>* list : {&s.pairwiseCiphers, &s.akmSuites}) {
            const char* name = list == &s.pairwiseCiphers ? "pairwise cipher suite list" : "AKM suite list";
            if (at == b.size()) {
                return s;
            }
            if (b.size() - at < 2) {
                cut(name);
                return s;
            }
            const int count = le16(b, at);
            at += 2;
            for (int i = 0; i < count; ++i) {
                if (b.size() - at < 4) {
                    cut(name);
                    return s;
                }
                list->push_back(Suite{oui(b, at), byteAt(b, at + 3)});
                at += 4;
            }
        }
        if (withCapabilities && at < b.size()) {
            if (b.size() - at < 2) {
                cut("RSN capabilities");
                return s;
            }
            s.capabilities = le16(b, at);
        }
        return s;
    }

    void element(const InformationElement& e) {
        const QByteArray& b = e.body;
        switch (e.id) {
            case ie::kSsid:
                if (first(e, QStringLiteral("SSID"))) {
                    out_.ssid = b;
                }
                break;
            case ie::kSupportedRates:
                if (first(e, QStringLiteral("Supported Rates"))) {
                    out_.supportedRates = b;
                }
                break;
            case ie::kExtendedSupportedRates:
                if (first(e, QStringLiteral("Extended Supported Rates"))) {
                    out_.extendedRates = b;
                }
                break;
            case ie::kDsParameterSet:
                if (first(e, QStringLiteral("DS Parameter Set")) && needs(e, 1)) {
                    out_.dsChannel = byteAt(b, 0);
                }
                break;
            case ie::kTim:
                // DTIM count, DTIM period, bitmap control and at least one byte of bitmap.
                if (first(e, QStringLiteral("TIM")) && needs(e, 4)) {
                    out_.dtimPeriod = byteAt(b, 1);
                }
                break;
            case ie::kCountry:
                if (first(e, QStringLiteral("Country")) && needs(e, 3)) {
                    out_.country = CountryInfo{b.left(2), byteAt(b, 2)};
                }
                break;
            case ie::kHtCapabilities:
                if (first(e, QStringLiteral("HT Capabilities")) && needs(e, 26)) {
                    out_.htCapabilities = le16(b, 0);
                }
                break;
            case ie::kHtOperation:
                if (first(e, QStringLiteral("HT Operation")) && needs(e, 22)) {
                    const std::uint8_t info = byteAt(b, 1);
                    out_.htOperation = HtOperation{byteAt(b, 0), info & 0x03, (info & 0x04) != 0};
                }
                break;
            case ie::kVhtCapabilities:
                if (first(e, QStringLiteral("VHT Capabilities")) && needs(e, 12)) {
                    out_.vhtCapabilities = le32(b, 0);
                }
                break;
            case ie::kVhtOperation:
                if (first(e, QStringLiteral("VHT Operation")) && needs(e, 5)) {
                    out_.vhtOperation = VhtOperation{byteAt(b, 0), byteAt(b, 1), byteAt(b, 2)};
                }
                break;
            case ie::kRsn:
                if (first(e, QStringLiteral("RSN")) && needs(e, 2)) {
                    out_.rsn = security(e, 0, true);
                }
                break;
            case ie::kInterworking:
                if (first(e, QStringLiteral("Interworking")) && needs(e, 1)) {
                    out_.interworking = Interworking{byteAt(b, 0) & 0x0f, (byteAt(b, 0) & 0x10) != 0};
                }
                break;
            case ie::kExtendedCapabilities:
                if (first(e, QStringLiteral("Extended Capabilities"))) {
                    out_.extendedCapabilities = b;
                }
                break;
            case ie::kExtension:
                if (e.extensionId) {
                    out_.extensionIds.push_back(*e.extensionId);
                } else {
                    problem(e, QStringLiteral("no extension ID (empty body)"));
                }
                break;
            case ie::kVendorSpecific:
                vendor(e);
                break;
            default:
                break;
        }
    }

    void vendor(const InformationElement& e) {
        const QByteArray& b = e.body;
        if (b.size() < 3) {
            problem(e, QStringLiteral("body of %1, shorter than its OUI").arg(bytesText(b.size())));
            return;
        }
        if (b.size() < 4) {
            return;  // an OUI without a type: nothing here is read from it
        }
        const std::uint32_t o = oui(b, 0);
        const int type = byteAt(b, 3);
        if (o == kOuiMicrosoft && type == 1) {
            if (first(e, QStringLiteral("WPA element")) && needs(e, 6)) {
                out_.wpa = security(e, 4, false);
            }
        } else if (o == kOuiMicrosoft && type == 4) {
            if (!wpsOffset_) {
                wpsOffset_ = e.offset;
            }
            wpsData_ += b.mid(4);
        } else if (o == kOuiWiFiAlliance && type == 0x10) {
            out_.hotspot20Indication = true;
        }
    }

    void finishWps() {
        if (!wpsOffset_) {
            return;
        }
        WpsElement w;
        const QByteArray& d = wpsData_;
        qsizetype at = 0;
        while (at < d.size()) {
            if (d.size() - at < 4) {
                problem(InformationElement{ie::kVendorSpecific, {}, *wpsOffset_, {}},
                        QStringLiteral("WPS attribute header cut off at byte %1 of the WPS data").arg(at));
                break;
            }
            const int type = be16(d, at);
            const qsizetype length = be16(d, at + 2);
            if (d.size() - at - 4 < length) {
                problem(InformationElement{ie::kVendorSpecific, {}, *wpsOffset_, {}},
                        QStringLiteral("WPS attribute 0x%1 at byte %2 of the WPS data: length %3 runs past "
                                       "the end (%4 left)")
                            .arg(type, 4, 16, QLatin1Char('0'))
                            .arg(at)
                            .arg(length)
                            .arg(d.size() - at - 4));
                break;
            }
            const QByteArray value = d.mid(at + 4, length);
            w.attributes.push_back(WpsAttribute{type, value});
            std::optional<QByteArray>* field = nullptr;
            switch (type) {
                case wps::kManufacturer:
                    field = &w.manufacturer;
                    break;
                case wps::kModelName:
                    field = &w.modelName;
                    break;
                case wps::kModelNumber:
                    field = &w.modelNumber;
                    break;
                case wps::kDeviceName:
                    field = &w.deviceName;
                    break;
                default:
                    break;
            }
            if (field && !*field) {
                *field = value;
            }
            at += 4 + length;
        }
        out_.wps = std::move(w);
    }

  private:
    ParsedElements& out_;
    std::set<QString> seen_;
    std::optional<qsizetype> wpsOffset_;
    QByteArray wpsData_;
};

bool isDsssRate(double mbps) {
    return mbps == 1.0 || mbps == 2.0 || mbps == 5.5 || mbps == 11.0;
}

bool isOfdmRate(double mbps) {
    return mbps == 6.0 || mbps == 9.0 || mbps == 12.0 || mbps == 18.0 || mbps == 24.0 || mbps == 36.0 ||
           mbps == 48.0 || mbps == 54.0;
}

}  // namespace

bool ParsedElements::hasExtension(int extensionId) const {
    return std::find(extensionIds.begin(), extensionIds.end(), extensionId) != extensionIds.end();
}

QString elementName(int id) {
    switch (id) {
        case ie::kSsid:
            return QStringLiteral("SSID");
        case ie::kSupportedRates:
            return QStringLiteral("Supported Rates");
        case ie::kDsParameterSet:
            return QStringLiteral("DS Parameter Set");
        case ie::kTim:
            return QStringLiteral("TIM");
        case ie::kCountry:
            return QStringLiteral("Country");
        case ie::kHtCapabilities:
            return QStringLiteral("HT Capabilities");
        case ie::kRsn:
            return QStringLiteral("RSN");
        case ie::kExtendedSupportedRates:
            return QStringLiteral("Extended Supported Rates");
        case ie::kHtOperation:
            return QStringLiteral("HT Operation");
        case ie::kInterworking:
            return QStringLiteral("Interworking");
        case ie::kExtendedCapabilities:
            return QStringLiteral("Extended Capabilities");
        case ie::kVhtCapabilities:
            return QStringLiteral("VHT Capabilities");
        case ie::kVhtOperation:
            return QStringLiteral("VHT Operation");
        case ie::kVendorSpecific:
            return QStringLiteral("Vendor Specific");
        case ie::kExtension:
            return QStringLiteral("Extension");
        default:
            return QStringLiteral("unknown");
    }
}

ParsedElements parseInformationElements(const QByteArray& bytes) {
    ParsedElements out;
    Reader reader(out);
    qsizetype at = 0;
    while (at < bytes.size()) {
        InformationElement e;
        e.id = byteAt(bytes, at);
        e.offset = at;
        if (bytes.size() - at < 2) {
            reader.problem(e, QStringLiteral("length byte missing at the end of the elements"));
            break;
        }
        const qsizetype length = byteAt(bytes, at + 1);
        if (bytes.size() - at - 2 < length) {
            reader.problem(e, QStringLiteral("length %1 runs past the end (%2 left); reading stops here")
                                  .arg(length)
                                  .arg(bytesText(bytes.size() - at - 2)));
            break;
        }
        e.body = bytes.mid(at + 2, length);
        if (e.id == ie::kExtension && !e.body.isEmpty()) {
            e.extensionId = byteAt(e.body, 0);
        }
        out.elements.push_back(e);
        reader.element(out.elements.back());
        at += 2 + length;
    }
    reader.finishWps();
    return out;
}

bool isBasicRate(std::uint8_t rate) {
    return (rate & 0x80) != 0;
}

std::optional<double> rateMbps(std::uint8_t rate) {
    switch (rate) {
        case 0xff:
        case 0xfe:
        case 0xfb:
        case 0xfa:
        case 0xf9:
            return std::nullopt;
        default:
            return (rate & 0x7f) * 0.5;
    }
}

std::vector<double> ratesMbps(const ParsedElements& parsed) {
    std::vector<double> rates;
    for (const auto* element : {&parsed.supportedRates, &parsed.extendedRates}) {
        if (!*element) {
            continue;
        }
        for (const char c : **element) {
            if (const std::optional<double> r = rateMbps(static_cast<std::uint8_t>(c))) {
                rates.push_back(*r);
            }
        }
    }
    return rates;
}

bool hasExtendedCapability(const ParsedElements& parsed, int bit) {
    if (!parsed.extendedCapabilities || bit < 0 || bit / 8 >= parsed.extendedCapabilities->size()) {
        return false;
    }
    return (byteAt(*parsed.extendedCapabilities, bit / 8) & (1 << (bit % 8))) != 0;
}

QStringList phyModesOffered(const ParsedElements& parsed, std::optional<int> bandGHz) {
    const std::vector<double> rates = ratesMbps(parsed);
    const bool dsss = std::any_of(rates.begin(), rates.end(), isDsssRate);
    const bool ofdm = std::any_of(rates.begin(), rates.end(), isOfdmRate);
    bool on2GHz = dsss;
    if (bandGHz) {
        on2GHz = *bandGHz == 2;
    } else if (parsed.dsChannel && *parsed.dsChannel > 0) {
        on2GHz = *parsed.dsChannel <= 14;
    }
    QStringList modes;
    if (dsss) {
        modes << QStringLiteral("802.11b");
    }
    if (ofdm) {
        modes << (on2GHz ? QStringLiteral("802.11g") : QStringLiteral("802.11a"));
    }
    if (parsed.htCapabilities) {
        modes << QStringLiteral("802.11n");
    }
    if (parsed.vhtCapabilities && !on2GHz) {
        modes << QStringLiteral("802.11ac");
    }
    if (parsed.hasHeCapabilities()) {
        modes << QStringLiteral("802.11ax");
    }
    if (parsed.hasExtension(ie::kEhtCapabilities)) {
        modes << QStringLiteral("802.11be");
    }
    return modes;
}

bool isPasspoint(const ParsedElements& parsed) {
    return parsed.interworking.has_value() && parsed.hotspot20Indication;
}

}  // namespace platform::linuxwifi
