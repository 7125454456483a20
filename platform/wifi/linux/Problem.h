#pragma once
// How the readers and probes of the real system say what went wrong: a reader's refusal goes to
// *problem when the caller asked for it; a failed system call is told by its errno's text; a
// refused ping socket names the kernel's setting that governs it.

#include <QFile>
#include <QString>

#include <cstring>

namespace platform::linuxwifi {

inline void tell(QString* problem, const QString& text) {
    if (problem) {
        *problem = text;
    }
}

inline QString errnoText(int error) {
    return QString::fromLocal8Bit(std::strerror(error));
}

// The groups allowed ICMP datagram sockets ("1 0": none), or "unreadable".
inline QString pingGroupRange() {
    QFile file(QStringLiteral("/proc/sys/net/ipv4/ping_group_range"));
    if (!file.open(QIODevice::ReadOnly)) {
        return QStringLiteral("unreadable");
    }
    return QString::fromLatin1(file.readAll()).simplified();
}

}  // namespace platform::linuxwifi
