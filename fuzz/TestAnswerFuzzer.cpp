// Fuzzes what the diagnostic's test operations make of the service's answers: the input's first
// bytes choose one of the 57 test operations, the rest decode the answer the simulated service
// gives for its test ID (no error, an error of code 0 or another code; no result array, an empty
// one, or results with absent elements; result, didPass and an info dictionary of values of every
// kind, nested containers and records of every record kind with extreme fields). The operation
// runs through the shared test step as in a real run. It must send exactly one request with its
// test ID and configuration, write into its own dictionary only, write something exactly when the
// step picks a result, and leave dictionaries that are writable as JSON that reads back.
#include "fuzz/FuzzBytes.h"
#include "fuzz/FuzzSupport.h"
#include "platform/foundation/Error.h"
#include "platform/foundation/Json.h"
#include "platform/foundation/JsonReader.h"
#include "platform/foundation/Log.h"
#include "platform/wifi/RecordingBackend.h"
#include "platform/wifi/WiFiBackend.h"
#include "platform/wifi/WiFiRecords.h"
#include "platform/wifi/sim/Scenario.h"
#include "platform/wifi/sim/SimBackend.h"
#include "wifiprofile/controller/WiFiProfileInputs.h"
#include "wifiprofile/controller/WiFiProfileViewController.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

using fuzzsupport::FuzzBytes;
using fuzzsupport::require;
using fuzzsupport::requireReadsBackAsJson;
using platform::Dictionary;
using platform::DictionaryRef;
using platform::Value;
using Controller = wifiprofile::WiFiProfileViewController;

