// Fuzzes the host's automation reader (parseAutomation, what loadAutomationFile does with a file's
// bytes): a list of actions, or an object read as a scenario that carries one. Every input must
// give the actions or an AutomationError naming the file and saying why. Each action read must have exactly
// one known kind, its place in the file, its form as written, and for the kinds the player uses,
// a value of the right type and range.
#include "fuzz/FuzzSupport.h"
#include "host/Automation.h"
#include "platform/foundation/JsonReader.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

using fuzzsupport::excerpt;
using fuzzsupport::require;
using host::AutomationAction;
using host::AutomationError;
using platform::Value;

namespace {

const QString kFile = QStringLiteral("fuzz.json");
constexpr int kMaxWaitMs = 600000;

void checkAction(const AutomationAction& action, std::size_t index, bool listAtTop) {
    const QString where = QStringLiteral("[%1]").arg(index);
    require(action.place == (listAtTop ? where : QStringLiteral("automation") + where),
            "an action's place is its index in the list", action.place);
    require(action.raw && action.raw->size() == 1 && action.raw->contains(action.kind),
            "an action is an object with its kind as its one key", action.place);
    const Value value = *action.raw->value(action.kind);
    if (action.kind == QLatin1String("tap")) {
        require(action.tap && !action.tap->isEmpty() && value == Value::string(*action.tap),
                "a tap names a non-empty key", action.place);
    } else if (action.kind == QLatin1String("wifiPower")) {
        require(action.wifiPower && value == Value::boolean(*action.wifiPower),
                "a power action holds a boolean", action.place);
    } else if (action.kind == QLatin1String("waitMs")) {
        require(action.waitMs && *action.waitMs >= 0 && *action.waitMs <= kMaxWaitMs &&
                    value == Value::integer(*action.waitMs),
                "a wait lies within 0 to 600000 ms", action.place);
    } else if (action.kind == QLatin1String("snapshot")) {
        require(action.snapshot && value == Value::boolean(true), "a snapshot action takes true",
                action.place);
    } else if (action.kind == QLatin1String("pullToRefresh")) {
        require(value == Value::boolean(true), "a pull to refresh takes true", action.place);
    } else if (action.kind == QLatin1String("type")) {
        require(value.isString(), "a typing action holds a string", action.place);
    } else if (action.kind == QLatin1String("tapRow")) {
        require(action.tapRow && value.kind() == Value::Kind::Dictionary && action.tapRow->section >= 0 &&
                    action.tapRow->row >= 0,
                "a row tap holds a section and a row, neither negative", action.place);
    } else if (action.kind == QLatin1String("tapNetwork")) {
        // A network's name may be empty: the list shows such a network under its empty name.
        require(action.tapNetwork && value == Value::string(*action.tapNetwork), "a network tap holds a name",
                action.place);
    } else {
        require(action.kind == QLatin1String("screenshot"), "an action is of a known kind", action.kind);
        require(
            action.screenshot && !action.screenshot->isEmpty() && value == Value::string(*action.screenshot),
            "a screenshot names a file", action.place);
    }
    if (action.kind != QLatin1String("tap")) {
        require(!action.tap, "only a tap names a button", action.place);
    }
    if (action.kind != QLatin1String("snapshot")) {
        require(!action.snapshot, "only a snapshot action asks for a snapshot", action.place);
    }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    fuzzsupport::startQt();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const QByteArray input(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    std::vector<AutomationAction> actions;
    try {
        actions = host::parseAutomation(input, kFile);
    } catch (const AutomationError& error) {
        require(error.file() == kFile, "an automation error names the file", QString::fromUtf8(error.what()));
        require(!error.why().isEmpty(), "an automation error says why", excerpt(input));
        return 0;
    }
    // A list at the top has its actions at [i]; an object has them under "automation". The text
    // was read, so it is JSON (perhaps after a byte order mark and white space).
    const bool listAtTop = platform::parseJson(input).kind() == Value::Kind::Array;
    for (std::size_t i = 0; i < actions.size(); ++i) {
        checkAction(actions[i], i, listAtTop);
    }
    return 0;
}
