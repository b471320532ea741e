#include "Meetings.h"

#define XXH_INLINE_ALL
#include <xxhash.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <string>
#include <vector>

#include "PackedDimensions.h"
#include "Schema.h"

namespace orq::storage {

namespace {

// Of table and key. Two rows of one hash would be taken for the same one, which costs a refusal once
// in some ten million commits of a million rows each.
std::int64_t HashOfRow(const ChangesetWalk& change) {
    std::string key(change.Table());
    for (int column = 0; column < change.NumColumns(); ++column) {
        sqlite3_value* value = change.IsKey(column) ? change.Known(column) : nullptr;
        if (value != nullptr) {
            const auto* bytes = static_cast<const char*>(sqlite3_value_blob(value));
            const int size = sqlite3_value_bytes(value);
            key += '\n' + std::to_string(size) + ':';
            key.append(bytes != nullptr ? bytes : "", static_cast<std::size_t>(size));
        }
    }
    return static_cast<std::int64_t>(XXH3_64bits(key.data(), key.size()));
}

// What the number in a column names.
enum class Names { Nothing, Object, Part, ObjectsInBytes, SetsInDimensions };

Names NamedBy(std::string_view column) {
    // Stores of chunks are numbered like objects.
    constexpr std::array<std::string_view, 8> kObjects = {
        "object",           "target_object", "collection",     "distribution",
        "range_collection", "data_set",      "set_collection", "store"};
    constexpr std::array<std::string_view, 3> kParts = {"set_id", "drawer", "target_index"};
    if (std::ranges::find(kObjects, column) != kObjects.end()) {
        return Names::Object;
    }
    if (std::ranges::find(kParts, column) != kParts.end()) {
        return Names::Part;
    }
    return column == "grid"         ? Names::ObjectsInBytes
           : column == "dimensions" ? Names::SetsInDimensions
                                    : Names::Nothing;
}

const std::vector<Names>& NamedByColumns(std::string_view table) {
    using Tables = std::unordered_map<std::string_view, std::vector<Names>>;
    static const auto& tables = *new const Tables([] {
        Tables made;
        const auto add = [&](std::string_view name, std::span<const Column> columns) {
            std::vector<Names>& names = made[name];
            names.clear();
            for (const Column& column : columns) {
                names.push_back(NamedBy(column.name));
            }
        };
        for (int number = 0; number < static_cast<int>(Table::Count); ++number) {
            const TableShape& shape = Shape(static_cast<Table>(number));
            add(shape.name, shape.columns);
            if (shape.shared != nullptr) {
                add(shape.shared->name, shape.shared->columns);
            }
        }
        return made;
    }());
    static const auto& none = *new const std::vector<Names>();
    const auto found = tables.find(table);
    return found == tables.end() ? none : found->second;
}

Bytes BytesIn(sqlite3_value* value) {
    const auto* bytes = static_cast<const std::byte*>(sqlite3_value_blob(value));
    return {bytes, static_cast<std::size_t>(sqlite3_value_bytes(value))};
}

template <class F>
void ForEachObjectIn(Bytes bytes, const F& f) {
    std::int64_t object = 0;
    for (std::size_t at = 0; at + sizeof object <= bytes.size(); at += sizeof object) {
        std::memcpy(&object, bytes.data() + at, sizeof object);
        f(object, false);
    }
}

template <class F>
void ForEachSetIn(Bytes bytes, const F& f) {
    for (PackedDimensionReader dimensions(bytes); dimensions.Next();) {
        if (dimensions.Dimension().form == DimensionForm::Set) {
            f(dimensions.Dimension().set, true);
        }
    }
}

// Calls f(number, isPart) with what a row that is added or changed names.
template <class F>
void ForEachNamed(const ChangesetWalk& change, const F& f) {
    if (change.Operation() == SQLITE_DELETE) {
        return;
    }
    const std::vector<Names>& columns = NamedByColumns(change.Table());
    const int nColumns = std::min(change.NumColumns(), static_cast<int>(columns.size()));
    for (int column = 0; column < nColumns; ++column) {
        const Names names = columns[static_cast<std::size_t>(column)];
        if (names == Names::Object || names == Names::Part) {
            // 0 names nothing.
            if (const std::int64_t number = change.Number(column); number != 0) {
                f(number, names == Names::Part);
            }
        } else if (names != Names::Nothing && change.Known(column) != nullptr) {
            const Bytes bytes = BytesIn(change.Known(column));
            if (names == Names::ObjectsInBytes) {
                ForEachObjectIn(bytes, f);
            } else {
                ForEachSetIn(bytes, f);
            }
        }
    }
}

// -1 where the table has no such column.
int ColumnOf(std::string_view table, std::string_view name) {
    for (int number = 0; number < static_cast<int>(Table::Count); ++number) {
        const TableShape& shape = Shape(static_cast<Table>(number));
        const auto found = std::ranges::find(shape.columns, name, &Column::name);
        if (shape.name == table && found != shape.columns.end()) {
            return static_cast<int>(found - shape.columns.begin());
        }
    }
    return -1;
}

bool IsChunk(const ChangesetWalk& change) {
    return change.Table() == "extent" || change.Table() == "small_chunk";
}

// Calls f(number, isPart) where a row goes that is the object, set or drawer itself, and with its
// store.
template <class F>
void IfRemoved(const ChangesetWalk& change, const F& f) {
    if (change.Operation() != SQLITE_DELETE) {
        return;
    }
    if (change.Table() == "object" || change.Table() == "component_set") {
        f(change.Number(0), change.Table() == "component_set");
    } else if (change.Table() == "drawer") {
        f(change.Number(1), true);
    }
    const int store = IsChunk(change) ? -1 : ColumnOf(change.Table(), "store");
    if (store >= 0 && store < change.NumColumns() && change.Number(store) != 0) {
        f(change.Number(store), false);
    }
}

}  // namespace

std::int64_t OwnerOf(const ChangesetWalk& change) {
    const std::vector<Names>& columns = NamedByColumns(change.Table());
    const auto owner = std::ranges::find(columns, Names::Object);
    // A row of the objects' own table begins with the number that names it.
    return change.Number(owner == columns.end() ? 0 : static_cast<int>(owner - columns.begin()));
}

void ChangedRows::Add(std::span<const std::byte> changeset, std::int64_t commit) {
    for (ChangesetWalk change(changeset); change.Next();) {
        if (IsBookkeeping(change.Table()) || DrawerCountOf(change)) {
            continue;
        }
        m_rows[HashOfRow(change)] = commit;
        if (IsChunk(change)) {
            m_chunks.Of(change.Table() == "extent")[change.Number(0)] = commit;
        }
        ForEachNamed(
            change, [&](std::int64_t number, bool isPart) { m_named.Of(isPart)[number] = commit; });
        IfRemoved(change,
                  [&](std::int64_t number, bool isPart) { m_removed.Of(isPart)[number] = commit; });
    }
}

void ChangedRows::ForEachMeeting(std::span<const std::byte> changeset, const OnMeeting& f) const {
    for (ChangesetWalk change(changeset); change.Next();) {
        if (IsBookkeeping(change.Table()) || DrawerCountOf(change)) {
            continue;
        }
        std::int64_t commit = 0;
        const auto look = [&](const Commits& commits, std::int64_t what) {
            if (const auto found = commits.find(what); found != commits.end()) {
                commit = found->second;
            }
        };
        look(m_rows, HashOfRow(change));
        if (IsChunk(change)) {
            // A small chunk is only alone in its store.
            look(m_chunks.Of(change.Table() != "extent"), change.Number(0));
        }
        ForEachNamed(change,
                     [&](std::int64_t number, bool isPart) { look(m_removed.Of(isPart), number); });
        IfRemoved(change,
                  [&](std::int64_t number, bool isPart) { look(m_named.Of(isPart), number); });
        if (commit != 0) {
            f(commit, change);
        }
    }
}

}  // namespace orq::storage
