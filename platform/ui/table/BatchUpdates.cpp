#include "platform/ui/table/BatchUpdates.h"

#include <algorithm>

namespace platform::ui {

namespace {

Value integer(long n) {
    return Value::integer(static_cast<std::int64_t>(n));
}

UpdateViolation sectionViolation(const QString& what, long section, long before, long after, long inserted,
                                 long deleted, std::optional<long> row) {
    auto fields = Dictionary::make({
        {QStringLiteral("section"), integer(section)},
        {QStringLiteral("before"), integer(before)},
        {QStringLiteral("after"), integer(after)},
        {QStringLiteral("inserted"), integer(inserted)},
        {QStringLiteral("deleted"), integer(deleted)},
    });
    if (row) {
        fields->set(QStringLiteral("row"), integer(*row));
    }
    return UpdateViolation{QStringLiteral("invalid table update in section %1: %2").arg(section).arg(what),
                           fields};
}

// The first row listed twice among paths (sorted), if any.
std::optional<IndexPath> firstDuplicate(const std::vector<IndexPath>& sorted) {
    const auto it = std::adjacent_find(sorted.begin(), sorted.end());
    if (it == sorted.end()) {
        return std::nullopt;
    }
    return *it;
}

}  // namespace

bool BatchUpdates::end() {
    if (depth_ == 0) {
        unbalancedEnd_ = true;
        return false;
    }
    unbalancedEnd_ = false;
    --depth_;
    return depth_ == 0;
}

void BatchUpdates::deleteRows(const std::vector<IndexPath>& indexPaths) {
    deleted_.insert(deleted_.end(), indexPaths.begin(), indexPaths.end());
}

void BatchUpdates::insertRows(const std::vector<IndexPath>& indexPaths) {
    inserted_.insert(inserted_.end(), indexPaths.begin(), indexPaths.end());
}

UpdateOutcome BatchUpdates::finish(const std::vector<long>& rowsBefore, const std::vector<long>& rowsAfter) {
    auto outcome = validate(rowsBefore, rowsAfter, std::move(deleted_), std::move(inserted_));
    deleted_.clear();
    inserted_.clear();
    return outcome;
}

UpdateOutcome BatchUpdates::validate(const std::vector<long>& rowsBefore, const std::vector<long>& rowsAfter,
                                     std::vector<IndexPath> deleted, std::vector<IndexPath> inserted) {
    UpdateOutcome outcome;
    std::sort(deleted.begin(), deleted.end());
    std::sort(inserted.begin(), inserted.end());
    const long sections = static_cast<long>(rowsBefore.size());
    const long sectionsAfter = static_cast<long>(rowsAfter.size());
    if (sections != sectionsAfter) {
        outcome.violation = UpdateViolation{
            QStringLiteral("invalid table update: %1 sections before, %2 after")
                .arg(sections)
                .arg(sectionsAfter),
            Dictionary::make({{QStringLiteral("before"), integer(sections)},
                              {QStringLiteral("after"), integer(sectionsAfter)},
                              {QStringLiteral("inserted"), integer(static_cast<long>(inserted.size()))},
                              {QStringLiteral("deleted"), integer(static_cast<long>(deleted.size()))}})};
        return outcome;
    }
    // A row in a section the table does not have.
    for (const auto& [paths, verb] :
         {std::pair{&deleted, QStringLiteral("deleted")}, std::pair{&inserted, QStringLiteral("inserted")}}) {
        for (const IndexPath p : *paths) {
            if (p.section < 0 || p.section >= sections) {
                outcome.violation = UpdateViolation{
                    QStringLiteral(
                        "invalid table update: row %1 of section %2 %3, but the table has %4 sections")
                        .arg(p.row)
                        .arg(p.section)
                        .arg(verb)
                        .arg(sections),
                    Dictionary::make(
                        {{QStringLiteral("section"), integer(p.section)},
                         {QStringLiteral("row"), integer(p.row)},
                         {QStringLiteral("before"), integer(sections)},
                         {QStringLiteral("after"), integer(sections)},
                         {QStringLiteral("inserted"), integer(static_cast<long>(inserted.size()))},
                         {QStringLiteral("deleted"), integer(static_cast<long>(deleted.size()))}})};
                return outcome;
            }
        }
    }
    for (long section = 0; section < sections; ++section) {
        const long before = rowsBefore[static_cast<std::size_t>(section)];
        const long after = rowsAfter[static_cast<std::size_t>(section)];
        std::vector<IndexPath> del;
        std::vector<IndexPath> ins;
        std::copy_if(deleted.begin(), deleted.end(), std::back_inserter(del),
                     [section](IndexPath p) { return p.section == section; });
        std::copy_if(inserted.begin(), inserted.end(), std::back_inserter(ins),
                     [section](IndexPath p) { return p.section == section; });
        const long nIns = static_cast<long>(ins.size());
        const long nDel = static_cast<long>(del.size());
        auto fail = [&](const QString& what, std::optional<long> row) {
            outcome.violation = sectionViolation(what, section, before, after, nIns, nDel, row);
        };
        if (const auto twice = firstDuplicate(del)) {
            fail(QStringLiteral("row %1 deleted twice").arg(twice->row), twice->row);
            return outcome;
        }
        if (const auto twice = firstDuplicate(ins)) {
            fail(QStringLiteral("row %1 inserted twice").arg(twice->row), twice->row);
            return outcome;
        }
        for (const IndexPath p : del) {
            if (p.row < 0 || p.row >= before) {
                fail(QStringLiteral("row %1 deleted, but the section had %2 rows before")
                         .arg(p.row)
                         .arg(before),
                     p.row);
                return outcome;
            }
        }
        for (const IndexPath p : ins) {
            if (p.row < 0 || p.row >= after) {
                fail(QStringLiteral("row %1 inserted, but the section has %2 rows after")
                         .arg(p.row)
                         .arg(after),
                     p.row);
                return outcome;
            }
        }
        if (after != before + nIns - nDel) {
            fail(QStringLiteral("%1 rows before, %2 after, %3 inserted, %4 deleted")
                     .arg(before)
                     .arg(after)
                     .arg(nIns)
                     .arg(nDel),
                 std::nullopt);
            return outcome;
        }
    }
    outcome.deleted = std::move(deleted);
    outcome.inserted = std::move(inserted);
    outcome.rowsAfter = rowsAfter;
    return outcome;
}

}  // namespace platform::ui
