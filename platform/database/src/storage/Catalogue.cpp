#include "Catalogue.h"

#include "EarlyRows.h"
#include "PackedDimensions.h"
#include "PackedFields.h"
#include "RowCodec.h"

namespace orq::storage {

namespace {

// Of a table's rows, those whose columns have given values.
std::string Where(const StoredTable& table, std::span<const char* const> columns) {
    std::string text = table.condition.empty() ? "" : " WHERE " + table.condition;
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

// How rows of a table are reached: by its key or by an index.
struct AccessPath {
    const TableShape& table;
    StoredTable stored;
    std::vector<const char*> columns;  // as they are stored; a query gives the first ones
    std::size_t nOrder;                // of the columns, by which rows are ordered

    std::span<const char* const> First(std::size_t n) const { return std::span(columns).first(n); }
};

AccessPath PathOf(bool isIndex, int what, int format) {
    if (isIndex) {
        const IndexShape& index = Shape(static_cast<Index>(what));
        const TableShape& table = Shape(index.table);
        return {table, StoredIn(table, format), index.columns, index.columns.size()};
    }
    const TableShape& table = Shape(static_cast<Table>(what));
    const StoredTable stored = StoredIn(table, format);
    return {table, stored, stored.columns, static_cast<std::size_t>(table.nKeys)};
}

// How many columns of a row need not be selected, as the key of a query gives them: each one costs
// a look. Some column has to be.
std::size_t NumKnown(const TableShape& table, std::size_t nKeys) {
    const auto* const first = table.columns.begin();
    const auto* const last = first + std::min(nKeys, table.columns.size() - 1);
    const auto isText = [](const Column& column) { return column.type != Column::Type::Integer; };
    return static_cast<std::size_t>(std::find_if(first, last, isText) - first);
}

std::string List(std::span<const char* const> columns, const char* suffix = "") {
    std::string text;
    for (const char* column : columns) {
        text += std::string(text.empty() ? "" : ", ") + column + suffix;
    }
    return text;
}

// Where the first `n` columns of a path stand in a row of the table.
std::vector<int> PlacesOf(const AccessPath& path, std::size_t n) {
    std::vector<int> places;
    for (const std::string_view name : path.First(n)) {
        const auto found = std::ranges::find(path.stored.columns, name);
        places.push_back(static_cast<int>(found - path.stored.columns.begin()));
    }
    return places;
}

// The keys of a query are copied: rows are read when the caller may have dropped them.
void BindKeys(const Connection& connection, sqlite3_stmt* statement, const RowKey& key) {
    int index = 0;
    for (const std::int64_t number : std::span(key.numbers).first(key.nNumbers)) {
        connection.Check(BindKey(statement, ++index, number), "bind a key");
    }
    if (key.text) {
        connection.Check(BindKey(statement, ++index, *key.text), "bind a key");
    }
}

// Brings a statement back however its query ends.
class Closing {
  public:
    explicit Closing(RowSource& rows) : m_rows(rows) {}
    ~Closing() { m_rows.Close(); }
    Closing(const Closing&) = delete;
    Closing& operator=(const Closing&) = delete;

  private:
    RowSource& m_rows;
};

}  // namespace

Catalogue::StatementRows::StatementRows(Connection& connection, Pool& home, const std::string& sql,
                                        Table table, std::size_t nKnown)
    : m_connection(connection),
      m_home(home),
      m_codec(CodecOf(table)),
      m_statement(connection.Prepare(sql)),
      m_nKnown(nKnown) {}

void Catalogue::StatementRows::Bind(const RowKey& key) {
    BindKeys(m_connection, m_statement, key);
    m_keys = key.numbers;
}

bool Catalogue::StatementRows::Step() {
    const int code = sqlite3_step(m_statement);
    if (code != SQLITE_ROW && code != SQLITE_DONE) {
        m_connection.Fail(code, sqlite3_sql(m_statement));
    }
    return code == SQLITE_ROW;
}

bool Catalogue::StatementRows::Next(void* row) {
    const bool hasRow = Step();
    if (hasRow) {
        m_codec.read(m_connection, m_statement, {std::span(m_keys).first(m_nKnown)}, row);
    }
    return hasRow;
}

void Catalogue::StatementRows::Close() noexcept {
    sqlite3_reset(m_statement);
    m_home.push_back(this);
}

bool Catalogue::PendingRow::Next(void* row) {
    *static_cast<ObjectRow*>(row) = m_row;
    return !std::exchange(m_isRead, true);
}

Catalogue::~Catalogue() {
    for (auto& ofTable : m_writes) {
        for (auto& ofNumber : ofTable) {
            for (sqlite3_stmt* statement : ofNumber) {
                sqlite3_finalize(statement);
            }
        }
    }
    for (auto& ofTable : m_erasures) {
        for (sqlite3_stmt* statement : ofTable) {
            sqlite3_finalize(statement);
        }
    }
}

// --- Writing -------------------------------------------------------------------------------------

void Catalogue::SetFormatVersion(int format) {
    m_format = format;
    if (format < kFormatVersion) {
        DefinePacking(m_connection);
    }
}

bool Catalogue::WriteRow(Table table, Write how, const void* row) {
    m_connection.NeedTransaction();
    if (table == Table::Object) {
        const auto& object = *static_cast<const ObjectRow*>(row);
        const bool isNew = how != Write::Put;
        if (how == Write::Put || (how == Write::Insert && !m_pending.Contains(object.id))) {
            KeepBack(object, isNew);
            return true;
        }
        WriteObjects();
    } else if (table == Table::MapEntry) {
        if (how == Write::InsertNew) {
            return AddName(*static_cast<const MapEntryRow*>(row));
        }
        WriteNames();
        m_names.ForgetHighest();
    } else if (how == Write::Put && KeepBack(table, row)) {
        return true;
    }
    WritePendingOf(table);
    Change change(*this);
    // Walks stand on rows that may change now.
    LeaveRows();
    WriteNow(table, how, row);
    const bool isWritten = sqlite3_changes(m_connection.Handle()) > 0;
    if (table == Table::Drawer && HasTable(Table::DrawerDimension)) {
        WriteEarlyDimensions(*static_cast<const DrawerRow*>(row));
    }
    change.Finish();
    return isWritten;
}

void Catalogue::WriteNow(Table table, Write how, const void* row) {
    sqlite3_stmt* statement = WriteStatement(table, how, 1);
    CodecOf(table).bind(m_connection, statement, row, 0, NumColumns(table), nullptr);
    Run(statement, table);
}

// Rows that are written one behind the other: as many together as there is a statement for.
template <class Row>
class Catalogue::RowBatch {
  public:
    RowBatch(Catalogue& catalogue, Write how) : m_catalogue(catalogue), m_how(how) {}

