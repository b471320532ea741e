#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "LossReport.h"
#include "import/BulkDataDeck.h"
#include "mesh/Layup.h"

namespace orqmodel {

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
    std::vector<double> constants;  ///< as in Layup::Section
    int material = 0;               ///< of what is no shell; 0: none, or several
    std::string definition = {};    ///< of what is no section: name and fields, with commas between

    std::string Name() const;  ///< "PCOMP 3"
    bool IsSection() const { return !constants.empty(); }
};

/// The properties and materials of a deck.
class BulkDataProperties {
  public:
    BulkDataProperties(BulkDataProblems& problems, LossReport& losses)
        : m_problems(problems), m_losses(losses) {}

    /// Takes the card, and answers true, if it is one of these.
    bool Add(const BulkCard& card);
    /// Reports materials that are named but missing. To be called behind the last card.
    void CheckMaterials() const;
    /// Enters into the report what is not kept; `used` are those that elements have.
    void ReportLosses(const std::set<const BulkProperty*>& used) const;

    /// Null when there is none. `family` is a BulkElementCard's.
    const BulkProperty* Find(std::string_view family, int number) const;
    /// By number.
    std::vector<const BulkProperty*> Sections() const;
    const std::vector<Layup::Material>& Materials() const { return m_materials; }
    /// The place of a material in the list, by its number; 0 is Layup::kNone.
    int PlaceOfMaterial(int number) const;

  private:
    struct Reference {
        BulkPlace place;
        std::string card;
        int number;
        int field;
        int material;
    };

    bool AddMaterial(const BulkCard& card);
    bool AddProperty(const BulkCard& card);
    void ReadPlate(const BulkCard& card, BulkProperty& property);
    void ReadLaminate(const BulkCard& card, BulkProperty& property);
    void ReadPlies(const BulkCard& card, BulkProperty& property);
    static std::string TextOf(const BulkCard& card);
    int ReadMaterial(const BulkCard& card, int field);
    double ReadWord(const BulkCard& card, int field);

    BulkDataProblems& m_problems;
    LossReport& m_losses;
    std::map<std::pair<std::string_view, int>, BulkProperty> m_properties;  // family, number
    std::vector<Layup::Material> m_materials;
    std::map<int, std::pair<int, BulkPlace>> m_placesOfMaterials;  // by number
    std::vector<Reference> m_references;
    int m_nOutputRequests = 0;
};

}  // namespace orqmodel
