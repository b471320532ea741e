#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "ORQExcReport.h"
#include "formats/exodus/ExodusReader.h"

namespace orq::exchange {

/// The arrays that the pieces of a model have and that a model has no place for. An array with a row for
/// each node, element, set or member of a set is joined along that dimension: factors, variables and
/// attributes of sets, and extra maps. QA and information records are those of the first piece. How the
/// pieces are connected is left out, since the whole model does not need it.
///
/// What some pieces lack is noted: a distribution factor is 1 there, another real value NaN, an
/// integer 0.
class ExodusPieceArrays {
  public:
    /// Where the rows of one dimension of a piece stand in the whole model.
    struct Rows {
        std::string dimension;    ///< its name in a file of the whole model
        std::size_t count = 0;    ///< of rows in the whole model
        std::vector<int> places;  ///< in the whole model, by row of the piece
        int setNumber = 0;  ///< place of the set in the whole model, from 1; 0: not of one set
    };
    struct Piece {
        ExodusReader* reader;
        std::map<std::string, Rows> rows;  ///< by the dimension's name in the piece
    };

    ExodusPieceArrays() = default;
    /// The readers must outlive the object. Throws ORQExcImportError for pieces that name the variables of their sets
    /// differently.
    explicit ExodusPieceArrays(std::vector<Piece> pieces);

    const std::vector<ORQExcMeshSource::Array>& Arrays() const { return m_arrays; }
    /// An array that is joined along its first dimension is joined whole, and held until another is
    /// asked for; of the others only the rows are read.
    void Read(int array, int begin, int end, void* values);
    const ORQExcReport& Losses() const { return m_losses; }

  private:
    using Array = ORQExcMeshSource::Array;
    /// An array of a piece, by its place there.
    struct Source {
        std::size_t piece;
        int array;
    };
    /// What an array here is made of.
    struct Joined {
        std::size_t axis;  // the dimension along which it is joined
        std::vector<Source> sources;
    };

    void AddArray(std::size_t piece, int place);
    void AddJoined(const Source& source, std::size_t axis, const Rows& rows);
    void AddCommon(const Source& source);
    void NoteGaps();
    const Array& ArrayOf(const Source& source) const;
    const Rows& RowsOf(const Source& source, std::size_t axis) const;
    std::vector<std::byte> ReadSource(const Source& source, int begin, int end) const;
    void Join(int array, int begin, int end, std::byte* values) const;

    std::vector<Piece> m_pieces;
    std::vector<Array> m_arrays;
    std::vector<Joined> m_joined;                   // by array
    std::map<std::string, std::int64_t> m_dropped;  // arrays by kind
    int m_held = -1;
    std::vector<std::byte> m_values;  // of the array that is held
    ORQExcReport m_losses;
};

}  // namespace orq::exchange
