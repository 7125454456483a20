#pragma once
// A scrolling table of sections and rows, in the grouped style: rows come from a data source as
// cells dequeued by reuse identifier, and only the cells on screen exist. Rows are inserted and
// deleted inside batch updates, which the table checks against its data source as strictly as a
// touch platform does; a violation is reported as a programming error, never papered over.

#include "platform/foundation/Value.h"
#include "platform/ui/View.h"
#include "platform/ui/table/IndexPath.h"
#include "platform/ui/table/TableLayout.h"
#include "platform/ui/table/TableViewDataSource.h"

#include <QString>

#include <functional>
#include <optional>
#include <vector>

namespace platform::ui {

class RefreshControl;
class TableViewCell;

enum class TableViewStyle { Plain = 0, Grouped = 1 };
enum class TableViewRowAnimation { Fade = 0, None = 5 };

struct EdgeInsets {
    double top = 0.0;
    double left = 0.0;
    double bottom = 0.0;
    double right = 0.0;
    bool operator==(const EdgeInsets&) const = default;
};

class TableView : public View {
    Q_OBJECT
  public:
    // A row is this tall unless the delegate gives it a height of its own.
    static constexpr double kRowHeight = 44.0;
    // What the automatic height gives: in the grouped style a footer (and a header) is a 10-point
    // gap between the rounded section backgrounds; in the plain style headers are 22 points and
    // footers take no room.
    static constexpr double kGroupedAutomaticHeight = 10.0;
    static constexpr double kPlainAutomaticHeaderHeight = 22.0;
    // The horizontal inset of the grouped section backgrounds (and of the cells on them).
    static constexpr double kGroupedBackgroundInset = 10.0;
    // How far past the top a drag or the wheel must pull the content to refresh it.
    static constexpr double kPullToRefreshDistance = 60.0;

    TableView(const QRect& frame, TableViewStyle style, QWidget* parent = nullptr);
    ~TableView() override;

    TableViewStyle style() const;
    // Not owned; the owner clears them (or outlives the table). The table asks its data source for
    // the first time when it is shown or asked about its rows, so cells may be registered after
    // the data source is set.
    void setDataSource(TableViewDataSource* dataSource);
    void setDelegate(TableViewDelegate* delegate);

    // Cells: a factory registered per reuse identifier makes a new cell when none waits for reuse.
    using CellFactory = std::function<TableViewCell*(const QString& reuseIdentifier)>;
    void registerCellFactory(CellFactory factory, const QString& reuseIdentifier);
    template <class Cell>
    void registerClassForCellReuseIdentifier(const QString& reuseIdentifier) {
        registerCellFactory([](const QString& id) -> TableViewCell* { return new Cell(id); },
                            reuseIdentifier);
    }
    // A cell for the row: one waiting for reuse, or a new one. An identifier never registered is a
    // programming error (reported; a plain cell is returned so that nothing crashes).
    TableViewCell* dequeueReusableCellWithIdentifier(const QString& reuseIdentifier, IndexPath indexPath);

    void reloadData();
    // Batch updates nest; the outermost end applies every deletion (rows numbered as before the
    // batch) and insertion (rows numbered as after it) together, animated on screen.
    void beginUpdates();
    void endUpdates();
    void insertRowsAtIndexPaths(const std::vector<IndexPath>& indexPaths, TableViewRowAnimation animation);
    void deleteRowsAtIndexPaths(const std::vector<IndexPath>& indexPaths, TableViewRowAnimation animation);

    // The sections and rows as the table shows them (its own record, not a new question to the data source).
    long numberOfSections() const;
    long numberOfRowsInSection(long section) const;

    void setContentInset(EdgeInsets insets);
    EdgeInsets contentInset() const;
    void setScrollIndicatorInsets(EdgeInsets insets);
    EdgeInsets scrollIndicatorInsets() const;
    double contentOffsetY() const;
    void setContentOffsetY(double y);
    // Scrolls so the row shows; None means the least scrolling that shows it.
    void scrollToRowAtIndexPath(IndexPath indexPath, TableViewScrollPosition position, bool animated);

    void setAllowsSelection(bool allowed);
    bool allowsSelection() const;
    // A finger's tap on the row: refused (false) while selection is off, on a row whose cell has user
    // interaction off, or on a row that does not exist; otherwise the row is selected and the
    // delegate told.
    bool tapRowAtIndexPath(IndexPath indexPath);
    std::optional<IndexPath> indexPathForSelectedRow() const;
    void deselectRowAtIndexPath(IndexPath indexPath, bool animated);

    // The horizontal inset of the grouped section backgrounds; none for a plain table.
    std::optional<double> backgroundInset() const;

    // The table keeps the control at its top; a pull past the top (drag or wheel) fires it. The
    // control becomes the table's child and goes with it; setting another one (or nullptr) deletes
    // the old one once control is back in the event loop.
    void setRefreshControl(RefreshControl* control);
    RefreshControl* refreshControl() const;
    // What a user's pull down past the top does: begins refreshing and sends the control's action.
    // Refused (false) without a control or while it is refreshing.
    bool pullToRefresh();

    // The cells that exist now (those on screen), top to bottom.
    std::vector<TableViewCell*> visibleCells() const;

    // The table as data, every row included: {"sections": [{"header": {"text", "spinner", "height"}
    // or null, "rows": [{"text", "image", "tappable", and "detail" when the row shows one}]}],
    // "selectionAllowed", "refreshing", "hasRefreshControl"}.
    DictionaryRef describe();

  protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;

  private:
    struct Impl;
    Impl* d_;
};

}  // namespace platform::ui
