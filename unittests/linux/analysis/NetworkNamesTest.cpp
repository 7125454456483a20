// Ambiguous network names: the listed names, their maker suffixes, and the borders of both.
#include "platform/wifi/linux/NetworkNames.h"

#include <gtest/gtest.h>

using namespace platform::linuxwifi;

namespace {

bool ambiguous(const char* utf8) {
    return isAmbiguousNetworkName(QString::fromUtf8(utf8));
}

}  // namespace

TEST(AmbiguousNetworkName, EveryListedNameIsAmbiguousInAnyCase) {
    const QStringList names = ambiguousNetworkNames();
    ASSERT_FALSE(names.isEmpty());
    for (const QString& name : names) {
        EXPECT_TRUE(isAmbiguousNetworkName(name)) << name.toStdString();
        EXPECT_TRUE(isAmbiguousNetworkName(name.toLower())) << name.toStdString();
        EXPECT_TRUE(isAmbiguousNetworkName(name.toUpper())) << name.toStdString();
    }
}

TEST(AmbiguousNetworkName, TheListHoldsTheCommonDefaults) {
    EXPECT_TRUE(ambiguous("linksys"));
    EXPECT_TRUE(ambiguous("netgear"));
    EXPECT_TRUE(ambiguous("Default"));
    EXPECT_TRUE(ambiguous("dlink"));
    EXPECT_TRUE(ambiguous("D-Link"));
    EXPECT_TRUE(ambiguous("tp-link"));
    EXPECT_TRUE(ambiguous("xfinitywifi"));
    EXPECT_TRUE(ambiguous("FRITZ!Box"));
    EXPECT_EQ(ambiguousNetworkNames().size(), 15);
}

TEST(AmbiguousNetworkName, EduroamIsNotAmbiguous) {
    EXPECT_FALSE(ambiguous("eduroam"));
    EXPECT_FALSE(ambiguous("EDUROAM"));
}

TEST(AmbiguousNetworkName, SeparatedSuffixOfTwoToEightLettersOrDigits) {
    EXPECT_TRUE(ambiguous("NETGEAR_5G"));
    EXPECT_TRUE(ambiguous("TP-LINK_A1B2"));
    EXPECT_TRUE(ambiguous("linksys-guest"));
    EXPECT_TRUE(ambiguous("Vodafone Homespot"));
    EXPECT_TRUE(ambiguous("dlink-ab"));          // two characters
    EXPECT_TRUE(ambiguous("dlink-abcdefgh"));    // eight characters
    EXPECT_FALSE(ambiguous("dlink-a"));          // one character
    EXPECT_FALSE(ambiguous("dlink-abcdefghi"));  // nine characters
    EXPECT_FALSE(ambiguous("dlink-"));
    EXPECT_FALSE(ambiguous("dlink__ab"));
    EXPECT_FALSE(ambiguous("dlink.ab"));
    EXPECT_FALSE(ambiguous("dlink-a!"));
}

TEST(AmbiguousNetworkName, AtMostTwoSeparatedGroups) {
    EXPECT_TRUE(ambiguous("FRITZ!Box 7590 XY"));
    EXPECT_TRUE(ambiguous("NETGEAR-Guest-5G"));
    EXPECT_FALSE(ambiguous("NETGEAR-a1-b2-c3"));
    EXPECT_FALSE(ambiguous("NETGEAR Home Office Upstairs"));
}

TEST(AmbiguousNetworkName, DigitsRightAfterTheName) {
    EXPECT_TRUE(ambiguous("NETGEAR3"));
    EXPECT_TRUE(ambiguous("NETGEAR38"));
    EXPECT_TRUE(ambiguous("belkin54g"));
    EXPECT_TRUE(ambiguous("NETGEAR38-5G"));
    EXPECT_FALSE(ambiguous("NETGEAR3851"));  // four characters
    EXPECT_FALSE(ambiguous("NETGEARX"));     // must start with a digit
    EXPECT_FALSE(ambiguous("Wirelessly"));
}

TEST(AmbiguousNetworkName, NamesThatOnlyContainAListedNameAreNot) {
    EXPECT_FALSE(ambiguous("MyNETGEAR"));
    EXPECT_FALSE(ambiguous(" NETGEAR"));
    EXPECT_FALSE(ambiguous("NETGEAR "));
    EXPECT_FALSE(ambiguous("Smith Family"));
    EXPECT_FALSE(ambiguous(""));
}

TEST(AmbiguousNetworkName, SuffixLettersAreAsciiOnly) {
    EXPECT_FALSE(ambiguous("Vodafone-Café"));
    EXPECT_TRUE(ambiguous("Vodafone-Cafe"));
}

TEST(AmbiguousNetworkName, EscapedBytesAreNotASuffix) {
    // The shown text of the SSID "NETGEAR" followed by a NUL byte.
    EXPECT_FALSE(isAmbiguousNetworkName(QStringLiteral("NETGEAR\\x00")));
}
