#include "formats/vtk/VtuExport.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "ORQExcExportError.h"
#include "ORQExcXmlText.h"
#include "model/ArrayNames.h"
#include "model/NoValue.h"
#include "model/Numbering.h"
#include "model/ShellColumns.h"

namespace orq::exchange {
namespace {

constexpr int kSlice = 1 << 16;  // points or cells at a time; bounds the memory
constexpr std::string_view kText = "String";

/// What is the same in all files of a model, and read once.
struct Shared {
    Shared(const ORQExcModel& model, ORQExcReport& report)
        : shells(model), nodeLabels(model.NodeLabels()), elementLabels(model.ElementLabels()) {
        MakeLabelsDistinct(nodeLabels, "node", report);
        MakeLabelsDistinct(elementLabels, "element", report);
    }
    ShellColumns shells;
    std::vector<int> nodeLabels;  // by ordinal
    std::vector<int> elementLabels;
};

class VtuFile {
  public:
    /// `frame` is -1 for a mesh without results.
    VtuFile(const ORQExcModel& model, const Shared& shared, const ORQExcResults& results, int frame,
            const std::filesystem::path& path)
        : m_model(model),
          m_results(results),
          m_fields(results.FieldsAtSpots()),
          m_frame(frame),
          m_path(path),
          m_shared(shared),
          m_out(path, std::ios::binary) {
        for (const ORQExcModel::Block& block : model.Blocks()) {
            m_nCells += block.elements.Size();
            m_nCorners += std::int64_t{block.elements.Size()} * block.shape->nNodes;
        }
    }

    void Write() {
        Collect();
        WriteHeader();
        for (const Array& array : m_arrays) {
            const auto size = static_cast<std::uint64_t>(array.bytes);
            Put(std::as_bytes(std::span(&size, 1)));
            m_written = 0;
            array.write();
            // The offsets in the header are computed before the values, so a wrong size would shift
            // all that follow.
            if (m_written != array.bytes) {
                throw ORQExcExportError(fmt::format("{}: array \"{}\" came out as {} bytes of {}",
                                                    m_path.string(), array.name, m_written,
                                                    array.bytes));
            }
        }
        m_out << "\n  </AppendedData>\n</VTKFile>\n";
        m_out.flush();
        if (!m_out) {
            throw ORQExcExportError(fmt::format("{}: cannot be written", m_path.string()));
        }
    }

  private:
    enum class Place { FieldData, Points, Cells, PointData, CellData };

    struct Array {
        Place place;
        std::string name;
        std::string_view type;
        int components;
        std::int64_t bytes;
        std::function<void()> write;
        std::vector<std::string> componentNames = {};
        std::int64_t nTuples = 1;  ///< of an array of the whole grid
    };

    void Put(std::span<const std::byte> bytes) {
        m_out.write(reinterpret_cast<const char*>(bytes.data()),
                    static_cast<std::streamsize>(bytes.size()));
        m_written += static_cast<std::int64_t>(bytes.size());
    }
    template <class T>
    void PutAll(const std::vector<T>& values) {
        Put(std::as_bytes(std::span(values)));
    }

    void Add(Place place, std::string name, std::string_view type, int components,
             std::int64_t bytes, std::function<void()> write) {
        // VTK stops at a second array of one name; fields of a model may share a name.
        const std::string wanted = name;
        const auto isTaken = [&](const Array& array) {
            return array.place == place && array.name == name;
        };
        for (int i = 2; std::ranges::any_of(m_arrays, isTaken); ++i) {
            name = fmt::format("{} ({})", wanted, i);
        }
        m_arrays.push_back({place, std::move(name), type, components, bytes, std::move(write)});
    }

