#include "Hdf5File.h"

#include <unistd.h>

#include <array>

#include "Harness.h"

namespace storage_benchmark {

namespace {

constexpr const char* kName = "coordinates";
constexpr hsize_t kAxes = 3;

// Answers of the library are ids or error codes, below 0 on failure.
template <class T>
T Checked(T answer) {
    Require(answer >= 0, "a call of the HDF5 library failed");
    return answer;
}

}  // namespace

Hdf5File::Hdf5File(const std::filesystem::path& path, const Layout& layout)
    : m_file(Checked(H5Fcreate(path.c_str(), H5F_ACC_TRUNC, H5P_DEFAULT, H5P_DEFAULT))) {
    const std::array<hsize_t, 2> none = {0, kAxes};
    const std::array<hsize_t, 2> most = {H5S_UNLIMITED, kAxes};
    const std::array<hsize_t, 2> chunk = {layout.chunkNodes, kAxes};
    const hid_t space = Checked(H5Screate_simple(2, none.data(), most.data()));
    const hid_t properties = Checked(H5Pcreate(H5P_DATASET_CREATE));
    Checked(H5Pset_chunk(properties, 2, chunk.data()));
    // Every value is written, so nothing is filled first.
    Checked(H5Pset_fill_time(properties, H5D_FILL_TIME_NEVER));
    if (layout.hasChecksums) {
        Checked(H5Pset_fletcher32(properties));
    }
    m_dataset = Checked(
        H5Dcreate2(m_file, kName, H5T_NATIVE_DOUBLE, space, H5P_DEFAULT, properties, H5P_DEFAULT));
    H5Pclose(properties);
    H5Sclose(space);
}

Hdf5File::Hdf5File(const std::filesystem::path& path, std::size_t cacheBytes)
    : m_file(Checked(H5Fopen(path.c_str(), H5F_ACC_RDONLY, H5P_DEFAULT))) {
    const hid_t access = Checked(H5Pcreate(H5P_DATASET_ACCESS));
    // A prime that is many times the chunks that fit, as HDF5 advises.
    constexpr std::size_t kSlots = 12421;
    Checked(H5Pset_chunk_cache(access, kSlots, cacheBytes, H5D_CHUNK_CACHE_W0_DEFAULT));
    m_dataset = Checked(H5Dopen2(m_file, kName, access));
    H5Pclose(access);
}

Hdf5File::~Hdf5File() {
    if (m_selection >= 0) {
        H5Sclose(m_selection);
    }
    H5Dclose(m_dataset);
    H5Fclose(m_file);
}

hsize_t Hdf5File::NumNodes() const {
    std::array<hsize_t, 2> extent{};
    const hid_t space = Checked(H5Dget_space(m_dataset));
    Checked(H5Sget_simple_extent_dims(space, extent.data(), nullptr));
    H5Sclose(space);
    return extent[0];
}

void Hdf5File::Append(std::span<const double> values) {
    const std::array<hsize_t, 2> begin = {NumNodes(), 0};
    const std::array<hsize_t, 2> count = {values.size() / kAxes, kAxes};
    const std::array<hsize_t, 2> extent = {begin[0] + count[0], kAxes};
    Checked(H5Dset_extent(m_dataset, extent.data()));
    const hid_t stored = Checked(H5Dget_space(m_dataset));
    Checked(
        H5Sselect_hyperslab(stored, H5S_SELECT_SET, begin.data(), nullptr, count.data(), nullptr));
    const hid_t memory = Checked(H5Screate_simple(2, count.data(), nullptr));
    Checked(H5Dwrite(m_dataset, H5T_NATIVE_DOUBLE, memory, stored, H5P_DEFAULT, values.data()));
    H5Sclose(memory);
    H5Sclose(stored);
}

void Hdf5File::Sync() {
    Checked(H5Fflush(m_file, H5F_SCOPE_GLOBAL));
    void* handle = nullptr;
    Checked(H5Fget_vfd_handle(m_file, H5P_DEFAULT, &handle));
    Require(fsync(*static_cast<int*>(handle)) == 0, "the HDF5 file cannot be synced");
}

void Hdf5File::Read(std::span<double> values) const {
    Require(values.size() == NumNodes() * kAxes, "the HDF5 file has another size");
    Checked(H5Dread(m_dataset, H5T_NATIVE_DOUBLE, H5S_ALL, H5S_ALL, H5P_DEFAULT, values.data()));
}

void Hdf5File::Select(std::span<const int> nodes) {
    std::vector<hsize_t> points;
    points.reserve(nodes.size() * kAxes * 2);
    for (const int node : nodes) {
        for (hsize_t component = 0; component < kAxes; ++component) {
            points.insert(points.end(), {static_cast<hsize_t>(node), component});
        }
    }
    m_nSelected = points.size() / 2;
    m_selection = Checked(H5Dget_space(m_dataset));
    Checked(H5Sselect_elements(m_selection, H5S_SELECT_SET, m_nSelected, points.data()));
}

void Hdf5File::ReadSelected(double* values) const {
    const hid_t memory = Checked(H5Screate_simple(1, &m_nSelected, nullptr));
    Checked(H5Dread(m_dataset, H5T_NATIVE_DOUBLE, memory, m_selection, H5P_DEFAULT, values));
    H5Sclose(memory);
}

}  // namespace storage_benchmark
