#include "draw/MeshPicture.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

#include "ORQBasFailure.h"
#include "draw/Captions.h"
#include "draw/Contours.h"
#include "draw/VisibleSamples.h"
#include "terminal/Console.h"

namespace orqmodel {
namespace {

constexpr double kFieldShade = 0.3;  // little, so that colours are those of the bar
constexpr double kAxesRoom = 8;      // side of the square for the axes, by the size of the text

std::string Counted(std::size_t count, const char* what) {
    return fmt::format("{} {}{}", count, what, count == 1 ? "" : "s");
}

}  // namespace

MeshPicture::MeshPicture(const ORQExcModel& model, const std::string& name,
                         const MeshPictureOptions& options)
    : Picture(options.size), m_scene{Skin({}), {}, {}, 0} {
    const std::vector<int> blocks = BlocksNamed(model, options.blocks);
    if (options.view) {
        m_view = View::FromText(*options.view);
    }
    Skin& skin = m_scene.skin;
    skin = SkinOf(model, blocks);
    const Groups groups = options.isBySet ? GroupsBySet(skin, model, blocks, options.sets)
                                          : GroupsByBlock(skin, model, blocks);
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
    if (options.field) {
        m_bands.emplace(options.field->values);
        m_fieldName = ORQExcPrintable(options.field->name);
    } else {
        for (std::size_t i = 0; i < groups.groups.size(); ++i) {
            const Groups::Group& group = groups.groups[i];
            m_legend.push_back(
                {ORQExcPrintable(group.name), PaletteColour(static_cast<int>(i)), group.isNodes});
        }
    }
    m_title = ORQExcPrintable(model.Title().empty() ? name : model.Title());
    m_counts = fmt::format(
        "{}, {}, view {}", Counted(static_cast<std::size_t>(model.NumNodes()), "node"),
        Counted(static_cast<std::size_t>(model.NumElements()), "element"), m_view->Name());
    if (blocks.size() < model.Blocks().size()) {
        m_counts +=
            fmt::format(", {} of {}", blocks.size(), Counted(model.Blocks().size(), "block"));
    }
    if (options.field) {
        m_counts = fmt::format("{}, {}, view {}", m_fieldName, options.field->time, m_view->Name());
    }
    // In this order: the layout leaves the room into which the mesh is projected, and the length of
    // edges is known in pixels only then.
    PlanLayout();
    Project(skin, *m_view, m_frame);

    constexpr double kDenseEdges = 6;  // pixels from one to the next
    const EdgeKind edges = options.edges.value_or(
        MeanEdgeLength(skin) < kDenseEdges ? EdgeKind::Feature : EdgeKind::Mesh);
    if (edges == EdgeKind::None) {
        m_scene.edges.assign(skin.NumPartNodes(), EdgeKind::None);
    } else {
        m_scene.edges = FindEdges(skin, groups.ofPart,
                                  edges == EdgeKind::Mesh ? EdgeKind::Mesh : EdgeKind::None);
    }
    PlanDots();
    if (options.field) {
        ColourByValue(*options.field);
    } else {
        ColourByGroup(groups);
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

void MeshPicture::ColourByValue(const FieldValues& field) {
    Skin& skin = m_scene.skin;
    if (!field.isNodal) {
        for (std::size_t part = 0; part < skin.NumParts(); ++part) {
            const int element = skin.At(part).element;
            const int band =
                element < 0 ? -1 : m_bands->BandOf(field.values[static_cast<std::size_t>(element)]);
            m_scene.colours.push_back(Shaded(m_bands->ColourOf(band), skin, part, kFieldShade));
        }
        return;
    }
    Contours contours = CutAtBands(skin, m_scene.edges, field.values, *m_bands);
    for (std::size_t part = 0; part < contours.skin.NumParts(); ++part) {
        m_scene.colours.push_back(Shaded(m_bands->ColourOf(contours.bands[part]), skin,
                                         contours.origin[part], kFieldShade));
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
    PaintHeading(canvas, m_textSize, m_title, m_counts);
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
        constexpr double kPointsAtEye = 0.99;
        if (std::abs(axis.direction[2]) < kPointsAtEye) {
            const Spot name = at(length + 0.7 * m_textSize);
            canvas.Text({name.x, name.y + 0.25 * m_textSize}, Align::Centre, m_textSize,
                        axis.colour, axis.name);
        }
    }
}

}  // namespace orqmodel
