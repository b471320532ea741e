#include "formats/vtk/VtuReader.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <map>
#include <numeric>
#include <optional>
#include <string>
#include <tuple>
#include <utility>

#include "ORQExcImportError.h"
#include "formats/vtk/VtkXml.h"
#include "formats/vtk/VtuGrid.h"
#include "model/ArrayNames.h"

namespace orq::exchange {
namespace {

using Place = VtuGrid::Place;

/// The shape of a VTK cell: node k of the shape is node order[k] of the cell; the same node when
/// the order is empty.
struct CellShape {
    const ORQExcShape* shape = nullptr;
    std::vector<int> order;
};

// Types of VTK that have the shape of another type, and those types.
constexpr int kPolyVertex = 2;
constexpr int kPolyLine = 4;
constexpr int kPolygon = 7;
constexpr int kPixel = 8;
constexpr int kVoxel = 11;
constexpr int kVertex = 1;
constexpr int kLine = 3;
constexpr int kTriangle = 5;
constexpr int kQuad = 9;
constexpr int kHexahedron = 12;

CellShape ShapeOfCell(int type, int nNodes) {
    const auto shapeOf = [&](int plainType) { return ORQExcFindShapeByVtkType(plainType); };
    CellShape cell;
    // VTK numbers the corners of pixels and voxels row by row, not around a face.
    if (type == kPixel) {
        cell = {shapeOf(kQuad), {0, 1, 3, 2}};
    } else if (type == kVoxel) {
        cell = {shapeOf(kHexahedron), {0, 1, 3, 2, 4, 5, 7, 6}};
    } else if (type == kPolygon && (nNodes == 3 || nNodes == 4)) {
        cell.shape = shapeOf(nNodes == 3 ? kTriangle : kQuad);
    } else if (type == kPolyLine && nNodes == 2) {
        cell.shape = shapeOf(kLine);
    } else if (type == kPolyVertex && nNodes == 1) {
        cell.shape = shapeOf(kVertex);
    } else {
        cell.shape = shapeOf(type);
        if (cell.shape != nullptr) {
            cell.order = cell.shape->vtkOrder;
        }
    }
    return cell.shape != nullptr && cell.shape->nNodes == nNodes ? cell : CellShape{};
}

bool IsMark(const VtuGrid::Array& array) {
    return array.isWhole && array.nComponents == 1;
}

/// Whether an array of a grid of our own export is a result, not a part of the mesh.
bool IsResultOfOurs(const VtuGrid::Array& array) {
    if (array.isText) {
        return false;
    }
    const std::string_view name = array.name;
    switch (array.place) {
        case Place::Points:
            return !(IsMark(array) &&
                     (name == array_names::kLabels || name.starts_with(array_names::kNodeSet)));
        case Place::Cells:
            return !(IsMark(array) &&
                     (name == array_names::kLabels || name == array_names::kBlocks ||
                      name.starts_with(array_names::kElementSet))) &&
                   !name.starts_with(array_names::kAttribute);
        case Place::Grid:
            break;
    }
    return name != array_names::kTime && name != array_names::kBlockNumbers &&
           !name.starts_with(array_names::kSurface);
}

/// Whether an array of any other grid is a result: there a name such as "label" may mean anything.
bool IsResultOfOthers(const VtuGrid::Array& array) {
    return !array.isText &&
           !(array.place == Place::Cells && IsMark(array) && array.name == array_names::kBlocks) &&
           !(array.place == Place::Grid && array.name == array_names::kTime);
}

std::optional<double> ParsedReal(std::string_view text) {
    double value = 0;
    const auto parsed = std::from_chars(text.data(), text.data() + text.size(), value);
    return parsed.ec == std::errc() && parsed.ptr == text.data() + text.size() &&
                   std::isfinite(value)
               ? std::optional(value)
               : std::nullopt;
}

/// The grids of a file: one, or those of a collection, ordered by time. Files of one time are
/// pieces of one grid.
std::vector<VtuResults::Frame> FramesOf(const std::filesystem::path& path) {
    const VtkXmlFile file(path);
    if (file.Root().Attribute("type") != "Collection") {
        return {{0, {path}}};
    }
    const VtkElement* const collection = file.Root().Child("Collection");
    std::map<double, std::vector<std::filesystem::path>> filesAt;
    for (const VtkElement& child :
         collection == nullptr ? std::vector<VtkElement>() : collection->children) {
        const std::string_view text = child.Attribute("timestep");
        const std::optional<double> time = text.empty() ? 0.0 : ParsedReal(text);
        const std::string_view name = child.Attribute("file");
        if (child.tag != "DataSet" || !time || name.empty()) {
            file.Fail(child, "is no DataSet with a file and a finite timestep");
        }
        filesAt[*time].push_back(path.parent_path() / name);
    }
    std::vector<VtuResults::Frame> frames;
    for (auto& [time, files] : filesAt) {
        frames.push_back({time, std::move(files)});
    }
    if (frames.empty()) {
        file.Fail(file.Root(), "the collection names no files");
    }
    return frames;
}

}  // namespace

class VtuReader::Parser {
  public:
    Parser(VtuReader& reader, const std::filesystem::path& file)
        : m_reader(reader),
          m_file(file),
          m_frames(FramesOf(file)),
          m_grid(m_frames.front().files) {}

