// The probes on a real network: the private one of netlab.sh, where the client's gateway is
// router 1 (10.10.1.1), behind it router 2 (10.10.2.1), both translating addresses, and behind
// them the servers (10.10.3.2: DNS and HTTP; 10.10.3.3 drops everything). A second client, whose
// kernel refuses ICMP datagram sockets, hangs on router 1 too (10.10.4.1). Where the kernel has
// IPv6 the links carry it as well: router 1 is 2001:db8:1::1 and fe80::1 on the client's wlan0,
// the servers 2001:db8:3::2 (2001:db8:3::3 drops everything). Nothing leaves it.
#include "platform/wifi/linux/Addresses.h"
#include "platform/wifi/linux/CancelToken.h"
#include "platform/wifi/linux/DnsProbe.h"
#include "platform/wifi/linux/HttpProbe.h"
#include "platform/wifi/linux/IcmpEcho.h"
#include "platform/wifi/linux/PingStatistics.h"
#include "platform/wifi/linux/RouteTable.h"
#include "platform/wifi/linux/SecondHop.h"

#include "unittests/linux/probes/ProbeLab.h"
#include "unittests/linux/probes/QtPrinting.h"

#include <QFile>

#include <fcntl.h>
#include <net/if.h>
#include <sched.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <thread>

using namespace platform::linuxwifi;
using namespace std::chrono_literals;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

namespace {

const QHostAddress kGateway(QStringLiteral("10.10.1.1"));
const QHostAddress kSecondRouter(QStringLiteral("10.10.2.1"));
const QHostAddress kServer(QStringLiteral("10.10.3.2"));
const QHostAddress kBlackHole(QStringLiteral("10.10.3.3"));
const QHostAddress kNobody(QStringLiteral("10.10.1.77"));  // on the client's link, but no one is there
const QHostAddress kRefusingClientsGateway(QStringLiteral("10.10.4.1"));

const QHostAddress kGateway6(QStringLiteral("2001:db8:1::1"));
const QHostAddress kLinkLocalGateway(QStringLiteral("fe80::1%wlan0"));
const QHostAddress kServer6(QStringLiteral("2001:db8:3::2"));
const QHostAddress kBlackHole6(QStringLiteral("2001:db8:3::3"));
const QHostAddress kNobody6(QStringLiteral("2001:db8:1::77"));
const QHostAddress kRefusingClientsGateway6(QStringLiteral("2001:db8:4::1"));
const QHostAddress kRefusingClientsLinkLocalGateway(QStringLiteral("fe80::1%wlan1"));

// How long after a cancel a probe may take to return: "at once", with room for a busy machine.
constexpr milliseconds kPromptly{250};

// Writes a file of the network (a kernel setting, the resolver configuration) for one test, and
// puts back what it held.
class FileSetting {
  public:
    FileSetting(const QString& path, const QByteArray& content) : path_(path) {
        QFile file(path_);
        if (file.open(QIODevice::ReadOnly)) {
            previous_ = file.readAll();
        }
        write(content);
    }
    ~FileSetting() { write(previous_); }
    FileSetting(const FileSetting&) = delete;
    FileSetting& operator=(const FileSetting&) = delete;

  private:
    void write(const QByteArray& content) {
        QFile file(path_);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Unbuffered))
            << path_.toStdString() << ": " << file.errorString().toStdString();
        ASSERT_EQ(file.write(content), content.size())
            << path_.toStdString() << ": " << file.errorString().toStdString();
    }

    QString path_;
    QByteArray previous_;
};

// Runs job on a thread in a network of its own that has nothing, not even a route, and answers its
// outcome.
template <class Job>
auto inEmptyNetwork(Job job) {
    std::optional<decltype(job())> outcome;
    std::thread lonely([&] {
        ASSERT_EQ(::unshare(CLONE_NEWNET), 0) << "cannot make an empty network";
        outcome = job();
    });
    lonely.join();
    return outcome;
}

// Runs job on a thread that has entered the refusing client's network, and answers its outcome.
template <class Job>
auto inRefusingClient(Job job) {
    std::optional<decltype(job())> outcome;
    std::thread client([&] {
        const int network =
            ::open(qPrintable(qEnvironmentVariable("PROBE_LAB_REFUSING_NETNS")), O_RDONLY | O_CLOEXEC);
        ASSERT_GE(network, 0) << "the refusing client's network is gone";
        const int entered = ::setns(network, CLONE_NEWNET);
        ::close(network);
        ASSERT_EQ(entered, 0) << "cannot enter the refusing client's network";
        outcome = job();
    });
    client.join();
    return outcome;
}

FileSetting useNameServer(const QByteArray& resolvConf) {
    return FileSetting(probelab::labDirectory() + QStringLiteral("/resolv.conf"), resolvConf);
}

