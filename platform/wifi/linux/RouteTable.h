#pragma once
// The default IPv4 route from the kernel's routing table as /proc/net/route shows it: the fallback
// source of the gateway when NetworkManager names none, and a helper of the tests.

#include "platform/wifi/linux/CancelToken.h"

#include <QHostAddress>
#include <QString>

#include <optional>

namespace platform::linuxwifi {

struct DefaultRoute {
    QHostAddress gateway;
    QString interfaceName;
    int metric = 0;
};

// The default route (destination and mask 0.0.0.0, up, through a gateway) of the given text of
// /proc/net/route; the one of lowest metric when there are several, the first listed among equals.
// No default route is an answer (nullopt); text that is not such a table is an error naming the
// line and what is wrong with it. Addresses are read in this machine's byte order, as the kernel
// writes them.
ProbeOutcome<std::optional<DefaultRoute>> parseDefaultRoute(const QString& routeTable);

// The same, read from the file (/proc/net/route by default).
ProbeOutcome<std::optional<DefaultRoute>> readDefaultRoute(
    const QString& path = QStringLiteral("/proc/net/route"));

}  // namespace platform::linuxwifi
