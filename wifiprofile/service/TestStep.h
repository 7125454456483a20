#pragma once
// The step every test shares: build one request, run it on the shared diagnostics client, check
// the error, pick the first result; then the small writers the tests use for their verdict and
// details. Every message goes to the diagnostic log of category 3 at error level.

#include "platform/foundation/Log.h"
#include "platform/foundation/Value.h"
#include "platform/wifi/WiFiDiagnosticsClient.h"

#include <QString>

#include <cstdint>
#include <optional>

namespace wifiprofile {

class WiFiProfileViewController;

inline constexpr int kTestLogCategory = 3;
const platform::LogHandle& testLog();

// Request, run, error-check and pick stages. Answers the test's result record, or nullptr when the
// service failed (logged with title) or gave no result (logged by testResultFromResults).
platform::DiagnosticsTestResultRef runTestStep(const WiFiProfileViewController& controller,
                                               std::int64_t testID,
                                               const platform::DictionaryRef& configuration,
                                               const char* title);

// A test whose only finding is its verdict: the step, then the verdict under key.
void runVerdictOnlyTest(const WiFiProfileViewController& controller, std::int64_t testID, const char* title,
                        const platform::DictionaryRef& configuration, platform::Dictionary& results,
                        const QString& key);

// The verdict: a boolean number under key.
void writeVerdict(platform::Dictionary& target, const QString& key, bool verdict);

// The result's info, or nullptr after logging "Info not found.".
platform::DictionaryRef infoOrLog(const platform::DiagnosticsTestResult& result);

// The info value under infoKey, or absent after logging "<name> not found.".
std::optional<platform::Value> detailOrLog(const platform::Dictionary& info, const QString& infoKey,
                                           const char* name);

// Copies the info value under infoKey, as it came, to resultKey; logs "<name> not found." if missing.
void copyDetail(const platform::Dictionary& info, const QString& infoKey, platform::Dictionary& target,
                const QString& resultKey, const char* name);

// Logs "[ERROR] - Wi-Fi Profile: <name> not found.".
void logNotFound(const char* name);

}  // namespace wifiprofile
