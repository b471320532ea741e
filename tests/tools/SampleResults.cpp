#include "SampleResults.h"

#include <gtest/gtest.h>

#include <vector>

#include "CommandRun.h"
#include "ORQExcPointRules.h"

using exodus_file::ScratchFolder;

exodus_file::Content NodesOfTwoCubes() {
    exodus_file::Content content;
    content.x.assign(12, 0);
    content.y.assign(12, 0);
    content.z.assign(12, 0);
    for (std::size_t i = 0; i < 12; ++i) {
        content.x[i] = static_cast<double>(i % 4 == 1 || i % 4 == 2);
        content.y[i] = static_cast<double>(i % 4 >= 2);
        content.z[i] = static_cast<double>(i / 4);
    }
    content.labels.clear();
    return content;
}

std::string CubesWithStress(const ScratchFolder& folder, double shift) {
    exodus_file::Content content = NodesOfTwoCubes();
    content.blocks = {{1, "lower", "HEX8", 8, {1, 2, 3, 4, 5, 6, 7, 8}, {}},
                      {2, "upper", "HEX8", 8, {5, 6, 7, 8, 9, 10, 11, 12}, {}}};
    exodus_file::Write(content, folder / "cubes.e");
    std::vector<exodus_file::ElementVariable> variables;
    const auto points = ORQExcPointsOf(*ORQExcFindShapeByName("HEX8"), 8);
    for (std::size_t point = 0; point < 8; ++point) {
        exodus_file::ElementVariable& variable = variables.emplace_back();
        variable.name = "stress_xx_" + std::to_string(point + 1);
        for (int element = 0; element < 2; ++element) {
            const std::array<double, 3> at = {(points[point][0] + 1) / 2,
                                              (points[point][1] + 1) / 2,
                                              (points[point][2] + 1) / 2 + element};
            variable.values[element + 1] = {{Linear(at) + element * shift}};
        }
    }
    exodus_file::AddElementResults(folder / "cubes.e", variables);
    const std::string model = folder / "cubes.orq";
    EXPECT_EQ(RunHere({"import", folder / "cubes.e", "-o", model}).status, 0);
    return model;
}
