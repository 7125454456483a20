#include "host/Automation.h"

#include "platform/foundation/JsonReader.h"

#include <QStringList>

namespace host {

using platform::JsonField;
using platform::JsonFieldError;
using platform::JsonObjectFields;
using platform::Value;

namespace {

constexpr std::int64_t kMaxWaitMs = 600000;
constexpr std::int64_t kMaxRowIndex = 1000000;  // far beyond any list a device shows

QString quoted(const QString& s) {
    return QLatin1Char('"') + s + QLatin1Char('"');
}

QString joined(const QStringList& names) {
    return names.join(QStringLiteral(", "));
}

AutomationAction readAction(const JsonField& field) {
    static const QStringList kKinds = {QStringLiteral("tap"),           QStringLiteral("wifiPower"),
                                       QStringLiteral("waitMs"),        QStringLiteral("snapshot"),
                                       QStringLiteral("tapNetwork"),    QStringLiteral("type"),
                                       QStringLiteral("pullToRefresh"), QStringLiteral("screenshot"),
                                       QStringLiteral("tapRow"),        QStringLiteral("waitForResults")};
    const JsonObjectFields d = field.readObject();
    const QStringList keys = d.keys();
    if (keys.isEmpty()) {
        d.fail(QStringLiteral("an action needs one key (actions: %1)").arg(joined(kKinds)));
    }
    for (const QString& k : keys) {
        if (!kKinds.contains(k)) {
            d.failAt(k, QStringLiteral("unknown action %1 (actions: %2)").arg(quoted(k), joined(kKinds)));
        }
    }
    if (keys.size() > 1) {
        d.fail(QStringLiteral("an action has exactly one key, found %1").arg(joined(keys)));
    }
    AutomationAction action;
    action.place = field.path();
    action.kind = keys.first();
    action.raw = d.dictionary();
    const JsonField value = *d.find(action.kind);
    if (action.kind == QLatin1String("tap")) {
        action.tap = value.readNonEmptyString();
    } else if (action.kind == QLatin1String("wifiPower")) {
        action.wifiPower = value.readBool();
    } else if (action.kind == QLatin1String("waitMs")) {
        action.waitMs = static_cast<int>(value.readIntInRange(0, kMaxWaitMs));
    } else if (action.kind == QLatin1String("snapshot") || action.kind == QLatin1String("pullToRefresh") ||
               action.kind == QLatin1String("waitForResults")) {
        if (!value.readBool()) {
            value.fail(QStringLiteral("%1 takes true").arg(quoted(action.kind)));
        }
        action.snapshot = action.kind == QLatin1String("snapshot");
        action.pullToRefresh = action.kind == QLatin1String("pullToRefresh");
        action.waitForResults = action.kind == QLatin1String("waitForResults");
    } else if (action.kind == QLatin1String("type")) {
        action.type = value.readString();
    } else if (action.kind == QLatin1String("tapNetwork")) {
        action.tapNetwork = value.readString();
    } else if (action.kind == QLatin1String("tapRow")) {
        const JsonObjectFields row = value.readObject();
        row.rejectUnknownKeys({QStringLiteral("section"), QStringLiteral("row")}, QStringLiteral("a row"));
        action.tapRow = AutomationAction::RowAddress{
            static_cast<long>(row.require(QStringLiteral("section"), QStringLiteral("a row"))
                                  .readIntInRange(0, kMaxRowIndex)),
            static_cast<long>(
                row.require(QStringLiteral("row"), QStringLiteral("a row")).readIntInRange(0, kMaxRowIndex))};
    } else {  // screenshot
        action.screenshot = value.readNonEmptyString();
    }
    return action;
}

std::vector<AutomationAction> readAutomation(const JsonField& field) {
    std::vector<AutomationAction> actions;
    for (const JsonField& element : field.readArray(QStringLiteral("an array of actions"))) {
        actions.push_back(readAction(element));
    }
    return actions;
}

AutomationError fromScenarioError(const platform::sim::ScenarioError& e) {
    return AutomationError(e.file(), e.place(), e.why());
}

}  // namespace

std::vector<AutomationAction> automationOfScenario(const platform::sim::Scenario& scenario) {
    if (!scenario.automation) {
        return {};
    }
    return platform::readingFile<AutomationError>(scenario.file,
                                                  [&] { return readAutomation(*scenario.automation); });
}

std::vector<AutomationAction> parseAutomation(const QByteArray& json, const QString& file) {
    Value root = Value::null();
    try {
        root = platform::parseJson(json);
    } catch (const platform::JsonParseError& e) {
        throw AutomationError(file, e.position(), e.reason());
    }
    const JsonField document(root);
    if (document.kind() == Value::Kind::Array) {
        return platform::readingFile<AutomationError>(file, [&] { return readAutomation(document); });
    }
    if (document.kind() != Value::Kind::Dictionary) {
        throw AutomationError(file, QString(),
                              QStringLiteral("an automation file holds an array of actions or an object with "
                                             "\"automation\", got %1")
                                  .arg(platform::jsonKindPhrase(root)));
    }
    // An object is read as a scenario, so that a scenario file can serve as its own automation.
    platform::sim::Scenario scenario;
    try {
        scenario = platform::sim::parseScenario(json, file);
    } catch (const platform::sim::ScenarioError& e) {
        throw fromScenarioError(e);
    }
    if (!scenario.automation) {
        throw AutomationError(file, QString(), QStringLiteral("the object has no \"automation\" key"));
    }
    return automationOfScenario(scenario);
}

std::vector<AutomationAction> loadAutomationFile(const QString& path) {
    QByteArray bytes;
    try {
        bytes = platform::sim::readScenarioFileBytes(path);
    } catch (const platform::sim::ScenarioError& e) {
        throw fromScenarioError(e);
    }
    return parseAutomation(bytes, path);
}

}  // namespace host
