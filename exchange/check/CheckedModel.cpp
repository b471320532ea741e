#include <algorithm>
#include <cmath>
#include <limits>

#include "ORQExcCheck.h"
#include "check/Checks.h"

using namespace orq::exchange;

namespace {

constexpr int kNodesAtOnce = 1 << 15;  // less than a megabyte of points

using Extent = ORQExcCheckedModel::Extent;

/// Around the coordinates that are counted.
template <class IsCounted>
Extent ExtentOf(std::span<const Point> points, const IsCounted& isCounted) {
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    Extent extent{{kInfinity, kInfinity, kInfinity}, {-kInfinity, -kInfinity, -kInfinity}, true};
    Point differences{};
    for (const Point& point : points) {
        for (std::size_t c = 0; c < 3; ++c) {
            // 0, or not a number: that of a coordinate and itself. Saves a branch for each.
            differences[c] += point[c] - point[c];
            if (isCounted(point[c])) {
                extent.low[c] = point[c] < extent.low[c] ? point[c] : extent.low[c];
                extent.high[c] = point[c] > extent.high[c] ? point[c] : extent.high[c];
            }
        }
    }
    extent.hasAll = differences == Point{};
    return extent;
}

/// Reads the points of nodes of a plane model, with 0 for the third coordinate.
void ReadPlane(const ORQExcModel& model, int begin, int end, std::span<Point> points) {
    std::vector<double> places(points.size() * 2);
    model.ReadCoordinates(begin, end, places);
    for (std::size_t i = 0; i < points.size(); ++i) {
        points[i] = {places[2 * i], places[2 * i + 1], 0};
    }
}

}  // namespace

ORQExcCheckedModel::ORQExcCheckedModel(const ORQObjDocument& document,
                                       const ORQExcCheckOptions& options)
    : m_document(document), m_options(options) {}

ORQExcCheckedModel::~ORQExcCheckedModel() = default;

void ORQExcCheckedModel::Tell(double done) const {
    if (m_options.progress) {
        m_options.progress(done);
    }
}

const ORQExcModel& ORQExcCheckedModel::Model() const {
    if (m_model == nullptr) {
        m_model = std::make_unique<ORQExcModel>(m_document);
    }
    return *m_model;
}

std::span<const Point> ORQExcCheckedModel::Points() const {
    const ORQExcModel& model = Model();
    const auto dimension = static_cast<std::size_t>(model.Dimension());
    const auto size = static_cast<std::size_t>(model.NumNodes());
    if (m_points.size() == size || dimension == 0) {
        return m_points;
    }
    ORQBasLargeVector<Point> points;
    points.reserve(size);
    for (int begin = 0; begin < model.NumNodes(); begin += kNodesAtOnce) {
        const int end = std::min(begin + kNodesAtOnce, model.NumNodes());
        // Grown slice by slice, the memory is still in the processor's cache when it is read into.
        points.resize(static_cast<std::size_t>(end));
        const std::span<Point> slice = std::span(points).subspan(static_cast<std::size_t>(begin));
        if (dimension == 3) {
            model.ReadCoordinates(begin, end, {slice.data()->data(), 3 * slice.size()});
        } else {
            ReadPlane(model, begin, end, slice);
        }
    }
    m_points = std::move(points);
    return m_points;
}

const Extent& ORQExcCheckedModel::Box() const {
    if (!m_box) {
        m_box = ExtentOf(Points(), [](double) { return true; });
        if (!m_box->hasAll) {
            m_box = ExtentOf(Points(), [](double x) { return std::isfinite(x); });
        }
    }
    return *m_box;
}

double ORQExcCheckedModel::Diagonal() const {
    return Box().low[0] <= Box().high[0] ? Length(Box().high - Box().low) : 0;
}

bool ORQExcCheckedModel::IsWanted(std::string_view rule) const {
    const auto names = [&](const std::string& text) {
        return rule == text || GroupOf(rule) == text;
    };
    return (m_options.only.empty() || std::ranges::any_of(m_options.only, names)) &&
           std::ranges::none_of(m_options.skip, names);
}

double ORQExcCheckedModel::Limit(const ORQExcRule& rule) const {
    const auto own = m_options.limits.find(rule.id);
    return own != m_options.limits.end() ? own->second : rule.limit.value_or(0);
}

double ORQExcCheckedModel::Limit(const ORQExcRule& rule, const std::string& block) const {
    if (const auto ofBlock = m_options.blockLimits.find(block);
        ofBlock != m_options.blockLimits.end()) {
        if (const auto own = ofBlock->second.find(rule.id); own != ofBlock->second.end()) {
            return own->second;
        }
    }
    return Limit(rule);
}
