#include "platform/wifi/linux/RouteTable.h"

#include <QFile>
#include <QStringList>

#include <arpa/inet.h>

#include <map>

namespace platform::linuxwifi {

namespace {

constexpr unsigned kRouteUp = 0x0001;       // RTF_UP
constexpr unsigned kRouteGateway = 0x0002;  // RTF_GATEWAY

const QStringList& neededColumns() {
    static const QStringList columns{QStringLiteral("Iface"),   QStringLiteral("Destination"),
                                     QStringLiteral("Gateway"), QStringLiteral("Flags"),
                                     QStringLiteral("Metric"),  QStringLiteral("Mask")};
    return columns;
}

platform::ErrorRef lineError(int line, const QString& what) {
    return probeError(probecode::kInvalidArgument,
                      QStringLiteral("routing table line %1: %2").arg(line).arg(what));
}

}  // namespace

ProbeOutcome<std::optional<DefaultRoute>> parseDefaultRoute(const QString& routeTable) {
    const QStringList lines = routeTable.split(QLatin1Char('\n'));
    std::map<QString, qsizetype> column;
    qsizetype columnCount = 0;
    std::optional<DefaultRoute> best;
    for (qsizetype index = 0; index < lines.size(); ++index) {
        const int lineNumber = static_cast<int>(index) + 1;
        const QStringList fields = lines[index].simplified().split(QLatin1Char(' '), Qt::SkipEmptyParts);
        if (fields.isEmpty()) {
            continue;
        }
        if (columnCount == 0) {
            for (const QString& name : neededColumns()) {
                if (!fields.contains(name)) {
                    return lineError(lineNumber,
                                     QStringLiteral("the header names no column \"%1\"").arg(name));
                }
            }
            for (qsizetype i = 0; i < fields.size(); ++i) {
                column[fields[i]] = i;
            }
            columnCount = fields.size();
            continue;
        }
        if (fields.size() != columnCount) {
            return lineError(
                lineNumber,
                QStringLiteral("%1 fields where the header names %2").arg(fields.size()).arg(columnCount));
        }
        auto hexField = [&](const QString& name, quint32* value) {
            bool ok = false;
            const QString& text = fields[column[name]];
            *value = text.toUInt(&ok, 16);
            return ok && text.size() <= 8;
        };
        quint32 destination = 0;
        quint32 gateway = 0;
        quint32 mask = 0;
        quint32 flags = 0;
        for (const auto& [name, value] :
             {std::pair{QStringLiteral("Destination"), &destination},
              std::pair{QStringLiteral("Gateway"), &gateway}, std::pair{QStringLiteral("Mask"), &mask},
              std::pair{QStringLiteral("Flags"), &flags}}) {
            if (!hexField(name, value)) {
                return lineError(lineNumber,
                                 QStringLiteral("%1 \"%2\" is not a hexadecimal number of 32 bits")
                                     .arg(name, fields[column[name]]));
            }
        }
        bool metricOk = false;
        const int metric = fields[column[QStringLiteral("Metric")]].toInt(&metricOk);
        if (!metricOk || metric < 0) {
            return lineError(lineNumber, QStringLiteral("Metric \"%1\" is not a number")
                                             .arg(fields[column[QStringLiteral("Metric")]]));
        }
        const bool isDefault = destination == 0 && mask == 0 && (flags & kRouteUp) && (flags & kRouteGateway);
        if (!isDefault || (best && best->metric <= metric)) {
            continue;
        }
        // The kernel prints each address as the 32-bit word that holds it in network byte order.
        best = DefaultRoute{QHostAddress(ntohl(gateway)), fields[column[QStringLiteral("Iface")]], metric};
    }
    if (columnCount == 0) {
        return probeError(probecode::kInvalidArgument,
                          QStringLiteral("the routing table is empty: not even its header line is there"));
    }
    return best;
}

ProbeOutcome<std::optional<DefaultRoute>> readDefaultRoute(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text)) {
        return probeError(
            probecode::kSystem,
            QStringLiteral("cannot read the routing table %1: %2").arg(path, file.errorString()));
    }
    // A file of /proc has no size; readAll() reads until its end.
    const ProbeOutcome<std::optional<DefaultRoute>> parsed =
        parseDefaultRoute(QString::fromUtf8(file.readAll()));
    if (!parsed.ok()) {
        return probeError(parsed.error()->code, QStringLiteral("%1: %2").arg(path, parsed.error()->text));
    }
    return parsed;
}

}  // namespace platform::linuxwifi
