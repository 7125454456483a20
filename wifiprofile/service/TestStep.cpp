#include "wifiprofile/service/TestStep.h"

#include "wifiprofile/controller/WiFiProfileViewController.h"

namespace wifiprofile {

using platform::DiagnosticsTestRequest;
using platform::ErrorRef;
using platform::Value;

const platform::LogHandle& testLog() {
    return platform::logHandleForCategory(kTestLogCategory);
}

platform::DiagnosticsTestResultRef runTestStep(const WiFiProfileViewController& controller,
                                               std::int64_t testID,
                                               const platform::DictionaryRef& configuration,
                                               const char* title) {
    const DiagnosticsTestRequest request = DiagnosticsTestRequest::requestWithTestID(testID, configuration);
    ErrorRef error;
    const platform::DiagnosticsTestResults results =
        platform::WiFiDiagnosticsClient::sharedClient()->runDiagnosticsTests({request}, nullptr, nullptr,
                                                                             &error);
    if (error && error->code != 0) {
        platform::logError(testLog(), "[ERROR] - Wi-Fi Profile: %@ failed with error: %@", title, error);
        return nullptr;
    }
    return controller.testResultFromResults(results);
}

void runVerdictOnlyTest(const WiFiProfileViewController& controller, std::int64_t testID, const char* title,
                        const platform::DictionaryRef& configuration, platform::Dictionary& results,
                        const QString& key) {
    if (const auto result = runTestStep(controller, testID, configuration, title)) {
        writeVerdict(results, key, result->result);
    }
}

void writeVerdict(platform::Dictionary& target, const QString& key, bool verdict) {
    target.set(key, Value::boolean(verdict));
}

platform::DictionaryRef infoOrLog(const platform::DiagnosticsTestResult& result) {
    if (!result.info) {
        platform::logError(testLog(), "[ERROR] - Wi-Fi Profile: Info not found.");
    }
    return result.info;
}

void logNotFound(const char* name) {
    platform::logError(testLog(), "[ERROR] - Wi-Fi Profile: %@ not found.", name);
}

std::optional<Value> detailOrLog(const platform::Dictionary& info, const QString& infoKey, const char* name) {
    std::optional<Value> value = info.value(infoKey);
    if (!value) {
        logNotFound(name);
    }
    return value;
}

void copyDetail(const platform::Dictionary& info, const QString& infoKey, platform::Dictionary& target,
                const QString& resultKey, const char* name) {
    if (const std::optional<Value> value = detailOrLog(info, infoKey, name)) {
        target.set(resultKey, *value);
    }
}

}  // namespace wifiprofile
