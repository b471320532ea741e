/// Named, ordered and unordered links from one object to others.
#pragma once

#include <cstddef>
#include <memory>
#include <string_view>
#include <vector>

#include "ORQBasExport.h"
#include "ORQSimPosition.h"
#include "ORQString.h"

namespace orq::database {

class LinkList;

// Where a walk of such a list stands: before the first link at first.
struct LinkPlace {
    std::size_t block = 0;
    std::size_t next = 0;  // in the block: where the next link begins
    std::string_view key;  // lies in the list
    ORQSimPosition target;
};

}  // namespace orq::database

/// Walks what a map, vector or set held when Begin was called: a copy, which its own copies share.
///   for (auto i = map.Begin(); i.NotDone(); ++i) use(*i);
class ORQ_EXPORT ORQSimLinkIterator {
  public:
    explicit ORQSimLinkIterator(std::shared_ptr<const orq::database::LinkList> links);
    bool NotDone() const { return !m_isDone; }
    bool Done() const { return m_isDone; }
    ORQSimLinkIterator& operator++();
    /// Valid until the iterator moves.
    const ORQSimPosition& operator*() const { return m_place.target; }
    const ORQSimPosition& Value() const { return m_place.target; }
    /// The key in a map; empty in vectors and sets.
    ORQString Key() const { return ORQString(m_place.key); }

  private:
    std::shared_ptr<const orq::database::LinkList> m_links;
    orq::database::LinkPlace m_place;
    bool m_isDone = false;
};

/// The named links under one slot of an object, in ascending order of the bytes of their names.
/// Names are unique, byte-exact and case-sensitive.
///
/// A handle, as the vector and the stored set below. Reading through a null object returns 0, null
/// or nothing. Changes throw ORQBasFailure (Usage) for a null object or target, for a target of
/// another database and without an open transaction; all throw Usage when the database is closed,
/// Damaged or Io when rows cannot be read. Begin reads all links, Size of a map or a set counts
/// them; everything else costs a lookup or two, and Truncate one for each link that it drops.
class ORQ_EXPORT ORQSimMap {
  public:
    ORQSimMap() = default;
    ORQSimMap(const ORQSimPosition& object, int slot) : m_object(object), m_slot(slot) {}

    int Size() const;
    /// Null when there is none of that name.
    ORQSimPosition Find(const ORQString& name) const;
    ORQSimLinkIterator Begin() const;
    /// False, and nothing changed, when the name is taken.
    bool Insert(const ORQString& name, const ORQSimPosition& target) const;
    /// False when there is none of that name.
    bool Remove(const ORQString& name) const;

  private:
    ORQSimPosition m_object;
    int m_slot = 0;
};

/// The links under one slot of an object, in order of insertion.
class ORQ_EXPORT ORQSimVector {
  public:
    ORQSimVector() = default;
    ORQSimVector(const ORQSimPosition& object, int slot) : m_object(object), m_slot(slot) {}

    int Size() const;
    /// Null outside [0, Size()).
    ORQSimPosition operator[](int place) const;
    ORQSimLinkIterator Begin() const;
    void PushBack(const ORQSimPosition& target) const;
    /// Keeps the first `size` links and drops the others.
    void Truncate(int size) const;

  private:
    ORQSimPosition m_object;
    int m_slot = 0;
};

/// Positions without duplicates, in ascending order of their IDs: the links under one slot of an
/// object, or a set of this process's own.
class ORQ_EXPORT ORQSimSet {
  public:
    /// An empty set of this process's own. Null positions are kept only when allowed.
    explicit ORQSimSet(bool allowsNull = false) : m_allowsNull(allowsNull) {}
    ORQSimSet(const ORQSimPosition& object, int slot) : m_object(object), m_slot(slot) {}

    int Size() const;
    bool Empty() const;
    bool IsMember(const ORQSimPosition& target) const;
    ORQSimLinkIterator Begin() const;
    /// Inserting what is there already changes nothing.
    void Insert(const ORQSimPosition& target);
    void Remove(const ORQSimPosition& target);

  private:
    bool IsStored() const { return m_slot != 0; }

    ORQSimPosition m_object;
    int m_slot = 0;
    bool m_allowsNull = false;
    std::vector<ORQSimPosition> m_own;
};