PingRequest request(const QHostAddress& target, int count, milliseconds interval, milliseconds timeout) {
    PingRequest request;
    request.target = target;
    request.count = count;
    request.interval = interval;
    request.replyTimeout = timeout;
    return request;
}

// Runs job on a thread of its own, cancels the token after delay, and answers the job's outcome and
// how long it took to return after the cancel.
template <class Job>
auto cancelAfter(CancelToken& token, milliseconds delay, Job job) {
    auto outcome = std::async(std::launch::async, job);
    std::this_thread::sleep_for(delay);
    EXPECT_EQ(outcome.wait_for(0ms), std::future_status::timeout) << "the probe ended before the cancel";
    const auto cancelledAt = steady_clock::now();
    token.cancel();
    auto result = outcome.get();
    return std::pair{result, std::chrono::duration_cast<milliseconds>(steady_clock::now() - cancelledAt)};
}

std::string errorText(const platform::ErrorRef& error) {
    return error ? error->description().toStdString() : std::string("no error");
}

// fe80::1 with the index of the interface as its scope, rather than its name.
QHostAddress linkLocalByIndex(const char* interfaceName) {
    QHostAddress address(QStringLiteral("fe80::1"));
    address.setScopeId(QString::number(::if_nametoindex(interfaceName)));
    return address;
}

}  // namespace

// The second statement of a live IPv6 test: skips it where the network has no IPv6.
#define REQUIRE_LAB_IPV6()                                                                     \
    do {                                                                                       \
        if (qEnvironmentVariable("PROBE_LAB_IPV6") != QLatin1String("1")) {                    \
            GTEST_SKIP() << "this kernel has no IPv6 (no /proc/sys/net/ipv6), so neither has " \
                            "the private network";                                             \
        }                                                                                      \
    } while (false)

// ---- ICMP echo --------------------------------------------------------------------------------

TEST(LiveProbesPing, GatewayAnswersAllTenRequests) {
    RUN_INSIDE_PROBE_LAB();
    CancelToken token;
    const auto outcome = pingSeries(request(kGateway, 10, 20ms, 1000ms), token, QString());
    ASSERT_TRUE(outcome.ok()) << errorText(outcome.error());
    const PingSeries& series = outcome.value();
    EXPECT_EQ(series.sent, 10);
    EXPECT_EQ(series.roundTripsMs.size(), 10u);
    EXPECT_EQ(series.interfaceName, QStringLiteral("wlan0"));
    EXPECT_FALSE(series.usedPingProgram);

    const auto stats = pingResult(series.interfaceName, series.sent, series.roundTripsMs, platform::Date());
    ASSERT_TRUE(stats);
    EXPECT_EQ(stats->count, 10);
    EXPECT_EQ(stats->packetLoss, 0.0);
    EXPECT_GT(stats->min, 0.0);
    EXPECT_LE(stats->min, stats->avg);
    EXPECT_LE(stats->avg, stats->max);
    EXPECT_LT(stats->max, 1000.0);
    EXPECT_EQ(stats->interfaceName, QStringLiteral("wlan0"));
}

TEST(LiveProbesPing, ServerBehindBothRoutersAnswers) {
    RUN_INSIDE_PROBE_LAB();
    CancelToken token;
    const auto outcome = pingSeries(request(kServer, 3, 20ms, 1000ms), token, QString());
    ASSERT_TRUE(outcome.ok()) << errorText(outcome.error());
    EXPECT_EQ(outcome.value().roundTripsMs.size(), 3u);
}

TEST(LiveProbesPing, MissingGatewayIsAValidSeriesWithAllLost) {
    RUN_INSIDE_PROBE_LAB();
    CancelToken token;
    const auto start = steady_clock::now();
    const auto outcome = pingSeries(request(kNobody, 4, 20ms, 300ms), token, QString());
    const auto took = steady_clock::now() - start;
    ASSERT_TRUE(outcome.ok()) << errorText(outcome.error());
    EXPECT_EQ(outcome.value().sent, 4);
    EXPECT_TRUE(outcome.value().roundTripsMs.empty());
    EXPECT_EQ(pingResult(std::nullopt, outcome.value().sent, outcome.value().roundTripsMs, platform::Date())
                  ->packetLoss,
              100.0);
    // The last request's reply timeout bounds the series: 3 intervals and one timeout.
    EXPECT_GE(took, 360ms);
    EXPECT_LT(took, 1500ms);
}

TEST(LiveProbesPing, SilentlyDroppedRequestsAreAllLost) {
    RUN_INSIDE_PROBE_LAB();
    CancelToken token;
    const auto outcome = pingSeries(request(kBlackHole, 3, 20ms, 200ms), token, QString());
    ASSERT_TRUE(outcome.ok()) << errorText(outcome.error());
    EXPECT_EQ(outcome.value().sent, 3);
    EXPECT_TRUE(outcome.value().roundTripsMs.empty());
}

