#include <algorithm>

#include "ORQExcCheck.h"
#include "ORQExcPoint.h"
#include "check/Checks.h"
#include "check/ElementFindings.h"

namespace orq::exchange {
namespace {

const ORQExcRule kOff = {
    .id = "ELM007",
    .level = ORQExcLevel::Warning,
    .title = "middle node off the middle of its edge",
    .meaning = "the node in the middle of an edge lies far from the middle between its ends",
    .breaks =
        "at a quarter of the edge the Jacobian vanishes at the end: stresses are singular there",
    .mending = "move the node to the middle; nothing, at the tip of a crack",
    .limit = 0.2,
    .limitOf = "of the length of the edge",
    .isByBlock = true,
    .source =
        "R. S. Barsoum, International Journal for Numerical Methods in Engineering 10 (1976) "
        "25-37: quarter points"};

class MiddleNodesRun : public ORQExcCheckRun {
  public:
    explicit MiddleNodesRun(const ORQExcCheckedModel& model) : m_model(model) {}

    bool VisitsElements() const override { return m_model.Model().Dimension() > 0; }
    void Visit(const ORQExcCheckedElements& elements) override {
        const ORQExcShape& shape = *elements.block.shape;
        // Edges with one node between their ends; with more they stand at other places.
        std::vector<const ORQExcShape::Side*> edges;
        for (const ORQExcShape::Side& edge : shape.edges) {
            if (edge.nodes.size() == 3) {
                edges.push_back(&edge);
            }
        }
        const double limit = m_model.Limit(kOff, elements.block.name);
        for (std::size_t i = 0; i < elements.ordinals.size() && !edges.empty(); ++i) {
            const std::span<const double> points = elements.PointsOf(i);
            double worst = 0;
            for (const ORQExcShape::Side* edge : edges) {
                worst = std::max(worst, OffMiddle(*edge, points));
            }
            if (worst > limit) {
                m_found.Add(elements.block, elements.ordinals[i], worst);
            }
        }
    }

    void Finish(std::vector<ORQExcFinding>& findings) override {
        m_found.Report(
            kOff, false,
            [](double part) { return fmt::format("off by {:.3g} of the edge's length", part); },
            findings);
    }

  private:
    static double OffMiddle(const ORQExcShape::Side& edge, std::span<const double> points) {
        const auto at = [&](std::size_t k) {
            const auto first = static_cast<std::size_t>(edge.nodes[k]) * 3;
            return Point{points[first], points[first + 1], points[first + 2]};
        };
        const double length = Length(at(1) - at(0));
        return length > 0 ? Length(at(2) - 0.5 * (at(0) + at(1))) / length : 0;
    }

    const ORQExcCheckedModel& m_model;
    ElementFindings m_found;
};

}  // namespace

ORQExcCheck MiddleNodesCheck() {
    return {{kOff}, BeginRun<MiddleNodesRun>};
}

}  // namespace orq::exchange
