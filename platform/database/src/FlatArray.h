// Flat arrays that are written once, such as the members of a set: the bytes of one part of a
// store, cut into chunks of equal size so that reading some of them maps and compares little more.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "storage/Store.h"

namespace orq::database {

// Writes a whole array where there was none.
void PutFlatArray(storage::ChunkStore& chunks, std::int64_t store, int part,
                  std::span<const std::byte> bytes);

// Copies the bytes of the array from `begin` on; false when it ends before `out` is full.
[[nodiscard]] bool GetFlatArray(storage::ChunkStore& chunks, std::int64_t store, int part,
                                std::int64_t begin, std::span<std::byte> out);

// Whether the array is exactly so many bytes long. To be called before memory is taken for it.
[[nodiscard]] bool HasFlatArray(storage::ChunkStore& chunks, std::int64_t store, int part,
                                std::int64_t size);

}  // namespace orq::database