namespace {

// Where an operation writes and which configuration it sends.
enum class Target {
    Device,    // the controller's configuration, into deviceData
    Given,     // the configuration and dictionary passed as arguments
    Selected,  // the controller's configuration, into selectedNetworkData
};

struct Operation {
    const char* name;
    std::int64_t testID;
    Target target;
    void (Controller::*withoutArguments)();
    void (Controller::*withArguments)(DictionaryRef, DictionaryRef);
};

constexpr Operation device(const char* name, std::int64_t id, void (Controller::*run)()) {
    return {name, id, Target::Device, run, nullptr};
}
constexpr Operation given(const char* name, std::int64_t id,
                          void (Controller::*run)(DictionaryRef, DictionaryRef)) {
    return {name, id, Target::Given, nullptr, run};
}
constexpr Operation selected(const char* name, std::int64_t id, void (Controller::*run)()) {
    return {name, id, Target::Selected, run, nullptr};
}

const Operation kOperations[] = {
    device("CustomIPv4", 14, &Controller::runDeviceConfigurationCustomIPv4),
    device("CustomIPv6", 15, &Controller::runDeviceConfigurationCustomIPv6),
    device("CustomDNS", 16, &Controller::runDeviceConfigurationCustomDNS),
    device("CustomWebProxy", 17, &Controller::runDeviceConfigurationCustomWebProxy),
    device("VornetRealTimeMode", 22, &Controller::runDeviceConfigurationVornetRealTimeMode),
    device("BluetoothConnected", 19, &Controller::runDeviceConfigurationBluetoothConnected),
    device("BluetoothPaired", 18, &Controller::runDeviceConfigurationBluetoothPaired),
    device("BTCoex", 20, &Controller::runDeviceConfigurationBTCoex),
    device("LargePNL", 47, &Controller::runDeviceConfigurationLargePNL),
    device("PNLContainsHidden", 48, &Controller::runDeviceConfigurationPNLContainsHidden),
    device("ConflictingSecurityTypeInPNL", 29,
           &Controller::runDeviceConfigurationConflictingSecurityTypeInPNL),
    given("DetectDoubleNAT", 8, &Controller::runCurrentNetworkDetectDoubleNATWithConfiguration),
    given("LongBeaconInterval", 34, &Controller::runCurrentNetworkLongBeaconIntervalWithConfiguration),
    given("LongDTIMInterval", 35, &Controller::runCurrentNetworkLongDTIMIntervalWithConfiguration),
    given("NoSecurity", 38, &Controller::runCurrentNetworkNoSecurityWithConfiguration),
    given("LegacySecurityWEP", 39, &Controller::runCurrentNetworkLegacySecurityWEPWithConfiguration),
    given("LegacySecurityWPA", 40, &Controller::runCurrentNetworkLegacySecurityWPAWithConfiguration),
    given("LegacyRates11b", 41, &Controller::runCurrentNetworkLegacyRates11bWithConfiguration),
    given("AmbiguousNetworkName", 42, &Controller::runCurrentNetworkAmbiguousNetworkNameWithConfiguration),
    given("HiddenNetwork", 43, &Controller::runCurrentNetworkHiddenNetworkWithConfiguration),
    given("LumoPersonalHotspot", 44, &Controller::runCurrentNetworkLumoPersonalHotspotWithConfiguration),
    given("CaptivePortal", 46, &Controller::runCurrentNetworkCaptivePortalWithConfiguration),
    given("Passpoint", 45, &Controller::runCurrentNetworkPasspointWithConfiguration),
    given("ConflictingPHYMode11AC", 36,
          &Controller::runCurrentNetworkConflictingPHYMode11ACWithConfiguration),
    given("ConflictingPHYMode11N", 37, &Controller::runCurrentNetworkConflictingPHYMode11NWithConfiguration),
    given("HarbexBaseStation", 33, &Controller::runCurrentNetworkHarbexBaseStationWithConfiguration),
    given("PingLAN", 3, &Controller::runCurrentNetworkPingLANWithConfiguration),
    given("PingWAN", 6, &Controller::runCurrentNetworkPingWANWithConfiguration),
    given("IPv4Assigned", 12, &Controller::runCurrentNetworkIPv4AssignedWithConfiguration),
    given("IPv6Assigned", 13, &Controller::runCurrentNetworkIPv6AssignedWithConfiguration),
    given("ResolveDNS", 7, &Controller::runCurrentNetworkResolveDNSWithConfiguration),
    given("ReachOrvane", 9, &Controller::runCurrentNetworkReachOrvaneWithConfiguration),
    given("RetrieveOrvane", 11, &Controller::runCurrentNetworkRetrieveOrvaneWithConfiguration),
    given("CongestedChannel", 24, &Controller::runCurrentNetworkCongestedChannelWithConfiguration),
    given("Congested2GHz", 25, &Controller::runCurrentNetworkCongested2GHzWithConfiguration),
    given("Congested5GHz", 26, &Controller::runCurrentNetworkCongested5GHzWithConfiguration),
    given("HT402GHzChannel", 27, &Controller::runCurrentNetworkHT402GHzChannelWithConfiguration),
    given("ConflictingCountryCode", 28,
          &Controller::runCurrentNetworkConflictingCountryCodeWithConfiguration),
    given("PoorSignal", 32, &Controller::runCurrentNetworkPoorSignalWithConfiguration),
    given("NoScanResults", 31, &Controller::runCurrentNetworkNoScanResultsWithConfiguration),
    given("HiddenScanResults", 30, &Controller::runCurrentNetworkHiddenScanResultsWithConfiguration),
    selected("SelectedLongBeaconInterval", 34, &Controller::runSelectedNetworkLongBeaconInterval),
    selected("SelectedNoSecurity", 38, &Controller::runSelectedNetworkNoSecurity),
    selected("SelectedLegacySecurityWEP", 39, &Controller::runSelectedNetworkLegacySecurityWEP),
    selected("SelectedLegacySecurityWPA", 40, &Controller::runSelectedNetworkLegacySecurityWPA),
    selected("SelectedLegacyRates11b", 41, &Controller::runSelectedNetworkLegacyRates11b),
    selected("SelectedAmbiguousNetworkName", 42, &Controller::runSelectedNetworkAmbiguousNetworkName),
    selected("SelectedHiddenNetwork", 43, &Controller::runSelectedNetworkHiddenNetwork),
    selected("SelectedLumoPersonalHotspot", 44, &Controller::runSelectedNetworkLumoPersonalHotspot),
    selected("SelectedCaptivePortal", 46, &Controller::runSelectedNetworkCaptivePortal),
    selected("SelectedPasspoint", 45, &Controller::runSelectedNetworkPasspoint),
    selected("SelectedConflictingPHYMode11AC", 36, &Controller::runSelectedNetworkConflictingPHYMode11AC),
    selected("SelectedConflictingPHYMode11N", 37, &Controller::runSelectedNetworkConflictingPHYMode11N),
    selected("SelectedHarbexBaseStation", 33, &Controller::runSelectedNetworkHarbexBaseStation),
    selected("SelectedCongestedChannel", 24, &Controller::runSelectedNetworkCongestedChannel),
    selected("SelectedConflictingCountryCode", 28, &Controller::runSelectedNetworkConflictingCountryCode),
    selected("SelectedPoorSignal", 32, &Controller::runSelectedNetworkPoorSignal),
};
static_assert(sizeof kOperations / sizeof kOperations[0] == 57, "one row per test operation");

// The keys the tests read from info, so that decoded answers often hold what a test looks for.
const QString kInfoKeys[] = {
    QStringLiteral("IPv4ConfigMethod"),
    QStringLiteral("IPv6ConfigMethod"),
    QStringLiteral("BTConnectedCount"),
    QStringLiteral("BTPairedCount"),
    QStringLiteral("PNLCount"),
    QStringLiteral("BeaconInterval"),
    QStringLiteral("DTIMInterval"),
    QStringLiteral("Security"),
    QStringLiteral("SupportedPHYModes"),
    QStringLiteral("HarbexModelName"),
    QStringLiteral("PreferredNetwork"),
    QStringLiteral("NetworkName"),
    QStringLiteral("SSID"),
    QStringLiteral("Passpoint"),
    QStringLiteral("PingResult"),
    QStringLiteral("ScanResults"),
    QStringLiteral("CurrentChannel"),
    QStringLiteral("2GHzChannel"),
    QStringLiteral("5GHzChannel"),
    QStringLiteral("5GHz40MHzChannel"),
    QStringLiteral("5GHzNonDFSChannel"),
    QStringLiteral("AdoptedCountryCode"),
    QStringLiteral("RSSI"),
    QStringLiteral("Noise"),
};

constexpr int kMaxDepth = 4;
constexpr std::size_t kMaxEntries = 8;

class AnswerDecoder {
  public:
    explicit AnswerDecoder(FuzzBytes& bytes) : in_(bytes) {}

