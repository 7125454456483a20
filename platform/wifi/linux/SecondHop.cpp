#include "platform/wifi/linux/SecondHop.h"

#include "platform/wifi/linux/Problem.h"

#include <QFile>

#include <arpa/inet.h>
#include <linux/errqueue.h>
#include <netinet/in.h>
#include <netinet/ip_icmp.h>
#include <poll.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <utility>

namespace platform::linuxwifi {

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr int kProbeTtl = 2;
constexpr int kProbes = 3;
constexpr milliseconds kMaxHopTimeout{60'000};

// The sequence number of the echo message at the start of data when it is of the given type, else -1.
int echoSequence(const unsigned char* data, std::size_t size, int type) {
    if (size < sizeof(icmphdr)) {
        return -1;
    }
    icmphdr header{};
    std::memcpy(&header, data, sizeof header);
    return header.type == type ? ntohs(header.un.echo.sequence) : -1;
}

// How the probe is sent: ICMP echo requests on an ICMP datagram socket (the target's echo reply
// says it was within two hops), or, where the kernel refuses those sockets to the user (stock
// Debian), UDP datagrams to unused ports, which need no privilege (the target's "port unreachable"
// says the same).
enum class ProbeKind { IcmpEcho, Udp };

// The first UDP port probed, as traceroute uses: nothing listens there.
constexpr std::uint16_t kFirstUdpPort = 33434;

// The number of the probe a queued error is about: the echo's sequence number from our request as
// it was sent; for UDP the destination port the probe went to (the kernel gives the original
// destination with the error), since a router may quote no more of the dropped datagram than its
// headers. -1 when it is none of ours.
int probeNumber(ProbeKind kind, const unsigned char* data, std::size_t size, const sockaddr_in& destination) {
    if (kind == ProbeKind::IcmpEcho) {
        return echoSequence(data, size, ICMP_ECHO);
    }
    return udpProbeNumber(ntohs(destination.sin_port));
}

// What the socket's error queue says about our sent probes: the router that said a probe's time
// was exceeded, and whether the target itself said a UDP probe's port is closed. Reads the whole
// queue.
struct QueuedErrors {
    std::optional<QHostAddress> router;
    bool targetAnswered = false;
};

QueuedErrors readErrorQueue(int socket, ProbeKind kind, int sent, quint32 target) {
    QueuedErrors found;
    for (;;) {
        std::array<unsigned char, 512> data{};
        std::array<unsigned char, 512> control{};
        sockaddr_in from{};
        iovec part{data.data(), data.size()};
        msghdr message{};
        message.msg_name = &from;
        message.msg_namelen = sizeof from;
        message.msg_iov = &part;
        message.msg_iovlen = 1;
        message.msg_control = control.data();
        message.msg_controllen = control.size();
        const ssize_t size = ::recvmsg(socket, &message, MSG_ERRQUEUE | MSG_DONTWAIT);
        if (size < 0) {
            if (errno == EINTR) {
                continue;
            }
            return found;
        }
        // The queued message carries our request as it was sent.
        const int number = probeNumber(kind, data.data(), static_cast<std::size_t>(size), from);
        if (number < 0 || number >= sent) {
            continue;
        }
        for (cmsghdr* header = CMSG_FIRSTHDR(&message); header; header = CMSG_NXTHDR(&message, header)) {
            if (header->cmsg_level != SOL_IP || header->cmsg_type != IP_RECVERR) {
                continue;
            }
            sock_extended_err error{};
            std::memcpy(&error, CMSG_DATA(header), sizeof error);
            if (error.ee_origin != SO_EE_ORIGIN_ICMP) {
                continue;
            }
            sockaddr_in offender{};
            std::memcpy(&offender, SO_EE_OFFENDER(reinterpret_cast<sock_extended_err*>(CMSG_DATA(header))),
                        sizeof offender);
            if (offender.sin_family != AF_INET) {
                continue;
            }
            const quint32 offenderAddress = ntohl(offender.sin_addr.s_addr);
            if (error.ee_type == ICMP_TIME_EXCEEDED && !found.router) {
                found.router = QHostAddress(offenderAddress);
            } else if (kind == ProbeKind::Udp && error.ee_type == ICMP_DEST_UNREACH &&
                       error.ee_code == ICMP_PORT_UNREACH && offenderAddress == target) {
                found.targetAnswered = true;
            }
        }
    }
}

// Whether an echo reply to one of our requests is waiting (the target itself answered).
bool readEchoReply(int socket, int sent) {
    bool answered = false;
    for (;;) {
        std::array<unsigned char, 2048> data{};
        const ssize_t size = ::recv(socket, data.data(), data.size(), MSG_DONTWAIT);
        if (size < 0) {
            // EAGAIN ends the queue; a reported ICMP error is read from the error queue instead.
            if (errno == EAGAIN || errno == EWOULDBLOCK) {
                return answered;
            }
            if (errno == EINTR || errno == EHOSTUNREACH || errno == ENETUNREACH || errno == ECONNREFUSED) {
                continue;
            }
            return answered;
        }
        const int sequence = echoSequence(data.data(), static_cast<std::size_t>(size), ICMP_ECHOREPLY);
        answered = answered || (sequence >= 0 && sequence < sent);
    }
}

// Reads and drops whatever datagrams came to the UDP socket (a service that did listen there
// answered), so that waiting does not wake for them again.
void drainDatagrams(int socket) {
    std::array<unsigned char, 512> data{};
    while (::recv(socket, data.data(), data.size(), MSG_DONTWAIT) >= 0 || errno == EINTR) {
    }
}

}  // namespace

int udpProbeNumber(std::uint16_t destinationPort) {
    return destinationPort >= kFirstUdpPort && destinationPort < kFirstUdpPort + kProbes
               ? destinationPort - kFirstUdpPort
               : -1;
}

namespace {

// A socket for the probe: an ICMP datagram socket where the kernel allows it, else a UDP one.
// Answers the socket and its kind, or the error that no socket could be made.
ProbeOutcome<std::pair<int, ProbeKind>> probeSocket() {
    const int icmp = ::socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, IPPROTO_ICMP);
    if (icmp >= 0) {
        return std::make_pair(icmp, ProbeKind::IcmpEcho);
    }
    const int icmpError = errno;
    if (icmpError != EACCES && icmpError != EPERM) {
        return probeError(
            probecode::kSystem,
            QStringLiteral("cannot make an ICMP datagram socket: %1").arg(errnoText(icmpError)));
    }
    // net.ipv4.ping_group_range leaves the user out: UDP needs no such right.
    const int udp = ::socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, IPPROTO_UDP);
    if (udp < 0) {
        const int udpError = errno;
        return probeError(probecode::kPermission,
                          QStringLiteral("the kernel refuses ICMP datagram sockets to this user (%1; "
                                         "net.ipv4.ping_group_range is \"%2\") and a UDP socket as well (%3)")
                              .arg(errnoText(icmpError), pingGroupRange(), errnoText(udpError)));
    }
    return std::make_pair(udp, ProbeKind::Udp);
}

