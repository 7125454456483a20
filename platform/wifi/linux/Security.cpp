#include "platform/wifi/linux/Security.h"

#include "platform/wifi/linux/Problem.h"

#include <map>

namespace platform::linuxwifi {

namespace {

QString hex(std::uint32_t value) {
    return QStringLiteral("0x") + QString::number(value, 16);
}

bool isOnly(const QStringList& values, const QString& only) {
    return values.size() == 1 && values.front().compare(only, Qt::CaseInsensitive) == 0;
}

}  // namespace

bool isOpenAccessPoint(const AccessPointSecurityFlags& ap) {
    return (ap.flags & apflags::kPrivacy) == 0 && ap.wpaFlags == 0 && ap.rsnFlags == 0;
}

bool isWepAccessPoint(const AccessPointSecurityFlags& ap) {
    return (ap.flags & apflags::kPrivacy) != 0 && ap.wpaFlags == 0 && ap.rsnFlags == 0;
}

bool isLegacyWpaAccessPoint(const AccessPointSecurityFlags& ap) {
    const bool wpa1Only = ap.wpaFlags != 0 && ap.rsnFlags == 0;
    const std::uint32_t pairwise = (ap.wpaFlags | ap.rsnFlags) & apsecurity::kPairwiseCiphers;
    return wpa1Only || pairwise == apsecurity::kPairTkip;
}

std::optional<SecurityType> securityOfAccessPoint(const AccessPointSecurityFlags& ap, QString* problem) {
    const std::uint32_t both = ap.wpaFlags | ap.rsnFlags;
    if (both & (apsecurity::kKeyMgmt8021X | apsecurity::kKeyMgmtEapSuiteB192)) {
        return SecurityType::Enterprise;
    }
    if (both & apsecurity::kKeyMgmtSae) {
        return SecurityType::Wpa3Personal;
    }
    if (both & apsecurity::kKeyMgmtPsk) {
        return isLegacyWpaAccessPoint(ap) ? SecurityType::Wpa : SecurityType::Wpa2Personal;
    }
    if (both & (apsecurity::kKeyMgmtOwe | apsecurity::kKeyMgmtOweTransition)) {
        return SecurityType::Owe;
    }
    if (both == 0) {
        return (ap.flags & apflags::kPrivacy) ? SecurityType::Wep : SecurityType::Open;
    }
    tell(problem, QStringLiteral("the access point's WpaFlags (%1) and RsnFlags (%2) name no key "
                                 "management that tells its security type")
                      .arg(hex(ap.wpaFlags), hex(ap.rsnFlags)));
    return std::nullopt;
}

std::optional<SecurityType> securityOfSavedConnection(const SavedSecuritySettings& settings,
                                                      QString* problem) {
    if (!settings.keyMgmt) {
        return SecurityType::Open;
    }
    const QString keyMgmt = settings.keyMgmt->toLower();
    if (keyMgmt == QLatin1String("none") || keyMgmt == QLatin1String("ieee8021x")) {
        return SecurityType::Wep;
    }
    if (keyMgmt == QLatin1String("wpa-psk")) {
        const bool legacy = isOnly(settings.proto, QStringLiteral("wpa")) ||
                            isOnly(settings.pairwise, QStringLiteral("tkip"));
        return legacy ? SecurityType::Wpa : SecurityType::Wpa2Personal;
    }
    if (keyMgmt == QLatin1String("sae")) {
        return SecurityType::Wpa3Personal;
    }
    if (keyMgmt == QLatin1String("wpa-eap") || keyMgmt == QLatin1String("wpa-eap-suite-b-192")) {
        return SecurityType::Enterprise;
    }
    if (keyMgmt == QLatin1String("owe")) {
        return SecurityType::Owe;
    }
    if (keyMgmt.isEmpty()) {
        tell(problem, QStringLiteral("802-11-wireless-security.key-mgmt is empty"));
    } else {
        tell(problem, QStringLiteral("802-11-wireless-security.key-mgmt \"%1\" is not a known key management")
                          .arg(*settings.keyMgmt));
    }
    return std::nullopt;
}

bool conflictingSecurityInSavedNetworks(const std::vector<SavedNetworkSecurity>& saved) {
    std::map<QByteArray, SecurityType> firstSeen;
    for (const SavedNetworkSecurity& network : saved) {
        const auto [it, inserted] = firstSeen.emplace(network.ssid, network.security);
        if (!inserted && it->second != network.security) {
            return true;
        }
    }
    return false;
}

}  // namespace platform::linuxwifi
