#include "platform/ui/table/TableView.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QGraphicsOpacityEffect>
#include <QMouseEvent>
#include <QPainter>
#include <QPointer>
#include <QVariantAnimation>
#include <QWheelEvent>
#include "platform/ui/ActivityIndicatorView.h"
#include "platform/ui/Animation.h"
#include "platform/ui/Label.h"
#include "platform/ui/ScreenEvents.h"
#include "platform/ui/table/BatchUpdates.h"
#include "platform/ui/table/CellReusePool.h"
#include "platform/ui/table/RefreshControl.h"
#include "platform/ui/table/TableViewCell.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <set>
#include <string_view>

namespace platform::ui {

namespace {

const QColor kGroupedBackground(239, 239, 244);
const QColor kSeparator(200, 199, 204);
// The leading inset of the lines between rows, in line with the cells' text margin.
constexpr double kSeparatorInset = 15.0;
constexpr double kGroupedCornerRadius = 8.0;
// A press that moves less than this is a tap; more, and it drags the content.
constexpr double kDragThreshold = 6.0;
// Wheel steps further apart than this start a new pull.
constexpr qint64 kWheelPullPauseMilliseconds = 500;

Value integer(long n) {
    return Value::integer(static_cast<std::int64_t>(n));
}

ArrayRef indexPathsArray(const std::vector<IndexPath>& paths) {
    auto out = makeArray();
    for (const IndexPath p : paths) {
        out->push_back(Value::array(makeArray({integer(p.section), integer(p.row)})));
    }
    return out;
}

ArrayRef countsArray(const std::vector<long>& counts) {
    auto out = makeArray();
    for (const long n : counts) {
        out->push_back(integer(n));
    }
    return out;
}

DictionaryRef indexPathFields(IndexPath p) {
    return Dictionary::make(
        {{QStringLiteral("section"), integer(p.section)}, {QStringLiteral("row"), integer(p.row)}});
}

int pixel(double y) {
    return static_cast<int>(std::lround(y));
}

}  // namespace

struct TableView::Impl {
    Impl(TableView* table, TableViewStyle s) : q(table), style(s) {}

    TableView* q;
    TableViewStyle style;
    TableViewDataSource* dataSource = nullptr;
    TableViewDelegate* delegate = nullptr;
    bool loaded = false;
    std::map<QString, CellFactory> factories;
    CellReusePool pool;
    TableLayout layout;
    std::map<IndexPath, TableViewCell*> visible;
    // Per section: the header view last given by the delegate while the header was in the band.
    std::vector<QPointer<View>> headers;
    std::vector<bool> headerInBand;
    // Every header view the table made its child, to hand back (unparented) when it goes.
    std::vector<QPointer<View>> adoptedHeaders;
    EdgeInsets contentInset;
    EdgeInsets indicatorInsets;
    double offset = 0.0;
    bool allowsSelection = true;
    std::optional<IndexPath> selected;
    QPointer<RefreshControl> refresh;
    BatchUpdates batch;
    bool batchFades = false;
    bool layingOut = false;

    bool pressed = false;
    bool dragging = false;
    QPointF pressPosition;
    double pressOffset = 0.0;
    double wheelPull = 0.0;
    QElapsedTimer lastWheel;
    QPointer<QVariantAnimation> scrollAnimation;
    std::vector<QPointer<QVariantAnimation>> fades;

    double backgroundInset() const {
        return style == TableViewStyle::Grouped ? kGroupedBackgroundInset : 0.0;
    }
    bool isRefreshing() const { return refresh && refresh->isRefreshing(); }

    ScrollViewport viewport() const {
        return ScrollViewport{static_cast<double>(q->height()),
                              contentInset.top + (isRefreshing() ? RefreshControl::kHeight : 0.0),
                              contentInset.bottom};
    }

    void ensureLoaded() {
        if (!loaded && dataSource) {
            q->reloadData();
        }
    }

    std::vector<long> currentCounts() const {
        std::vector<long> counts;
        for (long s = 0; s < layout.numberOfSections(); ++s) {
            counts.push_back(layout.numberOfRowsInSection(s));
        }
        return counts;
    }

