// The rows of a model database: a struct for each table, with its columns in their stored order.
//
// docs/storage-format.md says what they mean. Columns() names the members in the order of the
// columns; the first of them are the table's key.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <tuple>
#include <variant>

namespace orq::storage {

/// The version of the format since which drawers hold their dimensions themselves, runs of members
/// without a set, and data of few bytes have a table of their own.
inline constexpr int kSmallDrawersSince = 4;

enum class Table : int {
    State,
    Object,
    Collection,
    Member,
    Symbol,
    Name,
    Child,
    MapEntry,
    VectorEntry,
    SetEntry,
    Field,  // up to version 2
    ComponentSet,
    Distribution,
    Drawer,
    DrawerDimension,  // up to version 3
    DrawerSegment,
    DataSet,
    Compartment,
    DataSetDrawer,
    FTable,
    FTableLabel,
    Extent,
    SmallChunk,  // since version 4
    FreeExtent,
    Count
};
/// As it is stored, for messages.
const char* NameOf(Table table);

// An index finds the rows of its table by other columns than the key.
enum class Index : int {
    MemberByObject,       // object, collection
    SymbolByName,         // collection, type, name
    SymbolByObject,       // object
    ChildByTarget,        // target object, target index, slot, target category
    MapEntryByTarget,     // the same
    VectorEntryByTarget,  // the same
    SetEntryByTarget,     // target object, target index, slot
    ComponentSetByHash,   // collection, hash
    Count
};

/// What a number of the schema above stands for, for readers without this library.
struct NumberMeaning {
    std::int64_t number;
    std::string_view name;
    std::string_view meaning;
};

using Bytes = std::span<const std::byte>;

// Texts and bytes lie with the store: in a row that was read they are valid until the cursor moves
// or ends, in one that is written they need to live only during the call.

struct StateRow {
    static constexpr Table kTable = Table::State;
    int id = 0;
    int format = 0;
    Bytes identity;
    std::int64_t generation = 0;
    std::int64_t nextObject = 0;
    int nextSet = 0;
    std::int64_t bulkEnd = 0;

    template <class Row>
    static auto Columns(Row& row) {
        return std::tie(row.id, row.format, row.identity, row.generation, row.nextObject,
                        row.nextSet, row.bulkEnd);
    }
};

struct ObjectRow {
    static constexpr Table kTable = Table::Object;
    std::int64_t id = 0;
    int type = 0;
    int category = 0;
    Bytes fields = {};  // of a record, see PackedFields.h

    template <class Row>
    static auto Columns(Row& row) {
        return std::tie(row.id, row.type, row.category, row.fields);
    }
};

struct CollectionRow {
    static constexpr Table kTable = Table::Collection;
    std::int64_t object = 0;
    int space = 0;

    template <class Row>
    static auto Columns(Row& row) {
        return std::tie(row.object, row.space);
    }
};

struct MemberRow {
    static constexpr Table kTable = Table::Member;
    std::int64_t collection = 0;
    int member = 0;
    std::int64_t object = 0;

    template <class Row>
    static auto Columns(Row& row) {
        return std::tie(row.collection, row.member, row.object);
    }
};

struct SymbolRow {
    static constexpr Table kTable = Table::Symbol;
    std::int64_t collection = 0;
    int type = 0;
    int place = 0;
    std::string_view name;
    std::int64_t object = 0;

    template <class Row>
    static auto Columns(Row& row) {
        return std::tie(row.collection, row.type, row.place, row.name, row.object);
    }
};

struct NameRow {
    static constexpr Table kTable = Table::Name;
    std::int64_t object = 0;
    int slot = 0;
    std::string_view text;

    template <class Row>
    static auto Columns(Row& row) {
        return std::tie(row.object, row.slot, row.text);
    }
};

/// What a link leads to: the words of an identity that outlive the process.
struct Target {
    std::int64_t object = 0;
    int category = 0;
    int type = 0;
    int index = 0;
};

// The four kinds of links. Each has an owner (object), a slot, a key that distinguishes it from
// others of the slot, and a target.

struct ChildRow {
    static constexpr Table kTable = Table::Child;
    static constexpr Index kByTarget = Index::ChildByTarget;
    std::int64_t object = 0;
    int slot = 0;
    int key = 0;  // member
    Target target;

    template <class Row>
    static auto Columns(Row& row) {
        return std::tie(row.object, row.slot, row.key, row.target.object, row.target.category,
                        row.target.type, row.target.index);
    }
};

struct MapEntryRow {
    static constexpr Table kTable = Table::MapEntry;
    static constexpr Index kByTarget = Index::MapEntryByTarget;
    std::int64_t object = 0;
    int slot = 0;
    std::string_view key;  // name
    Target target;

