#pragma once

#include <stdexcept>

#include "ORQBasExport.h"

/// A model cannot be written to a file; the text names the file and what stands in the way.
class ORQ_EXPORT ORQExcExportError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};
