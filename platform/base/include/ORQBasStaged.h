#pragma once

#include <filesystem>
#include <functional>
#include <string_view>

#include "ORQBasExport.h"

/// A file or folder that is made out of sight and put under its name in one step.
///
/// It is made in a folder of its own beside its place, NAME.PURPOSE-XXXXXX, which is locked while
/// its process lives and removed, with all in it, at the end of this object. What killed processes
/// left for the same name and purpose is removed by the next one, where the file system can lock a
/// folder.
///
///   ORQBasStaged staged("wing.vtu", "export");
///   Write(staged.Path());
///   staged.PutIntoPlace(true);
///
/// Failures are ORQBasFailure: Usage where the name is taken and may not be replaced, Io for what
/// the system refuses. Until PutIntoPlace returns, what stood under the name is as it was.
class ORQ_EXPORT ORQBasStaged {
  public:
    /// Makes the folder. `purpose` is a word for its name, for example "export".
    ORQBasStaged(const std::filesystem::path& place, std::string_view purpose);
    ~ORQBasStaged();
    ORQBasStaged(const ORQBasStaged&) = delete;
    ORQBasStaged& operator=(const ORQBasStaged&) = delete;

    /// Where to make the file or folder; nothing is there yet. Its last part is that of the place.
    const std::filesystem::path& Path() const { return m_made; }

    /// REQUIRES: what was made is closed. Makes it durable, files in a folder too, and gives it its
    /// name; what it replaces is removed. A file system that cannot exchange two folders gets the
    /// former one moved to NAME.replaced first, where a crash in between leaves it.
    ///
    /// A file never replaces a folder, nor a folder a file. `check` is called with the former one
    /// once it is out of its place, if the file system can go back; when it throws, all is as it
    /// was.
    void PutIntoPlace(bool mayReplace,
                      const std::function<void(const std::filesystem::path& former)>& check = {});

  private:
    void RemoveLeftovers(std::string_view purpose) const;
    void Exchange() const;

    std::filesystem::path m_place;
    std::filesystem::path m_folder;
    std::filesystem::path m_made;
    int m_lock = -1;  // descriptor of the folder
};

/// Where a folder that is being replaced in two steps lies between them.
ORQ_EXPORT std::filesystem::path ORQBasAsideOf(const std::filesystem::path& place);

/// Replaces `old` by `made` where the file system cannot exchange them: moves it to `aside` first.
/// A crash in between leaves it there. Throws, with all in its former place, when a step fails or
/// `aside` is taken.
ORQ_EXPORT void ORQBasReplaceInTwoSteps(const std::filesystem::path& made,
                                        const std::filesystem::path& old,
                                        const std::filesystem::path& aside);
