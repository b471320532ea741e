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

// Values of so many elements at all their points stay in the processor's cache between steps.
constexpr int kElementsAtOnce = 4096;

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

    /// The number counts points below the first that was written, too: places are those in the
    /// element.
    int NumPoints() const { return std::max(1, view.points.Last() + 1); }
    ORQSimIntRange Points() const { return {0, view.points.Last()}; }
};

ORQExcElementValues::ORQExcElementValues(const ORQExcModel& model, const ORQExcResults& results,
                                         const ORQExcResults::Field& field)
    : m_model(model), m_results(results), m_field(field) {}

std::vector<ORQExcElementValues::Class> ORQExcElementValues::ClassesOf(
    const std::vector<ORQObjFieldView>& views) const {
    std::vector<Class> classes;
    for (const ORQObjFieldView& view : views) {
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
        ORQObjFieldView wanted = ORQExcResults::ViewAt(elements, {layer, sectionPoint, -1});
        wanted.points = of.Points();
        m_results.ReadView(m_field, frame, wanted, values);
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
    for (const Class& of : ClassesOf(m_results.ViewsOf(m_field, frame, elements))) {
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

using To = ORQExcElementValues::To;

/// Weights from an element's points to its nodes or middle; empty where the places are not known.
std::vector<float> MatrixOf(const ORQExcShape& shape, int gridType, int nPoints, To to) {
    if (gridType == ORQSimSchema::Field_IntegrationPoint) {
        return to == To::Nodes ? ORQExcExtrapolationToNodes(shape, nPoints)
                               : ORQExcExtrapolationToMiddle(shape, nPoints);
    }
    if (to == To::Middles && AreAtNodes(shape, gridType, nPoints)) {
        return ORQExcNodesToMiddle(shape);
    }
    // One value of an element holds everywhere in it; faces say nothing of what is within.
    const std::size_t nPlaces = to == To::Nodes ? static_cast<std::size_t>(shape.nNodes) : 1;
    return nPoints == 1 ? std::vector<float>(nPlaces, 1.0F) : std::vector<float>();
}

/// Values [elements][places][components], of values [elements][points][components].
std::vector<double> Extrapolated(const std::vector<double>& values,
                                 const std::vector<float>& matrix, int nPoints,
                                 std::size_t nComponents) {
    const std::size_t nElements = values.size() / nComponents / static_cast<std::size_t>(nPoints);
    const std::size_t nPlaces = matrix.size() / static_cast<std::size_t>(nPoints);
    std::vector<double> made(nElements * nPlaces * nComponents);
    ORQSrvExtrapolation::ExtrapolateDoublePrecision(
        nPoints, static_cast<int>(nPlaces), static_cast<int>(nComponents),
        static_cast<int>(nElements), values.data(), made.data(), matrix.data());
    return made;
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
    for (const Class& of : ClassesOf(m_results.ViewsOf(m_field, frame, elements))) {
        const std::vector<float> matrix =
            MatrixOf(*of.block->shape, m_field.gridType, of.NumPoints(), To::Middles);
        if (matrix.empty()) {
            continue;
        }
        ForEachSlice(of.view.members, [&](const ORQSimCSet& some) {
            std::vector<double> given = ReadClass(frame, of, some, layer, sectionPoint);
            if (AreAtNodes(*of.block->shape, m_field.gridType, of.NumPoints())) {
                ForgetMiddleNodes(*of.block->shape, nComponents, given);
            }
            const std::vector<double> made =
                Extrapolated(given, matrix, of.NumPoints(), nComponents);
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

/// Sums and counts of values at nodes.
class NodeSums {
  public:
    NodeSums(int nNodes, std::size_t nComponents)
        : m_nComponents(nComponents), m_rowOf(static_cast<std::size_t>(nNodes), kNoRow) {}

    /// Values [nodes][components]; a node may come several times. What lacks a component is left out.
    void Add(std::span<const int> nodes, std::span<const double> values) {
        for (std::size_t i = 0; i < nodes.size(); ++i) {
            Add(nodes[i], values.data() + i * m_nComponents);
        }
    }

    ORQExcElementValues::AtNodes Means() && {
        ORQExcElementValues::AtNodes means{std::move(m_nodes), {}};
        std::ranges::sort(means.nodes);
        means.values.reserve(m_sums.size());
        for (const int node : means.nodes) {
            const std::uint32_t row = m_rowOf[static_cast<std::size_t>(node)];
            for (std::size_t k = 0; k < m_nComponents; ++k) {
                means.values.push_back(m_sums[row * m_nComponents + k] / m_counts[row]);
            }
        }
        return means;
    }

  private:
    static constexpr std::uint32_t kNoRow = 0xFFFFFFFF;

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

    std::size_t m_nComponents;
    std::vector<std::uint32_t> m_rowOf;  // by node
    std::vector<int> m_nodes;            // by row
    std::vector<int> m_counts;
    std::vector<double> m_sums;
};

}  // namespace

std::vector<ORQExcElementValues::Group> ORQExcElementValues::GroupsOf(const ORQSimCSet& elements,
                                                                      bool acrossBorders) const {
    if (acrossBorders) {
        return {{"", "", elements}};
    }
    if (!m_sections) {
        m_sections.emplace(m_model.Document());
    }
    std::vector<Group> groups;
    for (const ORQExcModel::Block& block : m_model.Blocks()) {
        ORQSimCSet rest = block.elements.Intersection(elements);
        for (const ORQExcSections::Section& section : m_sections->Sections()) {
            if (rest.IsEmpty()) {
                break;
            }
            const ORQSimCSet common = rest.Intersection(section.elements);
            if (!common.IsEmpty()) {
                groups.push_back({block.name, section.name, common});
                rest = rest - common;
            }
        }
        if (!rest.IsEmpty()) {
            groups.push_back({block.name, "", rest});
        }
    }
    return groups;
}

ORQSimCSet ORQExcElementValues::ElementsCarried(To to) const {
    ORQSimCSet carried;
    for (const Class& of : ClassesOf(m_results.ViewsOf(m_field))) {
        const ORQExcShape& shape = *of.block->shape;
        if (AreAtNodes(shape, m_field.gridType, of.NumPoints()) ||
            !MatrixOf(shape, m_field.gridType, of.NumPoints(), to).empty()) {
            carried = carried.Union(of.view.members);
        }
    }
    return carried;
}

ORQExcElementValues::AtNodes ORQExcElementValues::ReadNodes(int frame, const ORQSimCSet& elements,
                                                            int layer, int sectionPoint) const {
    NodeSums sums(m_model.NumNodes(), m_field.components.size());
    std::vector<int> nodes;
    for (const Class& of : ClassesOf(m_results.ViewsOf(m_field, frame, elements))) {
        const ORQExcShape& shape = *of.block->shape;
        const bool areAtNodes = AreAtNodes(shape, m_field.gridType, of.NumPoints());
        const std::vector<float> matrix =
            MatrixOf(shape, m_field.gridType, of.NumPoints(), To::Nodes);
        if (!areAtNodes && matrix.empty()) {
            continue;
        }
        ForEachSlice(of.view.members, [&](const ORQSimCSet& some) {
            std::vector<double> values = ReadClass(frame, of, some, layer, sectionPoint);
            if (!areAtNodes) {
                values = Extrapolated(values, matrix, of.NumPoints(), m_field.components.size());
            }
            nodes.resize(static_cast<std::size_t>(some.Size()) *
                         static_cast<std::size_t>(shape.nNodes));
            m_model.ReadConnectivity(*of.block, some, nodes);
            sums.Add(nodes, values);
        });
    }
    return std::move(sums).Means();
}
