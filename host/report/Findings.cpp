#include "host/report/Findings.h"

#include "host/report/FindingsTable.h"
#include "host/report/Strings.h"

#include <cmath>
#include <map>
#include <optional>

namespace report {

using platform::DictionaryRef;
using platform::Value;

namespace {

// The findings table: every flag key the diagnostic writes, in the order its groups run the tests.
//
// How a row was decided:
// - Severity. A problem is what stops the network from being usable or leaves its traffic open:
//   no IPv4 address, no reply from the router, no name lookup, no internet, an open or WEP
//   network, a poor signal, a radio that finds no networks at all, and an internet ping that gets
//   no answer. Everything that only costs speed, airtime or reliability, or is a setting worth a
//   second look (manual addresses, DNS or proxy, long beacon or DTIM intervals, PHY mode and
//   country conflicts, crowded channels, double NAT, WPA with TKIP, many Bluetooth devices or
//   saved networks), is a warning.
// - Information. Passpoint, a base station that names its model, a missing global IPv6 address
//   (common and harmless where IPv4 works) and hidden networks around are neither: both values
//   are fine and only the sentence differs.
// - Connectivity. The no-IPv4, router, DNS and internet rows decide the verdict "not working".
//   The internet ping does not: many networks drop pings while the internet works, which the
//   internet check tells.
// - Thresholds are the Linux service's (docs/linux-backend.md); the service decides every flag,
//   so the threshold is said for the reader, never applied again here.
// - "foundScanResults" is written only when the network list scanned (test 31 belongs to the list,
//   not to a group), so a run without the list leaves it out rather than calling it not checked.
constexpr FindingRow kRows[] = {
    // ---- this device (tests 14, 15, 16, 17, 22, 19, 18, 20, 47, 48, 29)
    {.groups = kInDevice,
     .testID = 14,
     .logTitle = "Custom IPv4",
     .key = "isUsingCustomIPv4",
     .problemWhen = ProblemWhen::True,
     .severity = Severity::Warning,
     .connectivity = false,
     .onlySomeRuns = false,
     .details = {"IPv4ConfigMethod"},
     .form = ValueForm::Text,
     .title = "finding.isUsingCustomIPv4.title",
     .valueText = "finding.isUsingCustomIPv4.value",
     .threshold = nullptr,
     .meaningTrue = "finding.isUsingCustomIPv4.true",
     .meaningFalse = "finding.isUsingCustomIPv4.false",
     .advice = "finding.isUsingCustomIPv4.advice"},
    {.groups = kInDevice,
     .testID = 15,
     .logTitle = "Custom IPv6",
     .key = "isUsingCustomIPv6",
     .problemWhen = ProblemWhen::True,
     .severity = Severity::Warning,
     .connectivity = false,
     .onlySomeRuns = false,
     .details = {"IPv6ConfigMethod"},
     .form = ValueForm::Text,
     .title = "finding.isUsingCustomIPv6.title",
     .valueText = "finding.isUsingCustomIPv6.value",
     .threshold = nullptr,
     .meaningTrue = "finding.isUsingCustomIPv6.true",
     .meaningFalse = "finding.isUsingCustomIPv6.false",
     .advice = "finding.isUsingCustomIPv6.advice"},
    {.groups = kInDevice,
     .testID = 16,
     .logTitle = "Custom DNS",
     .key = "isUsingCustomDNS",
     .problemWhen = ProblemWhen::True,
     .severity = Severity::Warning,
     .connectivity = false,
     .onlySomeRuns = false,
     .details = {},
     .form = ValueForm::None,
     .title = "finding.isUsingCustomDNS.title",
     .valueText = nullptr,
     .threshold = nullptr,
     .meaningTrue = "finding.isUsingCustomDNS.true",
     .meaningFalse = "finding.isUsingCustomDNS.false",
     .advice = "finding.isUsingCustomDNS.advice"},
    {.groups = kInDevice,
     .testID = 17,
     .logTitle = "Custom Web Proxy",
     .key = "isUsingCustomWebProxy",
     .problemWhen = ProblemWhen::True,
     .severity = Severity::Warning,
     .connectivity = false,
     .onlySomeRuns = false,
     .details = {},
     .form = ValueForm::None,
     .title = "finding.isUsingCustomWebProxy.title",
     .valueText = nullptr,
     .threshold = nullptr,
     .meaningTrue = "finding.isUsingCustomWebProxy.true",
     .meaningFalse = "finding.isUsingCustomWebProxy.false",
     .advice = "finding.isUsingCustomWebProxy.advice"},
    {.groups = kInDevice,
     .testID = 22,
     .logTitle = "Vornet Real Time Mode",
     .key = "isVornetInRealTimeMode",
     .problemWhen = ProblemWhen::True,
     .severity = Severity::Warning,
     .connectivity = false,
     .onlySomeRuns = false,
     .details = {},
     .form = ValueForm::None,
     .title = "finding.isVornetInRealTimeMode.title",
     .valueText = nullptr,
     .threshold = nullptr,
     .meaningTrue = "finding.isVornetInRealTimeMode.true",
     .meaningFalse = "finding.isVornetInRealTimeMode.false",
     .advice = "finding.isVornetInRealTimeMode.advice"},
    {.groups = kInDevice,
     .testID = 19,
     .logTitle = "Bluetooth Connected",
     .key = "isLargeConnectedBT",
     .problemWhen = ProblemWhen::True,
     .severity = Severity::Warning,
     .connectivity = false,
     .onlySomeRuns = false,
     .details = {"bluetoothConnectedCount"},
     .form = ValueForm::Number,
     .title = "finding.isLargeConnectedBT.title",
     .valueText = "finding.isLargeConnectedBT.value",
     .threshold = "finding.isLargeConnectedBT.threshold",
     .meaningTrue = "finding.isLargeConnectedBT.true",
     .meaningFalse = "finding.isLargeConnectedBT.false",
     .advice = "finding.isLargeConnectedBT.advice"},
    {.groups = kInDevice,
     .testID = 18,
     .logTitle = "Bluetooth Paired",
     .key = "isLargePairedBT",
     .problemWhen = ProblemWhen::True,
     .severity = Severity::Warning,
     .connectivity = false,
     .onlySomeRuns = false,
     .details = {"bluetoothPairedCount"},
     .form = ValueForm::Number,
     .title = "finding.isLargePairedBT.title",
     .valueText = "finding.isLargePairedBT.value",
     .threshold = "finding.isLargePairedBT.threshold",
     .meaningTrue = "finding.isLargePairedBT.true",
     .meaningFalse = "finding.isLargePairedBT.false",
     .advice = "finding.isLargePairedBT.advice"},
    {.groups = kInDevice,
     .testID = 20,
     .logTitle = "Bluetooth Coex",
     .key = "isHYBRIDBTCoexistenceMode",
     .problemWhen = ProblemWhen::True,
     .severity = Severity::Warning,
     .connectivity = false,
     .onlySomeRuns = false,
     .details = {},
     .form = ValueForm::None,
     .title = "finding.isHYBRIDBTCoexistenceMode.title",
     .valueText = nullptr,
     .threshold = nullptr,
     .meaningTrue = "finding.isHYBRIDBTCoexistenceMode.true",
     .meaningFalse = "finding.isHYBRIDBTCoexistenceMode.false",
     .advice = "finding.isHYBRIDBTCoexistenceMode.advice"},
    {.groups = kInDevice,
     .testID = 47,
     .logTitle = "Large PNL",
     .key = "isLargePNL",
     .problemWhen = ProblemWhen::True,
     .severity = Severity::Warning,
     .connectivity = false,
     .onlySomeRuns = false,
     .details = {"preferredNetworkListCount"},
     .form = ValueForm::Number,
     .title = "finding.isLargePNL.title",
     .valueText = "finding.isLargePNL.value",
     .threshold = "finding.isLargePNL.threshold",
     .meaningTrue = "finding.isLargePNL.true",
     .meaningFalse = "finding.isLargePNL.false",
     .advice = "finding.isLargePNL.advice"},
    {.groups = kInDevice,
     .testID = 48,
     .logTitle = "PNL Contains Hidden",
     .key = "doesPNLContainHiddenNetworks",
     .problemWhen = ProblemWhen::True,
     .severity = Severity::Warning,
     .connectivity = false,
     .onlySomeRuns = false,
     .details = {},
     .form = ValueForm::None,
     .title = "finding.doesPNLContainHiddenNetworks.title",
     .valueText = nullptr,
     .threshold = nullptr,
     .meaningTrue = "finding.doesPNLContainHiddenNetworks.true",
     .meaningFalse = "finding.doesPNLContainHiddenNetworks.false",
     .advice = "finding.doesPNLContainHiddenNetworks.advice"},
    {.groups = kInDevice,
     .testID = 29,
     .logTitle = "Conflicting Security Type in PNL",
     .key = "doesPNLContainConflictingSecurityType",
     .problemWhen = ProblemWhen::True,
     .severity = Severity::Warning,
     .connectivity = false,
     .onlySomeRuns = false,
     .details = {},
     .form = ValueForm::None,
     .title = "finding.doesPNLContainConflictingSecurityType.title",
     .valueText = nullptr,
     .threshold = nullptr,
     .meaningTrue = "finding.doesPNLContainConflictingSecurityType.true",
     .meaningFalse = "finding.doesPNLContainConflictingSecurityType.false",
     .advice = "finding.doesPNLContainConflictingSecurityType.advice"},

    // ---- a network's configuration and security (tests 8, 34, 35, 38 to 44, 46, 45, 36, 37, 33)
    {.groups = kInCurrent,
     .testID = 8,
     .logTitle = "Detect Double NAT",
     .key = "hasDoubleNATConfiguration",
     .problemWhen = ProblemWhen::True,
     .severity = Severity::Warning,
     .connectivity = false,
     .onlySomeRuns = false,
     .details = {},
     .form = ValueForm::None,
     .title = "finding.hasDoubleNATConfiguration.title",
     .valueText = nullptr,
     .threshold = nullptr,
     .meaningTrue = "finding.hasDoubleNATConfiguration.true",
     .meaningFalse = "finding.hasDoubleNATConfiguration.false",
     .advice = "finding.hasDoubleNATConfiguration.advice"},
    {.groups = kInCurrent | kInSelected,
     .testID = 34,
     .logTitle = "Long Beacon Interval",
     .key = "isBeaconIntervalLong",
     .problemWhen = ProblemWhen::True,
     .severity = Severity::Warning,
     .connectivity = false,
     .onlySomeRuns = false,
     .details = {"beaconInterval"},
     .form = ValueForm::Number,
     .title = "finding.isBeaconIntervalLong.title",
     .valueText = "finding.isBeaconIntervalLong.value",
     .threshold = "finding.isBeaconIntervalLong.threshold",
     .meaningTrue = "finding.isBeaconIntervalLong.true",
     .meaningFalse = "finding.isBeaconIntervalLong.false",
     .advice = "finding.isBeaconIntervalLong.advice"},
    {.groups = kInCurrent,
     .testID = 35,
     .logTitle = "Long DTIM Interval",
     .key = "isDTIMIntervalLong",
     .problemWhen = ProblemWhen::True,
     .severity = Severity::Warning,
     .connectivity = false,
     .onlySomeRuns = false,
     .details = {"DTIMInterval"},
     .form = ValueForm::Number,
     .title = "finding.isDTIMIntervalLong.title",
     .valueText = "finding.isDTIMIntervalLong.value",
     .threshold = "finding.isDTIMIntervalLong.threshold",
     .meaningTrue = "finding.isDTIMIntervalLong.true",
     .meaningFalse = "finding.isDTIMIntervalLong.false",
     .advice = "finding.isDTIMIntervalLong.advice"},
    {.groups = kInCurrent | kInSelected,
     .testID = 38,
     .logTitle = "No Security",
     .key = "isUsingOpenSecurity",
     .problemWhen = ProblemWhen::True,
     .severity = Severity::Problem,
     .connectivity = false,
     .onlySomeRuns = false,
     .details = {"security"},
     .form = ValueForm::Security,
     .title = "finding.isUsingOpenSecurity.title",
     .valueText = nullptr,
     .threshold = nullptr,
     .meaningTrue = "finding.isUsingOpenSecurity.true",
     .meaningFalse = "finding.isUsingOpenSecurity.false",
     .advice = "finding.isUsingOpenSecurity.advice"},
    {.groups = kInCurrent | kInSelected,
     .testID = 39,
     .logTitle = "Legacy Security: WEP",
     .key = "isUsingWEPSecurity",
     .problemWhen = ProblemWhen::True,
     .severity = Severity::Problem,
     .connectivity = false,
     .onlySomeRuns = false,
     .details = {"security"},
     .form = ValueForm::Security,
     .title = "finding.isUsingWEPSecurity.title",
     .valueText = nullptr,
     .threshold = nullptr,
     .meaningTrue = "finding.isUsingWEPSecurity.true",
     .meaningFalse = "finding.isUsingWEPSecurity.false",
     .advice = "finding.isUsingWEPSecurity.advice"},
    {.groups = kInCurrent | kInSelected,
     .testID = 40,
     .logTitle = "Legacy Security: WPA",
     .key = "isUsingWPASecurity",
     .problemWhen = ProblemWhen::True,
     .severity = Severity::Warning,
     .connectivity = false,
     .onlySomeRuns = false,
     .details = {"security"},
     .form = ValueForm::Security,
     .title = "finding.isUsingWPASecurity.title",
     .valueText = nullptr,
     .threshold = nullptr,
     .meaningTrue = "finding.isUsingWPASecurity.true",
     .meaningFalse = "finding.isUsingWPASecurity.false",
     .advice = "finding.isUsingWPASecurity.advice"},
    {.groups = kInCurrent | kInSelected,
     .testID = 41,
     .logTitle = "Legacy Rates (802.11b)",
     .key = "isUsingLegacyRates",
     .problemWhen = ProblemWhen::True,
     .severity = Severity::Warning,
     .connectivity = false,
     .onlySomeRuns = false,
     .details = {},
     .form = ValueForm::None,
     .title = "finding.isUsingLegacyRates.title",
     .valueText = nullptr,
     .threshold = "finding.isUsingLegacyRates.threshold",
     .meaningTrue = "finding.isUsingLegacyRates.true",
     .meaningFalse = "finding.isUsingLegacyRates.false",
     .advice = "finding.isUsingLegacyRates.advice"},
    {.groups = kInCurrent | kInSelected,
     .testID = 42,
     .logTitle = "Ambiguous Network Name",
     .key = "isUsingAmbiguousNetworkName",
     .problemWhen = ProblemWhen::True,
     .severity = Severity::Warning,
     .connectivity = false,
     .onlySomeRuns = false,
     .details = {"networkName"},
     .form = ValueForm::Text,
     .title = "finding.isUsingAmbiguousNetworkName.title",
     .valueText = "finding.isUsingAmbiguousNetworkName.value",
     .threshold = nullptr,
     .meaningTrue = "finding.isUsingAmbiguousNetworkName.true",
     .meaningFalse = "finding.isUsingAmbiguousNetworkName.false",
     .advice = "finding.isUsingAmbiguousNetworkName.advice"},
    {.groups = kInCurrent | kInSelected,
     .testID = 43,
     .logTitle = "Hidden Network",
     .key = "isHiddenNetwork",
     .problemWhen = ProblemWhen::True,
     .severity = Severity::Warning,
     .connectivity = false,
     .onlySomeRuns = false,
     .details = {},
     .form = ValueForm::None,
     .title = "finding.isHiddenNetwork.title",
     .valueText = nullptr,
     .threshold = nullptr,
     .meaningTrue = "finding.isHiddenNetwork.true",
     .meaningFalse = "finding.isHiddenNetwork.false",
     .advice = "finding.isHiddenNetwork.advice"},
    {.groups = kInCurrent | kInSelected,
     .testID = 44,
     .logTitle = "Lumo Personal Hotspot",
     .key = "isLumoPersonalHotspot",
     .problemWhen = ProblemWhen::True,
     .severity = Severity::Warning,
     .connectivity = false,
     .onlySomeRuns = false,
     .details = {},
     .form = ValueForm::None,
     .title = "finding.isLumoPersonalHotspot.title",
     .valueText = nullptr,
     .threshold = nullptr,
     .meaningTrue = "finding.isLumoPersonalHotspot.true",
     .meaningFalse = "finding.isLumoPersonalHotspot.false",
     .advice = "finding.isLumoPersonalHotspot.advice"},
    {.groups = kInCurrent | kInSelected,
     .testID = 46,
     .logTitle = "Captive Portal",
     .key = "isCaptive",
     .problemWhen = ProblemWhen::True,
     .severity = Severity::Warning,
     .connectivity = false,
     .onlySomeRuns = false,
     .details = {"preferredNetwork"},
     .form = ValueForm::None,
     .title = "finding.isCaptive.title",
     .valueText = nullptr,
     .threshold = nullptr,
     .meaningTrue = "finding.isCaptive.true",
     .meaningFalse = "finding.isCaptive.false",
     .advice = "finding.isCaptive.advice"},
    {.groups = kInCurrent | kInSelected,
     .testID = 45,
     .logTitle = "Passpoint",
     .key = "isPasspointNetwork",
     .problemWhen = ProblemWhen::Never,
     .severity = Severity::Fine,
     .connectivity = false,
     .onlySomeRuns = false,
     .details = {},
     .form = ValueForm::None,
     .title = "finding.isPasspointNetwork.title",
     .valueText = nullptr,
     .threshold = nullptr,
     .meaningTrue = "finding.isPasspointNetwork.true",
     .meaningFalse = "finding.isPasspointNetwork.false",
     .advice = nullptr},
    {.groups = kInCurrent | kInSelected,
     .testID = 36,
     .logTitle = "Conflicting PHY Mode (11AC)",
     .key = "hasConflictingPHYMode11AC",
     .problemWhen = ProblemWhen::True,
     .severity = Severity::Warning,
     .connectivity = false,
     .onlySomeRuns = false,
     .details = {"supportedPHYModes"},
     .form = ValueForm::Modes,
     .title = "finding.hasConflictingPHYMode11AC.title",
     .valueText = "value.modes",
     .threshold = nullptr,
     .meaningTrue = "finding.hasConflictingPHYMode11AC.true",
     .meaningFalse = "finding.hasConflictingPHYMode11AC.false",
     .advice = "finding.hasConflictingPHYMode11AC.advice"},
    {.groups = kInCurrent | kInSelected,
     .testID = 37,
     .logTitle = "Conflicting PHY Mode (11N)",
     .key = "hasConflictingPHYMode11N",
     .problemWhen = ProblemWhen::True,
     .severity = Severity::Warning,
     .connectivity = false,
     .onlySomeRuns = false,
     .details = {"supportedPHYModes"},
     .form = ValueForm::Modes,
     .title = "finding.hasConflictingPHYMode11N.title",
     .valueText = "value.modes",
     .threshold = nullptr,
     .meaningTrue = "finding.hasConflictingPHYMode11N.true",
     .meaningFalse = "finding.hasConflictingPHYMode11N.false",
     .advice = "finding.hasConflictingPHYMode11N.advice"},
    {.groups = kInCurrent | kInSelected,
     .testID = 33,
     .logTitle = "Harbex Base Station",
     .key = "isHostedByHarbexBaseStation",
     .problemWhen = ProblemWhen::Never,
     .severity = Severity::Fine,
     .connectivity = false,
     .onlySomeRuns = false,
     .details = {"harbexModelName"},
     .form = ValueForm::Text,
     .title = "finding.isHostedByHarbexBaseStation.title",
     .valueText = nullptr,
     .threshold = nullptr,
     .meaningTrue = "finding.isHostedByHarbexBaseStation.true",
     .meaningFalse = "finding.isHostedByHarbexBaseStation.false",
     .advice = nullptr},

    // ---- the joined network's connectivity (tests 3, 6, 12, 13, 7, 9, 11)
    {.groups = kInCurrent,
     .testID = 3,
     .logTitle = "Ping LAN",
     .key = "pingedLAN",
     .problemWhen = ProblemWhen::False,
     .severity = Severity::Problem,
     .connectivity = true,
     .onlySomeRuns = false,
     .details = {"pingLANResult"},
     .form = ValueForm::Ping,
     .title = "finding.pingedLAN.title",
     .valueText = nullptr,
     .threshold = "finding.pingedLAN.threshold",
     .meaningTrue = "finding.pingedLAN.true",
     .meaningFalse = "finding.pingedLAN.false",
     .advice = "finding.pingedLAN.advice"},
    {.groups = kInCurrent,
     .testID = 6,
     .logTitle = "Ping WAN",
     .key = "pingedWAN",
     .problemWhen = ProblemWhen::False,
     .severity = Severity::Problem,
     .connectivity = false,
     .onlySomeRuns = false,
     .details = {"pingWANResult"},
     .form = ValueForm::Ping,
     .title = "finding.pingedWAN.title",
     .valueText = nullptr,
     .threshold = "finding.pingedWAN.threshold",
     .meaningTrue = "finding.pingedWAN.true",
     .meaningFalse = "finding.pingedWAN.false",
     .advice = "finding.pingedWAN.advice"},
    {.groups = kInCurrent,
     .testID = 12,
     .logTitle = "IPv4 Assigned",
     .key = "isIPv4Assigned",
     .problemWhen = ProblemWhen::False,
     .severity = Severity::Problem,
     .connectivity = true,
     .onlySomeRuns = false,
     .details = {},
     .form = ValueForm::None,
     .title = "finding.isIPv4Assigned.title",
     .valueText = nullptr,
     .threshold = nullptr,
     .meaningTrue = "finding.isIPv4Assigned.true",
     .meaningFalse = "finding.isIPv4Assigned.false",
     .advice = "finding.isIPv4Assigned.advice"},
    {.groups = kInCurrent,
     .testID = 13,
     .logTitle = "IPv6 Assigned",
     .key = "isIPv6Assigned",
     .problemWhen = ProblemWhen::Never,
     .severity = Severity::Fine,
     .connectivity = false,
     .onlySomeRuns = false,
     .details = {},
     .form = ValueForm::None,
     .title = "finding.isIPv6Assigned.title",
     .valueText = nullptr,
     .threshold = nullptr,
     .meaningTrue = "finding.isIPv6Assigned.true",
     .meaningFalse = "finding.isIPv6Assigned.false",
     .advice = nullptr},
    {.groups = kInCurrent,
     .testID = 7,
     .logTitle = "Resolve DNS",
     .key = "resolvedDNS",
     .problemWhen = ProblemWhen::False,
     .severity = Severity::Problem,
     .connectivity = true,
     .onlySomeRuns = false,
     .details = {},
     .form = ValueForm::None,
     .title = "finding.resolvedDNS.title",
     .valueText = nullptr,
     .threshold = nullptr,
     .meaningTrue = "finding.resolvedDNS.true",
     .meaningFalse = "finding.resolvedDNS.false",
     .advice = "finding.resolvedDNS.advice"},
    {.groups = kInCurrent,
     .testID = 9,
     .logTitle = "Reach Orvane",
     .key = "reachedOrvane",
     .problemWhen = ProblemWhen::False,
     .severity = Severity::Problem,
     .connectivity = true,
     .onlySomeRuns = false,
     .details = {},
     .form = ValueForm::None,
     .title = "finding.reachedOrvane.title",
     .valueText = nullptr,
     .threshold = nullptr,
     .meaningTrue = "finding.reachedOrvane.true",
     .meaningFalse = "finding.reachedOrvane.false",
     .advice = "finding.reachedOrvane.advice"},
    {.groups = kInCurrent,
     .testID = 11,
     .logTitle = "Retrieve Orvane",
     .key = "retrievedOrvane",
     .problemWhen = ProblemWhen::False,
     .severity = Severity::Problem,
     .connectivity = true,
     .onlySomeRuns = false,
     .details = {},
     .form = ValueForm::None,
     .title = "finding.retrievedOrvane.title",
     .valueText = nullptr,
     .threshold = nullptr,
     .meaningTrue = "finding.retrievedOrvane.true",
     .meaningFalse = "finding.retrievedOrvane.false",
     .advice = "finding.retrievedOrvane.advice"},

    // ---- the radio environment (tests 24, 25, 26, 27, 28, 32, 31, 30)
    {.groups = kInCurrent | kInSelected,
     .testID = 24,
     .logTitle = "Congested Channel",
     .key = "isChannelCongested",
     .problemWhen = ProblemWhen::True,
     .severity = Severity::Warning,
     .connectivity = false,
     .onlySomeRuns = false,
     .details = {"currentChannel", "2GHzChannel", "5GHzChannel", "5GHz40MHzChannel", "5GHzNonDFSChannel"},
     .form = ValueForm::Channel,
     .title = "finding.isChannelCongested.title",
     .valueText = "finding.isChannelCongested.value",
     .threshold = "finding.isChannelCongested.threshold",
     .meaningTrue = "finding.isChannelCongested.true",
     .meaningFalse = "finding.isChannelCongested.false",
     .advice = "finding.isChannelCongested.advice"},
    {.groups = kInCurrent,
     .testID = 25,
     .logTitle = "Congested 2.4GHz",
     .key = "is2GHzCongested",
     .problemWhen = ProblemWhen::True,
     .severity = Severity::Warning,
     .connectivity = false,
     .onlySomeRuns = false,
     .details = {"2GHzChannel", "5GHzChannel", "5GHz40MHzChannel", "5GHzNonDFSChannel"},
     .form = ValueForm::Number,
     .title = "finding.is2GHzCongested.title",
     .valueText = "finding.is2GHzCongested.value",
     .threshold = "finding.is2GHzCongested.threshold",
     .meaningTrue = "finding.is2GHzCongested.true",
     .meaningFalse = "finding.is2GHzCongested.false",
     .advice = "finding.is2GHzCongested.advice"},
    {.groups = kInCurrent,
     .testID = 26,
     .logTitle = "Congested 5GHz",
     .key = "is5GHzCongested",
     .problemWhen = ProblemWhen::True,
     .severity = Severity::Warning,
     .connectivity = false,
     .onlySomeRuns = false,
     .details = {"5GHzChannel", "5GHzNonDFSChannel", "5GHz40MHzChannel", "2GHzChannel"},
     .form = ValueForm::Number,
     .title = "finding.is5GHzCongested.title",
     .valueText = "finding.is5GHzCongested.value",
     .threshold = "finding.is5GHzCongested.threshold",
     .meaningTrue = "finding.is5GHzCongested.true",
     .meaningFalse = "finding.is5GHzCongested.false",
     .advice = "finding.is5GHzCongested.advice"},
    {.groups = kInCurrent,
     .testID = 27,
     .logTitle = "HT 40 Channel",
     .key = "hasHT40Channel",
     .problemWhen = ProblemWhen::True,
     .severity = Severity::Warning,
     .connectivity = false,
     .onlySomeRuns = false,
     .details = {},
     .form = ValueForm::None,
     .title = "finding.hasHT40Channel.title",
     .valueText = nullptr,
     .threshold = nullptr,
     .meaningTrue = "finding.hasHT40Channel.true",
     .meaningFalse = "finding.hasHT40Channel.false",
     .advice = "finding.hasHT40Channel.advice"},
    {.groups = kInCurrent | kInSelected,
     .testID = 28,
     .logTitle = "Conflicting Country Code",
     .key = "foundConflictingCountryCode",
     .problemWhen = ProblemWhen::True,
     .severity = Severity::Warning,
     .connectivity = false,
     .onlySomeRuns = false,
     .details = {"adoptedCountryCode"},
     .form = ValueForm::Text,
     .title = "finding.foundConflictingCountryCode.title",
     .valueText = "finding.foundConflictingCountryCode.value",
     .threshold = nullptr,
     .meaningTrue = "finding.foundConflictingCountryCode.true",
     .meaningFalse = "finding.foundConflictingCountryCode.false",
     .advice = "finding.foundConflictingCountryCode.advice"},
    {.groups = kInCurrent | kInSelected,
     .testID = 32,
     .logTitle = "Poor Signal",
     .key = "hasPoorSignal",
     .problemWhen = ProblemWhen::True,
     .severity = Severity::Problem,
     .connectivity = false,
     .onlySomeRuns = false,
     .details = {"RSSI", "noise"},
     .form = ValueForm::Signal,
     .title = "finding.hasPoorSignal.title",
     .valueText = nullptr,
     .threshold = "finding.hasPoorSignal.threshold",
     .meaningTrue = "finding.hasPoorSignal.true",
     .meaningFalse = "finding.hasPoorSignal.false",
     .advice = "finding.hasPoorSignal.advice"},
    {.groups = kInCurrent,
     .testID = 31,
     .logTitle = "No Scan Results",
     .key = "foundScanResults",
     .problemWhen = ProblemWhen::False,
     .severity = Severity::Problem,
     .connectivity = false,
     .onlySomeRuns = true,
     .details = {},
     .form = ValueForm::None,
     .title = "finding.foundScanResults.title",
     .valueText = nullptr,
     .threshold = nullptr,
     .meaningTrue = "finding.foundScanResults.true",
     .meaningFalse = "finding.foundScanResults.false",
     .advice = "finding.foundScanResults.advice"},
    {.groups = kInCurrent,
     .testID = 30,
     .logTitle = "Hidden Scan Results",
     .key = "foundHiddenNetworks",
     .problemWhen = ProblemWhen::Never,
     .severity = Severity::Fine,
     .connectivity = false,
     .onlySomeRuns = false,
     .details = {"hiddenNetworkCount"},
     .form = ValueForm::Number,
     .title = "finding.foundHiddenNetworks.title",
     .valueText = "finding.foundHiddenNetworks.value",
     .threshold = nullptr,
     .meaningTrue = "finding.foundHiddenNetworks.true",
     .meaningFalse = "finding.foundHiddenNetworks.false",
     .advice = nullptr},
};

QString key(const char* k) {
    return QString::fromLatin1(k);
}

QString textOf(const char* k, const QStringList& args = {}) {
    return k ? text(key(k), args) : QString();
}

unsigned bitOf(Group group) {
    switch (group) {
        case Group::Device:
            return kInDevice;
        case Group::CurrentNetwork:
            return kInCurrent;
        case Group::SelectedNetwork:
            return kInSelected;
    }
    return 0;
}

}  // namespace

std::optional<QString> numberText(const Value& value) {
    switch (value.kind()) {
        case Value::Kind::Int:
            return QString::number(value.toInt());
        case Value::Kind::UInt:
            return QString::number(value.toUInt());
        case Value::Kind::Double: {
            const double d = value.toDouble();
            if (!std::isfinite(d)) {
                return std::nullopt;
            }
            if (std::abs(d) >= 1e15) {
                return decimalText(QString::number(d, 'g', 6));  // no run of made-up digits
            }
            if (d == std::trunc(d)) {
                return QString::number(static_cast<std::int64_t>(d));
            }
            QString s = QString::number(d, 'f', 1);
            return s == QLatin1String("-0.0") ? QStringLiteral("0") : decimalText(s);
        }
        default:
            return std::nullopt;
    }
}

namespace {

// A detail as text: a string as it is, a number in digits, the JSON form of anything else; nothing
// for the null marker.
std::optional<QString> plainText(const Value& value) {
    if (value.isString()) {
        return value.toString();
    }
    if (value.isNumber()) {
        return numberText(value);
    }
    if (value.isNull()) {
        return std::nullopt;
    }
    return value.description();
}

std::optional<double> finiteNumber(const std::optional<Value>& value) {
    if (!value || !value->isNumber()) {
        return std::nullopt;
    }
    const double d = value->toDouble();
    return std::isfinite(d) ? std::optional<double>(d) : std::nullopt;
}

// An addressing method as the system names it (NetworkManager's "manual", "auto", "link-local",
// ...; a service's "Manual"), in the reader's language; a method of another name stays as it is.
QString addressingMethodText(const QString& method) {
    static const std::map<QString, const char*> kMethods = {
        {QStringLiteral("manual"), "value.method.manual"},
        {QStringLiteral("auto"), "value.method.automatic"},
        {QStringLiteral("automatic"), "value.method.automatic"},
        {QStringLiteral("dhcp"), "value.method.dhcp"},
        {QStringLiteral("link-local"), "value.method.linkLocal"},
        {QStringLiteral("shared"), "value.method.shared"},
        {QStringLiteral("disabled"), "value.method.disabled"},
        {QStringLiteral("ignore"), "value.method.ignore"},
    };
    const auto found = kMethods.find(method.toLower());
    return found == kMethods.end() ? method : text(QString::fromLatin1(found->second));
}

}  // namespace

QString bandOfChannel(std::int64_t channel) {
    if (channel >= 1 && channel <= 14) {
        return text(QStringLiteral("band.2"));
    }
    if (channel >= 15 && channel <= 196) {
        return text(QStringLiteral("band.5"));
    }
    return QString();
}

QString securityText(const Value& value) {
    if (value.kind() == Value::Kind::Int || value.kind() == Value::Kind::UInt) {
        const std::int64_t code = value.toInt();
        static const char* const kSecurityNames[] = {
            "security.0", "security.1", "security.2", "security.3", "security.4", "security.5", "security.6",
        };
        if (code >= 0 && code <= 6) {
            return text(key(kSecurityNames[code]));
        }
    }
    const auto name = plainText(value);
    if (!name) {
        return QString();
    }
    const QString lower = name->toLower();
    if (lower == QLatin1String("none") || lower == QLatin1String("open")) {
        return text(QStringLiteral("security.0"));
    }
    if (lower == QLatin1String("wep")) {
        return text(QStringLiteral("security.1"));
    }
    return *name;
}

QString measuredValue(const FindingRow& row, const platform::Dictionary& data) {
    if (row.form == ValueForm::None || !row.details[0]) {
        return QString();
    }
    const std::optional<Value> first = data.value(key(row.details[0]));
    const auto wrap = [&](const QString& measured) {
        return row.valueText ? text(key(row.valueText), {measured}) : measured;
    };
    switch (row.form) {
        case ValueForm::None:
            return QString();
        case ValueForm::Text: {
            const auto t = first ? plainText(*first) : std::nullopt;
            if (t && QString::fromLatin1(row.details[0]).endsWith(QLatin1String("ConfigMethod"))) {
                return wrap(addressingMethodText(*t));
            }
            return t ? wrap(*t) : QString();
        }
        case ValueForm::Number: {
            const auto n = first ? numberText(*first) : std::nullopt;
            return n ? wrap(*n) : QString();
        }
        case ValueForm::Security: {
            const QString security = first ? securityText(*first) : QString();
            return security.isEmpty() ? QString() : wrap(security);
        }
        case ValueForm::Signal: {
            const auto rssi = finiteNumber(first);
            const auto noise = finiteNumber(row.details[1] ? data.value(key(row.details[1])) : std::nullopt);
            const auto n = [](double d) { return *numberText(Value::number(d)); };
            if (rssi && noise) {
                return text(QStringLiteral("value.signalNoise"), {n(*rssi), n(*noise), n(*rssi - *noise)});
            }
            if (rssi) {
                return text(QStringLiteral("value.signal"), {n(*rssi)});
            }
            if (noise) {
                return text(QStringLiteral("value.noise"), {n(*noise)});
            }
            return QString();
        }
        case ValueForm::Ping: {
            if (!first || first->kind() != Value::Kind::Dictionary) {
                return QString();
            }
            const DictionaryRef ping = first->toDictionary();
            const auto average = finiteNumber(ping->value(QStringLiteral("avg")));
            const auto loss = finiteNumber(ping->value(QStringLiteral("packetLoss")));
            const auto n = [](double d) { return *numberText(Value::number(d)); };
            if (average && loss) {
                return text(QStringLiteral("value.ping"), {n(*average), n(*loss)});
            }
            if (average) {
                return text(QStringLiteral("value.pingAverage"), {n(*average)});
            }
            if (loss) {
                return text(QStringLiteral("value.pingLoss"), {n(*loss)});
            }
            return QString();
        }
        case ValueForm::Channel: {
            if (!first || (first->kind() != Value::Kind::Int && first->kind() != Value::Kind::UInt)) {
                return QString();
            }
            const std::int64_t channel = first->toInt();
            const QString band = bandOfChannel(channel);
            return band.isEmpty() ? text(QStringLiteral("value.channel"), {QString::number(channel)})
                                  : text(key(row.valueText), {QString::number(channel), band});
        }
        case ValueForm::Modes: {
            if (!first) {
                return QString();
            }
            if (first->kind() == Value::Kind::Array) {
                QStringList modes;
                for (const Value& mode : *first->toArray()) {
                    if (const auto t = plainText(mode)) {
                        modes.push_back(*t);
                    }
                }
                return modes.isEmpty() ? QString()
                                       : wrap(modes.join(text(QStringLiteral("value.listSeparator"))));
            }
            const auto t = plainText(*first);
            return t ? wrap(*t) : QString();
        }
    }
    return QString();
}

namespace {

// The flag's truth: a boolean, or a number (non-zero is true; "foundScanResults" is an integer).
std::optional<bool> flagOf(const Value& value) {
    if (value.isBool()) {
        return value.toBool();
    }
    if (value.isNumber()) {
        const double d = value.toDouble();
        return std::isnan(d) ? std::nullopt : std::optional<bool>(d != 0);
    }
    return std::nullopt;
}

// The reason a whole group has no keys, when the run says it: the status code that ended the
// run, a run that did not finish, or (the joined network's group) no network joined.
std::optional<QString> groupNotRunReason(const Profile& profile, Group group) {
    const auto code = profile.statusCode();
    if (!profile.finished()) {
        return text(QStringLiteral("reason.runEnded"));
    }
    if (code && *code != 0) {
        switch (*code) {
            case -2:
                return text(QStringLiteral("status.noManager"));
            case -3:
                return text(QStringLiteral("status.noDevice"));
            case -4:
                return text(QStringLiteral("status.powerDeclined"));
            case -5:
                return text(QStringLiteral("status.poweredOff"));
            case -6:
                return text(QStringLiteral("status.currentExcluded"));
            case -7:
                if (group == Group::SelectedNetwork) {
                    return text(QStringLiteral("status.selectedExcluded"));
                }
                break;
            default:
                return text(QStringLiteral("status.other"), {QString::number(*code)});
        }
    }
    if (group == Group::CurrentNetwork) {
        return text(QStringLiteral("reason.notJoined"));
    }
    return std::nullopt;
}

// A profile that carries the diagnostic's log but not the service's answers to a test (saved
// before the host kept them, or made from a golden run's printed result and log) still tells why
// the test wrote nothing: its failure message. The same message is logged for the joined and the
// selected network; where both groups lack the key, the first message is the joined network's
// (its group runs first), and a single message cannot be told apart and is not used.
std::optional<QString> loggedError(const Profile& profile, const FindingRow& row, Group group) {
    for (const ServiceAnswer& answer : profile.answers) {
        if (answer.testID == row.testID) {
            return std::nullopt;  // the answers are recorded: they tell, not the log
        }
    }
    const QString prefix =
        QStringLiteral("[ERROR] - Wi-Fi Profile: %1 failed with error: ").arg(key(row.logTitle));
    QStringList messages;
    for (const LogLine& line : profile.log) {
        if (line.message.startsWith(prefix)) {
            messages.push_back(line.message.mid(prefix.size()));
        }
    }
    if (messages.isEmpty()) {
        return std::nullopt;
    }
    if (group == Group::Device) {
        return messages.back();
    }
    const Group other = group == Group::CurrentNetwork ? Group::SelectedNetwork : Group::CurrentNetwork;
    const DictionaryRef otherData = profile.group(groupKey(other));
    const bool otherFailed =
        (row.groups & bitOf(other)) && otherData && !otherData->empty() && !otherData->contains(key(row.key));
    if (!otherFailed) {
        return messages.back();
    }
    if (messages.size() < 2) {
        return std::nullopt;
    }
    return group == Group::CurrentNetwork ? messages.front() : messages.back();
}

const ServiceAnswer* answerFor(const Profile& profile, const FindingRow& row, Group group) {
    if (group == Group::Device) {
        // The device tests carry the selected network's name in their configuration when one was
        // given; their test IDs are theirs alone.
        const ServiceAnswer* answer = profile.lastAnswer(row.testID, false);
        return answer ? answer : profile.lastAnswer(row.testID, true);
    }
    return profile.lastAnswer(row.testID, group == Group::SelectedNetwork);
}

// Why a row's key is absent; nullopt when nothing shows the test ran or should have (a row of
// only some runs is then left out).
std::optional<QString> absentReason(const Profile& profile, const FindingRow& row, Group group,
                                    const platform::Dictionary& data) {
    if (const ServiceAnswer* answer = answerFor(profile, row, group)) {
        if (answer->errorCode && *answer->errorCode != 0) {
            return answer->errorText.isEmpty()
                       ? text(QStringLiteral("reason.errorCode"), {QString::number(*answer->errorCode)})
                       : answer->errorText;
        }
        if (row.onlySomeRuns) {
            // An answer to the test without its key: the request was not the diagnostic's (the
            // host may scan for the report).
            return std::nullopt;
        }
        if (!answer->answer) {
            return text(QStringLiteral("reason.noResult"));
        }
        return text(QStringLiteral("reason.notWritten"));
    }
    if (auto logged = loggedError(profile, row, group)) {
        return logged;
    }
    if (row.onlySomeRuns) {
        return std::nullopt;
    }
    if (data.empty()) {
        if (auto reason = groupNotRunReason(profile, group)) {
            return reason;
        }
    }
    return text(QStringLiteral("reason.noAnswer"));
}

// The selected network's group belongs to the findings only when the run examined one: its keys
// or the service's answers about it.
bool selectedNetworkExamined(const Profile& profile, const DictionaryRef& data) {
    if (data && !data->empty()) {
        return true;
    }
    for (const ServiceAnswer& answer : profile.answers) {
        if (answer.aboutSelectedNetwork()) {
            // A device test's configuration names the selected network too, whether or not its
            // group ran; the device tests' IDs are theirs alone.
            bool deviceTest = false;
            for (const FindingRow& row : kRows) {
                deviceTest = deviceTest || (row.groups == kInDevice && row.testID == answer.testID);
            }
            if (!deviceTest) {
                return true;
            }
        }
    }
    return false;
}

}  // namespace

std::span<const FindingRow> findingRows() {
    return kRows;
}

const FindingRow* findingRow(const QString& flagKey, Group group) {
    for (const FindingRow& row : kRows) {
        if ((row.groups & bitOf(group)) && flagKey == QLatin1String(row.key)) {
            return &row;
        }
    }
    return nullptr;
}

QString groupKey(Group group) {
    switch (group) {
        case Group::Device:
            return QStringLiteral("device");
        case Group::CurrentNetwork:
            return QStringLiteral("currentNetwork");
        case Group::SelectedNetwork:
            return QStringLiteral("selectedNetwork");
    }
    return QString();
}

int Findings::count(Severity severity) const {
    int n = 0;
    for (const Finding& f : items) {
        n += f.severity == severity ? 1 : 0;
    }
    return n;
}

Findings findingsOf(const Profile& profile) {
    Findings findings;
    bool connectionFails = false;
    const platform::Dictionary empty;
    for (const Group group : {Group::Device, Group::CurrentNetwork, Group::SelectedNetwork}) {
        const DictionaryRef groupData = profile.group(groupKey(group));
        if (group == Group::SelectedNetwork && !selectedNetworkExamined(profile, groupData)) {
            continue;
        }
        const platform::Dictionary& data = groupData ? *groupData : empty;
        for (const FindingRow& row : kRows) {
            if (!(row.groups & bitOf(group))) {
                continue;
            }
            Finding finding;
            finding.group = group;
            finding.key = key(row.key);
            finding.title = textOf(row.title);
            finding.threshold = textOf(row.threshold);
            const std::optional<Value> flagValue = data.value(finding.key);
            if (!flagValue) {
                const auto reason = absentReason(profile, row, group, data);
                if (!reason) {
                    continue;
                }
                finding.severity = Severity::NotChecked;
                finding.reason = *reason;
                findings.items.push_back(std::move(finding));
                continue;
            }
            const std::optional<bool> flag = flagOf(*flagValue);
            if (!flag) {
                finding.severity = Severity::NotChecked;
                finding.reason = text(QStringLiteral("reason.unreadable"), {flagValue->description()});
                findings.items.push_back(std::move(finding));
                continue;
            }
            const bool problem = (row.problemWhen == ProblemWhen::True && *flag) ||
                                 (row.problemWhen == ProblemWhen::False && !*flag);
            finding.severity = problem ? row.severity : Severity::Fine;
            finding.value = measuredValue(row, data);
            finding.meaning = textOf(*flag ? row.meaningTrue : row.meaningFalse);
            finding.advice = problem ? textOf(row.advice) : QString();
            connectionFails = connectionFails || (problem && row.connectivity);
            findings.items.push_back(std::move(finding));
        }
    }

    // The verdict, most telling first: a connection that does not carry traffic is "not working"
    // whatever else is missing; a run that ended early, with a non-zero status code, or with more
    // than a third of its tests unchecked is "incomplete" (the findings it has are still listed);
    // any problem or warning is "degraded"; otherwise "good".
    const int total = static_cast<int>(findings.items.size());
    const int notChecked = findings.count(Severity::NotChecked);
    const auto code = profile.statusCode();
    if (connectionFails) {
        findings.verdict = Verdict::NotWorking;
    } else if (!profile.finished() || !code || *code != 0 || total == 0 || notChecked * 3 > total) {
        findings.verdict = Verdict::Incomplete;
    } else if (findings.count(Severity::Problem) + findings.count(Severity::Warning) > 0) {
        findings.verdict = Verdict::Degraded;
    } else {
        findings.verdict = Verdict::Good;
    }
    return findings;
}

QString groupName(Group group) {
    switch (group) {
        case Group::Device:
            return text(QStringLiteral("group.device"));
        case Group::CurrentNetwork:
            return text(QStringLiteral("group.currentNetwork"));
        case Group::SelectedNetwork:
            return text(QStringLiteral("group.selectedNetwork"));
    }
    return QString();
}

QString severityName(Severity severity) {
    switch (severity) {
        case Severity::Problem:
            return text(QStringLiteral("severity.problem"));
        case Severity::Warning:
            return text(QStringLiteral("severity.warning"));
        case Severity::Fine:
            return text(QStringLiteral("severity.fine"));
        case Severity::NotChecked:
            return text(QStringLiteral("severity.notChecked"));
    }
    return QString();
}

QString verdictName(Verdict verdict) {
    switch (verdict) {
        case Verdict::Good:
            return text(QStringLiteral("verdict.good"));
        case Verdict::Degraded:
            return text(QStringLiteral("verdict.degraded"));
        case Verdict::NotWorking:
            return text(QStringLiteral("verdict.notWorking"));
        case Verdict::Incomplete:
            return text(QStringLiteral("verdict.incomplete"));
    }
    return QString();
}

QString verdictSentence(Verdict verdict) {
    switch (verdict) {
        case Verdict::Good:
            return text(QStringLiteral("verdict.good.sentence"));
        case Verdict::Degraded:
            return text(QStringLiteral("verdict.degraded.sentence"));
        case Verdict::NotWorking:
            return text(QStringLiteral("verdict.notWorking.sentence"));
        case Verdict::Incomplete:
            return text(QStringLiteral("verdict.incomplete.sentence"));
    }
    return QString();
}

}  // namespace report
