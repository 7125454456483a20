// A whole direct-mode run of all 56 tests against a simulated service that answers at once. The
// timed part runs from start() until the last progress update has reached the progress bar and
// only the run's end is left waiting on its fixed 0.5 s timer, so the figure is the run's own
// overhead: status query, progress screen, 56 requests with their result writing, and progress.
#include "platform/foundation/Dispatch.h"
#include "unittests/diagnostic/DiagnosticHarness.h"
#include "unittests/support/MainLoop.h"

#include <QApplication>
#include <QCoreApplication>

#include <benchmark/benchmark.h>

namespace {

using testsupport::DiagnosticHarness;

// Every test answers with a finding and details, so every write path of the run is taken.
platform::sim::Scenario richScenario() {
    auto scenario = platform::sim::builtInScenario();
    scenario.defaultLatency = std::chrono::milliseconds(0);
    for (auto& [id, answers] : scenario.tests) {
        for (auto& a : answers) {
            a.latency = std::chrono::milliseconds(0);
        }
    }
    for (auto& status : scenario.status) {
        status.latency = std::chrono::milliseconds(0);
    }
    return scenario;
}

bool onlyTheEndIsLeft(const DiagnosticHarness& h) {
    const auto activity = platform::dispatch::activity();
    return h.controller->completedTests == 56 && activity.mainPending == 0 && activity.globalPending == 0 &&
           activity.delayedPending == 1;
}

void BM_FullRunOf56Tests(benchmark::State& state) {
    const platform::sim::Scenario scenario = richScenario();
    for (auto _ : state) {
        state.PauseTiming();
        auto h =
            std::make_unique<DiagnosticHarness>(scenario, testsupport::parameters(60, false, "Attic-Guest"));
        state.ResumeTiming();
        h->controller->start();
        while (!onlyTheEndIsLeft(*h)) {
            QCoreApplication::processEvents();
        }
        state.PauseTiming();
        if (h->controller->totalTests != 56 || !h->waitForFinishes(1)) {
            state.SkipWithError("the run did not profile 56 tests and end");
        }
        h.reset();
        state.ResumeTiming();
    }
}
BENCHMARK(BM_FullRunOf56Tests)->Unit(benchmark::kMillisecond)->Iterations(20);

}  // namespace

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
