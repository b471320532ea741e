#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "ORQBasFailure.h"
#include "ORQExcHeldMesh.h"
#include "ORQExcNearNames.h"
#include "ORQExcShapes.h"

namespace {

/// Rows [begin, end) of a table.
template <class Value>
void CopyRows(const std::vector<Value>& table, int begin, int end, std::size_t rowSize,
              std::span<Value> rows) {
    const std::size_t first = static_cast<std::size_t>(begin) * rowSize;
    std::ranges::copy(
        std::span(table).subspan(first, static_cast<std::size_t>(end - begin) * rowSize),
        rows.begin());
}

/// The number of rows that values make, besides those that there are.
int CountRows(const std::string& what, std::size_t nValues, std::size_t rowSize, int nKnown) {
    if (nValues % rowSize != 0) {
        ORQBasThrowUsage(fmt::format("{}: {} values are no rows of {}", what, nValues, rowSize));
    }
    const std::size_t nRows = nValues / rowSize;
    if (nRows > static_cast<std::size_t>(std::numeric_limits<int>::max() - nKnown)) {
        ORQBasThrowUsage(fmt::format("{}: {} more are too many", what, nRows));
    }
    return static_cast<int>(nRows);
}

void CheckLabelsOf(const std::string& what, std::span<const int> labels, int count) {
    if (!labels.empty() && labels.size() != static_cast<std::size_t>(count)) {
        ORQBasThrowUsage(fmt::format("{}: {} labels for {} of them", what, labels.size(), count));
    }
    if (const auto low = std::ranges::find_if(labels, [](int label) { return label < 1; });
        low != labels.end()) {
        ORQBasThrowUsage(
            fmt::format("{}: label {} at place {} is below 1", what, *low, low - labels.begin()));
    }
}

/// Adds labels, those that go on from the highest when none are given. Throws before it does.
void AddLabels(const std::string& what, std::span<const int> labels, int count, int& highest,
               std::vector<int>& known) {
    CheckLabelsOf(what, labels, count);
    if (!labels.empty()) {
        known.insert(known.end(), labels.begin(), labels.end());
        highest = std::max(highest, *std::ranges::max_element(labels));
        return;
    }
    if (count > std::numeric_limits<int>::max() - highest) {
        ORQBasThrowUsage(fmt::format("{}: no labels are left behind {}", what, highest));
    }
    for (int i = 0; i < count; ++i) {
        known.push_back(++highest);
    }
}

void CheckOrdinals(const std::string& what, std::span<const int> ordinals, int count) {
    if (const auto wrong = std::ranges::find_if(
            ordinals, [&](int ordinal) { return ordinal < 0 || ordinal >= count; });
        wrong != ordinals.end()) {
        ORQBasThrowUsage(fmt::format("{}: number {} at place {} is none of [0, {})", what, *wrong,
                                     wrong - ordinals.begin(), count));
    }
}

template <class Named>
void CheckName(const std::string& what, const std::string& name, const std::vector<Named>& known) {
    if (name.empty()) {
        ORQBasThrowUsage(what + ": it needs a name");
    }
    if (std::ranges::find(known, name, &Named::name) != known.end()) {
        ORQBasThrowUsage(fmt::format("{}: there is one of the name already", what));
    }
}

const ORQExcShape& ShapeNamed(const std::string& what, std::string_view name) {
    const ORQExcShape* const shape = ORQExcFindShapeByName(name);
    if (shape == nullptr) {
        std::vector<std::string> names;
        for (const ORQExcShape& known : ORQExcShapes()) {
            names.emplace_back(known.name);
        }
        ORQBasThrowUsage(fmt::format("{}: there is no shape \"{}\"{}", what, name,
                                     ORQExcNearNames(name, names)));
    }
    return *shape;
}

int NextNumber(std::size_t nKnown) {
    return static_cast<int>(nKnown) + 1;
}

}  // namespace

ORQExcHeldMesh::ORQExcHeldMesh(std::string title, int dimension) {
    if (dimension != 2 && dimension != 3) {
        ORQBasThrowUsage(fmt::format("a mesh has 2 or 3 dimensions, not {}", dimension));
    }
    m_contents.title = std::move(title);
    m_contents.dimension = dimension;
    m_contents.fileDimension = dimension;
}

