#pragma once

#include <optional>
#include <set>
#include <string>
#include <vector>

#include "formats/nastran/NastranScope.h"
#include "model/Numbering.h"

namespace orq::exchange {

/// Writes the cards of orientations and sections, and has the numbers by which elements name them.
class NastranSectionCards {
  public:
    /// `materialNumbers` are those in the file, by place in the layup.
    NastranSectionCards(const NastranScope& scope, std::vector<int> materialNumbers);

    /// Whether the kept cards of an object are good.
    bool IsGood(const std::string& object) const { return !m_changed.contains(object); }
    /// Writes what has no good kept card.
    void Write();

    /// The place of an element's section in the layup, or ORQExcLayup::kNone.
    int SectionOf(int element) const { return m_sectionOf[static_cast<std::size_t>(element)]; }
    /// The number of a section's property.
    int NumberOf(int section) const { return m_numbers[static_cast<std::size_t>(section)]; }
    /// The number of the system in which the layers of a section lie; nothing when they have none.
    std::optional<int> SystemOf(int section) const;
    /// A number of a property that has none yet.
    int NewNumber(int wanted) { return m_propertyNumbers.Unique(wanted); }
    bool IsOfSections(const std::string& elementSet) const {
        return m_elementSets.contains(elementSet);
    }

  private:
    void FindChanges();
    void FindSections();
    void KeepPlies(const ORQExcLayup::Section& section);
    void WriteOrientation(const ORQExcLayup::Orientation& orientation, int number);
    void WritePlate(const ORQExcLayup::Section& section, int number);
    void WriteLaminate(const ORQExcLayup::Section& section, const std::string& card, int number);
    void SetMaterial(BulkFields& fields, int field, int place) const;
    static bool IsBasic(const ORQExcLayup::Orientation& orientation);

    const NastranScope& m_scope;
    std::vector<int> m_materialNumbers;
    std::vector<int> m_orientationNumbers;  // 0: the basic system
    std::vector<int> m_numbers;             // of sections
    std::vector<int> m_sectionOf;
    std::set<std::string> m_elementSets;
    std::set<std::string> m_changed;  // objects whose kept cards are not good
    std::set<int> m_keptPlies;        // places in the layup
    Numbers m_propertyNumbers;
};

}  // namespace orq::exchange