    template <class Row>
    static auto Columns(Row& row) {
        return std::tie(row.object, row.slot, row.key, row.target.object, row.target.category,
                        row.target.type, row.target.index);
    }
};

struct VectorEntryRow {
    static constexpr Table kTable = Table::VectorEntry;
    static constexpr Index kByTarget = Index::VectorEntryByTarget;
    std::int64_t object = 0;
    int slot = 0;
    int key = 0;  // place
    Target target;

    template <class Row>
    static auto Columns(Row& row) {
        return std::tie(row.object, row.slot, row.key, row.target.object, row.target.category,
                        row.target.type, row.target.index);
    }
};

/// The target itself distinguishes it from others.
struct SetEntryRow {
    static constexpr Table kTable = Table::SetEntry;
    static constexpr Index kByTarget = Index::SetEntryByTarget;
    std::int64_t object = 0;
    int slot = 0;
    Target target;

    template <class Row>
    static auto Columns(Row& row) {
        return std::tie(row.object, row.slot, row.target.object, row.target.category,
                        row.target.type, row.target.index);
    }
};

/// Stored, do not change.
enum class FieldKind : int { Int = 1, Doubles = 2, String = 3, Symbol = 4, Type = 5 };

/// What a field holds: a number, a text, or 8-byte numbers as they lie in memory.
using FieldValue = std::variant<int, std::string_view, Bytes>;

/// A field of a record as it stood in databases of versions 1 and 2, which have no packed fields. The
/// store reads and writes them as such; nobody above it sees these rows.
struct FieldRow {
    static constexpr Table kTable = Table::Field;
    std::int64_t object = 0;
    int number = 0;
    int kind = 0;  // a FieldKind, of which the value is
    FieldValue value;

    template <class Row>
    static auto Columns(Row& row) {
        return std::tie(row.object, row.number, row.kind, row.value);
    }
};

/// How the members of a set are written down. Few of them stand in the row; many in the bulk data
/// of a store, where that is not 0.
struct StoredMembers {
    int form = 0;
    int first = 0;
    int count = 0;
    int stride = 0;
    int block = 0;
    std::int64_t store = 0;
    Bytes written;
};

struct ComponentSetRow {
    static constexpr Table kTable = Table::ComponentSet;
    int id = 0;
    std::int64_t collection = 0;
    std::int64_t hash = 0;
    StoredMembers members;

    template <class Row>
    static auto Columns(Row& row) {
        return std::tie(row.id, row.collection, row.hash, row.members.form, row.members.first,
                        row.members.count, row.members.stride, row.members.block, row.members.store,
                        row.members.written);
    }
};

struct DistributionRow {
    static constexpr Table kTable = Table::Distribution;
    std::int64_t object = 0;
    int scalar = 0;
    std::int64_t rangeCollection = 0;
    Bytes grid;        // the numbers of the collections, 8 bytes each
    int nDrawers = 0;  // so that it shows when rows of drawers were lost

    template <class Row>
    static auto Columns(Row& row) {
        return std::tie(row.object, row.scalar, row.rangeCollection, row.grid, row.nDrawers);
    }
    template <class Row>
    static auto Key(Row& row) {
        return std::tie(row.object);
    }
};

struct DrawerRow {
    static constexpr Table kTable = Table::Drawer;
    std::int64_t distribution = 0;
    int number = 0;
    int layout = 0;
    int extendable = 0;
    std::int64_t nRows = 0;
    std::int64_t store = 0;
    Bytes dimensions;  // see PackedDimensions.h

    template <class Row>
    static auto Columns(Row& row) {
        return std::tie(row.distribution, row.number, row.layout, row.extendable, row.nRows,
                        row.store, row.dimensions);
    }
    template <class Row>
    static auto Key(Row& row) {
        return std::tie(row.distribution, row.number);
    }
};

/// A dimension of a drawer as it stood in databases of versions 1 to 3, which have no packed
/// dimensions. The store reads and writes them as such; nobody above it sees these rows.
struct DrawerDimensionRow {
    static constexpr Table kTable = Table::DrawerDimension;
    std::int64_t distribution = 0;
    int drawer = 0;
    int dimension = 0;
    int set = 0;
    int chunk = 0;

