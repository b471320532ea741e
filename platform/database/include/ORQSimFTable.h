#pragma once

#include "ORQBasExport.h"
#include "ORQSimIDs.h"
#include "ORQString.h"

/// A stored table of doubles with labels: a handle, free to copy. On a null ID it has no rows and
/// no columns. Each call looks its row or label up anew. Throws ORQBasFailure: Usage when the
/// database is closed, Damaged when the values are not those that were stored, Io when they cannot
/// be read.
class ORQ_EXPORT ORQSimFTable {
  public:
    ORQSimFTable() = default;
    explicit ORQSimFTable(const ORQSimFTableID& id) : m_id(id) {}

    const ORQSimFTableID& ID() const { return m_id; }
    bool IsNull() const { return m_id.IsNull(); }
    int RowCount() const;
    int ColumnCount() const;
    /// Empty for a column without a label and outside [0, ColumnCount()).
    ORQString ColumnLabel(int column) const;
    ORQString RowLabel(int row) const;
    /// The first `count` doubles, row after row: value (row, column) at row * ColumnCount() +
    /// column. Throws Usage when the table holds fewer.
    void GetData(double* values, int count) const;
    /// `count` doubles from place `first` on, at the cost of these. Throws as the other.
    void GetData(double* values, int first, int count) const;

  private:
    ORQSimFTableID m_id;
};
