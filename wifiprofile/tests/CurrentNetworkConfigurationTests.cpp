// Configuration and security tests of a network: double NAT, beacon and DTIM intervals, security,
// legacy rates, ambiguous name, hidden, personal hotspot, captive portal with the remembered profile,
// Passpoint, PHY modes and the base station. Each writes into the dictionary it is given, so the
// same operation serves the joined network and the selected one.
#include "wifiprofile/controller/NullHelpers.h"
#include "wifiprofile/controller/WiFiProfileViewController.h"
#include "wifiprofile/service/TestStep.h"

namespace wifiprofile {

using platform::DictionaryRef;
using platform::Value;

namespace {

// A test that writes its verdict, then one detail copied from its info whatever didPass says.
void runVerdictAndDetailTest(const WiFiProfileViewController& controller, std::int64_t testID,
                             const char* title, const DictionaryRef& configuration,
                             platform::Dictionary& results, const QString& verdictKey, const QString& infoKey,
                             const QString& detailKey, const char* detailName) {
    const auto result = runTestStep(controller, testID, configuration, title);
    if (!result) {
        return;
    }
    writeVerdict(results, verdictKey, result->result);
    if (const auto info = infoOrLog(*result)) {
        copyDetail(*info, infoKey, results, detailKey, detailName);
    }
}

}  // namespace

void WiFiProfileViewController::runCurrentNetworkDetectDoubleNATWithConfiguration(
    DictionaryRef configuration, DictionaryRef resultsDictionary) {
    runVerdictOnlyTest(*this, 8, "Detect Double NAT", configuration, *resultsDictionary,
                       "hasDoubleNATConfiguration");
}

void WiFiProfileViewController::runCurrentNetworkLongBeaconIntervalWithConfiguration(
    DictionaryRef configuration, DictionaryRef resultsDictionary) {
    runVerdictAndDetailTest(*this, 34, "Long Beacon Interval", configuration, *resultsDictionary,
                            "isBeaconIntervalLong", "BeaconInterval", "beaconInterval", "BeaconInterval");
}

void WiFiProfileViewController::runCurrentNetworkLongDTIMIntervalWithConfiguration(
    DictionaryRef configuration, DictionaryRef resultsDictionary) {
    runVerdictAndDetailTest(*this, 35, "Long DTIM Interval", configuration, *resultsDictionary,
                            "isDTIMIntervalLong", "DTIMInterval", "DTIMInterval", "DTIMInterval");
}

void WiFiProfileViewController::runCurrentNetworkNoSecurityWithConfiguration(
    DictionaryRef configuration, DictionaryRef resultsDictionary) {
    runVerdictAndDetailTest(*this, 38, "No Security", configuration, *resultsDictionary,
                            "isUsingOpenSecurity", "Security", "security", "Security");
}

void WiFiProfileViewController::runCurrentNetworkLegacySecurityWEPWithConfiguration(
    DictionaryRef configuration, DictionaryRef resultsDictionary) {
    runVerdictAndDetailTest(*this, 39, "Legacy Security: WEP", configuration, *resultsDictionary,
                            "isUsingWEPSecurity", "Security", "security", "Security");
}

void WiFiProfileViewController::runCurrentNetworkLegacySecurityWPAWithConfiguration(
    DictionaryRef configuration, DictionaryRef resultsDictionary) {
    runVerdictAndDetailTest(*this, 40, "Legacy Security: WPA", configuration, *resultsDictionary,
                            "isUsingWPASecurity", "Security", "security", "Security");
}

void WiFiProfileViewController::runCurrentNetworkLegacyRates11bWithConfiguration(
    DictionaryRef configuration, DictionaryRef resultsDictionary) {
    runVerdictOnlyTest(*this, 41, "Legacy Rates (802.11b)", configuration, *resultsDictionary,
                       "isUsingLegacyRates");
}

void WiFiProfileViewController::runCurrentNetworkAmbiguousNetworkNameWithConfiguration(
    DictionaryRef configuration, DictionaryRef resultsDictionary) {
    runVerdictAndDetailTest(*this, 42, "Ambiguous Network Name", configuration, *resultsDictionary,
                            "isUsingAmbiguousNetworkName", "NetworkName", kNetworkName, "NetworkName");
}

void WiFiProfileViewController::runCurrentNetworkHiddenNetworkWithConfiguration(
    DictionaryRef configuration, DictionaryRef resultsDictionary) {
    runVerdictOnlyTest(*this, 43, "Hidden Network", configuration, *resultsDictionary, "isHiddenNetwork");
}

void WiFiProfileViewController::runCurrentNetworkLumoPersonalHotspotWithConfiguration(
    DictionaryRef configuration, DictionaryRef resultsDictionary) {
    runVerdictOnlyTest(*this, 44, "Lumo Personal Hotspot", configuration, *resultsDictionary,
                       "isLumoPersonalHotspot");
}

void WiFiProfileViewController::runCurrentNetworkCaptivePortalWithConfiguration(
    DictionaryRef configuration, DictionaryRef resultsDictionary) {
    const auto result = runTestStep(*this, 46, configuration, "Captive Portal");
    if (!result) {
        return;
    }
    writeVerdict(*resultsDictionary, "isCaptive", result->result);
    const auto info = infoOrLog(*result);
    if (!info) {
        return;
    }
    // Anything other than a network profile under the key counts as no profile.
    const std::optional<Value> entry = info->value("PreferredNetwork");
    const auto profile = entry ? entry->recordAs<platform::NetworkProfile>() : nullptr;
    if (!profile) {
        logNotFound("currentPreferredNetwork");
        return;
    }
    const Value lastJoined = profile->lastJoinedTimestamp
                                 ? Value::string(timestampFormattedInISO8601(*profile->lastJoinedTimestamp))
                                 : Value::null();
    const std::optional<Value> ssid =
        profile->ssidString ? std::optional<Value>(Value::string(*profile->ssidString)) : std::nullopt;
    resultsDictionary->set("preferredNetwork", Value::dictionary(platform::Dictionary::make({
                                                   {"SSID", stringOrNull(ssid)},
                                                   {"security", Value::integer(profile->security)},
                                                   {"isPasspoint", Value::boolean(profile->isPasspoint)},
                                                   {"isEnabled", Value::boolean(profile->isEnabled)},
                                                   {"isCaptive", Value::boolean(profile->isCaptive)},
                                                   {"isHidden", Value::boolean(profile->isHidden)},
                                                   {"isMultiAP", Value::boolean(profile->isMultiAP)},
                                                   {"lastJoined", lastJoined},
                                               })));
}

void WiFiProfileViewController::runCurrentNetworkPasspointWithConfiguration(DictionaryRef configuration,
                                                                            DictionaryRef resultsDictionary) {
    runVerdictOnlyTest(*this, 45, "Passpoint", configuration, *resultsDictionary, "isPasspointNetwork");
}

void WiFiProfileViewController::runCurrentNetworkConflictingPHYMode11ACWithConfiguration(
    DictionaryRef configuration, DictionaryRef resultsDictionary) {
    runVerdictAndDetailTest(*this, 36, "Conflicting PHY Mode (11AC)", configuration, *resultsDictionary,
                            "hasConflictingPHYMode11AC", "SupportedPHYModes", "supportedPHYModes",
                            "SupportedPHYModes");
}

void WiFiProfileViewController::runCurrentNetworkConflictingPHYMode11NWithConfiguration(
    DictionaryRef configuration, DictionaryRef resultsDictionary) {
    runVerdictAndDetailTest(*this, 37, "Conflicting PHY Mode (11N)", configuration, *resultsDictionary,
                            "hasConflictingPHYMode11N", "SupportedPHYModes", "supportedPHYModes",
                            "SupportedPHYModes");
}

void WiFiProfileViewController::runCurrentNetworkHarbexBaseStationWithConfiguration(
    DictionaryRef configuration, DictionaryRef resultsDictionary) {
    const auto result = runTestStep(*this, 33, configuration, "Harbex Base Station");
    if (!result) {
        return;
    }
    writeVerdict(*resultsDictionary, "isHostedByHarbexBaseStation", result->result);
    if (!result->didPass) {
        return;  // the model name is recorded only for a base station that was recognised
    }
    if (const auto info = infoOrLog(*result)) {
        copyDetail(*info, "HarbexModelName", *resultsDictionary, "harbexModelName", "HarbexModelName");
    }
}

}  // namespace wifiprofile
