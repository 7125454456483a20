// The grouped table widget off screen: cells made only for the rows on screen and reused, reloads
// and batch updates with their events and checks, taps and selection, scrolling, the refresh
// control, header views, and the table as data.

#include "platform/foundation/Json.h"
#include "platform/ui/Toolkit.h"

#include "unittests/support/MainLoop.h"

#include <QApplication>
#include <QMouseEvent>
#include <QPointer>
#include <QWheelEvent>

#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace {

using namespace platform::ui;

constexpr double kTiny = 2.2250738585072014e-308;

std::string json(const platform::DictionaryRef& d) {
    return platform::toJson(*d).toStdString();
}

// A section header as the chooser makes one: a caption and, optionally, a spinner.
class CaptionHeader : public View {
  public:
    CaptionHeader(const QString& text, bool withSpinner) : caption(new Label(this)) {
        caption->setText(text);
        if (withSpinner) {
            spinner = new ActivityIndicatorView(ActivityIndicatorViewStyle::Gray, this);
        }
    }
    Label* caption;
    ActivityIndicatorView* spinner = nullptr;
};

// A cell that counts how often it was prepared for reuse.
class CountingCell : public TableViewCell {
  public:
    explicit CountingCell(const QString& identifier) : TableViewCell(identifier) {}
    void prepareForReuse() override {
        TableViewCell::prepareForReuse();
        ++reuses;
    }
    int reuses = 0;
};

// Data source and delegate: texts per section, header heights and views, rows that cannot be
// tapped, and a record of the selections the table reported.
class Model : public TableViewDataSource, public TableViewDelegate {
  public:
    long numberOfSectionsInTableView(TableView*) override { return static_cast<long>(texts.size()); }
    long tableViewNumberOfRowsInSection(TableView*, long section) override {
        return static_cast<long>(texts[static_cast<std::size_t>(section)].size());
    }
    TableViewCell* tableViewCellForRowAtIndexPath(TableView* table, IndexPath p) override {
        TableViewCell* cell = table->dequeueReusableCellWithIdentifier(identifier, p);
        // Like a data source already ahead of the table, a row past the model's end has no text.
        const auto& section = texts[static_cast<std::size_t>(p.section)];
        cell->textLabel()->setText(static_cast<std::size_t>(p.row) < section.size()
                                       ? section[static_cast<std::size_t>(p.row)]
                                       : QString());
        cell->imageView()->setImage(p.section == 0 ? check : spacer);
        if (p.section == 0) {
            cell->setUserInteractionEnabled(false);
        }
        return cell;
    }
    double tableViewHeightForHeaderInSection(TableView*, long section) override {
        return section < static_cast<long>(headerHeights.size())
                   ? headerHeights[static_cast<std::size_t>(section)]
                   : 32.66;
    }
    double tableViewHeightForFooterInSection(TableView*, long) override {
        return kTableViewAutomaticDimension;
    }
    View* tableViewViewForHeaderInSection(TableView*, long section) override {
        ++headerQuestions;
        return section < static_cast<long>(headers.size()) ? headers[static_cast<std::size_t>(section)].get()
                                                           : nullptr;
    }
    void tableViewDidSelectRowAtIndexPath(TableView*, IndexPath p) override { selections.push_back(p); }
    double tableViewHeightForRowAtIndexPath(TableView*, IndexPath p) override {
        const auto height = rowHeights.find(p);
        return height != rowHeights.end() ? height->second : kTableViewAutomaticDimension;
    }

    QString identifier = QStringLiteral("cell");
    std::vector<std::vector<QString>> texts;
    std::vector<double> headerHeights;
    std::vector<std::unique_ptr<View>> headers;
    std::vector<IndexPath> selections;
    std::map<IndexPath, double> rowHeights;  // rows not named take the table's height
    int headerQuestions = 0;
    ImageRef check = Image::checkmark();
    ImageRef spacer = Image::imageNamed(QStringLiteral("spacer"), QStringLiteral(":/wifiprofile"));
};

std::vector<QString> numbered(const QString& prefix, int n) {
    std::vector<QString> out;
    for (int i = 0; i < n; ++i) {
        out.push_back(prefix + QString::number(i));
    }
    return out;
}

class TableViewTest : public ::testing::Test {
  protected:
    void SetUp() override {
        errorsAtStart = programmingErrorCount();
        setScreenEventObserver([this](const QString& kind, platform::DictionaryRef fields) {
            events.push_back(kind.toStdString() + " " + json(fields));
        });
        root = std::make_unique<View>();
        root->resize(375, 667);
        root->show();
    }
    void TearDown() override {
        setScreenEventObserver(nullptr);
        root.reset();
        testsupport::runMainLoopUntilIdle();
        // Only the tests about misuse expect programming errors; they say how many.
        EXPECT_EQ(programmingErrorCount(), errorsAtStart + expectedErrors);
    }

