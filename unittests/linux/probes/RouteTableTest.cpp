// The default route read from the text of /proc/net/route, as this (little-endian) machine's
// kernel writes it: each address is the 32-bit word holding it in network byte order.
#include "platform/wifi/linux/RouteTable.h"

#include <QTemporaryDir>

#include "unittests/linux/probes/QtPrinting.h"

#include <gtest/gtest.h>

using namespace platform::linuxwifi;

namespace {

const QString kHeader = QStringLiteral(
    "Iface\tDestination\tGateway \tFlags\tRefCnt\tUse\tMetric\tMask\t\tMTU\tWindow\tIRTT           \n");

std::string errorText(const platform::ErrorRef& error) {
    return error ? error->description().toStdString() : std::string("no error");
}

}  // namespace

TEST(RouteTable, DefaultRouteOfATypicalLaptop) {
    const QString table =
        kHeader + QStringLiteral(
                      "wlp2s0\t00000000\t0101A8C0\t0003\t0\t0\t600\t00000000\t0\t0\t0    \n"
                      "wlp2s0\t0001A8C0\t00000000\t0001\t0\t0\t600\t00FFFFFF\t0\t0\t0    \n"
                      "docker0\t000011AC\t00000000\t0001\t0\t0\t0\t0000FFFF\t0\t0\t0    \n");
    const auto route = parseDefaultRoute(table);
    ASSERT_TRUE(route.ok()) << errorText(route.error());
    ASSERT_TRUE(route.value().has_value());
    EXPECT_EQ(route.value()->gateway, QHostAddress(QStringLiteral("192.168.1.1")));
    EXPECT_EQ(route.value()->interfaceName, QStringLiteral("wlp2s0"));
    EXPECT_EQ(route.value()->metric, 600);
}

TEST(RouteTable, LowestMetricWinsAmongDefaultRoutes) {
    const QString table = kHeader + QStringLiteral(
                                        "enp0s31f6\t00000000\t0100000A\t0003\t0\t0\t100\t00000000\t0\t0\t0\n"
                                        "wlan0\t00000000\t01010A0A\t0003\t0\t0\t50\t00000000\t0\t0\t0\n"
                                        "wwan0\t00000000\t01020A0A\t0003\t0\t0\t50\t00000000\t0\t0\t0\n");
    const auto route = parseDefaultRoute(table);
    ASSERT_TRUE(route.ok()) << errorText(route.error());
    ASSERT_TRUE(route.value().has_value());
    EXPECT_EQ(route.value()->gateway, QHostAddress(QStringLiteral("10.10.1.1")));
    EXPECT_EQ(route.value()->interfaceName, QStringLiteral("wlan0"));
}

TEST(RouteTable, RoutesThatAreDownOrWithoutGatewayAreNotDefaultRoutes) {
    const QString table = kHeader + QStringLiteral(
                                        // up, but no gateway (a point-to-point link)
                                        "ppp0\t00000000\t00000000\t0001\t0\t0\t0\t00000000\t0\t0\t0\n"
                                        // a gateway, but not up
                                        "wlan0\t00000000\t0101A8C0\t0002\t0\t0\t0\t00000000\t0\t0\t0\n"
                                        // up with a gateway, but to one network only
                                        "wlan0\t0000000A\t0101A8C0\t0003\t0\t0\t0\t000000FF\t0\t0\t0\n");
    const auto route = parseDefaultRoute(table);
    ASSERT_TRUE(route.ok()) << errorText(route.error());
    EXPECT_FALSE(route.value().has_value());
}

TEST(RouteTable, HeaderAloneMeansNoDefaultRoute) {
    const auto route = parseDefaultRoute(kHeader);
    ASSERT_TRUE(route.ok()) << errorText(route.error());
    EXPECT_FALSE(route.value().has_value());
}

TEST(RouteTable, EmptyTextIsAnError) {
    const auto route = parseDefaultRoute(QStringLiteral("\n\n"));
    ASSERT_FALSE(route.ok());
    EXPECT_EQ(route.error()->code, 22);
    EXPECT_EQ(route.error()->text,
              QStringLiteral("the routing table is empty: not even its header line is there"));
}

TEST(RouteTable, HeaderWithoutAGatewayColumnIsAnErrorNamingIt) {
    const auto route = parseDefaultRoute(QStringLiteral("Iface\tDestination\tFlags\tMetric\tMask\n"));
    ASSERT_FALSE(route.ok());
    EXPECT_EQ(route.error()->text,
              QStringLiteral("routing table line 1: the header names no column \"Gateway\""));
}

TEST(RouteTable, ShortLineIsAnErrorNamingItsLine) {
    const QString table = kHeader + QStringLiteral(
                                        "wlan0\t00000000\t01010A0A\t0003\t0\t0\t50\t00000000\t0\t0\t0\n"
                                        "wlan0\t00000000\t01010A0A\n");
    const auto route = parseDefaultRoute(table);
    ASSERT_FALSE(route.ok());
    EXPECT_EQ(route.error()->text,
              QStringLiteral("routing table line 3: 3 fields where the header names 11"));
}

TEST(RouteTable, GatewayThatIsNotHexadecimalIsAnErrorNamingItsLine) {
    const QString table =
        kHeader + QStringLiteral("wlan0\t00000000\t10.0.0.1\t0003\t0\t0\t50\t00000000\t0\t0\t0\n");
    const auto route = parseDefaultRoute(table);
    ASSERT_FALSE(route.ok());
    EXPECT_EQ(
        route.error()->text,
        QStringLiteral("routing table line 2: Gateway \"10.0.0.1\" is not a hexadecimal number of 32 bits"));
}

TEST(RouteTable, NegativeMetricIsAnError) {
    const QString table =
        kHeader + QStringLiteral("wlan0\t00000000\t01010A0A\t0003\t0\t0\t-1\t00000000\t0\t0\t0\n");
    const auto route = parseDefaultRoute(table);
    ASSERT_FALSE(route.ok());
    EXPECT_EQ(route.error()->text, QStringLiteral("routing table line 2: Metric \"-1\" is not a number"));
}

TEST(RouteTable, ReadsTheTableFromAFile) {
    QTemporaryDir folder;
    ASSERT_TRUE(folder.isValid());
    const QString path = folder.filePath(QStringLiteral("route"));
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(
        (kHeader + QStringLiteral("eth0\t00000000\t0102A8C0\t0003\t0\t0\t0\t00000000\t0\t0\t0\n")).toUtf8());
    file.close();
    const auto route = readDefaultRoute(path);
    ASSERT_TRUE(route.ok()) << errorText(route.error());
    ASSERT_TRUE(route.value().has_value());
    EXPECT_EQ(route.value()->gateway, QHostAddress(QStringLiteral("192.168.2.1")));
}

TEST(RouteTable, FileErrorsNameTheFile) {
    const auto missing = readDefaultRoute(QStringLiteral("/nonexistent/route"));
    ASSERT_FALSE(missing.ok());
    EXPECT_EQ(missing.error()->code, 5);
    EXPECT_TRUE(missing.error()->text.startsWith(
        QStringLiteral("cannot read the routing table /nonexistent/route: ")))
        << errorText(missing.error());

    QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("route"));
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("not a routing table\n");
    file.close();
    const auto bad = readDefaultRoute(path);
    ASSERT_FALSE(bad.ok());
    EXPECT_EQ(bad.error()->text,
              path + QStringLiteral(": routing table line 1: the header names no column \"Iface\""));
}
