#pragma once
// Where the live tests of the Linux backend send their probes, beyond the gateway (which is found):
// the public address pinged for the WAN test, the name resolved for the DNS test, and the internet
// check's URL with the answer it must give. The defaults are documented in docs/linux-backend.md;
// the host's options change each of them.

#include <QByteArray>
#include <QString>
#include <QUrl>

#include <chrono>
#include <optional>

namespace platform::linuxwifi {

struct ProbeTargets {
    QString wanPingAddress = QStringLiteral("9.9.9.9");  // a well-known public resolver
    // The WAN ping's target on a network without IPv4 (IPv6 only, with NAT64): the same resolver's.
    QString wanPingAddress6 = QStringLiteral("2620:fe::fe");
    QString dnsName = QStringLiteral("nmcheck.gnome.org");
    QUrl checkUrl = QUrl(QStringLiteral("http://nmcheck.gnome.org/check_network_status.txt"));
    int checkStatus = 200;
    std::optional<QByteArray> checkBody = QByteArray("NetworkManager is online\n");

    int pingCount = 10;
    std::chrono::milliseconds pingInterval{200};
    std::chrono::milliseconds replyTimeout{1000};
    std::chrono::milliseconds dnsTimeout{5000};
    std::chrono::milliseconds httpTimeout{5000};
    std::chrono::milliseconds secondHopTimeout{2000};
};

}  // namespace platform::linuxwifi
