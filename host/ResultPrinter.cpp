#include "host/ResultPrinter.h"

#include "host/HostOutput.h"
#include "host/ProfileOutput.h"

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
    auto whole = platform::Dictionary::make(
        {{QStringLiteral("statusCode"), statusCode},
         {QStringLiteral("data"), data ? Value::dictionary(data) : Value::null()}});
    if (!finished) {
        whole->set(QStringLiteral("finished"), Value::boolean(false));
    }
    const Value resultValue = Value::dictionary(whole);
    writeOut(stdout, formatter_ ? formatter_(resultValue) : resultJsonLine(resultValue));
    events_.write(QStringLiteral("result"),
                  platform::Dictionary::make({
                      {QStringLiteral("statusCode"), statusCode},
                      {QStringLiteral("data"), data ? Value::dictionary(data) : Value::null()},
                      {QStringLiteral("finished"), Value::boolean(finished)},
                  }));
    return true;
}

void ResultPrinter::setFormatter(Formatter formatter) {
    const std::lock_guard lock(mutex_);
    formatter_ = std::move(formatter);
}

}  // namespace host
