// Constraint layout: constraints as objects, the solver's answers for the attributes, relations and
// priorities the screens use, intrinsic sizes with hugging and compression resistance, malformed
// and unsatisfiable constraints, the passes that run it, and taking a view out of its parent.

#include "platform/ui/Toolkit.h"

#include "unittests/support/MainLoop.h"

#include <QPointer>

#include <gtest/gtest.h>

#include <memory>
#include <vector>

namespace {

using namespace platform::ui;
using A = LayoutAttribute;
using R = LayoutRelation;

LayoutConstraintRef make(QWidget* item, A attribute, R relation, QWidget* toItem, A toAttribute,
                         double multiplier, double constant, float priority = LayoutPriority::Required) {
    auto c = LayoutConstraint::constraintWithItem(item, attribute, relation, toItem, toAttribute, multiplier,
                                                  constant);
    c->setPriority(priority);
    return c;
}

LayoutConstraintRef fixed(QWidget* item, A attribute, R relation, double constant,
                          float priority = LayoutPriority::Required) {
    return make(item, attribute, relation, nullptr, A::NotAnAttribute, 1.0, constant, priority);
}

class LayoutTest : public ::testing::Test {
  protected:
    void SetUp() override {
        root = std::make_unique<View>();
        root->resize(400, 600);
        root->show();
        testsupport::runMainLoopUntilIdle();
        errorsBefore = programmingErrorCount();
        setScreenEventObserver([this](const QString& kind, platform::DictionaryRef fields) {
            if (kind == QStringLiteral("error")) {
                errors << fields->value(QStringLiteral("message"))->toString();
            }
        });
    }
    void TearDown() override {
        setScreenEventObserver(nullptr);
        root.reset();
        testsupport::runMainLoopUntilIdle();
    }

    // A child view whose frame the solver sets.
    View* solvedChild(QWidget* parent = nullptr) {
        auto* v = new View(parent ? parent : root.get());
        v->setTranslatesAutoresizingMaskIntoConstraints(false);
        return v;
    }

