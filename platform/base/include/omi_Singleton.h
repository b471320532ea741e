#pragma once

#include <cstdlib>
#include <memory>
#include <new>
#include <typeinfo>

#include "ORQBasAlloc.h"
#include "ORQBasExport.h"
#include "omi_SingletonRegistry.h"

template <class T>
class ORQ_EXPORT omi_Singleton;

/// Base of a process-wide singleton class T. Example, in the header of the library that owns T:
///
///     class ORQ_EXPORT Counter : public omi_SingletonBase<Counter> {
///         friend class omi_Singleton<Counter>;      // makes it
///         friend class omi_SingletonBase<Counter>;  // destroys it
///         Counter() = default;
///         ~Counter() = default;
///     };
///     extern template class omi_SingletonBase<Counter>;
///     extern template class omi_Singleton<Counter>;
///
/// and in one of its sources the same two lines without `extern`. Every binary then shares one
/// instance.
template <class T>
class ORQ_EXPORT omi_SingletonBase {
  public:
    omi_SingletonBase(const omi_SingletonBase&) = delete;
    omi_SingletonBase& operator=(const omi_SingletonBase&) = delete;

    /// Destroys the instance, if there is one; a later Instance() makes a new one.
    static void Finalize();

  protected:
    /// Becomes the one instance and enters the registry, before T's own constructor runs.
    omi_SingletonBase();
    ~omi_SingletonBase() = default;

  private:
    friend class omi_Singleton<T>;

    static void Unregister();

    static T* s_instance;
};

/// Access to the one instance of T.
template <class T>
class ORQ_EXPORT omi_Singleton {
  public:
    /// Makes the instance on first use. It lives until omi_SingletonBase<T>::Finalize().
    /// Throws std::bad_alloc on exhaustion and whatever T's constructor throws; then no instance
    /// exists. A constructor of T that calls this function gets the object under construction; one
    /// that makes a second object ends the process by abort().
    static T& Instance();
};

template <class T>
T* omi_SingletonBase<T>::s_instance = nullptr;

template <class T>
omi_SingletonBase<T>::omi_SingletonBase() {
    s_instance = static_cast<T*>(this);
    if (omi_SingletonRegistry* registry = omi_SingletonRegistry::Instance()) {
        registry->Add(typeid(T).name(), s_instance);
    }
}

template <class T>
void omi_SingletonBase<T>::Unregister() {
    if (omi_SingletonRegistry* registry = omi_SingletonRegistry::Instance()) {
        registry->Remove(typeid(T).name());
    }
}

template <class T>
void omi_SingletonBase<T>::Finalize() {
    Unregister();
    if (T* const instance = s_instance) {
        instance->~T();
        mem_Free(instance);
    }
    s_instance = nullptr;
}

template <class T>
T& omi_Singleton<T>::Instance() {
    using Base = omi_SingletonBase<T>;
    if (Base::s_instance != nullptr) {
        return *Base::s_instance;
    }
    std::unique_ptr<void, decltype(&mem_Free)> storage(mem_OperatorNewThrow(sizeof(T)), &mem_Free);
    try {
        T* const instance = new (storage.get()) T;
        if (Base::s_instance != instance) {
            std::abort();  // T's constructor made a second one
        }
    } catch (...) {
        Base::Unregister();
        Base::s_instance = nullptr;
        throw;
    }
    static_cast<void>(storage.release());
    return *Base::s_instance;
}
