#include "Schema.h"

#include <algorithm>
#include <array>
#include <memory>
#include <utility>
#include <vector>

#include "ORQBasFailure.h"
#include "PackedDimensions.h"
#include "PackedFields.h"

namespace orq::storage {

namespace {

constexpr std::int64_t kMostInt = std::numeric_limits<int>::max();
// Of numbers of objects and of bytes: sums of some of them still fit 64 bits. No database comes
// near.
constexpr std::int64_t kMostNumber = std::int64_t{1} << 60;

// Those of a data set without any sets have no rows, and take memory all the same.
constexpr std::int64_t kMostCompartments = 1 << 20;

constexpr Column Integer(const char* name, std::int64_t least, std::int64_t most) {
    return {name, Column::Type::Integer, least, most};
}
// The number of an object, a set or a store.
constexpr Column Number(const char* name) {
    return Integer(name, 1, kMostNumber);
}
constexpr Column NumberOrNone(const char* name) {
    return Integer(name, 0, kMostNumber);
}
constexpr Column Count(const char* name) {
    return Integer(name, 0, kMostInt);
}
// A place in a list; there is always one behind it.
constexpr Column Place(const char* name) {
    return Integer(name, 0, kMostInt - 1);
}
constexpr Column Int32(const char* name) {
    return Integer(name, std::numeric_limits<int>::min(), kMostInt);
}
constexpr Column Bits(const char* name) {
    return Integer(name, std::numeric_limits<std::int64_t>::min(),
                   std::numeric_limits<std::int64_t>::max());
}
constexpr Column Text(const char* name) {
    return {name, Column::Type::Text};
}
constexpr Column Blob(const char* name, int since = kOldestFormatVersion) {
    return {name, Column::Type::Blob, 0, 0, since};
}

#define ORQ_TARGET                                                                   \
    Number("target_object"), Integer("target_category", 1, 7), Int32("target_type"), \
        Count("target_index")
// How a set of member numbers is written down, see ComponentSet.
#define ORQ_MEMBERS                                                                         \
    Integer("form", 0, 3), Int32("first"), Count("count"), Int32("stride"), Int32("block"), \
        NumberOrNone("store"), Blob("members")

// The rows of table field as one value; see EarlyRows.
constexpr const char* kPackedBefore3 =
    "(SELECT pack_fields(number, kind, value) FROM field WHERE field.object = object.id)";
// The rows of table drawer_dimension as one value; likewise.
constexpr const char* kPackedBefore4 =
    "(SELECT pack_dimensions(dimension, set_id, chunk, drawer.extendable) FROM drawer_dimension AS "
    "d "
    "WHERE d.distribution = drawer.distribution AND d.drawer = drawer.number)";
constexpr const char* kCountBefore4 =
    "(SELECT count(*) FROM drawer WHERE drawer.distribution = distribution.object)";

constexpr Column Kind(int most) {
    return Integer("kind", 0, most);
}

// Links by a number: an object to its children by member, and to the entries of a vector by place.
const SharedTable kLinks{
    "link", 4, {Kind(1), Number("object"), Int32("slot"), Int32("key"), ORQ_TARGET}};
// Texts: the names of an object by slot, and the labels of a table by axis and place.
const SharedTable kTexts{
    "text", 4, {Kind(1), Number("object"), Int32("slot"), Place("place"), Text("text")}};
// What a data set consists of: its distribution, the drawers of that, and sets.
const SharedTable kDataSets{"data_set_part",
                            4,
                            {Kind(2), Number("object"), Place("place"), Place("dimension"),
                             Count("target_index"), NumberOrNone("target_object")}};

// Names and order are stored, do not change.
const std::array<TableShape, static_cast<std::size_t>(Table::Count)> kTables = {{
    {"state",
     1,
     {Integer("id", 0, 0), Count("format"), Blob("identity"), Number("generation"),
      Integer("next_object", 1, 2 * kMostNumber), Integer("next_set", 1, kMostInt),
      Number("bulk_end")}},
    {"object",
     1,
     {Number("id"),
      Int32("type"),
      Integer("category", 1, 7),
      {"fields", Column::Type::Fields, 0, 0, 3, kPackedBefore3}},
     nullptr,
     {},
     kFormatVersion,
     3},
    {"collection", 1, {Number("object"), Count("space")}},
    {"member", 2, {Number("collection"), Place("member"), Number("object")}},
    {"symbol",
     3,
     {Number("collection"), Int32("type"), Place("place"), Text("name"), Number("object")}},
    {"name",
     2,
     {Number("object"), Int32("slot"), Text("text")},
     &kTexts,
     {{.place = 0, .value = 0}, {.place = 3, .value = 0}}},
    {"child",
     3,
     {Number("object"), Int32("slot"), Int32("member"), ORQ_TARGET},
     &kLinks,
     {{.place = 0, .value = 0}}},
    {"map_entry", 3, {Number("object"), Int32("slot"), Text("name"), ORQ_TARGET}},
    {"vector_entry",
     3,
     {Number("object"), Int32("slot"), Place("place"), ORQ_TARGET},
     &kLinks,
     {{.place = 0, .value = 1}}},
    {"set_entry", 6, {Number("object"), Int32("slot"), ORQ_TARGET}},
    {"field",
     2,
     {Number("object"),
      Count("number"),
      Integer("kind", 1, 5),
      {"value", Column::Type::Any, std::numeric_limits<int>::min(), kMostInt}},
     nullptr,
     {},
     2},
    {"component_set",
     1,
     {Integer("id", 1, kMostInt), Number("collection"), Bits("hash"), ORQ_MEMBERS}},
    {"distribution",
     1,
     {Number("object"),
      Integer("scalar", 1, 6),
      NumberOrNone("range_collection"),
      Blob("grid"),
      {"n_drawers", Column::Type::Integer, 0, kMostInt, kSmallDrawersSince, kCountBefore4}}},
    {"drawer",
     2,
     {Number("distribution"),
      Integer("number", 1, kMostInt),
      Integer("layout", 0, 2),
      Integer("extendable", -1, kMostInt),
      Count("n_rows"),
      Number("store"),
      {"dimensions", Column::Type::Dimensions, 0, 0, kSmallDrawersSince, kPackedBefore4}}},
    {"drawer_dimension",
     3,
     {Number("distribution"), Integer("drawer", 1, kMostInt), Place("dimension"), Count("set_id"),
      Count("chunk")},
     nullptr,
     {},
     kSmallDrawersSince - 1},
    {"drawer_segment",
     3,
     {Number("distribution"), Integer("drawer", 1, kMostInt), Count("first_row"), ORQ_MEMBERS}},
    {"data_set",
     1,
     {Number("object"), NumberOrNone("distribution")},
     &kDataSets,
     {{.place = 0, .value = 0},
      {.place = 2, .value = 0},
      {.place = 3, .value = 0},
      {.place = 4, .value = 0}}},
    {"compartment",
     3,
     {Number("data_set"), Integer("place", 0, kMostCompartments), Place("dimension"),
      Count("set_id"), Number("set_collection")},
     &kDataSets,
     {{.place = 0, .value = 2}}},
    {"data_set_drawer",
     2,
     {Number("data_set"), Place("place"), Integer("drawer", 1, kMostInt)},
     &kDataSets,
     {{.place = 0, .value = 1}, {.place = 3, .value = 0}, {.place = 5, .value = 0}}},
    {"f_table", 1, {Number("object"), Count("n_rows"), Count("n_columns"), NumberOrNone("store")}},
    {"f_table_label",
     3,
     {Number("object"), Integer("axis", 0, 1), Place("place"), Text("text")},
     &kTexts,
     {{.place = 0, .value = 1}}},
    {"extent",
     3,
     {Number("store"), Integer("part", 0, 2), Place("chunk"), NumberOrNone("offset"),
      NumberOrNone("capacity"), Number("length"), Blob("checksums"),
      Blob("small", kSmallChunksSince)}},
    {"small_chunk",
     1,
     {Number("store"), Blob("bytes")},
     nullptr,
     {},
     kFormatVersion,
     kSmallDrawersSince,
     kSmallDrawersSince},
    {"free_extent", 1, {Number("offset"), Number("length"), NumberOrNone("generation")}},
}};

// With the category, though no query needs it: the index then holds all of a row but the
// target's type, from which Salvage makes rows again that were lost with their page.
#define ORQ_TARGET_COLUMNS "target_object", "target_index", "slot", "target_category"

const std::array<IndexShape, static_cast<std::size_t>(Index::Count)> kIndices = {{
    {"member_by_object", Table::Member, {"object", "collection"}},
    {"symbol_by_name", Table::Symbol, {"collection", "type", "name"}},
    {"symbol_by_object", Table::Symbol, {"object"}},
    {"child_by_target", Table::Child, {ORQ_TARGET_COLUMNS}, "link_by_target"},
    {"map_entry_by_target", Table::MapEntry, {ORQ_TARGET_COLUMNS}},
    {"vector_entry_by_target", Table::VectorEntry, {ORQ_TARGET_COLUMNS}, "link_by_target"},
    {"set_entry_by_target", Table::SetEntry, {"target_object", "target_index", "slot"}},
    {"component_set_by_hash", Table::ComponentSet, {"collection", "hash"}},
}};

std::string Equation(const TableShape& table, const FixedColumn& fixed, const char* equals) {
    return (table.shared->columns.begin() + fixed.place)->name + std::string(equals) +
           std::to_string(fixed.value);
}

// Whether the words INTEGER are left out: they say nothing that matters to SQLite, and take their
// bytes in every database.
bool HasShortTexts(int format) {
    return format >= kSharedTablesSince;
}

std::string_view Declared(Column::Type type, bool isShort) {
    constexpr std::array<std::string_view, 6> kWords = {" INTEGER", " TEXT", " BLOB",
                                                        " BLOB",    " BLOB", ""};
    return type == Column::Type::Integer && isShort ? "" : kWords[static_cast<std::size_t>(type)];
}

std::string SqlOf(const char* name, std::span<const Column> columns, int nKeys, bool isShort) {
    std::string sql = std::string("CREATE TABLE ") + name + "(";
    std::string keys;
    for (const Column& column : columns) {
        sql += std::string(column.name) + std::string(Declared(column.type, isShort)) + ", ";
        if (nKeys-- > 0) {
            keys += std::string(keys.empty() ? "" : ", ") + column.name;
        }
    }
    return sql + "PRIMARY KEY(" + keys + ")) WITHOUT ROWID";
}

std::string SqlOf(const TableShape& table, int format) {
    if (table.IsByRowNumber(format)) {
        std::string sql = std::string("CREATE TABLE ") + table.name + "(";
        for (const Column& column : table.Columns(format)) {
            const bool isKey = &column == table.columns.begin();
            sql += (isKey ? "" : ", ") + std::string(column.name) +
                   std::string(Declared(column.type, !isKey && HasShortTexts(format))) +
                   (isKey ? " PRIMARY KEY" : "");
        }
        return sql + ")";
    }
    // That of the state is the same in all versions.
    return SqlOf(table.name, table.Columns(format), table.nKeys,
                 HasShortTexts(format) && &table != &Shape(Table::State));
}

std::string SqlOf(const IndexShape& index, std::span<const char* const> columns, int format) {
    const TableShape& table = Shape(index.table);
    std::string sql = std::string("CREATE INDEX ") + index.NameIn(format) + " ON " +
                      StoredIn(table, format).name + "(";
    if (table.IsShared(format)) {
        sql += std::string(table.shared->columns.begin()->name) + ", ";
    }
    for (const char* column : columns) {
        sql += std::string(column == columns.front() ? "" : ", ") + column;
    }
    return sql + ")";
}

// As early versions made it, which is the same but for indices of links.
std::string EarlySqlOf(const IndexShape& index, int format) {
    std::span<const char* const> columns = index.columns;
    const bool hasCategory = std::string_view(columns.back()) == "target_category";
    return SqlOf(index, hasCategory ? columns.first(columns.size() - 1) : columns, format);
}

// For readers without this library, see docs/storage-format.md. Databases of format 1 lack it.
constexpr const char* kMeanings = "schema";
constexpr const char* kMeaningsSql =
    "CREATE TABLE schema(number INTEGER PRIMARY KEY, name TEXT, meaning TEXT)";
constexpr const char* kMeaningsSqlBefore5 =
    "CREATE TABLE schema(number INTEGER, name TEXT, meaning TEXT, PRIMARY KEY(number)) WITHOUT "
    "ROWID";

// What a catalogue of ours may have of a name: either of the texts.
struct Expected {
    std::string type;
    std::string name;
    std::string table;
    std::string sql;
    std::string earlySql;
};

// What the schema of a version of the format has.
class ExpectedSchema {
  public:
    static const ExpectedSchema& Of(int format) {
        static const auto& schemas = *new const std::array<ExpectedSchema, kFormatVersion>([] {
            std::array<ExpectedSchema, kFormatVersion> all;
            for (int version = kOldestFormatVersion; version <= kFormatVersion; ++version) {
                all[Place(version)].Make(version);
            }
            return all;
        }());
        return schemas[Place(format)];
    }

