#include "formats/exodus/ExodusReader.h"

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
#include <functional>
#include <limits>
#include <map>
#include <utility>

#include "ORQExcImportError.h"
#include "files/WholeFile.h"
#include "formats/exodus/NetcdfClassicFile.h"
#include "model/NoValue.h"

namespace orq::exchange {
namespace {

constexpr int kValuesAtOnce = 65536;  // values at a time; bounds the memory

constexpr std::string_view kClassicMagic = "CDF";
constexpr std::string_view kHdf5Magic = "\x89HDF\r\n\x1a\n";

void CheckContainer(const std::filesystem::path& file) {
    std::error_code failure;
    const auto status = std::filesystem::status(file, failure);
    if (status.type() == std::filesystem::file_type::not_found) {
        throw ORQExcImportError(file, "file", "does not exist");
    }
    if (failure) {
        throw ORQExcImportError(file, "file", fmt::format("cannot be read: {}", failure.message()));
    }
    if (std::filesystem::is_directory(status)) {
        throw ORQExcImportError(file, "file", "is a directory");
    }
    if (!std::filesystem::is_regular_file(status)) {
        throw ORQExcImportError(file, "file", "is not a regular file");
    }
    const auto magic = FirstBytes(file, kHdf5Magic.size());
    if (magic.empty()) {
        throw ORQExcImportError(file, "file", "is empty");
    }
    // The netCDF library reads values behind the end of a classic file as zeros, without an error.
    if (magic.starts_with(kClassicMagic)) {
        CheckNetcdfClassicFileIsWhole(file);
    } else if (magic != kHdf5Magic) {
        throw ORQExcImportError(
            file, "file", "is not an Exodus II file: it begins neither as netCDF nor as HDF5");
    }
}

/// Turns standard error off during its life. The Exodus library prints a wrong guess about every
/// HDF5 file that it cannot open, whatever its options are; the error that follows names the file.
class QuietStandardError {
  public:
    QuietStandardError() : m_saved(fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0)) {
        const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
        if (m_saved >= 0 && nowhere >= 0) {
            dup2(nowhere, STDERR_FILENO);
        }
        if (nowhere >= 0) {
            close(nowhere);
        }
    }
    ~QuietStandardError() {
        if (m_saved >= 0) {
            dup2(m_saved, STDERR_FILENO);
            close(m_saved);
        }
    }
    QuietStandardError(const QuietStandardError&) = delete;
    QuietStandardError& operator=(const QuietStandardError&) = delete;

  private:
    int m_saved;
};

/// Calls read(sliceBegin, sliceEnd) for consecutive pieces of [begin, end), each of at most a
/// slice of values.
template <typename Read>
void ForEachSlice(int begin, int end, int valuesEach, const Read& read) {
    while (begin < end) {
        const int sliceEnd = begin + std::min(end - begin, std::max(1, kValuesAtOnce / valuesEach));
        read(begin, sliceEnd);
        begin = sliceEnd;
    }
}

}  // namespace

ExodusReader::Handle::Handle(const std::filesystem::path& file) {
    CheckContainer(file);
    ex_opts(0);  // The library's own messages would name neither file nor section.
    int bytesPerCallerReal = sizeof(double);
    float version = 0;
    const QuietStandardError quiet;
    // The absolute path keeps a name such as "http://x" from being taken for a remote address.
    m_id = ex_open(std::filesystem::absolute(file).c_str(), EX_READ | EX_ALL_INT64_API,
                   &bytesPerCallerReal, &m_bytesPerReal, &version);
    if (m_id < 0) {
        throw ORQExcImportError(
            file, "file",
            "is not an Exodus II file, or is damaged: the Exodus library cannot "
            "open it");
    }
}

ExodusReader::Handle::~Handle() {
    ex_close(m_id);
}

