#include <fmt/format.h>

#include <algorithm>
#include <numeric>

#include "ORQExcCheck.h"
#include "check/Checks.h"

namespace orq::exchange {
namespace {

const ORQExcRule kParts = {
    .id = "ELM003",
    .level = ORQExcLevel::Note,
    .title = "mesh in several parts that share no node",
    .meaning = "elements do not connect the parts with each other",
    .breaks = "a part that nothing holds moves freely: its stiffness is singular",
    .mending = "merge coincident nodes, or tie the parts; nothing, if they are an assembly"};

/// Joins nodes by elements, in a forest of nodes of which each points to one of lower number.
class PartsRun : public ORQExcCheckRun {
  public:
    explicit PartsRun(const ORQExcCheckedModel& model)
        : m_parent(static_cast<std::size_t>(model.Model().NumNodes())), m_isUsed(m_parent.size()) {
        std::iota(m_parent.begin(), m_parent.end(), 0);
    }

    bool VisitsElements() const override { return true; }
    bool NeedsAllElements() const override { return true; }
    void Visit(const ORQExcCheckedElements& elements) override {
        if (elements.NodesEach() == 1) {
            return;  // a mass at a node is no part of its own
        }
        for (std::size_t i = 0; i < elements.ordinals.size(); ++i) {
            const std::span<const int> nodes = elements.NodesOf(i);
            for (const int node : nodes) {
                Join(nodes[0], node);
                m_isUsed[static_cast<std::size_t>(node)] = true;
            }
        }
    }

    void Finish(std::vector<ORQExcFinding>& findings) override {
        std::vector<int> firstNodes;
        for (std::size_t node = 0; node < m_parent.size(); ++node) {
            if (m_isUsed[node] && m_parent[node] == static_cast<int>(node)) {
                firstNodes.push_back(static_cast<int>(node));
            }
        }
        if (firstNodes.size() > 1) {
            findings.push_back(
                {.rule = kParts.id,
                 .message = fmt::format("{} parts; the first node of each", firstNodes.size()),
                 .place = ORQExcFinding::Place::Node,
                 .members = std::move(firstNodes)});
        }
    }

  private:
    int Root(int node) {
        // Each step halves the path for those that come after.
        while (m_parent[static_cast<std::size_t>(node)] != node) {
            int& parent = m_parent[static_cast<std::size_t>(node)];
            parent = m_parent[static_cast<std::size_t>(parent)];
            node = parent;
        }
        return node;
    }

    void Join(int a, int b) {
        const int rootOfA = Root(a);
        const int rootOfB = Root(b);
        m_parent[static_cast<std::size_t>(std::max(rootOfA, rootOfB))] = std::min(rootOfA, rootOfB);
    }

    std::vector<int> m_parent;
    std::vector<bool> m_isUsed;
};

}  // namespace

ORQExcCheck PartsCheck() {
    return {{kParts}, BeginRun<PartsRun>};
}

}  // namespace orq::exchange
