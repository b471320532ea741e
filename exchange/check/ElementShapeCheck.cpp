#include <algorithm>
#include <cmath>
#include <vector>

#include "ORQExcCheck.h"
#include "ORQExcPoint.h"
#include "ORQExcQuality.h"
#include "check/Checks.h"
#include "check/ElementFindings.h"
#include "check/Interfaces.h"
#include "check/NodeTwice.h"

namespace orq::exchange {
namespace {

const ORQExcRule kCollapsed = {.id = "ELM004",
                               .level = ORQExcLevel::Error,
                               .title = "element without length, area or volume",
                               .meaning = "the corners lie in a point, on a line or in a plane",
                               .breaks = "the stiffness is singular or infinite",
                               .mending =
                                   "remove the element, or move its nodes; where it glues two "
                                   "sides at one place, say so in the name of its block or "
                                   "section: cohesive, gap or interface",
                               .limit = 1e-10,
                               .limitOf = "of the cube (square, length) of its longest edge",
                               .isByBlock = true};
const ORQExcRule kInverted = {
    .id = "ELM005",
    .level = ORQExcLevel::Error,
    .title = "inverted element",
    .meaning =
        "the Jacobian is zero or negative at a corner: the element is turned inside out, or has a "
        "corner on or beyond its own sides",
    .breaks = "solvers stop, or give the part negative stiffness",
    .mending = "turn the order of the nodes, or move the node that is beyond",
    .source =
        "C. J. Stimpson et al., The Verdict Geometric Quality Library, SAND2007-1751: scaled "
        "Jacobian"};
const ORQExcRule kLeftHanded = {
    .id = "ELM009",
    .level = ORQExcLevel::Warning,
    .title = "solid of a deck that is numbered the other way round",
    .meaning = "the nodes go around the first face so that it faces inwards, which bulk data allow",
    .breaks = "programs that need right-handed elements find a negative volume",
    .mending = "exchange the first and the opposite face in the order of the nodes"};
const ORQExcRule kDistorted = {
    .id = "ELM006",
    .level = ORQExcLevel::Warning,
    .title = "badly shaped element",
    .meaning = "the scaled Jacobian, 1 for the regular shape, is close to 0 at a corner",
    .breaks = "stresses at the element are poor",
    .mending = "mesh the place again",
    .limit = 0.1,
    .limitOf = "at least, of the scaled Jacobian",
    .isByBlock = true,
    .source =
        "C. J. Stimpson et al., The Verdict Geometric Quality Library, SAND2007-1751: scaled "
        "Jacobian"};

class ElementShapeRun : public ORQExcCheckRun {
  public:
    explicit ElementShapeRun(const ORQExcCheckedModel& model) : m_model(model) {}

    bool VisitsElements() const override { return m_model.Model().Dimension() > 0; }
    void Visit(const ORQExcCheckedElements& elements) override {
        if (elements.block.shape->dimension == 0) {
            return;
        }
        const double least = m_model.Limit(kDistorted, elements.block.name);
        const double flat = m_model.Limit(kCollapsed, elements.block.name);
        // Most elements are sound, which the measure alone shows; of lines it knows nothing. The rough
        // one is good enough for those that are far from the limit.
        const double sound = std::max(least, flat) + 1e-8;
        for (std::size_t i = 0; i < elements.ordinals.size(); ++i) {
            if (!(elements.roughJacobians[i] >= sound)) {
                Judge(elements, i, least, flat);
            }
        }
    }

    void Finish(std::vector<ORQExcFinding>& findings) override {
        AddTogether();
        m_collapsed.Report(
            kCollapsed, true, [](double size) { return fmt::format("has the size {:.3g}", size); },
            findings);
        m_inverted.Report(
            kInverted, true,
            [](double jacobian) { return fmt::format("scaled Jacobian {:.3g}", jacobian); },
            findings);
        m_leftHanded.Report(
            kLeftHanded, true,
            [](double jacobian) { return fmt::format("scaled Jacobian {:.3g}", jacobian); },
            findings);
        m_distorted.Report(
            kDistorted, true,
            [](double jacobian) { return fmt::format("scaled Jacobian {:.3g}", jacobian); },
            findings);
    }

  private:
    void Judge(const ORQExcCheckedElements& elements, std::size_t i, double least, double flat) {
        const ORQExcShape& shape = *elements.block.shape;
        const auto nCorners = static_cast<std::size_t>(shape.nCorners);
        const std::span<const double> corners = elements.PointsOf(i).first(nCorners * 3);
        const double jacobian = m_scaledJacobian.of(shape, corners);
        if (jacobian >= std::max(least, flat)) {
            return;
        }
        const ORQExcModel::Block& block = elements.block;
        const int element = elements.ordinals[i];
        const std::span<const int> nodes = elements.NodesOf(i).first(nCorners);
        const double size = std::abs(ORQExcMeasureOf(shape, corners).size);
        const double longest = elements.longestEdges[i];
        if (shape.dimension == 1 ? HasNodeTwice(nodes)
                                 : size <= flat * std::pow(longest, shape.dimension)) {
            if (AreSidesTogether(shape, corners, flat * longest) && !HasNodeTwice(nodes)) {
                m_together.emplace_back(&block, element);
            } else {
                m_collapsed.Add(block, element, size);
            }
        } else if (jacobian < 0 && MayBeLeftHanded(block) &&
                   m_scaledJacobian.of(shape, Mirrored(corners)) > 0) {
            m_leftHanded.Add(block, element, jacobian);
        } else if (jacobian < 0 || (jacobian == 0 && !HasNodeTwice(nodes))) {
            m_inverted.Add(block, element, jacobian);
        } else if (jacobian < least && !HasNodeTwice(nodes)) {
            // One that has a node twice is a simpler shape, which has a rule of its own.
            m_distorted.Add(block, element, jacobian);
        }
    }

    /// An element that glues two sides at one place has no thickness on purpose.
    void AddTogether() {
        if (m_together.empty()) {
            return;
        }
        const std::vector<int> interfaces = ElementsOfInterfaceSections(m_model.Model());
        for (const auto& [block, element] : m_together) {
            if (!SaysInterface(*block) && !std::ranges::binary_search(interfaces, element)) {
                m_collapsed.Add(*block, element, 0);
            }
        }
    }

    /// A card of bulk data says in which order the nodes go around a face, not which way it faces.
    static bool MayBeLeftHanded(const ORQExcModel::Block& block) {
        return block.shape->dimension == 3 && block.shapeName.starts_with('C');
    }

    static std::vector<double> Mirrored(std::span<const double> points) {
        std::vector<double> mirrored(points.begin(), points.end());
        for (std::size_t x = 0; x < mirrored.size(); x += 3) {
            mirrored[x] = -mirrored[x];
        }
        return mirrored;
    }

    const ORQExcCheckedModel& m_model;
    const ORQExcQualityMeasure& m_scaledJacobian = *ORQExcFindQualityMeasure("scaled Jacobian");
    ElementFindings m_collapsed;
    std::vector<std::pair<const ORQExcModel::Block*, int>> m_together;  // without thickness
    ElementFindings m_inverted;
    ElementFindings m_leftHanded;
    ElementFindings m_distorted;
};

}  // namespace

ORQExcCheck ElementShapeCheck() {
    return {{kCollapsed, kInverted, kDistorted, kLeftHanded}, BeginRun<ElementShapeRun>};
}

}  // namespace orq::exchange