    void Collect() {
        const std::int64_t nPoints = m_model.NumNodes();
        Add(Place::Points, "Points", "Float64", 3, nPoints * 24, [this] { PutPoints(); });
        Add(Place::Cells, "connectivity", "Int64", 1, m_nCorners * 8,
            [this] { PutConnectivity(); });
        Add(Place::Cells, "offsets", "Int64", 1, m_nCells * 8, [this] { PutOffsets(); });
        Add(Place::Cells, "types", "UInt8", 1, m_nCells, [this] { PutTypes(); });
        Add(Place::PointData, std::string(array_names::kLabels), "Int32", 1, nPoints * 4,
            [this] { PutAll(m_shared.nodeLabels); });
        for (const ORQExcModel::Set& set : m_model.NodeSets()) {
            Add(Place::PointData, std::string(array_names::kNodeSet) + set.name, "UInt8", 1,
                nPoints, [this, &set] { PutAll(Marks(set.members, m_model.NumNodes())); });
        }
        Add(Place::CellData, std::string(array_names::kLabels), "Int32", 1, m_nCells * 4,
            [this] { PutAll(ByCell(m_shared.elementLabels)); });
        Add(Place::CellData, std::string(array_names::kBlocks), "Int32", 1, m_nCells * 4,
            [this] { PutBlockNumbers(); });
        for (const ORQExcModel::Set* set : m_model.ElementSetsBesideBlocks()) {
            Add(Place::CellData, std::string(array_names::kElementSet) + set->name, "UInt8", 1,
                m_nCells,
                [this, set] { PutAll(ByCell(Marks(set->members, m_model.NumElements()))); });
        }
        AddAttributes();
        AddTexts();
        AddSurfaces();
        if (m_frame >= 0) {
            Add(Place::FieldData, std::string(array_names::kTime), "Float64", 1, 8, [this] {
                PutAll(std::vector{m_results.Frames()[static_cast<std::size_t>(m_frame)].time});
            });
            for (const ORQExcResults::Field& field : m_fields) {
                AddField(field);
            }
        }
    }

    /// Adds attributes. Each is an array over all cells, NaN for those of blocks that lack it.
    void AddAttributes() {
        std::vector<std::string> names;
        for (const ORQExcModel::Block& block : m_model.Blocks()) {
            for (const std::string& name : m_shared.shells.NamesOf(block)) {
                if (std::ranges::find(names, name) == names.end()) {
                    names.push_back(name);
                }
            }
        }
        for (const std::string& name : names) {
            Add(Place::CellData, std::string(array_names::kAttribute) + name, "Float64", 1,
                m_nCells * 8, [this, name] { PutAttribute(name); });
        }
    }

    void PutAttribute(const std::string& name) {
        for (const ORQExcModel::Block& block : m_model.Blocks()) {
            const std::vector<std::string>& names = m_shared.shells.NamesOf(block);
            const auto found = std::ranges::find(names, name);
            PutAll(
                found == names.end()
                    ? std::vector<double>(static_cast<std::size_t>(block.elements.Size()), kNoValue)
                    : m_shared.shells.Read(block, static_cast<std::size_t>(found - names.begin())));
        }
    }

    void AddTexts() {
        std::vector<std::int32_t> numbers;
        std::string names;
        std::string shapes;
        for (const ORQExcModel::Block& block : m_model.Blocks()) {
            numbers.push_back(block.number);
            names.append(block.name).push_back('\0');
            shapes.append(block.shape->name).push_back('\0');
        }
        const auto nBlocks = std::ssize(numbers);
        Add(Place::FieldData, std::string(array_names::kBlockNumbers), "Int32", 1, nBlocks * 4,
            [this, numbers] { PutAll(numbers); });
        m_arrays.back().nTuples = nBlocks;
        if (const std::string title = m_model.Title(); !title.empty()) {
            Add(Place::FieldData, std::string(array_names::kTitle), kText, 1, std::ssize(title) + 1,
                [this, title] { Put(std::as_bytes(std::span(title.c_str(), title.size() + 1))); });
        }
        for (const auto& [name, texts] : {std::pair(array_names::kBlockNames, names),
                                          std::pair(array_names::kBlockShapes, shapes)}) {
            Add(Place::FieldData, std::string(name), kText, 1, std::ssize(texts),
                [this, texts = texts] { Put(std::as_bytes(std::span(texts))); });
            m_arrays.back().nTuples = nBlocks;
        }
    }

