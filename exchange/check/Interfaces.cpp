#include "check/Interfaces.h"

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <string>
#include <utility>

#include "ORQExcLayup.h"
#include "ORQExcPoint.h"

namespace orq::exchange {
namespace {

using CornerPairs = std::vector<std::pair<int, int>>;

/// Words are runs of letters: "COH3D8", "upper-cohesive" and "PGAP,7" say so, "agape" does not.
bool SaysInterface(const std::string& text) {
    std::string word;
    for (std::size_t i = 0; i <= text.size(); ++i) {
        const auto letter = i < text.size() ? static_cast<unsigned char>(text[i]) : 0U;
        if (std::isalpha(static_cast<int>(letter)) != 0) {
            word += static_cast<char>(std::toupper(static_cast<int>(letter)));
            continue;
        }
        if (word.starts_with("COH") || word.starts_with("PCOH") || word.starts_with("CIF") ||
            word.starts_with("INTERFACE") || word == "GAP" || word == "CGAP" || word == "PGAP") {
            return true;
        }
        word.clear();
    }
    return false;
}

/// The ways in which a shape may be flat between two sides of the same form.
const std::vector<CornerPairs>& OppositeCorners(const ORQExcShape& shape) {
    static const std::vector<CornerPairs> none;
    static const std::vector<CornerPairs> line = {{{0, 1}}};
    static const std::vector<CornerPairs> quadrilateral = {{{0, 3}, {1, 2}}, {{0, 1}, {3, 2}}};
    static const std::vector<CornerPairs> wedge = {{{0, 3}, {1, 4}, {2, 5}}};
    static const std::vector<CornerPairs> hexahedron = {{{0, 4}, {1, 5}, {2, 6}, {3, 7}},
                                                        {{0, 1}, {3, 2}, {4, 5}, {7, 6}},
                                                        {{0, 3}, {1, 2}, {4, 7}, {5, 6}}};
    switch (10 * shape.dimension + shape.nCorners) {
        case 12:
            return line;
        case 24:
            return quadrilateral;
        case 36:
            return wedge;
        case 38:
            return hexahedron;
        default:
            return none;
    }
}

}  // namespace

bool SaysInterface(const ORQExcModel::Block& block) {
    return SaysInterface(block.name) || SaysInterface(block.shapeName) ||
           SaysInterface(block.definition);
}

std::vector<int> ElementsOfInterfaceSections(const ORQExcModel& model) {
    const ORQExcLayup layup = ORQExcReadLayup(model.Document(), [](const std::string&) {});
    std::vector<int> elements;
    for (const ORQExcLayup::Assignment& assignment : layup.assignments) {
        if (assignment.section < 0) {
            continue;
        }
        const auto& section = layup.sections[static_cast<std::size_t>(assignment.section)];
        const auto set =
            std::ranges::find(model.ElementSets(), assignment.elementSet, &ORQExcModel::Set::name);
        if (set == model.ElementSets().end() ||
            !(SaysInterface(section.name) || SaysInterface(section.kind))) {
            continue;
        }
        for (ORQSimCSetIterator element{set->members}; !element.IsDone(); element.Next()) {
            elements.push_back(element.CurrentValue());
        }
    }
    std::ranges::sort(elements);
    return elements;
}

bool AreSidesTogether(const ORQExcShape& shape, std::span<const double> corners, double length) {
    const auto at = [&](int corner) {
        const auto first = static_cast<std::size_t>(corner) * 3;
        return Point{corners[first], corners[first + 1], corners[first + 2]};
    };
    return std::ranges::any_of(OppositeCorners(shape), [&](const CornerPairs& pairs) {
        return std::ranges::all_of(pairs, [&](const std::pair<int, int>& pair) {
            return Length(at(pair.second) - at(pair.first)) <= length;
        });
    });
}

}  // namespace orq::exchange
