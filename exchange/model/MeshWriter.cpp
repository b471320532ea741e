#include <fmt/format.h>

#include <algorithm>
#include <cstddef>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "ORQExcImportError.h"
#include "ORQExcMeshWriter.h"
#include "ORQExcModel.h"
#include "ORQObjMesh.h"
#include "ORQObjModelBuilder.h"
#include "ORQSimCollection.h"
#include "ORQSimDataRecord.h"
#include "ORQSimRecordFields.h"
#include "ORQSimSchema.h"
#include "ORQSimTransfer.h"
#include "ORQSrvElementConnectivity.h"
#include "ORQSrvEltClassificationBuilder.h"
#include "ORQSrvNodalCoordinates.h"
#include "ORQSrvSurfaceNodalAreas.h"
#include "model/KeptArrays.h"
#include "model/ResultWriter.h"
#include "model/SurfaceAreas.h"

using namespace orq::exchange;

namespace {

/// The names of one map of the database: never empty, each once.
class Names {
  public:
    explicit Names(ORQExcReport& report) : m_report(report) {}

    std::string Unique(std::string_view kind, const std::string& name, int number) {
        // Malformed UTF-8 becomes U+FFFD here, as it would in the database.
        std::string unique =
            name.empty() ? fmt::format("{} {}", kind, number) : ORQString(name).UTF8();
        while (m_taken.contains(unique)) {
            unique += fmt::format(" ({})", number);
        }
        m_taken.insert(unique);
        if (unique != name) {
            m_report.Change(
                kind, unique, 1,
                name.empty() ? "it had no name" : fmt::format("the name \"{}\" was taken", name));
        }
        return unique;
    }

  private:
    ORQExcReport& m_report;
    std::set<std::string> m_taken;
};

class ModelWriter {
  public:
    ModelWriter(ORQExcMeshSource& source, const ORQSimDatabase& database,
                ORQSimTransaction& transaction, const ORQExcMeshWriterOptions& options,
                ORQExcReport& report)
        : m_source(source),
          m_transaction(transaction),
          m_options(options),
          m_report(report),
          m_builder(database),
          m_connectivity(m_builder.Connectivity(), options.elementsPerChunk),
          m_surfaces(source) {}

    void Write() {
        for (const ORQExcMeshSource::Block& block : m_source.Blocks()) {
            m_nElements += block.nElements;
        }
        ORQExcResultSource* const results = m_source.Results();
        // One more than the values, so that 1 is reported only when all is written.
        m_total = std::int64_t{m_source.NumNodes()} + m_nElements +
                  (results == nullptr ? 0 : results->NumValues()) + 1;
        WriteTitle();
        m_builder.SetModelPrefix("");
        AddNodes();
        // Coordinates come after the connectivity, which gives the nodes that lie on surfaces.
        WriteElements();
        WriteCoordinates();
        WriteLabels();
        WriteSets();
        WriteSurfaces();
        WriteArrays();
        if (m_source.Sections() != nullptr) {
            ORQExcWriteSections(*m_source.Sections(), m_builder.Document(), m_report);
        }
        if (results != nullptr) {
            WriteResults(
                *results, m_builder.Document(), m_options.resultsMap,
                [this](std::int64_t done) { Advance(done); }, m_report);
        } else if (m_options.resultsMap != nullptr) {
            throw ORQExcImportError(m_options.resultsMap->Path(), "/fields",
                                    "the mesh file has no results");
        }
        WriteKeptTexts();
        m_report.Append(m_source.Losses());
        m_options.progress(1.0);
    }

  private:
    void Advance(std::int64_t done) {
        m_done += done;
        m_options.progress(static_cast<double>(m_done) / static_cast<double>(m_total));
    }

    ORQSimCSet Range(const ORQSimPosition& collection, int begin, int end) const {
        return ORQSimCollection(collection.GetCollection())
            .CreateTempCSetStrided(begin, end - begin, 1, 1);
    }
    ORQSimPosition NodeCollection() const {
        return ORQObjMesh(m_builder.Mesh()).GetNodeCollection();
    }
    ORQSimPosition ElementCollection() const {
        return ORQObjMesh(m_builder.Mesh()).GetElementCollection();
    }

    void WriteTitle() {
        const std::string title = m_source.Title();
        const ORQString text(title);
        if (text.UTF8() != title) {
            m_report.Change("title", text.UTF8(), 1, "bytes that are not UTF-8 were replaced");
        } else if (!title.empty()) {
            m_report.Keep("title", title, 1);
        }
        m_builder.SetTitle(text);
    }

