#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "ORQExcModel.h"
#include "ORQExcResults.h"
#include "queries/RowSource.h"
#include "terminal/ProgressBar.h"
#include "terminal/TableWriter.h"

namespace orqmodel {

/// Which columns say what a row is of.
struct RowLayout {
    bool hasTimes = false;
    bool hasShapes = false;
    bool hasPlaces = false;  ///< coordinates of nodes, or of the middles of elements
    /// Leaves out columns in which all rows are the same. Scripts rather find the same columns for
    /// every model.
    bool isTerse = false;
};

/// Makes a writer for the columns, to where rows go.
using WriterMaker =
    std::function<std::unique_ptr<TableWriter>(const std::vector<TableWriter::Column>&)>;

/// Writes every row. Returns their number, like the next one.
std::int64_t WriteRows(const ORQExcModel& model, const ORQExcResults& results, RowSource& rows,
                       const RowLayout& layout, const WriterMaker& makeWriter, ProgressBar& bar);
/// Writes minimum, maximum, mean and sum of each column by time, and where the extremes are.
std::int64_t WriteStatistics(const ORQExcModel& model, const ORQExcResults& results,
                             RowSource& rows, const RowLayout& layout,
                             const WriterMaker& makeWriter, ProgressBar& bar);

}  // namespace orqmodel
