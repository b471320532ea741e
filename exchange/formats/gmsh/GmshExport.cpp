#include "formats/gmsh/GmshExport.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "ORQSimSchema.h"
#include "ads_ComponentSymbolsEnm.h"
#include "formats/gmsh/GmshText.h"
#include "model/ArrayNames.h"
#include "model/Numbering.h"

namespace orq::exchange {
namespace {

using Place = ORQExcResultArray::Place;

constexpr int kSlice = 1 << 16;  // nodes at a time; bounds the memory

/// Elements of one block that are in the same sets: a physical group consists of whole entities.
struct Entity {
    const ORQExcModel::Block* block;
    std::vector<int> groups;  ///< numbers of physical groups
    int tag;
    std::vector<int> elements;
    std::vector<int> rows;  ///< of the elements in their block
};

struct Group {
    int dimension;
    int number;
    std::string name;
};

/// A name between double quotes; the format has no escape for a quote within.
std::string Quoted(std::string name) {
    std::ranges::replace(name, '"', '\'');
    std::ranges::replace(name, '\n', ' ');
    return '"' + name + '"';
}

class GmshFile {
  public:
    GmshFile(const ORQExcModel& model, const ORQExcResults& results, const Output& output,
             ORQExcReport& report)
        : m_model(model),
          m_results(results),
          m_output(output),
          m_report(report),
          m_text(output.file),
          m_nodeLabels(model.NodeLabels()),
          m_elementLabels(model.ElementLabels()) {
        MakeLabelsUnique(m_nodeLabels, "node", report);
        MakeLabelsUnique(m_elementLabels, "element", report);
    }

    void Write() {
        m_text << "$MeshFormat\n4.1 0 8\n$EndMeshFormat\n";
        if (const std::string title = m_model.Title(); !title.empty()) {
            m_report.Drop("title", title, 1, "the format has no place for it");
        }
        m_text << "$Comments\n" << array_names::kViewsOfMesh << "\n$EndComments\n";
        CollectGroups();
        CollectEntities();
        WriteGroups();
        WriteEntities();
        WriteNodes();
        WriteElements();
        WriteShells();
        WriteNodeSets();
        WriteSurfaces();
        WriteAttributes();
        WriteResults();
        m_text.Close();
    }

  private:
    // --- Groups and entities ---------------------------------------------------------------------

    static bool IsWritten(const ORQExcModel::Block& block) { return block.shape->gmshType != 0; }

    /// Adds a set to the groups. A physical group has one dimension, so a set is a group for each
    /// that its elements have.
    void AddToGroups(const std::string& name, const ORQSimCSet& members) {
        std::array<int, 4> numbers{};
        for (ORQSimCSetIterator element(members); !element.IsDone(); element.Next()) {
            const auto ordinal = static_cast<std::size_t>(element.CurrentValue());
            const int block = m_blockOf[ordinal];
            if (block < 0) {
                continue;
            }
            const int dimension =
                m_model.Blocks()[static_cast<std::size_t>(block)].shape->dimension;
            int& number = numbers[static_cast<std::size_t>(dimension)];
            if (number == 0) {
                number = ++m_nGroups;
                m_groups.push_back({dimension, number, name});
            }
            m_signatures[ordinal] = SignatureWith(m_signatures[ordinal], number);
        }
    }

    /// Returns the signature of an element that joins a group.
    int SignatureWith(int signature, int group) {
        const auto [place, isNew] =
            m_joined.try_emplace({signature, group}, static_cast<int>(m_groupsOfSignature.size()));
        if (isNew) {
            m_groupsOfSignature.push_back(m_groupsOfSignature[static_cast<std::size_t>(signature)]);
            m_groupsOfSignature.back().push_back(group);
        }
        return place->second;
    }

