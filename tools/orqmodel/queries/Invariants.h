#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <span>
#include <vector>

#include "ORQExcResults.h"

namespace orqmodel {

/// Whether all components are directions of a vector.
bool IsVector(const ORQExcResults::Field& field);
/// The direction that a component of a vector is, from 0.
std::size_t AxisOf(const ORQExcResults::Component& component);

double Magnitude(std::span<const double> components);

/// A symmetric tensor: 11, 22, 33, 12, 13, 23.
using SymmetricTensor = std::array<double, 6>;

/// How the components of a field make a symmetric tensor; those that the field lacks are 0.
class TensorOf {
  public:
    /// Nothing when a component is none of a symmetric tensor.
    static std::optional<TensorOf> Components(const ORQExcResults::Field& field);
    SymmetricTensor operator()(std::span<const double> components) const;

  private:
    std::vector<std::size_t> m_places;
};

/// The equivalent stress of von Mises.
double VonMises(const SymmetricTensor& tensor);
/// The eigenvalues, the largest first, by rotations after Jacobi; not a number where the tensor
/// is none.
std::array<double, 3> PrincipalValues(const SymmetricTensor& tensor);

}  // namespace orqmodel