    // A grouped table filling the root, with the chooser's two sections: a selected network
    // (header 32.66) and a list with a spinner header.
    TableView* makeTable(std::vector<std::vector<QString>> texts) {
        model.texts = std::move(texts);
        model.headers.push_back(std::make_unique<CaptionHeader>(QStringLiteral("SELECTED NETWORK"), false));
        model.headers.push_back(std::make_unique<CaptionHeader>(QStringLiteral("CHOOSE A NETWORK"), true));
        model.headerHeights = {32.66, 37.0};
        auto* table = new TableView(root->rect(), TableViewStyle::Grouped);
        table->setDataSource(&model);
        table->setDelegate(&model);
        table->registerCellFactory(
            [this](const QString& id) -> TableViewCell* {
                auto* cell = new CountingCell(id);
                made.push_back(cell);
                return cell;
            },
            QStringLiteral("cell"));
        table->setParent(root.get());
        table->show();
        return table;
    }

    std::vector<std::string> eventsOf(const std::string& kind) const {
        std::vector<std::string> out;
        for (const auto& e : events) {
            if (e.rfind(kind + " ", 0) == 0) {
                out.push_back(e);
            }
        }
        return out;
    }

    std::vector<QString> visibleTexts(TableView* table) const {
        std::vector<QString> out;
        for (TableViewCell* cell : table->visibleCells()) {
            out.push_back(cell->textLabel()->text());
        }
        return out;
    }

    void click(QWidget* w, QPointF at) {
        QMouseEvent press(QEvent::MouseButtonPress, at, w->mapToGlobal(at), Qt::LeftButton, Qt::LeftButton,
                          Qt::NoModifier);
        QApplication::sendEvent(w, &press);
        QMouseEvent release(QEvent::MouseButtonRelease, at, w->mapToGlobal(at), Qt::LeftButton, Qt::NoButton,
                            Qt::NoModifier);
        QApplication::sendEvent(w, &release);
    }

    void drag(QWidget* w, QPointF from, QPointF to) {
        QMouseEvent press(QEvent::MouseButtonPress, from, w->mapToGlobal(from), Qt::LeftButton,
                          Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(w, &press);
        for (int step = 1; step <= 4; ++step) {
            const QPointF at = from + (to - from) * step / 4.0;
            QMouseEvent move(QEvent::MouseMove, at, w->mapToGlobal(at), Qt::NoButton, Qt::LeftButton,
                             Qt::NoModifier);
            QApplication::sendEvent(w, &move);
        }
        QMouseEvent release(QEvent::MouseButtonRelease, to, w->mapToGlobal(to), Qt::LeftButton, Qt::NoButton,
                            Qt::NoModifier);
        QApplication::sendEvent(w, &release);
    }

    void wheelUp(QWidget* w, int notches) {
        const QPointF at(100, 300);
        QWheelEvent wheel(at, w->mapToGlobal(at), QPoint(), QPoint(0, 120 * notches), Qt::NoButton,
                          Qt::NoModifier, Qt::NoScrollPhase, false);
        QApplication::sendEvent(w, &wheel);
    }

    std::unique_ptr<View> root;
    Model model;
    std::vector<TableViewCell*> made;
    std::vector<std::string> events;
    int errorsAtStart = 0;
    int expectedErrors = 0;
};

TEST_F(TableViewTest, TwoThousandRowsMakeOnlyAScreenfulOfCells) {
    TableView* table = makeTable({{}, numbered(QStringLiteral("Network "), 2000)});
    EXPECT_EQ(table->numberOfRowsInSection(1), 2000);
    // 667 points show at most 16 rows of 44 points (a part row at each end included).
    EXPECT_GE(made.size(), 14u);
    EXPECT_LE(made.size(), 17u);
    EXPECT_EQ(table->visibleCells().size(), made.size());
    EXPECT_EQ(visibleTexts(table).front().toStdString(), "Network 0");
    for (TableViewCell* cell : made) {
        EXPECT_EQ(cell->parentWidget(), table);
    }
}

TEST_F(TableViewTest, DescribingHeadersScrolledAwayAsksTheDelegateNothing) {
    TableView* table = makeTable({{}, numbered(QStringLiteral("Network "), 2000)});
    table->setContentOffsetY(44.0 * 1000);
    const int questions = model.headerQuestions;
    const auto described = json(table->describe());
    EXPECT_EQ(model.headerQuestions, questions);
    EXPECT_NE(described.find("CHOOSE A NETWORK"), std::string::npos);
}

TEST_F(TableViewTest, CellsScrolledAwayAreReusedForTheRowsComingIn) {
    TableView* table = makeTable({{}, numbered(QStringLiteral("Network "), 2000)});
    const std::size_t screenful = made.size();
    table->setContentOffsetY(44.0 * 1000);
    // Rows near 1000 show in the cells made for the first screen; only the one or two more rows a
    // screen can show when the first one is partly hidden need new cells.
    EXPECT_LE(made.size(), 17u);
    const auto texts = visibleTexts(table);
    ASSERT_EQ(texts.size(), made.size());
    EXPECT_TRUE(std::find(texts.begin(), texts.end(), QStringLiteral("Network 999")) != texts.end());
    int reuses = 0;
    for (TableViewCell* cell : made) {
        reuses += static_cast<CountingCell*>(cell)->reuses;
    }
    // Every cell of the first screen went to the pool and came back prepared for its new row.
    EXPECT_EQ(reuses, static_cast<int>(screenful));
    // Cells waiting for reuse are hidden; those on screen show.
    int shown = 0;
    for (TableViewCell* cell : made) {
        shown += cell->isVisible() ? 1 : 0;
    }
    EXPECT_EQ(static_cast<std::size_t>(shown), table->visibleCells().size());
}

TEST_F(TableViewTest, AnUnregisteredIdentifierIsReportedAndGivesAPlainCell) {
    TableView* table = makeTable({{}, {QStringLiteral("a")}});
    expectedErrors = 1;
    const int before = programmingErrorCount();
    TableViewCell* cell = table->dequeueReusableCellWithIdentifier(QStringLiteral("other"), IndexPath{1, 0});
    ASSERT_NE(cell, nullptr);
    EXPECT_EQ(cell->reuseIdentifier().toStdString(), "other");
    EXPECT_EQ(programmingErrorCount(), before + 1);
    const auto errors = eventsOf("error");
    ASSERT_EQ(errors.size(), 1u);
    EXPECT_EQ(
        errors[0],
        R"x(error {"identifier": "other", "message": "no cell is registered for reuse identifier \"other\" )x"
        R"x((asked for row 0 of section 1)", "row": 0, "section": 1})x");
}

