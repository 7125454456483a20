// The simulated Wi-Fi device: answers from a scenario, latency and cancel, request recording,
// power changes delivered to the Wi-Fi manager's callbacks, handle accounting.
#include "platform/foundation/DeviceCapability.h"
#include "platform/foundation/Dispatch.h"
#include "platform/wifi/RecordingBackend.h"
#include "platform/wifi/RunLoop.h"
#include "platform/wifi/WiFiBackend.h"
#include "platform/wifi/WiFiManager.h"
#include "platform/wifi/sim/SimBackend.h"
#include "unittests/support/MainLoop.h"
#include "unittests/support/PowerWatch.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <future>
#include <thread>

using namespace platform;
using namespace platform::sim;
using namespace std::chrono_literals;
using testsupport::ManagerSetup;

namespace {

Scenario parse(const char* json) {
    return parseScenario(QByteArray(json), QStringLiteral("test.json"));
}

DiagnosticsTestRequest request(std::int64_t id, DictionaryRef configuration = nullptr) {
    return DiagnosticsTestRequest::requestWithTestID(id, std::move(configuration));
}

// Runs one test through the shared client, as the diagnostic does.
struct Outcome {
    DiagnosticsTestResults results;
    ErrorRef error;
};
Outcome runTest(std::int64_t id, DictionaryRef configuration = nullptr) {
    Outcome o;
    o.results = WiFiDiagnosticsClient::sharedClient()->runDiagnosticsTests(
        {request(id, std::move(configuration))}, nullptr, nullptr, &o.error);
    return o;
}

DictionaryRef naming(const char* network) {
    return Dictionary::make(
        {{"MaxScanCacheAge", Value::integer(60)}, {"NetworkName", Value::string(network)}});
}

bool firstResult(const Outcome& o) {
    return o.results && !o.results->empty() && o.results->front() && o.results->front()->result;
}

template <class Clock = std::chrono::steady_clock>
std::chrono::milliseconds elapsedSince(typename Clock::time_point start) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start);
}

class SimBackendTest : public ::testing::Test {
  protected:
    // Installs the simulated device behind a recorder, as the host does.
    std::shared_ptr<SimBackend> install(const char* json) {
        backend_ = std::make_shared<SimBackend>(parse(json));
        recorder_ = std::make_shared<RecordingBackend>(backend_);
        installWiFiBackend(recorder_);
        return backend_;
    }
    void TearDown() override {
        installWiFiBackend(nullptr);
        if (backend_) {
            backend_->stopEvents();
            backend_->cancelAllRequests();
        }
        backend_.reset();
        recorder_.reset();
    }
    std::shared_ptr<SimBackend> backend_;
    std::shared_ptr<RecordingBackend> recorder_;
};

}  // namespace

// ----- answers ---------------------------------------------------------------------------------

TEST_F(SimBackendTest, SuccessiveAnswersThenTheLastRepeats) {
    install(R"({"tests": {"16": [{"result": true, "didPass": true},
                                  {"error": {"code": 5, "text": "timed out"}},
                                  {"result": false, "didPass": false}]}})");
    const Outcome first = runTest(16);
    EXPECT_EQ(first.error, nullptr);
    EXPECT_TRUE(firstResult(first));
    const Outcome second = runTest(16);
    ASSERT_NE(second.error, nullptr);
    EXPECT_EQ(second.error->code, 5);
    EXPECT_FALSE(second.results.has_value());
    for (int i = 0; i < 3; ++i) {
        const Outcome later = runTest(16);
        EXPECT_EQ(later.error, nullptr);
        ASSERT_TRUE(later.results.has_value());
        EXPECT_FALSE(later.results->front()->result);
        EXPECT_FALSE(later.results->front()->didPass);
    }
}

TEST_F(SimBackendTest, ANamedNetworkAnswersTheIDsItLists) {
    install(R"({"tests": {"34": {"result": false, "didPass": true}},
                "networks": {"Cafe": {"tests": {"34": {"result": true, "didPass": false}}}}})");
    EXPECT_TRUE(firstResult(runTest(34, naming("Cafe"))));
    EXPECT_FALSE(firstResult(runTest(34)));
}

