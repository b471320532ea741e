#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <tuple>
#include <vector>

#include "ORQExcMeshSource.h"
#include "ORQExcReport.h"
#include "formats/nastran/NastranCards.h"
#include "formats/nastran/NastranKept.h"
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
        std::vector<std::string_view> sources;
        std::vector<char> saysMore;  // whether a card has more than the block has a place for
        /// Columns by twice the number of the card's field, plus 1 for an integer; NaN where blank.
        /// Empty when no element has the field.
        std::vector<std::vector<double>> columns;
        std::uint64_t knownFields;  // as bits
        const BulkProperty* property = nullptr;

        int NumElements() const { return static_cast<int>(labels.size()); }
        /// Null when no element has the field, by its name.
        const std::vector<double>* Column(std::string_view name) const;
    };

    NastranElements(NastranProblems& problems, ORQExcReport& losses)
        : m_problems(problems), m_losses(losses) {}

    /// Takes the card wholly if it is one of an element and can be read; Resolve keeps it.
    BulkTaken Add(const BulkCard& card);
    /// Finds nodes and properties. Leaves out, and keeps as cards, elements at scalar points, those
    /// that name a missing node, and those whose label is given before. To be called once.
    void Resolve(const NastranNodes& nodes, const NastranProperties& properties, NastranKept& kept);

    /// Forgets where elements stand in the deck, and their properties, which may end then.
    void Settle();

    const std::vector<Block>& Blocks() const { return m_blocks; }
    /// The block as a mesh source delivers it, with its attributes.
    ORQExcMeshSource::Block Described(const Block& block) const;
    const LabelIndex& Index() const { return m_index; }
    /// Adds a finding.
    void Complain(const Block& block, std::size_t row, int field, std::string_view message) const;

  private:
    using BlockKey = std::tuple<const NastranElementCard*, const ORQExcShape*, int>;

    const ORQExcShape* ReadNodes(const BulkCard& card, const NastranElementCard& kind);
    Block& BlockFor(const BlockKey& key);
    void ReadFields(const BulkCard& card, Block& block);
    int PropertyOf(const BulkCard& card, const NastranElementCard& kind) const;
    void ResolveNodes(const NastranNodes& nodes, Block& block, NastranKept& kept);
    void ComplainOfNodes(const Block& block, std::size_t row,
                         const std::vector<std::size_t>& missing) const;
    void ResolveProperty(const NastranProperties& properties, Block& block) const;
    void LeaveOutRepeated(NastranKept& kept);
    static void LeaveOut(Block& block, const std::vector<char>& isOut, NastranKept& kept);
    std::string NameOf(const Block& block) const;

    NastranProblems& m_problems;
    ORQExcReport& m_losses;
    std::vector<Block> m_blocks;
    std::map<BlockKey, std::size_t> m_placeOfBlock;
    std::vector<int> m_nodes;  // of the card at hand
    bool m_isIncomplete = false;
    LabelIndex m_index;
    int m_barProperty = 0;  // of bars that name none
    int m_beamProperty = 0;
    std::map<std::string, int> m_nIncomplete;  // elements that lack some nodes, by card
    std::map<std::string, int> m_nTwofold;     // cards of two elements, by card
    std::map<std::string, int> m_nScalar;      // elements at scalar points, by card
};

}  // namespace orq::exchange