TEST_F(TableViewTest, ReloadDataAsksTheCountsAgainAndReportsThem) {
    TableView* table = makeTable({{}, {QStringLiteral("OTHER")}});
    ASSERT_EQ(eventsOf("tableReload"), std::vector<std::string>{R"(tableReload {"rows": [0, 1]})"});
    model.texts = {{QStringLiteral("Home")},
                   {QStringLiteral("Cafe"), QStringLiteral("Home"), QStringLiteral("OTHER")}};
    EXPECT_EQ(table->numberOfRowsInSection(1), 1);  // the table's own record until it reloads
    table->reloadData();
    EXPECT_EQ(table->numberOfSections(), 2);
    EXPECT_EQ(table->numberOfRowsInSection(0), 1);
    EXPECT_EQ(table->numberOfRowsInSection(1), 3);
    EXPECT_EQ(eventsOf("tableReload").back(), R"(tableReload {"rows": [1, 3]})");
    EXPECT_EQ(visibleTexts(table), (std::vector<QString>{"Home", "Cafe", "Home", "OTHER"}));
}

TEST_F(TableViewTest, ABatchReportsItsDeletionsAndInsertionsSortedWithTheNewCounts) {
    TableView* table = makeTable({{}, {"A", "B", "C", "OTHER"}});
    model.texts[1] = {"B", "B2", "D", "E", "OTHER"};
    table->beginUpdates();
    table->deleteRowsAtIndexPaths({IndexPath{1, 2}, IndexPath{1, 0}}, TableViewRowAnimation::Fade);
    table->beginUpdates();
    table->insertRowsAtIndexPaths({IndexPath{1, 3}, IndexPath{1, 1}}, TableViewRowAnimation::Fade);
    table->insertRowsAtIndexPaths({IndexPath{1, 2}}, TableViewRowAnimation::Fade);
    table->endUpdates();
    EXPECT_TRUE(eventsOf("tableUpdate").empty());  // nothing happens until the outermost end
    table->endUpdates();
    EXPECT_EQ(eventsOf("tableUpdate"),
              std::vector<std::string>{R"(tableUpdate {"deleted": [[1, 0], [1, 2]], )"
                                       R"("inserted": [[1, 1], [1, 2], [1, 3]], "rows": [0, 5]})"});
    EXPECT_EQ(table->numberOfRowsInSection(1), 5);
    // Off screen the fade takes no time: the rows show their new content at once.
    EXPECT_EQ(visibleTexts(table), (std::vector<QString>{"B", "B2", "D", "E", "OTHER"}));
    for (TableViewCell* cell : table->visibleCells()) {
        EXPECT_EQ(cell->graphicsEffect(), nullptr);
    }
}