ExodusReader::ExodusReader(const std::filesystem::path& file) : m_path(file), m_handle(file) {
    ex_init_params sizes{};
    Check(ex_get_init_ext(m_handle.Id(), &sizes), "sizes");
    m_contents.title.assign(sizes.title, strnlen(sizes.title, sizeof sizes.title));
    if (sizes.num_dim < 1 || sizes.num_dim > 3) {
        Fail("sizes", fmt::format("{} dimensions; 1, 2 or 3 are supported", sizes.num_dim));
    }
    m_contents.fileDimension = static_cast<int>(sizes.num_dim);
    m_contents.dimension = std::max(2, FileDimension());
    m_contents.nNodes = CheckedCount(sizes.num_nodes, "nodes");
    m_elementCount = CheckedCount(sizes.num_elem, "elements");
    CheckFits(m_contents.nNodes, std::int64_t{FileDimension()} * m_handle.BytesPerReal(), "nodes");
    // The library cuts names at 32 bytes unless it is given the length of the longest.
    ex_set_max_name_length(m_handle.Id(),
                           std::max(32, static_cast<int>(ex_inquire_int(
                                            m_handle.Id(), EX_INQ_DB_MAX_USED_NAME_LENGTH))));
    ReadBlocks(sizes.num_elem_blk);
    ReadSets(EX_NODE_SET, sizes.num_node_sets, "node sets", m_contents.nodeSets, m_nodeSetsInFile);
    ReadSets(EX_ELEM_SET, sizes.num_elem_sets, "element sets", m_contents.elementSets,
             m_elementSetsInFile);
    ReadSets(EX_SIDE_SET, sizes.num_side_sets, "side sets", m_contents.sideSets, m_sideSetsInFile);
    ReadProperties(EX_ELEM_BLOCK, EX_INQ_EB_PROP, m_contents.blocks);
    ReadProperties(EX_NODE_SET, EX_INQ_NS_PROP, m_contents.nodeSets);
    ReadProperties(EX_SIDE_SET, EX_INQ_SS_PROP, m_contents.sideSets);
    std::vector<ExodusResults::Block> blocks;
    for (std::size_t i = 0; i < m_contents.blocks.size(); ++i) {
        blocks.push_back({m_blockIds[i], m_blockEnds[i] - m_contents.blocks[i].nElements,
                          m_contents.blocks[i].nElements});
    }
    // Orders are kept with the arrays and compare the sets, so both are read before.
    m_arrays.emplace(m_path, m_handle.Id());
    KeepOrders();
    m_contents.arrays = m_arrays->Arrays();
    m_results.emplace(m_path, m_handle.Id(), m_contents.nNodes, std::move(blocks));
}

void ExodusReader::Fail(std::string_view section, std::string_view message) const {
    throw ORQExcImportError(m_path, section, message);
}

void ExodusReader::Check(int status, std::string_view section) const {
    if (status < 0) {
        Fail(section,
             fmt::format("cannot be read: the file is damaged (Exodus status {})", status));
    }
}

int ExodusReader::CheckedCount(std::int64_t count, std::string_view kind) const {
    if (count < 0 || count > std::numeric_limits<int>::max()) {
        Fail("sizes", fmt::format("{} {}; at most {} are supported", count, kind,
                                  std::numeric_limits<int>::max()));
    }
    return static_cast<int>(count);
}

void ExodusReader::CheckFits(int count, std::int64_t bytesEach, std::string_view kind) const {
    const auto fileBytes = static_cast<std::int64_t>(std::filesystem::file_size(m_path));
    // Compressed values of an HDF5 container take fewer bytes than they have.
    if (count / kDensestPacking * bytesEach > fileBytes) {
        Fail("sizes",
             fmt::format("{} {} cannot fit into a file of {} bytes", count, kind, fileBytes));
    }
}