    void AddSurfaces() {
        std::vector<std::int32_t> cells;  // by element
        for (ORQExcModel::Surface& surface : m_model.Surfaces()) {
            if (cells.empty()) {
                cells = CellsOfElements();
            }
            std::vector<std::int32_t> pairs;
            for (const ORQExcModel::Face& face : surface.faces) {
                pairs.push_back(cells[static_cast<std::size_t>(face.element)]);
                pairs.push_back(face.side);
            }
            Add(Place::FieldData, std::string(array_names::kSurface) + surface.name, "Int32", 2,
                std::ssize(pairs) * 4, [this, pairs] { PutAll(pairs); });
            m_arrays.back().nTuples = std::ssize(surface.faces);
        }
    }

    /// The place of each element among the cells, which stand block by block; -1 for an element of
    /// no block.
    std::vector<std::int32_t> CellsOfElements() const {
        std::vector<std::int32_t> cells(static_cast<std::size_t>(m_model.NumElements()), -1);
        std::int32_t cell = 0;
        for (const ORQExcModel::Block& block : m_model.Blocks()) {
            for (ORQSimCSetIterator element(block.elements); !element.IsDone(); element.Next()) {
                cells[static_cast<std::size_t>(element.CurrentValue())] = cell++;
            }
        }
        return cells;
    }

    void AddField(const ORQExcResults::Field& field) {
        using From = ORQExcResultArray::Place;
        const bool isGlobal = field.place == From::Model;
        const std::int64_t nMembers = isGlobal                    ? 1
                                      : field.place == From::Node ? m_model.NumNodes()
                                                                  : m_nCells;
        const auto nComponents = static_cast<int>(field.components.size());
        Add(isGlobal                    ? Place::FieldData
            : field.place == From::Node ? Place::PointData
                                        : Place::CellData,
            field.name, "Float64", nComponents, nMembers * nComponents * 8,
            [this, &field] { PutField(field); });
        for (const ORQExcResults::Component& component : field.components) {
            m_arrays.back().componentNames.push_back(component.label);
        }
    }

    void PutField(const ORQExcResults::Field& field) {
        const auto put = [&](const ORQSimCSet& members, int count) {
            std::vector<double> values(static_cast<std::size_t>(count) * field.components.size());
            m_results.Read(field, m_frame, members, values);
            PutAll(values);
        };
        if (field.place == ORQExcResultArray::Place::Element) {
            for (const ORQExcModel::Block& block : m_model.Blocks()) {
                put(block.elements, block.elements.Size());
            }
        } else if (field.place == ORQExcResultArray::Place::Node) {
            put(m_model.Nodes(), m_model.NumNodes());
        } else {
            put({}, 1);
        }
    }

    void WriteHeader() {
        // Sizes of 8 bytes, since an array may be larger than 4 GB.
        m_out << "<?xml version=\"1.0\"?>\n"
                 "<VTKFile type=\"UnstructuredGrid\" version=\"1.0\" byte_order=\"LittleEndian\" "
                 "header_type=\"UInt64\">\n  <UnstructuredGrid>\n";
        WriteArrays(Place::FieldData, "FieldData");
        m_out << fmt::format("    <Piece NumberOfPoints=\"{}\" NumberOfCells=\"{}\">\n",
                             m_model.NumNodes(), m_nCells);
        WriteArrays(Place::PointData, "PointData");
        WriteArrays(Place::CellData, "CellData");
        WriteArrays(Place::Points, "Points");
        WriteArrays(Place::Cells, "Cells");
        m_out << "    </Piece>\n  </UnstructuredGrid>\n  <AppendedData encoding=\"raw\">\n   _";
    }

    void WriteArrays(Place place, const char* tag) {
        m_out << fmt::format("      <{}>\n", tag);
        std::int64_t offset = 0;
        for (const Array& array : m_arrays) {
            if (array.place == place) {
                m_out << fmt::format(
                    "        <{} type=\"{}\" Name=\"{}\" NumberOfComponents=\"{}\"{} "
                    "format=\"appended\" offset=\"{}\"/>\n",
                    array.type == kText ? "Array" : "DataArray", array.type,
                    ORQExcXmlEscaped(array.name), array.components, Attributes(array), offset);
            }
            // Offsets count all arrays in the order of writing, each behind a size of 8 bytes.
            offset += array.bytes + 8;
        }
        m_out << fmt::format("      </{}>\n", tag);
    }

