#include "draw/Groups.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <map>
#include <set>
#include <utility>

#include "ORQBasFailure.h"
#include "ORQExcNearNames.h"
#include "ORQExcSections.h"
#include "draw/Colour.h"

namespace orqmodel {
namespace {

constexpr Skin::Part kMark = {-1, -1, -1};

/// Throws Usage unless one of the names known is the wanted one.
void CheckName(const char* option, const std::string& wanted,
               const std::vector<std::string>& known) {
    if (std::ranges::find(known, wanted) == known.end()) {
        ORQBasThrowUsage(std::string(option) + " \"" + wanted + "\": there is none" +
                         ORQExcNearNames(wanted, known));
    }
}

/// Which of a skin's parts, and of its nodes, are in the sets that are picked out.
class SetGroups {
  public:
    SetGroups(Skin& skin, const ORQExcModel& model, std::span<const int> blocks)
        : m_skin(skin),
          m_model(model),
          m_blockOf(static_cast<std::size_t>(model.NumElements()), -1),
          m_ofElement(m_blockOf.size(), -1),
          m_ofNode(skin.Points().size(), -1) {
        for (const int block : blocks) {
            for (ORQSimCSetIterator i(Block(block).elements); !i.IsDone(); i.Next()) {
                m_blockOf[static_cast<std::size_t>(i.CurrentValue())] = block;
            }
        }
    }

    void AddElements(const ORQExcModel::Set& set) {
        Mark(set.members, m_ofElement);
        m_groups.groups.push_back({set.name, false});
    }

    void AddNodes(const ORQExcModel::Set& set) {
        Mark(set.members, m_ofNode);
        m_groups.groups.push_back({set.name, true});
    }

    void AddSurface(const ORQExcModel::Surface& surface) {
        std::vector<ORQExcModel::Face> edges;
        for (const ORQExcModel::Face& face : surface.faces) {
            const int block = m_blockOf[static_cast<std::size_t>(face.element)];
            if (block < 0) {
                continue;
            }
            const ORQExcShape& shape = *Block(block).shape;
            if (shape.SideAt(face.side).IsEdge()) {
                edges.push_back(face);
            } else {
                m_ofFace.push_back({{face.element, shape.dimension == 3 ? face.side : -1}, Next()});
            }
        }
        for (const ORQExcModel::FaceNodes& nodes : m_model.NodesOf(edges)) {
            m_edges.emplace_back(nodes, Next());
        }
        m_groups.groups.push_back({surface.name, false});
    }

    Groups Finish() {
        // Also by group: the last of a face is the surface that was added last, which is drawn.
        std::ranges::sort(m_ofFace);
        for (std::size_t part = 0; part < m_skin.NumParts(); ++part) {
            m_groups.ofPart.push_back(GroupOf(part));
        }
        for (const auto& [nodes, group] : m_edges) {
            m_skin.AddLine(kMark, nodes);
            m_groups.ofPart.push_back(group);
        }
        AddDots();
        return std::move(m_groups);
    }

  private:
    const ORQExcModel::Block& Block(int place) const {
        return m_model.Blocks()[static_cast<std::size_t>(place)];
    }
    int Next() const { return static_cast<int>(m_groups.groups.size()); }

    void Mark(const ORQSimCSet& members, std::vector<int>& groupOf) const {
        for (ORQSimCSetIterator i(members); !i.IsDone(); i.Next()) {
            groupOf[static_cast<std::size_t>(i.CurrentValue())] = Next();
        }
    }

    int GroupOf(std::size_t part) {
        if (m_skin.KindOf(part) == Skin::Kind::Dot) {
            // Taken, so that AddDots draws no second dot over it.
            return std::exchange(m_ofNode[static_cast<std::size_t>(m_skin.Nodes(part)[0])], -1);
        }
        const auto [block, element, side] = m_skin.At(part);
        const std::pair<int, int> face{element, side};
        const auto after = std::ranges::upper_bound(m_ofFace, face, {}, &FaceGroup::first);
        const int ofElement = m_ofElement[static_cast<std::size_t>(element)];
        return after != m_ofFace.begin() && std::prev(after)->first == face
                   ? std::max(std::prev(after)->second, ofElement)
                   : ofElement;
    }

    void AddDots() {
        // Taken before the loop, which adds parts.
        const std::size_t nParts = m_skin.NumParts();
        for (std::size_t part = 0; part < nParts; ++part) {
            for (std::size_t i = 0; i < m_skin.Nodes(part).size(); ++i) {
                const int node = m_skin.Nodes(part)[i];
                const int group = std::exchange(m_ofNode[static_cast<std::size_t>(node)], -1);
                if (group >= 0) {
                    m_skin.AddDot(kMark, node);
                    m_groups.ofPart.push_back(group);
                }
            }
        }
    }

    using FaceGroup = std::pair<std::pair<int, int>, int>;  // element and side of the part, group

    Skin& m_skin;
    const ORQExcModel& m_model;
    Groups m_groups;
    std::vector<int> m_blockOf;    // by element; -1 when it is not drawn
    std::vector<int> m_ofElement;  // groups; -1 for none
    std::vector<int> m_ofNode;
    std::vector<FaceGroup> m_ofFace;
    std::vector<std::pair<ORQExcModel::FaceNodes, int>> m_edges;
};

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

Groups GroupsBySection(const Skin& skin, const ORQExcModel& model) {
    return GroupsByNameOf(
        skin, model, "section",
        [](const ORQExcSections&, const ORQExcSections::Section& section) { return section.name; });
}

Groups GroupsByMaterial(const Skin& skin, const ORQExcModel& model) {
    return GroupsByNameOf(skin, model, "material", MaterialsOf);
}

Groups GroupsBySet(Skin& skin, const ORQExcModel& model, std::span<const int> blocks,
                   std::span<const std::string> names) {
    const std::vector<ORQExcModel::Surface> surfaces = model.Surfaces();
    std::vector<std::string> known;
    const auto know = [&](const auto& set) { known.push_back(set.name); };
    std::ranges::for_each(model.ElementSets(), know);
    std::ranges::for_each(surfaces, know);
    std::ranges::for_each(model.NodeSets(), know);
    for (const std::string& name : names) {
        CheckName("--set", name, known);
    }
    if (known.empty()) {
        ORQBasThrowUsage("--colour-by set: the model has no element set, surface or node set");
    }
    const auto isWanted = [&](const auto& set) {
        return names.empty() || std::ranges::find(names, set.name) != names.end();
    };
    SetGroups groups(skin, model, blocks);
    for (const ORQExcModel::Set& set : model.ElementSets()) {
        if (isWanted(set)) {
            groups.AddElements(set);
        }
    }
    for (const ORQExcModel::Surface& surface : surfaces) {
        if (isWanted(surface)) {
            groups.AddSurface(surface);
        }
    }
    for (const ORQExcModel::Set& set : model.NodeSets()) {
        if (isWanted(set)) {
            groups.AddNodes(set);
        }
    }
    return groups.Finish();
}

}  // namespace orqmodel
