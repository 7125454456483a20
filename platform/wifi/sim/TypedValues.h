#pragma once
// The values of a simulated service answer as a scenario writes them: plain JSON keeps its kinds,
// and tagged objects say what JSON cannot: {"$double": "NaN"}, {"$unsigned": 5},
// {"$date": "2026-11-20T10:00:00Z"} and {"$record": "WiFiScanResult", ...} for the platform's Wi-Fi
// records. Callers outside the simulated backend use typedValueFromJson (Scenario.h).

#include "platform/foundation/JsonFieldReader.h"
#include "platform/foundation/Value.h"

namespace platform::sim {

// Turns json, a value at its path in a document, into the typed value it describes. Throws
// JsonFieldError naming the offending value's path.
Value readTypedValue(const JsonField& json);

}  // namespace platform::sim
