#pragma once
// A progress bar whose progress runs from 0.0 to 1.0, at its natural height under constraints.
#include <QProgressBar>
#include "platform/ui/LayoutConstraint.h"

namespace platform::ui {

enum class ProgressViewStyle { Default = 0, Bar = 1 };

class ProgressView : public QProgressBar, public LayoutItem {
    Q_OBJECT
  public:
    explicit ProgressView(QWidget* parent = nullptr);
    explicit ProgressView(ProgressViewStyle style, QWidget* parent = nullptr);
    ProgressViewStyle progressViewStyle() const { return style_; }
    void setProgressViewStyle(ProgressViewStyle style) { style_ = style; }
    // Reports a "progress" screen event with the value as a person would write it (0.025).
    void setProgress(float progress, bool animated);
    float progress() const { return progress_; }

    // No width of its own; the bar's natural height.
    QSizeF intrinsicContentSize() const override;

  protected:
    bool event(QEvent* event) override;
    QWidget* layoutWidget() override { return this; }

  private:
    float progress_ = 0.0f;
    ProgressViewStyle style_ = ProgressViewStyle::Default;
};

}  // namespace platform::ui
