#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <string>

#include "ORQExcFormats.h"
#include "ORQExcImportError.h"
#include "formats/FormatTable.h"
#include "formats/Formats.h"

using namespace orq::exchange;

namespace {

std::string FirstBytes(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    if (!stream) {
        throw ORQExcImportError(file, "file",
                                std::string("cannot be opened: ").append(std::strerror(errno)));
    }
    std::string bytes(16, '\0');
    stream.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    bytes.resize(static_cast<std::size_t>(stream.gcount()));
    return bytes;
}

bool IsRead(const FormatRow& row) {
    return row.open != nullptr;
}

}  // namespace

std::unique_ptr<ORQExcImporter> ORQExcOpenImporter(const std::filesystem::path& file) {
    if (const FormatRow* row = FindByEnding(file, IsRead); row != nullptr) {
        return row->open(file);
    }
    const std::string bytes = FirstBytes(file);
    for (const FormatRow& row : FormatTable()) {
        const auto begins = [&](std::string_view beginning) {
            return bytes.starts_with(beginning);
        };
        if (IsRead(row) && std::ranges::any_of(row.beginnings, begins)) {
            return row.open(file);
        }
    }
    throw ORQExcImportError(file, "file",
                            "is of no format that is known; endings:" + EndingsOf(IsRead));
}
