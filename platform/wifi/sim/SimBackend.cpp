#include "platform/wifi/sim/SimBackend.h"

#include "platform/foundation/Dispatch.h"

#include <algorithm>
#include <cerrno>
#include <condition_variable>
#include <mutex>

namespace platform::sim {

// One startEvents: the events in the order they apply, and how many have applied.
struct EventRun {
    std::vector<ScenarioEvent> events;
    std::size_t next = 0;
    std::uint64_t epoch = 0;  // the run is live while it matches State::eventsEpoch
};

struct SimBackend::State {
    std::mutex mutex;
    std::condition_variable cancelled;
    std::uint64_t cancelGeneration = 0;  // bumped by every cancelAllRequests
    std::uint64_t eventsEpoch = 0;       // bumped by stopEvents and startEvents
    bool power = true;
    std::size_t statusCalls = 0;
    std::map<std::int64_t, std::size_t> testCalls;
    std::map<std::pair<QString, std::int64_t>, std::size_t> networkTestCalls;

    // Waits for latency unless a cancel after generation comes first; answers whether it was
    // cancelled. Called with lock held on mutex.
    bool waitLatency(std::unique_lock<std::mutex>& lock, std::chrono::milliseconds latency,
                     std::uint64_t generation) {
        if (latency <= std::chrono::milliseconds::zero()) {
            return false;
        }
        const auto deadline = std::chrono::steady_clock::now() + latency;
        return cancelled.wait_until(lock, deadline, [&] { return cancelGeneration != generation; });
    }

