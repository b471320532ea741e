#include "draw/MeshPicture.h"

#include <fmt/format.h>
#include <utf8.h>

#include <algorithm>
#include <array>
#include <cmath>

#include "Console.h"
#include "ORQBasFailure.h"
#include "draw/RasterCanvas.h"
#include "draw/SvgCanvas.h"
#include "draw/VisibleSamples.h"

namespace orqmodel {
namespace {

constexpr double kLine = 1.6;    // heights of lines of text, by the size of the text
constexpr double kSwatch = 0.9;  // sides of the legend's colours, likewise
constexpr double kAxesRoom = 8;  // side of the square for the axes, likewise
constexpr double kMargin = 1;    // around everything, likewise

/// A text that is at most so wide, its middle left out when need be.
std::string Shortened(const std::string& text, double size, double width) {
    constexpr std::string_view kGap = "...";
    const std::u32string letters = utf8::utf8to32(text);
    const auto most = static_cast<std::size_t>(std::max(1.0, width / TextWidth("x", size)));
    if (letters.size() <= most) {
        return text;
    }
    const std::size_t kept = most > kGap.size() ? most - kGap.size() : 0;
    return utf8::utf32to8(letters.substr(0, kept - kept / 2)) + std::string(kGap) +
           utf8::utf32to8(letters.substr(letters.size() - kept / 2));
}

std::string Counted(std::size_t count, const char* what) {
    return fmt::format("{} {}{}", count, what, count == 1 ? "" : "s");
}

}  // namespace

MeshPicture::MeshPicture(const ModelReader& model, const std::string& name,
                         const MeshPictureOptions& options)
    : m_size(options.size), m_scene{Skin({}), {}, {}, 0} {
    const std::vector<int> blocks = BlocksNamed(model, options.blocks);
    if (options.view) {
        m_view = View::FromText(*options.view);
    }
    Skin& skin = m_scene.skin;
    skin = SkinOf(model, blocks);
    const Groups groups = options.isBySet ? GroupsBySet(skin, model, blocks, options.sets)
                                          : GroupsByBlock(skin, model, blocks);
    if (skin.NumParts() > kMostParts) {
        throw ORQBasFailure(ORQBasFailureKind::Refused,
                            fmt::format("has {} facets, lines and points on its outside; at most "
                                        "{} can be drawn",
                                        skin.NumParts(), kMostParts));
    }
    if (!m_view) {
        m_view = View::BestFor(skin);
    }
    for (std::size_t i = 0; i < groups.groups.size(); ++i) {
        const Groups::Group& group = groups.groups[i];
        m_legend.push_back(
            {Printable(group.name), PaletteColour(static_cast<int>(i)), group.isNodes});
    }
    m_title = Printable(model.Title().empty() ? name : model.Title());
    m_counts = fmt::format(
        "{}, {}, view {}", Counted(static_cast<std::size_t>(model.NumNodes()), "node"),
        Counted(static_cast<std::size_t>(model.NumElements()), "element"), m_view->Name());
    if (blocks.size() < model.Blocks().size()) {
        m_counts +=
            fmt::format(", {} of {}", blocks.size(), Counted(model.Blocks().size(), "block"));
    }
    PlanLayout();
    Project(skin, *m_view, m_frame);
    ColourParts(groups);

    constexpr double kDenseEdges = 6;  // pixels from one to the next
    const EdgeKind edges = options.edges.value_or(
        MeanEdgeLength(skin) < kDenseEdges ? EdgeKind::Feature : EdgeKind::Mesh);
    if (edges == EdgeKind::None) {
        m_scene.edges.assign(skin.NumPartNodes(), EdgeKind::None);
    } else {
        m_scene.edges = FindEdges(skin, groups.ofPart,
                                  edges == EdgeKind::Mesh ? EdgeKind::Mesh : EdgeKind::None);
    }
}

void MeshPicture::PlanLayout() {
    constexpr int kLeastForTexts = 240;
    const int shorter = std::min(m_size.width, m_size.height);
    m_textSize = std::clamp(shorter / 55.0, 10.0, 40.0);
    const double margin = kMargin * m_textSize;
    m_frame = {{margin, margin}, {m_size.width - margin, m_size.height - margin}};
    if (shorter < kLeastForTexts) {
        return;
    }
    double widest = 0;
    for (const Entry& entry : m_legend) {
        widest = std::max(widest, TextWidth(entry.name, m_textSize));
    }
    m_columnWidth = std::clamp(widest + (kLine + kMargin) * m_textSize, kAxesRoom * m_textSize,
                               0.33 * m_size.width);
    m_frame.low.y += 2 * kLine * m_textSize;
    m_frame.high.x -= m_columnWidth + margin;
}

void MeshPicture::ColourParts(const Groups& groups) {
    constexpr double kShades = 64;  // few, so that drawings have few styles
    const Skin& skin = m_scene.skin;
    std::size_t nDots = 0;
    for (std::size_t part = 0; part < skin.NumParts(); ++part) {
        const int group = groups.ofPart[part];
        const Colour colour = group < 0 ? kPlain : m_legend[static_cast<std::size_t>(group)].colour;
        const double brightness = std::round(kShades * Brightness(skin, part)) / kShades;
        m_scene.colours.push_back(brightness <= 1 ? Mixed(kBlack, colour, brightness)
                                                  : Mixed(colour, kWhite, brightness - 1));
        nDots += skin.KindOf(part) == Skin::Kind::Dot ? 1 : 0;
    }
    // Smaller where they are many.
    const double room = (m_frame.high.x - m_frame.low.x) * (m_frame.high.y - m_frame.low.y);
    m_scene.dotRadius =
        std::clamp(0.25 * std::sqrt(room / static_cast<double>(nDots + 1)), 1.5, 4.0);
}

void MeshPicture::PaintTexts(Canvas& canvas) const {
    if (m_columnWidth == 0) {
        return;
    }
    const double x = kMargin * m_textSize;
    const double room = m_size.width - 2 * x;
    canvas.Text({x, 2 * m_textSize}, Align::Left, m_textSize, kInk,
                Shortened(m_title, m_textSize, room));
    canvas.Text({x, (2 + kLine) * m_textSize}, Align::Left, 0.85 * m_textSize, kInk,
                Shortened(m_counts, 0.85 * m_textSize, room));
    PaintLegend(canvas);
    PaintAxes(canvas);
}

void MeshPicture::PaintLegend(Canvas& canvas) const {
    const double left = m_size.width - kMargin * m_textSize - m_columnWidth;
    const double textLeft = left + kLine * m_textSize;
    const double top = (3.5 + kLine) * m_textSize;
    const double height = m_size.height - kAxesRoom * m_textSize - top;
    const auto fitting = static_cast<std::size_t>(std::max(1.0, height / (kLine * m_textSize)));
    // The last line says how many have no line of their own.
    const std::size_t shown = m_legend.size() <= fitting ? m_legend.size() : fitting - 1;
    const double room = m_size.width - kMargin * m_textSize - textLeft;
    double y = top;
    for (std::size_t i = 0; i < shown; ++i, y += kLine * m_textSize) {
        const Entry& entry = m_legend[i];
        const double side = kSwatch * m_textSize;
        const Spot middle{left + side / 2, y - 0.35 * m_textSize};
        const Stroke border{EdgeColour(entry.colour, EdgeKind::Mesh), 1};
        if (entry.isDots) {
            canvas.Disc(middle, side / 2, entry.colour, border);
        } else {
            const std::array<Spot, 4> corners = {{{middle.x - side / 2, middle.y - side / 2},
                                                  {middle.x + side / 2, middle.y - side / 2},
                                                  {middle.x + side / 2, middle.y + side / 2},
                                                  {middle.x - side / 2, middle.y + side / 2}}};
            canvas.Polygon(corners, entry.colour, border);
        }
        canvas.Text({textLeft, y}, Align::Left, m_textSize, kInk,
                    Shortened(entry.name, m_textSize, room));
    }
    if (shown < m_legend.size()) {
        canvas.Text({textLeft, y}, Align::Left, m_textSize, kInk,
                    fmt::format("and {} more", m_legend.size() - shown));
    }
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
    const Spot origin{m_size.width - (kMargin + kAxesRoom / 2) * m_textSize,
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

void MeshPicture::WritePng(const std::filesystem::path& path) const {
    Image image(m_size);
    PaintPixels(m_scene, image);
    RasterCanvas canvas(image);
    PaintTexts(canvas);
    orqmodel::WritePng(image, path);
}

void MeshPicture::WriteSvg(const std::filesystem::path& path) const {
    SvgCanvas canvas(m_size);
    PaintShapes(m_scene, canvas);
    PaintTexts(canvas);
    canvas.Write(path);
}

}  // namespace orqmodel