// Sends probe number n: an echo request, or a two-byte UDP datagram to a port of its own.
ssize_t sendProbe(int socket, ProbeKind kind, quint32 target, int n) {
    sockaddr_in remote{};
    remote.sin_family = AF_INET;
    remote.sin_addr.s_addr = htonl(target);
    if (kind == ProbeKind::IcmpEcho) {
        icmphdr request{};
        request.type = ICMP_ECHO;
        request.un.echo.sequence = htons(static_cast<uint16_t>(n));
        return ::sendto(socket, &request, sizeof request, MSG_DONTWAIT,
                        reinterpret_cast<const sockaddr*>(&remote), sizeof remote);
    }
    remote.sin_port = htons(static_cast<uint16_t>(kFirstUdpPort + n));
    const std::array<unsigned char, 2> payload{static_cast<unsigned char>(n >> 8),
                                               static_cast<unsigned char>(n & 0xff)};
    return ::sendto(socket, payload.data(), payload.size(), MSG_DONTWAIT,
                    reinterpret_cast<const sockaddr*>(&remote), sizeof remote);
}

}  // namespace

ProbeOutcome<SecondHopAnswer> findSecondHop(const QHostAddress& target, milliseconds timeout,
                                            const CancelToken& cancel) {
    bool isIPv4 = false;
    const quint32 address = target.toIPv4Address(&isIPv4);
    if (!isIPv4) {
        return probeError(probecode::kInvalidArgument,
                          QStringLiteral("the target \"%1\" of the second-hop probe is not an IPv4 address")
                              .arg(target.toString()));
    }
    if (timeout <= milliseconds::zero() || timeout > kMaxHopTimeout) {
        return probeError(probecode::kInvalidArgument,
                          QStringLiteral("the second-hop timeout of %1 ms is not above 0 and at most %2")
                              .arg(timeout.count())
                              .arg(describeDuration(kMaxHopTimeout)));
    }
    auto made = probeSocket();
    if (!made.ok()) {
        return made.error();
    }
    const ScopedFd socket(made.value().first);
    const ProbeKind kind = made.value().second;
    const int ttl = kProbeTtl;
    const int on = 1;
    if (::setsockopt(socket.get(), SOL_IP, IP_TTL, &ttl, sizeof ttl) != 0 ||
        ::setsockopt(socket.get(), SOL_IP, IP_RECVERR, &on, sizeof on) != 0) {
        return probeError(probecode::kSystem,
                          QStringLiteral("cannot set up the second-hop probe: %1").arg(errnoText(errno)));
    }

    const auto start = steady_clock::now();
    const auto deadline = start + timeout;
    int sent = 0;
    for (;;) {
        // The probes are spread over the timeout, so one lost on the way does not decide.
        const auto nextSend = start + timeout * sent / kProbes;
        if (sent < kProbes && steady_clock::now() >= nextSend) {
            if (sendProbe(socket.get(), kind, address, sent) < 0 &&
                (errno == ENETUNREACH || errno == EHOSTUNREACH)) {
                return probeError(
                    probecode::kUnreachable,
                    QStringLiteral("there is no route to %1: %2").arg(target.toString(), errnoText(errno)));
            }
            ++sent;
            continue;
        }
        // An ICMP error of ours shows as POLLERR; an echo reply as POLLIN.
        switch (cancel.waitForSocket(socket.get(), POLLIN | POLLERR,
                                     sent < kProbes ? std::min(nextSend, deadline) : deadline)) {
            case WaitEnd::Cancelled:
                return probeError(
                    probecode::kCancelled,
                    QStringLiteral("the second-hop probe of %1 was cancelled").arg(target.toString()));
            case WaitEnd::Ready: {
                const QueuedErrors errors = readErrorQueue(socket.get(), kind, sent, address);
                if (errors.router) {
                    return SecondHopAnswer{errors.router, false};
                }
                if (errors.targetAnswered ||
                    (kind == ProbeKind::IcmpEcho && readEchoReply(socket.get(), sent))) {
                    return SecondHopAnswer{std::nullopt, true};
                }
                if (kind == ProbeKind::Udp) {
                    drainDatagrams(socket.get());
                }
                break;
            }
            case WaitEnd::TimedOut:
                break;
        }
        if (steady_clock::now() >= deadline) {
            return SecondHopAnswer{};
        }
    }
}

}  // namespace platform::linuxwifi
