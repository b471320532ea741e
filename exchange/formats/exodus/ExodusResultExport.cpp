#include "formats/exodus/ExodusResultExport.h"

#include <exodusII.h>
#include <fmt/format.h>

#include <algorithm>
#include <numeric>
#include <string>
#include <vector>

#include "ORQExcExportError.h"
#include "formats/exodus/ExodusNames.h"

namespace orq::exchange {
namespace {

using Place = ORQExcResultArray::Place;

}  // namespace

class ExodusResultExport::Writer {
  public:
    Writer(int id, const std::filesystem::path& file, const ORQExcModel& model,
           const ORQExcResults& results, ORQExcReport& report)
        : m_id(id),
          m_file(file),
          m_model(model),
          m_results(results),
          m_fields(results.FieldsAtSpots()),
          m_report(report) {}

    void Define() {
        for (const ORQExcResults::Field& field : m_fields) {
            std::vector<Column>& columns = ColumnsOf(field.place);
            m_firstColumn.push_back(static_cast<int>(columns.size()) + 1);
            for (const ORQExcResults::Component& component : field.components) {
                columns.push_back(
                    {&field, FittingName(ORQExcFieldKind(field.place), component.label, m_report)});
            }
        }
        DefineVariables(EX_GLOBAL, m_global);
        DefineVariables(EX_NODAL, m_nodal);
        DefineVariables(EX_ELEM_BLOCK, m_elemental);
        DefineTruthTable();
    }

    void Write(const std::vector<int>& blockNumbers, const Output& output) {
        m_blockNumbers = blockNumbers;
        m_nMissing.assign(m_fields.size(), 0);
        const std::size_t nFrames = m_results.Frames().size();
        for (std::size_t frame = 0; frame < nFrames; ++frame) {
            output.Show(frame + 1, nFrames + 1);
            WriteFrame(static_cast<int>(frame));
        }
        Report();
    }

  private:
    /// A variable of the file.
    struct Column {
        const ORQExcResults::Field* field;
        std::string label;
    };

    void Check(int status, std::string_view doing) const {
        if (status < 0) {
            throw ORQExcExportError(
                fmt::format("{}: cannot {} (Exodus status {})", m_file.string(), doing, status));
        }
    }

    std::vector<Column>& ColumnsOf(Place place) {
        return place == Place::Model ? m_global : place == Place::Node ? m_nodal : m_elemental;
    }

    void DefineVariables(ex_entity_type kind, const std::vector<Column>& columns) {
        if (columns.empty()) {
            return;
        }
        Check(ex_put_variable_param(m_id, kind, static_cast<int>(columns.size())),
              "define variables");
        std::vector<std::string> names;
        for (const Column& column : columns) {
            names.push_back(column.label);
        }
        std::vector<char*> pointers;
        for (std::string& name : names) {
            pointers.push_back(name.data());
        }
        Check(ex_put_variable_names(m_id, kind, static_cast<int>(names.size()), pointers.data()),
              "name variables");
    }

    /// Enters an element variable for the blocks of which some element has values: the others take
    /// no room in the file.
    void DefineTruthTable() {
        const std::vector<ORQExcModel::Block>& blocks = m_model.Blocks();
        m_hasBlock.assign(m_fields.size(), {});
        for (std::size_t i = 0; i < m_fields.size(); ++i) {
            const ORQExcResults::Field& field = m_fields[i];
            const ORQSimCSet members =
                field.place == Place::Element ? m_results.MembersOf(field) : ORQSimCSet();
            for (const ORQExcModel::Block& block : blocks) {
                m_hasBlock[i].push_back(!members.Intersection(block.elements).IsEmpty());
            }
        }
        if (m_elemental.empty() || blocks.empty()) {
            return;
        }
        std::vector<int> table;
        for (std::size_t block = 0; block < blocks.size(); ++block) {
            for (const Column& column : m_elemental) {
                table.push_back(m_hasBlock[PlaceOf(*column.field)][block] ? 1 : 0);
            }
        }
        Check(ex_put_truth_table(m_id, EX_ELEM_BLOCK, static_cast<int>(blocks.size()),
                                 static_cast<int>(m_elemental.size()), table.data()),
              "write the truth table");
    }

