#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <string>
#include <utility>

#include "ORQExcCheck.h"
#include "check/Checks.h"
#include "check/RigidElements.h"

namespace orq::exchange {
namespace {

const ORQExcRule kShared = {
    .id = "ELM019",
    .level = ORQExcLevel::Error,
    .title = "node that two rigid elements move",
    .meaning = "a component of the node depends on two rigid elements at once",
    .breaks = "solvers stop: the component is eliminated twice",
    .mending = "take the node out of one of the two, or leave components to one of them"};

constexpr int kAll = 123456;  // three displacements and three rotations

/// Components as bits, from the digits of a card.
unsigned BitsOf(int digits) {
    unsigned bits = 0;
    for (; digits > 0; digits /= 10) {
        bits |= 1U << static_cast<unsigned>(digits % 10);
    }
    return bits;
}

class RigidElementsRun : public ORQExcCheckRun {
  public:
    explicit RigidElementsRun(const ORQExcCheckedModel& model) : m_model(model.Model()) {}

    void Finish(std::vector<ORQExcFinding>& findings) override {
        struct Moved {
            unsigned components;
            const ORQExcModel::Set* by;
        };
        std::map<int, std::vector<Moved>> moved;
        for (const ORQExcModel::Set& set : m_model.NodeSets()) {
            if (!IsRigidElement(set)) {
                continue;
            }
            std::map<std::string, std::vector<int>> shared;  // by the other element
            for (const auto& [node, components] : DependentOf(set)) {
                for (const Moved& other : moved[node]) {
                    if ((other.components & components) != 0) {
                        shared[other.by->name].push_back(node);
                        break;
                    }
                }
                moved[node].push_back({components, &set});
            }
            for (auto& [other, nodes] : shared) {
                findings.push_back({.rule = kShared.id,
                                    .object = fmt::format("node set \"{}\"", set.name),
                                    .message = fmt::format("moves nodes that \"{}\" moves", other),
                                    .place = ORQExcFinding::Place::Node,
                                    .members = std::move(nodes)});
            }
        }
    }

  private:
    using Dependent = std::vector<std::pair<int, unsigned>>;  // node and its components

    static int PropertyOf(const ORQExcModel::Set& set, std::string_view name, int otherwise) {
        const auto found =
            std::ranges::find(set.properties, name, &std::pair<std::string, int>::first);
        return found == set.properties.end() ? otherwise : found->second;
    }

    /// The dependent nodes: all but the first of a star, the first of a spider, and of a bar those
    /// of the components that its card names.
    static Dependent DependentOf(const ORQExcModel::Set& set) {
        std::vector<int> nodes;
        for (ORQSimCSetIterator node{set.members}; !node.IsDone(); node.Next()) {
            nodes.push_back(node.CurrentValue());
        }
        Dependent dependent;
        if (nodes.empty()) {
            return dependent;
        }
        if (set.name.starts_with("RBE3")) {
            dependent.emplace_back(nodes[0], BitsOf(PropertyOf(set, "REFC", kAll)));
        } else if (set.name.starts_with("RBE2")) {
            const unsigned components = BitsOf(PropertyOf(set, "CM", kAll));
            for (std::size_t i = 1; i < nodes.size(); ++i) {
                dependent.emplace_back(nodes[i], components);
            }
        } else if (nodes.size() == 2) {
            // An end without components of its own has those that are not independent at it.
            const bool isGiven = PropertyOf(set, "CMA", 0) != 0 || PropertyOf(set, "CMB", 0) != 0;
            const auto of = [&](const char* own, const char* independent) {
                return isGiven ? BitsOf(PropertyOf(set, own, 0))
                               : BitsOf(kAll) & ~BitsOf(PropertyOf(set, independent, 0));
            };
            dependent.emplace_back(nodes[0], of("CMA", "CNA"));
            dependent.emplace_back(nodes[1], of("CMB", "CNB"));
        }
        return dependent;
    }

    const ORQExcModel& m_model;
};

}  // namespace

ORQExcCheck RigidElementsCheck() {
    return {{kShared}, BeginRun<RigidElementsRun>};
}

}  // namespace orq::exchange
