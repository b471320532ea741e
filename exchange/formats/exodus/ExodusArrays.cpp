#include "formats/exodus/ExodusArrays.h"

#include <fmt/format.h>
#include <netcdf.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <limits>
#include <string>
#include <string_view>
#include <utility>

#include "ORQExcExportError.h"
#include "ORQExcImportError.h"
#include "ORQSimDistribution.h"
#include "files/WholeFile.h"

namespace orq::exchange {
namespace {

using Array = ORQExcMeshSource::Array;

constexpr std::int64_t kBytesAtOnce = 4 << 20;  // bounds the memory; rows stay whole
constexpr std::string_view kTimes = "time_step";

/// Dimensions that the Exodus library defines when the results are written, and that must not be
/// there before.
constexpr std::array<std::string_view, 3> kResultCounts = {"num_glo_var", "num_nod_var",
                                                           "num_elem_var"};

/// Variables that are read into the model, without their numbers.
constexpr std::array<std::string_view, 35> kReadVariables = {
    "time_whole",   "coord",         "coordx",        "coordy",       "coordz",
    "eb_status",    "eb_prop",       "eb_names",      "connect",      "attrib",
    "attrib_name",  "node_num_map",  "elem_num_map",  "ns_status",    "ns_prop",
    "ns_names",     "node_ns",       "ss_status",     "ss_prop",      "ss_names",
    "elem_ss",      "side_ss",       "els_status",    "els_prop",     "els_names",
    "elem_els",     "name_elem_var", "name_nod_var",  "name_glo_var", "vals_nod_var",
    "vals_glo_var", "elem_var_tab",  "vals_elem_var", "node_map",     "vals_elem_vareb"};

/// Attributes of the whole file that the Exodus library writes itself.
constexpr std::array<std::string_view, 9> kLibraryAttributes = {
    "api_version",  "version",       "floating_point_word_size",
    "file_size",    "title",         "maximum_name_length",
    "int64_status", "_NCProperties", "last_written_time"};

/// The kinds of variables in reports, by the beginnings of their names; "vals_" comes last since
/// others begin with it.
constexpr std::array<std::pair<std::string_view, const char*>, 16> kKinds = {{
    {"qa_records", "QA records"},
    {"info_records", "information records"},
    {"dist_fact", "distribution factors"},
    {"vals_nset_var", "node set variables"},
    {"vals_sset_var", "side set variables"},
    {"vals_elset_var", "element set variables"},
    {"elem_map", "element maps"},
    {"node_map", "node maps"},
    {"ebconn", "edge blocks"},
    {"fbconn", "face blocks"},
    {"vals_edge_var", "edge variables"},
    {"vals_face_var", "face variables"},
    {"nsattrb", "node set attributes"},
    {"ssattrb", "side set attributes"},
    {"assembly_entity", "assemblies"},
    {"vals_", "variables"},
}};

/// Names, tables and states belong to other variables, so reports do not list them.
constexpr std::array<std::string_view, 7> kSilent = {"name_",  "coor_names", "_tab", "_status",
                                                     "_names", "_prop",      "@"};

std::string WithoutNumbers(const std::string& name) {
    std::string letters;
    std::ranges::copy_if(name, std::back_inserter(letters),
                         [](char c) { return c < '0' || c > '9'; });
    return letters;
}

bool IsRead(const std::string& name) {
    // "node_map" with a number is an extra map; without one it is an old name of the labels.
    const std::string letters = WithoutNumbers(name);
    if (letters == "node_map") {
        return letters == name;
    }
    return std::ranges::find(kReadVariables, letters) != kReadVariables.end();
}

std::string KindOf(const std::string& name) {
    for (const std::string_view silent : kSilent) {
        if (name.find(silent) != std::string::npos) {
            return "";
        }
    }
    for (const auto& [beginning, kind] : kKinds) {
        if (name.starts_with(beginning)) {
            return kind;
        }
    }
    return "netCDF variables";
}

/// 0 for a type that is not kept.
int ScalarOf(int ncType) {
    switch (ncType) {
        case NC_CHAR:
            return ORQSimScalarByte;
        case NC_INT:
            return ORQSimScalarInt;
        case NC_INT64:
            return ORQSimScalarInt64;
        case NC_FLOAT:
            return ORQSimScalarFloat;
        case NC_DOUBLE:
            return ORQSimScalarDouble;
        default:
            return 0;
    }
}

int NcTypeOf(int scalar) {
    switch (scalar) {
        case ORQSimScalarByte:
            return NC_CHAR;
        case ORQSimScalarInt:
            return NC_INT;
        case ORQSimScalarInt64:
            return NC_INT64;
        case ORQSimScalarFloat:
            return NC_FLOAT;
        default:
            return NC_DOUBLE;
    }
}

std::int64_t SizeOf(const Array& array) {
    return array.NumRows() * array.RowSize();
}

}  // namespace

// --- Reading -------------------------------------------------------------------------------------

ExodusArrays::ExodusArrays(const std::filesystem::path& file, int id) : m_file(file), m_id(id) {
    int nVariables = 0;
    if (nc_inq_nvars(m_id, &nVariables) != NC_NOERR) {
        throw ORQExcImportError(m_file, "variables", "cannot be counted: the file is damaged");
    }
    AddAttributes(NC_GLOBAL, "");
    for (int variable = 0; variable < nVariables; ++variable) {
        std::array<char, NC_MAX_NAME + 1> name{};
        if (nc_inq_varname(m_id, variable, name.data()) == NC_NOERR && !IsRead(name.data())) {
            AddVariable(variable);
        }
    }
}

void ExodusArrays::AddAlso(const std::string& variable) {
    int number = 0;
    if (nc_inq_varid(m_id, variable.c_str(), &number) == NC_NOERR) {
        AddVariable(number);
        m_arrays.back().kind.clear();
    }
}

void ExodusArrays::AddVariable(int variable) {
    Array array;
    std::array<char, NC_MAX_NAME + 1> name{};
    nc_type type = NC_NAT;
    int nDimensions = 0;
    std::array<int, NC_MAX_VAR_DIMS> dimensions{};
    int nAttributes = 0;
    if (nc_inq_var(m_id, variable, name.data(), &type, &nDimensions, dimensions.data(),
                   &nAttributes) != NC_NOERR) {
        throw ORQExcImportError(m_file, "variables", "cannot be listed: the file is damaged");
    }
    array.name = name.data();
    for (int i = 0; i < nDimensions; ++i) {
        std::array<char, NC_MAX_NAME + 1> dimensionName{};
        std::size_t length = 0;
        nc_inq_dim(m_id, dimensions[static_cast<std::size_t>(i)], dimensionName.data(), &length);
        array.dimensions.push_back({dimensionName.data(), static_cast<std::int64_t>(length)});
    }
    array.kind = KindOf(array.name);
    array.count =
        array.kind == "QA records" || array.kind == "information records" ? array.NumRows() : 1;
    Add(array, type, ORQSimScalarSize(ScalarOf(type)));
    AddAttributes(variable, array.name);
}

/// Keeps an array. A size that the file cannot hold is refused before a buffer is made of it.
void ExodusArrays::Add(Array array, int ncType, std::int64_t nBytes) {
    array.scalarType = ScalarOf(ncType);
    const std::string kind = array.kind.empty() ? "netCDF variables" : array.kind;
    if (array.scalarType == 0) {
        m_losses.Drop(kind, array.name, 1, fmt::format("its netCDF type {} is not kept", ncType));
        return;
    }
    const auto fileBytes = static_cast<std::int64_t>(std::filesystem::file_size(m_file));
    // A chunk of an HDF5 container may be packed, so the file may hold more values than its bytes.
    std::int64_t left = kDensestPacking * fileBytes / nBytes;
    for (const Array::Dimension& dimension : array.dimensions) {
        left = dimension.length == 0 ? left : left / dimension.length;
        if (left == 0 || dimension.length > std::numeric_limits<int>::max()) {
            throw ORQExcImportError(
                m_file, fmt::format("variable {}", array.name),
                fmt::format("its dimension {} of {} cannot fit into a file of {} bytes",
                            dimension.name, dimension.length, fileBytes));
        }
    }
    m_arrays.push_back(std::move(array));
}

void ExodusArrays::AddAttributes(int variable, const std::string& name) {
    int count = 0;
    nc_inq_varnatts(m_id, variable, &count);
    for (int i = 0; i < count; ++i) {
        std::array<char, NC_MAX_NAME + 1> attribute{};
        nc_type type = NC_NAT;
        std::size_t length = 0;
        if (nc_inq_attname(m_id, variable, i, attribute.data()) != NC_NOERR ||
            nc_inq_att(m_id, variable, attribute.data(), &type, &length) != NC_NOERR) {
            continue;
        }
        const bool isLibrarys =
            variable == NC_GLOBAL &&
            std::ranges::find(kLibraryAttributes, std::string_view(attribute.data())) !=
                kLibraryAttributes.end();
        if (!isLibrarys && std::string_view(attribute.data()) != "_FillValue" &&
            ScalarOf(type) != 0 && length > 0) {
            Add({fmt::format("{}@{}", name, attribute.data()),
                 0,
                 {{"length", static_cast<std::int64_t>(length)}},
                 "",
                 1},
                type, ORQSimScalarSize(ScalarOf(type)));
        }
    }
}

void ExodusArrays::Read(const Array& array, int begin, int end, void* values) const {
    const std::size_t at = array.name.find('@');
    const std::string variable = array.name.substr(0, at);
    int number = NC_GLOBAL;
    int status = variable.empty() ? NC_NOERR : nc_inq_varid(m_id, variable.c_str(), &number);
    if (status == NC_NOERR && at != std::string::npos) {
        status = nc_get_att(m_id, number, array.name.substr(at + 1).c_str(), values);
    } else if (status == NC_NOERR) {
        std::vector<std::size_t> first(array.dimensions.size(), 0);
        std::vector<std::size_t> count;
        for (const Array::Dimension& dimension : array.dimensions) {
            count.push_back(static_cast<std::size_t>(dimension.length));
        }
        if (!count.empty()) {
            first[0] = static_cast<std::size_t>(begin);
            count[0] = static_cast<std::size_t>(end - begin);
        }
        status = nc_get_vara(m_id, number, first.data(), count.data(), values);
    }
    if (status != NC_NOERR) {
        throw ORQExcImportError(m_file, fmt::format("variable {}", array.name),
                                fmt::format("cannot be read: {}", nc_strerror(status)));
    }
}

// --- Writing -------------------------------------------------------------------------------------

namespace {

class Writer {
  public:
    Writer(int id, const std::filesystem::path& file, std::int64_t nTimes, ORQExcReport& report)
        : m_id(id), m_file(file), m_nTimes(nTimes), m_report(report) {}

