#pragma once

#include "ORQBasExport.h"
#include "ORQSimCSet.h"
#include "ORQSimIDs.h"
#include "ORQSimPosition.h"
#include "ORQSimTransaction.h"

/// Writes and reads the nodal coordinates of a mesh, in its length unit, as 8-byte doubles.
///
/// Values stand node by node in the order of the node set, within a node in the order of the
/// component set (members 1, 2, 3 of the component collection are the spatial directions):
///
///   nodes {7, 3} x components {1, 2}:  x7 y7 x3 y3           values[n_nodes][n_components]
///
/// Coordinates live in one drawer, made by the first Append and extended by the later ones. A call
/// moves its whole block at once; nothing is kept between calls but the identity of the mesh.
///
/// Failed checks are reported by their expression on standard error and end the process with exit
/// status 1: a distribution that is null ("m_distributionID.IsNull() == false"), more than one
/// drawer ("numDrawers < 2"), a first append of a single component ("chunks[1] > 1"). Failures of
/// the database pass through as exceptions derived from ORQBasException.
class ORQ_EXPORT ORQSrvNodalCoordinates {
  public:
    /// Every operation on a default-constructed object fails its check.
    ORQSrvNodalCoordinates() = default;
    /// `position` is the distribution of coordinates (ORQObjMesh::GetCoordinates); `chunkSize` the
    /// most nodes in one piece of the drawer, should this object make it.
    ORQSrvNodalCoordinates(const ORQSimPosition& position, int chunkSize);

    /// Writes the coordinates of nodes x components, adding nodes that have none yet, and returns
    /// the number of bytes. `transaction` must be open on the mesh's database; on failure it can
    /// only be undone. The caller keeps `values`.
    int Append(ORQSimTransaction& transaction, const ORQSimCSetID& nodes,
               const ORQSimCSetID& components, const double* values);

    /// Reads into the caller's buffer and returns the number of bytes. What is not stored reads as
    /// 0.0. Nodes outside the mesh throw ORQBasFailure (Usage).
    int Read(const ORQSimCSet& nodes, const ORQSimCSet& components, double* values) const;

    /// The nodes that have coordinates, and the components stored. REQUIRES: a drawer, that is, an
    /// Append at some time.
    ORQSimCSet Nodes() const;
    ORQSimCSet Components() const;
    int NumberNodes() const { return Nodes().Size(); }
    int NumberComponents() const { return Components().Size(); }

  private:
    ORQSimCSet Union(bool ofNodes) const;
    bool IsStored(const ORQSimCSet& nodes, const ORQSimCSet& components) const;

    int m_chunkSize = 0;
    ORQSimCollectionID m_nodeCollection;
    ORQSimDistributionID m_distributionID;
};
