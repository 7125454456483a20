// The UI toolkit as the host and automation see it: alerts (button order, styles, disabled
// buttons, the text field), the navigation bar, constraints passes and the screen description.

#include "platform/foundation/Json.h"
#include "platform/ui/Toolkit.h"

#include "unittests/support/MainLoop.h"

#include <QCoreApplication>
#include <QLineEdit>
#include <QPushButton>
#include <QThread>

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <optional>
#include <thread>
#include <vector>

namespace {

using namespace platform::ui;

std::string json(const platform::DictionaryRef& d) {
    return platform::toJson(*d).toStdString();
}

// The overlay's push buttons, in the order they are laid out.
std::vector<QPushButton*> overlayButtons(QWidget* root, const QStringList& titles) {
    std::vector<QPushButton*> found;
    for (const QString& title : titles) {
        for (auto* b : root->findChildren<QPushButton*>()) {
            if (b->text() == title && b->isVisibleTo(root)) {
                found.push_back(b);
            }
        }
    }
    return found;
}

class ToolkitTest : public ::testing::Test {
  protected:
    void SetUp() override {
        root = std::make_unique<View>();
        root->resize(375, 667);
        root->show();
    }
    void TearDown() override {
        root.reset();
        testsupport::runMainLoopUntilIdle();
    }
    std::unique_ptr<View> root;
};

TEST_F(ToolkitTest, AlertDescribesButtonsInOrderWithStyles) {
    auto alert = AlertController::alertControllerWithTitle(QString(), QStringLiteral("Turn Wi-Fi on?"));
    alert->addAction(
        std::make_shared<AlertAction>(QStringLiteral("No"), AlertAction::Style::Cancel, nullptr));
    alert->addAction(
        std::make_shared<AlertAction>(QStringLiteral("Yes"), AlertAction::Style::Default, nullptr));
    alert->addAction(
        std::make_shared<AlertAction>(QStringLiteral("Forget"), AlertAction::Style::Destructive, nullptr));
    EXPECT_FALSE(alert->isPresented());
    alert->presentOver(root.get(), nullptr);
    ASSERT_TRUE(alert->isPresented());
    EXPECT_EQ(
        json(alert->describe()),
        R"({"buttons": [{"enabled": true, "style": "cancel", "title": "No"}, )"
        R"({"enabled": true, "style": "default", "title": "Yes"}, )"
        R"({"enabled": true, "style": "destructive", "title": "Forget"}], "message": "Turn Wi-Fi on?"})");
    // The overlay covers the whole presenting view, with one push button per action.
    EXPECT_EQ(overlayButtons(root.get(), {"No", "Yes", "Forget"}).size(), 3u);
}

TEST_F(ToolkitTest, AlertReleasedOnAWorkerThreadLeavesItsWidgetsToTheGuiThread) {
    auto alert = AlertController::alertControllerWithTitle(QString(), QStringLiteral("Turn Wi-Fi on?"));
    alert->addAction(
        std::make_shared<AlertAction>(QStringLiteral("No"), AlertAction::Style::Cancel, nullptr));
    alert->presentOver(root.get(), nullptr);
    const auto buttons = overlayButtons(root.get(), {"No"});
    ASSERT_EQ(buttons.size(), 1u);
    QWidget* overlay = buttons[0]->parentWidget()->parentWidget();
    ASSERT_EQ(overlay->parentWidget(), root.get());
    std::optional<bool> deletedOnGuiThread;
    QObject::connect(
        overlay, &QObject::destroyed, overlay,
        [&] { deletedOnGuiThread = QThread::currentThread() == QCoreApplication::instance()->thread(); },
        Qt::DirectConnection);

    // The last reference goes on a worker, as when the host releases the controller there.
    std::thread([released = std::move(alert)]() mutable { released.reset(); }).join();

    ASSERT_TRUE(testsupport::runMainLoopUntil([&] { return deletedOnGuiThread.has_value(); }));
    EXPECT_TRUE(*deletedOnGuiThread);
    EXPECT_TRUE(overlayButtons(root.get(), {"No"}).empty());
}

TEST_F(ToolkitTest, TapDismissesTheAlertThenRunsTheHandlerOfThatButtonOnly) {
    std::vector<std::string> happened;
    auto alert = AlertController::alertControllerWithTitle(QString(), QStringLiteral("Choose"));
    alert->addAction(std::make_shared<AlertAction>(QStringLiteral("First"), AlertAction::Style::Default,
                                                   [&] { happened.push_back("first"); }));
    alert->addAction(std::make_shared<AlertAction>(
        QStringLiteral("Second"), AlertAction::Style::Default,
        [&] { happened.push_back(alert->isPresented() ? "second while shown" : "second after dismissal"); }));
    alert->presentOver(root.get(), [&] { happened.push_back("dismissed"); });

    EXPECT_TRUE(alert->tapAction(1));
    EXPECT_EQ(happened, (std::vector<std::string>{"dismissed", "second after dismissal"}));
    EXPECT_FALSE(alert->isPresented());
    // Once dismissed, no button can be tapped any more.
    EXPECT_FALSE(alert->tapAction(0));
    EXPECT_EQ(happened.size(), 2u);
    testsupport::runMainLoopUntilIdle();
    EXPECT_TRUE(overlayButtons(root.get(), {"First", "Second"}).empty());
}

TEST_F(ToolkitTest, ClickingTheOverlayButtonActsLikeATap) {
    int yes = 0;
    bool dismissed = false;
    auto alert = AlertController::alertControllerWithTitle(QString(), QStringLiteral("Sure?"));
    alert->addAction(
        std::make_shared<AlertAction>(QStringLiteral("Yes"), AlertAction::Style::Default, [&] { ++yes; }));
    alert->presentOver(root.get(), [&] { dismissed = true; });
    const auto buttons = overlayButtons(root.get(), {"Yes"});
    ASSERT_EQ(buttons.size(), 1u);
    buttons[0]->click();
    EXPECT_EQ(yes, 1);
    EXPECT_TRUE(dismissed);
    EXPECT_FALSE(alert->isPresented());
}

TEST_F(ToolkitTest, DisabledAlertButtonRefusesTapsUntilEnabledAgain) {
    int joins = 0;
    auto alert = AlertController::alertControllerWithTitle(QString(), QStringLiteral("Name"));
    auto join =
        std::make_shared<AlertAction>(QStringLiteral("Join"), AlertAction::Style::Default, [&] { ++joins; });
    alert->addAction(join);
    join->setEnabled(false);
    alert->presentOver(root.get(), nullptr);

    const auto buttons = overlayButtons(root.get(), {"Join"});
    ASSERT_EQ(buttons.size(), 1u);
    EXPECT_FALSE(buttons[0]->isEnabled());
    EXPECT_FALSE(alert->tapAction(0));
    EXPECT_FALSE(alert->tapAction(7));  // no such button
    EXPECT_EQ(joins, 0);
    EXPECT_TRUE(alert->isPresented());
    EXPECT_EQ(json(alert->describe()),
              R"({"buttons": [{"enabled": false, "style": "default", "title": "Join"}], "message": "Name"})");

    join->setEnabled(true);  // the presented overlay follows
    EXPECT_TRUE(buttons[0]->isEnabled());
    EXPECT_TRUE(alert->tapAction(0));
    EXPECT_EQ(joins, 1);
}

TEST_F(ToolkitTest, TypeTextSetsTheFieldAndReportsTheEditingChange) {
    auto alert = AlertController::alertControllerWithTitle(QString(), QStringLiteral("Other network"));
    auto join = std::make_shared<AlertAction>(QStringLiteral("Join"), AlertAction::Style::Default, nullptr);
    join->setEnabled(false);
    alert->addAction(join);
    std::vector<QString> seen;
    alert->addTextField([&](AlertTextField& field) {
        field.placeholder = QStringLiteral("Network name");
        field.editingChanged = [&] {
            const QString text = alert->textFields().at(0)->text;
            seen.push_back(text);
            join->setEnabled(!text.isEmpty());
        };
    });
    EXPECT_FALSE(alert->typeText(QStringLiteral("early")));  // not shown yet: nobody can type
    EXPECT_TRUE(seen.empty());

    alert->presentOver(root.get(), nullptr);
    EXPECT_TRUE(alert->typeText(QStringLiteral("Cafe")));
    EXPECT_EQ(seen, (std::vector<QString>{QStringLiteral("Cafe")}));
    const auto edits = root->findChildren<QLineEdit*>();
    ASSERT_EQ(edits.size(), 1);
    EXPECT_EQ(edits[0]->text(), QStringLiteral("Cafe"));
    EXPECT_EQ(edits[0]->placeholderText(), QStringLiteral("Network name"));
    EXPECT_EQ(
        json(alert->describe()),
        R"({"buttons": [{"enabled": true, "style": "default", "title": "Join"}], "message": "Other network", )"
        R"("textField": {"placeholder": "Network name", "text": "Cafe"}})");
    EXPECT_TRUE(alert->typeText(QString()));
    EXPECT_EQ(seen.back(), QString());
    EXPECT_FALSE(join->isEnabled());
}

TEST_F(ToolkitTest, TypeTextIsRefusedWithoutATextField) {
    auto alert = AlertController::alertControllerWithTitle(QString(), QStringLiteral("Plain"));
    alert->presentOver(root.get(), nullptr);
    EXPECT_FALSE(alert->typeText(QStringLiteral("x")));
    EXPECT_TRUE(alert->textFields().empty());
}

TEST_F(ToolkitTest, AlertOverlayStaysOnTopOfViewsAddedLater) {
    auto alert = AlertController::alertControllerWithTitle(QString(), QStringLiteral("On top"));
    alert->presentOver(root.get(), nullptr);
    auto* later = new Label(root.get());
    later->setText(QStringLiteral("added behind the alert"));
    later->show();
    // The last child is the one drawn on top.
    ASSERT_FALSE(root->children().isEmpty());
    const auto* top = qobject_cast<QWidget*>(root->children().constLast());
    ASSERT_NE(top, nullptr);
    EXPECT_NE(top, later);
    EXPECT_EQ(top->geometry(), root->rect());
    root->resize(320, 480);
    EXPECT_EQ(top->geometry(), root->rect());
}

TEST_F(ToolkitTest, AlertOverlayStaysOnTopOfAViewBroughtToTheFrontLater) {
    auto* bar = new NavigationBar(root.get());
    auto alert = AlertController::alertControllerWithTitle(QString(), QStringLiteral("On top"));
    alert->presentOver(root.get(), nullptr);
    bar->raise();
    const auto* top = qobject_cast<QWidget*>(root->children().constLast());
    ASSERT_NE(top, nullptr);
    EXPECT_NE(top, bar);
    EXPECT_EQ(top->geometry(), root->rect());
}

TEST_F(ToolkitTest, AnAlertPresentedWhileAnotherIsStillBeingTakenAwayGoesOnTop) {
    auto first = AlertController::alertControllerWithTitle(QString(), QStringLiteral("First"));
    first->presentOver(root.get(), nullptr);
    first->dismiss();  // its overlay is deleted only when the event loop next turns
    auto second = AlertController::alertControllerWithTitle(QString(), QStringLiteral("Second"));
    second->presentOver(root.get(), nullptr);
    auto* later = new Label(root.get());
    later->show();
    later->raise();
    const auto* top = qobject_cast<QWidget*>(root->children().constLast());
    ASSERT_NE(top, nullptr);
    EXPECT_TRUE(top->isVisible());
    EXPECT_EQ(top->geometry(), root->rect());
    EXPECT_NE(top, later);
    EXPECT_TRUE(second->isPresented());
}

TEST_F(ToolkitTest, TwoAlertsShownAtOnceKeepTheLaterOnTop) {
    auto first = AlertController::alertControllerWithTitle(QString(), QStringLiteral("First"));
    first->presentOver(root.get(), nullptr);
    auto second = AlertController::alertControllerWithTitle(QString(), QStringLiteral("Second"));
    second->presentOver(root.get(), nullptr);
    const auto* top = qobject_cast<QWidget*>(root->children().constLast());
    auto* bar = new NavigationBar(root.get());
    bar->raise();
    EXPECT_EQ(qobject_cast<QWidget*>(root->children().constLast()), top);
    second->dismiss();
    bar->raise();
    const auto* nowTop = qobject_cast<QWidget*>(root->children().constLast());
    EXPECT_NE(nowTop, bar);
    EXPECT_TRUE(nowTop->isVisible());
}

TEST_F(ToolkitTest, NavigationBarSpansTheWidthOfItsView) {
    auto* bar = new NavigationBar(root.get());
    EXPECT_EQ(bar->width(), 375);
    EXPECT_EQ(bar->height(), 44);
    root->resize(320, 480);
    EXPECT_EQ(bar->width(), 320);
    bar->moveCentreBy(20.0);
    EXPECT_EQ(bar->y(), 20);
}

TEST_F(ToolkitTest, NavigationBarAsksItsDelegateForItsPosition) {
    struct Delegate : NavigationBarDelegate {
        BarPosition position = BarPosition::TopAttached;
        std::vector<NavigationBar*> asked;
        BarPosition positionForBar(NavigationBar* bar) override {
            asked.push_back(bar);
            return position;
        }
    } delegate;
    auto* bar = new NavigationBar(root.get());
    bar->setItems({std::make_shared<NavigationItem>(QStringLiteral("Wi-Fi"))});
    // Without a delegate the bar may sit anywhere, and a snapshot says nothing of it.
    EXPECT_EQ(bar->barPosition(), BarPosition::Any);
    EXPECT_EQ(json(describeScreen(root.get(), nullptr)),
              R"({"labels": [], "progress": [], "title": "Wi-Fi"})");

    bar->setDelegate(&delegate);
    EXPECT_EQ(bar->barPosition(), BarPosition::TopAttached);
    EXPECT_EQ(delegate.asked, std::vector<NavigationBar*>{bar});
    EXPECT_EQ(json(describeScreen(root.get(), nullptr)),
              R"({"barPosition": "topAttached", "labels": [], "progress": [], "title": "Wi-Fi"})");
    delegate.position = BarPosition::Bottom;
    EXPECT_EQ(json(describeScreen(root.get(), nullptr)),
              R"({"barPosition": "bottom", "labels": [], "progress": [], "title": "Wi-Fi"})");
    delegate.position = BarPosition::Top;
    EXPECT_EQ(json(describeScreen(root.get(), nullptr)),
              R"({"barPosition": "top", "labels": [], "progress": [], "title": "Wi-Fi"})");

    bar->setDelegate(nullptr);
    EXPECT_EQ(bar->barPosition(), BarPosition::Any);
}

TEST_F(ToolkitTest, NavigationBarFollowsItsItemAndRightButton) {
    auto* bar = new NavigationBar(root.get());
    bar->resize(375, 44);
    bar->show();
    int nexts = 0;
    auto next =
        std::make_shared<BarButtonItem>(QStringLiteral("Next"), BarButtonItem::Style::Done, [&] { ++nexts; });
    auto item = std::make_shared<NavigationItem>(QStringLiteral("Choose a Network"));
    bar->setItems({item});
    EXPECT_EQ(json(describeScreen(root.get(), nullptr)),
              R"({"labels": [], "progress": [], "title": "Choose a Network"})");

    item->setRightBarButtonItem(next);
    next->setEnabled(false);
    EXPECT_EQ(json(describeScreen(root.get(), nullptr)),
              R"({"labels": [], "progress": [], "rightButton": {"enabled": false, "title": "Next"}, )"
              R"("title": "Choose a Network"})");
    const auto buttons = overlayButtons(root.get(), {"Next"});
    ASSERT_EQ(buttons.size(), 1u);
    EXPECT_FALSE(buttons[0]->isEnabled());
    EXPECT_FALSE(next->tap());
    buttons[0]->click();
    EXPECT_EQ(nexts, 0);

    next->setEnabled(true);
    EXPECT_TRUE(buttons[0]->isEnabled());
    buttons[0]->click();
    EXPECT_TRUE(next->tap());
    EXPECT_EQ(nexts, 2);

    // The title is centred on the bar even with a button on one side only.
    QCoreApplication::processEvents();
    const auto labels = bar->findChildren<QLabel*>();
    ASSERT_EQ(labels.size(), 1);
    EXPECT_NEAR(labels[0]->geometry().center().x(), bar->rect().center().x(), 1);

    item->setRightBarButtonItem(nullptr);
    EXPECT_FALSE(buttons[0]->isVisibleTo(root.get()));
    EXPECT_EQ(json(describeScreen(root.get(), nullptr)),
              R"({"labels": [], "progress": [], "title": "Choose a Network"})");
    EXPECT_EQ(NavigationBar::findIn(root.get()), bar);
}

TEST_F(ToolkitTest, DescribeScreenListsVisibleLabelsProgressAndThePresentedAlert) {
    auto* shown = new Label(root.get());
    shown->setText(QStringLiteral("Running tests"));
    shown->resize(300, 40);
    auto* hidden = new Label(root.get());
    hidden->setText(QStringLiteral("not on screen"));
    hidden->hide();
    auto* progress = new ProgressView(root.get());
    progress->setProgress(0.1f, false);
    auto* nested = new View(root.get());
    auto* inner = new Label(nested);
    inner->setText(QStringLiteral("inside a container"));
    inner->resize(300, 40);

    auto alert = AlertController::alertControllerWithTitle(QStringLiteral("Note"), QStringLiteral("Hello"));
    alert->addAction(
        std::make_shared<AlertAction>(QStringLiteral("OK"), AlertAction::Style::Cancel, nullptr));
    // Not presented yet: no alert in the description even when one is passed.
    EXPECT_EQ(json(describeScreen(root.get(), alert.get())),
              R"({"labels": ["Running tests", "inside a container"], "progress": [0.1]})");
    alert->presentOver(root.get(), nullptr);
    EXPECT_EQ(
        json(describeScreen(root.get(), alert.get())),
        R"({"alert": {"buttons": [{"enabled": true, "style": "cancel", "title": "OK"}], "message": "Hello", )"
        R"("title": "Note"}, "labels": ["Running tests", "inside a container"], "progress": [0.1]})");
    EXPECT_EQ(json(describeScreen(nullptr, nullptr)), "{}");
}

TEST_F(ToolkitTest, DescribeScreenNamesTheTextsThatDoNotFitTheirFrames) {
    auto* fits = new Label(root.get());
    fits->setText(QStringLiteral("Next"));
    fits->resize(200, 40);
    auto* tooNarrow = new Label(root.get());
    tooNarrow->setText(QStringLiteral("A title far too long for its frame"));
    tooNarrow->resize(60, 40);
    auto* wraps = new Label(root.get());
    wraps->setNumberOfLines(0);
    wraps->setText(QStringLiteral("A message that wraps onto as many lines as it needs"));
    wraps->resize(120, wraps->heightForWidth(120));
    auto* cutOff = new Label(root.get());
    cutOff->setNumberOfLines(0);
    cutOff->setText(QStringLiteral("A message that wraps but whose frame is one line high"));
    cutOff->resize(120, QFontMetrics(cutOff->font()).height());
    auto* field = new QLineEdit(root.get());
    field->setPlaceholderText(QStringLiteral("A placeholder longer than its field"));
    field->resize(80, 30);
    field->show();
    auto* roomyField = new QLineEdit(root.get());
    roomyField->setPlaceholderText(QStringLiteral("Name"));
    roomyField->resize(200, 30);
    roomyField->show();
    EXPECT_EQ(overflowingTexts(root.get()),
              (QStringList{QStringLiteral("A title far too long for its frame"),
                           QStringLiteral("A message that wraps but whose frame is one line high"),
                           QStringLiteral("A placeholder longer than its field")}));
    const auto overflowing = describeScreen(root.get(), nullptr)->value(QStringLiteral("overflowing"));
    ASSERT_TRUE(overflowing.has_value());
    EXPECT_EQ(
        platform::toJson(*overflowing).toStdString(),
        R"(["A title far too long for its frame", "A message that wraps but whose frame is one line high", )"
        R"("A placeholder longer than its field"])");
}

TEST_F(ToolkitTest, ProgressIsKeptBetweenZeroAndOne) {
    ProgressView progress;
    progress.setProgress(0.5f, true);
    EXPECT_FLOAT_EQ(progress.progress(), 0.5f);
    EXPECT_EQ(progress.value(), progress.maximum() / 2);
    progress.setProgress(1.7f, false);
    EXPECT_FLOAT_EQ(progress.progress(), 1.0f);
    EXPECT_EQ(progress.value(), progress.maximum());
    progress.setProgress(-0.2f, false);
    EXPECT_FLOAT_EQ(progress.progress(), 0.0f);
    progress.setProgress(std::nanf(""), false);
    EXPECT_FLOAT_EQ(progress.progress(), 0.0f);
}

TEST_F(ToolkitTest, ConstraintsRequestsBeforeAPassShareOnePass) {
    int passes = 0;
    root->setUpdateConstraintsHandler([&] { ++passes; });
    root->setNeedsUpdateConstraints();
    root->setNeedsUpdateConstraints();
    EXPECT_EQ(passes, 0);  // posted, not run in place
    ASSERT_TRUE(testsupport::runMainLoopUntilIdle());
    EXPECT_EQ(passes, 1);
    root->setNeedsUpdateConstraints();
    ASSERT_TRUE(testsupport::runMainLoopUntilIdle());
    EXPECT_EQ(passes, 2);
}

TEST_F(ToolkitTest, ConstraintsPassOfAViewGoneMeanwhileIsDropped) {
    int passes = 0;
    auto* child = new View(root.get());
    child->setUpdateConstraintsHandler([&] { ++passes; });
    child->setNeedsUpdateConstraints();
    delete child;
    ASSERT_TRUE(testsupport::runMainLoopUntilIdle());
    EXPECT_EQ(passes, 0);
}

TEST_F(ToolkitTest, LabelLinesAndFont) {
    Label label;
    EXPECT_EQ(label.numberOfLines(), 1);
    EXPECT_FALSE(label.wordWrap());
    label.setNumberOfLines(0);
    EXPECT_TRUE(label.wordWrap());
    label.setSystemFontSize(17);
    EXPECT_DOUBLE_EQ(label.systemFontSize(), 17.0);
    EXPECT_EQ(label.font().pixelSize(), 17);  // a point is a device-independent pixel
}

}  // namespace
