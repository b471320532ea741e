#pragma once

#include <dlfcn.h>

#include <stdexcept>

/// A library that is opened at run time, as hosts do with what they do not link.
class LoadedLibrary {
  public:
    /// Throws std::runtime_error with the loader's message.
    explicit LoadedLibrary(const char* path) : m_handle(dlopen(path, RTLD_NOW | RTLD_LOCAL)) {
        if (m_handle == nullptr) {
            throw std::runtime_error(dlerror());
        }
    }
    ~LoadedLibrary() { dlclose(m_handle); }
    LoadedLibrary(const LoadedLibrary&) = delete;
    LoadedLibrary& operator=(const LoadedLibrary&) = delete;

    /// Throws std::runtime_error when the library offers no such name.
    template <class Function>
    Function* Get(const char* name) const {
        void* const symbol = dlsym(m_handle, name);
        if (symbol == nullptr) {
            throw std::runtime_error(dlerror());
        }
        return reinterpret_cast<Function*>(symbol);
    }

  private:
    void* m_handle;
};
