#include "formats/layup/LayupMaterials.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>
#include <set>
#include <utility>

#include "model/MaterialKinds.h"
#include "model/NoValue.h"

namespace orq::exchange {
namespace {

using nlohmann::json;
using Pointer = JsonCheck::Pointer;

/// The card of bulk data whose properties and components a material may have.
constexpr const char* kMaterialKind = "MAT8";
constexpr const char* kTemperature = "temperature";
constexpr std::string_view kFieldPrefix = "field_";

/// Whether a column is a field variable: "field_1", "field_2", ...
bool IsFieldVariable(std::string_view name) {
    if (!name.starts_with(kFieldPrefix)) {
        return false;
    }
    name.remove_prefix(kFieldPrefix.size());
    return !name.empty() && name.size() <= 6 && name.front() != '0' &&
           name.find_first_not_of("0123456789") == std::string_view::npos;
}

const std::vector<MaterialKind::Constant>& Components() {
    return FindMaterialKind(kMaterialKind)->constants;
}

std::vector<JsonKey> ComponentKeys() {
    std::vector<JsonKey> keys;
    for (const MaterialKind::Constant& component : Components()) {
        keys.push_back({component.name});
    }
    return keys;
}

class MaterialOfLayup {
  public:
    explicit MaterialOfLayup(JsonCheck& check) : m_check(check) {}

    void Read(const json& value, const Pointer& at, ORQExcLayup::Material& material) {
        JsonCheck::With(value, at, "constants",
                        [&](const json& constants, const Pointer& constantsAt) {
                            ReadConstants(constants, constantsAt, material.tables);
                        });
        std::set<std::string> varying;  // columns of the tables but the temperature
        JsonCheck::With(
            value, at, "properties", [&](const json& properties, const Pointer& propertiesAt) {
                m_check.ForEach(properties, propertiesAt,
                                [&](const json& property, const Pointer& propertyAt) {
                                    if (auto table = ReadProperty(property, propertyAt, varying)) {
                                        material.tables.push_back(std::move(*table));
                                    }
                                });
            });
        material.kind = material.tables.empty() ? "" : kMaterialKind;
        JsonCheck::With(value, at, "units", [&](const json& units, const Pointer& unitsAt) {
            ReadUnits(units, unitsAt, varying, material.tables);
        });
    }

  private:
    void ReadConstants(const json& value, const Pointer& at,
                       std::vector<ORQExcMaterialTable>& tables) {
        if (!m_check.IsObject(value, at, ComponentKeys())) {
            return;
        }
        for (const MaterialKind::Constant& constant : Components()) {
            JsonCheck::With(
                value, at, constant.name.c_str(), [&](const json& number, const Pointer& place) {
                    auto table = std::ranges::find(tables, constant.property,
                                                   &ORQExcMaterialTable::property);
                    if (table == tables.end()) {
                        table = tables.insert(table, ORQExcMaterialTable{constant.property, {}});
                    }
                    table->components.push_back({constant.name});
                    table->values.push_back(
                        m_check.Number(number, place, kAnyNumber).value_or(kNoValue));
                });
        }
    }

    /// Reads a property as rows over temperature and field variables; nothing when its columns are
    /// wrong.
    std::optional<ORQExcMaterialTable> ReadProperty(const json& value, const Pointer& at,
                                                    std::set<std::string>& varying) {
        if (!m_check.IsObject(value, at, {{"property", true}, {"columns", true}, {"rows", true}})) {
            return std::nullopt;
        }
        const std::size_t nBefore = m_check.NumErrors();
        ORQExcMaterialTable table;
        JsonCheck::With(value, at, "property", [&](const json& name, const Pointer& nameAt) {
            table.property = m_check.Text(name, nameAt);
            std::vector<std::string> known;
            for (const MaterialKind::Constant& component : Components()) {
                known.push_back(component.property);
            }
            if (!table.property.empty() &&
                std::ranges::find(known, table.property) == known.end()) {
                m_check.ReportUnknown(nameAt, table.property, "property", known);
            }
        });
        std::vector<std::string> columns;
        JsonCheck::With(value, at, "columns", [&](const json& names, const Pointer& namesAt) {
            columns = ReadColumns(names, namesAt, table, varying);
        });
        if (m_check.NumErrors() != nBefore || columns.empty()) {
            return std::nullopt;
        }
        JsonCheck::With(value, at, "rows", [&](const json& rows, const Pointer& rowsAt) {
            if (!rows.is_array() || rows.empty()) {
                return m_check.ReportValue(rowsAt, rows, "an array of rows, at least one");
            }
            m_check.ForEach(rows, rowsAt, [&](const json& row, const Pointer& rowAt) {
                ReadRow(row, rowAt, columns, table);
            });
        });
        return table;
    }

