#pragma once

#include <filesystem>
#include <span>
#include <string_view>
#include <vector>

#include "ORQExcMeshSource.h"
#include "formats/nastran/NastranElements.h"
#include "formats/nastran/NastranNodes.h"
#include "formats/nastran/NastranSections.h"
#include "formats/nastran/NastranSets.h"

namespace orq::exchange {

/// Reads a bulk data deck (NASTRAN) with the files that it includes: nodes, elements in blocks by
/// property, materials, shell properties as sections, and sets. docs/bulk-data.md tells which cards
/// are read and what becomes of them.
///
/// The mesh is held in memory, as are the files while they are read. What is wrong in the deck is
/// told together, up to a limit, by file, line, card and field.
class NastranReader : public ORQExcMeshSource {
  public:
    /// Reads everything.
    explicit NastranReader(const std::filesystem::path& file);

    std::string_view Format() const override { return "NASTRAN bulk data"; }

    void ReadCoordinates(int begin, int end, std::span<double> coordinates) override;
    void ReadLabels(ORQObjLabelerType type, int begin, int end, std::span<int> labels) override;
    void ReadConnectivity(int block, int begin, int end, std::span<int> nodes) override;
    /// NaN where a field is blank.
    void ReadAttributes(int block, int begin, int end, std::span<double> values) override;
    std::vector<int> ReadSet(ORQObjLabelerType type, int set) override;

    const ORQExcLayup* Sections() const override { return &m_layup; }
    /// Cards of kinds that are not read are among them.
    ORQExcReport Losses() const override { return m_losses; }

  private:
    void ReadElementLabels(int begin, int end, std::span<int> labels) const;
    void Describe(std::vector<NastranSets::Set> sets, std::vector<Set>& described,
                  std::vector<std::vector<int>>& members);

    NastranProblems m_problems;
    ORQExcReport m_losses;
    NastranNodes m_nodes{m_problems};
    NastranElements m_elements{m_problems, m_losses};
    std::vector<std::vector<int>> m_nodeSetMembers;
    std::vector<std::vector<int>> m_elementSetMembers;
    ORQExcLayup m_layup;
};

}  // namespace orq::exchange
