#pragma once

#include <vector>

#include "ORQExcModel.h"

namespace orq::exchange {

/// Whether an element has each node.
std::vector<char> NodesOfElements(const ORQExcModel& model);

/// Marks, by node, those that something else than an element needs: rigid bodies, sets to which
/// their file gives numbers (such a set is a rigid element or a constraint), and cards kept as text
/// that may name them. Returns how many only such cards need.
int MarkNodesOfOtherUse(const ORQExcModel& model, std::vector<char>& used);

}  // namespace orq::exchange