TEST(LiveProbesPing, RefusedSocketWithoutPingProgramIsError13NamingTheSetting) {
    RUN_INSIDE_PROBE_LAB();
    CancelToken token;
    const auto outcome = inRefusingClient(
        [&] { return pingSeries(request(kRefusingClientsGateway, 3, 20ms, 500ms), token, QString()); });
    ASSERT_TRUE(outcome.has_value());
    ASSERT_FALSE(outcome->ok());
    EXPECT_EQ(outcome->error()->domain, QStringLiteral("WiFiDiagnostics"));
    EXPECT_EQ(outcome->error()->code, 13);
    EXPECT_TRUE(outcome->error()->text.startsWith(QStringLiteral(
        "the kernel refuses ICMP datagram sockets to this user (Permission denied): the setting "
        "net.ipv4.ping_group_range (now ")))
        << errorText(outcome->error());
    EXPECT_TRUE(outcome->error()->text.contains(QStringLiteral("and no ping program is installed")))
        << errorText(outcome->error());
}

TEST(LiveProbesPing, RefusedSocketFallsBackToThePingProgram) {
    RUN_INSIDE_PROBE_LAB();
    const QString program = systemPingProgram();
    if (program.isEmpty()) {
        GTEST_SKIP() << "no ping program is installed (Debian package iputils-ping)";
    }
    CancelToken token;
    const auto outcome = inRefusingClient(
        [&] { return pingSeries(request(kRefusingClientsGateway, 3, 20ms, 1000ms), token, program); });
    ASSERT_TRUE(outcome.has_value());
    ASSERT_TRUE(outcome->ok()) << errorText(outcome->error());
    EXPECT_TRUE(outcome->value().usedPingProgram);
    EXPECT_EQ(outcome->value().sent, 3);
    EXPECT_EQ(outcome->value().roundTripsMs.size(), 3u);
    EXPECT_EQ(outcome->value().interfaceName, QStringLiteral("wlan1"));
}

TEST(LiveProbesPing, PingProgramCountsLostRequests) {
    RUN_INSIDE_PROBE_LAB();
    const QString program = systemPingProgram();
    if (program.isEmpty()) {
        GTEST_SKIP() << "no ping program is installed (Debian package iputils-ping)";
    }
    CancelToken token;
    const auto outcome = pingSeriesWithProgram(request(kBlackHole, 2, 200ms, 300ms), token, program);
    ASSERT_TRUE(outcome.ok()) << errorText(outcome.error());
    EXPECT_EQ(outcome.value().sent, 2);
    EXPECT_TRUE(outcome.value().roundTripsMs.empty());
}

TEST(LiveProbesPing, NoRouteToTheTargetIsError65) {
    RUN_INSIDE_PROBE_LAB();
    CancelToken token;
    const auto outcome =
        inEmptyNetwork([&] { return pingSeries(request(kGateway, 3, 20ms, 500ms), token, QString()); });
    ASSERT_TRUE(outcome.has_value());
    ASSERT_FALSE(outcome->ok());
    EXPECT_EQ(outcome->error()->code, 65);
    EXPECT_EQ(outcome->error()->text,
              QStringLiteral("there is no route to 10.10.1.1: Network is unreachable"));
}

TEST(LiveProbesPing, CancelEndsASeriesAtOnce) {
    RUN_INSIDE_PROBE_LAB();
    CancelToken token;
    const auto [outcome, afterCancel] = cancelAfter(
        token, 300ms, [&] { return pingSeries(request(kBlackHole, 10, 500ms, 1000ms), token, QString()); });
    ASSERT_FALSE(outcome.ok());
    EXPECT_EQ(outcome.error()->code, 125) << errorText(outcome.error());
    EXPECT_LT(afterCancel, kPromptly);
}

TEST(LiveProbesPing, CancelEndsThePingProgramAtOnce) {
    RUN_INSIDE_PROBE_LAB();
    const QString program = systemPingProgram();
    if (program.isEmpty()) {
        GTEST_SKIP() << "no ping program is installed (Debian package iputils-ping)";
    }
    CancelToken token;
    const auto [outcome, afterCancel] = cancelAfter(token, 300ms, [&] {
        return pingSeriesWithProgram(request(kBlackHole, 10, 500ms, 1000ms), token, program);
    });
    ASSERT_FALSE(outcome.ok());
    EXPECT_EQ(outcome.error()->code, 125) << errorText(outcome.error());
    EXPECT_LT(afterCancel, kPromptly);
}

// ---- ICMPv6 echo ------------------------------------------------------------------------------

