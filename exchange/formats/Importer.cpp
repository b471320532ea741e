#include <algorithm>
#include <string>

#include "ORQExcFormats.h"
#include "ORQExcImportError.h"
#include "files/WholeFile.h"
#include "formats/FormatTable.h"
#include "formats/Formats.h"

using namespace orq::exchange;

namespace {

bool IsRead(const FormatRow& row) {
    return row.open != nullptr;
}

}  // namespace

std::unique_ptr<ORQExcImporter> ORQExcOpenImporter(const std::filesystem::path& file) {
    if (const FormatRow* row = FindByEnding(file, IsRead); row != nullptr) {
        return row->open(file);
    }
    const std::string bytes = FirstBytes(file, 16);
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
