#include "LaminateTheory.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace wing_box {

Plane StrainAt(const LaminateStrain& laminate, double z) {
    Plane strain{};
    for (std::size_t i = 0; i < strain.size(); ++i) {
        strain[i] = laminate.membrane[i] + z * laminate.curvature[i];
    }
    return strain;
}

Plane TurnedStrain(const Plane& strain, double angle) {
    const double c = std::cos(angle * std::numbers::pi / 180);
    const double s = std::sin(angle * std::numbers::pi / 180);
    return {c * c * strain[0] + s * s * strain[1] + c * s * strain[2],
            s * s * strain[0] + c * c * strain[1] - c * s * strain[2],
            2 * c * s * (strain[1] - strain[0]) + (c * c - s * s) * strain[2]};
}

Plane StressOf(const Plane& plyStrain, const PlyMaterial& material) {
    const double nu21 = material.nu12 * material.e2 / material.e1;
    const double d = 1 - material.nu12 * nu21;
    const double q12 = material.nu12 * material.e2 / d;
    return {material.e1 / d * plyStrain[0] + q12 * plyStrain[1],
            q12 * plyStrain[0] + material.e2 / d * plyStrain[1], material.g12 * plyStrain[2]};
}

FailureIndices IndicesOf(const Plane& stress, const PlyStrengths& strengths) {
    const auto& [xt, xc, yt, yc, s] = strengths;
    const auto [s1, s2, s12] = stress;
    const double x = s1 < 0 ? xc : xt;
    const double y = s2 < 0 ? yc : yt;
    const double shear = s12 * s12 / (s * s);
    return {s1 * (1 / xt - 1 / xc) + s2 * (1 / yt - 1 / yc) + s1 * s1 / (xt * xc) +
                s2 * s2 / (yt * yc) + shear - std::sqrt(1 / (xt * xc * yt * yc)) * s1 * s2,
            s1 * s1 / (x * x) - s1 * s2 / (x * x) + s2 * s2 / (y * y) + shear,
            std::max({std::abs(s1) / x, std::abs(s2) / y, std::abs(s12) / s})};
}

}  // namespace wing_box