TEST(LiveProbesPingIPv6, GatewayAnswersAllRequests) {
    RUN_INSIDE_PROBE_LAB();
    REQUIRE_LAB_IPV6();
    CancelToken token;
    const auto outcome = pingSeries(request(kGateway6, 5, 20ms, 1000ms), token, QString());
    ASSERT_TRUE(outcome.ok()) << errorText(outcome.error());
    EXPECT_EQ(outcome.value().sent, 5);
    EXPECT_EQ(outcome.value().roundTripsMs.size(), 5u);
    EXPECT_EQ(outcome.value().interfaceName, QStringLiteral("wlan0"));
    EXPECT_FALSE(outcome.value().usedPingProgram);
    for (const double roundTrip : outcome.value().roundTripsMs) {
        EXPECT_GT(roundTrip, 0.0);
        EXPECT_LT(roundTrip, 1000.0);
    }
}

TEST(LiveProbesPingIPv6, LinkLocalGatewayAnswersOnTheInterfaceOfItsScope) {
    RUN_INSIDE_PROBE_LAB();
    REQUIRE_LAB_IPV6();
    CancelToken token;
    const auto byName = pingSeries(request(kLinkLocalGateway, 3, 20ms, 1000ms), token, QString());
    ASSERT_TRUE(byName.ok()) << errorText(byName.error());
    EXPECT_EQ(byName.value().roundTripsMs.size(), 3u);
    EXPECT_EQ(byName.value().interfaceName, QStringLiteral("wlan0"));
    EXPECT_FALSE(byName.value().usedPingProgram);

    const auto byIndex = pingSeries(request(linkLocalByIndex("wlan0"), 3, 20ms, 1000ms), token, QString());
    ASSERT_TRUE(byIndex.ok()) << errorText(byIndex.error());
    EXPECT_EQ(byIndex.value().roundTripsMs.size(), 3u);
    EXPECT_EQ(byIndex.value().interfaceName, QStringLiteral("wlan0"));
}

TEST(LiveProbesPingIPv6, LinkLocalGatewayScopedToAnotherInterfaceIsThereOnly) {
    RUN_INSIDE_PROBE_LAB();
    REQUIRE_LAB_IPV6();
    // The gateway's address on the loopback's link, which has no link-local route: the scope
    // alone decides the link, so wlan0 is not tried.
    CancelToken token;
    const auto outcome =
        pingSeries(request(QHostAddress(QStringLiteral("fe80::1%lo")), 2, 20ms, 200ms), token, QString());
    ASSERT_FALSE(outcome.ok());
    EXPECT_EQ(outcome.error()->code, 65);
    EXPECT_EQ(outcome.error()->text,
              QStringLiteral("there is no route to fe80::1%lo: Network is unreachable"));
}

TEST(LiveProbesPingIPv6, ServerBehindBothRoutersAnswers) {
    RUN_INSIDE_PROBE_LAB();
    REQUIRE_LAB_IPV6();
    CancelToken token;
    const auto outcome = pingSeries(request(kServer6, 3, 20ms, 1000ms), token, QString());
    ASSERT_TRUE(outcome.ok()) << errorText(outcome.error());
    EXPECT_EQ(outcome.value().roundTripsMs.size(), 3u);
    EXPECT_EQ(outcome.value().interfaceName, QStringLiteral("wlan0"));
}

TEST(LiveProbesPingIPv6, SilentlyDroppedRequestsAreAllLost) {
    RUN_INSIDE_PROBE_LAB();
    REQUIRE_LAB_IPV6();
    CancelToken token;
    const auto outcome = pingSeries(request(kBlackHole6, 3, 20ms, 200ms), token, QString());
    ASSERT_TRUE(outcome.ok()) << errorText(outcome.error());
    EXPECT_EQ(outcome.value().sent, 3);
    EXPECT_TRUE(outcome.value().roundTripsMs.empty());
}

TEST(LiveProbesPingIPv6, MissingNeighbourIsAValidSeriesWithAllLost) {
    RUN_INSIDE_PROBE_LAB();
    REQUIRE_LAB_IPV6();
    CancelToken token;
    const auto start = steady_clock::now();
    const auto outcome = pingSeries(request(kNobody6, 4, 20ms, 300ms), token, QString());
    const auto took = steady_clock::now() - start;
    ASSERT_TRUE(outcome.ok()) << errorText(outcome.error());
    EXPECT_EQ(outcome.value().sent, 4);
    EXPECT_TRUE(outcome.value().roundTripsMs.empty());
    EXPECT_GE(took, 360ms);
    EXPECT_LT(took, 1500ms);
}

