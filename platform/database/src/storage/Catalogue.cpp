#include "Catalogue.h"

#include <string>
#include <utility>

#include "ORQBasFailure.h"

namespace orq::storage {

namespace {

std::string Where(std::span<const char* const> columns) {
    std::string text;
    for (const char* column : columns) {
        text += std::string(text.empty() ? " WHERE " : " AND ") + column + " = ?";
    }
    return text;
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
    std::vector<const char*> columns;  // by the first of which can be asked
    std::size_t nOrder;                // of the columns, by which the rows come

    std::span<const char* const> First(std::size_t n) const { return std::span(columns).first(n); }
};

Way WayOf(bool isIndex, int what) {
    if (isIndex) {
        const IndexShape& index = Shape(static_cast<Index>(what));
        return {Shape(index.table), index.columns, index.columns.size()};
    }
    const TableShape& table = Shape(static_cast<Table>(what));
    Way way{table, {}, static_cast<std::size_t>(table.nKeys)};
    for (const Column& column : table.columns) {
        way.columns.push_back(column.name);
    }
    return way;
}

std::string List(std::span<const char* const> columns, const char* suffix = "") {
    std::string text;
    for (const char* column : columns) {
        text += std::string(text.empty() ? "" : ", ") + column + suffix;
    }
    return text;
}

// Where the first `n` columns of a way stand in a row of the table.
std::vector<int> PlacesOf(const Way& way, std::size_t n) {
    std::vector<int> places;
    for (const std::string_view name : way.First(n)) {
        const auto* found = std::ranges::find(way.table.columns, name, &Column::name);
        places.push_back(static_cast<int>(found - way.table.columns.begin()));
    }
    return places;
}

}  // namespace

Cursor::Cursor(Cursor&& other) noexcept
    : m_catalogue(other.m_catalogue),
      m_home(other.m_home),
      m_walk(other.m_walk),
      m_statement(std::exchange(other.m_statement, nullptr)),
      m_table(other.m_table),
      m_columns(other.m_columns) {}

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

double Cursor::Double(int column) const {
    const int type = sqlite3_column_type(m_statement, column);
    if (type != SQLITE_FLOAT && type != SQLITE_INTEGER) {
        Refuse();
    }
    return sqlite3_column_double(m_statement, column);
}

std::string_view Cursor::Text(int column) const {
    if (sqlite3_column_type(m_statement, column) != SQLITE_TEXT) {
        Refuse();
    }
    // As it lies there: to end it with a zero byte SQLite takes memory, and answers nothing where
    // there is none.
    const auto* text = static_cast<const char*>(sqlite3_column_blob(m_statement, column));
    return {text, static_cast<std::size_t>(sqlite3_column_bytes(m_statement, column))};
}

std::span<const std::byte> Cursor::Blob(int column) const {
    if (sqlite3_column_type(m_statement, column) != SQLITE_BLOB) {
        Refuse();
    }
    const auto* blob = static_cast<const std::byte*>(sqlite3_column_blob(m_statement, column));
    return {blob, static_cast<std::size_t>(sqlite3_column_bytes(m_statement, column))};
}

std::string Cursor::Problem() const {
    return ProblemOfRow(m_table, ValuesOf(m_statement));
}

void Cursor::Refuse() const {
    const std::string problem = Problem();
    m_catalogue.m_connection.FailDamaged(problem.empty()
                                             ? std::string("table ") + Shape(m_table).name +
                                                   ": a value is not of its kind"
                                             : problem);
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
            statement =
                m_connection.Prepare(std::string("DELETE FROM ") + shape.name +
                                     Where(WayOf(false, static_cast<int>(table)).First(nKeys)));
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
        return {*this, pool, statement, TableOf(question, what)};
    }
    // Room for every statement that was ever made, so that bringing one back takes no memory.
    pool.reserve(pool.capacity() + 1);
    const Way way = WayOf(question == Question::FindBy, what);
    std::string sql = std::string(question == Question::Count ? "SELECT count(*)" : "SELECT *") +
                      " FROM " + way.table.name;
    sql += Where(way.First(nKeys));
    if (question == Question::FindFrom) {
        sql.replace(sql.rfind('='), 1, ">=");
    }
    switch (question) {
        case Question::Count:
            break;
        case Question::FindLast:
            sql += " ORDER BY " + List(way.First(way.nOrder), " DESC") + " LIMIT 1";
            break;
        default:
            sql += " ORDER BY " + List(way.First(way.nOrder));
    }
    return {*this, pool, m_connection.Prepare(sql), TableOf(question, what)};
}

RowWalks& Catalogue::WalksOf(Question question, int what, std::size_t nKeys) {
    RowWalks*& walks =
        m_walksOf[static_cast<std::size_t>(question)][static_cast<std::size_t>(what)][nKeys];
    if (walks == nullptr) {
        const Way way = WayOf(question == Question::FindBy, what);
        const std::string sql = std::string("SELECT * FROM ") + way.table.name + " WHERE (" +
                                List(way.First(nKeys)) + ") >= (" + Placeholders(nKeys) +
                                ") ORDER BY " + List(way.First(way.nOrder));
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
