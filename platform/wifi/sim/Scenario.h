#pragma once
// A scenario for the simulated Wi-Fi device: the device, the answers of the status query and of
// each numbered test (with latencies and successive answers), timed platform events and an
// automation script. Read from a JSON file whose format is documented in docs/scenarios.md.

#include "platform/foundation/Error.h"
#include "platform/foundation/JsonFieldReader.h"
#include "platform/foundation/Value.h"
#include "platform/wifi/WiFiDiagnosticsClient.h"

#include <QString>

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <stdexcept>
#include <vector>

namespace platform::sim {

// A scenario that cannot be used: says which file, where in it (a JSON path such as
// tests."16"[1].info, or line:column for a syntax error) and why.
class ScenarioError : public InputFileError {
  public:
    using InputFileError::InputFileError;
};

struct DeviceSpec {
    bool wifiRadio = true;
    bool managerClient = true;
    int devices = 1;
    bool power = true;
    std::map<QString, bool> capabilities;  // e.g. "wapi"
};

// One answer of the status query.
struct StatusAnswer {
    enum class Kind { Joined, NotJoined, NoWiFiStatus, Error };
    Kind kind = Kind::NotJoined;
    QString ssid;  // Joined only
    QString bssid;
    ErrorRef error;  // Error only
    std::optional<std::chrono::milliseconds> latency;
};

// One answer of a numbered test.
struct TestAnswer {
    ErrorRef error;                  // may be set together with results (a code of 0 next to results)
    DiagnosticsTestResults results;  // absent array, or elements (nullptr = absent element)
    std::optional<std::chrono::milliseconds> latency;
};

// The answer for test IDs that a scenario does not name when it gives no "defaultAnswer": no
// error, one result with result false, didPass true and no info, no latency of its own.
TestAnswer neutralTestAnswer();

// A timed platform event, counted from the start of the run.
struct ScenarioEvent {
    std::chrono::milliseconds at{0};
    std::optional<bool> wifiPower;
};

struct Scenario {
    QString file;  // where it was read from, or "(built-in)"
    QString description;
    DeviceSpec device;
    std::vector<StatusAnswer> status;                       // successive answers; the last repeats
    std::map<std::int64_t, std::vector<TestAnswer>> tests;  // per test ID, successive answers
    // Answers for requests whose configuration names a network ("NetworkName"): per network name,
    // per test ID, successive answers. IDs a network does not name fall back to tests.
    std::map<QString, std::map<std::int64_t, std::vector<TestAnswer>>> networkTests;
    TestAnswer defaultAnswer = neutralTestAnswer();  // for IDs the scenario does not name
    std::chrono::milliseconds defaultLatency{0};
    std::vector<ScenarioEvent> events;
    // The user actions to play, as written under "automation" (path "automation"); the host reads them.
    std::optional<JsonField> automation;
};

// The name a scenario read from the program's own resources gives as its file.
inline constexpr const char* kBuiltInScenarioFile = "(built-in)";

// Turns plain JSON (as parseJson reads it) into the typed values of a service answer, reading the
// tagged objects {"$double": ...}, {"$unsigned": ...}, {"$date": ...} and {"$record": ...}.
// file and place (the JSON path of json) name the value in errors. Throws ScenarioError.
Value typedValueFromJson(const Value& json, const QString& file, const QString& place);

// Reads a scenario from JSON text; file names the source in error messages. Throws ScenarioError.
Scenario parseScenario(const QByteArray& json, const QString& file);
// Reads the scenario file at path. Throws ScenarioError (also for a file that cannot be read).
Scenario loadScenarioFile(const QString& path);
// The built-in default scenario (a home set-up; also shipped as scenarios/default.json).
Scenario builtInScenario();
// The bytes of the scenario (or automation) file at path, at most 16 MiB. Throws ScenarioError.
QByteArray readScenarioFileBytes(const QString& path);

}  // namespace platform::sim
