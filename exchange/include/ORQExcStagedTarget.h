#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

#include "ORQBasExport.h"
#include "ORQBasStaged.h"

/// The place of a new model database: built out of sight, then put under its name in one step.
///
/// The name may be the URL of a model in a store, ORQSimModelStore. The database is then built in
/// the folder for temporary files and put into the store at the end; a model there is never replaced.
///
/// Failures are ORQBasFailure: Usage where the name is taken and may not be replaced, otherwise
/// what the system or the database says. Until PutIntoPlace returns, what stood under the name is
/// as it was.
class ORQ_EXPORT ORQExcStagedTarget {
  public:
    /// Throws when the name cannot be had: it is taken and `mayReplace` is false; or what stands
    /// there is no model database, holds other files too, or is open for writing. A symbolic link
    /// stands for what it leads to. Changes nothing.
    ORQExcStagedTarget(const std::filesystem::path& name, bool mayReplace);

    /// Makes the folder; answers the path, not taken, at which to create the database.
    std::string Begin();
    /// REQUIRES: the database there is closed. Makes it durable and gives it its name; a database
    /// that it replaces is removed. Throws Busy, and leaves that one in its place, where somebody
    /// writes to it or has written since it had the generation given; without one, since the call
    /// began.
    void PutIntoPlace(std::optional<std::int64_t> generation = {});

  private:
    std::string m_url;  // empty where the name is that of a directory
    std::filesystem::path m_name;
    bool m_mayReplace;
    std::optional<ORQBasStaged> m_staged;  // from Begin on
};
