#pragma once

#include <array>
#include <string>

#include "ExodusFile.h"

/// The nodes of two cubes on each other, without labels: 1 to 4 below, 5 to 8, 9 to 12.
exodus_file::Content NodesOfTwoCubes();

/// A field that is linear in space.
inline double Linear(const std::array<double, 3>& at) {
    return 3 + 2 * at[0] - 5 * at[1] + 7 * at[2];
}

/// A model of two cubes on each other, the blocks "lower" and "upper", with "stress_xx" at eight
/// points: Linear in space, and more by `shift` in the upper block.
std::string CubesWithStress(const exodus_file::ScratchFolder& folder, double shift);
