#include "formats/exodus/NetcdfClassicFile.h"

#include <fmt/format.h>

#include <array>
#include <cstdint>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

#include "ORQExcImportError.h"

namespace orq::exchange {
namespace {

// The header is big-endian and every item is padded to four bytes:
//
//     "CDF" version | number of records | dimensions | attributes | variables
//
// A list is a tag and a count, then its items. A count, and the number of records, takes 4 bytes in
// versions 1 and 2 and 8 bytes in version 5; the offset of a variable takes 4 bytes in version 1
// and 8 bytes in the others.
constexpr std::uint64_t kDimensionTag = 10;
constexpr std::uint64_t kVariableTag = 11;
constexpr std::uint64_t kAttributeTag = 12;

// Bytes of a value, by the type code of the file: byte, char, short, int, float, double, and from
// version 5 on unsigned byte, short and int, and the two 8-byte integers.
constexpr std::array<std::uint64_t, 12> kBytesOfType = {0, 1, 1, 2, 4, 4, 8, 1, 2, 4, 8, 8};

constexpr std::uint64_t Padded(std::uint64_t bytes) {
    return (bytes + 3) / 4 * 4;
}

struct Variable {
    std::string name;
    std::uint64_t begin;
    // Size of the whole variable, or of one record when it grows along the record dimension.
    std::uint64_t bytes;
    bool hasRecords;
};

class Header {
  public:
    explicit Header(const std::filesystem::path& file)
        : m_file(file), m_size(std::filesystem::file_size(file)), m_stream(file, std::ios::binary) {
        Skip(3, "magic number");
        const auto version = Number(1, "version");
        if (version != 1 && version != 2 && version != 5) {
            Fail("version", fmt::format("{} is not a netCDF classic version", version));
        }
        m_countBytes = version == 5 ? 8 : 4;
        m_offsetBytes = version == 1 ? 4 : 8;
        m_records = Count("number of records");
        ReadDimensions();
        SkipAttributes("global attributes");
        ReadVariables();
    }

    void CheckExtents() const {
        const auto recordBytes = RecordBytes();
        for (const auto& variable : m_variables) {
            // Records interleave all record variables, so a variable ends in the last record.
            const auto lastRecord =
                variable.hasRecords && m_records > 0 ? Times(m_records - 1, recordBytes) : 0;
            const bool isEmpty = variable.hasRecords && m_records == 0;
            if (isEmpty || variable.bytes == 0) {
                continue;
            }
            if (!lastRecord || variable.begin > m_size || *lastRecord > m_size - variable.begin ||
                variable.bytes > m_size - variable.begin - *lastRecord) {
                Fail(fmt::format("variable '{}'", variable.name),
                     fmt::format("its values lie beyond the end of the file at byte {}: the file "
                                 "was cut short or its header is damaged",
                                 m_size));
            }
        }
    }

  private:
    [[noreturn]] void Fail(std::string_view section, std::string_view message) const {
        throw ORQExcImportError(m_file, fmt::format("netCDF header, {}", section), message);
    }

    void Take(std::uint64_t bytes, std::string_view section) {
        if (bytes > m_size - m_position) {
            Fail(section, fmt::format("needs {} bytes at byte {}, but the file ends at byte {}",
                                      bytes, m_position, m_size));
        }
        m_position += bytes;
    }

    void Skip(std::uint64_t bytes, std::string_view section) {
        Take(bytes, section);
        m_stream.seekg(static_cast<std::streamoff>(m_position));
    }

    std::string Bytes(std::uint64_t count, std::string_view section) {
        Take(count, section);
        std::string bytes(count, '\0');
        if (!m_stream.read(bytes.data(), static_cast<std::streamsize>(count))) {
            Fail(section, fmt::format("cannot be read before byte {}", m_position));
        }
        return bytes;
    }

    std::uint64_t Number(std::uint64_t bytes, std::string_view section) {
        std::uint64_t number = 0;
        for (const char byte : Bytes(bytes, section)) {
            number = number << 8U | static_cast<unsigned char>(byte);
        }
        return number;
    }

    std::uint64_t Count(std::string_view section) { return Number(m_countBytes, section); }

