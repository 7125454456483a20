#pragma once
// The chooser's section header: a grey caption and, for the networks section, a spinner beside it
// that runs while a scan is under way.

#include "platform/ui/ActivityIndicatorView.h"
#include "platform/ui/Label.h"
#include "platform/ui/View.h"

#include <QRectF>
#include <QSizeF>
#include <QString>

namespace wifiprofile {

class WiFiHeaderView : public platform::ui::View {
    Q_OBJECT
  public:
    // A header with the caption text and, when showSpinner, a stopped spinner; laid out at once.
    static WiFiHeaderView* initWithFrame(const QRectF& frame, const QString& text, bool showSpinner,
                                         platform::ui::View* parent = nullptr);

    platform::ui::Label* headerText = nullptr;
    platform::ui::ActivityIndicatorView* spinner = nullptr;  // absent without a spinner

    // Places the caption at the left inset and the spinner beside it; runs on every size change.
    void layoutSubviews() override;

    // Where caption and spinner go for a left inset and a caption of the given size.
    struct Frames {
        QRectF caption;
        QRectF spinner;
    };
    static Frames framesFor(double inset, QSizeF captionSize);
    // The caption's left inset: the table's background inset + 15 inside a table that reports one, else 18.
    double leftInset() const;

  private:
    explicit WiFiHeaderView(platform::ui::View* parent) : View(parent) {}
};

}  // namespace wifiprofile