    static std::string Attributes(const Array& array) {
        std::string text = array.place == Place::FieldData
                               ? fmt::format(" NumberOfTuples=\"{}\"", array.nTuples)
                               : "";
        for (std::size_t i = 0; i < array.componentNames.size(); ++i) {
            text += fmt::format(" ComponentName{}=\"{}\"", i,
                                ORQExcXmlEscaped(array.componentNames[i]));
        }
        return text;
    }

    void PutPoints() {
        const auto dimension = static_cast<std::size_t>(m_model.Dimension());
        for (int begin = 0; begin < m_model.NumNodes(); begin += kSlice) {
            const int end = std::min(begin + kSlice, m_model.NumNodes());
            const auto n = static_cast<std::size_t>(end - begin);
            std::vector<double> values(n * dimension);
            std::vector<double> points(n * 3, 0.0);
            if (dimension > 0) {
                m_model.ReadCoordinates(begin, end, values);
            }
            for (std::size_t i = 0; i < n; ++i) {
                std::copy_n(values.begin() + static_cast<std::ptrdiff_t>(i * dimension), dimension,
                            points.begin() + static_cast<std::ptrdiff_t>(3 * i));
            }
            PutAll(points);
        }
    }

    /// Calls f(block, first row, nodes) for slices of every block, nodes in the order of the model.
    template <class F>
    void ForEachSlice(F&& f) const {
        for (const ORQExcModel::Block& block : m_model.Blocks()) {
            for (int begin = 0; begin < block.elements.Size(); begin += kSlice) {
                const int end = std::min(begin + kSlice, block.elements.Size());
                std::vector<int> nodes(static_cast<std::size_t>(end - begin) *
                                       static_cast<std::size_t>(block.shape->nNodes));
                m_model.ReadConnectivity(block, begin, end, nodes);
                f(block, begin, nodes);
            }
        }
    }

    void PutConnectivity() {
        ForEachSlice([this](const ORQExcModel::Block& block, int, const std::vector<int>& nodes) {
            const auto nNodes = static_cast<std::size_t>(block.shape->nNodes);
            std::vector<std::int64_t> corners(nodes.size());
            for (std::size_t i = 0; i < nodes.size(); ++i) {
                const std::size_t place = i % nNodes;
                const std::size_t to = block.shape->vtkOrder.empty()
                                           ? place
                                           : static_cast<std::size_t>(block.shape->vtkOrder[place]);
                corners[i - place + to] = nodes[i];
            }
            PutAll(corners);
        });
    }

    void PutOffsets() {
        std::int64_t offset = 0;
        for (const ORQExcModel::Block& block : m_model.Blocks()) {
            std::vector<std::int64_t> offsets;
            for (int i = 0; i < block.elements.Size(); ++i) {
                offsets.push_back(offset += block.shape->nNodes);
            }
            PutAll(offsets);
        }
    }

    void PutTypes() {
        for (const ORQExcModel::Block& block : m_model.Blocks()) {
            PutAll(std::vector<std::uint8_t>(static_cast<std::size_t>(block.elements.Size()),
                                             static_cast<std::uint8_t>(block.shape->vtkType)));
        }
    }

    void PutBlockNumbers() {
        for (const ORQExcModel::Block& block : m_model.Blocks()) {
            PutAll(std::vector<std::int32_t>(static_cast<std::size_t>(block.elements.Size()),
                                             block.number));
        }
    }

    static std::vector<std::uint8_t> Marks(const ORQSimCSet& members, int count) {
        std::vector<std::uint8_t> marks(static_cast<std::size_t>(count), 0);
        for (ORQSimCSetIterator member(members); !member.IsDone(); member.Next()) {
            marks[static_cast<std::size_t>(member.CurrentValue())] = 1;
        }
        return marks;
    }

    /// Reorders values by element ordinal into the order of the cells.
    template <class T>
    std::vector<T> ByCell(const std::vector<T>& byElement) const {
        std::vector<T> byCell;
        byCell.reserve(static_cast<std::size_t>(m_nCells));
        for (const ORQExcModel::Block& block : m_model.Blocks()) {
            for (ORQSimCSetIterator element(block.elements); !element.IsDone(); element.Next()) {
                byCell.push_back(byElement[static_cast<std::size_t>(element.CurrentValue())]);
            }
        }
        return byCell;
    }