TEST(LiveProbesPingIPv6, OutgoingInterfaceOfIPv6TargetsIsWlan0) {
    RUN_INSIDE_PROBE_LAB();
    REQUIRE_LAB_IPV6();
    for (const QHostAddress& target : {kGateway6, kServer6, kLinkLocalGateway, linkLocalByIndex("wlan0")}) {
        const auto name = outgoingInterface(target);
        ASSERT_TRUE(name.ok()) << target.toString().toStdString() << ": " << errorText(name.error());
        EXPECT_EQ(name.value(), QStringLiteral("wlan0")) << target.toString().toStdString();
    }
    const auto refusing = inRefusingClient([] { return outgoingInterface(kServer6); });
    ASSERT_TRUE(refusing.has_value());
    ASSERT_TRUE(refusing->ok()) << errorText(refusing->error());
    EXPECT_EQ(refusing->value(), QStringLiteral("wlan1"));
}

TEST(LiveProbesPingIPv6, NoRouteToTheTargetIsError65) {
    RUN_INSIDE_PROBE_LAB();
    REQUIRE_LAB_IPV6();
    CancelToken token;
    const auto outcome =
        inEmptyNetwork([&] { return pingSeries(request(kServer6, 3, 20ms, 500ms), token, QString()); });
    ASSERT_TRUE(outcome.has_value());
    ASSERT_FALSE(outcome->ok());
    EXPECT_EQ(outcome->error()->code, 65);
    EXPECT_EQ(outcome->error()->text,
              QStringLiteral("there is no route to 2001:db8:3::2: no IPv6 address of this system can reach "
                             "it (Cannot assign requested address)"));
}

TEST(LiveProbesPingIPv6, PingProgramMeasuresGlobalAndLinkLocalTargets) {
    RUN_INSIDE_PROBE_LAB();
    REQUIRE_LAB_IPV6();
    const QString program = systemPingProgram();
    if (program.isEmpty()) {
        GTEST_SKIP() << "no ping program is installed (Debian package iputils-ping)";
    }
    CancelToken token;
    for (const QHostAddress& target : {kServer6, kLinkLocalGateway, linkLocalByIndex("wlan0")}) {
        const auto outcome = pingSeriesWithProgram(request(target, 2, 200ms, 1000ms), token, program);
        ASSERT_TRUE(outcome.ok()) << target.toString().toStdString() << ": " << errorText(outcome.error());
        EXPECT_TRUE(outcome.value().usedPingProgram);
        EXPECT_EQ(outcome.value().sent, 2) << target.toString().toStdString();
        EXPECT_EQ(outcome.value().roundTripsMs.size(), 2u) << target.toString().toStdString();
        EXPECT_EQ(outcome.value().interfaceName, QStringLiteral("wlan0"));
    }
    const auto lost = pingSeriesWithProgram(request(kBlackHole6, 2, 200ms, 300ms), token, program);
    ASSERT_TRUE(lost.ok()) << errorText(lost.error());
    EXPECT_EQ(lost.value().sent, 2);
    EXPECT_TRUE(lost.value().roundTripsMs.empty());
}

TEST(LiveProbesPingIPv6, RefusedSocketWithoutPingProgramIsError13NamingTheSetting) {
    RUN_INSIDE_PROBE_LAB();
    REQUIRE_LAB_IPV6();
    CancelToken token;
    const auto outcome = inRefusingClient(
        [&] { return pingSeries(request(kRefusingClientsGateway6, 3, 20ms, 500ms), token, QString()); });
    ASSERT_TRUE(outcome.has_value());
    ASSERT_FALSE(outcome->ok());
    EXPECT_EQ(outcome->error()->code, 13);
    EXPECT_TRUE(outcome->error()->text.startsWith(QStringLiteral(
        "the kernel refuses ICMPv6 datagram sockets to this user (Permission denied): the setting "
        "net.ipv4.ping_group_range (now ")))
        << errorText(outcome->error());
}

TEST(LiveProbesPingIPv6, RefusedSocketFallsBackToThePingProgram) {
    RUN_INSIDE_PROBE_LAB();
    REQUIRE_LAB_IPV6();
    const QString program = systemPingProgram();
    if (program.isEmpty()) {
        GTEST_SKIP() << "no ping program is installed (Debian package iputils-ping)";
    }
    CancelToken token;
    for (const QHostAddress& target :
         {kRefusingClientsGateway6, kRefusingClientsLinkLocalGateway, kServer6}) {
        const auto outcome =
            inRefusingClient([&] { return pingSeries(request(target, 3, 20ms, 1000ms), token, program); });
        ASSERT_TRUE(outcome.has_value());
        ASSERT_TRUE(outcome->ok()) << target.toString().toStdString() << ": " << errorText(outcome->error());
        EXPECT_TRUE(outcome->value().usedPingProgram);
        EXPECT_EQ(outcome->value().sent, 3) << target.toString().toStdString();
        EXPECT_EQ(outcome->value().roundTripsMs.size(), 3u) << target.toString().toStdString();
        EXPECT_EQ(outcome->value().interfaceName, QStringLiteral("wlan1"));
    }
}

