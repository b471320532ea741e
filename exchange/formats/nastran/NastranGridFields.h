#pragma once

namespace orq::exchange::grid {

/// The fields of a GRID card, from 1 behind the name.
inline constexpr int kFirstCoordinate = 3;
inline constexpr int kLastCoordinate = 5;
inline constexpr int kDisplacementSystem = 6;
inline constexpr int kConstraints = 7;

}  // namespace orq::exchange::grid
