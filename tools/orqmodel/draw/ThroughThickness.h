#pragma once

#include <optional>
#include <string>
#include <vector>

#include "ORQExcModel.h"
#include "ORQExcResults.h"
#include "ORQExcSections.h"

namespace orqmodel {

/// What is wanted of one element through its thickness.
struct ThroughOptions {
    int element;            ///< its label
    std::string instance;   ///< of the label; needed where several have it
    std::string field;      ///< a field or one of its components
    std::string component;  ///< of the field; empty for what ShownField makes of it
    std::string point;      ///< a number from 1; empty for the mean of the points
    int time;               ///< from 1; 0 for the last with values
};

/// The values of a field with layers in one element, and where they are. Heights are in the model's
/// length unit and count along the normal: from the middle surface, or from the nodes where it is
/// known how far above them that lies.
struct ThroughThickness {
    struct Value {
        double height;
        double value;  ///< not a number where there is none
    };
    int element;
    std::string section;
    std::vector<ORQExcSections::Layer> layers;  ///< of the element, from the bottom
    std::vector<double> borders;                ///< heights, [layers + 1]
    double middle;
    bool isFromNodes;
    /// Values by layer at its section points, from the bottom: evenly from border to border, a
    /// single one in the middle. None in a layer without values.
    std::vector<std::vector<Value>> values;
    std::string quantity;
    std::string time;
};

/// Throws ORQBasFailure (Usage), naming what is near, for an element, field, component, point or time
/// that the model lacks, an element without layers, a field without layers or without a value there.
ThroughThickness ReadThrough(const ORQExcModel& model, const ORQExcResults& results,
                             const ThroughOptions& options);

}  // namespace orqmodel