void ExodusReader::ReadCoordinates(int begin, int end, std::span<double> coordinates) {
    assert(0 <= begin && begin <= end && end <= m_contents.nNodes);
    const auto dimension = static_cast<std::size_t>(Dimension());
    assert(coordinates.size() == static_cast<std::size_t>(end - begin) * dimension);
    ForEachSlice(begin, end, 1, [&](int sliceBegin, int sliceEnd) {
        ReadCoordinateSlice(
            sliceBegin, sliceEnd,
            coordinates.subspan(static_cast<std::size_t>(sliceBegin - begin) * dimension));
    });
}

void ExodusReader::ReadCoordinateSlice(int begin, int end, std::span<double> coordinates) {
    const auto count = static_cast<std::size_t>(end - begin);
    const auto dimension = static_cast<std::size_t>(Dimension());
    // The library leaves the buffer alone when the file has no coordinates.
    std::array<std::vector<double>, 3> axes;
    for (std::size_t axis = 0; axis < dimension; ++axis) {
        axes[axis].assign(count, static_cast<int>(axis) < FileDimension() ? kNoValue : 0.0);
    }
    Check(ex_get_partial_coord(m_handle.Id(), std::int64_t{begin} + 1, end - begin, axes[0].data(),
                               FileDimension() > 1 ? axes[1].data() : nullptr, axes[2].data()),
          "coordinates");
    for (std::size_t node = 0; node < count; ++node) {
        for (std::size_t axis = 0; axis < dimension; ++axis) {
            const double value = axes[axis][node];
            if (!std::isfinite(value)) {
                const int ordinal = begin + static_cast<int>(node);
                int label = 0;
                ReadLabels(ORQObjLabelerType::Node, ordinal, ordinal + 1, {&label, 1});
                Fail("coordinates", fmt::format("node {} in file order (label {}): {} is {}",
                                                ordinal + 1, label, "xyz"[axis], value));
            }
            coordinates[node * dimension + axis] = value;
        }
    }
}

void ExodusReader::ReadLabels(ORQObjLabelerType type, int begin, int end, std::span<int> labels) {
    assert(labels.size() == static_cast<std::size_t>(end - begin));
    if (type == ORQObjLabelerType::Node) {
        ReadLabelsInFile(EX_NODE_MAP, begin, end, labels);
        return;
    }
    for (const ElementRange& range : m_ranges) {
        const int from = std::max(begin, range.ordinal);
        const int to = std::min(end, range.ordinal + (range.end - range.first));
        if (range.ordinal >= 0 && from < to) {
            const int shift = range.first - range.ordinal;
            ReadLabelsInFile(EX_ELEM_MAP, from + shift, to + shift,
                             labels.subspan(static_cast<std::size_t>(from - begin),
                                            static_cast<std::size_t>(to - from)));
        }
    }
}

void ExodusReader::ReadLabelsInFile(ex_entity_type map, int begin, int end,
                                    std::span<int> labels) const {
    const std::string_view kind = map == EX_NODE_MAP ? "node" : "element";
    std::vector<std::int64_t> slice;
    ForEachSlice(begin, end, 1, [&](int sliceBegin, int sliceEnd) {
        slice.resize(static_cast<std::size_t>(sliceEnd - sliceBegin));
        Check(ex_get_partial_id_map(m_handle.Id(), map, std::int64_t{sliceBegin} + 1,
                                    sliceEnd - sliceBegin, slice.data()),
              fmt::format("{} labels", kind));
        for (int place = sliceBegin; place < sliceEnd; ++place) {
            const auto label = slice[static_cast<std::size_t>(place - sliceBegin)];
            if (label < 1 || label > std::numeric_limits<int>::max()) {
                Fail(fmt::format("{} labels", kind),
                     fmt::format("{} {} in file order has label {}; labels are 1 to {}", kind,
                                 place + 1, label, std::numeric_limits<int>::max()));
            }
            labels[static_cast<std::size_t>(place - begin)] = static_cast<int>(label);
        }
    });
}

// --- Blocks --------------------------------------------------------------------------------------

