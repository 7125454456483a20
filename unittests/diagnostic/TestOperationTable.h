#pragma once
// A table row per diagnostic test operation: the test ID it requests, its title (as the run-failure
// message names it), its verdict key and the details it copies, each with its gate. The contract
// every operation keeps (test_operation_contract.cpp) is checked against each group's table; the
// group files instantiate it and add the tests particular to their operations.

#include "unittests/diagnostic/DiagnosticHarness.h"

#include <gtest/gtest.h>

#include <ostream>
#include <vector>

namespace testsupport {

// When a test reads its details, by the record's didPass.
enum class Gate { Always, WhenNotPassed, WhenPassed };

// How the verdict is written.
enum class VerdictKind {
    BooleanOfResult,     // a boolean number holding result
    IntegerOfNotResult,  // an integer number 0 or 1 holding the negation of result
};

// How a detail's info value becomes the written value.
enum class Conversion {
    Plain,             // copied as it came, whatever its kind
    Channel,           // a channel record, written as an integer number of its channel
    PingStatistics,    // a ping result record, written as the eight-entry ping dictionary
    PreferredNetwork,  // a network profile record, written as the eight-entry profile dictionary
    ScanResultCount,   // an array of scan results, written as an unsigned count of its entries
    ScanResultList,    // an array of scan results, kept by the controller in wifiScanResults
};

struct Detail {
    QString infoKey;      // the service's key in info
    QString resultKey;    // the key written into the target dictionary (empty: written elsewhere)
    QString missingName;  // logged as "<name> not found." when missing; empty: skipped silently
    Gate gate = Gate::Always;
    Conversion conversion = Conversion::Plain;
    platform::Value sample = platform::Value::null();    // a well-formed info value
    platform::Value expected = platform::Value::null();  // what sample becomes in the result
};

// Where an operation writes and which configuration it sends.
enum class Target {
    Device,    // the controller's configuration, into deviceData
    Given,     // the configuration and dictionary passed as arguments
    Selected,  // the controller's configuration, into selectedNetworkData
};

struct Operation {
    std::string name;  // the test name suffix, e.g. "CustomIPv4"
    std::int64_t testID = 0;
    QString title;
    QString verdictKey;
    VerdictKind verdictKind = VerdictKind::BooleanOfResult;
    std::vector<Detail> details;
    Target target = Target::Given;
    void (wifiprofile::WiFiProfileViewController::*runWithoutArguments)() = nullptr;
    void (wifiprofile::WiFiProfileViewController::*runWithArguments)(platform::DictionaryRef,
                                                                     platform::DictionaryRef) = nullptr;
};

inline void PrintTo(const Operation& operation, std::ostream* os) {
    *os << operation.name << " (test ID " << operation.testID << ")";
}

// ---- Building the tables ----

inline Detail plainDetail(const QString& infoKey, const QString& resultKey, const QString& missingName,
                          Gate gate = Gate::Always) {
    return {infoKey,
            resultKey,
            missingName,
            gate,
            Conversion::Plain,
            platform::Value::string(infoKey + QStringLiteral(" from the service")),
            platform::Value::string(infoKey + QStringLiteral(" from the service"))};
}

inline Detail channelDetail(const QString& infoKey, const QString& resultKey, std::int64_t channel) {
    auto record = std::make_shared<platform::WiFiChannel>();
    record->channel = channel;
    return {infoKey,
            resultKey,
            QString(),
            Gate::Always,
            Conversion::Channel,
            platform::Value::record(record),
            platform::Value::integer(channel)};
}

// 2026-11-20T10:00:00Z as seconds since 1970 and since the reference date 2001-01-01.
inline constexpr double kNov20At10Since1970 = 1795168800.0;
inline constexpr double kNov20At10SinceReferenceDate = 816861600.0;

// A ping result with every field set and distinct values.
inline std::shared_ptr<platform::WiFiPingResult> samplePingResult() {
    auto ping = std::make_shared<platform::WiFiPingResult>();
    ping->interfaceName = QStringLiteral("wlan0");
    ping->count = 10;
    ping->packetLoss = 20.0;
    ping->min = 1.25;
    ping->max = 9.5;
    ping->avg = 3.75;
    ping->stddev = 0.5;
    ping->timestamp = kNov20At10SinceReferenceDate;
    return ping;
}

inline platform::Dictionary samplePingDictionary() {
    using platform::Value;
    return {{"SSID", Value::string("wlan0")},    {"count", Value::integer(10)},
            {"packetLoss", Value::number(20.0)}, {"min", Value::number(1.25)},
            {"max", Value::number(9.5)},         {"avg", Value::number(3.75)},
            {"stddev", Value::number(0.5)},      {"timestamp", Value::string("2026-11-20T10:00:00Z")}};
}

inline Detail pingDetail(const QString& resultKey) {
    return {QStringLiteral("PingResult"),
            resultKey,
            QStringLiteral("PingResult"),
            Gate::WhenPassed,
            Conversion::PingStatistics,
            platform::Value::record(samplePingResult()),
            platform::Value::dictionary(std::make_shared<platform::Dictionary>(samplePingDictionary()))};
}

// A remembered profile with every field set.
inline std::shared_ptr<platform::NetworkProfile> sampleNetworkProfile() {
    auto profile = std::make_shared<platform::NetworkProfile>();
    profile->ssidString = QStringLiteral("Home");
    profile->security = 4;
    profile->isPasspoint = false;
    profile->isEnabled = true;
    profile->isCaptive = true;
    profile->isHidden = false;
    profile->isMultiAP = true;
    profile->lastJoinedTimestamp = platform::Date::fromSecondsSince1970(kNov20At10Since1970);
    return profile;
}

inline platform::Dictionary sampleProfileDictionary() {
    using platform::Value;
    return {{"SSID", Value::string("Home")},        {"security", Value::integer(4)},
            {"isPasspoint", Value::boolean(false)}, {"isEnabled", Value::boolean(true)},
            {"isCaptive", Value::boolean(true)},    {"isHidden", Value::boolean(false)},
            {"isMultiAP", Value::boolean(true)},    {"lastJoined", Value::string("2026-11-20T10:00:00Z")}};
}

inline Detail preferredNetworkDetail() {
    return {QStringLiteral("PreferredNetwork"),
            QStringLiteral("preferredNetwork"),
            QStringLiteral("currentPreferredNetwork"),
            Gate::Always,
            Conversion::PreferredNetwork,
            platform::Value::record(sampleNetworkProfile()),
            platform::Value::dictionary(std::make_shared<platform::Dictionary>(sampleProfileDictionary()))};
}

inline platform::Value scanResult(std::optional<QString> ssid, const QString& bssid, std::int64_t rssi) {
    auto record = std::make_shared<platform::WiFiScanResult>();
    record->ssidString = std::move(ssid);
    record->bssid = bssid;
    record->rssi = rssi;
    return platform::Value::record(record);
}

// Three networks that hide their names.
inline platform::Value threeHiddenNetworks() {
    return platform::Value::array(platform::makeArray({scanResult(std::nullopt, "02:00:00:00:00:01", -60),
                                                       scanResult(std::nullopt, "02:00:00:00:00:02", -70),
                                                       scanResult(std::nullopt, "02:00:00:00:00:03", -80)}));
}

inline Detail hiddenNetworkCountDetail() {
    return {QStringLiteral("ScanResults"),      QStringLiteral("hiddenNetworkCount"),
            QStringLiteral("Scan Results"),     Gate::WhenNotPassed,
            Conversion::ScanResultCount,        threeHiddenNetworks(),
            platform::Value::unsignedInteger(3)};
}

// Every scan result the no-scan-results test keeps: two named networks.
inline platform::Value twoNearbyNetworks() {
    return platform::Value::array(
        platform::makeArray({scanResult(QStringLiteral("Home"), "02:11:22:33:44:55", -48),
                             scanResult(QStringLiteral("Lab"), "02:66:77:88:99:aa", -71)}));
}

// The scan list of the no-scan-results test goes to the controller's wifiScanResults, not into the
// dictionary: no result key.
inline Detail scanResultListDetail() {
    return {QStringLiteral("ScanResults"),
            QString(),
            QStringLiteral("Scan Results"),
            Gate::WhenPassed,
            Conversion::ScanResultList,
            twoNearbyNetworks(),
            twoNearbyNetworks()};
}

// What every operation row says, whichever way the operation is called.
inline Operation describedOperation(std::string name, std::int64_t testID, const QString& title,
                                    const QString& verdictKey, std::vector<Detail> details, Target target) {
    Operation op;
    op.name = std::move(name);
    op.testID = testID;
    op.title = title;
    op.verdictKey = verdictKey;
    op.details = std::move(details);
    op.target = target;
    return op;
}

inline Operation deviceOperation(std::string name, void (wifiprofile::WiFiProfileViewController::*run)(),
                                 std::int64_t testID, const QString& title, const QString& verdictKey,
                                 std::vector<Detail> details = {}) {
    Operation op =
        describedOperation(std::move(name), testID, title, verdictKey, std::move(details), Target::Device);
    op.runWithoutArguments = run;
    return op;
}

inline Operation givenOperation(std::string name,
                                void (wifiprofile::WiFiProfileViewController::*run)(platform::DictionaryRef,
                                                                                    platform::DictionaryRef),
                                std::int64_t testID, const QString& title, const QString& verdictKey,
                                std::vector<Detail> details = {}) {
    Operation op =
        describedOperation(std::move(name), testID, title, verdictKey, std::move(details), Target::Given);
    op.runWithArguments = run;
    return op;
}

// The tables of the groups (each defined in its group's test file).
std::vector<Operation> deviceConfigurationOperations();
std::vector<Operation> currentNetworkConfigurationOperations();
std::vector<Operation> connectivityOperations();
std::vector<Operation> radioEnvironmentOperations();

// The fixture of the checks every operation passes; each group file instantiates it with its table.
class OperationContract : public ::testing::TestWithParam<Operation> {};

inline std::string operationName(const ::testing::TestParamInfo<Operation>& info) {
    return info.param.name;
}

// ---- Running an operation ----

// Runs op once with config as its configuration and answers the dictionary it writes into: a fresh
// dictionary for operations given one, deviceData or selectedNetworkData for the others.
inline platform::DictionaryRef runOperation(const Operation& op, DiagnosticHarness& h,
                                            const platform::DictionaryRef& config) {
    auto& controller = *h.controller;
    switch (op.target) {
        case Target::Device:
            controller.configuration = config;
            (controller.*op.runWithoutArguments)();
            return controller.deviceData;
        case Target::Selected:
            controller.configuration = config;
            (controller.*op.runWithoutArguments)();
            return controller.selectedNetworkData;
        case Target::Given:
            break;
    }
    auto results = platform::Dictionary::make();
    (controller.*op.runWithArguments)(config, results);
    return results;
}

// A configuration unlike the controller's own, so that a test sending another one is seen.
inline platform::DictionaryRef distinctConfiguration() {
    return platform::Dictionary::make(
        {{"MaxScanCacheAge", platform::Value::integer(17)}, {"NetworkName", platform::Value::string("Lab")}});
}

// A joined scenario answering testID with a.
inline platform::sim::Scenario scenarioAnswering(std::int64_t testID, platform::sim::TestAnswer a) {
    auto scenario = joinedScenario();
    scenario.tests[testID] = {std::move(a)};
    return scenario;
}

// ---- Expectations ----

// The verdict op writes for result.
inline platform::Value verdictFor(const Operation& op, bool result) {
    return op.verdictKind == VerdictKind::BooleanOfResult ? platform::Value::boolean(result)
                                                          : platform::Value::integer(result ? 0 : 1);
}

inline bool gateOpens(Gate gate, bool didPass) {
    switch (gate) {
        case Gate::Always:
            return true;
        case Gate::WhenNotPassed:
            return !didPass;
        case Gate::WhenPassed:
            return didPass;
    }
    return false;
}

// The didPass values for which the detail is read (both for a detail read always).
inline std::vector<bool> didPassOpening(Gate gate) {
    switch (gate) {
        case Gate::Always:
            return {false, true};
        case Gate::WhenNotPassed:
            return {false};
        case Gate::WhenPassed:
            return {true};
    }
    return {};
}

// The gate shared by an operation's details (Always for an operation without details).
inline Gate gateOf(const Operation& op) {
    return op.details.empty() ? Gate::Always : op.details.front().gate;
}

// An info holding the well-formed sample of each of op's details.
inline platform::DictionaryRef sampleInfo(const Operation& op) {
    auto info = platform::Dictionary::make();
    for (const Detail& detail : op.details) {
        info->set(detail.infoKey, detail.sample);
    }
    return info;
}

// What op writes into its dictionary for an answer carrying sampleInfo(op): the verdict, and each
// detail's converted sample when the gate opens.
inline platform::Dictionary writtenFromSamples(const Operation& op, bool result, bool didPass) {
    platform::Dictionary written{{op.verdictKey, verdictFor(op, result)}};
    for (const Detail& detail : op.details) {
        if (gateOpens(detail.gate, didPass) && !detail.resultKey.isEmpty()) {
            written.set(detail.resultKey, detail.expected);
        }
    }
    return written;
}

// An info holding the sample of every detail of every group: an answer rich enough for any test.
inline platform::DictionaryRef everySample() {
    auto info = platform::Dictionary::make();
    for (const auto& table : {deviceConfigurationOperations(), currentNetworkConfigurationOperations(),
                              connectivityOperations(), radioEnvironmentOperations()}) {
        for (const Operation& op : table) {
            for (const Detail& detail : op.details) {
                info->set(detail.infoKey, detail.sample);
            }
        }
    }
    return info;
}

inline QString notFound(const QString& name) {
    return QStringLiteral("[ERROR] - Wi-Fi Profile: %1 not found.").arg(name);
}

inline QString runFailure(const QString& title, std::int64_t code) {
    return QStringLiteral("[ERROR] - Wi-Fi Profile: %1 failed with error: %2")
        .arg(title, errorDescription(code));
}

inline QStringList sorted(QStringList list) {
    list.sort();
    return list;
}

inline QStringList sortedKeys(const platform::Dictionary& dictionary) {
    return sorted(dictionary.keys());
}

inline QString describe(const platform::Dictionary& dictionary) {
    return platform::Value::dictionary(std::make_shared<platform::Dictionary>(dictionary)).description();
}

// Compares two dictionaries by content (NaN equals NaN), printing both as JSON when they differ.
inline ::testing::AssertionResult sameDictionary(const platform::Dictionary& actual,
                                                 const platform::Dictionary& expected) {
    if (actual == expected) {
        return ::testing::AssertionSuccess();
    }
    return ::testing::AssertionFailure() << "written " << describe(actual).toStdString() << "\n   expected "
                                         << describe(expected).toStdString();
}

// Compares a looked-up value with the expected one by kind and content.
inline ::testing::AssertionResult holds(const platform::Dictionary& dictionary, const QString& key,
                                        const platform::Value& expected) {
    const std::optional<platform::Value> actual = dictionary.value(key);
    if (!actual) {
        return ::testing::AssertionFailure()
               << key.toStdString() << " is absent in " << describe(dictionary).toStdString();
    }
    if (*actual == expected) {
        return ::testing::AssertionSuccess();
    }
    return ::testing::AssertionFailure()
           << key.toStdString() << " holds " << actual->description().toStdString() << " ("
           << platform::Value::kindName(actual->kind()) << "), expected "
           << expected.description().toStdString() << " (" << platform::Value::kindName(expected.kind())
           << ")";
}

}  // namespace testsupport
