#include "draw/MeshPicture.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <utility>

#include "ORQBasFailure.h"
#include "draw/Captions.h"
#include "draw/Contours.h"
#include "draw/VisibleSamples.h"
#include "terminal/Console.h"

namespace orqmodel {
namespace {

// Where the parts of the work end that take long: finding the skin, then its edges, then painting.
constexpr double kSkinIsFound = 0.6;
constexpr double kEdgesAreFound = 0.8;

constexpr double kFieldShade = 0.3;  // little, so that colours are those of the bar
constexpr double kAxesRoom = 8;      // side of the square for the axes, by the size of the text

constexpr Colour kMarked = {214, 30, 30};

std::string Counted(std::size_t count, const char* what) {
    return fmt::format("{} {}{}", count, what, count == 1 ? "" : "s");
}

Groups GroupsBy(Skin& skin, const ORQExcModel& model, std::span<const int> blocks,
                const MeshPictureOptions& options) {
    if (options.marks) {
        return GroupsOfMarks(skin, options.marks->elements, options.marks->nodes);
    }
    switch (options.colourBy) {
        case ColourBy::Set:
            return GroupsBySet(skin, model, options.sets);
        case ColourBy::Section:
            return GroupsBySection(skin, model);
        case ColourBy::Material:
            return GroupsByMaterial(skin, model);
        case ColourBy::Block:
            break;
    }
    return GroupsByBlock(skin, model, blocks);
}

/// Takes away the values of what is in no set: neither the colours nor their range come from them.
void LeaveSets(FieldValues& field, const Skin& skin, const Groups& groups) {
    std::vector<bool> isInSet(field.values.size());
    for (std::size_t part = 0; part < skin.NumParts(); ++part) {
        if (groups.ofPart[part] < 0) {
            continue;
        }
        for (const int node : skin.Nodes(part)) {
            if (const int row = field.RowOf(skin.At(part).element, node); row >= 0) {
                isInSet[static_cast<std::size_t>(row)] = true;
            }
        }
    }
    for (std::size_t i = 0; i < field.values.size(); ++i) {
        if (!isInSet[i]) {
            field.values[i] = std::numeric_limits<double>::quiet_NaN();
        }
    }
}

/// The borders of the body, each once, and all lines: as pairs of nodes.
std::vector<std::array<int, 2>> OutlineOf(const Skin& skin, const Groups& groups) {
    const std::vector<EdgeKind> edges = FindEdges(skin, groups.ofPart, EdgeKind::None);
    std::vector<std::array<int, 2>> outline;
    for (std::size_t part = 0; part < skin.NumParts(); ++part) {
        const std::span<const int> nodes = skin.Nodes(part);
        const bool isLine = skin.KindOf(part) == Skin::Kind::Line;
        for (std::size_t i = 0; i + (isLine ? 1 : 0) < nodes.size(); ++i) {
            if (isLine || edges[skin.Begin(part) + i] == EdgeKind::Feature) {
                const auto [a, b] = std::minmax(nodes[i], nodes[(i + 1) % nodes.size()]);
                outline.push_back({a, b});
            }
        }
    }
    std::ranges::sort(outline);
    outline.erase(std::unique(outline.begin(), outline.end()), outline.end());
    return outline;
}

/// Moves the nodes of a turned skin, and adds lines where its outline was.
void MovePoints(Skin& skin, Groups& groups, const View& view,
                const std::vector<Point>& displacements) {
    const std::vector<std::array<int, 2>> outline = OutlineOf(skin, groups);
    std::vector<Point>& points = skin.Points();
    for (const auto& ends : outline) {
        const auto first = static_cast<int>(points.size());
        for (const int node : ends) {
            const Point end = points[static_cast<std::size_t>(node)];
            // The ends of the outline get points of their own, which stay where they are.
            points.push_back(end);
        }
        skin.AddLine({-1, -1, -1}, std::array{first, first + 1});
        groups.ofPart.push_back(-1);
    }
    for (std::size_t node = 0; node < displacements.size(); ++node) {
        points[node] = points[node] + view.Turned(displacements[node]);
    }
}

}  // namespace

MeshPicture::MeshPicture(const ORQExcModel& model, const std::string& name,
                         const MeshPictureOptions& options)
    : Picture(options.size),
      m_scene{Skin({}), {}, {}, 0},
      m_painting(PartOf(options.progress, kEdgesAreFound, 1)) {
    const std::vector<int> blocks = BlocksNamed(model, options.blocks);
    if (options.view) {
        m_view = View::FromText(*options.view);
    }
    Skin& skin = m_scene.skin;
    skin = SkinOf(model, blocks, options.clips, PartOf(options.progress, 0, kSkinIsFound));
    Groups groups = GroupsBy(skin, model, blocks, options);
    const bool isOfSets = options.colourBy == ColourBy::Set;
    // Before anything is sorted or projected: parts are what memory and time go by.
    if (skin.NumParts() > kMostParts) {
        ORQBasThrowUsage(
            fmt::format("has {} facets, lines and points on its outside; at most "
                        "{} can be drawn",
                        skin.NumParts(), kMostParts));
    }
    if (!m_view) {
        m_view = View::BestFor(skin);
    }
    std::optional<FieldValues> field = options.field;
    if (field) {
        if (isOfSets) {
            LeaveSets(*field, skin, groups);
        }
        ValueRange range;
        range.Take(field->values);
        m_bands.emplace(options.range.value_or(range));
        m_fieldName = ORQExcPrintable(field->name);
    } else {
        for (std::size_t i = 0; i < groups.groups.size(); ++i) {
            const Groups::Group& group = groups.groups[i];
            m_legend.push_back({ORQExcPrintable(group.name),
                                options.marks ? kMarked : PaletteColour(static_cast<int>(i)),
                                group.isNodes});
        }
    }
    m_title = ORQExcPrintable(model.Title().empty() ? name : model.Title());
    PlanDetails(model, blocks.size(), options);
    Turn(skin, *m_view);
    Extent extent = ExtentOf(skin);
    if (options.moves) {
        MovePoints(skin, groups, *m_view, options.moves->displacements);
        extent = options.moves->reach > 0 ? extent.Wider(options.moves->reach) : ExtentOf(skin);
    }
    // The order matters: the layout leaves the room into which the mesh is fitted, and the length
    // of edges is known in pixels only then.
    PlanLayout();
    FitInto(skin, extent, m_frame);
    PlanEdges(options.edges, groups);
    options.progress(kEdgesAreFound);
    PlanDots();
    if (field) {
        PlanExtremes(model, *field);
        ColourByValue(*field, groups, isOfSets);
    } else {
        ColourByGroup(groups);
    }
}

void MeshPicture::PlanDetails(const ORQExcModel& model, std::size_t nBlocks,
                              const MeshPictureOptions& options) {
    if (options.field) {
        m_details = m_fieldName;
        if (!options.field->time.empty()) {
            m_details += ", " + options.field->time;
        }
    } else {
        m_details =
            fmt::format("{}, {}", Counted(static_cast<std::size_t>(model.NumNodes()), "node"),
                        Counted(static_cast<std::size_t>(model.NumElements()), "element"));
    }
    if (options.moves) {
        m_details += ", deformed by " + ORQExcPrintable(options.moves->text);
    }
    m_details += ", view " + m_view->Name();
    if (nBlocks < model.Blocks().size()) {
        m_details += fmt::format(", {} of {}", nBlocks, Counted(model.Blocks().size(), "block"));
    }
}

void MeshPicture::PlanEdges(std::optional<EdgeKind> wanted, const Groups& groups) {
    constexpr double kDenseEdges = 6;  // pixels from one to the next
    const EdgeKind edges = wanted.value_or(
        MeanEdgeLength(m_scene.skin) < kDenseEdges ? EdgeKind::Feature : EdgeKind::Mesh);
    if (edges == EdgeKind::None) {
        m_scene.edges.assign(m_scene.skin.NumPartNodes(), EdgeKind::None);
    } else {
        m_scene.edges = FindEdges(m_scene.skin, groups.ofPart,
                                  edges == EdgeKind::Mesh ? EdgeKind::Mesh : EdgeKind::None);
    }
}

void MeshPicture::PlanExtremes(const ORQExcModel& model, const FieldValues& field) {
    m_extremes = ExtremesOf(m_scene.skin, field);
    const std::vector<int> labels = field.isNodal ? model.NodeLabels() : model.ElementLabels();
    for (Extreme& extreme : m_extremes) {
        extreme.text = fmt::format(
            "{} {:.4g}, {} {}", &extreme == &m_extremes.back() ? "max" : "min", extreme.value,
            field.isNodal ? "node" : "element", labels[static_cast<std::size_t>(extreme.member)]);
    }
}

void MeshPicture::PlanLayout() {
    m_textSize = TextSizeFor(m_size);
    const double margin = kPageMargin * m_textSize;
    m_frame = {{margin, margin}, {m_size.width - margin, m_size.height - margin}};
    if (!HasRoomForTexts(m_size)) {
        return;
    }
    const double wanted = m_bands ? std::max(ColourBarWidth(*m_bands, m_textSize),
                                             TextWidth(m_fieldName, m_textSize) + 1)
                                  : LegendWidth(m_legend, m_textSize);
    m_columnWidth = std::clamp(wanted, kAxesRoom * m_textSize, 0.33 * m_size.width);
    m_frame.low.y += 2 * kLineHeight * m_textSize;
    m_frame.high.x -= m_columnWidth + margin;
}

Colour MeshPicture::Shaded(Colour colour, const Skin& skin, std::size_t part, double strength) {
    constexpr double kShades = 64;  // few, so that drawings have few styles
    const double brightness =
        std::round(kShades * (1 + strength * (Brightness(skin, part) - 1))) / kShades;
    return brightness <= 1 ? Mixed(kBlack, colour, brightness)
                           : Mixed(colour, kWhite, brightness - 1);
}

void MeshPicture::ColourByGroup(const Groups& groups) {
    for (std::size_t part = 0; part < m_scene.skin.NumParts(); ++part) {
        const int group = groups.ofPart[part];
        const Colour colour = group < 0 ? kPlain : m_legend[static_cast<std::size_t>(group)].colour;
        m_scene.colours.push_back(Shaded(colour, m_scene.skin, part, 1));
    }
}

void MeshPicture::ColourByValue(const FieldValues& field, const Groups& groups, bool isOfSets) {
    Skin& skin = m_scene.skin;
    const auto isPlain = [&](std::size_t part) { return isOfSets && groups.ofPart[part] < 0; };
    if (!field.isNodal) {
        for (std::size_t part = 0; part < skin.NumParts(); ++part) {
            const double value = field.ValueAt(skin.At(part).element, -1);
            const int band = isPlain(part) ? -1 : m_bands->BandOf(value);
            m_scene.colours.push_back(Shaded(m_bands->ColourOf(band), skin, part, kFieldShade));
        }
        return;
    }
    std::vector<double> values;
    for (std::size_t part = 0; part < skin.NumParts(); ++part) {
        for (const int node : skin.Nodes(part)) {
            values.push_back(field.ValueAt(skin.At(part).element, node));
        }
    }
    Contours contours = CutAtBands(skin, m_scene.edges, values, *m_bands);
    for (std::size_t part = 0; part < contours.skin.NumParts(); ++part) {
        const int band = isPlain(contours.origin[part]) ? -1 : contours.bands[part];
        m_scene.colours.push_back(
            Shaded(m_bands->ColourOf(band), skin, contours.origin[part], kFieldShade));
    }
    skin = std::move(contours.skin);
    m_scene.edges = std::move(contours.edges);
}

/// Smaller where they are many.
void MeshPicture::PlanDots() {
    std::size_t nDots = 0;
    for (std::size_t part = 0; part < m_scene.skin.NumParts(); ++part) {
        nDots += m_scene.skin.KindOf(part) == Skin::Kind::Dot ? 1 : 0;
    }
    const double room = (m_frame.high.x - m_frame.low.x) * (m_frame.high.y - m_frame.low.y);
    m_scene.dotRadius =
        std::clamp(0.25 * std::sqrt(room / static_cast<double>(nDots + 1)), 1.5, 4.0);
}

void MeshPicture::Paint(Canvas& canvas) const {
    if (m_columnWidth == 0) {
        return;
    }
    PaintExtremes(canvas, m_textSize, m_frame, m_extremes);
    PaintHeading(canvas, m_textSize, m_title, m_details);
    const Spot upperLeft{m_size.width - kPageMargin * m_textSize - m_columnWidth,
                         (3.5 + kLineHeight) * m_textSize};
    const Spot lowerRight{m_size.width - kPageMargin * m_textSize,
                          m_size.height - kAxesRoom * m_textSize};
    if (m_bands) {
        PaintColourBar(canvas, m_textSize, upperLeft, lowerRight, m_fieldName, *m_bands);
    } else {
        PaintLegend(canvas, m_textSize, upperLeft, lowerRight, m_legend);
    }
    PaintAxes(canvas);
}

void MeshPicture::PaintAxes(Canvas& canvas) const {
    struct Axis {
        const char* name;
        Point direction;  // in the picture
        Colour colour;
    };
    std::array<Axis, 3> axes = {{{"x", m_view->Turned({1, 0, 0}), {200, 50, 40}},
                                 {"y", m_view->Turned({0, 1, 0}), {0, 130, 80}},
                                 {"z", m_view->Turned({0, 0, 1}), {30, 80, 200}}}};
    std::ranges::sort(axes, {}, [](const Axis& axis) { return axis.direction[2]; });
    const double length = 0.27 * kAxesRoom * m_textSize;
    const Spot origin{m_size.width - (kPageMargin + kAxesRoom / 2) * m_textSize,
                      m_size.height - (kAxesRoom / 2) * m_textSize};
    for (const Axis& axis : axes) {
        const auto at = [&](double distance) {
            return Spot{origin.x + distance * axis.direction[0],
                        origin.y + distance * axis.direction[1]};
        };
        const std::array<Spot, 2> ends = {origin, at(length)};
        canvas.Line(ends, {axis.colour, 0.13 * m_textSize});
        // The name of an axis that points at the eye would stand on the others' origin.
        constexpr double kPointsAtEye = 0.99;
        if (std::abs(axis.direction[2]) < kPointsAtEye) {
            const Spot name = at(length + 0.7 * m_textSize);
            canvas.Text({name.x, name.y + 0.25 * m_textSize}, Align::Centre, m_textSize,
                        axis.colour, axis.name);
        }
    }
}

}  // namespace orqmodel
