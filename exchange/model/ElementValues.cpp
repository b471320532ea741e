#include <algorithm>
#include <cmath>
#include <cstdint>
#include <map>
#include <utility>

#include "ORQExcElementValues.h"
#include "ORQExcPointRules.h"
#include "ORQSimSchema.h"
#include "ORQSrvExtrapolation.h"
#include "model/NoValue.h"
#include "model/OrdinalSet.h"

using namespace orq::exchange;

namespace {

constexpr int kElementsAtOnce = 4096;

ORQSimIntRange Only(int number) {
    return number < 0 ? ORQSimIntRange() : ORQSimIntRange(number, number);
}

template <class Act>
void ForEachSlice(const ORQSimCSet& set, const Act& act) {
    for (int begin = 0; begin < set.Size(); begin += kElementsAtOnce) {
        act(SliceOf(set, begin, std::min(set.Size(), begin + kElementsAtOnce)));
    }
}

}  // namespace

/// Elements of one block with equal layers and points.
struct ORQExcElementValues::Class {
    const ORQExcModel::Block* block;
    ORQObjFieldView view;

    /// Also of points below the first that was written: places are those in the element.
    int NumPoints() const { return std::max(1, view.points.Last() + 1); }
    ORQSimIntRange Points() const { return {0, view.points.Last()}; }
};

ORQExcElementValues::ORQExcElementValues(const ORQExcModel& model, const ORQExcResults& results,
                                         const ORQExcResults::Field& field)
    : m_model(model), m_results(results), m_field(field) {}

std::vector<ORQExcElementValues::Class> ORQExcElementValues::ClassesOf(
    int frame, const ORQSimCSet& elements) const {
    std::vector<Class> classes;
    for (const ORQObjFieldView& view : m_results.ViewsOf(m_field, frame, elements)) {
        for (const ORQExcModel::Block& block : m_model.Blocks()) {
            ORQObjFieldView part = view;
            part.members = view.members.Intersection(block.elements);
            if (!part.members.IsEmpty()) {
                classes.push_back({&block, part});
            }
        }
    }
    return classes;
}

/// Values [elements][points][components].
std::vector<double> ORQExcElementValues::ReadClass(int frame, const Class& of,
                                                   const ORQSimCSet& elements, int layer,
                                                   int sectionPoint) const {
    std::vector<double> values(static_cast<std::size_t>(elements.Size()) *
                               static_cast<std::size_t>(of.NumPoints()) *
                               m_field.components.size());
    const auto covers = [](ORQSimIntRange range, int number) {
        return number < 0 || (number >= range.First() && number <= range.Last());
    };
    if (covers(of.view.layers, layer) && covers(of.view.sectionPoints, sectionPoint)) {
        m_results.ReadView(m_field, frame, {elements, Only(layer), Only(sectionPoint), of.Points()},
                           values);
    } else {
        std::ranges::fill(values, kNoValue);
    }
    return values;
}

std::vector<ORQExcElementValues::Worst> ORQExcElementValues::WorstOf(int frame,
                                                                     const ORQSimCSet& elements,
                                                                     const Number& number) const {
    std::vector<Worst> worst(static_cast<std::size_t>(elements.Size()), {kNoValue, {}});
    const std::size_t nComponents = m_field.components.size();
    const auto take = [&](const Class& of, const ORQSimCSet& some, int layer, int sectionPoint) {
        const std::vector<double> values = ReadClass(frame, of, some, layer, sectionPoint);
        const auto nPoints = static_cast<std::size_t>(of.NumPoints());
        for (std::size_t i = 0; i < static_cast<std::size_t>(some.Size()); ++i) {
            Worst& at =
                worst[static_cast<std::size_t>(elements.SeekMember(some[static_cast<int>(i)]))];
            for (std::size_t point = 0; point < nPoints; ++point) {
                const double value = number(
                    std::span(values).subspan((i * nPoints + point) * nComponents, nComponents));
                if (!std::isnan(value) &&
                    (std::isnan(at.value) || std::abs(value) > std::abs(at.value))) {
                    at = {value,
                          {layer, sectionPoint,
                           of.view.points.IsEmpty() ? -1 : static_cast<int>(point)}};
                }
            }
        }
    };
    for (const Class& of : ClassesOf(frame, elements)) {
        const int firstLayer = of.view.layers.IsEmpty() ? -1 : 0;
        const int firstSectionPoint = of.view.sectionPoints.IsEmpty() ? -1 : 0;
        for (int layer = firstLayer; layer <= std::max(firstLayer, of.view.layers.Last());
             ++layer) {
            for (int sectionPoint = firstSectionPoint;
                 sectionPoint <= std::max(firstSectionPoint, of.view.sectionPoints.Last());
                 ++sectionPoint) {
                ForEachSlice(of.view.members,
                             [&](const ORQSimCSet& some) { take(of, some, layer, sectionPoint); });
            }
        }
    }
    return worst;
}

