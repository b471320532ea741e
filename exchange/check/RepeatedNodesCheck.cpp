#include <fmt/format.h>

#include "ORQExcCheck.h"
#include "check/Checks.h"
#include "check/NodeTwice.h"

namespace orq::exchange {
namespace {

const ORQExcRule kRepeatedNode = {
    .id = "ELM001",
    .level = ORQExcLevel::Warning,
    .title = "element that has a node twice",
    .meaning = "two corners of the element are one node: it is collapsed to a simpler shape",
    .breaks = "its Jacobian is singular at the collapsed corner; stresses there are poor",
    .mending = "replace it by an element of the simpler shape, or separate the nodes"};

class RepeatedNodesRun : public ORQExcCheckRun {
  public:
    explicit RepeatedNodesRun(const ORQExcCheckedModel& /*model*/) {}

    bool VisitsElements() const override { return true; }
    void Visit(const ORQExcCheckedElements& elements) override {
        if (m_blocks.empty() || m_blocks.back().block != &elements.block) {
            m_blocks.push_back({&elements.block, {}});
        }
        for (std::size_t i = 0; i < elements.ordinals.size(); ++i) {
            if (HasNodeTwice(elements.NodesOf(i))) {
                m_blocks.back().members.push_back(elements.ordinals[i]);
            }
        }
    }

    void Finish(std::vector<ORQExcFinding>& findings) override {
        for (Found& found : m_blocks) {
            if (!found.members.empty()) {
                findings.push_back({.rule = kRepeatedNode.id,
                                    .object = fmt::format("block \"{}\"", found.block->name),
                                    .message = "a node stands at two places of the element",
                                    .place = ORQExcFinding::Place::Element,
                                    .members = std::move(found.members)});
            }
        }
    }

  private:
    struct Found {
        const ORQExcModel::Block* block;
        std::vector<int> members;
    };
    std::vector<Found> m_blocks;
};

}  // namespace

ORQExcCheck RepeatedNodesCheck() {
    return {{kRepeatedNode}, BeginRun<RepeatedNodesRun>};
}

}  // namespace orq::exchange
