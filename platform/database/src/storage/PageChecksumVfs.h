// A VFS shim that keeps a checksum in the last 8 bytes of every page of the catalogue's main file
// and compares it on every read. SQLite itself checks the frames of its log but not its pages.
//
// The checksum is XXH3-64 over the page without those bytes, seeded with the page number, so that a
// page that was written to the wrong place is found too. Other programs read the file as usual; a
// program that writes to it leaves pages without their checksum, which then read as damaged.
//
// The number of the fold that wrote the page is mixed into its checksum; see FoldStamp.h. A page
// that is newer than the stamp of its file reads as damaged too.
//
// Frames of the log are written many together: SQLite writes each by two calls of its own.
#pragma once

#include <cstdint>
#include <optional>

#include "FoldStamp.h"

struct sqlite3_file;

namespace orq::storage {

inline constexpr int kCataloguePageSize = 2048;
inline constexpr int kPageReservedBytes = 8;  // stored in the file's header, do not change

// Registers the shim on first use and returns its name.
const char* PageChecksumVfsName();

struct PageDamage {
    std::int64_t page = 0;          // from 1; 0 for none
    bool isNewerThanStamp = false;  // else its checksum differs
};
// What was last found in this process.
PageDamage LastPageDamage();

// How far the log of this main file is committed, as the index says that all its processes share;
// nothing where this one has no index. Another process may be changing it: then the answer is of
// neither moment, and who finds it wrong asks again.
std::optional<LogExtent> LogExtentInIndex(sqlite3_file* file);

// What a catalogue does whose parts are not of one time.
inline constexpr const char* kIsMixedCopy =
    "mixes different states: it was copied while the database was written (orqmodel copy makes a "
    "right copy), or its log was damaged or removed";

}  // namespace orq::storage
