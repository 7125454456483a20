#pragma once
// The answers of the six nl80211 dumps the radio tests read (GET_INTERFACE, GET_SCAN, GET_STATION,
// GET_SURVEY, GET_REG, GET_WIPHY), decoded from their netlink messages into plain records. Pure
// functions: a dump's bytes in, records out. An attribute the record does not need is not looked
// at; one it reads that is damaged (too short, a nested attribute past its parent) refuses the
// dump with NetlinkFormatError.

#include "platform/wifi/linux/Netlink.h"

#include <QByteArray>
#include <QString>

#include <cstdint>
#include <optional>
#include <vector>

namespace platform::linuxwifi {

// The six dumps, named as their files in a recording and their commands in nl80211.
enum class Nl80211Dump { Interface, Scan, Station, Survey, Regulatory, Wiphy };
inline constexpr Nl80211Dump kAllNl80211Dumps[] = {Nl80211Dump::Interface,  Nl80211Dump::Scan,
                                                   Nl80211Dump::Station,    Nl80211Dump::Survey,
                                                   Nl80211Dump::Regulatory, Nl80211Dump::Wiphy};
QString nl80211DumpName(Nl80211Dump dump);  // "GET_SCAN", ...
int nl80211Command(Nl80211Dump dump);       // NL80211_CMD_GET_SCAN, ...

// A network interface of a wiphy (GET_INTERFACE).
struct Nl80211Interface {
    int ifindex = 0;
    QString name;
    std::optional<int> wiphy;
    std::optional<int> frequency;         // MHz, while on a channel
    std::optional<int> channelWidth;      // enum nl80211_chan_width
    std::optional<int> centerFrequency1;  // MHz
};

// A BSS of the kernel's scan (GET_SCAN).
struct Nl80211Bss {
    int ifindex = 0;
    QByteArray bssid;  // six bytes
    std::optional<int> frequency;
    std::optional<int> beaconInterval;  // TU
    std::optional<int> capability;
    QByteArray informationElements;  // of the last frame heard, beacon or probe response
    QByteArray beaconElements;       // of the last beacon, where one was heard
    std::optional<int> signalMbm;    // 1/100 dBm
    std::optional<int> status;       // enum nl80211_bss_status
    bool fromProbeResponse = false;  // informationElements came from a probe response
    bool associated() const;
};

// A bit rate of a station (NL80211_STA_INFO_TX_BITRATE / RX_BITRATE).
struct Nl80211Bitrate {
    std::optional<int> bitrate100kbps;
    std::optional<int> mcs;     // HT
    std::optional<int> vhtMcs;  // VHT
    std::optional<int> heMcs;   // HE
    std::optional<int> ehtMcs;  // EHT
    int widthMHz = 20;          // from the width flags
    // The PHY mode the rate belongs to: "802.11be", "802.11ax", "802.11ac", "802.11n", or none for a
    // legacy rate.
    std::optional<QString> phyMode() const;
};

// The station the interface is joined to (GET_STATION).
struct Nl80211Station {
    int ifindex = 0;
    QByteArray mac;
    std::optional<int> signal;     // dBm
    std::optional<int> signalAvg;  // dBm
    std::optional<Nl80211Bitrate> txBitrate;
    std::optional<Nl80211Bitrate> rxBitrate;
    std::optional<int> dtimPeriod;      // the station's BSS parameters
    std::optional<int> beaconInterval;  // TU
};

// A channel's survey (GET_SURVEY).
struct Nl80211Survey {
    int ifindex = 0;
    std::optional<int> frequency;
    std::optional<int> noise;  // dBm; many drivers report none
    bool inUse = false;
};

// A regulatory domain (GET_REG): the global one, or a self-managed wiphy's own.
struct Nl80211Regulatory {
    QByteArray alpha2;  // "US", "00" for the world
    std::optional<int> wiphy;
    bool selfManaged = false;
};

// A band of a wiphy (GET_WIPHY) and the capabilities it offers.
struct Nl80211Band {
    int band = 0;  // enum nl80211_band
    std::optional<std::uint16_t> htCapabilities;
    std::optional<std::uint32_t> vhtCapabilities;
    bool he = false;
    bool eht = false;
};

struct Nl80211Wiphy {
    int index = 0;
    QString name;
    std::vector<Nl80211Band> bands;
    const Nl80211Band* band(int band) const;
};

// Decoders of a dump read with readDump. The dump's bytes must outlive nothing: records copy what
// they keep.
std::vector<Nl80211Interface> decodeInterfaces(const NetlinkDump& dump);
std::vector<Nl80211Bss> decodeScan(const NetlinkDump& dump);
std::vector<Nl80211Station> decodeStations(const NetlinkDump& dump);
std::vector<Nl80211Survey> decodeSurvey(const NetlinkDump& dump);
std::vector<Nl80211Regulatory> decodeRegulatory(const NetlinkDump& dump);
// A split dump sends a wiphy in several messages: they are merged by wiphy index.
std::vector<Nl80211Wiphy> decodeWiphys(const NetlinkDump& dump);

// A BSSID as text, "aa:bb:cc:dd:ee:ff".
QString bssidText(const QByteArray& bssid);
// The BSSID of text like "AA:BB:CC:DD:EE:FF", or empty when it is none.
QByteArray bssidFromText(const QString& text);

}  // namespace platform::linuxwifi
