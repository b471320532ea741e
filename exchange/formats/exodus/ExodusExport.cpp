#include "formats/exodus/ExodusExport.h"

#include <exodusII.h>
#include <fmt/format.h>
#include <netcdf.h>

#include <algorithm>
#include <array>
#include <limits>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "ORQExcExportError.h"
#include "ORQSimDistribution.h"
#include "formats/exodus/ExodusArrays.h"
#include "formats/exodus/ExodusNames.h"
#include "formats/exodus/ExodusResultExport.h"
#include "model/KeptArrays.h"
#include "model/Numbering.h"
#include "model/ShellColumns.h"

namespace orq::exchange {
namespace {

constexpr int kNodesAtOnce = 1 << 17;  // nodes at a time; bounds the memory
constexpr int kLeastNumber = 0;        // of blocks and sets; some programs begin at 0

class ExodusFile {
  public:
    ExodusFile(const ORQExcModel& model, const ORQExcResults& results, const Output& output,
               ORQExcReport& report)
        : m_model(model),
          m_results(results),
          m_output(output),
          m_path(output.file),
          m_report(report),
          m_shells(model),
          m_surfaces(model.Surfaces()) {
        for (const KeptArray& kept : KeptArrays(model.Document())) {
            if (kept.format == "Exodus II") {
                m_kept.push_back(kept);
            }
        }
        m_elementSets = InOrder(model.ElementSetsBesideBlocks(), "els_prop1");
        for (const ORQExcModel::Set& set : model.NodeSets()) {
            m_nodeSets.push_back(&set);
        }
        m_nodeSets = InOrder(std::move(m_nodeSets), "ns_prop1");
        std::vector<const ORQExcModel::Surface*> surfaces;
        for (const ORQExcModel::Surface& surface : m_surfaces) {
            surfaces.push_back(&surface);
        }
        m_orderedSurfaces = InOrder(std::move(surfaces), "ss_prop1");
        int realSize = sizeof(double);
        ex_opts(0);
        // A large model is netCDF classic with 64-bit offsets.
        m_id = ex_create(m_path.c_str(), EX_CLOBBER | EX_LARGE_MODEL, &realSize, &realSize);
        Check(m_id, "create the file");
    }
    ~ExodusFile() {
        if (m_id >= 0) {
            ex_close(m_id);
        }
    }
    ExodusFile(const ExodusFile&) = delete;
    ExodusFile& operator=(const ExodusFile&) = delete;

    void Write() {
        WriteSizes();
        DefineBlocks();
        WriteLabels(EX_NODE_MAP, m_model.NodeLabels(), "node");
        WriteElementLabels();
        WriteNodeSets();
        WriteElementSets();
        WriteSurfaces();
        WriteProperties(EX_ELEM_BLOCK, m_model.Blocks());
        WriteProperties(EX_NODE_SET, m_nodeSets);
        WriteProperties(EX_SIDE_SET, m_orderedSurfaces);
        // Kept arrays and results are defined before coordinates and connectivity are written,
        // which a later definition could move.
        ExodusResultExport results(m_id, m_path, m_model, m_results, m_report);
        WriteExodusArrays(m_id, m_path, m_kept, std::ssize(m_results.Frames()), m_report);
        results.Define();
        WriteNodes();
        WriteBlocks();
        results.Write(m_blockNumbers, m_output);
        // Closing writes what is buffered, so its status counts; the destructor would drop it.
        const int id = std::exchange(m_id, -1);
        Check(ex_close(id), "close the file");
    }

  private:
    void Check(int status, std::string_view doing) const {
        if (status < 0) {
            throw ORQExcExportError(
                fmt::format("{}: cannot {} (Exodus status {})", m_path.string(), doing, status));
        }
    }

