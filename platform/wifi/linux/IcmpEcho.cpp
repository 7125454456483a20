#include "platform/wifi/linux/IcmpEcho.h"

#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QStringList>

#include <arpa/inet.h>
#include <fcntl.h>
#include <ifaddrs.h>
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
constexpr const char* kPingGroupRange = "/proc/sys/net/ipv4/ping_group_range";

QString errnoText(int error) {
    return QString::fromLocal8Bit(std::strerror(error));
}

sockaddr_in socketAddress(const QHostAddress& address, quint16 port) {
    sockaddr_in result{};
    result.sin_family = AF_INET;
    result.sin_port = htons(port);
    result.sin_addr.s_addr = htonl(address.toIPv4Address());
    return result;
}

platform::ErrorRef checkRequest(const PingRequest& request) {
    bool isIPv4 = false;
    request.target.toIPv4Address(&isIPv4);
    if (!isIPv4) {
        return probeError(
            probecode::kInvalidArgument,
            QStringLiteral("the ping target \"%1\" is not an IPv4 address").arg(request.target.toString()));
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
    return nullptr;
}

QString pingGroupRange() {
    QFile file(QString::fromLatin1(kPingGroupRange));
    if (!file.open(QIODevice::ReadOnly)) {
        return QStringLiteral("unreadable");
    }
    return QString::fromLatin1(file.readAll()).simplified();
}

platform::ErrorRef refusedError(int socketError, const QString& more) {
    return probeError(
        probecode::kPermission,
        QStringLiteral("the kernel refuses ICMP datagram sockets to this user (%1): the setting "
                       "net.ipv4.ping_group_range (now \"%2\") does not include the user's group, %3; "
                       "allow the group, for example with sysctl -w net.ipv4.ping_group_range=\"0 "
                       "2147483647\", or install a ping program (Debian package iputils-ping)")
            .arg(errnoText(socketError), pingGroupRange(), more));
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

// One echo series over a connected ICMP datagram socket.
class EchoSeries {
  public:
    EchoSeries(int socket, const PingRequest& request)
        : socket_(socket),
          request_(request),
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
        std::array<unsigned char, sizeof(icmphdr) + kPayloadSize> packet{};
        icmphdr header{};
        header.type = ICMP_ECHO;
        header.un.echo.sequence = htons(static_cast<uint16_t>(index));  // the kernel sets the id
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
            if (static_cast<std::size_t>(size) < sizeof(icmphdr)) {
                continue;
            }
            icmphdr header{};
            std::memcpy(&header, buffer.data(), sizeof header);
            const int index = ntohs(header.un.echo.sequence);
            if (header.type != ICMP_ECHOREPLY || index >= sentCount) {
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

ProbeOutcome<std::optional<QString>> outgoingInterface(const QHostAddress& target) {
    const ScopedFd socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    if (socket.get() < 0) {
        return probeError(probecode::kSystem,
                          QStringLiteral("cannot make a datagram socket: %1").arg(errnoText(errno)));
    }
    // Connecting a datagram socket asks the kernel for the route and sends nothing.
    const sockaddr_in remote = socketAddress(target, 9);
    if (::connect(socket.get(), reinterpret_cast<const sockaddr*>(&remote), sizeof remote) != 0) {
        const int error = errno;
        if (error == ENETUNREACH || error == EHOSTUNREACH) {
            return probeError(
                probecode::kUnreachable,
                QStringLiteral("there is no route to %1: %2").arg(target.toString(), errnoText(error)));
        }
        return probeError(
            probecode::kSystem,
            QStringLiteral("cannot find the route to %1: %2").arg(target.toString(), errnoText(error)));
    }
    sockaddr_in local{};
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
        if (entry->ifa_addr && entry->ifa_addr->sa_family == AF_INET &&
            reinterpret_cast<const sockaddr_in*>(entry->ifa_addr)->sin_addr.s_addr == local.sin_addr.s_addr) {
            name = QString::fromLocal8Bit(entry->ifa_name);
            break;
        }
    }
    ::freeifaddrs(interfaces);
    return name;
}

ProbeOutcome<PingSeries> pingSeries(const PingRequest& request, const CancelToken& cancel,
                                    const QString& pingProgram) {
    if (platform::ErrorRef error = checkRequest(request)) {
        return error;
    }
    ProbeOutcome<std::optional<QString>> interfaceName = outgoingInterface(request.target);
    if (!interfaceName.ok()) {
        return interfaceName.error();
    }
    const ScopedFd socket(::socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, IPPROTO_ICMP));
    if (socket.get() < 0) {
        const int error = errno;
        if (error != EACCES && error != EPERM && error != EPROTONOSUPPORT && error != EAFNOSUPPORT) {
            return probeError(
                probecode::kSystem,
                QStringLiteral("cannot make an ICMP datagram socket: %1").arg(errnoText(error)));
        }
        if (!pingProgram.isEmpty()) {
            return pingSeriesWithProgram(request, cancel, pingProgram);
        }
        if (error == EACCES || error == EPERM) {
            return refusedError(error, QStringLiteral("and no ping program is installed"));
        }
        return probeError(
            probecode::kSystem,
            QStringLiteral("this kernel offers no ICMP datagram sockets (%1) and no ping program "
                           "is installed (Debian package iputils-ping)")
                .arg(errnoText(error)));
    }
    const sockaddr_in remote = socketAddress(request.target, 0);
    if (::connect(socket.get(), reinterpret_cast<const sockaddr*>(&remote), sizeof remote) != 0) {
        return probeError(
            probecode::kUnreachable,
            QStringLiteral("cannot ping %1: %2").arg(request.target.toString(), errnoText(errno)));
    }
    EchoSeries series(socket.get(), request);
    return series.run(cancel, interfaceName.value());
}

ProbeOutcome<PingSeries> pingSeriesWithProgram(const PingRequest& request, const CancelToken& cancel,
                                               const QString& pingProgram) {
    if (platform::ErrorRef error = checkRequest(request)) {
        return error;
    }
    ProbeOutcome<std::optional<QString>> interfaceName = outgoingInterface(request.target);
    if (!interfaceName.ok()) {
        return interfaceName.error();
    }
    const milliseconds interval = std::max(request.interval, kLeastProgramInterval);
    // The program's own time, and some more for it to start and end.
    const milliseconds allowed = interval * request.count + request.replyTimeout + milliseconds(2000);
    const ProgramRun run =
        runProgram(pingProgram,
                   {QStringLiteral("-n"), QStringLiteral("-c"), QString::number(request.count),
                    QStringLiteral("-i"), secondsArgument(interval), QStringLiteral("-W"),
                    secondsArgument(request.replyTimeout), request.target.toString()},
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
            return refusedError(EPERM, QStringLiteral("and the ping program %1 may not ping either (%2)")
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
