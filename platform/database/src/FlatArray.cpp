#include "FlatArray.h"

#include <algorithm>

namespace orq::database {

namespace {

constexpr std::int64_t kPiece = 4 << 20;  // bytes of a chunk; stored layout, do not change

}  // namespace

void PutFlatArray(storage::ChunkStore& chunks, std::int64_t store, int part,
                  std::span<const std::byte> bytes) {
    for (std::int64_t chunk = 0; !bytes.empty(); ++chunk) {
        const auto piece = bytes.first(std::min<std::size_t>(bytes.size(), kPiece));
        chunks.Write(store, part, chunk, 0, piece);
        bytes = bytes.subspan(piece.size());
    }
}

bool GetFlatArray(storage::ChunkStore& chunks, std::int64_t store, int part, std::int64_t begin,
                  std::span<std::byte> out) {
    while (!out.empty()) {
        const std::int64_t from = begin % kPiece;
        storage::ChunkStore::Reader chunk = chunks.Open(store, part, begin / kPiece);
        const std::int64_t n =
            std::min(chunk.Length() - from, static_cast<std::int64_t>(out.size()));
        if (n <= 0) {
            return false;
        }
        chunk.CopyTo(from, from + n, out.data());
        out = out.subspan(static_cast<std::size_t>(n));
        begin += n;
    }
    return true;
}

bool HasFlatArray(storage::ChunkStore& chunks, std::int64_t store, int part, std::int64_t size) {
    std::int64_t chunk = 0;
    for (; size >= kPiece; size -= kPiece, ++chunk) {
        if (chunks.Length(store, part, chunk) != kPiece) {
            return false;
        }
    }
    return chunks.Length(store, part, chunk) == size;
}

}  // namespace orq::database