    void CollectGroups() {
        m_blockOf.assign(static_cast<std::size_t>(m_model.NumElements()), -1);
        m_signatures.assign(m_blockOf.size(), 0);
        m_groupsOfSignature.emplace_back();
        for (std::size_t i = 0; i < m_model.Blocks().size(); ++i) {
            const ORQExcModel::Block& block = m_model.Blocks()[i];
            if (!IsWritten(block)) {
                m_report.Drop("element block", block.name, block.elements.Size(),
                              fmt::format("Gmsh has no {}", block.shape->name));
                continue;
            }
            for (ORQSimCSetIterator element(block.elements); !element.IsDone(); element.Next()) {
                m_blockOf[static_cast<std::size_t>(element.CurrentValue())] = static_cast<int>(i);
            }
            m_nElements += block.elements.Size();
            AddToGroups(block.name, block.elements);
            m_report.Keep("element block", block.name, block.elements.Size());
        }
        for (const ORQExcModel::Set* set : m_model.ElementSetsBesideBlocks()) {
            AddToGroups(set->name, set->members);
            m_report.Keep("element set", set->name, set->members.Size());
        }
    }

    void CollectEntities() {
        std::array<Numbers, 4> tags;
        for (const ORQExcModel::Block& block : m_model.Blocks()) {
            if (!IsWritten(block)) {
                continue;
            }
            std::map<int, std::size_t> placeOf;  // by signature
            int row = 0;
            for (ORQSimCSetIterator element(block.elements); !element.IsDone(); element.Next()) {
                const int ordinal = element.CurrentValue();
                const int signature = m_signatures[static_cast<std::size_t>(ordinal)];
                const auto [place, isNew] = placeOf.try_emplace(signature, m_entities.size());
                if (isNew) {
                    const auto dimension = static_cast<std::size_t>(block.shape->dimension);
                    m_entities.push_back({&block,
                                          m_groupsOfSignature[static_cast<std::size_t>(signature)],
                                          tags[dimension].Unique(block.number),
                                          {},
                                          {}});
                }
                m_entities[place->second].elements.push_back(ordinal);
                m_entities[place->second].rows.push_back(row++);
            }
        }
        m_signatures = {};
    }

    void WriteGroups() {
        m_text << "$PhysicalNames\n" << m_groups.size() << "\n";
        for (const Group& group : m_groups) {
            m_text << group.dimension << " " << group.number << " " << Quoted(group.name) << "\n";
        }
        m_text << "$EndPhysicalNames\n";
    }

    /// Writes the entities. Their bounds are for display only, so each has those of the model.
    /// Nodes lie on an entity too: all on the last one, which is made for them when there are no
    /// elements.
    void WriteEntities() {
        const std::array<double, 6> bounds = Bounds();
        std::array<int, 4> counts{};
        for (const Entity& entity : m_entities) {
            ++counts[static_cast<std::size_t>(entity.block->shape->dimension)];
        }
        if (m_entities.empty()) {
            counts[3] = 1;
        }
        m_text << "$Entities\n"
               << counts[0] << " " << counts[1] << " " << counts[2] << " " << counts[3] << "\n";
        for (int dimension = 0; dimension < 4; ++dimension) {
            for (const Entity& entity : m_entities) {
                if (entity.block->shape->dimension != dimension) {
                    continue;
                }
                m_text << entity.tag;
                for (std::size_t i = 0; i < (dimension == 0 ? 3 : bounds.size()); ++i) {
                    m_text << " " << bounds[i];
                }
                m_text << " " << entity.groups.size();
                for (const int group : entity.groups) {
                    m_text << " " << group;
                }
                m_text << (dimension == 0 ? "\n" : " 0\n");
            }
        }
        if (m_entities.empty()) {
            m_text << "1";
            for (const double bound : bounds) {
                m_text << " " << bound;
            }
            m_text << " 0 0\n";
        }
        m_text << "$EndEntities\n";
    }

    template <class F>
    void ForEachNode(F&& f) const {
        const auto dimension = static_cast<std::size_t>(m_model.Dimension());
        std::vector<double> values;
        for (int begin = 0; begin < m_model.NumNodes(); begin += kSlice) {
            const int end = std::min(begin + kSlice, m_model.NumNodes());
            values.resize(static_cast<std::size_t>(end - begin) * dimension);
            if (dimension > 0) {
                m_model.ReadCoordinates(begin, end, values);
            }
            for (int node = begin; node < end; ++node) {
                std::array<double, 3> point{};
                std::copy_n(
                    values.begin() + static_cast<std::ptrdiff_t>(
                                         static_cast<std::size_t>(node - begin) * dimension),
                    dimension, point.begin());
                f(point);
            }
        }
    }

