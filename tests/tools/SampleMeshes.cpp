#include "SampleMeshes.h"

#include <map>
#include <utility>
#include <vector>

#include "ORQExcShapes.h"

namespace orqmodel {

exodus_file::Content OneOfEachShape() {
    const std::map<std::pair<int, int>, std::vector<double>> corners = {
        {{0, 1}, {0, 0, 0}},
        {{1, 2}, {0, 0, 0, 2, 0, 0}},
        {{2, 3}, {0, 0, 0, 2, 0, 0, 0, 3, 0}},
        {{2, 4}, {0, 0, 0, 2, 0, 0, 2, 3, 0, 0, 3, 0}},
        {{3, 4}, {0, 0, 0, 2, 0, 0, 0, 3, 0, 0, 0, 4}},
        {{3, 5}, {0, 0, 0, 2, 0, 0, 2, 3, 0, 0, 3, 0, 1, 1.5, 4}},
        {{3, 6}, {0, 0, 0, 2, 0, 0, 0, 3, 0, 0, 0, 4, 2, 0, 4, 0, 3, 4}},
        {{3, 8}, {0, 0, 0, 2, 0, 0, 2, 3, 0, 0, 3, 0, 0, 0, 4, 2, 0, 4, 2, 3, 4, 0, 3, 4}}};
    exodus_file::Content content;
    content.labels = {};
    content.x = content.y = content.z = {};
    for (const ORQExcShape& shape : ORQExcShapes()) {
        // The corners that each node is the middle of.
        std::vector<std::vector<int>> origins(static_cast<std::size_t>(shape.nNodes));
        std::vector<int> all;
        for (int corner = 0; corner < shape.nCorners; ++corner) {
            origins[static_cast<std::size_t>(corner)] = {corner};
            all.push_back(corner);
        }
        for (const auto& edge : shape.edges) {
            if (edge.nodes.size() == 3) {
                origins[static_cast<std::size_t>(edge.nodes[2])] = {edge.nodes[0], edge.nodes[1]};
            }
        }
        for (const auto& side : shape.sides) {
            if (side.nodes.size() == 9) {
                origins[static_cast<std::size_t>(side.nodes[8])] = {side.nodes.begin(),
                                                                    side.nodes.begin() + 4};
            }
        }
        const std::vector<double>& points = corners.at({shape.dimension, shape.nCorners});
        exodus_file::BlockContent block{
            std::ssize(content.blocks) + 1, shape.name, shape.name, shape.nNodes, {}, {}};
        for (const std::vector<int>& middle : origins) {
            const std::vector<int>& of = middle.empty() ? all : middle;
            double point[3] = {0, 0, 0};
            for (const int corner : of) {
                for (std::size_t axis = 0; axis < 3; ++axis) {
                    point[axis] += points[3 * static_cast<std::size_t>(corner) + axis] /
                                   static_cast<double>(of.size());
                }
            }
            content.x.push_back(point[0] + 0.25 * point[1] + 10.0 * static_cast<double>(block.id));
            content.y.push_back(point[1] + 0.125 * point[2]);
            content.z.push_back(point[2]);
            block.nodes.push_back(std::ssize(content.x));
        }
        content.blocks.push_back(block);
    }
    return content;
}

}  // namespace orqmodel
