#include "commands/WrittenRows.h"

#include <cmath>
#include <optional>
#include <string>

#include "ORQExcTexts.h"
#include "ORQSimCollection.h"
#include "queries/LabelBlocks.h"
#include "queries/MemberRange.h"
#include "queries/RowStatistics.h"

namespace orqmodel {
namespace {

/// The columns and cells that say what a row is of.
class RowHeads {
  public:
    RowHeads(const ORQExcModel& model, const ORQExcResults& results, const RowSource& rows,
             const RowLayout& layout)
        : m_model(model),
          m_results(results),
          m_hasMembers(rows.Place() != RowPlace::Model),
          m_isNode(rows.Place() == RowPlace::Node),
          m_labels(model.Document(),
                   m_isNode ? ORQObjLabelerType::Node : ORQObjLabelerType::Element),
          m_hasShapes(layout.hasShapes),
          m_spotHeads(rows.SpotHeads()),
          m_hasTimes(layout.hasTimes) {
        m_hasSteps = m_hasTimes && (!layout.isTerse || results.Steps().size() > 1);
        m_hasInstances = m_hasMembers && (!layout.isTerse || m_labels.Instances().size() > 1);
        m_hasPlaces = m_hasMembers && layout.hasPlaces;
        for (const std::string& name : m_labels.Instances()) {
            m_instances.push_back(ORQExcPrintable(name));
        }
        for (const std::string& name : results.Steps()) {
            m_steps.push_back(ORQExcPrintable(name));
        }
    }

    bool HasMembers() const { return m_hasMembers; }

    void AddTimeColumns(std::vector<TableWriter::Column>& columns) const {
        if (m_hasSteps) {
            columns.push_back({"step", false});
        }
        if (m_hasTimes) {
            columns.push_back({"time"});
        }
    }
    void AddMemberColumns(std::vector<TableWriter::Column>& columns, bool withPlaces) const {
        if (m_hasInstances) {
            columns.push_back({"instance", false});
        }
        if (m_hasMembers) {
            columns.push_back({m_isNode ? "node" : "element"});
        }
        if (m_hasShapes) {
            columns.push_back({"shape", false});
        }
        if (m_spotHeads.hasBlocks) {
            columns.push_back({"block", false});
        }
        if (m_spotHeads.hasLayers) {
            columns.push_back({"layer"});
            columns.push_back({"section point"});
        }
        if (m_spotHeads.hasPoints) {
            columns.push_back({"point"});
        }
        for (const char* axis : {"x", "y", "z"}) {
            if (withPlaces) {
                columns.push_back({axis});
            }
        }
    }
    bool HasPlaces() const { return m_hasPlaces; }

    void WriteTime(int frame, TableWriter& writer) const {
        if (!m_hasTimes) {
            return;
        }
        const ORQExcResults::Frame& at = m_results.Frames()[static_cast<std::size_t>(frame)];
        if (m_hasSteps) {
            writer.Text(m_steps[static_cast<std::size_t>(at.step)]);
        }
        writer.Number(at.time);
    }

    /// Reads what the next rows are of.
    void Take(const RowBlock& block, bool withPlaces) {
        if (!m_hasMembers) {
            return;
        }
        m_read = m_labels.Read(block.members);
        m_shape = block.shape;
        m_spot = block.spot;
        if (withPlaces) {
            m_middles = MiddlesOf(m_model, m_isNode, block.members);
        }
    }
    void WriteMember(std::size_t row, bool withPlaces, TableWriter& writer) const {
        if (m_hasInstances) {
            const int instance = m_read.instances[row];
            instance < 0 ? writer.Blank()
                         : writer.Text(m_instances[static_cast<std::size_t>(instance)]);
        }
        if (m_hasMembers) {
            m_read.labels[row] == 0 ? writer.Blank() : writer.Integer(m_read.labels[row]);
        }
        if (m_hasShapes) {
            writer.Text(m_shape);
        }
        if (m_spotHeads.hasBlocks) {
            writer.Text(ORQExcPrintable(m_shape));
        }
        if (m_spotHeads.hasLayers) {
            WritePlace(m_spot.layer, writer);
            WritePlace(m_spot.sectionPoint, writer);
        }
        if (m_spotHeads.hasPoints) {
            WritePlace(m_spot.point, writer);
        }
        for (std::size_t axis = 0; withPlaces && axis < 3; ++axis) {
            writer.Number(m_middles[3 * row + axis]);
        }
    }
    /// Writes empty cells in place of a member, for what all of them have together.
    void WriteNoMember(bool withPlaces, TableWriter& writer) const {
        const int nCells = (m_hasInstances ? 1 : 0) + (m_hasMembers ? 1 : 0) +
                           (m_hasShapes ? 1 : 0) + (m_spotHeads.hasBlocks ? 1 : 0) +
                           (m_spotHeads.hasLayers ? 2 : 0) + (m_spotHeads.hasPoints ? 1 : 0) +
                           (withPlaces ? 3 : 0);
        for (int i = 0; i < nCells; ++i) {
            writer.Blank();
        }
    }

  private:
    /// A place from 0, as users count.
    static void WritePlace(int place, TableWriter& writer) {
        place < 0 ? writer.Blank() : writer.Integer(place + 1);
    }