    void WriteSizes() {
        // 32 bytes is the length that the library has by itself.
        std::size_t longest = 32;
        const auto measure = [&](const auto& objects) {
            for (const auto& object : objects) {
                longest = std::max(longest, object.name.size());
            }
        };
        measure(m_model.Blocks());
        measure(m_model.NodeSets());
        measure(m_model.ElementSets());
        measure(m_surfaces);
        for (const ORQExcModel::Block& block : m_model.Blocks()) {
            for (const std::string& name : m_shells.NamesOf(block)) {
                longest = std::max(longest, name.size());
            }
        }
        for (const ORQExcResults::Field& field : m_results.FieldsAtSpots()) {
            for (const ORQExcResults::Component& component : field.components) {
                longest = std::max(longest, component.label.size());
            }
        }
        ex_set_max_name_length(m_id, static_cast<int>(std::min(longest, kLongestExodusName)));

        ex_init_params sizes{};
        const std::string title = m_model.Title().substr(0, MAX_LINE_LENGTH);
        if (title != m_model.Title()) {
            m_report.Change("title", m_model.Title(), 1,
                            fmt::format("it is cut to {} bytes", MAX_LINE_LENGTH));
        } else if (!title.empty()) {
            m_report.Keep("title", title, 1);
        }
        std::copy(title.begin(), title.end(), sizes.title);
        sizes.num_dim = std::max(m_model.Dimension(), 1);
        sizes.num_nodes = m_model.NumNodes();
        for (const ORQExcModel::Block& block : m_model.Blocks()) {
            sizes.num_elem += block.elements.Size();
        }
        if (const auto missing = m_model.NumElements() - sizes.num_elem; missing > 0) {
            m_report.Drop("elements", "", missing, "they are in no block");
        }
        sizes.num_elem_blk = static_cast<std::int64_t>(m_model.Blocks().size());
        sizes.num_node_sets = static_cast<std::int64_t>(m_model.NodeSets().size());
        sizes.num_elem_sets = static_cast<std::int64_t>(m_elementSets.size());
        sizes.num_side_sets = static_cast<std::int64_t>(m_surfaces.size());
        Check(ex_put_init_ext(m_id, &sizes), "write the sizes");
        ReserveHeader();
    }

    /// Reserves header space for all definitions to come. A netCDF classic file moves all its data
    /// when a definition makes its header longer.
    void ReserveHeader() const {
        constexpr std::size_t kBytesEach = 512;  // of a variable with its dimensions and attributes
        std::size_t nVariables = 100 + 5 * m_model.Blocks().size() + 5 * m_model.NodeSets().size() +
                                 5 * m_elementSets.size() + 6 * m_surfaces.size() +
                                 3 * m_kept.size();
        for (const ORQExcResults::Field& field : m_results.FieldsAtSpots()) {
            const bool isOfElements = field.place == ORQExcResultArray::Place::Element;
            nVariables += field.components.size() * (isOfElements ? m_model.Blocks().size() : 1);
        }
        const bool isReserved = nc_redef(m_id) == NC_NOERR &&
                                nc__enddef(m_id, nVariables * kBytesEach, 4, 0, 4) == NC_NOERR;
        Check(isReserved ? 0 : -1, "write the sizes");
    }

    void WriteNodes() {
        const int nNodes = m_model.NumNodes();
        const auto dimension = static_cast<std::size_t>(m_model.Dimension());
        for (int begin = 0; begin < nNodes && dimension > 0; begin += kNodesAtOnce) {
            const int end = std::min(begin + kNodesAtOnce, nNodes);
            const auto n = static_cast<std::size_t>(end - begin);
            std::vector<double> values(n * dimension);
            m_output.Show(0, 1);  // a caller may want to give up
            m_model.ReadCoordinates(begin, end, values);
            std::array<std::vector<double>, 3> axes;
            for (std::size_t axis = 0; axis < dimension; ++axis) {
                axes[axis].resize(n);
                for (std::size_t i = 0; i < n; ++i) {
                    axes[axis][i] = values[i * dimension + axis];
                }
            }
            Check(ex_put_partial_coord(m_id, begin + 1, end - begin, axes[0].data(), axes[1].data(),
                                       axes[2].data()),
                  "write coordinates");
        }
        m_report.Keep("nodes", "", nNodes);
    }

