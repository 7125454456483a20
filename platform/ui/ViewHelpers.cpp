#include "platform/ui/ViewHelpers.h"

#include <charconv>
#include <cstdlib>
#include <system_error>

namespace platform::ui {

QPalette whitePalette(QPalette palette) {
    palette.setColor(QPalette::Window, Qt::white);
    return palette;
}

void appearWithParent(QWidget* w) {
    if (w->parentWidget()) {
        w->setVisible(true);
    }
}

double shortestDouble(float f) {
    char digits[32];
    const auto [end, error] = std::to_chars(digits, digits + sizeof digits, f);
    if (error != std::errc()) {
        return static_cast<double>(f);
    }
    *end = '\0';
    return std::strtod(digits, nullptr);
}

}  // namespace platform::ui