    // The counts as the data source gives them now; a negative count is reported and read as none.
    std::vector<long> askCounts() {
        std::vector<long> counts;
        if (!dataSource) {
            return counts;
        }
        long sections = dataSource->numberOfSectionsInTableView(q);
        if (sections < 0) {
            reportProgrammingError(
                QStringLiteral("the table's data source gave %1 sections; the table shows none")
                    .arg(sections),
                Dictionary::make({{QStringLiteral("sections"), integer(sections)}}));
            sections = 0;
        }
        for (long s = 0; s < sections; ++s) {
            long rows = dataSource->tableViewNumberOfRowsInSection(q, s);
            if (rows < 0) {
                reportProgrammingError(QStringLiteral("the table's data source gave %1 rows for section %2; "
                                                      "the section shows none")
                                           .arg(rows)
                                           .arg(s),
                                       Dictionary::make({{QStringLiteral("section"), integer(s)},
                                                         {QStringLiteral("rows"), integer(rows)}}));
                rows = 0;
            }
            counts.push_back(rows);
        }
        return counts;
    }

    double resolveHeight(double asked, const char* what, long section) {
        const bool header = std::string_view(what) == "header";
        if (asked == kTableViewAutomaticDimension) {
            if (style == TableViewStyle::Grouped) {
                return kGroupedAutomaticHeight;
            }
            return header ? kPlainAutomaticHeaderHeight : 0.0;
        }
        if (!std::isfinite(asked) || asked < 0.0) {
            reportProgrammingError(QStringLiteral("the table's delegate gave %1 height %2 for section %3; "
                                                  "it takes no room")
                                       .arg(QLatin1String(what))
                                       .arg(asked)
                                       .arg(section),
                                   Dictionary::make({{QStringLiteral("section"), integer(section)},
                                                     {QStringLiteral("height"), Value::number(asked)}}));
            return 0.0;
        }
        return asked;
    }

    // The delegate's heights for the section's rows; empty when every row takes the table's row
    // height. A height that is no size is reported and the row keeps the table's height.
    std::vector<double> askRowHeights(long section, long rows) {
        std::vector<double> heights;
        if (!delegate) {
            return heights;
        }
        bool own = false;
        heights.reserve(static_cast<std::size_t>(std::max(0L, rows)));
        for (long r = 0; r < rows; ++r) {
            double asked = delegate->tableViewHeightForRowAtIndexPath(q, IndexPath{section, r});
            if (asked == kTableViewAutomaticDimension) {
                asked = kRowHeight;
            } else if (!std::isfinite(asked) || asked < 0.0) {
                auto fields = indexPathFields(IndexPath{section, r});
                fields->set(QStringLiteral("height"), Value::number(asked));
                reportProgrammingError(
                    QStringLiteral("the table's delegate gave height %1 for row %2 of section %3; it keeps "
                                   "the table's row height")
                        .arg(asked)
                        .arg(r)
                        .arg(section),
                    fields);
                asked = kRowHeight;
            } else {
                own = own || asked != kRowHeight;
            }
            heights.push_back(asked);
        }
        if (!own) {
            heights.clear();
        }
        return heights;
    }

    // A new layout for the counts, with heights asked afresh; header views are asked again when
    // their header is next in the band.
    void rebuildLayout(const std::vector<long>& counts) {
        std::vector<SectionHeights> sections;
        std::vector<std::vector<double>> rowHeights;
        for (long s = 0; s < static_cast<long>(counts.size()); ++s) {
            SectionHeights h;
            const double askedHeader =
                delegate ? delegate->tableViewHeightForHeaderInSection(q, s) : kTableViewAutomaticDimension;
            const double askedFooter =
                delegate ? delegate->tableViewHeightForFooterInSection(q, s) : kTableViewAutomaticDimension;
            h.header = resolveHeight(askedHeader, "header", s);
            h.footer = resolveHeight(askedFooter, "footer", s);
            h.rows = counts[static_cast<std::size_t>(s)];
            rowHeights.push_back(askRowHeights(s, h.rows));
            sections.push_back(h);
        }
        layout = TableLayout(std::move(sections), kRowHeight, std::move(rowHeights));
        for (const auto& view : headers) {
            if (view) {
                view->hide();
            }
        }
        headers.assign(counts.size(), nullptr);
        headerInBand.assign(counts.size(), false);
    }

    void recycle(TableViewCell* cell) {
        cell->hide();
        pool.enqueue(cell->reuseIdentifier(), cell);
    }

    void recycleVisible() {
        for (const auto& [path, cell] : visible) {
            recycle(cell);
        }
        visible.clear();
    }

