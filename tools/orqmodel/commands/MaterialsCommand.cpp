#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "ORQExcMaterials.h"
#include "ORQSimDatabase.h"
#include "commands/Arguments.h"
#include "queries/OpenModel.h"
#include "terminal/TextTable.h"

namespace orqmodel {
namespace {

struct MaterialsOptions {
    std::string database;
    std::string material;  // Its name; empty for the list of all.
    bool json = false;
};

using nlohmann::json;
using Material = ORQExcMaterials::Material;

/// A table with all its columns alike: what varies first, then the components.
struct Columns {
    struct Column {
        std::string name;
        std::string units;
        const char* role;
        int number;  // As of ORQExcMaterialTable::Column.
    };
    std::vector<Column> columns;
    std::vector<std::vector<double>> rows;  // NaN where no value is given.
};

Columns ColumnsOf(const ORQExcMaterialTable& table) {
    Columns all;
    if (table.HasTemperatures()) {
        all.columns.push_back({"temperature", table.temperatureUnits, "temperature", 0});
    }
    for (const ORQExcMaterialTable::Column& variable : table.fieldVariables) {
        all.columns.push_back({variable.name, variable.units, "field_variable", 0});
    }
    for (const ORQExcMaterialTable::Column& component : table.components) {
        all.columns.push_back({component.name, component.units, "component", component.number});
    }
    for (std::size_t row = 0; row < table.NumRows(); ++row) {
        std::vector<double> numbers;
        if (table.HasTemperatures()) {
            numbers.push_back(table.temperatures[row]);
        }
        for (const double variable : table.Variables(row)) {
            numbers.push_back(variable);
        }
        for (std::size_t i = 0; i < table.components.size(); ++i) {
            numbers.push_back(table.Value(row, i));
        }
        all.rows.push_back(std::move(numbers));
    }
    return all;
}

/// The names of the properties, each once.
std::vector<std::string> PropertiesOf(const std::vector<ORQExcMaterialTable>& tables) {
    std::vector<std::string> names;
    for (const ORQExcMaterialTable& table : tables) {
        if (std::ranges::find(names, table.property) == names.end()) {
            names.push_back(table.property);
        }
    }
    return names;
}

/// What some of the tables depend on, each once.
std::set<std::string> DependencesOf(const std::vector<ORQExcMaterialTable>& tables) {
    std::set<std::string> names;
    for (const ORQExcMaterialTable& table : tables) {
        if (table.HasTemperatures()) {
            names.insert("temperature");
        }
        for (const ORQExcMaterialTable::Column& variable : table.fieldVariables) {
            names.insert(variable.name);
        }
    }
    return names;
}

std::string OrDash(const std::string& text) {
    return text.empty() ? "-" : ORQExcPrintable(text);
}

void PrintAll(const std::vector<Material>& materials, const Console& console) {
    std::vector<std::vector<std::string>> rows = {
        {"material", "number", "card", "properties", "depends on"}};
    for (const Material& material : materials) {
        const auto tables = ORQExcReadMaterialTables(material.position);
        rows.push_back({OrDash(material.name), std::to_string(material.number),
                        OrDash(material.kind),
                        OrDash(fmt::format("{}", fmt::join(PropertiesOf(tables), ", "))),
                        OrDash(fmt::format("{}", fmt::join(DependencesOf(tables), ", ")))});
    }
    PrintTable(rows, {false, true, false, false, false}, console.out, console.width);
}

void PrintOne(const ORQExcMaterialTable& table, std::ostream& out) {
    const Columns all = ColumnsOf(table);
    out << fmt::format("\n{}{}\n", ORQExcPrintable(table.property),
                       table.IsConstant() ? ", constant" : "");
    std::vector<std::vector<std::string>> rows(1);
    for (const Columns::Column& column : all.columns) {
        rows[0].push_back(ORQExcPrintable(column.units.empty()
                                              ? column.name
                                              : fmt::format("{} [{}]", column.name, column.units)));
    }
    for (const std::vector<double>& row : all.rows) {
        auto& cells = rows.emplace_back();
        for (const double number : row) {
            cells.push_back(std::isnan(number) ? "-" : fmt::format("{}", number));
        }
    }
    PrintTable(rows, std::vector<bool>(all.columns.size(), true), out);
}

json ToJson(const Material& material, const std::vector<ORQExcMaterialTable>& tables) {
    return {{"name", material.name},
            {"number", material.number},
            {"card", material.kind.empty() ? json() : json(material.kind)},
            {"properties", PropertiesOf(tables)},
            {"depends_on", DependencesOf(tables)}};
}

json ToJson(const ORQExcMaterialTable& table) {
    const Columns all = ColumnsOf(table);
    json columns = json::array();
    for (const Columns::Column& column : all.columns) {
        columns.push_back({{"name", column.name},
                           {"role", column.role},
                           {"units", column.units.empty() ? json() : json(column.units)},
                           {"table", column.number == 0 ? json() : json(column.number)}});
    }
    // What is not given becomes null, as JSON has no NaN.
    return {{"property", table.property}, {"columns", columns}, {"rows", all.rows}};
}

/// Prints the materials of a model database, or the properties of one as tables. Throws
/// ORQBasFailure, also for a name that no material has.
ExitStatus RunMaterials(const MaterialsOptions& options, const Console& console) {
    const ORQObjDocument document(OpenModel(options.database));
    const ORQExcMaterials reader(document);
    json object = {{"schema_version", 1}, {"command", "materials"}, {"database", options.database}};
    if (options.material.empty()) {
        if (!options.json) {
            PrintAll(reader.Materials(), console);
            return ExitStatus::Done;
        }
        object["materials"] = json::array();
        for (const Material& material : reader.Materials()) {
            object["materials"].push_back(
                ToJson(material, ORQExcReadMaterialTables(material.position)));
        }
        PrintJson(console.out, object);
        return ExitStatus::Done;
    }
    const Material& material = reader.Named(options.material);
    const std::vector<ORQExcMaterialTable> tables = ORQExcReadMaterialTables(material.position);
    if (options.json) {
        object["material"] = ToJson(material, tables);
        object["material"]["tables"] = json::array();
        for (const ORQExcMaterialTable& table : tables) {
            object["material"]["tables"].push_back(ToJson(table));
        }
        PrintJson(console.out, object);
        return ExitStatus::Done;
    }
    console.out << fmt::format(
        "material {} ({}){}\n", OrDash(material.name), material.number,
        material.kind.empty() ? ", a name without properties" : ", properties of " + material.kind);
    for (const ORQExcMaterialTable& table : tables) {
        PrintOne(table, console.out);
    }
    return ExitStatus::Done;
}

}  // namespace

SubcommandRun DeclareMaterials(CLI::App& command) {
    const auto options = std::make_shared<MaterialsOptions>();
    AddDatabase(command, options->database);
    command.add_option("MATERIAL", options->material, "The name of the material");
    AddJson(command, options->json);
    return Reading(options, RunMaterials, &MaterialsOptions::database);
}

}  // namespace orqmodel
