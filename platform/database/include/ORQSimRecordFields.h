/// Record fields: the number of each field that ORQSimDataRecord reads and writes, by name.
#pragma once

#include <cstddef>
#include <iterator>
#include <string_view>

/// The number of each named field, for example ORQSimRecordField::Block_shape; kinds and meanings
/// stand in ORQSimRecordFieldTable.inc. Numbers are stored, do not change.
namespace ORQSimRecordField {

#define ORQ_RECORD_FIELD(record, field, number, kind, text) \
    inline constexpr int record##_##field = number;
#include "ORQSimRecordFieldTable.inc"
#undef ORQ_RECORD_FIELD

namespace detail {

struct Row {
    std::string_view record;
    int number;
};

inline constexpr Row kRows[] = {
#define ORQ_RECORD_FIELD(record, field, number, kind, text) {#record, number},
#include "ORQSimRecordFieldTable.inc"
#undef ORQ_RECORD_FIELD
};

consteval bool AreNumbersDistinct() {
    for (std::size_t i = 0; i < std::size(kRows); ++i) {
        for (std::size_t j = 0; j < i; ++j) {
            if (kRows[i].record == kRows[j].record && kRows[i].number == kRows[j].number) {
                return false;
            }
        }
    }
    return true;
}
static_assert(AreNumbersDistinct(), "two fields of a record have the same number");

}  // namespace detail

}  // namespace ORQSimRecordField