    std::optional<QString> optionalText(std::size_t maxLength) {
        if (in_.below(4) == 0) {
            return std::nullopt;
        }
        return in_.text(maxLength);
    }

    std::optional<std::int64_t> optionalInteger() {
        if (in_.flag()) {
            return std::nullopt;
        }
        return in_.integer();
    }

    Value scanResult() {
        auto record = std::make_shared<platform::WiFiScanResult>();
        record->ssidString = optionalText(34);
        record->bssid = in_.text(20);
        record->rssi = in_.integer();
        record->channel = optionalInteger();
        return Value::record(record);
    }

    Value pingResult() {
        auto record = std::make_shared<platform::WiFiPingResult>();
        record->interfaceName = optionalText(16);
        record->count = in_.integer();
        record->packetLoss = in_.number();
        record->min = in_.number();
        record->max = in_.number();
        record->avg = in_.number();
        record->stddev = in_.number();
        record->timestamp = in_.number();
        return Value::record(record);
    }

    Value channel() {
        auto record = std::make_shared<platform::WiFiChannel>();
        record->channel = in_.integer();
        record->band = optionalInteger();
        record->width = optionalInteger();
        return Value::record(record);
    }

    Value networkProfile() {
        auto record = std::make_shared<platform::NetworkProfile>();
        record->ssidString = optionalText(34);
        record->security = in_.integer();
        record->isPasspoint = in_.flag();
        record->isEnabled = in_.flag();
        record->isCaptive = in_.flag();
        record->isHidden = in_.flag();
        record->isMultiAP = in_.flag();
        if (in_.flag()) {
            record->lastJoinedTimestamp = platform::Date::fromSecondsSince1970(in_.number());
        }
        return Value::record(record);
    }

