#include "queries/PlaceName.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>

#include "ORQSimSchema.h"

namespace orqmodel {
namespace {

const char* PointName(int gridType) {
    return gridType == ORQSimSchema::Field_IntegrationPoint ? "integration point"
           : gridType == ORQSimSchema::Field_ElementNodal   ? "node"
                                                            : "face";
}

/// "1 to 4 layers".
std::string Counted(const std::set<int>& counts, const std::string& what) {
    const std::string range = *counts.begin() == *counts.rbegin()
                                  ? fmt::format("{}", *counts.begin())
                                  : fmt::format("{} to {}", *counts.begin(), *counts.rbegin());
    return fmt::format("{} {}{}", range, what, *counts.rbegin() == 1 ? "" : "s");
}

}  // namespace

std::string WithinText(const ORQExcResults& results, const ORQExcResults::Field& field) {
    std::set<int> layers;
    std::set<int> sectionPoints;
    std::set<int> points;
    for (const ORQObjFieldView& view : results.ViewsOf(field)) {
        layers.insert(view.layers.Last() + 1);
        sectionPoints.insert(view.sectionPoints.Last() + 1);
        points.insert(view.points.Last() + 1);
    }
    std::string text;
    if (field.hasLayers && !layers.empty()) {
        text = Counted(layers, "layer") + ", " + Counted(sectionPoints, "section point");
    }
    if (field.hasPoints && !points.empty()) {
        text += (text.empty() ? "" : ", ") + Counted(points, PointName(field.gridType));
    }
    return text;
}

}  // namespace orqmodel
