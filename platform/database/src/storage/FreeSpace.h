// Which parts of the bulk file are free: the rows of the free_extent table, mirrored in memory.
//
// Space is freed by a transaction and stays as it is until no reader can still see the state before
// that transaction (see LockFile). The rows are part of the transaction: a rollback, or a crash,
// restores them together with everything else.
#pragma once

#include <cstdint>
#include <map>

#include "Catalogue.h"
#include "LockFile.h"

namespace orq::storage {

class FreeSpace {
  public:
    FreeSpace(Catalogue& catalogue, const LockFile& lock) : m_catalogue(catalogue), m_lock(lock) {}

    // Forgets the mirror; it is read again when it is next needed.
    void Reload() { m_loaded = false; }
    // From here on no place is used again: states that name it may be kept elsewhere.
    void NeverReuse() { m_reuses = false; }
    // Begins a transaction on top of committed generation `current`.
    void BeginTransaction(std::int64_t current);

    // A place of `capacity` bytes (a multiple of the page) that no reader can see, taken from the
    // front of `bulkEnd` or by moving it on.
    std::int64_t Allocate(std::int64_t capacity, std::int64_t& bulkEnd);
    // Frees by the transaction that is open.
    void Free(std::int64_t offset, std::int64_t capacity);
    // Free space that ends at bulkEnd and that no reader can see is given back: bulkEnd moves down.
    // Whether any ends there costs one look at the last row.
    void TrimEnd(std::int64_t& bulkEnd);
    bool ReachesEnd(std::int64_t bulkEnd);

  private:
    struct Hole {
        std::int64_t length;
        std::int64_t generation;  // of the transaction that freed it
    };
    using Holes = std::map<std::int64_t, Hole>;

    void Load();
    bool IsReusable(const Hole& hole) const { return hole.generation <= m_oldestSnapshot; }
    void Put(std::int64_t offset, const Hole& hole);
    void Remove(Holes::iterator hole);
    void MergeReusable();

    Catalogue& m_catalogue;
    const LockFile& m_lock;
    bool m_loaded = false;
    bool m_reuses = true;
    Holes m_holes;
    std::int64_t m_current = 0;
    std::int64_t m_oldestSnapshot = 0;
};

}  // namespace orq::storage
