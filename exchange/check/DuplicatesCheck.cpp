#include <algorithm>
#include <bit>
#include <cstdint>
#include <iterator>
#include <map>
#include <tuple>

#include "ORQBasAllocator.h"
#include "ORQExcCheck.h"
#include "ORQSimCollection.h"
#include "check/Checks.h"
#include "model/OrdinalSet.h"
#include "model/RepeatFilter.h"

namespace orq::exchange {
namespace {

const ORQExcRule kDuplicate = {
    .id = "ELM002",
    .level = ORQExcLevel::Warning,
    .title = "element with the same nodes as another one",
    .meaning =
        "two elements of one shape connect the same nodes; of springs and the like, two of "
        "one block with the same attributes",
    .breaks = "stiffness and mass count twice there, unless layers were meant",
    .mending = "remove one of the two"};

class DuplicatesRun : public ORQExcCheckRun {
  public:
    explicit DuplicatesRun(const ORQExcCheckedModel& model) : m_model(model) {
        m_hashes.reserve(static_cast<std::size_t>(model.Model().NumElements()));
    }

    bool VisitsElements() const override { return true; }
    void Visit(const ORQExcCheckedElements& elements) override {
        if (elements.block.shape->nNodes == 1) {
            return;  // masses and the like share nodes on purpose
        }
        if (m_blocks.empty() || m_blocks.back().block != &elements.block) {
            m_blocks.push_back({&elements.block, m_hashes.size()});
        }
        for (std::size_t i = 0; i < elements.ordinals.size(); ++i) {
            std::uint64_t sum = 0;
            for (const std::uint64_t hash : elements.HashesOf(i)) {
                sum += hash;
            }
            m_hashes.push_back(sum);
        }
    }

    void Finish(std::vector<ORQExcFinding>& findings) override {
        std::vector<std::pair<std::uint64_t, int>> candidates;
        for (const std::size_t place : PlacesOfRepeated(m_hashes)) {
            candidates.emplace_back(m_hashes[place], ElementAt(place));
        }
        m_hashes = {};
        std::ranges::sort(candidates);
        std::vector<int> alike;  // elements of one hash: almost surely duplicates
        for (std::size_t i = 1; i < candidates.size(); ++i) {
            if (candidates[i - 1].first == candidates[i].first) {
                alike.push_back(candidates[i - 1].second);
                alike.push_back(candidates[i].second);
            }
        }
        std::ranges::sort(alike);
        // An element that stands in two blocks is no other one.
        alike.erase(std::unique(alike.begin(), alike.end()), alike.end());
        std::vector<int> members = Later(alike);
        if (!members.empty()) {
            findings.push_back({.rule = kDuplicate.id,
                                .message = "has the nodes of an element before it",
                                .place = ORQExcFinding::Place::Element,
                                .members = std::move(members)});
        }
    }

  private:
    /// The elements of a block whose hashes follow each other, from a place on.
    struct Hashed {
        const ORQExcModel::Block* block;
        std::size_t first;
    };

    int ElementAt(std::size_t hashed) const {
        const auto next = std::ranges::upper_bound(m_blocks, hashed, {}, &Hashed::first);
        const Hashed& of = *std::prev(next);
        return of.block->elements[static_cast<int>(hashed - of.first)];
    }

    /// What makes elements duplicates: the shape, or the block of lines, which may lie upon each
    /// other as a rod along a bar; the nodes; and the attributes of lines, such as the component
    /// of a spring.
    using Alike = std::tuple<const void*, std::vector<int>, std::vector<std::uint64_t>>;

    /// Elements that have the nodes of an earlier one, ascending.
    std::vector<int> Later(const std::vector<int>& elements) const {
        std::vector<int> later;
        std::map<Alike, int> first;
        for (const ORQExcModel::Block& block : m_model.Model().Blocks()) {
            const bool areLines = block.shape->dimension == 1;
            const void* const kind = areLines ? static_cast<const void*>(&block) : block.shape;
            std::vector<int> ofBlock;
            std::ranges::copy_if(elements, std::back_inserter(ofBlock), [&](int element) {
                return block.elements.SeekMember(element) >= 0;
            });
            const auto nEach = static_cast<std::size_t>(block.shape->nNodes);
            std::vector<int> nodes(ofBlock.size() * nEach);
            if (ofBlock.empty()) {
                continue;
            }
            const ORQSimCSet set =
                OrdinalSet(ORQSimCollection(block.elements.CollectionID()), ofBlock);
            m_model.Model().ReadConnectivity(block, set, nodes);
            const std::size_t nAttributes = areLines ? block.attributes.size() : 0;
            const std::vector<std::uint64_t> attributes =
                nAttributes > 0 ? AttributesOf(block, set) : std::vector<std::uint64_t>();
            for (std::size_t i = 0; i < ofBlock.size(); ++i) {
                std::vector<int> ofElement = Row(nodes, i, nEach);
                std::ranges::sort(ofElement);
                const auto [known, isNew] = first.emplace(
                    Alike{kind, std::move(ofElement), Row(attributes, i, nAttributes)}, ofBlock[i]);
                if (!isNew && known->second != ofBlock[i]) {
                    later.push_back(ofBlock[i]);
                }
            }
        }
        std::ranges::sort(later);
        later.erase(std::unique(later.begin(), later.end()), later.end());
        return later;
    }

    /// Attributes as bits, which compare also where a value is no number.
    std::vector<std::uint64_t> AttributesOf(const ORQExcModel::Block& block,
                                            const ORQSimCSet& elements) const {
        std::vector<double> values(static_cast<std::size_t>(elements.Size()) *
                                   block.attributes.size());
        m_model.Model().ReadAttributes(block, elements, values);
        std::vector<std::uint64_t> bits;
        std::ranges::transform(values, std::back_inserter(bits),
                               [](double value) { return std::bit_cast<std::uint64_t>(value); });
        return bits;
    }

    template <class Value>
    static std::vector<Value> Row(const std::vector<Value>& table, std::size_t row,
                                  std::size_t size) {
        const auto begin = table.begin() + static_cast<std::ptrdiff_t>(row * size);
        return {begin, begin + static_cast<std::ptrdiff_t>(size)};
    }

    const ORQExcCheckedModel& m_model;
    ORQBasLargeVector<std::uint64_t> m_hashes;
    std::vector<Hashed> m_blocks;
};

}  // namespace

ORQExcCheck DuplicatesCheck() {
    return {{kDuplicate}, BeginRun<DuplicatesRun>};
}

}  // namespace orq::exchange