TEST_F(TableViewTest, RowsKeptThroughABatchShowTheirOwnTexts) {
    root->resize(375, 500);  // the last rows start below the screen
    TableView* table = makeTable(
        {{"Cafe"}, {"", "alpha", "beta", "CAFE", "Home", "home", "Office", "Zebra", "Alesund", "OTHER"}});
    auto* control = new RefreshControl;
    table->setRefreshControl(control);
    ASSERT_TRUE(table->pullToRefresh());
    model.texts[1] = {"Alpha2", "beta", "CAFE", "Home", "home", "Office", "Zebra", "OTHER"};
    control->endRefreshing();
    table->beginUpdates();
    table->deleteRowsAtIndexPaths({IndexPath{0, 0}}, TableViewRowAnimation::Fade);
    table->insertRowsAtIndexPaths({IndexPath{0, 0}}, TableViewRowAnimation::Fade);
    table->deleteRowsAtIndexPaths({IndexPath{1, 0}, IndexPath{1, 1}, IndexPath{1, 8}},
                                  TableViewRowAnimation::Fade);
    table->insertRowsAtIndexPaths({IndexPath{1, 0}}, TableViewRowAnimation::Fade);
    table->endUpdates();
    EXPECT_EQ(visibleTexts(table), (std::vector<QString>{"Cafe", "Alpha2", "beta", "CAFE", "Home", "home",
                                                         "Office", "Zebra", "OTHER"}));
}

TEST_F(TableViewTest, AnInsertionOutsideABatchIsABatchOfItsOwn) {
    TableView* table = makeTable({{}, {"A", "OTHER"}});
    model.texts[1] = {"A", "B", "OTHER"};
    table->insertRowsAtIndexPaths({IndexPath{1, 1}}, TableViewRowAnimation::Fade);
    EXPECT_EQ(
        eventsOf("tableUpdate"),
        std::vector<std::string>{R"(tableUpdate {"deleted": [], "inserted": [[1, 1]], "rows": [0, 3]})"});
    EXPECT_EQ(visibleTexts(table), (std::vector<QString>{"A", "B", "OTHER"}));
}

TEST_F(TableViewTest, AnUpdateThatDoesNotAddUpIsReportedAndTheDataSourceCountsTaken) {
    TableView* table = makeTable({{}, {"A", "B", "C", "D", "OTHER"}});
    expectedErrors = 1;
    const int before = programmingErrorCount();
    // The data source did not change, yet a row is said to be inserted.
    table->insertRowsAtIndexPaths({IndexPath{1, 0}}, TableViewRowAnimation::Fade);
    EXPECT_EQ(programmingErrorCount(), before + 1);
    EXPECT_EQ(
        eventsOf("error"),
        std::vector<std::string>{R"(error {"after": 5, "before": 5, "deleted": 0, "inserted": 1, )"
                                 R"("message": "invalid table update in section 1: 5 rows before, 5 after, )"
                                 R"(1 inserted, 0 deleted", "section": 1})"});
    EXPECT_TRUE(eventsOf("tableUpdate").empty());
    EXPECT_EQ(table->numberOfRowsInSection(1), 5);
    EXPECT_EQ(visibleTexts(table).size(), 5u);
}

TEST_F(TableViewTest, DuplicateAndOutOfRangeRowsAreReportedAsTheyHappen) {
    TableView* table = makeTable({{}, {"A", "B", "OTHER"}});
    expectedErrors = 2;
    const int before = programmingErrorCount();
    model.texts[1] = {"OTHER"};
    table->deleteRowsAtIndexPaths({IndexPath{1, 0}, IndexPath{1, 0}}, TableViewRowAnimation::Fade);
    EXPECT_EQ(programmingErrorCount(), before + 1);
    EXPECT_EQ(table->numberOfRowsInSection(1), 1);
    model.texts[1] = {"A", "OTHER"};
    table->insertRowsAtIndexPaths({IndexPath{1, 2}}, TableViewRowAnimation::None);
    EXPECT_EQ(programmingErrorCount(), before + 2);
    const auto errors = eventsOf("error");
    ASSERT_EQ(errors.size(), 2u);
    EXPECT_NE(errors[0].find("invalid table update in section 1: row 0 deleted twice"), std::string::npos);
    EXPECT_NE(
        errors[1].find("invalid table update in section 1: row 2 inserted, but the section has 2 rows after"),
        std::string::npos);
    EXPECT_EQ(table->numberOfRowsInSection(1), 2);
}

