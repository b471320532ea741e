#include "StoredDrawer.h"

#include <algorithm>

#include "ORQBasFailure.h"

namespace orq::database {

namespace {

std::string ProblemOfLayout(const DrawerState& drawer) {
    if (drawer.layout != ORQSimDrawerLayout::Chunked && drawer.extendable >= 0) {
        return "it is extendable and not chunked";
    }
    if (drawer.layout == ORQSimDrawerLayout::Sparse && drawer.NumDims() != 2) {
        return "it is sparse and has " + std::to_string(drawer.NumDims()) + " dimensions";
    }
    if (drawer.layout == ORQSimDrawerLayout::Chunked && std::ranges::min(drawer.chunks) < 1) {
        return "a chunk size is below 1";
    }
    return "";
}

std::string ProblemOfSets(DatabaseState& state, const DistributionState& distribution,
                          const DrawerState& drawer) {
    for (std::size_t dim = 0; dim < drawer.NumDims(); ++dim) {
        const ComponentSet& set = *drawer.Members(dim);
        if (static_cast<int>(dim) != drawer.extendable && drawer.setIds[dim].Index() != 0 &&
            set.IsEmpty()) {
            return "the set of dimension " + std::to_string(dim) + " does not exist";
        }
        const int space = state.Objects().Space(distribution.grid[dim]);
        if (!set.IsEmpty() && (set.Lowest() < 0 || set.Highest() >= space)) {
            return "dimension " + std::to_string(dim) + " covers members outside the space of " +
                   std::to_string(space);
        }
    }
    return "";
}

std::string ProblemOfRows(const DrawerState& drawer) {
    std::int64_t nRows = 0;
    for (const DrawerSegment& segment : drawer.rows.Segments()) {
        if (segment.firstRow != nRows) {
            return "its rows have a gap at row " + std::to_string(nRows);
        }
        nRows += segment.members->Size();
    }
    try {
        return nRows == drawer.nRows && nRows == drawer.rows.Members()->Size()
                   ? ""
                   : "has " + std::to_string(drawer.nRows) + " rows, its members are " +
                         std::to_string(nRows);
    } catch (const ORQBasFailure& failure) {
        return failure.Text();  // a member has two rows
    }
}

// Whether its bytes can be counted.
std::string ProblemOfSize(const DistributionState& distribution, const DrawerState& drawer) {
    std::int64_t bytes = distribution.ScalarSize();
    for (std::size_t dim = 0; dim < drawer.NumDims(); ++dim) {
        const int size = drawer.Members(dim)->Size();
        if (size > 0 && __builtin_mul_overflow(bytes, size, &bytes)) {
            return "its dimensions have more cells than can be counted";
        }
    }
    return "";
}

}  // namespace

std::string ProblemOfDrawer(DatabaseState& state, const DistributionState& distribution,
                            const DrawerState& drawer) {
    // The order matters: each check relies on those before it.
    std::string problem = ProblemOfLayout(drawer);
    problem = problem.empty() ? ProblemOfRows(drawer) : problem;
    problem = problem.empty() ? ProblemOfSets(state, distribution, drawer) : problem;
    return problem.empty() ? ProblemOfSize(distribution, drawer) : problem;
}

}  // namespace orq::database
