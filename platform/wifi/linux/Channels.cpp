#include "platform/wifi/linux/Channels.h"

#include <cstdlib>

namespace platform::linuxwifi {

namespace {

constexpr int kBand2GHz = 2;
constexpr int kBand5GHz = 5;
constexpr int kBand6GHz = 6;
constexpr int k2GHzOverlapChannels = 4;

std::optional<BandChannel> onRaster(int frequencyMHz, int baseMHz, int band) {
    if ((frequencyMHz - baseMHz) % 5 != 0) {
        return std::nullopt;
    }
    return BandChannel{(frequencyMHz - baseMHz) / 5, band};
}

std::vector<BandChannel> channelsOf(const std::vector<int>& frequenciesMHz) {
    std::vector<BandChannel> channels;
    for (int frequency : frequenciesMHz) {
        if (auto channel = channelOfFrequency(frequency)) {
            channels.push_back(*channel);
        }
    }
    return channels;
}

int countOnBand(const std::vector<int>& frequenciesMHz, int band) {
    int count = 0;
    for (const BandChannel& c : channelsOf(frequenciesMHz)) {
        count += c.band == band ? 1 : 0;
    }
    return count;
}

bool overlaps2GHz(int a, int b) {
    return std::abs(a - b) <= k2GHzOverlapChannels;
}

WiFiChannel channelRecord(int channel, int band, int width) {
    WiFiChannel record;
    record.channel = channel;
    record.band = band;
    record.width = width;
    return record;
}

// The candidate with the fewest access points (by the crowding function); candidates are listed
// in rising order, so the first one with the fewest wins a tie.
template <typename Crowding>
int leastCrowded(const std::vector<int>& candidates, Crowding crowding) {
    int best = candidates.front();
    int bestCount = crowding(best);
    for (int candidate : candidates) {
        const int count = crowding(candidate);
        if (count < bestCount) {
            best = candidate;
            bestCount = count;
        }
    }
    return best;
}

const std::vector<int> k2GHzCandidates = {1, 6, 11};
const std::vector<int> k5GHzCandidates = {36,  40,  44,  48,  52,  56,  60,  64,  100, 104, 108, 112, 116,
                                          120, 124, 128, 132, 136, 140, 144, 149, 153, 157, 161, 165};
// Lower channels of the 40 MHz pairs; the upper channel is 4 numbers above.
const std::vector<int> k5GHz40MHzLowerChannels = {36, 44, 52, 60, 100, 108, 116, 124, 132, 140, 149, 157};
const std::vector<int> k5GHzNonDfsCandidates = {36, 40, 44, 48, 149, 153, 157, 161, 165};

}  // namespace

std::optional<BandChannel> channelOfFrequency(int frequencyMHz) {
    if (frequencyMHz == 2484) {
        return BandChannel{14, kBand2GHz};
    }
    if (frequencyMHz >= 2412 && frequencyMHz <= 2472) {
        return onRaster(frequencyMHz, 2407, kBand2GHz);
    }
    if (frequencyMHz >= 4910 && frequencyMHz <= 4980) {
        return onRaster(frequencyMHz, 4000, kBand5GHz);
    }
    if (frequencyMHz >= 5005 && frequencyMHz <= 5920) {
        return onRaster(frequencyMHz, 5000, kBand5GHz);
    }
    if (frequencyMHz == 5935) {
        return BandChannel{2, kBand6GHz};
    }
    if (frequencyMHz >= 5955 && frequencyMHz <= 7115) {
        return onRaster(frequencyMHz, 5950, kBand6GHz);
    }
    return std::nullopt;
}

std::optional<int> accessPointsOnOrOverlappingChannel(const std::vector<int>& scanFrequenciesMHz,
                                                      int currentFrequencyMHz) {
    const auto current = channelOfFrequency(currentFrequencyMHz);
    if (!current) {
        return std::nullopt;
    }
    int count = 0;
    for (const BandChannel& c : channelsOf(scanFrequenciesMHz)) {
        if (c.band != current->band) {
            continue;
        }
        const bool near = current->band == kBand2GHz ? overlaps2GHz(c.channel, current->channel)
                                                     : c.channel == current->channel;
        count += near ? 1 : 0;
    }
    return count;
}

int accessPointsOn2GHz(const std::vector<int>& scanFrequenciesMHz) {
    return countOnBand(scanFrequenciesMHz, kBand2GHz);
}

int accessPointsOn5GHz(const std::vector<int>& scanFrequenciesMHz) {
    return countOnBand(scanFrequenciesMHz, kBand5GHz);
}

bool isChannelCongested(int accessPointsOnOrOverlapping) {
    return accessPointsOnOrOverlapping >= kCongestedChannelAccessPoints;
}

bool is2GHzBandCongested(int accessPointsOn2GHz) {
    return accessPointsOn2GHz >= kCongested2GHzAccessPoints;
}

bool is5GHzBandCongested(int accessPointsOn5GHz) {
    return accessPointsOn5GHz >= kCongested5GHzAccessPoints;
}

LeastCrowdedChannels leastCrowdedChannels(const std::vector<int>& scanFrequenciesMHz) {
    std::vector<int> on2GHz;
    std::vector<int> on5GHz;
    for (const BandChannel& c : channelsOf(scanFrequenciesMHz)) {
        if (c.band == kBand2GHz) {
            on2GHz.push_back(c.channel);
        } else if (c.band == kBand5GHz) {
            on5GHz.push_back(c.channel);
        }
    }
    const auto overlapping2GHz = [&](int candidate) {
        int count = 0;
        for (int channel : on2GHz) {
            count += overlaps2GHz(channel, candidate) ? 1 : 0;
        }
        return count;
    };
    const auto on5GHzChannel = [&](int candidate) {
        int count = 0;
        for (int channel : on5GHz) {
            count += channel == candidate ? 1 : 0;
        }
        return count;
    };
    const auto on5GHzPair = [&](int lower) { return on5GHzChannel(lower) + on5GHzChannel(lower + 4); };

    LeastCrowdedChannels answer;
    answer.twoGHz = channelRecord(leastCrowded(k2GHzCandidates, overlapping2GHz), kBand2GHz, 20);
    answer.fiveGHz = channelRecord(leastCrowded(k5GHzCandidates, on5GHzChannel), kBand5GHz, 20);
    answer.fiveGHz40MHz = channelRecord(leastCrowded(k5GHz40MHzLowerChannels, on5GHzPair), kBand5GHz, 40);
    answer.fiveGHzNonDfs = channelRecord(leastCrowded(k5GHzNonDfsCandidates, on5GHzChannel), kBand5GHz, 20);
    return answer;
}

std::optional<WiFiChannel> currentChannel(int frequencyMHz, std::optional<int> widthMHz) {
    const auto channel = channelOfFrequency(frequencyMHz);
    if (!channel) {
        return std::nullopt;
    }
    WiFiChannel record;
    record.channel = channel->channel;
    record.band = channel->band;
    if (widthMHz) {
        record.width = *widthMHz;
    }
    return record;
}

}  // namespace platform::linuxwifi
