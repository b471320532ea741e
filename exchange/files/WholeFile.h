#pragma once

#include <filesystem>
#include <string>

namespace orq::exchange {

/// The bytes of a regular file. Throws ORQExcImportError when it is none or cannot be read.
std::string ReadWholeFile(const std::filesystem::path& file);

}  // namespace orq::exchange
