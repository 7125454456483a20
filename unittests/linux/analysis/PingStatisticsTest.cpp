// Ping statistics from the number sent and the round-trip times of the replies.
#include "platform/wifi/linux/PingStatistics.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

using namespace platform::linuxwifi;
using platform::Date;

TEST(PingSummary, AllRepliesBack) {
    const auto summary = summarizePings(4, {10.0, 20.0, 30.0, 40.0});
    ASSERT_TRUE(summary);
    EXPECT_DOUBLE_EQ(summary->packetLoss, 0.0);
    EXPECT_DOUBLE_EQ(summary->min, 10.0);
    EXPECT_DOUBLE_EQ(summary->max, 40.0);
    EXPECT_DOUBLE_EQ(summary->avg, 25.0);
    // Population standard deviation: sqrt((225 + 25 + 25 + 225) / 4).
    EXPECT_DOUBLE_EQ(summary->stddev, std::sqrt(125.0));
}

TEST(PingSummary, SomeRepliesLost) {
    const auto summary = summarizePings(10, {1.5, 2.5, 2.0});
    ASSERT_TRUE(summary);
    EXPECT_DOUBLE_EQ(summary->packetLoss, 70.0);
    EXPECT_DOUBLE_EQ(summary->min, 1.5);
    EXPECT_DOUBLE_EQ(summary->max, 2.5);
    EXPECT_DOUBLE_EQ(summary->avg, 2.0);
    EXPECT_NEAR(summary->stddev, std::sqrt(1.0 / 6.0), 1e-12);
}

TEST(PingSummary, OneReplyHasNoSpread) {
    const auto summary = summarizePings(1, {7.25});
    ASSERT_TRUE(summary);
    EXPECT_DOUBLE_EQ(summary->packetLoss, 0.0);
    EXPECT_DOUBLE_EQ(summary->min, 7.25);
    EXPECT_DOUBLE_EQ(summary->max, 7.25);
    EXPECT_DOUBLE_EQ(summary->avg, 7.25);
    EXPECT_DOUBLE_EQ(summary->stddev, 0.0);
}

TEST(PingSummary, NothingBackIsFullLossAndZeroTimes) {
    const auto summary = summarizePings(10, {});
    ASSERT_TRUE(summary);
    EXPECT_DOUBLE_EQ(summary->packetLoss, 100.0);
    EXPECT_DOUBLE_EQ(summary->min, 0.0);
    EXPECT_DOUBLE_EQ(summary->max, 0.0);
    EXPECT_DOUBLE_EQ(summary->avg, 0.0);
    EXPECT_DOUBLE_EQ(summary->stddev, 0.0);
}

TEST(PingSummary, NothingSentIsNoLoss) {
    const auto summary = summarizePings(0, {});
    ASSERT_TRUE(summary);
    EXPECT_DOUBLE_EQ(summary->packetLoss, 0.0);
    EXPECT_DOUBLE_EQ(summary->avg, 0.0);
}

TEST(PingSummary, ZeroRoundTripIsAValidTime) {
    const auto summary = summarizePings(2, {0.0, 0.0});
    ASSERT_TRUE(summary);
    EXPECT_DOUBLE_EQ(summary->max, 0.0);
}

TEST(PingSummary, BadInputIsNamed) {
    QString problem;
    EXPECT_EQ(summarizePings(-1, {}, &problem), std::nullopt);
    EXPECT_EQ(problem, QStringLiteral("the number of pings sent is negative (-1)"));
    EXPECT_EQ(summarizePings(1, {1.0, 2.0}, &problem), std::nullopt);
    EXPECT_EQ(problem, QStringLiteral("2 replies came back for 1 pings sent"));
    EXPECT_EQ(summarizePings(3, {1.0, -0.5}, &problem), std::nullopt);
    EXPECT_EQ(problem, QStringLiteral("round-trip time -0.5 (reply 2) is not a time of zero or more"));
    EXPECT_EQ(summarizePings(3, {std::nan("")}, &problem), std::nullopt);
    EXPECT_TRUE(problem.contains(QStringLiteral("(reply 1)"))) << problem.toStdString();
    EXPECT_EQ(summarizePings(3, {1.0, 1.0, std::numeric_limits<double>::infinity()}), std::nullopt);
}

TEST(PingResultRecord, CarriesTheSummaryInterfaceAndTime) {
    const Date madeAt = Date::fromSecondsSinceReferenceDate(700000000.5);
    const auto result = pingResult(QStringLiteral("wlan0"), 10, {5.0, 15.0}, madeAt);
    ASSERT_TRUE(result);
    EXPECT_EQ(result->interfaceName, QStringLiteral("wlan0"));
    EXPECT_EQ(result->count, 10);
    EXPECT_DOUBLE_EQ(result->packetLoss, 80.0);
    EXPECT_DOUBLE_EQ(result->min, 5.0);
    EXPECT_DOUBLE_EQ(result->max, 15.0);
    EXPECT_DOUBLE_EQ(result->avg, 10.0);
    EXPECT_DOUBLE_EQ(result->stddev, 5.0);
    EXPECT_DOUBLE_EQ(result->timestamp, 700000000.5);
}

TEST(PingResultRecord, UnknownInterfaceStaysAbsent) {
    const auto result = pingResult(std::nullopt, 3, {}, Date::fromSecondsSince1970(978307200.0));
    ASSERT_TRUE(result);
    EXPECT_EQ(result->interfaceName, std::nullopt);
    EXPECT_EQ(result->count, 3);
    EXPECT_DOUBLE_EQ(result->packetLoss, 100.0);
    EXPECT_DOUBLE_EQ(result->timestamp, 0.0);
}

TEST(PingResultRecord, BadInputGivesNoRecord) {
    QString problem;
    EXPECT_EQ(pingResult(QStringLiteral("wlan0"), 0, {1.0}, Date(), &problem).has_value(), false);
    EXPECT_EQ(problem, QStringLiteral("1 replies came back for 0 pings sent"));
}
