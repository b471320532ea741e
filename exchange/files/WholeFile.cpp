#include "files/WholeFile.h"

#include <cerrno>
#include <cstring>
#include <fstream>

#include "ORQExcImportError.h"

namespace orq::exchange {

std::string ReadWholeFile(const std::filesystem::path& file) {
    std::error_code failure;
    // A device or a pipe has no size, and reading it might never end.
    if (!std::filesystem::is_regular_file(file, failure)) {
        throw ORQExcImportError(file, "file", "does not exist or is not a regular file");
    }
    std::ifstream stream(file, std::ios::binary);
    std::string bytes(static_cast<std::size_t>(std::filesystem::file_size(file, failure)), '\0');
    if (!stream || !stream.read(bytes.data(), static_cast<std::streamsize>(bytes.size()))) {
        throw ORQExcImportError(file, "file", "cannot be read");
    }
    return bytes;
}

std::string FirstBytes(const std::filesystem::path& file, std::size_t count) {
    std::ifstream stream(file, std::ios::binary);
    if (!stream) {
        throw ORQExcImportError(file, "file",
                                std::string("cannot be read: ").append(std::strerror(errno)));
    }
    std::string bytes(count, '\0');
    // A shorter file is no failure here: a format that needs more does not recognise it.
    stream.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    bytes.resize(static_cast<std::size_t>(stream.gcount()));
    return bytes;
}

}  // namespace orq::exchange
