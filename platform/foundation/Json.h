#pragma once
// JSON text of platform values, as the host prints results and events: booleans as true/false,
// integers as digits, doubles always with a '.' or an exponent, NaN and infinities as the bare
// tokens NaN, Infinity and -Infinity, strings as UTF-8 (half a surrogate pair, which has no UTF-8
// form, as its \u escape), dates as ISO 8601 strings, dictionaries with sorted keys,
// records as objects with "$record" and their fields. Separators are ", " and ": " on one line.

#include "platform/foundation/Value.h"

#include <QByteArray>

namespace platform {

QByteArray toJson(const Value& value);
QByteArray toJson(const Dictionary& dictionary);

// Appends the JSON string literal of s (quoted and escaped) to out.
void appendJsonString(QByteArray& out, const QString& s);
// Appends the JSON form of a double: shortest round-trip digits, Python's repr layout.
void appendJsonDouble(QByteArray& out, double d);

}  // namespace platform
