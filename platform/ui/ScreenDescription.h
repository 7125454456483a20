#pragma once
// The screen under a root view as data, for automation scripts and tests.
#include <QStringList>
#include <QWidget>
#include "platform/foundation/Value.h"

namespace platform::ui {

class AlertController;

// The screen under root as data: navigation bar (title, right button and its state), alert,
// labels and progress bars, the table when one shows ("table", as TableView::describe gives it),
// and the texts that do not fit their frames ("overflowing", only when there are any), in a form
// stable enough for automation scripts and tests.
DictionaryRef describeScreen(QWidget* root, const AlertController* presentedAlert);

// The texts of the labels, buttons and text fields' placeholders showing under root that need more
// room than their frames give them.
QStringList overflowingTexts(QWidget* root);

}  // namespace platform::ui
