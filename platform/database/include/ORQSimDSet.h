/// Data sets: which members of some collections belong together.
#pragma once

#include <vector>

#include "ORQBasExport.h"
#include "ORQSimCSet.h"
#include "ORQSimCompartment.h"
#include "ORQSimIDs.h"

class ORQSimPosition;

/// A selection of a distribution, or of nothing but members, divided into compartments. For example
/// the assignment of specs to elements, with grid (specs, elements):
///
///   compartment 0                     specs {0}, elements {0..99}
///   compartment 1                     specs {1}, elements {100..149}
///   Select({90..110} of elements)     specs {0}, elements {90..99}; specs {1}, elements {100..110}
///   ... .Collect(specs)               {0, 1}
///
/// A compartment may be empty of sets; it keeps its place and covers nothing.
///
/// A data set over a distribution has its drawers as compartments. Collecting into the collection
/// that the distribution's values name (for example connectivity into nodes) reads the values.
///
/// A value: a handle to a stored data set, whose rows every call reads anew, or a selection, which
/// owns its sets and does not follow later changes. Copies are independent; copying a selection
/// copies handles of sets, not members. Nothing here changes the database.
///
/// A null one covers nothing, and returns null or empty. Calls on a stored one throw ORQBasFailure:
/// Usage when its database is closed, Damaged or Io when rows or values cannot be read. A failed
/// call changes nothing.
class ORQ_EXPORT ORQSimDSet {
  public:
    ORQSimDSet() = default;
    /// A handle; reads nothing.
    ORQSimDSet(const ORQSimDSetID& id);
    /// The data set that the position denotes; of a collection, all its members as a selection.
    /// Null for a position of neither.
    ORQSimDSet(const ORQSimPosition& position);

    /// True for a data set made from nothing and for a selection that met nothing.
    bool IsNull() const { return m_id.IsNull() && m_selected.empty(); }
    /// True when it covers no member at all. Cost: as GetCtation().
    bool IsEmpty() const;
    const ORQSimDSetID& ID() const { return m_id; }
    /// Null when it stands on no distribution.
    ORQSimDistributionID GetRelationalDistributionID() const;
    /// The data set's compartments, those of drawers behind the stored ones, in order of creation.
    /// Sets of a selection that have no ID get a temporary one, see
    /// ORQSimCSet::RegisterWithTempCollection. Cost: a row for each compartment and dimension, and
    /// the description of each drawer.
    ORQSimCtation GetCtation() const;

    /// The part in which the dimensions over the set's collection are restricted to the set, as a
    /// selection; compartments that meet nothing are left out. Cost: as GetCtation(), and an
    /// intersection for each dimension over the collection.
    ORQSimDSet Select(const ORQSimCSet& set) const;
    /// All members of a collection that the compartments cover, ascending and volatile. Cost: a
    /// union for each compartment; where the values name the members, all values of the
    /// compartments are read, some 8 MB of them at a time.
    ORQSimCSet Collect(const ORQSimCollectionID& collection) const;

  private:
    using Block = std::vector<ORQSimCSet>;
    std::vector<Block> Blocks() const;

    ORQSimDSetID m_id;
    ORQSimDistributionID m_distribution;  // of a selection
    std::vector<Block> m_selected;
};
