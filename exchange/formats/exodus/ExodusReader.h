#pragma once

#include <exodusII.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "ORQExcMeshSource.h"
#include "formats/exodus/ExodusArrays.h"
#include "formats/exodus/ExodusResults.h"

namespace orq::exchange {

/// Reads an Exodus II file, in a netCDF classic or an HDF5 container, block by block.
///
/// The reader itself holds the names and sizes of blocks and sets and no more than a few slices of
/// 65,536 values, whatever the size of the file.
///
/// Every failure is an ORQExcImportError that names the file, the section, and the index and value
/// where there is one. After a failed read the reader can be used further; the buffer's contents
/// are then undefined. What the file claims is checked before anyone can size a buffer by it: a
/// count is at most 2^31 - 1 and no larger than the file's bytes can hold.
class ExodusReader : public ORQExcMeshSource {
  public:
    /// Opens the file, which must be a regular one, and reads its title, sizes, blocks and sets.
    explicit ExodusReader(const std::filesystem::path& file);

    const std::filesystem::path& File() const { return m_path; }

    std::string_view Format() const override { return "Exodus II"; }

    /// Single-precision files are widened exactly.
    void ReadCoordinates(int begin, int end, std::span<double> coordinates) override;
    void ReadLabels(ORQObjLabelerType type, int begin, int end, std::span<int> labels) override;
    void ReadConnectivity(int block, int begin, int end, std::span<int> nodes) override;
    void ReadAttributes(int block, int begin, int end, std::span<double> values) override;
    std::vector<int> ReadSet(ORQObjLabelerType type, int set) override;
    std::vector<Side> ReadSideSet(int set) override;
    void ReadArray(int array, int begin, int end, void* values) override;
    ORQExcResultSource* Results() override { return &*m_results; }
    /// What no call here delivers.
    ORQExcReport Losses() const override;

  private:
    // The open file of the Exodus library.
    class Handle {
      public:
        explicit Handle(const std::filesystem::path& file);
        ~Handle();
        Handle(const Handle&) = delete;
        Handle& operator=(const Handle&) = delete;

        int Id() const { return m_id; }
        int BytesPerReal() const { return m_bytesPerReal; }

      private:
        int m_id;
        int m_bytesPerReal = 0;
    };

    // Elements [first, end) of the file, as many from an ordinal on; -1 for those of a block without a
    // shape of ours, which are left out.
    struct ElementRange {
        int first;
        int end;
        int ordinal;
    };

    // What the library calls a set, and how many members it has.
    struct SetInFile {
        std::int64_t id;
        int count;
    };

    [[noreturn]] void Fail(std::string_view section, std::string_view message) const;
    void Check(int status, std::string_view section) const;
    int CheckedCount(std::int64_t count, std::string_view kind) const;
    void CheckFits(int count, std::int64_t bytesEach, std::string_view kind) const;
    void ReadCoordinateSlice(int begin, int end, std::span<double> coordinates);
    std::vector<std::int64_t> ReadIds(ex_entity_type kind, std::int64_t count,
                                      std::string_view section) const;
    std::string ReadName(ex_entity_type kind, std::int64_t id, std::string_view section) const;
    void ReadBlocks(std::int64_t count);
    Block ReadBlock(std::int64_t id);
    void ReadSets(ex_entity_type kind, std::int64_t count, std::string_view section,
                  std::vector<Set>& sets, std::vector<SetInFile>& inFile);
    template <class Objects>
    void ReadProperties(ex_entity_type kind, ex_inquiry inquiry, Objects& objects);
    std::vector<int> ReadMembers(ex_entity_type kind, const SetInFile& set,
                                 const std::string& section, int most) const;
    void KeepOrders();
    int OrdinalOf(std::int64_t elementInFile) const;
    void ReadLabelsInFile(ex_entity_type map, int begin, int end, std::span<int> labels) const;
    const ORQExcShape& ShapeOf(int element) const;

    std::filesystem::path m_path;
    Handle m_handle;
    int m_elementCount = 0;
    std::vector<std::int64_t> m_blockIds;
    std::vector<int> m_blockEnds;        // the element behind the last of each block
    std::vector<ElementRange> m_ranges;  // in file order, of all blocks
    ORQExcReport m_skippedBlocks;
    std::map<int, std::map<std::string, int>> m_missingSides;  // by set and reason; once it is read
    std::vector<SetInFile> m_nodeSetsInFile;
    std::vector<SetInFile> m_elementSetsInFile;
    std::vector<SetInFile> m_sideSetsInFile;
    std::optional<ExodusResults> m_results;
    std::optional<ExodusArrays> m_arrays;
};

}  // namespace orq::exchange