    void Run() {
        ReadPoints();
        ReadCells();
        ReadElementLabels();
        if (m_isOurs) {
            ReadOurs();
        }
        ReadTime();
        m_reader.m_results.Open(std::move(m_frames), m_grid, std::move(m_cellOfElement),
                                m_isOurs ? IsResultOfOurs : IsResultOfOthers);
    }

  private:
    /// Reads the parts of the mesh that our own export writes as arrays.
    void ReadOurs() {
        ReadSets(Place::Points, array_names::kNodeSet, m_reader.m_contents.nodeSets,
                 m_reader.m_nodeSetMembers);
        ReadSets(Place::Cells, array_names::kElementSet, m_reader.m_contents.elementSets,
                 m_reader.m_elementSetMembers);
        ReadSurfaces();
        ReadAttributes();
        ReadTitle();
    }

    struct BlockKey {
        std::int64_t number;
        const ORQExcShape* shape;
        auto operator<=>(const BlockKey&) const = default;
    };
    /// A block while its cells are gathered.
    struct RawBlock {
        BlockKey key;
        std::vector<int> nodes;
        std::vector<std::size_t> cells;
    };
    /// Name and shape of a block in the file.
    struct Said {
        std::string name;
        const ORQExcShape* shape;
    };

    int Checked(const VtuGrid::Array& array, std::int64_t value, std::int64_t least) const {
        if (value < least || value > std::numeric_limits<int>::max()) {
            m_grid.Fail(array, fmt::format("has the value {}; {} to {} are possible", value, least,
                                           std::numeric_limits<int>::max()));
        }
        return static_cast<int>(value);
    }

    /// The file's labels, or 1, 2, ... when it has none.
    std::vector<int> Labels(Place place, std::int64_t count) const {
        std::vector<int> labels(static_cast<std::size_t>(count));
        const VtuGrid::Array* const array = m_grid.Find(place, array_names::kLabels);
        if (!m_isOurs || array == nullptr || !IsMark(*array)) {
            std::iota(labels.begin(), labels.end(), 1);
            return labels;
        }
        std::ranges::transform(m_grid.Integers(*array), labels.begin(),
                               [&](std::int64_t label) { return Checked(*array, label, 1); });
        return labels;
    }