namespace {

/// Whether a field has a value at each node of a shape's elements.
bool AreAtNodes(const ORQExcShape& shape, int gridType, int nPoints) {
    return gridType == ORQSimSchema::Field_ElementNodal && nPoints == shape.nNodes;
}

/// From an element's points to its nodes or middle; empty where the places are not known.
std::vector<float> MatrixOf(const ORQExcShape& shape, int gridType, int nPoints, bool toNodes) {
    if (gridType == ORQSimSchema::Field_IntegrationPoint) {
        return toNodes ? ORQExcExtrapolationToNodes(shape, nPoints)
                       : ORQExcExtrapolationToMiddle(shape, nPoints);
    }
    if (!toNodes && AreAtNodes(shape, gridType, nPoints)) {
        return ORQExcNodesToMiddle(shape);
    }
    // One value of an element holds everywhere in it; faces say nothing of what is within.
    return nPoints == 1
               ? std::vector<float>(toNodes ? static_cast<std::size_t>(shape.nNodes) : 1, 1.0F)
               : std::vector<float>();
}

/// Nodes behind the corners have no share in a middle, but no number times 0 is no number.
void ForgetMiddleNodes(const ORQExcShape& shape, std::size_t nComponents,
                       std::vector<double>& values) {
    const auto nNodes = static_cast<std::size_t>(shape.nNodes);
    for (std::size_t i = 0; i < values.size(); ++i) {
        if (i / nComponents % nNodes >= static_cast<std::size_t>(shape.nCorners)) {
            values[i] = 0;
        }
    }
}

}  // namespace

void ORQExcElementValues::ReadMiddles(int frame, const ORQSimCSet& elements, int layer,
                                      int sectionPoint, std::span<double> values) const {
    std::ranges::fill(values, kNoValue);
    const std::size_t nComponents = m_field.components.size();
    for (const Class& of : ClassesOf(frame, elements)) {
        const std::vector<float> matrix =
            MatrixOf(*of.block->shape, m_field.gridType, of.NumPoints(), false);
        if (matrix.empty()) {
            continue;
        }
        ForEachSlice(of.view.members, [&](const ORQSimCSet& some) {
            std::vector<double> given = ReadClass(frame, of, some, layer, sectionPoint);
            if (AreAtNodes(*of.block->shape, m_field.gridType, of.NumPoints())) {
                ForgetMiddleNodes(*of.block->shape, nComponents, given);
            }
            std::vector<double> made(static_cast<std::size_t>(some.Size()) * nComponents);
            ORQSrvExtrapolation::ExtrapolateDoublePrecision(
                of.NumPoints(), 1, static_cast<int>(nComponents), some.Size(), given.data(),
                made.data(), matrix.data());
            for (int i = 0; i < some.Size(); ++i) {
                std::copy_n(made.begin() + std::ptrdiff_t{i} * std::ssize(m_field.components),
                            nComponents,
                            values.begin() + std::ptrdiff_t{elements.SeekMember(some[i])} *
                                                 std::ssize(m_field.components));
            }
        });
    }
}

namespace {

/// Sums and counts of values at nodes, of one group of elements after the other.
class NodeSums {
  public:
    NodeSums(int nNodes, std::size_t nComponents)
        : m_nComponents(nComponents), m_rowOf(static_cast<std::size_t>(nNodes), kNoRow) {}

    void Add(int node, const double* values) {
        if (std::any_of(values, values + m_nComponents,
                        [](double value) { return std::isnan(value); })) {
            return;
        }
        std::uint32_t& row = m_rowOf[static_cast<std::size_t>(node)];
        if (row == kNoRow) {
            row = static_cast<std::uint32_t>(m_nodes.size());
            m_nodes.push_back(node);
            m_counts.push_back(0);
            m_sums.resize(m_sums.size() + m_nComponents, 0);
        }
        ++m_counts[row];
        double* const sums = m_sums.data() + row * m_nComponents;
        for (std::size_t k = 0; k < m_nComponents; ++k) {
            sums[k] += values[k];
        }
    }