    // The data source's cell for the row, made the table's child; nullptr (reported) when it
    // gives none.
    TableViewCell* obtainCell(IndexPath path) {
        TableViewCell* cell = dataSource ? dataSource->tableViewCellForRowAtIndexPath(q, path) : nullptr;
        if (!cell) {
            reportProgrammingError(
                QStringLiteral("the table's data source gave no cell for row %1 of section %2")
                    .arg(path.row)
                    .arg(path.section),
                indexPathFields(path));
            return nullptr;
        }
        pool.remove(cell);
        if (cell->parentWidget() != q) {
            cell->setParent(q);
        }
        return cell;
    }

    void place(TableViewCell* cell, IndexPath path) {
        const double inset = backgroundInset();
        const double y = layout.rowY(path) - offset;
        const int top = pixel(y);
        cell->setGeometry(pixel(inset), top, pixel(q->width() - 2.0 * inset),
                          pixel(y + layout.rowHeight(path)) - top);
        cell->layoutContent();
        cell->show();
    }

    void adoptHeader(View* view) {
        if (view->parentWidget() != q) {
            view->setParent(q);
        }
        const bool known = std::any_of(adoptedHeaders.begin(), adoptedHeaders.end(),
                                       [view](const QPointer<View>& v) { return v == view; });
        if (!known) {
            adoptedHeaders.emplace_back(view);
        }
    }

    // Brings the children in line with the offset: cells for the rows in the band (the others go
    // to the pool), header views placed, the refresh control above the content. Answers the cells
    // that came newly into the band.
    std::vector<std::pair<IndexPath, TableViewCell*>> layoutPass() {
        std::vector<std::pair<IndexPath, TableViewCell*>> arrived;
        if (layingOut) {
            return arrived;
        }
        layingOut = true;
        const double top = offset;
        const double bottom = offset + q->height();
        const auto rows = dataSource ? layout.rowsIntersecting(top, bottom) : std::vector<IndexPath>{};
        const std::set<IndexPath> wanted(rows.begin(), rows.end());
        for (auto it = visible.begin(); it != visible.end();) {
            if (!wanted.count(it->first)) {
                recycle(it->second);
                it = visible.erase(it);
            } else {
                ++it;
            }
        }
        for (const IndexPath path : rows) {
            if (visible.count(path)) {
                continue;
            }
            if (TableViewCell* cell = obtainCell(path)) {
                cell->setSelected(selected == path, false);
                visible[path] = cell;
                arrived.emplace_back(path, cell);
            }
        }
        for (const auto& [path, cell] : visible) {
            place(cell, path);
        }

        const auto bandHeaders = layout.headersIntersecting(top, bottom);
        for (long s = 0; s < layout.numberOfSections(); ++s) {
            const auto index = static_cast<std::size_t>(s);
            const bool inBand = std::find(bandHeaders.begin(), bandHeaders.end(), s) != bandHeaders.end();
            if (!inBand) {
                if (headerInBand[index] && headers[index]) {
                    headers[index]->hide();
                }
                headerInBand[index] = false;
                continue;
            }
            if (!headerInBand[index]) {
                View* view = delegate ? delegate->tableViewViewForHeaderInSection(q, s) : nullptr;
                if (headers[index] && headers[index] != view) {
                    headers[index]->hide();
                }
                headers[index] = view;
                headerInBand[index] = true;
                if (view) {
                    adoptHeader(view);
                }
            }
            if (View* view = headers[index]) {
                const double y = layout.headerY(s) - offset;
                const int headerTop = pixel(y);
                view->setGeometry(0, headerTop, q->width(), pixel(y + layout.headerHeight(s)) - headerTop);
                view->show();
            }
        }

        if (refresh) {
            const double y = -RefreshControl::kHeight - offset;
            refresh->setGeometry(0, pixel(y), q->width(), pixel(RefreshControl::kHeight));
            refresh->setVisible(isRefreshing() || offset < -contentInset.top);
        }
        q->update();
        layingOut = false;
        return arrived;
    }

    void stopScrolling() {
        if (scrollAnimation) {
            scrollAnimation->stop();
            delete scrollAnimation;
        }
    }

    void setOffset(double y) {
        offset = std::isfinite(y) ? y : minimumContentOffset(viewport());
        layoutPass();
    }

    void scrollTo(double target, bool animated) {
        stopScrolling();
        if (!animated || !shouldAnimate(q) || target == offset) {
            setOffset(target);
            return;
        }
        auto* animation = new QVariantAnimation(q);
        animation->setStartValue(offset);
        animation->setEndValue(target);
        animation->setDuration(kScrollMilliseconds);
        animation->setEasingCurve(QEasingCurve::OutCubic);
        QObject::connect(animation, &QVariantAnimation::valueChanged, q,
                         [this](const QVariant& v) { setOffset(v.toDouble()); });
        scrollAnimation = animation;
        animation->start(QAbstractAnimation::DeleteWhenStopped);
    }