    std::array<double, 6> Bounds() const {
        constexpr double kFar = std::numeric_limits<double>::max();
        std::array<double, 6> bounds = {kFar, kFar, kFar, -kFar, -kFar, -kFar};
        ForEachNode([&](const std::array<double, 3>& point) {
            for (std::size_t axis = 0; axis < 3; ++axis) {
                bounds[axis] = std::min(bounds[axis], point[axis]);
                bounds[axis + 3] = std::max(bounds[axis + 3], point[axis]);
            }
        });
        return m_model.NumNodes() == 0 ? std::array<double, 6>{} : bounds;
    }

    // --- Mesh ------------------------------------------------------------------------------------

    /// Writes the number of blocks and of objects, and the least and the greatest label.
    void WriteCounts(std::size_t nBlocks, std::int64_t count, const std::vector<int>& labels) {
        const auto [least, greatest] = std::ranges::minmax_element(labels);
        m_text << nBlocks << " " << count << " " << (labels.empty() ? 0 : *least) << " "
               << (labels.empty() ? 0 : *greatest) << "\n";
    }

    void WriteNodes() {
        m_text << "$Nodes\n";
        WriteCounts(1, m_model.NumNodes(), m_nodeLabels);
        const int dimension = m_entities.empty() ? 3 : m_entities.back().block->shape->dimension;
        m_text << dimension << " " << (m_entities.empty() ? 1 : m_entities.back().tag) << " 0 "
               << m_model.NumNodes() << "\n";
        for (const int label : m_nodeLabels) {
            m_text << label << "\n";
        }
        ForEachNode([&](const std::array<double, 3>& point) {
            m_text << point[0] << " " << point[1] << " " << point[2] << "\n";
        });
        m_text << "$EndNodes\n";
        m_report.Keep("nodes", "", m_model.NumNodes());
    }

    void WriteElements() {
        m_text << "$Elements\n";
        WriteCounts(m_entities.size(), m_nElements, m_elementLabels);
        const ORQExcModel::Block* read = nullptr;
        std::vector<int> nodes;
        for (const Entity& entity : m_entities) {
            // Entities of one block stand together, so its connectivity is read once.
            if (std::exchange(read, entity.block) != entity.block) {
                nodes.resize(static_cast<std::size_t>(entity.block->elements.Size()) *
                             static_cast<std::size_t>(entity.block->shape->nNodes));
                m_model.ReadConnectivity(*entity.block, 0, entity.block->elements.Size(), nodes);
            }
            WriteEntity(entity, nodes);
        }
        m_text << "$EndElements\n";
        std::int64_t nInBlocks = 0;
        for (const ORQExcModel::Block& block : m_model.Blocks()) {
            nInBlocks += block.elements.Size();
        }
        if (const auto missing = m_model.NumElements() - nInBlocks; missing > 0) {
            m_report.Drop("elements", "", missing, "they are in no block");
        }
    }

    void WriteEntity(const Entity& entity, const std::vector<int>& nodes) {
        const ORQExcShape& shape = *entity.block->shape;
        const auto nNodes = static_cast<std::size_t>(shape.nNodes);
        m_text << shape.dimension << " " << entity.tag << " " << shape.gmshType << " "
               << entity.elements.size() << "\n";
        std::vector<int> inOrder(nNodes);
        for (std::size_t i = 0; i < entity.elements.size(); ++i) {
            const std::size_t first = static_cast<std::size_t>(entity.rows[i]) * nNodes;
            for (std::size_t k = 0; k < nNodes; ++k) {
                const std::size_t to =
                    shape.gmshOrder.empty() ? k : static_cast<std::size_t>(shape.gmshOrder[k]);
                inOrder[to] = nodes[first + k];
            }
            m_text << m_elementLabels[static_cast<std::size_t>(entity.elements[i])];
            for (const int node : inOrder) {
                m_text << " " << m_nodeLabels[static_cast<std::size_t>(node)];
            }
            m_text << "\n";
        }
    }

    // --- Views -----------------------------------------------------------------------------------

