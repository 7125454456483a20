#pragma once
// A text label with a number of lines, as a touch platform's label.
#include <QLabel>

namespace platform::ui {

class Label : public QLabel {
    Q_OBJECT
  public:
    explicit Label(QWidget* parent = nullptr);
    void setNumberOfLines(int lines);
    int numberOfLines() const { return numberOfLines_; }
    // The height the text needs at width w, but never more than its number of lines (0: no limit).
    int heightForWidth(int w) const override;
    void setSystemFontSize(double points);

  private:
    int numberOfLines_ = 1;
};

}  // namespace platform::ui
