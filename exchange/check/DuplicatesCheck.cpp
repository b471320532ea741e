#include <algorithm>
#include <cstdint>
#include <map>

#include "ORQExcCheck.h"
#include "ORQSimCollection.h"
#include "check/Checks.h"
#include "model/OrdinalSet.h"

namespace orq::exchange {
namespace {

const ORQExcRule kDuplicate = {
    .id = "ELM002",
    .level = ORQExcLevel::Warning,
    .title = "element with the same nodes as another one",
    .meaning = "two elements of one shape connect the same nodes",
    .breaks = "stiffness and mass count twice there, unless layers were meant",
    .mending = "remove one of the two"};

/// The finaliser of MurmurHash3, which spreads every bit: sums of it tell sets of nodes apart.
std::uint64_t Spread(std::uint64_t value) {
    value ^= value >> 33U;
    value *= 0xff51afd7ed558ccdU;
    value ^= value >> 33U;
    value *= 0xc4ceb9fe1a85ec53U;
    return value ^ (value >> 33U);
}

class DuplicatesRun : public ORQExcCheckRun {
  public:
    explicit DuplicatesRun(const ORQExcCheckedModel& model) : m_model(model) {
        m_keys.reserve(static_cast<std::size_t>(model.Model().NumElements()));
    }

    bool VisitsElements() const override { return true; }
    void Visit(const ORQExcCheckedElements& elements) override {
        if (elements.block.shape->nNodes == 1) {
            return;  // masses and the like share nodes on purpose
        }
        for (std::size_t i = 0; i < elements.ordinals.size(); ++i) {
            // Of the shape as well; the order of the nodes does not matter to a sum.
            std::uint64_t hash = static_cast<std::uint64_t>(elements.block.shape->vtkType);
            for (const int node : elements.NodesOf(i)) {
                hash += Spread(static_cast<std::uint64_t>(node) + 1);
            }
            m_keys.push_back({hash, elements.ordinals[i]});
        }
    }

    void Finish(std::vector<ORQExcFinding>& findings) override {
        std::ranges::sort(m_keys);
        std::vector<int> alike;  // elements of one hash: almost surely duplicates
        for (std::size_t i = 0; i < m_keys.size(); ++i) {
            const bool isLikeLast = i > 0 && m_keys[i - 1].hash == m_keys[i].hash;
            const bool isLikeNext = i + 1 < m_keys.size() && m_keys[i + 1].hash == m_keys[i].hash;
            if (isLikeLast || isLikeNext) {
                alike.push_back(m_keys[i].element);
            }
        }
        m_keys = {};
        std::ranges::sort(alike);
        std::vector<int> members = Later(alike);
        if (!members.empty()) {
            std::ranges::sort(members);
            findings.push_back({.rule = kDuplicate.id,
                                .message = "has the nodes of an element before it",
                                .place = ORQExcFinding::Place::Element,
                                .members = std::move(members)});
        }
    }

  private:
    struct Key {
        std::uint64_t hash;
        int element;
        auto operator<=>(const Key&) const = default;
    };

    /// Of elements with equal nodes all but the first.
    std::vector<int> Later(const std::vector<int>& elements) const {
        std::vector<int> later;
        std::map<std::pair<const ORQExcShape*, std::vector<int>>, int> first;
        for (const ORQExcModel::Block& block : m_model.Model().Blocks()) {
            std::vector<int> ofBlock;
            std::ranges::copy_if(elements, std::back_inserter(ofBlock), [&](int element) {
                return block.elements.SeekMember(element) >= 0;
            });
            const auto nEach = static_cast<std::size_t>(block.shape->nNodes);
            std::vector<int> nodes(ofBlock.size() * nEach);
            if (ofBlock.empty()) {
                continue;
            }
            m_model.Model().ReadConnectivity(
                block, OrdinalSet(ORQSimCollection(block.elements.CollectionID()), ofBlock), nodes);
            for (std::size_t i = 0; i < ofBlock.size(); ++i) {
                const auto at = nodes.begin() + static_cast<std::ptrdiff_t>(i * nEach);
                std::vector<int> key(at, at + static_cast<std::ptrdiff_t>(nEach));
                std::ranges::sort(key);
                if (!first.emplace(std::pair(block.shape, std::move(key)), ofBlock[i]).second) {
                    later.push_back(ofBlock[i]);
                }
            }
        }
        return later;
    }

    const ORQExcCheckedModel& m_model;
    std::vector<Key> m_keys;
};

}  // namespace

ORQExcCheck DuplicatesCheck() {
    return {{kDuplicate}, BeginRun<DuplicatesRun>};
}

}  // namespace orq::exchange
