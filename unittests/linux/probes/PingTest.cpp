// What the ping program prints, read into round trips; the statistics of a series; and which
// addresses are private, for double NAT.
#include "platform/wifi/linux/IcmpEcho.h"
#include "platform/wifi/linux/SecondHop.h"

#include "unittests/linux/probes/QtPrinting.h"

#include <gtest/gtest.h>

#include <cmath>

using namespace platform::linuxwifi;

TEST(PingProgramOutput, RepliesAndSummaryOfIputils) {
    const auto parsed =
        parsePingOutput(QStringLiteral("PING 10.10.1.1 (10.10.1.1) 56(84) bytes of data.\n"
                                       "64 bytes from 10.10.1.1: icmp_seq=1 ttl=64 time=0.053 ms\n"
                                       "64 bytes from 10.10.1.1: icmp_seq=2 ttl=64 time=0.125 ms\n"
                                       "64 bytes from 10.10.1.1: icmp_seq=3 ttl=64 time=12.4 ms\n"
                                       "\n"
                                       "--- 10.10.1.1 ping statistics ---\n"
                                       "3 packets transmitted, 3 received, 0% packet loss, time 406ms\n"
                                       "rtt min/avg/max/mdev = 0.046/0.074/0.125/0.035 ms\n"));
    EXPECT_EQ(parsed.roundTripsMs, (std::vector<double>{0.053, 0.125, 12.4}));
    EXPECT_EQ(parsed.transmitted, 3);
}

TEST(PingProgramOutput, DuplicatesAndErrorLinesAreNotReplies) {
    const auto parsed = parsePingOutput(QStringLiteral(
        "PING 10.10.1.1 (10.10.1.1) 56(84) bytes of data.\n"
        "64 bytes from 10.10.1.1: icmp_seq=1 ttl=64 time=1.50 ms\n"
        "64 bytes from 10.10.1.1: icmp_seq=1 ttl=64 time=1.70 ms (DUP!)\n"
        "From 10.10.1.2 icmp_seq=2 Destination Host Unreachable\n"
        "From 10.10.2.1 icmp_seq=3 Time to live exceeded\n"
        "\n"
        "--- 10.10.1.1 ping statistics ---\n"
        "4 packets transmitted, 1 received, +1 duplicates, +2 errors, 75% packet loss, time 3004ms\n"));
    EXPECT_EQ(parsed.roundTripsMs, (std::vector<double>{1.50}));
    EXPECT_EQ(parsed.transmitted, 4);
}

TEST(PingProgramOutput, NoReplyAtAll) {
    const auto parsed =
        parsePingOutput(QStringLiteral("PING 10.10.3.3 (10.10.3.3) 56(84) bytes of data.\n"
                                       "\n"
                                       "--- 10.10.3.3 ping statistics ---\n"
                                       "2 packets transmitted, 0 received, 100% packet loss, time 203ms\n"));
    EXPECT_TRUE(parsed.roundTripsMs.empty());
    EXPECT_EQ(parsed.transmitted, 2);
}

TEST(PingProgramOutput, OtherPingProgramsAndAMissingSummary) {
    // BusyBox names the sequence "seq", and an ended program may not have printed its summary.
    const auto parsed =
        parsePingOutput(QStringLiteral("PING 10.10.1.1 (10.10.1.1): 56 data bytes\n"
                                       "64 bytes from 10.10.1.1: seq=0 ttl=64 time=0.101 ms\n"
                                       "64 bytes from 10.10.1.1: seq=1 ttl=64 time=0.2 ms\n"));
    EXPECT_EQ(parsed.roundTripsMs, (std::vector<double>{0.101, 0.2}));
    EXPECT_FALSE(parsed.transmitted.has_value());
}

TEST(PingProgramOutput, NothingUsableInText) {
    const auto parsed = parsePingOutput(QStringLiteral("ping: connect: Network is unreachable\n"));
    EXPECT_TRUE(parsed.roundTripsMs.empty());
    EXPECT_FALSE(parsed.transmitted.has_value());
}
