// The table's pure parts: where headers and rows sit, which rows a band shows, the offsets a
// scroll rests at, the bookkeeping and checks of batch updates, and the reuse pool.

#include "platform/foundation/Json.h"
#include "platform/ui/table/BatchUpdates.h"
#include "platform/ui/table/CellReusePool.h"
#include "platform/ui/table/TableLayout.h"
#include "platform/ui/table/TableViewCell.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

namespace {

using namespace platform::ui;

constexpr double kTiny = 2.2250738585072014e-308;

std::string json(const platform::DictionaryRef& d) {
    return platform::toJson(*d).toStdString();
}

std::vector<IndexPath> paths(std::initializer_list<std::pair<long, long>> sectionRows) {
    std::vector<IndexPath> out;
    for (const auto& [section, row] : sectionRows) {
        out.push_back(IndexPath{section, row});
    }
    return out;
}

// The chooser's shape: no selected network (a header of the smallest normal height, no rows),
// then the networks section with a header of 32.66 points and three rows; 10-point footers.
TableLayout chooserLayout() {
    return TableLayout({{kTiny, 10.0, 0}, {32.66, 10.0, 3}}, 44.0);
}

TEST(TableLayoutTest, PositionsAreTheExactSumsOfTheHeights) {
    const TableLayout layout = chooserLayout();
    EXPECT_EQ(layout.headerY(0), 0.0);
    EXPECT_EQ(layout.headerHeight(0), kTiny);
    EXPECT_EQ(layout.footerY(0), kTiny);
    EXPECT_EQ(layout.headerY(1), kTiny + 10.0);
    EXPECT_EQ(layout.headerHeight(1), 32.66);
    EXPECT_EQ(layout.rowY(IndexPath{1, 0}), kTiny + 10.0 + 32.66);
    EXPECT_EQ(layout.rowY(IndexPath{1, 2}), kTiny + 10.0 + 32.66 + 88.0);
    EXPECT_EQ(layout.footerY(1), kTiny + 10.0 + 32.66 + 132.0);
    EXPECT_EQ(layout.contentHeight(), kTiny + 10.0 + 32.66 + 132.0 + 10.0);
}

TEST(TableLayoutTest, TheSmallestNormalHeaderHeightTakesNoVisibleRoom) {
    const TableLayout tiny({{kTiny, 0.0, 2}}, 44.0);
    const TableLayout none({{0.0, 0.0, 2}}, 44.0);
    EXPECT_GT(tiny.headerHeight(0), 0.0);
    EXPECT_EQ(std::lround(tiny.rowY(IndexPath{0, 0})), 0);
    EXPECT_EQ(std::lround(tiny.rowY(IndexPath{0, 1})), std::lround(none.rowY(IndexPath{0, 1})));
    EXPECT_EQ(tiny.rowsIntersecting(0.0, 44.0), none.rowsIntersecting(0.0, 44.0));
}

TEST(TableLayoutTest, RowsInABandAreThoseReachingIntoIt) {
    // Section 0: header 20, rows at 20..108; footer 10; section 1: header 30 at 118, rows from 148.
    const TableLayout layout({{20.0, 10.0, 2}, {30.0, 10.0, 100}}, 44.0);
    EXPECT_EQ(layout.rowsIntersecting(0.0, 20.0), std::vector<IndexPath>{});
    EXPECT_EQ(layout.rowsIntersecting(0.0, 21.0), paths({{0, 0}}));
    EXPECT_EQ(layout.rowsIntersecting(63.0, 150.0), paths({{0, 0}, {0, 1}, {1, 0}}));
    // A band edge on a row's edge does not include the row outside it.
    EXPECT_EQ(layout.rowsIntersecting(64.0, 148.0), paths({{0, 1}}));
    EXPECT_EQ(layout.rowsIntersecting(148.0 + 44.0 * 50, 148.0 + 44.0 * 52), paths({{1, 50}, {1, 51}}));
    EXPECT_EQ(layout.rowsIntersecting(50.0, 50.0), std::vector<IndexPath>{});
    EXPECT_EQ(layout.rowAt(147.9), std::nullopt);
    EXPECT_EQ(layout.rowAt(148.0), (IndexPath{1, 0}));
    EXPECT_EQ(layout.rowAt(63.9), (IndexPath{0, 0}));
}

TEST(TableLayoutTest, AHeaderOfNoHeightCountsInsideTheBandOnly) {
    const TableLayout layout({{0.0, 10.0, 1}, {32.66, 10.0, 1}}, 44.0);
    EXPECT_EQ(layout.headersIntersecting(0.0, 10.0), std::vector<long>{0});
    EXPECT_EQ(layout.headersIntersecting(1.0, 60.0), std::vector<long>{1});
    EXPECT_EQ(layout.headersIntersecting(0.0, 1000.0), (std::vector<long>{0, 1}));
}

TEST(TableLayoutTest, ScrollBoundsFollowTheInsets) {
    const TableLayout layout({{10.0, 10.0, 40}}, 44.0);  // content 1780 high
    const ScrollViewport viewport{667.0, 64.0, 0.0};
    EXPECT_EQ(minimumContentOffset(viewport), -64.0);
    EXPECT_EQ(maximumContentOffset(layout, viewport), 1780.0 - 667.0);
    EXPECT_EQ(clampContentOffset(-500.0, layout, viewport), -64.0);
    EXPECT_EQ(clampContentOffset(5000.0, layout, viewport), 1113.0);
    EXPECT_EQ(clampContentOffset(std::numeric_limits<double>::quiet_NaN(), layout, viewport), -64.0);
    // Short content rests at its top.
    const TableLayout shortLayout({{10.0, 10.0, 2}}, 44.0);
    EXPECT_EQ(maximumContentOffset(shortLayout, viewport), -64.0);
}

TEST(TableLayoutTest, ScrollingWithNoPositionMovesTheLeastThatShowsTheRow) {
    const TableLayout layout({{10.0, 10.0, 40}}, 44.0);  // row r at 10 + 44 r
    const ScrollViewport viewport{667.0, 64.0, 0.0};
    const double resting = -64.0;
    // Row 5 (230..274) shows already below the inset: no scrolling.
    EXPECT_EQ(
        contentOffsetShowingRow(layout, IndexPath{0, 5}, TableViewScrollPosition::None, resting, viewport),
        resting);
    // Row 20 (890..934) is below: its bottom comes to the viewport's bottom.
    EXPECT_EQ(
        contentOffsetShowingRow(layout, IndexPath{0, 20}, TableViewScrollPosition::None, resting, viewport),
        934.0 - 667.0);
    // Row 3 (142..186), scrolled past: its top comes to just below the inset.
    EXPECT_EQ(
        contentOffsetShowingRow(layout, IndexPath{0, 3}, TableViewScrollPosition::None, 500.0, viewport),
        142.0 - 64.0);
    // Row 0 (10..54), scrolled past: it comes to just below the inset, its header staying above.
    EXPECT_EQ(
        contentOffsetShowingRow(layout, IndexPath{0, 0}, TableViewScrollPosition::None, 500.0, viewport),
        10.0 - 64.0);
}

TEST(TableLayoutTest, ScrollingToTopMiddleAndBottom) {
    const TableLayout layout({{10.0, 10.0, 40}}, 44.0);
    const ScrollViewport viewport{667.0, 64.0, 0.0};
    EXPECT_EQ(
        contentOffsetShowingRow(layout, IndexPath{0, 10}, TableViewScrollPosition::Top, -64.0, viewport),
        450.0 - 64.0);
    EXPECT_EQ(
        contentOffsetShowingRow(layout, IndexPath{0, 20}, TableViewScrollPosition::Bottom, -64.0, viewport),
        934.0 - 667.0);
    // The middle of the seen area (64..667) is 365.5 below the viewport's top.
    EXPECT_EQ(
        contentOffsetShowingRow(layout, IndexPath{0, 20}, TableViewScrollPosition::Middle, -64.0, viewport),
        912.0 - 365.5);
    // The last rows cannot come to the top: the offset stops at the content's end.
    EXPECT_EQ(
        contentOffsetShowingRow(layout, IndexPath{0, 39}, TableViewScrollPosition::Top, -64.0, viewport),
        1113.0);
    // A row the table does not have keeps the offset.
    EXPECT_EQ(contentOffsetShowingRow(layout, IndexPath{0, 40}, TableViewScrollPosition::Top, 12.0, viewport),
              12.0);
    EXPECT_EQ(contentOffsetShowingRow(layout, IndexPath{3, 0}, TableViewScrollPosition::Top, 12.0, viewport),
              12.0);
}

TEST(TableLayoutTest, RowsOfTheirOwnHeightsSitOneUnderTheOther) {
    // Section 0: header 20, rows of 100, none and 60; section 1 evenly spaced as before.
    const TableLayout layout({{20.0, 10.0, 3}, {30.0, 10.0, 2}}, 44.0, {{100.0, 0.0, 60.0}});
    EXPECT_EQ(layout.rowY(IndexPath{0, 0}), 20.0);
    EXPECT_EQ(layout.rowY(IndexPath{0, 1}), 120.0);
    EXPECT_EQ(layout.rowY(IndexPath{0, 2}), 120.0);
    EXPECT_EQ(layout.rowHeight(IndexPath{0, 0}), 100.0);
    EXPECT_EQ(layout.rowHeight(IndexPath{0, 1}), 0.0);
    EXPECT_EQ(layout.rowHeight(IndexPath{0, 2}), 60.0);
    EXPECT_EQ(layout.rowHeight(IndexPath{0, 3}), 44.0);  // no such row: the layout's height
    EXPECT_EQ(layout.footerY(0), 180.0);
    EXPECT_EQ(layout.rowY(IndexPath{1, 1}), 190.0 + 30.0 + 44.0);
    EXPECT_EQ(layout.contentHeight(), 190.0 + 30.0 + 88.0 + 10.0);
    // A row of no height shows nowhere; a band reaches the rows it overlaps.
    EXPECT_EQ(layout.rowsIntersecting(0.0, 21.0), paths({{0, 0}}));
    EXPECT_EQ(layout.rowsIntersecting(119.0, 121.0), paths({{0, 0}, {0, 2}}));
    EXPECT_EQ(layout.rowsIntersecting(120.0, 180.0), paths({{0, 2}}));
    EXPECT_EQ(layout.rowsIntersecting(170.0, 230.0), paths({{0, 2}, {1, 0}}));
    EXPECT_EQ(layout.rowAt(119.9), (IndexPath{0, 0}));
    EXPECT_EQ(layout.rowAt(120.0), (IndexPath{0, 2}));
    EXPECT_EQ(layout.rowAt(185.0), std::nullopt);  // the footer
}

TEST(TableLayoutTest, HeightsGivenForSomeRowsLeaveTheOthersAtTheRowHeight) {
    const TableLayout layout({{0.0, 0.0, 3}}, 44.0, {{80.0}});
    EXPECT_EQ(layout.rowY(IndexPath{0, 2}), 80.0 + 44.0);
    EXPECT_EQ(layout.contentHeight(), 80.0 + 88.0);
}

TEST(TableLayoutTest, ScrollingShowsATallRowWhole) {
    // Row 1 is 300 high: 110..410.
    const TableLayout layout({{10.0, 10.0, 20}}, 44.0, {{100.0, 300.0}});
    const ScrollViewport viewport{400.0, 64.0, 0.0};
    // Below the seen area: its bottom comes to the viewport's bottom.
    EXPECT_EQ(
        contentOffsetShowingRow(layout, IndexPath{0, 1}, TableViewScrollPosition::None, -64.0, viewport),
        410.0 - 400.0);
    EXPECT_EQ(
        contentOffsetShowingRow(layout, IndexPath{0, 1}, TableViewScrollPosition::Middle, -64.0, viewport),
        260.0 - 64.0 - 168.0);
}

TEST(BatchUpdatesTest, BatchesNestAndOnlyTheOutermostEndCloses) {
    BatchUpdates batch;
    batch.begin();
    batch.begin();
    EXPECT_EQ(batch.depth(), 2);
    EXPECT_FALSE(batch.end());
    EXPECT_TRUE(batch.isOpen());
    EXPECT_TRUE(batch.end());
    EXPECT_FALSE(batch.isOpen());
    EXPECT_FALSE(batch.unbalancedEnd());
    EXPECT_FALSE(batch.end());
    EXPECT_TRUE(batch.unbalancedEnd());
}

TEST(BatchUpdatesTest, ANestedBatchAppliesDeletionsAndInsertionsTogether) {
    BatchUpdates batch;
    batch.begin();
    batch.deleteRows(paths({{1, 4}}));
    batch.begin();
    batch.deleteRows(paths({{1, 0}}));
    batch.insertRows(paths({{1, 2}, {1, 0}, {1, 1}}));
    EXPECT_FALSE(batch.end());
    EXPECT_TRUE(batch.end());
    const UpdateOutcome outcome = batch.finish({1, 5}, {1, 6});
    ASSERT_FALSE(outcome.violation.has_value()) << outcome.violation->message.toStdString();
    EXPECT_EQ(outcome.deleted, paths({{1, 0}, {1, 4}}));
    EXPECT_EQ(outcome.inserted, paths({{1, 0}, {1, 1}, {1, 2}}));
    EXPECT_EQ(outcome.rowsAfter, (std::vector<long>{1, 6}));
    // The record is gone once finished: an empty batch on the new counts adds up.
    EXPECT_FALSE(batch.finish({1, 6}, {1, 6}).violation.has_value());
}

TEST(BatchUpdatesTest, ACountThatDoesNotAddUpNamesTheSectionAndTheCounts) {
    const UpdateOutcome outcome = BatchUpdates::validate({1, 5}, {1, 5}, {}, paths({{1, 0}}));
    ASSERT_TRUE(outcome.violation.has_value());
    EXPECT_EQ(outcome.violation->message.toStdString(),
              "invalid table update in section 1: 5 rows before, 5 after, 1 inserted, 0 deleted");
    EXPECT_EQ(json(outcome.violation->fields),
              R"({"after": 5, "before": 5, "deleted": 0, "inserted": 1, "section": 1})");
    EXPECT_TRUE(outcome.deleted.empty());
    EXPECT_TRUE(outcome.rowsAfter.empty());
}

TEST(BatchUpdatesTest, AChangedNumberOfSectionsIsAViolation) {
    const UpdateOutcome outcome = BatchUpdates::validate({1, 5}, {1, 5, 0}, {}, {});
    ASSERT_TRUE(outcome.violation.has_value());
    EXPECT_EQ(outcome.violation->message.toStdString(), "invalid table update: 2 sections before, 3 after");
    EXPECT_EQ(json(outcome.violation->fields), R"({"after": 3, "before": 2, "deleted": 0, "inserted": 0})");
}

TEST(BatchUpdatesTest, ARowDeletedOrInsertedTwiceIsAViolation) {
    const UpdateOutcome deletedTwice = BatchUpdates::validate({5}, {3}, paths({{0, 2}, {0, 2}}), {});
    ASSERT_TRUE(deletedTwice.violation.has_value());
    EXPECT_EQ(deletedTwice.violation->message.toStdString(),
              "invalid table update in section 0: row 2 deleted twice");
    EXPECT_EQ(json(deletedTwice.violation->fields),
              R"({"after": 3, "before": 5, "deleted": 2, "inserted": 0, "row": 2, "section": 0})");

    const UpdateOutcome insertedTwice = BatchUpdates::validate({5}, {7}, {}, paths({{0, 6}, {0, 6}}));
    ASSERT_TRUE(insertedTwice.violation.has_value());
    EXPECT_EQ(insertedTwice.violation->message.toStdString(),
              "invalid table update in section 0: row 6 inserted twice");
}

TEST(BatchUpdatesTest, RowsOutsideTheCountsAreViolations) {
    // Deleted rows are numbered in the rows before the batch.
    const UpdateOutcome deleted = BatchUpdates::validate({0, 5}, {0, 4}, paths({{1, 5}}), {});
    ASSERT_TRUE(deleted.violation.has_value());
    EXPECT_EQ(deleted.violation->message.toStdString(),
              "invalid table update in section 1: row 5 deleted, but the section had 5 rows before");
    // Inserted rows are numbered in the rows after it.
    const UpdateOutcome inserted = BatchUpdates::validate({0, 5}, {0, 6}, {}, paths({{1, 6}}));
    ASSERT_TRUE(inserted.violation.has_value());
    EXPECT_EQ(inserted.violation->message.toStdString(),
              "invalid table update in section 1: row 6 inserted, but the section has 6 rows after");
    const UpdateOutcome negative = BatchUpdates::validate({0, 5}, {0, 4}, paths({{1, -1}}), {});
    ASSERT_TRUE(negative.violation.has_value());
    EXPECT_EQ(negative.violation->message.toStdString(),
              "invalid table update in section 1: row -1 deleted, but the section had 5 rows before");
    const UpdateOutcome section = BatchUpdates::validate({0, 5}, {0, 5}, {}, paths({{2, 0}}));
    ASSERT_TRUE(section.violation.has_value());
    EXPECT_EQ(section.violation->message.toStdString(),
              "invalid table update: row 0 of section 2 inserted, but the table has 2 sections");
}

TEST(BatchUpdatesTest, ADeletionAndAnInsertionOfTheSameNumberAddUp) {
    // Row 0 goes and a new row 0 comes: the count stays, and both are applied.
    const UpdateOutcome outcome = BatchUpdates::validate({3}, {3}, paths({{0, 0}}), paths({{0, 0}}));
    EXPECT_FALSE(outcome.violation.has_value());
    EXPECT_EQ(outcome.deleted, paths({{0, 0}}));
    EXPECT_EQ(outcome.inserted, paths({{0, 0}}));
}

TEST(CellReusePoolTest, CellsComeBackLastInFirstOutPerIdentifier) {
    TableViewCell a(QStringLiteral("a"));
    TableViewCell b(QStringLiteral("a"));
    TableViewCell other(QStringLiteral("b"));
    CellReusePool pool;
    EXPECT_EQ(pool.dequeue(QStringLiteral("a")), nullptr);
    pool.enqueue(QStringLiteral("a"), &a);
    pool.enqueue(QStringLiteral("a"), &b);
    pool.enqueue(QStringLiteral("a"), &b);  // kept once
    pool.enqueue(QStringLiteral("b"), &other);
    EXPECT_EQ(pool.count(QStringLiteral("a")), 2u);
    EXPECT_EQ(pool.size(), 3u);
    EXPECT_EQ(pool.dequeue(QStringLiteral("a")), &b);
    EXPECT_EQ(pool.dequeue(QStringLiteral("a")), &a);
    EXPECT_EQ(pool.dequeue(QStringLiteral("a")), nullptr);
    EXPECT_TRUE(pool.contains(&other));
    pool.remove(&other);
    EXPECT_FALSE(pool.contains(&other));
    EXPECT_EQ(pool.size(), 0u);
}

}  // namespace
