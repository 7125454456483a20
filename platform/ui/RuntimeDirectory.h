#pragma once
// The private runtime directory Qt wants before a GUI application starts.

namespace platform::ui {

// Gives Qt a private runtime directory (under the temporary directory) when the session has none,
// as a root shell or a CI job often has not; Qt otherwise complains on stderr. Call before the
// application object is made.
void ensureRuntimeDirectory();

}  // namespace platform::ui
