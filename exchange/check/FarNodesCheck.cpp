#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "ORQExcCheck.h"
#include "check/Checks.h"

namespace orq::exchange {
namespace {

const ORQExcRule kFar = {
    .id = "NOD004",
    .level = ORQExcLevel::Note,
    .title = "node far from all others",
    .meaning = "the node lies far outside the box around nearly all nodes",
    .breaks = "pictures show a dot; tolerances that go by the size of the model are too large",
    .mending = "correct the coordinate; nothing, where it holds an axis or a far mass",
    .limit = 10.0,
    .limitOf = "extents of the box, along one of the axes, of all nodes but 2 in 100 at each end"};

/// Fewer nodes have no bulk that one could be far from.
constexpr std::size_t kLeastNodes = 100;
constexpr std::size_t kSample = 10000;
constexpr std::size_t kOneEnd = 50;  // one node in so many lies beyond each end

class FarNodesRun : public ORQExcCheckRun {
  public:
    explicit FarNodesRun(const ORQExcCheckedModel& model) : m_model(model) {}

    void Finish(std::vector<ORQExcFinding>& findings) override {
        const std::span<const Point> points = m_model.Points();
        if (points.size() < kLeastNodes) {
            return;
        }
        std::array<Range, 3> ranges{};
        double largest = 0;
        for (std::size_t axis = 0; axis < 3; ++axis) {
            ranges[axis] = BulkAlong(axis);
            largest = std::max(largest, ranges[axis].high - ranges[axis].low);
        }
        // The reach goes by the largest extent: a plane model has none across.
        const double reach = m_model.Limit(kFar) * largest;
        const auto isFar = [&](const Point& point) {
            bool is = false;
            for (std::size_t axis = 0; axis < 3; ++axis) {
                is |= point[axis] < ranges[axis].low - reach ||
                      point[axis] > ranges[axis].high + reach;
            }
            return is;
        };
        const auto& box = m_model.Box();
        if (largest <= 0 || (!isFar(box.low) && !isFar(box.high))) {
            return;
        }
        std::vector<int> members;
        for (std::size_t node = 0; node < points.size(); ++node) {
            if (isFar(points[node]) && IsPlaced(points[node])) {
                members.push_back(static_cast<int>(node));
            }
        }
        if (!members.empty()) {
            findings.push_back({.rule = kFar.id,
                                .message = fmt::format("beyond {:.3g} from the others", reach),
                                .place = ORQExcFinding::Place::Node,
                                .members = std::move(members)});
        }
    }

  private:
    struct Range {
        double low;
        double high;
    };

    static bool IsPlaced(const Point& point) {
        return std::ranges::all_of(point, [](double x) { return std::isfinite(x); });
    }

    /// Where nearly all nodes are, by some of them.
    Range BulkAlong(std::size_t axis) const {
        const std::span<const Point> points = m_model.Points();
        const std::size_t step = points.size() / kSample + 1;
        std::vector<double> sample;
        for (std::size_t node = 0; node < points.size(); node += step) {
            if (std::isfinite(points[node][axis])) {
                sample.push_back(points[node][axis]);
            }
        }
        std::ranges::sort(sample);
        const std::size_t end = sample.size() / kOneEnd;
        return sample.empty() ? Range{0, 0} : Range{sample[end], sample[sample.size() - 1 - end]};
    }

    const ORQExcCheckedModel& m_model;
};

}  // namespace

ORQExcCheck FarNodesCheck() {
    return {{kFar}, BeginRun<FarNodesRun>};
}

}  // namespace orq::exchange
