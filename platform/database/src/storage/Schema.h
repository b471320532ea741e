// The columns of a catalogue's tables, and what a value of each may be.
//
// Values are checked against these rules wherever a row is read, since pages with right checksums
// can hold anything. A row that passes may contradict other rows, but holds no value that its
// readers do not expect.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <limits>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "Rows.h"
#include "Sqlite.h"

namespace orq::storage {

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

// Makes all tables and indices in an empty catalogue.
void CreateSchema(Connection& connection);
// Puts what numbers stand for into the table for readers without this library; nothing of ours reads
// it. REQUIRES: a transaction, and numbers that the table does not have.
void Describe(Connection& connection, std::span<const NumberMeaning> meanings);
// Throws Damaged when a catalogue has anything but our tables and indices, made as we make them or
// as early versions did, which also had no table of meanings: what else is in a schema would run with
// our statements.
void CheckSchema(Connection& connection);

// What is wrong with a row's values as such, in words that name the table, the row and the column;
// empty when nothing is. REQUIRES: as many values as the table has columns.
std::string ProblemOfRow(Table table, std::span<const Value> row);

}  // namespace orq::storage
