#pragma once

#include <filesystem>
#include <string_view>

#include "ORQExcHeldMesh.h"
#include "formats/gmsh/GmshResults.h"

namespace orq::exchange {

/// Reads a Gmsh mesh file: versions 2 to 2.2, 4.0 and 4.1, ASCII and binary of either byte order,
/// sections in any order.
///
/// Elements of one entity and shape form a block, in the order in which they first appear;
/// physical groups become element sets, of which an element may be in several. Mesh and data are
/// held in memory, with no more room than the file's bytes can fill. Errors name file, section and
/// line (in binary files the byte).
class GmshReader : public ORQExcHeldMesh {
  public:
    /// Reads the whole file.
    explicit GmshReader(const std::filesystem::path& file);

    std::string_view Format() const override { return "Gmsh"; }
    /// Sections of kinds that are not read.
    ORQExcReport Losses() const override { return m_losses; }
    ORQExcResultSource* Results() override { return &m_results; }

  private:
    class Parser;
    class MarkedParts;

    ORQExcReport m_losses;
    GmshResults m_results;
};

}  // namespace orq::exchange
