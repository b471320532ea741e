#include "formats/vtk/VtkXml.h"

#include <expat.h>
#include <fmt/format.h>
#include <zlib.h>

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cstring>
#include <memory>
#include <optional>
#include <type_traits>

#include "ORQExcImportError.h"
#include "files/WholeFile.h"

namespace orq::exchange {
namespace {

constexpr std::size_t kDeepest = 64;  // levels of elements; the format has 5

bool IsBlank(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

/// Decodes `most` bytes at most; nothing for a text that is no base64. Padding ends a group and not
/// the text: some writers encode the header and the values of an array one after the other, each
/// with its own padding.
std::optional<std::string> DecodeBase64(std::string_view text, std::size_t most) {
    static const auto kValues = [] {
        std::array<std::int8_t, 256> values{};
        values.fill(-1);
        constexpr std::string_view kLetters =
            "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
        for (std::size_t i = 0; i < kLetters.size(); ++i) {
            values[static_cast<unsigned char>(kLetters[i])] = static_cast<std::int8_t>(i);
        }
        return values;
    }();
    std::string bytes;
    bytes.reserve(std::min(most, text.size() / 4 * 3 + 3));
    std::uint32_t group = 0;
    int nLetters = 0;
    int nPadding = 0;
    for (const char c : text) {
        if (bytes.size() >= most) {
            break;
        }
        if (IsBlank(c)) {
            continue;
        }
        const int value = c == '=' ? 0 : kValues[static_cast<unsigned char>(c)];
        // Padding takes the last one or two letters of a group.
        if (value < 0 || (nPadding > 0 && c != '=') || (c == '=' && nLetters < 2)) {
            return std::nullopt;
        }
        nPadding += c == '=' ? 1 : 0;
        group = group << 6 | static_cast<std::uint32_t>(value);
        if (++nLetters == 4) {
            for (int i = 0; i < 3 - nPadding; ++i) {
                bytes += static_cast<char>(group >> (16 - 8 * i) & 0xff);
            }
            group = 0;
            nLetters = 0;
            nPadding = 0;
        }
    }
    if (bytes.size() < most && nLetters != 0) {
        return std::nullopt;
    }
    bytes.resize(std::min(bytes.size(), most));
    return bytes;
}

std::size_t Base64Letters(std::uint64_t nBytes) {
    return static_cast<std::size_t>((nBytes + 2) / 3 * 4);
}

}  // namespace

std::string_view VtkElement::Attribute(std::string_view name) const {
    const auto found = attributes.find(name);
    return found == attributes.end() ? std::string_view() : std::string_view(found->second);
}

const VtkElement* VtkElement::Child(std::string_view childTag) const {
    const auto found = std::ranges::find(children, childTag, &VtkElement::tag);
    return found == children.end() ? nullptr : &*found;
}

// --- Elements ------------------------------------------------------------------------------------

/// Fills the element tree. Parsing stops before appended data, which are no XML when they are raw.
class VtkXmlFile::Parser {
  public:
    explicit Parser(VtkXmlFile& file)
        : m_file(file), m_parser(XML_ParserCreate(nullptr), &XML_ParserFree) {
        XML_SetUserData(m_parser.get(), this);
        XML_SetElementHandler(m_parser.get(), &Parser::OnBegin, &Parser::OnEnd);
    }

    void Run() {
        const char* next = m_file.m_bytes.data();
        std::size_t left = m_file.m_bytes.size();
        while (left > 0) {
            // The length that the parser takes is an int.
            const std::size_t some = std::min<std::size_t>(left, std::size_t{1} << 30);
            left -= some;
            if (XML_Parse(m_parser.get(), next, static_cast<int>(some), left == 0 ? 1 : 0) ==
                    XML_STATUS_ERROR &&
                !m_isStopped) {
                throw ORQExcImportError(
                    m_file.m_path, fmt::format("line {}", XML_GetCurrentLineNumber(m_parser.get())),
                    fmt::format("is no XML: {}",
                                XML_ErrorString(XML_GetErrorCode(m_parser.get()))));
            }
            if (m_isStopped) {
                break;
            }
            next += some;
        }
        if (m_file.m_root.tag != "VTKFile") {
            throw ORQExcImportError(m_file.m_path, "file", "is not a VTK XML file");
        }
    }

  private:
    std::size_t At() const {
        return static_cast<std::size_t>(XML_GetCurrentByteIndex(m_parser.get()));
    }

    static void OnBegin(void* self, const char* tag, const char** attributes) {
        static_cast<Parser*>(self)->Begin(tag, attributes);
    }
    static void OnEnd(void* self, const char*) { static_cast<Parser*>(self)->End(); }

