#pragma once
// Channels and bands from access point frequencies, and the answers of the channel congestion
// tests (24 Congested Channel, 25 Congested 2.4GHz, 26 Congested 5GHz): how crowded the joined
// channel and the bands are, and the least crowded channel of each kind.

#include "platform/wifi/WiFiRecords.h"

#include <optional>
#include <vector>

namespace platform::linuxwifi {

// A channel number and its band in GHz: 2 (2.4 GHz), 5 or 6.
struct BandChannel {
    int channel = 0;
    int band = 0;
    bool operator==(const BandChannel&) const = default;
};

// The channel of a centre frequency in MHz, as the kernel numbers them:
//   2.4 GHz: 2412 to 2472 in 5 MHz steps are channels 1 to 13, 2484 is channel 14;
//   5 GHz:   4910 to 4980 in 5 MHz steps are channels 182 to 196 ((f - 4000) / 5),
//            5005 to 5920 in 5 MHz steps are channels 1 to 184 ((f - 5000) / 5);
//   6 GHz:   5935 is channel 2, 5955 to 7115 in 5 MHz steps are channels 1 to 233.
// Absent for any other frequency (0, off the 5 MHz raster, other bands).
// The 6 GHz band is told apart (band 6), but the diagnostic's band answers (the 2.4 GHz and
// 5 GHz counts and least crowded channels below) ignore it.
std::optional<BandChannel> channelOfFrequency(int frequencyMHz);

// Thresholds of the congestion verdicts: a verdict holds at the threshold and above.
constexpr int kCongestedChannelAccessPoints = 8;  // test 24
constexpr int kCongested2GHzAccessPoints = 12;    // test 25
constexpr int kCongested5GHzAccessPoints = 20;    // test 26

// Scan inputs are the frequencies of every access point of the scan, hidden ones included, and
// the joined access point itself (it is in the scan as well). A frequency on no channel counts
// nowhere.

// Access points on the channel of currentFrequencyMHz or one that overlaps it: on 2.4 GHz the
// channels within 4 channel numbers either side (channels 1 and 5 overlap, 1 and 6 do not); on
// 5 GHz and 6 GHz the same channel of the same band only (the scan tells only an access point's
// primary channel, not its width). Absent when the current frequency is on no channel.
std::optional<int> accessPointsOnOrOverlappingChannel(const std::vector<int>& scanFrequenciesMHz,
                                                      int currentFrequencyMHz);

// Access points on 2.4 GHz, and on 5 GHz.
int accessPointsOn2GHz(const std::vector<int>& scanFrequenciesMHz);
int accessPointsOn5GHz(const std::vector<int>& scanFrequenciesMHz);

// The verdicts of tests 24, 25 and 26 from the counts above.
bool isChannelCongested(int accessPointsOnOrOverlapping);
bool is2GHzBandCongested(int accessPointsOn2GHz);
bool is5GHzBandCongested(int accessPointsOn5GHz);

// The least crowded channel of each kind, as WiFiChannel records (channel, band in GHz, width in
// MHz). Ties go to the lowest channel number. A record's band is 2 or 5.
//   twoGHz:        1, 6 or 11, crowding = access points within 4 channel numbers; width 20.
//   fiveGHz:       any 20 MHz channel of 36-64, 100-144 and 149-165 (every fourth number, 165
//                  included), crowding = access points on that channel; width 20.
//   fiveGHz40MHz:  the pairs 36/40, 44/48, 52/56, 60/64, 100/104, 108/112, 116/120, 124/128,
//                  132/136, 140/144, 149/153, 157/161, crowding = access points on either
//                  channel; the record names the lower channel, width 40.
//   fiveGHzNonDfs: the channels without radar detection, 36-48 and 149-165, crowding as for
//                  fiveGHz; width 20.
struct LeastCrowdedChannels {
    WiFiChannel twoGHz;
    WiFiChannel fiveGHz;
    WiFiChannel fiveGHz40MHz;
    WiFiChannel fiveGHzNonDfs;
};
LeastCrowdedChannels leastCrowdedChannels(const std::vector<int>& scanFrequenciesMHz);

// The record of the joined channel: its number and band (6 for 6 GHz), with the width in MHz
// when the caller knows it. Absent when the frequency is on no channel.
std::optional<WiFiChannel> currentChannel(int frequencyMHz, std::optional<int> widthMHz = std::nullopt);

}  // namespace platform::linuxwifi
