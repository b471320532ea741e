#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>

namespace orq::exchange {

/// The bytes of a regular file. Throws ORQExcImportError when it is none or cannot be read.
std::string ReadWholeFile(const std::filesystem::path& file);

/// The first bytes of a file, as far as it has `count`. Throws ORQExcImportError.
std::string FirstBytes(const std::filesystem::path& file, std::size_t count);

/// Deflate packs at most this many bytes into one, so that a size that a file claims can be checked
/// before anything is allocated by it.
inline constexpr std::int64_t kDensestPacking = 1032;

}  // namespace orq::exchange
