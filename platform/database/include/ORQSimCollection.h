/// Collections: indexed spaces of members.
#pragma once

#include "ORQBasExport.h"
#include "ORQSimCSet.h"
#include "ORQSimIDs.h"

class ORQSimPosition;

/// A space of members numbered from 0: nodes, elements, components, records. Members need not be
/// objects; where they are, the member number is what references store.
///
/// REQUIRES of every operation that makes or extends: an open transaction, unless it says
/// otherwise. Reading through a null ID returns 0, -1, null or empty; making through one throws
/// Usage.
class ORQ_EXPORT ORQSimCollection {
  public:
    ORQSimCollection() = default;
    explicit ORQSimCollection(const ORQSimCollectionID& id) : m_id(id) {}

    ORQSimCollectionID ID() const { return m_id; }
    bool IsNull() const { return m_id.IsNull(); }

    /// How many members there is room for.
    int Space() const;
    /// Makes room for at least `space` members in all; new members begin at the old space.
    void ExtendSpace(int space);

    /// Sets of given members, registered under a new ID. Duplicates count once. `isAscending` is a
    /// promise about the input that saves work and never changes the set. Negative members throw
    /// Usage in all but ordered sets, which hold any int but none twice.
    ORQSimCSetID CreateCSet(const int* members, int count, bool isAscending);
    ORQSimCSetID CreateOrderedCSet(const int* members, int count);
    /// `count` blocks of `block` consecutive members, whose first members lie `stride` apart.
    ORQSimCSetID CreateCSetStrided(int first, int count, int stride, int block);

    /// The same as temporary sets: they live in this process until the database closes and need no
    /// transaction; equal ones share an ID.
    ORQSimCSetID CreateTempCSet(const int* members, int count, bool isAscending) const;
    ORQSimCSetID CreateTempOrderedCSet(const int* members, int count) const;
    ORQSimCSetID CreateTempCSetStrided(int first, int count, int stride, int block) const;

    /// The same without an ID.
    ORQSimCSet CreateVolatileCSet(const int* members, int count, bool isAscending) const;
    ORQSimCSet CreateVolatileOrderedCSet(const int* members, int count) const;
    ORQSimCSet CreateVolatileCSetStrided(int first, int count, int stride, int block) const;

    /// The registered set with the same members, persistent before temporary; with `sameOrder` also
    /// in the same order. Null when there is none.
    ORQSimCSetID SeekCSet(const ORQSimCSet& set, bool sameOrder) const;
    ORQSimCSetID EmptyCSetID() const;

    /// Makes an object a member: at the end of the space, which grows by one, or at a given number
    /// within the space that no other object has (Usage otherwise). Returns the member number.
    int AddMember(const ORQSimPosition& object);
    void SetMember(int member, const ORQSimPosition& object);
    /// The object at a member number, null when there is none.
    ORQSimPosition GetMember(int member) const;
    /// The member number of an object in this collection, -1 when it is no member.
    int MemberIndex(const ORQSimPosition& object) const;

  private:
    ORQSimCollectionID m_id;
};