    void WriteKeptTexts() {
        const std::vector<ORQExcKeptText>& texts = m_source.KeptTexts();
        ORQExcWriteKeptTexts(texts, m_builder.Document());
        for (const ORQExcKeptText& text : texts) {
            for (const auto& [name, count] : text.contents) {
                if (!text.isAlsoInModel) {
                    m_report.Keep(text.section + " as text", name, count);
                }
            }
        }
    }

    // --- Nodes -----------------------------------------------------------------------------------

    void AddNodes() {
        const int nNodes = m_source.NumNodes();
        m_builder.AddNodes(nNodes);
        m_report.Keep("nodes", "", nNodes);
        if (m_source.FileDimension() == 1) {
            m_report.Change("node coordinates", "", nNodes,
                            "one dimension became two; the second coordinate is 0");
        }
    }

    void WriteCoordinates() {
        const int nNodes = m_source.NumNodes();
        const int dimension = m_source.Dimension();
        const ORQSimCSetID directions = m_builder.SpatialDirections(dimension);
        ORQSrvNodalCoordinates coordinates(m_builder.Coordinates(), m_options.nodesPerChunk);
        std::vector<double> values;
        for (int begin = 0; begin < nNodes; begin += m_options.nodesPerChunk) {
            const int end = begin + std::min(nNodes - begin, m_options.nodesPerChunk);
            values.resize(static_cast<std::size_t>(end - begin) *
                          static_cast<std::size_t>(dimension));
            m_source.ReadCoordinates(begin, end, values);
            coordinates.Append(m_transaction, Range(NodeCollection(), begin, end).ID(), directions,
                               values.data());
            m_surfaces.PassCoordinates(begin, values);
            Advance(end - begin);
        }
    }

    // --- Elements --------------------------------------------------------------------------------

    void WriteElements() {
        m_builder.AddElements(m_nElements);
        std::vector<std::pair<ORQSimPosition, ORQSimCSetID>> assignment;
        int first = 0;
        for (std::size_t i = 0; i < m_source.Blocks().size(); ++i) {
            const ORQExcMeshSource::Block& block = m_source.Blocks()[i];
            const ORQSimCSetID elements =
                Range(ElementCollection(), first, first + block.nElements).ID();
            const ORQSimPosition spec = m_builder.AddElementSpec(block.shape->name);
            WriteConnectivity(static_cast<int>(i), first, spec);
            if (block.nElements > 0) {
                assignment.emplace_back(spec, elements);
            }
            WriteBlock(static_cast<int>(i), elements);
            first += block.nElements;
        }
        m_builder.AssignElementSpecs(assignment);
        m_builder.SetLogicalSectionClassification(
            ORQSrvEltClassificationBuilder(m_builder.Document().Focus())
                .BuildEltClassification(ORQSrvEltClassificationType::Shape));
    }

    void WriteLabels() {
        const std::vector<ORQExcMeshSource::Instance> instances = m_source.Instances();
        int firstNode = 0;
        int firstElement = 0;
        std::vector<int> labels;
        for (const auto& [name, nNodes, nElements] : instances) {
            const ORQSimPosition instance = m_builder.AddInstance(name);
            labels.resize(static_cast<std::size_t>(nNodes));
            m_source.ReadLabels(ORQObjLabelerType::Node, firstNode, firstNode + nNodes, labels);
            m_builder.SetLabels(ORQObjLabelerType::Node, instance,
                                Range(NodeCollection(), firstNode, firstNode + nNodes).ID(),
                                labels.data());
            labels.resize(static_cast<std::size_t>(nElements));
            m_source.ReadLabels(ORQObjLabelerType::Element, firstElement, firstElement + nElements,
                                labels);
            m_builder.SetLabels(
                ORQObjLabelerType::Element, instance,
                Range(ElementCollection(), firstElement, firstElement + nElements).ID(),
                labels.data());
            firstNode += nNodes;
            firstElement += nElements;
        }
        if (instances.size() > 1) {
            m_report.Keep("instances", "", std::ssize(instances));
        }
    }

    void WriteConnectivity(int number, int first, const ORQSimPosition& spec) {
        const ORQExcMeshSource::Block& block = m_source.Blocks()[static_cast<std::size_t>(number)];
        const ORQSimCSetID columns = m_builder.NodePlaces(block.shape->nNodes);
        std::vector<int> nodes;
        for (int begin = 0; begin < block.nElements; begin += m_options.elementsPerChunk) {
            const int end = begin + std::min(block.nElements - begin, m_options.elementsPerChunk);
            nodes.resize(static_cast<std::size_t>(end - begin) *
                         static_cast<std::size_t>(block.shape->nNodes));
            m_source.ReadConnectivity(number, begin, end, nodes);
            m_connectivity.Append(m_transaction, spec.ID(),
                                  Range(ElementCollection(), first + begin, first + end).ID(),
                                  columns, nodes.data());
            m_surfaces.PassConnectivity(*block.shape, first + begin, nodes);
            Advance(end - begin);
        }
    }

