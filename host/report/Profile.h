#pragma once
// A profile as a person and a support engineer read it: the result the host printed, the Wi-Fi
// diagnostics service's answers during the run (the scan, the pings, the errors), the diagnostic's
// log and where and when the run happened. Saved as one JSON file (--save), read back to render
// the same summary and report later with no device (--render).

#include "platform/foundation/Value.h"

#include <QByteArray>
#include <QDateTime>
#include <QString>

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace platform {
struct WiFiScanResult;
}

namespace report {

// One answer of the service: the request (test ID and configuration) and what came back, a
// result record or an error.
struct ServiceAnswer {
    std::int64_t testID = 0;
    platform::DictionaryRef configuration;  // as the request carried it; may be null
    // The test result as a dictionary {"result": bool, "didPass": bool, "info": dictionary or
    // absent}; absent when the service answered an error or no result.
    platform::DictionaryRef answer;
    std::optional<std::int64_t> errorCode;
    QString errorText;  // the error as the diagnostic logs it: "WiFiDiagnostics error 95: ..."
    // Asked by the host for the report's scan, not by the diagnostic: no finding reads it.
    bool byHost = false;

    // The request was about a selected network (its configuration names one).
    bool aboutSelectedNetwork() const;
};

// One message of the diagnostic's log.
struct LogLine {
    int category = 0;
    int level = 0;  // platform::LogLevel
    QString message;
};

struct ProfileMetadata {
    QString backend;   // "sim" or "linux"
    QString scenario;  // the scenario file, "built-in", or empty on the real system
    QString machine;   // host name and kernel, "laptop (Linux 6.1.0-13-amd64)"
    QString version;   // wifi-profile's version
    QString qtVersion;
    QDateTime started;  // UTC
    std::int64_t durationMs = 0;
    platform::DictionaryRef parameters;
    bool redacted = false;
};

struct Profile {
    // The result as printed: {"statusCode": N, "data": {"device": {...}, "currentNetwork": {...},
    // "selectedNetwork": {...}}} (with "finished": false when the run did not finish).
    platform::Value result = platform::Value::null();
    std::vector<ServiceAnswer> answers;
    std::vector<LogLine> log;
    ProfileMetadata metadata;

    std::optional<std::int64_t> statusCode() const;
    bool finished() const;
    // A group of the result: "device", "currentNetwork" or "selectedNetwork"; null when absent or
    // not a dictionary.
    platform::DictionaryRef group(const QString& name) const;
    // The networks around: the entries of the last answer of test 31 (No Scan Results) that holds
    // "ScanResults"; empty when the run made no scan.
    std::vector<std::shared_ptr<const platform::WiFiScanResult>> scan() const;
    // The last answer the diagnostic got to a test ID for the joined network (selected false) or
    // the selected one.
    const ServiceAnswer* lastAnswer(std::int64_t testID, bool selected) const;
};

// A saved profile that cannot be read: the file, the place in it and why.
struct ProfileError {
    QString file;
    QString place;
    QString why;
    QString text() const;  // "<file>, at <place>: <why>"
};

// The saved profile's JSON (docs/report.md says its form): {"format": "wifi-profile/1", "result",
// "answers", "log", "metadata"}. Values keep their kinds as the scenario files write them (records
// as {"$record": ...}).
QByteArray profileToJson(const Profile& profile);
// Reads a saved profile; throws ProfileError.
Profile profileFromJson(const QByteArray& json, const QString& file);

}  // namespace report
