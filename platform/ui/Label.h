#pragma once
// A text label with a number of lines, as a touch platform's label.
#include <QColor>
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
    void setTextColor(const QColor& colour);
    QColor textColor() const;
    // No background of its own: what is behind shows through.
    void setBackgroundClear();

  private:
    int numberOfLines_ = 1;
};

}  // namespace platform::ui
