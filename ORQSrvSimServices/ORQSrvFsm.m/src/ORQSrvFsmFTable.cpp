#include "ORQSrvFsmFTable.h"

#include "ORQSimSchema.h"
#include "ORQSrvOwnedArray.h"
#include "ORQSrvTableSize.h"

namespace {

constexpr const char* kTemperature = "Temperature";
constexpr const char* kFieldPrefix = "Field_";

void AppendDependencies(ORQBasVector<ORQString>& labels, int fieldVariables,
                        bool temperatureDependent) {
    if (temperatureDependent) {
        labels.PushBack(kTemperature);
    }
    for (int i = 0; i < fieldVariables; ++i) {
        labels.PushBack(ORQString(kFieldPrefix).Append(i));
    }
}

// -1 when no column has the label.
int ColumnOf(const ORQSimFTable& table, const ORQString& label) {
    for (int column = 0; column < table.ColumnCount(); ++column) {
        if (table.ColumnLabel(column) == label) {
            return column;
        }
    }
    return -1;
}

}  // namespace

// --- Making --------------------------------------------------------------------------------------

void ORQSrvFsmFTable::CreateTable(ORQSimPosition& owner, int tableType, int rows, int valuesPerRow,
                                  int linkType, const double* data, int fieldVariables,
                                  bool temperatureDependent) {
    CreateTable(owner, tableType, rows, valuesPerRow, {}, {}, linkType, data, fieldVariables,
                temperatureDependent);
}

void ORQSrvFsmFTable::CreateTable(ORQSimPosition& owner, int tableType, int rows, int valuesPerRow,
                                  const ORQBasVector<ORQString>& rowLabels,
                                  const ORQBasVector<ORQString>& columnLabels, int linkType,
                                  const double* data, int fieldVariables,
                                  bool temperatureDependent) {
    ORQBasVector<ORQString> labels = columnLabels;
    AppendDependencies(labels, fieldVariables, temperatureDependent);
    const int count = ORQSrvTableSize(rows, valuesPerRow);
    if (count != 0) {
        LinkFrom(owner, linkType,
                 owner.CreateFTable(tableType, rows, rowLabels, labels, data, count));
    }
}

void ORQSrvFsmFTable::CreateSimpleTable(ORQSimPosition& owner, int rows, int valuesPerRow,
                                        int linkType, const double* data) {
    CreateSimpleTable(owner, rows, valuesPerRow, {}, {}, linkType, data);
}

void ORQSrvFsmFTable::CreateSimpleTable(ORQSimPosition& owner, int rows, int valuesPerRow,
                                        const ORQBasVector<ORQString>& rowLabels,
                                        const ORQBasVector<ORQString>& columnLabels, int linkType,
                                        const double* data) {
    const int count = ORQSrvTableSize(rows, valuesPerRow);
    if (count != 0) {
        LinkFrom(owner, linkType,
                 owner.CreateSimpleFTable(rows, rowLabels, columnLabels, data, count));
    }
}

void ORQSrvFsmFTable::LinkFrom(ORQSimPosition& owner, int linkType, const ORQSimPosition& table) {
    m_table = table;
    owner.SetPosition(linkType, table);
}

// --- Reading -------------------------------------------------------------------------------------

ORQSimFTable ORQSrvFsmFTable::Table() const {
    const ORQSimFTableID own = m_table.GetFTable();
    return ORQSimFTable(own.IsNull() ? m_table.GetPosition(ORQSimSchema::Field_fTable).GetFTable()
                                     : own);
}

int ORQSrvFsmFTable::NumOfRows() const {
    return Table().RowCount();
}

int ORQSrvFsmFTable::NumOfCols() const {
    return Table().ColumnCount();
}

bool ORQSrvFsmFTable::HasColumn(const ORQString& label) const {
    return ColumnOf(Table(), label) >= 0;
}

bool ORQSrvFsmFTable::GetColumnData(int row, const ORQString& label, double& value) const {
    const ORQSimFTable table = Table();
    const int column = ColumnOf(table, label);
    if (row < 0 || row >= table.RowCount() || column < 0) {
        return false;
    }
    table.GetData(&value, ORQSrvTableSize(row, table.ColumnCount()) + column, 1);
    return true;
}

int ORQSrvFsmFTable::NumberFieldVariables() const {
    const ORQSimFTable table = Table();
    const int prefixLength = ORQString(kFieldPrefix).Length();
    int number = 0;
    for (int column = 0; column < table.ColumnCount(); ++column) {
        number += table.ColumnLabel(column).SubString(0, prefixLength) == kFieldPrefix ? 1 : 0;
    }
    return number;
}

void ORQSrvFsmFTable::FillPointer(double**& data, int& rows, int& columns,
                                  bool& temperatureDependent, int& fieldVariables) const {
    const ORQSimFTable table = Table();
    rows = table.RowCount();
    columns = table.ColumnCount();
    temperatureDependent = HasColumn(kTemperature);
    fieldVariables = NumberFieldVariables();
    const int count = ORQSrvTableSize(rows, columns);
    auto values = ORQSrvAllocateArray<double>(count);
    table.GetData(values.get(), count);
    // The values are owned until this has succeeded.
    data = ORQSrvAllocateArray<double*>(1).release();
    data[0] = values.release();
}
