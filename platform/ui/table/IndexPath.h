#pragma once
// A row's address in a table: its section and its row within that section.

#include <compare>

namespace platform::ui {

struct IndexPath {
    long section = 0;
    long row = 0;
    static IndexPath forRow(long row, long section) { return IndexPath{section, row}; }
    auto operator<=>(const IndexPath&) const = default;
};

}  // namespace platform::ui
