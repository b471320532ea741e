#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <set>
#include <string>

#include "ORQExcCheck.h"
#include "ORQExcLayup.h"
#include "ORQExcPoint.h"
#include "ORQExcSections.h"
#include "check/Checks.h"

namespace orq::exchange {
namespace {

constexpr double kDegree = 3.14159265358979323846 / 180;

const ORQExcRule kAlong = {
    .id = "LAY009",
    .level = ORQExcLevel::Warning,
    .title = "axis of an orientation along the shell's normal",
    .meaning =
        "the first axis of a layer's orientation stands on the shell, so that it has no "
        "direction in its plane",
    .breaks = "fibres point anywhere: a small change of the mesh turns them by a right angle",
    .mending = "choose an orientation whose first axis lies nearer to the shell",
    .limit = 5.0,
    .limitOf = "degrees at least, between the axis and the normal"};

class OrientationsRun : public ORQExcCheckRun {
  public:
    explicit OrientationsRun(const ORQExcCheckedModel& model) : m_model(model) {}

    void Finish(std::vector<ORQExcFinding>& findings) override {
        if (m_model.Model().Dimension() == 0) {
            return;
        }
        const ORQExcLayup layup =
            ORQExcReadLayup(m_model.Document(), [](const std::string& /*why*/) {});
        std::map<std::string, Point> axes;
        for (const ORQExcLayup::Orientation& orientation : layup.orientations) {
            axes[orientation.name] = Normalized(orientation.axis1);
        }
        const ORQExcSections sections(m_model.Document());
        for (const ORQExcSections::Section& section : sections.Sections()) {
            for (const std::string& name : OrientationsOf(section, layup)) {
                CheckAxis(section, name, axes.at(name), findings);
            }
        }
    }

  private:
    /// Names of the orientations that layers of a section have.
    static std::set<std::string> OrientationsOf(const ORQExcSections::Section& section,
                                                const ORQExcLayup& layup) {
        std::set<std::string> names;
        const auto found =
            std::ranges::find(layup.sections, section.name, &ORQExcLayup::Section::name);
        if (found != layup.sections.end()) {
            for (const ORQExcLayup::Layer& layer : found->layers) {
                if (layer.orientation != ORQExcLayup::kNone) {
                    names.insert(
                        layup.orientations[static_cast<std::size_t>(layer.orientation)].name);
                }
            }
        }
        return names;
    }

    void CheckAxis(const ORQExcSections::Section& section, const std::string& name,
                   const Point& axis, std::vector<ORQExcFinding>& findings) const {
        const double cosine = std::cos(m_model.Limit(kAlong) * kDegree);
        std::vector<int> members;
        for (const ORQExcModel::Block& block : m_model.Model().Blocks()) {
            const ORQSimCSet some = block.elements.Intersection(section.elements);
            if (block.shape->dimension != 2 || some.IsEmpty()) {
                continue;
            }
            const auto nEach = static_cast<std::size_t>(block.shape->nNodes);
            std::vector<int> nodes(static_cast<std::size_t>(some.Size()) * nEach);
            m_model.Model().ReadConnectivity(block, some, nodes);
            for (int i = 0; i < some.Size(); ++i) {
                const Point normal = NormalOf(
                    *block.shape,
                    std::span<const int>(nodes).subspan(static_cast<std::size_t>(i) * nEach));
                if (std::abs(Dot(axis, normal)) > cosine) {
                    members.push_back(some[i]);
                }
            }
        }
        if (!members.empty()) {
            findings.push_back(
                {.rule = kAlong.id,
                 .object = fmt::format("section \"{}\", orientation \"{}\"", section.name, name),
                 .message = "its first axis is along the normal",
                 .place = ORQExcFinding::Place::Element,
                 .members = std::move(members)});
        }
    }

    /// The unit normal, by two sides of a triangle or the diagonals of a quadrilateral.
    Point NormalOf(const ORQExcShape& shape, std::span<const int> nodes) const {
        const auto at = [&](std::size_t k) {
            return m_model.Points()[static_cast<std::size_t>(nodes[k])];
        };
        return Normalized(shape.nCorners == 3 ? Cross(at(1) - at(0), at(2) - at(0))
                                              : Cross(at(2) - at(0), at(3) - at(1)));
    }

    const ORQExcCheckedModel& m_model;
};

}  // namespace

ORQExcCheck OrientationsCheck() {
    return {{kAlong}, BeginRun<OrientationsRun>};
}

}  // namespace orq::exchange
