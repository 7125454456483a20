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
    // Read once, so that the line and the event tell the same result.
    const Value whole = resultValue(result, finished);
    const platform::DictionaryRef fields = whole.toDictionary();
    printedResult_ = whole;
    writeOut(stdout, formatter_ ? formatter_(whole) : resultJsonLine(whole));
    events_.write(QStringLiteral("result"),
                  platform::Dictionary::make({
                      {QStringLiteral("statusCode"),
                       fields->value(QStringLiteral("statusCode")).value_or(Value::null())},
                      {QStringLiteral("data"), fields->value(QStringLiteral("data")).value_or(Value::null())},
                      {QStringLiteral("finished"), Value::boolean(finished)},
                  }));
    return true;
}

Value ResultPrinter::resultValue(const platform::HostDiagnosticResult& result, bool finished) {
    const platform::DictionaryRef data = result.data();
    auto whole = platform::Dictionary::make(
        {{QStringLiteral("statusCode"), result.statusCode().value_or(Value::null())},
         {QStringLiteral("data"), data ? Value::dictionary(data) : Value::null()}});
    if (!finished) {
        whole->set(QStringLiteral("finished"), Value::boolean(false));
    }
    return Value::dictionary(whole);
}

std::optional<Value> ResultPrinter::printed() {
    const std::lock_guard lock(mutex_);
    return printedResult_;
}

void ResultPrinter::setFormatter(Formatter formatter) {
    const std::lock_guard lock(mutex_);
    formatter_ = std::move(formatter);
}

}  // namespace host
