#pragma once

#include <set>
#include <string>
#include <vector>

#include "formats/nastran/NastranScope.h"
#include "formats/nastran/NastranSectionCards.h"
#include "model/Numbering.h"

namespace orq::exchange {

/// Writes the cards of node sets and element sets.
class NastranSetCards {
  public:
    explicit NastranSetCards(const NastranScope& scope);

    /// Whether the kept cards of a set are good.
    bool IsGood(const std::string& object) const { return !m_changed.contains(object); }
    /// Writes what has no good kept card.
    void Write(const NastranSectionCards& sections);
    /// Whether a set is the nodes with the same permanent constraints, "PS 123".
    static bool IsConstraints(const ORQExcModel::Set& set, const std::string& ownName);

  private:
    bool IsKept(const std::string& object) const {
        return m_scope.kept.Has(object) && IsGood(object);
    }
    bool WriteConstraint(const ORQExcModel::Set& set, const std::string& ownName);
    bool WriteRigid(const ORQExcModel::Set& set, const std::string& ownName);
    void WriteList(const ORQExcModel::Set& set, const std::vector<int>& labels);
    void Append(BulkFields& fields, const ORQExcModel::Set& set, const std::vector<int>& labels,
                std::size_t first = 0) const;

    const NastranScope& m_scope;
    std::set<std::string> m_changed;
    Numbers m_numbers;
};

}  // namespace orq::exchange
