#include "import/Importer.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "import/BulkDataReader.h"
#include "import/ExodusReader.h"
#include "import/GmshReader.h"
#include "import/ImportError.h"
#include "import/MeshImporter.h"

namespace orqmodel {
namespace {

struct InputFormat {
    std::vector<std::string_view> endings;     // In lower case.
    std::vector<std::string_view> beginnings;  // First bytes of the contents.
    std::unique_ptr<Importer> (*open)(const std::filesystem::path&);
};

template <class Reader>
std::unique_ptr<Importer> OpenMesh(const std::filesystem::path& file) {
    return std::make_unique<MeshImporter>(std::make_unique<Reader>(file));
}

const std::array<InputFormat, 3>& InputFormats() {
    static const std::array<InputFormat, 3> formats = {{
        {{".e", ".ex2", ".exo", ".exodus", ".g", ".gen"},
         {"CDF", "\x89HDF\r\n\x1a\n"},
         OpenMesh<ExodusReader>},
        {{".msh"}, {"$MeshFormat"}, OpenMesh<GmshReader>},
        {{".bdf", ".dat", ".nas"},
         {"INIT MASTER", "NASTRAN ", "ID ", "SOL ", "CEND", "BEGIN BULK", "GRID", "$ "},
         OpenMesh<BulkDataReader>},
    }};
    return formats;
}

std::string FirstBytes(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    if (!stream)
        throw ImportError(file, "file",
                          std::string("cannot be opened: ").append(std::strerror(errno)));
    std::string bytes(16, '\0');
    stream.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    bytes.resize(static_cast<std::size_t>(stream.gcount()));
    return bytes;
}

std::string KnownEndings() {
    std::string list;
    for (const InputFormat& format : InputFormats()) {
        for (const auto ending : format.endings)
            list.append(" ").append(ending);
    }
    return list;
}

}  // namespace

std::unique_ptr<Importer> OpenImporter(const std::filesystem::path& file) {
    std::string ending = file.extension().string();
    std::transform(ending.begin(), ending.end(), ending.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
    for (const InputFormat& format : InputFormats()) {
        if (std::find(format.endings.begin(), format.endings.end(), ending) != format.endings.end())
            return format.open(file);
    }
    const std::string bytes = FirstBytes(file);
    for (const InputFormat& format : InputFormats()) {
        for (const auto beginning : format.beginnings) {
            if (bytes.starts_with(beginning))
                return format.open(file);
        }
    }
    throw ImportError(file, "file", "is of no format that is known; endings:" + KnownEndings());
}

}  // namespace orqmodel
