#pragma once

#include <exception>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

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

/// Everything that is wrong in an input file, at least one.
class ImportErrors : public std::exception {
  public:
    explicit ImportErrors(std::vector<ImportError> errors) : m_errors(std::move(errors)) {}
    const std::vector<ImportError>& Errors() const { return m_errors; }
    const char* what() const noexcept override { return m_errors.front().what(); }

  private:
    std::vector<ImportError> m_errors;
};

}  // namespace orqmodel
