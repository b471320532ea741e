#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "ORQBasFailure.h"
#include "ORQExcStagedTarget.h"
#include "ORQSimDatabase.h"
#include "ORQSimModelStore.h"

namespace {

namespace fs = std::filesystem;

bool IsTaken(const fs::path& path) {
    return fs::exists(fs::symlink_status(path));
}

// The name without a slash at the end; for a link, where it leads.
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

// The generation of a database, nothing for a damaged one. Opens it for writing, so that one that
// somebody else is writing is refused as busy.
std::optional<std::int64_t> GenerationOf(const fs::path& name) {
    try {
        ORQSimDatabase database =
            ORQSimDatabase::Open(name.string(), ORQSimDatabase::Mode::ReadWrite);
        const std::int64_t generation = database.Generation();
        database.Close();
        return generation;
    } catch (const ORQBasFailure& failure) {
        if (failure.Kind() == ORQBasFailureKind::Foreign) {
            ORQBasThrowUsage(failure.Text() + "; it is not replaced");
        }
        // A damaged one may be replaced: often that is why it is made anew.
        if (failure.Kind() != ORQBasFailureKind::Damaged) {
            throw;
        }
    }
    return std::nullopt;
}

// The generation of what will be replaced; nothing where the name is free.
std::optional<std::int64_t> CheckCanBeHad(const fs::path& name, bool mayReplace) {
    if (!IsTaken(name)) {
        return std::nullopt;
    }
    if (!mayReplace) {
        ORQBasThrowUsage(name.string() +
                         ": exists already; with force a model database is replaced");
    }
    const std::optional<std::int64_t> generation = GenerationOf(name);
    CheckHoldsNothingElse(name);
    return generation;
}

[[noreturn]] void FailChanged(const fs::path& name) {
    throw ORQBasFailure(ORQBasFailureKind::Busy,
                        name.string() + ": somebody wrote to it meanwhile; it was left as it is");
}

// Throws Busy unless the former database is still as it was. It lies elsewhere now, so nobody opens
// it any more; who opened it before holds its lock.
void CheckIsUnchanged(const fs::path& former, std::int64_t generation, const fs::path& name) {
    bool isUnchanged = false;
    try {
        isUnchanged = GenerationOf(former) == generation;
    } catch (const ORQBasFailure& failure) {
        if (failure.Kind() != ORQBasFailureKind::Busy) {
            throw;
        }
    }
    if (!isUnchanged) {
        FailChanged(name);
    }
}

}  // namespace

ORQExcStagedTarget::ORQExcStagedTarget(const fs::path& name, bool mayReplace)
    : m_url(ORQSimModelStore::IsUrl(name.string()) ? name.string() : ""),
      m_name(m_url.empty() ? ResolvedName(name)
                           : fs::temp_directory_path() / ORQSimModelStore::NameOf(m_url)),
      m_mayReplace(mayReplace) {
    if (m_url.empty()) {
        CheckCanBeHad(m_name, m_mayReplace);
    } else if (ORQSimModelStore::Has(m_url)) {
        ORQBasThrowUsage(m_url + ": exists already; a model in a store is never replaced");
    }
}

std::string ORQExcStagedTarget::Begin() {
    return m_staged.emplace(m_name, "import").Path().string();
}

void ORQExcStagedTarget::PutIntoPlace(std::optional<std::int64_t> generation) {
    if (!m_url.empty()) {
        const auto made =
            ORQSimDatabase::Open(m_staged->Path().string(), ORQSimDatabase::Mode::ReadOnly);
        return made.CopyTo(m_url, [](double) {});
    }
    // Somebody else may have taken the name meanwhile.
    const std::optional<std::int64_t> found = CheckCanBeHad(m_name, m_mayReplace);
    if (generation && found && *found != *generation) {
        FailChanged(m_name);
    }
    const std::optional<std::int64_t> expected = generation ? generation : found;
    // A writer who comes between the check above and the exchange is found after it, when the
    // former database can no longer be opened under its name.
    m_staged->PutIntoPlace(m_mayReplace, [&](const fs::path& former) {
        if (expected) {
            CheckIsUnchanged(former, *expected, m_name);
        }
    });
}
