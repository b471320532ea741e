#include <fmt/format.h>

#include <algorithm>

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
        : m_parent(static_cast<std::size_t>(model.Model().NumNodes()), kUnused) {}

    bool VisitsElements() const override { return true; }
    bool NeedsAllElements() const override { return true; }
    void Visit(const ORQExcCheckedElements& elements) override {
        if (elements.NodesEach() == 1) {
            return;  // a mass at a node is no part of its own
        }
        for (std::size_t i = 0; i < elements.ordinals.size(); ++i) {
            const std::span<const int> nodes = elements.NodesOf(i);
            int root = Root(nodes[0]);
            for (const int node : nodes.subspan(1)) {
                if (m_parent[static_cast<std::size_t>(node)] != root) {
                    root = Join(root, Root(node));
                }
            }
        }
    }

    void Finish(std::vector<ORQExcFinding>& findings) override {
        std::vector<int> firstNodes;
        for (std::size_t node = 0; node < m_parent.size(); ++node) {
            if (m_parent[node] == static_cast<int>(node)) {
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
    static constexpr int kUnused = -1;

    int Root(int node) {
        if (m_parent[static_cast<std::size_t>(node)] == kUnused) {
            return m_parent[static_cast<std::size_t>(node)] = node;
        }
        // Each step halves the path for those that come after.
        while (m_parent[static_cast<std::size_t>(node)] != node) {
            int& parent = m_parent[static_cast<std::size_t>(node)];
            parent = m_parent[static_cast<std::size_t>(parent)];
            node = parent;
        }
        return node;
    }

    /// Of two roots the lower one stays.
    int Join(int a, int b) {
        return m_parent[static_cast<std::size_t>(std::max(a, b))] = std::min(a, b);
    }

    std::vector<int> m_parent;
};

}  // namespace

ORQExcCheck PartsCheck() {
    return {{kParts}, BeginRun<PartsRun>};
}

}  // namespace orq::exchange
