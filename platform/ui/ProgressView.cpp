#include "platform/ui/ProgressView.h"

#include <QEvent>
#include <algorithm>
#include <cmath>
#include "platform/foundation/Value.h"
#include "platform/ui/ScreenEvents.h"
#include "platform/ui/ViewHelpers.h"

namespace platform::ui {

ProgressView::ProgressView(QWidget* parent) : ProgressView(ProgressViewStyle::Default, parent) {}

ProgressView::ProgressView(ProgressViewStyle style, QWidget* parent) : QProgressBar(parent), style_(style) {
    setRange(0, 1000);
    setTextVisible(false);
    setValue(0);
    appearWithParent(this);
}

void ProgressView::setProgress(float progress, bool /*animated*/) {
    if (std::isnan(progress)) {
        progress = 0.0f;
    }
    progress_ = std::clamp(progress, 0.0f, 1.0f);
    setValue(static_cast<int>(std::lround(progress_ * 1000.0f)));
    reportScreenEvent(
        QStringLiteral("progress"),
        Dictionary::make({{QStringLiteral("progress"), Value::number(shortestDouble(progress_))}}));
}

QSizeF ProgressView::intrinsicContentSize() const {
    return QSizeF(-1.0, sizeHint().height());
}

bool ProgressView::event(QEvent* event) {
    if (event->type() == QEvent::ParentChange) {
        parentChanged();
    }
    return QProgressBar::event(event);
}

}  // namespace platform::ui
