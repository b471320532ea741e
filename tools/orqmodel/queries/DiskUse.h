#pragma once

#include <cstdint>
#include <string>

#include "ORQSimDatabase.h"

namespace orqmodel {

struct DiskUse {
    ORQSimDatabase::DiskSizes parts;
    std::int64_t directory;  ///< all files of it
};

/// Of the files, as long as none is open: readers keep some for themselves meanwhile.
std::int64_t DirectoryBytes(const std::string& directory);

/// For example "1.5 MiB".
std::string BytesText(std::int64_t bytes);

}  // namespace orqmodel