    void Add(const Row& row) {
        m_rows[m_present][m_nRows++] = row;
        if (m_nRows == kTogether) {
            WriteTogether();
        }
    }
    void Finish() {
        for (const Row& row : std::span(m_rows[m_present]).first(std::exchange(m_nRows, 0))) {
            m_catalogue.WriteNow(Row::kTable, m_how, &row);
        }
    }

  private:
    void WriteTogether() {
        const int nColumns = m_catalogue.NumColumns(Row::kTable);
        sqlite3_stmt* statement = m_catalogue.WriteStatement(Row::kTable, m_how, kTogether);
        const auto& rows = m_rows[m_present];
        const auto& before = m_rows[1 - m_present];
        for (std::size_t i = 0; i < kTogether; ++i) {
            CodecOf(Row::kTable)
                .bind(m_catalogue.m_connection, statement, &rows[i], static_cast<int>(i) * nColumns,
                      nColumns, m_isBound ? &before[i] : nullptr);
        }
        m_nRows = 0;
        m_present = 1 - m_present;
        m_isBound = true;
        m_catalogue.Run(statement, Row::kTable);
    }

    Catalogue& m_catalogue;
    Write m_how;
    // Those that are gathered, and those that the statement has bound: of a map's entries, most
    // numbers are the same.
    std::array<std::array<Row, kTogether>, 2> m_rows;
    std::size_t m_present = 0;
    std::size_t m_nRows = 0;
    bool m_isBound = false;
};

// Whether a name is taken is known, or looked up, before: rows that wait can only be new.
bool Catalogue::AddName(const MapEntryRow& row) {
    if (m_names.WantsHighest(row)) {
        WriteNames();
        StatementRows& last =
            Take(Query::FindLast, static_cast<int>(Table::MapEntry), RowKey(row.object, row.slot));
        const Closing closing(last);
        MapEntryRow highest;
        m_names.SetHighest(last.Next(&highest) ? highest.key : std::string_view());
    }
    if (!m_names.IsBehindAll(row) && (m_names.Contains(row.object, row.slot, row.key) ||
                                      Has<MapEntryRow>(row.object, row.slot, row.key))) {
        return false;
    }
    m_names.Add(row);
    ++m_nKeptBack;
    if (m_names.IsFull()) {
        WriteNames();
    }
    return true;
}

template <class F>
void Catalogue::GiveToSqlite(F&& write) {
    if (m_failure != nullptr) {
        // Some of the rows are written: to write them again would fail for another reason.
        std::rethrow_exception(m_failure);
    }
    m_connection.NeedTransaction();
    Change change(*this);
    LeaveRows();
    try {
        write();
    } catch (...) {
        m_failure = std::current_exception();
        throw;
    }
    change.Finish();
}

void Catalogue::WriteNames() {
    if (m_names.IsEmpty()) {
        return;
    }
    GiveToSqlite([this] {
        RowBatch<MapEntryRow> batch(*this, Write::Insert);
        m_names.ForEach([&](const MapEntryRow& row) { batch.Add(row); });
        batch.Finish();
        m_names.Clear();
    });
}

template <class Row>
void Catalogue::WriteRows(PendingRows<Row>& rows) {
    if (rows.IsEmpty()) {
        return;
    }
    GiveToSqlite([&] {
        RowBatch<Row> batch(*this, Write::Put);
        for (const Row& row : rows.All()) {
            batch.Add(row);
        }
        batch.Finish();
        rows.Clear();
    });
}

template <class F>
void Catalogue::WithPendingRows(Table table, F&& f) {
    std::apply(
        [&](auto&... pending) {
            const auto callOne = [&]<class Row>(PendingRows<Row>& rows) {
                if (Row::kTable == table) {
                    f(rows);
                }
            };
            (callOne(pending), ...);
        },
        m_rows);
}

// False for rows that are written one by one: of other tables, of earlier versions, or with many
// bytes.
bool Catalogue::KeepBack(Table table, const void* row) {
    bool isKept = false;
    if (m_format == kFormatVersion) {
        WithPendingRows(table, [&]<class Row>(PendingRows<Row>& rows) {
            const Row& given = *static_cast<const Row*>(row);
            if (!rows.Fits(given)) {
                WriteRows(rows);
            }
            if (rows.Fits(given)) {
                rows.Put(given);
                ++m_nKeptBack;
                isKept = true;
            }
        });
    }
    return isKept;
}

void Catalogue::KeepBack(const ObjectRow& row, bool isNew) {
    m_pending.Put(row, isNew);
    ++m_nKeptBack;
    if (m_pending.IsFull()) {
        WriteObjects();
    }
}

void Catalogue::WritePending() {
    WriteObjects();
    WriteNames();
    std::apply([this](auto&... rows) { (WriteRows(rows), ...); }, m_rows);
}

void Catalogue::DropPending() noexcept {
    m_pending.Clear();
    m_names.Clear();
    m_names.ForgetHighest();
    std::apply([](auto&... rows) { (rows.Clear(), ...); }, m_rows);
    m_failure = nullptr;
}

void Catalogue::WriteObjects() {
    if (m_pending.IsEmpty()) {
        return;
    }
    GiveToSqlite([this] {
        RowBatch<ObjectRow> added(*this, Write::Insert);
        RowBatch<ObjectRow> changed(*this, Write::Put);
        m_pending.ForEach([&](const PendingObjects::Object& object) {
            (object.isNew ? added : changed).Add(object.Row());
            if (HasTable(Table::Field)) {
                WriteEarlyFields(object.Row());
            }
        });
        added.Finish();
        changed.Finish();
        m_pending.Clear();
    });
}

void Catalogue::WriteEarlyFields(const ObjectRow& row) {
    sqlite3_stmt* statement = EraseStatement(Table::Field, 1);
    BindKeys(m_connection, statement, RowKey(row.id));
    Run(statement, Table::Field);
    PackedFieldReader fields(row.fields);
    while (fields.Next()) {
        const FieldRow field{row.id, fields.Number(), static_cast<int>(fields.Kind()),
                             fields.Value()};
        WriteNow(Table::Field, Write::Put, &field);
    }
}

// Those that are there already stay: a drawer keeps its dimensions.
void Catalogue::WriteEarlyDimensions(const DrawerRow& row) {
    PackedDimensionReader dimensions(row.dimensions);
    for (int number = 0; dimensions.Next(); ++number) {
        const PackedDimension& dimension = dimensions.Dimension();
        const DrawerDimensionRow early{row.distribution, row.number, number, dimension.set,
                                       dimension.chunk};
        WriteNow(Table::DrawerDimension, Write::InsertNew, &early);
    }
}

bool Catalogue::InsertNewRow(Table table, std::span<const Value> row) {
    m_connection.NeedTransaction();
    WritePending();
    m_names.ForgetHighest();
    Change change(*this);
    LeaveRows();
    sqlite3_stmt* statement = WriteStatement(table, Write::InsertNew, 1);
    for (std::size_t i = 0; i < row.size(); ++i) {
        m_connection.Check(BindValue(statement, static_cast<int>(i) + 1, row[i]), "bind a value");
    }
    Run(statement, table);
    change.Finish();
    return sqlite3_changes(m_connection.Handle()) > 0;
}

int Catalogue::EraseRows(Table table, const RowKey& key) {
    if (!HasTable(table)) {
        return 0;
    }
    m_connection.NeedTransaction();
    WritePendingOf(table);
    Change change(*this);
    LeaveRows();
    const auto erase = [&](Table from) {
        if (HasTable(from)) {
            sqlite3_stmt* statement = EraseStatement(from, key.Size());
            BindKeys(m_connection, statement, key);
            Run(statement, from);
        }
    };
    if (table == Table::Object) {
        erase(Table::Field);
    } else if (table == Table::Drawer) {
        erase(Table::DrawerDimension);
    }
    erase(table);
    change.Finish();
    return sqlite3_changes(m_connection.Handle());
}

void Catalogue::WritePendingOf(Table table) {
    if (table == Table::Object) {
        WriteObjects();
    } else if (table == Table::MapEntry) {
        WriteNames();
    } else {
        WithPendingRows(table, [this](auto& rows) { WriteRows(rows); });
    }
}

int Catalogue::NumColumns(Table table) const {
    return static_cast<int>(Shape(table).Columns(m_format).size());
}

sqlite3_stmt* Catalogue::WriteStatement(Table table, Write how, std::size_t nRows) {
    auto& ofTable = m_writes[static_cast<std::size_t>(table)];
    sqlite3_stmt*& statement = ofTable[nRows > 1 ? 1 : 0][static_cast<std::size_t>(how)];
    if (statement == nullptr) {
        constexpr const char* kVerbs[] = {"INSERT INTO ", "INSERT OR IGNORE INTO ",
                                          "INSERT OR REPLACE INTO "};
        const StoredTable stored = StoredIn(Shape(table), m_format);
        std::string sql = kVerbs[static_cast<std::size_t>(how)] + stored.name;
        for (std::size_t i = 0; i < nRows; ++i) {
            sql += (i == 0 ? " VALUES(" : ",(") + stored.values + ")";
        }
        statement = m_connection.Prepare(sql);
    }
    return statement;
}

sqlite3_stmt* Catalogue::EraseStatement(Table table, std::size_t nKeys) {
    sqlite3_stmt*& statement = m_erasures[static_cast<std::size_t>(table)][nKeys];
    if (statement == nullptr) {
        const AccessPath path = PathOf(false, static_cast<int>(table), m_format);
        statement = m_connection.Prepare("DELETE FROM " + path.stored.name +
                                         Where(path.stored, path.First(nKeys)));
    }
    return statement;
}

void Catalogue::Run(sqlite3_stmt* statement, Table table) {
    const int code = sqlite3_step(statement);
    sqlite3_reset(statement);
    if (code != SQLITE_DONE) {
        m_connection.Fail(code, std::string("write to ") + NameOf(table));
    }
}

// --- Reading -------------------------------------------------------------------------------------

RowSource& Catalogue::FindRows(Table table, const RowKey& key) {
    if (!HasTable(table)) {
        return m_noRows;
    }
    if (table == Table::Object && key.nNumbers == 1) {
        m_connection.NeedTransaction();
        if (const PendingObjects::Object* object = m_pending.Find(key.numbers[0])) {
            return TakePending(object->Row());
        }
    }
    if (table == Table::MapEntry && !m_names.IsEmpty()) {
        // A name that does not wait is looked up beside those that do.
        if (key.Size() < 3 ||
            m_names.Contains(key.numbers[0], static_cast<int>(key.numbers[1]), *key.text)) {
            WriteNames();
        }
    }
    WithPendingRows(table, [this](auto& rows) { WriteRows(rows); });
    return Open(Query::Find, static_cast<int>(table), key);
}

RowSource& Catalogue::TakePending(const ObjectRow& shown) {
    if (m_pendingPool.empty()) {
        m_pendingRows.push_back(std::make_unique<PendingRow>(m_pendingPool));
        m_pendingPool.reserve(m_pendingRows.size());  // so that bringing one back takes no memory
        m_pendingPool.push_back(m_pendingRows.back().get());
    }
    PendingRow& row = *m_pendingPool.back();
    m_pendingPool.pop_back();
    row.Show(shown);
    return row;
}

RowSource& Catalogue::Open(Query query, int what, const RowKey& key) {
    // Only keys of numbers alone have near neighbours to walk to.
    if (key.nNumbers > 0 && !key.text) {
        m_connection.NeedTransaction();
        if (RowWalk* walk = WalksOf(query, what, key.nNumbers).Begin(key.numbers)) {
            return *walk;
        }
    }
    return Take(query, what, key);
}

Catalogue::StatementRows& Catalogue::Take(Query query, int what, const RowKey& key) {
    m_connection.NeedTransaction();
    if (key.nNumbers == 0 && TableOf(query, what) == Table::Object) {
        WriteObjects();
    }
    auto& pool =
        m_pools[static_cast<std::size_t>(query)][static_cast<std::size_t>(what)][key.Size()];
    if (pool.empty()) {
        pool.push_back(&Make(pool, query, what, key.Size()));
    }
    StatementRows& rows = *pool.back();
    rows.Bind(key);
    pool.pop_back();
    return rows;
}

std::int64_t Catalogue::CountRows(Table table, const RowKey& key) {
    if (!HasTable(table)) {
        return 0;
    }
    WritePendingOf(table);
    StatementRows& rows = Take(Query::Count, static_cast<int>(table), key);
    const Closing closing(rows);
    return rows.Step() ? sqlite3_column_int64(rows.Statement(), 0) : 0;
}

void Catalogue::VerifyValues(Table table, std::size_t most, std::vector<std::string>& problems) {
    WritePendingOf(table);
    StatementRows& rows = Take(Query::Find, static_cast<int>(table), RowKey());
    const Closing closing(rows);
    while (problems.size() < most && rows.Step()) {
        if (const std::string problem = ProblemOfRow(table, ValuesOf(rows.Statement()));
            !problem.empty()) {
            problems.push_back("catalogue.sqlite: " + problem);
        }
    }
}

Catalogue::StatementRows& Catalogue::Make(StatementRows::Pool& home, Query query, int what,
                                          std::size_t nKeys) {
    const AccessPath path = PathOf(query == Query::FindBy, what, m_format);
    const std::size_t nKnown = query == Query::Find ? NumKnown(path.table, nKeys) : 0;
    std::string sql = query == Query::Count ? "SELECT count(*) FROM " + path.stored.name
                                            : SelectRow(path.table, m_format, nKnown);
    sql += Where(path.stored, path.First(nKeys));
    switch (query) {
        case Query::Count:
            break;
        case Query::FindLast:
            sql += " ORDER BY " + List(path.First(path.nOrder), " DESC") + " LIMIT 1";
            break;
        default:
            sql += " ORDER BY " + List(path.First(path.nOrder));
    }
    m_statements.push_back(
        std::make_unique<StatementRows>(m_connection, home, sql, TableOf(query, what), nKnown));
    // Room for every statement that was ever made, so that bringing one back takes no memory.
    home.reserve(home.capacity() + 1);
    return *m_statements.back();
}

RowWalks& Catalogue::MakeWalks(Query query, int what, std::size_t nKeys) {
    const AccessPath path = PathOf(query == Query::FindBy, what, m_format);
    const std::string where = Where(path.stored, {});
    const std::string sql = SelectRow(path.table, m_format) + where +
                            (where.empty() ? " WHERE (" : " AND (") + List(path.First(nKeys)) +
                            ") >= (" + Placeholders(nKeys) + ") ORDER BY " +
                            List(path.First(path.nOrder));
    m_walks.push_back(
        std::make_unique<RowWalks>(RowQuery{m_connection, sql, PlacesOf(path, nKeys),
                                            query == Query::Find, CodecOf(TableOf(query, what))}));
    return *m_walks.back();
}

void Catalogue::LeaveRows() {
    for (const auto& walks : m_walks) {
        walks->Forget();
    }
}

}  // namespace orq::storage
