#include "formats/nastran/NastranProblems.h"

#include <fmt/format.h>

#include "ORQExcImportError.h"

namespace orq::exchange {

int NastranProblems::AddFile(const std::filesystem::path& file) {
    m_files.push_back(file.string());
    return static_cast<int>(m_files.size()) - 1;
}

std::string NastranProblems::NameOf(const BulkPlace& place) const {
    return fmt::format("{}: line {}", m_files[static_cast<std::size_t>(place.file)], place.line);
}

void NastranProblems::Add(const BulkPlace& place, std::string_view message) {
    if (++m_nErrors <= kMost) {
        m_told.push_back(fmt::format("{}: {}", NameOf(place), message));
    }
}

void NastranProblems::Find(const BulkPlace& place, std::string_view kind, std::string_view name,
                           std::string_view message) {
    m_findings.Find(kind, name, 1, fmt::format("{}: {}", NameOf(place), message));
}

void NastranProblems::Check() const {
    if (m_nErrors == 0) {
        return;
    }
    std::vector<std::string> errors = m_told;
    if (m_nErrors > kMost) {
        errors.push_back(fmt::format("{}: and {} more errors", m_files[0], m_nErrors - kMost));
    }
    throw ORQExcImportError(std::move(errors));
}

}  // namespace orq::exchange
