#pragma once

#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "ORQExcResults.h"
#include "queries/RowSource.h"

namespace orqmodel {

/// "magnitude" of vectors; "mises", the equivalent stress of von Mises, and "principal", the three
/// principal values, the largest first, of symmetric tensors.
std::vector<std::string> DerivationNames();

/// The one number that "magnitude" or "mises" makes of the components. Throws ORQBasFailure (Usage)
/// where there is none.
std::function<double(std::span<const double>)> DerivedNumber(const ORQExcResults::Field& field,
                                                             const std::string& derivation);

/// Rows of what is derived from all components of a field, in place of them. Throws ORQBasFailure
/// (Usage) for a field that has other components than it needs.
std::unique_ptr<RowSource> DerivedRows(std::unique_ptr<RowSource> rows,
                                       const ORQExcResults::Field& field,
                                       const std::string& derivation);

}  // namespace orqmodel
