#pragma once

#include <functional>
#include <span>
#include <string>
#include <vector>

#include "ORQObjDocument.h"
#include "ORQObjLabeler.h"
#include "edit/KeptParts.h"
#include "edit/NodeReplacement.h"

namespace orq::exchange {

/// The labelled nodes, or elements, of an instance in the order of their labels.
struct LabelledMembers {
    std::string instance;
    std::vector<int> labels;
    std::vector<int> ordinals;
};

/// Of all instances that label any.
std::vector<LabelledMembers> LabelledMembersOf(const ORQObjDocument& document,
                                               ORQObjLabelerType type);

/// The labels of nodes of which the target is another one's or nothing.
std::vector<InstanceLabels> LabelsThatGo(const std::vector<LabelledMembers>& instances,
                                         const NodeNumbering& numbering);

/// Numbers the nodes that stay, which are their own targets, in their order; the others get the new
/// number of their target, or -1 where that is -1.
NodeNumbering Compacted(std::vector<int> targets);

/// Reads all connectivity, some megabytes at a time: calls back with the number of nodes of each
/// element and [elements][nodes].
void ForEachConnectivity(const ORQObjDocument& document,
                         const std::function<void(int nNodes, std::span<const int> nodes)>& visit);

}  // namespace orq::exchange