std::vector<std::int64_t> ExodusReader::ReadIds(ex_entity_type kind, std::int64_t count,
                                                std::string_view section) const {
    std::vector<std::int64_t> ids(static_cast<std::size_t>(CheckedCount(count, section)));
    CheckFits(static_cast<int>(count), 4, section);
    if (!ids.empty()) {
        Check(ex_get_ids(m_handle.Id(), kind, ids.data()), section);
    }
    for (std::size_t i = 0; i < ids.size(); ++i) {
        if (ids[i] > std::numeric_limits<int>::max() || ids[i] < std::numeric_limits<int>::min()) {
            Fail(section, fmt::format("number {} of place {} is too large", ids[i], i + 1));
        }
    }
    return ids;
}

std::string ExodusReader::ReadName(ex_entity_type kind, std::int64_t id,
                                   std::string_view section) const {
    const auto longest =
        static_cast<std::size_t>(ex_inquire_int(m_handle.Id(), EX_INQ_MAX_READ_NAME_LENGTH));
    std::string name(longest + 1, '\0');
    Check(ex_get_name(m_handle.Id(), kind, id, name.data()), section);
    name.resize(std::strlen(name.c_str()));
    return name;
}

void ExodusReader::ReadBlocks(std::int64_t count) {
    std::int64_t end = 0;
    int ordinal = 0;
    for (const std::int64_t id : ReadIds(EX_ELEM_BLOCK, count, "element blocks")) {
        Block block = ReadBlock(id);
        const auto first = static_cast<int>(end);
        end += block.nElements;
        if (end > m_elementCount) {
            Fail("element blocks", fmt::format("block {} ends at element {}, the file has {}", id,
                                               end, m_elementCount));
        }
        const bool isRead = block.shape != nullptr;
        m_ranges.push_back({first, static_cast<int>(end), isRead ? ordinal : -1});
        if (isRead) {
            ordinal += block.nElements;
            m_contents.blocks.push_back(std::move(block));
            m_blockIds.push_back(id);
            m_blockEnds.push_back(ordinal);
        }
    }
    if (end != m_elementCount) {
        Fail("element blocks",
             fmt::format("the blocks have {} elements, the file {}", end, m_elementCount));
    }
}

int ExodusReader::OrdinalOf(std::int64_t elementInFile) const {
    // Ranges without elements end where the one before does, so the search passes over them.
    const auto range = std::ranges::upper_bound(m_ranges, elementInFile, {}, &ElementRange::end);
    return range->ordinal < 0 ? -1
                              : range->ordinal + static_cast<int>(elementInFile - range->first);
}

/// Reads a block. One of an unknown shape has a null shape, and is among the losses.
ORQExcMeshSource::Block ExodusReader::ReadBlock(std::int64_t id) {
    const std::string section = fmt::format("element block {}", id);
    ex_block inFile{};
    inFile.id = id;
    inFile.type = EX_ELEM_BLOCK;
    Check(ex_get_block_param(m_handle.Id(), &inFile), section);
    const int nElements = CheckedCount(inFile.num_entry, section);
    const int nAttributes = CheckedCount(inFile.num_attribute, section);
    const ORQExcShape* shape = ORQExcFindShapeByExodusName(
        inFile.topology, CheckedCount(inFile.num_nodes_per_entry, section));
    if (shape == nullptr && nElements == 0) {
        // Writers give an empty block the shape "NULL", or none; without elements any shape will
        // do.
        shape = ORQExcFindShapeByName("SPHERE");
    }
    if (shape == nullptr) {
        m_skippedBlocks.Drop("element block", ReadName(EX_ELEM_BLOCK, id, section), nElements,
                             fmt::format("a model has no shape \"{}\" with {} nodes",
                                         inFile.topology, inFile.num_nodes_per_entry));
    }
    if (shape != nullptr) {
        CheckFits(nElements, std::int64_t{4} * shape->nNodes, section);
    }
    Block block{ReadName(EX_ELEM_BLOCK, id, section),
                static_cast<int>(id),
                shape,
                inFile.topology,
                nElements,
                {}};
    const auto longest =
        static_cast<std::size_t>(ex_inquire_int(m_handle.Id(), EX_INQ_MAX_READ_NAME_LENGTH));
    std::vector<std::string> names(static_cast<std::size_t>(nAttributes),
                                   std::string(longest + 1, '\0'));
    std::vector<char*> pointers;
    for (std::string& name : names) {
        pointers.push_back(name.data());
    }
    if (nAttributes > 0 && nElements > 0) {
        Check(ex_get_attr_names(m_handle.Id(), EX_ELEM_BLOCK, id, pointers.data()), section);
    }
    for (const std::string& name : names) {
        block.attributes.emplace_back(name.c_str());
    }
    return block;
}

