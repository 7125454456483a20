// A network's connectivity: pings of the gateway and the internet, double NAT, addresses, name
// resolution and the internet check.
#include "platform/wifi/linux/HandlerSupport.h"

#include "platform/wifi/linux/Addresses.h"
#include "platform/wifi/linux/CancelToken.h"
#include "platform/wifi/linux/DnsProbe.h"
#include "platform/wifi/linux/HttpProbe.h"
#include "platform/wifi/linux/IcmpEcho.h"
#include "platform/wifi/linux/NetworkManagerClient.h"
#include "platform/wifi/linux/PingStatistics.h"
#include "platform/wifi/linux/RouteTable.h"
#include "platform/wifi/linux/SecondHop.h"

#include <QFile>

namespace platform::linuxwifi {

using namespace handlers;

TestAnswer LinuxBackend::ping(const Request& request, const QString& what, const QHostAddress& target) {
    requireJoinedTarget(request);
    const QString address = target.toString();
    // Asked of the kernel's routing before anything is sent: a ping that would leave through
    // another device is not sent at all.
    if (const auto route = outgoingInterface(target); route.ok()) {
        requireThroughWiFi(route.value(), what, address);
    }
    PingRequest ping;
    ping.target = target;
    ping.count = options_.targets.pingCount;
    ping.interval = options_.targets.pingInterval;
    ping.replyTimeout = options_.targets.replyTimeout;
    const auto series = pingSeries(ping, *request.cancel);
    if (!series.ok()) {
        throw ServiceFailure{series.error()};
    }
    requireThroughWiFi(series.value().interfaceName, what, address);
    QString problem;
    const auto record =
        pingResult(series.value().interfaceName, series.value().sent, series.value().roundTripsMs,
                   Date::fromSecondsSince1970(QDateTime::currentMSecsSinceEpoch() / 1000.0), &problem);
    if (!record) {
        fail(servicecode::kSystem, problem);
    }
    const bool answered = !series.value().roundTripsMs.empty();
    return verdict(answered, answered,
                   Dictionary::make({{QStringLiteral("PingResult"),
                                      Value::record(std::make_shared<WiFiPingResult>(*record))}}));
}

LinuxBackend::Gateways LinuxBackend::gateways() const {
    const NMDevice device = wifiDevice();
    Gateways found;
    // IPv4: NetworkManager's, or else the kernel's default route when it leaves through the Wi-Fi
    // device (a connection NetworkManager does not manage the addresses of).
    if (!device.ip4Config.isEmpty() && device.ip4Config != nm::kNoObject) {
        const NMIp4Config config = nm_->ip4Config(device.ip4Config);
        found.hasIPv4Address = !config.addresses.empty();
        const QHostAddress gateway(config.gateway);
        if (gateway.protocol() == QAbstractSocket::IPv4Protocol) {
            found.ipv4 = gateway;
        }
    }
    if (!found.ipv4) {
        const auto route = readDefaultRoute(options_.routeTablePath);
        if (route.ok() && route.value() && route.value()->interfaceName == device.interface) {
            found.ipv4 = route.value()->gateway;
        } else {
            found.noIPv4Because =
                !route.ok() ? route.error()->text
                : route.value()
                    ? QStringLiteral("the default route leaves through %1").arg(route.value()->interfaceName)
                    : QStringLiteral("the kernel has no default route");
        }
    }
    // IPv6: NetworkManager's, most often a link-local address, which is reached on the Wi-Fi device.
    if (!device.ip6Config.isEmpty() && device.ip6Config != nm::kNoObject) {
        QHostAddress gateway(nm_->ip6Config(device.ip6Config).gateway);
        if (gateway.protocol() == QAbstractSocket::IPv6Protocol) {
            if (gateway.isLinkLocal()) {
                gateway.setScopeId(device.interface);
            }
            found.ipv6 = gateway;
        }
    }
    return found;
}

namespace {

[[noreturn]] void failWithoutGateway(const QString& why) {
    fail(servicecode::kNotJoined,
         QStringLiteral(
             "the Wi-Fi device has no gateway: NetworkManager names no IPv4 or IPv6 gateway, and %1")
             .arg(why));
}

}  // namespace

TestAnswer LinuxBackend::pingLAN(const Request& request) {
    requireJoinedTarget(request);
    // The IPv4 gateway; on a network without IPv4 (IPv6 only, with NAT64) the IPv6 one.
    const Gateways found = gateways();
    if (found.ipv4) {
        return ping(request, QStringLiteral("gateway"), *found.ipv4);
    }
    if (!found.ipv6Only()) {
        failWithoutGateway(found.noIPv4Because);
    }
    return ping(request, QStringLiteral("gateway"), *found.ipv6);
}

TestAnswer LinuxBackend::pingWAN(const Request& request) {
    requireJoinedTarget(request);
    const Gateways found = gateways();
    const QString& address =
        found.ipv6Only() ? options_.targets.wanPingAddress6 : options_.targets.wanPingAddress;
    const QHostAddress target(address);
    if (target.isNull()) {
        fail(servicecode::kSystem,
             QStringLiteral("the WAN ping address \"%1\" is no IP address").arg(address));
    }
    return ping(request, QStringLiteral("WAN ping"), target);
}

TestAnswer LinuxBackend::doubleNAT(const Request& request) {
    requireJoinedTarget(request);
    const Gateways found = gateways();
    if (found.ipv6Only()) {
        // Without IPv4 no router of the network translates addresses: a provider's NAT64, far
        // upstream, is no home router's double NAT.
        return finding(false);
    }
    if (!found.ipv4) {
        failWithoutGateway(found.noIPv4Because);
    }
    if (!isPrivateIPv4(found.ipv4->toString())) {
        return finding(false);
    }
    const auto target = parseIpAddress(options_.targets.wanPingAddress);
    if (!target) {
        fail(servicecode::kSystem, QStringLiteral("the WAN ping address \"%1\" is no IP address")
                                       .arg(options_.targets.wanPingAddress));
    }
    if (const auto route = outgoingInterface(*target); route.ok()) {
        requireThroughWiFi(route.value(), QStringLiteral("WAN ping"), options_.targets.wanPingAddress);
    }
    const auto hop = findSecondHop(*target, options_.targets.secondHopTimeout, *request.cancel);
    if (!hop.ok()) {
        throw ServiceFailure{hop.error()};
    }
    if (!hop.value().router && !hop.value().targetAnswered) {
        fail(servicecode::kTimedOut,
             QStringLiteral("no router answered the probe with a time to live of 2 within %1 ms")
                 .arg(options_.targets.secondHopTimeout.count()));
    }
    return finding(hop.value().router && isPrivateIPv4(*hop.value().router));
}

TestAnswer LinuxBackend::ipv4Assigned(const Request& request) {
    requireJoinedTarget(request);
    const NMDevice device = wifiDevice();
    const bool assigned = !device.ip4Config.isEmpty() && device.ip4Config != nm::kNoObject &&
                          !nm_->ip4Config(device.ip4Config).addresses.empty();
    return verdict(assigned, assigned);
}

TestAnswer LinuxBackend::ipv6Assigned(const Request& request) {
    requireJoinedTarget(request);
    const NMDevice device = wifiDevice();
    QStringList addresses;
    if (!device.ip6Config.isEmpty() && device.ip6Config != nm::kNoObject) {
        for (const NMIpAddress& a : nm_->ip6Config(device.ip6Config).addresses) {
            addresses << a.address;
        }
    }
    const bool global = hasGlobalIPv6(addresses);
    return verdict(global, global);
}

void LinuxBackend::requireResolverThroughWiFi() const {
    QFile file(options_.resolvConfPath);
    if (!file.open(QIODevice::ReadOnly)) {
        return;  // no configuration: the resolver asks this machine itself
    }
    const QList<QHostAddress> servers = nameserversOf(file.readAll());
    // The resolver asks its first server first. A local one (a caching stub such as
    // systemd-resolved's or dnsmasq's) forwards by its own choice, which is not known here.
    if (servers.isEmpty() || servers.front().isLoopback()) {
        return;
    }
    if (const auto route = outgoingInterface(servers.front()); route.ok()) {
        requireThroughWiFi(route.value(), QStringLiteral("DNS server"), servers.front().toString());
    }
}

ProbeOutcome<QHostAddress> LinuxBackend::internetCheckAddress(const Request& request) {
    const QUrl& url = options_.targets.checkUrl;
    QList<QHostAddress> addresses{QHostAddress(url.host())};
    if (addresses.front().isNull()) {
        const auto resolved = resolveHost(url.host(), options_.targets.dnsTimeout, *request.cancel);
        if (!resolved.ok()) {
            return resolved.error();
        }
        addresses = resolved.value();
    }
    const ThroughWiFi choice = addressThroughWiFi(addresses, wifiDevice().interface, outgoingInterface);
    if (choice.elsewhere) {
        requireThroughWiFi(choice.elsewhere->second, QStringLiteral("internet check"),
                           choice.elsewhere->first.toString());
    }
    return choice.address;
}

TestAnswer LinuxBackend::resolveDNS(const Request& request) {
    requireJoinedTarget(request);
    requireResolverThroughWiFi();
    const auto resolved = resolveHost(options_.targets.dnsName, options_.targets.dnsTimeout, *request.cancel);
    if (!resolved.ok() && !isNetworkFinding(resolved.error())) {
        throw ServiceFailure{resolved.error()};
    }
    const bool ok = resolved.ok() && !resolved.value().isEmpty();
    return verdict(ok, ok);
}

TestAnswer LinuxBackend::reachInternet(const Request& request) {
    requireJoinedTarget(request);
    const auto address = internetCheckAddress(request);
    const auto reached = address.ok() ? http_->reach(options_.targets.checkUrl, options_.targets.httpTimeout,
                                                     *request.cancel, address.value())
                                      : ProbeOutcome<HttpReach>(address.error());
    if (!reached.ok() && !isNetworkFinding(reached.error())) {
        throw ServiceFailure{reached.error()};
    }
    return verdict(reached.ok(), reached.ok());
}

TestAnswer LinuxBackend::retrieveInternet(const Request& request) {
    requireJoinedTarget(request);
    const auto address = internetCheckAddress(request);
    const auto retrieved = address.ok()
                               ? http_->retrieve(options_.targets.checkUrl, options_.targets.checkStatus,
                                                 options_.targets.checkBody, options_.targets.httpTimeout,
                                                 *request.cancel, address.value())
                               : ProbeOutcome<HttpRetrieval>(address.error());
    if (!retrieved.ok() && !isNetworkFinding(retrieved.error())) {
        throw ServiceFailure{retrieved.error()};
    }
    const bool ok = retrieved.ok() && !retrieved.value().portalLike();
    return verdict(ok, ok);
}

}  // namespace platform::linuxwifi
