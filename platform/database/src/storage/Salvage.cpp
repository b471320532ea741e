#include "Salvage.h"

#include <utility>

namespace orq::storage {

bool RowGap::MayHold(std::int64_t key) const {
    return (!after || (*after)[0] <= key) && (!before || key <= (*before)[0]);
}

bool RowGap::MayHold(std::int64_t key0, std::int64_t key1) const {
    const auto firstTwo = [](const Key& key) { return std::pair(key[0], key[1]); };
    const std::pair key(key0, key1);
    return (!after || firstTwo(*after) <= key) && (!before || key <= firstTwo(*before));
}

}  // namespace orq::storage