    /// The means of the group, whose sums are forgotten.
    ORQExcElementValues::AtNodes TakeMeans(const std::string& name) {
        ORQExcElementValues::AtNodes means{name, m_nodes, {}};
        std::ranges::sort(means.nodes);
        means.values.reserve(m_sums.size());
        for (const int node : means.nodes) {
            std::uint32_t& row = m_rowOf[static_cast<std::size_t>(node)];
            for (std::size_t k = 0; k < m_nComponents; ++k) {
                means.values.push_back(m_sums[row * m_nComponents + k] / m_counts[row]);
            }
            row = kNoRow;
        }
        m_nodes.clear();
        m_counts.clear();
        m_sums.clear();
        return means;
    }

  private:
    static constexpr std::uint32_t kNoRow = 0xFFFFFFFF;

    std::size_t m_nComponents;
    std::vector<std::uint32_t> m_rowOf;  // by node
    std::vector<int> m_nodes;            // by row
    std::vector<int> m_counts;
    std::vector<double> m_sums;
};

}  // namespace

/// Elements of one class in one section.
struct ORQExcElementValues::Share {
    const Class* of;
    ORQSimCSet elements;
};

/// The elements of each group that is averaged, in the order of blocks and sections.
std::vector<std::vector<ORQExcElementValues::Share>> ORQExcElementValues::GroupsOf(
    const std::vector<Class>& classes, bool acrossBorders) const {
    const ORQExcSections sections(m_model.Document());
    // By block, by address within one vector, and section; the last one is of elements without.
    std::map<std::pair<const ORQExcModel::Block*, std::size_t>, std::vector<Share>> groups;
    for (const Class& of : classes) {
        if (acrossBorders) {
            groups[{nullptr, 0}].push_back({&of, of.view.members});
            continue;
        }
        ORQSimCSet rest = of.view.members;
        for (std::size_t i = 0; i < sections.Sections().size() && !rest.IsEmpty(); ++i) {
            const ORQSimCSet common = rest.Intersection(sections.Sections()[i].elements);
            if (!common.IsEmpty()) {
                groups[{of.block, i}].push_back({&of, common});
                rest = rest - common;
            }
        }
        if (!rest.IsEmpty()) {
            groups[{of.block, sections.Sections().size()}].push_back({&of, rest});
        }
    }
    std::vector<std::vector<Share>> inOrder;
    for (auto& [key, shares] : groups) {
        inOrder.push_back(std::move(shares));
    }
    return inOrder;
}

std::vector<ORQExcElementValues::AtNodes> ORQExcElementValues::ReadNodes(
    int frame, const ORQSimCSet& elements, int layer, int sectionPoint, bool acrossBorders) const {
    const std::size_t nComponents = m_field.components.size();
    NodeSums sums(m_model.NumNodes(), nComponents);
    std::vector<double> made;
    std::vector<int> nodes;
    const auto add = [&](const Share& share) {
        const ORQExcShape& shape = *share.of->block->shape;
        const int nPoints = share.of->NumPoints();
        const bool areAtNodes = AreAtNodes(shape, m_field.gridType, nPoints);
        const std::vector<float> matrix = MatrixOf(shape, m_field.gridType, nPoints, true);
        if (matrix.empty() && !areAtNodes) {
            return;
        }
        ForEachSlice(share.elements, [&](const ORQSimCSet& some) {
            std::vector<double> given = ReadClass(frame, *share.of, some, layer, sectionPoint);
            nodes.resize(static_cast<std::size_t>(some.Size()) *
                         static_cast<std::size_t>(shape.nNodes));
            if (areAtNodes) {
                made = std::move(given);
            } else {
                made.resize(nodes.size() * nComponents);
                ORQSrvExtrapolation::ExtrapolateDoublePrecision(
                    nPoints, shape.nNodes, static_cast<int>(nComponents), some.Size(), given.data(),
                    made.data(), matrix.data());
            }
            m_model.ReadConnectivity(*share.of->block, some, nodes);
            for (std::size_t i = 0; i < nodes.size(); ++i) {
                sums.Add(nodes[i], made.data() + i * nComponents);
            }
        });
    };
    const std::vector<Class> classes = ClassesOf(frame, elements);
    std::vector<AtNodes> all;
    for (const std::vector<Share>& group : GroupsOf(classes, acrossBorders)) {
        for (const Share& share : group) {
            add(share);
        }
        all.push_back(sums.TakeMeans(acrossBorders ? "" : group.front().of->block->name));
    }
    return all;
}
