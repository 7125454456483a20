// The wifi-profile application as a user runs it: a separate process with its command line, its
// result on stdout, its messages on stderr, its events file and its exit code. Scenarios are
// written per test into a temporary directory, so each test shows the device it runs against.

#include "unittests/host/HostProcess.h"

#include <gtest/gtest.h>

namespace {

using namespace hosttest;

using platform::Dictionary;
using platform::DictionaryRef;
using platform::Value;

// ---- the result ----------------------------------------------------------------------------------

TEST_F(HostRunTest, DefaultRunPrintsTheResultWithTheStatusCodeFirstAndExitsZero) {
    const HostRun r = run({});
    ASSERT_EQ(r.exitCode, 0) << str(r.err);
    // One line: the status code, then the data in the platform's JSON form (keys sorted).
    ASSERT_TRUE(r.out.startsWith("{\"statusCode\": 0, \"data\": {")) << r.out.toStdString();
    ASSERT_TRUE(r.out.endsWith("}\n"));
    EXPECT_EQ(r.out.count('\n'), 1);
    const Value parsed = platform::parseJson(r.out);
    ASSERT_EQ(parsed.kind(), Value::Kind::Dictionary);
    const DictionaryRef result = parsed.toDictionary();
    EXPECT_EQ(result->keys(), (QStringList{"data", "statusCode"}));
    const DictionaryRef data = result->value(QStringLiteral("data"))->toDictionary();
    ASSERT_TRUE(data);
    EXPECT_EQ(data->keys(), (QStringList{"currentNetwork", "device", "selectedNetwork"}));
    for (const auto& [key, group] : data->entries()) {
        EXPECT_EQ(group.kind(), Value::Kind::Dictionary) << str(key);
    }
    EXPECT_EQ(r.out, "{\"statusCode\": 0, \"data\": " + platform::toJson(*data) + "}\n");
    EXPECT_EQ(finishedCodes(r), std::vector<std::int64_t>{0});
    expectNoHandleTrouble(r);
}

TEST_F(HostRunTest, HelpNamesEveryOptionAndExitCode) {
    const HostRun r = run({QStringLiteral("--help")});
    EXPECT_EQ(r.exitCode, 0);
    const QString help = QString::fromUtf8(r.out);
    for (const char* option :
         {"--parameters", "--network-name", "--list", "--max-scan-cache-age", "--scenario", "--automation",
          "--ui", "--events", "--timeout", "--plugin", "--help", "--backend", "--ping-wan", "--ping-wan6",
          "--dns-name", "--check-url", "--check-status", "--check-body"}) {
        EXPECT_TRUE(help.contains(QLatin1String(option))) << option;
    }
    EXPECT_TRUE(help.contains(QStringLiteral("4 not finished within the timeout")));
}

// ---- parameters ----------------------------------------------------------------------------------

TEST_F(HostRunTest, ParameterOutOfRangeIsNamedWithItsBounds) {
    const HostRun r = run({QStringLiteral("--max-scan-cache-age"), QStringLiteral("601")});
    EXPECT_EQ(r.exitCode, 2);
    EXPECT_TRUE(r.out.isEmpty());
    EXPECT_TRUE(r.err.contains(
        QStringLiteral("wifi-profile: parameter \"maxScanCacheAge\": must be between 0 and 600, got 601\n")))
        << str(r.err);
    EXPECT_TRUE(r.eventsOf(QStringLiteral("finished")).empty());
}

TEST_F(HostRunTest, EveryRejectedParameterIsListedWithWhyOnItsOwnLine) {
    const QString longName(33, u'n');
    const HostRun r =
        run({QStringLiteral("--parameters"),
             QStringLiteral(R"({"maxScanCacheAge": true, "reprofileWithUI": 1, "networkName": "%1"})")
                 .arg(longName)});
    EXPECT_EQ(r.exitCode, 2);
    EXPECT_TRUE(r.out.isEmpty());
    EXPECT_TRUE(r.err.contains(
        QStringLiteral("wifi-profile: parameter \"maxScanCacheAge\": must be a number, got boolean true\n")))
        << str(r.err);
    EXPECT_TRUE(r.err.contains(
        QStringLiteral("wifi-profile: parameter \"reprofileWithUI\": must be a boolean, got integer 1\n")));
    EXPECT_TRUE(r.err.contains(QStringLiteral(
        "wifi-profile: parameter \"networkName\": must be at most 32 characters long, got 33\n")));
    const auto rejected = r.eventsOf(QStringLiteral("parametersRejected"));
    ASSERT_EQ(rejected.size(), 1u);
    EXPECT_EQ(field(rejected[0], "problems").toArray()->size(), 3u);
}

TEST_F(HostRunTest, MissingRequiredParametersAreNamed) {
    const HostRun r = run({QStringLiteral("--parameters"), QStringLiteral("{}")});
    EXPECT_EQ(r.exitCode, 2);
    EXPECT_TRUE(r.err.contains(QStringLiteral("parameter \"maxScanCacheAge\": is required but missing")))
        << str(r.err);
    EXPECT_TRUE(r.err.contains(QStringLiteral("parameter \"reprofileWithUI\": is required but missing")));
    EXPECT_FALSE(r.err.contains(QStringLiteral("networkName")));  // optional
}

TEST_F(HostRunTest, ShorthandsSetSingleKeysOverTheParameters) {
    // A shorthand value that is no number reaches the diagnostic as text, and its check names it.
    HostRun r = run({QStringLiteral("--max-scan-cache-age"), QStringLiteral("soon")});
    EXPECT_EQ(r.exitCode, 2);
    EXPECT_TRUE(r.err.contains(
        QStringLiteral("parameter \"maxScanCacheAge\": must be a number, got string \"soon\"")))
        << str(r.err);

    r = run({QStringLiteral("--network-name"), QString(33, u'x')});
    EXPECT_EQ(r.exitCode, 2);
    EXPECT_TRUE(r.err.contains(
        QStringLiteral("parameter \"networkName\": must be at most 32 characters long, got 33")));

    // The raw dictionary the diagnostic gets, as the host records it.
    r = run({QStringLiteral("--parameters"),
             QStringLiteral(R"({"maxScanCacheAge": 5, "reprofileWithUI": false})"),
             QStringLiteral("--max-scan-cache-age=0"), QStringLiteral("--network-name"),
             QStringLiteral("Cafe"), QStringLiteral("--timeout"), QStringLiteral("30")});
    EXPECT_EQ(r.exitCode, 0) << str(r.err);
    const auto host = r.eventsOf(QStringLiteral("host"));
    ASSERT_EQ(host.size(), 1u);
    EXPECT_EQ(json(field(host[0], "parameters")),
              R"({"maxScanCacheAge": 0, "networkName": "Cafe", "reprofileWithUI": false})");
}

TEST_F(HostRunTest, UnreadableParametersJsonIsAParameterError) {
    HostRun r = run({QStringLiteral("--parameters"), QStringLiteral(R"({"maxScanCacheAge": 60,})")});
    EXPECT_EQ(r.exitCode, 2);
    EXPECT_TRUE(r.err.contains(QStringLiteral("wifi-profile: --parameters: line 1, column 24: ")))
        << str(r.err);

    r = run({QStringLiteral("--parameters"), QStringLiteral("[60, false]")});
    EXPECT_EQ(r.exitCode, 2);
    EXPECT_TRUE(r.err.contains(QStringLiteral("--parameters: must be a JSON object, got array")))
        << str(r.err);
}

// ---- scenarios and automation that cannot be used --------------------------------------------------

TEST_F(HostRunTest, ScenarioSyntaxErrorNamesFileLineAndColumn) {
    const QString path = write(QStringLiteral("broken.json"), "{\n  \"device\": {\"power\": tru}\n}\n");
    const HostRun r = run({QStringLiteral("--scenario"), path});
    EXPECT_EQ(r.exitCode, 3);
    EXPECT_TRUE(r.out.isEmpty());
    EXPECT_TRUE(r.err.contains(QStringLiteral("wifi-profile: scenario %1, at line 2, column 23: ").arg(path)))
        << str(r.err);
}

TEST_F(HostRunTest, ScenarioValueOfTheWrongKindNamesItsPlace) {
    const QString path = write(QStringLiteral("devices.json"), R"({"device": {"devices": "two"}})");
    const HostRun r = run({QStringLiteral("--scenario"), path});
    EXPECT_EQ(r.exitCode, 3);
    EXPECT_TRUE(r.err.contains(
        QStringLiteral("wifi-profile: scenario %1, at device.devices: expected an integer").arg(path)))
        << str(r.err);
}

TEST_F(HostRunTest, MissingScenarioFileIsNamed) {
    const QString path = dir.filePath(QStringLiteral("nowhere.json"));
    const HostRun r = run({QStringLiteral("--scenario"), path});
    EXPECT_EQ(r.exitCode, 3);
    EXPECT_TRUE(r.err.contains(QStringLiteral("wifi-profile: scenario %1: cannot be read").arg(path)))
        << str(r.err);
}

TEST_F(HostRunTest, AutomationFileErrorNamesFileAndPlace) {
    const QString path =
        write(QStringLiteral("actions.json"), R"([{"snapshot": true}, {"wifiPower": "off"}])");
    const HostRun r = run({QStringLiteral("--automation"), path});
    EXPECT_EQ(r.exitCode, 3);
    EXPECT_TRUE(r.err.contains(
        QStringLiteral("wifi-profile: automation %1, at [1].wifiPower: expected a boolean").arg(path)))
        << str(r.err);
}

TEST_F(HostRunTest, TapOnAButtonThatIsNotShownStopsTheRun) {
    // Wi-Fi is on, so the list shows without an alert, and nothing on it is named "Yes".
    const QString path =
        write(QStringLiteral("tap.json"), R"({"automation": [{"snapshot": true}, {"tap": "YES"}]})");
    const HostRun r = run({QStringLiteral("--scenario"), path, QStringLiteral("--list")});
    EXPECT_EQ(r.exitCode, 3) << str(r.err);
    EXPECT_TRUE(r.err.contains(
        QStringLiteral("wifi-profile: automation %1, at automation[1]: no button \"%2\" (key YES)")
            .arg(path, text(QStringLiteral("YES")))))
        << str(r.err);
    EXPECT_TRUE(r.out.isEmpty());
    EXPECT_TRUE(finishedCodes(r).empty());
    expectNoHandleTrouble(r);  // teardown released the Wi-Fi handles
}

TEST_F(HostRunTest, ActionsLeftWhenTheDiagnosticFinishesAreReported) {
    // "No" ends the diagnostic, so the snapshot after it has nothing to show.
    const QString path =
        write(QStringLiteral("left.json"),
              R"({"device": {"power": false}, "automation": [{"tap": "NO"}, {"snapshot": true}]})");
    const HostRun r = run({QStringLiteral("--scenario"), path, QStringLiteral("--list")});
    EXPECT_EQ(r.exitCode, 0) << str(r.err);
    EXPECT_TRUE(r.err.contains(
        QStringLiteral(
            "wifi-profile: automation %1: the diagnostic finished before automation[1]; 1 action not played")
            .arg(path)))
        << str(r.err);
    const auto left = r.eventsOf(QStringLiteral("automationUnplayed"));
    ASSERT_EQ(left.size(), 1u);
    EXPECT_EQ(field(left[0], "remaining").toInt(), 1);
    EXPECT_EQ(field(left[0], "place").toString(), QStringLiteral("automation[1]"));
    EXPECT_TRUE(r.eventsOf(QStringLiteral("snapshot")).empty());
}

TEST_F(HostRunTest, TapOfAKeyOutsideTheStringsTableIsRefused) {
    const QString path = write(QStringLiteral("key.json"),
                               R"({"device": {"power": false}, "automation": [{"tap": "MAYBE"}]})");
    const HostRun r = run({QStringLiteral("--scenario"), path, QStringLiteral("--list")});
    EXPECT_EQ(r.exitCode, 3);
    EXPECT_TRUE(r.err.contains(
        QStringLiteral("at automation[0]: \"MAYBE\" is not a key of the diagnostic's strings table")))
        << str(r.err);
}

// ---- time limit, plugin, command line ------------------------------------------------------------

TEST_F(HostRunTest, UnfinishedRunPrintsTheResultAsItStandsAndExitsFour) {
    // Wi-Fi is off and nobody answers the power alert.
    const QString path = write(QStringLiteral("waits.json"), R"({"device": {"power": false}})");
    const HostRun r = run({QStringLiteral("--scenario"), path, QStringLiteral("--list"),
                           QStringLiteral("--timeout"), QStringLiteral("1")});
    EXPECT_EQ(r.exitCode, 4) << str(r.err);
    EXPECT_EQ(r.out, "{\"statusCode\": null, \"data\": null, \"finished\": false}\n");
    EXPECT_TRUE(r.err.contains(QStringLiteral("wifi-profile: the diagnostic did not finish within 1 s")));
    EXPECT_LT(r.took, std::chrono::seconds(15));
    EXPECT_TRUE(finishedCodes(r).empty());
    expectNoHandleTrouble(r);  // teardown released what the diagnostic held
}

TEST_F(HostRunTest, TimeLimitCutsALongServiceCall) {
    // Every test takes five seconds; the first one is cut short by the time limit.
    const QString path = write(QStringLiteral("slow.json"),
                               R"({"status": {"ssid": "Home", "bssid": "00:11:22:33:44:55"},
                                   "defaultAnswer": {"result": false, "didPass": true, "latencyMs": 5000}})");
    const HostRun r =
        run({QStringLiteral("--scenario"), path, QStringLiteral("--timeout"), QStringLiteral("1")});
    EXPECT_EQ(r.exitCode, 4) << str(r.err);
    EXPECT_TRUE(r.out.startsWith("{\"statusCode\": null, \"data\": null, \"finished\": false}"))
        << r.out.toStdString();
    const auto requests = r.eventsOf(QStringLiteral("request"));
    ASSERT_GE(requests.size(), 2u);
    EXPECT_EQ(field(requests[0], "kind").toString(), QStringLiteral("status"));
    EXPECT_EQ(field(requests[1], "kind").toString(), QStringLiteral("test"));
    // The time limit holds although the diagnostic's test job still had tests to run.
    EXPECT_LT(r.took, std::chrono::seconds(15));
}

