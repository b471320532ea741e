#include <algorithm>
#include <iterator>
#include <numeric>

#include "ORQExcEdit.h"
#include "ORQExcModel.h"
#include "ORQExcSections.h"
#include "ORQObjMesh.h"
#include "ORQSimDSet.h"
#include "ORQSimSchema.h"
#include "edit/Deletion.h"
#include "edit/InstanceNodes.h"
#include "edit/KeptParts.h"
#include "edit/NamedObjects.h"
#include "edit/NodeReplacement.h"

using namespace orq::exchange;

namespace {

void Mark(const ORQSimCSet& nodes, std::vector<char>& used) {
    for (ORQSimCSetIterator node(nodes); !node.IsDone(); node.Next()) {
        used[static_cast<std::size_t>(node.CurrentValue())] = 1;
    }
}

/// Marks the nodes of elements, of rigid bodies, and of sets to which their file gives numbers:
/// such a set is a rigid element or a constraint.
std::vector<char> UsedNodes(const ORQObjDocument& document, const ORQExcModel& model) {
    std::vector<char> used(static_cast<std::size_t>(model.NumNodes()), 0);
    ForEachConnectivity(document, [&](int, std::span<const int> nodes) {
        for (const int node : nodes) {
            if (node >= 0) {
                used[static_cast<std::size_t>(node)] = 1;
            }
        }
    });
    for (const ORQExcModel::Set& set : model.NodeSets()) {
        if (!set.properties.empty()) {
            Mark(set.members, used);
        }
    }
    Mark(document.GetMesh()
             .GetPosition(ORQSimSchema::Mesh_rigidBodyReferenceNode)
             .DSet()
             .Collect(ORQObjMesh(document.GetMesh()).GetNodeCollection().GetCollection()),
         used);
    return used;
}

/// Marks the nodes that kept cards may name as used; answers how many there are.
int MarkNamedByCards(const ORQObjDocument& document, std::vector<char>& used) {
    const std::vector<LabelledMembers> instances =
        LabelledMembersOf(document, ORQObjLabelerType::Node);
    std::vector<InstanceLabels> unnamed;
    for (const LabelledMembers& of : instances) {
        unnamed.push_back({of.instance, of.labels});
    }
    EraseNamedByCards(unnamed, document);
    int nNamed = 0;
    for (std::size_t i = 0; i < instances.size(); ++i) {
        for (std::size_t k = 0; k < instances[i].labels.size(); ++k) {
            char& isUsed = used[static_cast<std::size_t>(instances[i].ordinals[k])];
            if (isUsed == 0 &&
                !std::ranges::binary_search(unnamed[i].labels, instances[i].labels[k])) {
                isUsed = 1;
                ++nNamed;
            }
        }
    }
    return nNamed;
}

void DropNodes(const ORQObjDocument& document, ORQExcReport& report,
               const std::function<void(double)>& progress) {
    const ORQExcModel model(document);
    std::vector<char> used = UsedNodes(document, model);
    const int nNamed = MarkNamedByCards(document, used);
    std::vector<int> targets(used.size(), -1);
    for (std::size_t node = 0; node < used.size(); ++node) {
        targets[node] = used[node] == 0 ? -1 : static_cast<int>(node);
    }
    const NodeNumbering numbering = Compacted(std::move(targets));
    const auto nKept = static_cast<std::int64_t>(numbering.kept.size());
    report.Keep("nodes", "", nKept);
    if (nNamed > 0) {
        report.Note("nodes", "", nNamed, "no element has them, and kept cards may name them");
    }
    if (nKept < model.NumNodes()) {
        report.Drop("nodes", "", model.NumNodes() - nKept, "no element has them");
        DropArraysOverNodes(document, report);
        ReplaceNodes(document, numbering, progress);
    }
}

void DropMaterials(const ORQObjDocument& document, ORQExcReport& report) {
    constexpr auto kKind = ORQExcObjectKind::Material;
    const Users users(document);
    std::vector<std::string> dropped;
    for (const std::string& name : NamesOf(kKind, document)) {
        if (users.Of(kKind, FindObject(kKind, name, document)).empty()) {
            std::ranges::copy(DeleteButCards(document, kKind, name, false, users, report),
                              std::back_inserter(dropped));
        } else {
            report.Keep("material", name, 1);
        }
    }
    DropCardsOf(dropped, document, report);
}

void DropSections(const ORQObjDocument& document, ORQExcReport& report) {
    const Users users(document);
    const std::vector<ORQExcSections::Section> sections = ORQExcSections(document).Sections();
    std::vector<std::string> dropped;
    for (const ORQExcSections::Section& section : sections) {
        if (section.elements.IsEmpty()) {
            std::ranges::copy(DeleteButCards(document, ORQExcObjectKind::Section, section.name,
                                             true, users, report),
                              std::back_inserter(dropped));
        } else {
            report.Keep("section", section.name, 1);
        }
    }
    DropCardsOf(dropped, document, report);
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
    }
}
