// Rows of objects that were written and not yet given to SQLite. A record is set field by field;
// its row is written once.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <span>
#include <utility>
#include <vector>

#include "BytePool.h"
#include "Rows.h"

namespace orq::storage {

class PendingObjects {
  public:
    struct Object {
        std::int64_t id = 0;
        int type = 0;
        int category = 0;
        bool isNew = false;  // no row has its number
        std::span<std::byte> room;
        std::size_t nBytes = 0;  // of the room

        ObjectRow Row() const { return {id, type, category, room.first(nBytes)}; }
    };

    bool IsEmpty() const { return m_ascending.empty() && m_others.empty(); }
    // Whether they take so much memory that they have to be written.
    bool IsFull() const;
    bool Contains(std::int64_t id) const { return Find(id) != nullptr; }
    // Null for one that is not pending. Its fields are valid until it is put again or all are
    // cleared.
    const Object* Find(std::int64_t id) const;
    // Where it throws, nothing has changed.
    void Put(const ObjectRow& row, bool isNew);
    void Clear() noexcept;

    template <class F>
    void ForEach(F&& f) const {
        for (const Object& object : m_ascending) {
            f(object);
        }
        for (const auto& [id, object] : m_others) {
            f(object);
        }
    }

  private:
    // Enough for records that are set in turns to be written once.
    static constexpr std::size_t kMostBytes = 4 << 20;

    Object* Known(std::int64_t id) { return const_cast<Object*>(std::as_const(*this).Find(id)); }
    // Room for fields of that size and for some more to come.
    std::span<std::byte> TakeRoom(std::size_t nBytes);

    // Objects that come in the order of their numbers, as new ones do, need no search.
    std::vector<Object> m_ascending;
    std::map<std::int64_t, Object> m_others;
    BytePool m_pool;                 // room that became too small is not used again
    std::size_t m_nLargestRoom = 0;  // of those for which the pool grew
};

}  // namespace orq::storage
