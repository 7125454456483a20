#pragma once
// The cells a table keeps for reuse, by reuse identifier: a cell that scrolls away waits here and
// is handed out again, last in first out, before a new one is made. The pool only keeps pointers;
// the table owns the cells.

#include <QString>

#include <cstddef>
#include <map>
#include <vector>

namespace platform::ui {

class TableViewCell;

class CellReusePool {
  public:
    // Keeps the cell for its identifier; a cell already waiting is not kept twice.
    void enqueue(const QString& reuseIdentifier, TableViewCell* cell);
    // The cell enqueued last for the identifier, or nullptr when none waits.
    TableViewCell* dequeue(const QString& reuseIdentifier);
    // Forgets the cell wherever it waits (for a cell the table deletes).
    void remove(TableViewCell* cell);
    bool contains(TableViewCell* cell) const;
    std::size_t count(const QString& reuseIdentifier) const;
    std::size_t size() const;

  private:
    std::map<QString, std::vector<TableViewCell*>> waiting_;
};

}  // namespace platform::ui
