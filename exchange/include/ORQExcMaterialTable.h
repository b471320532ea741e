#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "ORQBasExport.h"
#include "ORQObjDocument.h"
#include "ORQSimPosition.h"

/// A property of a material, or some of its components, by temperature and field variables. For
/// example two components over two temperatures:
///
///   components    E, nu
///   temperatures  20, 100
///   values        7e10, 0.33,  6.5e10, 0.34
///
/// Constants are a table of one row without temperatures. Numbers are in the units as given, which
/// nothing converts; rows are in the order as given.
struct ORQ_EXPORT ORQExcMaterialTable {
    struct Column {
        std::string name;        ///< of a component, or "field_1", "field_2", ...
        std::string units = {};  ///< empty when none are given
        int number = 0;          ///< of the table in a bulk data deck that it comes from; 0: none
    };

    std::string property;  ///< for example "elastic"
    std::vector<Column> components;
    std::vector<Column> fieldVariables = {};
    std::string temperatureUnits = {};
    std::vector<double> values = {};        ///< [rows][components], NaN where none is given
    std::vector<double> temperatures = {};  ///< [rows], or empty for what does not depend on them
    std::vector<double> variables = {};     ///< [rows][field variables]

    std::size_t NumRows() const { return values.size() / components.size(); }
    double Value(std::size_t row, std::size_t component) const {
        return values[row * components.size() + component];
    }
    bool HasTemperatures() const { return !temperatures.empty(); }
    /// Neither temperatures nor field variables.
    bool IsConstant() const { return !HasTemperatures() && fieldVariables.empty(); }
    /// The field variables of a row.
    std::vector<double> Variables(std::size_t row) const;
};

/// What a reader of the table should know: temperatures that do not rise among rows of the same
/// field variables, jumps (rows at the same temperature), values that are not given. A text each,
/// which names the first row, from 1. Constants may lack.
ORQ_EXPORT std::vector<std::string> ORQExcOdditiesOf(const ORQExcMaterialTable& table);

/// Adds the tables, of one row at least, to a material. REQUIRES: an open transaction, and the
/// collections that ORQObjSectionBuilder makes.
ORQ_EXPORT void ORQExcWriteMaterialTables(const ORQObjDocument& document,
                                          const ORQSimPosition& material,
                                          const std::vector<ORQExcMaterialTable>& tables);

/// Reads the tables of a material, in the order in which they were added.
ORQ_EXPORT std::vector<ORQExcMaterialTable> ORQExcReadMaterialTables(
    const ORQSimPosition& material);