TEST(LiveProbesPingIPv6, CancelEndsASeriesAtOnce) {
    RUN_INSIDE_PROBE_LAB();
    REQUIRE_LAB_IPV6();
    CancelToken token;
    const auto [outcome, afterCancel] = cancelAfter(
        token, 300ms, [&] { return pingSeries(request(kBlackHole6, 10, 500ms, 1000ms), token, QString()); });
    ASSERT_FALSE(outcome.ok());
    EXPECT_EQ(outcome.error()->code, 125) << errorText(outcome.error());
    EXPECT_LT(afterCancel, kPromptly);
}

// ---- Second hop and routes ------------------------------------------------------------------

TEST(LiveProbesRoute, DefaultRouteIsTheGatewayOnWlan0) {
    RUN_INSIDE_PROBE_LAB();
    const auto route = readDefaultRoute();
    ASSERT_TRUE(route.ok()) << errorText(route.error());
    ASSERT_TRUE(route.value().has_value());
    EXPECT_EQ(route.value()->gateway, kGateway);
    EXPECT_EQ(route.value()->interfaceName, QStringLiteral("wlan0"));
}

TEST(LiveProbesRoute, SecondHopBehindTwoRoutersIsPrivateSoDoubleNat) {
    RUN_INSIDE_PROBE_LAB();
    CancelToken token;
    const auto answer = findSecondHop(kServer, 1000ms, token);
    ASSERT_TRUE(answer.ok()) << errorText(answer.error());
    ASSERT_TRUE(answer.value().router.has_value());
    EXPECT_EQ(*answer.value().router, kSecondRouter);
    EXPECT_FALSE(answer.value().targetAnswered);
    EXPECT_TRUE(isDoubleNat(kGateway, *answer.value().router));
}

TEST(LiveProbesRoute, TargetWithinTwoHopsAnswersItself) {
    RUN_INSIDE_PROBE_LAB();
    CancelToken token;
    const auto answer = findSecondHop(kGateway, 1000ms, token);
    ASSERT_TRUE(answer.ok()) << errorText(answer.error());
    EXPECT_FALSE(answer.value().router.has_value());
    EXPECT_TRUE(answer.value().targetAnswered);
}

TEST(LiveProbesRoute, NoSecondHopWhenNothingAnswersInTime) {
    RUN_INSIDE_PROBE_LAB();
    CancelToken token;
    const auto start = steady_clock::now();
    const auto answer = findSecondHop(kNobody, 300ms, token);
    ASSERT_TRUE(answer.ok()) << errorText(answer.error());
    EXPECT_FALSE(answer.value().router.has_value());
    EXPECT_FALSE(answer.value().targetAnswered);
    EXPECT_GE(steady_clock::now() - start, 300ms);
}

TEST(LiveProbesRoute, SecondHopWhereThePingSocketIsRefusedIsFoundWithUdp) {
    RUN_INSIDE_PROBE_LAB();
    CancelToken token;
    const auto answer = inRefusingClient([&] { return findSecondHop(kServer, 1000ms, token); });
    ASSERT_TRUE(answer.has_value());
    ASSERT_TRUE(answer->ok()) << errorText(answer->error());
    ASSERT_TRUE(answer->value().router.has_value());
    EXPECT_EQ(*answer->value().router, kSecondRouter);
    EXPECT_FALSE(answer->value().targetAnswered);
}

TEST(LiveProbesRoute, ATargetWithinTwoHopsAnswersAUdpProbeWithItsClosedPort) {
    RUN_INSIDE_PROBE_LAB();
    CancelToken token;
    const auto answer =
        inRefusingClient([&] { return findSecondHop(kRefusingClientsGateway, 1000ms, token); });
    ASSERT_TRUE(answer.has_value());
    ASSERT_TRUE(answer->ok()) << errorText(answer->error());
    EXPECT_FALSE(answer->value().router.has_value());
    EXPECT_TRUE(answer->value().targetAnswered);
}

// ---- DNS ------------------------------------------------------------------------------------

TEST(LiveProbesDns, ProbeNameResolvesThroughTheNetworksServer) {
    RUN_INSIDE_PROBE_LAB();
    CancelToken token;
    const auto addresses = resolveHost(QStringLiteral("probe.test"), 2000ms, token);
    ASSERT_TRUE(addresses.ok()) << errorText(addresses.error());
    EXPECT_EQ(addresses.value(), QList<QHostAddress>{kServer});
}

TEST(LiveProbesDns, NameThatDoesNotExistIsError8WithTheResolversText) {
    RUN_INSIDE_PROBE_LAB();
    CancelToken token;
    const auto addresses = resolveHost(QStringLiteral("nowhere.test"), 2000ms, token);
    ASSERT_FALSE(addresses.ok());
    EXPECT_EQ(addresses.error()->code, 8);
    EXPECT_EQ(addresses.error()->text,
              QStringLiteral("nowhere.test does not resolve: Name or service not known"));
}