    // Fades the cell's opacity from one value to the other, then runs done.
    void fade(TableViewCell* cell, double from, double to, std::function<void()> done) {
        auto* effect = new QGraphicsOpacityEffect(cell);
        effect->setOpacity(from);
        cell->setGraphicsEffect(effect);
        auto* animation = new QVariantAnimation(cell);
        animation->setStartValue(from);
        animation->setEndValue(to);
        animation->setDuration(kFadeMilliseconds);
        QObject::connect(animation, &QVariantAnimation::valueChanged, effect,
                         [effect](const QVariant& v) { effect->setOpacity(v.toDouble()); });
        QPointer<TableViewCell> guarded(cell);
        QObject::connect(animation, &QVariantAnimation::finished, q, [guarded, done = std::move(done)] {
            if (guarded) {
                guarded->setGraphicsEffect(nullptr);
                done();
            }
        });
        fades.emplace_back(animation);
        fades.erase(std::remove(fades.begin(), fades.end(), nullptr), fades.end());
        animation->start(QAbstractAnimation::DeleteWhenStopped);
    }

    // The row's number after the batch: less the deletions above it, plus the insertions at or
    // above where it lands.
    static IndexPath movedIndexPath(IndexPath path, const UpdateOutcome& outcome) {
        long row = path.row;
        for (const IndexPath d : outcome.deleted) {
            if (d.section == path.section && d.row < path.row) {
                --row;
            }
        }
        for (const IndexPath i : outcome.inserted) {
            if (i.section == path.section && i.row <= row) {
                ++row;
            }
        }
        return IndexPath{path.section, row};
    }

    void applyBatch() {
        ensureLoaded();
        const bool animate = batchFades && shouldAnimate(q);
        batchFades = false;
        const auto before = currentCounts();
        const auto after = askCounts();
        const UpdateOutcome outcome = batch.finish(before, after);
        if (outcome.violation) {
            reportProgrammingError(outcome.violation->message, outcome.violation->fields);
            // The screen goes on with the data source's counts, as a reload would.
            recycleVisible();
            selected.reset();
            rebuildLayout(after);
            offset = clampContentOffset(offset, layout, viewport());
            layoutPass();
            return;
        }
        std::map<IndexPath, TableViewCell*> moved;
        for (const auto& [path, cell] : visible) {
            if (std::binary_search(outcome.deleted.begin(), outcome.deleted.end(), path)) {
                if (animate) {
                    QPointer<TableViewCell> guarded(cell);
                    cell->raise();
                    fade(cell, 1.0, 0.0, [this, guarded] {
                        if (guarded) {
                            recycle(guarded);
                        }
                    });
                } else {
                    recycle(cell);
                }
            } else {
                moved[movedIndexPath(path, outcome)] = cell;
            }
        }
        visible = std::move(moved);
        if (selected) {
            if (std::binary_search(outcome.deleted.begin(), outcome.deleted.end(), *selected)) {
                selected.reset();
            } else {
                selected = movedIndexPath(*selected, outcome);
            }
        }
        // A kept row stays where the batch puts it, but its cell is filled again from the data
        // source: a cell made while the data source was already ahead of the table (a scroll during
        // a refresh, or the refresh control settling before the batch) would show another row's text.
        for (auto& [path, cell] : visible) {
            recycle(cell);
            cell = obtainCell(path);
            if (cell) {
                cell->setSelected(selected == path, false);
            }
        }
        std::erase_if(visible, [](const auto& entry) { return entry.second == nullptr; });
        rebuildLayout(after);
        offset = clampContentOffset(offset, layout, viewport());
        const auto arrived = layoutPass();
        if (animate) {
            for (const auto& [path, cell] : arrived) {
                if (std::binary_search(outcome.inserted.begin(), outcome.inserted.end(), path)) {
                    fade(cell, 0.0, 1.0, [] {});
                }
            }
        }
        reportScreenEvent(QStringLiteral("tableUpdate"),
                          Dictionary::make({
                              {QStringLiteral("deleted"), Value::array(indexPathsArray(outcome.deleted))},
                              {QStringLiteral("inserted"), Value::array(indexPathsArray(outcome.inserted))},
                              {QStringLiteral("rows"), Value::array(countsArray(outcome.rowsAfter))},
                          }));
    }