TEST_F(TableViewTest, AnEndWithoutABeginIsReported) {
    TableView* table = makeTable({{}, {"OTHER"}});
    expectedErrors = 1;
    table->endUpdates();
    ASSERT_EQ(eventsOf("error").size(), 1u);
    EXPECT_NE(eventsOf("error")[0].find("endUpdates without a matching beginUpdates"), std::string::npos);
}

TEST_F(TableViewTest, ATapSelectsTheRowAndTellsTheDelegate) {
    TableView* table = makeTable({{"Home"}, {"Cafe", "OTHER"}});
    EXPECT_TRUE(table->tapRowAtIndexPath(IndexPath{1, 1}));
    EXPECT_EQ(model.selections, std::vector<IndexPath>{(IndexPath{1, 1})});
    EXPECT_EQ(table->indexPathForSelectedRow(), (IndexPath{1, 1}));
    table->deselectRowAtIndexPath(IndexPath{1, 1}, true);
    EXPECT_EQ(table->indexPathForSelectedRow(), std::nullopt);
    for (TableViewCell* cell : table->visibleCells()) {
        EXPECT_FALSE(cell->isSelected());
    }
}

TEST_F(TableViewTest, TapsAreRefusedWhileSelectionIsOff) {
    TableView* table = makeTable({{}, {"Cafe", "OTHER"}});
    table->setAllowsSelection(false);
    EXPECT_FALSE(table->allowsSelection());
    EXPECT_FALSE(table->tapRowAtIndexPath(IndexPath{1, 0}));
    EXPECT_TRUE(model.selections.empty());
    EXPECT_EQ(table->indexPathForSelectedRow(), std::nullopt);
    table->setAllowsSelection(true);
    EXPECT_TRUE(table->tapRowAtIndexPath(IndexPath{1, 0}));
}

TEST_F(TableViewTest, TapsAreRefusedOnARowWithUserInteractionOffOrOnNoRow) {
    TableView* table = makeTable({{"Home"}, {"OTHER"}});
    EXPECT_FALSE(table->tapRowAtIndexPath(IndexPath{0, 0}));  // the model turns section 0 off
    EXPECT_FALSE(table->tapRowAtIndexPath(IndexPath{1, 1}));
    EXPECT_FALSE(table->tapRowAtIndexPath(IndexPath{2, 0}));
    EXPECT_FALSE(table->tapRowAtIndexPath(IndexPath{1, -1}));
    EXPECT_TRUE(model.selections.empty());
}

TEST_F(TableViewTest, AClickOnARowTapsIt) {
    TableView* table = makeTable({{}, {"Cafe", "OTHER"}});
    // Section 0: header 32.66, no rows, footer 10; section 1: header 37, so row 0 spans 79.66..123.66.
    click(table, QPointF(100, 100));
    EXPECT_EQ(model.selections, std::vector<IndexPath>{(IndexPath{1, 0})});
    click(table, QPointF(100, 60));  // a header: no row
    EXPECT_EQ(model.selections.size(), 1u);
}

TEST_F(TableViewTest, RowsTakeTheHeightsTheDelegateGives) {
    model.rowHeights[IndexPath{1, 0}] = 120.0;
    TableView* table = makeTable({{}, {"Tall", "Plain", "Short"}});
    model.rowHeights[IndexPath{1, 2}] = 30.0;  // asked again on the next reload
    table->reloadData();
    std::map<QString, int> heights;
    for (TableViewCell* cell : table->visibleCells()) {
        heights[cell->textLabel()->text()] = cell->height();
    }
    EXPECT_EQ(heights[QStringLiteral("Tall")], 120);
    EXPECT_EQ(heights[QStringLiteral("Plain")], 44);
    EXPECT_EQ(heights[QStringLiteral("Short")], 30);
    // Row 0 spans 79.66..199.66, row 1 199.66..243.66: a click lands on the row under it.
    click(table, QPointF(100, 190));
    click(table, QPointF(100, 210));
    EXPECT_EQ(model.selections, (std::vector<IndexPath>{IndexPath{1, 0}, IndexPath{1, 1}}));
}

TEST_F(TableViewTest, ARowHeightThatIsNoSizeIsReportedAndTheRowKeepsTheTablesHeight) {
    model.rowHeights[IndexPath{1, 0}] = -5.0;
    TableView* table = makeTable({{}, {"Odd"}});
    expectedErrors = 1;
    ASSERT_EQ(table->visibleCells().size(), 1u);
    EXPECT_EQ(table->visibleCells()[0]->height(), 44);
}

