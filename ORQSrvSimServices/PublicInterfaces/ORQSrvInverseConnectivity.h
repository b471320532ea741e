#pragma once

#include "ORQBasExport.h"
#include "ORQSimIDs.h"
#include "ORQSimPosition.h"

class ORQSimDistribution;

/// Node-to-element adjacency of a mesh, in compressed rows: for every node the elements that use it
/// and the place of the node in each.
///
///   two triangles (0, 1, 2) and (1, 3, 2) on five nodes
///   m_offsets[n_nodes + 1] = { 0, 1, 3, 5, 6, 6 }      m_total = 6
///   m_entries              = { e0 p0,  e0 p1, e1 p0,  e0 p2, e1 p2,  e1 p1 }
///
/// Node k's entries are [m_offsets[k], m_offsets[k + 1]), in the order in which the drawers of the
/// connectivity were made, within a drawer in the order of its elements, and for an element that
/// uses a node twice in order of place. An entry is one word:
///
///   element = entry & 0x1FFFFFF     the member number of the element, below 2^25
///   place   = entry >> 25           the place of the node in the element, below 128
///
/// Neither bound is checked when packing. A node that the mesh does not have throws ORQBasFailure
/// (Damaged), naming it; so do values that are not those that were stored. More than 2^31 - 1 entries
/// are refused (Usage) before anything is read. An object is not copied.
class ORQ_EXPORT ORQSrvInverseConnectivity {
  public:
    /// `position` is the mesh (ORQObjModel::GetMesh). Reads nothing yet.
    explicit ORQSrvInverseConnectivity(const ORQSimPosition& position);
    ~ORQSrvInverseConnectivity();
    ORQSrvInverseConnectivity(const ORQSrvInverseConnectivity&) = delete;
    ORQSrvInverseConnectivity& operator=(const ORQSrvInverseConnectivity&) = delete;

    /// Builds the adjacency of all elements, and replaces an earlier result. Holds the connectivity
    /// in memory beside the result while it works: 8 bytes for each node and 8 for each node of
    /// each element. After a failure the object is empty or partly built; invert again.
    void Invert();
    /// The same for the elements of one set; nodes of other elements have no entries. A set that is
    /// neither ascending nor empty ends the process ("elset.IsAscending() || elset.Size() == 0").
    void Invert(const ORQSimCSetID& elset);

    ORQSimPosition m_position;
    /// Owned by the object; null before Invert.
    int* m_offsets = nullptr;
    /// Owned by the object; null when there are no entries.
    unsigned* m_entries = nullptr;
    int m_total = 0;

  private:
    struct Block;

    void Clear();
    void Build(const ORQSimCSetID* elset);
    int NumberNodes() const;
    int* ReadConnectivityBlockAndCount(ORQSimDistribution& dist, const ORQSimCSetID& rows,
                                       const ORQSimCSetID& cols);
    void ProcessConnectivityBlock(const int* block, const ORQSimCSetID& rows,
                                  const ORQSimCSetID& cols, int* cursor);
    void ConvertCountToOffsetArray(int n);
};