TEST_F(SimBackendTest, NetworkNamesMatchExactly) {
    install(R"({"tests": {"34": {"result": false, "didPass": true}},
                "networks": {"Cafe": {"tests": {"34": {"result": true, "didPass": false}}}}})");
    EXPECT_FALSE(firstResult(runTest(34, naming("cafe"))));
    EXPECT_FALSE(firstResult(runTest(34, naming("Cafe "))));
    EXPECT_FALSE(firstResult(runTest(34, naming("CAFE"))));
    EXPECT_TRUE(firstResult(runTest(34, naming("Cafe"))));
}

TEST_F(SimBackendTest, OnlyAStringNetworkNameChoosesANetwork) {
    install(R"({"tests": {"34": {"result": false, "didPass": true}},
                "networks": {"5": {"tests": {"34": {"result": true, "didPass": false}}}}})");
    EXPECT_FALSE(firstResult(runTest(34, Dictionary::make({{"NetworkName", Value::integer(5)}}))));
    EXPECT_FALSE(firstResult(runTest(34, Dictionary::make({{"networkName", Value::string("5")}}))));
    EXPECT_FALSE(firstResult(runTest(34, Dictionary::make({}))));
    EXPECT_TRUE(firstResult(runTest(34, Dictionary::make({{"NetworkName", Value::string("5")}}))));
}

TEST_F(SimBackendTest, IDsANetworkDoesNotListKeepTheScenarioAnswers) {
    install(R"({"tests": {"16": {"result": true, "didPass": true}},
                "defaultAnswer": {"error": {"code": 45}},
                "networks": {"Cafe": {"tests": {"34": {"result": false, "didPass": true}}}}})");
    EXPECT_TRUE(firstResult(runTest(16, naming("Cafe"))));
    const Outcome unnamed = runTest(17, naming("Cafe"));
    ASSERT_NE(unnamed.error, nullptr);
    EXPECT_EQ(unnamed.error->code, 45);
    EXPECT_EQ(runTest(34, naming("Cafe")).error, nullptr);
}

TEST_F(SimBackendTest, ANetworkCanAnswerWithAnError) {
    install(R"({"tests": {"46": {"result": false, "didPass": true}},
                "networks": {"Cafe": {"tests": {"46": {"error": {"code": 12, "text": "not in the scan cache"}}}}}})");
    const Outcome o = runTest(46, naming("Cafe"));
    ASSERT_NE(o.error, nullptr);
    EXPECT_EQ(o.error->code, 12);
    EXPECT_FALSE(o.results.has_value());
    EXPECT_EQ(runTest(46).error, nullptr);
}

TEST_F(SimBackendTest, TwoNetworksCountTheirAnswersApart) {
    install(R"({"networks": {
                  "Cafe": {"tests": {"32": [{"result": true, "didPass": false}, {"result": false, "didPass": true}]}},
                  "Loft": {"tests": {"32": [{"result": true, "didPass": false}, {"result": false, "didPass": true}]}}}})");
    EXPECT_TRUE(firstResult(runTest(32, naming("Cafe"))));
    EXPECT_TRUE(firstResult(runTest(32, naming("Loft"))));
    EXPECT_FALSE(firstResult(runTest(32, naming("Cafe"))));
    EXPECT_FALSE(firstResult(runTest(32, naming("Cafe"))));  // the last answer repeats
    EXPECT_FALSE(firstResult(runTest(32, naming("Loft"))));
}

TEST_F(SimBackendTest, EachNetworkCountsItsOwnSuccessiveAnswers) {
    install(R"({"tests": {"34": [{"result": true, "didPass": true}, {"result": false, "didPass": true}]},
                "networks": {"Cafe": {"tests": {"34": [{"result": true, "didPass": true},
                                                        {"result": false, "didPass": true}]}}}})");
    EXPECT_TRUE(firstResult(runTest(34, naming("Cafe"))));
    EXPECT_TRUE(firstResult(runTest(34)));
    EXPECT_FALSE(firstResult(runTest(34, naming("Cafe"))));
    EXPECT_FALSE(firstResult(runTest(34)));
}

TEST_F(SimBackendTest, EachTestIDCountsItsOwnCalls) {
    install(R"({"tests": {"1": [{"result": true, "didPass": true}, {"result": false, "didPass": true}],
                          "2": [{"result": true, "didPass": true}, {"result": false, "didPass": true}]}})");
    EXPECT_TRUE(firstResult(runTest(1)));
    EXPECT_TRUE(firstResult(runTest(2)));
    EXPECT_FALSE(firstResult(runTest(1)));
    EXPECT_FALSE(firstResult(runTest(2)));
}

