#pragma once

#include "import/JsonCheck.h"
#include "mesh/Layup.h"

namespace orqmodel {

/// Reads constants, properties over temperature and field variables, and units of a material of a
/// layup file into tables; what is wrong goes to the check.
void ReadLayupMaterial(const JsonCheck::Json& value, const JsonCheck::Pointer& at, JsonCheck& check,
                       Layup::Material& material);

}  // namespace orqmodel
