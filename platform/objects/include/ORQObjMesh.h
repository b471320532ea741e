#pragma once

#include "ORQBasExport.h"
#include "ORQSimPosition.h"

/// A mesh as a view of its record: a value, one position in size, that owns nothing and sees every
/// later change. Copies denote the same mesh; it is valid as its database is open.
///
/// Each getter follows one link: one lookup, nothing of the mesh's bulk data is read. It returns
/// null for what the mesh lacks, and for a null mesh. Each setter replaces one link and REQUIRES an
/// open transaction; a null position takes the link away. Both throw ORQBasFailure: Usage when the
/// database is closed, and for setters when the mesh is null, no transaction is open or the position
/// is of another database; Damaged or Io when the catalogue cannot be read. A failed setter changed
/// nothing.
class ORQ_EXPORT ORQObjMesh {
  public:
    ORQObjMesh() = default;
    ORQObjMesh(const ORQSimPosition& position) : m_position(position) {}

    const ORQSimPosition& Position() const { return m_position; }
    bool IsNull() const { return m_position.IsNull(); }

    /// The collections whose members are the nodes and the elements, numbered from 0.
    ORQSimPosition GetNodeCollection() const;
    ORQSimPosition GetElementCollection() const;
    /// The distribution of coordinates, doubles by node and spatial direction, in the model's length
    /// unit.
    ORQSimPosition GetCoordinates() const;
    /// The data set of element connectivity, a drawer for each kind of element; see
    /// ORQSrvElementConnectivity.
    ORQSimPosition GetConnectivity() const;
    /// The set of nodes that carry a label of the user's.
    ORQSimPosition GetUserNodes() const;
    /// The instances of the assembly, and the distributions of labels, by instance and node or
    /// element; see ORQObjLabeler.
    ORQSimPosition GetInstanceCollection() const;
    ORQSimPosition GetNodeLabels() const;
    ORQSimPosition GetElementLabels() const;
    /// The classes of elements with equal specs and sections, and the collection of their records;
    /// see ORQSrvEltClassificationBuilder.
    ORQSimPosition GetElementClassification() const;
    ORQSimPosition GetElementClassCollection() const;
    /// The data set that says which spec each element has.
    ORQSimPosition GetElementSpecAssignment() const;
    /// The classification by shape, formulation and section, as a host stored it.
    ORQSimPosition GetShapeFormulationLogicalSectionClassification() const;
    /// The sparse distribution of nodal areas, doubles by surface and node; see
    /// ORQSrvSurfaceNodalAreas.
    ORQSimPosition GetSurfaceNodalAreas() const;

    void SetElementClassification(const ORQSimPosition& classification) const;
    void SetElementClassCollection(const ORQSimPosition& collection) const;
    void SetSurfaceNodalAreas(const ORQSimPosition& areas) const;

  private:
    ORQSimPosition m_position;
};
