#include "platform/ui/ScreenDescription.h"

#include "platform/ui/Alert.h"
#include "platform/ui/Label.h"
#include "platform/ui/NavigationBar.h"
#include "platform/ui/ProgressView.h"
#include "platform/ui/ViewHelpers.h"

namespace platform::ui {

DictionaryRef describeScreen(QWidget* root, const AlertController* presentedAlert) {
    auto screen = Dictionary::make();
    if (!root) {
        return screen;
    }
    if (const auto* bar = NavigationBar::findIn(root)) {
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
    // Only the toolkit's own labels and bars count: the texts inside bars and alerts are described above.
    auto labels = makeArray();
    for (const Label* label : root->findChildren<Label*>()) {
        if (label->isVisibleTo(root)) {
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
    return screen;
}

}  // namespace platform::ui
