#include "queries/DiskUse.h"

#include <fmt/format.h>

#include <filesystem>

#include "ORQSimModelStore.h"

namespace orqmodel {

std::int64_t DirectoryBytes(const std::string& directory) {
    std::int64_t bytes = 0;
    std::error_code failure;
    for (const auto& entry : std::filesystem::directory_iterator(directory, failure)) {
        // A writer may remove a file between its listing and this query; it then counts as nothing.
        const auto size = entry.file_size(failure);
        bytes += failure ? 0 : static_cast<std::int64_t>(size);
    }
    return bytes;
}

DiskUse UseOf(const ORQSimDatabase& database, std::int64_t directoryBytes) {
    const ORQSimDatabase::DiskSizes sizes = database.Sizes();
    const bool isInStore = ORQSimModelStore::IsUrl(database.Path());
    return {sizes, isInStore ? sizes.catalogue + sizes.bulk : directoryBytes};
}

std::string BytesText(std::int64_t bytes) {
    constexpr std::int64_t kKibi = 1024;
    if (bytes < kKibi) {
        return fmt::format("{} bytes", bytes);
    }
    if (bytes < kKibi * kKibi) {
        return fmt::format("{:.1f} KiB", static_cast<double>(bytes) / kKibi);
    }
    return fmt::format("{:.1f} MiB", static_cast<double>(bytes) / (kKibi * kKibi));
}

}  // namespace orqmodel