TEST_F(SimBackendTest, UnnamedIDsGetTheNeutralDefault) {
    install(R"({"tests": {"16": {"result": true, "didPass": false}}})");
    const Outcome o = runTest(99);
    EXPECT_EQ(o.error, nullptr);
    ASSERT_TRUE(o.results.has_value());
    ASSERT_EQ(o.results->size(), 1u);
    EXPECT_FALSE(o.results->front()->result);
    EXPECT_TRUE(o.results->front()->didPass);
    EXPECT_EQ(o.results->front()->info, nullptr);
}

TEST_F(SimBackendTest, UnnamedIDsGetTheScenarioDefault) {
    install(R"({"defaultAnswer": {"error": {"code": 45, "text": "not supported"}}})");
    const Outcome o = runTest(7);
    ASSERT_NE(o.error, nullptr);
    EXPECT_EQ(o.error->code, 45);
    EXPECT_EQ(o.error->description(), QStringLiteral("WiFiDiagnostics error 45: not supported"));
    EXPECT_FALSE(o.results.has_value());
}

TEST_F(SimBackendTest, OddResultShapesComeBackAsWritten) {
    install(R"({"tests": {"1": {"results": []}, "2": {"results": null}, "3": {"results": [null]},
                          "4": {"error": {"code": 0}, "results": [{"result": true, "didPass": true},
                                                                 {"result": false, "didPass": false}]}}})");
    const Outcome empty = runTest(1);
    ASSERT_TRUE(empty.results.has_value());
    EXPECT_TRUE(empty.results->empty());
    EXPECT_FALSE(runTest(2).results.has_value());
    const Outcome absentElement = runTest(3);
    ASSERT_EQ(absentElement.results->size(), 1u);
    EXPECT_EQ(absentElement.results->front(), nullptr);
    const Outcome zero = runTest(4);
    ASSERT_NE(zero.error, nullptr);
    EXPECT_EQ(zero.error->code, 0);
    ASSERT_EQ(zero.results->size(), 2u);
    EXPECT_TRUE(firstResult(zero));
}

TEST_F(SimBackendTest, OnlyTheFirstRequestChoosesTheAnswerButAllAreRecorded) {
    auto sim =
        install(R"({"tests": {"16": {"result": true, "didPass": true}, "17": {"error": {"code": 3}}}})");
    ErrorRef error;
    const auto results = WiFiDiagnosticsClient::sharedClient()->runDiagnosticsTests(
        {request(16), request(17)}, nullptr, nullptr, &error);
    EXPECT_EQ(error, nullptr);
    ASSERT_TRUE(results.has_value());
    EXPECT_TRUE(results->front()->result);
    EXPECT_EQ(recorder_->requestedTestIDs(), (std::vector<std::int64_t>{16, 17}));
    // The second request did not use up an answer of its ID.
    const Outcome later = runTest(17);
    EXPECT_EQ(later.error->code, 3);
}

TEST_F(SimBackendTest, NoRequestsNoAnswers) {
    auto sim = install(R"({"defaultAnswer": {"error": {"code": 1}}})");
    ErrorRef error = makeError("x", 9, "stale");
    const auto results = sim->runDiagnosticsTests({}, &error);
    EXPECT_EQ(error, nullptr);
    ASSERT_TRUE(results.has_value());
    EXPECT_TRUE(results->empty());
}

TEST_F(SimBackendTest, StatusAnswersInTurn) {
    install(R"({"status": [{"error": {"code": 16, "domain": "WiFiManager", "text": "busy"}},
                           {"ssid": "Home", "bssid": "aa:bb:cc:dd:ee:ff"},
                           {"joined": false},
                           {"wifi": null}]})");
    auto* client = WiFiDiagnosticsClient::sharedClient();
    ErrorRef error;
    EXPECT_EQ(client->queryStatusForPeer(nullptr, &error), nullptr);
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(error->domain, QStringLiteral("WiFiManager"));
    EXPECT_EQ(error->code, 16);

    const StatusSnapshotRef joined = client->queryStatusForPeer(nullptr, &error);
    EXPECT_EQ(error, nullptr);
    ASSERT_NE(joined, nullptr);
    ASSERT_NE(joined->wifi, nullptr);
    EXPECT_EQ(joined->wifi->ssidString, QStringLiteral("Home"));
    EXPECT_EQ(joined->wifi->bssid, QStringLiteral("aa:bb:cc:dd:ee:ff"));

    const StatusSnapshotRef notJoined = client->queryStatusForPeer(nullptr, &error);
    ASSERT_NE(notJoined->wifi, nullptr);
    EXPECT_FALSE(notJoined->wifi->ssidString.has_value());
    EXPECT_FALSE(notJoined->wifi->bssid.has_value());

    for (int i = 0; i < 2; ++i) {  // the last answer repeats
        const StatusSnapshotRef bare = client->queryStatusForPeer(nullptr, &error);
        EXPECT_EQ(error, nullptr);
        ASSERT_NE(bare, nullptr);
        EXPECT_EQ(bare->wifi, nullptr);
    }
}

