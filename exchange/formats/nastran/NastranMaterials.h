#pragma once

#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "ORQExcLayup.h"
#include "ORQExcReport.h"
#include "formats/nastran/NastranCard.h"

namespace orq::exchange {

/// The materials of a deck, with their constants and the tables (TABLEM1) by which their properties
/// depend on temperature.
class NastranMaterials {
  public:
    NastranMaterials(NastranProblems& problems, ORQExcReport& losses)
        : m_problems(problems), m_losses(losses) {}

    /// Takes the card if it is one of these and can be read.
    BulkTaken Add(const BulkCard& card);
    /// The number of the material that a field of another card names, 0 for none.
    int Refer(const BulkCard& card, int field);
    /// Reports materials that are named but missing, and puts the tables into their materials. To
    /// be called behind the last card.
    void Resolve();

    /// After Resolve, whole.
    const std::vector<ORQExcLayup::Material>& Materials() const { return m_materials; }
    /// The place of a material in the list, by its number; 0 is ORQExcLayup::kNone.
    int PlaceOf(int number) const;

  private:
    struct Reference {
        BulkPlace place;
        std::string card;
        int number;
        int field;
        int material;
    };
    /// A temperature card: the tables that its fields name.
    struct Dependence {
        BulkPlace place;
        std::string card;
        int material;
        std::vector<std::pair<int, int>> tables;  // field, number of the table
    };
    struct Table {
        BulkPlace place;
        ORQExcMaterialTable points;  // of one component
        bool isUsed = false;
    };

    BulkTaken AddMaterial(const BulkCard& card);
    BulkTaken AddDependence(const BulkCard& card);
    BulkTaken AddTable(const BulkCard& card);
    void ReadPoints(const BulkCard& card, Table& table);
    void AddNamed();
    void Apply(const Dependence& dependence);

    NastranProblems& m_problems;
    ORQExcReport& m_losses;
    std::vector<ORQExcLayup::Material> m_materials;
    std::map<int, std::pair<int, BulkPlace>> m_places;                // of materials, by number
    std::map<std::pair<std::string, int>, Dependence> m_dependences;  // by card and number
    std::map<int, Table> m_tables;
    std::map<int, std::string> m_unread;  // cards of other kinds, and broken ones, by number
    std::vector<Reference> m_references;
};

}  // namespace orq::exchange
