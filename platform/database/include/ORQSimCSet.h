/// Component sets: sets of member numbers of one collection.
#pragma once

#include <memory>

#include "ORQBasExport.h"
#include "ORQSimIDs.h"
#include "ORQSimIntRange.h"

namespace orq::database {
class ComponentSet;
}
class ORQSimCSetIterator;
class ORQSimPosition;
class omi_BlkBitVect;

/// A set of member numbers (from 0) of one collection: ascending, or in an order of its own. A
/// value whose copies share their members; sets never change.
///
/// A set made from nothing (default, null ID, null position) is empty, belongs to no collection,
/// and may be combined with any other. Sets of two different collections may not: that throws
/// ORQBasFailure (Usage).
///
/// Costs: a run of consecutive members, and members at even distances, take a few bytes whatever
/// their number, and combining such runs takes constant time. Scattered members take 4 bytes each
/// and combine in one pass.
class ORQ_EXPORT ORQSimCSet {
  public:
    ORQSimCSet();
    ORQSimCSet(const ORQSimCSetID& id);
    /// All members of the collection's space.
    ORQSimCSet(const ORQSimCollectionID& collection);
    /// The set that the position denotes, or all members of the collection that it denotes.
    ORQSimCSet(const ORQSimPosition& position);

    int Size() const;
    bool IsEmpty() const { return Size() == 0; }
    bool IsAscending() const;
    /// The collection, null for a set made from nothing.
    ORQSimCollectionID CollectionID() const { return m_collection; }
    /// Null for a volatile set.
    ORQSimCSetID ID() const { return m_id; }
    /// The position of ID().
    ORQSimPosition Pos() const;
    /// The ID of the set of the same members in ascending order: this set's own ID when it is
    /// ascending. Else it is looked for, and made, among the temporary sets.
    ORQSimCSetID AscendingID() const;

    /// The member at a location in [0, Size()); throws Usage for other locations.
    int operator[](int location) const;
    /// The location of a member, -1 when it is none.
    int SeekMember(int member) const;
    /// Writes Size() ints: ascending, or in the set's own order.
    void Members(int* out) const;
    void OrderedMembers(int* out) const;
    /// Sets the bits of the members and clears all others. Throws Usage for negative members.
    void AsBitVector(omi_BlkBitVect& bits) const;
    ORQSimIntRange Bounds() const;

    /// Compares members regardless of their order.
    bool SameMembers(const ORQSimCSet& other) const;
    /// Results are ascending and volatile.
    ORQSimCSet Union(const ORQSimCSet& other) const;
    ORQSimCSet Intersection(const ORQSimCSet& other) const;
    ORQSimCSet operator-(const ORQSimCSet& other) const;

    /// Finds the equal set (members and order) of the collection, or makes it, and returns its ID.
    /// Making a persistent one needs an open transaction. A set of no collection returns null.
    ORQSimCSetID RegisterWithCollection() const;
    ORQSimCSetID RegisterWithTempCollection() const;

    /// For the platform's own sources.
    ORQSimCSet(const ORQSimCollectionID& collection, const ORQSimCSetID& id,
               std::shared_ptr<const orq::database::ComponentSet> members);
    const std::shared_ptr<const orq::database::ComponentSet>& Payload() const { return m_members; }

  private:
    ORQSimCSet Combined(const ORQSimCSet& other,
                        std::shared_ptr<const orq::database::ComponentSet> members) const;

    ORQSimCollectionID m_collection;
    ORQSimCSetID m_id;
    std::shared_ptr<const orq::database::ComponentSet> m_members;
};

/// Walks a set in its own order.
///   for (ORQSimCSetIterator i(set); !i.IsDone(); i.Next()) use(i.CurrentValue());
class ORQ_EXPORT ORQSimCSetIterator {
  public:
    /// Stands at the first member; keeps the members alive.
    explicit ORQSimCSetIterator(const ORQSimCSet& set);
    void First() { m_location = 0; }
    void Next() { ++m_location; }
    bool IsDone() const { return m_location >= m_size; }
    /// The member and its location; only while not done.
    int CurrentValue() const;
    int CurrentLocation() const { return m_location; }

  private:
    std::shared_ptr<const orq::database::ComponentSet> m_members;
    int m_size;
    int m_location = 0;
};
