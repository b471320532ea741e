#include <fmt/format.h>

#include <algorithm>

#include "ORQExcCheck.h"
#include "check/Checks.h"
#include "check/NodeForest.h"
#include "check/RigidElements.h"

namespace orq::exchange {
namespace {

const ORQExcRule kParts = {
    .id = "ELM003",
    .level = ORQExcLevel::Note,
    .title = "mesh in several parts that share no node",
    .meaning = "neither elements nor rigid elements connect the parts with each other",
    .breaks = "a part that nothing holds moves freely: its stiffness is singular",
    .mending = "merge coincident nodes, or tie the parts; nothing, if they are an assembly"};

class PartsRun : public ORQExcCheckRun {
  public:
    explicit PartsRun(const ORQExcCheckedModel& model)
        : m_model(model.Model()), m_forest(static_cast<std::size_t>(m_model.NumNodes())) {}

    bool VisitsElements() const override { return true; }
    bool NeedsAllElements() const override { return true; }
    void Visit(const ORQExcCheckedElements& elements) override {
        if (elements.NodesEach() == 1) {
            return;  // a mass at a node is no part of its own
        }
        for (std::size_t i = 0; i < elements.ordinals.size(); ++i) {
            m_forest.Join(elements.NodesOf(i));
        }
    }

    void Finish(std::vector<ORQExcFinding>& findings) override {
        JoinRigid();
        std::vector<Part> parts = Parts();
        if (parts.size() < 2) {
            return;
        }
        std::vector<int> firstNodes;
        std::string counts;
        for (const Part& part : parts) {
            if (firstNodes.size() < kMostTold) {
                counts += fmt::format("{}{}", counts.empty() ? "" : ", ", part.nNodes);
            }
            firstNodes.push_back(part.root);
        }
        findings.push_back(
            {.rule = kParts.id,
             .message = fmt::format("{} parts, of {}{} nodes; the first node of each", parts.size(),
                                    counts, parts.size() > kMostTold ? ", ..." : ""),
             .place = ORQExcFinding::Place::Node,
             .members = std::move(firstNodes)});
    }

  private:
    // A mesh of pieces, such as grains, has thousands of parts; the members name all.
    static constexpr std::size_t kMostTold = 5;

    struct Part {
        int root;
        int nNodes;
    };

    void JoinRigid() {
        for (const ORQExcModel::Set& set : m_model.NodeSets()) {
            std::vector<int> nodes;
            for (ORQSimCSetIterator node{set.members}; IsRigidElement(set) && !node.IsDone();
                 node.Next()) {
                nodes.push_back(node.CurrentValue());
            }
            if (!nodes.empty()) {
                m_forest.Join(nodes);
            }
        }
    }

    /// The parts in the order of their first nodes.
    std::vector<Part> Parts() {
        std::vector<Part> parts;
        for (int node = 0; node < m_model.NumNodes(); ++node) {
            if (!m_forest.IsUsed(node)) {
                continue;
            }
            const int root = m_forest.Root(node);
            if (root == node) {
                parts.push_back({root, 0});
            }
            // A root is the lowest node of its part, so its part is known by now.
            ++std::ranges::lower_bound(parts, root, {}, &Part::root)->nNodes;
        }
        return parts;
    }

    const ORQExcModel& m_model;
    NodeForest m_forest;
};

}  // namespace

ORQExcCheck PartsCheck() {
    return {{kParts}, BeginRun<PartsRun>};
}

}  // namespace orq::exchange