    /// Writes the head of a view; `count` rows follow, then its end.
    void BeginView(Place place, const std::string& name, double time, std::size_t frame,
                   int nComponents, std::size_t count) {
        m_text << (place == Place::Node ? "$NodeData\n" : "$ElementData\n");
        WriteViewHead(name, time, frame, nComponents, count);
    }
    void WriteViewHead(const std::string& name, double time, std::size_t frame, int nComponents,
                       std::size_t count) {
        m_text << "1\n"
               << Quoted(name) << "\n1\n"
               << time << "\n3\n"
               << frame << "\n"
               << nComponents << "\n"
               << count << "\n";
    }
    void EndView(Place place) {
        m_text << (place == Place::Node ? "$EndNodeData\n" : "$EndElementData\n");
    }
    int LabelOf(Place place, int member) const {
        return (place == Place::Node ? m_nodeLabels
                                     : m_elementLabels)[static_cast<std::size_t>(member)];
    }

    /// Writes a view with one value for each of some members.
    void WriteView(Place place, const std::string& name, const std::map<int, double>& values) {
        BeginView(place, name, 0, 0, 1, values.size());
        for (const auto& [member, value] : values) {
            m_text << LabelOf(place, member) << " " << value << "\n";
        }
        EndView(place);
    }

    /// Marks the elements of shells, whose Gmsh types are those of plane elements.
    void WriteShells() {
        std::map<int, double> marks;
        for (const Entity& entity : m_entities) {
            const ORQExcShape& shape = *entity.block->shape;
            if (ORQExcFindShapeByGmshType(shape.gmshType) != &shape) {
                for (const int element : entity.elements) {
                    marks[element] = 1;
                }
            }
        }
        if (!marks.empty()) {
            WriteView(Place::Element, std::string(array_names::kShells), marks);
        }
    }

    void WriteNodeSets() {
        for (const ORQExcModel::Set& set : m_model.NodeSets()) {
            std::map<int, double> marks;
            for (ORQSimCSetIterator node(set.members); !node.IsDone(); node.Next()) {
                marks[node.CurrentValue()] = 1;
            }
            WriteView(Place::Node, std::string(array_names::kNodeSet) + set.name, marks);
            m_report.Keep("node set", set.name, set.members.Size());
        }
    }

    /// Writes surfaces. The value of an element is the sum of 2^side over its sides, which a double
    /// holds exactly.
    void WriteSurfaces() {
        for (const ORQExcModel::Surface& surface : m_model.Surfaces()) {
            std::map<int, double> sides;
            for (const ORQExcModel::Face& face : surface.faces) {
                if (m_blockOf[static_cast<std::size_t>(face.element)] >= 0) {
                    sides[face.element] += std::ldexp(1.0, face.side);
                }
            }
            WriteView(Place::Element, std::string(array_names::kSurface) + surface.name, sides);
            m_report.Keep("surface", surface.name, static_cast<std::int64_t>(surface.faces.size()));
        }
    }

    void WriteAttributes() {
        std::map<std::string, std::map<int, double>> values;
        for (const ORQExcModel::Block& block : m_model.Blocks()) {
            if (block.attributes.empty() || !IsWritten(block)) {
                continue;
            }
            const std::size_t nAttributes = block.attributes.size();
            std::vector<double> rows(static_cast<std::size_t>(block.elements.Size()) * nAttributes);
            m_model.ReadAttributes(block, 0, block.elements.Size(), rows);
            for (std::size_t i = 0; i < rows.size(); ++i) {
                if (!std::isnan(rows[i])) {
                    values[block.attributes[i % nAttributes]]
                          [block.elements[static_cast<int>(i / nAttributes)]] = rows[i];
                }
            }
            m_report.Keep("attributes of block", block.name,
                          static_cast<std::int64_t>(nAttributes));
        }
        for (const auto& [name, ofElements] : values) {
            WriteView(Place::Element, std::string(array_names::kAttribute) + name, ofElements);
        }
    }

    // --- Results ---------------------------------------------------------------------------------

