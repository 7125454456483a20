// The host's automation reader: every kind of action from a scenario's "automation" key or a
// stand-alone script, the shipped scenarios' scripts, and each kind of mistake (the bad scripts
// themselves are data: unittests/data/bad-automation).
#include "host/Automation.h"

#include "platform/foundation/Value.h"
#include "platform/wifi/sim/Scenario.h"
#include "unittests/support/MessageCases.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

using namespace host;
using platform::Dictionary;
using platform::Value;
using platform::sim::loadScenarioFile;
using platform::sim::parseScenario;
using platform::sim::Scenario;
using platform::sim::ScenarioEvent;

namespace {

QString scenarioPath(const char* name) {
    return QStringLiteral(WIFIPROFILE_SOURCE_DIR "/scenarios/") + QLatin1String(name);
}

std::vector<AutomationAction> actionsOfScenario(const char* json) {
    return automationOfScenario(parseScenario(QByteArray(json), QStringLiteral("test.json")));
}

}  // namespace

TEST(AutomationReader, EveryKindFromAScenario) {
    const auto a = actionsOfScenario(R"({
        "automation": [{"tap": "YES"}, {"wifiPower": false}, {"waitMs": 250}, {"snapshot": true},
                       {"tapNetwork": "Casa Moreno"}, {"type": ""}, {"pullToRefresh": true},
                       {"screenshot": "list.png"}]})");
    ASSERT_EQ(a.size(), 8u);
    EXPECT_EQ(a[0].place, QStringLiteral("automation[0]"));
    EXPECT_EQ(a[0].kind, QStringLiteral("tap"));
    EXPECT_EQ(a[0].tap, QStringLiteral("YES"));
    EXPECT_EQ(*a[0].raw, *Dictionary::make({{"tap", Value::string("YES")}}));
    EXPECT_EQ(a[1].kind, QStringLiteral("wifiPower"));
    EXPECT_EQ(a[1].wifiPower, false);
    EXPECT_FALSE(a[1].tap.has_value());
    EXPECT_EQ(a[2].waitMs, 250);
    EXPECT_TRUE(a[3].snapshot);
    EXPECT_FALSE(a[2].snapshot);
    const char* laterKinds[] = {"tapNetwork", "type", "pullToRefresh", "screenshot"};
    for (int i = 0; i < 4; ++i) {
        const AutomationAction& action = a[static_cast<std::size_t>(4 + i)];
        EXPECT_EQ(action.kind, QLatin1String(laterKinds[i]));
        EXPECT_EQ(action.place, QStringLiteral("automation[%1]").arg(4 + i));
        EXPECT_FALSE(action.tap || action.wifiPower || action.waitMs || action.snapshot);
        ASSERT_NE(action.raw, nullptr);
        EXPECT_EQ(action.raw->keys(), QStringList{QLatin1String(laterKinds[i])});
    }
    EXPECT_EQ(a[4].raw->value("tapNetwork"), Value::string("Casa Moreno"));
    EXPECT_EQ(a[7].raw->value("screenshot"), Value::string("list.png"));
}

TEST(AutomationReader, WaitingForTheResultsScreenTakesTrue) {
    const auto a = actionsOfScenario(R"({"automation": [{"waitForResults": true}, {"tap": "CLOSE"}]})");
    ASSERT_EQ(a.size(), 2u);
    EXPECT_EQ(a[0].kind, QStringLiteral("waitForResults"));
    EXPECT_TRUE(a[0].waitForResults);
    EXPECT_FALSE(a[0].snapshot || a[0].pullToRefresh);
    EXPECT_FALSE(a[1].waitForResults);
    try {
        actionsOfScenario(R"({"automation": [{"waitForResults": false}]})");
        ADD_FAILURE() << "false was taken";
    } catch (const AutomationError& e) {
        EXPECT_EQ(e.place(), QStringLiteral("automation[0].waitForResults"));
        EXPECT_EQ(e.why(), QStringLiteral("\"waitForResults\" takes true"));
    }
}

