// A thousand diagnostics one after another in one process, against the simulated service: both
// modes, every way a run ends, and teardowns in the middle of runs. Nothing may crash, no platform
// handle may stay held, and memory must stay flat (leaks are the address-checked build's part).
#include "platform/foundation/Dispatch.h"
#include "platform/wifi/WiFiManager.h"
#include "platform/wifi/sim/Scenario.h"
#include "unittests/diagnostic/DiagnosticHarness.h"
#include "unittests/support/MainLoop.h"
#include "wifiprofile/resources/Strings.h"

#include <QFile>

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>

namespace {

using testsupport::DiagnosticHarness;
using testsupport::parameters;
using namespace std::chrono_literals;

#if defined(__SANITIZE_ADDRESS__)
constexpr bool kAddressChecked = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
constexpr bool kAddressChecked = true;
#else
constexpr bool kAddressChecked = false;
#endif
#else
constexpr bool kAddressChecked = false;
#endif

// The built-in home set-up without its answer latencies: realistic answers, at full speed.
platform::sim::Scenario quickHome() {
    auto scenario = platform::sim::builtInScenario();
    scenario.defaultLatency = 0ms;
    for (auto& [id, answers] : scenario.tests) {
        for (auto& a : answers) {
            a.latency.reset();
        }
    }
    for (auto& [network, tests] : scenario.networkTests) {
        for (auto& [id, answers] : tests) {
            for (auto& a : answers) {
                a.latency.reset();
            }
        }
    }
    for (auto& s : scenario.status) {
        s.latency.reset();
    }
    return scenario;
}

platform::sim::Scenario joinedTo(const QString& ssid, bool power = true) {
    auto scenario = quickHome();
    for (auto& s : scenario.status) {
        s.kind = platform::sim::StatusAnswer::Kind::Joined;
        s.ssid = ssid;
    }
    scenario.device.power = power;
    return scenario;
}

// The fourth test of every run (17, the fourth device test) waits until it is cancelled, so that
// a power change or a teardown lands in the middle of the run, however slow the machine.
platform::sim::Scenario blockedAtTheFourthTest(platform::sim::Scenario scenario) {
    auto& answers = scenario.tests[17];
    if (answers.empty()) {
        answers.push_back(scenario.defaultAnswer);
    }
    for (auto& a : answers) {
        a.latency = 600s;
    }
    return scenario;
}

// Runs the main loop until the fourth test has been asked for: from then on it waits, and a cancel
// ends the wait (one asked for after a cancel would wait its full time).
bool waitingAtTheFourthTest(DiagnosticHarness& h) {
    return testsupport::runMainLoopUntil([&] { return h.testRequests().size() >= 4; });
}

bool tapAlertButton(DiagnosticHarness& h, const char* key) {
    const auto alert = h.controller->presentedViewController();
    if (!alert) {
        return false;
    }
    for (std::size_t i = 0; i < alert->actions().size(); ++i) {
        if (alert->actions()[i]->title() == wifiprofile::localizedString(key)) {
            return alert->tapAction(i);
        }
    }
    return false;
}

// One way a run goes: its scenario and parameters, what the driver does, the finishes expected.
struct Case {
    const char* name;
    std::function<platform::sim::Scenario()> scenario;
    platform::DictionaryRef params;
    std::function<bool(DiagnosticHarness&)> drive;
    std::vector<std::int64_t> finishes;
};

std::vector<Case> cases() {
    const auto finishOnce = [](DiagnosticHarness& h) { return h.startAndWaitForFinish(); };
    const auto listShown = [](DiagnosticHarness& h) {
        h.controller->start();
        return h.waitUntilIdle();
    };
    return {
        {"direct", [] { return quickHome(); }, parameters(60, false), finishOnce, {0}},
        {"direct with a selected network",
         [] { return quickHome(); },
         parameters(60, false, QStringLiteral("Willowbrook-Guest")),
         finishOnce,
         {0}},
        {"joined network ends in _nomap",
         [] { return joinedTo(QStringLiteral("Home_nomap")); },
         parameters(60, false, QStringLiteral("Willowbrook-Guest")),
         finishOnce,
         {-6}},
        {"selected network ends in _nomap",
         [] { return quickHome(); },
         parameters(60, false, QStringLiteral("Lab_nomap")),
         finishOnce,
         {-7}},
        {"no manager",
         [] {
             auto s = quickHome();
             s.device.managerClient = false;
             return s;
         },
         parameters(60, true),
         finishOnce,
         {-2}},
        {"no device",
         [] {
             auto s = quickHome();
             s.device.devices = 0;
             return s;
         },
         parameters(60, true),
         finishOnce,
         {-3}},
        {"power declined",
         [] { return joinedTo(QStringLiteral("Home"), false); },
         parameters(60, true),
         [](DiagnosticHarness& h) {
             h.controller->start();
             return tapAlertButton(h, "NO") && h.waitForFinishes(1);
         },
         {-4}},
        {"power off while the list is shown",
         [] { return joinedTo(QStringLiteral("Home")); },
         parameters(60, true),
         [listShown](DiagnosticHarness& h) {
             if (!listShown(h)) {
                 return false;
             }
             h.backend->setPower(false);
             return h.waitForFinishes(1);
         },
         {-5}},
        {"power accepted, then NEXT",
         [] { return joinedTo(QStringLiteral("Home"), false); },
         parameters(60, true),
         [](DiagnosticHarness& h) {
             h.controller->start();
             if (!tapAlertButton(h, "YES") || !h.waitUntilIdle()) {
                 return false;
             }
             h.controller->navigationItem->rightBarButtonItem()->tap();
             return h.waitForFinishes(1);
         },
         {0}},
        {"power off during the tests",
         [] { return blockedAtTheFourthTest(joinedTo(QStringLiteral("Home"))); },
         parameters(60, true),
         [listShown](DiagnosticHarness& h) {
             if (!listShown(h)) {
                 return false;
             }
             h.controller->nextTapped(nullptr);
             if (!waitingAtTheFourthTest(h)) {
                 return false;
             }
             h.backend->setPower(false);  // ends with -5, whose clean-up cancels the waiting test
             return h.waitForFinishes(2);
         },
         {-5, 0}},
        {"teardown in the middle of the tests",
         [] { return blockedAtTheFourthTest(quickHome()); },
         parameters(60, false),
         [](DiagnosticHarness& h) {
             h.controller->start();
             if (!waitingAtTheFourthTest(h)) {
                 return false;
             }
             // The host cancels: the request under way fails, the job goes on and still ends.
             h.controller->teardown();
             return h.waitForFinishes(1);
         },
         {0}},
        {"teardown while the power alert shows",
         [] { return joinedTo(QStringLiteral("Home"), false); },
         parameters(60, true),
         [](DiagnosticHarness& h) {
             h.controller->start();
             if (h.controller->presentedViewController() == nullptr) {
                 return false;
             }
             h.controller->teardown();  // the handles go; nothing ends the run
             return true;
         },
         {}},
    };
}

// The process's resident memory and its high-water mark, in kB, from /proc/self/status.
struct Memory {
    long rssKb = -1;
    long peakKb = -1;
};

Memory memory() {
    Memory m;
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly)) {
        return m;
    }
    for (const QByteArray& line : status.readAll().split('\n')) {
        const QList<QByteArray> fields = line.simplified().split(' ');
        if (fields.size() >= 2 && fields[0] == "VmRSS:") {
            m.rssKb = fields[1].toLong();
        } else if (fields.size() >= 2 && fields[0] == "VmHWM:") {
            m.peakKb = fields[1].toLong();
        }
    }
    return m;
}

