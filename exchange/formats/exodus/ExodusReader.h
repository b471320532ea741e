#pragma once

#include <exodusII.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "ORQExcMeshSource.h"
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

    const std::filesystem::path& File() const { return path_; }

    /// Coordinates that the file has per node: 1, 2 or 3. Those of a line are delivered with a
    /// second one of 0.
    int FileDimension() const override { return dimension_; }
    int NumElements() const { return element_count_; }

    std::string_view Format() const override { return "Exodus II"; }
    /// Takes 4 bytes for each node or element meanwhile.
    void CheckLabels() override {
        CheckLabelsAreUnique(EX_NODE_MAP);
        CheckLabelsAreUnique(EX_ELEM_MAP);
    }
    /// Kinds without objects are left out.
    std::vector<ORQExcContentCount> Unread() const override;

    /// As in the file, in whatever encoding; at most 80 bytes.
    std::string Title() const override { return title_; }
    int Dimension() const override { return std::max(2, dimension_); }
    int NumNodes() const override { return node_count_; }
    const std::vector<Block>& Blocks() const override { return blocks_; }
    const std::vector<Set>& NodeSets() const override { return node_sets_; }
    const std::vector<Set>& ElementSets() const override { return element_sets_; }
    const std::vector<Set>& SideSets() const override { return side_sets_; }

    /// Single-precision files are widened exactly.
    void ReadCoordinates(int begin, int end, std::span<double> coordinates) override;
    void ReadNodeLabels(int begin, int end, std::span<int> labels) override;
    void ReadConnectivity(int block, int begin, int end, std::span<int> nodes) override;
    void ReadElementLabels(int begin, int end, std::span<int> labels) override;
    void ReadAttributes(int block, int begin, int end, std::span<double> values) override;
    std::vector<int> ReadNodeSet(int set) override;
    std::vector<int> ReadElementSet(int set) override;
    std::vector<Side> ReadSideSet(int set) override;
    ORQExcResultSource* Results() override { return &*results_; }

  private:
    // The open file of the Exodus library.
    class Handle {
      public:
        explicit Handle(const std::filesystem::path& file);
        ~Handle();
        Handle(const Handle&) = delete;
        Handle& operator=(const Handle&) = delete;

        int Id() const { return id_; }
        int BytesPerReal() const { return bytes_per_real_; }

      private:
        int id_;
        int bytes_per_real_ = 0;
    };

    // What the library calls a set, and how many members it has.
    struct SetInFile {
        std::int64_t id;
        int count;
    };

    [[noreturn]] void Fail(std::string_view section, std::string_view message) const;
    void Check(int status, std::string_view section) const;
    int CheckedCount(std::int64_t count, std::string_view kind) const;
    void CheckFits(int count, std::int64_t bytes_each, std::string_view kind) const;
    void ReadCoordinateSlice(int begin, int end, std::span<double> coordinates) const;
    void ReadLabels(ex_entity_type map, int begin, int end, std::span<int> labels) const;
    void CheckLabelsAreUnique(ex_entity_type map) const;
    std::vector<std::int64_t> ReadIds(ex_entity_type kind, std::int64_t count,
                                      std::string_view section) const;
    std::string ReadName(ex_entity_type kind, std::int64_t id, std::string_view section) const;
    void ReadBlocks(std::int64_t count);
    Block ReadBlock(std::int64_t id) const;
    void ReadSets(ex_entity_type kind, std::int64_t count, std::string_view section,
                  std::vector<Set>& sets, std::vector<SetInFile>& in_file);
    template <class Objects>
    void ReadProperties(ex_entity_type kind, ex_inquiry inquiry, Objects& objects);
    std::vector<int> ReadMembers(ex_entity_type kind, const SetInFile& set,
                                 const std::string& section, int most) const;
    const ORQExcShape& ShapeOf(int element) const;

    std::filesystem::path path_;
    Handle handle_;
    std::string title_;
    int dimension_ = 0;
    int node_count_ = 0;
    int element_count_ = 0;
    std::vector<Block> blocks_;
    std::vector<std::int64_t> block_ids_;
    std::vector<int> block_ends_;              // the element behind the last of each block
    std::vector<std::string> skipped_blocks_;  // By name.
    std::vector<Set> node_sets_;
    std::vector<Set> element_sets_;
    std::vector<Set> side_sets_;
    std::vector<SetInFile> node_sets_in_file_;
    std::vector<SetInFile> element_sets_in_file_;
    std::vector<SetInFile> side_sets_in_file_;
    std::int64_t distribution_factors_ = 0;
    std::optional<ExodusResults> results_;
};

}  // namespace orq::exchange
