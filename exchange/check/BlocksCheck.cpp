#include <algorithm>
#include <utility>
#include <vector>

#include "ORQExcCheck.h"
#include "check/Checks.h"

namespace orq::exchange {
namespace {

const ORQExcRule kInNoBlock = {
    .id = "ELM020",
    .level = ORQExcLevel::Warning,
    .title = "element in no block",
    .meaning = "no block has the element, so that its shape is not known",
    .breaks = "the element is neither shown nor exported, and takes part in no measure of the mesh",
    .mending = "write the blocks again, so that each element is in one"};

class BlocksRun : public ORQExcCheckRun {
  public:
    explicit BlocksRun(const ORQExcCheckedModel& model) : m_model(model.Model()) {}

    void Finish(std::vector<ORQExcFinding>& findings) override {
        if (m_model.Blocks().empty()) {
            return;  // what keeps such a model from being displayed is told already
        }
        std::vector<bool> isInBlock(static_cast<std::size_t>(m_model.NumElements()));
        for (const ORQExcModel::Block& block : m_model.Blocks()) {
            for (ORQSimCSetIterator element{block.elements}; !element.IsDone(); element.Next()) {
                isInBlock[static_cast<std::size_t>(element.CurrentValue())] = true;
            }
        }
        std::vector<int> members;
        for (int element = 0; element < m_model.NumElements(); ++element) {
            if (!isInBlock[static_cast<std::size_t>(element)]) {
                members.push_back(element);
            }
        }
        if (!members.empty()) {
            findings.push_back({.rule = kInNoBlock.id,
                                .message = "is in no block",
                                .place = ORQExcFinding::Place::Element,
                                .members = std::move(members)});
        }
    }

  private:
    const ORQExcModel& m_model;
};

}  // namespace

ORQExcCheck BlocksCheck() {
    return {{kInNoBlock}, BeginRun<BlocksRun>};
}

}  // namespace orq::exchange
