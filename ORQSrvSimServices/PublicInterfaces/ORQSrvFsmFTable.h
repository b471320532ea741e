#pragma once

#include "ORQBasExport.h"
#include "ORQBasVector.h"
#include "ORQSimFTable.h"
#include "ORQSimPosition.h"
#include "ORQString.h"

/// A table of doubles with labelled columns, for properties that depend on temperature and on
/// numbered field variables:
///
///   the property's own columns | "Temperature" | "Field_0" | "Field_1" ...
///
/// Data stand row after row, rows x values per row. Making needs an open transaction. Failures of
/// the database pass through, among them those of labels that are more than the columns; a table of
/// more than 2^31 - 1 values throws ORQBasFailure (Usage).
class ORQ_EXPORT ORQSrvFsmFTable {
  public:
    ORQSrvFsmFTable() = default;
    /// `table` is the position of an F-table, or of a field that owns one under Field_fTable.
    explicit ORQSrvFsmFTable(const ORQSimPosition& table) : m_table(table) {}
    ~ORQSrvFsmFTable() = default;

    // --- Making ----------------------------------------------------------------------------------
    /// Each makes a table in the owner's database, links the owner to it under `linkType` and makes
    /// it the table of this object. A table without values is not made, and the owner's link stays
    /// as it is. `data` is the caller's.

    /// The dependency columns are the last ones and have labels; the property's own have none.
    void CreateTable(ORQSimPosition& owner, int tableType, int rows, int valuesPerRow, int linkType,
                     const double* data, int fieldVariables, bool temperatureDependent);
    /// `columnLabels` come before those of the dependency columns.
    void CreateTable(ORQSimPosition& owner, int tableType, int rows, int valuesPerRow,
                     const ORQBasVector<ORQString>& rowLabels,
                     const ORQBasVector<ORQString>& columnLabels, int linkType, const double* data,
                     int fieldVariables, bool temperatureDependent);
    /// Tables of the general type, without dependencies.
    void CreateSimpleTable(ORQSimPosition& owner, int rows, int valuesPerRow, int linkType,
                           const double* data);
    void CreateSimpleTable(ORQSimPosition& owner, int rows, int valuesPerRow,
                           const ORQBasVector<ORQString>& rowLabels,
                           const ORQBasVector<ORQString>& columnLabels, int linkType,
                           const double* data);

    // --- Reading ---------------------------------------------------------------------------------
    /// An object without a table has no rows and no columns.

    int NumOfRows() const;
    int NumOfCols() const;
    bool HasColumn(const ORQString& label) const;
    /// False, and `value` as it was, when there is no such row or column. The first of several
    /// columns with one label counts. Costs the same in every row.
    bool GetColumnData(int row, const ORQString& label, double& value) const;
    /// The number of columns whose label begins with "Field_".
    int NumberFieldVariables() const;
    /// Reads the whole table into one new buffer: data[0][row * columns + column]. The caller
    /// releases data[0] and then data by mem_Free.
    void FillPointer(double**& data, int& rows, int& columns, bool& temperatureDependent,
                     int& fieldVariables) const;

  private:
    ORQSimFTable Table() const;
    void LinkFrom(ORQSimPosition& owner, int linkType, const ORQSimPosition& table);

    ORQSimPosition m_table;
};
