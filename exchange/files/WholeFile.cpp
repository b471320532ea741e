#include "files/WholeFile.h"

#include <cerrno>
#include <cstring>
#include <fstream>

#include "ORQExcImportError.h"

namespace orq::exchange {

std::string ReadWholeFile(const std::filesystem::path& file) {
    std::error_code failure;
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
    stream.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    bytes.resize(static_cast<std::size_t>(stream.gcount()));
    return bytes;
}

}  // namespace orq::exchange