    void Begin(const char* tag, const char** attributes) {
        VtkElement element;
        element.tag = tag;
        element.line = static_cast<int>(XML_GetCurrentLineNumber(m_parser.get()));
        for (; *attributes != nullptr; attributes += 2) {
            element.attributes.emplace(attributes[0], attributes[1]);
        }
        element.textBegin =
            At() + static_cast<std::size_t>(XML_GetCurrentByteCount(m_parser.get()));
        const bool isAppended = element.tag == "AppendedData";
        if (isAppended) {
            m_file.m_isAppendedRaw = element.Attribute("encoding") != "base64";
            // The format marks the first byte of the data by an underscore before it.
            const std::size_t mark = m_file.m_bytes.find('_', element.textBegin);
            m_file.m_appendedBegin = mark == std::string::npos ? m_file.m_bytes.size() : mark + 1;
        }
        if (m_open.empty()) {
            m_file.m_root = std::move(element);
            m_open.push_back(&m_file.m_root);
        } else {
            // Children are added to the innermost open element only, so pointers to open elements
            // stay valid.
            m_open.back()->children.push_back(std::move(element));
            m_open.push_back(&m_open.back()->children.back());
        }
        if (isAppended || m_open.size() > kDeepest) {
            m_isStopped = true;
            XML_StopParser(m_parser.get(), XML_FALSE);
        }
    }

    void End() {
        m_open.back()->textEnd = At();
        m_open.pop_back();
    }