TEST(AutomationReader, AnEmptyListIsKept) {
    const Scenario s = parseScenario(R"({"automation": []})", QStringLiteral("test.json"));
    ASSERT_TRUE(s.automation.has_value());
    EXPECT_TRUE(automationOfScenario(s).empty());
}

TEST(AutomationReader, Files) {
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const auto write = [&](const char* name, const char* text) {
        QFile f(dir.filePath(name));
        EXPECT_TRUE(f.open(QIODevice::WriteOnly));
        f.write(text);
        return dir.filePath(name);
    };
    const auto bare = loadAutomationFile(write("a.json", R"([{"tap": "YES"}, {"waitMs": 10}])"));
    ASSERT_EQ(bare.size(), 2u);
    EXPECT_EQ(bare[0].tap, QStringLiteral("YES"));
    EXPECT_EQ(bare[1].place, QStringLiteral("[1]"));
    const auto wrapped =
        loadAutomationFile(write("b.json", R"({"description": "d", "automation": [{"snapshot": true}]})"));
    ASSERT_EQ(wrapped.size(), 1u);
    EXPECT_EQ(wrapped[0].place, QStringLiteral("automation[0]"));
    EXPECT_TRUE(wrapped[0].snapshot);

    const auto errorOfFile = [](const QString& path) -> std::string {
        try {
            loadAutomationFile(path);
        } catch (const AutomationError& e) {
            return QString::fromUtf8(e.what()).replace(path, "FILE").toStdString();
        }
        return "(no error)";
    };
    EXPECT_EQ(errorOfFile(write("c.json", R"({"description": "no actions"})")),
              "FILE: the object has no \"automation\" key");
    EXPECT_EQ(
        errorOfFile(write("d.json", R"("tap")")),
        "FILE: an automation file holds an array of actions or an object with \"automation\", got a string");
    EXPECT_EQ(errorOfFile(write("e.json", R"([{"tap": "YES"}, {"tapp": "NO"}])")),
              "FILE: [1].tapp: unknown action \"tapp\" (actions: tap, wifiPower, waitMs, snapshot, "
              "tapNetwork, type, "
              "pullToRefresh, screenshot, tapRow, waitForResults)");
    EXPECT_EQ(errorOfFile(write("f.json", "[{\"tap\": \"YES\"},\n {\"tap\": \"NO\"")),
              "FILE: line 2, column 14: expected ',' or '}', found the end of the text");
    EXPECT_EQ(errorOfFile(dir.filePath("none.json")), "FILE: cannot be read: No such file or directory");
}

TEST(AutomationReader, FromText) {
    const auto actions = parseAutomation(R"([{"tap": "YES"}, {"wifiPower": false}])", "script.json");
    ASSERT_EQ(actions.size(), 2u);
    EXPECT_EQ(actions[0].tap, QStringLiteral("YES"));
    EXPECT_EQ(actions[1].place, QStringLiteral("[1]"));
    EXPECT_EQ(actions[1].wifiPower, false);
    EXPECT_TRUE(parseAutomation(R"({"automation": []})", "script.json").empty());
    const auto errorOfText = [](const char* text) -> std::string {
        try {
            parseAutomation(text, "script.json");
        } catch (const AutomationError& e) {
            return e.what();
        }
        return "(no error)";
    };
    EXPECT_EQ(errorOfText(R"([{"waitMs": -1}])"),
              "script.json: [0].waitMs: expected an integer from 0 to 600000, got -1");
    EXPECT_EQ(errorOfText(R"({"automation": [], "tests": 5})"),
              "script.json: tests: expected an object, got an integer");
    EXPECT_EQ(
        errorOfText("5"),
        "script.json: an automation file holds an array of actions or an object with \"automation\", got "
        "an integer");
    EXPECT_EQ(errorOfText("[,]"), "script.json: line 1, column 2: expected a value, found ','");
}

