#include "platform/wifi/linux/Nl80211Radio.h"

#include "platform/wifi/linux/SsidText.h"

#include <linux/nl80211.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <set>

namespace platform::linuxwifi {

QString Nl80211DumpError::text() const {
    return QStringLiteral("%1: %2").arg(dump, error.text());
}

MemoryNl80211Source::MemoryNl80211Source(std::map<Nl80211Dump, QByteArray> dumps)
    : dumps_(std::move(dumps)) {}

std::optional<QByteArray> MemoryNl80211Source::dump(Nl80211Dump dump, std::optional<int>) {
    const auto found = dumps_.find(dump);
    if (found == dumps_.end()) {
        return std::nullopt;
    }
    return found->second;
}

namespace {

template <typename Decode>
auto decodeChecked(const QByteArray& bytes, const QString& name, Decode decode) {
    try {
        const NetlinkDump dump = readDump(bytes);
        return decode(dump);
    } catch (const NetlinkFormatError& error) {
        throw Nl80211DumpError{name, error};
    }
}

// The dump's records, or none when the source has no such dump or the kernel refused it.
template <typename Decode>
auto readRecords(Nl80211Source& source, Nl80211Dump which, std::optional<int> ifindex, Decode decode)
    -> std::optional<decltype(decode(std::declval<NetlinkDump>()))> {
    const auto bytes = source.dump(which, ifindex);
    if (!bytes) {
        return std::nullopt;
    }
    const QString name = nl80211DumpName(which);
    try {
        const NetlinkDump dump = readDump(*bytes);
        if (dump.error) {
            return std::nullopt;
        }
        return decode(dump);
    } catch (const NetlinkFormatError& error) {
        throw Nl80211DumpError{name, error};
    }
}

}  // namespace

void checkNl80211Dump(Nl80211Dump dump, const QByteArray& bytes, const QString& name) {
    decodeChecked(bytes, name, [dump](const NetlinkDump& read) {
        switch (dump) {
            case Nl80211Dump::Interface:
                return decodeInterfaces(read).size();
            case Nl80211Dump::Scan: {
                // The elements are read as the tests read them: the reader never fails on them.
                const auto scan = decodeScan(read);
                return scan.size();
            }
            case Nl80211Dump::Station:
                return decodeStations(read).size();
            case Nl80211Dump::Survey:
                return decodeSurvey(read).size();
            case Nl80211Dump::Regulatory:
                return decodeRegulatory(read).size();
            case Nl80211Dump::Wiphy:
                return decodeWiphys(read).size();
        }
        return std::size_t{0};
    });
}

const Nl80211Bss* RadioSnapshot::bss(const QByteArray& bssid) const {
    for (const Nl80211Bss& b : scan) {
        if (b.bssid == bssid) {
            return &b;
        }
    }
    return nullptr;
}

const Nl80211Bss* RadioSnapshot::joinedBss(const QByteArray& bssid) const {
    if (const Nl80211Bss* b = bss(bssid)) {
        return b;
    }
    for (const Nl80211Bss& b : scan) {
        if (b.associated()) {
            return &b;
        }
    }
    return nullptr;
}

const Nl80211Station* RadioSnapshot::station(const QByteArray& bssid) const {
    for (const Nl80211Station& s : stations) {
        if (s.mac == bssid) {
            return &s;
        }
    }
    return stations.size() == 1 ? &stations.front() : nullptr;
}

std::optional<int> RadioSnapshot::noiseAt(int frequency) const {
    std::optional<int> noise;
    for (const Nl80211Survey& s : survey) {
        if (s.frequency == frequency && s.noise) {
            if (s.inUse) {
                return s.noise;
            }
            noise = noise ? noise : s.noise;
        }
    }
    return noise;
}

std::optional<QByteArray> RadioSnapshot::regulatoryDomain() const {
    if (!regulatory) {
        return std::nullopt;
    }
    std::optional<QByteArray> global;
    for (const Nl80211Regulatory& domain : *regulatory) {
        // A wiphy's own entry rules it only when it is self-managed; otherwise the entry is its
        // driver's hint, and the device follows the global domain.
        if (domain.selfManaged && domain.wiphy && interface.wiphy && *domain.wiphy == *interface.wiphy) {
            return domain.alpha2;
        }
        if (!domain.wiphy && !global) {
            global = domain.alpha2;
        }
    }
    return global;
}

RadioSnapshot takeRadioSnapshot(Nl80211Source& source, const QString& interfaceName) {
    RadioSnapshot snapshot;
    const auto interfaces = readRecords(source, Nl80211Dump::Interface, std::nullopt, decodeInterfaces);
    if (!interfaces) {
        throw Nl80211Missing{QStringLiteral("nl80211 lists no interfaces (no GET_INTERFACE)")};
    }
    const auto found = std::find_if(interfaces->begin(), interfaces->end(),
                                    [&](const Nl80211Interface& i) { return i.name == interfaceName; });
    if (found == interfaces->end()) {
        throw Nl80211Missing{
            QStringLiteral("nl80211 does not list the Wi-Fi device %1 among its %2 interfaces")
                .arg(interfaceName)
                .arg(interfaces->size())};
    }
    snapshot.interface = *found;
    const int ifindex = found->ifindex;
    const auto ofInterface = [ifindex](auto records) {
        std::erase_if(records, [ifindex](const auto& r) { return r.ifindex != ifindex; });
        return records;
    };
    if (auto scan = readRecords(source, Nl80211Dump::Scan, ifindex, decodeScan)) {
        snapshot.scan = ofInterface(std::move(*scan));
        snapshot.scanRead = true;
    }
    if (auto stations = readRecords(source, Nl80211Dump::Station, ifindex, decodeStations)) {
        snapshot.stations = ofInterface(std::move(*stations));
    }
    if (auto survey = readRecords(source, Nl80211Dump::Survey, ifindex, decodeSurvey)) {
        snapshot.survey = ofInterface(std::move(*survey));
    }
    snapshot.regulatory = readRecords(source, Nl80211Dump::Regulatory, std::nullopt, decodeRegulatory);
    if (const auto wiphys = readRecords(source, Nl80211Dump::Wiphy, std::nullopt, decodeWiphys)) {
        for (const Nl80211Wiphy& wiphy : *wiphys) {
            if (found->wiphy && wiphy.index == *found->wiphy) {
                snapshot.wiphy = wiphy;
            }
        }
    }
    return snapshot;
}

BssElements::BssElements(const Nl80211Bss& bss) : frame(parseInformationElements(bss.informationElements)) {
    if (!bss.beaconElements.isEmpty() && bss.beaconElements != bss.informationElements) {
        beacon = parseInformationElements(bss.beaconElements);
    }
}

std::optional<int> BssElements::dtimPeriod() const {
    if (beacon && beacon->dtimPeriod) {
        return beacon->dtimPeriod;
    }
    return frame.dtimPeriod;
}

const std::optional<WpsElement>& BssElements::wps() const {
    return frame.wps || !beacon ? frame.wps : beacon->wps;
}

const std::optional<CountryInfo>& BssElements::country() const {
    return frame.country || !beacon ? frame.country : beacon->country;
}

std::optional<int> bandOfFrequency(int frequency) {
    if (frequency >= 2400 && frequency < 2500) {
        return 2;
    }
    if (frequency >= 5150 && frequency < 5925) {
        return 5;
    }
    if (frequency >= 5925 && frequency <= 7125) {
        return 6;
    }
    return std::nullopt;
}

std::optional<int> dtimPeriodOf(const Nl80211Station* station, const BssElements& elements) {
    // 0: the driver has not learnt it yet.
    if (station && station->dtimPeriod && *station->dtimPeriod > 0) {
        return station->dtimPeriod;
    }
    return elements.dtimPeriod();
}

namespace {

// The modes in rising order; a link runs at the rank of its mode.
int rankOf(const QString& mode) {
    static const QStringList kRising = {QStringLiteral("802.11b"),  QStringLiteral("802.11a"),
                                        QStringLiteral("802.11g"),  QStringLiteral("802.11n"),
                                        QStringLiteral("802.11ac"), QStringLiteral("802.11ax"),
                                        QStringLiteral("802.11be")};
    const qsizetype at = kRising.indexOf(mode);
    // 802.11a and 802.11g are the same generation.
    return at == 2 ? 1 : static_cast<int>(at);
}

}  // namespace

std::optional<QString> linkPhyMode(const Nl80211Station& station, std::optional<int> bandGHz) {
    if (!station.txBitrate && !station.rxBitrate) {
        return std::nullopt;
    }
    std::optional<QString> best;
    for (const auto& rate : {station.txBitrate, station.rxBitrate}) {
        if (!rate || (!rate->phyMode() && rate->bitrate100kbps.value_or(0) > 540)) {
            continue;
        }
        const QString mode =
            rate->phyMode().value_or(bandGHz == 2 ? QStringLiteral("802.11g") : QStringLiteral("802.11a"));
        if (!best || rankOf(mode) > rankOf(*best)) {
            best = mode;
        }
    }
    return best;
}

bool deviceOffers(const Nl80211Wiphy* wiphy, const QString& mode, std::optional<int> bandGHz) {
    if (!wiphy || !bandGHz) {
        return true;
    }
    const int band = *bandGHz == 2   ? NL80211_BAND_2GHZ
                     : *bandGHz == 5 ? NL80211_BAND_5GHZ
                                     : NL80211_BAND_6GHZ;
    const Nl80211Band* b = wiphy->band(band);
    if (!b) {
        return false;
    }
    if (mode == QLatin1String("802.11n")) {
        return b->htCapabilities.has_value();
    }
    if (mode == QLatin1String("802.11ac")) {
        return b->vhtCapabilities.has_value();
    }
    if (mode == QLatin1String("802.11ax")) {
        return b->he;
    }
    if (mode == QLatin1String("802.11be")) {
        return b->eht;
    }
    return true;
}

bool hasPhyModeConflict(const QString& mode, const QStringList& offered, const std::optional<QString>& link,
                        const Nl80211Wiphy* wiphy, std::optional<int> bandGHz) {
    const bool apOffers = offered.contains(mode);
    if (!link) {
        return mode == QLatin1String("802.11ac") && apOffers && !offered.contains(QStringLiteral("802.11n"));
    }
    if (apOffers && deviceOffers(wiphy, mode, bandGHz) && rankOf(*link) < rankOf(mode)) {
        return true;
    }
    return *link == mode && !apOffers;
}

std::optional<QString> baseStationModel(const BssElements& elements) {
    const auto& wps = elements.wps();
    if (!wps || (!wps->manufacturer && !wps->modelName)) {
        return std::nullopt;
    }
    QStringList parts;
    for (const auto& part : {wps->manufacturer, wps->modelName, wps->modelNumber}) {
        if (part) {
            // Trimmed before escaping too, so that a tab or newline at either end is left out rather
            // than shown as an escape; the NULs some access points pad their names with go too.
            QByteArray name = *part;
            while (name.endsWith('\0')) {
                name.chop(1);
            }
            const QString text = ssidText(name.trimmed()).trimmed();
            if (!text.isEmpty() && !parts.contains(text)) {
                parts.push_back(text);
            }
        }
    }
    if (parts.isEmpty()) {
        return std::nullopt;
    }
    return parts.join(u' ');
}

bool isHt40On24GHz(const std::optional<Nl80211Interface>& joinedInterface, const Nl80211Bss& bss,
                   const BssElements& elements) {
    if (!bss.frequency || bandOfFrequency(*bss.frequency) != 2) {
        return false;
    }
    if (joinedInterface && joinedInterface->channelWidth) {
        return *joinedInterface->channelWidth == NL80211_CHAN_WIDTH_40;
    }
    const auto& ht = elements.frame.htOperation;
    return ht && ht->staChannelWidthAny &&
           (ht->secondaryChannelOffset == 1 || ht->secondaryChannelOffset == 3);
}

CountryFinding countryFinding(const RadioSnapshot& snapshot) {
    const auto isCountry = [](const QByteArray& code) {
        return code.size() == 2 && code != "00" && code != "99" &&
               std::isalpha(static_cast<unsigned char>(code[0])) &&
               std::isalpha(static_cast<unsigned char>(code[1]));
    };
    std::set<QByteArray> announced;
    for (const Nl80211Bss& bss : snapshot.scan) {
        const BssElements elements(bss);
        if (const auto& country = elements.country(); country && isCountry(country->code.toUpper())) {
            announced.insert(country->code.toUpper());
        }
    }
    CountryFinding finding;
    finding.adopted = snapshot.regulatoryDomain();
    for (const QByteArray& code : announced) {
        finding.announced.push_back(QString::fromLatin1(code));
    }
    finding.conflicting = announced.size() > 1;
    if (finding.adopted && isCountry(*finding.adopted) && !announced.empty() &&
        !announced.contains(finding.adopted->toUpper())) {
        finding.conflicting = true;
    }
    return finding;
}

std::optional<bool> offersOnlyLegacyRates(const BssElements& elements, std::optional<int> bandGHz) {
    const ParsedElements& sent =
        elements.frame.supportedRates || !elements.beacon ? elements.frame : *elements.beacon;
    const std::vector<double> rates = ratesMbps(sent);
    if (rates.empty()) {
        return std::nullopt;
    }
    if (bandGHz != 2) {
        return false;
    }
    const auto isDsss = [](double rate) { return rate == 1.0 || rate == 2.0 || rate == 5.5 || rate == 11.0; };
    return std::all_of(rates.begin(), rates.end(), isDsss) && !sent.htCapabilities;
}

int dbmFromMbm(int mbm) {
    return static_cast<int>(std::lround(mbm / 100.0));
}

}  // namespace platform::linuxwifi
