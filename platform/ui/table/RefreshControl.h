#pragma once
// The pull-to-refresh control of a table: a table fires it when the user pulls the list down past
// its top; its owner ends the refreshing when the new content is in.

#include "platform/ui/View.h"

#include <functional>

namespace platform::ui {

class RefreshControl : public View {
    Q_OBJECT
  public:
    explicit RefreshControl(QWidget* parent = nullptr);
    // The value-changed action: sent when a pull begins refreshing.
    void setValueChangedAction(std::function<void()> action) { valueChanged_ = std::move(action); }
    void beginRefreshing();
    void endRefreshing();
    bool isRefreshing() const { return refreshing_; }
    // What a pull past the top does: begins refreshing and sends the action. Refused (false) while
    // refreshing already.
    bool pull();

  private:
    std::function<void()> valueChanged_;
    bool refreshing_ = false;
};

}  // namespace platform::ui