    const std::vector<Expected>& All() const { return m_all; }
    // The place of a name; behind the end where it is none of ours. Rows come in the order in which
    // they were made, so row `nth` is mostly the nth expected one.
    std::size_t Find(std::string_view name, std::size_t nth) const {
        if (nth < m_all.size() && m_all[nth].name == name) {
            return nth;
        }
        return static_cast<std::size_t>(std::ranges::find(m_all, name, &Expected::name) -
                                        m_all.begin());
    }

  private:
    static constexpr std::size_t Place(int format) {
        return static_cast<std::size_t>(format - kOldestFormatVersion);
    }

    void Make(int format) {
        for (const TableShape& table : kTables) {
            if (table.IsShared(format)) {
                const SharedTable& shared = *table.shared;
                AddOnce("table", shared.name, shared.name,
                        SqlOf(shared.name, shared.columns, shared.nKeys, HasShortTexts(format)));
            } else if (table.IsIn(format)) {
                AddOnce("table", table.name, table.name, SqlOf(table, format));
            }
        }
        for (const IndexShape& index : kIndices) {
            AddOnce("index", index.NameIn(format), StoredIn(Shape(index.table), format).name,
                    SqlOf(index, index.columns, format), EarlySqlOf(index, format));
        }
        // Last, so that all else lies in the pages in which it always lay.
        AddOnce("table", kMeanings, kMeanings,
                HasShortTexts(format) ? kMeaningsSql : kMeaningsSqlBefore5);
    }

