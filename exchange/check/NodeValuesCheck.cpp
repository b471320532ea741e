#include <algorithm>
#include <cmath>

#include "ORQExcCheck.h"
#include "check/Checks.h"

namespace orq::exchange {
namespace {

const ORQExcRule kNotFinitePlace = {
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
        if (m_model.Box().hasAll) {
            return;
        }
        const std::span<const Point> points = m_model.Points();
        std::vector<int> members;
        for (std::size_t node = 0; node < points.size(); ++node) {
            if (!std::ranges::all_of(points[node], [](double x) { return std::isfinite(x); })) {
                members.push_back(static_cast<int>(node));
            }
        }
        if (!members.empty()) {
            findings.push_back({.rule = kNotFinitePlace.id,
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
    return {{kNotFinitePlace}, BeginRun<NodeValuesRun>};
}

}  // namespace orq::exchange
