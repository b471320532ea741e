#include <algorithm>
#include <cmath>
#include <map>
#include <numbers>
#include <vector>

#include "ORQExcElementValues.h"
#include "ORQExcPoint.h"
#include "ORQSimCollection.h"
#include "ORQSimDataRecord.h"
#include "ORQSimLinks.h"
#include "ORQSimRecordFields.h"
#include "ORQSimSchema.h"

using namespace orq::exchange;

namespace {

using Matrix = ORQExcElementAxes::Matrix;

/// The part of a direction in the plane of a normal, of length 1; nothing for one along the normal.
std::optional<Point> InPlane(const Point& direction, const Point& normal) {
    const Point part = direction - Dot(direction, normal) * normal;
    const double length = Length(part);
    // A part this small is rounding: it has no direction.
    constexpr double kSmallest = 1e-9;
    return length > kSmallest * Length(direction) ? std::optional((1 / length) * part)
                                                  : std::nullopt;
}

// Elements whose frames are held at a time; they stay in the processor's cache until values are turned.
constexpr int kFramesAtOnce = 4096;

struct Frame {
    Point normal;
    Point edge;
};

}  // namespace

struct ORQExcElementAxes::Contents {
    explicit Contents(const ORQExcModel& of)
        : model(of), frames(of.Blocks().size()), sections(of.Document()) {
        for (const ORQExcSections::Section& section : sections.Sections()) {
            stacks.push_back(sections.Read(section));
        }
        FindSections();
        const ORQSimMap map = of.Document().GetModel().GetMap(ORQSimSchema::Model_orientations);
        for (auto i = map.Begin(); i.NotDone(); ++i) {
            const ORQSimDataRecord record = (*i).DataRecord();
            Point axis{};
            record.GetDouble(ORQSimRecordField::Orientation_axis1, 3, axis.data());
            orientations[i.Key().UTF8()] = axis;
        }
    }

    /// The normal of a shell, and the direction from its first corner to its second; null for what is
    /// no shell, and for one without an area.
    const Frame* FrameOf(int element) {
        for (std::size_t i = 0; i < model.Blocks().size(); ++i) {
            const ORQExcModel::Block& block = model.Blocks()[i];
            const int row = block.shape->dimension == 2 ? block.elements.SeekMember(element) : -1;
            if (row >= 0) {
                if (frames[i].empty()) {
                    ReadFrames(block, frames[i]);
                }
                const Frame& frame = frames[i][static_cast<std::size_t>(row)];
                return Length(frame.normal) == 0 ? nullptr : &frame;
            }
        }
        return nullptr;
    }
    void ReadFrames(const ORQExcModel::Block& block, std::vector<Frame>& of) {
        const auto dimension = static_cast<std::size_t>(model.Dimension());
        if (coordinates.empty()) {
            coordinates.resize(static_cast<std::size_t>(model.NumNodes()) * dimension);
            model.ReadCoordinates(0, model.NumNodes(), coordinates);
        }
        const int nElements = block.elements.Size();
        const auto nNodes = static_cast<std::size_t>(block.shape->nNodes);
        std::vector<int> nodes;
        for (int begin = 0; begin < nElements; begin += kFramesAtOnce) {
            const int end = std::min(nElements, begin + kFramesAtOnce);
            nodes.resize(static_cast<std::size_t>(end - begin) * nNodes);
            model.ReadConnectivity(block, begin, end, nodes);
            for (std::size_t at = 0; at < nodes.size(); at += nNodes) {
                const auto corner = [&](std::size_t i) {
                    const std::size_t first = static_cast<std::size_t>(nodes[at + i]) * dimension;
                    Point point{};
                    std::copy_n(coordinates.begin() + static_cast<std::ptrdiff_t>(first), dimension,
                                point.begin());
                    return point;
                };
                // The product of the diagonals; of a triangle, of two sides.
                const Point edge = corner(1) - corner(0);
                const Point cross = block.shape->nCorners == 4
                                        ? Cross(corner(2) - corner(0), corner(3) - corner(1))
                                        : Cross(edge, corner(2) - corner(0));
                of.push_back({Normalized(cross), edge});
            }
        }
    }
    /// A table, since rows of a field ask for each element in each of its layers.
    void FindSections() {
        sectionOf.assign(static_cast<std::size_t>(model.NumElements()), -1);
        // One section at most governs an element.
        for (std::size_t i = 0; i < stacks.size(); ++i) {
            for (ORQSimCSetIterator member(sections.Sections()[i].elements); !member.IsDone();
                 member.Next()) {
                sectionOf[static_cast<std::size_t>(member.CurrentValue())] = static_cast<int>(i);
            }
        }
    }

