/// The context in which objects of one open database are made and found.
#pragma once

#include "ORQBasExport.h"
#include "ORQSimArray.h"
#include "ORQSimIDs.h"
#include "ORQString.h"

class ORQSimGrid;
class ORQSimPosition;
class ORQSimRangeType;

/// The schema of fragment types as a context shows it.
class ORQ_EXPORT ORQSimTypeSchemaSnapshot {
  public:
    ORQSimTypeID TypeID(int typeIndex) const { return ORQSimTypeID(typeIndex); }
    /// "(a, b)" for a pair that the schema does not name.
    ORQString TypeName(int typeIndex) const;
};

/// A handle, free to copy. Throws ORQBasFailure: Usage when the database is closed, or without an
/// open transaction where something is made or changed; Damaged or Io when the catalogue cannot be
/// read. What cannot be made leaves nothing behind. Lookups cost one row each.
class ORQ_EXPORT ORQSimContext {
  public:
    ORQSimContext() = default;
    explicit ORQSimContext(ORQSimContextID id) : m_id(id) {}
    ORQSimContextID ID() const { return m_id; }
    ORQSimTypeSchemaSnapshot Schema() const { return {}; }

    /// REQUIRES: an open transaction. Throws Usage when a grid collection is null or not storable,
    /// naming the dimension, or when the scalar type is none.
    ORQSimDistributionID CreateDistribution(const ORQSimGrid& grid, const ORQSimRangeType& range,
                                            ORQSimTypeID type) const;
    ORQSimDSetID CreateDSet(const ORQSimDistributionID& distribution, ORQSimTypeID type) const;
    /// The data set stands on this distribution with all its drawers. Costs a row for each drawer.
    void UpdateDSet(const ORQSimDSetID& dataSet, const ORQSimDistributionID& distribution) const;
    /// The data set has this drawer too; a second time changes nothing. Costs a pass over the
    /// drawers of the data set.
    void UpdateDSet(const ORQSimDSetID& dataSet, const ORQSimDrawerID& drawer) const;

    /// Throws Usage, naming it, for an object, set or drawer of another database and for one that
    /// an undone transaction gave out; null passes. Whatever stores an identity checks it so by
    /// itself; callers check beforehand what they only read to copy it.
    void CheckStorable(const ORQSimDynamicID& id) const;

    /// The object at a member number, null when there is none.
    ORQSimPosition GetRecord(const ORQSimCollectionID& collection, int member) const;
    /// The member number of an object in the collection it belongs to (the lowest ID when in
    /// several), -1 when it is in none.
    int GetCMemberIndex(const ORQSimDynamicID& object) const;
    /// The member number of each object in one collection, -1 for those that are no members.
    void GetCMembership(const ORQSimArray<ORQSimDynamicID>& objects,
                        const ORQSimCollectionID& collection, ORQSimArray<int>& members) const;

  private:
    ORQSimContextID m_id;
};
