// The progress screen: the message label's and the bar's settings, the eight layout constraints
// added on every constraints pass, the frames they give, and the bar's progress as reported.
#include "platform/ui/Toolkit.h"
#include "unittests/diagnostic/DiagnosticHarness.h"
#include "unittests/support/MainLoop.h"
#include "wifiprofile/resources/Strings.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using namespace platform::ui;
using testsupport::DiagnosticHarness;
using testsupport::joinedScenario;
using A = LayoutAttribute;
using R = LayoutRelation;

// The progress screen of a controller whose root view is size, shown as the host shows it.
struct ProgressScreen {
    explicit ProgressScreen(QSize size = QSize(375, 668)) : h(joinedScenario()) {
        h.controller->view()->resize(size);
        h.controller->view()->show();
        testsupport::runMainLoopUntilIdle();
        h.controller->displayProgressScreen();
    }
    View* root() { return h.controller->view(); }
    Label* label() { return h.controller->mainLabel; }
    ProgressView* bar() { return h.controller->progressView; }
    // One constraints pass as the root view runs it: the owner's update, then the layout.
    void pass() {
        root()->setNeedsUpdateConstraints();
        root()->layoutIfNeeded();
    }
    DiagnosticHarness h;
};

struct Expected {
    QWidget* item;
    A attribute;
    R relation;
    QWidget* toItem;
    A toAttribute;
    double constant;
    float priority;
};

void expectConstraint(const LayoutConstraintRef& c, const Expected& e, const char* which) {
    SCOPED_TRACE(which);
    ASSERT_NE(c, nullptr);
    EXPECT_EQ(c->firstItem(), e.item);
    EXPECT_EQ(c->firstAttribute(), e.attribute);
    EXPECT_EQ(c->relation(), e.relation);
    EXPECT_EQ(c->secondItem(), e.toItem);
    EXPECT_EQ(c->secondAttribute(), e.toAttribute);
    EXPECT_DOUBLE_EQ(c->multiplier(), 1.0);
    EXPECT_DOUBLE_EQ(c->constant(), e.constant);
    EXPECT_FLOAT_EQ(c->priority(), e.priority);
}

TEST(ProgressScreen, ShownInOrderWithoutButtonAndWithTheConstraintsPassPosted) {
    ProgressScreen s;
    EXPECT_TRUE(s.h.controller->progressScreenVisible);
    ASSERT_NE(s.label(), nullptr);
    ASSERT_NE(s.bar(), nullptr);
    const QObjectList children = s.root()->children();
    EXPECT_EQ(children.indexOf(s.label()) + 1, children.indexOf(s.bar()));
    EXPECT_TRUE(s.label()->isVisibleTo(s.root()));
    EXPECT_TRUE(s.bar()->isVisibleTo(s.root()));
    // The constraints come with the posted pass, not with the call.
    EXPECT_TRUE(s.root()->constraints().empty());
    EXPECT_EQ(s.label()->geometry(), QRect(0, 0, 0, 0));
    ASSERT_TRUE(s.h.waitUntilIdle());
    EXPECT_EQ(s.root()->constraints().size(), 6u);
    EXPECT_EQ(s.label()->x(), 20);
}

TEST(ProgressScreen, TheLabelHasTheMessageSettings) {
    ProgressScreen s;
    const Label* label = s.label();
    EXPECT_FALSE(label->isOpaque());
    EXPECT_EQ(static_cast<int>(label->contentMode()), 7);
    EXPECT_FLOAT_EQ(label->contentHuggingPriority(LayoutAxis::Horizontal), 251.0f);
    EXPECT_FLOAT_EQ(label->contentHuggingPriority(LayoutAxis::Vertical), 251.0f);
    EXPECT_EQ(static_cast<int>(label->textAlignment()), 1);
    EXPECT_EQ(static_cast<int>(label->lineBreakMode()), 0);
    EXPECT_EQ(label->numberOfLines(), 3);
    EXPECT_EQ(static_cast<int>(label->baselineAdjustment()), 2);
    EXPECT_DOUBLE_EQ(label->preferredMaxLayoutWidth(), 280.0);
    EXPECT_DOUBLE_EQ(label->systemFontSize(), 27.0);
    EXPECT_EQ(label->font().pixelSize(), 27);
    EXPECT_EQ(label->text(), wifiprofile::localizedString(QStringLiteral("PROGRESS_TEXT")));
    EXPECT_FALSE(label->text().isEmpty());
    EXPECT_EQ(label->textColor(), QColor(Qt::black));
    EXPECT_FALSE(label->translatesAutoresizingMaskIntoConstraints());
    EXPECT_TRUE(label->styleSheet().isEmpty());
}

