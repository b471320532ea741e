#include <string>
#include <vector>

#include "ORQBasFailure.h"
#include "ORQExcStagedTarget.h"
#include "ORQSimDatabase.h"

namespace {

namespace fs = std::filesystem;

bool IsTaken(const fs::path& path) {
    return fs::exists(fs::symlink_status(path));
}

// Without a slash at the end; where it leads if it is a link.
fs::path ResolvedName(const fs::path& given) {
    // A link is followed: putting the new database into place would else replace the link itself.
    fs::path name = given.has_filename() ? given : given.parent_path();
    if (fs::is_symlink(fs::symlink_status(name))) {
        std::error_code failure;
        name = fs::canonical(name, failure);
        if (failure) {
            ORQBasThrowUsage(given.string() + ": is a link that leads nowhere");
        }
    }
    if (name.filename().empty() || name.filename() == "." || name.filename() == "..") {
        ORQBasThrowUsage(given.string() + ": is no name for a model database");
    }
    return name;
}

void CheckHoldsNothingElse(const fs::path& directory) {
    // Replacing removes the whole directory, also what others have put there.
    const std::vector<std::string> foreign = ORQSimDatabase::FindForeignFiles(directory.string());
    if (!foreign.empty()) {
        ORQBasThrowUsage(directory.string() + ": holds \"" + foreign.front() +
                         "\", which is no part of a model database, and is not replaced");
    }
}

void CheckCanBeReplaced(const fs::path& name) {
    try {
        // For writing, so that one that somebody else is writing is refused as busy.
        ORQSimDatabase::Open(name.string(), ORQSimDatabase::Mode::ReadWrite).Close();
    } catch (const ORQBasFailure& failure) {
        if (failure.Kind() == ORQBasFailureKind::Foreign) {
            ORQBasThrowUsage(failure.Text() + "; it is not replaced");
        }
        // A damaged one may be replaced: often that is why it is made anew.
        if (failure.Kind() != ORQBasFailureKind::Damaged) {
            throw;
        }
    }
    CheckHoldsNothingElse(name);
}

void CheckCanBeHad(const fs::path& name, bool mayReplace) {
    if (!IsTaken(name)) {
        return;
    }
    if (!mayReplace) {
        ORQBasThrowUsage(name.string() + ": exists already; --force replaces a model database");
    }
    CheckCanBeReplaced(name);
}

}  // namespace

ORQExcStagedTarget::ORQExcStagedTarget(const fs::path& name, bool mayReplace)
    : m_name(ResolvedName(name)), m_mayReplace(mayReplace) {
    CheckCanBeHad(m_name, m_mayReplace);
}

std::string ORQExcStagedTarget::Begin() {
    return m_staged.emplace(m_name, "import").Path().string();
}

void ORQExcStagedTarget::PutIntoPlace() {
    CheckCanBeHad(m_name, m_mayReplace);  // others may have had it meanwhile
    m_staged->PutIntoPlace(m_mayReplace);
}
