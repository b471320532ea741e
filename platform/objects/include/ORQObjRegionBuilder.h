#pragma once

#include <array>
#include <span>

#include "ORQBasExport.h"
#include "ORQObjDocument.h"
#include "ORQSimPosition.h"
#include "ORQString.h"

/// Adds rigid analytical surfaces, the rigid bodies that move them, and the regions of output to a
/// model that an ORQObjModelBuilder began: makes the records where readers look for them.
///
/// REQUIRES, of every operation: a transaction that the caller opened on the database. Points are
/// three coordinates in the model's length unit.
///
///   const ORQObjRegionBuilder builder(document);
///   const ORQSimPosition drum = builder.AddSurfaceOfRevolution("DRUM", 1, bottom, top);
///   builder.SetSurfaceMesh(drum, points, lines, 2);
///   builder.AddRigidBody("DRUM-BODY", centreNode, drum);
class ORQ_EXPORT ORQObjRegionBuilder {
  public:
    using Point = std::array<double, 3>;

    explicit ORQObjRegionBuilder(const ORQObjDocument& document) : m_document(document) {}

    /// A region of a type (AnalyticalSurface, AnalyticalSurface_Cylinder,
    /// AnalyticalSurface_Segments) without a mesh, among the surfaces of the model. Throws Usage
    /// when the name is empty or taken.
    ORQSimPosition AddAnalyticalSurface(const ORQString& name, int number, int type) const;
    /// The same of AnalyticalSurface_Revolution, with two points of its axis.
    ORQSimPosition AddSurfaceOfRevolution(const ORQString& name, int number, const Point& axisA,
                                          const Point& axisB) const;
    /// Gives a surface the mesh that shows it: points[n_nodes][3] and the node numbers
    /// connectivity[n_elements][nodesPerElement], from 0. Throws Usage, and makes nothing, when
    /// they are no whole number of rows, or a node is none.
    ORQSimPosition SetSurfaceMesh(const ORQSimPosition& surface, std::span<const double> points,
                                  std::span<const int> connectivity, int nodesPerElement) const;

    /// A rigid body of the model's mesh that moves a surface with one of the nodes.
    ORQSimPosition AddRigidBody(const ORQString& name, int referenceNode,
                                const ORQSimPosition& surface) const;

    /// The region contributes to output; again changes nothing.
    void AddOutputRegion(const ORQSimPosition& region) const;

  private:
    ORQObjDocument m_document;
};
