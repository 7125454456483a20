#include "platform/wifi/linux/HandlerSupport.h"

#include "platform/wifi/linux/Nl80211Radio.h"

#include "platform/wifi/linux/Channels.h"
#include "platform/wifi/linux/IcmpEcho.h"
#include "platform/wifi/linux/SignalLevels.h"
#include "platform/wifi/linux/SsidText.h"

#include <ctime>
#include <set>

namespace platform::linuxwifi::handlers {

const QString kDomain = QStringLiteral("WiFiDiagnostics");

[[noreturn]] void fail(std::int64_t code, const QString& text) {
    throw ServiceFailure{makeError(kDomain, code, text)};
}

TestAnswer verdict(bool result, bool didPass, DictionaryRef info) {
    return TestAnswer{DiagnosticsTestResult{result, didPass, std::move(info)}, nullptr};
}

// A problem test: the finding is the result, and passing means no problem found.
TestAnswer finding(bool found, DictionaryRef info) {
    return verdict(found, !found, std::move(info));
}

// CLOCK_BOOTTIME in milliseconds, the clock of NetworkManager's LastScan.
std::int64_t bootTimeMs() {
    timespec now{};
    clock_gettime(CLOCK_BOOTTIME, &now);
    return static_cast<std::int64_t>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

AccessPointSecurityFlags securityFlagsOf(const NMAccessPoint& ap) {
    return AccessPointSecurityFlags{ap.flags, ap.wpaFlags, ap.rsnFlags};
}

DictionaryRef securityInfo(const NMAccessPoint& ap) {
    QString problem;
    const auto security = securityOfAccessPoint(securityFlagsOf(ap), &problem);
    if (!security) {
        return Dictionary::make();  // the type cannot be told: the key stays out
    }
    return Dictionary::make(
        {{QStringLiteral("Security"), Value::integer(static_cast<std::int64_t>(*security))}});
}

std::vector<int> frequenciesOf(const std::vector<NMAccessPoint>& scan) {
    std::vector<int> frequencies;
    frequencies.reserve(scan.size());
    for (const NMAccessPoint& ap : scan) {
        frequencies.push_back(static_cast<int>(ap.frequency));
    }
    return frequencies;
}

// The four least crowded channels, under the keys the service gives them.
void putBandChannels(Dictionary& info, const std::vector<NMAccessPoint>& scan) {
    const LeastCrowdedChannels least = leastCrowdedChannels(frequenciesOf(scan));
    info.set(QStringLiteral("2GHzChannel"), Value::record(std::make_shared<WiFiChannel>(least.twoGHz)));
    info.set(QStringLiteral("5GHzChannel"), Value::record(std::make_shared<WiFiChannel>(least.fiveGHz)));
    info.set(QStringLiteral("5GHz40MHzChannel"),
             Value::record(std::make_shared<WiFiChannel>(least.fiveGHz40MHz)));
    info.set(QStringLiteral("5GHzNonDFSChannel"),
             Value::record(std::make_shared<WiFiChannel>(least.fiveGHzNonDfs)));
}

Value scanResultValue(const NMAccessPoint& ap, const RadioSnapshot* radio) {
    auto record = std::make_shared<WiFiScanResult>();
    if (!ap.ssid.isEmpty()) {
        record->ssidString = ssidText(ap.ssid);
    }
    record->bssid = ap.hwAddress.toLower();
    const Nl80211Bss* bss = radio ? radio->bss(bssidFromText(ap.hwAddress)) : nullptr;
    record->rssi =
        bss && bss->signalMbm ? dbmFromMbm(*bss->signalMbm) : dbmFromStrength(ap.strength).value_or(-100);
    if (const auto channel = channelOfFrequency(static_cast<int>(ap.frequency))) {
        record->channel = channel->channel;
    }
    return Value::record(record);
}

// A probe's error that says something about the network (no such name, no answer in time, refused,
// no route), as against one that says the probe could not be made (cancelled, a bad target, the
// system failing): only the first kind is a finding.
bool isNetworkFinding(const ErrorRef& error) {
    static const std::set<std::int64_t> kFindings = {probecode::kNameNotResolved, probecode::kTimedOut,
                                                     probecode::kConnectionRefused, probecode::kUnreachable};
    return error && kFindings.count(error->code) > 0;
}

bool isWifiConnection(const NMConnectionSettings& settings) {
    return settings.isWifi() && settings.hasWireless;
}

std::optional<SecurityType> securityOfSettings(const NMConnectionSettings& settings) {
    SavedSecuritySettings security;
    if (settings.hasWirelessSecurity) {
        security.keyMgmt = settings.keyMgmt;
        security.proto = settings.proto;
        security.pairwise = settings.pairwise;
    }
    return securityOfSavedConnection(security);
}

ThroughWiFi addressThroughWiFi(const QList<QHostAddress>& addresses, const QString& wifiInterface,
                               const RouteLookup& routeOf) {
    QList<QHostAddress> ordered;
    for (const auto protocol : {QAbstractSocket::IPv4Protocol, QAbstractSocket::IPv6Protocol}) {
        for (const QHostAddress& address : addresses) {
            if (address.protocol() == protocol) {
                ordered.append(address);
            }
        }
    }
    if (ordered.isEmpty()) {
        ordered = addresses;
    }
    ThroughWiFi choice;
    for (const QHostAddress& address : ordered) {
        const auto route = routeOf(address);
        if (!route.ok()) {
            continue;
        }
        if (!route.value() || *route.value() == wifiInterface) {
            choice.address = address;
            choice.elsewhere.reset();
            return choice;
        }
        if (!choice.elsewhere) {
            choice.elsewhere = std::make_pair(address, *route.value());
        }
    }
    choice.address = ordered.value(0);
    return choice;
}

}  // namespace platform::linuxwifi::handlers
