#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "LossReport.h"
#include "import/BulkDataDeck.h"
#include "mesh/Layup.h"

namespace orqmodel {

/// The materials of a deck, with their constants and the tables (TABLEM1) by which their properties
/// depend on temperature.
class BulkDataMaterials {
  public:
    BulkDataMaterials(BulkDataProblems& problems, LossReport& losses)
        : m_problems(problems), m_losses(losses) {}

    /// Takes the card, and answers true, if it is one of these.
    bool Add(const BulkCard& card);
    /// The number of the material that a field of another card names, 0 for none.
    int Refer(const BulkCard& card, int field);
    /// Reports materials that are named but missing, and puts the tables into their materials. To
    /// be called behind the last card.
    void Resolve();

    /// After Resolve, whole.
    const std::vector<Layup::Material>& Materials() const { return m_materials; }
    /// The place of a material in the list, by its number; 0 is Layup::kNone.
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
        MaterialTable points;  // of one component
        bool isUsed = false;
    };

    bool AddMaterial(const BulkCard& card);
    bool AddDependence(const BulkCard& card);
    bool AddTable(const BulkCard& card);
    void ReadPoints(const BulkCard& card, Table& table);
    void Apply(const Dependence& dependence);

    BulkDataProblems& m_problems;
    LossReport& m_losses;
    std::vector<Layup::Material> m_materials;
    std::map<int, std::pair<int, BulkPlace>> m_places;                // of materials, by number
    std::map<std::pair<std::string, int>, Dependence> m_dependences;  // by card and number
    std::map<int, Table> m_tables;
    std::vector<Reference> m_references;
};

}  // namespace orqmodel