TEST_F(SimBackendTest, ScenarioWithoutStatusIsNotJoined) {
    Scenario s;  // made in code: no status answers at all
    auto sim = std::make_shared<SimBackend>(s);
    ErrorRef error;
    const StatusSnapshotRef snapshot = sim->queryStatus(&error);
    EXPECT_EQ(error, nullptr);
    ASSERT_NE(snapshot, nullptr);
    ASSERT_NE(snapshot->wifi, nullptr);
    EXPECT_FALSE(snapshot->wifi->ssidString.has_value());
}

// ----- latency and cancel --------------------------------------------------------------------

TEST_F(SimBackendTest, DefaultLatencyAndPerAnswerOverride) {
    install(R"({"latencyMs": 10000, "tests": {"1": {"latencyMs": 0, "result": true, "didPass": true},
                                              "2": {"latencyMs": 60, "result": true, "didPass": true}}})");
    auto start = std::chrono::steady_clock::now();
    EXPECT_TRUE(firstResult(runTest(1)));
    EXPECT_LT(elapsedSince(start), 5000ms);  // not the scenario's 10 s
    start = std::chrono::steady_clock::now();
    EXPECT_TRUE(firstResult(runTest(2)));
    EXPECT_GE(elapsedSince(start), 60ms);
}

TEST_F(SimBackendTest, ScenarioLatencyDelaysTheAnswer) {
    install(R"({"latencyMs": 50, "status": {"ssid": "Home", "bssid": "x", "latencyMs": 30}})");
    auto start = std::chrono::steady_clock::now();
    runTest(3);
    EXPECT_GE(elapsedSince(start), 50ms);
    start = std::chrono::steady_clock::now();
    ErrorRef error;
    EXPECT_NE(WiFiDiagnosticsClient::sharedClient()->queryStatusForPeer(nullptr, &error), nullptr);
    EXPECT_GE(elapsedSince(start), 30ms);
}

TEST_F(SimBackendTest, CancelEndsARequestInProgressAtOnce) {
    auto sim = install(R"({"latencyMs": 10000, "tests": {"16": {"result": true, "didPass": true}}})");
    std::promise<void> arrived;
    recorder_->setRequestObserver([&](const RecordedRequest&) { arrived.set_value(); });
    const auto start = std::chrono::steady_clock::now();
    auto running = std::async(std::launch::async, [] { return runTest(16); });
    arrived.get_future().wait();
    WiFiDiagnosticsClient::sharedClient()->cancelAllRequests();
    const Outcome o = running.get();
    EXPECT_LT(elapsedSince(start), 5000ms);
    ASSERT_NE(o.error, nullptr);
    EXPECT_EQ(o.error->domain, QStringLiteral("WiFiDiagnostics"));
    EXPECT_EQ(o.error->code, ECANCELED);
    EXPECT_NE(o.error->code, 0);
    EXPECT_TRUE(o.error->text.contains(QStringLiteral("cancelled")));
    EXPECT_FALSE(o.results.has_value());
    EXPECT_EQ(o.error->description(), SimBackend::cancelledError()->description());
}

