#include "queries/OpenModel.h"

#include <fmt/format.h>

#include <cstdint>
#include <filesystem>

#include "ORQBasFailure.h"
#include "ORQSimModelStore.h"

namespace orqmodel {

ORQSimDatabase OpenModel(const std::string& path) {
    ORQSimDatabase database = ORQSimDatabase::Open(path, ORQSimDatabase::Mode::ReadOnly);
    // Commands hold some bytes for each member, so a damaged count would end them without memory. A
    // model of so many members without data is none that a program writes.
    constexpr std::int64_t kMostMembersPerByte = 16;
    const ORQSimDatabase::DiskSizes sizes = database.Sizes();
    const std::int64_t bytes = sizes.catalogue + sizes.bulk;
    if (const std::int64_t space = database.LargestSpace(); space > kMostMembersPerByte * bytes) {
        throw ORQBasFailure(
            ORQBasFailureKind::Damaged,
            fmt::format("{}: a collection has a space of {} members, in files of {} bytes", path,
                        space, bytes));
    }
    return database;
}

std::string TitleOf(const std::string& path) {
    return ORQSimModelStore::IsUrl(path) ? ORQSimModelStore::NameOf(path)
                                         : std::filesystem::path(path).stem().string();
}

}  // namespace orqmodel
