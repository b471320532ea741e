#pragma once

#include <filesystem>
#include <string>

namespace orqmodel {

/// The bytes of a regular file. Throws ImportError when it is none or cannot be read.
std::string ReadWholeFile(const std::filesystem::path& file);

}  // namespace orqmodel