    void AddOnce(const char* type, const std::string& name, const std::string& table,
                 const std::string& sql, const std::string& earlySql = "") {
        if (Find(name, m_all.size()) == m_all.size()) {
            m_all.push_back({type, name, table, sql, earlySql.empty() ? sql : earlySql});
        }
    }

    std::vector<Expected> m_all;
};

std::string Shortened(std::string_view text) {
    constexpr std::size_t kMost = 40;
    return std::string(text.substr(0, kMost)) + (text.size() > kMost ? "..." : "");
}

std::string Show(const Value& value) {
    struct Words {
        std::string operator()(std::nullptr_t) const { return "no value"; }
        std::string operator()(std::int64_t number) const { return std::to_string(number); }
        std::string operator()(double number) const {
            return "the real number " + std::to_string(number);
        }
        std::string operator()(std::string_view text) const {
            return "the text \"" + Shortened(text) + "\"";
        }
        std::string operator()(std::span<const std::byte> bytes) const {
            return std::to_string(bytes.size()) + " bytes";
        }
    };
    return std::visit(Words(), value);
}

// What a column takes, in words; empty where it takes the value.
std::string Wanted(const Column& column, const Value& value) {
    switch (column.type) {
        case Column::Type::Integer:
            if (const auto* number = std::get_if<std::int64_t>(&value);
                number == nullptr || !column.MayBe(*number)) {
                return "a whole number from " + std::to_string(column.least) + " to " +
                       std::to_string(column.most);
            }
            return "";
        case Column::Type::Text:
            return std::holds_alternative<std::string_view>(value) ? "" : "a text";
        case Column::Type::Blob:
            return std::holds_alternative<std::span<const std::byte>>(value) ? "" : "bytes";
        case Column::Type::Fields:
            if (const auto* bytes = std::get_if<std::span<const std::byte>>(&value);
                bytes == nullptr || !ArePackedFields(*bytes)) {
                return "packed fields";
            }
            return "";
        case Column::Type::Dimensions:
            if (const auto* bytes = std::get_if<std::span<const std::byte>>(&value);
                bytes == nullptr || !ArePackedDimensions(*bytes)) {
                return "packed dimensions";
            }
            return "";
        default:
            return std::holds_alternative<std::nullptr_t>(value) ? "a value" : "";
    }
}

// Of the field table: the value is of the kind that the row says.
Column ColumnOfKind(std::int64_t kind) {
    switch (static_cast<FieldKind>(kind)) {
        case FieldKind::Doubles:
            return Blob("value");
        case FieldKind::String:
            return Text("value");
        default:
            return Int32("value");
    }
}

}  // namespace

const char* NameOf(Table table) {
    return Shape(table).name;
}

const TableShape& Shape(Table table) {
    return kTables[static_cast<std::size_t>(table)];
}

const IndexShape& Shape(Index index) {
    return kIndices[static_cast<std::size_t>(index)];
}

std::span<const Column> TableShape::Columns(int format) const {
    const auto* const end =
        std::ranges::find_if(columns, [&](const Column& column) { return column.since > format; });
    return {columns.begin(), end};
}

Value NothingIn(Column::Type type) {
    switch (type) {
        case Column::Type::Text:
            return std::string_view();
        case Column::Type::Blob:
        case Column::Type::Fields:
        case Column::Type::Dimensions:
            return std::span<const std::byte>();
        default:
            return std::int64_t{0};
    }
}

StoredTable StoredIn(const TableShape& table, int format) {
    StoredTable stored{table.name, {}, "", ""};
    if (!table.IsShared(format)) {
        for (const Column& column : table.columns) {
            stored.columns.push_back(column.name);
            stored.values += column.since > format ? "" : stored.values.empty() ? "?" : ",?";
        }
        return stored;
    }
    stored.name = table.shared->name;
    stored.condition = Equation(table, *table.fixed.begin(), " = ");
    for (std::size_t place = 0; place < table.shared->columns.size(); ++place) {
        const auto* fixed = std::ranges::find(table.fixed, place, &FixedColumn::place);
        stored.values += stored.values.empty() ? "" : ",";
        if (fixed != table.fixed.end()) {
            stored.values += std::to_string(fixed->value);
        } else {
            stored.values += "?";
            stored.columns.push_back((table.shared->columns.begin() + place)->name);
        }
    }
    return stored;
}

std::string SelectRow(const TableShape& table, int format, std::size_t nLeftOut) {
    constexpr std::array kNothing = {"0", "''", "x''", "x''", "x''", "0"};  // by type
    const StoredTable stored = StoredIn(table, format);
    std::string sql;
    for (std::size_t i = nLeftOut; i < stored.columns.size(); ++i) {
        const Column& column = *(table.columns.begin() + i);
        sql += sql.empty() ? "SELECT " : ", ";
        if (column.since <= format) {
            sql += stored.columns[i];
        } else {
            sql += column.before != nullptr ? column.before
                                            : kNothing[static_cast<std::size_t>(column.type)];
        }
    }
    return sql + " FROM " + stored.name;
}

std::vector<std::string> CountsOfForeignRows() {
    std::vector<std::string> queries;
    for (const SharedTable* shared : {&kLinks, &kTexts, &kDataSets}) {
        std::string isOfOne;
        for (const TableShape& table : kTables) {
            if (table.shared == shared) {
                std::string isOfThis;
                for (const FixedColumn& fixed : table.fixed) {
                    // 1.0 is 1 to SQLite, too.
                    isOfThis += (isOfThis.empty() ? "typeof(" : " AND typeof(") +
                                std::string((shared->columns.begin() + fixed.place)->name) +
                                ") = 'integer' AND " + Equation(table, fixed, " IS ");
                }
                isOfOne += (isOfOne.empty() ? "" : " OR ") + isOfThis;
            }
        }
        queries.push_back(std::string("SELECT '") + shared->name + "', count(*) FROM " +
                          shared->name + " WHERE NOT (" + isOfOne + ")");
    }
    return queries;
}

void CreateSchema(Connection& connection, int format) {
    for (const Expected& made : ExpectedSchema::Of(format).All()) {
        connection.Execute(made.sql.c_str());
    }
}

void Describe(Connection& connection, std::span<const NumberMeaning> meanings) {
    const std::unique_ptr<sqlite3_stmt, decltype(&sqlite3_finalize)> insert(
        connection.Prepare("INSERT INTO schema VALUES(?, ?, ?)"), sqlite3_finalize);
    for (const NumberMeaning& meaning : meanings) {
        BindKey(insert.get(), 1, meaning.number);
        BindKey(insert.get(), 2, meaning.name);
        BindKey(insert.get(), 3, meaning.meaning);
        if (const int code = sqlite3_step(insert.get()); code != SQLITE_DONE) {
            connection.Fail(code, "write what numbers stand for");
        }
        sqlite3_reset(insert.get());
    }
}

namespace {

constexpr const char* kSchemaQuery =
    "SELECT type, name, tbl_name, rootpage, sql FROM sqlite_schema";

// One row of a catalogue's schema.
struct SchemaRow {
    explicit SchemaRow(const std::vector<Value>& row)
        : type(Text(row[0])), name(Text(row[1])), table(Text(row[2])), sql(Text(row[4])) {
        const auto* held = std::get_if<std::int64_t>(&row[3]);
        root = held == nullptr ? 0 : *held;
    }
    bool IsAsMade(const Expected& expected) const {
        return type == expected.type && name == expected.name && table == expected.table &&
               (sql == expected.sql || sql == expected.earlySql) && root > 0;
    }

