#include "edit/NodeUse.h"

#include <algorithm>

#include "ORQObjMesh.h"
#include "ORQSimDSet.h"
#include "ORQSimSchema.h"
#include "edit/InstanceNodes.h"
#include "edit/KeptParts.h"

namespace orq::exchange {
namespace {

void Mark(const ORQSimCSet& nodes, std::vector<char>& used) {
    for (ORQSimCSetIterator node(nodes); !node.IsDone(); node.Next()) {
        used[static_cast<std::size_t>(node.CurrentValue())] = 1;
    }
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

}  // namespace

std::vector<char> NodesOfElements(const ORQExcModel& model) {
    std::vector<char> used(static_cast<std::size_t>(model.NumNodes()), 0);
    ForEachConnectivity(model.Document(), [&](int, std::span<const int> nodes) {
        for (const int node : nodes) {
            if (node >= 0) {
                used[static_cast<std::size_t>(node)] = 1;
            }
        }
    });
    return used;
}

int MarkNodesOfOtherUse(const ORQExcModel& model, std::vector<char>& used) {
    for (const ORQExcModel::Set& set : model.NodeSets()) {
        if (!set.properties.empty()) {
            Mark(set.members, used);
        }
    }
    const ORQObjMesh mesh(model.Document().GetMesh());
    Mark(model.Document()
             .GetMesh()
             .GetPosition(ORQSimSchema::Mesh_rigidBodyReferenceNode)
             .DSet()
             .Collect(mesh.GetNodeCollection().GetCollection()),
         used);
    return MarkNamedByCards(model.Document(), used);
}

}  // namespace orq::exchange
