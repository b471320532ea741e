#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "ORQBasFailure.h"
#include "ORQExcCheck.h"
#include "ORQExcSections.h"
#include "check/Checks.h"

namespace orq::exchange {
namespace {

using Layer = ORQExcSections::Layer;

const ORQExcRule kNoMaterial = {.id = "LAY001",
                                .level = ORQExcLevel::Error,
                                .title = "layer without a material",
                                .meaning = "the layer names no material",
                                .breaks = "the section has no stiffness there",
                                .mending = "give the layer its material"};
const ORQExcRule kThickness = {.id = "LAY002",
                               .level = ORQExcLevel::Error,
                               .title = "layer with a thickness that is not above zero",
                               .meaning = "a thickness is zero, negative or no number",
                               .breaks = "stiffness and section points of the layer mean nothing",
                               .mending = "give the layer its thickness, or remove it"};
const ORQExcRule kPoints = {
    .id = "LAY003",
    .level = ORQExcLevel::Warning,
    .title = "layer with an even number of section points, or none",
    .meaning = "integration through the layer by Simpson's rule needs an odd number of points",
    .breaks = "there is no value at the middle of the layer",
    .mending = "use 1, 3 or 5 section points"};
const ORQExcRule kAngle = {.id = "LAY004",
                           .level = ORQExcLevel::Warning,
                           .title = "ply angle beyond a half turn",
                           .meaning = "the angle is larger than directions of fibres need",
                           .breaks = "other programs refuse it, or take it for radians",
                           .mending = "give the angle in degrees between -180 and 180",
                           .limit = 180.0,
                           .limitOf = "degrees either way"};
const ORQExcRule kRadians = {
    .id = "LAY005",
    .level = ORQExcLevel::Warning,
    .title = "ply angles that look like radians",
    .meaning = "every angle of the section that is not zero is a multiple of pi/12",
    .breaks = "all plies lie within a few degrees of each other",
    .mending = "give the angles in degrees"};
const ORQExcRule kSymmetry = {
    .id = "LAY006",
    .level = ORQExcLevel::Note,
    .title = "layup that is not symmetric",
    .meaning = "layers do not mirror each other about the middle",
    .breaks = "stretching bends the laminate, which warps when it cools",
    .mending = "nothing, if it is meant",
    .source = "R. M. Jones, Mechanics of Composite Materials, 2nd ed., section 4.3: B = 0"};
const ORQExcRule kBalance = {
    .id = "LAY007",
    .level = ORQExcLevel::Note,
    .title = "layup that is not balanced",
    .meaning = "an angle has no layers of its negative of the same thickness",
    .breaks = "stretching shears the laminate",
    .mending = "nothing, if it is meant",
    .source = "R. M. Jones, Mechanics of Composite Materials, 2nd ed., section 4.3: A16 = A26 = 0"};

const ORQExcRule kUnreadable = {
    .id = "LAY008",
    .level = ORQExcLevel::Error,
    .title = "section whose layers cannot be read",
    .meaning = "what is stored of the layers contradicts itself",
    .breaks = "the section has no layers for any reader; exports refuse the model",
    .mending = "write the section again; recover the model if verify finds damage"};

class LayersRun : public ORQExcCheckRun {
  public:
    explicit LayersRun(const ORQExcCheckedModel& model) : m_model(model) {}

    void Finish(std::vector<ORQExcFinding>& findings) override {
        const ORQExcSections sections(m_model.Document());
        for (const ORQExcSections::Section& section : sections.Sections()) {
            const std::string object = fmt::format("section \"{}\"", section.name);
            ORQExcSections::Stack stack{};
            try {
                stack = sections.Read(section);
            } catch (const ORQBasFailure& failure) {
                findings.push_back(
                    {.rule = kUnreadable.id, .object = object, .message = failure.Text()});
                continue;
            }
            for (std::size_t i = 0; i < stack.layers.size(); ++i) {
                CheckLayer(fmt::format("{}, layer {}", object, i + 1), stack.layers[i], findings);
            }
            CheckStack(object, stack, findings);
        }
    }

  private:
    void CheckLayer(const std::string& object, const Layer& layer,
                    std::vector<ORQExcFinding>& findings) const {
        if (layer.material.empty()) {
            findings.push_back(
                {.rule = kNoMaterial.id, .object = object, .message = "has no material"});
        }
        const auto& thicknesses = layer.thickness.numbers;
        const auto thin = std::ranges::find_if(thicknesses, [](double t) { return !(t > 0); });
        if (thin != thicknesses.end()) {
            findings.push_back({.rule = kThickness.id,
                                .object = object,
                                .message = fmt::format("has the thickness {:g}", *thin)});
        }
        if (layer.sectionPoints < 1 || layer.sectionPoints % 2 == 0) {
            findings.push_back(
                {.rule = kPoints.id,
                 .object = object,
                 .message = fmt::format("has {} section points", layer.sectionPoints)});
        }
        const double limit = m_model.Limit(kAngle);
        const auto steep = std::ranges::find_if(layer.angle.numbers,
                                                [&](double a) { return std::abs(a) > limit; });
        if (steep != layer.angle.numbers.end()) {
            findings.push_back(
                {.rule = kAngle.id,
                 .object = object,
                 .message = fmt::format("has the angle {:g}; the limit is {:g}", *steep, limit)});
        }
    }

    static void CheckStack(const std::string& object, const ORQExcSections::Stack& stack,
                           std::vector<ORQExcFinding>& findings) {
        if (LooksLikeRadians(stack)) {
            findings.push_back({.rule = kRadians.id,
                                .object = object,
                                .message = "has angles that are multiples of pi/12 degrees"});
        }
        if (stack.IsSymmetric() == false) {
            findings.push_back(
                {.rule = kSymmetry.id, .object = object, .message = "is not symmetric"});
        }
        // A single layer turns its axes, which is no layup.
        if (stack.layers.size() > 1 && stack.IsBalanced() == false) {
            findings.push_back(
                {.rule = kBalance.id, .object = object, .message = "is not balanced"});
        }
    }

    static bool LooksLikeRadians(const ORQExcSections::Stack& stack) {
        constexpr double kStep = 3.14159265358979323846 / 12;  // 15 degrees
        constexpr double kRounding = 1e-3;  // angles in radians are written with few digits
        bool hasAny = false;
        for (const Layer& layer : stack.layers) {
            for (const double angle : layer.angle.numbers) {
                if (angle == 0) {
                    continue;
                }
                if (std::abs(angle) > 12 * kStep + kRounding ||
                    std::abs(std::remainder(angle, kStep)) > kRounding) {
                    return false;
                }
                hasAny = true;
            }
        }
        return hasAny;
    }

    const ORQExcCheckedModel& m_model;
};

}  // namespace

ORQExcCheck LayersCheck() {
    return {{kNoMaterial, kThickness, kPoints, kAngle, kRadians, kSymmetry, kBalance, kUnreadable},
            BeginRun<LayersRun>};
}

}  // namespace orq::exchange
