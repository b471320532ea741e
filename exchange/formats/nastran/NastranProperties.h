#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "ORQExcReport.h"
#include "formats/nastran/NastranDeck.h"
#include "formats/nastran/NastranMaterials.h"

namespace orq::exchange {

/// A property card. That of a shell is read as a section, any other is kept as text.
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
    std::string definition = {};    ///< of what is no section: name and fields, with commas between

    std::string Name() const;  ///< "PCOMP 3"
    bool IsSection() const { return !constants.empty(); }
};

/// The properties of a deck.
class NastranProperties {
  public:
    /// The materials are told which of them properties name.
    NastranProperties(NastranMaterials& materials, NastranProblems& problems, ORQExcReport& losses)
        : m_materials(materials), m_problems(problems), m_losses(losses) {}

    /// Takes the card, and answers true, if it is one of these.
    bool Add(const BulkCard& card);
    /// Enters into the report what is not kept; `used` are those that elements have.
    void ReportLosses(const std::set<const BulkProperty*>& used) const;

    /// Null when there is none. `family` is a NastranElementCard's.
    const BulkProperty* Find(std::string_view family, int number) const;
    /// By number.
    std::vector<const BulkProperty*> Sections() const;

  private:
    void ReadPlate(const BulkCard& card, BulkProperty& property);
    void ReadLaminate(const BulkCard& card, BulkProperty& property);
    void ReadPlies(const BulkCard& card, BulkProperty& property);
    static std::string TextOf(const BulkCard& card);
    double ReadWord(const BulkCard& card, int field);

    NastranMaterials& m_materials;
    NastranProblems& m_problems;
    ORQExcReport& m_losses;
    std::map<std::pair<std::string_view, int>, BulkProperty> m_properties;  // family, number
    int m_nOutputRequests = 0;
};

}  // namespace orq::exchange
