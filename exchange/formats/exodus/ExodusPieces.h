#pragma once

#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "ORQExcHeldMesh.h"
#include "ORQExcReport.h"
#include "formats/exodus/ExodusPieceArrays.h"
#include "formats/exodus/ExodusPieceResults.h"
#include "formats/exodus/ExodusReader.h"

namespace orq::exchange {

/// The files of a model that was cut into pieces, `name.e.4.0` to `name.e.4.3`, in their order: all of
/// those to which a file of such a name belongs. Empty for a file whose name is not so. Throws
/// ORQExcImportError for a piece that is missing.
std::vector<std::filesystem::path> ExodusPieceFiles(const std::filesystem::path& file);

/// Joins the pieces of a model by their maps of node and element numbers, as parallel programs write
/// them: a node that several pieces have stands once, blocks and sets of one number are one. Nodes
/// stand by number, and so do the elements of a block. The mesh is held in memory, results are not.
///
/// Global variables are those of the first piece. Throws ORQExcImportError, with the piece, where maps
/// contradict each other: for a node that two pieces have in different places, an element that two
/// pieces have, a block of two shapes, and times that differ.
class ExodusPieces : public ORQExcHeldMesh {
  public:
    explicit ExodusPieces(const std::vector<std::filesystem::path>& files);

    std::string_view Format() const override { return "Exodus II"; }
    void ReadArray(int array, int begin, int end, void* values) override {
        m_arrays.Read(array, begin, end, values);
    }
    ORQExcResultSource* Results() override { return &m_results; }
    ORQExcReport Losses() const override { return m_losses; }

  private:
    struct Piece {
        std::unique_ptr<ExodusReader> reader;
        std::vector<int> nodes;     // ordinals here, by those in the piece
        std::vector<int> elements;  // the same
        std::map<std::string, ExodusPieceArrays::Rows> rows;  // by dimension
    };
    /// The elements of a block that a piece has.
    struct Share {
        std::size_t piece;
        int block;  // in the piece
    };
    struct JoinedBlock {
        Block block;
        std::vector<Share> shares;
    };

    [[noreturn]] static void Fail(const Piece& piece, std::string_view section,
                                  std::string_view message);
    void JoinNodes();
    void PlaceNodes(Piece& piece, std::vector<std::size_t>& owners);
    std::vector<JoinedBlock> JoinBlocks() const;
    void AddBlock(const JoinedBlock& joined);
    void AddSets();
    void AddFactorRows();
    std::vector<int> FirstFactors(std::span<const Side> sides) const;
    const ORQExcShape& ShapeOf(int element) const;
    void KeepArrays();

    std::vector<Piece> m_pieces;
    ExodusPieceArrays m_arrays;
    std::vector<int> m_blockEnds;  // the element behind the last of each block
    ExodusPieceResults m_results;
    ORQExcReport m_losses;
};

}  // namespace orq::exchange
