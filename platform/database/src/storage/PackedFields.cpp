#include "PackedFields.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>

#include "PackedCount.h"

namespace orq::storage {

namespace {

// Stored, do not change.
constexpr std::byte kPackedVersion{1};
// A field's first count is its number, times this, plus its kind.
constexpr std::uint64_t kKinds = 8;

// What stands in front of a text or doubles, or all of another field: at most two counts of ten
// bytes.
class Head {
  public:
    void AddCount(std::uint64_t count) {
        WriteCount(count, [this](std::byte byte) { Add(byte); });
    }
    void Add(std::byte byte) { m_bytes[m_size++] = byte; }
    Bytes All() const { return std::span(m_bytes).first(m_size); }

  private:
    std::array<std::byte, 24> m_bytes{};
    std::size_t m_size = 0;
};

// The bytes of a value as they are stored, behind their number where it is not always the same.
struct AddingValue {
    Head& head;

    // Small numbers of either sign take few bytes: 0, -1, 1, -2, ... are 0, 1, 2, 3, ...
    Bytes operator()(int value) const {
        const auto bits = static_cast<std::uint32_t>(value);
        head.AddCount(value < 0 ? ~(bits << 1) : bits << 1);
        return {};
    }
    Bytes operator()(std::string_view text) const {
        head.AddCount(text.size());
        return std::as_bytes(std::span(text));
    }
    Bytes operator()(Bytes doubles) const {
        head.AddCount(doubles.size() / sizeof(double));
        return doubles;
    }
};

}  // namespace

PackedFieldReader::PackedFieldReader(Bytes packed) : m_packed(packed) {
    if (!packed.empty() && packed[0] == kPackedVersion) {
        m_begin = m_at = 1;
    }
}

bool PackedFieldReader::Next() {
    m_begin = m_at;
    const std::size_t end = m_at == 0 ? 0 : Skip(m_at);
    m_at = end == 0 ? m_begin : end;
    return end != 0;
}

std::size_t PackedFieldReader::Skip(std::size_t at) {
    std::uint64_t first = 0;
    if (!ReadCount(m_packed, at, first) || first / kKinds > std::numeric_limits<int>::max() ||
        static_cast<int>(first / kKinds) <= m_number) {
        return 0;
    }
    std::uint64_t nBytes = 0;
    std::size_t value = at;
    switch (static_cast<FieldKind>(first % kKinds)) {
        case FieldKind::Int:
        case FieldKind::Symbol:
        case FieldKind::Type: {
            std::uint64_t number = 0;
            if (!ReadCount(m_packed, at, number) ||
                number > std::numeric_limits<std::uint32_t>::max()) {
                return 0;
            }
            break;
        }
        case FieldKind::String:
            if (!ReadCount(m_packed, at, nBytes)) {
                return 0;
            }
            value = at;
            break;
        case FieldKind::Doubles:
            // Bounded first: the product could exceed 64 bits.
            if (!ReadCount(m_packed, at, nBytes) || nBytes > m_packed.size()) {
                return 0;
            }
            nBytes *= sizeof(double);
            value = at;
            break;
        default:
            return 0;
    }
    if (nBytes > m_packed.size() - at) {
        return 0;
    }
    m_number = static_cast<int>(first / kKinds);
    m_kind = static_cast<FieldKind>(first % kKinds);
    m_value = value;
    return at + static_cast<std::size_t>(nBytes);
}

FieldValue PackedFieldReader::Value() const {
    const Bytes bytes = m_packed.subspan(m_value, m_at - m_value);
    switch (m_kind) {
        case FieldKind::String:
            return std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size());
        case FieldKind::Doubles:
            return bytes;
        default: {
            std::uint64_t number = 0;
            std::size_t at = m_value;
            (void)ReadCount(m_packed, at, number);
            const auto bits = static_cast<std::uint32_t>(number);
            return static_cast<int>((bits & 1) != 0 ? ~(bits >> 1) : bits >> 1);
        }
    }
}

bool ArePackedFields(Bytes packed) {
    PackedFieldReader fields(packed);
    while (fields.Next()) {
    }
    return fields.IsAtEnd();
}

namespace {

// Puts a field in the place of the bytes [begin, end).
void Replace(std::vector<std::byte>& packed, std::size_t begin, std::size_t end,
             const PackedField& field) {
    Head head;
    if (packed.empty()) {
        head.Add(kPackedVersion);
    }
    head.AddCount(static_cast<std::uint64_t>(field.number) * kKinds +
                  static_cast<std::uint64_t>(field.kind));
    const Bytes value = std::visit(AddingValue{head}, field.value);
    const Bytes before = head.All();
    const std::size_t added = before.size() + value.size();
    const auto place = packed.begin() + static_cast<std::ptrdiff_t>(begin);
    if (added > end - begin) {
        packed.insert(place, added - (end - begin), std::byte{});
    } else {
        packed.erase(place, place + static_cast<std::ptrdiff_t>(end - begin - added));
    }
    std::memcpy(packed.data() + begin, before.data(), before.size());
    if (!value.empty()) {
        std::memcpy(packed.data() + begin + before.size(), value.data(), value.size());
    }
}

}  // namespace

void PutPackedField(std::vector<std::byte>& packed, const PackedField& field) {
    // [begin, end) goes: the field of that number, or nothing in front of the first one behind it.
    PackedFieldReader reader(packed);
    std::size_t begin = packed.size();
    std::size_t end = packed.size();
    while (reader.Next()) {
        if (reader.Number() >= field.number) {
            begin = reader.Begin();
            end = reader.Number() == field.number ? reader.End() : begin;
            break;
        }
    }
    Replace(packed, begin, end, field);
}

void AppendPackedField(std::vector<std::byte>& packed, const PackedField& field) {
    Replace(packed, packed.size(), packed.size(), field);
}

}  // namespace orq::storage