    void refreshingChanged(bool refreshing) {
        const double restingTop = -contentInset.top;
        const double refreshingTop = restingTop - RefreshControl::kHeight;
        if (refreshing) {
            // Content resting at (or pulled past) its top makes room for the spinner row.
            if (offset <= restingTop) {
                scrollTo(refreshingTop, true);
                return;
            }
        } else if (offset < restingTop) {
            scrollTo(restingTop, true);
            return;
        }
        layoutPass();
    }

    DictionaryRef describeCell(const TableViewCell* cell) const {
        const ImageRef& image = cell->imageView()->image();
        auto row = Dictionary::make({
            {QStringLiteral("text"), Value::string(cell->textLabel()->text())},
            {QStringLiteral("image"), image ? Value::string(image->name()) : Value::null()},
            {QStringLiteral("tappable"), Value::boolean(cell->isUserInteractionEnabled())},
        });
        // Only a row that shows a detail says so, so rows without one read as they always have.
        if (const QString detail = cell->detailTextLabel()->text(); !detail.isEmpty()) {
            row->set(QStringLiteral("detail"), Value::string(detail));
        }
        return row;
    }

    Value describeHeader(long section) {
        const auto index = static_cast<std::size_t>(section);
        // The view the delegate last gave for the section, shown or scrolled away; the delegate is
        // asked only for a header never shown since the last reload.
        View* view = headerInBand[index] || headers[index]
                         ? headers[index].data()
                         : (delegate ? delegate->tableViewViewForHeaderInSection(q, section) : nullptr);
        if (!view) {
            return Value::null();
        }
        const Label* label = view->findChild<Label*>();
        const ActivityIndicatorView* spinner = view->findChild<ActivityIndicatorView*>();
        return Value::dictionary(Dictionary::make({
            {QStringLiteral("text"), label ? Value::string(label->text()) : Value::null()},
            {QStringLiteral("spinner"), spinner ? Value::boolean(spinner->isAnimating()) : Value::null()},
            {QStringLiteral("height"), Value::number(layout.headerHeight(section))},
        }));
    }
};

TableView::TableView(const QRect& frame, TableViewStyle style, QWidget* parent)
    : View(parent), d_(new Impl(this, style)) {
    setGeometry(frame);
    setAttribute(Qt::WA_OpaquePaintEvent);
}

TableView::~TableView() {
    d_->stopScrolling();
    for (const auto& animation : d_->fades) {
        if (animation) {
            animation->disconnect();
            delete animation;
        }
    }
    // Header views belong to the delegate: they leave with their parent changed, not deleted.
    for (const auto& view : d_->adoptedHeaders) {
        if (view && view->parentWidget() == this) {
            view->hide();
            view->setParent(nullptr);
        }
    }
    if (d_->refresh) {
        d_->refresh->disconnect(this);
    }
    delete d_;
    d_ = nullptr;
}

TableViewStyle TableView::style() const {
    return d_->style;
}

void TableView::setDataSource(TableViewDataSource* dataSource) {
    d_->recycleVisible();
    d_->dataSource = dataSource;
    d_->loaded = false;
    if (isVisible()) {
        d_->layoutPass();
    }
}

void TableView::setDelegate(TableViewDelegate* delegate) {
    d_->delegate = delegate;
    if (d_->loaded) {
        d_->rebuildLayout(d_->currentCounts());
        d_->layoutPass();
    }
}

void TableView::registerCellFactory(CellFactory factory, const QString& reuseIdentifier) {
    d_->factories[reuseIdentifier] = std::move(factory);
}

TableViewCell* TableView::dequeueReusableCellWithIdentifier(const QString& reuseIdentifier,
                                                            IndexPath indexPath) {
    const auto factory = d_->factories.find(reuseIdentifier);
    if (factory == d_->factories.end()) {
        auto fields = indexPathFields(indexPath);
        fields->set(QStringLiteral("identifier"), Value::string(reuseIdentifier));
        reportProgrammingError(QStringLiteral("no cell is registered for reuse identifier \"%1\" "
                                              "(asked for row %2 of section %3)")
                                   .arg(reuseIdentifier)
                                   .arg(indexPath.row)
                                   .arg(indexPath.section),
                               fields);
    }
    if (TableViewCell* cell = d_->pool.dequeue(reuseIdentifier)) {
        cell->prepareForReuse();
        return cell;
    }
    TableViewCell* cell =
        factory != d_->factories.end() && factory->second ? factory->second(reuseIdentifier) : nullptr;
    if (!cell) {
        if (factory != d_->factories.end()) {
            reportProgrammingError(
                QStringLiteral("the cell factory for reuse identifier \"%1\" made no cell")
                    .arg(reuseIdentifier),
                Dictionary::make({{QStringLiteral("identifier"), Value::string(reuseIdentifier)}}));
        }
        cell = new TableViewCell(TableViewCellStyle::Value1, reuseIdentifier);
    }
    cell->setParent(this);
    cell->hide();
    return cell;
}

void TableView::reloadData() {
    d_->loaded = true;
    d_->recycleVisible();
    d_->selected.reset();
    const auto counts = d_->askCounts();
    d_->rebuildLayout(counts);
    d_->offset = clampContentOffset(d_->offset, d_->layout, d_->viewport());
    d_->layoutPass();
    reportScreenEvent(QStringLiteral("tableReload"),
                      Dictionary::make({{QStringLiteral("rows"), Value::array(countsArray(counts))}}));
}

void TableView::beginUpdates() {
    d_->ensureLoaded();
    d_->batch.begin();
}

void TableView::endUpdates() {
    if (d_->batch.end()) {
        d_->applyBatch();
    } else if (d_->batch.unbalancedEnd()) {
        reportProgrammingError(QStringLiteral("endUpdates without a matching beginUpdates"),
                               Dictionary::make());
    }
}

void TableView::insertRowsAtIndexPaths(const std::vector<IndexPath>& indexPaths,
                                       TableViewRowAnimation animation) {
    beginUpdates();
    d_->batch.insertRows(indexPaths);
    d_->batchFades = d_->batchFades || animation == TableViewRowAnimation::Fade;
    endUpdates();
}

void TableView::deleteRowsAtIndexPaths(const std::vector<IndexPath>& indexPaths,
                                       TableViewRowAnimation animation) {
    beginUpdates();
    d_->batch.deleteRows(indexPaths);
    d_->batchFades = d_->batchFades || animation == TableViewRowAnimation::Fade;
    endUpdates();
}

long TableView::numberOfSections() const {
    d_->ensureLoaded();
    return d_->layout.numberOfSections();
}

long TableView::numberOfRowsInSection(long section) const {
    d_->ensureLoaded();
    return d_->layout.numberOfRowsInSection(section);
}

void TableView::setContentInset(EdgeInsets insets) {
    const bool atRest = d_->offset == minimumContentOffset(d_->viewport());
    d_->contentInset = insets;
    if (atRest) {
        // Content resting at its top stays at its top, now below the new inset.
        d_->offset = minimumContentOffset(d_->viewport());
    }
    d_->layoutPass();
}

EdgeInsets TableView::contentInset() const {
    return d_->contentInset;
}

void TableView::setScrollIndicatorInsets(EdgeInsets insets) {
    d_->indicatorInsets = insets;
}

EdgeInsets TableView::scrollIndicatorInsets() const {
    return d_->indicatorInsets;
}

double TableView::contentOffsetY() const {
    return d_->offset;
}

void TableView::setContentOffsetY(double y) {
    d_->stopScrolling();
    d_->setOffset(y);
}

void TableView::scrollToRowAtIndexPath(IndexPath indexPath, TableViewScrollPosition position, bool animated) {
    d_->ensureLoaded();
    if (!d_->layout.contains(indexPath)) {
        reportProgrammingError(QStringLiteral("scroll to row %1 of section %2, which the table does not have")
                                   .arg(indexPath.row)
                                   .arg(indexPath.section),
                               indexPathFields(indexPath));
        return;
    }
    d_->scrollTo(contentOffsetShowingRow(d_->layout, indexPath, position, d_->offset, d_->viewport()),
                 animated);
}

void TableView::setAllowsSelection(bool allowed) {
    d_->allowsSelection = allowed;
}

bool TableView::allowsSelection() const {
    return d_->allowsSelection;
}

bool TableView::tapRowAtIndexPath(IndexPath indexPath) {
    d_->ensureLoaded();
    if (!d_->allowsSelection || !d_->layout.contains(indexPath) || !d_->dataSource) {
        return false;
    }
    bool interactive = false;
    const auto shown = d_->visible.find(indexPath);
    if (shown != d_->visible.end()) {
        interactive = shown->second->isUserInteractionEnabled();
    } else if (TableViewCell* cell = d_->obtainCell(indexPath)) {
        // A row off screen: its cell is asked for, read and put back.
        interactive = cell->isUserInteractionEnabled();
        d_->recycle(cell);
    }
    if (!interactive) {
        return false;
    }
    if (d_->selected && *d_->selected != indexPath) {
        if (const auto old = d_->visible.find(*d_->selected); old != d_->visible.end()) {
            old->second->setSelected(false, false);
        }
    }
    d_->selected = indexPath;
    if (const auto cell = d_->visible.find(indexPath); cell != d_->visible.end()) {
        cell->second->setSelected(true, false);
    }
    if (d_->delegate) {
        d_->delegate->tableViewDidSelectRowAtIndexPath(this, indexPath);
    }
    return true;
}

std::optional<IndexPath> TableView::indexPathForSelectedRow() const {
    return d_->selected;
}

void TableView::deselectRowAtIndexPath(IndexPath indexPath, bool animated) {
    if (d_->selected == indexPath) {
        d_->selected.reset();
    }
    if (const auto cell = d_->visible.find(indexPath); cell != d_->visible.end()) {
        cell->second->setSelected(false, animated);
    }
}

std::optional<double> TableView::backgroundInset() const {
    if (d_->style != TableViewStyle::Grouped) {
        return std::nullopt;
    }
    return kGroupedBackgroundInset;
}

void TableView::setRefreshControl(RefreshControl* control) {
    if (d_->refresh == control) {
        return;
    }
    const bool wasRefreshing = d_->isRefreshing();
    if (RefreshControl* old = d_->refresh) {
        old->disconnect(this);
        old->hide();
        old->deleteLater();
    }
    d_->refresh = control;
    if (control) {
        control->setParent(this);
        connect(control, &RefreshControl::refreshingChanged, this, [this](bool refreshing) {
            if (d_) {
                d_->refreshingChanged(refreshing);
            }
        });
    }
    if (wasRefreshing && !d_->isRefreshing()) {
        // The room made for the spinner row goes with the control.
        d_->refreshingChanged(false);
        return;
    }
    d_->layoutPass();
}

RefreshControl* TableView::refreshControl() const {
    return d_->refresh;
}

bool TableView::pullToRefresh() {
    if (!d_->refresh || d_->refresh->isRefreshing()) {
        return false;
    }
    return d_->refresh->pull();
}

std::vector<TableViewCell*> TableView::visibleCells() const {
    d_->ensureLoaded();
    std::vector<TableViewCell*> cells;
    for (const auto& [path, cell] : d_->visible) {
        cells.push_back(cell);
    }
    return cells;
}

DictionaryRef TableView::describe() {
    d_->ensureLoaded();
    auto sections = makeArray();
    for (long s = 0; s < d_->layout.numberOfSections(); ++s) {
        auto rows = makeArray();
        for (long r = 0; r < d_->layout.numberOfRowsInSection(s); ++r) {
            const IndexPath path{s, r};
            if (const auto shown = d_->visible.find(path); shown != d_->visible.end()) {
                rows->push_back(Value::dictionary(d_->describeCell(shown->second)));
            } else if (TableViewCell* cell = d_->obtainCell(path)) {
                rows->push_back(Value::dictionary(d_->describeCell(cell)));
                d_->recycle(cell);
            } else {
                rows->push_back(Value::null());
            }
        }
        sections->push_back(Value::dictionary(Dictionary::make({
            {QStringLiteral("header"), d_->describeHeader(s)},
            {QStringLiteral("rows"), Value::array(rows)},
        })));
    }
    return Dictionary::make({
        {QStringLiteral("sections"), Value::array(sections)},
        {QStringLiteral("selectionAllowed"), Value::boolean(d_->allowsSelection)},
        {QStringLiteral("refreshing"), Value::boolean(d_->isRefreshing())},
        {QStringLiteral("hasRefreshControl"), Value::boolean(d_->refresh != nullptr)},
    });
}

void TableView::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    const bool grouped = d_->style == TableViewStyle::Grouped;
    painter.fillRect(rect(), grouped ? kGroupedBackground : QColor(Qt::white));
    const TableLayout& layout = d_->layout;
    const double offset = d_->offset;
    const double inset = d_->backgroundInset();
    const double left = inset;
    const double right = width() - inset;
    painter.setRenderHint(QPainter::Antialiasing, grouped);
    for (long s = 0; s < layout.numberOfSections(); ++s) {
        const long rows = layout.numberOfRowsInSection(s);
        if (rows == 0) {
            continue;
        }
        const double top = layout.rowY(IndexPath{s, 0}) - offset;
        const double bottom = layout.footerY(s) - offset;
        if (bottom < 0.0 || top > height()) {
            continue;
        }
        if (grouped) {
            painter.setPen(QPen(kSeparator, 1.0));
            painter.setBrush(Qt::white);
            painter.drawRoundedRect(
                QRectF(left + 0.5, pixel(top) + 0.5, right - left - 1.0, pixel(bottom) - pixel(top) - 1.0),
                kGroupedCornerRadius, kGroupedCornerRadius);
        }
    }
    // Lines between the rows in the band, not below a section's last row.
    painter.setRenderHint(QPainter::Antialiasing, false);
    painter.setPen(QPen(kSeparator, 1.0));
    for (const IndexPath path : layout.rowsIntersecting(offset, offset + height())) {
        if (path.row + 1 >= layout.numberOfRowsInSection(path.section)) {
            continue;
        }
        const int y = pixel(layout.rowY(path) + layout.rowHeight(path) - offset) - 1;
        painter.drawLine(QPointF(left + kSeparatorInset, y), QPointF(right - (grouped ? 1.0 : 0.0), y));
    }
}

