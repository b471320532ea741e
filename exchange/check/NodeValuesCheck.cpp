#include <cmath>

#include "ORQExcCheck.h"
#include "check/Checks.h"

namespace orq::exchange {
namespace {

const ORQExcRule kNotFinite = {
    .id = "NOD001",
    .level = ORQExcLevel::Error,
    .title = "node with a coordinate that is not finite",
    .meaning = "a coordinate is infinite or no number",
    .breaks = "elements at the node have no shape; analyses stop or spread it",
    .mending = "give the node its place, or remove it and its elements"};

class NodeValuesRun : public ORQExcCheckRun {
  public:
    explicit NodeValuesRun(const ORQExcCheckedModel& model) : m_model(model) {}

    void Finish(std::vector<ORQExcFinding>& findings) override {
        const std::span<const double> coordinates = m_model.Coordinates();
        std::vector<int> members;
        for (std::size_t i = 0; i < coordinates.size(); ++i) {
            const auto node = static_cast<int>(i / 3);
            if (!std::isfinite(coordinates[i]) && (members.empty() || members.back() != node)) {
                members.push_back(node);
            }
        }
        if (!members.empty()) {
            findings.push_back({.rule = kNotFinite.id,
                                .message = "coordinates are not finite",
                                .place = ORQExcFinding::Place::Node,
                                .members = std::move(members)});
        }
    }

  private:
    const ORQExcCheckedModel& m_model;
};

}  // namespace

ORQExcCheck NodeValuesCheck() {
    return {{kNotFinite}, BeginRun<NodeValuesRun>};
}

}  // namespace orq::exchange