TEST(LiveProbesDns, NoServerWhereTheConfigurationPointsIsError8) {
    RUN_INSIDE_PROBE_LAB();
    // Router 1 runs no name server: it answers "port unreachable" at once.
    const FileSetting noServer = useNameServer("nameserver 10.10.1.1\noptions timeout:1 attempts:1\n");
    CancelToken token;
    const auto addresses = resolveHost(QStringLiteral("probe.test"), 3000ms, token);
    ASSERT_FALSE(addresses.ok());
    EXPECT_EQ(addresses.error()->code, 8) << errorText(addresses.error());
    EXPECT_TRUE(addresses.error()->text.startsWith(QStringLiteral("probe.test does not resolve: ")))
        << errorText(addresses.error());
}

TEST(LiveProbesDns, SilentServerTimesOutWithoutWaitingForTheResolver) {
    RUN_INSIDE_PROBE_LAB();
    // The resolver itself would wait 2 s; the probe gives up after its own 300 ms.
    const FileSetting silent = useNameServer("nameserver 10.10.3.3\noptions timeout:2 attempts:1\n");
    CancelToken token;
    const auto start = steady_clock::now();
    const auto addresses = resolveHost(QStringLiteral("probe.test"), 300ms, token);
    const auto took = steady_clock::now() - start;
    ASSERT_FALSE(addresses.ok());
    EXPECT_EQ(addresses.error()->code, 60) << errorText(addresses.error());
    EXPECT_EQ(addresses.error()->text, QStringLiteral("resolving probe.test took longer than 300 ms"));
    EXPECT_GE(took, 300ms);
    EXPECT_LT(took, 300ms + kPromptly);
}

TEST(LiveProbesDns, CancelEndsAResolutionAtOnce) {
    RUN_INSIDE_PROBE_LAB();
    const FileSetting silent = useNameServer("nameserver 10.10.3.3\noptions timeout:2 attempts:1\n");
    CancelToken token;
    const auto [addresses, afterCancel] =
        cancelAfter(token, 200ms, [&] { return resolveHost(QStringLiteral("probe.test"), 5000ms, token); });
    ASSERT_FALSE(addresses.ok());
    EXPECT_EQ(addresses.error()->code, 125) << errorText(addresses.error());
    EXPECT_LT(afterCancel, kPromptly);
}

// ---- HTTP -----------------------------------------------------------------------------------

TEST(LiveProbesHttp, ReachAnswersAnyHttpStatus) {
    RUN_INSIDE_PROBE_LAB();
    HttpProbe probe;
    CancelToken token;
    const auto reached = probe.reach(QUrl(QStringLiteral("http://probe.test/generate_204")), 2000ms, token);
    ASSERT_TRUE(reached.ok()) << errorText(reached.error());
    EXPECT_EQ(reached.value().status, 204);
    const auto missing = probe.reach(QUrl(QStringLiteral("http://probe.test/missing")), 2000ms, token);
    ASSERT_TRUE(missing.ok()) << errorText(missing.error());
    EXPECT_EQ(missing.value().status, 404);
}

TEST(LiveProbesHttp, ReachWorksFromAPlainThread) {
    RUN_INSIDE_PROBE_LAB();
    HttpProbe probe;
    CancelToken token;
    std::optional<ProbeOutcome<HttpReach>> reached;
    std::thread worker(
        [&] { reached = probe.reach(QUrl(QStringLiteral("http://10.10.3.2/generate_204")), 2000ms, token); });
    worker.join();
    ASSERT_TRUE(reached->ok()) << errorText(reached->error());
    EXPECT_EQ(reached->value().status, 204);
}

TEST(LiveProbesHttp, Retrieve204AsExpectedIsNoFinding) {
    RUN_INSIDE_PROBE_LAB();
    HttpProbe probe;
    CancelToken token;
    const auto got = probe.retrieve(QUrl(QStringLiteral("http://probe.test/generate_204")), 204, std::nullopt,
                                    2000ms, token);
    ASSERT_TRUE(got.ok()) << errorText(got.error());
    EXPECT_EQ(got.value().status, 204);
    EXPECT_FALSE(got.value().portalLike());
    EXPECT_EQ(got.value().finding, QString());
    EXPECT_FALSE(got.value().location.has_value());
}

TEST(LiveProbesHttp, RetrieveExpectedBodyIsNoFinding) {
    RUN_INSIDE_PROBE_LAB();
    HttpProbe probe;
    CancelToken token;
    const auto got = probe.retrieve(QUrl(QStringLiteral("http://probe.test/success")), 200,
                                    QByteArray("Success\n"), 2000ms, token);
    ASSERT_TRUE(got.ok()) << errorText(got.error());
    EXPECT_EQ(got.value().body, QByteArray("Success"));
    EXPECT_TRUE(got.value().bodyExpected);
    EXPECT_FALSE(got.value().portalLike());
}

