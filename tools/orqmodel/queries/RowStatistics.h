#pragma once

#include <cmath>
#include <cstdint>
#include <vector>

#include "queries/RowSource.h"

namespace orqmodel {

/// Minimum, maximum, sum and mean of the columns of a table, over the rows of one time.
class RowStatistics {
  public:
    struct Extreme {
        double value;
        int member;            ///< -1 in what has no members
        ORQExcSpot spot = {};  ///< as of the row
        std::string shape = {};
    };
    struct OfColumn {
        std::int64_t count = 0;  ///< of the values that are numbers
        double sum = 0;          ///< with Neumaier's correction
        double correction = 0;
        Extreme least{};  ///< of equals the first
        Extreme most{};

        /// The correction of an infinite sum is not a number.
        double Sum() const { return std::isfinite(sum) ? sum + correction : sum; }
        double Mean() const { return Sum() / static_cast<double>(count); }
    };

    explicit RowStatistics(std::size_t nColumns) : m_columns(nColumns) {}
    void Take(const RowBlock& block);
    const std::vector<OfColumn>& Columns() const { return m_columns; }

  private:
    std::vector<OfColumn> m_columns;
};

}  // namespace orqmodel
