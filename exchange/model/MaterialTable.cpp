#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <map>
#include <memory>
#include <span>
#include <utility>

#include "ORQBasAlloc.h"
#include "ORQBasFailure.h"
#include "ORQExcMaterialTable.h"
#include "ORQSimDataRecord.h"
#include "ORQSimLinks.h"
#include "ORQSimRecordFields.h"
#include "ORQSimSchema.h"
#include "ORQSimTransaction.h"
#include "ORQSrvFsmMaterialTable.h"

namespace {

constexpr int kFieldsOfColumn = 3;  // of its record: name, units and number

/// The service of material tables, set up for a number of components and for the slots of the
/// record that hold the values.
class Service {
  public:
    explicit Service(int nComponents)
        : m_lengths{nComponents},
          m_table(kTypes.data(), kMembers.data(), m_lengths.data(), true,
                  ORQSimSchema::MaterialTable_temperatures, 0,
                  ORQSimSchema::MaterialTable_fieldVariables, 0) {}
    const ORQSrvFsmMaterialTable* operator->() const { return &m_table; }

  private:
    static constexpr std::array<int, 2> kTypes = {ORQSimSchema::MaterialTable_values, -1};
    static constexpr std::array<int, 1> kMembers = {0};
    std::array<int, 1> m_lengths;
    ORQSrvFsmMaterialTable m_table;
};

void WriteColumns(const ORQSimDataRecord& record, int& field,
                  const std::vector<ORQExcMaterialTable::Column>& columns) {
    for (const ORQExcMaterialTable::Column& column : columns) {
        record.SetString(field, column.name);
        record.SetString(field + 1, column.units);
        record.SetInt(field + 2, column.number);
        field += kFieldsOfColumn;
    }
}

std::vector<ORQExcMaterialTable::Column> ReadColumns(const ORQSimDataRecord& record, int& field,
                                                     int count) {
    std::vector<ORQExcMaterialTable::Column> columns;
    for (int i = 0; i < count; ++i, field += kFieldsOfColumn) {
        columns.push_back({record.ReturnString(field).UTF8(), record.ReturnString(field + 1).UTF8(),
                           record.GetInt(field + 2)});
        if (columns.back().name.empty()) {
            throw ORQBasFailure(
                ORQBasFailureKind::Damaged,
                fmt::format("column {} of {} of a material table has no name", i + 1, count));
        }
    }
    return columns;
}

ORQExcMaterialTable ReadTable(const ORQSimPosition& position) {
    const ORQSimDataRecord record = position.DataRecord();
    ORQExcMaterialTable table;
    table.property = record.ReturnString(ORQSimRecordField::MaterialTable_property).UTF8();
    table.temperatureUnits =
        record.ReturnString(ORQSimRecordField::MaterialTable_temperatureUnits).UTF8();
    int field = ORQSimRecordField::MaterialTable_firstColumn;
    table.components =
        ReadColumns(record, field, record.GetInt(ORQSimRecordField::MaterialTable_numComponents));
    table.fieldVariables = ReadColumns(
        record, field, record.GetInt(ORQSimRecordField::MaterialTable_numFieldVariables));
    if (table.components.empty()) {
        throw ORQBasFailure(
            ORQBasFailureKind::Damaged,
            fmt::format("a material table \"{}\" has no components", table.property));
    }

    double** data = nullptr;
    int nRows = 0;
    int nColumns = 0;
    bool hasTemperatures = false;
    int nVariables = 0;
    Service(static_cast<int>(table.components.size()))
        ->FillPointer(position, data, nRows, nColumns, hasTemperatures, nVariables);
    // The arrays that the service returns belong to the caller.
    const auto take = [&](int array, int columns) {
        const std::unique_ptr<double, void (*)(void*)> buffer(data[array], mem_Free);
        const auto count = static_cast<std::size_t>(nRows) * static_cast<std::size_t>(columns);
        return std::vector<double>(buffer.get(), buffer.get() + count);
    };
    table.values = take(0, nColumns);
    table.temperatures = take(1, hasTemperatures ? 1 : 0);
    table.variables = take(2, nVariables);
    mem_Free(data);
    if (nColumns != std::ssize(table.components) ||
        nVariables != std::ssize(table.fieldVariables)) {
        throw ORQBasFailure(
            ORQBasFailureKind::Damaged,
            fmt::format("a material table \"{}\" has {} components and {} field variables, but "
                        "names for {} and {}",
                        table.property, nColumns, nVariables, table.components.size(),
                        table.fieldVariables.size()));
    }
    return table;
}

/// A finding that may repeat: how often, and where first.
struct Finding {
    std::int64_t count = 0;
    std::string first = {};

