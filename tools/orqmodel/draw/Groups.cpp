#include "draw/Groups.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <map>
#include <set>
#include <utility>

#include "ORQBasFailure.h"
#include "ORQExcSections.h"
#include "draw/Colour.h"
#include "draw/SetParts.h"

namespace orqmodel {
namespace {

constexpr Skin::Part kMark = {-1, -1, -1};  // of no element, block and side

/// Shows each node of a set once: as its own part where it is one, else as a dot that is added.
void AddDots(Skin& skin, Groups& groups, std::vector<int>& ofNode) {
    // Taken before the loops, which add parts.
    const std::size_t nParts = skin.NumParts();
    const auto takeGroup = [&](int node) {
        return std::exchange(ofNode[static_cast<std::size_t>(node)], -1);
    };
    for (std::size_t part = 0; part < nParts; ++part) {
        if (skin.KindOf(part) == Skin::Kind::Dot) {
            const int group = takeGroup(skin.Nodes(part)[0]);
            groups.ofPart[part] = group >= 0 ? group : groups.ofPart[part];
        }
    }
    for (std::size_t part = 0; part < nParts; ++part) {
        for (std::size_t i = 0; i < skin.Nodes(part).size(); ++i) {
            const int node = skin.Nodes(part)[i];
            const int group = takeGroup(node);
            if (group >= 0) {
                skin.AddDot(kMark, node);
                groups.ofPart.push_back(group);
            }
        }
    }
}

/// The name before its first digit, without what separates them.
std::string HeadOf(const std::string& name) {
    const std::string head = name.substr(0, name.find_first_of("0123456789"));
    const auto end = head.find_last_not_of(" _-.#:");
    return end == head.npos ? "blocks" : head.substr(0, end + 1);
}

/// For each of the blocks what it is grouped by: its place among them, so that each is one of its
/// own, unless there are too many.
std::vector<std::string> KindsOf(const ORQExcModel& model, std::span<const int> blocks) {
    std::vector<std::string> own;
    std::vector<std::string> heads;
    std::vector<std::string> shapes;
    for (const int place : blocks) {
        const ORQExcModel::Block& block = model.Blocks()[static_cast<std::size_t>(place)];
        own.push_back(std::to_string(place));
        heads.push_back(HeadOf(block.name));
        shapes.emplace_back(block.shape->name);
    }
    const auto areFew = [](const std::vector<std::string>& kinds) {
        return std::set(kinds.begin(), kinds.end()).size() <= kToldApart;
    };
    return areFew(own) ? own : areFew(heads) ? heads : shapes;
}

/// The materials of the layers, each once, from the bottom.
std::string MaterialsOf(const ORQExcSections& sections, const ORQExcSections::Section& section) {
    std::vector<std::string> names;
    for (const ORQExcSections::Layer& layer : sections.Read(section).layers) {
        if (std::ranges::find(names, layer.material) == names.end()) {
            names.push_back(layer.material);
        }
    }
    return fmt::format("{}", fmt::join(names, ", "));
}

/// Groups elements by what `nameOf` says of their sections.
template <class NameOf>
Groups GroupsByNameOf(const Skin& skin, const ORQExcModel& model, const char* what,
                      const NameOf& nameOf) {
    const ORQExcSections sections(model.Document());
    if (sections.Sections().empty()) {
        ORQBasThrowUsage(fmt::format("--colour-by {}: the model has no sections", what));
    }
    Groups groups;
    std::vector<int> ofElement(static_cast<std::size_t>(model.NumElements()), -1);
    for (const ORQExcSections::Section& section : sections.Sections()) {
        if (section.elements.IsEmpty()) {
            continue;
        }
        const std::string name = nameOf(sections, section);
        auto group = std::ranges::find(groups.groups, name, &Groups::Group::name);
        if (group == groups.groups.end()) {
            group = groups.groups.insert(group, {name, false});
        }
        for (ORQSimCSetIterator i(section.elements); !i.IsDone(); i.Next()) {
            ofElement[static_cast<std::size_t>(i.CurrentValue())] =
                static_cast<int>(group - groups.groups.begin());
        }
    }
    for (std::size_t part = 0; part < skin.NumParts(); ++part) {
        const int element = skin.At(part).element;
        groups.ofPart.push_back(element < 0 ? -1 : ofElement[static_cast<std::size_t>(element)]);
    }
    return groups;
}

}  // namespace

std::vector<int> BlocksNamed(const ORQExcModel& model, std::span<const std::string> names) {
    std::vector<std::string> known;
    for (const ORQExcModel::Block& block : model.Blocks()) {
        known.push_back(block.name);
    }
    for (const std::string& name : names) {
        CheckName("--block", name, known);
    }
    std::vector<int> places;
    for (std::size_t i = 0; i < known.size(); ++i) {
        if (names.empty() || std::ranges::find(names, known[i]) != names.end()) {
            places.push_back(static_cast<int>(i));
        }
    }
    return places;
}

Groups GroupsByBlock(const Skin& skin, const ORQExcModel& model, std::span<const int> blocks) {
    const std::vector<std::string> kinds = KindsOf(model, blocks);
    Groups groups;
    std::vector<int> groupOf(model.Blocks().size(), -1);
    std::map<std::string, std::vector<int>> blocksOf;  // of each kind
    for (std::size_t i = 0; i < blocks.size(); ++i) {
        std::vector<int>& alike = blocksOf[kinds[i]];
        alike.push_back(blocks[i]);
        if (alike.size() == 1) {
            groups.groups.push_back({kinds[i], false});
        }
    }
    for (std::size_t i = 0; i < groups.groups.size(); ++i) {
        Groups::Group& group = groups.groups[i];
        const std::vector<int>& alike = blocksOf[group.name];
        for (const int block : alike) {
            groupOf[static_cast<std::size_t>(block)] = static_cast<int>(i);
        }
        const ORQExcModel::Block& first = model.Blocks()[static_cast<std::size_t>(alike[0])];
        group.name = alike.size() == 1 ? first.name
                                       : fmt::format("{} ({} blocks)", group.name, alike.size());
    }
    for (std::size_t part = 0; part < skin.NumParts(); ++part) {
        const int block = skin.At(part).block;
        groups.ofPart.push_back(block < 0 ? -1 : groupOf[static_cast<std::size_t>(block)]);
    }
    return groups;
}

Groups GroupsOfMarks(Skin& skin, std::span<const int> elements, std::span<const int> nodes) {
    Groups groups;
    if (!elements.empty()) {
        groups.groups.push_back({fmt::format("found elements ({})", elements.size()), false});
    }
    for (std::size_t part = 0; part < skin.NumParts(); ++part) {
        const bool isMarked = std::ranges::binary_search(elements, skin.At(part).element);
        groups.ofPart.push_back(isMarked ? 0 : -1);
    }
    if (!nodes.empty()) {
        const int group = static_cast<int>(groups.groups.size());
        groups.groups.push_back({fmt::format("found nodes ({})", nodes.size()), true});
        for (const int node : nodes) {
            skin.AddDot(kMark, node);
            groups.ofPart.push_back(group);
        }
    }
    return groups;
}

Groups GroupsBySection(const Skin& skin, const ORQExcModel& model) {
    return GroupsByNameOf(
        skin, model, "section",
        [](const ORQExcSections&, const ORQExcSections::Section& section) { return section.name; });
}

Groups GroupsByMaterial(const Skin& skin, const ORQExcModel& model) {
    return GroupsByNameOf(skin, model, "material", MaterialsOf);
}

Groups GroupsBySet(Skin& skin, const ORQExcModel& model, std::span<const std::string> names) {
    const std::vector<SetParts> sets = PartsOfSets(skin, model, names);
    if (sets.empty()) {
        ORQBasThrowUsage("--colour-by set: the model has no element set, surface or node set");
    }
    Groups groups;
    groups.ofPart.assign(skin.NumParts(), -1);
    std::vector<int> ofNode(skin.Points().size(), -1);
    for (const SetParts& set : sets) {
        const auto group = static_cast<int>(groups.groups.size());
        groups.groups.push_back({set.name, set.kind == SetParts::Kind::Nodes});
        for (const int part : set.parts) {
            groups.ofPart[static_cast<std::size_t>(part)] = group;
        }
        for (const int node : set.nodes) {
            ofNode[static_cast<std::size_t>(node)] = group;
        }
        for (const ORQExcModel::FaceNodes& nodes : set.edges) {
            skin.AddLine(kMark, nodes);
            groups.ofPart.push_back(group);
        }
    }
    AddDots(skin, groups, ofNode);
    return groups;
}

}  // namespace orqmodel
