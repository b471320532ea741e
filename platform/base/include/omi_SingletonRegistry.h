#pragma once

#include <functional>
#include <map>
#include <string>

#include "ORQBasExport.h"

/// The live process-wide singletons of all libraries, by the run-time type name of their class.
/// It observes the objects and owns none of them.
class ORQ_EXPORT omi_SingletonRegistry {
  public:
    /// The one registry; null once the allocator library is being unloaded.
    static omi_SingletonRegistry* Instance();

    /// False, with the earlier entry kept, when the key is taken.
    bool Add(const char* key, void* object);

    /// False when the key is unknown.
    bool Remove(const char* key);

    /// The object under the key, or null.
    void* Find(const char* key) const;

  private:
    std::map<std::string, void*, std::less<>> m_objects;
};