TEST_F(HostRunTest, MissingPluginIsAnOtherFailure) {
    const HostRun r = run({QStringLiteral("--plugin"), dir.filePath(QStringLiteral("libnothing.so"))});
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_TRUE(r.err.contains(QStringLiteral("wifi-profile: cannot load the diagnostic plugin")))
        << str(r.err);
    EXPECT_TRUE(r.out.isEmpty());
}

TEST_F(HostRunTest, LibraryWithoutTheEntryPointIsNoPlugin) {
    const QString library = QStringLiteral(WIFIPROFILE_BINARY_DIR "/lib/libwifiprofile_foundation.so");
    ASSERT_TRUE(QFile::exists(library));
    const HostRun r = run({QStringLiteral("--plugin"), library});
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_TRUE(r.err.contains(QStringLiteral("does not export platformDiagnosticExtension"))) << str(r.err);
}

TEST_F(HostRunTest, CommandLineMisuseIsAnOtherFailure) {
    HostRun r = run({QStringLiteral("--colour")});
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_TRUE(r.err.contains(QStringLiteral("wifi-profile: unknown option --colour"))) << str(r.err);
    r = run({QStringLiteral("--timeout"), QStringLiteral("-3")});
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_TRUE(r.err.contains(QStringLiteral("--timeout must be a number of seconds above 0")))
        << str(r.err);
    r = run({QStringLiteral("--scenario")});
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_TRUE(r.err.contains(QStringLiteral("--scenario needs a value")));
    r = run({QStringLiteral("--ping-wan6"), QStringLiteral("9.9.9.9")});
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_TRUE(r.err.contains(QStringLiteral("--ping-wan6 needs an IPv6 address, got \"9.9.9.9\"")))
        << str(r.err);
    r = run({QStringLiteral("--ping-wan"), QStringLiteral("2620:fe::fe")});
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_TRUE(r.err.contains(QStringLiteral("--ping-wan needs an IPv4 address, got \"2620:fe::fe\"")))
        << str(r.err);
}

