#pragma once

#include <utility>

template <class A, class B>
using ORQBasPair = std::pair<A, B>;