    const ORQExcModel& model;
    std::vector<double> coordinates;
    std::vector<std::vector<Frame>> frames;  // by block, read when they are asked for
    ORQExcSections sections;
    std::vector<ORQExcSections::Stack> stacks;  // by section
    std::vector<int> sectionOf;                 // by element, a place among the stacks; -1 for none
    std::map<std::string, Point> orientations;  // their first axes
};

ORQExcElementAxes::ORQExcElementAxes(const ORQExcModel& model)
    : m_contents(std::make_unique<Contents>(model)) {}
ORQExcElementAxes::~ORQExcElementAxes() = default;

std::optional<Matrix> ORQExcElementAxes::Of(int element, int layer, ORQObjAxes axes) const {
    if (axes == ORQObjAxes::Unknown) {
        return {};
    }
    if (axes == ORQObjAxes::Model) {
        return Matrix{{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}};
    }
    const Frame* const frame = m_contents->FrameOf(element);
    if (frame == nullptr) {
        return {};
    }
    const Point& normal = frame->normal;
    double angle = 0;
    std::optional<Point> first;
    const int number = layer < 0 ? -1 : m_contents->sectionOf[static_cast<std::size_t>(element)];
    if (number >= 0) {
        const auto place = static_cast<std::size_t>(number);
        const ORQExcSections::Section& section = m_contents->sections.Sections()[place];
        const std::vector<ORQExcSections::Layer>& layers = m_contents->stacks[place].layers;
        if (static_cast<std::size_t>(layer) < layers.size()) {
            const ORQExcSections::Layer& of = layers[static_cast<std::size_t>(layer)];
            const auto orientation = m_contents->orientations.find(of.orientation);
            if (orientation != m_contents->orientations.end()) {
                first = InPlane(orientation->second, normal);
            }
            if (!of.angle.numbers.empty()) {
                angle = of.angle.At(static_cast<std::size_t>(section.elements.SeekMember(element)));
            }
        }
    }
    if (!first) {
        first = InPlane(frame->edge, normal);
    }
    if (!first) {
        return {};
    }
    const Point second = Cross(normal, *first);
    if (axes == ORQObjAxes::Element) {
        return Matrix{*first, second, normal};
    }
    const double c = std::cos(angle * std::numbers::pi / 180);
    const double s = std::sin(angle * std::numbers::pi / 180);
    Matrix turned{{{}, {}, normal}};
    for (std::size_t i = 0; i < 3; ++i) {
        turned[0][i] = c * (*first)[i] + s * second[i];
        turned[1][i] = -s * (*first)[i] + c * second[i];
    }
    return turned;
}

std::array<double, 6> ORQExcTurned(const std::array<double, 6>& tensor,
                                   const ORQExcElementAxes::Matrix& from,
                                   const ORQExcElementAxes::Matrix& to) {
    const double given[3][3] = {{tensor[0], tensor[3], tensor[5]},
                                {tensor[3], tensor[1], tensor[4]},
                                {tensor[5], tensor[4], tensor[2]}};
    double q[3][3];
    for (std::size_t i = 0; i < 3; ++i) {
        for (std::size_t k = 0; k < 3; ++k) {
            q[i][k] = to[i][0] * from[k][0] + to[i][1] * from[k][1] + to[i][2] * from[k][2];
        }
    }
    const auto turned = [&](std::size_t i, std::size_t k) {
        double sum = 0;
        for (std::size_t a = 0; a < 3; ++a) {
            for (std::size_t b = 0; b < 3; ++b) {
                sum += q[i][a] * given[a][b] * q[k][b];
            }
        }
        return sum;
    };
    return {turned(0, 0), turned(1, 1), turned(2, 2), turned(0, 1), turned(1, 2), turned(0, 2)};
}