TEST_F(HostRunTest, UnwritableEventsFileIsAnOtherFailure) {
    const HostRun r =
        run({QStringLiteral("--events"), dir.filePath(QStringLiteral("no/such/dir/events.jsonl"))});
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_TRUE(r.err.contains(QStringLiteral("wifi-profile: cannot write events to %1")
                                   .arg(dir.filePath(QStringLiteral("no/such/dir/events.jsonl")))))
        << str(r.err);
    EXPECT_TRUE(r.out.isEmpty());
}

TEST_F(HostRunTest, WindowModeRunsTheSameScript) {
    // The window goes to Qt's off-screen platform here, since a test has no display.
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    const QString path =
        write(QStringLiteral("decline.json"),
              R"({"device": {"power": false}, "automation": [{"snapshot": true}, {"tap": "NO"}]})");
    const HostRun windowed = run(
        {QStringLiteral("--ui"), QStringLiteral("--scenario"), path, QStringLiteral("--list")}, environment);
    const HostRun offscreen = run({QStringLiteral("--scenario"), path, QStringLiteral("--list")});
    ASSERT_EQ(windowed.exitCode, 0) << str(windowed.err);
    EXPECT_EQ(windowed.out, offscreen.out);
    ASSERT_EQ(windowed.eventsOf(QStringLiteral("snapshot")).size(), 1u);
    ASSERT_EQ(offscreen.eventsOf(QStringLiteral("snapshot")).size(), 1u);
    EXPECT_EQ(json(field(windowed.eventsOf(QStringLiteral("snapshot"))[0], "screen")),
              json(field(offscreen.eventsOf(QStringLiteral("snapshot"))[0], "screen")));
}