void ExodusReader::ReadConnectivity(int number, int begin, int end, std::span<int> nodes) {
    const auto place = static_cast<std::size_t>(number);
    const Block& block = m_contents.blocks[place];
    const auto nNodes = static_cast<std::size_t>(block.shape->nNodes);
    assert(nodes.size() == static_cast<std::size_t>(end - begin) * nNodes);
    const std::string section = fmt::format("element block {}", m_blockIds[place]);
    std::vector<std::int64_t> slice;
    ForEachSlice(begin, end, block.shape->nNodes, [&](int sliceBegin, int sliceEnd) {
        slice.assign(static_cast<std::size_t>(sliceEnd - sliceBegin) * nNodes, 0);
        Check(ex_get_partial_conn(m_handle.Id(), EX_ELEM_BLOCK, m_blockIds[place],
                                  std::int64_t{sliceBegin} + 1, sliceEnd - sliceBegin, slice.data(),
                                  nullptr, nullptr),
              section);
        const std::size_t first = static_cast<std::size_t>(sliceBegin - begin) * nNodes;
        for (std::size_t i = 0; i < slice.size(); ++i) {
            if (slice[i] < 1 || slice[i] > m_contents.nNodes) {
                Fail(section, fmt::format("element {} of the block, node {}: names node {} of {}",
                                          sliceBegin + static_cast<int>(i / nNodes) + 1,
                                          i % nNodes + 1, slice[i], m_contents.nNodes));
            }
            nodes[first + i] = static_cast<int>(slice[i] - 1);
        }
    });
}

void ExodusReader::ReadAttributes(int number, int begin, int end, std::span<double> values) {
    const auto place = static_cast<std::size_t>(number);
    const auto nAttributes = m_contents.blocks[place].attributes.size();
    const std::string section = fmt::format("attributes of block {}", m_blockIds[place]);
    std::vector<double> column(static_cast<std::size_t>(end - begin));
    for (std::size_t attribute = 0; attribute < nAttributes && begin < end; ++attribute) {
        Check(ex_get_partial_one_attr(m_handle.Id(), EX_ELEM_BLOCK, m_blockIds[place],
                                      std::int64_t{begin} + 1, end - begin,
                                      static_cast<int>(attribute) + 1, column.data()),
              section);
        for (std::size_t i = 0; i < column.size(); ++i) {
            values[i * nAttributes + attribute] = column[i];
        }
    }
}

// --- Sets ----------------------------------------------------------------------------------------

void ExodusReader::ReadSets(ex_entity_type kind, std::int64_t count, std::string_view section,
                            std::vector<Set>& sets, std::vector<SetInFile>& inFile) {
    for (const std::int64_t id : ReadIds(kind, count, section)) {
        std::int64_t nMembers = 0;
        std::int64_t nFactors = 0;  // the factors are kept as arrays
        Check(ex_get_set_param(m_handle.Id(), kind, id, &nMembers, &nFactors), section);
        inFile.push_back({id, CheckedCount(nMembers, section)});
        CheckFits(inFile.back().count, 4, section);
        sets.push_back({ReadName(kind, id, section), static_cast<int>(id)});
    }
}

