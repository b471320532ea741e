// The columns of a catalogue's tables, and what a value of each may be.
//
// Values are checked against these rules wherever a row is read, since pages with right checksums
// can hold anything; but a number that a query's key gives is not read again. A row that passes may contradict other rows, but holds no value that its
// readers do not expect.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <limits>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "Rows.h"
#include "Sqlite.h"

namespace orq::storage {

// Versions of the format. Databases of older ones are read, and written on, as they were made; see
// docs/storage-format.md. Version 1 is version 2 without the table of meanings.
inline constexpr int kFormatVersion = 5;
inline constexpr int kOldestFormatVersion = 1;
// Small chunks stand in the catalogue.
inline constexpr int kSmallChunksSince = 3;
// Some tables lie in one.
inline constexpr int kSharedTablesSince = 5;

// One column: its name, and what its values may be.
struct Column {
    enum class Type { Integer, Text, Blob, Fields, Dimensions, Any };

    const char* name;
    Type type;
    std::int64_t least = 0;  // of an integer
    std::int64_t most = 0;
    // Later columns come behind all earlier ones. Databases of older versions lack them: there they
    // read as this expression, or as 0 or empty, and what is written to them is dropped.
    int since = kOldestFormatVersion;
    const char* before = nullptr;

    bool MayBe(std::int64_t value) const { return least <= value && value <= most; }
};

// A table of the catalogue in which the rows of several tables lie, since even an empty one takes a
// page. Its first column says of which they are, so that those of each lie together and are found as
// in a table of its own.
struct SharedTable {
    const char* name;
    int nKeys;
    std::initializer_list<Column> columns;
};

// What a table's rows hold in a shared one where they have no column for it.
struct FixedColumn {
    std::size_t place;
    std::int64_t value;
};

// One table: its columns in order, of which the first `nKeys` are the key.
struct TableShape {
    const char* name;
    int nKeys;
    std::initializer_list<Column> columns;
    // Where its rows lie from kSharedTablesSince on. Of the columns there the first one is fixed, and
    // those that are not fixed are the table's own, in order.
    const SharedTable* shared = nullptr;
    std::initializer_list<FixedColumn> fixed = {};
    int until = kFormatVersion;
    // From this version on its key is SQLite's own number of the row: rows of many bytes then lie
    // in leaves alone, and new ones go behind the last without a search.
    int isByRowNumberSince = kFormatVersion + 1;
    int since = kOldestFormatVersion;

    bool IsIn(int format) const { return since <= format && format <= until; }
    bool IsByRowNumber(int format) const { return format >= isByRowNumberSince; }
    bool IsShared(int format) const { return shared != nullptr && format >= kSharedTablesSince; }
    // Those that a version of the format has, which are the first ones.
    std::span<const Column> Columns(int format) const;
};
const TableShape& Shape(Table table);

// The first columns of the index of a shared table are the one that says of which table a row is, and
// these.
struct IndexShape {
    const char* name;
    Table table;
    std::initializer_list<const char*> columns;
    const char* sharedName = nullptr;

    const char* NameIn(int format) const {
        return Shape(table).IsShared(format) ? sharedName : name;
    }
};
const IndexShape& Shape(Index index);

// How the rows of a table are found and written in a version of the format.
struct StoredTable {
    std::string name;
    std::vector<const char*> columns;  // of a row, as they are called there
    std::string condition;             // that rows of others do not meet; none where there are none
    std::string values;  // of one row, with a "?" for each column that the version has
};
StoredTable StoredIn(const TableShape& table, int format);

// What a column holds that a version lacks.
Value NothingIn(Column::Type type);
// Selects all columns of a table but the first ones, also those that a version of the format lacks; of
// shared tables also rows of others, where the condition is not added. REQUIRES: at least one is left.
std::string SelectRow(const TableShape& table, int format, std::size_t nLeftOut = 0);
// Counts the rows of a shared table that are of none that shares it, for each shared table.
std::vector<std::string> CountsOfForeignRows();

// Makes all tables and indices of a version in an empty catalogue.
void CreateSchema(Connection& connection, int format);
// Puts what numbers stand for into the table for readers without this library; nothing of ours
// reads it. REQUIRES: a transaction, and numbers that the table does not have.
void Describe(Connection& connection, std::span<const NumberMeaning> meanings);
// Throws Damaged when the table of the state, which is the same in all versions, is not as we make
// it: the state says which version the rest is of.
void CheckStateTable(Connection& connection);
// Whether CheckSchema passes.
bool HasSchemaOf(Connection& connection, int format);
// Throws Damaged when a catalogue has anything but our tables and indices, made as its version
// makes them: what else is in a schema would run with our statements.
void CheckSchema(Connection& connection, int format);

// What is wrong with a row's values as such, in words that name the table, the row and the column;
// empty when nothing is. REQUIRES: as many values as the table has columns.
std::string ProblemOfRow(Table table, std::span<const Value> row);

}  // namespace orq::storage