    VtkXmlFile& m_file;
    std::unique_ptr<XML_ParserStruct, decltype(&XML_ParserFree)> m_parser;
    std::vector<VtkElement*> m_open;
    bool m_isStopped = false;
};

VtkXmlFile::VtkXmlFile(const std::filesystem::path& path)
    : m_path(path), m_bytes(ReadWholeFile(path)) {
    Parser(*this).Run();
    const std::string_view order = m_root.Attribute("byte_order");
    // The program runs on little-endian machines only.
    m_isSwapped = order == "BigEndian";
    // The default of the format is UInt32.
    m_headerWordBytes = m_root.Attribute("header_type") == "UInt64" ? 8 : 4;
    const std::string_view compressor = m_root.Attribute("compressor");
    m_isCompressed = !compressor.empty();
    if (m_isCompressed && compressor != "vtkZLibDataCompressor") {
        Fail(m_root,
             fmt::format("compressor {} is not supported; vtkZLibDataCompressor is", compressor));
    }
}

void VtkXmlFile::Fail(const VtkElement& element, std::string_view message) const {
    const std::string name = element.Name().empty()
                                 ? element.tag
                                 : fmt::format("{} \"{}\"", element.tag, element.Name());
    throw ORQExcImportError(m_path, fmt::format("line {}: {}", element.line, name), message);
}

std::int64_t VtkXmlFile::Count(const VtkElement& element, std::string_view attribute) const {
    const std::string_view text = element.Attribute(attribute);
    std::int64_t count = -1;
    const auto end = std::from_chars(text.data(), text.data() + text.size(), count);
    if (text.empty() || end.ptr != text.data() + text.size() || count < 0) {
        Fail(element, fmt::format("{}=\"{}\" is no count", attribute, text));
    }
    return count;
}

// --- Encodings -----------------------------------------------------------------------------------

std::uint64_t VtkXmlFile::HeaderWord(std::string_view bytes, std::size_t place) const {
    std::uint64_t word = 0;
    for (std::size_t i = 0; i < m_headerWordBytes; ++i) {
        const std::size_t from = m_isSwapped ? m_headerWordBytes - 1 - i : i;
        word |= std::uint64_t{static_cast<unsigned char>(bytes[place * m_headerWordBytes + from])}
                << (8 * i);
    }
    return word;
}

std::string_view VtkXmlFile::Appended(const VtkElement& array) const {
    if (m_appendedBegin == 0) {
        Fail(array, "its values are said to be appended, and the file has no appended data");
    }
    const auto offset = static_cast<std::uint64_t>(Count(array, "offset"));
    if (offset > m_bytes.size() - m_appendedBegin) {
        Fail(array, fmt::format("offset {} lies behind the end of the file", offset));
    }
    return std::string_view(m_bytes).substr(m_appendedBegin + offset);
}

/// Returns the bytes of the values of an array, in the byte order of the file.
std::string VtkXmlFile::BytesOf(const VtkElement& array) const {
    const std::string_view format = array.Attribute("format");
    if (format == "appended") {
        const std::string_view stored = Appended(array);
        return m_isAppendedRaw ? RawBytes(array, stored) : Base64Bytes(array, stored);
    }
    if (format != "binary") {
        Fail(array, fmt::format("format=\"{}\" is not known", format));
    }
    return Base64Bytes(
        array, std::string_view(m_bytes).substr(array.textBegin, array.textEnd - array.textBegin));
}

/// Returns the size of the header of compressed values: the number of blocks, the size of a block,
/// that of a partial last one, and the packed size of each.
std::uint64_t VtkXmlFile::CompressedHeaderBytes(const VtkElement& array,
                                                std::string_view firstWord) const {
    const std::uint64_t nBlocks = HeaderWord(firstWord, 0);
    if (nBlocks > m_bytes.size()) {
        Fail(array, fmt::format("{} blocks cannot fit into the file", nBlocks));
    }
    return (nBlocks == 0 ? 1 : 3 + nBlocks) * m_headerWordBytes;
}

std::string VtkXmlFile::RawBytes(const VtkElement& array, std::string_view stored) const {
    const auto take = [&](std::uint64_t nBytes) {
        if (nBytes > stored.size()) {
            Fail(array, fmt::format("{} bytes are announced, {} follow", nBytes, stored.size()));
        }
        const std::string_view taken = stored.substr(0, nBytes);
        stored.remove_prefix(nBytes);
        return taken;
    };
    if (!m_isCompressed) {
        const std::uint64_t nBytes = HeaderWord(take(m_headerWordBytes), 0);
        return std::string(take(nBytes));
    }
    const std::string_view all = stored;
    const std::uint64_t nHeader = CompressedHeaderBytes(array, take(m_headerWordBytes));
    stored = all;
    const std::string_view header = take(nHeader);
    return Inflated(array, header, stored);
}

std::string VtkXmlFile::Base64Bytes(const VtkElement& array, std::string_view stored) const {
    while (!stored.empty() && IsBlank(stored.front())) {
        stored.remove_prefix(1);
    }
    const auto decode = [&](std::string_view letters, std::uint64_t nBytes) {
        auto bytes = DecodeBase64(letters, static_cast<std::size_t>(nBytes));
        if (!bytes || bytes->size() < nBytes) {
            Fail(array, fmt::format("is not the base64 of {} bytes", nBytes));
        }
        return std::move(*bytes);
    };
    if (stored.empty()) {
        return {};
    }
    const std::string firstWord = decode(stored, m_headerWordBytes);
    const std::uint64_t nHeader =
        m_isCompressed ? CompressedHeaderBytes(array, firstWord) : m_headerWordBytes;
    if (!m_isCompressed) {
        const std::uint64_t nBytes = HeaderWord(firstWord, 0);
        if (nBytes > stored.size()) {
            Fail(array,
                 fmt::format("{} bytes are announced, {} letters follow", nBytes, stored.size()));
        }
        return decode(stored, nHeader + nBytes).substr(m_headerWordBytes);
    }
    const std::string header = decode(stored, nHeader);
    std::uint64_t nPacked = 0;
    for (std::size_t i = 3; i < nHeader / m_headerWordBytes; ++i) {
        nPacked += HeaderWord(header, i);
        if (nPacked > stored.size()) {
            Fail(array, fmt::format("{} packed bytes are announced, {} letters follow", nPacked,
                                    stored.size()));
        }
    }
    // The header of compressed values is encoded apart from them, with its own padding.
    stored.remove_prefix(std::min(stored.size(), Base64Letters(nHeader)));
    return Inflated(array, header, decode(stored, nPacked));
}

std::string VtkXmlFile::Inflated(const VtkElement& array, std::string_view header,
                                 std::string_view blocks) const {
    const std::uint64_t nBlocks = HeaderWord(header, 0);
    if (nBlocks == 0) {
        return {};
    }
    const std::uint64_t blockBytes = HeaderWord(header, 1);
    const std::uint64_t partialBytes = HeaderWord(header, 2);
    // Sizes are checked before a buffer is made by them: deflate packs no denser.
    if (blockBytes > std::uint64_t{kDensestPacking} * m_bytes.size() || partialBytes > blockBytes) {
        Fail(array, fmt::format("blocks of {} bytes, the last one of {}, are wrong", blockBytes,
                                partialBytes));
    }
    std::string bytes;
    for (std::uint64_t block = 0; block < nBlocks; ++block) {
        const std::uint64_t nPacked = HeaderWord(header, static_cast<std::size_t>(3 + block));
        // A partial size of 0 means that the last block is full.
        const bool isPartial = block + 1 == nBlocks && partialBytes != 0;
        const std::uint64_t nBytes = isPartial ? partialBytes : blockBytes;
        if (nPacked > blocks.size() || nBytes > std::uint64_t{kDensestPacking} * (nPacked + 1)) {
            Fail(array, fmt::format("block {} of {} bytes cannot come from {} packed ones of {}",
                                    block + 1, nBytes, nPacked, blocks.size()));
        }
        const std::size_t begin = bytes.size();
        bytes.resize(begin + nBytes);
        auto nInflated = static_cast<uLongf>(nBytes);
        const int status =
            uncompress(reinterpret_cast<Bytef*>(bytes.data() + begin), &nInflated,
                       reinterpret_cast<const Bytef*>(blocks.data()), static_cast<uLong>(nPacked));
        if (status != Z_OK || nInflated != nBytes) {
            Fail(array, fmt::format("block {} is damaged (zlib status {})", block + 1, status));
        }
        blocks.remove_prefix(nPacked);
    }
    return bytes;
}

// --- Values --------------------------------------------------------------------------------------

template <class Value>
std::vector<Value> VtkXmlFile::AsciiNumbers(const VtkElement& array) const {
    std::vector<Value> values;
    const char* at = m_bytes.data() + array.textBegin;
    const char* const end = m_bytes.data() + array.textEnd;
    while (true) {
        while (at != end && IsBlank(*at)) {
            ++at;
        }
        if (at == end) {
            return values;
        }
        Value value{};
        const char* const digits = *at == '+' ? at + 1 : at;
        const auto parsed = std::from_chars(digits, end, value);
        // Values too small for the type read as 0, as a C library's reader has them. The sign of
        // the exponent tells them from those that are too large, which are an error.
        const std::string_view text(digits, parsed.ptr);
        const auto exponent = text.find_first_of("eE");
        const bool isTiny = std::is_floating_point_v<Value> &&
                            parsed.ec == std::errc::result_out_of_range && exponent != text.npos &&
                            text[exponent + 1] == '-';
        if ((parsed.ec != std::errc() && !isTiny) || parsed.ptr == digits ||
            (parsed.ptr != end && !IsBlank(*parsed.ptr))) {
            const char* const wordEnd = std::find_if(at, end, IsBlank);
            Fail(array,
                 fmt::format("value {}: \"{}\" is no number of its type", values.size() + 1,
                             std::string_view(at, std::min<std::ptrdiff_t>(wordEnd - at, 40))));
        }
        values.push_back(isTiny ? Value{} : value);
        at = parsed.ptr;
    }
}

template <class Value>
std::vector<Value> VtkXmlFile::Numbers(const VtkElement& array) const {
    // ASCII is the default of the format.
    if (array.Attribute("format") == "ascii" || array.Attribute("format").empty()) {
        return AsciiNumbers<Value>(array);
    }
    std::string bytes = BytesOf(array);
    std::vector<Value> values;
    const auto widen = [&]<class Stored>(Stored) {
        if (bytes.size() % sizeof(Stored) != 0) {
            Fail(array, fmt::format("{} bytes are no whole number of values of {} bytes",
                                    bytes.size(), sizeof(Stored)));
        }
        values.reserve(bytes.size() / sizeof(Stored));
        for (std::size_t at = 0; at < bytes.size(); at += sizeof(Stored)) {
            if (m_isSwapped) {
                std::reverse(bytes.data() + at, bytes.data() + at + sizeof(Stored));
            }
            Stored value;
            std::memcpy(&value, bytes.data() + at, sizeof(Stored));
            values.push_back(static_cast<Value>(value));
        }
    };
    const std::string_view type = array.Attribute("type");
    if (type == "Float64") {
        widen(double{});
    } else if (type == "Float32") {
        widen(float{});
    } else if (type == "Int64" || type == "vtkIdType") {
        widen(std::int64_t{});
    } else if (type == "UInt64") {
        widen(std::uint64_t{});
    } else if (type == "Int32") {
        widen(std::int32_t{});
    } else if (type == "UInt32") {
        widen(std::uint32_t{});
    } else if (type == "Int16") {
        widen(std::int16_t{});
    } else if (type == "UInt16") {
        widen(std::uint16_t{});
    } else if (type == "Int8") {
        widen(std::int8_t{});
    } else if (type == "UInt8") {
        widen(std::uint8_t{});
    } else {
        Fail(array, fmt::format("type=\"{}\" is no type of numbers", type));
    }
    return values;
}

std::vector<double> VtkXmlFile::Reals(const VtkElement& array) const {
    return Numbers<double>(array);
}

std::vector<std::int64_t> VtkXmlFile::Integers(const VtkElement& array) const {
    if (array.Attribute("type").starts_with("Float")) {
        Fail(array, "has real numbers where whole ones are needed");
    }
    return Numbers<std::int64_t>(array);
}

std::vector<std::string> VtkXmlFile::Texts(const VtkElement& array) const {
    std::string bytes;
    if (array.Attribute("format") == "ascii") {
        // ASCII files spell each letter of a text as a number.
        for (const int letter : AsciiNumbers<int>(array)) {
            bytes += static_cast<char>(letter);
        }
    } else {
        bytes = BytesOf(array);
    }
    std::vector<std::string> texts;
    for (std::size_t begin = 0; begin < bytes.size();) {
        const std::size_t end = std::min(bytes.find('\0', begin), bytes.size());
        texts.push_back(bytes.substr(begin, end - begin));
        begin = end + 1;
    }
    return texts;
}

}  // namespace orq::exchange
