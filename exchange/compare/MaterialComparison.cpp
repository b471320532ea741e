#include <fmt/format.h>

#include <map>
#include <string>
#include <vector>

#include "ORQExcMaterials.h"
#include "compare/ComparedModels.h"
#include "compare/Pairs.h"
#include "model/NoValue.h"

namespace orq::exchange {
namespace {

using Values = std::map<std::string, double>;

/// The conditions of a row of a table, for example " at temperature 20, field_1 3".
std::string ConditionsOf(const ORQExcMaterialTable& table, std::size_t row) {
    std::string text;
    const auto add = [&](const std::string& name, double value) {
        text += fmt::format("{} {} {}", text.empty() ? " at" : ",", name, value);
    };
    if (table.HasTemperatures()) {
        add("temperature", table.temperatures[row]);
    }
    const std::vector<double> variables = table.Variables(row);
    for (std::size_t i = 0; i < variables.size(); ++i) {
        add(table.fieldVariables[i].name, variables[i]);
    }
    return text;
}

/// All numbers of a material by name, for example "elastic E at temperature 20".
Values ValuesOf(const ORQExcMaterials::Material& material) {
    Values values;
    for (const ORQExcMaterialTable& table : ORQExcReadMaterialTables(material.position)) {
        for (std::size_t row = 0; row < table.NumRows(); ++row) {
            const std::string conditions = ConditionsOf(table, row);
            for (std::size_t i = 0; i < table.components.size(); ++i) {
                values[fmt::format("{} {}{}", table.property, table.components[i].name,
                                   conditions)] = table.Value(row, i);
            }
        }
    }
    return values;
}

double ValueAt(const Values& values, const std::string& name) {
    const auto at = values.find(name);
    return at == values.end() ? kNoValue : at->second;
}

}  // namespace

void CompareMaterials(ComparedModels& models) {
    const ORQExcMaterials before(models.before.Document());
    const ORQExcMaterials after(models.after.Document());
    for (const auto& [from, to] :
         ComparePairs(DifferenceKind::Material, PointersTo(before.Materials()),
                      PointersTo(after.Materials()), models.differences)) {
        models.differences.Compare(DifferenceKind::Material, from->name, "kind", from->kind,
                                   to->kind);
        const Values valuesBefore = ValuesOf(*from);
        const Values valuesAfter = ValuesOf(*to);
        Values names = valuesBefore;
        names.insert(valuesAfter.begin(), valuesAfter.end());
        for (const auto& [name, value] : names) {
            models.differences.Compare(DifferenceKind::Material, from->name, name,
                                       ValueAt(valuesBefore, name), ValueAt(valuesAfter, name));
        }
    }
}

}  // namespace orq::exchange
