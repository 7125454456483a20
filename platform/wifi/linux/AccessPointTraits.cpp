#include "platform/wifi/linux/AccessPointTraits.h"

#include "platform/wifi/linux/Problem.h"

#include "platform/wifi/linux/Channels.h"

#include <QStringList>

namespace platform::linuxwifi {

namespace {

int hexDigit(QChar c) {
    const char16_t u = c.unicode();
    if (u >= u'0' && u <= u'9') {
        return u - u'0';
    }
    if (u >= u'a' && u <= u'f') {
        return u - u'a' + 10;
    }
    if (u >= u'A' && u <= u'F') {
        return u - u'A' + 10;
    }
    return -1;
}

}  // namespace

std::optional<bool> usesLegacyRatesOnly(int frequencyMHz, std::uint32_t maxBitrateKbps, QString* problem) {
    const auto channel = channelOfFrequency(frequencyMHz);
    const bool on2GHz = channel && channel->band == 2;
    if (!on2GHz) {
        return false;
    }
    if (maxBitrateKbps == 0) {
        tell(problem, QStringLiteral("the access point's MaxBitrate is 0: its rates are not known"));
        return std::nullopt;
    }
    return maxBitrateKbps <= kLegacyRatesMaxKbps;
}

std::optional<Bssid> parseBssid(const QString& text, QString* problem) {
    const QStringList octets = text.split(QLatin1Char(':'));
    if (octets.size() != 6) {
        tell(problem, QStringLiteral("BSSID \"%1\" does not have six colon-separated octets").arg(text));
        return std::nullopt;
    }
    Bssid bssid{};
    for (int i = 0; i < 6; ++i) {
        const QString& octet = octets[i];
        const int high = octet.size() == 2 ? hexDigit(octet[0]) : -1;
        const int low = octet.size() == 2 ? hexDigit(octet[1]) : -1;
        if (high < 0 || low < 0) {
            tell(problem, QStringLiteral("BSSID \"%1\": octet %2 (\"%3\") is not two hex digits")
                              .arg(text, QString::number(i + 1), octet));
            return std::nullopt;
        }
        bssid[i] = static_cast<std::uint8_t>(high * 16 + low);
    }
    return bssid;
}

bool isLocallyAdministered(const Bssid& bssid) {
    return (bssid[0] & 0x02) != 0;
}

bool isLocallyAdministeredBssid(const QString& bssid, QString* problem) {
    const auto parsed = parseBssid(bssid, problem);
    return parsed && isLocallyAdministered(*parsed);
}

}  // namespace platform::linuxwifi
