#include "import/ExodusImporter.h"

#include <algorithm>
#include <vector>

#include "ORQObjMesh.h"
#include "ORQObjModelBuilder.h"
#include "ORQSimCollection.h"
#include "ORQSimDatabase.h"
#include "ORQSimTransaction.h"
#include "ORQSrvNodalCoordinates.h"

namespace orqmodel {
namespace {

constexpr int kBlockNodes = 100'000;

void WriteTitle(const std::string& title, const ORQObjModelBuilder& builder, LossReport& report) {
    if (title.empty())
        return;
    ORQString text;
    if (text.BuildFromUTF8(title) == ORQStringResult::Ok) {
        report.Keep("title", title, 1);
    } else {
        text = ORQString(std::string_view(title));
        report.Change("title", text.UTF8(), 1, "bytes that are not UTF-8 were replaced");
    }
    builder.SetTitle(text);
}

/// A plane in place of a line: x becomes x, 0.
void AddSecondComponent(std::vector<double>& values, int count) {
    for (auto node = static_cast<std::size_t>(count); node-- > 0;) {
        values[2 * node] = values[node];
        values[2 * node + 1] = 0.0;
    }
}

void WriteCoordinates(const ExodusReader& reader, const ORQObjModelBuilder& builder,
                      const ORQSimCSet& nodes, const ImportSettings& settings,
                      ORQSimTransaction& transaction) {
    const int stored_dimension = std::max(2, reader.Dimension());
    const ORQSimCSetID directions = builder.SpatialDirections(stored_dimension);
    const ORQSimCollection collection(nodes.CollectionID());
    ORQSrvNodalCoordinates coordinates(builder.Coordinates(), settings.chunk_nodes);
    std::vector<double> values(static_cast<std::size_t>(std::min(reader.NodeCount(), kBlockNodes)) *
                               static_cast<std::size_t>(stored_dimension));
    for (int begin = 0; begin < reader.NodeCount();) {
        settings.progress(static_cast<double>(begin) / reader.NodeCount());
        const int count = std::min(reader.NodeCount() - begin, kBlockNodes);
        reader.ReadCoordinates(
            begin, begin + count,
            std::span(values).first(static_cast<std::size_t>(count) *
                                    static_cast<std::size_t>(reader.Dimension())));
        if (reader.Dimension() == 1)
            AddSecondComponent(values, count);
        coordinates.Append(transaction, collection.CreateTempCSetStrided(nodes[begin], count, 1, 1),
                           directions, values.data());
        begin += count;
    }
    settings.progress(1.0);
}

void WriteLabels(const ExodusReader& reader, const ORQObjModelBuilder& builder,
                 const ORQSimCSetID& nodes) {
    std::vector<int> labels(static_cast<std::size_t>(reader.NodeCount()));
    reader.ReadNodeLabels(0, reader.NodeCount(), labels);
    builder.SetLabels(ORQObjLabelerType::Node, builder.AddInstance("PART-1"), nodes, labels.data());
}

}  // namespace

ExodusImporter::ExodusImporter(const std::filesystem::path& file) : reader_(file) {
    reader_.CheckNodeLabelsAreUnique();
}

LossReport ExodusImporter::Write(const ORQSimDatabase& database,
                                 const ImportSettings& settings) const {
    LossReport report;
    ORQSimTransaction transaction(database.ContextID());
    const ORQObjModelBuilder builder(database);
    WriteTitle(reader_.Title(), builder, report);
    builder.SetModelPrefix("");
    const int count = reader_.NodeCount();
    if (count > 0) {
        const ORQSimCSetID nodes = builder.AddNodes(count);
        WriteCoordinates(reader_, builder, nodes, settings, transaction);
        WriteLabels(reader_, builder, nodes);
        report.Keep("nodes", "", count);
        if (reader_.Dimension() == 1)
            report.Change("node coordinates", "", count,
                          "one dimension became two; the second coordinate is 0");
        else
            report.Keep("node coordinates", "", count);
        report.Keep("node labels", "", count);
    }
    for (const ContentCount& content : reader_.Unread())
        report.Drop(content.kind, "", content.count, "only nodes are imported");
    settings.progress(1.0);
    transaction.Commit();
    return report;
}

}  // namespace orqmodel
