// Rows of objects that were written and not yet given to SQLite. A record is set field by field; its
// row is written once.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <vector>

#include "Rows.h"

namespace orq::storage {

class PendingObjects {
  public:
    struct Object {
        int type = 0;
        int category = 0;
        bool isNew = false;  // no row has its number
        std::vector<std::byte> fields;
    };

    bool IsEmpty() const { return m_objects.empty(); }
    // Whether they take so much memory that they have to be written.
    bool IsFull() const { return m_nBytes > kMostBytes; }
    bool Contains(std::int64_t id) const { return m_objects.contains(id); }
    // Null for one that is not pending. Valid until it is put again or all are cleared.
    const Object* Find(std::int64_t id) const {
        const auto found = m_objects.find(id);
        return found == m_objects.end() ? nullptr : &found->second;
    }
    // Where it throws, nothing has changed.
    void Put(const ObjectRow& row, bool isNew);
    void Clear() noexcept {
        m_objects.clear();
        m_nBytes = 0;
    }

    // In ascending order of numbers.
    auto begin() const { return m_objects.begin(); }
    auto end() const { return m_objects.end(); }

  private:
    static constexpr std::size_t kMostBytes = 4 << 20;
    static constexpr std::size_t kNodeBytes = 112;  // of an object beside its fields, about

    std::map<std::int64_t, Object> m_objects;
    std::size_t m_nBytes = 0;
};

}  // namespace orq::storage