    Value value(int depth) {
        const bool nested = depth < kMaxDepth;
        switch (in_.below(nested ? 15 : 12)) {
            case 0:
                return Value::null();
            case 1:
                return Value::boolean(in_.flag());
            case 2:
                return Value::integer(in_.integer());
            case 3:
                return Value::unsignedInteger(in_.unsignedInteger());
            case 4:
                return Value::number(in_.number());
            case 5:
                return Value::string(in_.text(40));
            case 6:
                return Value::date(platform::Date::fromSecondsSince1970(in_.number()));
            case 7:
                return scanResult();
            case 8:
                return pingResult();
            case 9:
                return channel();
            case 10:
                return networkProfile();
            case 11:
                return Value::string(in_.pick(kInfoKeys));
            case 12: {
                // Mostly scan results, as the scan tests want them, with other values mixed in.
                auto array = platform::makeArray();
                const std::size_t count = in_.below(kMaxEntries * 2 + 1);
                for (std::size_t i = 0; i < count && in_.remaining() > 0; ++i) {
                    array->push_back(in_.below(4) == 0 ? value(depth + 1) : scanResult());
                }
                return Value::array(array);
            }
            case 13: {
                auto array = platform::makeArray();
                const std::size_t count = in_.below(kMaxEntries + 1);
                for (std::size_t i = 0; i < count && in_.remaining() > 0; ++i) {
                    array->push_back(value(depth + 1));
                }
                return Value::array(array);
            }
            default:
                return Value::dictionary(dictionary(depth + 1));
        }
    }

    DictionaryRef dictionary(int depth) {
        auto out = Dictionary::make();
        const std::size_t count = in_.below(kMaxEntries + 1);
        for (std::size_t i = 0; i < count && in_.remaining() > 0; ++i) {
            const QString key = in_.below(5) == 0 ? in_.text(24) : in_.pick(kInfoKeys);
            out->set(key, value(depth));
        }
        return out;
    }

    platform::DiagnosticsTestResultRef result() {
        if (in_.below(6) == 0) {
            return nullptr;  // an absent element
        }
        auto result = std::make_shared<platform::DiagnosticsTestResult>();
        result->result = in_.flag();
        result->didPass = in_.flag();
        if (in_.below(5) != 0) {
            result->info = dictionary(0);
        }
        return result;
    }

    // The reads happen one statement at a time: the order in which a call's arguments are worked
    // out is the compiler's choice, and the replay build must decode as the fuzz build does.
    platform::ErrorRef error() {
        const std::size_t form = in_.below(4);
        if (form == 0) {
            return nullptr;
        }
        const QString domain = form == 2 ? QStringLiteral("WiFiDiagnostics") : in_.text(20);
        const std::int64_t code = form == 1 ? 0 : in_.integer();
        const QString text = in_.text(20);
        return platform::makeError(domain, code, text);
    }

    platform::sim::TestAnswer answer() {
        platform::sim::TestAnswer answer;
        answer.error = error();
        switch (in_.below(5)) {
            case 0:
                answer.results = std::nullopt;
                break;
            case 1:
                answer.results = std::vector<platform::DiagnosticsTestResultRef>{};
                break;
            case 2: {
                std::vector<platform::DiagnosticsTestResultRef> results;
                const std::size_t count = 2 + in_.below(3);
                for (std::size_t i = 0; i < count; ++i) {
                    results.push_back(result());
                }
                answer.results = std::move(results);
                break;
            }
            default:
                answer.results = std::vector<platform::DiagnosticsTestResultRef>{result()};
                break;
        }
        return answer;
    }

