#include "platform/ui/table/CellReusePool.h"

#include <algorithm>

namespace platform::ui {

void CellReusePool::enqueue(const QString& reuseIdentifier, TableViewCell* cell) {
    if (!cell || contains(cell)) {
        return;
    }
    waiting_[reuseIdentifier].push_back(cell);
}

TableViewCell* CellReusePool::dequeue(const QString& reuseIdentifier) {
    const auto it = waiting_.find(reuseIdentifier);
    if (it == waiting_.end() || it->second.empty()) {
        return nullptr;
    }
    TableViewCell* cell = it->second.back();
    it->second.pop_back();
    return cell;
}

void CellReusePool::remove(TableViewCell* cell) {
    for (auto& [identifier, cells] : waiting_) {
        cells.erase(std::remove(cells.begin(), cells.end(), cell), cells.end());
    }
}

bool CellReusePool::contains(TableViewCell* cell) const {
    return std::any_of(waiting_.begin(), waiting_.end(), [cell](const auto& entry) {
        return std::find(entry.second.begin(), entry.second.end(), cell) != entry.second.end();
    });
}

std::size_t CellReusePool::count(const QString& reuseIdentifier) const {
    const auto it = waiting_.find(reuseIdentifier);
    return it == waiting_.end() ? 0 : it->second.size();
}

std::size_t CellReusePool::size() const {
    std::size_t n = 0;
    for (const auto& [identifier, cells] : waiting_) {
        n += cells.size();
    }
    return n;
}

}  // namespace platform::ui
