#pragma once
// Solves the layout constraints of a view hierarchy and sets the frames of the views whose
// automatic resizing constraints are off.
#include <QRectF>
#include <QWidget>

#include <map>

namespace platform::ui {

// Solves every constraint held by root and the toolkit views under it. Frames of views with
// automatic resizing constraints off are unknowns; every other frame (root's included) is taken as
// it is. Required constraints hold; the others, with each solved view's content hugging and
// compression resistance of its intrinsic size, are met as well as they can be, a higher priority
// always before a lower one. Answers the solved frames in root's coordinates (unrounded) and sets
// the widgets' geometry, each edge rounded to the nearest pixel. Malformed constraints (a position
// against a size, mixed axes, a view outside the hierarchy) and required constraints that cannot
// all hold are reported as programming errors; the rest is still laid out.
std::map<QWidget*, QRectF> solveLayout(QWidget* root);

}  // namespace platform::ui