TEST_F(TableViewTest, ARowShowingADetailIsDescribedWithItAndOthersAsBefore) {
    TableView* table = makeTable({{}, {"Signal", "Noise"}});
    // The model fills only the text; the first row's cell is given a detail as a data source would.
    for (TableViewCell* cell : table->visibleCells()) {
        if (cell->textLabel()->text() == QStringLiteral("Signal")) {
            cell->detailTextLabel()->setText(QStringLiteral("-81 dBm"));
        }
    }
    const auto rows = table->describe()
                          ->value(QStringLiteral("sections"))
                          ->toArray()
                          ->at(1)
                          .toDictionary()
                          ->value(QStringLiteral("rows"))
                          ->toArray();
    ASSERT_EQ(rows->size(), 2u);
    EXPECT_EQ(json(rows->at(0).toDictionary()),
              R"({"detail": "-81 dBm", "image": "spacer", "tappable": true, "text": "Signal"})");
    EXPECT_EQ(json(rows->at(1).toDictionary()), R"({"image": "spacer", "tappable": true, "text": "Noise"})");
}

TEST_F(TableViewTest, ASubtitleCellLaysItsDetailUnderTheTextOnAsManyLinesAsItTakes) {
    TableViewCell cell(TableViewCellStyle::Subtitle, QStringLiteral("cell"));
    cell.textLabel()->setText(QStringLiteral("Signal strength"));
    EXPECT_EQ(cell.fittingHeight(355.0), 44.0);  // one line fits a row
    cell.detailTextLabel()->setText(QStringLiteral(
        "Problem: -81 dBm\nMove closer to the access point, or move it to a more open, central place; walls, "
        "floors and metal weaken the signal."));
    const double tall = cell.fittingHeight(355.0);
    EXPECT_GT(tall, 44.0 + cell.detailTextLabel()->heightOfLines(2));
    cell.resize(355, static_cast<int>(tall));
    cell.layoutContent();
    const QRect text = cell.textLabel()->geometry();
    const QRect detail = cell.detailTextLabel()->geometry();
    EXPECT_GE(detail.top(), text.bottom());
    EXPECT_EQ(detail.left(), text.left());
    // Every line of the detail is inside the cell, none cut off.
    EXPECT_GE(detail.height(), cell.detailTextLabel()->heightForWidth(detail.width()));
    EXPECT_LE(detail.bottom(), cell.height());
    // The value-one style stays one row high whatever its texts.
    TableViewCell plain(QStringLiteral("cell"));
    plain.detailTextLabel()->setText(cell.detailTextLabel()->text());
    EXPECT_EQ(plain.fittingHeight(355.0), 44.0);
}

TEST_F(TableViewTest, ContentStartsBelowTheContentInset) {
    TableView* table = makeTable({{"Home"}, {"OTHER"}});
    table->setContentInset(EdgeInsets{64.0, 0.0, 0.0, 0.0});
    table->setScrollIndicatorInsets(EdgeInsets{64.0, 0.0, 0.0, 0.0});
    EXPECT_EQ(table->contentInset(), (EdgeInsets{64.0, 0.0, 0.0, 0.0}));
    EXPECT_EQ(table->scrollIndicatorInsets(), (EdgeInsets{64.0, 0.0, 0.0, 0.0}));
    EXPECT_EQ(table->contentOffsetY(), -64.0);
    EXPECT_EQ(model.headers[0]->y(), 64);
    EXPECT_EQ(table->visibleCells().front()->y(), 64 + 33);  // 32.66 rounds to the pixel
}

TEST_F(TableViewTest, ScrollingToARowWithNoPositionMovesTheLeast) {
    TableView* table = makeTable({{"Home"}, numbered(QStringLiteral("Network "), 100)});
    table->setContentInset(EdgeInsets{64.0, 0.0, 0.0, 0.0});
    // Row 0 of section 0 shows already: nothing moves.
    table->scrollToRowAtIndexPath(IndexPath{0, 0}, TableViewScrollPosition::None, true);
    EXPECT_EQ(table->contentOffsetY(), -64.0);
    // Row 50 of section 1 lies below: its bottom comes to the bottom edge.
    table->scrollToRowAtIndexPath(IndexPath{1, 50}, TableViewScrollPosition::None, true);
    const double rowBottom = 32.66 + 44.0 + 10.0 + 37.0 + 44.0 * 51;
    EXPECT_DOUBLE_EQ(table->contentOffsetY(), rowBottom - 667.0);
    EXPECT_EQ(visibleTexts(table).back().toStdString(), "Network 50");
    // Back to the selected network: its row comes to just below the inset, its header above.
    table->scrollToRowAtIndexPath(IndexPath{0, 0}, TableViewScrollPosition::None, true);
    EXPECT_DOUBLE_EQ(table->contentOffsetY(), 32.66 - 64.0);
    table->scrollToRowAtIndexPath(IndexPath{1, 20}, TableViewScrollPosition::Top, false);
    EXPECT_DOUBLE_EQ(table->contentOffsetY(), 32.66 + 44.0 + 10.0 + 37.0 + 44.0 * 20 - 64.0);
}