    const ORQExcModel& m_model;
    const ORQExcResults& m_results;
    std::vector<ORQExcResults::Field> m_fields;  // an array each
    int m_frame;
    std::filesystem::path m_path;
    const Shared& m_shared;
    std::ofstream m_out;
    std::vector<Array> m_arrays;
    std::int64_t m_nCells = 0;
    std::int64_t m_nCorners = 0;
    std::int64_t m_written = 0;
};

void ReportMesh(const ORQExcModel& model, const ShellColumns& shells, ORQExcReport& report) {
    if (const std::string title = model.Title(); !title.empty()) {
        report.Keep("title", title, 1);
    }
    report.Keep("nodes", "", model.NumNodes());
    for (const ORQExcModel::Block& block : model.Blocks()) {
        report.Keep("element block", block.name, block.elements.Size());
        if (const auto nColumns = std::ssize(shells.NamesOf(block)); nColumns > 0) {
            report.Keep("attributes of block", block.name, nColumns);
        }
    }
    shells.Report(report);
    for (const ORQExcModel::Set& set : model.NodeSets()) {
        report.Keep("node set", set.name, set.members.Size());
    }
    for (const ORQExcModel::Set* set : model.ElementSetsBesideBlocks()) {
        report.Keep("element set", set->name, set->members.Size());
    }
    for (const ORQExcModel::Surface& surface : model.Surfaces()) {
        report.Keep("surface", surface.name, static_cast<std::int64_t>(surface.faces.size()));
    }
}

void ReportResults(const ORQExcResults& results, std::int64_t nTimes, ORQExcReport& report) {
    report.Keep("times", "", nTimes);
    for (const ORQExcResults::Field& field : results.FieldsAtSpots()) {
        report.Keep(ORQExcFieldKind(field.place), field.name,
                    static_cast<std::int64_t>(field.components.size()));
    }
}

}  // namespace

void WriteVtu(const ORQExcModel& model, const ORQExcResults& results, const Output& output,
              ORQExcReport& report) {
    const auto nTimes = std::ssize(results.Frames());
    const Shared shared(model, report);
    VtuFile(model, shared, results, static_cast<int>(nTimes) - 1, output.file).Write();
    ReportMesh(model, shared.shells, report);
    if (nTimes > 0) {
        ReportResults(results, 1, report);
    }
    if (nTimes > 1) {
        report.Drop("times", "", nTimes - 1,
                    fmt::format("the file has room for one, and has the last, {}; a collection, "
                                ".pvd, takes all",
                                results.Frames().back().time));
    }
}

void WriteVtuCollection(const ORQExcModel& model, const ORQExcResults& results,
                        const Output& output, ORQExcReport& report) {
    const Shared shared(model, report);
    std::ofstream out(output.file, std::ios::binary);
    out << "<?xml version=\"1.0\"?>\n<VTKFile type=\"Collection\" version=\"1.0\" "
           "byte_order=\"LittleEndian\">\n  <Collection>\n";
    for (std::size_t frame = 0; frame < results.Frames().size(); ++frame) {
        const std::string name = fmt::format("time_{:04}.vtu", frame + 1);
        VtuFile(model, shared, results, static_cast<int>(frame), output.folder / name).Write();
        out << fmt::format("    <DataSet timestep=\"{}\" part=\"0\" file=\"{}/{}\"/>\n",
                           results.Frames()[frame].time, ORQExcXmlEscaped(output.folderName), name);
        output.Show(frame + 1, results.Frames().size());
    }
    if (results.Frames().empty()) {
        VtuFile(model, shared, results, -1, output.folder / "mesh.vtu").Write();
        out << fmt::format("    <DataSet timestep=\"0\" part=\"0\" file=\"{}/mesh.vtu\"/>\n",
                           ORQExcXmlEscaped(output.folderName));
    }
    out << "  </Collection>\n</VTKFile>\n";
    out.flush();
    if (!out) {
        throw ORQExcExportError(fmt::format("{}: cannot be written", output.file.string()));
    }
    ReportMesh(model, shared.shells, report);
    ReportResults(results, std::ssize(results.Frames()), report);
}

}  // namespace orq::exchange
