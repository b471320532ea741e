// What an open database is to the classes of the interface: the engine, and what is known of it.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "ComponentSet.h"
#include "DrawerRows.h"
#include "NumberRanges.h"
#include "ORQSimDistribution.h"
#include "ORQSimIDs.h"
#include "ORQSimSchema.h"
#include "storage/Store.h"

namespace orq::database {

// The focus is the first object of every database; stored, do not change.
inline constexpr std::int64_t kFocus = 1;

// One drawer. Its cells are rows of equal size: one row for each member along the row dimension
// (the extendable one, else dimension 0), holding the cells of all other dimensions in order of
// dimension. Rows keep the order in which members came; the sets that callers see do not show it.
struct DrawerState {
    ORQSimDrawerID id;
    ORQSimDrawerLayout layout = ORQSimDrawerLayout::Plain;
    int extendable = -1;
    std::int64_t store = 0;
    std::int64_t nRows = 0;  // of a sparse drawer too
    std::vector<int> chunks;
    std::vector<ORQSimCSetID> setIds;   // null along the row dimension of an extendable drawer
    std::vector<ComponentSetPtr> sets;  // empty along the row dimension
    DrawerRows rows;

    std::size_t NumDims() const { return sets.size(); }
    int RowDim() const { return extendable < 0 ? 0 : extendable; }
    // The members along a dimension as callers see them.
    const ComponentSetPtr& Members(std::size_t dim) const {
        return static_cast<int>(dim) == RowDim() ? rows.Members() : sets[dim];
    }
    std::int64_t ItemsPerRow() const;
    std::int64_t RowsPerChunk(int scalarSize) const;
};

struct DistributionState {
    ORQSimDistributionID id;
    int scalar = 0;
    ORQSimCollectionID rangeCollection;
    std::vector<ORQSimCollectionID> grid;
    std::vector<std::unique_ptr<DrawerState>> drawers;  // in order of creation

    int ScalarSize() const { return ORQSimScalarSize(scalar); }
    DrawerState* Find(const ORQSimDrawerID& id) const;
};

class DatabaseState : public std::enable_shared_from_this<DatabaseState> {
  public:
    explicit DatabaseState(std::unique_ptr<storage::Store> store);
    ~DatabaseState();
    DatabaseState(const DatabaseState&) = delete;
    DatabaseState& operator=(const DatabaseState&) = delete;

    // The database of an identity. Find answers null for a null or closed one; Reading answers null
    // for a null identity and for one that an undone transaction gave out, and throws for a closed
    // database; Writing throws for all of them, and without an open transaction.
    static DatabaseState* Find(ORQSimContextID context);
    static DatabaseState* Reading(const ORQSimDynamicID& id);
    static DatabaseState& Writing(const ORQSimDynamicID& id);
    // Throws Usage for a null or closed one, and for one that an undone transaction gave out.
    static DatabaseState& Existing(const ORQSimDynamicID& id);

    // Throws Usage, naming it, for an identity of another database and for one that an undone
    // transaction gave out; null passes. Every identity that goes into a row passes here.
    void CheckStorable(const ORQSimDynamicID& id) const;

    ORQSimContextID Context() const { return m_context; }
    bool IsClosed() const { return m_store == nullptr; }
    void Close();
    storage::Store& Store() { return *m_store; }
    storage::RowStore& Rows() { return m_store->Rows(); }
    storage::ChunkStore& Chunks() { return m_store->Chunks(); }
    const std::string& Path() const { return m_path; }
    // For messages: the path, or that there is none.
    std::string ShownPath() const;

    // Answers the level of the new transaction, from 1.
    int Begin();
    // Throws Usage when a transaction inside this level is still open.
    void CheckInnermost(int level) const;
    // Commits the innermost level; when that throws, the level has been undone.
    void Commit();
    // Undoes this level and all inside it. Where that fails, the handle refuses from then on. Does
    // nothing in another process than the one that began.
    void Rollback(int level) noexcept;
    bool Refresh();

    // Makes an object and answers its identity.
    ORQSimDynamicID NewObject(int type, int category);
    // The identity of an object by number; null when there is none.
    ORQSimDynamicID ObjectID(std::int64_t object);
    ORQSimDynamicID Identity(int category, std::int64_t object, int type, int index) const {
        return {category, m_context, object, ORQSimTypeID(type), index};
    }
    ORQSimDynamicID FocusID() const {
        return Identity(ORQSimCategoryRecord, kFocus, ORQSimSchema::Focus, 0);
    }
    ORQSimCollectionID CollectionID(std::int64_t object);
    // What a link leads to, as an identity and as it is stored.
    ORQSimDynamicID IdentityOf(const storage::Target& target) const {
        return Identity(target.category, target.object, target.type, target.index);
    }
    static storage::Target TargetOf(const ORQSimDynamicID& id) {
        return {id.MinorID(), id.Category(), id.TypeID().Index(), id.Index()};
    }
    int Space(const ORQSimCollectionID& collection);

