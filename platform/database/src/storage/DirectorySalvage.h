// What is whole in the directory of a damaged database.
//
// Every row comes from pages, and every byte of bulk data from blocks, whose checksums are right.
// Rows that were lost with their page are made again where an index holds them too.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "BulkFile.h"
#include "CataloguePages.h"
#include "Engine.h"
#include "Salvage.h"

namespace orq::storage {

class DirectorySalvage final : public Salvage {
  public:
    // REQUIRES: a target without rows, with an open transaction; `goOn` outlives this.
    DirectorySalvage(Engine& target, const std::string& directory,
                     const std::function<void()>& goOn);

    void TakeRows() override;
    void TakeRowsFromIndices() override;
    void TakeChunks(const std::function<void(double)>& progress) override;

  private:
    struct Chunk {
        int part;
        std::int64_t number;
        Extent extent;
    };

    int FindFormat();
    void FindRoots();
    CataloguePages::Key KeyOf(Table table) const {
        return Shape(table).IsByRowNumber(m_format) ? CataloguePages::Key::RowNumber
                                                    : CataloguePages::Key::Columns;
    }
    // Of versions before 3: fields become part of their object's row.
    void TakeEarlyFields();
    // Of versions before 4: dimensions become part of their drawer's row.
    void TakeEarlyDimensions();
    // Given how many drawers of each distribution are known to have been there.
    void CountDrawers(std::map<std::int64_t, int>& nDrawers);
    void PutFields(std::int64_t object, const std::vector<std::byte>& packed);
    bool LeaveFieldsOut(Table table, PageRow& row);
    void OpenBulk();
    void ReadState();
    void LeaveForeignLogOut();
    void NoteDamagedPages();
    void ReadRows(Table table, const CataloguePages::OnRow& take);
    void ReadTree(Table table, std::size_t nColumns, const CataloguePages::OnRow& take,
                  const CataloguePages::OnGap& note);
    // Returns whether nothing of the index is lost.
    bool ReadIndex(Index index, std::size_t nColumns, const CataloguePages::OnRow& take);
    void TakeLinks(Table table, Index index);
    void TakeSetEntries();
    void TakeMembers();
    void TakeSymbols();
    void CloseGaps(Table table);
    // False where the values are none that the table may have.
    bool Insert(Table table, std::span<const Value> row);
    void TakeSmallChunks();
    void TakeStore(std::int64_t store, const std::vector<Chunk>& chunks);
    std::string DamageOf(const Extent& extent);
    bool IsTaken(const Extent& extent) const;

    Engine& m_target;
    const std::function<void()>& m_goOn;
    std::string m_directory;
    CataloguePages m_pages;
    std::map<std::string, std::int64_t> m_roots;
    int m_format = kFormatVersion;
    BulkFile m_bulk;
    std::optional<Identity> m_identity;  // in the bulk file's header, where that can be read
    std::int64_t m_bulkSize = 0;
    std::map<std::int64_t, std::int64_t> m_taken;  // bulk data: from each of these to its end
    // Packed fields of objects that are lost, and may be made again of what leads to them.
    std::map<std::int64_t, std::vector<std::byte>> m_fieldsOfLost;
};

}  // namespace orq::storage
