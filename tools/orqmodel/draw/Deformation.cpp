#include "draw/Deformation.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <optional>

#include "ORQBasFailure.h"
#include "ORQExcNearNames.h"
#include "draw/FieldValues.h"
#include "draw/Skin.h"
#include "queries/Invariants.h"

namespace orqmodel {
namespace {

using Field = ORQExcResults::Field;

bool IsDisplacement(const Field& field) {
    return field.place == ORQExcResultArray::Place::Node && IsVector(field);
}

const Field* FindVector(const ORQExcResults& results, const std::string& name) {
    const auto found = std::ranges::find_if(results.Fields(), [&](const Field& field) {
        return field.name == name && IsDisplacement(field);
    });
    return found == results.Fields().end() ? nullptr : &*found;
}

/// What stands behind the last colon, when it is a number; names may have colons too.
std::optional<double> ScaleIn(const std::string& text, std::string& name) {
    const auto colon = text.rfind(':');
    double scale = 0;
    const char* const end = text.data() + text.size();
    const auto [next, error] =
        std::from_chars(colon == text.npos ? end : text.data() + colon + 1, end, scale);
    if (error != std::errc() || next != end || !std::isfinite(scale)) {
        return std::nullopt;
    }
    name = text.substr(0, colon);
    return scale;
}

double DiagonalOf(const ORQExcModel& model) {
    constexpr double kFar = std::numeric_limits<double>::infinity();
    Point low{kFar, kFar, kFar};
    Point high{-kFar, -kFar, -kFar};
    for (const Point& point : PointsOf(model)) {
        for (std::size_t axis = 0; axis < 3; ++axis) {
            low[axis] = std::min(low[axis], point[axis]);
            high[axis] = std::max(high[axis], point[axis]);
        }
    }
    return Length(high - low);
}

}  // namespace

Deformation::Deformation(const ORQExcModel& model, const ORQExcResults& results,
                         const std::string& text)
    : m_model(model), m_results(results), m_field(FindVector(results, text)) {
    // The whole text first: a field may have a name that ends in a colon and a number.
    std::string name = text;
    if (m_field == nullptr) {
        m_scale = ScaleIn(text, name);
        m_field = FindVector(results, name);
    }
    if (m_field == nullptr) {
        std::vector<std::string> known;
        for (const Field& field : results.Fields()) {
            if (IsDisplacement(field)) {
                known.push_back(field.name);
            }
        }
        ORQBasThrowUsage(
            fmt::format("--deform {}: the model has no vectors of that name at nodes{}", name,
                        ORQExcNearNames(name, known)));
    }
}

std::vector<int> Deformation::Times() const {
    return TimesOf(m_results, *m_field);
}

void Deformation::Scale(const std::vector<int>& times) {
    for (const int time : times) {
        const std::vector<Point> displacements = Unscaled(time);
        m_largest =
            std::max(m_largest, Length(*std::ranges::max_element(displacements, {}, Length)));
    }
    constexpr double kSeen = 0.05;  // of the diagonal
    if (!m_scale) {
        m_scale = m_largest > 0 ? kSeen * DiagonalOf(m_model) / m_largest : 1;
    }
    if (!(std::abs(Reach()) <= kFarthest)) {
        ORQBasThrowUsage(fmt::format("--deform {}: moves nodes by {}, which cannot be drawn",
                                     m_field->name, Reach()));
    }
}

std::vector<Point> Deformation::Unscaled(int time) const {
    const std::size_t nComponents = m_field->components.size();
    std::vector<double> values(static_cast<std::size_t>(m_model.NumNodes()) * nComponents);
    if (m_results.Read(*m_field, time - 1, m_model.Nodes(), values) == 0) {
        ORQBasThrowUsage(
            fmt::format("--deform {}: it has no values at step {}", m_field->name, time));
    }
    std::vector<Point> displacements(static_cast<std::size_t>(m_model.NumNodes()), Point{});
    for (std::size_t i = 0; i < values.size(); ++i) {
        // A node without a value stays where it is: a place that is NaN cannot be drawn.
        if (std::isfinite(values[i])) {
            const std::size_t axis = AxisOf(m_field->components[i % nComponents]);
            displacements[i / nComponents].at(axis) = values[i];
        }
    }
    return displacements;
}

std::vector<Point> Deformation::At(int time) const {
    std::vector<Point> displacements = Unscaled(time);
    for (Point& displacement : displacements) {
        displacement = *m_scale * displacement;
    }
    return displacements;
}

std::string Deformation::Text() const {
    return fmt::format("{} x {:.4g}", m_field->name, *m_scale);
}

}  // namespace orqmodel