int runCount() {
    const char* runs = std::getenv("WIFIPROFILE_SOAK_RUNS");
    return runs ? std::max(100, std::atoi(runs)) : 1000;
}

}  // namespace

TEST(Soak, AThousandDiagnosticsInOneProcessLeaveNothingBehind) {
    // The fixed pauses (the end comes 0.5 s after the last test) are shortened a hundredfold.
    platform::dispatch::setDelayScale(0.01);
    const std::vector<Case> all = cases();
    const int runs = runCount();
    Memory after100;
    for (int run = 1; run <= runs; ++run) {
        const Case& c = all[static_cast<std::size_t>(run) % all.size()];
        {
            DiagnosticHarness h(c.scenario(), c.params);
            ASSERT_TRUE(h.parametersValid) << "run " << run << " (" << c.name << ")";
            ASSERT_TRUE(c.drive(h)) << "run " << run << " (" << c.name << ") did not get where it should";
            ASSERT_TRUE(h.waitUntilIdle()) << "run " << run << " (" << c.name << ")";
            ASSERT_EQ(h.finishes(), c.finishes) << "run " << run << " (" << c.name << ")";
        }  // the host's teardown, and the wait for the diagnostic's work to drain
        const platform::HandleReport handles = platform::handleReport();
        ASSERT_EQ(handles.live, 0) << "run " << run << " (" << c.name << ") left a handle held";
        ASSERT_EQ(handles.overReleases, 0) << "run " << run << " (" << c.name << ")";
        if (run == 100) {
            after100 = memory();
        }
    }
    const Memory atEnd = memory();
    std::printf(
        "soak: %d runs; after run 100: peak %ld kB, resident %ld kB; after run %d: peak %ld kB, "
        "resident %ld kB\n",
        runs, after100.peakKb, after100.rssKb, runs, atEnd.peakKb, atEnd.rssKb);
    ASSERT_GT(after100.peakKb, 0);
    if (kAddressChecked) {
        // The address checker keeps freed memory in quarantine, so its peak grows by design; this
        // build checks for leaks at exit instead.
        return;
    }
    EXPECT_LE(static_cast<double>(atEnd.peakKb), 1.10 * static_cast<double>(after100.peakKb));
}
