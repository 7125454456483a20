#pragma once
// The host's automation scripts: user actions (taps, typing, pulls, power switches, waits,
// snapshots, screenshots, waiting for the results screen) read from a JSON list, or from the
// "automation" key of a scenario file.
// Each action keeps its place in the file, so a complaint or a refusal names it.

#include "platform/foundation/JsonFieldReader.h"
#include "platform/foundation/Value.h"
#include "platform/wifi/sim/Scenario.h"

#include <QByteArray>
#include <QString>

#include <optional>
#include <stdexcept>
#include <vector>

namespace host {

// An automation step. Each action has exactly one key, its kind; its value is read into the field
// of its kind.
struct AutomationAction {
    QString place;  // where it stands in its file, for messages: automation[3]
    QString kind;   // the action's one key: "tap", "wifiPower", "waitMs", "snapshot", "tapNetwork", ...
    std::optional<QString> tap;  // strings-table key of an alert or bar button, or of a table row
    std::optional<bool> wifiPower;
    std::optional<int> waitMs;
    bool snapshot = false;
    std::optional<QString> tapNetwork;  // the text of a row of the networks section
    struct RowAddress {
        long section = 0;
        long row = 0;
    };
    std::optional<RowAddress> tapRow;
    std::optional<QString> type;  // typed into the presented alert's text field, one change per character
    bool pullToRefresh = false;
    std::optional<QString> screenshot;  // PNG file to save the screen to
    bool waitForResults = false;        // waits for the results screen of --ui
    platform::DictionaryRef raw;        // the action as written, for events
};

// An automation script that cannot be used: the file, the place in it (a JSON path; empty for the
// file itself) and why. what() reads "file: place: why".
class AutomationError : public platform::InputFileError {
  public:
    using InputFileError::InputFileError;
};

// The actions of a scenario's "automation" key. Throws AutomationError naming the scenario's file.
std::vector<AutomationAction> automationOfScenario(const platform::sim::Scenario& scenario);
// Reads a stand-alone automation script from JSON text: an array of actions, or an object with
// "automation" (read as a scenario, so any scenario file serves); file names the source in error
// messages. Throws AutomationError.
std::vector<AutomationAction> parseAutomation(const QByteArray& json, const QString& file);
// Reads the automation file at path, as parseAutomation does. Throws AutomationError (also for a
// file that cannot be read).
std::vector<AutomationAction> loadAutomationFile(const QString& path);

}  // namespace host
