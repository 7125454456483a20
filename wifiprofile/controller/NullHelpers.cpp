#include "wifiprofile/controller/NullHelpers.h"

#include <cmath>

namespace wifiprofile {

using platform::Value;

Value stringOrNull(const std::optional<Value>& value) {
    return value ? *value : Value::null();
}

Value numberOrNull(const std::optional<Value>& value) {
    return value ? *value : Value::null();
}

Value dictionaryOrNull(const std::optional<Value>& value) {
    return value ? *value : Value::null();
}

Value numberOrNullForDouble(double value) {
    return std::isnan(value) ? Value::null() : Value::number(value);
}

void removeNullFromDictionary(platform::Dictionary& dictionary) {
    const QStringList keys = dictionary.keys();
    for (const QString& key : keys) {
        const std::optional<Value> value = dictionary.value(key);
        if (!value || value->isNull()) {
            dictionary.remove(key);
        }
    }
}

}  // namespace wifiprofile
