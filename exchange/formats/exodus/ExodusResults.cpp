#include "formats/exodus/ExodusResults.h"

#include <exodusII.h>
#include <fmt/format.h>
#include <netcdf.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numeric>

#include "ORQExcImportError.h"

namespace orq::exchange {
namespace {

using Place = ORQExcResultArray::Place;

/// The lengths of a netCDF variable's dimensions; empty when the file has no such variable.
std::vector<std::size_t> LengthsOf(int file, const std::string& name) {
    int variable = 0;
    int nDimensions = 0;
    if (nc_inq_varid(file, name.c_str(), &variable) != NC_NOERR ||
        nc_inq_varndims(file, variable, &nDimensions) != NC_NOERR || nDimensions < 1) {
        return {};
    }
    std::vector<int> dimensions(static_cast<std::size_t>(nDimensions));
    std::vector<std::size_t> lengths(dimensions.size());
    nc_inq_vardimid(file, variable, dimensions.data());
    for (std::size_t i = 0; i < dimensions.size(); ++i) {
        nc_inq_dimlen(file, dimensions[i], &lengths[i]);
    }
    return lengths;
}

}  // namespace

ExodusResults::ExodusResults(const std::filesystem::path& file, int id, int nNodes,
                             std::vector<Block> blocks)
    : m_file(file), m_id(id), m_nNodes(nNodes), m_blocks(std::move(blocks)) {
    ReadTimes();
    AddGlobal();
    AddNodal();
    AddElemental();
}

void ExodusResults::ReadTimes() {
    const auto count = ex_inquire_int(m_id, EX_INQ_TIME);
    const auto fileBytes = static_cast<std::int64_t>(std::filesystem::file_size(m_file));
    // A damaged count must not size the buffer.
    if (count < 0 || count > fileBytes) {
        throw ORQExcImportError(
            m_file, "time steps",
            fmt::format("{} of them cannot be in a file of {} bytes", count, fileBytes));
    }
    m_times.resize(static_cast<std::size_t>(count));
    if (count > 0 && ex_get_all_times(m_id, m_times.data()) < 0) {
        throw ORQExcImportError(m_file, "time steps", "cannot be read: the file is damaged");
    }
    for (std::size_t i = 0; i < m_times.size(); ++i) {
        if (!std::isfinite(m_times[i])) {
            throw ORQExcImportError(m_file, "time steps",
                                    fmt::format("the time of step {} is {}", i + 1, m_times[i]));
        }
    }
}

std::vector<std::string> ExodusResults::ReadNames(int kind, const char* what) const {
    const auto entity = static_cast<ex_entity_type>(kind);
    int count = 0;
    if (ex_get_variable_param(m_id, entity, &count) < 0 || count < 0 ||
        static_cast<std::uintmax_t>(count) > std::filesystem::file_size(m_file)) {
        throw ORQExcImportError(m_file, what, "cannot be counted: the file is damaged");
    }
    const auto longest =
        static_cast<std::size_t>(ex_inquire_int(m_id, EX_INQ_MAX_READ_NAME_LENGTH));
    std::vector<std::string> names(static_cast<std::size_t>(count), std::string(longest + 1, '\0'));
    std::vector<char*> pointers;
    for (std::string& name : names) {
        pointers.push_back(name.data());
    }
    if (count > 0 && ex_get_variable_names(m_id, entity, count, pointers.data()) < 0) {
        throw ORQExcImportError(m_file, what, "their names cannot be read: the file is damaged");
    }
    for (std::size_t i = 0; i < names.size(); ++i) {
        names[i].resize(std::strlen(names[i].c_str()));
        if (names[i].empty()) {
            names[i] = fmt::format("variable {}", i + 1);
        }
    }
    return names;
}

std::vector<int> ExodusResults::AllTimes() const {
    std::vector<int> times(m_times.size());
    std::iota(times.begin(), times.end(), 0);
    return times;
}

/// Whether the file has the array, over all times and in the right length; enters what is wrong.
bool ExodusResults::HasArray(const std::string& variable, int size, std::string_view kind,
                             const std::string& name, std::string_view where) {
    const std::vector<std::size_t> lengths = LengthsOf(m_id, variable);
    if (lengths.empty()) {
        m_losses.Drop(kind, name, size, fmt::format("{}the file has no such array", where));
        return false;
    }
    if (lengths.back() != static_cast<std::size_t>(size) || lengths.front() < m_times.size()) {
        m_losses.Drop(kind, name, size,
                      fmt::format("{}its array is for {} times and {} values, not for {} and {}",
                                  where, lengths.front(), lengths.back(), m_times.size(), size));
        return false;
    }
    return true;
}

void ExodusResults::AddGlobal() {
    const std::vector<std::string> names = ReadNames(EX_GLOBAL, "global variables");
    int number = 0;
    for (const std::string& name : names) {
        ORQExcResultArray array{Place::Model, name, {name}, {}};
        ++number;
        if (!m_times.empty() &&
            HasArray("vals_glo_var", static_cast<int>(names.size()), "global variable", name, "")) {
            array.parts.push_back({AllTimes(), 0, 1});
        }
        m_arrays.push_back(std::move(array));
        m_variables.push_back({number, {}});
    }
}

void ExodusResults::AddNodal() {
    // Old files have one array for all variables, with the variable as a dimension.
    const bool isOneArray = !LengthsOf(m_id, "vals_nod_var").empty();
    int number = 0;
    for (const std::string& name : ReadNames(EX_NODAL, "nodal variables")) {
        ORQExcResultArray array{Place::Node, name, {name}, {}};
        ++number;
        if (!m_times.empty() &&
            HasArray(isOneArray ? "vals_nod_var" : fmt::format("vals_nod_var{}", number), m_nNodes,
                     "nodal variable", name, "")) {
            array.parts.push_back({AllTimes(), 0, m_nNodes});
        }
        m_arrays.push_back(std::move(array));
        m_variables.push_back({number, {}});
    }
}

void ExodusResults::AddElemental() {
    const std::vector<std::string> names = ReadNames(EX_ELEM_BLOCK, "element variables");
    // The truth table has all blocks of the file, also those without a shape.
    std::vector<std::int64_t> allIds(
        static_cast<std::size_t>(std::max<std::int64_t>(0, ex_inquire_int(m_id, EX_INQ_ELEM_BLK))));
    if (!allIds.empty() && ex_get_ids(m_id, EX_ELEM_BLOCK, allIds.data()) < 0) {
        throw ORQExcImportError(m_file, "element blocks", "their numbers cannot be read");
    }
    std::vector<int> truth(allIds.size() * names.size(), 0);
    if (!truth.empty() && ex_get_truth_table(m_id, EX_ELEM_BLOCK, static_cast<int>(allIds.size()),
                                             static_cast<int>(names.size()), truth.data()) < 0) {
        throw ORQExcImportError(m_file, "element variables", "their truth table cannot be read");
    }
    for (std::size_t variable = 0; variable < names.size(); ++variable) {
        ORQExcResultArray array{Place::Element, names[variable], {names[variable]}, {}};
        std::vector<std::int64_t> blockOfPart;
        for (const Block& block : m_blocks) {
            const auto column =
                static_cast<std::size_t>(std::ranges::find(allIds, block.id) - allIds.begin());
            const bool isTrue = truth[column * names.size() + variable] != 0;
            const std::string values = fmt::format("vals_elem_var{}eb{}", variable + 1, column + 1);
            const std::string where = fmt::format("in block {}: ", block.id);
            if (block.count == 0 || m_times.empty() ||
                (!isTrue && LengthsOf(m_id, values).empty())) {
                continue;
            }
            if (!isTrue) {
                m_losses.Note("element variable", names[variable], block.count,
                              where + "it has values there although its truth table denies it");
            }
            if (HasArray(values, block.count, "element variable", names[variable], where)) {
                array.parts.push_back({AllTimes(), block.first, block.count});
                blockOfPart.push_back(block.id);
            }
        }
        m_arrays.push_back(std::move(array));
        m_variables.push_back({static_cast<int>(variable) + 1, std::move(blockOfPart)});
    }
}

void ExodusResults::ReadResult(int number, int part, int begin, int end, std::span<double> values) {
    const ORQExcResultArray& array = m_arrays[static_cast<std::size_t>(number)];
    const Variable& variable = m_variables[static_cast<std::size_t>(number)];
    int status = 0;
    if (array.place == Place::Model) {
        status =
            ex_get_var_time(m_id, EX_GLOBAL, variable.number, 1, begin + 1, end, values.data());
    } else {
        const auto kind = array.place == Place::Node ? EX_NODAL : EX_ELEM_BLOCK;
        const std::int64_t id =
            array.place == Place::Node ? 1 : variable.blockOfPart[static_cast<std::size_t>(part)];
        const auto nMembers = array.parts[static_cast<std::size_t>(part)].NumMembers();
        for (int time = begin; time < end && status >= 0; ++time) {
            status = ex_get_var(m_id, time + 1, kind, variable.number, id, nMembers,
                                values.data() + std::ptrdiff_t{time - begin} * nMembers);
        }
    }
    if (status < 0) {
        Fail(array, begin, end, status);
    }
}

void ExodusResults::ReadMembers(int number, int part, int time, int first, int count,
                                std::span<double> values) {
    const ORQExcResultArray& array = m_arrays[static_cast<std::size_t>(number)];
    const Variable& variable = m_variables[static_cast<std::size_t>(number)];
    if (array.place != Place::Element) {
        return ORQExcResultSource::ReadMembers(number, part, time, first, count, values);
    }
    const int status = ex_get_partial_var(m_id, time + 1, EX_ELEM_BLOCK, variable.number,
                                          variable.blockOfPart[static_cast<std::size_t>(part)],
                                          first + 1, count, values.data());
    if (status < 0) {
        Fail(array, time, time + 1, status);
    }
}

void ExodusResults::Fail(const ORQExcResultArray& array, int begin, int end, int status) const {
    throw ORQExcImportError(
        m_file, fmt::format("variable \"{}\"", array.name),
        fmt::format("its values at time steps {} to {} cannot be read: the file "
                    "is damaged (Exodus status {})",
                    begin + 1, end, status));
}

}  // namespace orq::exchange
