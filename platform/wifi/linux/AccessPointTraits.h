#pragma once
// Traits of one access point: 802.11b legacy rates only (test 41) and a locally administered
// BSSID, which phones' hotspots use, but also mesh nodes and multi-BSSID access points: a hint for
// test 44 beside the beacon's vendor elements, never proof alone.

#include <QString>

#include <array>
#include <cstdint>
#include <optional>

namespace platform::linuxwifi {

// The highest bit rate, in kb/s, that an access point of 802.11b rates only offers (11 Mb/s).
constexpr std::uint32_t kLegacyRatesMaxKbps = 11000;

// Test 41: a 2.4 GHz access point (frequency in MHz) whose NetworkManager MaxBitrate (kb/s) is at
// most 11000, so it offers 802.11b rates only. False off 2.4 GHz. Absent, with the reason in
// *problem when given, for a 2.4 GHz access point whose MaxBitrate is 0: NetworkManager did not
// learn its rates, and no answer is made up.
std::optional<bool> usesLegacyRatesOnly(int frequencyMHz, std::uint32_t maxBitrateKbps,
                                        QString* problem = nullptr);

using Bssid = std::array<std::uint8_t, 6>;

// A BSSID from its text: six two-digit hex octets separated by colons, in either case
// ("aa:bb:cc:dd:ee:ff"), nothing before or after. Absent, with the reason in *problem when
// given, for any other text.
std::optional<Bssid> parseBssid(const QString& text, QString* problem = nullptr);

// The locally administered bit (0x02 of the first octet): the address was not assigned by the
// maker, as a phone's hotspot or a randomised address does.
bool isLocallyAdministered(const Bssid& bssid);

// For a BSSID text: well formed and locally administered. A malformed text gives false;
// *problem, when given, then names what is wrong (and is left alone for a well-formed one).
bool isLocallyAdministeredBssid(const QString& bssid, QString* problem = nullptr);

}  // namespace platform::linuxwifi
