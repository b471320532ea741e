#pragma once

#include "ORQBasExport.h"
#include "ORQSimArray.h"
#include "ORQSimBtree.h"
#include "ORQSimCSet.h"
#include "ORQSimIDs.h"
#include "ORQSimPosition.h"
#include "ORQSimTransaction.h"

/// Writes and reads element connectivity: for each element the member numbers of its nodes, in the
/// node order of its type, as 32-bit ints.
///
/// Elements of one kind (one dynamic ID for each element type) share a drawer and have the same
/// number of nodes. Example, kind "quadrilateral", elements {5, 6}, columns {0, 1, 2, 3}:
///
///   nodes[n_elements][n_columns] = { 0, 1, 4, 3,    1, 2, 5, 4 }
///
/// An object knows only the drawers that it made: use one object to write a mesh in one pass. Node
/// numbers are written as they are given and must be members of the node collection.
///
/// Failed checks print their text, file and line and abort the process: a data set without a
/// distribution ("rdistribution.IsNull() == false"), a kind without a chunk size
/// ("m_chunkSize != 0"). Failures of the database pass through as exceptions derived from
/// ORQBasException.
class ORQ_EXPORT ORQSrvElementConnectivity {
  public:
    /// Appending with a default-constructed object fails its check.
    ORQSrvElementConnectivity() = default;
    /// `position` is the data set of connectivity (ORQObjMesh::GetConnectivity); `chunkSize` the
    /// most elements in one piece of a drawer.
    ORQSrvElementConnectivity(const ORQSimPosition& position, int chunkSize);
    /// The same with a chunk size for each kind; a kind without one cannot be appended.
    ORQSrvElementConnectivity(const ORQSimPosition& position,
                              const ORQSimBtree<ORQSimDynamicID, int>& chunkSizes);

    /// Writes the rows of the elements, in the order of their set, and returns the number of bytes.
    /// `nodes` holds elements x columns ints and stays the caller's. `transaction` must be open; on
    /// failure it can only be undone.
    int Append(ORQSimTransaction& transaction, const ORQSimDynamicID& kind,
               const ORQSimCSetID& elements, const ORQSimCSetID& columns, const int* nodes);

    /// Reads elements x columns ints and returns the number of bytes. What is not stored leaves the
    /// buffer as it is.
    int Read(const ORQSimCSet& elements, const ORQSimCSet& columns, int* nodes) const;

  private:
    ORQSimDrawerID MakeDrawer(const ORQSimDistributionID& rdistribution,
                              const ORQSimDynamicID& kind, const ORQSimCSet& elements,
                              const ORQSimCSet& columns);

    int m_chunkSize = 0;
    ORQSimBtree<ORQSimDynamicID, int> m_chunkSizes;
    ORQSimBtree<ORQSimDynamicID, int> m_drawerIndices;
    ORQSimArray<ORQSimDrawerID> m_drawers;
    ORQSimDSetID m_dataSet;
};
