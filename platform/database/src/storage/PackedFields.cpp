#include "PackedFields.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "PackedCount.h"

namespace orq::storage {

namespace {

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
        head.Add(PackedFieldReader::kVersion);
    }
    head.AddCount(static_cast<std::uint64_t>(field.number) * PackedFieldReader::kKinds +
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
