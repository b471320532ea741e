#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "formats/vtk/VtkXml.h"

namespace orq::exchange {

/// An unstructured grid in one or more files, whose pieces follow each other as one mesh.
///
/// The files' bytes are held; values are decoded when they are read. Every failure is an
/// ORQExcImportError.
class VtuGrid {
  public:
    enum class Place { Points, Cells, Grid };
    struct Array {
        Place place;
        std::string name;
        int nComponents;
        std::vector<std::string> componentNames;  ///< none when the file gives none
        bool isText;
        bool isWhole;                           ///< of whole numbers
        std::vector<const VtkElement*> pieces;  ///< one a piece; of the whole grid, the first
    };
    struct Cells {
        std::vector<std::int64_t> nodes;
        std::vector<std::int64_t> ends;  ///< behind the nodes of each cell
        std::vector<std::int64_t> types;
    };

    explicit VtuGrid(std::span<const std::filesystem::path> files);

    std::int64_t NumPoints() const { return m_nPoints; }
    std::int64_t NumCells() const { return m_nCells; }
    /// Arrays that all pieces have, in the order of the first piece.
    const std::vector<Array>& Arrays() const { return m_arrays; }
    /// Null when there is none.
    const Array* Find(Place place, std::string_view name) const;

    std::vector<double> ReadPoints() const;  ///< [points][3]
    Cells ReadCells() const;                 ///< nodes are counted over all pieces
    std::vector<double> Reals(const Array& array) const;
    std::vector<std::int64_t> Integers(const Array& array) const;
    std::vector<std::string> Texts(const Array& array) const;

    /// About an array.
    [[noreturn]] void Fail(const Array& array, std::string_view message) const;

  private:
    struct Piece {
        const VtkXmlFile* file;
        const VtkElement* element;
        std::int64_t nPoints;
        std::int64_t nCells;
    };

    void AddPieces(const VtkXmlFile& file);
    void AddArrays(Place place, const VtkElement* parent);
    const VtkXmlFile& FileOf(const Array& array, std::size_t piece) const;
    const VtkElement& CellArray(const Piece& piece, std::string_view name) const;
    void CheckSize(const Array& array, std::size_t piece, std::size_t nValues) const;

    std::vector<std::unique_ptr<VtkXmlFile>> m_files;
    std::vector<Piece> m_pieces;
    std::vector<Array> m_arrays;
    std::int64_t m_nPoints = 0;
    std::int64_t m_nCells = 0;
};

}  // namespace orq::exchange
