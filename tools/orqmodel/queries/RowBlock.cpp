#include <algorithm>
#include <cmath>
#include <utility>

#include "ORQSimCollection.h"
#include "queries/RowSource.h"

namespace orqmodel {

void RowBlock::LeaveOutEmpty() {
    const std::size_t nColumns = values.size() / NumRows();
    std::vector<int> kept;
    std::vector<double> rest;
    for (std::size_t row = 0; row < NumRows(); ++row) {
        const auto first = values.begin() + static_cast<std::ptrdiff_t>(row * nColumns);
        const auto end = first + static_cast<std::ptrdiff_t>(nColumns);
        if (std::any_of(first, end, [](double value) { return !std::isnan(value); })) {
            kept.push_back(members[static_cast<int>(row)]);
            rest.insert(rest.end(), first, end);
        }
    }
    if (kept.size() < NumRows()) {
        members = ORQSimCollection(members.CollectionID())
                      .CreateVolatileCSet(kept.data(), static_cast<int>(kept.size()), true);
        values = std::move(rest);
    }
}

}  // namespace orqmodel
