/// Distributions: bulk data over a grid of collections, kept in drawers.
#pragma once

#include <cstdint>
#include <vector>

#include "ORQBasExport.h"
#include "ORQSimArray.h"
#include "ORQSimCompartment.h"
#include "ORQSimIDs.h"

class ORQSimPosition;

/// The scalar types of values. Stored, do not change.
enum ORQSimScalarType : int {
    ORQSimScalarInt = 1,     // 4-byte signed
    ORQSimScalarUint = 2,    // 4-byte unsigned
    ORQSimScalarFloat = 3,   // 4-byte IEEE
    ORQSimScalarDouble = 4,  // 8-byte IEEE
    ORQSimScalarInt64 = 5,   // 8-byte signed
    ORQSimScalarByte = 6     // 1-byte unsigned
};
/// Bytes of one value, 0 for a number that is no scalar type.
ORQ_EXPORT int ORQSimScalarSize(int scalarType);

/// The collections over which a distribution runs, one per dimension.
class ORQSimGrid {
  public:
    ORQSimGrid() = default;
    explicit ORQSimGrid(const ORQSimArray<ORQSimCollectionID>& collections)
        : m_collections(collections.begin(), collections.end()) {}
    explicit ORQSimGrid(std::vector<ORQSimCollectionID> collections)
        : m_collections(std::move(collections)) {}

    int NumDimensions() const { return static_cast<int>(m_collections.size()); }
    /// Null outside [0, NumDimensions()).
    ORQSimCollectionID Collection(int dimension) const {
        return dimension >= 0 && dimension < NumDimensions()
                   ? m_collections[static_cast<std::size_t>(dimension)]
                   : ORQSimCollectionID();
    }
    const std::vector<ORQSimCollectionID>& Collections() const { return m_collections; }

  private:
    std::vector<ORQSimCollectionID> m_collections;
};

/// What the values are: a scalar type, and for references the collection whose members they name.
class ORQSimRangeType {
  public:
    explicit ORQSimRangeType(int scalarType) : m_scalarType(scalarType) {}
    ORQSimRangeType(int scalarType, const ORQSimCollectionID& collection)
        : m_scalarType(scalarType), m_collection(collection) {}

    int ScalarType() const { return m_scalarType; }
    const ORQSimCollectionID& Collection() const { return m_collection; }

  private:
    int m_scalarType;
    ORQSimCollectionID m_collection;
};

/// How a drawer is laid out. Stored, do not change.
enum class ORQSimDrawerLayout : int { Plain = 0, Chunked = 1, Sparse = 2 };

/// What a drawer covers and how it is stored, as of the moment of the query.
class ORQ_EXPORT ORQSimDrawerDescription {
  public:
    ORQSimDrawerDescription() = default;

    const ORQSimDrawerID& DrawerID() const { return m_id; }
    /// The sets of members that it covers, one per dimension.
    const ORQSimOCompartment& Compartment() const { return m_compartment; }
    ORQSimCSetID CSet(int dimension) const { return m_compartment.CSet(dimension); }
    int NumDimensions() const { return m_compartment.Size(); }
    /// Items along a dimension.
    std::int64_t DataSizeItems(int dimension) const;
    /// Items in all: the product, or the stored ones of a sparse drawer.
    std::int64_t DataSizeItems() const { return m_nItems; }
    /// One per dimension; 0 in all for a drawer that is not chunked.
    void ChunkSizes(ORQSimArray<int>& sizes) const;
    ORQSimDrawerLayout Layout() const { return m_layout; }
    bool IsChunked() const { return m_layout == ORQSimDrawerLayout::Chunked; }
    /// -1 when the drawer cannot be extended.
    int ExtendableDim() const { return m_extendable; }

  private:
    friend class ORQSimDistribution;
    ORQSimDrawerID m_id;
    ORQSimOCompartment m_compartment;
    std::int64_t m_nItems = 0;
    std::vector<int> m_chunks;
    ORQSimDrawerLayout m_layout = ORQSimDrawerLayout::Plain;
    int m_extendable = -1;
};
using ORQSimPersistentDrawerDesc = ORQSimDrawerDescription;

/// Bulk data over a grid. On a null ID it has no dimensions and no drawers.
class ORQ_EXPORT ORQSimDistribution {
  public:
    ORQSimDistribution() = default;
    ORQSimDistribution(const ORQSimDistributionID& id) : m_id(id) {}

    const ORQSimDistributionID& ID() const { return m_id; }
    bool IsNull() const { return m_id.IsNull(); }
    ORQSimGrid Grid() const;
    ORQSimRangeType RangeType() const;
    int NumDimensions() const { return Grid().NumDimensions(); }

    /// Drawers in order of their creation.
    int NumDrawers() const;
    ORQSimArray<ORQSimDrawerID> DrawerIDArray() const;
    ORQSimArray<ORQSimPersistentDrawerDesc> QueryDrawers() const;
    /// Empty for a null drawer or distribution. Throws Usage for a drawer that is not this
    /// distribution's.
    ORQSimDrawerDescription DrawerDescription(const ORQSimDrawerID& drawer) const;
    /// Removes a drawer and its data, also from data sets. Needs an open transaction.
    void DeleteDrawer(const ORQSimDrawerID& drawer) const;

  private:
    ORQSimDistributionID m_id;
};

/// One drawer; a collection's drawer covers all its members and holds no data.
class ORQ_EXPORT ORQSimDrawer {
  public:
    ORQSimDrawer() = default;
    ORQSimDrawer(const ORQSimDrawerID& id) : m_id(id) {}
    explicit ORQSimDrawer(const ORQSimPosition& position);

    const ORQSimDrawerID& ID() const { return m_id; }
    bool IsNull() const { return m_id.IsNull(); }
    ORQSimDrawerDescription Description() const;
    /// The number of members along dimension 0.
    int Space() const;

  private:
    ORQSimDrawerID m_id;
};
