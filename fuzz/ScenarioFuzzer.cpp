// Fuzzes the scenario reader on whole files (parseScenario) and, through it and directly,
// typedValueFromJson, the reader of the typed values in a test answer's info. Every input must
// give a scenario or a ScenarioError naming the file and saying why. A scenario read must hold
// only what the format allows (latencies, device counts and event times in range, answer lists
// never empty), its typed values must be writable as JSON that reads back, and the simulated
// service built from it must hand out its answers in order, the last one repeating. Plain JSON
// without tagged objects must read as the same value through typedValueFromJson.
#include "fuzz/FuzzSupport.h"
#include "platform/foundation/Json.h"
#include "platform/foundation/JsonReader.h"
#include "platform/wifi/sim/Scenario.h"
#include "platform/wifi/sim/SimBackend.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <vector>

using fuzzsupport::excerpt;
using fuzzsupport::require;
using fuzzsupport::requireReadsBackAsJson;
using platform::Value;
using platform::sim::Scenario;
using platform::sim::ScenarioError;
using platform::sim::TestAnswer;

namespace {

const QString kFile = QStringLiteral("fuzz.json");
constexpr std::int64_t kMaxLatencyMs = 600000;
constexpr std::int64_t kMaxEventTimeMs = 86400000;
// How many test IDs of one scenario are asked of the simulated service.
constexpr std::size_t kAskedIDs = 8;

void checkError(const ScenarioError& error, const QByteArray& input) {
    require(error.file() == kFile, "a scenario error names the file", QString::fromUtf8(error.what()));
    require(!error.why().isEmpty(), "a scenario error says why", excerpt(input));
    require(QString::fromUtf8(error.what()).startsWith(kFile + QStringLiteral(": ")),
            "a scenario error's message starts with the file", QString::fromUtf8(error.what()));
}

// Whether value holds a dictionary with a key that starts with '$' (a tagged object).
bool holdsTag(const Value& value) {
    if (value.kind() == Value::Kind::Array) {
        for (const Value& element : *value.toArray()) {
            if (holdsTag(element)) {
                return true;
            }
        }
    } else if (value.kind() == Value::Kind::Dictionary) {
        for (const auto& [key, element] : value.toDictionary()->entries()) {
            if (key.startsWith(QLatin1Char('$')) || holdsTag(element)) {
                return true;
            }
        }
    }
    return false;
}

void checkLatency(const std::optional<std::chrono::milliseconds>& latency) {
    require(!latency || (latency->count() >= 0 && latency->count() <= kMaxLatencyMs),
            "a latency lies within 0 to 600000 ms", QString::number(latency ? latency->count() : 0));
}

void checkAnswer(const TestAnswer& answer) {
    checkLatency(answer.latency);
    if (!answer.results) {
        return;
    }
    for (const auto& result : *answer.results) {
        if (result && result->info) {
            requireReadsBackAsJson(platform::toJson(Value::dictionary(result->info)),
                                   "an answer's info is writable as JSON");
        }
    }
}

void checkAnswers(const std::map<std::int64_t, std::vector<TestAnswer>>& tests) {
    for (const auto& [id, answers] : tests) {
        require(id >= 0, "a test ID is not negative", QString::number(id));
        require(!answers.empty(), "a test ID has at least one answer", QString::number(id));
        for (const TestAnswer& answer : answers) {
            checkAnswer(answer);
        }
    }
}

void checkScenario(const Scenario& s) {
    require(s.file == kFile, "a scenario keeps its file name", s.file);
    require(s.defaultLatency.count() >= 0 && s.defaultLatency.count() <= kMaxLatencyMs,
            "the scenario's latency lies within 0 to 600000 ms", QString::number(s.defaultLatency.count()));
    require(s.device.devices >= 0 && s.device.devices <= 64, "the device count lies within 0 to 64",
            QString::number(s.device.devices));
    require(!s.status.empty(), "the status query has at least one answer");
    for (const auto& status : s.status) {
        checkLatency(status.latency);
    }
    checkAnswers(s.tests);
    for (const auto& [name, tests] : s.networkTests) {
        checkAnswers(tests);
    }
    checkAnswer(s.defaultAnswer);
    for (const auto& event : s.events) {
        require(event.at.count() >= 0 && event.at.count() <= kMaxEventTimeMs,
                "an event's time lies within 0 to 86400000 ms", QString::number(event.at.count()));
        require(event.wifiPower.has_value(), "an event sets the power");
    }
    if (s.automation) {
        require(s.automation->path() == QStringLiteral("automation"),
                "the user actions are kept as written, with their place", s.automation->path());
    }
}

// The scenario without any latency, so the simulated service answers at once.
Scenario withoutLatencies(Scenario s) {
    s.defaultLatency = std::chrono::milliseconds(0);
    for (auto& status : s.status) {
        status.latency.reset();
    }
    auto clear = [](std::map<std::int64_t, std::vector<TestAnswer>>& tests) {
        for (auto& [id, answers] : tests) {
            for (TestAnswer& answer : answers) {
                answer.latency.reset();
            }
        }
    };
    clear(s.tests);
    for (auto& [name, tests] : s.networkTests) {
        clear(tests);
    }
    s.defaultAnswer.latency.reset();
    return s;
}

bool sameAnswer(const platform::DiagnosticsTestResults& results, const platform::ErrorRef& error,
                const TestAnswer& expected) {
    return results == expected.results && error == expected.error;
}

// Asks the simulated service for the first test IDs, each once more than it has answers, and the
// status query once more than it has answers: the answers must come in order, the last repeating.
void askService(const Scenario& scenario) {
    platform::sim::SimBackend backend(withoutLatencies(scenario));
    const Scenario& s = backend.scenario();
    std::size_t asked = 0;
    for (const auto& [id, answers] : s.tests) {
        if (asked++ == kAskedIDs) {
            break;
        }
        const std::vector<platform::DiagnosticsTestRequest> request = {
            platform::DiagnosticsTestRequest::requestWithTestID(id, platform::Dictionary::make())};
        for (std::size_t call = 0; call <= answers.size(); ++call) {
            platform::ErrorRef error;
            const auto results = backend.runDiagnosticsTests(request, &error);
            const TestAnswer& expected = answers[std::min(call, answers.size() - 1)];
            require(sameAnswer(results, error, expected), "the service gives a test ID's answers in order",
                    QStringLiteral("test ID %1, call %2").arg(id).arg(call));
        }
    }
    for (std::size_t call = 0; call <= s.status.size(); ++call) {
        platform::ErrorRef error;
        const platform::StatusSnapshotRef snapshot = backend.queryStatus(&error);
        const auto& expected = s.status[std::min(call, s.status.size() - 1)];
        using Kind = platform::sim::StatusAnswer::Kind;
        switch (expected.kind) {
            case Kind::Error:
                require(error == expected.error, "a status error answer gives its error");
                break;
            case Kind::NoWiFiStatus:
                require(!error && snapshot && !snapshot->wifi,
                        "a status answer without Wi-Fi status has none");
                break;
            case Kind::NotJoined:
                require(!error && snapshot && snapshot->wifi && !snapshot->wifi->ssidString,
                        "a status answer that is not joined names no network");
                break;
            case Kind::Joined:
                require(!error && snapshot && snapshot->wifi && snapshot->wifi->ssidString == expected.ssid &&
                            snapshot->wifi->bssid == expected.bssid,
                        "a joined status answer names its network", expected.ssid);
                break;
        }
    }
}

void fuzzTypedValue(const QByteArray& input) {
    const std::optional<Value> json = platform::tryParseJson(input);
    if (!json) {
        return;
    }
    try {
        const Value typed = platform::sim::typedValueFromJson(*json, kFile, QStringLiteral("info"));
        requireReadsBackAsJson(platform::toJson(typed), "a typed value is writable as JSON");
        if (!holdsTag(*json)) {
            require(typed == *json, "plain JSON reads as the same value", excerpt(input));
        }
    } catch (const ScenarioError& error) {
        checkError(error, input);
        require(error.place().startsWith(QStringLiteral("info")), "a typed value's error points into it",
                QString::fromUtf8(error.what()));
    }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    fuzzsupport::startQt();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const QByteArray input(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    fuzzTypedValue(input);
    std::optional<Scenario> scenario;
    try {
        scenario = platform::sim::parseScenario(input, kFile);
    } catch (const ScenarioError& error) {
        checkError(error, input);
        return 0;
    }
    checkScenario(*scenario);
    askService(*scenario);
    return 0;
}