    std::unique_ptr<View> root;
    int errorsBefore = 0;
    QStringList errors;
};

TEST_F(LayoutTest, AConstraintKeepsWhatItWasMadeWith) {
    auto* child = solvedChild();
    auto c = LayoutConstraint::constraintWithItem(child, A::Top, R::GreaterThanOrEqual, root.get(),
                                                  A::CenterY, 0.5, -3);
    EXPECT_EQ(c->firstItem(), child);
    EXPECT_EQ(c->firstAttribute(), A::Top);
    EXPECT_EQ(c->relation(), R::GreaterThanOrEqual);
    EXPECT_EQ(c->secondItem(), root.get());
    EXPECT_EQ(c->secondAttribute(), A::CenterY);
    EXPECT_DOUBLE_EQ(c->multiplier(), 0.5);
    EXPECT_DOUBLE_EQ(c->constant(), -3);
    EXPECT_FLOAT_EQ(c->priority(), 1000.0f);
    EXPECT_TRUE(c->isRequired());
    c->setPriority(LayoutPriority::DefaultLow);
    EXPECT_FLOAT_EQ(c->priority(), 250.0f);
    EXPECT_FALSE(c->isRequired());
    c->setPriority(5000.0f);
    EXPECT_FLOAT_EQ(c->priority(), 1000.0f);
    EXPECT_EQ(c->describe(), QStringLiteral("View.top >= View.centerY * 0.5 - 3"));
    child->setObjectName(QStringLiteral("box"));
    EXPECT_EQ(fixed(child, A::Height, R::LessThanOrEqual, 36, 750)->describe(),
              QStringLiteral("View \"box\".height <= 36 @750"));
}

TEST_F(LayoutTest, EdgesAndSizesGiveTheFrame) {
    auto* child = solvedChild();
    root->addConstraint(make(child, A::Leading, R::Equal, root.get(), A::Leading, 1.0, 20));
    root->addConstraint(make(root.get(), A::Trailing, R::Equal, child, A::Trailing, 1.0, 30));
    root->addConstraint(make(child, A::Top, R::Equal, root.get(), A::Top, 1.0, 10));
    child->addConstraint(fixed(child, A::Height, R::Equal, 50));
    root->layoutIfNeeded();
    EXPECT_EQ(child->geometry(), QRect(20, 10, 350, 50));
}

TEST_F(LayoutTest, LeftRightBottomAndCentres) {
    auto* a = solvedChild();
    auto* b = solvedChild();
    root->addConstraint(make(a, A::Left, R::Equal, root.get(), A::Left, 1.0, 5));
    root->addConstraint(make(a, A::Right, R::Equal, root.get(), A::CenterX, 1.0, 0));
    root->addConstraint(make(a, A::Bottom, R::Equal, root.get(), A::Bottom, 1.0, -5));
    root->addConstraint(fixed(a, A::Height, R::Equal, 40));
    root->addConstraint(make(b, A::CenterX, R::Equal, a, A::CenterX, 1.0, 0));
    root->addConstraint(make(b, A::CenterY, R::Equal, root.get(), A::CenterY, 1.0, 0));
    root->addConstraint(make(b, A::Width, R::Equal, root.get(), A::Width, 0.25, 0));
    root->addConstraint(make(b, A::Height, R::Equal, b, A::Width, 2.0, 0));
    root->layoutIfNeeded();
    EXPECT_EQ(a->geometry(), QRect(5, 555, 195, 40));
    // centre x 102.5, width 100, centre y 300, height 200
    EXPECT_EQ(b->geometry(), QRect(53, 200, 100, 200));
}

TEST_F(LayoutTest, LeadingAndTrailingFollowTheWritingDirection) {
    root->setLayoutDirection(Qt::RightToLeft);
    auto* child = solvedChild();
    root->addConstraint(make(child, A::Leading, R::Equal, root.get(), A::Leading, 1.0, -20));
    root->addConstraint(fixed(child, A::Width, R::Equal, 100));
    root->addConstraint(make(child, A::Top, R::Equal, root.get(), A::Top, 1.0, 0));
    root->addConstraint(fixed(child, A::Height, R::Equal, 10));
    root->layoutIfNeeded();
    EXPECT_EQ(child->geometry(), QRect(280, 0, 100, 10));
}

TEST_F(LayoutTest, InequalitiesAndPrioritiesDecideBetweenWishes) {
    auto* child = solvedChild();
    root->addConstraint(make(child, A::Left, R::Equal, root.get(), A::Left, 1.0, 0));
    root->addConstraint(make(child, A::Top, R::Equal, root.get(), A::Top, 1.0, 0));
    // Required bounds beat any wish; of two wishes the higher priority wins.
    child->addConstraint(fixed(child, A::Width, R::GreaterThanOrEqual, 100));
    child->addConstraint(fixed(child, A::Width, R::Equal, 50, LayoutPriority::DefaultHigh));
    child->addConstraint(fixed(child, A::Height, R::LessThanOrEqual, 200));
    child->addConstraint(fixed(child, A::Height, R::Equal, 300, LayoutPriority::DefaultLow));
    child->addConstraint(fixed(child, A::Height, R::Equal, 120, 251));
    root->layoutIfNeeded();
    EXPECT_EQ(child->geometry(), QRect(0, 0, 100, 120));
}

TEST_F(LayoutTest, AnUnmetWishOfHighPriorityStillPullsAsFarAsItCan) {
    auto* child = solvedChild();
    root->addConstraint(make(child, A::Left, R::Equal, root.get(), A::Left, 1.0, 0));
    root->addConstraint(make(child, A::Top, R::Equal, root.get(), A::Top, 1.0, 0));
    root->addConstraint(fixed(child, A::Height, R::Equal, 10));
    child->addConstraint(fixed(child, A::Width, R::LessThanOrEqual, 80));
    child->addConstraint(fixed(child, A::Width, R::GreaterThanOrEqual, 500, LayoutPriority::DefaultHigh));
    root->layoutIfNeeded();
    EXPECT_EQ(child->width(), 80);
}

TEST_F(LayoutTest, ChainedViewsAndNestedViewsAreSolvedInOnePass) {
    auto* box = solvedChild();
    auto* inner = solvedChild(box);
    auto* below = solvedChild();
    root->addConstraint(make(box, A::Leading, R::Equal, root.get(), A::Leading, 1.0, 10));
    root->addConstraint(make(box, A::Top, R::Equal, root.get(), A::Top, 1.0, 100));
    root->addConstraint(fixed(box, A::Width, R::Equal, 200));
    root->addConstraint(fixed(box, A::Height, R::Equal, 100));
    root->addConstraint(make(inner, A::CenterX, R::Equal, box, A::CenterX, 1.0, 0));
    root->addConstraint(make(inner, A::CenterY, R::Equal, box, A::CenterY, 1.0, 0));
    root->addConstraint(fixed(inner, A::Width, R::Equal, 20));
    root->addConstraint(fixed(inner, A::Height, R::Equal, 10));
    root->addConstraint(make(below, A::Top, R::Equal, box, A::Bottom, 1.0, 8));
    root->addConstraint(make(below, A::Leading, R::Equal, box, A::Leading, 1.0, 0));
    root->addConstraint(make(below, A::Width, R::Equal, box, A::Width, 1.0, 0));
    root->addConstraint(fixed(below, A::Height, R::Equal, 4));
    root->layoutIfNeeded();
    EXPECT_EQ(box->geometry(), QRect(10, 100, 200, 100));
    EXPECT_EQ(inner->geometry(), QRect(90, 45, 20, 10));  // in the box's coordinates
    EXPECT_EQ(below->geometry(), QRect(10, 208, 200, 4));
}

TEST_F(LayoutTest, AViewWithAutomaticResizingKeepsItsFrameAndAnchorsOthers) {
    auto* anchor = new View(root.get());
    anchor->setGeometry(30, 40, 50, 60);
    auto* child = solvedChild();
    root->addConstraint(make(anchor, A::Left, R::Equal, root.get(), A::Left, 1.0, 0));
    root->addConstraint(make(child, A::Leading, R::Equal, anchor, A::Trailing, 1.0, 1));
    root->addConstraint(make(child, A::Top, R::Equal, anchor, A::Bottom, 1.0, 1));
    root->addConstraint(make(child, A::Width, R::Equal, anchor, A::Width, 1.0, 0));
    root->addConstraint(make(child, A::Height, R::Equal, anchor, A::Height, 1.0, 0));
    root->layoutIfNeeded();
    EXPECT_EQ(anchor->geometry(), QRect(30, 40, 50, 60));
    EXPECT_EQ(child->geometry(), QRect(81, 101, 50, 60));
}

TEST_F(LayoutTest, HalfPointsRoundEachEdgeToTheNearestPixel) {
    root->resize(375, 667);
    auto* child = solvedChild();
    root->addConstraint(make(child, A::CenterX, R::Equal, root.get(), A::CenterX, 1.0, 0));
    root->addConstraint(make(child, A::Bottom, R::Equal, root.get(), A::CenterY, 1.0, 21));
    root->addConstraint(fixed(child, A::Width, R::Equal, 240));
    root->addConstraint(fixed(child, A::Height, R::Equal, 36));
    const auto frames = solveLayout(root.get());
    EXPECT_DOUBLE_EQ(frames.at(child).left(), 67.5);
    EXPECT_DOUBLE_EQ(frames.at(child).bottom(), 354.5);
    EXPECT_EQ(child->geometry(), QRect(68, 319, 240, 36));
}

TEST_F(LayoutTest, AddingTheSameConstraintsAgainGivesTheSameFrames) {
    auto* a = solvedChild();
    auto* b = solvedChild();
    auto addAll = [&] {
        root->addConstraint(make(a, A::Leading, R::Equal, root.get(), A::Leading, 1.0, 20));
        root->addConstraint(make(root.get(), A::Trailing, R::Equal, a, A::Trailing, 1.0, 20));
        a->addConstraint(fixed(a, A::Height, R::GreaterThanOrEqual, 36, LayoutPriority::DefaultHigh));
        a->addConstraint(fixed(a, A::Height, R::Equal, 10, LayoutPriority::DefaultLow));
        root->addConstraint(make(a, A::Bottom, R::Equal, root.get(), A::CenterY, 1.0, 21));
        root->addConstraint(make(b, A::Top, R::Equal, a, A::Bottom, 1.0, 15));
        root->addConstraint(make(b, A::CenterX, R::Equal, root.get(), A::CenterX, 1.0, 0));
        b->addConstraint(fixed(b, A::Width, R::Equal, 240));
        b->addConstraint(fixed(b, A::Height, R::Equal, 4));
    };
    addAll();
    root->layoutIfNeeded();
    const QRect aOnce = a->geometry();
    const QRect bOnce = b->geometry();
    EXPECT_EQ(aOnce, QRect(20, 285, 360, 36));
    EXPECT_EQ(bOnce, QRect(80, 336, 240, 4));
    for (int pass = 0; pass < 4; ++pass) {
        addAll();
        root->layoutIfNeeded();
        EXPECT_EQ(a->geometry(), aOnce) << "pass " << pass;
        EXPECT_EQ(b->geometry(), bOnce) << "pass " << pass;
    }
    EXPECT_EQ(root->constraints().size(), 25u);
    EXPECT_EQ(programmingErrorCount(), errorsBefore);
}

TEST_F(LayoutTest, AnAddedConstraintIsSolvedByTheNextPassOfTheOutermostView) {
    auto* container = new View(root.get());
    container->setGeometry(0, 0, 100, 100);
    auto* child = solvedChild(container);
    child->addConstraint(make(child, A::Left, R::Equal, container, A::Left, 1.0, 7));
    child->addConstraint(make(child, A::Top, R::Equal, container, A::Top, 1.0, 8));
    child->addConstraint(fixed(child, A::Width, R::Equal, 9));
    child->addConstraint(fixed(child, A::Height, R::Equal, 10));
    EXPECT_NE(child->geometry(), QRect(7, 8, 9, 10));  // posted, not run in place
    ASSERT_TRUE(testsupport::runMainLoopUntilIdle());
    EXPECT_EQ(child->geometry(), QRect(7, 8, 9, 10));
}

TEST_F(LayoutTest, AConstraintsPassRunsTheOwnersUpdateThenSolves) {
    auto* child = solvedChild();
    int passes = 0;
    root->setUpdateConstraintsHandler([&] {
        ++passes;
        root->addConstraint(make(child, A::Left, R::Equal, root.get(), A::Left, 1.0, passes));
        root->addConstraint(make(child, A::Top, R::Equal, root.get(), A::Top, 1.0, 0));
        root->addConstraint(fixed(child, A::Width, R::Equal, 1));
        root->addConstraint(fixed(child, A::Height, R::Equal, 1));
    });
    root->setNeedsUpdateConstraints();
    ASSERT_TRUE(testsupport::runMainLoopUntilIdle());
    EXPECT_EQ(passes, 1);
    EXPECT_EQ(child->geometry(), QRect(1, 0, 1, 1));
}

TEST_F(LayoutTest, IntrinsicSizeIsHuggedOrStretchedByPriority) {
    auto* label = new Label(root.get());
    label->setTranslatesAutoresizingMaskIntoConstraints(false);
    label->setText(QStringLiteral("Hello"));
    label->setSystemFontSize(20);
    const QSizeF natural = label->intrinsicContentSize();
    ASSERT_GT(natural.width(), 0);
    ASSERT_GT(natural.height(), 0);
    root->addConstraint(make(label, A::Left, R::Equal, root.get(), A::Left, 1.0, 0));
    root->addConstraint(make(label, A::Top, R::Equal, root.get(), A::Top, 1.0, 0));
    root->layoutIfNeeded();
    EXPECT_EQ(label->size(), natural.toSize());
    // A wish above the hugging priority stretches it; one below the compression resistance cannot
    // squeeze it.
    label->addConstraint(fixed(label, A::Width, R::Equal, 300, 300));
    label->addConstraint(fixed(label, A::Height, R::Equal, 2, 700));
    root->layoutIfNeeded();
    EXPECT_EQ(label->size(), QSize(300, natural.toSize().height()));
    label->setContentCompressionResistancePriority(600, LayoutAxis::Vertical);
    root->setNeedsLayout();
    root->layoutIfNeeded();
    EXPECT_EQ(label->height(), 2);
}

TEST_F(LayoutTest, ALabelsIntrinsicHeightWrapsAtItsPreferredWidthUpToItsLines) {
    Label label;
    label.setSystemFontSize(20);
    label.setNumberOfLines(3);
    label.setPreferredMaxLayoutWidth(150);
    const int line = label.heightOfLines(1);
    EXPECT_EQ(label.intrinsicContentSize(), QSizeF(0, 0));
    label.setText(QStringLiteral("Hi"));
    EXPECT_EQ(label.intrinsicContentSize().height(), line);
    EXPECT_LT(label.intrinsicContentSize().width(), 150);
    label.setText(QStringLiteral("word ").repeated(60));
    EXPECT_EQ(label.intrinsicContentSize(), QSizeF(150, label.heightOfLines(3)));
    EXPECT_GT(label.heightOfLines(3), 2 * line);
    label.setNumberOfLines(0);
    EXPECT_GT(label.intrinsicContentSize().height(), label.heightOfLines(3));
}

TEST_F(LayoutTest, UnsatisfiableRequiredConstraintsAreReportedAndStillLaidOut) {
    auto* child = solvedChild();
    root->addConstraint(make(child, A::Left, R::Equal, root.get(), A::Left, 1.0, 0));
    root->addConstraint(make(child, A::Top, R::Equal, root.get(), A::Top, 1.0, 0));
    root->addConstraint(fixed(child, A::Height, R::Equal, 10));
    child->addConstraint(fixed(child, A::Width, R::Equal, 100));
    child->addConstraint(fixed(child, A::Width, R::Equal, 200));
    root->layoutIfNeeded();
    EXPECT_EQ(programmingErrorCount(), errorsBefore + 1);
    ASSERT_EQ(errors.size(), 1);
    EXPECT_TRUE(errors[0].contains(QStringLiteral("cannot all hold"))) << errors[0].toStdString();
    EXPECT_TRUE(errors[0].contains(QStringLiteral("View.width == 200"))) << errors[0].toStdString();
    EXPECT_EQ(child->height(), 10);
    EXPECT_GE(child->width(), 100);
    EXPECT_LE(child->width(), 200);
}

TEST_F(LayoutTest, MalformedConstraintsAreReportedAndTheRestSolved) {
    auto* child = solvedChild();
    root->addConstraint(fixed(child, A::Left, R::Equal, 10));
    root->addConstraint(make(child, A::Top, R::Equal, root.get(), A::Width, 1.0, 0));
    root->addConstraint(make(child, A::Top, R::Equal, root.get(), A::Left, 1.0, 0));
    root->addConstraint(make(child, A::Left, R::Equal, root.get(), A::Left, 1.0, 3));
    root->addConstraint(make(child, A::Top, R::Equal, root.get(), A::Top, 1.0, 4));
    root->addConstraint(fixed(child, A::Width, R::Equal, 5));
    root->addConstraint(fixed(child, A::Height, R::Equal, 6));
    root->layoutIfNeeded();
    ASSERT_EQ(errors.size(), 3);
    EXPECT_TRUE(errors[0].contains(QStringLiteral("a position needs a second item")));
    EXPECT_TRUE(errors[1].contains(QStringLiteral("a position cannot be related to a size")));
    EXPECT_TRUE(
        errors[2].contains(QStringLiteral("a horizontal position cannot be related to a vertical one")));
    EXPECT_EQ(child->geometry(), QRect(3, 4, 5, 6));
}

TEST_F(LayoutTest, ConstraintsOnViewsGoneOrElsewhereAreDropped) {
    auto* child = solvedChild();
    auto* gone = solvedChild();
    View elsewhere;
    root->addConstraint(make(child, A::Left, R::Equal, gone, A::Right, 1.0, 0));
    root->addConstraint(make(child, A::Top, R::Equal, &elsewhere, A::Bottom, 1.0, 0));
    delete gone;
    root->addConstraint(make(child, A::Left, R::Equal, root.get(), A::Left, 1.0, 1));
    root->addConstraint(make(child, A::Top, R::Equal, root.get(), A::Top, 1.0, 2));
    root->addConstraint(fixed(child, A::Width, R::Equal, 3));
    root->addConstraint(fixed(child, A::Height, R::Equal, 4));
    root->layoutIfNeeded();
    EXPECT_EQ(child->geometry(), QRect(1, 2, 3, 4));
    EXPECT_TRUE(errors.isEmpty());
}

TEST_F(LayoutTest, RemovedFromItsParentAViewLivesAsLongAsTheParent) {
    auto* parent = new View(root.get());
    QPointer<View> child = new View(parent);
    EXPECT_TRUE(child->isVisibleTo(root.get()));
    child->removeFromSuperview();
    EXPECT_EQ(child->parentWidget(), nullptr);
    EXPECT_FALSE(child->isVisible());
    EXPECT_FALSE(parent->findChildren<View*>().contains(child.data()));
    child->removeFromSuperview();  // a second time: nothing to do
    ASSERT_FALSE(child.isNull());
    delete parent;
    EXPECT_TRUE(child.isNull());
}

TEST_F(LayoutTest, AViewAddedElsewhereAfterRemovalBelongsToItsNewParent) {
    auto* first = new View(root.get());
    auto* second = new View(root.get());
    QPointer<View> child = new View(first);
    child->removeFromSuperview();
    second->addSubview(child);
    EXPECT_EQ(child->parentWidget(), second);
    EXPECT_TRUE(child->isVisibleTo(root.get()));
    delete first;
    EXPECT_FALSE(child.isNull());
    delete second;
    EXPECT_TRUE(child.isNull());
}

TEST_F(LayoutTest, AddSubviewKeepsAViewHiddenByHandHidden) {
    auto* shown = new Label;
    auto* hidden = new Label;
    hidden->hide();
    root->addSubview(shown);
    root->addSubview(hidden);
    EXPECT_TRUE(shown->isVisibleTo(root.get()));
    EXPECT_FALSE(hidden->isVisibleTo(root.get()));
    EXPECT_EQ(root->children().indexOf(shown) + 1, root->children().indexOf(hidden));
}

TEST_F(LayoutTest, LabelSettingsReadBack) {
    Label label(QRect(0, 0, 0, 0));
    EXPECT_EQ(label.geometry(), QRect(0, 0, 0, 0));
    EXPECT_TRUE(label.translatesAutoresizingMaskIntoConstraints());
    EXPECT_FLOAT_EQ(label.contentHuggingPriority(LayoutAxis::Horizontal), 250.0f);
    EXPECT_FLOAT_EQ(label.contentCompressionResistancePriority(LayoutAxis::Vertical), 750.0f);
    label.setOpaque(true);
    EXPECT_TRUE(label.isOpaque());
    EXPECT_TRUE(label.autoFillBackground());
    label.setOpaque(false);
    EXPECT_FALSE(label.autoFillBackground());
    label.setTextAlignment(TextAlignment::Center);
    EXPECT_EQ(static_cast<int>(label.textAlignment()), 1);
    EXPECT_EQ(label.alignment(), Qt::AlignHCenter | Qt::AlignVCenter);
    label.setTextAlignment(TextAlignment::Right);
    EXPECT_EQ(label.alignment(), Qt::AlignRight | Qt::AlignVCenter);
    label.setTextColor(Qt::red);
    EXPECT_EQ(label.textColor(), QColor(Qt::red));
    EXPECT_EQ(label.palette().color(QPalette::WindowText), QColor(Qt::red));
    EXPECT_TRUE(label.styleSheet().isEmpty());
    EXPECT_EQ(static_cast<int>(ViewContentMode::Left), 7);
    EXPECT_EQ(static_cast<int>(LineBreakMode::WordWrapping), 0);
    EXPECT_EQ(static_cast<int>(BaselineAdjustment::None), 2);
}

TEST_F(LayoutTest, ProgressEventsCarryTheShortestTextOfTheFloat) {
    std::vector<double> reported;
    setScreenEventObserver([&](const QString& kind, platform::DictionaryRef fields) {
        if (kind == QStringLiteral("progress")) {
            reported.push_back(fields->value(QStringLiteral("progress"))->toDouble());
        }
    });
    ProgressView bar(ProgressViewStyle::Default);
    EXPECT_EQ(static_cast<int>(bar.progressViewStyle()), 0);
    bar.setProgress(1.0f / 40.0f, false);
    bar.setProgress(0.1f, false);
    bar.setProgress(1.0f, false);
    ASSERT_EQ(reported.size(), 3u);
    EXPECT_EQ(reported[0], 0.025);
    EXPECT_NE(reported[0], static_cast<double>(1.0f / 40.0f));
    EXPECT_EQ(reported[1], 0.1);
    EXPECT_EQ(reported[2], 1.0);
    EXPECT_EQ(bar.intrinsicContentSize(), QSizeF(-1, bar.sizeHint().height()));
}

}  // namespace