    void Write(const std::vector<KeptArray>& arrays) {
        // One change to define mode for all arrays: each may move data that are written already.
        Check(nc_redef(m_id), "define kept variables");
        std::vector<const KeptArray*> attributes;
        for (const KeptArray& kept : arrays) {
            if (kept.array.name.find('@') == std::string::npos) {
                Define(kept);
            } else {
                attributes.push_back(&kept);
            }
        }
        // An attribute needs its variable, so all variables are defined first.
        for (const KeptArray* kept : attributes) {
            PutAttribute(*kept);
        }
        Check(nc_enddef(m_id), "define kept variables");
        for (const Defined& defined : m_defined) {
            PutValues(defined);
        }
    }

  private:
    struct Defined {
        const KeptArray* kept;
        int variable;
        std::vector<std::size_t> lengths;  // in the file
    };

    void Check(int status, const std::string& doing) const {
        if (status != NC_NOERR) {
            throw ORQExcExportError(
                fmt::format("{}: cannot {}: {}", m_file.string(), doing, nc_strerror(status)));
        }
    }

    void Drop(const KeptArray& kept, const std::string& reason) {
        if (!kept.array.kind.empty()) {
            m_report.Drop(kept.array.kind, kept.array.name, kept.array.count, reason);
        }
    }

