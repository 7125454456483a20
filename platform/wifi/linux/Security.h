#pragma once
// The security type of a Wi-Fi network, from what NetworkManager reports of an access point and
// from a saved connection's settings, and the security verdicts of the diagnostic's tests.

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <cstdint>
#include <optional>
#include <vector>

namespace platform::linuxwifi {

// The security coding shared by the "Security" detail and NetworkProfile.security.
enum class SecurityType : std::int64_t {
    Open = 0,
    Wep = 1,           // static or dynamic WEP
    Wpa = 2,           // WPA (TKIP): the WPA1 protocol, or TKIP as the only pairwise cipher
    Wpa2Personal = 3,  // WPA2 with a pre-shared key
    Wpa3Personal = 4,  // SAE
    Enterprise = 5,    // WPA2 or WPA3 with 802.1X (EAP), Suite-B 192 included
    Owe = 6,           // Opportunistic Wireless Encryption
};

// NetworkManager's NM80211ApFlags (AccessPoint.Flags). Only the privacy bit says anything about
// encryption; the WPS bits (0x2, 0x4, 0x8) are ignored here.
namespace apflags {
constexpr std::uint32_t kPrivacy = 0x1;
}  // namespace apflags

// NetworkManager's NM80211ApSecurityFlags (AccessPoint.WpaFlags and AccessPoint.RsnFlags).
namespace apsecurity {
constexpr std::uint32_t kPairWep40 = 0x1;
constexpr std::uint32_t kPairWep104 = 0x2;
constexpr std::uint32_t kPairTkip = 0x4;
constexpr std::uint32_t kPairCcmp = 0x8;
constexpr std::uint32_t kGroupWep40 = 0x10;
constexpr std::uint32_t kGroupWep104 = 0x20;
constexpr std::uint32_t kGroupTkip = 0x40;
constexpr std::uint32_t kGroupCcmp = 0x80;
constexpr std::uint32_t kKeyMgmtPsk = 0x100;
constexpr std::uint32_t kKeyMgmt8021X = 0x200;
constexpr std::uint32_t kKeyMgmtSae = 0x400;
constexpr std::uint32_t kKeyMgmtOwe = 0x800;
constexpr std::uint32_t kKeyMgmtOweTransition = 0x1000;
constexpr std::uint32_t kKeyMgmtEapSuiteB192 = 0x2000;
constexpr std::uint32_t kPairwiseCiphers = kPairWep40 | kPairWep104 | kPairTkip | kPairCcmp;
}  // namespace apsecurity

// The three security properties of a NetworkManager AccessPoint object.
struct AccessPointSecurityFlags {
    std::uint32_t flags = 0;     // Flags (NM80211ApFlags)
    std::uint32_t wpaFlags = 0;  // WpaFlags: the WPA1 information element
    std::uint32_t rsnFlags = 0;  // RsnFlags: the RSN (WPA2/WPA3) information element
};

// The security type of an access point. WPA and RSN flags are read together, and the strongest
// way in that the access point offers decides, in this order:
//   1. 802.1X or Suite-B 192 key management: Enterprise;
//   2. SAE: WPA3-Personal (also in WPA2/WPA3 transition mode, where PSK is offered as well);
//   3. PSK: WPA (TKIP) when the legacy WPA verdict below holds, else WPA2-Personal;
//   4. OWE, or OWE transition mode (the open half of an OWE pair): OWE;
//   5. no WPA/RSN flags at all: WEP when the privacy bit is set, else Open.
// Absent, with the reason in *problem when given, when WPA/RSN flags are present but name none of
// these key managements: the type cannot be told, and no type is made up.
std::optional<SecurityType> securityOfAccessPoint(const AccessPointSecurityFlags& ap,
                                                  QString* problem = nullptr);

// Test 38: the access point is open: no privacy bit, no WPA flags, no RSN flags.
bool isOpenAccessPoint(const AccessPointSecurityFlags& ap);

// Test 39: the access point uses WEP: the privacy bit with no WPA and no RSN flags.
bool isWepAccessPoint(const AccessPointSecurityFlags& ap);

// Test 40: the access point uses legacy WPA: WPA flags without RSN flags (WPA1 only), or TKIP as
// the only pairwise cipher that the WPA and RSN flags together announce.
bool isLegacyWpaAccessPoint(const AccessPointSecurityFlags& ap);

// The part of a saved connection's settings that tells its security type.
struct SavedSecuritySettings {
    // 802-11-wireless-security.key-mgmt; absent when the connection has no security setting.
    std::optional<QString> keyMgmt;
    QStringList proto;     // 802-11-wireless-security.proto: "wpa", "rsn"; empty allows both
    QStringList pairwise;  // 802-11-wireless-security.pairwise: "tkip", "ccmp"; empty allows all
};

// The security type of a saved connection, from its key-mgmt value (compared case-insensitively):
//   absent: Open; "none" (static WEP) and "ieee8021x" (dynamic WEP): WEP;
//   "wpa-psk": WPA (TKIP) when proto is "wpa" only or pairwise is "tkip" only, else
//   WPA2-Personal (an empty list allows every value, so WPA2 is what gets used);
//   "sae": WPA3-Personal; "wpa-eap" and "wpa-eap-suite-b-192": Enterprise; "owe": OWE.
// Other proto and pairwise values only mean "not WPA/TKIP only". Absent, with the reason in
// *problem when given, for an empty or unknown key-mgmt value.
std::optional<SecurityType> securityOfSavedConnection(const SavedSecuritySettings& settings,
                                                      QString* problem = nullptr);

// One saved Wi-Fi connection: its SSID and its security type.
struct SavedNetworkSecurity {
    QByteArray ssid;
    SecurityType security = SecurityType::Open;
};

// Test 29: two saved connections share an SSID (compared byte for byte, as the radio sees it) but
// differ in security type.
bool conflictingSecurityInSavedNetworks(const std::vector<SavedNetworkSecurity>& saved);

}  // namespace platform::linuxwifi
