#include "platform/wifi/linux/Addresses.h"

#include "platform/wifi/linux/Problem.h"

#include <QRegularExpression>

#include <cstdint>

namespace platform::linuxwifi {

namespace {

bool inPrefix(std::uint32_t address, std::uint32_t network, int prefixLength) {
    const std::uint32_t mask = prefixLength == 0 ? 0 : ~std::uint32_t{0} << (32 - prefixLength);
    return (address & mask) == network;
}

}  // namespace

std::optional<QHostAddress> parseIpAddress(const QString& text, QString* problem) {
    // Decimal parts without leading zeros, which some parsers read as octal.
    static const QRegularExpression kDottedQuad(
        QStringLiteral("^(?:0|[1-9][0-9]{0,2})(?:\\.(?:0|[1-9][0-9]{0,2})){3}$"));
    QHostAddress address;
    const bool looksIPv4 = !text.contains(QLatin1Char(':'));
    if ((looksIPv4 && !kDottedQuad.match(text).hasMatch()) || !address.setAddress(text)) {
        tell(problem, QStringLiteral("\"%1\" is not an IP address").arg(text));
        return std::nullopt;
    }
    return address;
}

bool isPrivateIPv4(const QHostAddress& address) {
    bool isIPv4 = false;
    const std::uint32_t v4 = address.toIPv4Address(&isIPv4);
    if (!isIPv4) {
        return false;
    }
    return inPrefix(v4, 0x0A000000, 8)       // 10.0.0.0/8
           || inPrefix(v4, 0xAC100000, 12)   // 172.16.0.0/12
           || inPrefix(v4, 0xC0A80000, 16)   // 192.168.0.0/16
           || inPrefix(v4, 0x64400000, 10);  // 100.64.0.0/10
}

bool isPrivateIPv4(const QString& address, QString* problem) {
    const auto parsed = parseIpAddress(address, problem);
    if (!parsed) {
        return false;
    }
    if (parsed->protocol() != QAbstractSocket::IPv4Protocol) {
        tell(problem, QStringLiteral("\"%1\" is not an IPv4 address").arg(address));
        return false;
    }
    return isPrivateIPv4(*parsed);
}

bool isDoubleNat(const QHostAddress& gateway, const QHostAddress& secondHop) {
    return isPrivateIPv4(gateway) && isPrivateIPv4(secondHop);
}

bool isGlobalIPv6(const QHostAddress& address) {
    if (address.protocol() != QAbstractSocket::IPv6Protocol) {
        return false;
    }
    const Q_IPV6ADDR bytes = address.toIPv6Address();
    return (bytes[0] & 0xE0) == 0x20;  // 2000::/3
}

bool isGlobalIPv6(const QString& address, QString* problem) {
    const auto parsed = parseIpAddress(address, problem);
    if (!parsed) {
        return false;
    }
    if (parsed->protocol() != QAbstractSocket::IPv6Protocol) {
        tell(problem, QStringLiteral("\"%1\" is not an IPv6 address").arg(address));
        return false;
    }
    return isGlobalIPv6(*parsed);
}

bool hasGlobalIPv6(const QStringList& addresses) {
    for (const QString& address : addresses) {
        if (isGlobalIPv6(address)) {
            return true;
        }
    }
    return false;
}

}  // namespace platform::linuxwifi
