#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <span>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "compare/ComparedModels.h"
#include "compare/Pairs.h"
#include "model/OrdinalSet.h"

namespace orq::exchange {
namespace {

using Block = ORQExcModel::Block;
using Members = std::vector<ORQExcDifference::Member>;
using Change = ORQExcDifference::Change;

ORQSimCSet ElementSet(const Block& block, std::span<const int> elements) {
    return OrdinalSet(ORQSimCollection(block.elements.CollectionID()), elements);
}

std::vector<int> MembersOf(const ORQSimCSet& set) {
    std::vector<int> members(static_cast<std::size_t>(set.Size()));
    set.OrderedMembers(members.data());
    return members;
}

/// The elements of both models, block by block.
class Elements {
  public:
    explicit Elements(ComparedModels& models)
        : m_models(models),
          m_blockOf(static_cast<std::size_t>(models.after.NumElements()), nullptr) {
        for (const Block& block : models.after.Blocks()) {
            for (const int element : MembersOf(block.elements)) {
                m_blockOf[static_cast<std::size_t>(element)] = &block;
            }
        }
        for (const auto& [before, after] :
             PairsOf(PointersTo(models.before.Blocks()), PointersTo(models.after.Blocks()),
                     models.differences.Options().byNumber)) {
            m_partners[before] = after;
        }
    }

    void Compare() {
        for (const Block& block : m_models.before.Blocks()) {
            const std::vector<int> members = MembersOf(block.elements);
            for (std::size_t begin = 0; begin < members.size(); begin += ComparedModels::kChunk) {
                const std::size_t count =
                    std::min<std::size_t>(ComparedModels::kChunk, members.size() - begin);
                CompareSome(block,
                            m_models.elements.PairsOf(std::span(members).subspan(begin, count)));
            }
        }
        AddAll();
    }

  private:
    /// Compares some elements of a block, grouped by their blocks in the second model.
    void CompareSome(const Block& before, const Matching::Pairs& pairs) {
        std::map<const Block*, Matching::Pairs> byBlock;
        for (std::size_t i = 0; i < pairs.before.size(); ++i) {
            Matching::Pairs& some = byBlock[m_blockOf[static_cast<std::size_t>(pairs.after[i])]];
            some.before.push_back(pairs.before[i]);
            some.after.push_back(pairs.after[i]);
        }
        for (const auto& [after, some] : byBlock) {
            if (after != m_partners[&before]) {
                Append("block", before.name, after == nullptr ? "none" : after->name, some.before);
            }
            if (after != nullptr) {
                CompareWithin(before, *after, some);
            }
        }
    }

    void CompareWithin(const Block& before, const Block& after, const Matching::Pairs& pairs) {
        if (before.shape != after.shape) {
            Append("shape", before.shape->name, after.shape->name, pairs.before);
        } else {
            CompareConnectivity(before, after, pairs);
        }
        CompareAttributes(before, after, pairs);
    }

    void CompareConnectivity(const Block& before, const Block& after,
                             const Matching::Pairs& pairs) {
        const auto nNodes = static_cast<std::size_t>(before.shape->nNodes);
        std::vector<int> from(pairs.before.size() * nNodes);
        std::vector<int> to(from.size());
        m_models.before.ReadConnectivity(before, ElementSet(before, pairs.before), from);
        m_models.after.ReadConnectivity(after, ElementSet(after, pairs.after), to);
        for (std::size_t i = 0; i < pairs.before.size(); ++i) {
            // Nodes are equal when they are matched, whatever their ordinals.
            const auto isSame = [&](int a, int b) { return m_models.nodes.ImageOf(a) == b; };
            if (!std::equal(from.begin() + static_cast<std::ptrdiff_t>(i * nNodes),
                            from.begin() + static_cast<std::ptrdiff_t>((i + 1) * nNodes),
                            to.begin() + static_cast<std::ptrdiff_t>(i * nNodes), isSame)) {
                m_changes[{"connectivity", "", ""}].push_back(
                    m_models.elements.Before(pairs.before[i]));
            }
        }
    }

