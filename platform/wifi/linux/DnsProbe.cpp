#include "platform/wifi/linux/DnsProbe.h"

#include <QByteArray>
#include <QUrl>

#include <netdb.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <mutex>
#include <system_error>
#include <thread>

namespace platform::linuxwifi {

namespace {

using std::chrono::milliseconds;

constexpr milliseconds kMaxDnsTimeout{60'000};
constexpr qsizetype kMaxNameLength = 253;

// One resolution, shared by the waiting caller and the thread that resolves: whichever leaves last
// frees it.
struct Resolution {
    QByteArray name;
    Completion done;
    std::mutex mutex;
    int status = 0;
    int systemError = 0;
    QList<QHostAddress> addresses;
};

void resolve(const std::shared_ptr<Resolution>& resolution) {
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;  // one entry per address, not one per socket type
    addrinfo* found = nullptr;
    const int status = ::getaddrinfo(resolution->name.constData(), nullptr, &hints, &found);
    const int systemError = errno;
    QList<QHostAddress> addresses;
    for (const addrinfo* entry = found; entry; entry = entry->ai_next) {
        const QHostAddress address(entry->ai_addr);
        if (!address.isNull() && !addresses.contains(address)) {
            addresses.append(address);
        }
    }
    if (found) {
        ::freeaddrinfo(found);
    }
    {
        std::lock_guard lock(resolution->mutex);
        resolution->status = status;
        resolution->systemError = systemError;
        resolution->addresses = addresses;
    }
    resolution->done.signal();
}

}  // namespace

ProbeOutcome<QList<QHostAddress>> resolveHost(const QString& hostName, milliseconds timeout,
                                              const CancelToken& cancel) {
    if (timeout <= milliseconds::zero() || timeout > kMaxDnsTimeout) {
        return probeError(probecode::kInvalidArgument,
                          QStringLiteral("the resolution timeout of %1 ms is not above 0 and at most %2")
                              .arg(timeout.count())
                              .arg(describeDuration(kMaxDnsTimeout)));
    }
    // An international name goes to the resolver in its ASCII form.
    const QByteArray name = QUrl::toAce(hostName);
    const bool blank = hostName.trimmed().isEmpty();
    if (blank || name.isEmpty() || name.size() > kMaxNameLength || name.contains(' ')) {
        return probeError(probecode::kInvalidArgument,
                          QStringLiteral("\"%1\" is not a host name that can be resolved%2")
                              .arg(hostName, blank ? QStringLiteral(" (it is empty)") : QString()));
    }
    auto resolution = std::make_shared<Resolution>();
    resolution->name = name;
    try {
        std::thread(resolve, resolution).detach();
    } catch (const std::system_error& error) {
        return probeError(probecode::kSystem, QStringLiteral("cannot start resolving %1: %2")
                                                  .arg(hostName, QString::fromLocal8Bit(error.what())));
    }
    switch (cancel.waitFor(resolution->done, deadlineAfter(timeout))) {
        case WaitEnd::Cancelled:
            return probeError(probecode::kCancelled,
                              QStringLiteral("resolving %1 was cancelled").arg(hostName));
        case WaitEnd::TimedOut:
            return probeError(
                probecode::kTimedOut,
                QStringLiteral("resolving %1 took longer than %2").arg(hostName, describeDuration(timeout)));
        case WaitEnd::Ready:
            break;
    }
    std::lock_guard lock(resolution->mutex);
    if (resolution->status == EAI_SYSTEM) {
        return probeError(probecode::kNameNotResolved,
                          QStringLiteral("%1 does not resolve: %2")
                              .arg(hostName, QString::fromLocal8Bit(std::strerror(resolution->systemError))));
    }
    if (resolution->status != 0) {
        return probeError(probecode::kNameNotResolved,
                          QStringLiteral("%1 does not resolve: %2")
                              .arg(hostName, QString::fromLocal8Bit(::gai_strerror(resolution->status))));
    }
    if (resolution->addresses.isEmpty()) {
        return probeError(probecode::kNameNotResolved,
                          QStringLiteral("%1 does not resolve: the resolver gave no address").arg(hostName));
    }
    return resolution->addresses;
}

QList<QHostAddress> nameserversOf(const QByteArray& resolvConf) {
    QList<QHostAddress> servers;
    for (const QByteArray& line : resolvConf.split('\n')) {
        const QList<QByteArray> words = line.simplified().split(' ');
        if (words.size() >= 2 && words[0] == "nameserver") {
            // A link-local IPv6 server may carry its zone ("fe80::1%wlan0").
            const QHostAddress address(QString::fromLatin1(words[1]));
            if (!address.isNull()) {
                servers.append(address);
            }
        }
    }
    return servers;
}

}  // namespace platform::linuxwifi
