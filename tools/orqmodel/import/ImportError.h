#pragma once

#include <filesystem>
#include <stdexcept>
#include <string>
#include <string_view>

namespace orqmodel {

/// An input file that cannot be imported: missing, unreadable, of another format, damaged, or
/// holding a value that a model database cannot keep. The text reads "FILE: SECTION: MESSAGE"; the
/// message carries the index and the offending value where there is one.
class ImportError : public std::runtime_error {
  public:
    ImportError(const std::filesystem::path& file, std::string_view section,
                std::string_view message)
        : std::runtime_error(
              file.string().append(": ").append(section).append(": ").append(message)) {}
};

}  // namespace orqmodel