void ORQExcHeldMesh::AddNodes(std::span<const double> coordinates, std::span<const int> labels) {
    const auto dimension = static_cast<std::size_t>(Dimension());
    const int count = CountRows("coordinates", coordinates.size(), dimension, NumNodes());
    if (const auto wrong =
            std::ranges::find_if(coordinates, [](double value) { return !std::isfinite(value); });
        wrong != coordinates.end()) {
        ORQBasThrowUsage(
            fmt::format("coordinates: {} of node {} is no finite number", *wrong,
                        static_cast<std::size_t>(wrong - coordinates.begin()) / dimension));
    }
    AddLabels("nodes", labels, count, m_highestNodeLabel, m_nodeLabels);
    m_coordinates.insert(m_coordinates.end(), coordinates.begin(), coordinates.end());
    m_contents.nNodes += count;
}

void ORQExcHeldMesh::AddBlock(const std::string& name, std::string_view shape,
                              std::span<const int> connectivity, std::span<const int> labels) {
    const std::string what = fmt::format("block \"{}\"", name);
    CheckName(what, name, m_contents.blocks);
    CheckName(what, name, m_contents.elementSets);
    const ORQExcShape& found = ShapeNamed(what, shape);
    const int count =
        CountRows(what, connectivity.size(), static_cast<std::size_t>(found.nNodes), NumElements());
    CheckOrdinals(what, connectivity, NumNodes());
    AddLabels(what, labels, count, m_highestElementLabel, m_elementLabels);
    m_contents.blocks.push_back(
        {name, NextNumber(m_contents.blocks.size()), &found, found.name, count, {}});
    m_connectivity.emplace_back(connectivity.begin(), connectivity.end());
    m_attributes.emplace_back();
}

void ORQExcHeldMesh::AddNodeSet(const std::string& name, std::vector<int> nodes) {
    const std::string what = fmt::format("node set \"{}\"", name);
    CheckName(what, name, m_contents.nodeSets);
    CheckOrdinals(what, nodes, NumNodes());
    m_contents.nodeSets.push_back({name, NextNumber(m_contents.nodeSets.size())});
    m_nodeSetMembers.push_back(std::move(nodes));
}

void ORQExcHeldMesh::AddElementSet(const std::string& name, std::vector<int> elements) {
    const std::string what = fmt::format("element set \"{}\"", name);
    CheckName(what, name, m_contents.elementSets);
    CheckName(what, name, m_contents.blocks);
    CheckOrdinals(what, elements, NumElements());
    m_contents.elementSets.push_back({name, NextNumber(m_contents.elementSets.size())});
    m_elementSetMembers.push_back(std::move(elements));
}

void ORQExcHeldMesh::AddSurface(const std::string& name, std::vector<Side> sides) {
    const std::string what = fmt::format("surface \"{}\"", name);
    CheckName(what, name, m_contents.sideSets);
    const int nElements = NumElements();
    for (const Side& side : sides) {
        CheckOrdinals(what, {&side.element, 1}, nElements);
        CheckOrdinals(fmt::format("{}: sides of element {}", what, side.element), {&side.side, 1},
                      static_cast<int>(ShapeOf(side.element).sides.size()));
    }
    m_contents.sideSets.push_back({name, NextNumber(m_contents.sideSets.size())});
    m_sides.push_back(std::move(sides));
}

const ORQExcShape& ORQExcHeldMesh::ShapeOf(int element) const {
    auto block = Blocks().begin();
    for (; element >= block->nElements; ++block) {
        element -= block->nElements;
    }
    return *block->shape;
}

void ORQExcHeldMesh::ReadCoordinates(int begin, int end, std::span<double> coordinates) {
    CopyRows(m_coordinates, begin, end, static_cast<std::size_t>(Dimension()), coordinates);
}

void ORQExcHeldMesh::ReadLabels(ORQObjLabelerType type, int begin, int end, std::span<int> labels) {
    CopyRows(type == ORQObjLabelerType::Node ? m_nodeLabels : m_elementLabels, begin, end, 1,
             labels);
}

void ORQExcHeldMesh::ReadConnectivity(int block, int begin, int end, std::span<int> nodes) {
    const auto place = static_cast<std::size_t>(block);
    CopyRows(m_connectivity[place], begin, end,
             static_cast<std::size_t>(Blocks()[place].shape->nNodes), nodes);
}

void ORQExcHeldMesh::ReadAttributes(int block, int begin, int end, std::span<double> values) {
    const auto place = static_cast<std::size_t>(block);
    CopyRows(m_attributes[place], begin, end, Blocks()[place].attributes.size(), values);
}

std::vector<int> ORQExcHeldMesh::ReadSet(ORQObjLabelerType type, int set) {
    return (type == ORQObjLabelerType::Node ? m_nodeSetMembers
                                            : m_elementSetMembers)[static_cast<std::size_t>(set)];
}

std::vector<ORQExcMeshSource::Side> ORQExcHeldMesh::ReadSideSet(int set) {
    return m_sides[static_cast<std::size_t>(set)];
}
