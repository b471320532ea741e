#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <utility>

#include "ORQBasFailure.h"
#include "ORQExcStagedTarget.h"
#include "ORQSimDatabase.h"

namespace {

namespace fs = std::filesystem;

constexpr std::array<std::string_view, 5> kDatabaseFiles = {
    "catalogue.sqlite", "catalogue.sqlite-wal", "catalogue.sqlite-shm", "bulk.bin", "lock"};

[[noreturn]] void FailUsage(const fs::path& path, std::string_view message) {
    throw ORQBasFailure(ORQBasFailureKind::Usage, path.string().append(": ").append(message));
}

[[noreturn]] void FailSystem(const fs::path& path, const std::string& doing) {
    const int error = errno;
    throw ORQBasFailure(ORQBasFailureKind::Io,
                        path.string() + ": cannot " + doing + ": " + std::strerror(error));
}

bool IsTaken(const fs::path& path) {
    return fs::exists(fs::symlink_status(path));
}

// Without a slash at the end; where it leads if it is a link.
fs::path ResolvedName(const fs::path& given) {
    fs::path name = given.has_filename() ? given : given.parent_path();
    if (fs::is_symlink(fs::symlink_status(name))) {
        std::error_code failure;
        name = fs::canonical(name, failure);
        if (failure)
            FailUsage(given, "is a link that leads nowhere");
    }
    if (name.filename().empty() || name.filename() == "." || name.filename() == "..")
        FailUsage(given, "is no name for a model database");
    return name;
}

fs::path FolderOf(const fs::path& name) {
    return name.has_parent_path() ? name.parent_path() : fs::path(".");
}

void CheckHoldsNothingElse(const fs::path& directory) {
    for (const auto& entry : fs::directory_iterator(directory)) {
        const std::string file = entry.path().filename().string();
        if (std::find(kDatabaseFiles.begin(), kDatabaseFiles.end(), file) == kDatabaseFiles.end())
            FailUsage(directory, "holds \"" + file +
                                     "\", which is no part of a model database, and is not "
                                     "replaced");
    }
}

void CheckCanBeReplaced(const fs::path& name) {
    try {
        ORQSimDatabase::Open(name.string(), ORQSimDatabase::Mode::ReadWrite).Close();
    } catch (const ORQBasFailure& failure) {
        if (failure.Kind() == ORQBasFailureKind::Foreign)
            throw ORQBasFailure(ORQBasFailureKind::Usage, failure.Text() + "; it is not replaced");
        if (failure.Kind() != ORQBasFailureKind::Damaged)
            throw;
    }
    CheckHoldsNothingElse(name);
}

void CheckCanBeHad(const fs::path& name, bool may_replace) {
    if (!IsTaken(name))
        return;
    if (!may_replace)
        FailUsage(name, "exists already; --force replaces a model database");
    CheckCanBeReplaced(name);
}

void Sync(const fs::path& path) {
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0 || fsync(file) != 0)
        FailSystem(path, "sync");
    close(file);
}

int Rename(const fs::path& from, const fs::path& to, unsigned flags) {
    return renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), flags);
}

}  // namespace

ORQExcStagedTarget::ORQExcStagedTarget(const fs::path& name, bool may_replace)
    : name_(ResolvedName(name)), may_replace_(may_replace) {
    CheckCanBeHad(name_, may_replace_);
}

ORQExcStagedTarget::~ORQExcStagedTarget() {
    if (!folder_.empty()) {
        std::error_code ignored;
        fs::remove_all(folder_, ignored);
        close(lock_);
    }
}

std::string ORQExcStagedTarget::Begin() {
    RemoveLeftovers();
    std::string folder = name_.string() + ".import-XXXXXX";
    if (mkdtemp(folder.data()) == nullptr)
        FailSystem(name_, "create it");
    folder_ = folder;
    lock_ = open(folder_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (lock_ < 0 || flock(lock_, LOCK_EX | LOCK_NB) != 0)
        FailSystem(folder_, "lock the folder");
    built_ = folder_ / name_.filename();
    return built_.string();
}

void ORQExcStagedTarget::RemoveLeftovers() const {
    const std::string prefix = name_.filename().string() + ".import-";
    std::error_code failure;
    for (const auto& entry : fs::directory_iterator(FolderOf(name_), failure)) {
        if (!entry.path().filename().string().starts_with(prefix) || !entry.is_directory())
            continue;
        const int lock = open(entry.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        if (lock >= 0 && flock(lock, LOCK_EX | LOCK_NB) == 0)
            fs::remove_all(entry.path(), failure);
        if (lock >= 0)
            close(lock);
    }
}

void ORQExcStagedTarget::PutIntoPlace() {
    for (const auto& entry : fs::directory_iterator(built_))
        Sync(entry.path());
    Sync(built_);
    CheckCanBeHad(name_, may_replace_);
    if (!IsTaken(name_)) {
        if (Rename(built_, name_, RENAME_NOREPLACE) != 0)
            FailSystem(name_, "give the database its name");
    } else if (Rename(built_, name_, RENAME_EXCHANGE) != 0) {
        if (errno != EINVAL && errno != ENOSYS)
            FailSystem(name_, "exchange the databases");
        const fs::path aside = name_.string() + ".replaced";
        ReplaceInTwoSteps(built_, name_, aside);
        fs::rename(aside, folder_ / "replaced");
    }
    Sync(FolderOf(name_));
    Sync(folder_);
}

void ReplaceInTwoSteps(const fs::path& built, const fs::path& old, const fs::path& aside) {
    if (Rename(old, aside, RENAME_NOREPLACE) != 0)
        FailSystem(aside, "move the former database there");
    if (Rename(built, old, RENAME_NOREPLACE) != 0) {
        const int error = errno;
        if (Rename(aside, old, RENAME_NOREPLACE) != 0)
            FailSystem(aside, "move the former database back");
        errno = error;
        FailSystem(old, "give the database its name");
    }
}
