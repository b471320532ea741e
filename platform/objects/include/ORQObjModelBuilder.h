#pragma once

#include <map>
#include <utility>
#include <vector>

#include "ORQBasExport.h"
#include "ORQObjDocument.h"
#include "ORQObjLabeler.h"
#include "ORQSimCSet.h"
#include "ORQSimIDs.h"
#include "ORQSimPosition.h"
#include "ORQString.h"

/// Builds a standard model: makes the objects, links, collections and empty distributions that
/// readers expect, and knows where they live. Bulk contents are written by the services.
///
/// REQUIRES, of every operation: a transaction that the caller opened on the database. What exists
/// already is found again, so a builder can go on with a model that another one began.
///
/// A set of another collection than the operation needs, or with members outside it, throws
/// ORQBasFailure (Usage) that names the object and the member, before anything is made.
///
///   ORQSimTransaction transaction(database.ContextID());
///   ORQObjModelBuilder builder(database);
///   const ORQSimPosition part = builder.AddInstance("PART-1");
///   const ORQSimCSetID nodes = builder.AddNodes(count);
///   builder.SetLabels(ORQObjLabelerType::Node, part, nodes, labels);
///   ORQSrvNodalCoordinates(builder.Coordinates(), 100000)
///       .Append(transaction, nodes, builder.SpatialDirections(3), coordinates);
///   transaction.Commit();
class ORQ_EXPORT ORQObjModelBuilder {
  public:
    explicit ORQObjModelBuilder(const ORQSimDatabase& database);

    const ORQObjDocument& Document() const { return m_document; }
    ORQSimPosition Model() const { return m_document.GetModel(); }
    ORQSimPosition Mesh() const { return m_document.GetMesh(); }
    /// The empty or filled distribution of coordinates.
    ORQSimPosition Coordinates() const;

    void SetTitle(const ORQString& title) const;
    /// The names of a model with a prefix begin with it; empty for a model without.
    void SetModelPrefix(const ORQString& prefix) const;

    /// Directions 1 to `dimension` (2 or 3) of space. Throws Usage for another number.
    ORQSimCSetID SpatialDirections(int dimension) const;
    /// Makes room for more nodes behind those that there are, and returns the new ones.
    ORQSimCSetID AddNodes(int count) const;

    /// The instance of that name, made when there is none.
    ORQSimPosition AddInstance(const ORQString& name) const;
    /// Gives the members of an instance their labels: labels[i] to the i-th member of the set. All
    /// of an instance at once; labelled nodes become user nodes. Throws Usage, and writes nothing,
    /// when the instance is none or has labels already, for a label below 1, naming the member, and
    /// for one given twice, naming the label.
    void SetLabels(ORQObjLabelerType type, const ORQSimPosition& instance,
                   const ORQSimCSetID& members, const int* labels) const;

    // --- Elements --------------------------------------------------------------------------------

    /// Makes room for more elements behind those that there are, and returns the new ones.
    ORQSimCSetID AddElements(int count) const;
    /// The data set of connectivity, empty or filled.
    ORQSimPosition Connectivity() const;
    /// Places 0 to `count` - 1 of nodes in an element: the columns of connectivity.
    ORQSimCSetID NodePlaces(int count) const;
    /// The element spec (element type) of that name, made when there is none.
    ORQSimPosition AddElementSpec(const ORQString& name) const;
    /// Makes points at which values of a spec's elements are given, in place of those it had.
    ORQSimCSetID AddElementSpecPoints(const ORQSimPosition& spec, int count) const;
    /// Says which elements have which spec, once for the whole mesh.
    void AssignElementSpecs(
        const std::vector<std::pair<ORQSimPosition, ORQSimCSetID>>& assignment) const;
    /// Makes the division of elements into classes also the one by shape, formulation and section.
    void SetLogicalSectionClassification(const ORQSimPosition& classification) const;

    /// A block: elements of one shape that belong together under a number and a name. `shapeInFile`
    /// is the shape's name as the file spells it, `shape` the one by which readers know it.
    ORQSimPosition AddBlock(const ORQString& name, int number, const ORQString& shapeInFile,
                            const ORQString& shape, const ORQSimCSetID& elements) const;
    /// The empty distribution of a block's attributes: elements by attribute, one member for each
    /// name. REQUIRES: the block has none yet.
    ORQSimPosition AddBlockAttributes(const ORQSimPosition& block,
                                      const std::vector<ORQString>& names) const;

    /// Gives a block or region a number under a name; the name must be new to it.
    void AddProperty(const ORQSimPosition& object, const ORQString& name, int value) const;

    // --- Sets and surfaces -----------------------------------------------------------------------
    /// Each makes a region with the name and number, a member of the region collection, and holds
    /// the members under the name as key. They throw Usage when the name is taken or empty.

    /// Keeps the order of the members.
    ORQSimPosition AddNodeSet(const ORQString& name, int number, const ORQSimCSetID& nodes) const;
    ORQSimPosition AddElementSet(const ORQString& name, int number,
                                 const ORQSimCSetID& elements) const;
    /// A surface of element faces or edges: for each place of a face in an element (from 0) the
    /// elements of which that face belongs to the surface.
    ORQSimPosition AddSurface(const ORQString& name, int number,
                              const std::map<int, ORQSimCSetID>& elementsByFace) const;

  private:
    ORQSimPosition AddSet(const ORQString& name, int number, const ORQSimCSetID& members,
                          int mapSlot, int clusterSlot) const;

    ORQObjDocument m_document;
};
