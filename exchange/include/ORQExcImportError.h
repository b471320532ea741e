#pragma once

#include <filesystem>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "ORQBasExport.h"

/// An input file that cannot be imported: missing, unreadable, of another format, damaged, or
/// holding a value that a model database cannot keep. The text reads "FILE: SECTION: MESSAGE"; the
/// message carries the index and the offending value where there is one.
class ORQ_EXPORT ORQExcImportError : public std::runtime_error {
  public:
    ORQExcImportError(const std::filesystem::path& file, std::string_view section,
                      std::string_view message)
        : ORQExcImportError(
              {file.string().append(": ").append(section).append(": ").append(message)}) {}
    /// Several errors, at least one; the text has a line for each.
    explicit ORQExcImportError(std::vector<std::string> errors)
        : std::runtime_error(Joined(errors)), m_errors(std::move(errors)) {}

    const std::vector<std::string>& Errors() const { return m_errors; }

  private:
    static std::string Joined(const std::vector<std::string>& errors) {
        std::string text;
        for (const std::string& error : errors) {
            text.append(text.empty() ? "" : "\n").append(error);
        }
        return text;
    }

    std::vector<std::string> m_errors;
};
