// Private IPv4 and global IPv6 addresses, from address objects and from texts.
#include "platform/wifi/linux/Addresses.h"

#include <gtest/gtest.h>

using namespace platform::linuxwifi;

namespace {

QHostAddress address(const char* text) {
    return QHostAddress(QString::fromLatin1(text));
}

bool privateText(const char* text) {
    return isPrivateIPv4(QString::fromLatin1(text));
}

bool globalText(const char* text) {
    return isGlobalIPv6(QString::fromLatin1(text));
}

}  // namespace

TEST(PrivateIPv4, Rfc1918RangesAndTheirBorders) {
    EXPECT_TRUE(privateText("10.0.0.0"));
    EXPECT_TRUE(privateText("10.255.255.255"));
    EXPECT_FALSE(privateText("9.255.255.255"));
    EXPECT_FALSE(privateText("11.0.0.0"));
    EXPECT_TRUE(privateText("172.16.0.0"));
    EXPECT_TRUE(privateText("172.31.255.255"));
    EXPECT_FALSE(privateText("172.15.255.255"));
    EXPECT_FALSE(privateText("172.32.0.0"));
    EXPECT_TRUE(privateText("192.168.0.0"));
    EXPECT_TRUE(privateText("192.168.255.255"));
    EXPECT_FALSE(privateText("192.167.255.255"));
    EXPECT_FALSE(privateText("192.169.0.0"));
}

TEST(PrivateIPv4, SharedAddressSpaceAndItsBorders) {
    EXPECT_TRUE(privateText("100.64.0.0"));
    EXPECT_TRUE(privateText("100.127.255.255"));
    EXPECT_FALSE(privateText("100.63.255.255"));
    EXPECT_FALSE(privateText("100.128.0.0"));
}

TEST(PrivateIPv4, PublicLoopbackAndLinkLocalAreNot) {
    EXPECT_FALSE(privateText("8.8.4.4"));
    EXPECT_FALSE(privateText("127.0.0.1"));
    EXPECT_FALSE(privateText("169.254.1.1"));
    EXPECT_FALSE(privateText("0.0.0.0"));
}

TEST(PrivateIPv4, MappedIPv6CountsAsItsIPv4Address) {
    EXPECT_TRUE(isPrivateIPv4(address("::ffff:192.168.1.1")));
    EXPECT_FALSE(isPrivateIPv4(address("::ffff:8.8.8.8")));
    EXPECT_FALSE(isPrivateIPv4(address("fd00::1")));
    EXPECT_FALSE(isPrivateIPv4(QHostAddress()));
}

TEST(PrivateIPv4, TextThatIsNotAnIPv4AddressIsNamed) {
    QString problem;
    EXPECT_FALSE(isPrivateIPv4(QStringLiteral("10.1"), &problem));
    EXPECT_EQ(problem, QStringLiteral("\"10.1\" is not an IP address"));
    EXPECT_FALSE(isPrivateIPv4(QStringLiteral("192.168.1.256"), &problem));
    EXPECT_EQ(problem, QStringLiteral("\"192.168.1.256\" is not an IP address"));
    EXPECT_FALSE(isPrivateIPv4(QStringLiteral("router.lan"), &problem));
    EXPECT_EQ(problem, QStringLiteral("\"router.lan\" is not an IP address"));
    EXPECT_FALSE(isPrivateIPv4(QString(), &problem));
    EXPECT_EQ(problem, QStringLiteral("\"\" is not an IP address"));
    EXPECT_FALSE(isPrivateIPv4(QStringLiteral(" 10.0.0.1"), &problem));
    EXPECT_EQ(problem, QStringLiteral("\" 10.0.0.1\" is not an IP address"));
    EXPECT_FALSE(isPrivateIPv4(QStringLiteral("fd00::1"), &problem));
    EXPECT_EQ(problem, QStringLiteral("\"fd00::1\" is not an IPv4 address"));
}

TEST(PrivateIPv4, WellFormedTextLeavesTheProblemAlone) {
    QString problem = QStringLiteral("untouched");
    EXPECT_TRUE(isPrivateIPv4(QStringLiteral("10.0.0.1"), &problem));
    EXPECT_FALSE(isPrivateIPv4(QStringLiteral("1.1.1.1"), &problem));
    EXPECT_EQ(problem, QStringLiteral("untouched"));
}

