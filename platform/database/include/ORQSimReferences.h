/// What refers to what, across all objects of a database: for redirecting and deleting whole
/// objects.
#pragma once

#include <vector>

#include "ORQBasExport.h"
#include "ORQSimIDs.h"

/// Finds what depends on an object, whoever made it, so that a change leaves no link into nothing.
/// A handle to an open database.
///
/// Example, the nodes of a mesh are to be another collection: make the sets and distributions over
/// it anew, Redirect each former one to the new one, and Delete the former ones and the collection;
/// Delete refuses as long as anything was forgotten.
///
/// Looks through the rows of distributions, compartments or drawers: cost grows with their number,
/// not with values. Throws ORQBasFailure: Usage when the database is closed and, of what changes
/// anything, without an open transaction; Damaged or Io when rows cannot be read.
class ORQ_EXPORT ORQSimReferences {
  public:
    explicit ORQSimReferences(ORQSimContextID context) : m_context(context) {}

    /// The stored sets of a collection, the empty one among them, to which a link or a compartment
    /// of a data set leads, ascending.
    std::vector<ORQSimCSetID> LinkedSets(const ORQSimCollectionID& collection) const;
    /// The distributions whose grid has the collection, or whose values name its members.
    std::vector<ORQSimDistributionID> DistributionsOver(const ORQSimCollectionID& collection) const;
    /// The data sets that stand on a distribution.
    std::vector<ORQSimDSetID> DataSetsOn(const ORQSimDistributionID& distribution) const;
    /// Whether any link leads to an object or a set, or a drawer or a compartment covers the set.
    bool IsUsed(const ORQSimDynamicID& target) const;

    /// Makes every link and compartment that leads to an object or a stored set lead to another one
    /// of the same database. Two sets are of the same collection or, where the set of another one
    /// takes the place, of one that is to take the place of the collection. Members of collections
    /// and symbols stay what they are.
    void Redirect(const ORQSimDynamicID& from, const ORQSimDynamicID& to) const;

    /// Takes an object away for good: with its links, names, fields and values, and with every link
    /// that leads to it. Vectors close the gap; as a member of a collection it leaves one, so that
    /// no other member changes its number. What it led to stays. Data sets that stand on a
    /// distribution stand on none any more.
    ///
    /// Also takes a stored set away. REQUIRES: nobody transfers values of it.
    ///
    /// Throws Usage, and changes nothing, for the focus, for null and what does not exist, for a
    /// collection that a distribution, or a compartment of a data set, is over, and for a set that
    /// a drawer or a compartment covers; the text names the object in the way.
    void Delete(const ORQSimDynamicID& object) const;

  private:
    ORQSimContextID m_context;
};
