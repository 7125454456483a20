#pragma once
// The kernel's view of the Wi-Fi device's radio, from the six nl80211 dumps, and the radio tests'
// findings read from it. A source hands over the dumps' bytes (the kernel, or a recording); a
// snapshot is the device's part of them; the findings are pure functions of a snapshot.

#include "platform/wifi/linux/InformationElements.h"
#include "platform/wifi/linux/Nl80211Records.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <map>
#include <optional>
#include <vector>

namespace platform::linuxwifi {

// There is no nl80211 to read (the kernel offers no such family), or it does not know the device.
struct Nl80211Missing {
    QString why;
};

// A dump whose bytes are not a well-formed answer: which dump (a file's path, for a recording) and
// what is wrong where.
struct Nl80211DumpError {
    QString dump;
    NetlinkFormatError error;
    QString text() const;  // "<dump>: byte <offset>: <why>"
};

// Where the dumps come from.
class Nl80211Source {
  public:
    virtual ~Nl80211Source() = default;
    // The bytes of a dump, for the interface ifindex where the dump takes one; none when the source
    // has no such dump (a kernel that refuses it, a recording without its file). Throws
    // Nl80211Missing when there is no nl80211 at all, Nl80211DumpError when the answer is damaged.
    virtual std::optional<QByteArray> dump(Nl80211Dump dump, std::optional<int> ifindex) = 0;
};

// Dumps held in memory: a recording read from its files, or dumps the tests make up.
class MemoryNl80211Source final : public Nl80211Source {
  public:
    explicit MemoryNl80211Source(std::map<Nl80211Dump, QByteArray> dumps);
    std::optional<QByteArray> dump(Nl80211Dump dump, std::optional<int> ifindex) override;

  private:
    std::map<Nl80211Dump, QByteArray> dumps_;
};

// Reads a dump's bytes into its records' kind, checking all of it: refuses with Nl80211DumpError
// naming name.
void checkNl80211Dump(Nl80211Dump dump, const QByteArray& bytes, const QString& name);

// The device's part of the dumps.
struct RadioSnapshot {
    Nl80211Interface interface;
    std::vector<Nl80211Bss> scan;
    bool scanRead = false;  // the kernel answered GET_SCAN (an empty scan is no unanswered one)
    std::vector<Nl80211Station> stations;
    std::vector<Nl80211Survey> survey;
    std::optional<std::vector<Nl80211Regulatory>> regulatory;  // none: no GET_REG to read
    std::optional<Nl80211Wiphy> wiphy;

    const Nl80211Bss* bss(const QByteArray& bssid) const;
    // The joined BSS: the one of bssid (NetworkManager's active access point) when the kernel's scan
    // holds it, else the one whose status is associated.
    const Nl80211Bss* joinedBss(const QByteArray& bssid) const;
    // The station of the joined BSS: the one whose address is bssid, else the interface's only one.
    const Nl80211Station* station(const QByteArray& bssid) const;
    // The noise of a channel, where the driver reports one.
    std::optional<int> noiseAt(int frequency) const;
    // The country the device's regulation follows: its wiphy's own when self-managed, else the
    // global one.
    std::optional<QByteArray> regulatoryDomain() const;
};

// Takes the dumps from source and keeps the device's part: the interface named interfaceName and
// what the other dumps say of it. Throws Nl80211Missing when nl80211 is missing or does not list the
// interface, Nl80211DumpError for a damaged answer.
RadioSnapshot takeRadioSnapshot(Nl80211Source& source, const QString& interfaceName);

// The elements a BSS sent: those of its last frame, and of its last beacon when that was another
// frame (only beacons carry the TIM; probe responses carry the fuller WPS element).
struct BssElements {
    ParsedElements frame;
    std::optional<ParsedElements> beacon;
    explicit BssElements(const Nl80211Bss& bss);
    std::optional<int> dtimPeriod() const;
    const std::optional<WpsElement>& wps() const;
    const std::optional<CountryInfo>& country() const;
};

// The band of a frequency in GHz (2, 5 or 6), or none.
std::optional<int> bandOfFrequency(int frequency);

// The access point's DTIM period: the station's BSS parameters for the joined one, else its beacon's
// TIM.
std::optional<int> dtimPeriodOf(const Nl80211Station* station, const BssElements& elements);

// The PHY mode of the joined link: the higher of its transmit and receive rates' modes, "802.11g"
// or "802.11a" (by band) for legacy rates, none when the station reports no rate. A rate without
// MCS fields above 54 Mb/s tells no mode (full-MAC drivers report HT and VHT links so): it is
// left out.
std::optional<QString> linkPhyMode(const Nl80211Station& station, std::optional<int> bandGHz);

// A PHY mode conflict around a mode ("802.11ac" or "802.11n"): the access point offers it and the
// device can use it on the band, yet the joined link runs below it; or the link runs it although
// the access point does not offer it. A network not joined (no link) conflicts only when its
// access point offers the mode without the one below it (802.11ac without 802.11n).
bool hasPhyModeConflict(const QString& mode, const QStringList& offered, const std::optional<QString>& link,
                        const Nl80211Wiphy* wiphy, std::optional<int> bandGHz);

// The device can use mode on the band, by its wiphy's capabilities; true when they are unknown.
bool deviceOffers(const Nl80211Wiphy* wiphy, const QString& mode, std::optional<int> bandGHz);

// "maker model number" from the WPS element's manufacturer, model name and model number (the parts
// it has, trimmed, invalid UTF-8 shown escaped); none when it names neither maker nor model.
std::optional<QString> baseStationModel(const BssElements& elements);

// A 40 MHz-wide 2.4 GHz link: the interface's channel width for the joined link, else the access
// point's HT Operation (a secondary channel, any width allowed).
bool isHt40On24GHz(const std::optional<Nl80211Interface>& joinedInterface, const Nl80211Bss& bss,
                   const BssElements& elements);

// The countries of the scan: whether access points announce different ones, or one other than the
// regulatory domain (the world domain "00" and the unset "99" are no country), and the country the
// device adopted.
struct CountryFinding {
    bool conflicting = false;
    std::optional<QByteArray> adopted;
    QStringList announced;  // the different countries announced, sorted
};
CountryFinding countryFinding(const RadioSnapshot& snapshot);

// 802.11b rates only (test 41): a 2.4 GHz access point whose rates elements offer nothing but 1, 2,
// 5.5 and 11 Mb/s, and no HT Capabilities. False off 2.4 GHz; none when it sent no rates.
std::optional<bool> offersOnlyLegacyRates(const BssElements& elements, std::optional<int> bandGHz);

// A signal in mBm rounded to whole dBm.
int dbmFromMbm(int mbm);

}  // namespace platform::linuxwifi
