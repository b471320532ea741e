#include "PackedDimensions.h"

#include <array>
#include <limits>

#include "PackedCount.h"

namespace orq::storage {

namespace {

// Stored, do not change.
constexpr std::byte kDimensionsVersion{1};

// The numbers that follow a dimension's form, in the order in which they are written.
using NumbersOfForm = std::array<int PackedDimension::*, 3>;
constexpr std::array<NumbersOfForm, 3> kNumbers = {{
    {&PackedDimension::chunk, &PackedDimension::set, nullptr},
    {&PackedDimension::chunk, &PackedDimension::first, &PackedDimension::count},
    {&PackedDimension::chunk, &PackedDimension::set, nullptr},
}};

}  // namespace

PackedDimensionReader::PackedDimensionReader(Bytes packed) : m_packed(packed) {
    if (!packed.empty() && packed[0] == kDimensionsVersion) {
        m_at = 1;
    }
}

bool PackedDimensionReader::Read(std::size_t& at, int& number) const {
    std::uint64_t count = 0;
    const bool isRead = ReadCount(m_packed, at, count) && count <= std::numeric_limits<int>::max();
    number = isRead ? static_cast<int>(count) : 0;
    return isRead;
}

bool PackedDimensionReader::Next() {
    std::size_t at = m_at;
    int form = 0;
    // In front of the first one stands the version, so nothing is read of another one.
    if (at == 0 || !Read(at, form) || form >= static_cast<int>(kNumbers.size())) {
        return false;
    }
    PackedDimension dimension{static_cast<DimensionForm>(form)};
    for (int PackedDimension::*const number : kNumbers[static_cast<std::size_t>(form)]) {
        if (number != nullptr && !Read(at, dimension.*number)) {
            return false;
        }
    }
    m_dimension = dimension;
    m_at = at;
    return true;
}

bool ArePackedDimensions(Bytes packed) {
    PackedDimensionReader dimensions(packed);
    while (dimensions.Next()) {
    }
    return dimensions.IsAtEnd();
}

void AddPackedDimension(std::vector<std::byte>& packed, const PackedDimension& dimension) {
    const auto add = [&](std::byte byte) { packed.push_back(byte); };
    if (packed.empty()) {
        add(kDimensionsVersion);
    }
    const auto form = static_cast<std::size_t>(dimension.form);
    WriteCount(form, add);
    for (int PackedDimension::*const number : kNumbers[form]) {
        if (number != nullptr) {
            WriteCount(static_cast<std::uint64_t>(dimension.*number), add);
        }
    }
}

}  // namespace orq::storage
