#pragma once
// The information elements of a beacon or probe response (what nl80211 hands over as
// NL80211_BSS_INFORMATION_ELEMENTS / NL80211_BSS_BEACON_IES: element ID, length, body, repeated),
// read into the fields the radio tests need. Pure functions: bytes in, fields out.
//
// The reader never reads past the buffer and never gives up on a whole frame for one bad element:
//   - An element whose length runs past the end of the bytes (or a lone trailing ID byte) ends the
//     reading there; the elements before it are kept.
//   - A known element whose body is shorter than the fields read from it is kept in the element
//     list, but none of its fields are decoded (the RSN and WPA elements keep the fields that were
//     complete before the cut).
//   - An element that must appear once (SSID, rates, DS Parameter Set, TIM, Country, HT and VHT
//     Capabilities and Operation, RSN, Interworking, Extended Capabilities, the WPA element) is
//     decoded from its first appearance; later ones are listed but not decoded.
// Each of these is reported in ParsedElements::problems as "element <id> (<name>) at byte <offset>:
// <why>", the offset being that of the element's ID byte.

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <cstdint>
#include <optional>
#include <vector>

namespace platform::linuxwifi {

// Element IDs.
namespace ie {
constexpr int kSsid = 0;
constexpr int kSupportedRates = 1;
constexpr int kDsParameterSet = 3;
constexpr int kTim = 5;
constexpr int kCountry = 7;
constexpr int kHtCapabilities = 45;
constexpr int kRsn = 48;
constexpr int kExtendedSupportedRates = 50;
constexpr int kHtOperation = 61;
constexpr int kInterworking = 107;
constexpr int kExtendedCapabilities = 127;
constexpr int kVhtCapabilities = 191;
constexpr int kVhtOperation = 192;
constexpr int kVendorSpecific = 221;
constexpr int kExtension = 255;
// Extension IDs (the first body byte of element 255).
constexpr int kHeCapabilities = 35;
constexpr int kHeOperation = 36;
constexpr int kEhtCapabilities = 108;
}  // namespace ie

// Organisation identifiers, as 24-bit numbers (00:0f:ac is 0x000fac).
constexpr std::uint32_t kOuiIeee80211 = 0x000fac;     // RSN suites
constexpr std::uint32_t kOuiMicrosoft = 0x0050f2;     // WPA (type 1) and WPS (type 4) elements
constexpr std::uint32_t kOuiWiFiAlliance = 0x506f9a;  // Hotspot 2.0 indication (type 0x10)

// One element as found: its ID, the extension ID when the ID is 255 (absent when the extension
// element has no body), the byte offset of its ID byte in the buffer, and its body.
struct InformationElement {
    int id = 0;
    std::optional<int> extensionId;
    qsizetype offset = 0;
    QByteArray body;
    bool operator==(const InformationElement&) const = default;
};

// A cipher or AKM suite: OUI and type (00:0f:ac:4 is CCMP in a cipher list, PSK-SHA256 is
// 00:0f:ac:6 in an AKM list).
struct Suite {
    std::uint32_t oui = 0;
    int type = 0;
    bool operator==(const Suite&) const = default;
};

// The RSN element (48), or the WPA vendor element (00:50:f2 type 1) read the same way. Every field
// after the version may be left out by the access point (the standard lets the element end after
// any whole field); what it left out is absent or empty.
struct SecurityElement {
    int version = 0;
    std::optional<Suite> groupCipher;
    std::vector<Suite> pairwiseCiphers;
    std::vector<Suite> akmSuites;
    std::optional<std::uint16_t> capabilities;  // RSN Capabilities (little-endian u16)
    bool mfpRequired() const { return capabilities && (*capabilities & 0x0040) != 0; }  // bit 6
    bool mfpCapable() const { return capabilities && (*capabilities & 0x0080) != 0; }   // bit 7
};

// One WPS attribute: type and value (the TLVs' type and length are big-endian u16).
struct WpsAttribute {
    int type = 0;
    QByteArray value;
    bool operator==(const WpsAttribute&) const = default;
};

// The WPS vendor element(s) (00:50:f2 type 4). A WPS body split over several vendor elements is
// joined in order before its attributes are read.
struct WpsElement {
    std::vector<WpsAttribute> attributes;
    std::optional<QByteArray> manufacturer;  // 0x1021
    std::optional<QByteArray> modelName;     // 0x1023
    std::optional<QByteArray> modelNumber;   // 0x1024
    std::optional<QByteArray> deviceName;    // 0x1011
};

namespace wps {
constexpr int kDeviceName = 0x1011;
constexpr int kManufacturer = 0x1021;
constexpr int kModelName = 0x1023;
constexpr int kModelNumber = 0x1024;
}  // namespace wps

struct HtOperation {
    int primaryChannel = 0;
    int secondaryChannelOffset = 0;   // 0 none, 1 above, 3 below (2 is reserved)
    bool staChannelWidthAny = false;  // 1: any width the HT Capabilities allow; 0: 20 MHz only
};

struct VhtOperation {
    int channelWidth = 0;  // 0: 20 or 40 MHz, 1: 80, 160 or 80+80 MHz, 2 and 3: deprecated forms
    int centerSegment0 = 0;
    int centerSegment1 = 0;
};

struct CountryInfo {
    QByteArray code;      // the two letters, as sent
    int environment = 0;  // third byte: 0x20 any, 0x4f outdoor, 0x49 indoor, 0x58 non-country
};

struct Interworking {
    int accessNetworkType = 0;  // low 4 bits of the first byte
    bool internet = false;      // bit 4 of the first byte
};

struct ParsedElements {
    std::vector<InformationElement> elements;  // every element, in order, repeated ones too
    QStringList problems;

