#pragma once

#include <stdexcept>

namespace orqmodel {

/// A model cannot be written to a file; the text names the file and what stands in the way.
class ExportError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

}  // namespace orqmodel
