#pragma once

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
    /// Makes room for more nodes behind those that there are, and answers the new ones.
    ORQSimCSetID AddNodes(int count) const;

    /// The instance of that name, made when there is none.
    ORQSimPosition AddInstance(const ORQString& name) const;
    /// Gives the members of an instance their labels: labels[i] to the i-th member of the set. All
    /// of an instance at once; labelled nodes become user nodes. Throws Usage, and writes nothing,
    /// when the instance is none or has labels already, for a label below 1, naming the member, and
    /// for one given twice, naming the label.
    void SetLabels(ORQObjLabelerType type, const ORQSimPosition& instance,
                   const ORQSimCSetID& members, const int* labels) const;

  private:
    ORQObjDocument m_document;
};