    void ReadPoints() {
        m_reader.m_coordinates = m_grid.ReadPoints();
        const auto wrong = std::ranges::find_if_not(
            m_reader.m_coordinates, [](double value) { return std::isfinite(value); });
        if (wrong != m_reader.m_coordinates.end()) {
            const auto at = wrong - m_reader.m_coordinates.begin();
            throw ORQExcImportError(
                m_file, "Points",
                fmt::format("point {}: {} is {}", at / 3 + 1, "xyz"[at % 3], *wrong));
        }
        m_reader.m_contents.nNodes = static_cast<int>(m_grid.NumPoints());
        m_reader.m_nodeLabels = Labels(Place::Points, m_grid.NumPoints());
    }

    // --- Cells -----------------------------------------------------------------------------------

    void ReadCells() {
        const VtuGrid::Cells cells = m_grid.ReadCells();
        const std::map<std::int64_t, Said> said = ReadSaid();
        std::vector<std::int64_t> numbers;
        const VtuGrid::Array* const array = m_grid.Find(Place::Cells, array_names::kBlocks);
        if (array != nullptr && IsMark(*array)) {
            numbers = m_grid.Integers(*array);
        }
        std::map<std::pair<int, int>, std::int64_t> unknown;  // by type and nodes
        for (std::size_t cell = 0; cell < cells.types.size(); ++cell) {
            const std::int64_t begin = cell == 0 ? 0 : cells.ends[cell - 1];
            const auto nNodes = static_cast<int>(cells.ends[cell] - begin);
            const auto type = static_cast<int>(cells.types[cell]);
            const CellShape& shape = Known(type, nNodes);
            if (shape.shape == nullptr) {
                ++unknown[{type, nNodes}];
                continue;
            }
            const std::int64_t number =
                numbers.empty() ? 0
                                : Checked(*array, numbers[cell], std::numeric_limits<int>::min());
            AddCell(number, ShapeIn(said, number, shape), cell,
                    std::span(cells.nodes)
                        .subspan(static_cast<std::size_t>(begin), static_cast<std::size_t>(nNodes)),
                    shape.order);
        }
        for (const auto& [kind, count] : unknown) {
            m_reader.m_losses.Drop(
                "cells", fmt::format("type {}", kind.first), count,
                fmt::format("a model has no shape for VTK's type {} with {} nodes", kind.first,
                            kind.second));
        }
        for (RawBlock& block : m_blocks) {
            AddBlock(block, said);
        }
    }

    const CellShape& Known(int type, int nNodes) {
        const auto [place, isNew] = m_shapes.try_emplace({type, nNodes});
        if (isNew) {
            place->second = ShapeOfCell(type, nNodes);
        }
        return place->second;
    }

    /// A shell and a plane element are the same cell; our own export names the shape of a block.
    static const ORQExcShape* ShapeIn(const std::map<std::int64_t, Said>& said, std::int64_t number,
                                      const CellShape& cell) {
        const auto found = said.find(number);
        return found != said.end() && found->second.shape != nullptr &&
                       found->second.shape->vtkType == cell.shape->vtkType
                   ? found->second.shape
                   : cell.shape;
    }

    void AddCell(std::int64_t number, const ORQExcShape* shape, std::size_t cell,
                 std::span<const std::int64_t> nodes, const std::vector<int>& order) {
        const auto [place, isNew] =
            m_placeOfBlock.try_emplace(BlockKey{number, shape}, m_blocks.size());
        if (isNew) {
            m_blocks.push_back({{number, shape}, {}, {}});
        }
        RawBlock& block = m_blocks[place->second];
        block.cells.push_back(cell);
        for (std::size_t k = 0; k < nodes.size(); ++k) {
            const std::size_t from = order.empty() ? k : static_cast<std::size_t>(order[k]);
            block.nodes.push_back(static_cast<int>(nodes[from]));
        }
    }

