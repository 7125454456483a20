#include "platform/ui/table/RefreshControl.h"

#include "platform/foundation/Value.h"
#include "platform/ui/ActivityIndicatorView.h"
#include "platform/ui/ScreenEvents.h"

namespace platform::ui {

RefreshControl::RefreshControl(QWidget* parent)
    : View(parent), spinner_(new ActivityIndicatorView(ActivityIndicatorViewStyle::Gray, this)) {
    spinner_->setReportsScreenEvents(false);  // the "refresh" event reports its state
    resize(320, static_cast<int>(kHeight));
}

void RefreshControl::beginRefreshing() {
    if (refreshing_) {
        return;
    }
    refreshing_ = true;
    spinner_->startAnimating();
    reportScreenEvent(QStringLiteral("refresh"),
                      Dictionary::make({{QStringLiteral("refreshing"), Value::boolean(true)}}));
    emit refreshingChanged(true);
}

void RefreshControl::endRefreshing() {
    if (!refreshing_) {
        return;
    }
    refreshing_ = false;
    spinner_->stopAnimating();
    reportScreenEvent(QStringLiteral("refresh"),
                      Dictionary::make({{QStringLiteral("refreshing"), Value::boolean(false)}}));
    emit refreshingChanged(false);
}

bool RefreshControl::pull() {
    if (refreshing_) {
        return false;
    }
    beginRefreshing();
    if (valueChanged_) {
        // A copy: the action may replace itself.
        const auto action = valueChanged_;
        action();
    }
    return true;
}

void RefreshControl::resizeEvent(QResizeEvent* event) {
    View::resizeEvent(event);
    const QSize s = spinner_->size();
    spinner_->move((width() - s.width()) / 2, (height() - s.height()) / 2);
}

}  // namespace platform::ui
