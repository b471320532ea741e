// The tables of a catalogue, their columns, and what a value of each may be.
//
// Values are held against these rules wherever a row is read, since intact pages can hold anything:
// what answers for a row that passes may still contradict other rows, and is no number that the
// columns' readers would not expect.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <limits>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "Sqlite.h"

namespace orq::storage {

// The columns stand in Schema.cpp, in the order in which Insert and Put take them.
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
    Field,
    ComponentSet,
    Distribution,
    Drawer,
    DrawerDimension,
    DrawerSegment,
    DataSet,
    Compartment,
    DataSetDrawer,
    FTable,
    FTableLabel,
    Extent,
    FreeExtent,
    Count
};

// Second ways into a table; each names its table and its columns.
enum class Index : int {
    MemberByObject,       // Member: object, collection
    SymbolByName,         // Symbol: collection, type, name
    SymbolByObject,       // Symbol: object
    ChildByTarget,        // Child: target object, target index, slot, target category
    MapEntryByTarget,     // MapEntry: the same
    VectorEntryByTarget,  // VectorEntry: the same
    SetEntryByTarget,     // SetEntry: the same
    ComponentSetByHash,   // ComponentSet: collection, hash
    Count
};

// One column: its name, and what its values may be.
struct Column {
    enum class Type { Integer, Text, Blob, Any };

    const char* name;
    Type type;
    std::int64_t least = 0;  // of an integer
    std::int64_t most = 0;

    bool MayBe(std::int64_t value) const { return least <= value && value <= most; }
};

// One table: its columns in order, of which the first `nKeys` are the key.
struct TableShape {
    const char* name;
    int nKeys;
    std::initializer_list<Column> columns;
};
const TableShape& Shape(Table table);

struct IndexShape {
    const char* name;
    Table table;
    std::initializer_list<const char*> columns;
};
const IndexShape& Shape(Index index);

// "a, b, c" from the first `n` columns, each with `suffix`.
std::string ListColumns(std::span<const Column> columns, std::string_view between,
                        std::string_view suffix = "");

// Makes all tables and indices in an empty catalogue.
void CreateSchema(Connection& connection);
// Throws Damaged when a catalogue has anything but our tables and indices, made as we make them or
// as early versions did: what else is in a schema would run with our statements.
void CheckSchema(Connection& connection);

// What is wrong with a row's values as such, in words that name the table, the row and the column;
// empty when nothing is. REQUIRES: as many values as the table has columns.
std::string ProblemOfRow(Table table, std::span<const Value> row);

}  // namespace orq::storage
