#pragma once
// The bookkeeping of a table's batch updates: nesting of begin and end, the rows deleted and
// inserted in between, and the check of those changes against the row counts before and after,
// as strict as a touch platform's table. No widgets here; the table applies the outcome.

#include "platform/foundation/Value.h"
#include "platform/ui/table/IndexPath.h"

#include <QString>

#include <optional>
#include <vector>

namespace platform::ui {

// Why a batch does not add up: a message naming the section and the counts, and the same facts
// as fields ("section", "before", "after", "inserted", "deleted", and "row" where one row is at
// fault; "before" and "after" count sections when the number of sections changed).
struct UpdateViolation {
    QString message;
    DictionaryRef fields;
};

// A finished batch: its deletions (rows numbered as before it) and insertions (rows numbered as
// after it), each sorted, and the row counts after it; or the first violation found.
struct UpdateOutcome {
    std::optional<UpdateViolation> violation;
    std::vector<IndexPath> deleted;
    std::vector<IndexPath> inserted;
    std::vector<long> rowsAfter;
};

class BatchUpdates {
  public:
    void begin() { ++depth_; }
    // Closes one level. Answers true when that closed the outermost batch, so the changes are now
    // to be checked; false inside a batch and for an end without a begin (see unbalancedEnd).
    bool end();
    bool isOpen() const { return depth_ > 0; }
    int depth() const { return depth_; }
    // Whether the last end() had no begin to close.
    bool unbalancedEnd() const { return unbalancedEnd_; }

    void deleteRows(const std::vector<IndexPath>& indexPaths);
    void insertRows(const std::vector<IndexPath>& indexPaths);

    // Checks the recorded changes against the counts per section before and after the batch, and
    // forgets them.
    UpdateOutcome finish(const std::vector<long>& rowsBefore, const std::vector<long>& rowsAfter);

    // The check itself: the number of sections is unchanged; in every section no row is deleted
    // or inserted twice, deleted rows lie within the count before and inserted rows within the
    // count after, and after = before + inserted - deleted.
    static UpdateOutcome validate(const std::vector<long>& rowsBefore, const std::vector<long>& rowsAfter,
                                  std::vector<IndexPath> deleted, std::vector<IndexPath> inserted);

  private:
    int depth_ = 0;
    bool unbalancedEnd_ = false;
    std::vector<IndexPath> deleted_;
    std::vector<IndexPath> inserted_;
};

}  // namespace platform::ui
