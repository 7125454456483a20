#pragma once
// When the toolkit animates a change: only on a real screen and for a view that shows. Off
// screen (the "offscreen" platform) and in hidden views every change takes effect at once, so
// descriptions, snapshots and tests never see a half-done animation.

#include <QWidget>

namespace platform::ui {

// How long a fade of rows or of a selection highlight takes.
inline constexpr int kFadeMilliseconds = 250;
// How long an animated scroll takes.
inline constexpr int kScrollMilliseconds = 300;

bool shouldAnimate(const QWidget* view);

}  // namespace platform::ui
