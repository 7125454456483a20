#include "host/ProfileOutput.h"

#include "host/HostOutput.h"
#include "host/HostRun.h"
#include "host/report/Findings.h"
#include "host/report/HtmlReport.h"
#include "host/report/Redaction.h"
#include "host/report/Summary.h"

#include "platform/foundation/Json.h"

#include <QFile>
#include <QSaveFile>

#include <unistd.h>

namespace host {

using platform::Dictionary;
using platform::Value;

namespace {

bool writeFile(const QString& path, const QByteArray& bytes, const char* what) {
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() || !file.commit()) {
        writeOut(stderr, QStringLiteral("wifi-profile: cannot write the %1 to %2: %3\n")
                             .arg(QLatin1String(what), path, file.errorString())
                             .toUtf8());
        return false;
    }
    return true;
}

}  // namespace

QByteArray resultJsonLine(const Value& result) {
    const platform::DictionaryRef whole =
        result.kind() == Value::Kind::Dictionary ? result.toDictionary() : Dictionary::make();
    const Value statusCode = whole->value(QStringLiteral("statusCode")).value_or(Value::null());
    const auto data = whole->value(QStringLiteral("data"));
    // The status code leads, as readers of the result expect; the rest follows the JSON rules.
    QByteArray line = "{\"statusCode\": " + platform::toJson(statusCode) +
                      ", \"data\": " + (data ? platform::toJson(*data) : QByteArray("null"));
    if (const auto finished = whole->value(QStringLiteral("finished")); finished && !finished->toBool()) {
        line += ", \"finished\": false";
    }
    return line + "}\n";
}

std::vector<report::ServiceAnswer> serviceAnswers(const std::vector<platform::RecordedAnswer>& answers) {
    std::vector<report::ServiceAnswer> out;
    out.reserve(answers.size());
    for (const platform::RecordedAnswer& recorded : answers) {
        report::ServiceAnswer answer;
        answer.testID = recorded.testID;
        answer.configuration = recorded.configuration;
        if (recorded.error && recorded.error->code != 0) {
            answer.errorCode = recorded.error->code;
            answer.errorText = recorded.error->description();
        } else if (recorded.results) {
            for (const auto& result : *recorded.results) {
                if (result) {
                    answer.answer =
                        Dictionary::make({{QStringLiteral("result"), Value::boolean(result->result)},
                                          {QStringLiteral("didPass"), Value::boolean(result->didPass)}});
                    if (result->info) {
                        answer.answer->set(QStringLiteral("info"), Value::dictionary(result->info));
                    }
                    break;
                }
            }
        }
        out.push_back(std::move(answer));
    }
    return out;
}

bool printsSummary(const HostOptions& options) {
    switch (options.format) {
        case OutputFormat::Json:
            return false;
        case OutputFormat::Text:
            return true;
        case OutputFormat::Auto:
            break;
    }
    return ::isatty(STDOUT_FILENO) == 1;
}

QByteArray profileOutputs(report::Profile profile, const HostOptions& options) {
    if (options.redact) {
        profile = report::redacted(profile);
    }
    if (options.savePath) {
        writeFile(*options.savePath, report::profileToJson(profile), "saved profile");
    }
    const bool summary = printsSummary(options);
    if (!options.reportPath && !summary) {
        return resultJsonLine(profile.result);
    }
    const report::Findings findings = report::findingsOf(profile);
    std::optional<QString> reportWritten;
    if (options.reportPath &&
        writeFile(*options.reportPath, report::htmlReport(profile, findings), "report")) {
        reportWritten = *options.reportPath;
    }
    if (!summary) {
        return resultJsonLine(profile.result);
    }
    report::SummaryOptions summaryOptions;
    summaryOptions.colour = report::wantsColour();
    summaryOptions.reportPath = reportWritten.value_or(QString());
    return report::summaryText(profile, findings, summaryOptions).toUtf8();
}

int renderSavedProfile(const HostOptions& options) {
    QFile file(*options.renderPath);
    if (!file.open(QIODevice::ReadOnly)) {
        writeOut(stderr, QStringLiteral("wifi-profile: saved profile %1: %2\n")
                             .arg(*options.renderPath, file.errorString())
                             .toUtf8());
        return kExitScenarioUnusable;
    }
    try {
        const report::Profile profile = report::profileFromJson(file.readAll(), *options.renderPath);
        writeOut(stdout, profileOutputs(profile, options));
        return kExitFinished;
    } catch (const report::ProfileError& e) {
        writeOut(stderr, QStringLiteral("wifi-profile: saved profile %1\n").arg(e.text()).toUtf8());
        return kExitScenarioUnusable;
    }
}

}  // namespace host
