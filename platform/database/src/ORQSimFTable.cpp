#include "ORQSimFTable.h"

#include <span>
#include <string>

#include "DatabaseState.h"
#include "FTableData.h"
#include "FlatArray.h"
#include "ORQBasFailure.h"

using orq::database::DatabaseState;
using orq::storage::FTableLabelRow;
using orq::storage::FTableRow;

namespace {

// Axes of labels; stored, do not change.
constexpr int kRowAxis = 0;
constexpr int kColumnAxis = 1;

void PutLabels(DatabaseState& state, std::int64_t table, int axis, int firstPlace,
               const ORQBasVector<ORQString>& labels) {
    for (const ORQString& label : labels) {
        state.Rows().Insert(FTableLabelRow{table, axis, firstPlace++, label.UTF8()});
    }
}

ORQString Label(const ORQSimFTableID& id, int axis, int place) {
    DatabaseState* state = DatabaseState::Reading(id);
    if (state == nullptr) {
        return {};
    }
    auto row = state->Rows().Find<FTableLabelRow>(id.MinorID(), axis, place);
    return row.Next() ? ORQString(row->text) : ORQString();
}

FTableRow RowOf(const ORQSimFTableID& id) {
    DatabaseState* state = DatabaseState::Reading(id);
    if (state == nullptr) {
        return {};
    }
    auto row = state->Rows().Find<FTableRow>(id.MinorID());
    return row.Next() ? *row : FTableRow();
}

}  // namespace

namespace orq::database {

ORQSimDynamicID CreateFTable(DatabaseState& state, int type, int rows,
                             const ORQBasVector<ORQString>& rowLabels,
                             const ORQBasVector<ORQString>& columnLabels, const double* data,
                             int count) {
    if (rows < 0 || count < 0 || (rows == 0 ? count != 0 : count % rows != 0)) {
        ORQBasThrowUsage("a table of " + std::to_string(rows) + " rows cannot hold " +
                         std::to_string(count) + " values in rows of equal length");
    }
    const int columns = rows == 0 ? columnLabels.Size() : count / rows;
    if (columnLabels.Size() > columns || rowLabels.Size() > rows) {
        ORQBasThrowUsage("a table of " + std::to_string(rows) + " rows and " +
                         std::to_string(columns) + " columns cannot have " +
                         std::to_string(rowLabels.Size()) + " row labels and " +
                         std::to_string(columnLabels.Size()) + " column labels");
    }
    const ORQSimDynamicID id = state.Objects().New(type, ORQSimCategoryFTable);
    state.Rows().Insert(FTableRow{id.MinorID(), rows, columns, id.MinorID()});
    PutLabels(state, id.MinorID(), kRowAxis, 0, rowLabels);
    PutLabels(state, id.MinorID(), kColumnAxis, columns - columnLabels.Size(), columnLabels);
    PutFlatArray(state.Chunks(), id.MinorID(), 0,
                 std::as_bytes(std::span(data, static_cast<std::size_t>(count))));
    return id;
}

}  // namespace orq::database

int ORQSimFTable::RowCount() const {
    return RowOf(m_id).nRows;
}
int ORQSimFTable::ColumnCount() const {
    return RowOf(m_id).nColumns;
}
ORQString ORQSimFTable::ColumnLabel(int column) const {
    return Label(m_id, kColumnAxis, column);
}
ORQString ORQSimFTable::RowLabel(int row) const {
    return Label(m_id, kRowAxis, row);
}

void ORQSimFTable::GetData(double* values, int count) const {
    GetData(values, 0, count);
}

void ORQSimFTable::GetData(double* values, int first, int count) const {
    const FTableRow shape = RowOf(m_id);
    const std::int64_t present = std::int64_t{shape.nRows} * shape.nColumns;
    if (first < 0 || count < 0 || std::int64_t{first} + count > present) {
        ORQBasThrowUsage("a table of " + std::to_string(present) + " values was asked for " +
                         std::to_string(count) + " from place " + std::to_string(first) + " on");
    }
    if (count == 0) {
        return;
    }
    DatabaseState& state = *DatabaseState::Reading(m_id);
    if (!orq::database::GetFlatArray(
            state.Chunks(), m_id.MinorID(), 0, first * static_cast<std::int64_t>(sizeof(double)),
            std::as_writable_bytes(std::span(values, static_cast<std::size_t>(count))))) {
        throw ORQBasFailure(ORQBasFailureKind::Damaged,
                            state.ShownPath() + ": the values of table " +
                                std::to_string(m_id.MinorID()) + " are incomplete");
    }
}