TEST_F(TableViewTest, HeaderViewsAreTheTablesChildrenButStayTheDelegates) {
    TableView* table = makeTable({{"Home"}, {"OTHER"}});
    EXPECT_EQ(model.headers[0]->parentWidget(), table);
    EXPECT_EQ(model.headers[1]->parentWidget(), table);
    EXPECT_TRUE(model.headers[1]->isVisible());
    // The header spans the table's width at its exact height, rounded to pixels.
    EXPECT_EQ(model.headers[0]->geometry(), QRect(0, 0, 375, 33));
    QPointer<View> header = model.headers[1].get();
    root.reset();
    ASSERT_FALSE(header.isNull());
    EXPECT_EQ(header->parentWidget(), nullptr);
}

TEST_F(TableViewTest, AHeaderOfTheSmallestNormalHeightTakesNoRoom) {
    model.texts = {{}, {"OTHER"}};
    model.headerHeights = {kTiny, 37.0};
    auto* table = new TableView(root->rect(), TableViewStyle::Grouped, root.get());
    table->setDataSource(&model);
    table->setDelegate(&model);
    table->registerClassForCellReuseIdentifier<TableViewCell>(QStringLiteral("cell"));
    const auto described = table->describe();
    EXPECT_EQ(
        json(described),
        R"({"hasRefreshControl": false, "refreshing": false, "sections": [{"header": null, "rows": []}, )"
        R"({"header": null, "rows": [{"image": "spacer", "tappable": true, "text": "OTHER"}]}], )"
        R"("selectionAllowed": true})");
    // Section 1 follows at 0 + 10 (the grouped footer): the tiny header adds nothing visible.
    EXPECT_EQ(table->visibleCells().front()->y(), 10 + 37);
    EXPECT_EQ(table->backgroundInset(), 10.0);
}

TEST_F(TableViewTest, ThePullFiresTheRefreshControlOnceUntilItEnds) {
    TableView* table = makeTable({{}, {"Cafe", "OTHER"}});
    EXPECT_FALSE(table->pullToRefresh());  // no control yet
    auto* control = new RefreshControl;
    int actions = 0;
    control->setValueChangedAction([&] { ++actions; });
    table->setRefreshControl(control);
    EXPECT_EQ(table->refreshControl(), control);
    EXPECT_EQ(control->parentWidget(), table);
    const int headerTop = model.headers[0]->y();

    EXPECT_TRUE(table->pullToRefresh());
    EXPECT_EQ(actions, 1);
    EXPECT_TRUE(control->isRefreshing());
    EXPECT_FALSE(table->pullToRefresh());  // refused while refreshing
    EXPECT_EQ(actions, 1);
    // The spinner row shows above the content, which moves down to make room.
    EXPECT_TRUE(control->isVisible());
    EXPECT_TRUE(control->spinner()->isAnimating());
    EXPECT_EQ(control->y(), headerTop);
    EXPECT_EQ(model.headers[0]->y(), headerTop + 44);
    EXPECT_EQ(json(table->describe()).find(R"("refreshing": true)") != std::string::npos, true);

    control->endRefreshing();
    EXPECT_FALSE(control->isVisible());
    EXPECT_EQ(model.headers[0]->y(), headerTop);
    EXPECT_TRUE(table->pullToRefresh());
    EXPECT_EQ(actions, 2);
    EXPECT_EQ(eventsOf("refresh"),
              (std::vector<std::string>{R"(refresh {"refreshing": true})", R"(refresh {"refreshing": false})",
                                        R"(refresh {"refreshing": true})"}));
    EXPECT_TRUE(eventsOf("spinner").empty());  // the control's own spinner is its refreshing state
}

TEST_F(TableViewTest, TakingAwayARefreshingControlLetsTheContentBackToItsTop) {
    TableView* table = makeTable({{}, {"Cafe", "OTHER"}});
    auto* control = new RefreshControl;
    table->setRefreshControl(control);
    const int headerTop = model.headers[0]->y();
    ASSERT_TRUE(table->pullToRefresh());
    ASSERT_EQ(model.headers[0]->y(), headerTop + 44);
    table->setRefreshControl(nullptr);
    EXPECT_EQ(table->refreshControl(), nullptr);
    EXPECT_EQ(table->contentOffsetY(), 0.0);
    EXPECT_EQ(model.headers[0]->y(), headerTop);
    EXPECT_FALSE(table->pullToRefresh());
    EXPECT_NE(json(table->describe()).find(R"("hasRefreshControl": false, "refreshing": false)"),
              std::string::npos);
}

