#pragma once

#include "ORQExcLayup.h"
#include "formats/layup/JsonCheck.h"

namespace orq::exchange {

/// Reads constants, properties over temperature and field variables, and units of a material of a
/// layup file into tables; what is wrong goes to the check.
void ReadLayupMaterial(const JsonCheck::Json& value, const JsonCheck::Pointer& at, JsonCheck& check,
                       ORQExcLayup::Material& material);

}  // namespace orq::exchange
