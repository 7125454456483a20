#include "platform/wifi/linux/SecondHop.h"

#include <QFile>

#include <arpa/inet.h>
#include <linux/errqueue.h>
#include <netinet/in.h>
#include <netinet/ip_icmp.h>
#include <poll.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <cstring>

namespace platform::linuxwifi {

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr int kProbeTtl = 2;
constexpr int kProbes = 3;
constexpr milliseconds kMaxTimeout{60'000};

QString errnoText(int error) {
    return QString::fromLocal8Bit(std::strerror(error));
}

QString pingGroupRange() {
    QFile file(QStringLiteral("/proc/sys/net/ipv4/ping_group_range"));
    if (!file.open(QIODevice::ReadOnly)) {
        return QStringLiteral("unreadable");
    }
    return QString::fromLatin1(file.readAll()).simplified();
}

// The sequence number of the echo message at the start of data when it is of the given type, else -1.
int echoSequence(const unsigned char* data, std::size_t size, int type) {
    if (size < sizeof(icmphdr)) {
        return -1;
    }
    icmphdr header{};
    std::memcpy(&header, data, sizeof header);
    return header.type == type ? ntohs(header.un.echo.sequence) : -1;
}

// The offender of a "time exceeded" in the socket's error queue for one of our sent requests, if
// one is there. Reads the whole queue.
std::optional<QHostAddress> readTimeExceeded(int socket, int sent) {
    std::optional<QHostAddress> router;
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
            return router;
        }
        // The queued message carries our request as it was sent.
        const int sequence = echoSequence(data.data(), static_cast<std::size_t>(size), ICMP_ECHO);
        if (sequence < 0 || sequence >= sent) {
            continue;
        }
        for (cmsghdr* header = CMSG_FIRSTHDR(&message); header; header = CMSG_NXTHDR(&message, header)) {
            if (header->cmsg_level != SOL_IP || header->cmsg_type != IP_RECVERR) {
                continue;
            }
            const auto* error = reinterpret_cast<const sock_extended_err*>(CMSG_DATA(header));
            if (error->ee_origin != SO_EE_ORIGIN_ICMP || error->ee_type != ICMP_TIME_EXCEEDED) {
                continue;
            }
            const auto* offender = reinterpret_cast<const sockaddr_in*>(SO_EE_OFFENDER(error));
            if (offender->sin_family == AF_INET && !router) {
                router = QHostAddress(ntohl(offender->sin_addr.s_addr));
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
    if (timeout <= milliseconds::zero() || timeout > kMaxTimeout) {
        return probeError(probecode::kInvalidArgument,
                          QStringLiteral("the second-hop timeout of %1 ms is not above 0 and at most %2")
                              .arg(timeout.count())
                              .arg(describeDuration(kMaxTimeout)));
    }
    const ScopedFd socket(::socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, IPPROTO_ICMP));
    if (socket.get() < 0) {
        const int error = errno;
        if (error == EACCES || error == EPERM) {
            return probeError(
                probecode::kPermission,
                QStringLiteral("the kernel refuses ICMP datagram sockets to this user (%1): the "
                               "setting net.ipv4.ping_group_range (now \"%2\") does not include "
                               "the user's group; allow it, for example with sysctl -w "
                               "net.ipv4.ping_group_range=\"0 2147483647\", to find the second hop")
                    .arg(errnoText(error), pingGroupRange()));
        }
        return probeError(probecode::kSystem,
                          QStringLiteral("cannot make an ICMP datagram socket: %1").arg(errnoText(error)));
    }
    const int ttl = kProbeTtl;
    const int on = 1;
    if (::setsockopt(socket.get(), SOL_IP, IP_TTL, &ttl, sizeof ttl) != 0 ||
        ::setsockopt(socket.get(), SOL_IP, IP_RECVERR, &on, sizeof on) != 0) {
        return probeError(probecode::kSystem,
                          QStringLiteral("cannot set up the second-hop probe: %1").arg(errnoText(errno)));
    }
    sockaddr_in remote{};
    remote.sin_family = AF_INET;
    remote.sin_addr.s_addr = htonl(address);

    const auto start = steady_clock::now();
    const auto deadline = start + timeout;
    int sent = 0;
    for (;;) {
        // The requests are spread over the timeout, so one lost on the way does not decide.
        const auto nextSend = start + timeout * sent / kProbes;
        if (sent < kProbes && steady_clock::now() >= nextSend) {
            icmphdr request{};
            request.type = ICMP_ECHO;
            request.un.echo.sequence = htons(static_cast<uint16_t>(sent));
            const ssize_t written = ::sendto(socket.get(), &request, sizeof request, MSG_DONTWAIT,
                                             reinterpret_cast<const sockaddr*>(&remote), sizeof remote);
            if (written < 0 && (errno == ENETUNREACH || errno == EHOSTUNREACH)) {
                return probeError(
                    probecode::kUnreachable,
                    QStringLiteral("there is no route to %1: %2").arg(target.toString(), errnoText(errno)));
            }
            ++sent;
            continue;
        }
        switch (cancel.waitForSocket(socket.get(), POLLIN,
                                     sent < kProbes ? std::min(nextSend, deadline) : deadline)) {
            case WaitEnd::Cancelled:
                return probeError(
                    probecode::kCancelled,
                    QStringLiteral("the second-hop probe of %1 was cancelled").arg(target.toString()));
            case WaitEnd::Ready:
                if (std::optional<QHostAddress> router = readTimeExceeded(socket.get(), sent)) {
                    return SecondHopAnswer{router, false};
                }
                if (readEchoReply(socket.get(), sent)) {
                    return SecondHopAnswer{std::nullopt, true};
                }
                break;
            case WaitEnd::TimedOut:
                break;
        }
        if (steady_clock::now() >= deadline) {
            return SecondHopAnswer{};
        }
    }
}

}  // namespace platform::linuxwifi
