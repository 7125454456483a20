#pragma once
// The second router on the path to a target, found with a probe that may cross only two routers
// (TTL 2): the router that drops it answers "time exceeded". With the gateway, it tells a
// network behind two address-translating routers ("double NAT").

#include "platform/wifi/linux/CancelToken.h"

#include <QHostAddress>

#include <chrono>
#include <cstdint>
#include <optional>

namespace platform::linuxwifi {

struct SecondHopAnswer {
    // The router that said the request's time was exceeded; none when no router did in time.
    std::optional<QHostAddress> router;
    // The target itself answered: it is at most two hops away, so no router stands second on the way.
    bool targetAnswered = false;
};

// Sends up to three probes with TTL 2 to target (an IPv4 address) within timeout, and answers the
// first router that reports one of them expired. The probes are echo requests on an ICMP datagram
// socket, or UDP datagrams to unused ports where the kernel refuses those sockets to the user
// (net.ipv4.ping_group_range, "1 0" on stock Debian): both need no privilege. Error 13 only when
// neither socket can be made; a cancel ends it at once with error 125.
// The number of the UDP probe that went to this destination port (each probe has a port of its
// own, from 33434 up, as traceroute uses), or -1 for a port none of them went to.
int udpProbeNumber(std::uint16_t destinationPort);

ProbeOutcome<SecondHopAnswer> findSecondHop(const QHostAddress& target, std::chrono::milliseconds timeout,
                                            const CancelToken& cancel);

}  // namespace platform::linuxwifi
