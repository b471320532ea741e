// The checksum of a block of bulk data: XXH3-64 with seed 0. Comparing it is most of what a first
// read costs beyond the copy, so both go over the bytes together, with the widest instructions that
// the processor has.
#pragma once

#include <cstddef>
#include <cstdint>

namespace orq::storage {

std::uint64_t BlockHash(const std::byte* bytes, std::int64_t size);
// The hash of bytes that are copied meanwhile, past the caches.
std::uint64_t CopyAndHash(std::byte* to, const std::byte* from, std::int64_t size);

// The hashes by one set of instructions; see BlockHashKernel.h.
struct BlockHashes {
    std::uint64_t (*hash)(const std::byte* bytes, std::size_t size);
    std::uint64_t (*copyAndHash)(std::byte* to, const std::byte* from, std::size_t size);
};
// The hashes by instructions that every processor has.
BlockHashes PlainBlockHashes();
#ifdef __x86_64__
extern const BlockHashes kAvx2BlockHashes;
extern const BlockHashes kAvx512BlockHashes;
#endif

}  // namespace orq::storage
