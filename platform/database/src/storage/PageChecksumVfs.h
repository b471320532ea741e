// A VFS shim that keeps a checksum in the last 8 bytes of every page of the catalogue's main file
// and compares it on every read. SQLite itself checks the frames of its log but not its pages.
//
// The checksum is XXH3-64 over the page without those bytes, seeded with the page number, so that a
// page that was written to the wrong place is found too. Other programs read the file as usual; a
// program that writes to it leaves pages without their checksum, which then read as damaged.
#pragma once

#include <cstdint>

namespace orq::storage {

inline constexpr int kCataloguePageSize = 2048;
inline constexpr int kPageReservedBytes = 8;  // stored in the file's header, do not change

// Registers the shim on first use and answers its name.
const char* PageChecksumVfsName();

// The number (from 1) of the page that was last found damaged in this process, 0 when none was.
std::int64_t LastDamagedPage();

}  // namespace orq::storage
