#include "formats/gmsh/GmshViews.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <string>
#include <utility>

#include "ORQSimSchema.h"
#include "ads_ComponentSymbolsEnm.h"
#include "formats/gmsh/GmshTypes.h"
#include "model/ArrayNames.h"
#include "model/NoValue.h"

namespace orq::exchange {
namespace {

using Place = ORQExcResultArray::Place;

class GmshViewWriter {
  public:
    GmshViewWriter(const ORQExcModel& model, const ORQExcResults& results,
                   const GmshMembers& members, const Output& output, GmshText& text,
                   ORQExcReport& report)
        : m_model(model),
          m_results(results),
          m_nodeLabels(members.nodeNumbers),
          m_elementLabels(members.elementNumbers),
          m_blockOf(members.blockOf),
          m_output(output),
          m_text(text),
          m_report(report) {}

    void Write() {
        WriteShells();
        WriteNodeSets();
        WriteSurfaces();
        WriteAttributes();
        WriteResults();
    }

  private:
    /// Writes the head of a view; `count` rows follow, then its end.
    void BeginView(Place place, const std::string& name, double time, std::size_t frame,
                   int nComponents, std::size_t count) {
        m_text << (place == Place::Node ? "$NodeData\n" : "$ElementData\n");
        WriteViewHead(name, time, frame, nComponents, count);
    }
    void WriteViewHead(const std::string& name, double time, std::size_t frame, int nComponents,
                       std::size_t count) {
        m_text << "1\n"
               << GmshQuoted(name) << "\n1\n"
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
        for (const ORQExcModel::Block& block : m_model.Blocks()) {
            const ORQExcShape& shape = *block.shape;
            if (IsGmshShape(shape) && ORQExcFindShapeByGmshType(shape.gmshType) != &shape) {
                for (ORQSimCSetIterator element(block.elements); !element.IsDone();
                     element.Next()) {
                    marks[element.CurrentValue()] = 1;
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
            if (block.attributes.empty() || !IsGmshShape(*block.shape)) {
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
                rows.values.resize(rows.elements.size() * nNodes * nComponents, kNoValue);
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
            if (!IsGmshShape(*block.shape)) {
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
    const std::vector<int>& m_nodeLabels;
    const std::vector<int>& m_elementLabels;
    const std::vector<int>& m_blockOf;
    const Output& m_output;
    GmshText& m_text;
    ORQExcReport& m_report;
};

}  // namespace

void WriteGmshViews(const ORQExcModel& model, const ORQExcResults& results,
                    const GmshMembers& members, const Output& output, GmshText& text,
                    ORQExcReport& report) {
    GmshViewWriter(model, results, members, output, text, report).Write();
}

}  // namespace orq::exchange
