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

}  // namespace platform::ui
