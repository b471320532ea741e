// Opens databases whose files were changed. So that changes reach the readers behind the checksums,
// pages of the catalogue get the right one again.
#include <xxhash.h>

#include <cstring>
#include <filesystem>
#include <string>

#include "RunCommands.h"

namespace {

constexpr std::size_t kPage = 2048;
constexpr std::size_t kChecksum = 8;
constexpr std::size_t kStamp = 72;  // of the last fold
constexpr std::size_t kStampBytes = 20;

// Gives pages the checksums of pages that no fold of a log has written.
void RenewChecksums(std::string& catalogue) {
    if (catalogue.size() >= kPage) {
        catalogue.replace(kStamp, kStampBytes, kStampBytes, '\0');
    }
    for (std::size_t page = 0; (page + 1) * kPage <= catalogue.size(); ++page) {
        char* const begin = catalogue.data() + page * kPage;
        const std::uint64_t checksum = XXH3_64bits_withSeed(begin, kPage - kChecksum, page + 1);
        std::memcpy(begin + kPage - kChecksum, &checksum, kChecksum);
    }
}

}  // namespace

/// The input is the size of the catalogue (4 bytes), the catalogue and the bulk file.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    std::uint32_t catalogueSize = 0;
    if (size < sizeof catalogueSize) {
        return 0;
    }
    std::memcpy(&catalogueSize, bytes, sizeof catalogueSize);
    const std::string rest(reinterpret_cast<const char*>(bytes) + sizeof catalogueSize,
                           size - sizeof catalogueSize);
    std::string catalogue = rest.substr(0, catalogueSize);
    RenewChecksums(catalogue);
    const std::filesystem::path database = FuzzFolder() / "m.orq";
    std::filesystem::remove_all(database);
    PutFile(database / "catalogue.sqlite", catalogue);
    PutFile(database / "bulk.bin", rest.substr(catalogue.size()));
    PutFile(database / "lock", "");
    RunReadingCommands(database);
    return 0;
}
