#pragma once
// The screen under a root view as data, for automation scripts and tests.
#include <QWidget>
#include "platform/foundation/Value.h"

namespace platform::ui {

class AlertController;

// The screen under root as data: navigation bar (title, right button and its state), alert,
// labels and progress bars, and the table when one shows ("table", as TableView::describe gives
// it), in a form stable enough for automation scripts and tests.
DictionaryRef describeScreen(QWidget* root, const AlertController* presentedAlert);

}  // namespace platform::ui