  private:
    FuzzBytes& in_;
};

// Whether the test step picks a result from answer: no error with a non-zero code and a first
// element that is present.
bool picksResult(const platform::sim::TestAnswer& answer) {
    if (answer.error && answer.error->code != 0) {
        return false;
    }
    return answer.results && !answer.results->empty() && answer.results->front() != nullptr;
}

platform::sim::Scenario scenarioAnswering(std::int64_t testID, platform::sim::TestAnswer answer) {
    platform::sim::Scenario scenario;
    scenario.file = QStringLiteral("(fuzz)");
    platform::sim::StatusAnswer status;
    status.kind = platform::sim::StatusAnswer::Kind::Joined;
    status.ssid = QStringLiteral("Home");
    status.bssid = QStringLiteral("02:11:22:33:44:55");
    scenario.status = {status};
    scenario.tests[testID] = {std::move(answer)};
    return scenario;
}

// The messages the diagnostic logged while the current input ran.
QStringList gMessages;

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    fuzzsupport::startQt();
    platform::setLogSink([](int, platform::LogLevel, const QString& message) { gMessages.append(message); });
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzBytes bytes(data, size);
    const Operation& op = bytes.pick(kOperations);
    AnswerDecoder decoder(bytes);
    const platform::sim::TestAnswer answer = decoder.answer();
    const bool picked = picksResult(answer);

    gMessages.clear();
    auto backend = std::make_shared<platform::RecordingBackend>(
        std::make_shared<platform::sim::SimBackend>(scenarioAnswering(op.testID, answer)));
    platform::installWiFiBackend(backend);
    auto inputs = std::make_shared<wifiprofile::WiFiProfileInputs>();
    inputs->validateAndInitializeParameters(Dictionary::make(
        {{"maxScanCacheAge", Value::integer(60)}, {"reprofileWithUI", Value::boolean(false)}}));
    auto controller = std::make_shared<Controller>();
    controller->setupWithInputs(inputs, nullptr);

    const DictionaryRef configuration = Dictionary::make(
        {{"MaxScanCacheAge", Value::integer(60)}, {"NetworkName", Value::string(QStringLiteral("Cafe"))}});
    DictionaryRef written;
    switch (op.target) {
        case Target::Device:
            controller->configuration = configuration;
            (controller.get()->*op.withoutArguments)();
            written = controller->deviceData;
            break;
        case Target::Selected:
            controller->configuration = configuration;
            (controller.get()->*op.withoutArguments)();
            written = controller->selectedNetworkData;
            break;
        case Target::Given:
            written = Dictionary::make();
            (controller.get()->*op.withArguments)(configuration, written);
            break;
    }

    const auto requests = backend->requests();
    require(requests.size() == 1 && requests[0].testID == op.testID && requests[0].configuration &&
                *requests[0].configuration == *configuration,
            "an operation sends one request with its test ID and configuration", QString::fromUtf8(op.name));
    require(written->empty() != picked, "an operation writes exactly when the step picks a result",
            QString::fromUtf8(op.name));
    for (const DictionaryRef& other :
         {controller->deviceData, controller->currentNetworkData, controller->selectedNetworkData}) {
        require(other == written || other->empty(), "an operation writes into its own dictionary only",
                QString::fromUtf8(op.name));
    }
    if (answer.error && answer.error->code != 0) {
        // The service's error is described in full, whatever its domain and text hold.
        const QString described = answer.error->domain + QStringLiteral(" error ") +
                                  QString::number(answer.error->code) + QStringLiteral(": ") +
                                  answer.error->text;
        require(gMessages.size() == 1 &&
                    gMessages[0].startsWith(QStringLiteral("[ERROR] - Wi-Fi Profile: ")) &&
                    gMessages[0].endsWith(QStringLiteral(" failed with error: ") + described),
                "a failed run is logged once with the service's error",
                gMessages.join(QLatin1Char('\n')) + QStringLiteral("\nexpected the error: ") + described);
    }
    requireReadsBackAsJson(platform::toJson(*written),
                           "an operation's dictionary is writable as JSON that reads back",
                           QString::fromUtf8(op.name));
    if (const platform::ArrayRef scanResults = controller->wifiScanResults.get()) {
        requireReadsBackAsJson(platform::toJson(Value::array(scanResults)),
                               "the kept scan results are writable as JSON that reads back",
                               QString::fromUtf8(op.name));
    }
    platform::installWiFiBackend(nullptr);
    return 0;
}
