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
        std::vector<char> isInBlock(static_cast<std::size_t>(m_model.NumElements()), 0);
        std::vector<int> ofBlock;
        for (const ORQExcModel::Block& block : m_model.Blocks()) {
            ofBlock.resize(static_cast<std::size_t>(block.elements.Size()));
            block.elements.OrderedMembers(ofBlock.data());
            for (const int element : ofBlock) {
                isInBlock[static_cast<std::size_t>(element)] = 1;
            }
        }
        std::vector<int> members;
        auto element = std::ranges::find(isInBlock, 0);
        for (; element != isInBlock.end(); element = std::find(element + 1, isInBlock.end(), 0)) {
            members.push_back(static_cast<int>(element - isInBlock.begin()));
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
