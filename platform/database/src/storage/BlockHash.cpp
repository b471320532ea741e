#include "BlockHash.h"

#include "BlockHashKernel.h"

namespace orq::storage {

namespace {

BlockHashes ForThisProcessor() {
#ifdef __x86_64__
    if (__builtin_cpu_supports("avx512f")) {
        return kAvx512BlockHashes;
    }
    if (__builtin_cpu_supports("avx2")) {
        return kAvx2BlockHashes;
    }
#endif
    return PlainBlockHashes();
}

const BlockHashes& Hashes() {
    static const BlockHashes hashes = ForThisProcessor();
    return hashes;
}

}  // namespace

BlockHashes PlainBlockHashes() {
    return {HashOf, CopyAndHashOf};
}

std::uint64_t BlockHash(const std::byte* bytes, std::int64_t size) {
    return Hashes().hash(bytes, static_cast<std::size_t>(size));
}

std::uint64_t CopyAndHash(std::byte* to, const std::byte* from, std::int64_t size) {
    return Hashes().copyAndHash(to, from, static_cast<std::size_t>(size));
}

}  // namespace orq::storage
