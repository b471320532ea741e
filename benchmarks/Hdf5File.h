// The peer among file formats: one chunked HDF5 dataset [n_nodes][3] of doubles.
#pragma once

#include <hdf5.h>

#include <cstddef>
#include <filesystem>
#include <span>
#include <vector>

namespace storage_benchmark {

class Hdf5File {
  public:
    struct Layout {
        hsize_t chunkNodes;
        bool hasChecksums;  // the fletcher32 filter
    };
    // HDF5's own default, and enough for every chunk of the default size.
    static constexpr std::size_t kDefaultCache = 1 << 20;
    static constexpr std::size_t kLargeCache = std::size_t{1} << 30;

    // A new file with an empty dataset that can grow, or one that is there, for reading.
    Hdf5File(const std::filesystem::path& path, const Layout& layout);
    explicit Hdf5File(const std::filesystem::path& path, std::size_t cacheBytes = kDefaultCache);
    ~Hdf5File();
    Hdf5File(const Hdf5File&) = delete;
    Hdf5File& operator=(const Hdf5File&) = delete;

    hsize_t NumNodes() const;
    void Append(std::span<const double> values);
    // Flushes the library's buffers and syncs the file.
    void Sync();
    void Read(std::span<double> values) const;
    // A selection of nodes in the file, made once and read often.
    void Select(std::span<const int> nodes);
    void ReadSelected(double* values) const;

  private:
    hid_t m_file = H5I_INVALID_HID;
    hid_t m_dataset = H5I_INVALID_HID;
    hid_t m_selection = H5I_INVALID_HID;
    hsize_t m_nSelected = 0;
};

}  // namespace storage_benchmark
