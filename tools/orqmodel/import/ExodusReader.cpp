#include "import/ExodusReader.h"

#include <exodusII.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cassert>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <fstream>
#include <limits>
#include <utility>

#include "import/ImportError.h"
#include "import/NetcdfClassicFile.h"

namespace orqmodel {
namespace {

constexpr int kSlice = 65536;

// Deflate, the densest encoding that the format uses, packs at most this many bytes into one.
constexpr std::int64_t kDensestPacking = 1032;

constexpr std::string_view kClassicMagic = "CDF";
constexpr std::string_view kHdf5Magic = "\x89HDF\r\n\x1a\n";

constexpr std::array<std::pair<ex_inquiry, const char*>, 21> kUnreadObjects = {{
    {EX_INQ_ELEM, "elements"},
    {EX_INQ_ELEM_BLK, "element blocks"},
    {EX_INQ_EDGE_BLK, "edge blocks"},
    {EX_INQ_FACE_BLK, "face blocks"},
    {EX_INQ_NODE_SETS, "node sets"},
    {EX_INQ_EDGE_SETS, "edge sets"},
    {EX_INQ_FACE_SETS, "face sets"},
    {EX_INQ_SIDE_SETS, "side sets"},
    {EX_INQ_ELEM_SETS, "element sets"},
    {EX_INQ_NODE_MAP, "extra node maps"},
    {EX_INQ_EDGE_MAP, "extra edge maps"},
    {EX_INQ_FACE_MAP, "extra face maps"},
    {EX_INQ_ELEM_MAP, "extra element maps"},
    {EX_INQ_EB_PROP, "element block properties"},
    {EX_INQ_NS_PROP, "node set properties"},
    {EX_INQ_SS_PROP, "side set properties"},
    {EX_INQ_COORD_FRAMES, "coordinate frames"},
    {EX_INQ_NUM_CHILD_GROUPS, "child groups"},
    {EX_INQ_TIME, "time steps"},
    {EX_INQ_QA, "QA records"},
    {EX_INQ_INFO, "information records"},
}};

constexpr std::array<std::pair<ex_entity_type, const char*>, 5> kUnreadVariables = {{
    {EX_GLOBAL, "global variables"},
    {EX_NODAL, "nodal variables"},
    {EX_ELEM_BLOCK, "element variables"},
    {EX_NODE_SET, "node set variables"},
    {EX_SIDE_SET, "side set variables"},
}};

std::string FirstBytes(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    if (!stream)
        throw ImportError(file, "file", fmt::format("cannot be read: {}", std::strerror(errno)));
    std::string bytes(kHdf5Magic.size(), '\0');
    stream.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    bytes.resize(static_cast<std::size_t>(stream.gcount()));
    return bytes;
}

void CheckContainer(const std::filesystem::path& file) {
    std::error_code failure;
    const auto status = std::filesystem::status(file, failure);
    if (status.type() == std::filesystem::file_type::not_found)
        throw ImportError(file, "file", "does not exist");
    if (failure)
        throw ImportError(file, "file", fmt::format("cannot be read: {}", failure.message()));
    if (std::filesystem::is_directory(status))
        throw ImportError(file, "file", "is a directory");
    if (!std::filesystem::is_regular_file(status))
        throw ImportError(file, "file", "is not a regular file");
    const auto magic = FirstBytes(file);
    if (magic.empty())
        throw ImportError(file, "file", "is empty");
    if (magic.starts_with(kClassicMagic))
        CheckNetcdfClassicFileIsWhole(file);
    else if (magic != kHdf5Magic)
        throw ImportError(file, "file",
                          "is not an Exodus II file: it begins neither as netCDF nor as HDF5");
}

/// Turns standard error off while it lives. The Exodus library prints a wrong guess about every
/// HDF5 file that it cannot open, whatever its options say; the error that follows tells more.
class QuietStandardError {
  public:
    QuietStandardError() : saved_(fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0)) {
        const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
        if (saved_ >= 0 && nowhere >= 0)
            dup2(nowhere, STDERR_FILENO);
        if (nowhere >= 0)
            close(nowhere);
    }
    ~QuietStandardError() {
        if (saved_ >= 0) {
            dup2(saved_, STDERR_FILENO);
            close(saved_);
        }
    }
    QuietStandardError(const QuietStandardError&) = delete;
    QuietStandardError& operator=(const QuietStandardError&) = delete;

