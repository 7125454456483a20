#pragma once
// The pull-to-refresh control of a table: a table fires it when the user pulls the list down past
// its top; its owner ends the refreshing when the new content is in. While refreshing, the table
// shows it as a row with a turning spinner above its content. Each change is reported as a
// "refresh" screen event with "refreshing".

#include "platform/ui/View.h"

#include <functional>

namespace platform::ui {

class ActivityIndicatorView;

class RefreshControl : public View {
    Q_OBJECT
  public:
    // The height of the row the control takes above a table's content while refreshing.
    static constexpr double kHeight = 44.0;

    explicit RefreshControl(QWidget* parent = nullptr);
    // The value-changed action: sent when a pull begins refreshing.
    void setValueChangedAction(std::function<void()> action) { valueChanged_ = std::move(action); }
    void beginRefreshing();
    void endRefreshing();
    bool isRefreshing() const { return refreshing_; }
    // What a pull past the top does: begins refreshing and sends the action. Refused (false) while
    // refreshing already.
    bool pull();
    ActivityIndicatorView* spinner() const { return spinner_; }

  signals:
    void refreshingChanged(bool refreshing);

  protected:
    void resizeEvent(QResizeEvent* event) override;

  private:
    ActivityIndicatorView* spinner_;
    std::function<void()> valueChanged_;
    bool refreshing_ = false;
};

}  // namespace platform::ui