TEST(LiveProbesHttp, RedirectIsPortalLikeWithItsLocation) {
    RUN_INSIDE_PROBE_LAB();
    HttpProbe probe;
    CancelToken token;
    const auto got =
        probe.retrieve(QUrl(QStringLiteral("http://probe.test/redirect")), 204, std::nullopt, 2000ms, token);
    ASSERT_TRUE(got.ok()) << errorText(got.error());
    EXPECT_TRUE(got.value().portalLike());
    EXPECT_EQ(got.value().status, 302);
    EXPECT_EQ(got.value().location, QStringLiteral("http://portal.test/login"));
    EXPECT_EQ(got.value().finding, QStringLiteral("redirected (status 302) to http://portal.test/login"));
}

TEST(LiveProbesHttp, OtherBodyIsPortalLike) {
    RUN_INSIDE_PROBE_LAB();
    HttpProbe probe;
    CancelToken token;
    const auto got = probe.retrieve(QUrl(QStringLiteral("http://probe.test/welcome")), 200,
                                    QByteArray("Success"), 2000ms, token);
    ASSERT_TRUE(got.ok()) << errorText(got.error());
    EXPECT_TRUE(got.value().statusExpected);
    EXPECT_FALSE(got.value().bodyExpected);
    EXPECT_TRUE(got.value().portalLike());
    EXPECT_EQ(got.value().finding, QStringLiteral("answered a body of 32 bytes other than the expected one"));
}

TEST(LiveProbesHttp, RefusedConnectionIsError61) {
    RUN_INSIDE_PROBE_LAB();
    HttpProbe probe;
    CancelToken token;
    const auto reached = probe.reach(QUrl(QStringLiteral("http://10.10.3.2:81/")), 2000ms, token);
    ASSERT_FALSE(reached.ok());
    EXPECT_EQ(reached.error()->code, 61) << errorText(reached.error());
    EXPECT_TRUE(reached.error()->text.startsWith(QStringLiteral("10.10.3.2:81 refused the connection")))
        << errorText(reached.error());
}

TEST(LiveProbesHttp, BlockedEndpointTimesOut) {
    RUN_INSIDE_PROBE_LAB();
    HttpProbe probe;
    CancelToken token;
    const auto start = steady_clock::now();
    const auto got = probe.retrieve(QUrl(QStringLiteral("http://10.10.3.3/generate_204")), 204, std::nullopt,
                                    400ms, token);
    const auto took = steady_clock::now() - start;
    ASSERT_FALSE(got.ok());
    EXPECT_EQ(got.error()->code, 60) << errorText(got.error());
    EXPECT_EQ(got.error()->text,
              QStringLiteral("http://10.10.3.3/generate_204 gave no answer to a GET within 400 ms"));
    EXPECT_GE(took, 400ms);
    EXPECT_LT(took, 400ms + kPromptly);
}

TEST(LiveProbesHttp, ServerThatNeverAnswersTimesOut) {
    RUN_INSIDE_PROBE_LAB();
    HttpProbe probe;
    CancelToken token;
    const auto reached = probe.reach(QUrl(QStringLiteral("http://probe.test/silent")), 400ms, token);
    ASSERT_FALSE(reached.ok());
    EXPECT_EQ(reached.error()->code, 60) << errorText(reached.error());
}

TEST(LiveProbesHttp, UnknownHostIsError8) {
    RUN_INSIDE_PROBE_LAB();
    HttpProbe probe;
    CancelToken token;
    const auto reached = probe.reach(QUrl(QStringLiteral("http://nowhere.test/")), 2000ms, token);
    ASSERT_FALSE(reached.ok());
    EXPECT_EQ(reached.error()->code, 8) << errorText(reached.error());
}

TEST(LiveProbesHttp, CancelEndsARequestAtOnceAndTheProbeStaysUsable) {
    RUN_INSIDE_PROBE_LAB();
    HttpProbe probe;
    CancelToken token;
    const auto [got, afterCancel] = cancelAfter(token, 200ms, [&] {
        return probe.retrieve(QUrl(QStringLiteral("http://probe.test/silent")), 204, std::nullopt, 5000ms,
                              token);
    });
    ASSERT_FALSE(got.ok());
    EXPECT_EQ(got.error()->code, 125) << errorText(got.error());
    EXPECT_LT(afterCancel, kPromptly);

    token.reset();
    const auto again = probe.reach(QUrl(QStringLiteral("http://probe.test/generate_204")), 2000ms, token);
    ASSERT_TRUE(again.ok()) << errorText(again.error());
    EXPECT_EQ(again.value().status, 204);
}
