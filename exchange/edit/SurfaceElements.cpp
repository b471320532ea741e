#include "edit/SurfaceElements.h"

#include <unordered_set>

namespace orq::exchange {

std::vector<int> OfNoSurface(const ORQExcModel& model, std::vector<int> elements) {
    std::unordered_set<int> ofSurfaces;
    for (const ORQExcModel::Surface& surface : model.Surfaces()) {
        for (const ORQExcModel::Face& face : surface.faces) {
            ofSurfaces.insert(face.element);
        }
    }
    std::erase_if(elements, [&](int element) { return ofSurfaces.contains(element); });
    return elements;
}

}  // namespace orq::exchange