void TableView::resizeEvent(QResizeEvent* event) {
    View::resizeEvent(event);
    if (!d_->dragging) {
        d_->offset = clampContentOffset(d_->offset, d_->layout, d_->viewport());
    }
    d_->layoutPass();
}

void TableView::showEvent(QShowEvent* event) {
    View::showEvent(event);
    if (!d_->loaded && d_->dataSource) {
        reloadData();
    } else {
        d_->layoutPass();
    }
}

void TableView::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) {
        View::mousePressEvent(event);
        return;
    }
    d_->stopScrolling();
    d_->pressed = true;
    d_->dragging = false;
    d_->pressPosition = event->position();
    d_->pressOffset = d_->offset;
    event->accept();
}

void TableView::mouseMoveEvent(QMouseEvent* event) {
    if (!d_->pressed) {
        View::mouseMoveEvent(event);
        return;
    }
    const double dy = event->position().y() - d_->pressPosition.y();
    if (!d_->dragging && std::abs(dy) < kDragThreshold) {
        return;
    }
    d_->dragging = true;
    // The content follows the finger, up to half a screen past either end.
    const ScrollViewport viewport = d_->viewport();
    const double slack = viewport.height / 2.0;
    const double target = std::clamp(d_->pressOffset - dy, minimumContentOffset(viewport) - slack,
                                     maximumContentOffset(d_->layout, viewport) + slack);
    d_->setOffset(target);
    event->accept();
}

