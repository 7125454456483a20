// Connectivity tests of the joined network: pings inside and outside the network (with their
// statistics), address assignment, name resolution and reaching the maker's internet service.
#include "wifiprofile/controller/NullHelpers.h"
#include "wifiprofile/controller/WiFiProfileViewController.h"
#include "wifiprofile/service/TestStep.h"

namespace wifiprofile {

using platform::DictionaryRef;
using platform::Value;

namespace {

// The ping statistics as the result reports them. "SSID" carries the interface name; "min" and
// "max" keep a NaN as it is, while loss, mean and deviation turn NaN into the null marker.
DictionaryRef pingResultDictionary(const WiFiProfileViewController& controller,
                                   const platform::WiFiPingResult& ping) {
    const std::optional<Value> interfaceName =
        ping.interfaceName ? std::optional<Value>(Value::string(*ping.interfaceName)) : std::nullopt;
    const QString timestamp =
        controller.timestampFormattedInISO8601(platform::Date::fromSecondsSinceReferenceDate(ping.timestamp));
    return platform::Dictionary::make({
        {"SSID", stringOrNull(interfaceName)},
        {"count", Value::integer(ping.count)},
        {"packetLoss", numberOrNullForDouble(ping.packetLoss)},
        {"min", Value::number(ping.min)},
        {"max", Value::number(ping.max)},
        {"avg", numberOrNullForDouble(ping.avg)},
        {"stddev", numberOrNullForDouble(ping.stddev)},
        {"timestamp", Value::string(timestamp)},
    });
}

void runPingTest(const WiFiProfileViewController& controller, std::int64_t testID, const char* title,
                 const DictionaryRef& configuration, platform::Dictionary& results, const QString& verdictKey,
                 const QString& statisticsKey) {
    const auto result = runTestStep(controller, testID, configuration, title);
    if (!result) {
        return;
    }
    writeVerdict(results, verdictKey, result->result);
    if (!result->didPass) {
        return;
    }
    const auto info = infoOrLog(*result);
    if (!info) {
        return;
    }
    // Anything other than ping statistics under the key counts as none.
    const std::optional<Value> entry = info->value("PingResult");
    const auto ping = entry ? entry->recordAs<platform::WiFiPingResult>() : nullptr;
    if (!ping) {
        logNotFound("PingResult");
        return;
    }
    results.set(statisticsKey, Value::dictionary(pingResultDictionary(controller, *ping)));
}

}  // namespace

void WiFiProfileViewController::runCurrentNetworkPingLANWithConfiguration(DictionaryRef configuration,
                                                                          DictionaryRef resultsDictionary) {
    runPingTest(*this, 3, "Ping LAN", configuration, *resultsDictionary, "pingedLAN", "pingLANResult");
}

void WiFiProfileViewController::runCurrentNetworkPingWANWithConfiguration(DictionaryRef configuration,
                                                                          DictionaryRef resultsDictionary) {
    runPingTest(*this, 6, "Ping WAN", configuration, *resultsDictionary, "pingedWAN", "pingWANResult");
}

void WiFiProfileViewController::runCurrentNetworkIPv4AssignedWithConfiguration(
    DictionaryRef configuration, DictionaryRef resultsDictionary) {
    runVerdictOnlyTest(*this, 12, "IPv4 Assigned", configuration, *resultsDictionary, "isIPv4Assigned");
}

void WiFiProfileViewController::runCurrentNetworkIPv6AssignedWithConfiguration(
    DictionaryRef configuration, DictionaryRef resultsDictionary) {
    runVerdictOnlyTest(*this, 13, "IPv6 Assigned", configuration, *resultsDictionary, "isIPv6Assigned");
}

void WiFiProfileViewController::runCurrentNetworkResolveDNSWithConfiguration(
    DictionaryRef configuration, DictionaryRef resultsDictionary) {
    runVerdictOnlyTest(*this, 7, "Resolve DNS", configuration, *resultsDictionary, "resolvedDNS");
}

void WiFiProfileViewController::runCurrentNetworkReachOrvaneWithConfiguration(
    DictionaryRef configuration, DictionaryRef resultsDictionary) {
    runVerdictOnlyTest(*this, 9, "Reach Orvane", configuration, *resultsDictionary, "reachedOrvane");
}

void WiFiProfileViewController::runCurrentNetworkRetrieveOrvaneWithConfiguration(
    DictionaryRef configuration, DictionaryRef resultsDictionary) {
    runVerdictOnlyTest(*this, 11, "Retrieve Orvane", configuration, *resultsDictionary, "retrievedOrvane");
}

}  // namespace wifiprofile
