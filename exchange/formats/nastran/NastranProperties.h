#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "formats/nastran/NastranCard.h"
#include "formats/nastran/NastranMaterials.h"

namespace orq::exchange {

/// A property card. That of a shell is read as a section, unless it is a placeholder, which has
/// nothing but its number.
struct BulkProperty {
    struct Ply {
        int material;  // 0: none
        std::optional<double> thickness;
        double angle;
        int globalNumber;  // 0: none
    };

    std::string card;
    int number;
    BulkPlace place;
    std::vector<Ply> plies;         ///< from the bottom; a plate is one
    std::vector<double> constants;  ///< as in ORQExcLayup::Section
    int material = 0;               ///< of what is no shell; 0: none, or several

    std::string Name() const;  ///< "PCOMP 3"
    bool IsSection() const { return !constants.empty(); }
};

/// The properties of a deck.
class NastranProperties {
  public:
    /// Adds to `materials` the references of properties to them.
    NastranProperties(NastranMaterials& materials, NastranProblems& problems)
        : m_materials(materials), m_problems(problems) {}

    /// Takes the card if it is one of these and can be read.
    BulkTaken Add(const BulkCard& card);

    /// Null when there is none. `family` is a NastranElementCard's.
    const BulkProperty* Find(std::string_view family, int number) const;
    /// Whether a card that is not read may be the property.
    bool IsKnown(int number) const { return m_unread.contains(number); }
    /// The sections by number.
    std::vector<const BulkProperty*> Sections() const;

  private:
    bool AddOne(const BulkCard& card, std::string_view family, int number);
    void ReadPlate(const BulkCard& card, BulkProperty& property);
    void ReadLaminate(const BulkCard& card, BulkProperty& property);
    void ReadPlies(const BulkCard& card, BulkProperty& property);
    static double ReadWord(const BulkCard& card, int field);

    NastranMaterials& m_materials;
    NastranProblems& m_problems;
    std::map<std::pair<std::string_view, int>, BulkProperty> m_properties;  // family, number
    std::set<int> m_unread;                                                 // numbers
};

}  // namespace orq::exchange