    std::vector<std::string> ReadColumns(const json& names, const Pointer& at,
                                         ORQExcMaterialTable& table,
                                         std::set<std::string>& varying) {
        std::vector<std::string> known = {kTemperature, std::string(kFieldPrefix) + "1"};
        for (const MaterialKind::Constant& component : Components()) {
            if (component.property == table.property) {
                known.push_back(component.name);
            }
        }
        std::vector<std::string> columns;
        m_check.ForEach(names, at, [&](const json& value, const Pointer& nameAt) {
            const std::string name = m_check.Text(value, nameAt);
            const bool isKnown = std::ranges::find(known, name) != known.end();
            if (name.empty()) {
                return;
            }
            if (!isKnown && !IsFieldVariable(name)) {
                return m_check.ReportUnknown(nameAt, name, "column", known);
            }
            if (std::ranges::find(columns, name) != columns.end()) {
                return m_check.ReportValue(nameAt, value, "a column that no other of the table is");
            }
            columns.push_back(name);
            if (name == kTemperature) {
                return;
            }
            const bool isNew = varying.insert(name).second;
            if (IsFieldVariable(name)) {
                table.fieldVariables.push_back({name});
            } else {
                table.components.push_back({name});
                if (!isNew) {
                    m_check.ReportValue(nameAt, value, "a component that no other table of it has");
                }
            }
        });
        if (names.is_array() && table.components.empty()) {
            m_check.Report(at, fmt::format("names no component of \"{}\"", table.property));
        } else if (columns.size() == table.components.size()) {
            m_check.Report(at, "names neither the temperature nor a field variable");
        }
        return columns;
    }

    void ReadRow(const json& row, const Pointer& at, const std::vector<std::string>& columns,
                 ORQExcMaterialTable& table) {
        if (!row.is_array() || row.size() != columns.size()) {
            return m_check.ReportValue(
                at, row, fmt::format("an array of {}, a number for each column", columns.size()));
        }
        for (std::size_t i = 0; i < columns.size(); ++i) {
            const bool isTemperature = columns[i] == kTemperature;
            const bool isVariable = IsFieldVariable(columns[i]);
            std::vector<double>& column = isTemperature ? table.temperatures
                                          : isVariable  ? table.variables
                                                        : table.values;
            // A component may lack a value in a row; a condition may not.
            const bool isGap = row[i].is_null() && !isTemperature && !isVariable;
            column.push_back(isGap ? kNoValue
                                   : m_check.Number(row[i], at / i, kAnyNumber).value_or(kNoValue));
        }
    }

    /// Reads units by the names of columns, for all tables of the material.
    void ReadUnits(const json& value, const Pointer& at, const std::set<std::string>& varying,
                   std::vector<ORQExcMaterialTable>& tables) {
        std::vector<JsonKey> keys = ComponentKeys();
        keys.push_back({kTemperature});
        for (const std::string& name : varying) {
            if (IsFieldVariable(name)) {
                keys.push_back({name});
            }
        }
        if (!m_check.IsObject(value, at, keys)) {
            return;
        }
        for (const auto& [name, text] : value.items()) {
            const std::string units = m_check.Text(text, at / name);
            for (ORQExcMaterialTable& table : tables) {
                if (name == kTemperature && table.HasTemperatures()) {
                    table.temperatureUnits = units;
                }
                for (auto* const columns : {&table.components, &table.fieldVariables}) {
                    for (ORQExcMaterialTable::Column& column : *columns) {
                        column.units = column.name == name ? units : column.units;
                    }
                }
            }
        }
    }

    JsonCheck& m_check;
};

}  // namespace

void ReadLayupMaterial(const json& value, const Pointer& at, JsonCheck& check,
                       ORQExcLayup::Material& material) {
    MaterialOfLayup(check).Read(value, at, material);
}

}  // namespace orq::exchange
