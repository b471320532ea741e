#include "formats/vtk/VtuGrid.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>

#include "ORQExcImportError.h"

namespace orq::exchange {
namespace {

bool IsArray(const VtkElement& element) {
    return element.tag == "DataArray" || element.tag == "Array";
}

const VtkElement* FindArray(const VtkElement* parent, std::string_view name) {
    if (parent == nullptr) {
        return nullptr;
    }
    const auto found = std::ranges::find_if(parent->children, [&](const VtkElement& child) {
        return IsArray(child) && child.Name() == name;
    });
    return found == parent->children.end() ? nullptr : &*found;
}

const char* TagOf(VtuGrid::Place place) {
    return place == VtuGrid::Place::Points ? "PointData" : "CellData";
}

int ComponentsOf(const VtkXmlFile& file, const VtkElement& array) {
    if (array.Attribute("NumberOfComponents").empty()) {
        return 1;
    }
    const std::int64_t count = file.Count(array, "NumberOfComponents");
    if (count > std::numeric_limits<int>::max()) {
        file.Fail(array, fmt::format("{} components are too many", count));
    }
    return static_cast<int>(std::max<std::int64_t>(1, count));
}

}  // namespace

VtuGrid::VtuGrid(std::span<const std::filesystem::path> files) {
    for (const std::filesystem::path& path : files) {
        m_files.push_back(std::make_unique<VtkXmlFile>(path));
        AddPieces(*m_files.back());
    }
    // The sizes that the files claim are checked before an array is read or memory is taken for it.
    if (std::max(m_nPoints, m_nCells) > std::numeric_limits<int>::max()) {
        throw ORQExcImportError(files.front(), "sizes",
                                fmt::format("{} points and {} cells; at most {} are supported",
                                            m_nPoints, m_nCells, std::numeric_limits<int>::max()));
    }
    if (m_pieces.empty()) {
        throw ORQExcImportError(files.front(), "UnstructuredGrid", "has no piece");
    }
    // Pieces are parts of one mesh, so the first one has each array that all have.
    AddArrays(Place::Points, m_pieces.front().element->Child("PointData"));
    AddArrays(Place::Cells, m_pieces.front().element->Child("CellData"));
    AddArrays(Place::Grid, m_files.front()->Root().Child("UnstructuredGrid")->Child("FieldData"));
}

void VtuGrid::AddPieces(const VtkXmlFile& file) {
    const VtkElement* const grid = file.Root().Child("UnstructuredGrid");
    if (grid == nullptr) {
        file.Fail(file.Root(), fmt::format("type=\"{}\" is not supported; UnstructuredGrid is",
                                           file.Root().Attribute("type")));
    }
    for (const VtkElement& child : grid->children) {
        if (child.tag == "Piece") {
            m_pieces.push_back({&file, &child, file.Count(child, "NumberOfPoints"),
                                file.Count(child, "NumberOfCells")});
            m_nPoints += m_pieces.back().nPoints;
            m_nCells += m_pieces.back().nCells;
        }
    }
}

void VtuGrid::AddArrays(Place place, const VtkElement* parent) {
    if (parent == nullptr) {
        return;
    }
    for (const VtkElement& element : parent->children) {
        if (!IsArray(element)) {
            continue;
        }
        const std::string_view type = element.Attribute("type");
        Array array{place,
                    std::string(element.Name()),
                    ComponentsOf(*m_pieces.front().file, element),
                    {},
                    type == "String",
                    !type.starts_with("Float") && type != "String",
                    {&element}};
        for (int i = 0; i < array.nComponents; ++i) {
            const std::string_view name = element.Attribute(fmt::format("ComponentName{}", i));
            if (!name.empty()) {
                array.componentNames.emplace_back(name);
            }
        }
        // Names of some components only would be taken for those of the first ones.
        if (std::ssize(array.componentNames) != array.nComponents) {
            array.componentNames.clear();
        }
        for (std::size_t i = 1; i < m_pieces.size() && place != Place::Grid; ++i) {
            if (const VtkElement* other =
                    FindArray(m_pieces[i].element->Child(TagOf(place)), array.name);
                other != nullptr && ComponentsOf(*m_pieces[i].file, *other) == array.nComponents) {
                array.pieces.push_back(other);
            }
        }
        // An array that some piece lacks has no values for all members, so it is left out.
        if (place == Place::Grid || array.pieces.size() == m_pieces.size()) {
            m_arrays.push_back(std::move(array));
        }
    }
}

const VtuGrid::Array* VtuGrid::Find(Place place, std::string_view name) const {
    const auto found = std::ranges::find_if(
        m_arrays, [&](const Array& array) { return array.place == place && array.name == name; });
    return found == m_arrays.end() ? nullptr : &*found;
}

const VtkXmlFile& VtuGrid::FileOf(const Array& array, std::size_t piece) const {
    return array.place == Place::Grid ? *m_files.front() : *m_pieces[piece].file;
}

void VtuGrid::Fail(const Array& array, std::string_view message) const {
    FileOf(array, 0).Fail(*array.pieces.front(), message);
}

void VtuGrid::CheckSize(const Array& array, std::size_t piece, std::size_t nValues) const {
    if (array.place == Place::Grid) {
        return;
    }
    const std::int64_t nMembers =
        array.place == Place::Points ? m_pieces[piece].nPoints : m_pieces[piece].nCells;
    if (static_cast<std::int64_t>(nValues) != nMembers * array.nComponents) {
        FileOf(array, piece)
            .Fail(
                *array.pieces[piece],
                fmt::format("has {} values for {} {} of {} components", nValues, nMembers,
                            array.place == Place::Points ? "points" : "cells", array.nComponents));
    }
}

std::vector<double> VtuGrid::Reals(const Array& array) const {
    std::vector<double> values;
    for (std::size_t i = 0; i < array.pieces.size(); ++i) {
        const std::vector<double> some = FileOf(array, i).Reals(*array.pieces[i]);
        CheckSize(array, i, some.size());
        values.insert(values.end(), some.begin(), some.end());
    }
    return values;
}

std::vector<std::int64_t> VtuGrid::Integers(const Array& array) const {
    std::vector<std::int64_t> values;
    for (std::size_t i = 0; i < array.pieces.size(); ++i) {
        const std::vector<std::int64_t> some = FileOf(array, i).Integers(*array.pieces[i]);
        CheckSize(array, i, some.size());
        values.insert(values.end(), some.begin(), some.end());
    }
    return values;
}

std::vector<std::string> VtuGrid::Texts(const Array& array) const {
    return FileOf(array, 0).Texts(*array.pieces.front());
}

std::vector<double> VtuGrid::ReadPoints() const {
    std::vector<double> points;
    for (const Piece& piece : m_pieces) {
        const VtkElement* const parent = piece.element->Child("Points");
        const VtkElement* const array = parent == nullptr ? nullptr : parent->Child("DataArray");
        if (array == nullptr) {
            if (piece.nPoints > 0) {
                piece.file->Fail(*piece.element, "has no points");
            }
            continue;
        }
        const std::vector<double> some = piece.file->Reals(*array);
        if (static_cast<std::int64_t>(some.size()) != 3 * piece.nPoints) {
            piece.file->Fail(*array, fmt::format("has {} values for {} points of 3 coordinates",
                                                 some.size(), piece.nPoints));
        }
        points.insert(points.end(), some.begin(), some.end());
    }
    return points;
}

const VtkElement& VtuGrid::CellArray(const Piece& piece, std::string_view name) const {
    const VtkElement* const array = FindArray(piece.element->Child("Cells"), name);
    if (array == nullptr) {
        piece.file->Fail(*piece.element, fmt::format("its cells have no array \"{}\"", name));
    }
    return *array;
}

VtuGrid::Cells VtuGrid::ReadCells() const {
    Cells cells;
    std::int64_t firstPoint = 0;
    for (const Piece& piece : m_pieces) {
        if (piece.nCells > 0) {
            const VtkElement& nodeArray = CellArray(piece, "connectivity");
            const VtkElement& endArray = CellArray(piece, "offsets");
            const VtkElement& typeArray = CellArray(piece, "types");
            const std::vector<std::int64_t> nodes = piece.file->Integers(nodeArray);
            const std::vector<std::int64_t> ends = piece.file->Integers(endArray);
            const std::vector<std::int64_t> types = piece.file->Integers(typeArray);
            for (const auto& [array, size] :
                 {std::pair(&endArray, ends.size()), std::pair(&typeArray, types.size())}) {
                if (static_cast<std::int64_t>(size) != piece.nCells) {
                    piece.file->Fail(*array,
                                     fmt::format("has {} values for {} cells", size, piece.nCells));
                }
            }
            const auto firstNode = static_cast<std::int64_t>(cells.nodes.size());
            // Compared here, so that whoever takes the nodes of a cell need not.
            std::int64_t last = 0;
            for (const std::int64_t end : ends) {
                if (end < last || end > static_cast<std::int64_t>(nodes.size())) {
                    piece.file->Fail(endArray,
                                     fmt::format("cell {} ends at {} of {} nodes, the one before "
                                                 "at {}",
                                                 &end - ends.data() + 1, end, nodes.size(), last));
                }
                last = end;
                cells.ends.push_back(firstNode + end);
            }
            for (const std::int64_t node : nodes) {
                if (node < 0 || node >= piece.nPoints) {
                    piece.file->Fail(nodeArray,
                                     fmt::format("names point {} of {}", node, piece.nPoints));
                }
                // Pieces number their points from 0.
                cells.nodes.push_back(firstPoint + node);
            }
            cells.types.insert(cells.types.end(), types.begin(), types.end());
        }
        firstPoint += piece.nPoints;
    }
    return cells;
}

}  // namespace orq::exchange
