#include "platform/ui/ProgressView.h"

#include <algorithm>
#include <cmath>
#include "platform/foundation/Value.h"
#include "platform/ui/ScreenEvents.h"
#include "platform/ui/ViewHelpers.h"

namespace platform::ui {

ProgressView::ProgressView(QWidget* parent) : QProgressBar(parent) {
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
    reportScreenEvent(QStringLiteral("progress"),
                      Dictionary::make({{QStringLiteral("progress"), Value::number(progress_)}}));
}

}  // namespace platform::ui
