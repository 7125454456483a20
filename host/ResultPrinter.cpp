#include "host/ResultPrinter.h"

#include "host/HostOutput.h"

#include "platform/foundation/Json.h"

namespace host {

using platform::Value;

bool ResultPrinter::print(const platform::HostDiagnosticResult& result, bool finished) {
    const std::lock_guard lock(mutex_);
    if (printed_) {
        return false;
    }
    printed_ = true;
    const Value statusCode = result.statusCode().value_or(Value::null());
    const platform::DictionaryRef data = result.data();
    // The status code leads, as readers of the result expect; the rest follows the JSON rules.
    QByteArray line = "{\"statusCode\": " + platform::toJson(statusCode) +
                      ", \"data\": " + (data ? platform::toJson(*data) : QByteArray("null"));
    if (!finished) {
        line += ", \"finished\": false";
    }
    line += "}\n";
    writeOut(stdout, line);
    events_.write(QStringLiteral("result"),
                  platform::Dictionary::make({
                      {QStringLiteral("statusCode"), statusCode},
                      {QStringLiteral("data"), data ? Value::dictionary(data) : Value::null()},
                      {QStringLiteral("finished"), Value::boolean(finished)},
                  }));
    return true;
}

}  // namespace host
