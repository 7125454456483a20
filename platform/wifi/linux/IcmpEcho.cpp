#include "platform/wifi/linux/IcmpEcho.h"

#include "platform/wifi/linux/Problem.h"

#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QStringList>

#include <arpa/inet.h>
#include <fcntl.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/icmp6.h>
#include <netinet/in.h>
#include <netinet/ip_icmp.h>
#include <poll.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <csignal>
#include <cstring>
#include <numeric>

namespace platform::linuxwifi {

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr int kMaxCount = 1000;
constexpr milliseconds kMaxDuration{60'000};
constexpr milliseconds kLeastProgramInterval{200};
constexpr std::size_t kPayloadSize = 56;  // what the ping program sends: 64 bytes with the header

// A target address as the socket calls and the ping program take it.
struct Target {
    bool ipv6 = false;
    in_addr ipv4{};
    in6_addr ipv6Address{};
    unsigned scopeIndex = 0;                // the interface of a link-local IPv6 target
    std::optional<QString> scopeInterface;  // its name
    QString text;                           // the address, a link-local one with its interface

    // The address with a port; answers its length.
    socklen_t socketAddress(quint16 port, sockaddr_storage& storage) const {
        storage = {};
        if (ipv6) {
            auto& address = reinterpret_cast<sockaddr_in6&>(storage);
            address.sin6_family = AF_INET6;
            address.sin6_port = htons(port);
            address.sin6_addr = ipv6Address;
            address.sin6_scope_id = scopeIndex;
            return sizeof address;
        }
        auto& address = reinterpret_cast<sockaddr_in&>(storage);
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        address.sin_addr = ipv4;
        return sizeof address;
    }
};

// An IPv4-mapped IPv6 address ("::ffff:10.0.0.1") is its IPv4 address.
bool isIPv4(const QHostAddress& address) {
    bool ipv4 = false;
    address.toIPv4Address(&ipv4);
    return ipv4;
}

bool isIPv6(const QHostAddress& address) {
    return !isIPv4(address) && address.protocol() == QAbstractSocket::IPv6Protocol;
}

// The checks of the address alone: an IPv4 or IPv6 address, and a link-local IPv6 one with a
// scope, for a link-local address is the same on every link and means nothing without one.
platform::ErrorRef checkAddress(const QHostAddress& address, const QString& what) {
    if (!isIPv4(address) && !isIPv6(address)) {
        return probeError(
            probecode::kInvalidArgument,
            QStringLiteral("the %1 \"%2\" is not an IPv4 or IPv6 address").arg(what, address.toString()));
    }
    if (isIPv6(address) && address.isLinkLocal() && address.scopeId().isEmpty()) {
        return probeError(probecode::kInvalidArgument,
                          QStringLiteral("the %1 \"%2\" is a link-local address without the interface it "
                                         "is on (its scope, as in \"%2%wlan0\")")
                              .arg(what, address.toString()));
    }
    return nullptr;
}

// The target for the socket calls: the scope of a link-local address looked up as an interface
// name or index; error 65 when no interface of this system has it.
ProbeOutcome<Target> targetOf(const QHostAddress& address, const QString& what) {
    if (platform::ErrorRef error = checkAddress(address, what)) {
        return error;
    }
    Target target;
    if (isIPv4(address)) {
        const QHostAddress plain(address.toIPv4Address());
        target.ipv4.s_addr = htonl(plain.toIPv4Address());
        target.text = plain.toString();
        return target;
    }
    target.ipv6 = true;
    const Q_IPV6ADDR bytes = address.toIPv6Address();
    std::memcpy(target.ipv6Address.s6_addr, bytes.c, sizeof bytes.c);
    target.text = QHostAddress(bytes).toString();
    if (!address.isLinkLocal()) {
        return target;  // a scope of a global address changes nothing
    }
    const QString scope = address.scopeId();
    bool numeric = false;
    const uint index = scope.toUInt(&numeric);
    char name[IF_NAMESIZE] = {};
    if (numeric && index != 0 && ::if_indextoname(index, name)) {
        target.scopeIndex = index;
        target.scopeInterface = QString::fromLocal8Bit(name);
    } else if (!numeric) {
        target.scopeIndex = ::if_nametoindex(scope.toLocal8Bit().constData());
        target.scopeInterface = scope;
    }
    if (target.scopeIndex == 0) {
        return probeError(probecode::kUnreachable,
                          QStringLiteral("there is no route to %1: this system has no interface %2")
                              .arg(address.toString(), scope));
    }
    target.text += QLatin1Char('%') + *target.scopeInterface;
    return target;
}

ProbeOutcome<Target> checkRequest(const PingRequest& request) {
    if (platform::ErrorRef error = checkAddress(request.target, QStringLiteral("ping target"))) {
        return error;
    }
    if (request.count < 1 || request.count > kMaxCount) {
        return probeError(
            probecode::kInvalidArgument,
            QStringLiteral("the ping count %1 is not between 1 and %2").arg(request.count).arg(kMaxCount));
    }
    if (request.interval < milliseconds::zero() || request.interval > kMaxDuration) {
        return probeError(probecode::kInvalidArgument,
                          QStringLiteral("the ping interval of %1 ms is not between 0 and %2")
                              .arg(request.interval.count())
                              .arg(describeDuration(kMaxDuration)));
    }
    if (request.replyTimeout <= milliseconds::zero() || request.replyTimeout > kMaxDuration) {
        return probeError(probecode::kInvalidArgument,
                          QStringLiteral("the ping reply timeout of %1 ms is not above 0 and at most %2")
                              .arg(request.replyTimeout.count())
                              .arg(describeDuration(kMaxDuration)));
    }
    return targetOf(request.target, QStringLiteral("ping target"));
}

// What the datagram sockets of the target's family are called in messages.
QString echoSocketKind(const Target& target) {
    return target.ipv6 ? QStringLiteral("ICMPv6") : QStringLiteral("ICMP");
}

// The one setting governs the ICMPv6 datagram sockets too.
platform::ErrorRef refusedError(const Target& target, int socketError, const QString& more) {
    return probeError(
        probecode::kPermission,
        QStringLiteral("the kernel refuses %1 datagram sockets to this user (%2): the setting "
                       "net.ipv4.ping_group_range (now \"%3\") does not include the user's group, %4; "
                       "allow the group, for example with sysctl -w net.ipv4.ping_group_range=\"0 "
                       "2147483647\", or install a ping program (Debian package iputils-ping)")
            .arg(echoSocketKind(target), errnoText(socketError), pingGroupRange(), more));
}

// Errors of a send or a receive that mean a request or its reply was lost on the way, not that
// the probe itself failed.
bool isLossError(int error) {
    switch (error) {
        case EHOSTUNREACH:
        case ENETUNREACH:
        case EHOSTDOWN:
        case ENETDOWN:
        case ECONNREFUSED:
        case ENOBUFS:
        case EAGAIN:
        case EPERM:  // a firewall rule of this host dropped it
            return true;
        default:
            return false;
    }
}

std::array<unsigned char, kPayloadSize> payloadPattern() {
    std::array<unsigned char, kPayloadSize> pattern{};
    for (std::size_t i = 0; i < pattern.size(); ++i) {
        pattern[i] = static_cast<unsigned char>(0x10 + i);
    }
    return pattern;
}

// The header of an echo request or reply: the same in ICMP (RFC 792) and ICMPv6 (RFC 4443), only
// the types differ. A datagram socket has the kernel fill in the checksum and the identifier.
struct EchoHeader {
    std::uint8_t type = 0;
    std::uint8_t code = 0;
    std::uint16_t checksum = 0;
    std::uint16_t identifier = 0;
    std::uint16_t sequence = 0;  // network order
};
static_assert(sizeof(EchoHeader) == sizeof(icmphdr) && sizeof(EchoHeader) == sizeof(icmp6_hdr));

// One echo series over a connected ICMP or ICMPv6 datagram socket.
class EchoSeries {
  public:
    EchoSeries(int socket, const PingRequest& request, bool ipv6)
        : socket_(socket),
          request_(request),
          requestType_(ipv6 ? ICMP6_ECHO_REQUEST : ICMP_ECHO),
          replyType_(ipv6 ? ICMP6_ECHO_REPLY : ICMP_ECHOREPLY),
          sentAt_(static_cast<std::size_t>(request.count)),
          replied_(static_cast<std::size_t>(request.count), false) {}

    ProbeOutcome<PingSeries> run(const CancelToken& cancel, std::optional<QString> interfaceName) {
        const auto start = steady_clock::now();
        int next = 0;
        for (;;) {
            const auto now = steady_clock::now();
            if (next < request_.count && now >= start + next * request_.interval) {
                if (platform::ErrorRef error = send(next)) {
                    return error;
                }
                ++next;
                continue;
            }
            // Once all are sent, the series waits for the last request's reply timeout at most.
            const bool allSent = next == request_.count;
            const auto until =
                allSent ? sentAt_.back() + request_.replyTimeout : start + next * request_.interval;
            if (allSent && (replies_.size() == sentAt_.size() || now >= until)) {
                break;
            }
            switch (cancel.waitForSocket(socket_, POLLIN, until)) {
                case WaitEnd::Cancelled:
                    return probeError(probecode::kCancelled,
                                      QStringLiteral("the ping of %1 was cancelled after %2 of %3 requests")
                                          .arg(request_.target.toString())
                                          .arg(next)
                                          .arg(request_.count));
                case WaitEnd::Ready:
                    receive(next);
                    break;
                case WaitEnd::TimedOut:
                    break;
            }
        }
        PingSeries series;
        series.sent = request_.count;
        series.roundTripsMs = replies_;
        series.interfaceName = std::move(interfaceName);
        return series;
    }

  private:
    platform::ErrorRef send(int index) {
        std::array<unsigned char, sizeof(EchoHeader) + kPayloadSize> packet{};
        EchoHeader header;
        header.type = requestType_;
        header.sequence = htons(static_cast<uint16_t>(index));
        std::memcpy(packet.data(), &header, sizeof header);
        const auto pattern = payloadPattern();
        std::memcpy(packet.data() + sizeof header, pattern.data(), pattern.size());
        sentAt_[static_cast<std::size_t>(index)] = steady_clock::now();
        ssize_t written = -1;
        do {
            written = ::send(socket_, packet.data(), packet.size(), MSG_DONTWAIT);
        } while (written < 0 && errno == EINTR);
        if (written < 0 && !isLossError(errno)) {
            return probeError(probecode::kSystem, QStringLiteral("cannot send an echo request to %1: %2")
                                                      .arg(request_.target.toString(), errnoText(errno)));
        }
        return nullptr;
    }

    // Reads every datagram waiting; an echo reply to a request of this series within its timeout
    // is a round trip.
    void receive(int sentCount) {
        for (;;) {
            std::array<unsigned char, 2048> buffer{};
            const ssize_t size = ::recv(socket_, buffer.data(), buffer.size(), MSG_DONTWAIT);
            const auto now = steady_clock::now();
            if (size < 0) {
                if (errno == EINTR) {
                    continue;
                }
                if (errno == EAGAIN || errno == EWOULDBLOCK || !isLossError(errno)) {
                    return;
                }
                continue;  // a reported loss (an ICMP error); what follows may still be replies
            }
            if (static_cast<std::size_t>(size) < sizeof(EchoHeader)) {
                continue;
            }
            EchoHeader header;
            std::memcpy(&header, buffer.data(), sizeof header);
            const int index = ntohs(header.sequence);
            if (header.type != replyType_ || index >= sentCount) {
                continue;
            }
            const auto pattern = payloadPattern();
            const bool samePayload =
                static_cast<std::size_t>(size) == sizeof header + pattern.size() &&
                std::equal(pattern.begin(), pattern.end(), buffer.begin() + sizeof header);
            const auto slot = static_cast<std::size_t>(index);
            const auto roundTrip = now - sentAt_[slot];
            if (!samePayload || replied_[slot] || roundTrip > request_.replyTimeout) {
                continue;
            }
            replied_[slot] = true;
            replies_.push_back(std::chrono::duration<double, std::milli>(roundTrip).count());
        }
    }

    int socket_;
    const PingRequest& request_;
    std::uint8_t requestType_;
    std::uint8_t replyType_;
    std::vector<steady_clock::time_point> sentAt_;
    std::vector<bool> replied_;
    std::vector<double> replies_;
};

QString secondsArgument(milliseconds duration) {
    return QString::number(static_cast<double>(duration.count()) / 1000.0, 'f', 3);
}

// How a program run by runProgram() went.
struct ProgramRun {
    int startError = 0;  // errno of a start that failed
    bool cancelled = false;
    bool timedOut = false;
    std::optional<int> exitCode;  // absent when it ended by a signal, or its end could not be seen
    QByteArray output;
    QByteArray errors;
};

// The environment of this process with LC_ALL=C, so a program prints numbers as the parser reads them.
std::vector<QByteArray> programEnvironment() {
    std::vector<QByteArray> entries;
    for (char** entry = environ; *entry; ++entry) {
        if (!QByteArray(*entry).startsWith("LC_ALL=")) {
            entries.emplace_back(*entry);
        }
    }
    entries.emplace_back("LC_ALL=C");
    return entries;
}

// Runs program with arguments, without a shell, and collects what it prints until it ends. A cancel
// or the deadline kills it at once. posix_spawn rather than QProcess: it needs no event loop on the
// calling worker thread, and the thread checker of the project's CI can follow it.
ProgramRun runProgram(const QString& program, const QStringList& arguments, const CancelToken& cancel,
                      Deadline deadline) {
    ProgramRun run;
    int outputPipe[2] = {-1, -1};
    int errorPipe[2] = {-1, -1};
    if (::pipe2(outputPipe, O_CLOEXEC) != 0) {
        run.startError = errno;
        return run;
    }
    const ScopedFd output(outputPipe[0]);
    std::optional<ScopedFd> outputEnd(std::in_place, outputPipe[1]);
    if (::pipe2(errorPipe, O_CLOEXEC) != 0) {
        run.startError = errno;
        return run;
    }
    const ScopedFd errors(errorPipe[0]);
    std::optional<ScopedFd> errorsEnd(std::in_place, errorPipe[1]);

    const QByteArray path = QFile::encodeName(program);
    std::vector<QByteArray> argumentBytes{path};
    for (const QString& argument : arguments) {
        argumentBytes.push_back(argument.toLocal8Bit());
    }
    std::vector<char*> argv;
    for (QByteArray& argument : argumentBytes) {
        argv.push_back(argument.data());
    }
    argv.push_back(nullptr);
    std::vector<QByteArray> environmentBytes = programEnvironment();
    std::vector<char*> envp;
    for (QByteArray& entry : environmentBytes) {
        envp.push_back(entry.data());
    }
    envp.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    ::posix_spawn_file_actions_adddup2(&actions, outputPipe[1], 1);
    ::posix_spawn_file_actions_adddup2(&actions, errorPipe[1], 2);
    posix_spawnattr_t attributes;
    ::posix_spawnattr_init(&attributes);
    sigset_t signalSet;
    sigemptyset(&signalSet);
    ::posix_spawnattr_setsigmask(&attributes, &signalSet);
    sigaddset(&signalSet, SIGPIPE);
    ::posix_spawnattr_setsigdefault(&attributes, &signalSet);
    ::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    pid_t pid = 0;
    const int started =
        ::posix_spawn(&pid, path.constData(), &actions, &attributes, argv.data(), envp.data());
    ::posix_spawn_file_actions_destroy(&actions);
    ::posix_spawnattr_destroy(&attributes);
    outputEnd.reset();
    errorsEnd.reset();
    if (started != 0) {
        run.startError = started;
        return run;
    }

    std::vector<pollfd> watched{{output.get(), POLLIN, 0}, {errors.get(), POLLIN, 0}};
    QByteArray* collected[2] = {&run.output, &run.errors};
    while (watched[0].fd >= 0 || watched[1].fd >= 0) {
        const WaitEnd end = cancel.waitForAny(watched, deadline);
        if (end != WaitEnd::Ready) {
            run.cancelled = end == WaitEnd::Cancelled;
            run.timedOut = end == WaitEnd::TimedOut;
            break;
        }
        for (std::size_t i = 0; i < watched.size(); ++i) {
            if (watched[i].fd < 0 || watched[i].revents == 0) {
                continue;
            }
            char buffer[4096];
            const ssize_t size = ::read(watched[i].fd, buffer, sizeof buffer);
            if (size > 0) {
                collected[i]->append(buffer, size);
            } else if (size == 0 || errno != EINTR) {
                watched[i].fd = -1;  // its end: poll() leaves a negative descriptor alone
            }
        }
    }
    // A program that closed its output is about to end; one that is cancelled or late ends now.
    bool killed = run.cancelled || run.timedOut;
    if (killed) {
        ::kill(pid, SIGKILL);
    }
    for (;;) {
        int status = 0;
        const pid_t ended = ::waitpid(pid, &status, WNOHANG);
        if (ended == pid) {
            if (WIFEXITED(status)) {
                run.exitCode = WEXITSTATUS(status);
            }
            break;
        }
        if (ended < 0 && errno != EINTR) {
            break;  // reaped elsewhere (children ignored): its end is not to be seen
        }
        if (!killed && cancel.sleepUntil(std::min(steady_clock::now() + milliseconds(10), deadline)) ==
                           WaitEnd::Cancelled) {
            run.cancelled = true;
        } else if (!killed && steady_clock::now() >= deadline) {
            run.timedOut = true;
        } else if (killed) {
            ::poll(nullptr, 0, 5);
        }
        if (!killed && (run.cancelled || run.timedOut)) {
            ::kill(pid, SIGKILL);
            killed = true;
        }
    }
    return run;
}

}  // namespace

QString systemPingProgram() {
    const QString found = QStandardPaths::findExecutable(QStringLiteral("ping"));
    if (!found.isEmpty()) {
        return found;
    }
    // PATH of a service may leave out the system folders.
    for (const char* path : {"/usr/bin/ping", "/bin/ping", "/usr/sbin/ping"}) {
        const QFileInfo info(QString::fromLatin1(path));
        if (info.isExecutable()) {
            return info.filePath();
        }
    }
    return {};
}

namespace {

bool sameAddress(const sockaddr* entry, const sockaddr_storage& local) {
    if (!entry || entry->sa_family != local.ss_family) {
        return false;
    }
    if (entry->sa_family == AF_INET) {
        return reinterpret_cast<const sockaddr_in*>(entry)->sin_addr.s_addr ==
               reinterpret_cast<const sockaddr_in&>(local).sin_addr.s_addr;
    }
    return entry->sa_family == AF_INET6 &&
           std::memcmp(&reinterpret_cast<const sockaddr_in6*>(entry)->sin6_addr,
                       &reinterpret_cast<const sockaddr_in6&>(local).sin6_addr, sizeof(in6_addr)) == 0;
}

ProbeOutcome<std::optional<QString>> interfaceTowards(const Target& target) {
    const ScopedFd socket(::socket(target.ipv6 ? AF_INET6 : AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    if (socket.get() < 0) {
        return probeError(probecode::kSystem,
                          QStringLiteral("cannot make a datagram socket: %1").arg(errnoText(errno)));
    }
    // Connecting a datagram socket asks the kernel for the route and sends nothing.
    sockaddr_storage remote{};
    const socklen_t remoteLength = target.socketAddress(9, remote);
    if (::connect(socket.get(), reinterpret_cast<const sockaddr*>(&remote), remoteLength) != 0) {
        const int error = errno;
        if (error == ENETUNREACH || error == EHOSTUNREACH) {
            return probeError(
                probecode::kUnreachable,
                QStringLiteral("there is no route to %1: %2").arg(target.text, errnoText(error)));
        }
        // IPv6 answers so when no address of this system could be the source towards the target.
        if (target.ipv6 && error == EADDRNOTAVAIL) {
            return probeError(probecode::kUnreachable,
                              QStringLiteral("there is no route to %1: no IPv6 address of this system can "
                                             "reach it (%2)")
                                  .arg(target.text, errnoText(error)));
        }
        return probeError(
            probecode::kSystem,
            QStringLiteral("cannot find the route to %1: %2").arg(target.text, errnoText(error)));
    }
    // A link-local target is reached on the link of its scope alone.
    if (target.scopeInterface) {
        return target.scopeInterface;
    }
    sockaddr_storage local{};
    socklen_t length = sizeof local;
    if (::getsockname(socket.get(), reinterpret_cast<sockaddr*>(&local), &length) != 0) {
        return std::optional<QString>();
    }
    ifaddrs* interfaces = nullptr;
    if (::getifaddrs(&interfaces) != 0) {
        return std::optional<QString>();
    }
    std::optional<QString> name;
    for (const ifaddrs* entry = interfaces; entry; entry = entry->ifa_next) {
        if (sameAddress(entry->ifa_addr, local)) {
            name = QString::fromLocal8Bit(entry->ifa_name);
            break;
        }
    }
    ::freeifaddrs(interfaces);
    return name;
}

}  // namespace

ProbeOutcome<std::optional<QString>> outgoingInterface(const QHostAddress& target) {
    const ProbeOutcome<Target> checked = targetOf(target, QStringLiteral("target"));
    if (!checked.ok()) {
        return checked.error();
    }
    return interfaceTowards(checked.value());
}

ProbeOutcome<PingSeries> pingSeries(const PingRequest& request, const CancelToken& cancel,
                                    const QString& pingProgram) {
    const ProbeOutcome<Target> checked = checkRequest(request);
    if (!checked.ok()) {
        return checked.error();
    }
    const Target& target = checked.value();
    ProbeOutcome<std::optional<QString>> interfaceName = interfaceTowards(target);
    if (!interfaceName.ok()) {
        return interfaceName.error();
    }
    const ScopedFd socket(target.ipv6
                              ? ::socket(AF_INET6, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, IPPROTO_ICMPV6)
                              : ::socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, IPPROTO_ICMP));
    if (socket.get() < 0) {
        const int error = errno;
        if (error != EACCES && error != EPERM && error != EPROTONOSUPPORT && error != EAFNOSUPPORT) {
            return probeError(probecode::kSystem, QStringLiteral("cannot make an %1 datagram socket: %2")
                                                      .arg(echoSocketKind(target), errnoText(error)));
        }
        if (!pingProgram.isEmpty()) {
            return pingSeriesWithProgram(request, cancel, pingProgram);
        }
        if (error == EACCES || error == EPERM) {
            return refusedError(target, error, QStringLiteral("and no ping program is installed"));
        }
        return probeError(probecode::kSystem,
                          QStringLiteral("this kernel offers no %1 datagram sockets (%2) and no ping program "
                                         "is installed (Debian package iputils-ping)")
                              .arg(echoSocketKind(target), errnoText(error)));
    }
    sockaddr_storage remote{};
    const socklen_t remoteLength = target.socketAddress(0, remote);
    if (::connect(socket.get(), reinterpret_cast<const sockaddr*>(&remote), remoteLength) != 0) {
        return probeError(probecode::kUnreachable,
                          QStringLiteral("cannot ping %1: %2").arg(target.text, errnoText(errno)));
    }
    EchoSeries series(socket.get(), request, target.ipv6);
    return series.run(cancel, interfaceName.value());
}

ProbeOutcome<PingSeries> pingSeriesWithProgram(const PingRequest& request, const CancelToken& cancel,
                                               const QString& pingProgram) {
    const ProbeOutcome<Target> checked = checkRequest(request);
    if (!checked.ok()) {
        return checked.error();
    }
    const Target& target = checked.value();
    ProbeOutcome<std::optional<QString>> interfaceName = interfaceTowards(target);
    if (!interfaceName.ok()) {
        return interfaceName.error();
    }
    const milliseconds interval = std::max(request.interval, kLeastProgramInterval);
    // The program's own time, and some more for it to start and end.
    const milliseconds allowed = interval * request.count + request.replyTimeout + milliseconds(2000);
    const ProgramRun run = runProgram(
        pingProgram,
        {QStringLiteral("-n"), QStringLiteral("-c"), QString::number(request.count), QStringLiteral("-i"),
         secondsArgument(interval), QStringLiteral("-W"), secondsArgument(request.replyTimeout), target.text},
        cancel, deadlineAfter(allowed));
    if (run.cancelled) {
        return probeError(probecode::kCancelled,
                          QStringLiteral("the ping of %1 was cancelled").arg(request.target.toString()));
    }
    if (run.startError != 0) {
        return probeError(
            probecode::kSystem,
            QStringLiteral("cannot run the ping program %1: %2").arg(pingProgram, errnoText(run.startError)));
    }
    if (run.timedOut) {
        return probeError(probecode::kTimedOut, QStringLiteral("the ping program %1 did not end within %2")
                                                    .arg(pingProgram, describeDuration(allowed)));
    }
    const QString errors = QString::fromLocal8Bit(run.errors).trimmed();
    const PingProgramOutput output = parsePingOutput(QString::fromLocal8Bit(run.output));
    // The program answers 0 with replies, and 1 without any after its summary; anything else, or no
    // summary where one is due, means it failed.
    const bool answered = run.exitCode == 0 || output.transmitted.has_value();
    if (!answered) {
        const bool refused = errors.contains(QLatin1String("Operation not permitted")) ||
                             errors.contains(QLatin1String("Permission denied"));
        if (refused) {
            return refusedError(target, EPERM,
                                QStringLiteral("and the ping program %1 may not ping either (%2)")
                                    .arg(pingProgram, errors.simplified()));
        }
        const QString how = run.exitCode ? QStringLiteral("exit status %1").arg(*run.exitCode)
                                         : QStringLiteral("ended by a signal or unobserved");
        return probeError(
            probecode::kSystem,
            QStringLiteral("the ping program %1 failed (%2): %3")
                .arg(pingProgram, how, errors.isEmpty() ? QStringLiteral("no message") : errors));
    }
    PingSeries series;
    series.sent = output.transmitted.value_or(request.count);
    series.roundTripsMs = output.roundTripsMs;
    series.interfaceName = interfaceName.value();
    series.usedPingProgram = true;
    return series;
}

PingProgramOutput parsePingOutput(const QString& output) {
    static const QRegularExpression replyTime(QStringLiteral(R"(\btime[=<]\s*([0-9]+(?:\.[0-9]+)?)\s*ms\b)"));
    static const QRegularExpression transmitted(QStringLiteral(R"(^\s*([0-9]+) packets transmitted\b)"));
    PingProgramOutput parsed;
    for (const QString& line : output.split(QLatin1Char('\n'))) {
        if (const QRegularExpressionMatch match = transmitted.match(line); match.hasMatch()) {
            parsed.transmitted = match.captured(1).toInt();
            continue;
        }
        // Only lines of replies carry a round trip; a duplicate reply answers a request twice.
        if (line.contains(QLatin1String("(DUP!)")) || !line.contains(QLatin1String(" bytes from "))) {
            continue;
        }
        if (const QRegularExpressionMatch match = replyTime.match(line); match.hasMatch()) {
            parsed.roundTripsMs.push_back(match.captured(1).toDouble());
        }
    }
    return parsed;
}

}  // namespace platform::linuxwifi