    const ORQExcModel& m_model;
    const ORQExcResults& m_results;
    bool m_hasMembers;
    bool m_isNode;
    LabelBlocks m_labels;
    bool m_hasShapes;
    RowSource::Heads m_spotHeads;
    ORQExcSpot m_spot;
    bool m_hasTimes;
    bool m_hasSteps;
    bool m_hasInstances;
    bool m_hasPlaces;
    std::vector<std::string> m_instances;
    std::vector<std::string> m_steps;
    LabelBlocks::Labels m_read;
    std::string m_shape;
    std::vector<double> m_middles;
};

/// Minimum, maximum, mean and sum of each column at a time.
void WriteOneTime(const RowStatistics& statistics, const RowSource& rows, int frame,
                  const ORQSimCSet& all, RowHeads& heads, TableWriter& writer) {
    for (std::size_t i = 0; i < rows.Columns().size(); ++i) {
        if (rows.Columns()[i].isPlace) {
            continue;
        }
        const RowStatistics::OfColumn& column = statistics.Columns()[i];
        const auto row = [&](const char* what, double value,
                             const RowStatistics::Extreme& at = {0, -1}) {
            writer.BeginRow();
            heads.WriteTime(frame, writer);
            writer.Text(ORQExcPrintable(rows.Columns()[i].name));
            writer.Text(what);
            writer.Number(value);
            if (at.member < 0) {
                heads.WriteNoMember(heads.HasMembers(), writer);
            } else {
                RowBlock one;
                one.spot = at.spot;
                one.shape = at.shape;
                one.members =
                    ORQSimCollection(all.CollectionID()).CreateVolatileCSet(&at.member, 1, true);
                heads.Take(one, true);
                heads.WriteMember(0, true, writer);
            }
            writer.EndRow();
        };
        if (column.count > 0) {
            row("minimum", column.least.value, column.least);
            row("maximum", column.most.value, column.most);
            row("mean", column.Mean());
            row("sum", column.Sum());
        }
        writer.BeginRow();
        heads.WriteTime(frame, writer);
        writer.Text(ORQExcPrintable(rows.Columns()[i].name));
        writer.Text("count");
        writer.Integer(column.count);
        heads.WriteNoMember(heads.HasMembers(), writer);
        writer.EndRow();
    }
}

}  // namespace

std::int64_t WriteRows(const ORQExcModel& model, const ORQExcResults& results, RowSource& rows,
                       const RowLayout& layout, const WriterMaker& makeWriter, ProgressBar& bar) {
    RowHeads heads(model, results, rows, layout);
    std::vector<TableWriter::Column> columns;
    heads.AddTimeColumns(columns);
    heads.AddMemberColumns(columns, heads.HasPlaces());
    for (const RowSource::Column& column : rows.Columns()) {
        columns.push_back({ORQExcPrintable(column.name)});
    }
    const std::unique_ptr<TableWriter> writer = makeWriter(columns);
    std::int64_t nRows = 0;
    const std::size_t nValues = rows.Columns().size();
    for (RowBlock block; rows.Next(block);) {
        heads.Take(block, heads.HasPlaces());
        for (std::size_t row = 0; row < block.NumRows(); ++row) {
            writer->BeginRow();
            heads.WriteTime(block.frame, *writer);
            heads.WriteMember(row, heads.HasPlaces(), *writer);
            for (std::size_t i = 0; i < nValues; ++i) {
                const double value = block.values[row * nValues + i];
                rows.Columns()[i].isInteger && !std::isnan(value)
                    ? writer->Integer(static_cast<std::int64_t>(value))
                    : writer->Number(value);
            }
            writer->EndRow();
        }
        nRows += static_cast<std::int64_t>(block.NumRows());
        bar.Show(rows.Done());
    }
    writer->End();
    return nRows;
}

std::int64_t WriteStatistics(const ORQExcModel& model, const ORQExcResults& results,
                             RowSource& rows, const RowLayout& layout,
                             const WriterMaker& makeWriter, ProgressBar& bar) {
    RowHeads heads(model, results, rows, layout);
    const ORQSimCSet all = rows.Place() == RowPlace::Node ? model.Nodes() : model.Elements();
    std::vector<TableWriter::Column> columns;
    heads.AddTimeColumns(columns);
    columns.push_back({"of", false});
    columns.push_back({"what", false});
    columns.push_back({"value"});
    heads.AddMemberColumns(columns, heads.HasMembers());
    const std::unique_ptr<TableWriter> writer = makeWriter(columns);
    std::optional<RowStatistics> statistics;
    int frame = -1;
    std::int64_t nRows = 0;
    const auto finish = [&] {
        if (statistics) {
            WriteOneTime(*statistics, rows, frame, all, heads, *writer);
        }
        statistics.emplace(rows.Columns().size());
    };
    for (RowBlock block; rows.Next(block);) {
        // Blocks of one time follow each other: one set of sums is enough.
        if (!statistics || block.frame != frame) {
            finish();
            frame = block.frame;
        }
        statistics->Take(block);
        nRows += static_cast<std::int64_t>(block.NumRows());
        bar.Show(rows.Done());
    }
    finish();
    writer->End();
    return nRows;
}

}  // namespace orqmodel
