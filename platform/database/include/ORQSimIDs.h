/// Identities: how an object, a set or a drawer of a database is named.
#pragma once

#include <compare>
#include <cstdint>

#include "ORQBasExport.h"

/// What an identity denotes. Values are stored, do not change.
enum ORQSimCategory : int {
    ORQSimCategoryNull = 0,
    ORQSimCategoryRecord = 1,
    ORQSimCategoryCollection = 2,
    ORQSimCategoryDSet = 3,
    ORQSimCategoryCSet = 4,
    ORQSimCategoryDistribution = 5,
    ORQSimCategoryDrawer = 6,
    ORQSimCategoryFTable = 7,
    ORQSimCategoryType = 8
};

/// The number that this process gave to a database when it was opened; never given twice, so two
/// open copies of one file have different contexts. -1 for none.
class ORQSimContextID {
  public:
    constexpr ORQSimContextID() = default;
    constexpr explicit ORQSimContextID(int value) : m_value(value) {}
    constexpr int Value() const { return m_value; }
    constexpr bool IsNull() const { return m_value < 0; }
    friend constexpr auto operator<=>(ORQSimContextID, ORQSimContextID) = default;

  private:
    int m_value = -1;
};

/// A type or slot of the schema, see ads_CoreFragmentTypeIndex. -1 for none.
class ORQSimTypeID {
  public:
    constexpr ORQSimTypeID() = default;
    constexpr explicit ORQSimTypeID(int index) : m_index(index) {}
    constexpr int Index() const { return m_index; }
    friend constexpr auto operator<=>(ORQSimTypeID, ORQSimTypeID) = default;

  private:
    int m_index = -1;
};

/// The number of an object within its database; 0 and below for none.
using ORQSimDynamicDataID = std::int64_t;

/// The identity of anything in a database. A value of five words:
///
///   category  what it is
///   context   in which open database
///   object    the object; for a set its collection, for a drawer its distribution
///   type      the type of that object
///   index     the set or drawer within the object; 0 for objects themselves
///
/// Object, type and index stay the same when the database is closed and opened again; the context
/// does not. Indices below -1 are sets that live in this process only.
class ORQSimDynamicID {
  public:
    constexpr ORQSimDynamicID() = default;
    constexpr ORQSimDynamicID(int category, ORQSimContextID context, ORQSimDynamicDataID object,
                              ORQSimTypeID type, int index)
        : m_context(context),
          m_object(object),
          m_category(category),
          m_type(type),
          m_index(index) {}

    constexpr int Category() const { return m_category; }
    constexpr ORQSimContextID ContextID() const { return m_context; }
    constexpr ORQSimDynamicDataID MinorID() const { return m_object; }
    constexpr ORQSimTypeID TypeID() const { return m_type; }
    constexpr int Index() const { return m_index; }

    /// True for an identity that names nothing: object 0 or less, index -1, or no context.
    constexpr bool IsNull() const {
        return m_category == ORQSimCategoryNull || m_object <= 0 || m_index == -1 ||
               m_context.IsNull();
    }

    /// The order of positions and of sets of positions: context, object, category, type, index.
    constexpr int Compare(const ORQSimDynamicID& other) const {
        const auto order = *this <=> other;
        return order < 0 ? -1 : (order > 0 ? 1 : 0);
    }
    constexpr bool Equal(const ORQSimDynamicID& other) const { return *this == other; }
    friend constexpr auto operator<=>(const ORQSimDynamicID&, const ORQSimDynamicID&) = default;

  private:
    ORQSimContextID m_context;
    ORQSimDynamicDataID m_object = -1;
    int m_category = ORQSimCategoryNull;
    ORQSimTypeID m_type;
    int m_index = -1;
};

/// An identity that is known to be of one category; made from one of another category it is null.
template <int kCategory>
class ORQSimIDOf : public ORQSimDynamicID {
  public:
    constexpr ORQSimIDOf() = default;
    constexpr explicit ORQSimIDOf(const ORQSimDynamicID& id)
        : ORQSimDynamicID(id.Category() == kCategory ? id : ORQSimDynamicID()) {}
    constexpr ORQSimIDOf(ORQSimContextID context, ORQSimDynamicDataID object, ORQSimTypeID type,
                         int index = 0)
        : ORQSimDynamicID(kCategory, context, object, type, index) {}
};

class ORQSimCollectionID : public ORQSimIDOf<ORQSimCategoryCollection> {
    using ORQSimIDOf::ORQSimIDOf;
};
class ORQSimDSetID : public ORQSimIDOf<ORQSimCategoryDSet> {
    using ORQSimIDOf::ORQSimIDOf;
};
class ORQSimDistributionID : public ORQSimIDOf<ORQSimCategoryDistribution> {
    using ORQSimIDOf::ORQSimIDOf;
};
class ORQSimFTableID : public ORQSimIDOf<ORQSimCategoryFTable> {
    using ORQSimIDOf::ORQSimIDOf;
};

class ORQSimDrawerID : public ORQSimIDOf<ORQSimCategoryDrawer> {
  public:
    using ORQSimIDOf::ORQSimIDOf;
    constexpr ORQSimDistributionID DistributionID() const {
        return IsNull() ? ORQSimDistributionID()
                        : ORQSimDistributionID(ContextID(), MinorID(), TypeID());
    }
};

class ORQSimCSetID : public ORQSimIDOf<ORQSimCategoryCSet> {
  public:
    using ORQSimIDOf::ORQSimIDOf;
    /// Whether an identity denotes a set, or nothing at all.
    static constexpr bool CanBeConverted(const ORQSimDynamicID& id) {
        return id.IsNull() || id.Category() == ORQSimCategoryCSet;
    }
    constexpr ORQSimCollectionID CollectionID() const {
        return MinorID() > 0 ? ORQSimCollectionID(ContextID(), MinorID(), TypeID())
                             : ORQSimCollectionID();
    }
};

/// One member of a collection.
class ORQSimCMemberID {
  public:
    constexpr ORQSimCMemberID() = default;
    constexpr ORQSimCMemberID(ORQSimCollectionID collection, int member)
        : m_collection(collection), m_member(member) {}
    constexpr ORQSimCollectionID CollectionID() const { return m_collection; }
    constexpr int Member() const { return m_member; }
    constexpr bool IsNull() const { return m_collection.IsNull() || m_member < 0; }
    friend constexpr auto operator<=>(const ORQSimCMemberID&, const ORQSimCMemberID&) = default;

  private:
    ORQSimCollectionID m_collection;
    int m_member = -1;
};