    template <class Row>
    static auto Columns(Row& row) {
        return std::tie(row.distribution, row.drawer, row.dimension, row.set, row.chunk);
    }
};

struct DrawerSegmentRow {
    static constexpr Table kTable = Table::DrawerSegment;
    std::int64_t distribution = 0;
    int drawer = 0;
    std::int64_t firstRow = 0;
    StoredMembers members;

    template <class Row>
    static auto Columns(Row& row) {
        return std::tie(row.distribution, row.drawer, row.firstRow, row.members.form,
                        row.members.first, row.members.count, row.members.stride, row.members.block,
                        row.members.store, row.members.written);
    }
};

struct DataSetRow {
    static constexpr Table kTable = Table::DataSet;
    std::int64_t object = 0;
    std::int64_t distribution = 0;

    template <class Row>
    static auto Columns(Row& row) {
        return std::tie(row.object, row.distribution);
    }
};

struct CompartmentRow {
    static constexpr Table kTable = Table::Compartment;
    std::int64_t dataSet = 0;
    int place = 0;
    int dimension = 0;
    int set = 0;
    std::int64_t setCollection = 0;

    template <class Row>
    static auto Columns(Row& row) {
        return std::tie(row.dataSet, row.place, row.dimension, row.set, row.setCollection);
    }
};

struct DataSetDrawerRow {
    static constexpr Table kTable = Table::DataSetDrawer;
    std::int64_t dataSet = 0;
    int place = 0;
    int drawer = 0;

    template <class Row>
    static auto Columns(Row& row) {
        return std::tie(row.dataSet, row.place, row.drawer);
    }
};

struct FTableRow {
    static constexpr Table kTable = Table::FTable;
    std::int64_t object = 0;
    int nRows = 0;
    int nColumns = 0;
    std::int64_t store = 0;

    template <class Row>
    static auto Columns(Row& row) {
        return std::tie(row.object, row.nRows, row.nColumns, row.store);
    }
};

struct FTableLabelRow {
    static constexpr Table kTable = Table::FTableLabel;
    std::int64_t object = 0;
    int axis = 0;
    int place = 0;
    std::string_view text;

    template <class Row>
    static auto Columns(Row& row) {
        return std::tie(row.object, row.axis, row.place, row.text);
    }
};

struct ExtentRow {
    static constexpr Table kTable = Table::Extent;
    std::int64_t store = 0;
    int part = 0;
    std::int64_t chunk = 0;
    std::int64_t offset = 0;
    std::int64_t capacity = 0;
    std::int64_t length = 0;
    Bytes checksums;  // one of 8 bytes for each block
    Bytes small;      // the chunk itself; then it has no place in the bulk file

    template <class Row>
    static auto Columns(Row& row) {
        return std::tie(row.store, row.part, row.chunk, row.offset, row.capacity, row.length,
                        row.checksums, row.small);
    }
};

/// The data of a store that has one chunk, number 0 of part 0, of few bytes. Such a store has no extents.
struct SmallChunkRow {
    static constexpr Table kTable = Table::SmallChunk;
    std::int64_t store = 0;
    Bytes bytes;

    template <class Row>
    static auto Columns(Row& row) {
        return std::tie(row.store, row.bytes);
    }
    template <class Row>
    static auto Key(Row& row) {
        return std::tie(row.store);
    }
};

struct FreeExtentRow {
    static constexpr Table kTable = Table::FreeExtent;
    std::int64_t offset = 0;
    std::int64_t length = 0;
    std::int64_t generation = 0;  // of the commit that freed it

    template <class Row>
    static auto Columns(Row& row) {
        return std::tie(row.offset, row.length, row.generation);
    }
};

template <Index>
struct IndexedRow;
template <>
struct IndexedRow<Index::MemberByObject> {
    using Type = MemberRow;
};
template <>
struct IndexedRow<Index::SymbolByName> {
    using Type = SymbolRow;
};
template <>
struct IndexedRow<Index::SymbolByObject> {
    using Type = SymbolRow;
};
template <>
struct IndexedRow<Index::ChildByTarget> {
    using Type = ChildRow;
};
template <>
struct IndexedRow<Index::MapEntryByTarget> {
    using Type = MapEntryRow;
};
template <>
struct IndexedRow<Index::VectorEntryByTarget> {
    using Type = VectorEntryRow;
};
template <>
struct IndexedRow<Index::SetEntryByTarget> {
    using Type = SetEntryRow;
};
template <>
struct IndexedRow<Index::ComponentSetByHash> {
    using Type = ComponentSetRow;
};

}  // namespace orq::storage
