#include "ORQBasStaged.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <string>

#include "ORQBasFailure.h"

namespace {

namespace fs = std::filesystem;

fs::path FolderOf(const fs::path& name) {
    return name.has_parent_path() ? name.parent_path() : fs::path(".");
}

void Sync(const fs::path& path) {
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    const bool isSafe = file >= 0 && fsync(file) == 0;
    const int error = errno;
    if (file >= 0) {
        close(file);
    }
    if (!isSafe) {
        errno = error;
        ORQBasThrowSystemFailure(path.string(), "sync");
    }
}

// Files before the folder that names them, so that no name leads to a file that was lost.
void SyncAll(const fs::path& path) {
    if (fs::is_directory(path)) {
        for (const auto& entry : fs::directory_iterator(path)) {
            SyncAll(entry.path());
        }
    }
    Sync(path);
}

int Rename(const fs::path& from, const fs::path& to, unsigned flags) {
    return renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), flags);
}

// Renames without replacing anything; EEXIST when the name is taken. Where the file system cannot
// promise that, somebody who takes the name in between is replaced.
int RenameToFree(const fs::path& from, const fs::path& to) {
    if (Rename(from, to, RENAME_NOREPLACE) == 0) {
        return 0;
    }
    if (errno != EINVAL && errno != ENOSYS) {
        return -1;
    }
    if (fs::exists(fs::symlink_status(to))) {
        errno = EEXIST;
        return -1;
    }
    return Rename(from, to, 0);
}

// Whether a folder may be one of ours: another that only has such a name is never removed. What is
// made may be staged itself, under its name with an ending.
bool HoldsOnly(const fs::path& folder, const std::string& name) {
    std::error_code failure;
    for (const auto& entry : fs::directory_iterator(folder, failure)) {
        const std::string held = entry.path().filename().string();
        if (!held.starts_with(name) && held != "replaced") {
            return false;
        }
    }
    return !failure;
}

}  // namespace

ORQBasStaged::ORQBasStaged(const fs::path& place, std::string_view purpose)
    : m_place(place.has_filename() ? place : place.parent_path()) {
    RemoveLeftovers(purpose);
    std::string folder = m_place.string().append(".").append(purpose).append("-XXXXXX");
    if (mkdtemp(folder.data()) == nullptr) {
        ORQBasThrowSystemFailure(m_place.string(), "create it");
    }
    m_folder = folder;
    m_lock = open(m_folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (m_lock < 0) {
        // No destructor runs for an object whose constructor throws.
        const int error = errno;
        rmdir(m_folder.c_str());
        errno = error;
        ORQBasThrowSystemFailure(m_folder.string(), "open the folder");
    }
    // Some network file systems lock no folders. There it can be made all the same; what a killed
    // process leaves stays, since nobody can know that it is left.
    flock(m_lock, LOCK_EX | LOCK_NB);
    m_made = m_folder / m_place.filename();
}

ORQBasStaged::~ORQBasStaged() {
    std::error_code ignored;
    fs::remove_all(m_folder, ignored);
    close(m_lock);
}

void ORQBasStaged::RemoveLeftovers(std::string_view purpose) const {
    const std::string prefix = m_place.filename().string().append(".").append(purpose).append("-");
    std::error_code failure;
    for (const auto& entry : fs::directory_iterator(FolderOf(m_place), failure)) {
        if (!entry.path().filename().string().starts_with(prefix) || !entry.is_directory(failure) ||
            !HoldsOnly(entry.path(), m_place.filename().string())) {
            continue;
        }
        const int lock = open(entry.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        // A folder without a lock is one between mkdtemp and flock of another process; there
        // nothing is lost, as that process then finds its folder gone and says so.
        if (lock >= 0 && flock(lock, LOCK_EX | LOCK_NB) == 0) {
            fs::remove_all(entry.path(), failure);
        }
        if (lock >= 0) {
            close(lock);
        }
    }
}

void ORQBasStaged::PutIntoPlace(bool mayReplace,
                                const std::function<void(const fs::path& former)>& check) {
    // Before the name is given: after a loss of power no name leads to contents that were lost.
    SyncAll(m_made);
    unsigned wayBack = RENAME_NOREPLACE;
    if (RenameToFree(m_made, m_place) != 0) {
        if (errno != EEXIST) {
            ORQBasThrowSystemFailure(m_place.string(), "give it its name");
        }
        if (!mayReplace) {
            ORQBasThrowUsage(m_place.string() + ": exists already");
        }
        if (fs::is_directory(fs::symlink_status(m_place)) != fs::is_directory(m_made)) {
            ORQBasThrowUsage(m_place.string() + (fs::is_directory(m_made)
                                                     ? ": is no folder, and is not replaced"
                                                     : ": is a folder, and is not replaced"));
        }
        Exchange();
        // The former one is in the folder now, so that going back is another exchange.
        wayBack = RENAME_EXCHANGE;
    }
    try {
        if (check && wayBack == RENAME_EXCHANGE && fs::exists(m_made)) {
            check(m_made);
        }
        Sync(FolderOf(m_place));
    } catch (...) {
        // No success is reported that may not last. Where the file system cannot go back, the
        // new one stays.
        Rename(m_place, m_made, wayBack);
        throw;
    }
}

void ORQBasStaged::Exchange() const {
    if (Rename(m_made, m_place, RENAME_EXCHANGE) == 0) {
        return;  // the former one is removed with the folder
    }
    // EINVAL: the file system cannot exchange. ENOSYS: the kernel cannot.
    if (errno != EINVAL && errno != ENOSYS) {
        ORQBasThrowSystemFailure(m_place.string(), "exchange it");
    }
    // A plain rename replaces a file in one step, but no folder that has something in it.
    const bool areFiles = !fs::is_directory(m_made) && !fs::is_directory(m_place);
    if (areFiles) {
        if (Rename(m_made, m_place, 0) != 0) {
            ORQBasThrowSystemFailure(m_place.string(), "give it its name");
        }
        return;
    }
    const fs::path aside = ORQBasAsideOf(m_place);
    ORQBasReplaceInTwoSteps(m_made, m_place, aside);
    fs::rename(aside, m_folder / "replaced");
}

fs::path ORQBasAsideOf(const fs::path& place) {
    return place.string() + ".replaced";
}

void ORQBasReplaceInTwoSteps(const fs::path& made, const fs::path& old, const fs::path& aside) {
    if (Rename(old, aside, RENAME_NOREPLACE) != 0) {
        ORQBasThrowSystemFailure(aside.string(), "move there what is to be replaced");
    }
    if (Rename(made, old, RENAME_NOREPLACE) != 0) {
        const int error = errno;
        if (Rename(aside, old, RENAME_NOREPLACE) != 0) {
            ORQBasThrowSystemFailure(aside.string(), "move back what was to be replaced");
        }
        errno = error;
        ORQBasThrowSystemFailure(old.string(), "give it its name");
    }
}
