#include "platform/ui/Label.h"

#include <algorithm>
#include "platform/ui/ViewHelpers.h"

namespace platform::ui {

Label::Label(QWidget* parent) : QLabel(parent) {
    setWordWrap(false);
    appearWithParent(this);
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
    const QMargins m = contentsMargins();
    const int limit = numberOfLines_ * fontMetrics().lineSpacing() + m.top() + m.bottom() + 2 * margin();
    return std::min(needed, limit);
}

void Label::setSystemFontSize(double points) {
    QFont f = font();
    f.setPointSizeF(points);
    setFont(f);
}

void Label::setTextColor(const QColor& colour) {
    QPalette p = palette();
    p.setColor(QPalette::WindowText, colour);
    setPalette(p);
}

QColor Label::textColor() const {
    return palette().color(QPalette::WindowText);
}

void Label::setBackgroundClear() {
    setAutoFillBackground(false);
}

}  // namespace platform::ui
