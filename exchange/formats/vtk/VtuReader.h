#pragma once

#include <filesystem>
#include <string_view>

#include "ORQExcHeldMesh.h"
#include "ORQExcReport.h"
#include "formats/vtk/VtuResults.h"

namespace orq::exchange {

/// Reads a VTK unstructured grid (.vtu), or a collection (.pvd) of them as the times of one mesh.
///
/// Cells of one shape form a block; an array "block" of whole numbers over the cells separates
/// blocks of one shape. Arrays that our own export writes come back as what they were: labels, sets,
/// surfaces, attributes, names of blocks; in files of others, which lack its "block number", they
/// are results, as is every other array. Cells of types without a
/// shape are left out, and reported by type. The mesh is held in memory.
class VtuReader : public ORQExcHeldMesh {
  public:
    explicit VtuReader(const std::filesystem::path& file);

    std::string_view Format() const override { return "VTK unstructured grid"; }
    ORQExcResultSource* Results() override { return &m_results; }
    ORQExcReport Losses() const override { return m_losses; }

  private:
    class Parser;

    VtuResults m_results;
    ORQExcReport m_losses;
};

}  // namespace orq::exchange
