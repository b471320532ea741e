// The stamp of the catalogue's main file: what it says of the last fold of a log into it. It shows
// whether main file and log are of one time, or were copied file by file while a writer was active.
//
// Folds are numbered from 1. A page holds, in its checksum, the number of the fold that wrote it;
// the stamp, in bytes of the file's header that SQLite leaves unused, holds that of the last fold
// that began. So a page that was copied after a later fold began has a higher number than the stamp
// that was copied before it. The first commit after a whole fold notes its number in the catalogue
// (user_version), so that a log says which main file it goes on from.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace orq::storage {

using LogSalts = std::array<std::byte, 8>;

// How far a log is committed, and which one it is.
struct LogExtent {
    LogSalts salts{};
    std::uint32_t nFrames = 0;
};

struct FoldStamp {
    static constexpr std::size_t kOffset = 72;
    static constexpr std::size_t kBytes = 20;
    using Bytes = std::array<std::byte, kBytes>;

    std::uint32_t fold = 0;
    bool isWhole = true;  // all of the log was folded in
    LogExtent log;        // that was folded in, as far as it was committed when the fold began

    Bytes Encode() const;
    // Nothing where they are damaged. Zeros, as in files of early versions, are fold 0.
    static std::optional<FoldStamp> Decode(std::span<const std::byte, kBytes> bytes);

    // Whether a log goes on from the main file with this stamp. `noted` is the number that both
    // together say was noted last. While a fold is not whole, the log has what is missing.
    bool IsContinuedBy(const LogExtent& found, std::uint32_t noted) const;
};

}  // namespace orq::storage