TEST_F(SimBackendTest, CancelEndsEveryWaitingRequestAndStatusQuery) {
    auto sim = install(R"({"latencyMs": 10000})");
    std::atomic<int> arrivals{0};
    recorder_->setRequestObserver([&](const RecordedRequest&) { ++arrivals; });
    const auto start = std::chrono::steady_clock::now();
    std::vector<std::future<Outcome>> tests;
    for (int i = 0; i < 3; ++i) {
        tests.push_back(std::async(std::launch::async, [i] { return runTest(20 + i); }));
    }
    auto status = std::async(std::launch::async, [] {
        ErrorRef error;
        const StatusSnapshotRef s =
            WiFiDiagnosticsClient::sharedClient()->queryStatusForPeer(nullptr, &error);
        return std::make_pair(s, error);
    });
    ASSERT_TRUE(testsupport::runMainLoopUntil([&] { return arrivals.load() == 4; }));
    sim->cancelAllRequests();
    for (auto& t : tests) {
        const Outcome o = t.get();
        ASSERT_NE(o.error, nullptr);
        EXPECT_EQ(o.error->code, ECANCELED);
        EXPECT_FALSE(o.results.has_value());
    }
    const auto [snapshot, error] = status.get();
    EXPECT_EQ(snapshot, nullptr);
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(error->code, ECANCELED);
    EXPECT_LT(elapsedSince(start), 5000ms);
}

TEST_F(SimBackendTest, ACancelDoesNotReachLaterRequests) {
    auto sim = install(R"({"latencyMs": 20, "tests": {"5": {"result": true, "didPass": true}}})");
    sim->cancelAllRequests();
    const Outcome o = runTest(5);
    EXPECT_EQ(o.error, nullptr);
    EXPECT_TRUE(firstResult(o));
}

// ----- recording -------------------------------------------------------------------------------

TEST_F(SimBackendTest, RecordsEveryRequestWithACopyOfItsConfiguration) {
    auto sim = install("{}");
    std::vector<RecordedRequest> observed;
    recorder_->setRequestObserver([&](const RecordedRequest& r) { observed.push_back(r); });
    auto configuration = Dictionary::make({{"MaxScanCacheAge", Value::integer(30)}});
    ErrorRef error;
    WiFiDiagnosticsClient::sharedClient()->runDiagnosticsTests({request(14, configuration)}, nullptr, nullptr,
                                                               &error);
    WiFiDiagnosticsClient::sharedClient()->queryStatusForPeer(nullptr, &error);
    runTest(31);
    configuration->set("NetworkName", Value::string("changed later"));

    const std::vector<RecordedRequest> recorded = recorder_->requests();
    ASSERT_EQ(recorded.size(), 3u);
    EXPECT_EQ(recorded[0].kind, RecordedRequest::Kind::Test);
    EXPECT_EQ(recorded[0].testID, 14);
    ASSERT_NE(recorded[0].configuration, nullptr);
    EXPECT_EQ(*recorded[0].configuration, *Dictionary::make({{"MaxScanCacheAge", Value::integer(30)}}));
    EXPECT_EQ(recorded[1].kind, RecordedRequest::Kind::Status);
    EXPECT_EQ(recorded[2].testID, 31);
    EXPECT_EQ(recorded[2].configuration, nullptr);
    EXPECT_EQ(recorder_->requestedTestIDs(), (std::vector<std::int64_t>{14, 31}));
    ASSERT_EQ(observed.size(), 3u);
    EXPECT_EQ(observed[1].kind, RecordedRequest::Kind::Status);
    EXPECT_EQ(observed[2].testID, 31);
}

TEST_F(SimBackendTest, ConcurrentCallersAndCancelsStayConsistent) {
    auto sim = install(R"({"latencyMs": 2, "tests": {"1": [{"result": true, "didPass": true},
                                                            {"result": false, "didPass": true}]}})");
    std::atomic<int> observed{0};
    recorder_->setRequestObserver([&](const RecordedRequest&) { ++observed; });
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([] {
            for (int i = 0; i < 25; ++i) {
                runTest(1);
                ErrorRef error;
                WiFiDiagnosticsClient::sharedClient()->queryStatusForPeer(nullptr, &error);
            }
        });
    }
    threads.emplace_back([&] {
        for (int i = 0; i < 50; ++i) {
            sim->cancelAllRequests();
            sim->setPower(i % 2 == 0);
            std::this_thread::yield();
        }
    });
    for (auto& t : threads) {
        t.join();
    }
    EXPECT_EQ(recorder_->requests().size(), 200u);
    EXPECT_EQ(observed.load(), 200);
    EXPECT_EQ(recorder_->requestedTestIDs().size(), 100u);
}

// ----- the device: radio, manager, capabilities --------------------------------------------------

