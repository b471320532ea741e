#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <numeric>
#include <span>
#include <tuple>
#include <unordered_map>
#include <utility>
#include <vector>

#include "ORQExcEdit.h"
#include "ORQExcModel.h"
#include "ORQExcSections.h"
#include "ORQExcShellValues.h"
#include "ORQObjMesh.h"
#include "ORQSimCollection.h"
#include "edit/InstanceNodes.h"
#include "edit/KeptParts.h"
#include "edit/MemberReplacement.h"
#include "edit/SurfaceElements.h"
#include "model/OrdinalSet.h"

using namespace orq::exchange;

namespace {

constexpr int kElementsPerRead = 100'000;  // about a chunk; some megabytes of nodes
// How much of the progress stands for finding the elements; the rest is rewriting.
constexpr double kFindingEqual = 0.3;

std::size_t HashOf(std::span<const int> nodes) {
    std::size_t hash = nodes.size();
    for (const int node : nodes) {
        hash = (hash ^ static_cast<std::size_t>(node)) * 0x9e3779b97f4a7c15U;
        hash ^= hash >> 32U;
    }
    return hash;
}

/// Some elements of a block with the nodes of each, found by these.
class NodeLists {
  public:
    NodeLists(const ORQExcModel& model, const ORQExcModel::Block& block, std::vector<int> elements)
        : m_elements(std::move(elements)),
          m_nEach(static_cast<std::size_t>(block.shape->nNodes)),
          m_nodes(m_elements.size() * m_nEach) {
        model.ReadConnectivity(
            block, OrdinalSet(ORQSimCollection(block.elements.CollectionID()), m_elements),
            m_nodes);
        for (std::size_t i = 0; i < m_elements.size(); ++i) {
            m_places.emplace(HashOf(NodesAt(i)), i);
        }
    }

    /// Calls back with each of the elements that has these nodes in this order.
    template <class Visit>
    void ForEachWith(std::span<const int> nodes, const Visit& visit) const {
        const auto [begin, end] = m_places.equal_range(HashOf(nodes));
        for (auto at = begin; at != end; ++at) {
            if (std::ranges::equal(NodesAt(at->second), nodes)) {
                visit(m_elements[at->second]);
            }
        }
    }

  private:
    std::span<const int> NodesAt(std::size_t i) const {
        return std::span(m_nodes).subspan(i * m_nEach, m_nEach);
    }

    std::vector<int> m_elements;
    std::size_t m_nEach;
    std::vector<int> m_nodes;
    std::unordered_multimap<std::size_t, std::size_t> m_places;
};

/// What makes elements of the same nodes unlike each other.
class Properties {
  public:
    explicit Properties(const ORQExcModel& model)
        : m_model(model),
          m_sections(static_cast<std::size_t>(model.NumElements()), -1),
          m_thicknesses(ORQExcShellValuesOf(model, ORQExcShellValue::Thickness)),
          m_offsets(ORQExcShellValuesOf(model, ORQExcShellValue::Offset)) {
        const ORQExcSections sections(model.Document());
        int number = 0;
        for (const ORQExcSections::Section& section : sections.Sections()) {
            for (ORQSimCSetIterator element(section.elements); !element.IsDone(); element.Next()) {
                m_sections[static_cast<std::size_t>(element.CurrentValue())] = number;
            }
            ++number;
        }
    }

    bool AreSame(const ORQExcModel::Block& block, int a, int b) const {
        return Of(a) == Of(b) && AttributesOf(block, a) == AttributesOf(block, b);
    }

  private:
    /// Values as bits, which compare also where a value is no number.
    std::tuple<int, std::uint64_t, std::uint64_t> Of(int element) const {
        const auto place = static_cast<std::size_t>(element);
        return {m_sections[place], std::bit_cast<std::uint64_t>(m_thicknesses[place]),
                std::bit_cast<std::uint64_t>(m_offsets[place])};
    }
    std::vector<std::uint64_t> AttributesOf(const ORQExcModel::Block& block, int element) const {
        std::vector<double> values(block.attributes.size());
        if (!values.empty()) {
            const int place = block.elements.SeekMember(element);
            m_model.ReadAttributes(block, place, place + 1, values);
        }
        std::vector<std::uint64_t> bits;
        std::ranges::transform(values, std::back_inserter(bits),
                               [](double value) { return std::bit_cast<std::uint64_t>(value); });
        return bits;
    }

