// Opens databases whose files were changed. So that changes reach the readers behind the checksums,
// pages of the catalogue get the right one again.
#include <xxhash.h>

#include <array>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "CommandLine.h"
#include "MemoryFile.h"

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kPage = 2048;
constexpr std::size_t kChecksum = 8;

const fs::path& Folder() {
    static const fs::path folder = fs::path("/dev/shm") / ("orq_fuzz_" + std::to_string(getpid()));
    return folder;
}

void Put(const fs::path& file, const std::string& bytes) {
    std::ofstream(file, std::ios::binary) << bytes;
}

void RenewChecksums(std::string& catalogue) {
    for (std::size_t page = 0; (page + 1) * kPage <= catalogue.size(); ++page) {
        char* const begin = catalogue.data() + page * kPage;
        const std::uint64_t checksum = XXH3_64bits_withSeed(begin, kPage - kChecksum, page + 1);
        std::memcpy(begin + kPage - kChecksum, &checksum, kChecksum);
    }
}

void Run(std::vector<std::string> arguments) {
    std::ostringstream out;
    std::ostringstream err;
    const int status = orqmodel::RunCommandLine(arguments, {out, err, false});
    if (status != 0 && status != 1 && status != 2 && status != 3) {
        std::fprintf(stderr, "%s: status %d: %s\n", arguments[0].c_str(), status,
                     err.str().c_str());
        std::abort();
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
    const fs::path database = Folder() / "m.orq";
    fs::remove_all(database);
    fs::create_directories(database);
    Put(database / "catalogue.sqlite", catalogue);
    Put(database / "bulk.bin", rest.substr(catalogue.size()));
    Put(database / "lock", "");
    Run({"info", database});
    Run({"verify", database});
    Run({"layers", database});
    Run({"materials", database});
    Run({"export", database, "-o", Folder() / "m.e", "--force"});
    Run({"export", database, "-o", Folder() / "m.bdf", "--force"});
    Run({"draw", database, "-o", Folder() / "m.png", "--size", "64x64", "--force"});
    return 0;
}
