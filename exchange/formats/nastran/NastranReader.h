#pragma once

#include <filesystem>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

#include "ORQExcMeshSource.h"
#include "formats/nastran/NastranDeck.h"
#include "formats/nastran/NastranPart.h"
#include "formats/nastran/NastranSections.h"

namespace orq::exchange {

/// Reads a bulk data deck (NASTRAN) with the files that it includes: nodes, elements in blocks by
/// property, materials, shell properties as sections, and sets, an instance for each part of the
/// deck. All else it keeps as text. docs/bulk-data.md lists the cards that are read and what becomes
/// of them.
///
/// The mesh is held in memory, as are the files while they are read. What is wrong in the deck is
/// reported by file, line, card and field.
class NastranReader : public ORQExcMeshSource {
  public:
    /// Reads everything.
    explicit NastranReader(const std::filesystem::path& file);

    std::string_view Format() const override { return kNastranFormat; }

    void ReadCoordinates(int begin, int end, std::span<double> coordinates) override;
    void ReadLabels(ORQObjLabelerType type, int begin, int end, std::span<int> labels) override;
    void ReadConnectivity(int block, int begin, int end, std::span<int> nodes) override;
    /// NaN where a field is blank.
    void ReadAttributes(int block, int begin, int end, std::span<double> values) override;
    std::vector<int> ReadSet(ORQObjLabelerType type, int set) override;

    const ORQExcLayup* Sections() const override { return &m_layup; }
    ORQExcReport Losses() const override;

  private:
    void Read(const std::filesystem::path& file);
    void Deliver(NastranPart& part, const std::string& name, const std::string& begin);
    void DeliverSets(NastranPart& part, std::vector<NastranSections::DirectionSet> directions,
                     int firstNode, int firstElement, const std::string& suffix);
    void DeliverLayup(ORQExcLayup layup, const std::string& suffix);
    const NastranElements::Block& BlockAt(int block) const {
        return *m_sources[static_cast<std::size_t>(block)];
    }

    NastranProblems m_problems;
    ORQExcReport m_losses;
    std::vector<std::unique_ptr<NastranPart>> m_parts;
    int m_nElements = 0;
    std::vector<const NastranElements::Block*> m_sources;  // of the blocks
    std::vector<int> m_firstNodes;                         // of the block's part
    std::vector<std::vector<int>> m_nodeSetMembers;
    std::vector<std::vector<int>> m_elementSetMembers;
    ORQExcLayup m_layup;
};

}  // namespace orq::exchange