TEST(AutomationReader, TheShippedListModeEndings) {
    const Scenario noRadio = loadScenarioFile(scenarioPath("list-no-radio.json"));
    EXPECT_FALSE(noRadio.device.wifiRadio);
    const Scenario noDevice = loadScenarioFile(scenarioPath("list-no-device.json"));
    EXPECT_TRUE(noDevice.device.wifiRadio && noDevice.device.managerClient);
    EXPECT_EQ(noDevice.device.devices, 0);

    const auto taps = [](const Scenario& s) {
        QStringList out;
        for (const AutomationAction& a : automationOfScenario(s)) {
            if (a.tap) {
                out.append(*a.tap);
            }
        }
        return out;
    };
    const Scenario decline = loadScenarioFile(scenarioPath("list-power-off-decline.json"));
    EXPECT_FALSE(decline.device.power);
    EXPECT_EQ(taps(decline), QStringList{"NO"});
    const Scenario accept = loadScenarioFile(scenarioPath("list-power-on-accept.json"));
    EXPECT_FALSE(accept.device.power);
    EXPECT_EQ(taps(accept), (QStringList{"YES", "NEXT"}));
    const Scenario offDuringList = loadScenarioFile(scenarioPath("list-power-off-during-list.json"));
    EXPECT_TRUE(offDuringList.device.power);
    bool turnsOff = false;
    for (const AutomationAction& a : automationOfScenario(offDuringList)) {
        turnsOff |= a.wifiPower == false;
    }
    for (const ScenarioEvent& e : offDuringList.events) {
        turnsOff |= e.wifiPower == false;
    }
    EXPECT_TRUE(turnsOff);
}

// ----- bad scripts: each names the file, the place and the reason -----------------------------
//
// Each case is a whole scenario file, unittests/data/bad-automation/<name>.json, next to
// <name>.expected holding the exact message that reading its actions raises. With
// WIFIPROFILE_UPDATE_GOLDEN=1 set the test writes what the reader says into the .expected files
// instead; review the diff.

namespace {

const QString kBadAutomationDir = QStringLiteral(WIFIPROFILE_SOURCE_DIR "/unittests/data/bad-automation");

// The message that reading the case's actions raises, the file named as itself; nullopt when they
// are read without error.
std::optional<std::string> messageOfBadAutomation(const QString& name) {
    const QString file = name + QStringLiteral(".json");
    QFile f(kBadAutomationDir + u'/' + file);
    if (!f.open(QIODevice::ReadOnly)) {
        return "cannot be read";
    }
    try {
        parseAutomation(f.readAll(), file);
    } catch (const AutomationError& e) {
        return std::string(e.what());
    }
    return std::nullopt;
}

}  // namespace

class BadAutomationFile : public ::testing::TestWithParam<std::string> {};

TEST_P(BadAutomationFile, RaisesTheExpectedMessage) {
    testsupport::expectMessageOfCase(kBadAutomationDir, GetParam(),
                                     messageOfBadAutomation(QString::fromStdString(GetParam())));
}

INSTANTIATE_TEST_SUITE_P(Data, BadAutomationFile,
                         ::testing::ValuesIn(testsupport::caseFiles(kBadAutomationDir,
                                                                    QStringLiteral(".json"))),
                         testsupport::caseTestName);

// The scenarios around the bad scripts are ones the simulated device reads.
TEST(BadAutomationFiles, EveryCaseIsCompleteAndItsScenarioIsGood) {
    testsupport::expectCasesComplete(kBadAutomationDir);
    for (const std::string& name : testsupport::caseFiles(kBadAutomationDir, QStringLiteral(".json"))) {
        EXPECT_NO_THROW(loadScenarioFile(kBadAutomationDir + u'/' + QString::fromStdString(name) + ".json"))
            << name;
    }
}