    void WriteResults() {
        if (!m_results.Frames().empty()) {
            m_report.Keep("times", "", static_cast<std::int64_t>(m_results.Frames().size()));
        }
        const std::vector<ORQExcResults::Field> fields = FieldsOfViews();
        const std::size_t nFrames = m_results.Frames().size();
        std::size_t nDone = 0;
        for (const ORQExcResults::Field& field : fields) {
            const auto nComponents = std::ssize(field.components);
            if (field.place == Place::Model) {
                m_report.Drop(ORQExcFieldKind(field.place), field.name, nComponents,
                              "Gmsh has values of nodes and elements only");
                continue;
            }
            for (std::size_t frame = 0; frame < nFrames; ++frame) {
                m_output.Show(nDone * nFrames + frame + 1, fields.size() * nFrames + 1);
                WriteFrame(field, frame);
            }
            m_report.Keep(ORQExcFieldKind(field.place), field.name, nComponents);
            ++nDone;
        }
    }

    /// The format has values of the nodes of elements; other points, and layers, are views of their
    /// own.
    std::vector<ORQExcResults::Field> FieldsOfViews() const {
        std::vector<ORQExcResults::Field> fields;
        for (const ORQExcResults::Field& field : m_results.Fields()) {
            const bool isAtNodes =
                field.gridType == ORQSimSchema::Field_ElementNodal && !field.hasLayers;
            for (const ORQExcSpot& spot :
                 isAtNodes ? std::vector{field.spot} : m_results.SpotsOf(field)) {
                fields.push_back(m_results.AtSpot(field, spot));
            }
        }
        return fields;
    }

    /// Whether one view can have all components: the format takes three for x, y and z, and nine for
    /// the rows of a tensor.
    static bool IsOneView(const ORQExcResults::Field& field) {
        std::vector<int> codes;
        for (const ORQExcResults::Component& component : field.components) {
            codes.push_back(component.code);
        }
        return codes == std::vector<int>{ads_Component1, ads_Component2, ads_Component3} ||
               codes == std::vector<int>{ads_Component11, ads_Component12, ads_Component13,
                                         ads_Component21, ads_Component22, ads_Component23,
                                         ads_Component31, ads_Component32, ads_Component33};
    }

    /// Writes vectors and whole tensors as views, since the format has 1, 3 or 9 components; of
    /// other fields each component is a view.
    void WriteFrame(const ORQExcResults::Field& field, std::size_t frame) {
        if (field.HasSpots()) {
            const std::size_t all = field.components.size();
            const std::size_t atOnce = IsOneView(field) ? all : 1;
            for (std::size_t first = 0; first < all; first += atOnce) {
                WriteNodesOfElements(field, frame, first, atOnce);
            }
            return;
        }
        const ORQSimCSet members =
            field.place == Place::Node ? m_model.Nodes() : m_model.Elements();
        const std::size_t n = field.components.size();
        std::vector<double> values(static_cast<std::size_t>(members.Size()) * n);
        m_results.Read(field, static_cast<int>(frame), members, values);
        if (IsOneView(field)) {
            WriteValues(field.place, field.name, frame, values, n, 0, n);
            return;
        }
        for (std::size_t k = 0; k < n; ++k) {
            WriteValues(field.place, field.components[k].label, frame, values, n, k, 1);
        }
    }

    struct NodesOfElements {
        const ORQExcShape* shape;
        std::vector<int> elements;
        std::vector<double> values;  // [elements][nodes][components of the field]
    };

    /// Adds the elements of a view that have values; nodes for which there is none have NaN.
    void AddNodesOfElements(const ORQExcResults::Field& field, int frame,
                            const ORQObjFieldView& view, NodesOfElements& rows) const {
        const std::size_t nComponents = field.components.size();
        const auto nNodes = static_cast<std::size_t>(rows.shape->nNodes);
        const std::size_t nGiven =
            std::min(nNodes, static_cast<std::size_t>(view.points.Last() + 1)) * nComponents;
        std::vector<double> values(static_cast<std::size_t>(view.members.Size()) * nGiven);
        m_results.ReadView(field, frame,
                           {view.members, {}, {}, {0, static_cast<int>(nGiven / nComponents) - 1}},
                           values);
        auto begin = values.begin();
        for (int i = 0; i < view.members.Size(); ++i) {
            const auto end = begin + static_cast<std::ptrdiff_t>(nGiven);
            if (!std::all_of(begin, end, [](double value) { return std::isnan(value); })) {
                rows.elements.push_back(view.members[i]);
                rows.values.insert(rows.values.end(), begin, end);
                rows.values.resize(rows.elements.size() * nNodes * nComponents,
                                   std::numeric_limits<double>::quiet_NaN());
            }
            begin = end;
        }
    }

