#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "ORQObjMesh.h"

namespace orqmodel {

/// The range of all finite coordinates along each direction; directions beyond the dimension are
/// left out.
struct BoundingBox {
    std::vector<double> lowest;
    std::vector<double> highest;
};

/// The place and the size of a mesh, by its coordinates.
struct Extent {
    int dimension = 0;  // Components of the coordinates, 0 without coordinates.
    std::int64_t nodesWithCoordinates = 0;
    std::int64_t coordinatesNotFinite = 0;
    std::optional<BoundingBox> box;  // Empty without finite coordinates.
};

/// Reads all coordinates, in blocks of about 3 MB. `progress` is called with 0 to 1.
Extent ReadExtent(const ORQObjMesh& mesh, const std::function<void(double)>& progress);

}  // namespace orqmodel