TEST_F(HostRunTest, WindowModeWithoutADisplayIsRefusedPlainly) {
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    for (const char* name : {"QT_QPA_PLATFORM", "DISPLAY", "WAYLAND_DISPLAY"}) {
        environment.remove(QLatin1String(name));
    }
    const HostRun r = run({QStringLiteral("--ui")}, environment);
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_TRUE(r.err.contains(QStringLiteral("wifi-profile: --ui needs a display"))) << str(r.err);
    EXPECT_TRUE(r.out.isEmpty());
}

// ---- events ----------------------------------------------------------------------------------------

TEST_F(HostRunTest, EventsRecordRequestsAndTheFinishInTimeOrder) {
    const QString path =
        write(QStringLiteral("joined.json"), R"({"status": {"ssid": "Home", "bssid": "00:11:22:33:44:55"}})");
    const HostRun r = run({QStringLiteral("--scenario"), path});
    ASSERT_EQ(r.exitCode, 0) << str(r.err);
    ASSERT_FALSE(r.events.empty());
    EXPECT_EQ(field(r.events.front(), "event").toString(), QStringLiteral("host"));
    EXPECT_EQ(field(r.events.front(), "scenario").toString(), path);
    std::int64_t last = 0;
    for (const auto& e : r.events) {
        const std::int64_t t = field(e, "time").toInt();
        EXPECT_GE(t, last) << json(Value::dictionary(e));
        last = t;
    }
    const auto requests = r.eventsOf(QStringLiteral("request"));
    ASSERT_FALSE(requests.empty());
    EXPECT_EQ(field(requests[0], "kind").toString(), QStringLiteral("status"));
    for (std::size_t i = 1; i < requests.size(); ++i) {
        EXPECT_EQ(field(requests[i], "kind").toString(), QStringLiteral("test"));
        EXPECT_EQ(field(requests[i], "configuration").kind(), Value::Kind::Dictionary);
        EXPECT_EQ(field(requests[i], "testID").kind(), Value::Kind::Int);
    }
    const auto finished = r.eventsOf(QStringLiteral("finished"));
    ASSERT_EQ(finished.size(), 1u);
    EXPECT_EQ(json(field(finished[0], "statusCode")), "0");
    EXPECT_TRUE(field(finished[0], "finished").toBool());
    // Without automation the diagnostic posts no configuration.
    EXPECT_TRUE(r.eventsOf(QStringLiteral("configuration")).empty());
    const auto results = r.eventsOf(QStringLiteral("result"));
    ASSERT_EQ(results.size(), 1u);
    EXPECT_TRUE(field(results[0], "finished").toBool());
    expectNoHandleTrouble(r);
}

TEST_F(HostRunTest, NoJobOutlivesTheEndOfTheRun) {
    // A timed event far in the future still waits when the run ends: it is freed, not run.
    const QString path = write(QStringLiteral("later.json"),
                               R"({"status": {"ssid": "Home", "bssid": "00:11:22:33:44:55"},
                                   "events": [{"atMs": 600000, "wifiPower": false}]})");
    const HostRun r = run({QStringLiteral("--scenario"), path});
    ASSERT_EQ(r.exitCode, 0) << str(r.err);
    const auto shutdowns = r.eventsOf(QStringLiteral("shutdown"));
    ASSERT_EQ(shutdowns.size(), 1u);
    EXPECT_EQ(field(shutdowns[0], "discardedJobs").toInt(), 1);
    // The queues end after the drain and before the handle report.
    EXPECT_EQ(field(r.events.back(), "event").toString(), QStringLiteral("handles"));
    EXPECT_EQ(field(r.events[r.events.size() - 2], "event").toString(), QStringLiteral("shutdown"));
    EXPECT_TRUE(r.eventsOf(QStringLiteral("drain")).empty());
    expectNoHandleTrouble(r);
}

