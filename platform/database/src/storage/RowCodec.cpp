#include "RowCodec.h"

#include <array>
#include <cstddef>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "PackedDimensions.h"
#include "PackedFields.h"
#include "Schema.h"

namespace orq::storage {

namespace {

[[noreturn]] void Refuse(const Connection& connection, sqlite3_stmt* statement,
                         const RowCodec::Known& known, Table table) {
    std::vector<Value> values(known.numbers.begin(), known.numbers.end());
    const std::vector<Value> read = ValuesOf(statement);
    values.insert(values.end(), read.begin() + known.next, read.end());
    const std::string problem = ProblemOfRow(table, values);
    connection.FailDamaged(problem.empty() ? std::string("table ") + NameOf(table) +
                                                 ": a value is not of its kind"
                                           : problem);
}

// Reads one column after the other. A value is taken by its pointer: each look at a column of a
// statement locks the connection, and this is a tenth of what finding a row costs.
class ColumnReader {
  public:
    ColumnReader(const Connection& connection, sqlite3_stmt* statement,
                 const RowCodec::Known& known, Table table)
        : m_connection(connection),
          m_statement(statement),
          m_known(known),
          m_table(table),
          m_column(Shape(table).columns.begin()) {}

    void Read(std::int64_t& number) { number = IsKnown() ? TakeKnown() : Integer(Next()); }
    void Read(int& number) { number = IsKnown() ? static_cast<int>(TakeKnown()) : Int(Next()); }
    void Read(std::string_view& text) { text = Text(Next()); }
    void Read(Bytes& bytes) { bytes = Blob(Next()); }
    void Read(FieldValue& value) {
        sqlite3_value* held = Next();
        switch (sqlite3_value_type(held)) {
            case SQLITE_TEXT:
                value = Text(held);
                break;
            case SQLITE_BLOB:
                value = Blob(held);
                break;
            default:
                value = Int(held);
        }
    }
    [[noreturn]] void RefuseRow() const { Refuse(m_connection, m_statement, m_known, m_table); }

  private:
    bool IsKnown() const { return m_number < m_known.numbers.size(); }
    std::int64_t TakeKnown() { return m_known.numbers[m_number++]; }
    sqlite3_value* Next() {
        ++m_number;
        return sqlite3_column_value(m_statement, m_next++);
    }
    const Column& Present() const { return m_column[m_number - 1]; }
    void Require(bool holds) const {
        if (!holds) {
            RefuseRow();
        }
    }

    std::int64_t Integer(sqlite3_value* held) const {
        const std::int64_t number = sqlite3_value_int64(held);
        Require(sqlite3_value_type(held) == SQLITE_INTEGER && Present().MayBe(number));
        return number;
    }
    int Int(sqlite3_value* held) const {
        const std::int64_t number = Integer(held);
        Require(number == static_cast<int>(number));
        return static_cast<int>(number);
    }
    // As it lies there: to end it with a zero byte SQLite takes memory, and returns nothing where
    // there is none.
    std::string_view Text(sqlite3_value* held) const {
        Require(sqlite3_value_type(held) == SQLITE_TEXT);
        return {static_cast<const char*>(sqlite3_value_blob(held)),
                static_cast<std::size_t>(sqlite3_value_bytes(held))};
    }
    Bytes Blob(sqlite3_value* held) const {
        Require(sqlite3_value_type(held) == SQLITE_BLOB);
        const Bytes bytes = {static_cast<const std::byte*>(sqlite3_value_blob(held)),
                             static_cast<std::size_t>(sqlite3_value_bytes(held))};
        Require(Present().type != Column::Type::Fields || ArePackedFields(bytes));
        Require(Present().type != Column::Type::Dimensions || ArePackedDimensions(bytes));
        return bytes;
    }

    const Connection& m_connection;
    sqlite3_stmt* m_statement;
    const RowCodec::Known& m_known;
    Table m_table;
    const Column* m_column;
    std::size_t m_number = 0;  // of columns that were read
    int m_next = m_known.next;
};

bool IsOfItsKind(const FieldRow& row) {
    switch (static_cast<FieldKind>(row.kind)) {
        case FieldKind::Doubles:
            return std::holds_alternative<Bytes>(row.value);
        case FieldKind::String:
            return std::holds_alternative<std::string_view>(row.value);
        default:
            return std::holds_alternative<int>(row.value);
    }
}

template <class Row>
void ReadAs(const Connection& connection, sqlite3_stmt* statement, const RowCodec::Known& known,
            void* to) {
    ColumnReader reader(connection, statement, known, Row::kTable);
    Row& row = *static_cast<Row*>(to);
    std::apply([&](auto&... values) { (reader.Read(values), ...); }, Row::Columns(row));
    if constexpr (std::is_same_v<Row, FieldRow>) {
        if (!IsOfItsKind(row)) {
            reader.RefuseRow();
        }
    }
}

int Bind(sqlite3_stmt* statement, int index, const FieldValue& value) {
    return std::visit([&](const auto& held) { return BindValue(statement, index, held); }, value);
}
template <class T>
int Bind(sqlite3_stmt* statement, int index, const T& value) {
    return BindValue(statement, index, value);
}

template <class Row>
void BindAs(const Connection& connection, sqlite3_stmt* statement, const void* from, int place,
            int nColumns, const void* boundBefore) {
    const int last = place + nColumns;
    const auto bind = [&]<class T>(const T& value, const T& before) {
        if (place == last) {
            return;
        }
        ++place;
        if constexpr (std::is_integral_v<T>) {
            if (boundBefore != nullptr && value == before) {
                return;
            }
        }
        connection.Check(Bind(statement, place, value), "bind a value");
    };
    const auto columns = Row::Columns(*static_cast<const Row*>(from));
    const auto before =
        Row::Columns(*static_cast<const Row*>(boundBefore != nullptr ? boundBefore : from));
    [&]<std::size_t... kColumns>(std::index_sequence<kColumns...>) {
        (bind(std::get<kColumns>(columns), std::get<kColumns>(before)), ...);
    }
    (std::make_index_sequence<std::tuple_size_v<decltype(columns)>>());
}

using Codecs = std::array<RowCodec, static_cast<std::size_t>(Table::Count)>;

template <class... Rows>
constexpr Codecs MakeCodecs() {
    static_assert(sizeof...(Rows) == static_cast<std::size_t>(Table::Count));
    Codecs codecs{};
    ((codecs[static_cast<std::size_t>(Rows::kTable)] = {ReadAs<Rows>, BindAs<Rows>}), ...);
    return codecs;
}

constexpr Codecs kCodecs =
    MakeCodecs<StateRow, ObjectRow, CollectionRow, MemberRow, SymbolRow, NameRow, ChildRow,
               MapEntryRow, VectorEntryRow, SetEntryRow, FieldRow, ComponentSetRow, DistributionRow,
               DrawerRow, DrawerDimensionRow, DrawerSegmentRow, DataSetRow, CompartmentRow,
               DataSetDrawerRow, FTableRow, FTableLabelRow, ExtentRow, SmallChunkRow,
               FreeExtentRow>();

}  // namespace

const RowCodec& CodecOf(Table table) {
    return kCodecs[static_cast<std::size_t>(table)];
}

}  // namespace orq::storage
