#pragma once
// Made-up radios for tests, fuzz seeds and benchmarks: the information elements an access point
// sends, and a device's view of its radio as the six nl80211 dumps, laid out as the kernel sends
// them (every record a multi-part message, the wiphy split over several messages, NLMSG_DONE at
// the end). A fixture holds plain values; dumps() answers its bytes and writeTo() stores them as a
// recording that loadNl80211Recording reads back.

#include "platform/wifi/linux/NetlinkBuilder.h"
#include "platform/wifi/linux/Nl80211Records.h"

#include <QByteArray>
#include <QString>

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <vector>

namespace radiofixtures {

using platform::linuxwifi::Nl80211Dump;

// Information elements: ID, length, body.
QByteArray element(int id, const QByteArray& body);
QByteArray extensionElement(int extensionId, const QByteArray& body);
QByteArray vendorElement(std::uint32_t oui, int type, const QByteArray& body);

QByteArray ssidElement(const QByteArray& ssid);
// The rates as sent, in 500 kb/s units with the basic-rate bit (0x80): "82848b96" is 1, 2, 5.5 and 11
// Mb/s, all basic.
QByteArray supportedRatesElement(const QByteArray& hexRates);
QByteArray extendedRatesElement(const QByteArray& hexRates);
QByteArray dsParameterSetElement(int channel);
QByteArray timElement(int dtimPeriod, int dtimCount = 0);
// environment: ' ' any, 'O' outdoor, 'I' indoor, 'X' non-country. One subband triplet follows.
QByteArray countryElement(const QByteArray& code, char environment = ' ');
QByteArray htCapabilitiesElement(std::uint16_t info);
// secondaryOffset: 0 none, 1 above, 3 below; anyWidth: the STA Channel Width bit.
QByteArray htOperationElement(int primaryChannel, int secondaryOffset, bool anyWidth);
QByteArray vhtCapabilitiesElement(std::uint32_t info);
// channelWidth: 0 for 20 or 40 MHz, 1 for 80 MHz and wider.
QByteArray vhtOperationElement(int channelWidth, int centerSegment0, int centerSegment1 = 0);
QByteArray heCapabilitiesElement();
QByteArray heOperationElement();
QByteArray ehtCapabilitiesElement();
// RSN with CCMP as group and pairwise cipher and the given AKM suites (00:0f:ac types: 2 PSK,
// 8 SAE, 1 802.1X); capabilities 0x00c0 is management frame protection required and capable.
QByteArray rsnElement(const std::vector<int>& akmTypes = {2}, std::uint16_t capabilities = 0);
// One WPS attribute: big-endian type and length, then the value.
QByteArray wpsAttribute(int type, const QByteArray& value);
struct WpsFixture {
    std::optional<QByteArray> manufacturer;
    std::optional<QByteArray> modelName;
    std::optional<QByteArray> modelNumber;
    std::optional<QByteArray> deviceName;
};
// The WPS vendor element: WPS version 1.0, Wi-Fi Protected Setup State configured, then the names
// that are given.
QByteArray wpsElement(const WpsFixture& names);
QByteArray interworkingElement(int accessNetworkType, bool internet);
QByteArray hotspot20Element();

// A network interface besides the fixture's own, on any wiphy.
struct OtherInterfaceFixture {
    QString name;
    int ifindex = 0;
    int wiphy = 0;
};

struct BssFixture {
    QString bssid;  // "aa:bb:cc:dd:ee:ff"
    int frequency = 2437;
    int beaconInterval = 100;
    int capability = 0x0411;  // ESS, privacy, short slot time
    QByteArray informationElements;
    QByteArray beaconElements;  // empty: no beacon heard, the attribute is left out
    int signalMbm = -5500;
    bool associated = false;
    bool fromProbeResponse = false;
    std::optional<int> ifindex;  // none: the fixture's interface
};

struct BitrateFixture {
    std::optional<int> bitrate100kbps;
    std::optional<int> mcs;  // HT
    std::optional<int> vhtMcs;
    std::optional<int> heMcs;
    std::optional<int> ehtMcs;
    int widthMHz = 20;  // 5, 10, 20, 40, 80, 160 or 320; sent as the width flag
};

struct StationFixture {
    QString mac;  // "aa:bb:cc:dd:ee:ff"
    std::optional<int> signal;
    std::optional<int> signalAvg;
    std::optional<BitrateFixture> txBitrate;
    std::optional<BitrateFixture> rxBitrate;
    std::optional<int> dtimPeriod;  // with beaconInterval, the BSS parameters; both none leaves them out
    std::optional<int> beaconInterval;
    std::optional<int> ifindex;  // none: the fixture's interface
};

struct SurveyFixture {
    int frequency = 2437;
    std::optional<int> noise;
    bool inUse = false;
    std::optional<int> ifindex;  // none: the fixture's interface
};

struct RegulatoryFixture {
    QByteArray alpha2;  // "US", "00" for the world
    std::optional<int> wiphy;
    bool selfManaged = false;
};

struct BandFixture {
    int band = 0;  // enum nl80211_band
    std::optional<std::uint16_t> htCapabilities;
    std::optional<std::uint32_t> vhtCapabilities;
    bool he = false;
    bool eht = false;
};

// One device: its interface, the scan, the station it is joined to, the survey, the regulatory
// domains and its wiphy's bands. The defaults are a device on channel 6 with nothing around it.
struct RadioFixture {
    QString interfaceName = QStringLiteral("wlan0");
    int ifindex = 3;
    int wiphy = 0;
    std::optional<int> frequency = 2437;
    std::optional<int> channelWidth;  // enum nl80211_chan_width
    std::optional<int> centerFrequency1;
    std::vector<OtherInterfaceFixture> otherInterfaces;
    std::vector<BssFixture> bsses;
    std::optional<StationFixture> station;
    std::vector<SurveyFixture> survey;
    std::vector<RegulatoryFixture> regulatory = {{"US", std::nullopt, false}};
    std::vector<BandFixture> bands;
    std::set<Nl80211Dump> leftOut;        // dumps neither answered nor written
    std::map<Nl80211Dump, int> refusals;  // dumps the kernel refuses with this errno (positive)

    // Each dump's bytes, as read from the socket.
    std::map<Nl80211Dump, QByteArray> dumps() const;
    // One file per dump, named as nl80211DumpName says, in dir (created when missing). Throws
    // std::runtime_error when a file cannot be written.
    void writeTo(const QString& dir) const;
};

// The family ID the fixtures' messages carry (the kernel hands one out at boot).
inline constexpr std::uint16_t kFixtureFamily = 0x1c;

// One record's message, appended to a dump being built, for tests that lay out dumps of their own.
void addInterface(platform::linuxwifi::NetlinkBuilder& dump, const QString& name, int ifindex, int wiphy);
void addBss(platform::linuxwifi::NetlinkBuilder& dump, const BssFixture& bss, int ifindex);
void addStation(platform::linuxwifi::NetlinkBuilder& dump, const StationFixture& station, int ifindex);

// A dump the kernel refused at its start: one NLMSG_ERROR carrying -error.
QByteArray refusedDump(int error);

}  // namespace radiofixtures
