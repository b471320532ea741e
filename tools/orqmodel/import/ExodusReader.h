#pragma once

#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace orqmodel {

/// How many objects of one kind a file holds, for example {"side sets", 8}.
struct ContentCount {
    std::string kind;
    std::int64_t count;
};

/// Reads an Exodus II file, in a netCDF classic or an HDF5 container, block by block.
///
/// Nodes are addressed by their ordinal, their place in the file, from 0. Ranges are half-open,
/// [begin, end) with 0 <= begin <= end <= NodeCount(); the caller owns the buffers. The reader
/// itself holds no more than a few blocks of 65,536 values, whatever the size of the file.
///
/// Every failure is an ImportError that names the file, the section, and the index and value where
/// there is one. After a failed read the reader can be used further; the buffer's contents are then
/// undefined. What the file claims is checked before anyone can size a buffer by it: a count is at
/// most 2^31 - 1 and no larger than the file's bytes can hold.
class ExodusReader {
  public:
    /// Opens the file, which must be a regular one, and reads its title and sizes.
    explicit ExodusReader(const std::filesystem::path& file);

    const std::filesystem::path& File() const { return path_; }

    /// As in the file, in whatever encoding; at most 80 bytes.
    const std::string& Title() const { return title_; }

    /// Coordinates per node: 1, 2 or 3.
    int Dimension() const { return dimension_; }

    int NodeCount() const { return node_count_; }
    int ElementCount() const { return element_count_; }

    /// Fills coordinates[(node - begin) * Dimension() + axis] in the model's length unit, not
    /// converted. Single-precision files are widened exactly. A coordinate that is not finite is an
    /// error.
    /// REQUIRES: coordinates has (end - begin) * Dimension() places.
    void ReadCoordinates(int begin, int end, std::span<double> coordinates) const;

    /// Fills labels[node - begin] with the numbers that the file's user knows the nodes by; these
    /// are 1..n in file order when the file names none. A label below 1 or above 2^31 - 1 is an
    /// error. REQUIRES: labels has end - begin places.
    void ReadNodeLabels(int begin, int end, std::span<int> labels) const;

    /// Throws when two nodes have the same label, naming both. Takes 4 bytes per node meanwhile.
    void CheckNodeLabelsAreUnique() const;

    /// Everything the file holds that this class has no call for yet, kinds without objects left
    /// out.
    std::vector<ContentCount> Unread() const;

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

    [[noreturn]] void Fail(std::string_view section, std::string_view message) const;
    void Check(int status, std::string_view section) const;
    int CheckedCount(std::int64_t count, std::string_view kind) const;
    void CheckNodesFitTheFile() const;
    void ReadCoordinateSlice(int begin, int end, std::span<double> coordinates) const;

    std::filesystem::path path_;
    Handle handle_;
    std::string title_;
    int dimension_ = 0;
    int node_count_ = 0;
    int element_count_ = 0;
};

}  // namespace orqmodel
