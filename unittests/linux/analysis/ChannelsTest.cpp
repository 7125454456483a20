// Channels from frequencies, crowding counts, congestion verdicts and least crowded channels.
#include "platform/wifi/linux/Channels.h"

#include <gtest/gtest.h>

using namespace platform::linuxwifi;
using platform::WiFiChannel;

namespace {

int mhz2GHz(int channel) {
    return channel == 14 ? 2484 : 2407 + 5 * channel;
}

int mhz5GHz(int channel) {
    return 5000 + 5 * channel;
}

std::vector<int> repeated(int frequency, int times) {
    return std::vector<int>(static_cast<std::size_t>(times), frequency);
}

std::vector<int> joined(std::vector<int> a, const std::vector<int>& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

void expectChannel(const WiFiChannel& record, int channel, int band, int width) {
    EXPECT_EQ(record.channel, channel);
    EXPECT_EQ(record.band, band);
    EXPECT_EQ(record.width, width);
}

}  // namespace

TEST(ChannelOfFrequency, TwoPointFourGHz) {
    EXPECT_EQ(channelOfFrequency(2412), (BandChannel{1, 2}));
    EXPECT_EQ(channelOfFrequency(2437), (BandChannel{6, 2}));
    EXPECT_EQ(channelOfFrequency(2472), (BandChannel{13, 2}));
    EXPECT_EQ(channelOfFrequency(2484), (BandChannel{14, 2}));
    EXPECT_EQ(channelOfFrequency(2407), std::nullopt);
    EXPECT_EQ(channelOfFrequency(2477), std::nullopt);
    EXPECT_EQ(channelOfFrequency(2413), std::nullopt);
}

TEST(ChannelOfFrequency, FiveGHz) {
    EXPECT_EQ(channelOfFrequency(5180), (BandChannel{36, 5}));
    EXPECT_EQ(channelOfFrequency(5500), (BandChannel{100, 5}));
    EXPECT_EQ(channelOfFrequency(5825), (BandChannel{165, 5}));
    EXPECT_EQ(channelOfFrequency(5005), (BandChannel{1, 5}));
    EXPECT_EQ(channelOfFrequency(5920), (BandChannel{184, 5}));
    EXPECT_EQ(channelOfFrequency(4910), (BandChannel{182, 5}));
    EXPECT_EQ(channelOfFrequency(4980), (BandChannel{196, 5}));
    EXPECT_EQ(channelOfFrequency(5000), std::nullopt);
    EXPECT_EQ(channelOfFrequency(5925), std::nullopt);
    EXPECT_EQ(channelOfFrequency(4905), std::nullopt);
    EXPECT_EQ(channelOfFrequency(5182), std::nullopt);
}

TEST(ChannelOfFrequency, SixGHzIsItsOwnBand) {
    EXPECT_EQ(channelOfFrequency(5935), (BandChannel{2, 6}));
    EXPECT_EQ(channelOfFrequency(5955), (BandChannel{1, 6}));
    EXPECT_EQ(channelOfFrequency(7115), (BandChannel{233, 6}));
    EXPECT_EQ(channelOfFrequency(5950), std::nullopt);
    EXPECT_EQ(channelOfFrequency(7120), std::nullopt);
}

TEST(ChannelOfFrequency, NothingElseIsAChannel) {
    EXPECT_EQ(channelOfFrequency(0), std::nullopt);
    EXPECT_EQ(channelOfFrequency(-2412), std::nullopt);
    EXPECT_EQ(channelOfFrequency(60480), std::nullopt);
}

TEST(ChannelCrowding, TwoPointFourGHzCountsFourChannelsEitherSide) {
    // Joined on 6: channels 2 to 10 count, 1 and 11 do not.
    const std::vector<int> scan = {mhz2GHz(1), mhz2GHz(2), mhz2GHz(6), mhz2GHz(10), mhz2GHz(11), mhz5GHz(36)};
    EXPECT_EQ(accessPointsOnOrOverlappingChannel(scan, mhz2GHz(6)), 3);
    // Joined on 1: channels 1 to 5.
    EXPECT_EQ(accessPointsOnOrOverlappingChannel({mhz2GHz(5), mhz2GHz(6)}, mhz2GHz(1)), 1);
}

TEST(ChannelCrowding, FiveGHzCountsTheSameChannelOnly) {
    const std::vector<int> scan = {mhz5GHz(36), mhz5GHz(36), mhz5GHz(40), mhz2GHz(8), 5955};
    EXPECT_EQ(accessPointsOnOrOverlappingChannel(scan, mhz5GHz(36)), 2);
    EXPECT_EQ(accessPointsOnOrOverlappingChannel(scan, mhz5GHz(44)), 0);
}

TEST(ChannelCrowding, SixGHzChannelIsNotTheFiveGHzChannelOfTheSameNumber) {
    // 6 GHz channel 1 (5955) and 5 GHz channel 1 (5005).
    EXPECT_EQ(accessPointsOnOrOverlappingChannel({5005, 5955, 5955}, 5955), 2);
}

TEST(ChannelCrowding, CurrentFrequencyOnNoChannelHasNoCount) {
    EXPECT_EQ(accessPointsOnOrOverlappingChannel({mhz2GHz(6)}, 0), std::nullopt);
    EXPECT_EQ(accessPointsOnOrOverlappingChannel({mhz2GHz(6)}, 2413), std::nullopt);
}

TEST(ChannelCrowding, BandCounts) {
    const std::vector<int> scan = {mhz2GHz(1), mhz2GHz(14), mhz5GHz(36), mhz5GHz(165), 4920, 5955, 0, 1234};
    EXPECT_EQ(accessPointsOn2GHz(scan), 2);
    EXPECT_EQ(accessPointsOn5GHz(scan), 3);
    EXPECT_EQ(accessPointsOn2GHz({}), 0);
    EXPECT_EQ(accessPointsOn5GHz({}), 0);
}

TEST(CongestionVerdicts, HoldAtTheThresholdAndAbove) {
    EXPECT_FALSE(isChannelCongested(7));
    EXPECT_TRUE(isChannelCongested(8));
    EXPECT_FALSE(is2GHzBandCongested(11));
    EXPECT_TRUE(is2GHzBandCongested(12));
    EXPECT_FALSE(is5GHzBandCongested(19));
    EXPECT_TRUE(is5GHzBandCongested(20));
    EXPECT_FALSE(isChannelCongested(0));
}

TEST(CongestionVerdicts, FromAScan) {
    const std::vector<int> busy = joined(repeated(mhz2GHz(6), 7), {mhz2GHz(2)});
    EXPECT_TRUE(isChannelCongested(*accessPointsOnOrOverlappingChannel(busy, mhz2GHz(6))));
    const std::vector<int> calm = joined(repeated(mhz2GHz(6), 7), {mhz2GHz(1)});
    EXPECT_FALSE(isChannelCongested(*accessPointsOnOrOverlappingChannel(calm, mhz2GHz(6))));
    EXPECT_TRUE(is2GHzBandCongested(accessPointsOn2GHz(repeated(mhz2GHz(11), 12))));
    EXPECT_FALSE(is5GHzBandCongested(accessPointsOn5GHz(joined(repeated(mhz5GHz(36), 19), {5955}))));
}

TEST(LeastCrowdedChannels, EmptyScanGivesTheLowestOfEachKind) {
    const LeastCrowdedChannels answer = leastCrowdedChannels({});
    expectChannel(answer.twoGHz, 1, 2, 20);
    expectChannel(answer.fiveGHz, 36, 5, 20);
    expectChannel(answer.fiveGHz40MHz, 36, 5, 40);
    expectChannel(answer.fiveGHzNonDfs, 36, 5, 20);
}

TEST(LeastCrowdedChannels, TwoPointFourGHzCountsOverlappingNeighbours) {
    // Crowding: 1 -> 2 (on 1, 3); 6 -> 3 (on 3, 7, 9); 11 -> 2 (on 7, 9). The tie goes to 1.
    const LeastCrowdedChannels answer =
        leastCrowdedChannels({mhz2GHz(1), mhz2GHz(3), mhz2GHz(7), mhz2GHz(9)});
    expectChannel(answer.twoGHz, 1, 2, 20);
    const LeastCrowdedChannels second = leastCrowdedChannels({mhz2GHz(1), mhz2GHz(2), mhz2GHz(11)});
    expectChannel(second.twoGHz, 6, 2, 20);
}

TEST(LeastCrowdedChannels, FiveGHzPicksTheFirstFreeChannel) {
    std::vector<int> scan;
    for (int channel : {36, 40, 44, 48, 52}) {
        scan.push_back(mhz5GHz(channel));
    }
    const LeastCrowdedChannels answer = leastCrowdedChannels(scan);
    expectChannel(answer.fiveGHz, 56, 5, 20);
    expectChannel(answer.fiveGHz40MHz, 60, 5, 40);
    expectChannel(answer.fiveGHzNonDfs, 149, 5, 20);
}

TEST(LeastCrowdedChannels, FortyMHzPairsCountBothHalves) {
    // Every pair holds two access points except 149/153, which holds one (on 153).
    std::vector<int> scan;
    for (int lower : {36, 44, 52, 60, 100, 108, 116, 124, 132, 140, 157}) {
        scan.push_back(mhz5GHz(lower));
        scan.push_back(mhz5GHz(lower + 4));
    }
    scan.push_back(mhz5GHz(153));
    const LeastCrowdedChannels answer = leastCrowdedChannels(scan);
    expectChannel(answer.fiveGHz40MHz, 149, 5, 40);
    // Channels 149 and 165 are empty; 149 is the lower one.
    expectChannel(answer.fiveGHz, 149, 5, 20);
    expectChannel(answer.fiveGHzNonDfs, 149, 5, 20);
}

TEST(LeastCrowdedChannels, NonDfsAvoidsTheRadarChannelsEvenWhenTheyAreFree) {
    std::vector<int> scan;
    for (int channel : {36, 40, 44, 48, 149, 153, 157, 161}) {
        scan.push_back(mhz5GHz(channel));
        scan.push_back(mhz5GHz(channel));
    }
    scan.push_back(mhz5GHz(165));
    const LeastCrowdedChannels answer = leastCrowdedChannels(scan);
    expectChannel(answer.fiveGHz, 52, 5, 20);
    expectChannel(answer.fiveGHzNonDfs, 165, 5, 20);
}

TEST(LeastCrowdedChannels, OtherBandsAndChannelsOutsideTheSetsAreIgnored) {
    // Channel 32 and 6 GHz channel 36 (6130 MHz) are not on 5 GHz channel 36.
    const LeastCrowdedChannels answer = leastCrowdedChannels({mhz5GHz(32), 6130, 6130, mhz2GHz(13)});
    expectChannel(answer.fiveGHz, 36, 5, 20);
    expectChannel(answer.fiveGHz40MHz, 36, 5, 40);
    // Channel 13 is within reach of 11 only.
    expectChannel(answer.twoGHz, 1, 2, 20);
}

TEST(CurrentChannel, RecordOfTheJoinedChannel) {
    const auto on2GHz = currentChannel(mhz2GHz(6));
    ASSERT_TRUE(on2GHz);
    EXPECT_EQ(on2GHz->channel, 6);
    EXPECT_EQ(on2GHz->band, 2);
    EXPECT_EQ(on2GHz->width, std::nullopt);
    const auto on5GHz = currentChannel(mhz5GHz(100), 80);
    ASSERT_TRUE(on5GHz);
    expectChannel(*on5GHz, 100, 5, 80);
    const auto on6GHz = currentChannel(5955);
    ASSERT_TRUE(on6GHz);
    EXPECT_EQ(on6GHz->band, 6);
    EXPECT_EQ(currentChannel(0), std::nullopt);
}