    /// Writes components [first, first + count) at the nodes of each element that has values.
    void WriteNodesOfElements(const ORQExcResults::Field& field, std::size_t frame,
                              std::size_t first, std::size_t count) {
        std::vector<NodesOfElements> all;
        std::size_t nElements = 0;
        const std::size_t nComponents = field.components.size();
        for (const ORQExcModel::Block& block : m_model.Blocks()) {
            if (!IsWritten(block)) {
                continue;
            }
            NodesOfElements rows{block.shape, {}, {}};
            for (const ORQObjFieldView& view :
                 m_results.ViewsOf(field, static_cast<int>(frame), block.elements)) {
                AddNodesOfElements(field, static_cast<int>(frame), view, rows);
            }
            nElements += rows.elements.size();
            all.push_back(std::move(rows));
        }
        m_text << "$ElementNodeData\n";
        WriteViewHead(count == 1 ? field.components[first].label : field.name,
                      m_results.Frames()[frame].time, frame, static_cast<int>(count), nElements);
        for (const NodesOfElements& rows : all) {
            const auto nNodes = static_cast<std::size_t>(rows.shape->nNodes);
            // Ours at place k stands at place gmshOrder[k] there.
            std::vector<std::size_t> ours(nNodes);
            for (std::size_t k = 0; k < nNodes; ++k) {
                ours[rows.shape->gmshOrder.empty()
                         ? k
                         : static_cast<std::size_t>(rows.shape->gmshOrder[k])] = k;
            }
            for (std::size_t i = 0; i < rows.elements.size(); ++i) {
                m_text << LabelOf(Place::Element, rows.elements[i]) << " " << rows.shape->nNodes;
                for (const std::size_t node : ours) {
                    for (std::size_t k = first; k < first + count; ++k) {
                        m_text << " " << rows.values[(i * nNodes + node) * nComponents + k];
                    }
                }
                m_text << "\n";
            }
        }
        m_text << "$EndElementNodeData\n";
    }

    /// Writes columns [first, first + count) of the values; a member with none of them is left out.
    void WriteValues(Place place, const std::string& name, std::size_t frame,
                     const std::vector<double>& values, std::size_t nColumns, std::size_t first,
                     std::size_t count) {
        std::vector<int> members;
        for (std::size_t row = 0; row * nColumns < values.size(); ++row) {
            const bool isElement = place == Place::Element;
            const auto begin = values.begin() + static_cast<std::ptrdiff_t>(row * nColumns + first);
            if ((!isElement || m_blockOf[row] >= 0) &&
                !std::all_of(begin, begin + static_cast<std::ptrdiff_t>(count),
                             [](double value) { return std::isnan(value); })) {
                members.push_back(static_cast<int>(row));
            }
        }
        BeginView(place, name, m_results.Frames()[frame].time, frame, static_cast<int>(count),
                  members.size());
        for (const int member : members) {
            m_text << LabelOf(place, member);
            for (std::size_t k = 0; k < count; ++k) {
                m_text << " " << values[static_cast<std::size_t>(member) * nColumns + first + k];
            }
            m_text << "\n";
        }
        EndView(place);
    }

    const ORQExcModel& m_model;
    const ORQExcResults& m_results;
    const Output& m_output;
    ORQExcReport& m_report;
    GmshText m_text;
    std::vector<int> m_nodeLabels;
    std::vector<int> m_elementLabels;
    std::vector<int> m_blockOf;  // by element; -1 for one that is not written
    // Which groups an element is in is a number, its signature, so that a model of millions of
    // elements costs 4 bytes for each.
    std::vector<int> m_signatures;
    std::vector<std::vector<int>> m_groupsOfSignature;
    std::map<std::pair<int, int>, int> m_joined;  // by signature and group
    std::vector<Group> m_groups;
    std::vector<Entity> m_entities;
    std::int64_t m_nElements = 0;
    int m_nGroups = 0;
};

}  // namespace

void WriteGmsh(const ORQExcModel& model, const ORQExcResults& results, const Output& output,
               ORQExcReport& report) {
    GmshFile(model, results, output, report).Write();
}

}  // namespace orq::exchange
