#pragma once

#include "ORQBasExport.h"
#include "ORQSimArray.h"
#include "ORQSimIDs.h"
#include "ORQSrvDistributionTransform.h"

/// Copies values from one distribution to another, drawer by drawer. Drawers that can grow are put
/// together in one drawer of the target, which grows along the same dimension in chunks of the same
/// size; the others become new drawers, a sparse one a sparse one of the same cells.
///
/// REQUIRES: a transaction that the caller opened on the target's database.
///
/// The domains say what is copied and where to: source domain i, which restricts dimension i, is
/// paired with target domain i, member by member in the order of the sets. A null domain, or one
/// that is missing at the end of its array, restricts nothing; as a target domain it stands for the
/// members of the source.
///
///   source domains {nodes {2, 5, 9}}, target domains {nodes {100, 101, 102}}:
///   the values of node 5 go to node 101
///
/// A transform sees each drawer once and in one piece, in memory of its size, at most 2^31 - 1
/// bytes; of a sparse one it sees all cells, zeros where nothing is stored, and only what it makes
/// of the stored ones is kept. Through the base transform itself, which changes nothing, it is
/// moved a few megabytes at a time.
///
/// Failed checks are reported by their text and end the process with exit status 1:
/// "The dimensions of the two distributions must match", "CSets missing for all domains of
/// distribution being read" (no source domains at all), "... being written", a target that has more
/// than one drawer already ("writeDrwDescArray.Size() == 0 || writeDrwDescArray.Size() == 1") or
/// has got several before one that can grow is to be added ("Extendable dimension in distribution
/// being read, however >1 drawers exist in distributino being updated"), and values of another size
/// ("bufferSize == writeTrans.RequiredBufferSize()"). Throws ORQBasFailure (Usage) when two paired
/// domains differ in size, when the values are of another type of the same size, and when drawers
/// that can grow differ in their other dimensions. What was copied before a failure goes when the
/// caller's transaction is undone.
ORQ_EXPORT void ORQSrvCopyDistribution(const ORQSimDistributionID& source,
                                       const ORQSimDistributionID& target,
                                       const ORQSimArray<ORQSimCSetID>& sourceDomains,
                                       const ORQSimArray<ORQSimCSetID>& targetDomains,
                                       const ORQSrvDistributionTransform& transform);
