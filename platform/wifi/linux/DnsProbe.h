#pragma once
// Name resolution for the Resolve DNS test: the system's resolver (getaddrinfo, so the same
// configuration every program uses), bounded in time and cancellable although getaddrinfo is not.

#include "platform/wifi/linux/CancelToken.h"

#include <QHostAddress>
#include <QList>
#include <QString>

#include <chrono>

namespace platform::linuxwifi {

// The addresses (IPv4 and IPv6, each once, in the resolver's order) of hostName. getaddrinfo runs
// on a thread of its own: on timeout (error 60) or cancel (error 125) the call returns at once and
// the thread finishes by itself later. A name that does not resolve is error 8 with the resolver's
// text; a name that cannot be a host name is error 22.
ProbeOutcome<QList<QHostAddress>> resolveHost(const QString& hostName, std::chrono::milliseconds timeout,
                                              const CancelToken& cancel);

// The name servers a resolv.conf (its text) names, in its order: the "nameserver" lines whose
// address reads; comments and other lines are skipped.
QList<QHostAddress> nameserversOf(const QByteArray& resolvConf);

}  // namespace platform::linuxwifi
