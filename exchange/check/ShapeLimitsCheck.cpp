#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <vector>

#include "ORQExcCheck.h"
#include "ORQExcQuality.h"
#include "check/Checks.h"
#include "check/ElementFindings.h"
#include "check/Interfaces.h"
#include "check/NodeTwice.h"

namespace orq::exchange {
namespace {

constexpr const char* kSource =
    "C. J. Stimpson et al., The Verdict Geometric Quality Library, SAND2007-1751";

constexpr const char* kPoor = "stresses at the element are poor";
constexpr const char* kMeshAgain = "mesh the place again";

/// The limits are far beyond what the source calls acceptable: what they find is seldom meant.
const ORQExcRule kEdges = {.id = "ELM010",
                           .level = ORQExcLevel::Note,
                           .title = "element with edges of very different length",
                           .meaning = "the longest edge is many times as long as the shortest",
                           .breaks =
                               "errors of rounding and of locking grow; layers of fluid "
                               "meshes are often so on purpose",
                           .mending = kMeshAgain,
                           .limit = 100.0,
                           .limitOf = "at most, of the longest edge by the shortest",
                           .isByBlock = true,
                           .source = kSource};
const ORQExcRule kSkew = {.id = "ELM011",
                          .level = ORQExcLevel::Warning,
                          .title = "skewed quadrilateral or hexahedron",
                          .meaning =
                              "the lines that join the middles of opposite sides are far "
                              "from normal to each other",
                          .breaks = kPoor,
                          .mending = kMeshAgain,
                          .limit = 0.95,
                          .limitOf = "at most, of the cosine between these lines",
                          .isByBlock = true,
                          .source = kSource};
const ORQExcRule kTaper = {.id = "ELM012",
                           .level = ORQExcLevel::Warning,
                           .title = "tapered quadrilateral",
                           .meaning = "an edge is much shorter than the opposite one",
                           .breaks = kPoor,
                           .mending = "use triangles, or mesh the place again",
                           .limit = 0.95,
                           .limitOf = "at most; 1 for a triangle",
                           .isByBlock = true,
                           .source = kSource};
const ORQExcRule kWarp = {.id = "ELM013",
                          .level = ORQExcLevel::Warning,
                          .title = "warped quadrilateral",
                          .meaning = "the corners of the quadrilateral are not in a plane",
                          .breaks = "shells of plane formulation are too soft, or out of balance",
                          .mending = "use triangles, or smaller elements",
                          .limit = 0.7,
                          .limitOf =
                              "at least, of the cube of the cosine between normals at "
                              "opposite corners: 27 degrees",
                          .isByBlock = true,
                          .source = kSource};
const ORQExcRule kSharp = {.id = "ELM014",
                           .level = ORQExcLevel::Warning,
                           .title = "element with a very small angle",
                           .meaning = "a corner of a triangle or quadrilateral is sharp",
                           .breaks = kPoor,
                           .mending = kMeshAgain,
                           .limit = 6.0,
                           .limitOf = "degrees at least",
                           .isByBlock = true,
                           .source = kSource};
const ORQExcRule kBlunt = {.id = "ELM015",
                           .level = ORQExcLevel::Warning,
                           .title = "element with a very large angle",
                           .meaning = "a corner of a triangle or quadrilateral is nearly straight",
                           .breaks = kPoor,
                           .mending = kMeshAgain,
                           .limit = 170.0,
                           .limitOf = "degrees at most",
                           .isByBlock = true,
                           .source = kSource};

struct Row {
    const ORQExcRule& rule;
    const char* measure;
    bool isLeast;     // the limit is the least, not the most
    bool isOfSolids;  // else of plane shapes alone
};
const std::array<Row, 6> kRows = {{{kEdges, "edge ratio", false, true},
                                   {kSkew, "skew", false, true},
                                   {kTaper, "taper", false, false},
                                   {kWarp, "warpage", true, false},
                                   {kSharp, "minimum angle", true, false},
                                   {kBlunt, "maximum angle", false, false}}};

class ShapeLimitsRun : public ORQExcCheckRun {
  public:
    explicit ShapeLimitsRun(const ORQExcCheckedModel& model) : m_model(model) {
        for (const Row& row : kRows) {
            if (model.IsWanted(row.rule.id)) {
                m_tried.push_back({&row, ORQExcFindQualityMeasure(row.measure), 0, {}});
            }
        }
    }

    bool VisitsElements() const override { return m_model.Model().Dimension() > 0; }

    void Visit(const ORQExcCheckedElements& elements) override {
        const ORQExcShape& shape = *elements.block.shape;
        if (shape.dimension < 2 || SaysInterface(elements.block)) {
            return;  // an interface is thin on purpose
        }
        for (Tried& tried : m_tried) {
            tried.limit = m_model.Limit(tried.row->rule, elements.block.name);
        }
        const double sound = SoundJacobian(shape);
        const double longest = m_model.Limit(kEdges, elements.block.name);
        for (std::size_t i = 0; i < elements.ordinals.size(); ++i) {
            if (!(elements.roughJacobians[i] >= sound &&
                  elements.longestEdges[i] <= longest * elements.shortestEdges[i])) {
                Judge(elements, i);
            }
        }
    }

    void Finish(std::vector<ORQExcFinding>& findings) override {
        for (Tried& tried : m_tried) {
            const Row& row = *tried.row;
            tried.found.Report(
                row.rule, row.isLeast,
                [&](double value) { return fmt::format("{} {:.4g}", row.measure, value); },
                findings);
        }
    }

  private:
    struct Tried {
        const Row* row;
        const ORQExcQualityMeasure* measure;
        double limit;  // of the block
        ElementFindings found;
    };

    /// The least scaled Jacobian of a shape with which only its edges may be beyond a limit. At the
    /// middle of a hexahedron the Jacobian is at most the sine between any two of the lines whose
    /// cosine is the skew.
    double SoundJacobian(const ORQExcShape& shape) const {
        const auto skew =
            std::ranges::find(m_tried, &kSkew, [](const Tried& tried) { return &tried.row->rule; });
        if (shape.dimension == 3 && shape.nCorners == 8 && skew != m_tried.end()) {
            return std::sqrt(std::max(0.0, 1 - skew->limit * skew->limit)) + 1e-8;
        }
        return shape.dimension == 2 ? std::numeric_limits<double>::infinity() : -2;
    }

    void Judge(const ORQExcCheckedElements& elements, std::size_t i) {
        const ORQExcShape& shape = *elements.block.shape;
        const auto nCorners = static_cast<std::size_t>(shape.nCorners);
        // What is inverted, flat or collapsed to a simpler shape has rules of its own.
        if (!(elements.roughJacobians[i] > 0) ||
            HasNodeTwice(elements.NodesOf(i).first(nCorners))) {
            return;
        }
        const std::span<const double> corners = elements.PointsOf(i).first(3 * nCorners);
        for (Tried& tried : m_tried) {
            if (shape.dimension == 3 && !tried.row->isOfSolids) {
                continue;
            }
            const double value = tried.measure->of(shape, corners);
            if (tried.row->isLeast ? value < tried.limit : value > tried.limit) {
                tried.found.Add(elements.block, elements.ordinals[i], value);
            }
        }
    }

    const ORQExcCheckedModel& m_model;
    std::vector<Tried> m_tried;
};

}  // namespace

ORQExcCheck ShapeLimitsCheck() {
    return {{kEdges, kSkew, kTaper, kWarp, kSharp, kBlunt}, BeginRun<ShapeLimitsRun>};
}

}  // namespace orq::exchange
