#pragma once
// Where a table's headers, rows and footers sit, worked out from their heights alone: content
// coordinates start at 0 at the top of the first section's header. The scroll helpers turn the
// table's viewport and content inset into the content offsets it may rest at. No widgets here.

#include "platform/ui/table/IndexPath.h"

#include <optional>
#include <vector>

namespace platform::ui {

enum class TableViewScrollPosition { None = 0, Top = 1, Middle = 2, Bottom = 3 };

// One section's measures: header and footer heights (already resolved, never the automatic
// marker) and the number of rows.
struct SectionHeights {
    double header = 0.0;
    double footer = 0.0;
    long rows = 0;
};

class TableLayout {
  public:
    TableLayout() = default;
    // Rows take rowHeight, except in the sections rowHeights gives heights for (one list per
    // section, in order; an empty list or none: all rows of rowHeight); a row a list does not
    // reach takes rowHeight too.
    TableLayout(std::vector<SectionHeights> sections, double rowHeight,
                std::vector<std::vector<double>> rowHeights = {});

    long numberOfSections() const { return static_cast<long>(sections_.size()); }
    // 0 for a section that does not exist.
    long numberOfRowsInSection(long section) const;
    bool contains(IndexPath indexPath) const;
    // The height of the rows whose section gives none of their own.
    double rowHeight() const { return rowHeight_; }
    // The height of a row; the layout's row height for one that does not exist.
    double rowHeight(IndexPath indexPath) const;

    // Positions and heights in content coordinates, exactly as the heights add up (no rounding).
    // Asking for a section or row that does not exist answers the content's end.
    double headerY(long section) const;
    double headerHeight(long section) const;
    double rowY(IndexPath indexPath) const;
    double footerY(long section) const;
    double footerHeight(long section) const;
    double contentHeight() const { return contentHeight_; }

    // The rows that reach into the band [top, bottom), top to bottom.
    std::vector<IndexPath> rowsIntersecting(double top, double bottom) const;
    // The sections whose header reaches into the band [top, bottom); a header of no height counts
    // when its position is inside the band.
    std::vector<long> headersIntersecting(double top, double bottom) const;
    // The row under content position y, if any.
    std::optional<IndexPath> rowAt(double y) const;

  private:
    // The rows' height from the section's first row to the top of row (row <= rows).
    double rowsHeight(std::size_t section, long row) const;

    std::vector<SectionHeights> sections_;
    std::vector<double> sectionTop_;
    // Per section with heights of its own: the tops of its rows from its first row's top, and
    // the end of its last row (rows + 1 entries); empty for sections of evenly spaced rows.
    std::vector<std::vector<double>> rowTops_;
    double rowHeight_ = 44.0;
    double contentHeight_ = 0.0;
};

// The part of the table a user sees content through: the viewport's height and the content inset
// at its top and bottom (the area under a navigation bar, for example).
struct ScrollViewport {
    double height = 0.0;
    double topInset = 0.0;
    double bottomInset = 0.0;
};

// The content offset is the content coordinate at the viewport's top edge. At rest it runs from
// minus the top inset (the content's top just below the inset) to the offset that shows the
// content's end just above the bottom inset; a short content rests at the minimum.
double minimumContentOffset(const ScrollViewport& viewport);
double maximumContentOffset(const TableLayout& layout, const ScrollViewport& viewport);
double clampContentOffset(double offset, const TableLayout& layout, const ScrollViewport& viewport);

// The resting offset that shows the row at the given position: Top puts it just below the top
// inset, Bottom just above the bottom inset, Middle centres it between them, None scrolls the
// least that shows it whole (not at all when it shows already). A row that does not exist keeps
// the current offset.
double contentOffsetShowingRow(const TableLayout& layout, IndexPath indexPath,
                               TableViewScrollPosition position, double currentOffset,
                               const ScrollViewport& viewport);

}  // namespace platform::ui
