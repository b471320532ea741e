#pragma once

#include "ORQBasExport.h"
#include "ORQBasSharedPtr.h"
#include "ORQSimCMemberMap.h"
#include "ORQSimIDs.h"
#include "ORQSimPosition.h"

/// Stores and fetches the member mappings of a model: a mapper pairs a source set with a target set
/// of the same kind of members, location by location.
///
///   source {4, 0, 2}, target {10, 11, 12}:  4 -> 10, 0 -> 11, 2 -> 12
///
/// Stateless; any position stands for its database. A model has one mapper for nodes, one for
/// elements and one for other members. What a model lacks is returned as null IDs, and as a map
/// between empty sets. IDs that are returned are those of stored sets: they stay valid as the
/// database is open.
///
/// Fetching an ID costs some lookups of links and reads no members. All throw ORQBasFailure: Usage
/// when the database is closed, Damaged or Io when the catalogue cannot be read.
class ORQ_EXPORT ORQSrvSetMapperFactory {
  public:
    /// The elements and the nodes that take part, as the mesh has them.
    static ORQSimCSetID GetActiveElementOrdinals(ORQSimPosition position);
    static ORQSimCSetID GetActiveNodalOrdinals(ORQSimPosition position);
    /// The source set of the element mapper and of the node mapper.
    static ORQSimCSetID GetPermutationElements(ORQSimPosition position);
    static ORQSimCSetID GetPermutationNodes(ORQSimPosition position);
    /// The node mapper, from its source to its target. The map belongs to the caller and its
    /// copies of the pointer; it keeps both sets, and does not follow a mapper that is replaced.
    static ORQBasSharedPtr<ORQSimCMemberMap> NodeMapper(ORQSimPosition position);
    /// Stores the mapper between two sets, given by their positions, in place of an earlier one of
    /// its kind. Sets of different sizes are stored as they are. REQUIRES: an open transaction. A
    /// null position throws ORQBasFailure (Usage), and nothing is stored. A collection of another
    /// kind than nodes, elements and other members is reported ("0") and ends the process with exit
    /// status 1.
    static void PersistMapper(const ORQSimPosition& source, const ORQSimPosition& target);
};
