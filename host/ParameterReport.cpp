#include "host/ParameterReport.h"

#include "host/HostOutput.h"

#include "platform/foundation/Json.h"

namespace host {

bool acceptParameters(platform::HostDiagnosticInputs* inputs, const platform::DictionaryRef& parameters,
                      EventStream& events) {
    bool accepted = false;
    QStringList problems;
    {
        platform::InputValidationReport report;
        accepted = inputs && inputs->validateAndInitializeParameters(parameters);
        problems = report.problems();
    }
    if (accepted) {
        return true;
    }
    if (problems.isEmpty()) {
        problems << QStringLiteral("the diagnostic rejected its parameters %1")
                        .arg(QString::fromUtf8(platform::toJson(*parameters)));
    }
    auto listed = platform::makeArray();
    for (const QString& p : problems) {
        writeOut(stderr, QStringLiteral("wifi-profile: parameter %1\n").arg(p).toUtf8());
        listed->push_back(platform::Value::string(p));
    }
    events.write(QStringLiteral("parametersRejected"),
                 platform::Dictionary::make({{QStringLiteral("problems"), platform::Value::array(listed)}}));
    return false;
}

}  // namespace host