    std::size_t PlaceOf(const ORQExcResults::Field& field) const {
        return static_cast<std::size_t>(&field - m_fields.data());
    }

    void WriteFrame(int frame) {
        const double time = m_results.Frames()[static_cast<std::size_t>(frame)].time;
        Check(ex_put_time(m_id, frame + 1, &time), "write a time");
        std::vector<double> global;
        for (std::size_t i = 0; i < m_fields.size(); ++i) {
            const ORQExcResults::Field& field = m_fields[i];
            if (field.place == Place::Model) {
                // The library writes the global variables of a time together.
                const std::vector<double> values = Read(i, frame, {}, 1);
                global.insert(global.end(), values.begin(), values.end());
            } else if (field.place == Place::Node) {
                WriteMembers(i, frame, EX_NODAL, 1, m_model.Nodes());
            } else {
                for (std::size_t block = 0; block < m_model.Blocks().size(); ++block) {
                    if (m_hasBlock[i][block]) {
                        WriteMembers(i, frame, EX_ELEM_BLOCK, m_blockNumbers[block],
                                     m_model.Blocks()[block].elements);
                    }
                }
            }
        }
        if (!global.empty()) {
            Check(ex_put_var(m_id, frame + 1, EX_GLOBAL, 1, 1,
                             static_cast<std::int64_t>(global.size()), global.data()),
                  "write global variables");
        }
    }

    std::vector<double> Read(std::size_t field, int frame, const ORQSimCSet& members,
                             int nMembers) {
        const ORQExcResults::Field& from = m_fields[field];
        std::vector<double> values(static_cast<std::size_t>(nMembers) * from.components.size());
        const std::int64_t nRead = m_results.Read(from, frame, members, values);
        m_nMissing[field] += static_cast<std::int64_t>(values.size()) - nRead;
        return values;
    }

    void WriteMembers(std::size_t field, int frame, ex_entity_type kind, std::int64_t object,
                      const ORQSimCSet& members) {
        const std::vector<double> values = Read(field, frame, members, members.Size());
        const std::size_t nComponents = m_fields[field].components.size();
        std::vector<double> column(static_cast<std::size_t>(members.Size()));
        for (std::size_t k = 0; k < nComponents && !column.empty(); ++k) {
            for (std::size_t i = 0; i < column.size(); ++i) {
                column[i] = values[i * nComponents + k];
            }
            Check(ex_put_var(m_id, frame + 1, kind, m_firstColumn[field] + static_cast<int>(k),
                             object, members.Size(), column.data()),
                  "write a variable");
        }
    }

    void Report() {
        if (!m_results.Frames().empty()) {
            m_report.Keep("times", "", static_cast<std::int64_t>(m_results.Frames().size()));
        }
        for (std::size_t i = 0; i < m_fields.size(); ++i) {
            const ORQExcResults::Field& field = m_fields[i];
            m_report.Keep(ORQExcFieldKind(field.place), field.name,
                          static_cast<std::int64_t>(field.components.size()));
            if (m_nMissing[i] > 0) {
                m_report.Change(ORQExcFieldKind(field.place), field.name, m_nMissing[i],
                                "values that it lacks are written as not a number");
            }
        }
    }

    int m_id;
    std::filesystem::path m_file;
    const ORQExcModel& m_model;
    std::vector<int> m_blockNumbers;
    const ORQExcResults& m_results;
    std::vector<ORQExcResults::Field> m_fields;
    ORQExcReport& m_report;
    std::vector<Column> m_global;
    std::vector<Column> m_nodal;
    std::vector<Column> m_elemental;
    std::vector<int> m_firstColumn;             // by field, from 1
    std::vector<std::vector<bool>> m_hasBlock;  // by field and block
    std::vector<std::int64_t> m_nMissing;       // by field
};

ExodusResultExport::ExodusResultExport(int id, const std::filesystem::path& file,
                                       const ORQExcModel& model, const ORQExcResults& results,
                                       ORQExcReport& report)
    : m_writer(std::make_unique<Writer>(id, file, model, results, report)) {}

ExodusResultExport::~ExodusResultExport() = default;

void ExodusResultExport::Define() {
    m_writer->Define();
}

void ExodusResultExport::Write(const std::vector<int>& blockNumbers, const Output& output) {
    m_writer->Write(blockNumbers, output);
}

}  // namespace orq::exchange