    // Applies the events of run up to and including index that have not applied yet; answers how
    // many power changes they made. Called with lock held on mutex.
    int applyEventsThrough(EventRun& run, std::size_t index) {
        int changes = 0;
        if (run.epoch != eventsEpoch) {
            return 0;
        }
        for (; run.next <= index && run.next < run.events.size(); ++run.next) {
            const ScenarioEvent& event = run.events[run.next];
            if (event.wifiPower && *event.wifiPower != power) {
                power = *event.wifiPower;
                ++changes;
            }
        }
        return changes;
    }
};

namespace {

// The answer at position calls of answers, the last one repeating.
template <class T>
const T& successive(const std::vector<T>& answers, std::size_t calls) {
    return answers[std::min(calls, answers.size() - 1)];
}

}  // namespace

SimBackend::SimBackend(Scenario scenario)
    : scenario_(std::move(scenario)), state_(std::make_shared<State>()) {
    state_->power = scenario_.device.power;
}

SimBackend::~SimBackend() {
    stopEvents();
}

ErrorRef SimBackend::cancelledError() {
    return makeError(QStringLiteral("WiFiDiagnostics"), ECANCELED,
                     QStringLiteral("the request was cancelled"));
}

// The network a request is about: the configuration's "NetworkName", when it is a string.
std::optional<QString> SimBackend::networkNameOf(const DiagnosticsTestRequest& request) {
    const auto name =
        request.configuration ? request.configuration->value(QStringLiteral("NetworkName")) : std::nullopt;
    return name && name->isString() ? std::optional<QString>(name->toString()) : std::nullopt;
}

// The answer for the next call of test id: from the named network's answers when it names the
// ID, else from the scenario's tests, else the default. Called with the state's lock held.
TestAnswer SimBackend::nextAnswer(std::int64_t id, const std::optional<QString>& network) {
    if (network) {
        const auto answers = scenario_.networkTests.find(*network);
        if (answers != scenario_.networkTests.end()) {
            const auto named = answers->second.find(id);
            if (named != answers->second.end()) {
                return successive(named->second, state_->networkTestCalls[{*network, id}]++);
            }
        }
    }
    const auto named = scenario_.tests.find(id);
    if (named == scenario_.tests.end()) {
        return scenario_.defaultAnswer;
    }
    return successive(named->second, state_->testCalls[id]++);
}

DiagnosticsTestResults SimBackend::runDiagnosticsTests(const std::vector<DiagnosticsTestRequest>& tests,
                                                       ErrorRef* error, const Arrival& arrived) {
    std::unique_lock lock(state_->mutex);
    if (tests.empty()) {
        lock.unlock();
        if (arrived) {
            arrived();
        }
        if (error) {
            *error = nullptr;
        }
        return std::vector<DiagnosticsTestResultRef>{};  // nothing asked, nothing answered
    }
    // Only the first request decides the answer: every run of the diagnostic sends one.
    const std::int64_t id = tests.front().testID;
    const TestAnswer answer = nextAnswer(id, networkNameOf(tests.front()));
    const std::uint64_t generation = state_->cancelGeneration;
    if (arrived) {
        lock.unlock();
        arrived();
        lock.lock();
    }
    const bool wasCancelled =
        state_->waitLatency(lock, answer.latency.value_or(scenario_.defaultLatency), generation);
    lock.unlock();
    if (wasCancelled) {
        if (error) {
            *error = cancelledError();
        }
        return std::nullopt;
    }
    if (error) {
        *error = answer.error;
    }
    return answer.results;
}

StatusSnapshotRef SimBackend::queryStatus(ErrorRef* error, const Arrival& arrived) {
    std::unique_lock lock(state_->mutex);
    const StatusAnswer answer =
        scenario_.status.empty() ? StatusAnswer{} : successive(scenario_.status, state_->statusCalls);
    ++state_->statusCalls;
    const std::uint64_t generation = state_->cancelGeneration;
    if (arrived) {
        lock.unlock();
        arrived();
        lock.lock();
    }
    const bool wasCancelled =
        state_->waitLatency(lock, answer.latency.value_or(scenario_.defaultLatency), generation);
    lock.unlock();
    if (error) {
        *error = nullptr;
    }
    if (wasCancelled) {
        if (error) {
            *error = cancelledError();
        }
        return nullptr;
    }
    auto snapshot = std::make_shared<StatusSnapshot>();
    switch (answer.kind) {
        case StatusAnswer::Kind::Joined:
            snapshot->wifi = std::make_shared<const WiFiStatus>(WiFiStatus{answer.ssid, answer.bssid});
            break;
        case StatusAnswer::Kind::NotJoined:
            snapshot->wifi = std::make_shared<const WiFiStatus>();
            break;
        case StatusAnswer::Kind::NoWiFiStatus:
            break;
        case StatusAnswer::Kind::Error:
            if (error) {
                *error = answer.error;
            }
            return nullptr;
    }
    return snapshot;
}

void SimBackend::cancelAllRequests() {
    std::lock_guard lock(state_->mutex);
    ++state_->cancelGeneration;
    state_->cancelled.notify_all();
}

bool SimBackend::containsWiFiRadio() {
    return scenario_.device.wifiRadio;
}

bool SimBackend::managerClientAvailable() {
    return scenario_.device.managerClient;
}

int SimBackend::deviceCount() {
    return scenario_.device.devices;
}

bool SimBackend::power() {
    std::lock_guard lock(state_->mutex);
    return state_->power;
}

void SimBackend::setPower(bool on) {
    bool changed = false;
    {
        std::lock_guard lock(state_->mutex);
        changed = state_->power != on;
        state_->power = on;
    }
    if (changed) {
        notifyWiFiPowerChanged();
    }
}

bool SimBackend::capability(const QString& key) {
    const auto it = scenario_.device.capabilities.find(key);
    return it != scenario_.device.capabilities.end() && it->second;
}

void SimBackend::startEvents() {
    auto run = std::make_shared<EventRun>();
    run->events = scenario_.events;
    std::stable_sort(run->events.begin(), run->events.end(),
                     [](const ScenarioEvent& a, const ScenarioEvent& b) { return a.at < b.at; });
    {
        std::lock_guard lock(state_->mutex);
        run->epoch = ++state_->eventsEpoch;
    }
    for (std::size_t i = 0; i < run->events.size(); ++i) {
        // Each job applies every event up to its own that has not applied yet, so that events
        // keep their order even when two workers run their jobs out of order.
        dispatch::asyncAfter(
            dispatch::globalQueue(), run->events[i].at,
            [state = state_, run, i] {
                int changes = 0;
                {
                    std::lock_guard lock(state->mutex);
                    changes = state->applyEventsThrough(*run, i);
                }
                for (int n = 0; n < changes; ++n) {
                    notifyWiFiPowerChanged();
                }
            },
            /*countsAsActivity=*/false);
    }
}

void SimBackend::stopEvents() {
    std::lock_guard lock(state_->mutex);
    ++state_->eventsEpoch;
}

}  // namespace platform::sim
