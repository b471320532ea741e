#include "Catalogue.h"

#include <initializer_list>
#include <string>
#include <utility>

#include "ORQBasFailure.h"

namespace orq::storage {

namespace {

// One table: its columns in order, of which the first `nKeys` are the key.
struct TableShape {
    const char* name;
    int nKeys;
    std::initializer_list<const char*> columns;
};

#define ORQ_TARGET                                                             \
    "target_object INTEGER", "target_category INTEGER", "target_type INTEGER", \
        "target_index INTEGER"
// How a set of member numbers is written down, see ComponentSet.
#define ORQ_MEMBERS                                                                      \
    "form INTEGER", "first INTEGER", "count INTEGER", "stride INTEGER", "block INTEGER", \
        "store INTEGER", "members BLOB"

// Names and order are stored, do not change.
const TableShape kTables[] = {
    {"state",
     1,
     {"id INTEGER", "format INTEGER", "identity BLOB", "generation INTEGER", "next_object INTEGER",
      "next_set INTEGER", "bulk_end INTEGER"}},
    {"object", 1, {"id INTEGER", "type INTEGER", "category INTEGER"}},
    {"collection", 1, {"object INTEGER", "space INTEGER"}},
    {"member", 2, {"collection INTEGER", "member INTEGER", "object INTEGER"}},
    {"symbol",
     3,
     {"collection INTEGER", "type INTEGER", "place INTEGER", "name TEXT", "object INTEGER"}},
    {"name", 2, {"object INTEGER", "slot INTEGER", "text TEXT"}},
    {"child", 3, {"object INTEGER", "slot INTEGER", "member INTEGER", ORQ_TARGET}},
    {"map_entry", 3, {"object INTEGER", "slot INTEGER", "name TEXT", ORQ_TARGET}},
    {"vector_entry", 3, {"object INTEGER", "slot INTEGER", "place INTEGER", ORQ_TARGET}},
    {"set_entry", 6, {"object INTEGER", "slot INTEGER", ORQ_TARGET}},
    {"field", 2, {"object INTEGER", "number INTEGER", "kind INTEGER", "value"}},
    {"component_set", 1, {"id INTEGER", "collection INTEGER", "hash INTEGER", ORQ_MEMBERS}},
    {"distribution",
     1,
     {"object INTEGER", "scalar INTEGER", "range_collection INTEGER", "grid BLOB"}},
    {"drawer",
     2,
     {"distribution INTEGER", "number INTEGER", "layout INTEGER", "extendable INTEGER",
      "n_rows INTEGER", "store INTEGER"}},
    {"drawer_dimension",
     3,
     {"distribution INTEGER", "drawer INTEGER", "dimension INTEGER", "set_id INTEGER",
      "chunk INTEGER"}},
    {"drawer_segment",
     3,
     {"distribution INTEGER", "drawer INTEGER", "first_row INTEGER", ORQ_MEMBERS}},
    {"data_set", 1, {"object INTEGER", "distribution INTEGER"}},
    {"compartment",
     3,
     {"data_set INTEGER", "place INTEGER", "dimension INTEGER", "set_id INTEGER",
      "set_collection INTEGER"}},
    {"data_set_drawer", 2, {"data_set INTEGER", "place INTEGER", "drawer INTEGER"}},
    {"f_table", 1, {"object INTEGER", "n_rows INTEGER", "n_columns INTEGER", "store INTEGER"}},
    {"f_table_label", 3, {"object INTEGER", "axis INTEGER", "place INTEGER", "text TEXT"}},
    {"extent",
     3,
     {"store INTEGER", "part INTEGER", "chunk INTEGER", "offset INTEGER", "capacity INTEGER",
      "length INTEGER", "checksums BLOB"}},
    {"free_extent", 1, {"offset INTEGER", "length INTEGER", "generation INTEGER"}},
};
static_assert(std::size(kTables) == static_cast<std::size_t>(Table::Count));

struct IndexShape {
    const char* name;
    Table table;
    std::initializer_list<const char*> columns;
};

// With the category, though no question needs it: the index then holds all of a row but the
// target's type, from which Salvage makes rows again that were lost with their page.
#define ORQ_TARGET_COLUMNS "target_object", "target_index", "slot", "target_category"

const IndexShape kIndices[] = {
    {"member_by_object", Table::Member, {"object", "collection"}},
    {"symbol_by_name", Table::Symbol, {"collection", "type", "name"}},
    {"symbol_by_object", Table::Symbol, {"object"}},
    {"child_by_target", Table::Child, {ORQ_TARGET_COLUMNS}},
    {"map_entry_by_target", Table::MapEntry, {ORQ_TARGET_COLUMNS}},
    {"vector_entry_by_target", Table::VectorEntry, {ORQ_TARGET_COLUMNS}},
    {"set_entry_by_target", Table::SetEntry, {"target_object", "target_index", "slot"}},
    {"component_set_by_hash", Table::ComponentSet, {"collection", "hash"}},
};
static_assert(std::size(kIndices) == static_cast<std::size_t>(Index::Count));

const TableShape& Shape(Table table) {
    return kTables[static_cast<std::size_t>(table)];
}

std::string ColumnName(const char* declaration) {
    const std::string_view text = declaration;
    return std::string(text.substr(0, text.find(' ')));
}

// "a, b, c" from the first `n` columns, each with `suffix`.
std::string List(std::initializer_list<const char*> columns, std::size_t n, const char* between,
                 const char* suffix = "") {
    std::string text;
    for (const char* column : columns) {
        if (n-- == 0) {
            break;
        }
        text += (text.empty() ? "" : between) + ColumnName(column) + suffix;
    }
    return text;
}

std::string Where(std::initializer_list<const char*> columns, std::size_t nKeys) {
    return nKeys == 0 ? "" : " WHERE " + List(columns, nKeys, " AND ", " = ?");
}

std::string Placeholders(std::size_t n) {
    std::string text = "?";
    while (--n > 0) {
        text += ",?";
    }
    return text;
}

// A way to the rows of a table: by its key or by an index.
struct Way {
    const TableShape& table;
    std::initializer_list<const char*> columns;
    std::size_t nOrder;  // of the columns, by which the rows come
};

Way WayOf(bool isIndex, int what) {
    const auto number = static_cast<std::size_t>(what);
    if (isIndex) {
        const IndexShape& index = kIndices[number];
        return {Shape(index.table), index.columns, index.columns.size()};
    }
    const TableShape& table = kTables[number];
    return {table, table.columns, static_cast<std::size_t>(table.nKeys)};
}

// Where the first `n` columns of a way stand in a row of the table.
std::vector<int> PlacesOf(const Way& way, std::size_t n) {
    std::vector<int> places;
    for (const char* column : std::span(way.columns.begin(), n)) {
        const auto isThis = [&](const char* declared) {
            return ColumnName(declared) == ColumnName(column);
        };
        const auto found = std::ranges::find_if(way.table.columns, isThis);
        places.push_back(static_cast<int>(found - way.table.columns.begin()));
    }
    return places;
}

}  // namespace

Cursor::Cursor(Cursor&& other) noexcept
    : m_catalogue(other.m_catalogue),
      m_home(other.m_home),
      m_walk(other.m_walk),
      m_statement(std::exchange(other.m_statement, nullptr)) {}

Cursor::~Cursor() {
    if (m_statement == nullptr) {
        return;
    }
    if (m_walk != nullptr) {
        m_walk->End();
    } else {
        sqlite3_reset(m_statement);
        m_home->push_back(m_statement);
    }
}

bool Cursor::Next() {
    if (m_walk != nullptr) {
        return m_walk->Next();
    }
    const int code = sqlite3_step(m_statement);
    if (code == SQLITE_ROW) {
        return true;
    }
    if (code != SQLITE_DONE) {
        m_catalogue.m_connection.Fail(code, sqlite3_sql(m_statement));
    }
    return false;
}

std::string_view Cursor::Text(int column) const {
    // As it lies there: to end it with a zero byte SQLite takes memory, and answers nothing where
    // there is none.
    const auto* text = static_cast<const char*>(sqlite3_column_blob(m_statement, column));
    return {text, static_cast<std::size_t>(sqlite3_column_bytes(m_statement, column))};
}

std::span<const std::byte> Cursor::Blob(int column) const {
    const auto* blob = static_cast<const std::byte*>(sqlite3_column_blob(m_statement, column));
    return {blob, static_cast<std::size_t>(sqlite3_column_bytes(m_statement, column))};
}

Catalogue::~Catalogue() {
    for (auto& ofTable : m_writes) {
        for (sqlite3_stmt* statement : ofTable) {
            sqlite3_finalize(statement);
        }
    }
    for (auto& ofQuestion : m_pools) {
        for (auto& ofWay : ofQuestion) {
            for (Pool& pool : ofWay) {
                for (sqlite3_stmt* statement : pool) {
                    sqlite3_finalize(statement);
                }
            }
        }
    }
}

const char* Catalogue::NameOf(Table table) {
    return Shape(table).name;
}

const char* Catalogue::NameOf(Index index) {
    return kIndices[static_cast<std::size_t>(index)].name;
}

std::size_t Catalogue::NumColumns(Table table) {
    return Shape(table).columns.size();
}

bool Catalogue::InsertNewRow(Table table, std::span<const Value> row) {
    m_connection.NeedTransaction();
    Change change(Unfinished());
    sqlite3_stmt* statement = WriteStatement(table, Write::InsertNew);
    for (std::size_t i = 0; i < row.size(); ++i) {
        m_connection.Check(BindValue(statement, static_cast<int>(i) + 1, row[i]), "bind a value");
    }
    RunWrite(statement, table);
    change.Finish();
    return sqlite3_changes(m_connection.Handle()) > 0;
}

void Catalogue::CreateTables() {
    for (const TableShape& table : kTables) {
        std::string sql = std::string("CREATE TABLE ") + table.name + "(";
        for (const char* column : table.columns) {
            sql += std::string(column) + ", ";
        }
        sql += "PRIMARY KEY(" + List(table.columns, static_cast<std::size_t>(table.nKeys), ", ") +
               ")) WITHOUT ROWID";
        m_connection.Execute(sql.c_str());
    }
    for (const IndexShape& index : kIndices) {
        const std::string sql = std::string("CREATE INDEX ") + index.name + " ON " +
                                Shape(index.table).name + "(" +
                                List(index.columns, index.columns.size(), ", ") + ")";
        m_connection.Execute(sql.c_str());
    }
}

sqlite3_stmt* Catalogue::WriteStatement(Table table, Write kind) {
    sqlite3_stmt*& statement =
        m_writes[static_cast<std::size_t>(table)][static_cast<std::size_t>(kind)];
    if (statement == nullptr) {
        const TableShape& shape = Shape(table);
        if (kind < Write::EraseByNone) {
            constexpr const char* kVerbs[] = {"INSERT INTO ", "INSERT OR IGNORE INTO ",
                                              "INSERT OR REPLACE INTO "};
            statement = m_connection.Prepare(kVerbs[static_cast<std::size_t>(kind)] +
                                             std::string(shape.name) + " VALUES(" +
                                             Placeholders(shape.columns.size()) + ")");
        } else {
            const std::size_t nKeys =
                static_cast<std::size_t>(kind) - static_cast<std::size_t>(Write::EraseByNone);
            statement = m_connection.Prepare(std::string("DELETE FROM ") + shape.name +
                                             Where(shape.columns, nKeys));
        }
    }
    return statement;
}

void Catalogue::RunWrite(sqlite3_stmt* statement, Table table) {
    const int code = sqlite3_step(statement);
    sqlite3_reset(statement);
    if (code != SQLITE_DONE) {
        m_connection.Fail(code, std::string("write to ") + NameOf(table));
    }
}

Cursor Catalogue::Take(Question question, int what, std::size_t nKeys) {
    Pool& pool = m_pools[static_cast<std::size_t>(question)][static_cast<std::size_t>(what)][nKeys];
    if (!pool.empty()) {
        sqlite3_stmt* statement = pool.back();
        pool.pop_back();
        return {*this, pool, statement};
    }
    // Room for every statement that was ever made, so that bringing one back takes no memory.
    pool.reserve(pool.capacity() + 1);
    const Way way = WayOf(question == Question::FindBy, what);
    std::string sql = std::string(question == Question::Count ? "SELECT count(*)" : "SELECT *") +
                      " FROM " + way.table.name;
    sql += Where(way.columns, nKeys);
    if (question == Question::FindFrom) {
        sql.replace(sql.rfind('='), 1, ">=");
    }
    switch (question) {
        case Question::Count:
            break;
        case Question::FindLast:
            sql += " ORDER BY " + List(way.columns, way.nOrder, ", ", " DESC") + " LIMIT 1";
            break;
        default:
            sql += " ORDER BY " + List(way.columns, way.nOrder, ", ");
    }
    return {*this, pool, m_connection.Prepare(sql)};
}

RowWalks& Catalogue::WalksOf(Question question, int what, std::size_t nKeys) {
    RowWalks*& walks =
        m_walksOf[static_cast<std::size_t>(question)][static_cast<std::size_t>(what)][nKeys];
    if (walks == nullptr) {
        const Way way = WayOf(question == Question::FindBy, what);
        const std::string sql = std::string("SELECT * FROM ") + way.table.name + " WHERE (" +
                                List(way.columns, nKeys, ", ") + ") >= (" + Placeholders(nKeys) +
                                ") ORDER BY " + List(way.columns, way.nOrder, ", ");
        m_walks.push_back(std::make_unique<RowWalks>(m_connection, sql, PlacesOf(way, nKeys)));
        walks = m_walks.back().get();
    }
    return *walks;
}

void Catalogue::LeaveRows() {
    for (const auto& walks : m_walks) {
        walks->Forget();
    }
}

}  // namespace orq::storage
