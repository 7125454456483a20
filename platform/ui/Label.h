#pragma once
// A text label as a touch platform's label: lines, alignment, line breaking, font, colour, and
// the settings constraint layout reads (intrinsic size at a preferred maximum width).
#include <QColor>
#include <QLabel>
#include "platform/ui/LayoutConstraint.h"

namespace platform::ui {

// How a view's content is placed when its size changes; Left keeps it at the left edge.
enum class ViewContentMode {
    ScaleToFill = 0,
    ScaleAspectFit = 1,
    ScaleAspectFill = 2,
    Redraw = 3,
    Center = 4,
    Top = 5,
    Bottom = 6,
    Left = 7,
    Right = 8,
    TopLeft = 9,
    TopRight = 10,
    BottomLeft = 11,
    BottomRight = 12,
};

enum class TextAlignment { Left = 0, Center = 1, Right = 2, Justified = 3, Natural = 4 };

enum class LineBreakMode {
    WordWrapping = 0,
    CharWrapping = 1,
    Clipping = 2,
    TruncatingHead = 3,
    TruncatingTail = 4,
    TruncatingMiddle = 5,
};

// How text shrunk to fit is placed against the baseline; None leaves it at the top.
enum class BaselineAdjustment { AlignBaselines = 0, AlignCenters = 1, None = 2 };

class Label : public QLabel, public LayoutItem {
    Q_OBJECT
  public:
    explicit Label(QWidget* parent = nullptr);
    // A label with the given initial frame (a zero rectangle when constraints size it).
    explicit Label(const QRect& frame, QWidget* parent = nullptr);

    void setNumberOfLines(int lines);
    int numberOfLines() const { return numberOfLines_; }
    // The height the text needs at width w, but never more than its number of lines (0: no limit).
    int heightForWidth(int w) const override;
    // The height that the given number of lines of text take in this label's font.
    int heightOfLines(int lines) const;

    // The system font at a size in points (one point is one device-independent pixel).
    void setSystemFontSize(double points);
    double systemFontSize() const { return systemFontSize_; }

    void setOpaque(bool opaque);
    bool isOpaque() const { return opaque_; }
    void setContentMode(ViewContentMode mode) { contentMode_ = mode; }
    ViewContentMode contentMode() const { return contentMode_; }
    void setTextAlignment(TextAlignment alignment);
    TextAlignment textAlignment() const { return textAlignment_; }
    void setLineBreakMode(LineBreakMode mode);
    LineBreakMode lineBreakMode() const { return lineBreakMode_; }
    void setBaselineAdjustment(BaselineAdjustment adjustment) { baselineAdjustment_ = adjustment; }
    BaselineAdjustment baselineAdjustment() const { return baselineAdjustment_; }
    // The width at which a multi-line label wraps its text for its intrinsic size; 0 means its
    // current width.
    void setPreferredMaxLayoutWidth(double width);
    double preferredMaxLayoutWidth() const { return preferredMaxLayoutWidth_; }
    void setTextColor(const QColor& color);
    QColor textColor() const;
    // No background of its own: what is behind shows through.
    void setBackgroundClear();

    // The text's size: one line's width (at most the preferred maximum width when it may wrap), and
    // the height of the text wrapped at that width, at most its number of lines. None when empty.
    QSizeF intrinsicContentSize() const override;

  protected:
    bool event(QEvent* event) override;
    QWidget* layoutWidget() override { return this; }

  private:
    int numberOfLines_ = 1;
    double systemFontSize_ = 0.0;
    bool opaque_ = false;
    ViewContentMode contentMode_ = ViewContentMode::Redraw;
    TextAlignment textAlignment_ = TextAlignment::Natural;
    LineBreakMode lineBreakMode_ = LineBreakMode::TruncatingTail;
    BaselineAdjustment baselineAdjustment_ = BaselineAdjustment::AlignBaselines;
    double preferredMaxLayoutWidth_ = 0.0;
};

}  // namespace platform::ui