TEST_F(HostRunTest, WithAutomationTheDiagnosticPostsItsRawParameters) {
    const QString path = write(QStringLiteral("automated.json"), R"({"automation": [{"snapshot": true}]})");
    const QString parameters =
        QStringLiteral(R"({"maxScanCacheAge": 7, "reprofileWithUI": false, "networkName": "Cafe"})");
    const HostRun r = run({QStringLiteral("--scenario"), path, QStringLiteral("--parameters"), parameters});
    ASSERT_EQ(r.exitCode, 0) << str(r.err);
    const auto posted = r.eventsOf(QStringLiteral("configuration"));
    ASSERT_EQ(posted.size(), 1u);
    EXPECT_EQ(json(field(posted[0], "configuration")),
              R"({"parameters": {"maxScanCacheAge": 7, "networkName": "Cafe", "reprofileWithUI": false}, )"
              R"("predicates": {}, "specifications": {}})");
}

TEST_F(HostRunTest, AnEmptyScriptStillTurnsAutomationOn) {
    const QString actions = write(QStringLiteral("none.json"), "[]");
    const HostRun r = run({QStringLiteral("--automation"), actions});
    ASSERT_EQ(r.exitCode, 0) << str(r.err);
    EXPECT_EQ(r.eventsOf(QStringLiteral("configuration")).size(), 1u);
    EXPECT_TRUE(r.eventsOf(QStringLiteral("automation")).empty());
}

// ---- list mode endings, through scenarios with automation -------------------------------------------

TEST_F(HostRunTest, NoRadioEndsWithMinusTwo) {
    const QString path = write(QStringLiteral("no-radio.json"),
                               R"({"device": {"wifiRadio": false}, "automation": [{"snapshot": true}]})");
    const HostRun r = run({QStringLiteral("--scenario"), path, QStringLiteral("--list")});
    ASSERT_EQ(r.exitCode, 0) << str(r.err);
    EXPECT_EQ(r.out,
              "{\"statusCode\": -2, \"data\": {\"currentNetwork\": {}, \"device\": {}, \"selectedNetwork\": "
              "{}}}\n");
    EXPECT_EQ(finishedCodes(r), std::vector<std::int64_t>{-2});
    const QString message =
        QStringLiteral("createManagerClient failed - unable to get Wi-Fi manager handle.");
    EXPECT_TRUE(r.err.contains(QStringLiteral("[error] cat 0: ") + message)) << str(r.err);
    const auto logs = r.eventsOf(QStringLiteral("log"));
    ASSERT_EQ(logs.size(), 1u);
    EXPECT_EQ(json(Value::dictionary(logs[0])),
              json(Value::dictionary(Dictionary::make({{"category", Value::integer(0)},
                                                       {"event", Value::string("log")},
                                                       {"level", Value::string("error")},
                                                       {"message", Value::string(message)},
                                                       {"time", field(logs[0], "time")}}))));
    EXPECT_EQ(
        json(field(r.eventsOf(QStringLiteral("configuration")).at(0), "configuration")),
        R"({"parameters": {"maxScanCacheAge": 60, "reprofileWithUI": true}, "predicates": {}, "specifications": {}})");
    expectNoHandleTrouble(r);
}

TEST_F(HostRunTest, NoDeviceEndsWithMinusThreeAndReleasesTheManager) {
    const QString path = write(QStringLiteral("no-device.json"),
                               R"({"device": {"devices": 0}, "automation": [{"snapshot": true}]})");
    const HostRun r = run({QStringLiteral("--scenario"), path, QStringLiteral("--list")});
    ASSERT_EQ(r.exitCode, 0) << str(r.err);
    EXPECT_TRUE(r.out.startsWith("{\"statusCode\": -3, ")) << r.out.toStdString();
    EXPECT_EQ(finishedCodes(r), std::vector<std::int64_t>{-3});
    EXPECT_TRUE(r.err.contains(QStringLiteral("[error] cat 0: [ERROR] - Couldn't find a Wi-Fi device.")))
        << str(r.err);
    const auto logs = r.eventsOf(QStringLiteral("log"));
    ASSERT_EQ(logs.size(), 1u);
    EXPECT_EQ(field(logs[0], "category").toInt(), 0);
    EXPECT_EQ(field(logs[0], "message").toString(),
              QStringLiteral("[ERROR] - Couldn't find a Wi-Fi device."));
    const auto handles = r.eventsOf(QStringLiteral("handles"));
    ASSERT_EQ(handles.size(), 1u);
    EXPECT_GE(field(handles[0], "created").toInt(), 1);  // the manager was made, then given back
    expectNoHandleTrouble(r);
}

