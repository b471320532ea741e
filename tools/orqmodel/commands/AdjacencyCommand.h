#pragma once

#include <string>

#include "terminal/Console.h"

namespace orqmodel {

struct AdjacencyOptions {
    std::string database;
    int node;              // The label.
    std::string instance;  // Empty when the label is unique among all instances.
    bool json = false;
};

/// Prints the elements at a node: their labels, types and blocks, and the node's place in each,
/// from 1. kFindings when no node has the label. Throws ORQBasFailure.
ExitStatus RunAdjacency(const AdjacencyOptions& options, const Console& console);

}  // namespace orqmodel
