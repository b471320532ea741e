#include <algorithm>
#include <cmath>
#include <limits>

#include "ORQExcCheck.h"
#include "check/Checks.h"

using namespace orq::exchange;

namespace {

constexpr int kNodesAtOnce = 1 << 17;  // nodes at a time; bounds the memory

struct Box {
    Point low;
    Point high;
};

/// What is no number is in no box, by the way it compares.
template <class IsCounted>
Box BoxOf(std::span<const Point> points, const IsCounted& isCounted) {
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    Box box{{kInfinity, kInfinity, kInfinity}, {-kInfinity, -kInfinity, -kInfinity}};
    for (const Point& point : points) {
        for (std::size_t c = 0; c < 3; ++c) {
            if (isCounted(point[c])) {
                box.low[c] = point[c] < box.low[c] ? point[c] : box.low[c];
                box.high[c] = point[c] > box.high[c] ? point[c] : box.high[c];
            }
        }
    }
    return box;
}

/// The third coordinate stays as it is.
void ReadPlane(const ORQExcModel& model, std::vector<Point>& points) {
    std::vector<double> slice;
    for (int begin = 0; begin < model.NumNodes(); begin += kNodesAtOnce) {
        const int end = std::min(begin + kNodesAtOnce, model.NumNodes());
        slice.resize(static_cast<std::size_t>(end - begin) * 2);
        model.ReadCoordinates(begin, end, slice);
        for (std::size_t i = 0; i < slice.size() / 2; ++i) {
            std::copy_n(slice.data() + i * 2, 2,
                        points[static_cast<std::size_t>(begin) + i].data());
        }
    }
}

}  // namespace

ORQExcCheckedModel::ORQExcCheckedModel(const ORQObjDocument& document,
                                       const ORQExcCheckOptions& options)
    : m_document(document), m_options(options) {}

ORQExcCheckedModel::~ORQExcCheckedModel() = default;

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
    std::vector<Point> points(size, Point{});
    if (dimension == 3) {
        model.ReadCoordinates(0, model.NumNodes(), {points.data()->data(), 3 * size});
    } else {
        ReadPlane(model, points);
    }
    m_points = std::move(points);
    return m_points;
}

double ORQExcCheckedModel::Diagonal() const {
    if (!m_diagonal) {
        Box box = BoxOf(Points(), [](double) { return true; });
        if (!std::isfinite(Length(box.high - box.low))) {
            box = BoxOf(Points(), [](double x) { return std::isfinite(x); });
        }
        m_diagonal = box.low[0] <= box.high[0] ? Length(box.high - box.low) : 0;
    }
    return *m_diagonal;
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
