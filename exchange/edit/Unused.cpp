#include <cstdint>
#include <tuple>
#include <vector>

#include "ORQExcEdit.h"
#include "ORQExcModel.h"
#include "ORQExcSections.h"
#include "ORQObjMesh.h"
#include "edit/Deletion.h"
#include "edit/InstanceNodes.h"
#include "edit/KeptParts.h"
#include "edit/MemberReplacement.h"
#include "edit/NamedObjects.h"
#include "edit/NodeUse.h"

using namespace orq::exchange;

namespace {

void DropNodes(const ORQObjDocument& document, ORQExcReport& report,
               const std::function<void(double)>& progress) {
    const ORQExcModel model(document);
    std::vector<char> used = NodesOfElements(model);
    const int nNamed = MarkNodesOfOtherUse(model, used);
    std::vector<int> targets(used.size(), -1);
    for (std::size_t node = 0; node < used.size(); ++node) {
        targets[node] = used[node] == 0 ? -1 : static_cast<int>(node);
    }
    const MemberNumbering numbering = Compacted(std::move(targets));
    const auto nKept = static_cast<std::int64_t>(numbering.kept.size());
    report.Keep("nodes", "", nKept);
    if (nNamed > 0) {
        report.Note("nodes", "", nNamed, "no element has them, and kept cards may name them");
    }
    if (nKept < model.NumNodes()) {
        report.Drop("nodes", "", model.NumNodes() - nKept, "no element has them");
        DropArraysOverNodes(document, report);
        ReplaceMembers(ORQObjMesh(document.GetMesh()).GetNodeCollection(), numbering, progress);
    }
}

void DropMaterials(const ORQObjDocument& document, ORQExcReport& report) {
    constexpr auto kKind = ORQExcObjectKind::Material;
    const Users users(document);
    std::vector<DeletedObject> dropped;
    for (const std::string& name : NamesOf(kKind, document)) {
        if (users.Of(kKind, FindObject(kKind, name, document)).empty()) {
            dropped.push_back(DeleteButCards(document, kKind, name, false, users, report));
        } else {
            report.Keep("material", name, 1);
        }
    }
    DropCardsOfDeleted(kKind, dropped, document, report);
}

void DropSections(const ORQObjDocument& document, ORQExcReport& report) {
    constexpr auto kKind = ORQExcObjectKind::Section;
    const Users users(document);
    const std::vector<ORQExcSections::Section> sections = ORQExcSections(document).Sections();
    std::vector<DeletedObject> dropped;
    for (const ORQExcSections::Section& section : sections) {
        if (section.elements.IsEmpty()) {
            dropped.push_back(DeleteButCards(document, kKind, section.name, true, users, report));
        } else {
            report.Keep("section", section.name, 1);
        }
    }
    DropCardsOfDeleted(kKind, dropped, document, report);
}

/// The names of the sets, or surfaces, without members.
std::vector<std::string> EmptySets(ORQExcObjectKind kind, const ORQExcModel& model) {
    std::vector<std::string> names;
    if (kind == ORQExcObjectKind::Surface) {
        for (const ORQExcModel::Surface& surface : model.Surfaces()) {
            if (surface.faces.empty() && !surface.isAnalytical) {
                names.push_back(surface.name);
            }
        }
        return names;
    }
    for (const ORQExcModel::Set& set :
         kind == ORQExcObjectKind::NodeSet ? model.NodeSets() : model.ElementSets()) {
        if (set.members.IsEmpty() && !StandsForBlock(kind, set.name, model.Document())) {
            names.push_back(set.name);
        }
    }
    return names;
}

void DropSets(const ORQObjDocument& document, ORQExcReport& report) {
    const ORQExcModel model(document);
    const Users users(document);
    const std::vector<ORQExcKeptText> texts = ORQExcReadKeptTexts(document);
    for (const auto kind :
         {ORQExcObjectKind::NodeSet, ORQExcObjectKind::ElementSet, ORQExcObjectKind::Surface}) {
        for (const std::string& name : EmptySets(kind, model)) {
            const ORQSimPosition set = FindObject(kind, name, document);
            if (users.Of(kind, set).empty() && AssignmentsOf(set).empty() &&
                !HasCardsOf(name, texts)) {
                // No card goes by it, so none has to go.
                std::ignore = DeleteButCards(document, kind, name, false, users, report);
            } else {
                report.Keep(NameOf(kind), name, 1);
            }
        }
    }
}

}  // namespace

void ORQExcDropUnused(const ORQObjDocument& document, ORQExcUnused what, ORQExcReport& report,
                      const std::function<void(double)>& progress) {
    switch (what) {
        case ORQExcUnused::Nodes:
            return DropNodes(document, report, progress);
        case ORQExcUnused::Materials:
            return DropMaterials(document, report);
        case ORQExcUnused::Sections:
            return DropSections(document, report);
        case ORQExcUnused::Sets:
            return DropSets(document, report);
    }
}