    /// The blocks' own numbers, names and shapes, as our export writes them.
    std::map<std::int64_t, Said> ReadSaid() const {
        const VtuGrid::Array* const numbers = m_grid.Find(Place::Grid, array_names::kBlockNumbers);
        const VtuGrid::Array* const names = m_grid.Find(Place::Grid, array_names::kBlockNames);
        const VtuGrid::Array* const shapes = m_grid.Find(Place::Grid, array_names::kBlockShapes);
        std::map<std::int64_t, Said> said;
        if (numbers == nullptr || names == nullptr || shapes == nullptr || !names->isText ||
            !shapes->isText) {
            return said;
        }
        const std::vector<std::int64_t> numberOf = m_grid.Integers(*numbers);
        const std::vector<std::string> nameOf = m_grid.Texts(*names);
        const std::vector<std::string> shapeOf = m_grid.Texts(*shapes);
        const std::size_t n = std::min({numberOf.size(), nameOf.size(), shapeOf.size()});
        for (std::size_t i = 0; i < n; ++i) {
            said[numberOf[i]] = {nameOf[i], ORQExcFindShapeByName(shapeOf[i])};
        }
        return said;
    }

    void AddBlock(RawBlock& block, const std::map<std::int64_t, Said>& said) {
        const auto place = static_cast<int>(m_reader.m_contents.blocks.size());
        const auto found = said.find(block.key.number);
        const std::string name =
            found != said.end() && found->second.shape == block.key.shape ? found->second.name
            : block.key.number > 0
                ? fmt::format("block {} {}", block.key.number, block.key.shape->name)
                : std::string(block.key.shape->name);
        m_reader.m_contents.blocks.push_back(
            {name,
             block.key.number > 0 ? static_cast<int>(block.key.number) : place + 1,
             block.key.shape,
             block.key.shape->name,
             static_cast<int>(block.cells.size()),
             {}});
        m_reader.m_connectivity.push_back(std::move(block.nodes));
        m_cellOfElement.insert(m_cellOfElement.end(), block.cells.begin(), block.cells.end());
        m_endOfBlock.push_back(static_cast<int>(m_cellOfElement.size()));
    }

    void ReadElementLabels() {
        // Elements stand block by block, cells in the order of the file.
        const std::vector<int> ofCells = Labels(Place::Cells, m_grid.NumCells());
        m_elementOfCell.assign(ofCells.size(), -1);
        for (const std::size_t cell : m_cellOfElement) {
            m_elementOfCell[cell] = static_cast<int>(m_reader.m_elementLabels.size());
            m_reader.m_elementLabels.push_back(ofCells[cell]);
        }
    }

    // --- What lies over points and cells ---------------------------------------------------------

    void ReadSets(Place place, std::string_view prefix, std::vector<Set>& sets,
                  std::vector<std::vector<int>>& members) const {
        for (const VtuGrid::Array& array : m_grid.Arrays()) {
            if (array.place != place || !IsMark(array) || !array.name.starts_with(prefix)) {
                continue;
            }
            const std::vector<std::int64_t> marks = m_grid.Integers(array);
            std::vector<int> of;
            for (std::size_t i = 0; i < marks.size(); ++i) {
                const int member =
                    place == Place::Points ? static_cast<int>(i) : m_elementOfCell[i];
                if (marks[i] != 0 && member >= 0) {
                    of.push_back(member);
                }
            }
            sets.push_back({array.name.substr(prefix.size()), static_cast<int>(sets.size()) + 1});
            members.push_back(std::move(of));
        }
    }

    void ReadSurfaces() {
        for (const VtuGrid::Array& array : m_grid.Arrays()) {
            if (array.place != Place::Grid || !array.isWhole || array.nComponents != 2 ||
                !array.name.starts_with(array_names::kSurface)) {
                continue;
            }
            std::vector<Side> sides;
            const std::vector<std::int64_t> pairs = m_grid.Integers(array);
            for (std::size_t i = 0; i + 1 < pairs.size(); i += 2) {
                sides.push_back(SideOf(array, pairs[i], pairs[i + 1]));
            }
            std::erase_if(sides, [](const Side& side) { return side.element < 0; });
            m_reader.m_contents.sideSets.push_back(
                {array.name.substr(array_names::kSurface.size()),
                 static_cast<int>(m_reader.m_contents.sideSets.size()) + 1});
            m_reader.m_sides.push_back(std::move(sides));
        }
    }

