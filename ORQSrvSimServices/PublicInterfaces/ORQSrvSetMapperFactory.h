#pragma once

#include "ORQBasExport.h"
#include "ORQBasSharedPtr.h"
#include "ORQSimCMemberMap.h"
#include "ORQSimIDs.h"
#include "ORQSimPosition.h"

/// Stores and fetches the member mappings of a model: a mapper pairs a source set with a target set
/// of the same kind of members, location by location. Stateless; a position stands for its
/// database. What a model lacks is answered by null IDs, and by a map between empty sets.
class ORQ_EXPORT ORQSrvSetMapperFactory {
  public:
    static ORQSimCSetID GetActiveElementOrdinals(ORQSimPosition position);
    static ORQSimCSetID GetActiveNodalOrdinals(ORQSimPosition position);
    /// The source set of the element mapper and of the node mapper.
    static ORQSimCSetID GetPermutationElements(ORQSimPosition position);
    static ORQSimCSetID GetPermutationNodes(ORQSimPosition position);
    /// The node mapper, from its source to its target.
    static ORQBasSharedPtr<ORQSimCMemberMap> NodeMapper(ORQSimPosition position);
    /// Stores the mapper between two sets, given by their positions, in place of an earlier one of
    /// its kind. Sets of different sizes are stored as they are. REQUIRES: an open transaction. A
    /// null position throws ORQBasFailure (Usage), and nothing is stored. A collection of another
    /// kind than nodes, elements and other members is reported ("0") and ends the process with exit
    /// status 1.
    static void PersistMapper(const ORQSimPosition& source, const ORQSimPosition& target);
};
