#include <fcntl.h>
#include <unistd.h>

#include <string>

#include "ORQBasFailure.h"
#include "ORQExcExportError.h"
#include "ORQExcStagedFile.h"

ORQExcStagedFile::ORQExcStagedFile(const std::filesystem::path& output, bool force)
    : m_output(output) {
    if (!force && std::filesystem::exists(std::filesystem::symlink_status(output))) {
        throw ORQBasFailure(ORQBasFailureKind::Usage,
                            output.string() + ": exists already; --force replaces it");
    }
    m_staged = output;
    m_staged += ".export-" + std::to_string(getpid());
}

ORQExcStagedFile::~ORQExcStagedFile() {
    std::error_code ignored;
    std::filesystem::remove_all(m_staged, ignored);
}

void ORQExcStagedFile::MakeFolder() const {
    std::filesystem::create_directory(m_staged);
}

void ORQExcStagedFile::Sync(const std::filesystem::path& path) const {
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    const bool isSafe = file >= 0 && fsync(file) == 0;
    if (file >= 0) {
        close(file);
    }
    if (!isSafe) {
        throw ORQExcExportError(m_output.string() + ": cannot be synced");
    }
}

void ORQExcStagedFile::PutIntoPlace() {
    if (!std::filesystem::is_directory(m_staged)) {
        Sync(m_staged);
        std::filesystem::rename(m_staged, m_output);
        return;
    }
    for (const auto& entry : std::filesystem::directory_iterator(m_staged)) {
        Sync(entry.path());
    }
    Sync(m_staged);
    // A folder cannot take the place of one that is not empty.
    std::filesystem::path former = m_staged;
    former += ".former";
    if (std::filesystem::exists(std::filesystem::symlink_status(m_output))) {
        std::filesystem::rename(m_output, former);
    }
    std::filesystem::rename(m_staged, m_output);
    std::filesystem::remove_all(former);
}
