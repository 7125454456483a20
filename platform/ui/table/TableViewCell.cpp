#include "platform/ui/table/TableViewCell.h"

#include <QPainter>
#include <QVariantAnimation>
#include "platform/ui/Animation.h"

#include <algorithm>

namespace platform::ui {

namespace {

// The margin at the cell's leading and trailing edges, and the gap after the image.
constexpr int kMargin = 15;
// In the subtitle style: the room above the text and below the detail, and the gap between them.
constexpr int kSubtitlePadding = 11;
constexpr int kSubtitleGap = 3;
const QColor kHighlightColour(217, 217, 217);

}  // namespace

TableViewCell::TableViewCell(TableViewCellStyle style, const QString& reuseIdentifier, QWidget* parent)
    : View(parent),
      style_(style),
      reuseIdentifier_(reuseIdentifier),
      textLabel_(new Label(this)),
      detailTextLabel_(new Label(this)),
      imageView_(new ImageView(this)) {
    // The table paints the row's background and separators; the cell only adds its content.
    setAttribute(Qt::WA_TranslucentBackground);
    detailTextLabel_->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    QPalette detailPalette = detailTextLabel_->palette();
    detailPalette.setColor(QPalette::WindowText, QColor(142, 142, 147));
    detailTextLabel_->setPalette(detailPalette);
    if (style_ == TableViewCellStyle::Subtitle) {
        // The detail runs under the text, from the same edge, on as many lines as it takes.
        detailTextLabel_->setAlignment(Qt::AlignLeft | Qt::AlignTop);
        detailTextLabel_->setNumberOfLines(0);
        textLabel_->setAlignment(Qt::AlignLeft | Qt::AlignTop);
    }
    resize(320, 44);
    layoutContent();
}

void TableViewCell::setSelected(bool selected, bool animated) {
    if (fade_) {
        fade_->stop();
        fade_->deleteLater();
        fade_ = nullptr;
    }
    selected_ = selected;
    if (selected || !animated || !shouldAnimate(this) || highlight_ <= 0.0) {
        highlight_ = selected ? 1.0 : 0.0;
        update();
        return;
    }
    fade_ = new QVariantAnimation(this);
    fade_->setStartValue(highlight_);
    fade_->setEndValue(0.0);
    fade_->setDuration(kFadeMilliseconds);
    connect(fade_, &QVariantAnimation::valueChanged, this, [this](const QVariant& v) {
        highlight_ = v.toDouble();
        update();
    });
    connect(fade_, &QVariantAnimation::finished, this, [this] {
        highlight_ = 0.0;
        fade_->deleteLater();
        fade_ = nullptr;
        update();
    });
    fade_->start();
}

void TableViewCell::prepareForReuse() {
    textLabel_->clear();
    detailTextLabel_->clear();
    imageView_->setImage(nullptr);
    userInteractionEnabled_ = true;
    setSelected(false, false);
}

void TableViewCell::resizeEvent(QResizeEvent* event) {
    View::resizeEvent(event);
    layoutContent();
}

void TableViewCell::paintEvent(QPaintEvent*) {
    if (highlight_ <= 0.0) {
        return;
    }
    QPainter painter(this);
    QColor colour = kHighlightColour;
    colour.setAlphaF(highlight_);
    painter.fillRect(rect(), colour);
}

int TableViewCell::textLeft(int h) {
    int x = kMargin;
    const ImageRef& image = imageView_->image();
    if (image) {
        const QSize size = image->size();
        imageView_->setGeometry(x, (h - size.height()) / 2, size.width(), size.height());
        imageView_->show();
        x += size.width() + kMargin;
    } else {
        imageView_->hide();
    }
    return x;
}

double TableViewCell::fittingHeight(double width) const {
    constexpr double kRowHeight = 44.0;
    if (style_ != TableViewCellStyle::Subtitle) {
        return kRowHeight;
    }
    const ImageRef& image = imageView_->image();
    const int left = kMargin + (image ? image->size().width() + kMargin : 0);
    const int w = std::max(1, static_cast<int>(width) - left - kMargin);
    int h = 2 * kSubtitlePadding + textLabel_->heightForWidth(w);
    if (!detailTextLabel_->text().isEmpty()) {
        h += kSubtitleGap + detailTextLabel_->heightForWidth(w);
    }
    return std::max(kRowHeight, static_cast<double>(h));
}

void TableViewCell::layoutSubtitle() {
    const int h = height();
    const int right = width() - kMargin;
    const int x = textLeft(h);
    const int w = std::max(0, right - x);
    const int textHeight = textLabel_->heightForWidth(std::max(1, w));
    const bool detail = !detailTextLabel_->text().isEmpty();
    const int detailHeight = detail ? detailTextLabel_->heightForWidth(std::max(1, w)) : 0;
    const int block = textHeight + (detail ? kSubtitleGap + detailHeight : 0);
    const int top = std::max(0, (h - block) / 2);
    textLabel_->setGeometry(x, top, w, textHeight);
    if (imageView_->image()) {
        // Beside the first line, however many lines the detail takes.
        const QRect imageFrame = imageView_->geometry();
        imageView_->move(imageFrame.x(), top + (textHeight - imageFrame.height()) / 2);
    }
    if (detail) {
        detailTextLabel_->setGeometry(x, top + textHeight + kSubtitleGap, w, detailHeight);
        detailTextLabel_->show();
    } else {
        detailTextLabel_->hide();
    }
}

void TableViewCell::layoutContent() {
    if (style_ == TableViewCellStyle::Subtitle) {
        layoutSubtitle();
        return;
    }
    const int h = height();
    const int x = textLeft(h);
    const int right = width() - kMargin;
    int textRight = right;
    if (!detailTextLabel_->text().isEmpty()) {
        const QSize detail = detailTextLabel_->sizeHint();
        const int detailWidth = std::min(detail.width(), std::max(0, right - x));
        detailTextLabel_->setGeometry(right - detailWidth, (h - detail.height()) / 2, detailWidth,
                                      detail.height());
        detailTextLabel_->show();
        textRight = right - detailWidth - 8;
    } else {
        detailTextLabel_->hide();
    }
    const int textHeight = textLabel_->sizeHint().height();
    textLabel_->setGeometry(x, (h - textHeight) / 2, std::max(0, textRight - x), textHeight);
}

}  // namespace platform::ui
