#include "ChangesetWalk.h"

#include <string>

#include "ORQBasFailure.h"

namespace orq::storage {

namespace {

void CheckWalk(int code) {
    if (code != SQLITE_OK) {
        throw ORQBasFailure(ORQBasFailureKind::Damaged,
                            std::string("a changeset is damaged: ") + sqlite3_errstr(code));
    }
}

}  // namespace

ChangesetWalk::ChangesetWalk(std::span<const std::byte> changeset) {
    // SQLite takes the bytes as not const, and only reads them.
    CheckWalk(sqlite3changeset_start(&m_changes, static_cast<int>(changeset.size()),
                                     const_cast<std::byte*>(changeset.data())));
}

bool ChangesetWalk::Next() {
    const int code = sqlite3changeset_next(m_changes);
    if (code == SQLITE_DONE) {
        return false;
    }
    if (code != SQLITE_ROW) {
        CheckWalk(code);
    }
    const char* table = nullptr;
    int isIndirect = 0;
    CheckWalk(sqlite3changeset_op(m_changes, &table, &m_nColumns, &m_operation, &isIndirect));
    CheckWalk(sqlite3changeset_pk(m_changes, &m_keys, nullptr));
    m_table = table;
    return true;
}

sqlite3_value* ChangesetWalk::After(int column) const {
    sqlite3_value* value = nullptr;
    if (m_operation != SQLITE_DELETE) {
        CheckWalk(sqlite3changeset_new(m_changes, column, &value));
    }
    return value;
}

sqlite3_value* ChangesetWalk::Before(int column) const {
    sqlite3_value* value = nullptr;
    if (m_operation != SQLITE_INSERT) {
        CheckWalk(sqlite3changeset_old(m_changes, column, &value));
    }
    return value;
}

sqlite3_value* ChangesetWalk::Known(int column) const {
    sqlite3_value* value = After(column);
    return value != nullptr ? value : Before(column);
}

std::int64_t ChangesetWalk::Number(int column) const {
    sqlite3_value* value = Known(column);
    return value != nullptr ? sqlite3_value_int64(value) : 0;
}

std::optional<DrawerCount> DrawerCountOf(const ChangesetWalk& change) {
    constexpr int kCount = 4;  // databases of versions before 4 have no such column
    if (change.Operation() != SQLITE_UPDATE || change.Table() != "distribution" ||
        change.NumColumns() <= kCount) {
        return {};
    }
    for (int column = 0; column < change.NumColumns(); ++column) {
        if ((change.After(column) != nullptr) != (column == kCount)) {
            return {};
        }
    }
    if (change.Before(kCount) == nullptr) {
        return {};
    }
    return DrawerCount{change.Number(0), sqlite3_value_int64(change.Before(kCount)),
                       sqlite3_value_int64(change.After(kCount))};
}

bool IsBookkeeping(std::string_view table) {
    return table == "state" || table == "free_extent";
}

}  // namespace orq::storage
