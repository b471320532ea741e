#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

#include "ORQExcEdit.h"
#include "ORQObjDocument.h"
#include "ORQSimPosition.h"

namespace orq::exchange {

/// Who uses objects of the model, as texts such as `section "PCOMP 1"`. Looks through all sections
/// and kept cards once. Assignments of sections count apart; see AssignmentsOf.
class Users {
  public:
    explicit Users(const ORQObjDocument& document);

    std::vector<std::string> Of(ORQExcObjectKind kind, const ORQSimPosition& object) const;

  private:
    std::vector<std::string> OfLayers(ORQExcObjectKind kind, const ORQSimPosition& object) const;
    std::vector<std::string> OfRegion(const ORQSimPosition& region) const;

    ORQObjDocument m_document;
    std::map<ORQSimPosition, std::set<std::string>> m_sections;  // by material or orientation
    std::set<int> m_numbers;                                     // on kept cards of properties
};

/// The assignments that give a section to a region.
std::vector<ORQSimPosition> AssignmentsOf(const ORQSimPosition& sectionOrRegion);
/// The names of assignments, for messages.
std::vector<std::string> NamesOf(const std::vector<ORQSimPosition>& assignments);

}  // namespace orq::exchange