    void WriteBlock(int number, const ORQSimCSetID& elements) {
        const ORQExcMeshSource::Block& block = m_source.Blocks()[static_cast<std::size_t>(number)];
        const std::string name =
            m_elementSetNames.Unique("element block", block.name, block.number);
        const ORQSimPosition position =
            m_builder.AddBlock(name, block.number, block.shapeName, block.shape->name, elements);
        AddProperties(position, block.properties);
        if (!block.definition.empty()) {
            position.DataRecord().SetString(ORQSimRecordField::Block_definition, block.definition);
        }
        m_builder.AddElementSet(name, block.number, elements);
        if (!block.attributes.empty()) {
            WriteAttributes(number, position);
        }
        m_report.Keep("element block", name, block.nElements);
    }

    void WriteAttributes(int number, const ORQSimPosition& position) {
        const ORQExcMeshSource::Block& block = m_source.Blocks()[static_cast<std::size_t>(number)];
        const ORQSimDistribution attributes(
            m_builder
                .AddBlockAttributes(position, {block.attributes.begin(), block.attributes.end()})
                .GetDistribution());
        std::vector<double> values(static_cast<std::size_t>(block.nElements) *
                                   block.attributes.size());
        m_source.ReadAttributes(number, 0, block.nElements, values);
        ORQSimTransfer(attributes)
            .SetWrite()
            .SetMakeNewDrawer()
            .SetDim(0, position.GetPosition(ORQSimSchema::Block_elements).CSet())
            .SetDim(1, ORQSimCSet(attributes.Grid().Collection(1)))
            .SetBuffer(ORQSimbufMain, std::as_const(values).data(),
                       static_cast<std::int64_t>(values.size() * sizeof(double)))
            .ExecWrite();
    }

    // --- Sets ------------------------------------------------------------------------------------

    void AddProperties(const ORQSimPosition& object,
                       const ORQExcMeshSource::Properties& properties) {
        for (const auto& [name, value] : properties) {
            m_builder.AddProperty(object, name, value);
        }
    }

    void WriteSets() {
        Names nodeSetNames(m_report);
        for (std::size_t i = 0; i < m_source.NodeSets().size(); ++i) {
            const ORQExcMeshSource::Set& set = m_source.NodeSets()[i];
            const std::string name = nodeSetNames.Unique("node set", set.name, set.number);
            const std::vector<int> members = EachOnce(
                m_source.ReadSet(ORQObjLabelerType::Node, static_cast<int>(i)), "node set", name);
            AddProperties(
                m_builder.AddNodeSet(name, set.number, OrderedSet(NodeCollection(), members)),
                set.properties);
        }
        for (std::size_t i = 0; i < m_source.ElementSets().size(); ++i) {
            const ORQExcMeshSource::Set& set = m_source.ElementSets()[i];
            const std::string name = m_elementSetNames.Unique("element set", set.name, set.number);
            const std::vector<int> members =
                EachOnce(m_source.ReadSet(ORQObjLabelerType::Element, static_cast<int>(i)),
                         "element set", name);
            AddProperties(
                m_builder.AddElementSet(name, set.number, OrderedSet(ElementCollection(), members)),
                set.properties);
        }
    }

    /// Returns the members in their order, each once.
    std::vector<int> EachOnce(std::vector<int> members, std::string_view kind,
                              const std::string& name) {
        // Few sets repeat a member, and a sorted copy shows it for less than a set of those seen.
        std::vector<int> sorted = members;
        std::ranges::sort(sorted);
        const std::int64_t nRepeated = sorted.end() - std::unique(sorted.begin(), sorted.end());
        if (nRepeated > 0) {
            std::set<int> seen;
            std::erase_if(members, [&](int member) { return !seen.insert(member).second; });
            m_report.Change(kind, name, nRepeated, "members that it names twice count once");
        }
        m_report.Keep(kind, name, static_cast<std::int64_t>(members.size()));
        return members;
    }

    static ORQSimCSetID OrderedSet(const ORQSimPosition& collection,
                                   const std::vector<int>& members) {
        return ORQSimCollection(collection.GetCollection())
            .CreateTempOrderedCSet(members.data(), static_cast<int>(members.size()));
    }

    // --- Surfaces --------------------------------------------------------------------------------

