#include "export/StagedFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <string>

#include "ORQBasFailure.h"
#include "export/ExportError.h"

namespace orqmodel {

StagedFile::StagedFile(const std::filesystem::path& output, bool force) : m_output(output) {
    if (!force && std::filesystem::exists(std::filesystem::symlink_status(output))) {
        throw ORQBasFailure(ORQBasFailureKind::Usage,
                            output.string() + ": exists already; --force replaces it");
    }
    m_staged = output;
    m_staged += ".export-" + std::to_string(getpid());
}

StagedFile::~StagedFile() {
    std::error_code ignored;
    std::filesystem::remove(m_staged, ignored);
}

void StagedFile::PutIntoPlace() {
    const int file = open(m_staged.c_str(), O_RDONLY | O_CLOEXEC);
    const bool isSafe = file >= 0 && fsync(file) == 0;
    if (file >= 0) {
        close(file);
    }
    if (!isSafe) {
        throw ExportError(m_output.string() + ": cannot be synced");
    }
    std::filesystem::rename(m_staged, m_output);
}

}  // namespace orqmodel
