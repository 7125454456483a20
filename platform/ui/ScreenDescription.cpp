#include "platform/ui/ScreenDescription.h"

#include "platform/ui/Alert.h"
#include "platform/ui/Label.h"
#include "platform/ui/NavigationBar.h"
#include "platform/ui/ProgressView.h"
#include "platform/ui/ViewHelpers.h"
#include "platform/ui/table/TableView.h"

#include <QAbstractButton>
#include <QFontMetrics>
#include <QLineEdit>
#include <QStyle>

#include <climits>

namespace platform::ui {

namespace {

// Whether w lies inside a table under root: the table describes its own texts.
bool insideTable(const QWidget* w, const QWidget* root) {
    for (const QWidget* p = w->parentWidget(); p && p != root; p = p->parentWidget()) {
        if (qobject_cast<const TableView*>(p)) {
            return true;
        }
    }
    return false;
}

// A bar position as a snapshot names it; empty for Any, which a snapshot leaves out.
QString barPositionName(BarPosition position) {
    switch (position) {
        case BarPosition::Any:
            break;
        case BarPosition::Bottom:
            return QStringLiteral("bottom");
        case BarPosition::Top:
            return QStringLiteral("top");
        case BarPosition::TopAttached:
            return QStringLiteral("topAttached");
    }
    return QString();
}

// The first table in root's tree (root itself included) that shows.
TableView* visibleTable(QWidget* root) {
    if (auto* table = qobject_cast<TableView*>(root)) {
        return table;
    }
    for (TableView* table : root->findChildren<TableView*>()) {
        if (table->isVisibleTo(root)) {
            return table;
        }
    }
    return nullptr;
}

// Whether text, in w's font, needs more room than w's frame gives it (wrapping at its width when it
// wraps): the toolkit clips what does not fit, so a longer translation would lose its end.
bool textOverflows(const QWidget* w, const QString& text, bool wraps) {
    const QRect frame = w->contentsRect();
    const QRect needed = QFontMetrics(w->font()).boundingRect(
        QRect(0, 0, wraps ? frame.width() : INT_MAX / 2, INT_MAX / 2), wraps ? Qt::TextWordWrap : 0, text);
    return needed.width() > frame.width() + 1 || needed.height() > frame.height() + 1;
}

}  // namespace

QStringList overflowingTexts(QWidget* root) {
    QStringList texts;
    if (!root) {
        return texts;
    }
    for (const QLabel* label : root->findChildren<QLabel*>()) {
        if (label->isVisibleTo(root) && !label->text().isEmpty() && label->width() > 0 &&
            textOverflows(label, label->text(), label->wordWrap())) {
            texts.push_back(label->text());
        }
    }
    for (const QLineEdit* field : root->findChildren<QLineEdit*>()) {
        // The placeholder shows in the field's text area, inside its frame and margins.
        if (field->isVisibleTo(root) && !field->placeholderText().isEmpty() && field->width() > 0 &&
            QFontMetrics(field->font()).horizontalAdvance(field->placeholderText()) >
                field->width() -
                    2 * field->style()->pixelMetric(QStyle::PM_DefaultFrameWidth, nullptr, field) - 4) {
            texts.push_back(field->placeholderText());
        }
    }
    for (const QAbstractButton* button : root->findChildren<QAbstractButton*>()) {
        // A button's frame has its own margins; the text needs at least its width inside them.
        if (button->isVisibleTo(root) && !button->text().isEmpty() && button->width() > 0 &&
            QFontMetrics(button->font()).horizontalAdvance(button->text()) > button->width()) {
            texts.push_back(button->text());
        }
    }
    return texts;
}

DictionaryRef describeScreen(QWidget* root, const AlertController* presentedAlert) {
    auto screen = Dictionary::make();
    if (!root) {
        return screen;
    }
    if (auto* bar = NavigationBar::findIn(root)) {
        if (const QString position = barPositionName(bar->barPosition()); !position.isEmpty()) {
            screen->set(QStringLiteral("barPosition"), Value::string(position));
        }
        if (const auto item = bar->topItem()) {
            screen->set(QStringLiteral("title"), Value::string(item->title()));
            if (const auto button = item->rightBarButtonItem()) {
                screen->set(QStringLiteral("rightButton"),
                            Value::dictionary(Dictionary::make({
                                {QStringLiteral("title"), Value::string(button->title())},
                                {QStringLiteral("enabled"), Value::boolean(button->isEnabled())},
                            })));
            }
        }
    }
    if (presentedAlert && presentedAlert->isPresented()) {
        screen->set(QStringLiteral("alert"), Value::dictionary(presentedAlert->describe()));
    }
    // Only the toolkit's own labels and bars count: the texts inside bars, alerts and the table are
    // described on their own.
    auto labels = makeArray();
    for (const Label* label : root->findChildren<Label*>()) {
        if (label->isVisibleTo(root) && !insideTable(label, root)) {
            labels->push_back(Value::string(label->text()));
        }
    }
    screen->set(QStringLiteral("labels"), Value::array(labels));
    auto progress = makeArray();
    for (const ProgressView* bar : root->findChildren<ProgressView*>()) {
        if (bar->isVisibleTo(root)) {
            progress->push_back(Value::number(shortestDouble(bar->progress())));
        }
    }
    screen->set(QStringLiteral("progress"), Value::array(progress));
    if (TableView* table = visibleTable(root)) {
        screen->set(QStringLiteral("table"), Value::dictionary(table->describe()));
    }
    // Only when there are any, so that a snapshot of a screen whose texts all fit stays as it was.
    if (const QStringList clipped = overflowingTexts(root); !clipped.isEmpty()) {
        auto overflowing = makeArray();
        for (const QString& text : clipped) {
            overflowing->push_back(Value::string(text));
        }
        screen->set(QStringLiteral("overflowing"), Value::array(overflowing));
    }
    return screen;
}

}  // namespace platform::ui
