#pragma once

#include <map>
#include <vector>

#include "ORQExcReport.h"
#include "formats/nastran/NastranCoordinates.h"
#include "formats/nastran/NastranDeck.h"
#include "model/LabelIndex.h"

namespace orq::exchange {

/// The nodes of a deck in their order.
class NastranNodes {
  public:
    explicit NastranNodes(NastranProblems& problems) : m_problems(problems) {}

    /// Takes the card, and answers true, if it is GRID or GRDSET.
    bool Add(const BulkCard& card);
    /// Brings all nodes into the basic system. To be called once, behind the last card; what
    /// follows needs it.
    void Resolve(NastranCoordinates& coordinates, ORQExcReport& losses);

    const std::vector<int>& Labels() const { return m_labels; }
    const std::vector<double>& Coordinates() const { return m_coordinates; }  ///< [n_nodes][3]
    const LabelIndex& Index() const { return m_index; }
    /// Nodes by their permanent constraints, as the card spells them.
    const std::map<int, std::vector<int>>& Constraints() const { return m_constraints; }

  private:
    void AddNode(const BulkCard& card);
    void SortLabels();
    NastranCoordinates::Point Given(std::size_t ordinal) const;
    int SystemOf(std::size_t ordinal) const;

    static constexpr int kBlank = -1;

    NastranProblems& m_problems;
    std::vector<int> m_labels;
    std::vector<double> m_coordinates;
    std::vector<int> m_systems;  // by node
    std::vector<BulkPlace> m_places;
    LabelIndex m_index;
    std::map<int, std::vector<int>> m_constraints;
    std::map<int, int> m_displacementSystems;  // how many nodes
    int m_defaultSystem = 0;
    int m_nDefaultsLost = 0;
};

}  // namespace orq::exchange
