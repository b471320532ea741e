#include "PackedFields.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>

namespace orq::storage {

namespace {

// Stored, do not change.
constexpr std::byte kPackedVersion{1};
constexpr std::uint64_t kKinds = 8;  // a field's first number is its own, times this, plus its kind

void Append(std::vector<std::byte>& to, const void* from, std::size_t nBytes) {
    const auto* bytes = static_cast<const std::byte*>(from);
    to.insert(to.end(), bytes, bytes + nBytes);
}

// Seven bits a byte, the lowest first; all but the last have the highest bit set.
void AppendNumber(std::vector<std::byte>& to, std::uint64_t number) {
    while (number >= 0x80) {
        to.push_back(static_cast<std::byte>(number | 0x80));
        number >>= 7;
    }
    to.push_back(static_cast<std::byte>(number));
}

struct Packing {
    std::vector<std::byte>& to;

    void operator()(int value) const { Append(to, &value, sizeof value); }
    void operator()(std::string_view text) const {
        AppendNumber(to, text.size());
        Append(to, text.data(), text.size());
    }
    void operator()(Bytes doubles) const {
        AppendNumber(to, doubles.size() / sizeof(double));
        Append(to, doubles.data(), doubles.size());
    }
};

}  // namespace

PackedFieldReader::PackedFieldReader(Bytes packed) : m_packed(packed) {
    if (!packed.empty() && packed[0] == kPackedVersion) {
        m_begin = m_at = 1;
    }
    m_field.number = -1;
}

bool PackedFieldReader::Next() {
    m_begin = m_at;
    std::uint64_t first = 0;
    const std::uint64_t least = static_cast<std::uint64_t>(m_field.number + std::int64_t{1});
    if (m_at == 0 || !ReadNumber(first) || first / kKinds < least ||
        first / kKinds > std::numeric_limits<int>::max()) {
        m_at = m_begin;
        return false;
    }
    m_field.number = static_cast<int>(first / kKinds);
    m_field.kind = static_cast<FieldKind>(first % kKinds);
    const bool isWhole = ReadValue();
    m_at = isWhole ? m_at : m_begin;
    return isWhole;
}

bool PackedFieldReader::ReadValue() {
    std::uint64_t n = 0;
    Bytes bytes;
    switch (m_field.kind) {
        case FieldKind::Int:
        case FieldKind::Symbol:
        case FieldKind::Type: {
            int value = 0;
            if (!Take(sizeof value, bytes)) {
                return false;
            }
            std::memcpy(&value, bytes.data(), sizeof value);
            m_field.value = value;
            return true;
        }
        case FieldKind::String:
            if (!ReadNumber(n) || !Take(n, bytes)) {
                return false;
            }
            m_field.value =
                std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size());
            return true;
        case FieldKind::Doubles:
            if (!ReadNumber(n) || n > m_packed.size() || !Take(n * sizeof(double), bytes)) {
                return false;
            }
            m_field.value = bytes;
            return true;
    }
    return false;
}

bool PackedFieldReader::ReadNumber(std::uint64_t& number) {
    number = 0;
    for (int shift = 0; shift < 63 && m_at < m_packed.size(); shift += 7) {
        const auto digit = std::to_integer<std::uint64_t>(m_packed[m_at++]);
        number |= (digit & 0x7F) << shift;
        if (digit < 0x80) {
            return true;
        }
    }
    return false;
}

bool PackedFieldReader::Take(std::uint64_t nBytes, Bytes& bytes) {
    if (nBytes > m_packed.size() - m_at) {
        return false;
    }
    bytes = m_packed.subspan(m_at, static_cast<std::size_t>(nBytes));
    m_at += static_cast<std::size_t>(nBytes);
    return true;
}

bool ArePackedFields(Bytes packed) {
    PackedFieldReader fields(packed);
    while (fields.Next()) {
    }
    return fields.IsAtEnd();
}

void PutPackedField(std::vector<std::byte>& packed, const PackedField& field) {
    constexpr std::size_t kMostAround = 24;  // bytes of a field beside its text or doubles
    std::vector<std::byte> added;
    added.reserve(kMostAround);
    if (packed.empty()) {
        added.push_back(kPackedVersion);
    }
    AppendNumber(added, static_cast<std::uint64_t>(field.number) * kKinds +
                            static_cast<std::uint64_t>(field.kind));
    std::visit(Packing{added}, field.value);

    // [begin, end) goes: the field of that number, or nothing in front of the first one behind it.
    PackedFieldReader reader(packed);
    std::size_t begin = packed.size();
    std::size_t end = packed.size();
    while (reader.Next()) {
        if (reader->number >= field.number) {
            begin = reader.Begin();
            end = reader->number == field.number ? reader.End() : begin;
            break;
        }
    }
    const auto at = [&](std::size_t place) {
        return packed.begin() + static_cast<std::ptrdiff_t>(place);
    };
    if (added.size() > end - begin) {
        // First, as only this takes memory: what follows cannot fail.
        packed.reserve(std::max(packed.size() + added.size(), packed.capacity()));
    }
    const std::size_t nSame = std::min(added.size(), end - begin);
    std::copy_n(added.begin(), nSame, at(begin));
    packed.erase(at(begin + nSame), at(end));
    packed.insert(at(begin + nSame), added.begin() + static_cast<std::ptrdiff_t>(nSame),
                  added.end());
}

}  // namespace orq::storage
