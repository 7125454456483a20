#pragma once
// A progress bar whose progress runs from 0.0 to 1.0.
#include <QProgressBar>

namespace platform::ui {

class ProgressView : public QProgressBar {
    Q_OBJECT
  public:
    explicit ProgressView(QWidget* parent = nullptr);
    void setProgress(float progress, bool animated);
    float progress() const { return progress_; }

  private:
    float progress_ = 0.0f;
};

}  // namespace platform::ui
