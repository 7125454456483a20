#pragma once
// What the real-system backend's handler files share: the request as a handler sees it, the way
// out with a service error, verdicts, and the conversions from NetworkManager's records to the
// service's details.

#include "platform/wifi/linux/CancelToken.h"
#include "platform/wifi/linux/LinuxBackend.h"
#include "platform/wifi/linux/NetworkManagerClient.h"
#include "platform/wifi/linux/Security.h"

#include <QHostAddress>
#include <QList>
#include <QString>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace platform::linuxwifi {

class CancelToken;

struct LinuxBackend::Request {
    std::int64_t testID = 0;
    std::optional<std::int64_t> maxScanCacheAge;  // seconds; absent: any scan NetworkManager has
    std::optional<QString> networkName;           // the selected network, when one is named
    std::shared_ptr<CancelToken> cancel;
    std::int64_t arrivedAtMs = 0;  // CLOCK_BOOTTIME: a scan finished after it is fresh for the request
};

namespace handlers {

extern const QString kDomain;

// A handler's way out with a service error; answer() turns it into the request's error.
struct ServiceFailure {
    ErrorRef error;
};

[[noreturn]] void fail(std::int64_t code, const QString& text);

TestAnswer verdict(bool result, bool didPass, DictionaryRef info = nullptr);
// A problem test: the finding is the result, and passing means no problem found.
TestAnswer finding(bool found, DictionaryRef info = nullptr);

// CLOCK_BOOTTIME in milliseconds, the clock of NetworkManager's LastScan.
std::int64_t bootTimeMs();

AccessPointSecurityFlags securityFlagsOf(const NMAccessPoint& ap);
// {"Security": the access point's type}, or empty when the type cannot be told.
DictionaryRef securityInfo(const NMAccessPoint& ap);
std::vector<int> frequenciesOf(const std::vector<NMAccessPoint>& scan);
// The four least crowded channels, under the keys the service gives them.
void putBandChannels(Dictionary& info, const std::vector<NMAccessPoint>& scan);
// An access point as a scan record of the service: its signal the kernel's, in dBm, where radio
// holds its BSS, else NetworkManager's strength converted.
Value scanResultValue(const NMAccessPoint& ap, const RadioSnapshot* radio = nullptr);
// A probe's error that says something about the network (no such name, no answer in time, refused,
// no route), as against one that says the probe could not be made (cancelled, a bad target, the
// system failing): only the first kind is a finding.
bool isNetworkFinding(const ErrorRef& error);
bool isWifiConnection(const NMConnectionSettings& settings);

// Which of a name's addresses a probe takes: the first, IPv4 before IPv6, whose route leaves
// through the Wi-Fi device (or through no named device). Where the routes of all those that have one
// leave through another device, elsewhere names the first and its device; where none has a route
// (an IPv4 address on a network without IPv4), the first address, and the probe says what failed.
struct ThroughWiFi {
    QHostAddress address;
    std::optional<std::pair<QHostAddress, QString>> elsewhere;
};
using RouteLookup = std::function<ProbeOutcome<std::optional<QString>>(const QHostAddress&)>;
ThroughWiFi addressThroughWiFi(const QList<QHostAddress>& addresses, const QString& wifiInterface,
                               const RouteLookup& routeOf);
std::optional<SecurityType> securityOfSettings(const NMConnectionSettings& settings);

}  // namespace handlers
}  // namespace platform::linuxwifi
