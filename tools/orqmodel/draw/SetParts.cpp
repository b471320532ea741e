#include "draw/SetParts.h"

#include <algorithm>

#include "ORQBasFailure.h"
#include "ORQExcNearNames.h"

namespace orqmodel {
namespace {

/// The parts of each element: none where it is inside or not drawn, several at a solid's corner.
class PartsOfElements {
  public:
    PartsOfElements(const Skin& skin, int nElements)
        : m_begin(static_cast<std::size_t>(nElements) + 2, 0) {
        const auto forEach = [&skin](const auto& use) {
            for (std::size_t part = 0; part < skin.NumParts(); ++part) {
                if (skin.At(part).element >= 0) {
                    use(static_cast<std::size_t>(skin.At(part).element), static_cast<int>(part));
                }
            }
        };
        forEach([this](std::size_t element, int) { ++m_begin[element + 2]; });
        for (std::size_t i = 2; i < m_begin.size(); ++i) {
            m_begin[i] += m_begin[i - 1];
        }
        m_parts.resize(m_begin.back());
        forEach([this](std::size_t element, int part) { m_parts[m_begin[element + 1]++] = part; });
    }

    std::span<const int> Of(int element) const {
        const auto at = static_cast<std::size_t>(element);
        return std::span(m_parts).subspan(m_begin[at], m_begin[at + 1] - m_begin[at]);
    }

  private:
    std::vector<std::size_t> m_begin;
    std::vector<int> m_parts;
};

SetParts OfElements(const PartsOfElements& partsOf, const ORQExcModel::Set& set) {
    SetParts shown{set.name, SetParts::Kind::Elements, {}, {}, {}};
    for (ORQSimCSetIterator i(set.members); !i.IsDone(); i.Next()) {
        const std::span<const int> parts = partsOf.Of(i.CurrentValue());
        shown.parts.insert(shown.parts.end(), parts.begin(), parts.end());
    }
    return shown;
}

SetParts OfSurface(const Skin& skin, const PartsOfElements& partsOf, const ORQExcModel& model,
                   const ORQExcModel::Surface& surface) {
    SetParts shown{surface.name, SetParts::Kind::Surface, {}, {}, {}};
    std::vector<ORQExcModel::Face> edges;
    for (const ORQExcModel::Face& face : surface.faces) {
        const std::span<const int> parts = partsOf.Of(face.element);
        if (parts.empty()) {
            continue;
        }
        const int block = skin.At(static_cast<std::size_t>(parts[0])).block;
        const ORQExcShape& shape = *model.Blocks()[static_cast<std::size_t>(block)].shape;
        if (shape.SideAt(face.side).IsEdge()) {
            edges.push_back(face);
            continue;
        }
        for (const int part : parts) {
            const int side = skin.At(static_cast<std::size_t>(part)).side;
            if (side < 0 || side == face.side) {
                shown.parts.push_back(part);
            }
        }
    }
    shown.edges = model.NodesOf(edges);
    return shown;
}

SetParts OfNodes(const std::vector<bool>& isOfSkin, const ORQExcModel::Set& set) {
    SetParts shown{set.name, SetParts::Kind::Nodes, {}, {}, {}};
    for (ORQSimCSetIterator i(set.members); !i.IsDone(); i.Next()) {
        if (isOfSkin[static_cast<std::size_t>(i.CurrentValue())]) {
            shown.nodes.push_back(i.CurrentValue());
        }
    }
    return shown;
}

void SortOnce(std::vector<int>& numbers) {
    std::ranges::sort(numbers);
    numbers.erase(std::unique(numbers.begin(), numbers.end()), numbers.end());
}

}  // namespace

void CheckName(const char* option, const std::string& wanted,
               const std::vector<std::string>& known) {
    if (std::ranges::find(known, wanted) == known.end()) {
        ORQBasThrowUsage(std::string(option) + " \"" + wanted + "\": there is none" +
                         ORQExcNearNames(wanted, known));
    }
}

std::vector<SetParts> PartsOfSets(const Skin& skin, const ORQExcModel& model,
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
    const PartsOfElements partsOf(skin, model.NumElements());
    std::vector<bool> isOfSkin(skin.Points().size());
    for (std::size_t part = 0; part < skin.NumParts(); ++part) {
        for (const int node : skin.Nodes(part)) {
            isOfSkin[static_cast<std::size_t>(node)] = true;
        }
    }
    std::vector<SetParts> shown;
    const auto show = [&](const auto& sets, const auto& partsOfSet) {
        for (const auto& set : sets) {
            if (names.empty() || std::ranges::find(names, set.name) != names.end()) {
                shown.push_back(partsOfSet(set));
                SortOnce(shown.back().parts);
                SortOnce(shown.back().nodes);
            }
        }
    };
    show(model.ElementSets(), [&](const auto& set) { return OfElements(partsOf, set); });
    show(surfaces, [&](const auto& set) { return OfSurface(skin, partsOf, model, set); });
    show(model.NodeSets(), [&](const auto& set) { return OfNodes(isOfSkin, set); });
    return shown;
}

}  // namespace orqmodel
