#pragma once

#include <string>

#include "ORQExcEdit.h"
#include "edit/Users.h"

namespace orq::exchange {

/// As ORQExcDelete, of everything but fields, with users that were found before; but cards that are
/// kept of the object stay.
void DeleteButCards(const ORQObjDocument& document, ORQExcObjectKind kind, const std::string& name,
                    bool force, const Users& users, ORQExcReport& report);

}  // namespace orq::exchange
