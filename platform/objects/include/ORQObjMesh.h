#pragma once

#include "ORQBasExport.h"
#include "ORQSimPosition.h"

/// A mesh as a view of its record. Getters answer null for what the mesh lacks; setters replace the
/// link and REQUIRE an open transaction.
class ORQ_EXPORT ORQObjMesh {
  public:
    ORQObjMesh() = default;
    ORQObjMesh(const ORQSimPosition& position) : m_position(position) {}

    const ORQSimPosition& Position() const { return m_position; }
    bool IsNull() const { return m_position.IsNull(); }

    ORQSimPosition GetNodeCollection() const;
    ORQSimPosition GetElementCollection() const;
    /// The distribution of coordinates, by node and spatial direction.
    ORQSimPosition GetCoordinates() const;
    /// The data set of element connectivity.
    ORQSimPosition GetConnectivity() const;
    /// The set of nodes that carry a label of the user's.
    ORQSimPosition GetUserNodes() const;
    /// The instances of the assembly, and the distributions of labels, by instance and node or
    /// element; see ORQObjLabeler.
    ORQSimPosition GetInstanceCollection() const;
    ORQSimPosition GetNodeLabels() const;
    ORQSimPosition GetElementLabels() const;
    ORQSimPosition GetElementClassification() const;
    ORQSimPosition GetElementClassCollection() const;
    /// The data set that says which spec each element has.
    ORQSimPosition GetElementSpecAssignment() const;
    ORQSimPosition GetShapeFormulationLogicalSectionClassification() const;
    ORQSimPosition GetSurfaceNodalAreas() const;

    void SetElementClassification(const ORQSimPosition& classification) const;
    void SetElementClassCollection(const ORQSimPosition& collection) const;
    void SetSurfaceNodalAreas(const ORQSimPosition& areas) const;

  private:
    ORQSimPosition m_position;
};