    std::string_view type;
    std::string_view name;
    std::string_view table;
    std::string_view sql;
    std::int64_t root;

  private:
    static std::string_view Text(const Value& value) {
        const auto* held = std::get_if<std::string_view>(&value);
        return held == nullptr ? std::string_view() : *held;
    }
};

[[noreturn]] void FailSchema(const Connection& connection, const std::string& text) {
    connection.FailDamaged("its schema is not that of a model database: " + text);
}

std::string ProblemOf(const SchemaRow& row, bool isKnown) {
    return Shortened(row.type) + " " + Shortened(row.name) +
           (isKnown ? " is not as it was made" : " is none of a model's");
}

// The first thing that is not as a version of the format makes it; empty when nothing is.
std::string ProblemOfSchema(Connection& connection, int format) {
    const ExpectedSchema& expected = ExpectedSchema::Of(format);
    std::string problem;
    std::vector<std::int64_t> roots;
    std::vector<bool> found(expected.All().size());
    connection.ForEachRow(kSchemaQuery, [&](const std::vector<Value>& values) {
        if (!problem.empty()) {
            return;
        }
        const SchemaRow row(values);
        const std::size_t place = expected.Find(row.name, roots.size());
        const bool isKnown = place < found.size();
        if (!isKnown || found[place] || !row.IsAsMade(expected.All()[place]) ||
            std::ranges::count(roots, row.root) > 0) {
            problem = ProblemOf(row, isKnown);
            return;
        }
        found[place] = true;
        roots.push_back(row.root);
    });
    for (std::size_t place = 0; place < found.size() && problem.empty(); ++place) {
        const std::string& name = expected.All()[place].name;
        if (!found[place] && name != kMeanings) {
            problem = name + " is missing";
        }
    }
    return problem;
}

}  // namespace

void CheckStateTable(Connection& connection) {
    const Expected& expected = ExpectedSchema::Of(kFormatVersion).All().front();
    bool isFound = false;
    // Only its own row: all others are read when the version is known.
    const std::string query = kSchemaQuery + (" WHERE name = '" + expected.name + "'");
    connection.ForEachRow(query.c_str(), [&](const std::vector<Value>& values) {
        const SchemaRow row(values);
        isFound = true;
        if (!row.IsAsMade(expected)) {
            FailSchema(connection, ProblemOf(row, true));
        }
    });
    if (!isFound) {
        FailSchema(connection, expected.name + " is missing");
    }
}

bool HasSchemaOf(Connection& connection, int format) {
    return ProblemOfSchema(connection, format).empty();
}

void CheckSchema(Connection& connection, int format) {
    if (const std::string problem = ProblemOfSchema(connection, format); !problem.empty()) {
        FailSchema(connection, problem);
    }
}

std::string ProblemOfRow(Table table, std::span<const Value> row) {
    const TableShape& shape = Shape(table);
    for (std::size_t i = 0; i < row.size(); ++i) {
        Column column = *(shape.columns.begin() + i);
        if (table == Table::Field && column.type == Column::Type::Any) {
            column = ColumnOfKind(std::get<std::int64_t>(row[i - 1]));
        }
        const std::string wanted = Wanted(column, row[i]);
        if (wanted.empty()) {
            continue;
        }
        std::string text = std::string("table ") + shape.name + ", row (";
        for (std::size_t key = 0; key < static_cast<std::size_t>(shape.nKeys); ++key) {
            text += (key == 0 ? "" : ", ") + Show(row[key]);
        }
        return text + "): column " + column.name + " is " + Show(row[i]) + ", not " + wanted;
    }
    return "";
}

}  // namespace orq::storage
