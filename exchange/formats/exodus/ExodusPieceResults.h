#pragma once

#include <cstddef>
#include <filesystem>
#include <span>
#include <utility>
#include <vector>

#include "ORQExcResultSource.h"

namespace orq::exchange {

/// The results of the pieces of a model over all its nodes and blocks. What a piece lacks is not a
/// number, and noted.
class ExodusPieceResults : public ORQExcResultSource {
  public:
    struct Piece {
        std::filesystem::path file;
        ORQExcResultSource* results;
        std::vector<int> nodes;     ///< ordinals in the model, by those in the piece
        std::vector<int> elements;  ///< the same
    };
    struct Block {
        int first;  ///< ordinal of its first element in the model
        int count;
    };

    ExodusPieceResults() = default;
    /// Throws ORQExcImportError for a piece with other times than the first.
    ExodusPieceResults(std::vector<Piece> pieces, int nNodes, std::vector<Block> blocks);

    const std::vector<double>& Times() const override { return m_times; }
    const std::vector<ORQExcResultArray>& Arrays() const override { return m_arrays; }
    void ReadResult(int array, int part, int begin, int end, std::span<double> values) override;
    void ReadMembers(int array, int part, int time, int first, int count,
                     std::span<double> values) override;
    ORQExcReport ResultLosses() const override { return m_losses; }

  private:
    using Place = ORQExcResultArray::Place;
    /// Values that a piece has for a part of an array here.
    struct Source {
        std::size_t piece;
        int array;
        int part;
    };

    void AddArrays(std::size_t piece);
    void AddParts(std::size_t piece, int from, std::size_t to);
    std::vector<Source>& SourcesOf(std::size_t array, int first, int count);
    void NoteGaps();
    const ORQExcResultArray::Part& PartOf(const Source& source) const;
    const std::vector<int>& PlacesIn(const Piece& piece, Place place) const;

    std::vector<Piece> m_pieces;
    int m_nNodes = 0;
    std::vector<Block> m_blocks;
    std::vector<double> m_times;
    std::vector<ORQExcResultArray> m_arrays;
    std::vector<std::vector<std::vector<Source>>> m_sources;  // by array and part
    ORQExcReport m_losses;
};

}  // namespace orq::exchange
