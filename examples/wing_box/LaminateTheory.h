#pragma once

#include <array>
#include <optional>

/// Classical lamination theory of one element and one layer. Strains and stresses are {11, 22, 12};
/// the shear strain here is the engineering one, gamma12 = 2 e12.
///
/// Source: Jones, Mechanics of Composite Materials, 2nd edition 1999, chapters 2 and 4.
namespace wing_box {

using Plane = std::array<double, 3>;

struct PlyMaterial {
    double e1;
    double e2;
    double nu12;
    double g12;
};

/// Strengths, all positive: along the fibres and across them, in tension and compression; in shear.
struct PlyStrengths {
    double xt;
    double xc;
    double yt;
    double yc;
    double s;
};

/// Strains of the laminate along the element's axes: in its middle surface, and its curvatures.
struct LaminateStrain {
    Plane membrane;
    Plane curvature;
};

/// e = membrane + z curvature, at height z above the middle.
Plane StrainAt(const LaminateStrain& laminate, double z);

/// Along axes turned by an angle in degrees:
/// e1 = c2 ex + s2 ey + cs gxy, e2 = s2 ex + c2 ey - cs gxy, g12 = 2 cs (ey - ex) + (c2 - s2) gxy.
Plane TurnedStrain(const Plane& strain, double angle);

/// s1 = Q11 e1 + Q12 e2, s2 = Q12 e1 + Q22 e2, s12 = G12 g12, with Q11 = E1 / d, Q22 = E2 / d,
/// Q12 = nu12 E2 / d and d = 1 - nu12 nu21, nu21 = nu12 E2 / E1.
Plane StressOf(const Plane& plyStrain, const PlyMaterial& material);

/// Where an index reaches 1, the ply fails by the criterion.
struct FailureIndices {
    double tsaiWu;
    double tsaiHill;
    double maximumStress;
};
/// Tsai-Wu: s1 (1/Xt - 1/Xc) + s2 (1/Yt - 1/Yc) + s1^2 / (Xt Xc) + s2^2 / (Yt Yc) + s12^2 / S^2
/// + 2 F12 s1 s2, with F12 = -1/2 sqrt(1 / (Xt Xc Yt Yc)) (Tsai and Wu, J. Composite Materials 5
/// (1971) 58-80, and Tsai and Hahn 1980 for F12).
/// Tsai-Hill: s1^2 / X^2 - s1 s2 / X^2 + s2^2 / Y^2 + s12^2 / S^2, with the strengths X and Y of the
/// signs of s1 and s2 (Azzi and Tsai, Experimental Mechanics 5 (1965) 283-288).
/// Maximum stress: the largest of |s1| / X, |s2| / Y and |s12| / S.
FailureIndices IndicesOf(const Plane& stress, const PlyStrengths& strengths);

}  // namespace wing_box
