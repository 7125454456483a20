#pragma once
// Helpers that put the null marker where a detail is missing, for the result dictionaries.

#include "platform/foundation/Value.h"

#include <optional>

namespace wifiprofile {

// The value itself, or the null marker when absent (no type check).
platform::Value stringOrNull(const std::optional<platform::Value>& value);
platform::Value numberOrNull(const std::optional<platform::Value>& value);
platform::Value dictionaryOrNull(const std::optional<platform::Value>& value);
// The null marker for NaN, else a double number.
platform::Value numberOrNullForDouble(double value);
// Removes, in place, every top-level entry whose value is the null marker.
void removeNullFromDictionary(platform::Dictionary& dictionary);

}  // namespace wifiprofile
