#include "platform/ui/Image.h"

#include <QFile>
#include <QPainter>
#include <QPainterPath>

namespace platform::ui {

namespace {

// The check mark's size in points. The toolkit draws at one pixel per point, so this is also its
// size in pixels; a same-sized transparent image lines texts up with a checked row's text.
constexpr int kCheckmarkWidth = 14;
constexpr int kCheckmarkHeight = 11;

}  // namespace

ImageRef Image::imageNamed(const QString& name, const QString& resourceRoot) {
    // A name is one file name, never a path that could reach outside the images folder.
    if (name.isEmpty() || name.contains(u'/') || name.contains(u'\\') || name.startsWith(u'.')) {
        return nullptr;
    }
    const QString path = resourceRoot + QStringLiteral("/images/") + name + QStringLiteral(".png");
    if (!QFile::exists(path)) {
        return nullptr;
    }
    QImage pixels(path);
    if (pixels.isNull()) {
        return nullptr;
    }
    return std::make_shared<const Image>(name, pixels.convertToFormat(QImage::Format_ARGB32_Premultiplied));
}

ImageRef Image::checkmark() {
    QImage pixels(kCheckmarkWidth, kCheckmarkHeight, QImage::Format_ARGB32_Premultiplied);
    pixels.fill(Qt::transparent);
    QPainter painter(&pixels);
    painter.setRenderHint(QPainter::Antialiasing);
    QPen pen(Qt::black, 2.0, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin);
    painter.setPen(pen);
    // A short stroke down to the bottom point, then a long one up to the top right corner.
    QPainterPath tick;
    tick.moveTo(1.5, 5.5);
    tick.lineTo(5.0, 9.0);
    tick.lineTo(12.5, 1.5);
    painter.drawPath(tick);
    painter.end();
    return std::make_shared<const Image>(QStringLiteral("check"), pixels);
}

QColor Image::interactionTintColor() {
    return QColor(0, 122, 255);
}

ImageRef Image::flattenedToColor(const QColor& colour) const {
    QImage out = pixels_.convertToFormat(QImage::Format_ARGB32);
    const QRgb rgb = colour.rgb();
    for (int y = 0; y < out.height(); ++y) {
        auto* line = reinterpret_cast<QRgb*>(out.scanLine(y));
        for (int x = 0; x < out.width(); ++x) {
            // The pixel's coverage becomes the colour's opacity; its own colour is dropped.
            const int alpha = qAlpha(line[x]) * colour.alpha() / 255;
            line[x] = qRgba(qRed(rgb), qGreen(rgb), qBlue(rgb), alpha);
        }
    }
    return std::make_shared<const Image>(name_, out.convertToFormat(QImage::Format_ARGB32_Premultiplied));
}

ImageView::ImageView(QWidget* parent) : View(parent) {
    setAttribute(Qt::WA_TransparentForMouseEvents);
}

void ImageView::setImage(ImageRef image) {
    image_ = std::move(image);
    if (image_) {
        resize(image_->size());
    }
    updateGeometry();
    update();
}

QSize ImageView::sizeHint() const {
    return image_ ? image_->size() : QSize(0, 0);
}

void ImageView::paintEvent(QPaintEvent*) {
    if (!image_) {
        return;
    }
    QPainter painter(this);
    const QSize natural = image_->size();
    painter.drawImage(QPoint((width() - natural.width()) / 2, (height() - natural.height()) / 2),
                      image_->pixels());
}

}  // namespace platform::ui
