#include "draw/PageMesh.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <set>
#include <utility>

#include "ORQExcTexts.h"
#include "draw/Groups.h"
#include "draw/SetParts.h"
#include "draw/View.h"

namespace orqmodel {
namespace {

using nlohmann::json;
using Coding = PackedArrays::Coding;

/// The least length of an edge of a part that has a length; infinite without any.
double ShortestEdge(const Skin& skin) {
    double shortest = std::numeric_limits<double>::infinity();
    for (std::size_t part = 0; part < skin.NumParts(); ++part) {
        const std::span<const int> nodes = skin.Nodes(part);
        for (std::size_t i = 0; i + 1 < nodes.size(); ++i) {
            const double length = Length(skin.Points()[static_cast<std::size_t>(nodes[i + 1])] -
                                         skin.Points()[static_cast<std::size_t>(nodes[i])]);
            shortest = length > 0 ? std::min(shortest, length) : shortest;
        }
    }
    return shortest;
}

/// The bits of three numbers below 1024 in turns: places that are near have numbers that are near.
std::uint32_t Interleaved(const std::array<std::uint32_t, 3>& numbers) {
    std::uint32_t bits = 0;
    for (unsigned bit = 0; bit < 10; ++bit) {
        for (unsigned axis = 0; axis < 3; ++axis) {
            bits |= (numbers[axis] >> bit & 1U) << (3 * bit + axis);
        }
    }
    return bits;
}

/// Whether parts use nodes again that came long before, by the mean number of bits of how far back
/// they are.
bool IsScattered(const Skin& skin) {
    // A thousand nodes back: more than a row of most ordered meshes, less than shuffled ones are apart.
    constexpr double kFar = 10;
    double bits = 0;
    int nKnown = 0;
    std::vector<int> placeOf(skin.Points().size(), -1);
    for (std::size_t part = 0; part < skin.NumParts(); ++part) {
        for (const int node : skin.Nodes(part)) {
            int& place = placeOf[static_cast<std::size_t>(node)];
            place = place < 0 ? nKnown++ : place;
            bits += std::log2(nKnown - place);
        }
    }
    return bits > kFar * static_cast<double>(skin.NumPartNodes());
}

/// A scattered skin with neighbours near each other in the order of its parts: so places and nodes
/// differ little from those before, and pack well.
Skin InPlaceOrder(Skin skin) {
    const Extent extent = ExtentOf(skin);
    const Point size = extent.high - extent.low;
    const double largest = std::max({size[0], size[1], size[2]});
    if (!IsScattered(skin) || largest == 0) {
        return skin;
    }
    // Cells are cubes: what is thin has few layers of them.
    const double cellsPerLength = 1023 / largest;
    std::vector<std::pair<std::uint32_t, std::size_t>> order;
    for (std::size_t part = 0; part < skin.NumParts(); ++part) {
        const Point& at = skin.Points()[static_cast<std::size_t>(skin.Nodes(part)[0])];
        std::array<std::uint32_t, 3> cell{};
        for (std::size_t axis = 0; axis < 3; ++axis) {
            cell[axis] = static_cast<std::uint32_t>(cellsPerLength * (at[axis] - extent.low[axis]));
        }
        order.emplace_back(Interleaved(cell), part);
    }
    std::ranges::sort(order);
    Skin ordered(std::move(skin.Points()));
    for (const auto& [cell, part] : order) {
        ordered.Add(skin.At(part), skin.KindOf(part), skin.Nodes(part));
    }
    return ordered;
}

/// Ascending numbers as the first and the length of each run.
std::vector<std::uint32_t> RunsOf(const std::vector<int>& numbers) {
    std::vector<std::uint32_t> runs;
    for (std::size_t i = 0; i < numbers.size();) {
        std::size_t end = i + 1;
        while (end < numbers.size() && numbers[end] == numbers[end - 1] + 1) {
            ++end;
        }
        runs.push_back(static_cast<std::uint32_t>(numbers[i]));
        runs.push_back(static_cast<std::uint32_t>(end - i));
        i = end;
    }
    return runs;
}

const char* KindName(SetParts::Kind kind) {
    switch (kind) {
        case SetParts::Kind::Elements:
            return "element set";
        case SetParts::Kind::Surface:
            return "surface";
        case SetParts::Kind::Nodes:
            break;
    }
    return "node set";
}

}  // namespace

std::string HexOf(Colour colour) {
    return fmt::format("#{:02x}{:02x}{:02x}", colour.red, colour.green, colour.blue);
}

PageMesh::PageMesh(const ORQExcModel& model, const MeshPictureOptions& options,
                   const Progress& progress)
    : m_model(model),
      m_options(options),
      m_skin(InPlaceOrder(
          SkinOf(model, BlocksNamed(model, options.blocks), options.clips, progress))) {
    m_placeOf.assign(m_skin.Points().size(), -1);
    for (std::size_t part = 0; part < m_skin.NumParts(); ++part) {
        for (const int node : m_skin.Nodes(part)) {
            int& place = m_placeOf[static_cast<std::size_t>(node)];
            if (place < 0) {
                place = static_cast<int>(m_nodes.size());
                m_nodes.push_back(node);
            }
        }
        m_elements.push_back(m_skin.At(part).element);
    }
}

json PageMesh::Into(PackedArrays& arrays) const {
    return {{"nodes", NodesInto(arrays)}, {"parts", PartsInto(arrays)},
            {"blocks", BlocksOf()},       {"groups", GroupsInto(arrays)},
            {"sets", SetsInto(arrays)},   {"instances", InstancesInto(arrays)}};
}

int PageMesh::LabelsInto(PackedArrays& arrays, const std::vector<int>& labels,
                         const std::vector<int>& members) {
    std::vector<std::uint32_t> numbers;
    for (const int member : members) {
        // 0 for what is no element; labels start at 1.
        numbers.push_back(
            member < 0 ? 0 : static_cast<std::uint32_t>(labels[static_cast<std::size_t>(member)]));
    }
    return arrays.Add(numbers, 4, Coding::Differences);
}

json PageMesh::NodesInto(PackedArrays& arrays) const {
    const Extent extent = ExtentOf(m_skin);
    const Point size = extent.high - extent.low;
    // Places are steps of 16 bits along each axis, or of 24 where the shortest edge would have too few
    // of them to keep its direction.
    constexpr double kCoarse = 65535;
    constexpr double kFine = 16777215;
    constexpr double kLeastStepsOfEdge = 16;
    const double largest = std::max({size[0], size[1], size[2]});
    const bool isFine = ShortestEdge(m_skin) < kLeastStepsOfEdge * largest / kCoarse;
    json nodes = {{"count", m_nodes.size()}, {"low", extent.low}, {"places", json::array()}};
    for (std::size_t axis = 0; axis < 3; ++axis) {
        const double step = size[axis] / (isFine ? kFine : kCoarse);
        std::vector<std::uint32_t> numbers;
        for (const int node : m_nodes) {
            const double place =
                m_skin.Points()[static_cast<std::size_t>(node)][axis] - extent.low[axis];
            numbers.push_back(step > 0 ? static_cast<std::uint32_t>(std::lround(place / step)) : 0);
        }
        nodes["places"].push_back(arrays.Add(numbers, isFine ? 3 : 2, Coding::Differences));
        nodes["steps"].push_back(step);
    }
    nodes["labels"] = LabelsInto(arrays, m_model.NodeLabels(), m_nodes);
    return nodes;
}

json PageMesh::PartsInto(PackedArrays& arrays) const {
    // A bit beside the number of corners.
    constexpr std::uint32_t kOfSolid = 4;
    std::vector<std::uint32_t> kinds;
    std::vector<std::uint32_t> sizes;
    std::vector<std::uint32_t> blocks;
    // How far back in the order of first use: 0 for a node that comes for the first time.
    std::vector<std::uint32_t> nodes;
    std::uint32_t nKnown = 0;
    for (std::size_t part = 0; part < m_skin.NumParts(); ++part) {
        const Skin::Part& at = m_skin.At(part);
        kinds.push_back(static_cast<std::uint32_t>(m_skin.KindOf(part)) |
                        (at.side >= 0 ? kOfSolid : 0));
        sizes.push_back(static_cast<std::uint32_t>(m_skin.Nodes(part).size()));
        blocks.push_back(static_cast<std::uint32_t>(at.block + 1));
        for (const int node : m_skin.Nodes(part)) {
            const auto place =
                static_cast<std::uint32_t>(m_placeOf[static_cast<std::size_t>(node)]);
            nodes.push_back(nKnown - place);
            nKnown = std::max(nKnown, place + 1);
        }
    }
    return {{"count", m_skin.NumParts()},
            {"kinds", arrays.Add(kinds, 1, Coding::Plain)},
            {"sizes", arrays.Add(sizes, 1, Coding::Plain)},
            {"blocks", arrays.Add(blocks, 4, Coding::Differences)},
            {"nodes", arrays.Add(nodes, 4, Coding::Plain)},
            {"labels", LabelsInto(arrays, m_model.ElementLabels(), m_elements)}};
}

json PageMesh::BlocksOf() const {
    json blocks = json::array();
    for (const ORQExcModel::Block& block : m_model.Blocks()) {
        blocks.push_back({{"name", ORQExcPrintable(block.name)},
                          {"shape", block.shape->name},
                          {"colour", HexOf(PaletteColour(static_cast<int>(blocks.size())))}});
    }
    return blocks;
}

json PageMesh::GroupsInto(PackedArrays& arrays) const {
    const bool isBySection = m_options.colourBy == ColourBy::Section;
    if (!isBySection && m_options.colourBy != ColourBy::Material) {
        return nullptr;
    }
    const Groups groups =
        isBySection ? GroupsBySection(m_skin, m_model) : GroupsByMaterial(m_skin, m_model);
    std::vector<std::uint32_t> ofPart;
    for (const int group : groups.ofPart) {
        ofPart.push_back(static_cast<std::uint32_t>(group + 1));
    }
    json list = json::array();
    for (const Groups::Group& group : groups.groups) {
        list.push_back({{"name", ORQExcPrintable(group.name)},
                        {"colour", HexOf(PaletteColour(static_cast<int>(list.size())))}});
    }
    return {{"title", isBySection ? "Sections" : "Materials"},
            {"list", list},
            {"ofPart", arrays.Add(ofPart, 4, Coding::Differences)}};
}

json PageMesh::SetsInto(PackedArrays& arrays) const {
    std::set<std::string> blocks;
    for (const ORQExcModel::Block& block : m_model.Blocks()) {
        blocks.insert(block.name);
    }
    json sets = json::array();
    for (const SetParts& set : PartsOfSets(m_skin, m_model, m_options.sets)) {
        // A block has a set of its name, which the list of blocks stands for.
        if (m_options.sets.empty() && set.kind == SetParts::Kind::Elements &&
            blocks.contains(set.name)) {
            continue;
        }
        json entry = {{"name", ORQExcPrintable(set.name)},
                      {"kind", KindName(set.kind)},
                      {"colour", HexOf(PaletteColour(static_cast<int>(sets.size())))}};
        if (!set.parts.empty()) {
            entry["parts"] = arrays.Add(RunsOf(set.parts), 4, Coding::Plain);
        }
        std::vector<std::uint32_t> places;
        for (const int node : set.nodes) {
            places.push_back(static_cast<std::uint32_t>(m_placeOf[static_cast<std::size_t>(node)]));
        }
        if (!places.empty()) {
            entry["nodes"] = arrays.Add(places, 4, Coding::Differences);
        }
        places.clear();
        for (const ORQExcModel::FaceNodes& nodes : set.edges) {
            for (const std::size_t end : {0, 1}) {
                places.push_back(
                    static_cast<std::uint32_t>(m_placeOf[static_cast<std::size_t>(nodes[end])]));
            }
        }
        if (!places.empty()) {
            entry["edges"] = arrays.Add(places, 4, Coding::Differences);
        }
        sets.push_back(std::move(entry));
    }
    return sets;
}

json PageMesh::InstancesInto(PackedArrays& arrays) const {
    const std::vector<ORQExcModel::Instance> instances = m_model.Instances();
    if (instances.size() < 2) {
        return nullptr;
    }
    json names = json::array();
    std::vector<int> ofNode(static_cast<std::size_t>(m_model.NumNodes()), 0);
    std::vector<int> ofElement(static_cast<std::size_t>(m_model.NumElements()), 0);
    for (const ORQExcModel::Instance& instance : instances) {
        names.push_back(ORQExcPrintable(instance.name));
        const auto number = static_cast<int>(names.size());
        for (const int node : instance.nodes) {
            ofNode[static_cast<std::size_t>(node)] = number;
        }
        for (const int element : instance.elements) {
            ofElement[static_cast<std::size_t>(element)] = number;
        }
    }
    return {{"names", names},
            {"ofNode", LabelsInto(arrays, ofNode, m_nodes)},
            {"ofPart", LabelsInto(arrays, ofElement, m_elements)}};
}

}  // namespace orqmodel