TEST_F(SimBackendTest, DeviceDescriptionReachesTheManagerFunctions) {
    install(R"({"device": {"wifiRadio": false, "managerClient": false, "devices": 3, "power": false,
                           "capabilities": {"wapi": true, "nfc": false}}})");
    EXPECT_FALSE(containsWiFiRadio());
    EXPECT_EQ(createManagerClient(nullptr, 0), nullptr);
    EXPECT_TRUE(queryDeviceCapability("wapi"));
    EXPECT_FALSE(queryDeviceCapability("nfc"));
    EXPECT_FALSE(queryDeviceCapability("unknown"));
    EXPECT_EQ(backend_->deviceCount(), 3);
    EXPECT_FALSE(backend_->power());
}

TEST_F(SimBackendTest, SetPowerNotifiesTheCallbacksOnTheMainRunLoop) {
    auto sim = install(R"({"device": {"power": true}})");
    ManagerSetup setup;
    ASSERT_TRUE(setup.make());
    EXPECT_EQ(getPower(setup.manager), 1);

    setPower(setup.manager, 0);  // through the manager, as the diagnostic does
    EXPECT_FALSE(sim->power());
    ASSERT_TRUE(testsupport::runMainLoopUntil([&] { return setup.watch->calls.load() == 1; }));
    EXPECT_EQ(getPower(setup.manager), 0);

    sim->setPower(false);  // no change, no notification
    sim->setPower(true);
    ASSERT_TRUE(testsupport::runMainLoopUntil([&] { return setup.watch->calls.load() == 2; }));
    ASSERT_TRUE(testsupport::runMainLoopUntilIdle());
    EXPECT_EQ(setup.watch->calls.load(), 2);
    EXPECT_EQ(setup.watch->powers, (std::vector<int>{0, 1}));
    EXPECT_TRUE(setup.watch->onMainThread.load());
    setup.release();
}

TEST_F(SimBackendTest, TimedEventsChangePowerInOrder) {
    auto sim = install(R"({"device": {"power": true},
                           "events": [{"atMs": 40, "wifiPower": true},
                                      {"atMs": 20, "wifiPower": false},
                                      {"atMs": 40, "wifiPower": false},
                                      {"atMs": 40, "wifiPower": true}]})");
    ManagerSetup setup;
    ASSERT_TRUE(setup.make());
    const auto start = std::chrono::steady_clock::now();
    sim->startEvents();
    // Nothing happens before the first event's time (checked only when the read came early enough).
    const bool early = sim->power();
    if (elapsedSince(start) < 20ms) {
        EXPECT_TRUE(early);
    }
    // Off at 20 ms; at 40 ms on (a change), off, on: four changes in all, ending powered on.
    ASSERT_TRUE(testsupport::runMainLoopUntil([&] { return setup.watch->calls.load() == 4; }));
    EXPECT_GE(elapsedSince(start), 40ms);
    ASSERT_TRUE(testsupport::runMainLoopUntilIdle());
    EXPECT_EQ(setup.watch->calls.load(), 4);
    EXPECT_TRUE(sim->power());
    EXPECT_TRUE(setup.watch->onMainThread.load());
    setup.release();
}

TEST_F(SimBackendTest, StoppedEventsDoNothing) {
    auto sim = install(R"({"device": {"power": true}, "events": [{"atMs": 10, "wifiPower": false}]})");
    ManagerSetup setup;
    ASSERT_TRUE(setup.make());
    sim->startEvents();
    sim->stopEvents();
    ASSERT_TRUE(testsupport::runMainLoopUntilIdle());
    EXPECT_TRUE(sim->power());
    EXPECT_EQ(setup.watch->calls.load(), 0);
    setup.release();
}

TEST_F(SimBackendTest, EventsOutliveTheirBackendHarmlessly) {
    auto sim = std::make_shared<SimBackend>(parse(R"({"events": [{"atMs": 10, "wifiPower": false}]})"));
    sim->startEvents();
    sim.reset();
    EXPECT_TRUE(dispatch::waitForGlobalWork(10000ms));
    ASSERT_TRUE(testsupport::runMainLoopUntilIdle());
}

TEST_F(SimBackendTest, NoNotificationReachesAReleasedDevice) {
    auto sim = install(R"({"device": {"power": true}})");
    ManagerSetup setup;
    ASSERT_TRUE(setup.make());
    const auto watch = setup.watch;
    setup.release();
    sim->setPower(false);
    ASSERT_TRUE(testsupport::runMainLoopUntilIdle());
    EXPECT_EQ(watch->calls.load(), 0);
}