TEST_F(TableViewTest, DraggingDownPastTheTopPullsToRefresh) {
    TableView* table = makeTable({{}, {"Cafe", "OTHER"}});
    auto* control = new RefreshControl;
    int actions = 0;
    control->setValueChangedAction([&] { ++actions; });
    table->setRefreshControl(control);
    // 40 points past the top is not enough; the content settles back.
    drag(table, QPointF(100, 200), QPointF(100, 240));
    EXPECT_EQ(actions, 0);
    EXPECT_EQ(table->contentOffsetY(), 0.0);
    drag(table, QPointF(100, 200), QPointF(100, 300));
    EXPECT_EQ(actions, 1);
    EXPECT_TRUE(model.selections.empty());  // a drag is no tap
    drag(table, QPointF(100, 200), QPointF(100, 300));
    EXPECT_EQ(actions, 1);  // refreshing already
}

TEST_F(TableViewTest, TheWheelPastTheTopPullsToRefresh) {
    TableView* table = makeTable({{}, {"Cafe", "OTHER"}});
    auto* control = new RefreshControl;
    int actions = 0;
    control->setValueChangedAction([&] { ++actions; });
    table->setRefreshControl(control);
    wheelUp(table, 1);  // one step is about one pull's worth: not past it
    EXPECT_EQ(actions, 0);
    wheelUp(table, 1);
    EXPECT_EQ(actions, 1);
}

TEST_F(TableViewTest, TheDescriptionHasEveryRowNotOnlyThoseOnScreen) {
    TableView* table = makeTable({{"Home"}, numbered(QStringLiteral("Network "), 30)});
    static_cast<CaptionHeader*>(model.headers[1].get())->spinner->startAnimating();
    const std::size_t cellsBefore = made.size();
    const auto described = table->describe();
    const auto sections = described->value(QStringLiteral("sections"))->toArray();
    ASSERT_EQ(sections->size(), 2u);
    EXPECT_EQ(json(sections->at(0).toDictionary()),
              R"({"header": {"height": 32.66, "spinner": null, "text": "SELECTED NETWORK"}, )"
              R"("rows": [{"image": "check", "tappable": false, "text": "Home"}]})");
    const auto networks = sections->at(1).toDictionary();
    EXPECT_EQ(json(networks->value(QStringLiteral("header"))->toDictionary()),
              R"({"height": 37.0, "spinner": true, "text": "CHOOSE A NETWORK"})");
    const auto rows = networks->value(QStringLiteral("rows"))->toArray();
    ASSERT_EQ(rows->size(), 30u);
    EXPECT_EQ(json(rows->at(29).toDictionary()),
              R"({"image": "spacer", "tappable": true, "text": "Network 29"})");
    EXPECT_EQ(described->value(QStringLiteral("selectionAllowed"))->toBool(), true);
    EXPECT_EQ(described->value(QStringLiteral("hasRefreshControl"))->toBool(), false);
    // Rows off screen were described through one pooled cell, not a cell each.
    EXPECT_LE(made.size(), cellsBefore + 1);
    EXPECT_EQ(table->visibleCells().size(), cellsBefore);
}

TEST_F(TableViewTest, TheScreenDescriptionCarriesTheTableAndLeavesItsTextsToIt) {
    makeTable({{"Home"}, {"OTHER"}});
    auto* label = new Label(root.get());
    label->setText(QStringLiteral("Outside"));
    const auto screen = describeScreen(root.get(), nullptr);
    const auto labels = screen->value(QStringLiteral("labels"))->toArray();
    ASSERT_EQ(labels->size(), 1u);
    EXPECT_EQ(labels->at(0).toString().toStdString(), "Outside");
    ASSERT_TRUE(screen->contains(QStringLiteral("table")));
    const auto rows = screen->value(QStringLiteral("table"))
                          ->toDictionary()
                          ->value(QStringLiteral("sections"))
                          ->toArray()
                          ->at(1)
                          .toDictionary()
                          ->value(QStringLiteral("rows"))
                          ->toArray();
    ASSERT_EQ(rows->size(), 1u);
    EXPECT_EQ(rows->at(0).toDictionary()->value(QStringLiteral("text"))->toString().toStdString(), "OTHER");
}

TEST_F(TableViewTest, AHiddenTableIsNotOnTheScreen) {
    TableView* table = makeTable({{}, {"OTHER"}});
    table->hide();
    EXPECT_FALSE(describeScreen(root.get(), nullptr)->contains(QStringLiteral("table")));
}

}  // namespace