void TableView::mouseReleaseEvent(QMouseEvent* event) {
    if (!d_->pressed || event->button() != Qt::LeftButton) {
        View::mouseReleaseEvent(event);
        return;
    }
    d_->pressed = false;
    event->accept();
    if (d_->dragging) {
        d_->dragging = false;
        const double pulled = minimumContentOffset(d_->viewport()) - d_->offset;
        if (pulled > kPullToRefreshDistance && pullToRefresh()) {
            return;  // the control's start moves the content to make room for its row
        }
        d_->scrollTo(clampContentOffset(d_->offset, d_->layout, d_->viewport()), true);
        return;
    }
    const QPointF at = event->position();
    const double inset = d_->backgroundInset();
    if (at.x() < inset || at.x() >= width() - inset) {
        return;
    }
    if (const auto path = d_->layout.rowAt(at.y() + d_->offset)) {
        tapRowAtIndexPath(*path);
    }
}

void TableView::wheelEvent(QWheelEvent* event) {
    event->accept();
    const double delta = !event->pixelDelta().isNull()
                             ? event->pixelDelta().y()
                             : event->angleDelta().y() / 120.0 * QApplication::wheelScrollLines() * 20.0;
    if (delta == 0.0) {
        return;
    }
    d_->stopScrolling();
    if (!d_->lastWheel.isValid() || d_->lastWheel.elapsed() > kWheelPullPauseMilliseconds || delta < 0.0) {
        d_->wheelPull = 0.0;
    }
    d_->lastWheel.start();
    const ScrollViewport viewport = d_->viewport();
    const double target = d_->offset - delta;
    const double top = minimumContentOffset(viewport);
    if (target < top) {
        d_->wheelPull += top - target;
    }
    d_->setOffset(clampContentOffset(target, d_->layout, viewport));
    if (d_->wheelPull > kPullToRefreshDistance) {
        d_->wheelPull = 0.0;
        pullToRefresh();
    }
}

}  // namespace platform::ui
