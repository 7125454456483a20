#include "wifiprofile/chooser/WiFiHeaderView.h"

#include "platform/ui/table/TableView.h"

#include "platform/ui/Geometry.h"

#include <QColor>

namespace wifiprofile {

namespace {

constexpr double kCaptionFontSize = 13.0;
constexpr double kCaptionWhiteLevel = 0.4;
constexpr double kInsetInTable = 15.0;
constexpr double kInsetElsewhere = 18.0;
constexpr double kCaptionTop = 10.0;
constexpr double kSpinnerTop = 8.0;
constexpr double kSpinnerGap = 10.0;

}  // namespace

WiFiHeaderView* WiFiHeaderView::initWithFrame(const QRectF& frame, const QString& text, bool showSpinner,
                                              platform::ui::View* parent) {
    auto* header = new WiFiHeaderView(parent);
    platform::ui::setFrame(header, frame);
    header->setBackgroundClear();
    header->setAutoresizingFlexibleSize(true, false);
    header->headerText = new platform::ui::Label(header);
    header->headerText->setSystemFontSize(kCaptionFontSize);
    header->headerText->setTextColor(
        QColor::fromRgbF(kCaptionWhiteLevel, kCaptionWhiteLevel, kCaptionWhiteLevel, 1.0));
    header->headerText->setBackgroundClear();
    header->headerText->setText(text);
    if (showSpinner) {
        header->spinner =
            new platform::ui::ActivityIndicatorView(platform::ui::ActivityIndicatorViewStyle::Gray, header);
    }
    header->layoutSubviews();
    return header;
}

double WiFiHeaderView::leftInset() const {
    if (const auto* table = qobject_cast<const platform::ui::TableView*>(platform::ui::superview(this))) {
        if (const auto inset = table->backgroundInset()) {
            return *inset + kInsetInTable;
        }
    }
    return kInsetElsewhere;
}

WiFiHeaderView::Frames WiFiHeaderView::framesFor(double inset, QSizeF captionSize) {
    const double w = captionSize.width();
    const double h = captionSize.height();
    return Frames{QRectF(inset, kCaptionTop, w, h), QRectF(inset + w + kSpinnerGap, kSpinnerTop, h, h)};
}

void WiFiHeaderView::layoutSubviews() {
    if (!headerText) {
        return;  // still being made: the frame is set before the caption exists
    }
    platform::ui::sizeToFit(headerText);
    const Frames frames = framesFor(leftInset(), platform::ui::frame(headerText).size());
    if (spinner) {
        platform::ui::setFrame(spinner, frames.spinner);
    }
    platform::ui::setFrame(headerText, frames.caption);
}

}  // namespace wifiprofile
