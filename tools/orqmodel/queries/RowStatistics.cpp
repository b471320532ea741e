#include "queries/RowStatistics.h"

#include <cmath>

namespace orqmodel {
namespace {

void Add(double value, RowStatistics::OfColumn& column) {
    const double sum = column.sum + value;
    column.correction += std::abs(column.sum) >= std::abs(value) ? (column.sum - sum) + value
                                                                 : (value - sum) + column.sum;
    column.sum = sum;
}

}  // namespace

void RowStatistics::Take(const RowBlock& block) {
    const std::size_t nColumns = m_columns.size();
    const auto member = [&](std::size_t row) {
        return block.members.IsEmpty() ? -1 : block.members[static_cast<int>(row)];
    };
    for (std::size_t i = 0; i < block.values.size(); ++i) {
        const double value = block.values[i];
        OfColumn& column = m_columns[i % nColumns];
        if (std::isnan(value)) {
            continue;
        }
        // Strictly, so that the first of equal values is kept.
        if (column.count == 0 || value < column.least.value) {
            column.least = {value, member(i / nColumns), block.spot, block.shape};
        }
        if (column.count == 0 || value > column.most.value) {
            column.most = {value, member(i / nColumns), block.spot, block.shape};
        }
        ++column.count;
        Add(value, column);
    }
}

}  // namespace orqmodel