// ----- handle accounting -----------------------------------------------------------------------

TEST_F(SimBackendTest, HandlesAreCountedAndOverReleasesReported) {
    install(R"({"device": {"devices": 2}})");
    const HandleReport before = handleReport();

    WiFiManagerRef manager = createManagerClient(nullptr, 0);
    ASSERT_NE(manager, nullptr);
    WiFiDeviceArrayRef devices = copyDevices(manager);
    ASSERT_EQ(devices->count(), 2u);
    WiFiDeviceRef device = devices->at(0);
    retainHandle(device);
    releaseHandle(devices);

    HandleReport during = handleReport();
    EXPECT_EQ(during.created, before.created + 4);  // manager, two devices, the array
    EXPECT_EQ(during.live, before.live + 3);        // the array is gone
    EXPECT_EQ(during.overReleases, before.overReleases);

    releaseHandle(manager);  // also drops the manager's own references to its devices
    during = handleReport();
    EXPECT_EQ(during.live, before.live + 1);  // the device we retained
    bool listed = false;
    for (const QString& h : during.liveHandles) {
        listed |= h.startsWith(QStringLiteral("WiFiDevice #")) && h.endsWith(QStringLiteral("(1 reference)"));
    }
    EXPECT_TRUE(listed);

    releaseHandle(device);
    const HandleReport after = handleReport();
    EXPECT_EQ(after.live, before.live);
    EXPECT_EQ(after.overReleases, before.overReleases);

    releaseHandle(device);  // one too many
    releaseHandle(manager);
    const HandleReport over = handleReport();
    EXPECT_EQ(over.overReleases, before.overReleases + 2);
    EXPECT_EQ(over.live, before.live);
}

TEST_F(SimBackendTest, NoDevicesGivesAnEmptyArray) {
    install(R"({"device": {"devices": 0}})");
    const HandleReport before = handleReport();
    WiFiManagerRef manager = createManagerClient(nullptr, 0);
    ASSERT_NE(manager, nullptr);
    WiFiDeviceArrayRef devices = copyDevices(manager);
    EXPECT_EQ(devices->count(), 0u);
    releaseHandle(devices);
    releaseHandle(manager);
    const HandleReport after = handleReport();
    EXPECT_EQ(after.created, before.created + 2);
    EXPECT_EQ(after.live, before.live);
}

// ----- the built-in scenario ---------------------------------------------------------------------

TEST_F(SimBackendTest, BuiltInScenarioAnswersAsAJoinedHome) {
    backend_ = std::make_shared<SimBackend>(builtInScenario());
    installWiFiBackend(backend_);
    ErrorRef error;
    const StatusSnapshotRef status =
        WiFiDiagnosticsClient::sharedClient()->queryStatusForPeer(nullptr, &error);
    ASSERT_NE(status, nullptr);
    ASSERT_NE(status->wifi, nullptr);
    EXPECT_TRUE(status->wifi->ssidString.has_value());
    const Outcome scan = runTest(31);
    EXPECT_EQ(scan.error, nullptr);
    ASSERT_TRUE(scan.results.has_value());
    ASSERT_NE(scan.results->front()->info, nullptr);
    EXPECT_TRUE(scan.results->front()->info->contains("ScanResults"));
    EXPECT_TRUE(containsWiFiRadio());
    EXPECT_FALSE(queryDeviceCapability("wapi"));
}

TEST_F(SimBackendTest, BuiltInScenarioAnswersANearbyNetworkForItself) {
    backend_ = std::make_shared<SimBackend>(builtInScenario());
    installWiFiBackend(backend_);
    const auto signal = [](const Outcome& o) {
        return o.results && !o.results->empty() && o.results->front() && o.results->front()->info
                   ? o.results->front()->info->value(QStringLiteral("RSSI"))
                   : std::nullopt;
    };
    const auto joined = signal(runTest(32, Dictionary::make({{"MaxScanCacheAge", Value::integer(60)}})));
    const auto neighbour = signal(runTest(32, naming("Casa Moreno")));
    ASSERT_TRUE(joined.has_value());
    ASSERT_TRUE(neighbour.has_value());
    EXPECT_EQ(*joined, Value::integer(-54));
    EXPECT_EQ(*neighbour, Value::integer(-72));
    // A name the scenario has no answers for gets the joined network's.
    EXPECT_EQ(signal(runTest(32, naming("Apt 4B"))), joined);
}