    void WriteSurfaces() {
        Names names(m_report);
        const ORQSimCollection regions(
            m_builder.Model().GetPosition(ORQSimSchema::Model_regions).GetCollection());
        auto& areas = omi_Singleton<ORQSrvSurfaceNodalAreas>::Instance();
        // The service is a singleton and may hold the areas of another model.
        areas.Clean();
        for (std::size_t i = 0; i < m_source.SideSets().size(); ++i) {
            const ORQExcMeshSource::Set& set = m_source.SideSets()[i];
            const SurfaceAreas::Surface& sides = m_surfaces.At(i);
            const std::string name = names.Unique("side set", set.name, set.number);
            if (sides.nRepeated > 0) {
                m_report.Change("side set", name, sides.nRepeated,
                                "sides that it names twice count once");
            }
            std::map<int, ORQSimCSetID> setsBySide;
            for (const auto& [side, group] : sides.bySide) {
                setsBySide[side] = OrderedSet(ElementCollection(), group.elements);
            }
            const ORQSimPosition region = m_builder.AddSurface(name, set.number, setsBySide);
            AddProperties(region, set.properties);
            int surface = regions.MemberIndex(region);
            ORQBasMap<int, double> nodalAreas = m_surfaces.AreasOf(i);
            areas.AppendSurfaceIdNodeArea(surface, nodalAreas);
            m_report.Keep("side set", name, sides.nSides);
        }
        areas.WriteSurfaceNodalAreas(m_builder.Model());
    }

    // --- Arrays without a place ------------------------------------------------------------------

    void WriteArrays() {
        constexpr std::int64_t kBytesAtOnce = 4 << 20;  // bounds the memory
        std::vector<std::byte> values;
        for (std::size_t i = 0; i < m_source.Arrays().size(); ++i) {
            const ORQExcMeshSource::Array& array = m_source.Arrays()[i];
            const KeptArray kept = AddKeptArray(m_builder.Document(), m_source.Format(), array);
            const std::int64_t rowBytes = array.RowSize() * ORQSimScalarSize(array.scalarType);
            const auto nRows = static_cast<int>(rowBytes == 0 ? 0 : array.NumRows());
            const int nAtOnce = static_cast<int>(
                std::max<std::int64_t>(1, kBytesAtOnce / std::max<std::int64_t>(1, rowBytes)));
            for (int begin = 0; begin < nRows; begin += nAtOnce) {
                const int end = begin + std::min(nAtOnce, nRows - begin);
                values.resize(static_cast<std::size_t>((end - begin) * rowBytes));
                m_source.ReadArray(static_cast<int>(i), begin, end, values.data());
                WriteKeptRows(kept, begin, end, values.data());
            }
            if (!array.kind.empty()) {
                m_report.Keep(array.kind, array.name, array.count);
            }
        }
    }

    ORQExcMeshSource& m_source;
    ORQSimTransaction& m_transaction;
    const ORQExcMeshWriterOptions& m_options;
    ORQExcReport& m_report;
    ORQObjModelBuilder m_builder;
    ORQSrvElementConnectivity m_connectivity;
    SurfaceAreas m_surfaces;
    Names m_elementSetNames{m_report};
    int m_nElements = 0;
    std::int64_t m_done = 0;
    std::int64_t m_total = 1;
};

}  // namespace

void ORQExcWriteMesh(ORQExcMeshSource& source, const ORQSimDatabase& database,
                     ORQSimTransaction& transaction, const ORQExcMeshWriterOptions& options,
                     ORQExcReport& report) {
    ModelWriter(source, database, transaction, options, report).Write();
}

void ORQExcWriteSections(const ORQExcLayup& layup, const ORQObjDocument& document,
                         ORQExcReport& report) {
    ORQExcWriteLayup(layup, document);
    ORQSrvEltClassificationBuilder(document.Focus()).LinkSections();
    for (const ORQExcLayup::Material& material : layup.materials) {
        report.Keep("material", material.name, 1);
        for (const ORQExcMaterialTable& table : material.tables) {
            for (const std::string& oddity : ORQExcOdditiesOf(table)) {
                report.Note("material table", fmt::format("{}: {}", material.name, table.property),
                            static_cast<std::int64_t>(table.NumRows()), oddity);
            }
        }
    }
    for (const ORQExcLayup::Orientation& orientation : layup.orientations) {
        report.Keep("orientation", orientation.name, 1);
    }
    for (const ORQExcLayup::Ply& ply : layup.plies) {
        report.Keep("ply", ply.name, 1);
    }
    for (const ORQExcLayup::Section& section : layup.sections) {
        report.Keep("section", section.name, static_cast<std::int64_t>(section.layers.size()));
    }
}
