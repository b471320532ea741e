#pragma once

#include <cstdint>
#include <string>

#include "ORQSimDatabase.h"

namespace orqmodel {

struct DiskUse {
    ORQSimDatabase::DiskSizes parts;
    std::int64_t directory;  ///< all files of it
};

/// The bytes of the files in a directory. To be called before a database there is opened: a reader
/// has files of its own there meanwhile.
std::int64_t DirectoryBytes(const std::string& directory);

/// What a database that was opened since takes. A model in a store takes what its rows and bulk data
/// take; a directory, its files.
DiskUse UseOf(const ORQSimDatabase& database, std::int64_t directoryBytes);

/// For example "1.5 MiB".
std::string BytesText(std::int64_t bytes);

}  // namespace orqmodel
