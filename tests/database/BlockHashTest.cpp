// The checksum of blocks: the same whatever instructions it is computed by, and while bytes are
// copied; the format says which it is.
#define XXH_INLINE_ALL
#include <gtest/gtest.h>
#include <xxhash.h>

#include <algorithm>
#include <cstddef>
#include <random>
#include <string>
#include <vector>

#include "storage/BlockHash.h"

namespace {

using namespace orq::storage;

struct Way {
    const char* name;
    BlockHashes hashes;
};

std::vector<Way> Ways() {
    std::vector<Way> ways = {{"as this processor does",
                              {[](const std::byte* bytes, std::size_t size) {
                                   return BlockHash(bytes, static_cast<std::int64_t>(size));
                               },
                               [](std::byte* to, const std::byte* from, std::size_t size) {
                                   return CopyAndHash(to, from, static_cast<std::int64_t>(size));
                               }}},
                             {"as every processor does", PlainBlockHashes()}};
#ifdef __x86_64__
    if (__builtin_cpu_supports("avx2")) {
        ways.push_back({"AVX2", kAvx2BlockHashes});
    }
    if (__builtin_cpu_supports("avx512f")) {
        ways.push_back({"AVX-512", kAvx512BlockHashes});
    }
#endif
    return ways;
}

}  // namespace

TEST(BlockHashTest, IsThatOfTheFormatAndCopiesTheBytesAndNoOthers) {
    std::mt19937_64 random(20031);
    std::vector<std::byte> source((64 << 10) + 256);
    std::ranges::generate(source, [&] { return static_cast<std::byte>(random()); });
    constexpr std::byte kUntouched{0xA5};
    for (const std::size_t size : {0, 1, 7, 63, 64, 240, 241, 1023, 1024, 1025, 4097, 8191, 8192,
                                   12'345, (64 << 10) - 1, 64 << 10}) {
        for (const std::size_t shift : {0, 1, 8, 16, 63}) {
            const std::byte* from = source.data() + shift / 2;
            const std::uint64_t expected = XXH3_64bits(from, size);
            for (const Way& way : Ways()) {
                SCOPED_TRACE(std::string(way.name) + ", " + std::to_string(size) +
                             " bytes, shifted by " + std::to_string(shift));
                EXPECT_EQ(way.hashes.hash(from, size), expected);
                std::vector<std::byte> target(size + 128, kUntouched);
                const auto to = target.begin() + static_cast<std::ptrdiff_t>(shift);
                EXPECT_EQ(way.hashes.copyAndHash(&*to, from, size), expected);
                const auto end = to + static_cast<std::ptrdiff_t>(size);
                EXPECT_TRUE(std::equal(to, end, from));
                EXPECT_EQ(std::count(target.begin(), to, kUntouched), to - target.begin());
                EXPECT_EQ(std::count(end, target.end(), kUntouched), target.end() - end);
            }
        }
    }
}
