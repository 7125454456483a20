#pragma once
// Small helpers the toolkit's views share: a white palette, appearing with the parent, and a
// float written as the shortest double that reads back the same.
#include <QPalette>
#include <QWidget>

namespace platform::ui {

QPalette whitePalette(QPalette palette);

// As on a touch platform, a view made inside a parent appears with it unless hidden later; Qt
// would leave a child made inside an already visible parent hidden until shown by hand.
void appearWithParent(QWidget* w);

// A float as the double a person would write for it (0.1f reads 0.1, not 0.100000001).
double shortestDouble(float f);

}  // namespace platform::ui
