#include "Salvage.h"

#include <utility>

namespace orq::storage {

bool RowGap::MayHold(std::int64_t key) const {
    return (!after || (*after)[0] <= key) && (!before || key <= (*before)[0]);
}

namespace {

std::pair<std::int64_t, std::int64_t> FirstTwo(const RowGap::Key& key) {
    return {key[0], key[1]};
}

}  // namespace

bool RowGap::MayHold(std::int64_t key0, std::int64_t key1) const {
    const std::pair key(key0, key1);
    return (!after || FirstTwo(*after) <= key) && (!before || key <= FirstTwo(*before));
}

bool RowGap::MayHoldAbove(std::int64_t key0, std::int64_t key1) const {
    return (!after || (*after)[0] <= key0) &&
           (!before || std::pair(key0, key1) < FirstTwo(*before));
}

}  // namespace orq::storage
