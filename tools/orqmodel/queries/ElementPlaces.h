#pragma once

#include <string>
#include <vector>

#include "ORQExcModel.h"
#include "ORQExcResults.h"
#include "ORQSimCSet.h"

namespace orqmodel {

/// Which values within elements are wanted.
struct PlaceOptions {
    std::string layer;         // "all", a number from 1, or empty for all.
    std::string sectionPoint;  // "bottom", "middle", "top", a number from 1, or empty for all.
    std::string ply;           // Of any section; empty for all.
    std::string at;            // "points", "centroid", "nodes", or empty for points.
    std::string axes;          // "layer", "element", "model", or empty for those of the field.
    bool extreme = false;
    bool acrossBorders = false;

    bool IsEmpty() const {
        return layer.empty() && sectionPoint.empty() && ply.empty() && at.empty() && axes.empty() &&
               !extreme;
    }
};

/// Elements at one layer and section point of a field, -1 for one without.
struct ElementPlace {
    int layer;
    int sectionPoint;
    int nPoints;  ///< 0 for a field without
    ORQSimCSet members;
};

/// The layers and section points that are wanted of some elements: by layer and section point, then
/// by class of elements. Throws ORQBasFailure (Usage) for what the field or its sections do not
/// have.
std::vector<ElementPlace> FindPlaces(const ORQExcModel& model, const ORQExcResults& results,
                                     const ORQExcResults::Field& field, const ORQSimCSet& members,
                                     const PlaceOptions& options);

/// A number from 1 as a place from 0. Throws Usage, naming the option, where the text is none.
int PlaceFrom(const char* option, const std::string& text);

}  // namespace orqmodel
