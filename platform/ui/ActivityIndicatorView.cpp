#include "platform/ui/ActivityIndicatorView.h"

#include <QPainter>
#include <QTimerEvent>
#include "platform/foundation/Value.h"
#include "platform/ui/ScreenEvents.h"

#include <algorithm>
#include <cmath>

namespace platform::ui {

namespace {

constexpr int kSpokes = 12;
// One turn a second: a step per spoke.
constexpr int kStepMilliseconds = 1000 / kSpokes;

}  // namespace

ActivityIndicatorView::ActivityIndicatorView(ActivityIndicatorViewStyle style, QWidget* parent)
    : View(parent), style_(style) {
    setAttribute(Qt::WA_TransparentForMouseEvents);
    resize(intrinsicContentSize().toSize());
    hide();  // a stopped spinner is not shown
}

QSizeF ActivityIndicatorView::intrinsicContentSize() const {
    return style_ == ActivityIndicatorViewStyle::WhiteLarge ? QSize(37, 37) : QSize(20, 20);
}

QSize ActivityIndicatorView::sizeHint() const {
    return intrinsicContentSize().toSize();
}

void ActivityIndicatorView::startAnimating() {
    if (animating_) {
        return;
    }
    animating_ = true;
    timer_ = startTimer(kStepMilliseconds);
    show();
    if (reportsScreenEvents_) {
        reportScreenEvent(QStringLiteral("spinner"),
                          Dictionary::make({{QStringLiteral("animating"), Value::boolean(true)}}));
    }
}

void ActivityIndicatorView::stopAnimating() {
    if (!animating_) {
        return;
    }
    animating_ = false;
    if (timer_ != 0) {
        killTimer(timer_);
        timer_ = 0;
    }
    hide();
    if (reportsScreenEvents_) {
        reportScreenEvent(QStringLiteral("spinner"),
                          Dictionary::make({{QStringLiteral("animating"), Value::boolean(false)}}));
    }
}

void ActivityIndicatorView::timerEvent(QTimerEvent* event) {
    if (event->timerId() != timer_) {
        View::timerEvent(event);
        return;
    }
    step_ = (step_ + 1) % kSpokes;
    update();
}

void ActivityIndicatorView::paintEvent(QPaintEvent*) {
    if (!animating_) {
        return;
    }
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QColor base =
        style_ == ActivityIndicatorViewStyle::Gray ? QColor(128, 128, 128) : QColor(Qt::white);
    const double side = std::min(width(), height());
    const double outer = side / 2.0;
    const double inner = outer * 0.45;
    const double thickness = std::max(1.5, side / 10.0);
    painter.translate(width() / 2.0, height() / 2.0);
    // Twelve spokes; the one at the current step is darkest and the ones behind it fade out, so the
    // darkness turns clockwise as the step advances.
    for (int i = 0; i < kSpokes; ++i) {
        const int age = (step_ - i + kSpokes) % kSpokes;
        QColor colour = base;
        colour.setAlphaF(1.0 - 0.75 * static_cast<double>(age) / kSpokes);
        painter.setPen(QPen(colour, thickness, Qt::SolidLine, Qt::RoundCap));
        painter.save();
        painter.rotate(360.0 * i / kSpokes);
        painter.drawLine(QPointF(0.0, -inner), QPointF(0.0, -outer + thickness / 2.0));
        painter.restore();
    }
}

}  // namespace platform::ui
