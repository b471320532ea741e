/// Positions: handles to objects, and the links between objects.
#pragma once

#include "ORQBasExport.h"
#include "ORQBasVector.h"
#include "ORQSimIDs.h"
#include "ORQString.h"

class ORQSimContext;
class ORQSimCSet;
class ORQSimCtation;
class ORQSimDSet;
class ORQSimDataRecord;
class ORQSimDatabase;
class ORQSimGrid;
class ORQSimMap;
class ORQSimRangeType;
class ORQSimSet;
class ORQSimVector;

/// A handle to one object of an open database, or to nothing. A small value, ordered by ID.
///
/// Slots and types are type indices (ads_CoreFragmentTypeIndex).
///
/// An identity that an undone transaction gave out is never given out again: reading through it, as
/// through a null position, returns null, zero or empty; writing through either, linking to it and
/// storing it throws ORQBasFailure (Usage), which names it. So does any writing without an open
/// transaction.
///
/// Once the database is closed, everything throws (Usage) but what the identity itself holds: ID,
/// IsNull, comparison, TypePosition, Context, Doc (a closed one), and the typed IDs that
/// GetCollection, GetDSet, GetDistribution, GetDrawer and GetFTable make of it.
class ORQ_EXPORT ORQSimPosition {
  public:
    constexpr ORQSimPosition() = default;
    constexpr ORQSimPosition(const ORQSimDynamicID& id) : m_id(id) {}

    constexpr const ORQSimDynamicID& ID() const { return m_id; }
    constexpr bool IsNull() const { return m_id.IsNull(); }
    friend constexpr auto operator<=>(const ORQSimPosition&, const ORQSimPosition&) = default;

    // --- Links -----------------------------------------------------------------------------------

    /// The root object of the position's database.
    ORQSimPosition Focus() const;
    /// The object that refers to this one through `slot`, as a child or as a member of a map or
    /// vector; the lowest ID where several do.
    ORQSimPosition Parent(int slot) const;
    /// The child under a slot; each member number of a slot is a link of its own.
    ORQSimPosition Follow(int slot, int member) const;
    ORQSimPosition GetPosition(int slot) const { return Follow(slot, 0); }
    /// Stores one link and replaces the former; a null target removes it. A link to a temporary set
    /// keeps a persistent copy of the set.
    void Associate(int slot, int member, const ORQSimPosition& target) const;
    void SetPosition(int slot, const ORQSimPosition& target) const { Associate(slot, 0, target); }

    /// Named children, children in order, and a set of children. Never null: an object has all of
    /// them under every slot, empty at first.
    ORQSimMap GetMap(int slot) const;
    ORQSimVector GetVector(int slot) const;
    ORQSimSet GetSet(int slot) const;
    /// All objects that refer to this one through `slot`, by any kind of link.
    ORQSimSet ReferrersSet(int slot) const;

    // --- Type and names --------------------------------------------------------------------------

    /// Whether the object's type is `type` or derived from it.
    bool IsA(int type) const;
    /// A position that denotes the object's type: IsA and Name() answer for the type.
    ORQSimPosition TypePosition() const;
    /// The name stored under a slot. Without a slot: the object's own name, which is the one under
    /// Record_name, else the key of a map that holds it, else its name as a symbol.
    ORQString Name(int slot) const;
    ORQString Name() const;
    void SetName(int slot, const ORQString& name) const;
    /// The key under which a map with this slot holds the object; empty when none does.
    ORQString GetReferenceKey(int slot) const;
    /// Name and place of a symbol; empty and -1 for an object that is none.
    ORQString GetSymbolName() const;
    int GetSymbolPosition() const;

    // --- Contents --------------------------------------------------------------------------------
    /// What an object is, as a value or as an ID; null when it is no such thing. A collection also
    /// stands for the set, the data set and the drawer of all its members.

    ORQSimCSet CSet() const;
    ORQSimCSetID GetCSet() const;
    ORQSimCollectionID GetCollection() const;
    ORQSimDSet DSet() const;
    ORQSimDSetID GetDSet() const;
    ORQSimDistributionID GetDistribution() const;
    ORQSimDrawerID GetDrawer() const;
    ORQSimFTableID GetFTable() const;
    /// Every object has numbered fields.
    ORQSimDataRecord DataRecord() const;
    ORQSimDynamicID GetDataRecord() const;

    /// New objects in the position's database; linking them is the caller's business.
    ORQSimDataRecord CreateDataRecord(int type) const;
    ORQSimPosition CreateTypedCollection(int type, int space) const;
    ORQSimPosition CreateTypedDSet(const ORQSimCtation& ctation, int type) const;
    ORQSimPosition CreateTypedDistribution(const ORQSimGrid& grid, int type,
                                           const ORQSimRangeType& range) const;
    /// `data` holds `count` doubles, row after row, in rows of count / rows. Fewer column labels
    /// than columns name the last columns; `rowLabels` may be empty. Throws Usage when the count is
    /// no multiple of the rows, or there are more labels than rows or columns.
    ORQSimPosition CreateFTable(int type, int rows, const ORQBasVector<ORQString>& rowLabels,
                                const ORQBasVector<ORQString>& columnLabels, const double* data,
                                int count) const;
    /// The same of the general table type.
    ORQSimPosition CreateSimpleFTable(int rows, const ORQBasVector<ORQString>& rowLabels,
                                      const ORQBasVector<ORQString>& columnLabels,
                                      const double* data, int count) const;

    ORQSimContext Context() const;
    /// A handle to the position's database, which keeps it open.
    ORQSimDatabase Doc() const;

  private:
    ORQSimDynamicID m_id;
};