  private:
    int saved_;
};

/// Calls read(slice_begin, slice_end) for consecutive pieces of [begin, end).
template <typename Read>
void ForEachSlice(int begin, int end, const Read& read) {
    while (begin < end) {
        const int slice_end = begin + std::min(end - begin, kSlice);
        read(begin, slice_end);
        begin = slice_end;
    }
}

}  // namespace

ExodusReader::Handle::Handle(const std::filesystem::path& file) {
    CheckContainer(file);
    ex_opts(0);  // The library's own messages would name neither file nor section.
    int bytes_per_caller_real = sizeof(double);
    float version = 0;
    const QuietStandardError quiet;
    // The absolute path keeps a name such as "http://x" from being taken for a remote address.
    id_ = ex_open(std::filesystem::absolute(file).c_str(), EX_READ | EX_ALL_INT64_API,
                  &bytes_per_caller_real, &bytes_per_real_, &version);
    if (id_ < 0)
        throw ImportError(file, "file",
                          "is not an Exodus II file, or is damaged: the Exodus library cannot "
                          "open it");
}

ExodusReader::Handle::~Handle() {
    ex_close(id_);
}

ExodusReader::ExodusReader(const std::filesystem::path& file) : path_(file), handle_(file) {
    ex_init_params sizes{};
    Check(ex_get_init_ext(handle_.Id(), &sizes), "sizes");
    title_.assign(sizes.title, strnlen(sizes.title, sizeof sizes.title));
    if (sizes.num_dim < 1 || sizes.num_dim > 3)
        Fail("sizes", fmt::format("{} dimensions; 1, 2 or 3 are supported", sizes.num_dim));
    dimension_ = static_cast<int>(sizes.num_dim);
    node_count_ = CheckedCount(sizes.num_nodes, "nodes");
    element_count_ = CheckedCount(sizes.num_elem, "elements");
    CheckNodesFitTheFile();
}

void ExodusReader::Fail(std::string_view section, std::string_view message) const {
    throw ImportError(path_, section, message);
}

void ExodusReader::Check(int status, std::string_view section) const {
    if (status < 0)
        Fail(section,
             fmt::format("cannot be read: the file is damaged (Exodus status {})", status));
}

int ExodusReader::CheckedCount(std::int64_t count, std::string_view kind) const {
    if (count < 0 || count > std::numeric_limits<int>::max())
        Fail("sizes", fmt::format("{} {}; at most {} are supported", count, kind,
                                  std::numeric_limits<int>::max()));
    return static_cast<int>(count);
}

void ExodusReader::CheckNodesFitTheFile() const {
    const auto file_bytes = static_cast<std::int64_t>(std::filesystem::file_size(path_));
    const auto node_bytes = std::int64_t{dimension_} * handle_.BytesPerReal();
    if (node_count_ / kDensestPacking * node_bytes > file_bytes)
        Fail("sizes",
             fmt::format("{} nodes cannot fit into a file of {} bytes", node_count_, file_bytes));
}

void ExodusReader::ReadCoordinates(int begin, int end, std::span<double> coordinates) const {
    assert(0 <= begin && begin <= end && end <= node_count_);
    const auto dimension = static_cast<std::size_t>(dimension_);
    assert(coordinates.size() == static_cast<std::size_t>(end - begin) * dimension);
    ForEachSlice(begin, end, [&](int slice_begin, int slice_end) {
        ReadCoordinateSlice(
            slice_begin, slice_end,
            coordinates.subspan(static_cast<std::size_t>(slice_begin - begin) * dimension));
    });
}