template <class Objects>
void ExodusReader::ReadProperties(ex_entity_type kind, ex_inquiry inquiry, Objects& objects) {
    const auto count = CheckedCount(ex_inquire_int(m_handle.Id(), inquiry), "properties");
    const auto longest = static_cast<std::size_t>(std::max<std::int64_t>(
        MAX_STR_LENGTH, ex_inquire_int(m_handle.Id(), EX_INQ_MAX_READ_NAME_LENGTH)));
    std::vector<std::string> names(static_cast<std::size_t>(count), std::string(longest + 1, '\0'));
    std::vector<char*> pointers;
    for (std::string& name : names) {
        pointers.push_back(name.data());
    }
    // Values stand for all blocks of the file, also those that were skipped: they would not fit the
    // others.
    if (count == 0 || objects.empty() ||
        (kind == EX_ELEM_BLOCK && !m_skippedBlocks.Entries().empty())) {
        return;
    }
    Check(ex_get_prop_names(m_handle.Id(), kind, pointers.data()), "properties");
    std::vector<std::int64_t> values(objects.size());
    for (const char* name : pointers) {
        if (std::string_view(name) == "ID") {
            continue;  // the number itself
        }
        Check(ex_get_prop_array(m_handle.Id(), kind, name, values.data()), "properties");
        for (std::size_t i = 0; i < objects.size(); ++i) {
            objects[i].properties.emplace_back(name, static_cast<int>(values[i]));
        }
    }
}

std::vector<int> ExodusReader::ReadMembers(ex_entity_type kind, const SetInFile& set,
                                           const std::string& section, int most) const {
    std::vector<std::int64_t> raw(static_cast<std::size_t>(set.count));
    if (set.count > 0) {
        Check(ex_get_set(m_handle.Id(), kind, set.id, raw.data(), nullptr), section);
    }
    std::vector<int> members;
    for (const std::int64_t member : raw) {
        if (member < 1 || member > most) {
            Fail(section,
                 fmt::format("member {} is {}, there are {}", members.size() + 1, member, most));
        }
        members.push_back(static_cast<int>(member - 1));
    }
    return members;
}

std::vector<int> ExodusReader::ReadSet(ORQObjLabelerType type, int set) {
    const auto place = static_cast<std::size_t>(set);
    if (type == ORQObjLabelerType::Node) {
        const SetInFile& inFile = m_nodeSetsInFile[place];
        return ReadMembers(EX_NODE_SET, inFile, fmt::format("node set {}", inFile.id), NumNodes());
    }
    const SetInFile& inFile = m_elementSetsInFile[place];
    std::vector<int> elements =
        ReadMembers(EX_ELEM_SET, inFile, fmt::format("element set {}", inFile.id), m_elementCount);
    std::ranges::transform(elements, elements.begin(),
                           [this](int element) { return OrdinalOf(element); });
    // Elements of blocks without a shape are not in the model.
    std::erase(elements, -1);
    return elements;
}