TEST_F(HostRunTest, DecliningThePowerAlertEndsWithMinusFour) {
    const QString path =
        write(QStringLiteral("decline.json"),
              R"({"device": {"power": false}, "automation": [{"snapshot": true}, {"tap": "NO"}]})");
    const HostRun r = run({QStringLiteral("--scenario"), path, QStringLiteral("--list")});
    ASSERT_EQ(r.exitCode, 0) << str(r.err);
    EXPECT_EQ(r.out,
              "{\"statusCode\": -4, \"data\": {\"currentNetwork\": {}, \"device\": {}, \"selectedNetwork\": "
              "{}}}\n");
    EXPECT_EQ(finishedCodes(r), std::vector<std::int64_t>{-4});
    // The alert as the script saw it: the power question, "No" then "Yes".
    const auto snapshots = r.eventsOf(QStringLiteral("snapshot"));
    ASSERT_EQ(snapshots.size(), 1u);
    EXPECT_EQ(field(snapshots[0], "place").toString(), QStringLiteral("automation[0]"));
    const DictionaryRef screen = field(snapshots[0], "screen").toDictionary();
    ASSERT_TRUE(screen);
    const auto alert = screen->value(QStringLiteral("alert"));
    ASSERT_TRUE(alert) << json(Value::dictionary(screen));
    const auto button = [](const QString& title) {
        return Value::dictionary(Dictionary::make({{"title", Value::string(title)},
                                                   {"style", Value::string("default")},
                                                   {"enabled", Value::boolean(true)}}));
    };
    EXPECT_EQ(json(*alert),
              json(Value::dictionary(Dictionary::make(
                  {{"message", Value::string(text(QStringLiteral("POWER_ON_WIFI")))},
                   {"buttons", Value::array(platform::makeArray({button(text(QStringLiteral("NO"))),
                                                                 button(text(QStringLiteral("YES")))}))}}))));
    // The tap is recorded where it stands in the script, before the end it causes.
    const auto played = r.eventsOf(QStringLiteral("automation"));
    ASSERT_EQ(played.size(), 2u);
    EXPECT_EQ(field(played[1], "place").toString(), QStringLiteral("automation[1]"));
    EXPECT_EQ(json(field(played[1], "action")), R"({"tap": "NO"})");
    EXPECT_LE(field(played[1], "time").toInt(),
              field(r.eventsOf(QStringLiteral("finished")).at(0), "time").toInt());
    expectNoHandleTrouble(r);
}

TEST_F(HostRunTest, PowerTurnedOffWhileTheListShowsEndsWithMinusFive) {
    const QString path = write(QStringLiteral("power-off.json"),
                               R"({"status": {"ssid": "Home", "bssid": "00:11:22:33:44:55"},
                                   "events": [{"atMs": 300, "wifiPower": false}],
                                   "automation": []})");
    const HostRun r = run({QStringLiteral("--scenario"), path, QStringLiteral("--list")});
    ASSERT_EQ(r.exitCode, 0) << str(r.err);
    EXPECT_TRUE(r.out.startsWith("{\"statusCode\": -5, ")) << r.out.toStdString();
    EXPECT_EQ(finishedCodes(r).at(0), -5);
    for (const auto& log : r.eventsOf(QStringLiteral("log"))) {
        EXPECT_NE(field(log, "category").toInt(), 0) << str(r.err);  // the Wi-Fi set-up went well
    }
    expectNoHandleTrouble(r);
}

TEST_F(HostRunTest, TheScenariosTimedEventsDoNotHoldBackTheScript) {
    // The snapshot waits for the diagnostic's own work (the first scan), not for the power event
    // due later: the script sees the list, then the event ends the run.
    const QString path = write(QStringLiteral("later-power-off.json"),
                               R"({"latencyMs": 10, "status": {"ssid": "Home", "bssid": "00:11:22:33:44:55"},
                                   "events": [{"atMs": 1500, "wifiPower": false}],
                                   "automation": [{"snapshot": true}]})");
    const HostRun r = run({QStringLiteral("--scenario"), path, QStringLiteral("--list")});
    ASSERT_EQ(r.exitCode, 0) << str(r.err);
    EXPECT_EQ(finishedCodes(r).at(0), -5);
    const auto snapshots = r.eventsOf(QStringLiteral("snapshot"));
    ASSERT_EQ(snapshots.size(), 1u) << str(r.err);
    const auto screen = field(snapshots[0], "screen").toDictionary();
    EXPECT_FALSE(screen->contains(QStringLiteral("alert")));
    EXPECT_TRUE(screen->contains(QStringLiteral("table")));
    EXPECT_LT(field(snapshots[0], "time").toInt(),
              field(r.eventsOf(QStringLiteral("finished")).at(0), "time").toInt());
    EXPECT_TRUE(r.eventsOf(QStringLiteral("automationUnplayed")).empty());
    expectNoHandleTrouble(r);
}

TEST_F(HostRunTest, AcceptingThePowerAlertShowsTheListUntilPowerGoesOffAgain) {
    // "Yes" turns Wi-Fi on; the script then turns it off while the list is shown.
    const QString path = write(QStringLiteral("yes-then-off.json"),
                               R"({"device": {"power": false},
                                   "status": {"ssid": "Home", "bssid": "00:11:22:33:44:55"},
                                   "automation": [{"tap": "YES"}, {"snapshot": true}, {"wifiPower": false}]})");
    const HostRun r = run({QStringLiteral("--scenario"), path, QStringLiteral("--list")});
    ASSERT_EQ(r.exitCode, 0) << str(r.err);
    EXPECT_TRUE(r.out.startsWith("{\"statusCode\": -5, ")) << r.out.toStdString();
    EXPECT_EQ(finishedCodes(r).at(0), -5);
    // Once Wi-Fi is on the alert is gone and the list asks for a scan.
    const auto snapshots = r.eventsOf(QStringLiteral("snapshot"));
    ASSERT_EQ(snapshots.size(), 1u);
    EXPECT_FALSE(field(snapshots[0], "screen").toDictionary()->contains(QStringLiteral("alert")));
    EXPECT_FALSE(r.eventsOf(QStringLiteral("request")).empty());
    EXPECT_EQ(r.eventsOf(QStringLiteral("automation")).size(), 3u);
    expectNoHandleTrouble(r);
}

