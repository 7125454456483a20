// Legacy rates and locally administered BSSIDs, with their borders and malformed input.
#include "platform/wifi/linux/AccessPointTraits.h"

#include <gtest/gtest.h>

using namespace platform::linuxwifi;

TEST(LegacyRates, TwoPointFourGHzAtOrBelowElevenMegabits) {
    EXPECT_EQ(usesLegacyRatesOnly(2437, 11000), true);
    EXPECT_EQ(usesLegacyRatesOnly(2412, 1000), true);
    EXPECT_EQ(usesLegacyRatesOnly(2484, 11000), true);
    EXPECT_EQ(usesLegacyRatesOnly(2437, 11001), false);
    EXPECT_EQ(usesLegacyRatesOnly(2437, 54000), false);
    EXPECT_EQ(usesLegacyRatesOnly(2437, 300000), false);
}

TEST(LegacyRates, OtherBandsNever) {
    EXPECT_EQ(usesLegacyRatesOnly(5180, 6000), false);
    EXPECT_EQ(usesLegacyRatesOnly(5955, 6000), false);
    EXPECT_EQ(usesLegacyRatesOnly(0, 6000), false);
    EXPECT_EQ(usesLegacyRatesOnly(5180, 0), false);
}

TEST(LegacyRates, UnknownRateOnTwoPointFourGHzHasNoAnswer) {
    QString problem;
    EXPECT_EQ(usesLegacyRatesOnly(2437, 0, &problem), std::nullopt);
    EXPECT_EQ(problem, QStringLiteral("the access point's MaxBitrate is 0: its rates are not known"));
}

TEST(ParseBssid, SixHexOctetsInEitherCase) {
    EXPECT_EQ(parseBssid(QStringLiteral("aa:bb:cc:dd:ee:ff")), (Bssid{0xaa, 0xbb, 0xcc, 0xdd, 0xee, 0xff}));
    EXPECT_EQ(parseBssid(QStringLiteral("00:1A:2b:3C:4d:5E")), (Bssid{0x00, 0x1a, 0x2b, 0x3c, 0x4d, 0x5e}));
}

TEST(ParseBssid, MalformedTextIsNamed) {
    QString problem;
    EXPECT_EQ(parseBssid(QStringLiteral("aa:bb:cc:dd:ee"), &problem), std::nullopt);
    EXPECT_EQ(problem, QStringLiteral("BSSID \"aa:bb:cc:dd:ee\" does not have six colon-separated octets"));
    EXPECT_EQ(parseBssid(QStringLiteral("aa:bb:cc:dd:ee:ff:00"), &problem), std::nullopt);
    EXPECT_EQ(parseBssid(QStringLiteral("aa-bb-cc-dd-ee-ff"), &problem), std::nullopt);
    EXPECT_EQ(parseBssid(QString(), &problem), std::nullopt);
    EXPECT_EQ(parseBssid(QStringLiteral("aa:bb:cc:dd:ee:fg"), &problem), std::nullopt);
    EXPECT_EQ(problem, QStringLiteral("BSSID \"aa:bb:cc:dd:ee:fg\": octet 6 (\"fg\") is not two hex digits"));
    EXPECT_EQ(parseBssid(QStringLiteral("a:bb:cc:dd:ee:ff"), &problem), std::nullopt);
    EXPECT_EQ(problem, QStringLiteral("BSSID \"a:bb:cc:dd:ee:ff\": octet 1 (\"a\") is not two hex digits"));
    EXPECT_EQ(parseBssid(QStringLiteral("aaa:bb:cc:dd:ee:ff")), std::nullopt);
    EXPECT_EQ(parseBssid(QStringLiteral("aa:bb:cc:dd:ee:ff ")), std::nullopt);
    EXPECT_EQ(parseBssid(QStringLiteral("aa:bb::dd:ee:ff")), std::nullopt);
    // Full-width digits are digits to Unicode, not to a BSSID.
    EXPECT_EQ(parseBssid(QString::fromUtf8("１１:bb:cc:dd:ee:ff")), std::nullopt);
}

TEST(LocallyAdministered, BitTwoOfTheFirstOctet) {
    EXPECT_TRUE(isLocallyAdministeredBssid(QStringLiteral("02:00:00:00:00:00")));
    EXPECT_TRUE(isLocallyAdministeredBssid(QStringLiteral("DA:A1:19:00:00:01")));
    EXPECT_TRUE(isLocallyAdministeredBssid(QStringLiteral("fe:ff:ff:ff:ff:ff")));
    EXPECT_FALSE(isLocallyAdministeredBssid(QStringLiteral("00:00:00:00:00:00")));
    EXPECT_FALSE(isLocallyAdministeredBssid(QStringLiteral("fd:ff:ff:ff:ff:ff")));
    EXPECT_FALSE(isLocallyAdministeredBssid(QStringLiteral("01:00:5e:00:00:01")));
    // Bit 0x02 of another octet does not count.
    EXPECT_FALSE(isLocallyAdministeredBssid(QStringLiteral("00:02:02:02:02:02")));
}

TEST(LocallyAdministered, MalformedIsFalseAndSaysSo) {
    QString problem;
    EXPECT_FALSE(isLocallyAdministeredBssid(QStringLiteral("02:00:00:00:00"), &problem));
    EXPECT_FALSE(problem.isEmpty());
    QString untouched = QStringLiteral("untouched");
    EXPECT_FALSE(isLocallyAdministeredBssid(QStringLiteral("00:00:00:00:00:00"), &untouched));
    EXPECT_TRUE(isLocallyAdministeredBssid(QStringLiteral("02:00:00:00:00:00"), &untouched));
    EXPECT_EQ(untouched, QStringLiteral("untouched"));
}
