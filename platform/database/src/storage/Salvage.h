// What is whole in the files of a damaged database, carried over row by row and chunk by chunk.
//
// Every row comes from pages, and every byte of bulk data from blocks, whose checksums are right.
// Rows that were lost with their page are made again where an index holds them too. What the rows
// mean together is not looked at here; see Recovery.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "BulkFile.h"
#include "CataloguePages.h"
#include "Engine.h"

namespace orq::storage {

// The first columns of a row; 0 for what is no number, or not there.
using RowKey = std::array<std::int64_t, 3>;

// Where rows of a table were lost: between two that were read.
struct RowGap {
    Table table;
    std::optional<RowKey> after;   // none: from the table's beginning
    std::optional<RowKey> before;  // none: to its end

    bool MayHold(std::int64_t key) const;
    bool MayHold(std::int64_t key0, std::int64_t key1) const;
};

class Salvage {
  public:
    // Reads from a directory, which stays as it is, into a database that has no rows but its
    // state's; a transaction must be open on that. Throws Foreign where the two files belong to
    // different databases or to a newer format, Damaged where nothing can be read, Busy while
    // somebody writes to the directory's database. `goOn` must outlive this, and is called with
    // every row; what it throws ends the work.
    Salvage(Engine& target, const std::string& directory, const std::function<void()>& goOn);

    // To be called in this order. Every table but those that say where chunks lie,
    void TakeRows();
    // then, the objects being known as far as they can be, rows that only an index still holds,
    void TakeRowsFromIndices();
    // then bulk data: stores whose chunks are all whole. `progress` gets numbers from 0 to 1.
    void TakeChunks(const std::function<void(double)>& progress);

    // What is wrong with the files as such, one text each; empty when nothing is.
    const std::vector<std::string>& Damage() const { return m_damage; }
    const std::vector<RowGap>& Gaps() const { return m_gaps; }
    // Whether a row whose key begins with these numbers may have been lost.
    template <class... Keys>
    bool MayHaveLost(Table table, Keys... keys) const {
        return std::ranges::any_of(m_gaps, [&](const RowGap& gap) {
            if constexpr (sizeof...(Keys) == 0) {
                return gap.table == table;
            } else {
                return gap.table == table && gap.MayHold(keys...);
            }
        });
    }
    // Stores of which a chunk is damaged, and in what way.
    const std::map<std::int64_t, std::string>& DamagedStores() const { return m_damagedStores; }

    // A link that is known but for the type of what it leads to, whose object is lost.
    struct HalfLink {
        Table table;
        std::int64_t object;
        int slot;
        std::int64_t target;
    };
    const std::vector<HalfLink>& HalfLinks() const { return m_halfLinks; }

  private:
    struct Chunk {
        int part;
        std::int64_t number;
        Extent extent;
    };

    void FindRoots();
    void OpenBulk();
    void ReadState();
    void LeaveForeignLogOut();
    void NoteDamagedPages();
    void ReadRows(Table table, const CataloguePages::OnRow& take);
    // Answers whether nothing of the index is lost.
    bool ReadIndex(Index index, std::size_t nColumns, const CataloguePages::OnRow& take);
    void TakeLinks(Table table, Index index);
    void TakeSetEntries();
    void TakeMembers();
    void TakeSymbols();
    void CloseGaps(Table table);
    // False where the values are none that the table may have.
    bool Insert(Table table, std::span<const Value> row);
    void TakeStore(std::int64_t store, const std::vector<Chunk>& chunks);
    std::string DamageOf(const Extent& extent);
    bool IsTaken(const Extent& extent) const;

    Engine& m_target;
    const std::function<void()>& m_goOn;
    std::string m_directory;
    CataloguePages m_pages;
    std::map<std::string, std::int64_t> m_roots;
    BulkFile m_bulk;
    std::optional<Identity> m_identity;  // in the bulk file's header, where that can be read
    std::int64_t m_bulkSize = 0;
    std::vector<std::string> m_damage;
    std::vector<RowGap> m_gaps;
    std::map<std::int64_t, std::string> m_damagedStores;
    std::vector<HalfLink> m_halfLinks;
    std::map<std::int64_t, std::int64_t> m_taken;  // bulk data: from each of these to its end
};

}  // namespace orq::storage
