#pragma once
// Signal levels: NetworkManager's 0-100 strength as dBm, and the poor signal verdict (test 32).

#include <QString>

#include <optional>

namespace platform::linuxwifi {

// The signal in dBm from NetworkManager's AccessPoint.Strength (a percentage, 0 to 100), by
// NetworkManager's own mapping: dBm = -100 + 0.6 x strength, rounded to the nearest integer
// (0 gives -100, 50 gives -70, 100 gives -40; 0.6 x strength never ends in .5, so no tie arises).
// This is an estimate: the kernel's own dBm reading, where available, is the better source.
// Absent, with the reason in *problem when given, for a strength outside 0 to 100.
std::optional<int> dbmFromStrength(int strength, QString* problem = nullptr);

// Thresholds of the poor signal verdict: poor below these values, not at them.
constexpr int kPoorSignalBelowDbm = -75;
constexpr int kPoorSnrBelowDb = 20;

// Test 32: the signal is poor when the RSSI is below -75 dBm, or, when the noise floor is known,
// when the signal-to-noise ratio (RSSI - noise, in dB) is below 20 dB.
bool isSignalPoor(int rssiDbm, std::optional<int> noiseDbm);

}  // namespace platform::linuxwifi
