#include "omi_SingletonRegistry.h"

namespace {

// Lives until this library is unloaded, which is after every library that uses it. A static object
// would end earlier, at the start of the process's exit, when other libraries still withdraw their
// singletons.
omi_SingletonRegistry* s_registry = nullptr;
bool s_unloading = false;

[[gnu::destructor]] void ReleaseRegistry() {
    s_unloading = true;
    delete s_registry;
    s_registry = nullptr;
}

}  // namespace

omi_SingletonRegistry* omi_SingletonRegistry::Instance() {
    if (s_registry == nullptr && !s_unloading) {
        s_registry = new omi_SingletonRegistry;
    }
    return s_registry;
}

bool omi_SingletonRegistry::Add(const char* key, void* object) {
    return m_objects.emplace(key, object).second;
}

bool omi_SingletonRegistry::Remove(const char* key) {
    const auto found = m_objects.find(key);
    if (found == m_objects.end()) {
        return false;
    }
    m_objects.erase(found);
    return true;
}

void* omi_SingletonRegistry::Find(const char* key) const {
    const auto found = m_objects.find(key);
    return found != m_objects.end() ? found->second : nullptr;
}