    Side SideOf(const VtuGrid::Array& array, std::int64_t cell, std::int64_t side) const {
        if (cell < 0 || cell >= m_grid.NumCells()) {
            m_grid.Fail(array, fmt::format("names cell {} of {}", cell, m_grid.NumCells()));
        }
        const int element = m_elementOfCell[static_cast<std::size_t>(cell)];
        if (element >= 0) {
            const auto block =
                std::ranges::upper_bound(m_endOfBlock, element) - m_endOfBlock.begin();
            const ORQExcShape& shape = *m_reader.Blocks()[static_cast<std::size_t>(block)].shape;
            if (side < 0 || side >= std::ssize(shape.sides)) {
                m_grid.Fail(array, fmt::format("names side {} of cell {}, a {} with {} sides", side,
                                               cell, shape.name, shape.sides.size()));
            }
        }
        return {element, static_cast<int>(side)};
    }

    /// Reads attributes. A block has one when some cell of it has a value.
    void ReadAttributes() {
        std::vector<std::vector<std::vector<double>>> columns(m_reader.Blocks().size());
        for (const VtuGrid::Array& array : m_grid.Arrays()) {
            if (array.place != Place::Cells || array.nComponents != 1 ||
                !array.name.starts_with(array_names::kAttribute)) {
                continue;
            }
            const std::vector<double> values = m_grid.Reals(array);
            std::size_t element = 0;
            for (std::size_t i = 0; i < columns.size(); ++i) {
                Block& block = m_reader.m_contents.blocks[i];
                std::vector<double> column;
                for (int row = 0; row < block.nElements; ++row) {
                    column.push_back(values[m_cellOfElement[element++]]);
                }
                if (!std::ranges::all_of(column, [](double v) { return std::isnan(v); })) {
                    block.attributes.push_back(array.name.substr(array_names::kAttribute.size()));
                    columns[i].push_back(std::move(column));
                }
            }
        }
        for (const auto& ofBlock : columns) {
            std::vector<double>& rows = m_reader.m_attributes.emplace_back();
            for (std::size_t row = 0; !ofBlock.empty() && row < ofBlock.front().size(); ++row) {
                for (const std::vector<double>& column : ofBlock) {
                    rows.push_back(column[row]);
                }
            }
        }
    }

    void ReadTitle() {
        const VtuGrid::Array* const array = m_grid.Find(Place::Grid, array_names::kTitle);
        if (array != nullptr && array->isText) {
            const std::vector<std::string> texts = m_grid.Texts(*array);
            m_reader.m_contents.title = texts.empty() ? "" : texts.front();
        }
    }

    /// Reads the time of a single grid from its arrays; grids of a collection have theirs in it.
    void ReadTime() {
        const VtuGrid::Array* const array = m_grid.Find(Place::Grid, array_names::kTime);
        if (m_frames.size() == 1 && array != nullptr && !array->isText) {
            const std::vector<double> times = m_grid.Reals(*array);
            if (!times.empty() && std::isfinite(times.front())) {
                m_frames.front().time = times.front();
            }
        }
    }

    VtuReader& m_reader;
    const std::filesystem::path& m_file;
    std::vector<VtuResults::Frame> m_frames;
    VtuGrid m_grid;
    bool m_isOurs = m_grid.Find(Place::Grid, array_names::kBlockNumbers) != nullptr;
    std::map<std::pair<int, int>, CellShape> m_shapes;  // by type and number of nodes
    std::map<BlockKey, std::size_t> m_placeOfBlock;
    std::vector<RawBlock> m_blocks;
    std::vector<std::size_t> m_cellOfElement;
    std::vector<int> m_endOfBlock;     // the element behind its last
    std::vector<int> m_elementOfCell;  // -1 for a cell that is left out
};

VtuReader::VtuReader(const std::filesystem::path& file) {
    Parser(*this, file).Run();
}

}  // namespace orq::exchange
