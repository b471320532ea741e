#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <numeric>
#include <utility>

#include "ORQExcCheck.h"
#include "ORQExcPoint.h"
#include "ORQObjLabeler.h"
#include "check/Checks.h"
#include "check/RigidElements.h"
#include "edit/CoincidentNodes.h"
#include "edit/NodeUse.h"

namespace orq::exchange {
namespace {

const ORQExcRule kCoincident = {
    .id = "NOD003",
    .level = ORQExcLevel::Warning,
    .title = "nodes at the same place that nothing joins",
    .meaning =
        "two nodes of one part lie within the tolerance of each other, and no element, spring or "
        "rigid element has both",
    .breaks = "the mesh is open there, as if it were cut",
    .mending =
        "merge them: orqmodel edit NAME.orq merge-nodes; nothing, where a crack, a contact or "
        "a tie is meant",
    .limit = 1e-9,
    .limitOf = "of the diagonal of the model"};

class CoincidentNodesRun : public ORQExcCheckRun {
  public:
    explicit CoincidentNodesRun(const ORQExcCheckedModel& model)
        : m_model(model), m_tolerance(model.Limit(kCoincident) * model.Diagonal()) {}

    bool VisitsElements() const override { return m_model.Model().Dimension() > 0; }
    bool NeedsAllElements() const override { return true; }
    void Visit(const ORQExcCheckedElements& elements) override {
        m_hasElements = true;
        for (std::size_t i = 0; i < elements.ordinals.size(); ++i) {
            if (elements.shortestEdges[i] <= m_tolerance) {
                AddJoined(*elements.block.shape, elements.NodesOf(i), elements.PointsOf(i));
            }
        }
    }

    void Finish(std::vector<ORQExcFinding>& findings) override {
        if (!m_hasElements) {
            return;
        }
        std::ranges::sort(m_joined);
        std::vector<int> members;
        for (const std::vector<int>& nodes : Parts()) {
            AddCoincident(nodes, members);
        }
        std::ranges::sort(members);
        members.erase(std::unique(members.begin(), members.end()), members.end());
        if (!members.empty()) {
            findings.push_back(
                {.rule = kCoincident.id,
                 .message = fmt::format("lie within {:.3g} of each other", m_tolerance),
                 .place = ORQExcFinding::Place::Node,
                 .members = std::move(members)});
        }
    }

  private:
    using Pair = std::pair<int, int>;

    /// Springs and cohesive elements join nodes at one place on purpose.
    void AddJoined(const ORQExcShape& shape, std::span<const int> nodes,
                   std::span<const double> points) {
        const auto at = [&](int place) {
            const double* const point = points.data() + std::ptrdiff_t{3} * place;
            return Point{point[0], point[1], point[2]};
        };
        for (const ORQExcShape::Side& edge : shape.edges) {
            const int from = edge.nodes[0];
            const int to = edge.nodes[1];
            if (Length(at(to) - at(from)) <= m_tolerance) {
                m_joined.push_back(std::minmax(nodes[static_cast<std::size_t>(from)],
                                               nodes[static_cast<std::size_t>(to)]));
            }
        }
    }

    /// Nodes of each instance, or all nodes where there are no two.
    std::vector<std::vector<int>> Parts() const {
        ORQObjLabeler labeler(m_model.Document(), ORQObjLabelerType::Node);
        labeler.Read();
        std::vector<std::vector<int>> parts;
        if (labeler.Occurrences().Size() > 1) {
            for (ORQExcModel::Instance& instance : m_model.Model().Instances()) {
                parts.push_back(std::move(instance.nodes));
            }
        } else {
            parts.emplace_back(static_cast<std::size_t>(m_model.Model().NumNodes()));
            std::iota(parts[0].begin(), parts[0].end(), 0);
        }
        return parts;
    }

    /// Takes only nodes of elements: others open no mesh.
    void AddCoincident(const std::vector<int>& nodes, std::vector<int>& members) {
        // Most nodes are alone, which is known at a fraction of the cost of finding their nearest.
        std::vector<int> candidates = PossiblyCoincident(m_model.Points(), nodes, m_tolerance);
        std::vector<Pair> pairs = PairsOf(candidates);
        if (pairs.empty()) {
            return;
        }
        if (m_isUsed.empty()) {
            m_isUsed = NodesOfElements(m_model.Model());
        }
        const auto isUnused = [&](int node) {
            return m_isUsed[static_cast<std::size_t>(node)] == 0;
        };
        if (std::erase_if(candidates, isUnused) > 0) {
            pairs = PairsOf(candidates);
        }
        for (const auto& [other, node] : pairs) {
            if (!std::ranges::binary_search(m_joined, Pair(std::minmax(node, other))) &&
                !AreTied(node, other)) {
                members.push_back(other);
                members.push_back(node);
            }
        }
    }

    /// Pairs each node that lies within the tolerance of an earlier one with the nearest of those.
    std::vector<Pair> PairsOf(const std::vector<int>& nodes) const {
        std::vector<Point> points;
        std::ranges::transform(nodes, std::back_inserter(points), [&](int node) {
            return m_model.Points()[static_cast<std::size_t>(node)];
        });
        CoincidentNodes coincident(points, m_tolerance);
        std::vector<Pair> pairs;
        for (int i = 0; i < std::ssize(nodes); ++i) {
            const int near = coincident.Find(i);
            if (near < 0) {
                coincident.Add(i);
            } else {
                pairs.emplace_back(nodes[static_cast<std::size_t>(near)],
                                   nodes[static_cast<std::size_t>(i)]);
            }
        }
        return pairs;
    }

    /// Rigid elements are sets of their nodes.
    bool AreTied(int node, int other) const {
        return std::ranges::any_of(m_model.Model().NodeSets(), [&](const ORQExcModel::Set& set) {
            return IsRigidElement(set) && set.members.SeekMember(node) >= 0 &&
                   set.members.SeekMember(other) >= 0;
        });
    }

    const ORQExcCheckedModel& m_model;
    double m_tolerance;
    std::vector<char> m_isUsed;  // by node, whether an element has it; empty before it is asked for
    bool m_hasElements = false;
    std::vector<Pair> m_joined;  // ascending
};

}  // namespace

ORQExcCheck CoincidentNodesCheck() {
    return {{kCoincident}, BeginRun<CoincidentNodesRun>};
}

}  // namespace orq::exchange