    void Define(const KeptArray& kept) {
        const Array& array = kept.array;
        std::vector<int> dimensions;
        std::vector<std::size_t> lengths;
        for (const Array::Dimension& dimension : array.dimensions) {
            int number = -1;
            auto length = static_cast<std::size_t>(dimension.length);
            if (nc_inq_dimid(m_id, dimension.name.c_str(), &number) == NC_NOERR) {
                nc_inq_dimlen(m_id, number, &length);
            } else if (std::ranges::find(kResultCounts, dimension.name) != kResultCounts.end()) {
                Drop(kept, fmt::format("its {} is not that of the results", dimension.name));
                return;
            } else if (dimension.length > 0) {
                Check(nc_def_dim(m_id, dimension.name.c_str(), length, &number),
                      fmt::format("define dimension {}", dimension.name));
            } else {
                return;  // No values, and netCDF takes a length of 0 for an unlimited one.
            }
            if (dimension.name == kTimes) {
                length = static_cast<std::size_t>(m_nTimes);
            }
            // Texts are padded to a new length, or lose their padding.
            const bool isText =
                array.scalarType == ORQSimScalarByte && &dimension == &array.dimensions.back();
            if (static_cast<std::int64_t>(length) != dimension.length && !isText) {
                Drop(kept, fmt::format("it was for {} of {}, of which there are {} now",
                                       dimension.length, dimension.name, length));
                return;
            }
            dimensions.push_back(number);
            lengths.push_back(length);
        }
        int variable = -1;
        if (nc_inq_varid(m_id, array.name.c_str(), &variable) != NC_NOERR) {
            // Files of the classic format have no integers of 8 bytes.
            const int type =
                array.scalarType == ORQSimScalarInt64 ? NC_DOUBLE : NcTypeOf(array.scalarType);
            Check(nc_def_var(m_id, array.name.c_str(), type, static_cast<int>(dimensions.size()),
                             dimensions.data(), &variable),
                  fmt::format("define variable {}", array.name));
        }
        m_defined.push_back({&kept, variable, std::move(lengths)});
        if (!array.kind.empty()) {
            m_report.Keep(array.kind, array.name, array.count);
        }
    }