TEST(ProgressScreen, TheBarHasTheBarSettings) {
    ProgressScreen s;
    const ProgressView* bar = s.bar();
    EXPECT_EQ(static_cast<int>(bar->progressViewStyle()), 0);
    EXPECT_FLOAT_EQ(bar->progress(), 0.0f);
    EXPECT_FLOAT_EQ(bar->contentHuggingPriority(LayoutAxis::Vertical), 750.0f);
    EXPECT_FLOAT_EQ(bar->contentHuggingPriority(LayoutAxis::Horizontal), 250.0f);
    EXPECT_FALSE(bar->translatesAutoresizingMaskIntoConstraints());
}

TEST(ProgressScreen, EachPassAddsTheEightConstraintsAgainInOrder) {
    const int errorsBefore = platform::ui::programmingErrorCount();
    ProgressScreen s;
    View* root = s.root();
    Label* label = s.label();
    ProgressView* bar = s.bar();
    const std::vector<Expected> onRoot = {
        {label, A::Leading, R::Equal, root, A::Leading, 20, 1000},
        {root, A::Trailing, R::Equal, label, A::Trailing, 20, 1000},
        {label, A::CenterX, R::Equal, root, A::CenterX, 0, 1000},
        {label, A::Bottom, R::Equal, root, A::CenterY, 21, 1000},
        {bar, A::CenterX, R::Equal, root, A::CenterX, 0, 1000},
        {bar, A::Top, R::Equal, label, A::Bottom, 15, 1000},
    };
    const Expected onLabel = {label, A::Height, R::GreaterThanOrEqual, nullptr, A::NotAnAttribute, 36, 750};
    const Expected onBar = {bar, A::Width, R::Equal, nullptr, A::NotAnAttribute, 240, 1000};
    s.pass();
    const QRect labelFrame = label->geometry();
    const QRect barFrame = bar->geometry();
    s.pass();
    ASSERT_EQ(root->constraints().size(), 12u);
    ASSERT_EQ(label->constraints().size(), 2u);
    ASSERT_EQ(bar->constraints().size(), 2u);
    for (std::size_t pass = 0; pass < 2; ++pass) {
        for (std::size_t i = 0; i < onRoot.size(); ++i) {
            const std::string which =
                "pass " + std::to_string(pass + 1) + ", root's constraint " + std::to_string(i);
            expectConstraint(root->constraints()[pass * onRoot.size() + i], onRoot[i], which.c_str());
        }
        expectConstraint(label->constraints()[pass], onLabel, "the label's");
        expectConstraint(bar->constraints()[pass], onBar, "the bar's");
    }
    // New objects each pass, the same frames.
    EXPECT_NE(root->constraints()[0], root->constraints()[6]);
    EXPECT_EQ(label->geometry(), labelFrame);
    EXPECT_EQ(bar->geometry(), barFrame);
    EXPECT_EQ(platform::ui::programmingErrorCount(), errorsBefore);
}

TEST(ProgressScreen, NothingIsAddedWhileTheScreenIsNotShown) {
    DiagnosticHarness h(joinedScenario());
    h.controller->updateViewConstraints();
    EXPECT_TRUE(h.controller->view()->constraints().empty());
}

TEST(ProgressScreen, FramesPutTheLabelAboveTheCentreAndTheBarUnderIt) {
    ProgressScreen s(QSize(375, 668));
    s.pass();
    const QRect label = s.label()->geometry();
    EXPECT_EQ(label.x(), 20);
    EXPECT_EQ(label.width(), 375 - 40);
    EXPECT_EQ(label.bottom() + 1, 668 / 2 + 21);
    EXPECT_EQ(label.height(), 36);  // one line of 27 points is less than the 36-point minimum
    const QRect bar = s.bar()->geometry();
    EXPECT_EQ(bar.width(), 240);
    EXPECT_EQ(bar.x() + bar.width() / 2, 375 / 2 + 1);  // 187.5 rounds up
    EXPECT_EQ(bar.y(), label.bottom() + 1 + 15);
    EXPECT_EQ(bar.height(), s.bar()->sizeHint().height());
}

