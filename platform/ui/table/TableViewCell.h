#pragma once
// A table row's cell in the value-one style: an optional image at the leading edge, the main text
// label beside it and a detail label at the trailing edge; in the subtitle style the detail runs
// under the text on as many lines as it takes (the delegate gives the row the height it needs).
// Cells are made by a table for a reuse identifier and reused for other rows once they scroll away.

#include "platform/ui/Image.h"
#include "platform/ui/Label.h"
#include "platform/ui/View.h"

#include <QString>

class QVariantAnimation;

namespace platform::ui {

class ImageView;

enum class TableViewCellStyle { Default = 0, Value1 = 1, Value2 = 2, Subtitle = 3 };

class TableViewCell : public View {
    Q_OBJECT
  public:
    TableViewCell(TableViewCellStyle style, const QString& reuseIdentifier, QWidget* parent = nullptr);
    // A value-one cell, as a table makes it for a registered class.
    explicit TableViewCell(const QString& reuseIdentifier)
        : TableViewCell(TableViewCellStyle::Value1, reuseIdentifier) {}

    TableViewCellStyle cellStyle() const { return style_; }
    const QString& reuseIdentifier() const { return reuseIdentifier_; }
    Label* textLabel() const { return textLabel_; }
    Label* detailTextLabel() const { return detailTextLabel_; }
    ImageView* imageView() const { return imageView_; }

    // A cell with user interaction off ignores taps; its row cannot be selected.
    void setUserInteractionEnabled(bool enabled) { userInteractionEnabled_ = enabled; }
    bool isUserInteractionEnabled() const { return userInteractionEnabled_; }

    // The selected look: a grey highlight over the row. Turning it off with animated fades the
    // highlight out (at once off screen).
    void setSelected(bool selected, bool animated);
    bool isSelected() const { return selected_; }

    // Called before the table hands the cell out again for another row: texts and image are cleared,
    // the cell is not selected and user interaction is on again.
    virtual void prepareForReuse();

    // Places image and labels for the current texts and size; the table calls it once the data
    // source has filled the cell.
    void layoutContent();
    // The row height the current texts need at the given cell width: a row's 44 points, or more
    // in the subtitle style when text and detail take more lines.
    double fittingHeight(double width) const;

  protected:
    void resizeEvent(QResizeEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

  private:
    // Places the image at the leading edge, centred for a row of height h; answers where the
    // labels start.
    int textLeft(int h);
    void layoutSubtitle();

    TableViewCellStyle style_;
    QString reuseIdentifier_;
    Label* textLabel_;
    Label* detailTextLabel_;
    ImageView* imageView_;
    bool userInteractionEnabled_ = true;
    bool selected_ = false;
    double highlight_ = 0.0;  // 1 while selected; falls to 0 as a deselection fades
    QVariantAnimation* fade_ = nullptr;
};

}  // namespace platform::ui
