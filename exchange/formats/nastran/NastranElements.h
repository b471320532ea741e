#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <tuple>
#include <vector>

#include "ORQExcMeshSource.h"
#include "ORQExcReport.h"
#include "formats/nastran/NastranCards.h"
#include "formats/nastran/NastranDeck.h"
#include "formats/nastran/NastranNodes.h"
#include "formats/nastran/NastranProperties.h"
#include "model/LabelIndex.h"

namespace orq::exchange {

/// The elements of a deck in blocks: those of one card, shape and property, in their order.
class NastranElements {
  public:
    struct Block {
        const NastranElementCard* card;
        const ORQExcShape* shape;
        int propertyNumber;  // 0: none
        std::vector<int> labels;
        std::vector<int> nodes;  // [elements][nodes]; labels until they are resolved
        std::vector<BulkPlace> places;
        /// By twice the number of the card's field, plus 1 for an integer; NaN where blank. Empty
        /// when no element has the field.
        std::vector<std::vector<double>> columns;
        std::uint64_t knownFields;  // as bits
        const BulkProperty* property = nullptr;

        int NumElements() const { return static_cast<int>(labels.size()); }
        /// Null when no element has the field, by its name.
        const std::vector<double>* Column(std::string_view name) const;
    };

    NastranElements(NastranProblems& problems, ORQExcReport& losses)
        : m_problems(problems), m_losses(losses) {}

    /// Takes the card, and answers true, if it is one of an element.
    bool Add(const BulkCard& card);
    /// Finds nodes and properties; reports what is missing or given twice. To be called once.
    void Resolve(const NastranNodes& nodes, const NastranProperties& properties);

    /// Forgets where elements stand in the deck, and their properties, which may end then.
    void Settle();

    const std::vector<Block>& Blocks() const { return m_blocks; }
    /// As a mesh source delivers it, with its attributes.
    ORQExcMeshSource::Block Described(const Block& block) const;
    const LabelIndex& Index() const { return m_index; }
    void Complain(const Block& block, std::size_t row, int field, std::string_view message) const;

  private:
    using BlockKey = std::tuple<const NastranElementCard*, const ORQExcShape*, int>;

    const ORQExcShape* ReadNodes(const BulkCard& card, const NastranElementCard& kind);
    Block& BlockFor(const BlockKey& key);
    void ReadFields(const BulkCard& card, Block& block);
    void ResolveNodes(const NastranNodes& nodes, Block& block) const;
    void ResolveProperty(const NastranProperties& properties, Block& block) const;
    void SortLabels();
    std::string NameOf(const Block& block) const;

    NastranProblems& m_problems;
    ORQExcReport& m_losses;
    std::vector<Block> m_blocks;
    std::map<BlockKey, std::size_t> m_placeOfBlock;
    std::vector<int> m_nodes;  // of the card at hand
    LabelIndex m_index;
    std::map<std::string, int> m_nIncomplete;  // elements that lack some nodes, by card
    std::map<std::string, int> m_nUnknown;     // fields that are not kept, by card
};

}  // namespace orq::exchange
