#include <algorithm>
#include <compare>
#include <string>
#include <utility>
#include <vector>

#include "compare/ComparedModels.h"
#include "compare/Pairs.h"

namespace orq::exchange {
namespace {

using Change = ORQExcDifference::Change;
using Members = std::vector<ORQExcDifference::Member>;

/// A member of a set in one model that the other has too; of a surface with its side.
struct MemberPlace {
    int after;  // ordinal in the second model
    int side;
    auto operator<=>(const MemberPlace&) const = default;
};

class SetComparison {
  public:
    SetComparison(ComparedModels& models, DifferenceKind kind, Matching& matching)
        : m_models(models), m_kind(kind), m_matching(matching) {
        for (const int ordinal : matching.Added()) {
            m_isNew.resize(std::max(m_isNew.size(), static_cast<std::size_t>(ordinal) + 1));
            m_isNew[static_cast<std::size_t>(ordinal)] = true;
        }
    }

    template <class Set>
    void Compare(const std::vector<const Set*>& before, const std::vector<const Set*>& after) {
        for (const auto& [from, to] : ComparePairs(m_kind, before, after, m_models.differences)) {
            CompareMembers(from->name, PlacesBefore(*from), PlacesAfter(*to));
            m_models.differences.Compare(m_kind, from->name, "properties",
                                         PropertiesText(from->properties),
                                         PropertiesText(to->properties));
        }
    }

  private:
    template <class Add>
    static void ForEach(const ORQExcModel::Set& set, Add add) {
        for (ORQSimCSetIterator member(set.members); !member.IsDone(); member.Next()) {
            add(member.CurrentValue(), 0);
        }
    }
    template <class Add>
    static void ForEach(const ORQExcModel::Surface& surface, Add add) {
        for (const ORQExcModel::Face& face : surface.faces) {
            add(face.element, face.side);
        }
    }

    template <class Set>
    std::vector<MemberPlace> PlacesBefore(const Set& set) const {
        std::vector<MemberPlace> places;
        ForEach(set, [&](int ordinal, int side) {
            // Members that only one model has are differences of the mesh already.
            if (m_matching.ImageOf(ordinal) != Matching::kNone) {
                places.push_back({m_matching.ImageOf(ordinal), side});
            }
        });
        return Sorted(std::move(places));
    }
    template <class Set>
    std::vector<MemberPlace> PlacesAfter(const Set& set) const {
        std::vector<MemberPlace> places;
        ForEach(set, [&](int ordinal, int side) {
            if (static_cast<std::size_t>(ordinal) >= m_isNew.size() ||
                !m_isNew[static_cast<std::size_t>(ordinal)]) {
                places.push_back({ordinal, side});
            }
        });
        return Sorted(std::move(places));
    }
    static std::vector<MemberPlace> Sorted(std::vector<MemberPlace> places) {
        std::ranges::sort(places);
        places.erase(std::unique(places.begin(), places.end()), places.end());
        return places;
    }

    void CompareMembers(const std::string& name, const std::vector<MemberPlace>& before,
                        const std::vector<MemberPlace>& after) {
        AddMembers(name, "members removed", before, after);
        AddMembers(name, "members added", after, before);
    }
    void AddMembers(const std::string& name, const char* what, const std::vector<MemberPlace>& some,
                    const std::vector<MemberPlace>& others) {
        std::vector<MemberPlace> only;
        std::ranges::set_difference(some, others, std::back_inserter(only));
        Members members;
        for (const MemberPlace& place : only) {
            members.push_back(m_matching.After(place.after));
        }
        m_models.differences.AddMembers(m_kind, Change::Changed, name, what, std::move(members));
    }

    ComparedModels& m_models;
    DifferenceKind m_kind;
    Matching& m_matching;
    std::vector<bool> m_isNew;  // by ordinal in the second model, up to the last new one
};

}  // namespace

void CompareSets(ComparedModels& models) {
    SetComparison nodeSets(models, DifferenceKind::NodeSet, models.nodes);
    nodeSets.Compare(PointersTo(models.before.NodeSets()), PointersTo(models.after.NodeSets()));
    SetComparison elementSets(models, DifferenceKind::ElementSet, models.elements);
    elementSets.Compare(models.before.ElementSetsBesideBlocks(),
                        models.after.ElementSetsBesideBlocks());
    const std::vector<ORQExcModel::Surface> before = models.before.Surfaces();
    const std::vector<ORQExcModel::Surface> after = models.after.Surfaces();
    SetComparison surfaces(models, DifferenceKind::Surface, models.elements);
    surfaces.Compare(PointersTo(before), PointersTo(after));
}

}  // namespace orq::exchange
