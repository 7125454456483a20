#include "platform/ui/ScreenDescription.h"

#include "platform/ui/Alert.h"
#include "platform/ui/Label.h"
#include "platform/ui/NavigationBar.h"
#include "platform/ui/ProgressView.h"
#include "platform/ui/ViewHelpers.h"
#include "platform/ui/table/TableView.h"

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

}  // namespace

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
    return screen;
}

}  // namespace platform::ui
