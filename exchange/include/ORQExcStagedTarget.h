#pragma once

#include <filesystem>
#include <string>

#include "ORQBasExport.h"

/// The place of a new model database: built out of sight, then put under its name in one step.
///
/// The database is built in a folder of its own, NAME.import-XXXXXX beside NAME, which is locked
/// while its process lives and removed at the end of this object. What killed processes left for
/// the same name is removed by the next one that builds there.
///
/// Failures are ORQBasFailure: Usage where the name is taken and may not be replaced, otherwise
/// what the system or the database says. Until PutIntoPlace returns, what stood under the name is
/// as it was.
class ORQ_EXPORT ORQExcStagedTarget {
  public:
    /// Throws when the name cannot be had: it is taken and `may_replace` is false; or what stands
    /// there is no model database, holds other files too, or is open for writing. A symbolic link
    /// stands for what it leads to. Changes nothing.
    ORQExcStagedTarget(const std::filesystem::path& name, bool may_replace);
    ~ORQExcStagedTarget();
    ORQExcStagedTarget(const ORQExcStagedTarget&) = delete;
    ORQExcStagedTarget& operator=(const ORQExcStagedTarget&) = delete;

    /// Makes the folder; answers the path, not taken, at which to create the database.
    std::string Begin();
    /// REQUIRES: the database there is closed. Makes it durable and gives it its name; a database
    /// that it replaces is removed.
    void PutIntoPlace();

  private:
    void RemoveLeftovers() const;

    std::filesystem::path name_;
    bool may_replace_;
    std::filesystem::path folder_;  // Empty before Begin.
    std::filesystem::path built_;
    int lock_ = -1;
};

/// Replaces `old` by `built` where the file system cannot exchange them: moves it to `aside` first.
/// A crash in between leaves it there. Throws, with all in its former place, when a step fails or
/// `aside` is taken.
ORQ_EXPORT void ReplaceInTwoSteps(const std::filesystem::path& built,
                                  const std::filesystem::path& old,
                                  const std::filesystem::path& aside);
