#include <algorithm>
#include <cstdint>
#include <vector>

#include "ORQExcEdit.h"
#include "ORQExcModel.h"
#include "ORQExcResults.h"
#include "ORQObjMesh.h"
#include "ORQSimCollection.h"
#include "ORQSimDSet.h"
#include "ORQSimDistribution.h"
#include "ORQSimLinks.h"
#include "ORQSimSchema.h"
#include "ORQSimTransfer.h"
#include "edit/SurfaceElements.h"
#include "model/OrdinalSet.h"

using namespace orq::exchange;

namespace {

/// The former place of each corner of the mirrored element; empty for other shapes.
std::vector<int> TurnedCorners(const ORQExcShape& shape) {
    if (shape.dimension != 3) {
        return {};
    }
    switch (shape.nCorners) {
        case 4:
            return {0, 2, 1, 3};
        case 5:
            return {0, 3, 2, 1, 4};
        case 6:
            return {3, 4, 5, 0, 1, 2};
        case 8:
            return {4, 5, 6, 7, 0, 1, 2, 3};
        default:
            return {};
    }
}

std::vector<int> CornersOf(const ORQExcShape::Side& side) {
    return {side.nodes.begin(), side.nodes.begin() + side.nCorners};
}

/// Whether the last node of an edge or a face is its own middle.
bool HasMiddle(const ORQExcShape::Side& side) {
    const auto size = static_cast<int>(side.nodes.size());
    return side.IsEdge() ? size == 3 : size > 2 * side.nCorners;
}

/// The former place of each node of the mirrored element.
std::vector<int> TurnedPlaces(const ORQExcShape& shape) {
    const std::vector<int> corners = TurnedCorners(shape);
    std::vector<int> places(static_cast<std::size_t>(shape.nNodes));
    for (std::size_t i = 0; i < places.size(); ++i) {
        places[i] = i < corners.size() ? corners[i] : static_cast<int>(i);  // the middle stays
    }
    for (const auto* sides : {&shape.edges, &shape.sides}) {
        for (const ORQExcShape::Side& side : *sides) {
            std::vector<int> former = CornersOf(side);
            std::ranges::transform(former, former.begin(), [&](int corner) {
                return corners[static_cast<std::size_t>(corner)];
            });
            std::ranges::sort(former);
            const auto same = std::ranges::find_if(*sides, [&](const ORQExcShape::Side& other) {
                std::vector<int> others = CornersOf(other);
                std::ranges::sort(others);
                return others == former;
            });
            if (HasMiddle(side) && same != sides->end()) {
                places[static_cast<std::size_t>(side.nodes.back())] = same->nodes.back();
            }
        }
    }
    return places;
}

bool HasResultsByPoint(const ORQObjDocument& document) {
    const ORQExcResults results(document);
    return std::ranges::any_of(results.Fields(), &ORQExcResults::Field::hasPoints);
}

/// Writes [elements][places] over what is stored, of elements of one shape.
void WriteConnectivity(const ORQObjDocument& document, const std::vector<int>& elements,
                       const std::vector<int>& nodes, int nEach) {
    const ORQSimDistribution rows(
        ORQObjMesh(document.GetMesh()).GetConnectivity().DSet().GetRelationalDistributionID());
    const ORQSimCSet places =
        ORQSimCollection(rows.Grid().Collection(1)).CreateVolatileCSetStrided(0, nEach, 1, 1);
    for (const ORQSimDrawerDescription& drawer : rows.QueryDrawers()) {
        const ORQSimCSet ofDrawer(drawer.CSet(0));
        std::vector<int> members;
        std::vector<int> values;
        for (std::size_t i = 0; i < elements.size(); ++i) {
            if (ofDrawer.SeekMember(elements[i]) >= 0) {
                members.push_back(elements[i]);
                const auto first = nodes.begin() + static_cast<std::ptrdiff_t>(i) * nEach;
                values.insert(values.end(), first, first + nEach);
            }
        }
        if (!members.empty()) {
            ORQSimTransfer(rows)
                .SetWrite()
                .SetDrawer(drawer.DrawerID())
                .SetDim(0, OrdinalSet(ORQSimCollection(rows.Grid().Collection(0)), members))
                .SetDim(1, places)
                .SetBuffer(ORQSimbufMain, values.data(),
                           static_cast<std::int64_t>(values.size() * sizeof(int)))
                .ExecWrite();
        }
    }
}

}  // namespace

void ORQExcTurn(const ORQObjDocument& document, const std::vector<int>& elements,
                ORQExcReport& report) {
    const ORQExcModel model(document);
    const auto count = [](const std::vector<int>& some) {
        return static_cast<std::int64_t>(some.size());
    };
    if (!elements.empty() && HasResultsByPoint(document)) {
        report.Find("elements", "", count(elements),
                    "not turned: results at points of elements would not follow");
        return;
    }
    const std::vector<int> turned = OfNoSurface(model, elements);
    if (turned.size() < elements.size()) {
        report.Find("elements", "", count(elements) - count(turned),
                    "not turned: faces of them are in surfaces");
    }
    for (const ORQExcModel::Block& block : model.Blocks()) {
        std::vector<int> ofBlock;
        for (const int element : turned) {
            if (block.elements.SeekMember(element) >= 0) {
                ofBlock.push_back(element);
            }
        }
        if (ofBlock.empty() || TurnedCorners(*block.shape).empty()) {
            continue;
        }
        const auto nEach = static_cast<std::size_t>(block.shape->nNodes);
        std::vector<int> former(ofBlock.size() * nEach);
        model.ReadConnectivity(
            block, OrdinalSet(ORQSimCollection(block.elements.CollectionID()), ofBlock), former);
        std::vector<int> nodes(former.size());
        const std::vector<int> places = TurnedPlaces(*block.shape);
        for (std::size_t i = 0; i < nodes.size(); ++i) {
            nodes[i] = former[i / nEach * nEach + static_cast<std::size_t>(places[i % nEach])];
        }
        WriteConnectivity(document, ofBlock, nodes, block.shape->nNodes);
        report.Change("elements", block.name, count(ofBlock), "turned: they were inside out");
    }
}
