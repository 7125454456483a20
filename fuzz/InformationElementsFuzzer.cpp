// Fuzzes the information-element reader (parseInformationElements) with any bytes, as nl80211
// would hand over an access point's elements. The element list must be the input's elements laid
// end to end from byte 0; a cut at the end is reported exactly once; every problem names an element
// and its byte offset; each decoded field comes from the first element of its kind and is present
// only when that element is long enough; the WPS attributes fit in the WPS data; the helpers
// (rates, PHY modes, Passpoint, Extended Capabilities bits) answer without reading past anything.
#include "fuzz/FuzzSupport.h"
#include "platform/wifi/linux/InformationElements.h"

#include <QRegularExpression>

#include <cstddef>
#include <cstdint>
#include <set>

using fuzzsupport::excerpt;
using fuzzsupport::require;
using namespace platform::linuxwifi;

namespace {

const InformationElement* firstOf(const ParsedElements& p, int id) {
    for (const InformationElement& e : p.elements) {
        if (e.id == id) {
            return &e;
        }
    }
    return nullptr;
}

// Present exactly when the first element of id exists with at least minimum bytes.
template <typename T>
void requireDecodedFrom(const ParsedElements& p, int id, qsizetype minimum, const std::optional<T>& field,
                        const char* what, const QString& context) {
    const InformationElement* e = firstOf(p, id);
    require(field.has_value() == (e != nullptr && e->body.size() >= minimum), what, context);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    fuzzsupport::startQt();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const QByteArray input(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const ParsedElements p = parseInformationElements(input);
    const QString context = p.problems.join(QLatin1Char('\n')) + QStringLiteral("\ninput: ") + excerpt(input);

    // The elements, laid end to end, are the input up to where reading stopped.
    QByteArray rebuilt;
    for (const InformationElement& e : p.elements) {
        require(e.offset == rebuilt.size(), "each element starts where the previous one ended", context);
        require(e.id >= 0 && e.id <= 255 && e.body.size() <= 255, "element ID and length fit in a byte",
                context);
        require(e.extensionId.has_value() == (e.id == ie::kExtension && !e.body.isEmpty()),
                "an extension ID exactly for a non-empty element 255", context);
        require(!e.extensionId || *e.extensionId == static_cast<std::uint8_t>(e.body.at(0)),
                "the extension ID is the first body byte", context);
        rebuilt.append(static_cast<char>(e.id));
        rebuilt.append(static_cast<char>(e.body.size()));
        rebuilt.append(e.body);
    }
    require(input.startsWith(rebuilt), "the element list is the input's own bytes", context);
    const bool cut = rebuilt.size() < input.size();
    qsizetype endProblems = 0;
    static const QRegularExpression problemForm(
        QStringLiteral("^element ([0-9]+) \\([^)]+\\) at byte ([0-9]+): .+"));
    for (const QString& problem : p.problems) {
        const QRegularExpressionMatch m = problemForm.match(problem);
        require(m.hasMatch(), "each problem names an element and its byte offset", context);
        require(m.captured(2).toLongLong() < input.size(), "a problem's offset is inside the input", context);
        if (problem.endsWith(QStringLiteral("reading stops here")) ||
            problem.endsWith(QStringLiteral("length byte missing at the end of the elements"))) {
            ++endProblems;
            require(m.captured(2).toLongLong() == rebuilt.size(), "the cut is reported where reading stopped",
                    context);
        }
    }
    require(endProblems == (cut ? 1 : 0), "a cut at the end is reported exactly once", context);

    // Fields come from the first element of their kind.
    const InformationElement* ssid = firstOf(p, ie::kSsid);
    require(p.ssid.has_value() == (ssid != nullptr) && (!ssid || *p.ssid == ssid->body),
            "the SSID is the first SSID element's body", context);
    const InformationElement* rates = firstOf(p, ie::kSupportedRates);
    require(
        p.supportedRates.has_value() == (rates != nullptr) && (!rates || *p.supportedRates == rates->body),
        "the rates are the first rates element's body", context);
    requireDecodedFrom(p, ie::kDsParameterSet, 1, p.dsChannel, "DS Parameter Set decoded when long enough",
                       context);
    requireDecodedFrom(p, ie::kTim, 4, p.dtimPeriod, "TIM decoded when long enough", context);
    requireDecodedFrom(p, ie::kCountry, 3, p.country, "Country decoded when long enough", context);
    requireDecodedFrom(p, ie::kHtCapabilities, 26, p.htCapabilities,
                       "HT Capabilities decoded when long enough", context);
    requireDecodedFrom(p, ie::kHtOperation, 22, p.htOperation, "HT Operation decoded when long enough",
                       context);
    requireDecodedFrom(p, ie::kVhtCapabilities, 12, p.vhtCapabilities,
                       "VHT Capabilities decoded when long enough", context);
    requireDecodedFrom(p, ie::kVhtOperation, 5, p.vhtOperation, "VHT Operation decoded when long enough",
                       context);
    requireDecodedFrom(p, ie::kRsn, 2, p.rsn, "RSN decoded when long enough", context);
    requireDecodedFrom(p, ie::kInterworking, 1, p.interworking, "Interworking decoded when long enough",
                       context);
    if (p.htOperation) {
        const int offset = p.htOperation->secondaryChannelOffset;
        require(offset >= 0 && offset <= 3, "the secondary channel offset is two bits", context);
    }
    if (p.interworking) {
        require(p.interworking->accessNetworkType >= 0 && p.interworking->accessNetworkType <= 15,
                "the access network type is four bits", context);
    }
    for (const std::optional<SecurityElement>* s : {&p.rsn, &p.wpa}) {
        if (*s) {
            require((*s)->version >= 0 && (*s)->version <= 0xffff, "the version is a u16", context);
            const qsizetype suites = qsizetype((*s)->pairwiseCiphers.size() + (*s)->akmSuites.size());
            require(suites * 4 <= input.size(), "no more suites than the input holds", context);
        }
    }
    if (p.wps) {
        qsizetype bytes = 0;
        for (const WpsAttribute& a : p.wps->attributes) {
            bytes += 4 + a.value.size();
        }
        require(bytes <= input.size(), "the WPS attributes fit in the input", context);
    }

    // The helpers.
    for (const double rate : ratesMbps(p)) {
        require(rate >= 0.0 && rate <= 63.5, "a rate is at most 127 half Mb/s", context);
    }
    static const std::set<QString> known{"802.11a",  "802.11b",  "802.11g", "802.11n",
                                         "802.11ac", "802.11ax", "802.11be"};
    for (const std::optional<int> band :
         {std::optional<int>(), std::optional<int>(2), std::optional<int>(5)}) {
        const QStringList modes = phyModesOffered(p, band);
        require(std::set<QString>(modes.begin(), modes.end()).size() == std::size_t(modes.size()),
                "no PHY mode twice", context);
        for (const QString& mode : modes) {
            require(known.count(mode) == 1, "only known PHY modes", context);
        }
    }
    require(isPasspoint(p) == (p.interworking.has_value() && p.hotspot20Indication),
            "Passpoint is Interworking with the Hotspot 2.0 indication", context);
    const qsizetype capabilityBits = p.extendedCapabilities ? p.extendedCapabilities->size() * 8 : 0;
    require(!hasExtendedCapability(p, int(capabilityBits)) && !hasExtendedCapability(p, -1),
            "no Extended Capabilities bit outside the element", context);
    for (qsizetype bit = 0; bit < capabilityBits; ++bit) {
        const bool set = (static_cast<std::uint8_t>(p.extendedCapabilities->at(bit / 8)) >> (bit % 8)) & 1;
        require(hasExtendedCapability(p, int(bit)) == set, "Extended Capabilities bits read in order",
                context);
    }

    // The same bytes read the same way again.
    const ParsedElements again = parseInformationElements(input);
    require(again.elements == p.elements && again.problems == p.problems, "reading is deterministic",
            context);
    return 0;
}