    std::string Name(std::string_view section) {
        const auto length = Count(section);
        auto name = Bytes(length, section);
        Skip(Padded(length) - length, section);
        return name;
    }

    std::uint64_t BytesOfType(std::string_view section) {
        const auto type = Number(4, section);
        if (type == 0 || type >= kBytesOfType.size()) {
            Fail(section, fmt::format("unknown value type {}", type));
        }
        return kBytesOfType[type];
    }

    std::uint64_t ListLength(std::uint64_t tag, std::string_view section) {
        const auto found = Number(4, section);
        const auto length = Count(section);
        // The format writes an absent list as two zeros.
        if (found != tag && (found != 0 || length != 0)) {
            Fail(section, fmt::format("list tag {} where {} was expected", found, tag));
        }
        return length;
    }

    /// The product, or nothing when it is larger than the file: no such extent can be there.
    std::optional<std::uint64_t> Times(std::uint64_t a, std::uint64_t b) const {
        if (a != 0 && b > m_size / a) {
            return std::nullopt;
        }
        return a * b;
    }

    void ReadDimensions() {
        const auto count = ListLength(kDimensionTag, "dimensions");
        for (std::uint64_t i = 0; i < count; ++i) {
            Name("dimensions");
            m_dimensions.push_back(Count("dimensions"));
        }
    }

    void SkipAttributes(std::string_view section) {
        const auto count = ListLength(kAttributeTag, section);
        for (std::uint64_t i = 0; i < count; ++i) {
            const auto name = Name(section);
            const auto valueBytes = BytesOfType(section);
            const auto bytes = Times(Count(section), valueBytes);
            if (!bytes) {
                Fail(section, fmt::format("attribute '{}' is larger than the file", name));
            }
            Skip(Padded(*bytes), section);
        }
    }

    void ReadVariables() {
        const auto count = ListLength(kVariableTag, "variables");
        for (std::uint64_t i = 0; i < count; ++i) {
            ReadVariable();
        }
    }

    void ReadVariable() {
        Variable variable{.name = Name("variables"), .begin = 0, .bytes = 0, .hasRecords = false};
        const auto section = fmt::format("variable '{}'", variable.name);
        std::optional<std::uint64_t> values = 1;
        const auto rank = Count(section);
        for (std::uint64_t i = 0; i < rank; ++i) {
            const auto dimension = Count(section);
            if (dimension >= m_dimensions.size()) {
                Fail(section, fmt::format("names dimension {}, but the file has {}", dimension,
                                          m_dimensions.size()));
            }
            // The record dimension has length 0 in the list of dimensions.
            if (i == 0 && m_dimensions[dimension] == 0) {
                variable.hasRecords = true;
            } else if (values) {
                values = Times(*values, m_dimensions[dimension]);
            }
        }
        SkipAttributes(section);
        const auto valueBytes = BytesOfType(section);
        Count(section);  // the stored size, which saturates; the dimensions are exact
        variable.begin = Number(m_offsetBytes, section);
        const auto bytes = values ? Times(*values, valueBytes) : std::nullopt;
        if (!bytes) {
            Fail(section,
                 fmt::format("its values cannot fit into the {} bytes of the file", m_size));
        }
        variable.bytes = *bytes;
        m_variables.push_back(std::move(variable));
    }

    /// The distance between two records. The format pads each record variable to 4 bytes, but packs
    /// a lone one.
    std::uint64_t RecordBytes() const {
        std::uint64_t padded = 0;
        std::uint64_t packed = 0;
        int count = 0;
        for (const auto& variable : m_variables) {
            if (!variable.hasRecords) {
                continue;
            }
            padded += Padded(variable.bytes);
            packed = variable.bytes;
            ++count;
        }
        return count == 1 ? packed : padded;
    }

    std::filesystem::path m_file;
    std::uint64_t m_size;
    std::ifstream m_stream;
    std::uint64_t m_position = 0;
    std::uint64_t m_countBytes = 4;
    std::uint64_t m_offsetBytes = 4;
    std::uint64_t m_records = 0;
    std::vector<std::uint64_t> m_dimensions;
    std::vector<Variable> m_variables;
};

}  // namespace

void CheckNetcdfClassicFileIsWhole(const std::filesystem::path& file) {
    Header(file).CheckExtents();
}

}  // namespace orq::exchange
