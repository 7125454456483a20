#include "wifiprofile/chooser/WiFiHeaderView.h"

#include "platform/ui/table/TableView.h"

#include <QColor>
#include <QResizeEvent>

#include <cmath>

namespace wifiprofile {

namespace {

constexpr double kCaptionFontSize = 13.0;
constexpr double kCaptionWhiteLevel = 0.4;
constexpr double kInsetInTable = 15.0;
constexpr double kInsetElsewhere = 18.0;
constexpr double kCaptionTop = 10.0;
constexpr double kSpinnerTop = 8.0;
constexpr double kSpinnerGap = 10.0;

QRect pixelRect(const QRectF& r) {
    return QRect(static_cast<int>(std::lround(r.x())), static_cast<int>(std::lround(r.y())),
                 static_cast<int>(std::lround(r.width())), static_cast<int>(std::lround(r.height())));
}

}  // namespace

WiFiHeaderView* WiFiHeaderView::initWithFrame(const QRect& frame, const QString& text, bool showSpinner,
                                              QWidget* parent) {
    auto* header = new WiFiHeaderView(parent);
    header->setGeometry(frame);
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
    if (const auto* table = qobject_cast<const platform::ui::TableView*>(parentWidget())) {
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
    headerText->adjustSize();
    const Frames frames = framesFor(leftInset(), QSizeF(headerText->size()));
    if (spinner) {
        spinner->setGeometry(pixelRect(frames.spinner));
    }
    headerText->setGeometry(pixelRect(frames.caption));
}

void WiFiHeaderView::resizeEvent(QResizeEvent* event) {
    View::resizeEvent(event);
    layoutSubviews();
}

}  // namespace wifiprofile
