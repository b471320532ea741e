#include "formats/exodus/ExodusPieceArrays.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>

#include "ORQExcImportError.h"
#include "ORQSimDistribution.h"
#include "model/NoValue.h"

namespace orq::exchange {
namespace {

using Array = ORQExcMeshSource::Array;

/// Records of programs, which every piece has of its own.
constexpr std::array<std::string_view, 2> kRecords = {"QA records", "information records"};
/// Names of what is joined; the same in every piece.
constexpr std::array<std::string_view, 6> kNames = {"name_nset_var", "name_sset_var",
                                                    "name_elset_var", "nmap_names", "emap_names"};
constexpr std::string_view kFactors = "dist_fact";
constexpr std::string_view kTable = "_var_tab";  // which sets have which variables: 1 or 0

template <class Names>
bool IsAmong(const Names& names, std::string_view name) {
    return std::ranges::find(names, name) != std::end(names);
}

/// A name that ends in the number of a set, with another number. Other names stay.
std::string Renumbered(const std::string& name, int number) {
    const std::size_t last = name.find_last_not_of("0123456789");
    return number == 0 || last + 1 == name.size()
               ? name
               : fmt::format("{}{}", name.substr(0, last + 1), number);
}

/// Values in one row of a dimension: the product of the dimensions behind it.
std::size_t ValuesBehind(const Array& array, std::size_t axis) {
    std::size_t count = 1;
    for (std::size_t i = axis + 1; i < array.dimensions.size(); ++i) {
        count *= static_cast<std::size_t>(array.dimensions[i].length);
    }
    return count;
}

/// The value of entries that no piece has.
std::vector<std::byte> Missing(const Array& array) {
    const double real = array.name.starts_with(kFactors) ? 1 : kNoValue;
    std::vector<std::byte> value(static_cast<std::size_t>(ORQSimScalarSize(array.scalarType)));
    if (array.scalarType == ORQSimScalarDouble) {
        std::memcpy(value.data(), &real, sizeof real);
    } else if (array.scalarType == ORQSimScalarFloat) {
        const auto single = static_cast<float>(real);
        std::memcpy(value.data(), &single, sizeof single);
    }
    return value;
}

}  // namespace

ExodusPieceArrays::ExodusPieceArrays(std::vector<Piece> pieces) : m_pieces(std::move(pieces)) {
    for (std::size_t piece = 0; piece < m_pieces.size(); ++piece) {
        const auto count = static_cast<int>(m_pieces[piece].reader->Arrays().size());
        for (int place = 0; place < count; ++place) {
            AddArray(piece, place);
        }
    }
    for (const auto& [kind, count] : m_dropped) {
        m_losses.Drop(kind, "", count, "the pieces of a model are joined without them");
    }
    NoteGaps();
}

void ExodusPieceArrays::AddArray(std::size_t piece, int place) {
    const Source source{piece, place};
    const Array& array = ArrayOf(source);
    if (IsAmong(kRecords, array.kind)) {
        if (piece == 0) {
            m_arrays.push_back(array);
            m_joined.push_back({array.dimensions.size(), {source}});
        }
        return;
    }
    if (IsAmong(kNames, array.name)) {
        AddCommon(source);
        return;
    }
    // Lists of members without a kind count nodes and elements of the piece; the joined sets replace them.
    if (array.kind.empty() && !array.name.ends_with(kTable)) {
        return;
    }
    for (std::size_t axis = 0; axis < array.dimensions.size(); ++axis) {
        const auto rows = m_pieces[piece].rows.find(array.dimensions[axis].name);
        // Lengths differ where elements were left out, whose rows have no place then.
        if (rows != m_pieces[piece].rows.end() &&
            std::ssize(rows->second.places) == array.dimensions[axis].length) {
            AddJoined(source, axis, rows->second);
            return;
        }
    }
    if (array.kind != "netCDF variables") {
        m_dropped[array.kind] += array.count;
    }
}

/// Adds an array of a piece to the one of the whole model, which is made when it is the first.
void ExodusPieceArrays::AddJoined(const Source& source, std::size_t axis, const Rows& rows) {
    Array array = ArrayOf(source);
    array.name = Renumbered(array.name, rows.setNumber);
    for (Array::Dimension& dimension : array.dimensions) {
        dimension.name = Renumbered(dimension.name, rows.setNumber);
    }
    array.dimensions[axis] = {rows.dimension, static_cast<std::int64_t>(rows.count)};
    const auto known = std::ranges::find(m_arrays, array.name, &Array::name);
    if (known == m_arrays.end()) {
        m_arrays.push_back(std::move(array));
        m_joined.push_back({axis, {source}});
        return;
    }
    const auto isSame = [](const Array::Dimension& a, const Array::Dimension& b) {
        return a.name == b.name && a.length == b.length;
    };
    if (array.scalarType != known->scalarType ||
        !std::ranges::equal(array.dimensions, known->dimensions, isSame)) {
        throw ORQExcImportError(m_pieces[source.piece].reader->File(),
                                fmt::format("variable {}", ArrayOf(source).name),
                                "has another type or other dimensions than in the pieces before");
    }
    m_joined[static_cast<std::size_t>(known - m_arrays.begin())].sources.push_back(source);
}

/// Takes names from the first piece that has them. Variables are joined by number, so the names of
/// the others must be the same.
void ExodusPieceArrays::AddCommon(const Source& source) {
    const Array& array = ArrayOf(source);
    const auto known = std::ranges::find(m_arrays, array.name, &Array::name);
    if (known == m_arrays.end()) {
        m_arrays.push_back(array);
        m_joined.push_back({array.dimensions.size(), {source}});
        return;
    }
    const Source& first =
        m_joined[static_cast<std::size_t>(known - m_arrays.begin())].sources.front();
    const auto names = [this](const Source& of) {
        return ReadSource(of, 0, static_cast<int>(ArrayOf(of).NumRows()));
    };
    if (array.NumRows() != known->NumRows() || names(source) != names(first)) {
        throw ORQExcImportError(
            m_pieces[source.piece].reader->File(), fmt::format("variable {}", array.name),
            fmt::format("has other names than in {}",
                        m_pieces[first.piece].reader->File().filename().string()));
    }
}

void ExodusPieceArrays::NoteGaps() {
    for (std::size_t i = 0; i < m_arrays.size(); ++i) {
        const auto& [axis, sources] = m_joined[i];
        if (axis == m_arrays[i].dimensions.size()) {
            continue;
        }
        std::vector<char> has(static_cast<std::size_t>(m_arrays[i].dimensions[axis].length));
        for (const Source& source : sources) {
            for (const int place : RowsOf(source, axis).places) {
                has[static_cast<std::size_t>(place)] = 1;
            }
        }
        if (const auto nMissing = std::ranges::count(has, 0);
            nMissing > 0 && !m_arrays[i].kind.empty()) {
            m_losses.Note(m_arrays[i].kind, m_arrays[i].name, nMissing,
                          "some pieces have no values of it");
        }
    }
}

const Array& ExodusPieceArrays::ArrayOf(const Source& source) const {
    return m_pieces[source.piece].reader->Arrays()[static_cast<std::size_t>(source.array)];
}

const ExodusPieceArrays::Rows& ExodusPieceArrays::RowsOf(const Source& source,
                                                         std::size_t axis) const {
    return m_pieces[source.piece].rows.at(ArrayOf(source).dimensions[axis].name);
}

std::vector<std::byte> ExodusPieceArrays::ReadSource(const Source& source, int begin,
                                                     int end) const {
    const Array& array = ArrayOf(source);
    std::vector<std::byte> values(static_cast<std::size_t>((end - begin) * array.RowSize() *
                                                           ORQSimScalarSize(array.scalarType)));
    if (!values.empty()) {
        m_pieces[source.piece].reader->ReadArray(source.array, begin, end, values.data());
    }
    return values;
}

void ExodusPieceArrays::Read(int array, int begin, int end, void* values) {
    const auto place = static_cast<std::size_t>(array);
    const Array& whole = m_arrays[place];
    if (m_joined[place].axis == whole.dimensions.size()) {
        const Source& source = m_joined[place].sources.front();
        m_pieces[source.piece].reader->ReadArray(source.array, begin, end, values);
    } else if (m_joined[place].axis > 0) {
        Join(array, begin, end, static_cast<std::byte*>(values));
    } else {
        const auto rowBytes =
            static_cast<std::size_t>(whole.RowSize() * ORQSimScalarSize(whole.scalarType));
        if (m_held != array) {
            m_values.resize(static_cast<std::size_t>(whole.NumRows()) * rowBytes);
            Join(array, 0, static_cast<int>(whole.NumRows()), m_values.data());
            m_held = array;
        }
        std::memcpy(values, m_values.data() + static_cast<std::size_t>(begin) * rowBytes,
                    static_cast<std::size_t>(end - begin) * rowBytes);
    }
}

/// Fills rows [begin, end) of the first dimension, all of them where that is the one that is joined.
void ExodusPieceArrays::Join(int array, int begin, int end, std::byte* values) const {
    const Array& whole = m_arrays[static_cast<std::size_t>(array)];
    const auto& [axis, sources] = m_joined[static_cast<std::size_t>(array)];
    const auto count = static_cast<std::size_t>(whole.dimensions[axis].length);
    const std::vector<std::byte> missing = Missing(whole);
    const std::size_t entryBytes = ValuesBehind(whole, axis) * missing.size();
    std::size_t nOuter = axis == 0 ? 1 : static_cast<std::size_t>(end - begin);
    for (std::size_t i = 1; i < axis; ++i) {
        nOuter *= static_cast<std::size_t>(whole.dimensions[i].length);
    }
    for (std::size_t at = 0; at < nOuter * count * entryBytes; at += missing.size()) {
        std::ranges::copy(missing, values + at);
    }
    const bool isTable = whole.name.ends_with(kTable);
    for (const Source& source : sources) {
        const std::vector<int>& places = RowsOf(source, axis).places;
        const std::vector<std::byte> own = ReadSource(
            source, axis == 0 ? 0 : begin, axis == 0 ? static_cast<int>(places.size()) : end);
        for (std::size_t outer = 0; outer < nOuter; ++outer) {
            for (std::size_t row = 0; row < places.size(); ++row) {
                const std::byte* from = own.data() + (outer * places.size() + row) * entryBytes;
                std::byte* to =
                    values + (outer * count + static_cast<std::size_t>(places[row])) * entryBytes;
                // A set has a variable where a piece has one; bit by bit, since the entries are 0 and 1.
                std::transform(from, from + entryBytes, to, to,
                               [isTable](std::byte a, std::byte b) { return isTable ? a | b : a; });
            }
        }
    }
}

}  // namespace orq::exchange
