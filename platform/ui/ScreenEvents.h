#pragma once
// Visible changes as they happen (a progress bar's new value, a table's update, a spinner), and
// programming errors a view detects, for a driver's event stream. Called on the main thread.
#include <QString>
#include <functional>
#include "platform/foundation/Value.h"

namespace platform::ui {

using ScreenEventObserver = std::function<void(const QString& kind, DictionaryRef fields)>;
void setScreenEventObserver(ScreenEventObserver observer);

// Hands one event to the observer, if one is set.
void reportScreenEvent(const QString& kind, DictionaryRef fields);

// A misuse of a view that a strict toolkit would stop on (a table update that does not add up):
// written to stderr as "wifi-profile: programming error: MESSAGE", reported as an "error" event
// with "message" and the given fields, and counted, so that a host can fail the run.
void reportProgrammingError(const QString& message, DictionaryRef fields);
// How many programming errors were reported in this process.
int programmingErrorCount();

}  // namespace platform::ui
