#include "commands/Mending.h"

#include <algorithm>
#include <array>
#include <set>
#include <string_view>
#include <vector>

#include "ORQExcEdit.h"
#include "ORQExcModel.h"
#include "ORQExcQuality.h"

namespace orqmodel {
namespace {

bool Has(const ORQExcCheckResult& found, std::string_view rule) {
    return std::ranges::any_of(found.findings,
                               [&](const ORQExcFinding& finding) { return finding.rule == rule; });
}

/// The most that nodes are apart which the check calls coincident.
double ToleranceOf(std::string_view rule, const ORQExcCheckedModel& model,
                   const ORQExcChecker& checker) {
    const std::vector<const ORQExcRule*> rules = checker.Rules();
    return model.Diagonal() * model.Limit(**std::ranges::find_if(
                                  rules, [&](const ORQExcRule* one) { return one->id == rule; }));
}

/// Ascending.
std::vector<int> MembersOf(const ORQExcCheckResult& found, std::string_view rule) {
    std::set<int> members;
    for (const ORQExcFinding& finding : found.findings) {
        if (finding.rule == rule) {
            members.insert(finding.members.begin(), finding.members.end());
        }
    }
    return {members.begin(), members.end()};
}

/// The solids, ascending, that are sound in a mirror: others have a corner too far off.
std::vector<int> InsideOut(const ORQExcModel& model, const std::vector<int>& elements) {
    const ORQExcQualityMeasure& jacobian = *ORQExcFindQualityMeasure("scaled Jacobian");
    std::vector<int> turned;
    for (const ORQExcModel::Block& block : model.Blocks()) {
        const ORQExcShape& shape = *block.shape;
        for (const int element : elements) {
            const int place = block.elements.SeekMember(element);
            if (shape.dimension != 3 || place < 0 || model.Dimension() != 3) {
                continue;
            }
            std::vector<int> nodes(static_cast<std::size_t>(shape.nNodes));
            model.ReadConnectivity(block, place, place + 1, nodes);
            std::vector<double> corners;
            for (int i = 0; i < shape.nCorners; ++i) {
                const int node = nodes[static_cast<std::size_t>(i)];
                std::array<double, 3> point{};
                model.ReadCoordinates(node, node + 1, point);
                corners.insert(corners.end(), {-point[0], point[1], point[2]});
            }
            if (jacobian.of(shape, corners) > 0) {
                turned.push_back(element);
            }
        }
    }
    std::ranges::sort(turned);
    return turned;
}

}  // namespace

void Mend(const ORQObjDocument& document, const ORQExcChecker& checker,
          const ORQExcCheckOptions& options, const ORQExcCheckResult& found, ORQExcReport& report) {
    constexpr std::string_view kCoincident = "NOD003";
    constexpr std::string_view kUnusedNodes = "NOD002";
    constexpr std::string_view kEmptySets = "SET001";
    constexpr std::string_view kInverted = "ELM005";
    constexpr std::string_view kDoubled = "ELM002";
    const ORQExcCheckedModel before(document, options);
    // Mends by the ordinals that were found: those of elements first, since merging changes them.
    if (Has(found, kInverted)) {
        ORQExcTurn(document, InsideOut(before.Model(), MembersOf(found, kInverted)), report);
    }
    if (Has(found, kDoubled)) {
        ORQExcMergeElements(document, MembersOf(found, kDoubled), report);
    }
    if (Has(found, kCoincident)) {
        ORQExcMergeNodes(document, {.tolerance = ToleranceOf(kCoincident, before, checker)},
                         report);
    }
    if (Has(found, kUnusedNodes)) {
        ORQExcDropUnused(document, ORQExcUnused::Nodes, report);
    }
    // Sets may have become empty just now.
    if (before.IsWanted(kEmptySets)) {
        ORQExcDropUnused(document, ORQExcUnused::Sets, report);
    }
}

}  // namespace orqmodel
