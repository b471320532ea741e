#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "ORQExcReport.h"

namespace orq::exchange {

/// Where a card begins: a file by its place in the list of NastranProblems, a line from 1.
struct BulkPlace {
    int file;
    int line;
};

/// What is wrong in a deck: errors, which prevent the import and are collected so that one run
/// reports them together, and findings, which do not.
class NastranProblems {
  public:
    static constexpr std::size_t kMost = 20;  ///< errors in the message; the others are counted

    /// Returns the number of the file, for BulkPlace.
    int AddFile(const std::filesystem::path& file);
    /// Adds an error.
    void Add(const BulkPlace& place, std::string_view message);
    /// Adds a finding about an object; `message` names the card.
    void Find(const BulkPlace& place, std::string_view kind, std::string_view name,
              std::string_view message);
    std::string NameOf(const BulkPlace& place) const;
    /// Throws ORQExcImportError with all errors, if there are any.
    void Check() const;
    const ORQExcReport& Findings() const { return m_findings; }

  private:
    std::vector<std::string> m_files;
    std::vector<std::string> m_told;
    std::size_t m_nErrors = 0;
    ORQExcReport m_findings;
};

}  // namespace orq::exchange
