#pragma once

#include <vector>

#include "ORQExcCheck.h"
#include "check/CountedSides.h"
#include "check/NodeForest.h"

namespace orq::exchange {

/// NOD005 and ELM017.
std::vector<ORQExcRule> FreeEdgeRules();

/// Nodes on an edge of an element that lacks them. `edges` are ascending.
void ReportHanging(const ORQExcCheckedModel& model,
                   const std::vector<CountedSides::FreeEdge>& edges,
                   std::vector<ORQExcFinding>& findings);

/// Surfaces whose free edges are several loops. `shells` joins the nodes of each surface.
void ReportLoops(NodeForest& shells, const std::vector<CountedSides::FreeEdge>& edges,
                 std::vector<ORQExcFinding>& findings);

}  // namespace orq::exchange
