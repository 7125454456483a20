// Strength to dBm, and the poor signal verdict at and around its thresholds.
#include "platform/wifi/linux/SignalLevels.h"

#include <gtest/gtest.h>

using namespace platform::linuxwifi;

TEST(DbmFromStrength, EndsAndMiddle) {
    EXPECT_EQ(dbmFromStrength(0), -100);
    EXPECT_EQ(dbmFromStrength(50), -70);
    EXPECT_EQ(dbmFromStrength(100), -40);
}

TEST(DbmFromStrength, RoundsToTheNearestInteger) {
    EXPECT_EQ(dbmFromStrength(1), -99);   // -99.4
    EXPECT_EQ(dbmFromStrength(3), -98);   // -98.2
    EXPECT_EQ(dbmFromStrength(4), -98);   // -97.6
    EXPECT_EQ(dbmFromStrength(41), -75);  // -75.4
    EXPECT_EQ(dbmFromStrength(42), -75);  // -74.8
    EXPECT_EQ(dbmFromStrength(99), -41);  // -40.6
}

TEST(DbmFromStrength, EveryStrengthRisesByAtMostOne) {
    int previous = *dbmFromStrength(0);
    for (int strength = 1; strength <= 100; ++strength) {
        const int dbm = *dbmFromStrength(strength);
        EXPECT_GE(dbm - previous, 0) << strength;
        EXPECT_LE(dbm - previous, 1) << strength;
        previous = dbm;
    }
}

TEST(DbmFromStrength, StrengthOutsideZeroToHundredIsRefused) {
    QString problem;
    EXPECT_EQ(dbmFromStrength(101, &problem), std::nullopt);
    EXPECT_EQ(problem, QStringLiteral("signal strength 101 is outside 0 to 100"));
    EXPECT_EQ(dbmFromStrength(-1, &problem), std::nullopt);
    EXPECT_EQ(problem, QStringLiteral("signal strength -1 is outside 0 to 100"));
    EXPECT_EQ(dbmFromStrength(255), std::nullopt);
}

TEST(PoorSignal, RssiBelowMinus75IsPoor) {
    EXPECT_TRUE(isSignalPoor(-76, std::nullopt));
    EXPECT_FALSE(isSignalPoor(-75, std::nullopt));
    EXPECT_FALSE(isSignalPoor(-40, std::nullopt));
    EXPECT_TRUE(isSignalPoor(-100, std::nullopt));
}

TEST(PoorSignal, SnrBelow20IsPoorWhenNoiseIsKnown) {
    EXPECT_TRUE(isSignalPoor(-71, -90));   // SNR 19
    EXPECT_FALSE(isSignalPoor(-70, -90));  // SNR 20
    EXPECT_FALSE(isSignalPoor(-50, -95));  // SNR 45
    EXPECT_TRUE(isSignalPoor(-60, -60));   // SNR 0
}

TEST(PoorSignal, WeakRssiIsPoorWhateverTheNoise) {
    EXPECT_TRUE(isSignalPoor(-80, -110));  // SNR 30, RSSI too low
}
