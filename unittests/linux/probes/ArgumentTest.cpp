// Requests the probes refuse before touching the network, each with an error naming what is
// wrong; and what the probes do on this machine's loopback alone, so they are checked even where
// the private test network cannot be made.
#include "platform/wifi/linux/CancelToken.h"
#include "platform/wifi/linux/DnsProbe.h"
#include "platform/wifi/linux/HttpProbe.h"
#include "platform/wifi/linux/IcmpEcho.h"
#include "platform/wifi/linux/SecondHop.h"

#include "unittests/linux/probes/QtPrinting.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <thread>

using namespace platform::linuxwifi;
using namespace std::chrono_literals;

namespace {

PingRequest pingOf(const QString& target) {
    PingRequest request;
    request.target = QHostAddress(target);
    request.count = 3;
    request.interval = 10ms;
    request.replyTimeout = 100ms;
    return request;
}

void expectError(const platform::ErrorRef& error, int code, const QString& text) {
    ASSERT_TRUE(error);
    EXPECT_EQ(error->domain, QStringLiteral("WiFiDiagnostics"));
    EXPECT_EQ(error->code, code);
    EXPECT_EQ(error->text, text);
}

// A one-shot HTTP server on 127.0.0.1: answers the first request with the given response.
class LoopbackServer {
  public:
    explicit LoopbackServer(std::string response) : response_(std::move(response)) {
        listener_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        EXPECT_EQ(::bind(listener_, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        EXPECT_EQ(::listen(listener_, 1), 0);
        EXPECT_EQ(::getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &length), 0);
        port_ = ntohs(address.sin_port);
        thread_ = std::thread([this] { serve(); });
    }
    ~LoopbackServer() {
        ::shutdown(listener_, SHUT_RDWR);
        thread_.join();
        ::close(listener_);
    }
    QUrl url(const QString& path) const {
        return QUrl(QStringLiteral("http://127.0.0.1:%1%2").arg(port_).arg(path));
    }

  private:
    void serve() {
        const int connection = ::accept(listener_, nullptr, nullptr);
        if (connection < 0) {
            return;
        }
        std::string request;
        char buffer[1024];
        while (request.find("\r\n\r\n") == std::string::npos) {
            const ssize_t size = ::recv(connection, buffer, sizeof buffer, 0);
            if (size <= 0) {
                break;
            }
            request.append(buffer, static_cast<std::size_t>(size));
        }
        ::send(connection, response_.data(), response_.size(), MSG_NOSIGNAL);
        ::close(connection);
    }

    std::string response_;
    int listener_ = -1;
    quint16 port_ = 0;
    std::thread thread_;
};

}  // namespace

TEST(ProbeArguments, PingRefusesWhatIsNotAnIPAddress) {
    CancelToken token;
    expectError(pingSeries(pingOf(QStringLiteral("gateway")), token, QString()).error(), 22,
                QStringLiteral("the ping target \"\" is not an IPv4 or IPv6 address"));
    expectError(outgoingInterface(QHostAddress()).error(), 22,
                QStringLiteral("the target \"\" is not an IPv4 or IPv6 address"));
}

TEST(ProbeArguments, PingRefusesALinkLocalTargetWithoutItsInterface) {
    // fe80::1 is on every link: without a scope the kernel cannot know which one is meant.
    CancelToken token;
    const QString withoutScope = QStringLiteral(
        "the ping target \"fe80::1\" is a link-local address without the interface it is on (its scope, "
        "as in \"fe80::1%wlan0\")");
    expectError(pingSeries(pingOf(QStringLiteral("fe80::1")), token, QString()).error(), 22, withoutScope);
    expectError(
        pingSeriesWithProgram(pingOf(QStringLiteral("fe80::1")), token, QStringLiteral("/bin/false")).error(),
        22, withoutScope);
    expectError(outgoingInterface(QHostAddress(QStringLiteral("fe80::1"))).error(), 22,
                QStringLiteral("the target \"fe80::1\" is a link-local address without the interface it is "
                               "on (its scope, as in \"fe80::1%wlan0\")"));
}

TEST(ProbeArguments, PingOfALinkLocalTargetOnNoInterfaceOfThisSystemIsError65) {
    CancelToken token;
    expectError(pingSeries(pingOf(QStringLiteral("fe80::1%nosuch0")), token, QString()).error(), 65,
                QStringLiteral("there is no route to fe80::1%nosuch0: this system has no interface nosuch0"));
    expectError(outgoingInterface(QHostAddress(QStringLiteral("fe80::1%999999"))).error(), 65,
                QStringLiteral("there is no route to fe80::1%999999: this system has no interface 999999"));
}

TEST(ProbeArguments, PingRefusesCountsAndDurationsOutOfRange) {
    CancelToken token;
    PingRequest request = pingOf(QStringLiteral("127.0.0.1"));
    request.count = 0;
    expectError(pingSeries(request, token, QString()).error(), 22,
                QStringLiteral("the ping count 0 is not between 1 and 1000"));
    request.count = 3;
    request.interval = -1ms;
    expectError(pingSeries(request, token, QString()).error(), 22,
                QStringLiteral("the ping interval of -1 ms is not between 0 and 60 s"));
    request.interval = 10ms;
    request.replyTimeout = 0ms;
    expectError(pingSeriesWithProgram(request, token, QStringLiteral("/usr/bin/ping")).error(), 22,
                QStringLiteral("the ping reply timeout of 0 ms is not above 0 and at most 60 s"));
}

TEST(ProbeArguments, SecondHopRefusesBadTargetsAndTimeouts) {
    CancelToken token;
    expectError(findSecondHop(QHostAddress(QStringLiteral("fe80::1")), 100ms, token).error(), 22,
                QStringLiteral("the target \"fe80::1\" of the second-hop probe is not an IPv4 address"));
    expectError(findSecondHop(QHostAddress(QStringLiteral("10.0.0.1")), 0ms, token).error(), 22,
                QStringLiteral("the second-hop timeout of 0 ms is not above 0 and at most 60 s"));
}

TEST(ProbeArguments, ResolveRefusesEmptyAndImpossibleNames) {
    CancelToken token;
    expectError(resolveHost(QStringLiteral("  "), 100ms, token).error(), 22,
                QStringLiteral("\"  \" is not a host name that can be resolved (it is empty)"));
    expectError(resolveHost(QStringLiteral("two words"), 100ms, token).error(), 22,
                QStringLiteral("\"two words\" is not a host name that can be resolved"));
    expectError(
        resolveHost(QString(300, QLatin1Char('a')), 100ms, token).error(), 22,
        QStringLiteral("\"%1\" is not a host name that can be resolved").arg(QString(300, QLatin1Char('a'))));
    expectError(resolveHost(QStringLiteral("probe.test"), 0ms, token).error(), 22,
                QStringLiteral("the resolution timeout of 0 ms is not above 0 and at most 60 s"));
}

TEST(ProbeArguments, HttpRefusesUrlsItCannotProbe) {
    HttpProbe probe;
    CancelToken token;
    expectError(
        probe.reach(QUrl(QStringLiteral("ftp://example.test/")), 100ms, token).error(), 22,
        QStringLiteral("the HEAD probe needs an http or https URL with a host, not \"ftp://example.test/\""));
    expectError(probe.retrieve(QUrl(QStringLiteral("http:///path")), 204, std::nullopt, 100ms, token).error(),
                22,
                QStringLiteral("the GET probe needs an http or https URL with a host, not \"http:///path\""));
    expectError(probe.reach(QUrl(QStringLiteral("http://probe.test/")), 0ms, token).error(), 22,
                QStringLiteral("the HEAD probe's timeout of 0 ms is not above 0 and at most 60 s"));
}

TEST(ProbeLoopback, OutgoingInterfaceOfLoopbackIsLo) {
    // A datagram socket is only connected: the kernel picks the route, nothing is sent.
    const auto name = outgoingInterface(QHostAddress(QStringLiteral("127.0.0.1")));
    ASSERT_TRUE(name.ok()) << name.error()->description().toStdString();
    EXPECT_EQ(name.value(), QStringLiteral("lo"));
}

TEST(ProbeLoopback, OutgoingInterfaceOfIPv6LoopbackIsLo) {
    const auto name = outgoingInterface(QHostAddress(QStringLiteral("::1")));
    ASSERT_TRUE(name.ok()) << name.error()->description().toStdString();
    EXPECT_EQ(name.value(), QStringLiteral("lo"));
}

TEST(ProbeLoopback, IPv6TargetIsAcceptedAndGoesToThePingProgram) {
    // The program fails at once: what matters is that an IPv6 target passes the checks and the
    // routing lookup, and reaches the program.
    CancelToken token;
    expectError(
        pingSeriesWithProgram(pingOf(QStringLiteral("::1")), token, QStringLiteral("/bin/false")).error(), 5,
        QStringLiteral("the ping program /bin/false failed (exit status 1): no message"));
    expectError(
        pingSeriesWithProgram(pingOf(QStringLiteral("::1")), token, QStringLiteral("/nonexistent/ping"))
            .error(),
        5, QStringLiteral("cannot run the ping program /nonexistent/ping: No such file or directory"));
}

TEST(ProbeLoopback, PingProgramThatCannotRunIsError5) {
    // The target is only looked up in the routing table; the program never starts.
    CancelToken token;
    expectError(
        pingSeriesWithProgram(pingOf(QStringLiteral("127.0.0.1")), token, QStringLiteral("/nonexistent/ping"))
            .error(),
        5, QStringLiteral("cannot run the ping program /nonexistent/ping: No such file or directory"));
}

TEST(ProbeLoopback, PingProgramThatFailsIsError5WithWhatItSaid) {
    // A program that pings nothing at all: it fails without a summary of a series.
    CancelToken token;
    expectError(
        pingSeriesWithProgram(pingOf(QStringLiteral("127.0.0.1")), token, QStringLiteral("/bin/false"))
            .error(),
        5, QStringLiteral("the ping program /bin/false failed (exit status 1): no message"));
}

TEST(ProbeLoopback, HttpProbeReadsAnAnswerOnLoopback) {
    LoopbackServer server(
        "HTTP/1.1 302 Found\r\nLocation: http://portal.test/\r\nContent-Length: 0\r\n"
        "Connection: close\r\n\r\n");
    HttpProbe probe;
    CancelToken token;
    const auto got =
        probe.retrieve(server.url(QStringLiteral("/generate_204")), 204, std::nullopt, 5000ms, token);
    ASSERT_TRUE(got.ok()) << got.error()->description().toStdString();
    EXPECT_EQ(got.value().status, 302);
    EXPECT_EQ(got.value().location, QStringLiteral("http://portal.test/"));
    EXPECT_TRUE(got.value().portalLike());
}

TEST(ProbeLoopback, HttpProbeIsCancelledWhileTheServerHoldsItsAnswer) {
    // A listener that never accepts: the connection is made, and no answer ever comes.
    const int listener = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    ASSERT_EQ(::bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    ASSERT_EQ(::listen(listener, 1), 0);
    ASSERT_EQ(::getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length), 0);
    const QUrl url(QStringLiteral("http://127.0.0.1:%1/").arg(ntohs(address.sin_port)));

    HttpProbe probe;
    CancelToken token;
    std::thread canceller([&] {
        std::this_thread::sleep_for(200ms);
        token.cancel();
    });
    const auto start = std::chrono::steady_clock::now();
    const auto got = probe.reach(url, 10s, token);
    const auto took = std::chrono::steady_clock::now() - start;
    canceller.join();
    ::close(listener);
    ASSERT_FALSE(got.ok());
    EXPECT_EQ(got.error()->code, 125);
    EXPECT_EQ(got.error()->text, QStringLiteral("the HEAD of %1 was cancelled").arg(url.toString()));
    EXPECT_LT(took, 200ms + 250ms);
}

TEST(ResolverConfiguration, NameServersAreReadInTheirOrderAndTheRestSkipped) {
    const QByteArray conf =
        "# Generated by NetworkManager\n"
        "search lan\n"
        "nameserver 192.168.1.1\n"
        "  nameserver\t2001:db8::53  \n"
        "nameserver not-an-address\n"
        "#nameserver 10.0.0.1\n"
        "nameserver fe80::1%wlan0\n"
        "options edns0 trust-ad\n";
    const QList<QHostAddress> servers = nameserversOf(conf);
    ASSERT_EQ(servers.size(), 3);
    EXPECT_EQ(servers[0], QHostAddress(QStringLiteral("192.168.1.1")));
    EXPECT_EQ(servers[1], QHostAddress(QStringLiteral("2001:db8::53")));
    EXPECT_EQ(servers[2].scopeId(), QStringLiteral("wlan0"));
    EXPECT_TRUE(nameserversOf(QByteArray()).isEmpty());
}

TEST(SecondHopProbes, AUdpProbeIsKnownByItsDestinationPortAlone) {
    // A router may quote only the headers of the dropped datagram: the port tells which probe it was.
    EXPECT_EQ(udpProbeNumber(33434), 0);
    EXPECT_EQ(udpProbeNumber(33436), 2);
    EXPECT_EQ(udpProbeNumber(33437), -1);  // three probes
    EXPECT_EQ(udpProbeNumber(33433), -1);
    EXPECT_EQ(udpProbeNumber(53), -1);
}
