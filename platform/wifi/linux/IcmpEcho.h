#pragma once
// Series of ICMP echo requests ("pings") to an IPv4 address, for the Ping LAN and Ping WAN tests:
// through an ICMP datagram socket, which needs no privilege where net.ipv4.ping_group_range admits
// the user's group, else through the system's ping program. Also the statistics the service reports.

#include "platform/wifi/WiFiRecords.h"
#include "platform/wifi/linux/CancelToken.h"

#include <QHostAddress>
#include <QString>

#include <chrono>
#include <optional>
#include <vector>

namespace platform::linuxwifi {

struct PingRequest {
    QHostAddress target;  // IPv4
    int count = 10;       // 1 to 1000 echo requests
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
// 13 names the setting. A bad request is error 22, no route to the target error 65.
ProbeOutcome<PingSeries> pingSeries(const PingRequest& request, const CancelToken& cancel,
                                    const QString& pingProgram = systemPingProgram());

// The same measured by the given ping program alone (run without a shell, its output read as C
// locale). An interval below 200 ms is raised to 200 ms, the least the program grants a user.
ProbeOutcome<PingSeries> pingSeriesWithProgram(const PingRequest& request, const CancelToken& cancel,
                                               const QString& pingProgram);

// What the ping program printed: the round trip of each reply line ("... time=0.045 ms"; duplicates
// left out) and, when its summary is there, how many requests it sent.
struct PingProgramOutput {
    std::vector<double> roundTripsMs;
    std::optional<int> transmitted;
};
PingProgramOutput parsePingOutput(const QString& output);

// The interface a packet to target would leave through, from the kernel's routing decision for a
// datagram socket (nothing is sent); error 65 when there is no route to it.
ProbeOutcome<std::optional<QString>> outgoingInterface(const QHostAddress& target);

}  // namespace platform::linuxwifi
