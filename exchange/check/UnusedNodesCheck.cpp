#include "ORQExcCheck.h"
#include "check/Checks.h"
#include "edit/NodeUse.h"

namespace orq::exchange {
namespace {

const ORQExcRule kUnusedNode = {
    .id = "NOD002",
    .level = ORQExcLevel::Warning,
    .title = "node that no element uses",
    .meaning = "no element has the node, and no constraint or card kept as text names it",
    .breaks = "nothing holds the node: analyses call its degrees of freedom singular",
    .mending = "remove the node: orqmodel edit NAME.orq drop-unused nodes"};

class UnusedNodesRun : public ORQExcCheckRun {
  public:
    explicit UnusedNodesRun(const ORQExcCheckedModel& model)
        : m_model(model.Model()), m_isUsed(static_cast<std::size_t>(m_model.NumNodes())) {}

    bool VisitsElements() const override { return true; }
    bool NeedsAllElements() const override { return true; }
    void Visit(const ORQExcCheckedElements& elements) override {
        for (const int node : elements.nodes) {
            m_isUsed[static_cast<std::size_t>(node)] = 1;
        }
        m_hasElements = true;
    }

    void Finish(std::vector<ORQExcFinding>& findings) override {
        // A model of nothing but nodes is a cloud of points.
        if (!m_hasElements) {
            return;
        }
        MarkNodesOfOtherUse(m_model, m_isUsed);
        std::vector<int> members;
        for (std::size_t node = 0; node < m_isUsed.size(); ++node) {
            if (m_isUsed[node] == 0) {
                members.push_back(static_cast<int>(node));
            }
        }
        if (!members.empty()) {
            findings.push_back({.rule = kUnusedNode.id,
                                .message = "used by no element",
                                .place = ORQExcFinding::Place::Node,
                                .members = std::move(members)});
        }
    }

  private:
    const ORQExcModel& m_model;
    std::vector<char> m_isUsed;
    bool m_hasElements = false;
};

}  // namespace

ORQExcCheck UnusedNodesCheck() {
    return {{kUnusedNode}, BeginRun<UnusedNodesRun>};
}

}  // namespace orq::exchange
