#pragma once

#include <map>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "formats/nastran/NastranCards.h"
#include "formats/nastran/NastranScope.h"
#include "formats/nastran/NastranSectionCards.h"

namespace orq::exchange {

/// Writes the cards of nodes and elements.
class NastranMeshCards {
  public:
    NastranMeshCards(const NastranScope& scope, NastranSectionCards& sections)
        : m_scope(scope), m_sections(sections) {}

    void WriteNodes();
    void WriteElements();

  private:
    /// How the elements of a block are written.
    struct BlockPlan {
        const NastranElementCard* card;
        int nNodes;    // of the card
        int property;  // of elements that have no section; 0: the card names none
        std::map<std::size_t, NastranElementField> fieldsOfAttributes;
        /// The attribute that is the thickness of each element, where the property has none.
        std::optional<std::size_t> thickness = {};
    };

    std::map<int, int> Constraints() const;
    void WriteBlock(const ORQExcModel::Block& block, const BlockPlan& plan);
    BlockPlan PlanFor(const ORQExcModel::Block& block, const NastranElementCardFor& card);
    void PutProperty(const ORQExcModel::Block& block, BlockPlan& plan);
    void WritePlaceholder(const ORQExcModel::Block& block, BlockPlan& plan);
    void DropThickness(const ORQExcModel::Block& block, const NastranElementCard& card) const;
    std::optional<double> ThicknessOf(const ORQExcModel::Block& block, BlockPlan& plan) const;
    void WriteDefinition(std::string_view definition);
    std::map<std::size_t, NastranElementField> FieldsOfAttributes(
        const ORQExcModel::Block& block, const NastranElementCard& card) const;
    BulkFields FieldsOf(const BlockPlan& plan, int element, std::span<const int> nodes,
                        std::span<const double> attributes) const;
    void SetProperty(BulkFields& fields, const BlockPlan& plan, int element) const;
    void SetNodes(BulkFields& fields, const NastranElementCard& card,
                  std::span<const int> nodes) const;
    bool WriteKept(const BulkFields& fields, const BlockPlan& plan, int element,
                   std::span<const int> nodes);

    const NastranScope& m_scope;
    NastranSectionCards& m_sections;
    std::set<std::string> m_definitions;  // that are written
};

}  // namespace orq::exchange
