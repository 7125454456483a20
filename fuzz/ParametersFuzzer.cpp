// Fuzzes the diagnostic's parameter check (WiFiProfileInputs::validateAndInitializeParameters) on
// the host's parameters: the bytes are read as JSON, and a JSON object is handed to the inputs.
// The verdict and the problems reported must match the rules for the three keys ("maxScanCacheAge"
// a number from 0 to 600, "reprofileWithUI" a boolean, "networkName" absent or a string of at most
// 32 units; one problem per bad key, naming it), the typed getters must hold what was accepted, and
// the controller set up with the inputs must put the scan cache age into its configuration and post
// the parameters to the test automation, all writable as JSON.
#include "fuzz/FuzzSupport.h"
#include "platform/foundation/Json.h"
#include "platform/foundation/JsonReader.h"
#include "platform/host/HostDiagnostic.h"
#include "wifiprofile/controller/WiFiProfileInputs.h"
#include "wifiprofile/controller/WiFiProfileViewController.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>

using fuzzsupport::excerpt;
using fuzzsupport::require;
using platform::Dictionary;
using platform::DictionaryRef;
using platform::Value;

namespace {

const QString kMaxScanCacheAge = QStringLiteral("maxScanCacheAge");
const QString kReprofileWithUI = QStringLiteral("reprofileWithUI");

bool acceptableAge(const std::optional<Value>& v) {
    if (!v) {
        return false;
    }
    switch (v->kind()) {
        case Value::Kind::Int:
            return v->toInt() >= 0 && v->toInt() <= 600;
        case Value::Kind::UInt:
            return v->toUInt() <= 600;
        case Value::Kind::Double:
            return !std::isnan(v->toDouble()) && v->toDouble() >= 0.0 && v->toDouble() <= 600.0;
        default:
            return false;
    }
}

bool acceptableName(const std::optional<Value>& v) {
    return !v || (v->isString() && v->toString().size() <= 32);
}

// The problem lines that name key.
qsizetype problemsAbout(const QStringList& problems, const QString& key) {
    qsizetype count = 0;
    for (const QString& problem : problems) {
        if (problem.startsWith(QLatin1Char('"') + key + QStringLiteral("\": "))) {
            ++count;
        }
    }
    return count;
}

DictionaryRef gPosted;

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    fuzzsupport::startQt();
    platform::TestAutomation::sharedInstance()->setTestAutomationEnabled(true);
    platform::TestAutomation::sharedInstance()->setConfigurationObserver(
        [](DictionaryRef configuration) { gPosted = std::move(configuration); });
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const QByteArray input(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const std::optional<Value> json = platform::tryParseJson(input);
    if (!json || json->kind() != Value::Kind::Dictionary) {
        return 0;
    }
    const DictionaryRef parameters = json->toDictionary();
    const std::optional<Value> age = parameters->value(kMaxScanCacheAge);
    const std::optional<Value> reprofile = parameters->value(kReprofileWithUI);
    const std::optional<Value> name = parameters->value(wifiprofile::kNetworkName);
    const bool ageOK = acceptableAge(age);
    const bool reprofileOK = reprofile && reprofile->isBool();
    const bool nameOK = acceptableName(name);

    auto inputs = std::make_shared<wifiprofile::WiFiProfileInputs>();
    bool valid = false;
    QStringList problems;
    {
        platform::InputValidationReport report;
        valid = inputs->validateAndInitializeParameters(parameters);
        problems = report.problems();
    }
    const QString context = problems.join(QLatin1Char('\n')) + QStringLiteral("\ninput: ") + excerpt(input);
    require(valid == (ageOK && reprofileOK && nameOK), "parameters are valid exactly when every key is",
            context);
    require(problems.size() == int(!ageOK) + int(!reprofileOK) + int(!nameOK), "one problem per bad key",
            context);
    require(problemsAbout(problems, kMaxScanCacheAge) == int(!ageOK) &&
                problemsAbout(problems, kReprofileWithUI) == int(!reprofileOK) &&
                problemsAbout(problems, wifiprofile::kNetworkName) == int(!nameOK),
            "each problem names its key", context);

    require(inputs->parameters == parameters, "the inputs keep the raw parameters");
    require(inputs->maxScanCacheAge.has_value() == ageOK && (!ageOK || *inputs->maxScanCacheAge == *age),
            "the scan cache age is kept as given when accepted", context);
    require(inputs->reprofileWithNetworksListUI == (reprofileOK && reprofile->toBool()),
            "the list mode is the boolean given", context);
    const std::optional<QString> selected = inputs->selectedNetworkName();
    require(selected.has_value() == (name && nameOK) && (!selected || *selected == name->toString()),
            "the selected network is the name given when accepted", context);

    // The controller takes its configuration from the inputs, whatever they hold.
    gPosted = nullptr;
    auto controller = std::make_shared<wifiprofile::WiFiProfileViewController>();
    controller->setupWithInputs(inputs, nullptr);
    const std::optional<Value> configured =
        controller->currentNetworkConfiguration->value(QStringLiteral("MaxScanCacheAge"));
    require(configured && *configured == inputs->maxScanCacheAge.value_or(Value::null()),
            "the current network's configuration carries the scan cache age", context);
    require(gPosted != nullptr, "the parameters are posted to the test automation", context);
    const std::optional<Value> posted = gPosted->value(QStringLiteral("parameters"));
    require(posted && posted->kind() == Value::Kind::Dictionary && *posted->toDictionary() == *parameters,
            "the posted configuration holds the parameters", context);
    const QByteArray written = platform::toJson(*gPosted);
    require(platform::tryParseJson(written).has_value(), "the posted configuration is writable as JSON",
            excerpt(written));
    gPosted = nullptr;
    return 0;
}
