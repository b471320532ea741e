#pragma once

#include <string>
#include <vector>

#include "ORQExcEdit.h"
#include "edit/Users.h"

namespace orq::exchange {

struct DeletedObject {
    std::string name;
    std::string card;  ///< whatever the name: "MAT1 7"; empty for what has none
};

/// Deletes as ORQExcDelete does, everything but fields, with users that were found before. Kept
/// cards of the object stay, for DropCardsOfDeleted.
[[nodiscard]] DeletedObject DeleteButCards(const ORQObjDocument& document, ORQExcObjectKind kind,
                                           const std::string& name, bool force, const Users& users,
                                           ORQExcReport& report);
/// Takes the cards away that are kept of objects of a kind: by name, and by card and number of what
/// was renamed since, where no other object of the kind has them. Looks through the objects and the
/// texts once.
void DropCardsOfDeleted(ORQExcObjectKind kind, const std::vector<DeletedObject>& deleted,
                        const ORQObjDocument& document, ORQExcReport& report);

}  // namespace orq::exchange