    // The child under a slot; null when there is none. Services follow a few links again and again,
    // above all from the focus to the mesh, so the last ones are known.
    ORQSimDynamicID Child(std::int64_t object, int slot, int member);
    // A null target removes the link.
    void SetChild(std::int64_t object, int slot, int member, const ORQSimDynamicID& target);

    // Sets. A set's index is above 0 when it is stored, 0 for the empty set, below -1 when it is
    // temporary.
    ComponentSetPtr Members(const ORQSimCSetID& id);
    ORQSimCSetID StoreSet(const ORQSimCollectionID& collection, const ComponentSetPtr& members);
    ORQSimCSetID FindStoredSet(const ORQSimCollectionID& collection,
                               const ComponentSetPtr& members);
    ORQSimCSetID FindTempSet(const ORQSimCollectionID& collection, const ComponentSetPtr& members);
    ORQSimCSetID TempSet(const ORQSimCollectionID& collection, const ComponentSetPtr& members);
    // The ID itself, or that of an equal stored set when it is temporary.
    ORQSimCSetID Persistent(const ORQSimCSetID& id);

    // Distributions. The state stays valid until the transaction is undone or the reader refreshed.
    DistributionState& Distribution(const ORQSimDistributionID& id);
    // The same as its rows say, whether they agree with one another or not.
    DistributionState LoadDistribution(const ORQSimDistributionID& id);
    DrawerState& NewDrawer(DistributionState& distribution, std::unique_ptr<DrawerState> drawer,
                           const std::vector<ComponentSetPtr>& sets);
    // Adds rows for members that the drawer does not have; answers the first new row.
    std::int64_t AddRows(DrawerState& drawer, const ComponentSetPtr& members);
    // The set that callers see along a dimension, as an ID. Along the extendable dimension of a
    // drawer it is one and the same temporary set, whose members are replaced when the drawer has
    // grown, so that describing a growing drawer does not keep every state of it.
    ORQSimCSetID DimensionSet(const DistributionState& distribution, const DrawerState& drawer,
                              int dimension);
    void DeleteDrawer(DistributionState& distribution, const ORQSimDrawerID& id);

    // Takes rows away and their bulk data, whatever refers to them.
    void EraseDrawerRows(std::int64_t distribution, int drawer);
    void EraseSet(int set);
    // Whatever the object is: with its links, names, fields and contents.
    void EraseObject(std::int64_t object);

    // What is known of rows is read again; REQUIRES: nobody holds a state of a distribution.
    void ForgetCaches() noexcept;

  private:
    bool WasUndone(const ORQSimDynamicID& id) const;
    // What the levels gave out that the engine has undone is gone.
    void ForgetUndoneLevels() noexcept;

    void EraseStore(std::int64_t store);
    // Takes a drawer out of the data sets that stand on its distribution.
    void ForgetInDataSets(std::int64_t distribution, int drawer);

    struct TempSetEntry {
        ORQSimCollectionID collection;
        ComponentSetPtr members;
        bool isReplaceable = false;  // made to describe a drawer, and nobody else was given it
    };

    struct KnownChild {
        std::int64_t object = 0;  // 0 for none
        int slot = 0;
        int member = 0;
        ORQSimDynamicID target;
    };

    // The place of an equal temporary set, -1 when there is none.
    int PlaceOfTempSet(const ORQSimCollectionID& collection, const ComponentSetPtr& members) const;
    int AddTempSet(const ORQSimCollectionID& collection, const ComponentSetPtr& members);
    void ReplaceTempSet(int place, const ComponentSetPtr& members);
    ORQSimCSetID TempSetID(int place) const;
    ORQSimCSetID DescribedRows(const ORQSimCollectionID& collection, const DrawerState& drawer);

    KnownChild& PlaceOfChild(std::int64_t object, int slot, int member);
    void PutSegment(const DrawerState& drawer, const DrawerSegment& segment);
    void PutDrawerRow(const DrawerState& drawer);
    std::unique_ptr<DrawerState> LoadDrawer(const DistributionState& distribution,
                                            const storage::DrawerRow& row);

    std::unique_ptr<storage::Store> m_store;
    std::string m_path;
    ORQSimContextID m_context;
    std::vector<storage::Numbers> m_levelStarts;  // one per open transaction level
    NumberRanges m_undoneObjects;
    NumberRanges m_undoneSets;  // of drawers too
    std::array<KnownChild, 64> m_children;
    std::unordered_map<int, ComponentSetPtr> m_sets;
    std::unordered_map<std::int64_t, DistributionState> m_distributions;
    std::vector<TempSetEntry> m_tempSets;                      // index -2 - place
    std::unordered_multimap<std::uint64_t, int> m_tempByHash;  // to the place
    std::unordered_map<int, int> m_describedRows;  // by number of the drawer, to the place
};

// How the members of a set are written down and read back. Many members go to bulk data of their
// own.
storage::StoredMembers WriteMembers(storage::Store& store, const ComponentSet& members);
ComponentSetPtr ReadMembers(storage::Store& store, const storage::StoredMembers& stored);

}  // namespace orq::database