TEST(DoubleNat, BothHopsMustBePrivate) {
    EXPECT_TRUE(isDoubleNat(address("192.168.1.1"), address("10.0.0.1")));
    EXPECT_TRUE(isDoubleNat(address("192.168.1.1"), address("100.64.0.1")));
    EXPECT_FALSE(isDoubleNat(address("192.168.1.1"), address("203.0.113.1")));
    EXPECT_FALSE(isDoubleNat(address("203.0.113.1"), address("10.0.0.1")));
    EXPECT_FALSE(isDoubleNat(address("192.168.1.1"), QHostAddress()));
}

TEST(GlobalIPv6, GlobalUnicastCounts) {
    EXPECT_TRUE(globalText("2001:db8::1"));
    EXPECT_TRUE(globalText("2a00:1450:4001:80b::200e"));
    EXPECT_TRUE(globalText("2000::"));
    EXPECT_TRUE(globalText("3fff:ffff:ffff:ffff:ffff:ffff:ffff:ffff"));
    EXPECT_FALSE(globalText("1fff:ffff:ffff:ffff:ffff:ffff:ffff:ffff"));
    EXPECT_FALSE(globalText("4000::1"));
}

TEST(GlobalIPv6, LocalAndSpecialAddressesDoNot) {
    EXPECT_FALSE(globalText("fe80::1"));
    EXPECT_FALSE(globalText("febf:ffff::1"));
    EXPECT_FALSE(globalText("fc00::1"));
    EXPECT_FALSE(globalText("fd12:3456:789a::1"));
    EXPECT_FALSE(globalText("::1"));
    EXPECT_FALSE(globalText("::"));
    EXPECT_FALSE(globalText("ff02::1"));
    EXPECT_FALSE(globalText("::ffff:192.0.2.1"));
}

TEST(GlobalIPv6, TextThatIsNotAnIPv6AddressIsNamed) {
    QString problem;
    EXPECT_FALSE(isGlobalIPv6(QStringLiteral("2001:db8::1::2"), &problem));
    EXPECT_EQ(problem, QStringLiteral("\"2001:db8::1::2\" is not an IP address"));
    EXPECT_FALSE(isGlobalIPv6(QStringLiteral("192.0.2.1"), &problem));
    EXPECT_EQ(problem, QStringLiteral("\"192.0.2.1\" is not an IPv6 address"));
    EXPECT_FALSE(isGlobalIPv6(QHostAddress(QStringLiteral("192.0.2.1"))));
}

TEST(GlobalIPv6, AnyOfTheDeviceAddresses) {
    EXPECT_TRUE(hasGlobalIPv6({QStringLiteral("fe80::1"), QStringLiteral("2001:db8::5")}));
    EXPECT_FALSE(
        hasGlobalIPv6({QStringLiteral("fe80::1"), QStringLiteral("fd00::5"), QStringLiteral("junk")}));
    EXPECT_FALSE(hasGlobalIPv6({}));
}

TEST(ParseIpAddress, BothFamilies) {
    EXPECT_EQ(parseIpAddress(QStringLiteral("192.0.2.1")), QHostAddress(QStringLiteral("192.0.2.1")));
    EXPECT_EQ(parseIpAddress(QStringLiteral("2001:db8::1")), QHostAddress(QStringLiteral("2001:db8::1")));
    EXPECT_EQ(parseIpAddress(QStringLiteral("0.0.0.0")), QHostAddress(QStringLiteral("0.0.0.0")));
    EXPECT_EQ(parseIpAddress(QStringLiteral("1.2.3")), std::nullopt);
    EXPECT_EQ(parseIpAddress(QStringLiteral("010.0.0.1")), std::nullopt);
    EXPECT_EQ(parseIpAddress(QStringLiteral("10.0.0.01")), std::nullopt);
    EXPECT_EQ(parseIpAddress(QStringLiteral("1.2.3.4.5")), std::nullopt);
    EXPECT_EQ(parseIpAddress(QStringLiteral("fe80::1%wlan0")), QHostAddress(QStringLiteral("fe80::1%wlan0")));
}
