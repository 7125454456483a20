// A network's configuration and security: open and legacy security, legacy rates, the name, hidden
// networks, personal hotspots and captive portals.
#include "platform/wifi/linux/HandlerSupport.h"

#include "platform/wifi/linux/AccessPointTraits.h"
#include "platform/wifi/linux/CancelToken.h"
#include "platform/wifi/linux/HttpProbe.h"
#include "platform/wifi/linux/NetworkManagerClient.h"
#include "platform/wifi/linux/NetworkNames.h"
#include "platform/wifi/linux/Nl80211Radio.h"
#include "platform/wifi/linux/SsidText.h"

namespace platform::linuxwifi {

using namespace handlers;

TestAnswer LinuxBackend::noSecurity(const Request& request) {
    const NMAccessPoint ap = targetAccessPoint(request);
    // The joined link is as secure as the connection in use: the open half of an OWE transition
    // pair announces OWE in its flags, yet a connection without OWE joins it open.
    if (!request.networkName) {
        if (const auto active = activeConnectionIfReadable(); active && active->ssid == ap.ssid) {
            if (const auto security = securityOfSettings(*active)) {
                return finding(*security == SecurityType::Open,
                               Dictionary::make({{QStringLiteral("Security"),
                                                  Value::integer(static_cast<std::int64_t>(*security))}}));
            }
        }
    }
    return finding(isOpenAccessPoint(securityFlagsOf(ap)), securityInfo(ap));
}

TestAnswer LinuxBackend::legacyWEP(const Request& request) {
    const NMAccessPoint ap = targetAccessPoint(request);
    return finding(isWepAccessPoint(securityFlagsOf(ap)), securityInfo(ap));
}

TestAnswer LinuxBackend::legacyWPA(const Request& request) {
    const NMAccessPoint ap = targetAccessPoint(request);
    return finding(isLegacyWpaAccessPoint(securityFlagsOf(ap)), securityInfo(ap));
}

TestAnswer LinuxBackend::legacyRates(const Request& request) {
    requireRealAccessPoints();
    // The rates the access point sends, where the kernel's scan holds it; else NetworkManager's
    // MaxBitrate, the highest of those rates.
    try {
        const RadioTarget target = radioTarget(request, QStringLiteral("the access point's rates"));
        const auto band = target.bss->frequency ? bandOfFrequency(*target.bss->frequency) : std::nullopt;
        if (const auto legacy = offersOnlyLegacyRates(BssElements(*target.bss), band)) {
            return finding(*legacy);
        }
    } catch (const ServiceFailure& failure) {
        if (failure.error->code == servicecode::kCancelled) {
            throw;
        }
    }
    const NMAccessPoint ap = targetAccessPoint(request);
    QString problem;
    const auto legacy = usesLegacyRatesOnly(static_cast<int>(ap.frequency), ap.maxBitrate, &problem);
    if (!legacy) {
        fail(servicecode::kSystem, problem);
    }
    return finding(*legacy);
}

TestAnswer LinuxBackend::ambiguousName(const Request& request) {
    const NMAccessPoint ap = targetAccessPoint(request);
    const QString name = ssidText(ap.ssid);
    return finding(isAmbiguousNetworkName(name),
                   Dictionary::make({{QStringLiteral("NetworkName"), Value::string(name)}}));
}

TestAnswer LinuxBackend::hiddenNetwork(const Request& request) {
    const NMAccessPoint ap = targetAccessPoint(request);
    const auto saved = connectionFor(request, ap);
    return finding(ap.ssid.isEmpty() || (saved && saved->effectiveHidden()));
}

TestAnswer LinuxBackend::personalHotspot(const Request& request) {
    const NMAccessPoint ap = targetAccessPoint(request);
    // A locally administered BSSID alone proves nothing: enterprise access points with several
    // BSSIDs and mesh nodes use them too. A phone's hotspot says it is metered (NetworkManager
    // reads the Android DHCP option, or the user set it) once joined; before that no element of
    // its beacon that phone makers document tells it.
    if (request.networkName) {
        fail(servicecode::kNotSupported,
             QStringLiteral("a phone's hotspot tells itself only once joined (as a metered network); no "
                            "documented element of its beacon tells it before"));
    }
    const NMDevice device = wifiDevice();
    return finding(device.metered == nm::kMeteredYes || device.metered == nm::kMeteredGuessYes);
}

bool LinuxBackend::behindCaptivePortal(const Request& request) {
    // Where the daemon checks connectivity itself, its verdict on the Wi-Fi device's own IPv4 and
    // IPv6 counts, not the global state, which a docked laptop's Ethernet would make FULL: a portal
    // on either family is a portal, full connectivity on either (IPv6 on a network without IPv4)
    // is none. Stock Debian ships checking off; the daemon then calls any routed link FULL, and our
    // own probe tells instead, as it does when the daemon found neither.
    NMConnectivityChecking checking;
    try {
        checking = nm_->connectivityChecking();
    } catch (const DBusReadError&) {
        // Properties the daemon does not have: it says nothing of its checking.
    }
    if (checking.checks()) {
        try {
            nm_->checkConnectivity(options_.connectivityCheckTimeout);
            const NMDevice device = wifiDevice();
            const auto is = [&device](std::uint32_t state) {
                return device.ip4Connectivity == state || device.ip6Connectivity == state;
            };
            if (is(nm::kConnectivityPortal)) {
                return true;
            }
            if (is(nm::kConnectivityFull)) {
                return false;
            }
        } catch (const DBusReadError&) {
            if (request.cancel->isCancelled()) {
                throw;
            }
            // Refused (a polkit right) or slower than its bound: our own probe tells instead.
        }
    }
    const auto address = internetCheckAddress(request);
    if (!address.ok()) {
        throw ServiceFailure{address.error()};  // no answer tells nothing about a portal
    }
    const auto retrieved =
        http_->retrieve(options_.targets.checkUrl, options_.targets.checkStatus, options_.targets.checkBody,
                        options_.targets.httpTimeout, *request.cancel, address.value());
    if (!retrieved.ok()) {
        throw ServiceFailure{retrieved.error()};
    }
    return retrieved.value().portalLike();
}

TestAnswer LinuxBackend::captivePortal(const Request& request) {
    requireJoinedTarget(request);
    const NMAccessPoint ap = targetAccessPoint(request);
    const bool captive = behindCaptivePortal(request);
    auto info = Dictionary::make();
    const auto saved = connectionFor(request, ap);
    // The saved connection's security, else the access point's; the profile stays out when
    // neither can be told.
    auto security = saved ? securityOfSettings(*saved) : std::nullopt;
    if (!security) {
        security = securityOfAccessPoint(securityFlagsOf(ap));
    }
    if (saved && security) {
        auto profile = std::make_shared<NetworkProfile>();
        profile->ssidString = ssidText(ap.ssid);
        profile->security = static_cast<std::int64_t>(*security);
        profile->isPasspoint = false;  // NetworkManager saves no Passpoint profiles
        profile->isEnabled = saved->effectiveAutoconnect();
        profile->isCaptive = captive;
        profile->isHidden = saved->effectiveHidden();
        int accessPoints = 0;
        // On NetworkManager's iwd backend every network has one made-up access point: the scan
        // tells nothing of them, and no profile is made up either.
        if (accessPointsAreMadeUp()) {
            return finding(captive, info);
        }
        for (const NMAccessPoint& other : scan(request)) {
            accessPoints += other.ssid == ap.ssid ? 1 : 0;
        }
        profile->isMultiAP = accessPoints > 1;
        if (saved->timestamp && *saved->timestamp > 0) {
            profile->lastJoinedTimestamp = Date::fromSecondsSince1970(static_cast<double>(*saved->timestamp));
        }
        info->set(QStringLiteral("PreferredNetwork"), Value::record(profile));
    }
    return finding(captive, info);
}

}  // namespace platform::linuxwifi
