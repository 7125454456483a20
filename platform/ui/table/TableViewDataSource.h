#pragma once
// What a table asks of its owner: the data source gives sections, rows and cells; the delegate
// gives header views, heights and hears of row selection.

#include "platform/ui/table/IndexPath.h"

namespace platform::ui {

class TableView;
class TableViewCell;
class View;

// A height a delegate answers when the table is to choose the height itself.
inline constexpr double kTableViewAutomaticDimension = -1.0;

class TableViewDataSource {
  public:
    virtual ~TableViewDataSource() = default;
    virtual long numberOfSectionsInTableView(TableView* table) = 0;
    virtual long tableViewNumberOfRowsInSection(TableView* table, long section) = 0;
    // A cell dequeued from the table and filled for the row; the table owns it from then on.
    virtual TableViewCell* tableViewCellForRowAtIndexPath(TableView* table, IndexPath indexPath) = 0;
};

class TableViewDelegate {
  public:
    virtual ~TableViewDelegate() = default;
    // Honoured exactly; a height below one point takes no visible room.
    virtual double tableViewHeightForHeaderInSection(TableView* table, long section) = 0;
    // kTableViewAutomaticDimension for the table's own footer height.
    virtual double tableViewHeightForFooterInSection(TableView* table, long section) = 0;
    // A row's height; kTableViewAutomaticDimension, as by default, for the table's row height.
    // Asked for every row whenever the table lays its rows out afresh (a reload, a batch update).
    virtual double tableViewHeightForRowAtIndexPath(TableView* /*table*/, IndexPath /*indexPath*/) {
        return kTableViewAutomaticDimension;
    }
    // A view the delegate keeps (the table shows it but never deletes it), or nullptr for none.
    virtual View* tableViewViewForHeaderInSection(TableView* table, long section) = 0;
    virtual void tableViewDidSelectRowAtIndexPath(TableView* table, IndexPath indexPath) = 0;
};

}  // namespace platform::ui