TEST(ProgressScreen, ALongMessageWrapsToAtMostThreeLinesAndGrowsUpwards) {
    ProgressScreen s(QSize(375, 668));
    s.pass();
    const int bottom = s.label()->geometry().bottom();
    s.label()->setText(QStringLiteral("Checking"));
    s.pass();
    const QRect oneLine = s.label()->geometry();
    s.label()->setText(QStringLiteral("Checking the network settings"));
    s.pass();
    const QRect twoLines = s.label()->geometry();
    s.label()->setText(QString("Profiling the Wi-Fi set-up of this device ").repeated(8));
    s.pass();
    const QRect threeLines = s.label()->geometry();
    EXPECT_EQ(oneLine.height(), 36);
    EXPECT_EQ(twoLines.height(), s.label()->heightOfLines(2));
    EXPECT_EQ(threeLines.height(), s.label()->heightOfLines(3));
    EXPECT_GT(s.label()->heightOfLines(2), 36);
    for (const QRect& r : {oneLine, twoLines, threeLines}) {
        EXPECT_EQ(r.bottom(), bottom);  // the bottom edge stays; the label grows upwards
        EXPECT_EQ(r.x(), 20);
        EXPECT_EQ(r.width(), 335);
    }
    EXPECT_EQ(s.bar()->y(), bottom + 1 + 15);
    EXPECT_EQ(s.bar()->width(), 240);
}

TEST(ProgressScreen, LayoutFollowsANewSizeOfTheScreen) {
    ProgressScreen s(QSize(375, 668));
    ASSERT_TRUE(s.h.waitUntilIdle());
    s.root()->resize(320, 480);
    ASSERT_TRUE(s.h.waitUntilIdle());
    EXPECT_EQ(s.label()->geometry().bottom() + 1, 480 / 2 + 21);
    EXPECT_EQ(s.label()->width(), 320 - 40);
    EXPECT_EQ(s.bar()->x(), (320 - 240) / 2);
}

TEST(ProgressScreen, DirectModeKeepsTheLabelAndBarAndAddsOnlyTheNavigationBar) {
    DiagnosticHarness h(joinedScenario());
    h.controller->view()->resize(375, 668);
    h.controller->start();
    ASSERT_TRUE(h.waitUntilIdle());
    View* root = h.controller->view();
    EXPECT_EQ(h.controller->tableView, nullptr);
    ASSERT_NE(h.controller->navigationBar, nullptr);
    EXPECT_TRUE(h.controller->mainLabel->isVisibleTo(root));
    EXPECT_TRUE(h.controller->progressView->isVisibleTo(root));
    std::vector<QWidget*> direct;
    for (QObject* o : root->children()) {
        if (auto* w = qobject_cast<QWidget*>(o)) {
            direct.push_back(w);
        }
    }
    EXPECT_EQ(direct, std::vector<QWidget*>({h.controller->mainLabel, h.controller->progressView,
                                             h.controller->navigationBar}));
    EXPECT_EQ(h.controller->mainLabel->geometry().bottom() + 1, 668 / 2 + 21);
}

TEST(ProgressScreen, ProgressEventsCarryTheShortestTextOfTheValue) {
    std::vector<double> reported;
    setScreenEventObserver([&](const QString& kind, platform::DictionaryRef fields) {
        if (kind == QStringLiteral("progress")) {
            reported.push_back(fields->value(QStringLiteral("progress"))->toDouble());
        }
    });
    ProgressScreen s;
    reported.clear();
    s.h.controller->totalTests = 40;
    s.h.controller->completedTests = 0;
    s.h.controller->updateProgress();
    ASSERT_TRUE(testsupport::runMainLoopUntil([&] { return !reported.empty(); }));
    setScreenEventObserver(nullptr);
    ASSERT_EQ(reported.size(), 1u);
    EXPECT_EQ(reported[0], 0.025);
    EXPECT_FLOAT_EQ(s.bar()->progress(), 0.025f);
}

}  // namespace
