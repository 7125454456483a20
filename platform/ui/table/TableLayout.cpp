#include "platform/ui/table/TableLayout.h"

#include <algorithm>
#include <cmath>

namespace platform::ui {

TableLayout::TableLayout(std::vector<SectionHeights> sections, double rowHeight)
    : sections_(std::move(sections)), rowHeight_(rowHeight) {
    sectionTop_.reserve(sections_.size());
    double y = 0.0;
    for (const SectionHeights& s : sections_) {
        sectionTop_.push_back(y);
        y += s.header + static_cast<double>(s.rows) * rowHeight_ + s.footer;
    }
    contentHeight_ = y;
}

long TableLayout::numberOfRowsInSection(long section) const {
    if (section < 0 || section >= numberOfSections()) {
        return 0;
    }
    return sections_[static_cast<std::size_t>(section)].rows;
}

bool TableLayout::contains(IndexPath indexPath) const {
    return indexPath.row >= 0 && indexPath.row < numberOfRowsInSection(indexPath.section);
}

double TableLayout::headerY(long section) const {
    if (section < 0 || section >= numberOfSections()) {
        return contentHeight_;
    }
    return sectionTop_[static_cast<std::size_t>(section)];
}

double TableLayout::headerHeight(long section) const {
    if (section < 0 || section >= numberOfSections()) {
        return 0.0;
    }
    return sections_[static_cast<std::size_t>(section)].header;
}

double TableLayout::rowY(IndexPath indexPath) const {
    if (indexPath.section < 0 || indexPath.section >= numberOfSections()) {
        return contentHeight_;
    }
    const auto& s = sections_[static_cast<std::size_t>(indexPath.section)];
    const long row = std::clamp(indexPath.row, 0L, s.rows);
    return headerY(indexPath.section) + s.header + static_cast<double>(row) * rowHeight_;
}

double TableLayout::footerY(long section) const {
    if (section < 0 || section >= numberOfSections()) {
        return contentHeight_;
    }
    return rowY(IndexPath{section, numberOfRowsInSection(section)});
}

double TableLayout::footerHeight(long section) const {
    if (section < 0 || section >= numberOfSections()) {
        return 0.0;
    }
    return sections_[static_cast<std::size_t>(section)].footer;
}

std::vector<IndexPath> TableLayout::rowsIntersecting(double top, double bottom) const {
    std::vector<IndexPath> rows;
    if (!(top < bottom) || rowHeight_ <= 0.0) {
        return rows;
    }
    for (long section = 0; section < numberOfSections(); ++section) {
        const long count = numberOfRowsInSection(section);
        if (count <= 0) {
            continue;
        }
        const double first = rowY(IndexPath{section, 0});
        const double end = first + static_cast<double>(count) * rowHeight_;
        if (end <= top || first >= bottom) {
            continue;
        }
        // Rows are evenly spaced, so the first and last rows in the band follow by division.
        const long from = std::max(0L, static_cast<long>(std::floor((top - first) / rowHeight_)));
        const long to = std::min(count - 1, static_cast<long>(std::ceil((bottom - first) / rowHeight_)) - 1);
        for (long row = from; row <= to; ++row) {
            const double y = first + static_cast<double>(row) * rowHeight_;
            if (y < bottom && y + rowHeight_ > top) {
                rows.push_back(IndexPath{section, row});
            }
        }
    }
    return rows;
}

std::vector<long> TableLayout::headersIntersecting(double top, double bottom) const {
    std::vector<long> headers;
    for (long section = 0; section < numberOfSections(); ++section) {
        const double y = headerY(section);
        const double h = headerHeight(section);
        if (y < bottom && (y + h > top || (h <= 0.0 && y >= top))) {
            headers.push_back(section);
        }
    }
    return headers;
}

std::optional<IndexPath> TableLayout::rowAt(double y) const {
    const auto rows = rowsIntersecting(y, std::nextafter(y, y + 1.0));
    if (rows.empty()) {
        return std::nullopt;
    }
    return rows.front();
}

double minimumContentOffset(const ScrollViewport& viewport) {
    return -viewport.topInset;
}

double maximumContentOffset(const TableLayout& layout, const ScrollViewport& viewport) {
    return std::max(minimumContentOffset(viewport),
                    layout.contentHeight() + viewport.bottomInset - viewport.height);
}

double clampContentOffset(double offset, const TableLayout& layout, const ScrollViewport& viewport) {
    if (std::isnan(offset)) {
        return minimumContentOffset(viewport);
    }
    return std::clamp(offset, minimumContentOffset(viewport), maximumContentOffset(layout, viewport));
}

double contentOffsetShowingRow(const TableLayout& layout, IndexPath indexPath,
                               TableViewScrollPosition position, double currentOffset,
                               const ScrollViewport& viewport) {
    if (!layout.contains(indexPath)) {
        return currentOffset;
    }
    const double rowTop = layout.rowY(indexPath);
    const double rowBottom = rowTop + layout.rowHeight();
    const double seenHeight = viewport.height - viewport.topInset - viewport.bottomInset;
    const double atTop = rowTop - viewport.topInset;
    const double atBottom = rowBottom - (viewport.height - viewport.bottomInset);
    double offset = currentOffset;
    switch (position) {
        case TableViewScrollPosition::Top:
            offset = atTop;
            break;
        case TableViewScrollPosition::Bottom:
            offset = atBottom;
            break;
        case TableViewScrollPosition::Middle:
            offset = (rowTop + rowBottom) / 2.0 - viewport.topInset - seenHeight / 2.0;
            break;
        case TableViewScrollPosition::None:
            // Above the seen area: bring its top down to the inset; below it: bring its bottom up.
            if (rowTop < currentOffset + viewport.topInset) {
                offset = atTop;
            } else if (rowBottom > currentOffset + viewport.height - viewport.bottomInset) {
                offset = atBottom;
            }
            break;
    }
    return clampContentOffset(offset, layout, viewport);
}

}  // namespace platform::ui
