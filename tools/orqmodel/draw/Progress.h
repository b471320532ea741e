#pragma once

#include <functional>

namespace orqmodel {

/// Told now and then what part of some work is done, from 0 to 1. May throw to give the work up.
using Progress = std::function<void(double done)>;

inline void IgnoreProgress(double) {}

/// What to tell of a part of the work, which runs from `from` to `to` of the whole.
inline Progress PartOf(const Progress& whole, double from, double to) {
    return [=](double done) { whole(from + (to - from) * done); };
}

}  // namespace orqmodel
