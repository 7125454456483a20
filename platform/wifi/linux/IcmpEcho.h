#pragma once
// Series of ICMP echo requests ("pings") to an IPv4 or IPv6 address, for the Ping LAN and Ping WAN
// tests: through an ICMP (or ICMPv6) datagram socket, which needs no privilege where
// net.ipv4.ping_group_range admits the user's group (the one setting governs both families), else
// through the system's ping program. Also the statistics the service reports.

#include "platform/wifi/WiFiRecords.h"
#include "platform/wifi/linux/CancelToken.h"

#include <QHostAddress>
#include <QString>

#include <chrono>
#include <optional>
#include <vector>

namespace platform::linuxwifi {

struct PingRequest {
    // IPv4 or IPv6. A link-local IPv6 address (fe80::/10) needs its interface as its scope, as
    // QHostAddress(QStringLiteral("fe80::1%wlan0")) or target.setScopeId("wlan0") (a name or an
    // interface index); an IPv4-mapped IPv6 address is pinged as the IPv4 address.
    QHostAddress target;
    int count = 10;  // 1 to 1000 echo requests
    std::chrono::milliseconds interval{1000};
    // How long each request waits for its reply; later replies count as lost.
    std::chrono::milliseconds replyTimeout{1000};
};

// What a series measured. No reply at all is an answer too: every request was lost.
struct PingSeries {
    int sent = 0;
    std::vector<double> roundTripsMs;      // one per reply, in the order the replies came
    std::optional<QString> interfaceName;  // the interface the requests leave through, when known
    bool usedPingProgram = false;          // measured by the system's ping program
};

// The system's ping program, or an empty text when none is installed.
QString systemPingProgram();

// Sends the series and waits for its replies, on the calling thread, until the last request's
// reply or reply timeout; a cancel ends it at once with error 125. When the kernel refuses ICMP
// datagram sockets to this user, pingProgram (when not empty) measures instead; with neither, error
// 13 names the setting. A bad request is error 22 (also a link-local target without a scope), no
// route to the target error 65 (also a scope that names no interface of this system).
ProbeOutcome<PingSeries> pingSeries(const PingRequest& request, const CancelToken& cancel,
                                    const QString& pingProgram = systemPingProgram());

// The same measured by the given ping program alone (run without a shell, its output read as C
// locale). An interval below 200 ms is raised to 200 ms, the least the program grants a user. A
// link-local target goes to it with its interface, as "fe80::1%wlan0".
ProbeOutcome<PingSeries> pingSeriesWithProgram(const PingRequest& request, const CancelToken& cancel,
                                               const QString& pingProgram);

// What the ping program printed: the round trip of each reply line ("... time=0.045 ms"; duplicates
// left out) and, when its summary is there, how many requests it sent.
struct PingProgramOutput {
    std::vector<double> roundTripsMs;
    std::optional<int> transmitted;
};
PingProgramOutput parsePingOutput(const QString& output);

// The interface a packet to target (IPv4 or IPv6) would leave through, from the kernel's routing
// decision for a datagram socket (nothing is sent): the interface whose address the kernel would
// send from, or for a link-local IPv6 target the interface of its scope. Error 65 when there is no
// route to it, 22 when the target is no address or a link-local one without a scope.
ProbeOutcome<std::optional<QString>> outgoingInterface(const QHostAddress& target);

}  // namespace platform::linuxwifi