    std::vector<std::byte> ValuesOf(const KeptArray& kept) const {
        std::vector<std::byte> values(
            static_cast<std::size_t>(SizeOf(kept.array) * ORQSimScalarSize(kept.array.scalarType)));
        if (!values.empty()) {
            ReadKeptRows(kept, 0, static_cast<int>(kept.array.NumRows()), values.data());
        }
        return values;
    }

    void PutAttribute(const KeptArray& kept) {
        const std::size_t at = kept.array.name.find('@');
        const std::string variable = kept.array.name.substr(0, at);
        int number = NC_GLOBAL;
        if (!variable.empty() && nc_inq_varid(m_id, variable.c_str(), &number) != NC_NOERR) {
            return;  // The variable was left out, and that is reported.
        }
        const std::vector<std::byte> values = ValuesOf(kept);
        Check(nc_put_att(m_id, number, kept.array.name.substr(at + 1).c_str(),
                         NcTypeOf(kept.array.scalarType),
                         static_cast<std::size_t>(SizeOf(kept.array)), values.data()),
              fmt::format("write attribute {}", kept.array.name));
    }

    /// Whether the rows of an array are the letters of one text, which is padded as a whole.
    static bool IsOneText(const Array& array) {
        return array.scalarType == ORQSimScalarByte && array.dimensions.size() == 1;
    }

    /// Writes whole rows, a few megabytes at a time.
    void PutValues(const Defined& defined) const {
        const Array& array = defined.kept->array;
        const std::int64_t rowBytes = array.RowSize() * ORQSimScalarSize(array.scalarType);
        const auto nAtOnce = static_cast<int>(
            std::clamp<std::int64_t>(kBytesAtOnce / std::max<std::int64_t>(rowBytes, 1), 1,
                                     std::numeric_limits<int>::max()));
        const auto nRows = static_cast<int>(SizeOf(array) == 0 ? 0 : array.NumRows());
        for (int begin = 0; begin < nRows;) {
            const int end = begin + (IsOneText(array) ? nRows : std::min(nAtOnce, nRows - begin));
            PutRows(defined, begin, end);
            begin = end;
        }
    }

    void PutRows(const Defined& defined, int begin, int end) const {
        const Array& array = defined.kept->array;
        std::vector<std::byte> values(static_cast<std::size_t>((end - begin) * array.RowSize() *
                                                               ORQSimScalarSize(array.scalarType)));
        ReadKeptRows(*defined.kept, begin, end, values.data());
        std::vector<std::size_t> first(defined.lengths.size(), 0);
        std::vector<std::size_t> lengths = defined.lengths;
        if (array.scalarType == ORQSimScalarByte && !lengths.empty()) {
            values = Padded(values, static_cast<std::size_t>(array.dimensions.back().length),
                            lengths.back());
        }
        if (!first.empty() && !IsOneText(array)) {
            first[0] = static_cast<std::size_t>(begin);
            lengths[0] = static_cast<std::size_t>(end - begin);
        }
        const auto put = [&](auto* typed, auto function) {
            Check(function(m_id, defined.variable, first.data(), lengths.data(), typed),
                  fmt::format("write variable {}", array.name));
        };
        const void* data = values.data();
        switch (array.scalarType) {
            case ORQSimScalarByte:
                put(static_cast<const char*>(data), nc_put_vara_text);
                break;
            case ORQSimScalarInt:
                put(static_cast<const int*>(data), nc_put_vara_int);
                break;
            case ORQSimScalarInt64:
                put(static_cast<const long long*>(data), nc_put_vara_longlong);
                break;
            case ORQSimScalarFloat:
                put(static_cast<const float*>(data), nc_put_vara_float);
                break;
            default:
                put(static_cast<const double*>(data), nc_put_vara_double);
        }
    }

    /// Cuts or pads texts of one length to another.
    static std::vector<std::byte> Padded(const std::vector<std::byte>& texts, std::size_t length,
                                         std::size_t wanted) {
        std::vector<std::byte> padded;
        for (std::size_t at = 0; length > 0 && at < texts.size(); at += length) {
            const auto begin = texts.begin() + static_cast<std::ptrdiff_t>(at);
            padded.insert(padded.end(), begin,
                          begin + static_cast<std::ptrdiff_t>(std::min(length, wanted)));
            padded.resize(padded.size() + (wanted > length ? wanted - length : 0));
        }
        return padded;
    }

    int m_id;
    std::filesystem::path m_file;
    std::int64_t m_nTimes;
    ORQExcReport& m_report;
    std::vector<Defined> m_defined;
};

}  // namespace

void WriteExodusArrays(int id, const std::filesystem::path& file,
                       const std::vector<KeptArray>& arrays, std::int64_t nTimes,
                       ORQExcReport& report) {
    if (!arrays.empty()) {
        Writer(id, file, nTimes, report).Write(arrays);
    }
}

}  // namespace orq::exchange
