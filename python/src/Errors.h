#pragma once

#include "Support.h"

namespace orqmodel {

/// Makes the classes of exceptions, and says which one of Python's a failure of the library becomes.
void DefineErrors(py::module_& module);

}  // namespace orqmodel
