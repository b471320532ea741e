#pragma once

#include <memory>

/// Reference-counted shared ownership. Counts are kept for use by one thread at a time.
template <class T>
using ORQBasSharedPtr = std::shared_ptr<T>;

/// Observes an object that ORQBasSharedPtr owns without keeping it alive.
template <class T>
using ORQBasWeakPtr = std::weak_ptr<T>;
