#include "ORQExcCheck.h"
#include "check/Checks.h"

namespace orq::exchange {
namespace {

const ORQExcRule kUnused = {
    .id = "NOD002",
    .level = ORQExcLevel::Warning,
    .title = "node that no element uses",
    .meaning = "no element has the node",
    .breaks = "nothing holds the node: analyses call its degrees of freedom singular",
    .mending = "remove the node, unless a constraint or an output request needs it"};

class UnusedNodesRun : public ORQExcCheckRun {
  public:
    explicit UnusedNodesRun(const ORQExcCheckedModel& model)
        : m_isUsed(static_cast<std::size_t>(model.Model().NumNodes())) {}

    bool VisitsElements() const override { return true; }
    void Visit(const ORQExcCheckedElements& elements) override {
        for (const int node : elements.nodes) {
            m_isUsed[static_cast<std::size_t>(node)] = true;
        }
        m_hasElements = true;
    }

    void Finish(std::vector<ORQExcFinding>& findings) override {
        std::vector<int> members;
        for (std::size_t node = 0; node < m_isUsed.size(); ++node) {
            if (!m_isUsed[node]) {
                members.push_back(static_cast<int>(node));
            }
        }
        // A model of nothing but nodes is a cloud of points, which is said by its having no elements.
        if (!members.empty() && m_hasElements) {
            findings.push_back({.rule = kUnused.id,
                                .message = "used by no element",
                                .place = ORQExcFinding::Place::Node,
                                .members = std::move(members)});
        }
    }

  private:
    std::vector<bool> m_isUsed;
    bool m_hasElements = false;
};

}  // namespace

ORQExcCheck UnusedNodesCheck() {
    return {{kUnused}, BeginRun<UnusedNodesRun>};
}

}  // namespace orq::exchange