    /// Labels in file order; what has none gets one above all others.
    void WriteLabels(ex_entity_type kind, std::vector<int> labels, std::string_view what) {
        if (labels.empty()) {
            return;
        }
        MakeLabelsUnique(labels, what, m_report);
        Check(ex_put_id_map(m_id, kind, labels.data()), "write labels");
    }

    /// An object whose name the import made up has none in the file; the next import makes it
    /// again.
    void PutName(ex_entity_type kind, int number, std::string_view what, const std::string& name) {
        if (name == fmt::format("{} {}", what, number)) {
            return;
        }
        Check(ex_put_name(m_id, kind, number, FittingName(what, name, m_report).c_str()),
              "write a name");
    }

    static const ORQExcModel::Properties& PropertiesOf(const ORQExcModel::Block& block) {
        return block.properties;
    }
    template <class Object>
    static const ORQExcModel::Properties& PropertiesOf(const Object* object) {
        return object->properties;
    }

    /// Takes the values of a kept array of integers out of the arrays to write; empty without such
    /// an array.
    std::vector<int> TakeIntegers(const std::string& name) {
        std::vector<int> values;
        const auto found = std::ranges::find_if(
            m_kept, [&](const KeptArray& kept) { return kept.array.name == name; });
        if (found != m_kept.end()) {
            if (found->array.scalarType == ORQSimScalarInt && found->array.dimensions.size() == 1) {
                values.resize(static_cast<std::size_t>(found->array.NumRows()));
                ReadKeptRows(*found, 0, static_cast<int>(values.size()), values.data());
            }
            m_kept.erase(found);
        }
        return values;
    }

    /// Returns the sets in the order of the kept numbers, those without one last.
    template <class Set>
    std::vector<const Set*> InOrder(std::vector<const Set*> sets, const std::string& numbersName) {
        const std::vector<int> numbers = TakeIntegers(numbersName);
        std::ranges::stable_sort(sets, {}, [&](const Set* set) {
            return std::ranges::find(numbers, set->number) - numbers.begin();
        });
        return sets;
    }

    /// Writes each property for all objects of a kind, as the format demands; 0 where an object has
    /// none.
    template <class Objects>
    void WriteProperties(ex_entity_type kind, const Objects& objects) {
        std::set<std::string> names;
        for (const auto& object : objects) {
            for (const auto& [name, value] : PropertiesOf(object)) {
                names.insert(name);
            }
        }
        for (const std::string& name : names) {
            std::vector<int> values;
            for (const auto& object : objects) {
                const ORQExcModel::Properties& properties = PropertiesOf(object);
                const auto found = std::ranges::find(
                    properties, name, [](const auto& property) { return property.first; });
                values.push_back(found == properties.end() ? 0 : found->second);
            }
            Check(ex_put_prop_array(m_id, kind, name.c_str(), values.data()), "write a property");
        }
    }

    /// Whether a block is empty and its file gave an unknown shape, or none.
    static bool IsWithoutShape(const ORQExcModel::Block& block) {
        return block.elements.IsEmpty() && std::string_view(block.shape->name) == "SPHERE" &&
               ORQExcFindShapeByExodusName(block.shapeName, block.shape->nNodes) == nullptr;
    }

    /// The spelling of the block where readers of the format take it for the same shape; else that
    /// of the shape.
    static std::string SpelledShape(const ORQExcModel::Block& block) {
        return IsWithoutShape(block) || IsExodusNameOf(block.shapeName, *block.shape)
                   ? block.shapeName
                   : ExodusNameOf(*block.shape);
    }

