// Rows between the structs of Rows.h and SQLite's statements.
#pragma once

#include <cstdint>
#include <span>

#include "Rows.h"
#include "Sqlite.h"

namespace orq::storage {

// Of one table. A row that is given as a pointer is a struct of that table.
struct RowCodec {
    // Numbers of the first columns of a row that need not be read.
    struct Known {
        std::span<const std::int64_t> numbers;
        int next = 0;  // the statement's column that comes behind them
    };
    // Reads all columns of the row that a statement stands on. Throws Damaged where a value is of
    // another type than its column, or none that the column may have.
    void (*read)(const Connection& connection, sqlite3_stmt* statement, const Known& known,
                 void* row);
    // Binds the first columns, which are not copied, to as many places of the statement behind
    // `place`. Where the row is given that was bound there last, only what differs from its numbers.
    void (*bind)(const Connection& connection, sqlite3_stmt* statement, const void* row, int place,
                 int nColumns, const void* boundBefore);
};
const RowCodec& CodecOf(Table table);

}  // namespace orq::storage