    const ORQExcModel& m_model;
    std::vector<int> m_sections;  // by element; -1: none
    std::vector<double> m_thicknesses;
    std::vector<double> m_offsets;
};

std::vector<int> MembersIn(const ORQExcModel::Block& block, const std::vector<int>& elements) {
    std::vector<int> members;
    std::ranges::copy_if(elements, std::back_inserter(members),
                         [&](int element) { return block.elements.SeekMember(element) >= 0; });
    return members;
}

/// For each element the first one of its block that is equal to it; the element itself where none
/// is, or where it is not wanted.
std::vector<int> FirstOfEqual(const ORQExcModel& model, const std::vector<int>& wanted) {
    std::vector<int> targets(static_cast<std::size_t>(model.NumElements()));
    std::iota(targets.begin(), targets.end(), 0);
    const Properties properties(model);
    std::vector<int> nodes;
    for (const ORQExcModel::Block& block : model.Blocks()) {
        const std::vector<int> ofBlock = MembersIn(block, wanted);
        if (ofBlock.empty()) {
            continue;
        }
        const NodeLists lists(model, block, ofBlock);
        const auto nEach = static_cast<std::size_t>(block.shape->nNodes);
        for (int begin = 0; begin < block.elements.Size(); begin += kElementsPerRead) {
            const int end = std::min(begin + kElementsPerRead, block.elements.Size());
            nodes.resize(static_cast<std::size_t>(end - begin) * nEach);
            model.ReadConnectivity(block, begin, end, nodes);
            for (int i = begin; i < end; ++i) {
                const auto row =
                    std::span(nodes).subspan(static_cast<std::size_t>(i - begin) * nEach, nEach);
                const int element = block.elements[i];
                lists.ForEachWith(row, [&](int other) {
                    int& target = targets[static_cast<std::size_t>(other)];
                    if (target == other && element < other &&
                        properties.AreSame(block, element, other)) {
                        target = element;
                    }
                });
            }
        }
    }
    return targets;
}

/// Lets elements stay that a kept card may name. Answers how many.
int KeepNamedByCards(const ORQObjDocument& document, std::vector<int>& targets) {
    const auto instances = LabelledMembersOf(document, ORQObjLabelerType::Element);
    const auto isGoing = [&](int element) {
        return targets[static_cast<std::size_t>(element)] != element;
    };
    std::vector<InstanceLabels> unnamed;
    for (const LabelledMembers& of : instances) {
        std::vector<int>& labels = unnamed.emplace_back(InstanceLabels{of.instance, {}}).labels;
        for (std::size_t i = 0; i < of.labels.size(); ++i) {
            if (isGoing(of.ordinals[i])) {
                labels.push_back(of.labels[i]);
            }
        }
    }
    EraseNamedByCards(unnamed, document);
    int nKept = 0;
    for (std::size_t i = 0; i < instances.size(); ++i) {
        for (std::size_t k = 0; k < instances[i].labels.size(); ++k) {
            const int element = instances[i].ordinals[k];
            if (isGoing(element) &&
                !std::ranges::binary_search(unnamed[i].labels, instances[i].labels[k])) {
                targets[static_cast<std::size_t>(element)] = element;
                ++nKept;
            }
        }
    }
    return nKept;
}

std::int64_t CountGoing(const std::vector<int>& targets) {
    std::int64_t count = 0;
    for (std::size_t i = 0; i < targets.size(); ++i) {
        count += targets[i] != static_cast<int>(i) ? 1 : 0;
    }
    return count;
}

}  // namespace

void ORQExcMergeElements(const ORQObjDocument& document, const std::vector<int>& elements,
                         ORQExcReport& report, const std::function<void(double)>& progress) {
    const ORQExcModel model(document);
    const std::vector<int> ofNoSurface = OfNoSurface(model, elements);
    std::vector<int> targets = FirstOfEqual(model, ofNoSurface);
    progress(kFindingEqual);
    const std::int64_t nEqual = CountGoing(targets);
    const int nNamed = KeepNamedByCards(document, targets);
    const auto find = [&](std::size_t count, const char* why) {
        if (count > 0) {
            report.Find("elements", "", static_cast<std::int64_t>(count), why);
        }
    };
    find(elements.size() - ofNoSurface.size(), "not merged: faces of them are in surfaces");
    find(ofNoSurface.size() - static_cast<std::size_t>(nEqual),
         "not merged: no element before them in their block has the same nodes in the same order, "
         "section, thickness, offset and attributes");
    find(static_cast<std::size_t>(nNamed), "not merged: kept cards may name them");
    if (nEqual == nNamed) {
        return;
    }
    const MemberNumbering numbering = Compacted(std::move(targets));
    report.Keep("elements", "", static_cast<std::int64_t>(numbering.kept.size()));
    report.Change("elements", "", nEqual - nNamed, "merged into the equal ones before them");
    DropArraysOverElements(document, report);
    ReplaceMembers(ORQObjMesh(document.GetMesh()).GetElementCollection(), numbering,
                   [&](double done) { progress(kFindingEqual + (1 - kFindingEqual) * done); });
}