// ---- the scenarios shipped for list mode ------------------------------------------------------------

struct ListScenario {
    const char* file;
    std::int64_t statusCode;
    const char* category0Message;  // the Wi-Fi set-up message logged, or nullptr
    bool automated;
};

class ShippedListScenarioTest : public HostRunTest, public ::testing::WithParamInterface<ListScenario> {};

TEST_P(ShippedListScenarioTest, EndsWithItsStatusCode) {
    const ListScenario& s = GetParam();
    const QString path = QStringLiteral(WIFIPROFILE_SOURCE_DIR "/scenarios/") + QLatin1String(s.file);
    const HostRun r = run({QStringLiteral("--scenario"), path, QStringLiteral("--list")});
    ASSERT_EQ(r.exitCode, 0) << str(r.err);
    EXPECT_TRUE(
        r.out.startsWith(QStringLiteral("{\"statusCode\": %1, \"data\": {").arg(s.statusCode).toUtf8()))
        << r.out.toStdString();
    EXPECT_EQ(finishedCodes(r).at(0), s.statusCode);
    std::vector<QString> setupMessages;
    for (const auto& log : r.eventsOf(QStringLiteral("log"))) {
        if (field(log, "category").toInt() == 0) {
            setupMessages.push_back(field(log, "message").toString());
        }
    }
    if (s.category0Message) {
        EXPECT_EQ(setupMessages, std::vector<QString>{QString::fromUtf8(s.category0Message)});
        EXPECT_TRUE(
            r.err.contains(QStringLiteral("[error] cat 0: ") + QString::fromUtf8(s.category0Message)));
    } else {
        EXPECT_TRUE(setupMessages.empty());
    }
    const auto posted = r.eventsOf(QStringLiteral("configuration"));
    if (s.automated) {
        ASSERT_EQ(posted.size(), 1u);
        EXPECT_EQ(json(field(posted[0], "configuration")),
                  R"({"parameters": {"maxScanCacheAge": 60, "reprofileWithUI": true}, "predicates": {}, )"
                  R"("specifications": {}})");
    } else {
        EXPECT_TRUE(posted.empty());
    }
    expectNoHandleTrouble(r);
}

INSTANTIATE_TEST_SUITE_P(
    ListMode, ShippedListScenarioTest,
    ::testing::Values(ListScenario{"list-no-radio.json", -2,
                                   "createManagerClient failed - unable to get Wi-Fi manager handle.", false},
                      ListScenario{"list-no-device.json", -3, "[ERROR] - Couldn't find a Wi-Fi device.",
                                   false},
                      ListScenario{"list-power-off-decline.json", -4, nullptr, true},
                      ListScenario{"list-power-off-during-list.json", -5, nullptr, true}),
    [](const ::testing::TestParamInfo<ListScenario>& info) {
        return "StatusCode" + std::to_string(-info.param.statusCode);
    });

// ---- the host's own handling, with a probe diagnostic -----------------------------------------------

QStringList probe(const char* behaviour) {
    return {QStringLiteral("--plugin"), QStringLiteral(HOST_PROBE_PLUGIN), QStringLiteral("--parameters"),
            QStringLiteral(R"({"behaviour": "%1"})").arg(QLatin1String(behaviour))};
}

TEST_F(HostRunTest, ASecondFinishAfterTheFirstStillAppearsInTheEvents) {
    const HostRun r = run(probe("finishTwice"));
    ASSERT_EQ(r.exitCode, 0) << str(r.err);
    EXPECT_EQ(r.out, "{\"statusCode\": -5, \"data\": {}}\n");  // the first end is the result
    EXPECT_EQ(finishedCodes(r), (std::vector<std::int64_t>{-5, 0}));
    EXPECT_EQ(r.eventsOf(QStringLiteral("result")).size(), 1u);
}

TEST_F(HostRunTest, HandleHeldAfterTeardownFailsTheRun) {
    const HostRun r = run(probe("holdHandle"));
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_EQ(r.out, "{\"statusCode\": 0, \"data\": {}}\n");
    EXPECT_TRUE(r.err.contains(
        QStringLiteral("wifi-profile: 1 platform handle(s) still held after teardown: WiFiManager")))
        << str(r.err);
    const auto handles = r.eventsOf(QStringLiteral("handles"));
    ASSERT_EQ(handles.size(), 1u);
    EXPECT_EQ(field(handles[0], "live").toInt(), 1);
    EXPECT_EQ(field(handles[0], "liveHandles").toArray()->size(), 1u);
}

TEST_F(HostRunTest, HandleReleasedOnceTooOftenFailsTheRun) {
    const HostRun r = run(probe("releaseTwice"));
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_TRUE(r.err.contains(QStringLiteral("wifi-profile: 1 platform handle release(s) too many")))
        << str(r.err);
    const auto handles = r.eventsOf(QStringLiteral("handles"));
    ASSERT_EQ(handles.size(), 1u);
    EXPECT_EQ(field(handles[0], "overReleases").toInt(), 1);
    EXPECT_EQ(field(handles[0], "live").toInt(), 0);
}