std::vector<ORQExcMeshSource::Side> ExodusReader::ReadSideSet(int set) {
    const SetInFile& inFile = m_sideSetsInFile[static_cast<std::size_t>(set)];
    const std::string section = fmt::format("side set {}", inFile.id);
    std::vector<std::int64_t> elements(static_cast<std::size_t>(inFile.count));
    std::vector<std::int64_t> numbers(elements.size());
    if (inFile.count > 0) {
        Check(ex_get_set(m_handle.Id(), EX_SIDE_SET, inFile.id, elements.data(), numbers.data()),
              section);
    }
    std::vector<Side> sides;
    std::map<std::string, int> missing;
    for (std::size_t i = 0; i < elements.size(); ++i) {
        if (elements[i] < 1 || elements[i] > m_elementCount) {
            Fail(section, fmt::format("side {} is on element {}, there are {}", i + 1, elements[i],
                                      m_elementCount));
        }
        const int element = OrdinalOf(elements[i] - 1);
        if (element < 0) {
            continue;
        }
        const ORQExcShape& shape = ShapeOf(element);
        if (numbers[i] < 1 || numbers[i] > static_cast<std::int64_t>(shape.sides.size())) {
            // The format numbers two faces of a plane element beside its edges in three dimensions.
            const bool isOfShell = FileDimension() == 3 && shape.dimension == 2 && numbers[i] > 0 &&
                                   numbers[i] <= static_cast<std::int64_t>(shape.sides.size()) + 2;
            if (!isOfShell) {
                Fail(section,
                     fmt::format("side {} is side {} of element {}, a {} with {} sides", i + 1,
                                 numbers[i], elements[i], shape.name, shape.sides.size()));
            }
            ++missing[fmt::format("a model knows no side {} of a {}", numbers[i], shape.name)];
            continue;
        }
        sides.push_back({element, static_cast<int>(numbers[i] - 1)});
    }
    m_missingSides[set] = std::move(missing);
    return sides;
}

const ORQExcShape& ExodusReader::ShapeOf(int element) const {
    const auto block = std::upper_bound(m_blockEnds.begin(), m_blockEnds.end(), element);
    return *m_contents.blocks[static_cast<std::size_t>(block - m_blockEnds.begin())].shape;
}

/// A model has sets by number, each member once, and the sides of a surface by side and element.
/// Where a file has another order, or a member twice, its own lists are kept beside the model.
void ExodusReader::KeepOrders() {
    m_arrays->AddAlso("coor_names");
    const auto keepNumbers = [this](const std::vector<Set>& sets, const char* variable) {
        if (!std::ranges::is_sorted(sets, {}, &Set::number)) {
            m_arrays->AddAlso(variable);
        }
    };
    keepNumbers(NodeSets(), "ns_prop1");
    keepNumbers(ElementSets(), "els_prop1");
    keepNumbers(SideSets(), "ss_prop1");
    for (int set = 0; set < std::ssize(NodeSets()); ++set) {
        std::vector<int> nodes = ReadSet(ORQObjLabelerType::Node, set);
        std::ranges::sort(nodes);
        if (std::ranges::adjacent_find(nodes) != nodes.end()) {
            m_arrays->AddAlso(fmt::format("node_ns{}", set + 1));
        }
    }
    for (int set = 0; set < std::ssize(SideSets()); ++set) {
        const auto isBefore = [](const Side& a, const Side& b) {
            return std::pair(a.side, a.element) < std::pair(b.side, b.element);
        };
        const std::vector<Side> sides = ReadSideSet(set);
        const auto isNotBefore = [&](const Side& a, const Side& b) { return !isBefore(a, b); };
        if (std::ranges::adjacent_find(sides, isNotBefore) != sides.end()) {
            m_arrays->AddAlso(fmt::format("elem_ss{}", set + 1));
            m_arrays->AddAlso(fmt::format("side_ss{}", set + 1));
        }
    }
}

void ExodusReader::ReadArray(int array, int begin, int end, void* values) {
    m_arrays->Read(Arrays()[static_cast<std::size_t>(array)], begin, end, values);
}

ORQExcReport ExodusReader::Losses() const {
    ORQExcReport losses = m_skippedBlocks;
    losses.Append(m_arrays->Losses());
    for (const auto& [set, missing] : m_missingSides) {
        for (const auto& [reason, count] : missing) {
            losses.Drop("side set", SideSets()[static_cast<std::size_t>(set)].name, count, reason);
        }
    }
    const auto nGroups = ex_inquire_int(m_handle.Id(), EX_INQ_NUM_CHILD_GROUPS);
    if (nGroups > 0) {
        losses.Drop("child groups", "", nGroups, "not imported");
    }
    return losses;
}

}  // namespace orq::exchange
