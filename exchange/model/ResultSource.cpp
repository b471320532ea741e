#include <algorithm>
#include <vector>

#include "ORQExcResultSource.h"

void ORQExcResultSource::ReadMembers(int array, int part, int time, int first, int count,
                                     std::span<double> values) {
    const ORQExcResultArray& from = Arrays()[static_cast<std::size_t>(array)];
    const ORQExcResultArray::Part& of = from.parts[static_cast<std::size_t>(part)];
    // Within a layer and section point, members stand one behind the other.
    const auto nMembers = static_cast<std::size_t>(of.NumMembers());
    const std::size_t nOfMember =
        from.components.size() * static_cast<std::size_t>(std::max(1, of.nPoints));
    std::vector<double> all(nMembers * from.components.size() *
                            static_cast<std::size_t>(of.NumSpots()));
    ReadResult(array, part, time, time + 1, all);
    const std::size_t nWanted = static_cast<std::size_t>(count) * nOfMember;
    auto to = values.begin();
    for (std::size_t at = static_cast<std::size_t>(first) * nOfMember; at < all.size();
         at += nMembers * nOfMember) {
        to = std::copy_n(all.begin() + static_cast<std::ptrdiff_t>(at), nWanted, to);
    }
}
