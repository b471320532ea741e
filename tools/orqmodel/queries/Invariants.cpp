#include "queries/Invariants.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace orqmodel {
namespace {

// Codes of components as fields store them. The place in these lists is the axis of a vector, and
// the place in a SymmetricTensor.
constexpr int kVectorCodes[] = {0, 12, 20};
constexpr int kTensorCodes[] = {1, 14, 23, 5, 10, 18};  // 11, 22, 33, 12, 13, 23

bool AreAllIn(const ORQExcResults::Field& field, std::span<const int> codes) {
    return std::ranges::all_of(field.components, [&](const ORQExcResults::Component& component) {
        return std::ranges::find(codes, component.code) != codes.end();
    });
}

using Matrix = std::array<std::array<double, 3>, 3>;

/// Turns axes p and q so that the element between them becomes 0.
void Rotate(Matrix& a, std::size_t p, std::size_t q) {
    // Skipping 0 keeps theta from 0 / 0, too, where the diagonal elements are equal.
    if (a[p][q] == 0) {
        return;
    }
    const double theta = (a[q][q] - a[p][p]) / (2 * a[p][q]);
    // The tangent of the smaller angle, at most 45 degrees, without which the sweeps need not
    // converge. Of a large theta hypot does not overflow, but its square would.
    const double t = std::copysign(1.0, theta) / (std::abs(theta) + std::hypot(1.0, theta));
    const double c = 1 / std::hypot(1.0, t);
    const double s = t * c;
    const std::size_t r = 3 - p - q;
    const double pq = a[p][q];
    const double rp = a[r][p];
    const double rq = a[r][q];
    a[p][p] -= t * pq;
    a[q][q] += t * pq;
    a[p][q] = a[q][p] = 0;
    a[r][p] = a[p][r] = c * rp - s * rq;
    a[r][q] = a[q][r] = s * rp + c * rq;
}

/// The largest absolute value; not a number where one is not.
double LargestOf(std::span<const double> values) {
    double largest = 0;
    for (const double value : values) {
        largest = std::isnan(value) || std::abs(value) > largest ? std::abs(value) : largest;
        if (std::isnan(largest)) {
            break;
        }
    }
    return largest;
}

/// Whether squares of such values, and sums of a few of them, neither overflow nor vanish.
bool AreSquaresExact(double largest) {
    return largest > 1e-140 && largest < 1e140;
}

/// What to divide values by before they are squared: a power of two, which loses no digit. 1 where
/// that needs, or helps, nothing.
double ScaleOf(double largest) {
    return largest == 0 || !std::isfinite(largest) || AreSquaresExact(largest)
               ? 1
               : std::ldexp(1.0, std::ilogb(largest));
}

std::pair<SymmetricTensor, double> Scaled(const SymmetricTensor& tensor) {
    const double factor = ScaleOf(LargestOf(tensor));
    SymmetricTensor scaled = tensor;
    for (double& value : scaled) {
        value /= factor;
    }
    return {scaled, factor};
}

}  // namespace

bool IsVector(const ORQExcResults::Field& field) {
    return AreAllIn(field, kVectorCodes);
}

std::size_t AxisOf(const ORQExcResults::Component& component) {
    return static_cast<std::size_t>(std::ranges::find(kVectorCodes, component.code) -
                                    std::begin(kVectorCodes));
}

double Magnitude(std::span<const double> components) {
    const auto root = [&](double factor) {
        double sum = 0;
        for (const double component : components) {
            sum += (component / factor) * (component / factor);
        }
        return factor * std::sqrt(sum);
    };
    const double length = root(1);
    // Asked of the result, which is at hand, since hardly any field has such values.
    return AreSquaresExact(length) ? length : root(ScaleOf(LargestOf(components)));
}

std::optional<TensorOf> TensorOf::Components(const ORQExcResults::Field& field) {
    if (!AreAllIn(field, kTensorCodes)) {
        return std::nullopt;
    }
    TensorOf tensor;
    for (const ORQExcResults::Component& each : field.components) {
        tensor.m_places.push_back(static_cast<std::size_t>(
            std::ranges::find(kTensorCodes, each.code) - std::begin(kTensorCodes)));
    }
    return tensor;
}

SymmetricTensor TensorOf::operator()(std::span<const double> components) const {
    SymmetricTensor tensor{};
    for (std::size_t i = 0; i < m_places.size(); ++i) {
        tensor.at(m_places[i]) = components[i];
    }
    return tensor;
}

double VonMises(const SymmetricTensor& tensor) {
    const auto [s, factor] = Scaled(tensor);
    const auto square = [](double value) { return value * value; };
    return factor *
           std::sqrt(0.5 * (square(s[0] - s[1]) + square(s[1] - s[2]) + square(s[2] - s[0])) +
                     3 * (square(s[3]) + square(s[4]) + square(s[5])));
}

std::array<double, 3> PrincipalValues(const SymmetricTensor& tensor) {
    const auto [s, factor] = Scaled(tensor);
    Matrix a = {{{s[0], s[3], s[4]}, {s[3], s[1], s[5]}, {s[4], s[5], s[2]}}};
    constexpr int kMostSweeps = 12;  // Convergence is quadratic; a fixed number also ends for NaN.
    for (int sweep = 0; sweep < kMostSweeps; ++sweep) {
        Rotate(a, 0, 1);
        Rotate(a, 0, 2);
        Rotate(a, 1, 2);
    }
    std::array<double, 3> values = {factor * a[0][0], factor * a[1][1], factor * a[2][2]};
    // A tensor that is not known in full has no values; and NaN has no place in an order, which
    // std::sort requires.
    const auto isNone = [](double value) { return std::isnan(value); };
    if (std::ranges::any_of(s, isNone) || std::ranges::any_of(values, isNone)) {
        values.fill(std::numeric_limits<double>::quiet_NaN());
        return values;
    }
    std::ranges::sort(values, std::greater());
    return values;
}

}  // namespace orqmodel
