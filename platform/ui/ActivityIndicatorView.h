#pragma once
// The activity spinner: turns while animating and hides when stopped. Each start and stop is
// reported as a "spinner" screen event with "animating".

#include "platform/ui/View.h"

#include <QSize>

namespace platform::ui {

enum class ActivityIndicatorViewStyle { WhiteLarge = 0, White = 1, Gray = 2 };

class ActivityIndicatorView : public View {
    Q_OBJECT
  public:
    explicit ActivityIndicatorView(ActivityIndicatorViewStyle style, QWidget* parent = nullptr);
    ActivityIndicatorViewStyle indicatorStyle() const { return style_; }
    // 20 by 20 points in the small styles, 37 by 37 in the large one.
    QSizeF intrinsicContentSize() const override;
    QSize sizeHint() const override;
    void startAnimating();
    void stopAnimating();
    bool isAnimating() const { return animating_; }
    // Whether starting and stopping send a "spinner" screen event (on by default). A control whose
    // spinner is its own state, like the refresh control, reports that state itself.
    void setReportsScreenEvents(bool reports) { reportsScreenEvents_ = reports; }

  protected:
    void paintEvent(QPaintEvent* event) override;
    void timerEvent(QTimerEvent* event) override;

  private:
    ActivityIndicatorViewStyle style_;
    bool animating_ = false;
    bool reportsScreenEvents_ = true;
    int timer_ = 0;
    int step_ = 0;
};

}  // namespace platform::ui
