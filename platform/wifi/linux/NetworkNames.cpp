#include "platform/wifi/linux/NetworkNames.h"

#include <QRegularExpression>

namespace platform::linuxwifi {

QStringList ambiguousNetworkNames() {
    return {QStringLiteral("linksys"),     QStringLiteral("NETGEAR"),   QStringLiteral("default"),
            QStringLiteral("dlink"),       QStringLiteral("D-Link"),    QStringLiteral("TP-LINK"),
            QStringLiteral("xfinitywifi"), QStringLiteral("belkin"),    QStringLiteral("ASUS"),
            QStringLiteral("Tenda"),       QStringLiteral("ZTE"),       QStringLiteral("Wireless"),
            QStringLiteral("WLAN"),        QStringLiteral("FRITZ!Box"), QStringLiteral("Vodafone")};
}

bool isAmbiguousNetworkName(const QString& name) {
    static const QRegularExpression kMakerSuffix(
        QStringLiteral("^(?:[0-9][a-z0-9]{0,2})?(?:[-_ ][a-z0-9]{2,8}){0,2}$"),
        QRegularExpression::CaseInsensitiveOption);
    static const QStringList kNames = ambiguousNetworkNames();
    for (const QString& listed : kNames) {
        if (name.startsWith(listed, Qt::CaseInsensitive) &&
            kMakerSuffix.match(name.mid(listed.size())).hasMatch()) {
            return true;
        }
    }
    return false;
}

}  // namespace platform::linuxwifi
