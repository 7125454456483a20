#pragma once
// Where the toolkit's views sit, in points: frames set and read, a view sized to fit its content,
// brought to the front of its siblings, and the view it is a child of. Screens use these rather
// than placing widgets themselves.
#include <QRectF>
#include <QWidget>

namespace platform::ui {

class View;

// Places view at frame in its parent's coordinates; edges are rounded to whole pixels.
void setFrame(QWidget* view, const QRectF& frame);
QRectF frame(const QWidget* view);
// The view's own rectangle: its size, at the origin.
QRectF bounds(const QWidget* view);
// Resizes view to the size its content asks for (a label to its text).
void sizeToFit(QWidget* view);
// Draws child above its siblings.
void bringSubviewToFront(QWidget* child);
// The toolkit view that view is a child of, or nullptr.
View* superview(const QWidget* view);

}  // namespace platform::ui