TEST_F(HostRunTest, AHungMainThreadStillEndsTheRunAfterTheTimeLimit) {
    QStringList arguments = probe("hangMainThread");
    arguments << QStringLiteral("--timeout") << QStringLiteral("1");
    const HostRun r = run(arguments);
    EXPECT_EQ(r.exitCode, 4);
    EXPECT_EQ(r.out, "{\"statusCode\": null, \"data\": null, \"finished\": false}\n");
    EXPECT_TRUE(r.err.contains(QStringLiteral("wifi-profile: the main thread has not answered for")))
        << str(r.err);
    EXPECT_LT(r.took, std::chrono::seconds(20));
}

TEST_F(HostRunTest, AFinishTheHungMainThreadNeverPrintedIsPrintedByTheTimeLimit) {
    QStringList arguments = probe("finishThenHangMainThread");
    arguments << QStringLiteral("--timeout") << QStringLiteral("1");
    const HostRun r = run(arguments);
    EXPECT_EQ(r.exitCode, 4) << str(r.err);
    // The result the diagnostic finished with, marked as a run that did not end in time.
    EXPECT_EQ(r.out, "{\"statusCode\": 3, \"data\": {}, \"finished\": false}\n");
    EXPECT_TRUE(r.err.contains(QStringLiteral("wifi-profile: the main thread has not answered for")))
        << str(r.err);
    EXPECT_EQ(finishedCodes(r), std::vector<std::int64_t>{3});
    const auto results = r.eventsOf(QStringLiteral("result"));
    ASSERT_EQ(results.size(), 1u);
    EXPECT_EQ(field(results[0], "statusCode").toInt(), 3);
    EXPECT_FALSE(field(results[0], "finished").toBool());
    EXPECT_LT(r.took, std::chrono::seconds(20));
}

TEST_F(HostRunTest, ADiagnosticThatThrowsInItsSetUpIsAnOtherFailure) {
    const HostRun r = run(probe("throwInSetup"));
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_TRUE(
        r.err.contains(QStringLiteral("wifi-profile: the run failed: the probe refuses to be set up\n")))
        << str(r.err);
    EXPECT_TRUE(r.out.isEmpty());
    const auto errors = r.eventsOf(QStringLiteral("error"));
    ASSERT_EQ(errors.size(), 1u);
    EXPECT_EQ(field(errors[0], "message").toString(),
              QStringLiteral("the run failed: the probe refuses to be set up"));
}

TEST_F(HostRunTest, TapOnTheNavigationBarsButtonRunsItsAction) {
    const QString actions = write(QStringLiteral("next.json"), R"([{"snapshot": true}, {"tap": "NEXT"}])");
    QStringList arguments = probe("enabledNext");
    arguments << QStringLiteral("--automation") << actions;
    const HostRun r = run(arguments);
    ASSERT_EQ(r.exitCode, 0) << str(r.err);
    EXPECT_EQ(r.out, "{\"statusCode\": 7, \"data\": {}}\n");
    const auto snapshots = r.eventsOf(QStringLiteral("snapshot"));
    ASSERT_EQ(snapshots.size(), 1u);
    EXPECT_EQ(
        json(field(snapshots[0], "screen")),
        R"({"labels": [], "progress": [], "rightButton": {"enabled": true, "title": "Next"}, "title": "Probe"})");
}

TEST_F(HostRunTest, AWaitHoldsTheNextActionBack) {
    const QString actions = write(QStringLiteral("wait.json"), R"([{"waitMs": 300}, {"tap": "NEXT"}])");
    QStringList arguments = probe("enabledNext");
    arguments << QStringLiteral("--automation") << actions;
    const HostRun r = run(arguments);
    ASSERT_EQ(r.exitCode, 0) << str(r.err);
    const auto played = r.eventsOf(QStringLiteral("automation"));
    ASSERT_EQ(played.size(), 2u);
    EXPECT_EQ(json(field(played[0], "action")), R"({"waitMs": 300})");
    EXPECT_GE(field(played[1], "time").toInt() - field(played[0], "time").toInt(), 300);
}

TEST_F(HostRunTest, TapOnADisabledNavigationButtonIsRefused) {
    const QString actions = write(QStringLiteral("next.json"), R"([{"tap": "NEXT"}])");
    QStringList arguments = probe("disabledNext");
    arguments << QStringLiteral("--automation") << actions;
    const HostRun r = run(arguments);
    EXPECT_EQ(r.exitCode, 3);
    EXPECT_TRUE(r.err.contains(QStringLiteral("wifi-profile: automation %1, at [0]: the navigation bar's "
                                              "button \"Next\" (key NEXT) is disabled")
                                   .arg(actions)))
        << str(r.err);
    EXPECT_TRUE(finishedCodes(r).empty());
}

TEST_F(HostRunTest, TapOnADisabledAlertButtonIsRefused) {
    const QString actions = write(QStringLiteral("ok.json"), R"([{"tap": "OK"}])");
    QStringList arguments = probe("disabledAlertButton");
    arguments << QStringLiteral("--automation") << actions;
    const HostRun r = run(arguments);
    EXPECT_EQ(r.exitCode, 3);
    EXPECT_TRUE(r.err.contains(QStringLiteral("at [0]: the alert's button \"OK\" (key OK) is disabled")))
        << str(r.err);
}

}  // namespace
