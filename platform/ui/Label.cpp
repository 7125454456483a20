#include "platform/ui/Label.h"

#include <QEvent>
#include <QStringList>
#include <algorithm>
#include <cmath>
#include "platform/ui/ViewHelpers.h"

namespace platform::ui {

Label::Label(QWidget* parent) : QLabel(parent) {
    setWordWrap(false);
    appearWithParent(this);
}

Label::Label(const QRect& frame, QWidget* parent) : Label(parent) {
    setGeometry(frame);
}

void Label::setNumberOfLines(int lines) {
    numberOfLines_ = lines;
    setWordWrap(lines != 1);  // 0 means as many lines as the text needs
}

int Label::heightForWidth(int w) const {
    const int needed = QLabel::heightForWidth(w);
    if (numberOfLines_ <= 0) {
        return needed;
    }
    return std::min(needed, heightOfLines(numberOfLines_));
}

int Label::heightOfLines(int lines) const {
    // Measured as the label measures its text, so that a limit of n lines is exactly n lines high.
    QLabel probe;
    probe.setFont(font());
    probe.setContentsMargins(contentsMargins());
    probe.setMargin(margin());
    probe.setWordWrap(true);
    probe.setText(QStringList(std::max(1, lines), QStringLiteral("X")).join(QLatin1Char('\n')));
    return probe.heightForWidth(QWIDGETSIZE_MAX / 2);
}

void Label::setSystemFontSize(double points) {
    systemFontSize_ = points;
    QFont f = font();
    f.setPixelSize(std::max(1, static_cast<int>(std::lround(points))));
    setFont(f);
}

void Label::setOpaque(bool opaque) {
    opaque_ = opaque;
    setAutoFillBackground(opaque);  // an opaque label paints its whole frame
}

void Label::setTextAlignment(TextAlignment alignment) {
    textAlignment_ = alignment;
    Qt::Alignment horizontal = Qt::AlignLeading;
    switch (alignment) {
        case TextAlignment::Left:
            horizontal = Qt::AlignLeft;
            break;
        case TextAlignment::Center:
            horizontal = Qt::AlignHCenter;
            break;
        case TextAlignment::Right:
            horizontal = Qt::AlignRight;
            break;
        case TextAlignment::Justified:
            horizontal = Qt::AlignJustify;
            break;
        case TextAlignment::Natural:
            break;
    }
    setAlignment(horizontal | Qt::AlignVCenter);
}

void Label::setLineBreakMode(LineBreakMode mode) {
    lineBreakMode_ = mode;
}

void Label::setPreferredMaxLayoutWidth(double width) {
    preferredMaxLayoutWidth_ = std::max(0.0, width);
    updateGeometry();
}

void Label::setTextColor(const QColor& color) {
    QPalette p = palette();
    p.setColor(QPalette::WindowText, color);
    setPalette(p);
}

QColor Label::textColor() const {
    return palette().color(QPalette::WindowText);
}

QSizeF Label::intrinsicContentSize() const {
    if (text().isEmpty()) {
        return {0.0, 0.0};
    }
    const QMargins m = contentsMargins();
    const int frame = m.left() + m.right() + 2 * margin();
    const int oneLine = fontMetrics().horizontalAdvance(text()) + frame;
    if (numberOfLines_ == 1) {
        return QSizeF(oneLine, fontMetrics().lineSpacing() + m.top() + m.bottom() + 2 * margin());
    }
    const int wrapWidth = preferredMaxLayoutWidth_ > 0
                              ? static_cast<int>(std::lround(preferredMaxLayoutWidth_))
                              : (width() > 0 ? width() : oneLine);
    return QSizeF(std::min(wrapWidth, oneLine), heightForWidth(wrapWidth));
}

bool Label::event(QEvent* event) {
    if (event->type() == QEvent::ParentChange) {
        parentChanged();
    }
    return QLabel::event(event);
}

void Label::setBackgroundClear() {
    setOpaque(false);
}

}  // namespace platform::ui