    /// Compares the attributes that both blocks have; others are a difference of the blocks.
    void CompareAttributes(const Block& before, const Block& after, const Matching::Pairs& pairs) {
        if (before.attributes.empty() || after.attributes.empty()) {
            return;
        }
        std::vector<double> from(pairs.before.size() * before.attributes.size());
        std::vector<double> to(pairs.after.size() * after.attributes.size());
        m_models.before.ReadAttributes(before, ElementSet(before, pairs.before), from);
        m_models.after.ReadAttributes(after, ElementSet(after, pairs.after), to);
        for (std::size_t column = 0; column < before.attributes.size(); ++column) {
            const std::string& name = before.attributes[column];
            const auto same = std::ranges::find(after.attributes, name);
            if (same == after.attributes.end()) {
                continue;
            }
            const auto other = static_cast<std::size_t>(same - after.attributes.begin());
            for (std::size_t i = 0; i < pairs.before.size(); ++i) {
                const double a = from[i * before.attributes.size() + column];
                const double b = to[i * after.attributes.size() + other];
                if (!m_models.differences.AreEqual(a, b)) {
                    AppendValue("attribute " + name, a, b, pairs.before[i]);
                }
            }
        }
    }

    void Append(const std::string& what, const std::string& before, const std::string& after,
                const std::vector<int>& elements) {
        Members& members = m_changes[{what, before, after}];
        for (const int element : elements) {
            members.push_back(m_models.elements.Before(element));
        }
    }

    /// Enters a pair of values. Values differ from element to element, so they are one change,
    /// which shows the largest difference.
    void AppendValue(const std::string& what, double before, double after, int element) {
        ValueChange& change = m_valueChanges[what];
        change.members.push_back(m_models.elements.Before(element));
        const double amount = std::abs(after - before);
        change.members.back().amount = amount;
        if (change.members.size() == 1 || amount > change.largest) {
            change.largest = amount;
            change.before = NumberText(before);
            change.after = NumberText(after);
        }
    }

    void AddAll() {
        const auto add = [&](const std::string& what, const std::string& before,
                             const std::string& after, Members& members) {
            m_models.differences.AddMembers(DifferenceKind::Element, Change::Changed, {}, what,
                                            std::move(members));
            m_models.differences.All().back().before = before;
            m_models.differences.All().back().after = after;
        };
        for (auto& [change, members] : m_changes) {
            add(std::get<0>(change), std::get<1>(change), std::get<2>(change), members);
        }
        for (auto& [what, change] : m_valueChanges) {
            add(what, change.before, change.after, change.members);
        }
    }

    struct ValueChange {
        Members members = {};
        double largest = 0;
        std::string before = {};
        std::string after = {};
    };

    ComparedModels& m_models;
    std::vector<const Block*> m_blockOf;  // by element of the second model
    std::map<const Block*, const Block*> m_partners;
    // Members by what changed, from what and to what.
    std::map<std::tuple<std::string, std::string, std::string>, Members> m_changes;
    std::map<std::string, ValueChange> m_valueChanges;  // by what changed
};

}  // namespace

void CompareElements(ComparedModels& models) {
    models.AddUnmatched(DifferenceKind::Element, models.elements);
    Elements(models).Compare();
}

void CompareBlocks(ComparedModels& models) {
    for (const auto& [before, after] :
         ComparePairs(DifferenceKind::Block, PointersTo(models.before.Blocks()),
                      PointersTo(models.after.Blocks()), models.differences)) {
        const auto compare = [&, &name = before->name](const char* what, const std::string& a,
                                                       const std::string& b) {
            models.differences.Compare(DifferenceKind::Block, name, what, a, b);
        };
        compare("attributes", fmt::format("{}", fmt::join(before->attributes, ", ")),
                fmt::format("{}", fmt::join(after->attributes, ", ")));
        compare("properties", PropertiesText(before->properties),
                PropertiesText(after->properties));
        compare("definition", before->definition, after->definition);
    }
}

}  // namespace orq::exchange