    template <class Describe>
    void Add(const Describe& describe) {
        if (count++ == 0) {
            first = describe();
        }
    }
    std::string Text(const char* what) const {
        return fmt::format("{}, {}{}", what,
                           count > 1 ? fmt::format("{} times, first ", count) : "", first);
    }
};

}  // namespace

std::vector<double> ORQExcMaterialTable::Variables(std::size_t row) const {
    const auto all = std::span(variables);
    const auto own = all.subspan(row * fieldVariables.size(), fieldVariables.size());
    return {own.begin(), own.end()};
}

std::vector<std::string> ORQExcOdditiesOf(const ORQExcMaterialTable& table) {
    Finding falls;
    Finding jumps;
    Finding gaps;
    std::map<std::vector<double>, double> last;  // temperature, by field variables
    for (std::size_t row = 0; row < table.NumRows(); ++row) {
        if (table.HasTemperatures()) {
            const double now = table.temperatures[row];
            // Temperatures are compared among rows of the same field variables.
            const auto found = last.try_emplace(table.Variables(row), now);
            const double before = std::exchange(found.first->second, now);
            if (now < before) {
                falls.Add(
                    [&] { return fmt::format("in row {}: {} after {}", row + 1, now, before); });
            } else if (!found.second && now == before) {
                jumps.Add([&] { return fmt::format("in row {}: {}", row + 1, now); });
            }
        }
        for (std::size_t i = 0; i < table.components.size() && !table.IsConstant(); ++i) {
            if (std::isnan(table.Value(row, i))) {
                gaps.Add([&] {
                    return fmt::format("in row {}: {}", row + 1, table.components[i].name);
                });
            }
        }
    }
    std::vector<std::string> texts;
    if (falls.count > 0) {
        texts.push_back(falls.Text("the temperature does not rise"));
    }
    if (jumps.count > 0) {
        texts.push_back(jumps.Text("the temperature is that of a row before"));
    }
    if (gaps.count > 0) {
        texts.push_back(gaps.Text("a value is not given"));
    }
    return texts;
}

void ORQExcWriteMaterialTables(const ORQObjDocument& document, const ORQSimPosition& material,
                               const std::vector<ORQExcMaterialTable>& tables) {
    using namespace ORQSimSchema;
    const ORQSimPosition libraries = document.Focus().GetPosition(Focus_libraries);
    const auto collection = [&](int slot) { return libraries.GetPosition(slot).GetCollection(); };
    ORQSimTransaction transaction(document.ContextID());
    for (const ORQExcMaterialTable& table : tables) {
        const ORQSimDataRecord record = document.CreateDataRecord(ORQSimSchema::MaterialTable);
        const auto nComponents = static_cast<int>(table.components.size());
        const auto nVariables = static_cast<int>(table.fieldVariables.size());
        record.SetString(ORQSimRecordField::MaterialTable_property, table.property);
        record.SetInt(ORQSimRecordField::MaterialTable_numComponents, nComponents);
        record.SetInt(ORQSimRecordField::MaterialTable_numFieldVariables, nVariables);
        record.SetString(ORQSimRecordField::MaterialTable_temperatureUnits, table.temperatureUnits);
        int field = ORQSimRecordField::MaterialTable_firstColumn;
        WriteColumns(record, field, table.components);
        WriteColumns(record, field, table.fieldVariables);
        std::array data = {table.values.data(), table.temperatures.data(), table.variables.data()};
        Service(nComponents)
            ->Save(transaction, record.Pos(), collection(Libraries_materialRows),
                   collection(Libraries_materialComponents), {}, data.data(),
                   static_cast<int>(table.NumRows()), table.HasTemperatures(), nVariables,
                   collection(Libraries_materialFieldVariables));
        material.GetVector(Material_tables).PushBack(record.Pos());
    }
    transaction.Commit();
}

std::vector<ORQExcMaterialTable> ORQExcReadMaterialTables(const ORQSimPosition& material) {
    std::vector<ORQExcMaterialTable> tables;
    for (auto i = material.GetVector(ORQSimSchema::Material_tables).Begin(); i.NotDone(); ++i) {
        tables.push_back(ReadTable(*i));
    }
    return tables;
}
