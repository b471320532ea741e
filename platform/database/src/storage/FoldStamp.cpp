#include "FoldStamp.h"

#define XXH_INLINE_ALL
#include <xxhash.h>

#include <algorithm>
#include <cstring>

namespace orq::storage {

namespace {

// Offsets in the stamp; stored, do not change.
constexpr std::size_t kFoldAt = 0;
constexpr std::size_t kStampFramesAt = 4;  // the highest bit is set where the fold is whole
constexpr std::size_t kStampSaltsAt = 8;
constexpr std::size_t kChecksumAt = 16;
constexpr std::uint32_t kWholeBit = std::uint32_t{1} << 31;

}  // namespace

FoldStamp::Bytes FoldStamp::Encode() const {
    Bytes bytes{};
    const std::uint32_t frames = log.nFrames | (isWhole ? kWholeBit : 0);
    std::memcpy(bytes.data() + kFoldAt, &fold, sizeof fold);
    std::memcpy(bytes.data() + kStampFramesAt, &frames, sizeof frames);
    std::ranges::copy(log.salts, bytes.begin() + kStampSaltsAt);
    const std::uint32_t sum = XXH32(bytes.data(), kChecksumAt, 0);
    std::memcpy(bytes.data() + kChecksumAt, &sum, sizeof sum);
    return bytes;
}

std::optional<FoldStamp> FoldStamp::Decode(std::span<const std::byte, kBytes> bytes) {
    FoldStamp stamp;
    if (std::ranges::all_of(bytes, [](std::byte byte) { return byte == std::byte{0}; })) {
        return stamp;
    }
    std::uint32_t frames = 0;
    std::memcpy(&stamp.fold, bytes.data() + kFoldAt, sizeof stamp.fold);
    std::memcpy(&frames, bytes.data() + kStampFramesAt, sizeof frames);
    std::ranges::copy(bytes.subspan(kStampSaltsAt, stamp.log.salts.size()),
                      stamp.log.salts.begin());
    stamp.isWhole = (frames & kWholeBit) != 0;
    stamp.log.nFrames = frames & ~kWholeBit;
    return std::ranges::equal(stamp.Encode(), bytes) ? std::optional(stamp) : std::nullopt;
}

bool FoldStamp::IsContinuedBy(const LogExtent& found, std::uint32_t noted) const {
    const bool holdsAllFolded = found.salts == log.salts && found.nFrames >= log.nFrames;
    return isWhole ? noted == fold || found.nFrames == 0 || holdsAllFolded : holdsAllFolded;
}

}  // namespace orq::storage
