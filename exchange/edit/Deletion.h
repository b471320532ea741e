#pragma once

#include <string>
#include <vector>

#include "ORQExcEdit.h"
#include "edit/Users.h"

namespace orq::exchange {

/// As ORQExcDelete, of everything but fields, with users that were found before; but cards that are
/// kept of the object stay. Answers the names that they may have: that of the object, and that by its
/// card and number where it was renamed since and no other section has the number.
[[nodiscard]] std::vector<std::string> DeleteButCards(const ORQObjDocument& document,
                                                      ORQExcObjectKind kind,
                                                      const std::string& name, bool force,
                                                      const Users& users, ORQExcReport& report);

}  // namespace orq::exchange