void ExodusReader::ReadCoordinateSlice(int begin, int end, std::span<double> coordinates) const {
    const auto count = static_cast<std::size_t>(end - begin);
    const auto dimension = static_cast<std::size_t>(dimension_);
    // The library leaves the buffer alone when the file has no coordinates.
    std::array<std::vector<double>, 3> axes;
    for (std::size_t axis = 0; axis < dimension; ++axis)
        axes[axis].assign(count, std::numeric_limits<double>::quiet_NaN());
    Check(ex_get_partial_coord(handle_.Id(), std::int64_t{begin} + 1, end - begin, axes[0].data(),
                               axes[1].data(), axes[2].data()),
          "coordinates");
    for (std::size_t node = 0; node < count; ++node) {
        for (std::size_t axis = 0; axis < dimension; ++axis) {
            const double value = axes[axis][node];
            if (!std::isfinite(value)) {
                const int ordinal = begin + static_cast<int>(node);
                int label = 0;
                ReadNodeLabels(ordinal, ordinal + 1, {&label, 1});
                Fail("coordinates", fmt::format("node {} in file order (label {}): {} is {}",
                                                ordinal + 1, label, "xyz"[axis], value));
            }
            coordinates[node * dimension + axis] = value;
        }
    }
}

void ExodusReader::ReadNodeLabels(int begin, int end, std::span<int> labels) const {
    assert(0 <= begin && begin <= end && end <= node_count_);
    assert(labels.size() == static_cast<std::size_t>(end - begin));
    std::vector<std::int64_t> slice;
    ForEachSlice(begin, end, [&](int slice_begin, int slice_end) {
        slice.resize(static_cast<std::size_t>(slice_end - slice_begin));
        Check(ex_get_partial_id_map(handle_.Id(), EX_NODE_MAP, std::int64_t{slice_begin} + 1,
                                    slice_end - slice_begin, slice.data()),
              "node labels");
        for (int node = slice_begin; node < slice_end; ++node) {
            const auto label = slice[static_cast<std::size_t>(node - slice_begin)];
            if (label < 1 || label > std::numeric_limits<int>::max())
                Fail("node labels",
                     fmt::format("node {} in file order has label {}; labels are 1 to {}", node + 1,
                                 label, std::numeric_limits<int>::max()));
            labels[static_cast<std::size_t>(node - begin)] = static_cast<int>(label);
        }
    });
}

void ExodusReader::CheckNodeLabelsAreUnique() const {
    std::vector<int> labels(static_cast<std::size_t>(node_count_));
    ReadNodeLabels(0, node_count_, labels);
    std::sort(labels.begin(), labels.end());
    const auto repeated = std::adjacent_find(labels.begin(), labels.end());
    if (repeated == labels.end())
        return;
    const int label = *repeated;
    ReadNodeLabels(0, node_count_, labels);
    const auto first = std::find(labels.begin(), labels.end(), label);
    const auto second = std::find(first + 1, labels.end(), label);
    Fail("node labels",
         fmt::format("nodes {} and {} in file order both have label {}", first - labels.begin() + 1,
                     second - labels.begin() + 1, label));
}

std::vector<ContentCount> ExodusReader::Unread() const {
    std::vector<ContentCount> unread;
    const auto add = [&](const char* kind, std::int64_t count) {
        if (count > 0)
            unread.push_back({kind, count});
    };
    for (const auto& [inquiry, kind] : kUnreadObjects) {
        const auto count = ex_inquire_int(handle_.Id(), inquiry);
        if (count < 0)
            Fail(kind, "cannot be counted: the file is damaged");
        add(kind, count);
    }
    for (const auto& [entity, kind] : kUnreadVariables) {
        int count = 0;
        Check(ex_get_variable_param(handle_.Id(), entity, &count), kind);
        add(kind, count);
    }
    return unread;
}

}  // namespace orqmodel
