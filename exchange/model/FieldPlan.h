#pragma once

#include <span>
#include <string>
#include <vector>

#include "ORQExcResultSource.h"
#include "ORQObjStepBuilder.h"

namespace orq::exchange {

/// A field to be made of one or more arrays of a file.
struct FieldPlan {
    ORQExcResultArray::Place place;
    std::string name;
    /// Identifier in the table of output variables; empty for a variable that the table lacks.
    std::string identifier;
    int gridType;
    std::vector<ORQObjFieldDefinition::Component> components;
    std::vector<int> arrays;  ///< whose components follow each other
    bool hasLayers = false;
    std::string arrayNames = {};  ///< as in ORQExcResultArray
    ORQObjAxes axes = ORQObjAxes::Unknown;
};

/// Returns the fields that the arrays make, in their order. An array whose name is a label of the
/// table of output variables, on a field type of its place, gets that type and component. Other
/// arrays go by their names: arrays that follow each other, have values in the same places and are
/// called NAME_x, NAME_y, NAME_z (or NAME_xx, NAME_yy, ...) are one vector (or tensor) NAME. Arrays
/// that name their field are its components, whatever stands between them.
std::vector<FieldPlan> PlanFields(std::span<const ORQExcResultArray> arrays);

/// Adds the field of a plan to a step, without values.
ORQObjMeshedField AddField(const ORQObjDocument& document, const ORQSimPosition& step,
                           const FieldPlan& plan);

/// The vector or tensor of which a name is a component at integration points; empty when the name is
/// of none.
std::string FieldOfComponent(const std::string& name);

}  // namespace orq::exchange
