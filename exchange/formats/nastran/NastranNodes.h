#pragma once

#include <map>
#include <string_view>
#include <utility>
#include <vector>

#include "ORQExcReport.h"
#include "formats/nastran/NastranCard.h"
#include "formats/nastran/NastranCoordinates.h"
#include "formats/nastran/NastranKept.h"
#include "model/LabelIndex.h"

namespace orq::exchange {

/// The nodes of a deck in their order, and the labels of its scalar points, which have no place in
/// space.
class NastranNodes {
  public:
    explicit NastranNodes(NastranProblems& problems) : m_problems(problems) {}

    /// GRID is taken wholly here, and kept by Resolve; GRDSET partly; SPOINT and EPOINT not.
    BulkTaken Add(const BulkCard& card);
    /// Brings all nodes into the basic system, and leaves out those whose label is given before.
    /// Keeps the cards of what is left out, and of what says more than position and label. To be
    /// called once, behind the last card; what follows needs it.
    void Resolve(NastranCoordinates& coordinates, NastranKept& kept, ORQExcReport& losses);

    /// Nodes that are no cards here, for coordinate systems that stand on them.
    void SetOthers(NastranCoordinates::GivenNode others) { m_others = std::move(others); }

    const std::vector<int>& Labels() const { return m_labels; }
    const std::vector<double>& Coordinates() const { return m_coordinates; }  ///< [n_nodes][3]
    const LabelIndex& Index() const { return m_index; }
    bool IsScalar(int label) const;
    /// The components of each node that are constrained for good, as the card spells them.
    const std::vector<int>& Constraints() const { return m_constraints; }
    /// After Resolve too, as long as the deck.
    const std::vector<std::string_view>& Sources() const { return m_sources; }

  private:
    BulkTaken AddNode(const BulkCard& card);
    void AddScalars(const BulkCard& card);
    void LeaveOutRepeated(NastranKept& kept);
    NastranCoordinates::Point Given(std::size_t ordinal) const;
    int SystemOf(std::size_t ordinal) const;

    void NoteDisplacementSystem(const BulkCard& card);
    void ComplainOfDisplacementSystems(NastranCoordinates& coordinates) const;

    static constexpr int kBlank = -1;  // a field that takes the deck's default; systems are from 0

    /// The first card that names a system for displacements, and how many do.
    struct NamedSystem {
        std::string card;
        BulkPlace place;
        int nCards;
    };

    NastranProblems& m_problems;
    std::vector<int> m_labels;
    std::vector<double> m_coordinates;
    std::vector<int> m_systems;      // by node
    std::vector<int> m_constraints;  // by node; 0: none
    std::vector<BulkPlace> m_places;
    std::vector<std::string_view> m_sources;
    std::vector<char> m_saysMore;  // whether a card has more than label and coordinates
    LabelIndex m_index;
    NastranCoordinates::GivenNode m_others;
    std::vector<std::pair<int, int>> m_scalars;        // first and last label
    std::map<int, NamedSystem> m_displacementSystems;  // by number
    int m_defaultSystem = 0;
    int m_defaultConstraints = 0;
};

}  // namespace orq::exchange
