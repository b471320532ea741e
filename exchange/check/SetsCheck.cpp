#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <map>

#include "ORQExcCheck.h"
#include "ORQExcNearNames.h"
#include "check/Checks.h"
#include "check/MembersHash.h"

namespace orq::exchange {
namespace {

const ORQExcRule kEmpty = {
    .id = "SET001",
    .level = ORQExcLevel::Warning,
    .title = "set or surface without members",
    .meaning = "the set has a name and nothing in it",
    .breaks = "what refers to it, a load or an output request, has no effect",
    .mending = "give it its members, or remove it"};
const ORQExcRule kEqual = {.id = "SET002",
                           .level = ORQExcLevel::Note,
                           .title = "set with the members of another one",
                           .meaning = "two sets of one kind have exactly the same members",
                           .breaks = "nothing; one of the two is likely a leftover",
                           .mending = "use one of the two"};
const ORQExcRule kCaseOnly = {
    .id = "SET003",
    .level = ORQExcLevel::Note,
    .title = "names that differ by capital letters only",
    .meaning = "two sets of one kind have the same name but for case",
    .breaks = "programs that do not tell case apart take one for the other",
    .mending = "rename one of the two"};
const ORQExcRule kSide = {
    .id = "SET004",
    .level = ORQExcLevel::Error,
    .title = "face that the element's shape does not have",
    .meaning = "a surface names a side of an element beyond those of its shape",
    .breaks = "the surface has no area there; exports refuse it",
    .mending = "correct the number of the side"};

class SetsRun : public ORQExcCheckRun {
  public:
    explicit SetsRun(const ORQExcCheckedModel& model) : m_model(model.Model()) {}

    void Finish(std::vector<ORQExcFinding>& findings) override {
        std::vector<const ORQExcModel::Set*> nodeSets;
        for (const ORQExcModel::Set& set : m_model.NodeSets()) {
            nodeSets.push_back(&set);
        }
        CompareSets("node set", nodeSets, findings);
        CompareSets("element set", m_model.ElementSetsBesideBlocks(), findings);
        CheckSurfaces(findings);
    }

  private:
    static std::string Named(const char* kind, const std::string& name) {
        return fmt::format("{} \"{}\"", kind, name);
    }

    static void CompareSets(const char* kind, const std::vector<const ORQExcModel::Set*>& sets,
                            std::vector<ORQExcFinding>& findings) {
        for (const ORQExcModel::Set* set : sets) {
            if (set->members.IsEmpty()) {
                findings.push_back({.rule = kEmpty.id,
                                    .object = Named(kind, set->name),
                                    .message = "has no members"});
            }
        }
        CompareMembers(kind, sets, findings);
        std::vector<std::string> names;
        for (const ORQExcModel::Set* set : sets) {
            names.push_back(set->name);
        }
        CompareNames(kind, names, findings);
    }

    static void CompareMembers(const char* kind, const std::vector<const ORQExcModel::Set*>& sets,
                               std::vector<ORQExcFinding>& findings) {
        // Sets of different size differ: few are left whose members have to be read.
        std::map<int, std::vector<const ORQExcModel::Set*>> bySize;
        for (const ORQExcModel::Set* set : sets) {
            bySize[set->members.Size()].push_back(set);
        }
        bySize.erase(0);  // empty ones have a rule of their own
        for (const auto& [size, ofSize] : bySize) {
            std::map<std::uint64_t, const ORQExcModel::Set*> first;  // by hash of members
            for (std::size_t i = 0; i < ofSize.size() && ofSize.size() > 1; ++i) {
                const auto [known, isNew] = first.emplace(HashOf(ofSize[i]->members), ofSize[i]);
                // The hash alone may stand for two sets.
                if (!isNew && known->second->members.SameMembers(ofSize[i]->members)) {
                    findings.push_back({.rule = kEqual.id,
                                        .object = Named(kind, ofSize[i]->name),
                                        .message = fmt::format("has the {} members of \"{}\"", size,
                                                               known->second->name)});
                }
            }
        }
    }

    static std::uint64_t HashOf(const ORQSimCSet& members) {
        MembersHash hash;
        for (ORQSimCSetIterator member{members}; !member.IsDone(); member.Next()) {
            hash.Add(member.CurrentValue());
        }
        return hash.Value();
    }

    static void CompareNames(const char* kind, const std::vector<std::string>& names,
                             std::vector<ORQExcFinding>& findings) {
        // Names are told apart by case here, but not by most programs that read the exports.
        std::map<std::string, std::string> met;
        for (const std::string& name : names) {
            const auto [entry, isNew] = met.emplace(WithoutCase(name), name);
            if (!isNew) {
                findings.push_back(
                    {.rule = kCaseOnly.id,
                     .object = Named(kind, name),
                     .message = fmt::format("is \"{}\" but for case", entry->second)});
            }
        }
    }

    void CheckSurfaces(std::vector<ORQExcFinding>& findings) const {
        std::vector<std::string> names;
        for (const ORQExcModel::Surface& surface : m_model.Surfaces()) {
            names.push_back(surface.name);
            if (surface.faces.empty() && !surface.isAnalytical) {
                findings.push_back({.rule = kEmpty.id,
                                    .object = Named("surface", surface.name),
                                    .message = "has no faces"});
            }
            CheckSides(surface, findings);
        }
        CompareNames("surface", names, findings);
    }

    void CheckSides(const ORQExcModel::Surface& surface,
                    std::vector<ORQExcFinding>& findings) const {
        std::vector<int> wrong;
        int side = 0;
        for (const ORQExcModel::Block& block : m_model.Blocks()) {
            for (const ORQExcModel::Face& face : surface.faces) {
                const bool isSide =
                    face.side >= 0 && face.side < static_cast<int>(block.shape->sides.size());
                // The number is compared first: finding the block of an element costs a search.
                if (!isSide && block.elements.SeekMember(face.element) >= 0) {
                    side = wrong.empty() ? face.side : side;
                    wrong.push_back(face.element);
                }
            }
        }
        if (!wrong.empty()) {
            findings.push_back({.rule = kSide.id,
                                .object = Named("surface", surface.name),
                                .message = fmt::format("side {} is none of the shape", side + 1),
                                .place = ORQExcFinding::Place::Element,
                                .members = std::move(wrong)});
        }
    }

    const ORQExcModel& m_model;
};

}  // namespace

ORQExcCheck SetsCheck() {
    return {{kEmpty, kEqual, kCaseOnly, kSide}, BeginRun<SetsRun>};
}

}  // namespace orq::exchange