    void DefineBlocks() {
        Numbers numbers(kLeastNumber);
        for (const ORQExcModel::Block& block : m_model.Blocks()) {
            const int number = numbers.Unique(block.number);
            m_blockNumbers.push_back(number);
            Check(
                ex_put_block(m_id, EX_ELEM_BLOCK, number, SpelledShape(block).c_str(),
                             block.elements.Size(), IsWithoutShape(block) ? 0 : block.shape->nNodes,
                             0, 0, std::ssize(m_shells.NamesOf(block))),
                "write an element block");
            PutName(EX_ELEM_BLOCK, number, "element block", block.name);
        }
    }

    void WriteElementLabels() {
        const std::vector<int> labels = m_model.ElementLabels();
        std::vector<int> labelsInFile;
        labelsInFile.reserve(labels.size());
        m_placeOf.assign(labels.size(), 0);
        for (const ORQExcModel::Block& block : m_model.Blocks()) {
            for (ORQSimCSetIterator element(block.elements); !element.IsDone(); element.Next()) {
                const auto ordinal = static_cast<std::size_t>(element.CurrentValue());
                labelsInFile.push_back(labels[ordinal]);
                m_placeOf[ordinal] = static_cast<int>(labelsInFile.size());
            }
        }
        WriteLabels(EX_ELEM_MAP, std::move(labelsInFile), "element");
    }

    void WriteBlocks() {
        for (std::size_t i = 0; i < m_model.Blocks().size(); ++i) {
            const ORQExcModel::Block& block = m_model.Blocks()[i];
            m_output.Show(0, 1);
            WriteConnectivity(block, m_blockNumbers[i]);
            WriteAttributes(block, m_blockNumbers[i]);
            m_report.Keep("element block", block.name, block.elements.Size());
        }
        m_shells.Report(m_report);
    }

    void WriteConnectivity(const ORQExcModel::Block& block, int number) const {
        // The Exodus library takes the rows of a block at once only.
        const int nElements = block.elements.Size();
        std::vector<int> nodes(static_cast<std::size_t>(nElements) *
                               static_cast<std::size_t>(block.shape->nNodes));
        m_model.ReadConnectivity(block, 0, nElements, nodes);
        for (int& node : nodes) {
            ++node;  // the file counts from 1
        }
        if (!nodes.empty()) {
            Check(ex_put_conn(m_id, EX_ELEM_BLOCK, number, nodes.data(), nullptr, nullptr),
                  "write connectivity");
        }
    }

    void WriteAttributes(const ORQExcModel::Block& block, int number) const {
        std::vector<std::string> names = m_shells.NamesOf(block);
        if (names.empty() || block.elements.IsEmpty()) {
            return;
        }
        const std::vector<double> values = m_shells.ReadAll(block);
        Check(ex_put_attr(m_id, EX_ELEM_BLOCK, number, values.data()), "write attributes");
        std::vector<char*> pointers;
        for (std::string& name : names) {
            name = FittingName("attribute", name, m_report);
            pointers.push_back(name.data());
        }
        Check(ex_put_attr_names(m_id, EX_ELEM_BLOCK, number, pointers.data()),
              "write attribute names");
        m_report.Keep("attributes of block", block.name, std::ssize(names));
    }

    /// Returns the places of members in the file, from 1; members that the file lacks are left out.
    std::vector<int> InFile(const ORQSimCSet& elements) const {
        std::vector<int> places;
        for (ORQSimCSetIterator element(elements); !element.IsDone(); element.Next()) {
            const int place = m_placeOf[static_cast<std::size_t>(element.CurrentValue())];
            if (place > 0) {
                places.push_back(place);
            }
        }
        return places;
    }

    void WriteSet(ex_entity_type kind, int number, const std::string& name, std::string_view what,
                  const std::vector<int>& members, const std::vector<int>& sides = {}) {
        Check(ex_put_set_param(m_id, kind, number, static_cast<std::int64_t>(members.size()), 0),
              "write a set");
        if (!members.empty()) {
            Check(ex_put_set(m_id, kind, number, members.data(),
                             sides.empty() ? nullptr : sides.data()),
                  "write the members of a set");
        }
        PutName(kind, number, what, name);
        m_report.Keep(what, name, static_cast<std::int64_t>(members.size()));
    }

