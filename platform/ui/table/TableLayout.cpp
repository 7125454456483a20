#include "platform/ui/table/TableLayout.h"

#include <algorithm>
#include <cmath>

namespace platform::ui {

TableLayout::TableLayout(std::vector<SectionHeights> sections, double rowHeight,
                         std::vector<std::vector<double>> rowHeights)
    : sections_(std::move(sections)), rowHeight_(rowHeight) {
    sectionTop_.reserve(sections_.size());
    rowTops_.resize(sections_.size());
    double y = 0.0;
    for (std::size_t i = 0; i < sections_.size(); ++i) {
        SectionHeights& s = sections_[i];
        s.rows = std::max(0L, s.rows);
        sectionTop_.push_back(y);
        if (i >= rowHeights.size() || rowHeights[i].empty()) {
            y += s.header + static_cast<double>(s.rows) * rowHeight_ + s.footer;
            continue;
        }
        std::vector<double>& tops = rowTops_[i];
        tops.reserve(static_cast<std::size_t>(s.rows) + 1);
        double top = 0.0;
        tops.push_back(top);
        for (std::size_t r = 0; r < static_cast<std::size_t>(s.rows); ++r) {
            top += r < rowHeights[i].size() ? rowHeights[i][r] : rowHeight_;
            tops.push_back(top);
        }
        y += s.header + top + s.footer;
    }
    contentHeight_ = y;
}

double TableLayout::rowsHeight(std::size_t section, long row) const {
    const std::vector<double>& tops = rowTops_[section];
    if (tops.empty()) {
        return static_cast<double>(row) * rowHeight_;
    }
    return tops[static_cast<std::size_t>(std::clamp(row, 0L, sections_[section].rows))];
}

double TableLayout::rowHeight(IndexPath indexPath) const {
    if (!contains(indexPath)) {
        return rowHeight_;
    }
    const std::vector<double>& tops = rowTops_[static_cast<std::size_t>(indexPath.section)];
    if (tops.empty()) {
        return rowHeight_;
    }
    const auto row = static_cast<std::size_t>(indexPath.row);
    return tops[row + 1] - tops[row];
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
    const auto index = static_cast<std::size_t>(indexPath.section);
    const auto& s = sections_[index];
    const long row = std::clamp(indexPath.row, 0L, s.rows);
    return headerY(indexPath.section) + s.header + rowsHeight(index, row);
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
    if (!(top < bottom)) {
        return rows;
    }
    for (long section = 0; section < numberOfSections(); ++section) {
        const long count = numberOfRowsInSection(section);
        if (count <= 0) {
            continue;
        }
        const double first = rowY(IndexPath{section, 0});
        const double end = footerY(section);
        if (end <= top || first >= bottom) {
            continue;
        }
        const std::vector<double>& tops = rowTops_[static_cast<std::size_t>(section)];
        if (!tops.empty()) {
            // Rows of their own heights: the first whose end is below the band's top, then on
            // while they start above its bottom. Rows of no height show nowhere.
            auto it = std::upper_bound(tops.begin() + 1, tops.end(), top - first);
            for (; it != tops.end(); ++it) {
                const auto row = static_cast<long>(it - tops.begin()) - 1;
                const double y = first + *(it - 1);
                if (y >= bottom) {
                    break;
                }
                if (*it > *(it - 1)) {
                    rows.push_back(IndexPath{section, row});
                }
            }
            continue;
        }
        if (rowHeight_ <= 0.0) {
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
    const double rowBottom = rowTop + layout.rowHeight(indexPath);
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
