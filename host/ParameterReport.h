#pragma once
// The diagnostic's verdict on its parameters: checked by its own inputs, and when they are
// rejected each problem is named, on stderr and in the events.

#include "host/EventStream.h"

#include "platform/host/HostDiagnostic.h"

namespace host {

// Hands parameters to inputs (which may be null: nothing is accepted then). When they are rejected,
// writes "wifi-profile: parameter ..." on stderr for each problem, records a "parametersRejected"
// event and answers false.
bool acceptParameters(platform::HostDiagnosticInputs* inputs, const platform::DictionaryRef& parameters,
                      EventStream& events);

}  // namespace host