    std::optional<QByteArray> ssid;                // raw bytes: not necessarily UTF-8
    std::optional<QByteArray> supportedRates;      // raw bytes, basic bit (0x80) kept
    std::optional<QByteArray> extendedRates;       // raw bytes, basic bit (0x80) kept
    std::optional<int> dsChannel;                  // DS Parameter Set
    std::optional<int> dtimPeriod;                 // TIM
    std::optional<CountryInfo> country;            // needs code and environment (3 bytes)
    std::optional<std::uint16_t> htCapabilities;   // HT Capabilities Info (26-byte element)
    std::optional<HtOperation> htOperation;        // 22-byte element
    std::optional<std::uint32_t> vhtCapabilities;  // VHT Capabilities Info (12-byte element)
    std::optional<VhtOperation> vhtOperation;      // 5-byte element
    std::vector<int> extensionIds;                 // extension IDs of element 255, in order
    std::optional<SecurityElement> rsn;
    std::optional<SecurityElement> wpa;
    std::optional<WpsElement> wps;
    std::optional<Interworking> interworking;
    bool hotspot20Indication = false;                // 50:6f:9a type 0x10
    std::optional<QByteArray> extendedCapabilities;  // raw bytes

    bool hasExtension(int extensionId) const;
    bool hasHeCapabilities() const { return hasExtension(ie::kHeCapabilities); }
    bool hasHeOperation() const { return hasExtension(ie::kHeOperation); }
};

// Reads every element of bytes. Never fails: what it could not read is in problems.
ParsedElements parseInformationElements(const QByteArray& bytes);

// A rate byte of the rates elements: the basic-rate bit (0x80), and the rate in Mb/s (the low seven
// bits times 0.5). BSS membership selectors (0xff HT, 0xfe VHT, 0xfb SAE hash-to-element only,
// 0xfa HE, 0xf9 EHT) are no rate: absent.
bool isBasicRate(std::uint8_t rate);
std::optional<double> rateMbps(std::uint8_t rate);
// The rates of both elements in Mb/s, in the order sent, selectors left out.
std::vector<double> ratesMbps(const ParsedElements& parsed);

// Bit n of the Extended Capabilities (bit n % 8 of byte n / 8); false when the element is absent
// or shorter. Bit 31 is Interworking, bit 19 BSS Transition.
bool hasExtendedCapability(const ParsedElements& parsed, int bit);

// The PHY modes the access point offers, in the strings of SupportedPHYModes, in this order:
//   "802.11b"  a DSSS/CCK rate (1, 2, 5.5 or 11 Mb/s) is offered;
//   "802.11a"  an OFDM rate (6 to 54 Mb/s) is offered outside 2.4 GHz;
//   "802.11g"  an OFDM rate is offered on 2.4 GHz;
//   "802.11n"  HT Capabilities are present;
//   "802.11ac" VHT Capabilities are present outside 2.4 GHz (some 2.4 GHz access points send
//              VHT Capabilities as a vendor extension; that is not 802.11ac);
//   "802.11ax" HE Capabilities are present;
//   "802.11be" EHT Capabilities are present.
// The band is bandGHz (2, 5 or 6) when given, else 2.4 GHz when the DS Parameter Set's channel is
// 1 to 14 and 5 GHz when it is higher; with neither, 2.4 GHz when a DSSS/CCK rate is offered (only
// 2.4 GHz has them), else not 2.4 GHz.
QStringList phyModesOffered(const ParsedElements& parsed, std::optional<int> bandGHz = std::nullopt);

// Passpoint: the access point sends an Interworking element and the Hotspot 2.0 indication.
bool isPasspoint(const ParsedElements& parsed);

// The name of a known element ID ("SSID", "RSN", ...), or "unknown" for others.
QString elementName(int id);

}  // namespace platform::linuxwifi