    static std::vector<int> EachOnce(std::vector<int> members) {
        std::ranges::sort(members);
        members.erase(std::unique(members.begin(), members.end()), members.end());
        return members;
    }

    void WriteNodeSets() {
        Numbers numbers(kLeastNumber);
        for (std::size_t i = 0; i < m_nodeSets.size(); ++i) {
            const ORQExcModel::Set& set = *m_nodeSets[i];
            std::vector<int> nodes(static_cast<std::size_t>(set.members.Size()));
            set.members.OrderedMembers(nodes.data());
            for (int& node : nodes) {
                ++node;
            }
            // The list of the file has its order and repeated members; it holds as long as the
            // members are the same.
            if (std::vector<int> kept = TakeIntegers(fmt::format("node_ns{}", i + 1));
                EachOnce(kept) == EachOnce(nodes)) {
                nodes = std::move(kept);
            }
            WriteSet(EX_NODE_SET, numbers.Unique(set.number), set.name, "node set", nodes);
        }
    }

    void WriteElementSets() {
        Numbers numbers(kLeastNumber);
        for (const ORQExcModel::Set* set : m_elementSets) {
            WriteSet(EX_ELEM_SET, numbers.Unique(set->number), set->name, "element set",
                     InFile(set->members));
        }
    }

    void WriteSurfaces() {
        Numbers numbers(kLeastNumber);
        for (std::size_t i = 0; i < m_orderedSurfaces.size(); ++i) {
            const ORQExcModel::Surface& surface = *m_orderedSurfaces[i];
            Sides sides;
            for (const ORQExcModel::Face& face : surface.faces) {
                const int place = m_placeOf[static_cast<std::size_t>(face.element)];
                if (place > 0) {
                    sides.elements.push_back(place);
                    sides.numbers.push_back(face.side + 1);
                }
            }
            if (Sides kept = {TakeIntegers(fmt::format("elem_ss{}", i + 1)),
                              TakeIntegers(fmt::format("side_ss{}", i + 1))};
                kept.IsSameAs(sides)) {
                sides = std::move(kept);
            }
            WriteSet(EX_SIDE_SET, numbers.Unique(surface.number), surface.name, "side set",
                     sides.elements, sides.numbers);
        }
    }

    struct Sides {
        std::vector<int> elements;
        std::vector<int> numbers;

        /// Whether the sides are the same, in whatever order and however often.
        bool IsSameAs(const Sides& other) const { return AsSet() == other.AsSet(); }
        std::set<std::pair<int, int>> AsSet() const {
            std::set<std::pair<int, int>> sides;
            for (std::size_t i = 0; i < std::min(elements.size(), numbers.size()); ++i) {
                sides.emplace(elements[i], numbers[i]);
            }
            return sides;
        }
    };

    const ORQExcModel& m_model;
    const ORQExcResults& m_results;
    const Output& m_output;
    std::filesystem::path m_path;
    ORQExcReport& m_report;
    ShellColumns m_shells;
    std::vector<KeptArray> m_kept;
    std::vector<const ORQExcModel::Set*> m_nodeSets;  // in the order of the file
    std::vector<const ORQExcModel::Set*> m_elementSets;
    std::vector<ORQExcModel::Surface> m_surfaces;
    std::vector<const ORQExcModel::Surface*> m_orderedSurfaces;
    std::vector<int> m_blockNumbers;  // in the file, by block
    std::vector<int> m_placeOf;       // in the file, from 1, by ordinal
    int m_id = -1;
};

}  // namespace

void WriteExodus(const ORQExcModel& model, const ORQExcResults& results, const Output& output,
                 ORQExcReport& report) {
    ExodusFile(model, results, output, report).Write();
}

}  // namespace orq::exchange
