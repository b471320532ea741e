#pragma once

#include <functional>
#include <span>
#include <string>
#include <vector>

#include "ORQObjDocument.h"
#include "ORQObjLabeler.h"
#include "edit/KeptParts.h"
#include "edit/MemberReplacement.h"

namespace orq::exchange {

/// The labelled nodes, or elements, of an instance in the order of their labels.
struct LabelledMembers {
    std::string instance;
    std::vector<int> labels;
    std::vector<int> ordinals;
};

/// The labelled members of all instances that label any.
std::vector<LabelledMembers> LabelledMembersOf(const ORQObjDocument& document,
                                               ORQObjLabelerType type);

/// The labels of members of which the target is another one's or nothing.
std::vector<InstanceLabels> LabelsThatGo(const std::vector<LabelledMembers>& instances,
                                         const MemberNumbering& numbering);

/// Reads all connectivity, some megabytes at a time: calls back with the number of nodes of each
/// element and [elements][nodes].
void ForEachConnectivity(const ORQObjDocument& document,
                         const std::function<void(int nNodes, std::span<const int> nodes)>& visit);

}  // namespace orq::exchange
