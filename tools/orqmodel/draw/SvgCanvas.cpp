#include "draw/SvgCanvas.h"

#include <fmt/format.h>

#include <cmath>
#include <fstream>
#include <iterator>

#include "ORQExcExportError.h"
#include "ORQExcXmlText.h"
#include "draw/Fonts.h"

namespace orqmodel {
namespace {

// Whole numbers of tenths of a pixel make files half as long as decimals, and the same on each
// machine.
constexpr double kUnitsPerPixel = 10;

long Units(double pixels) {
    return std::lround(kUnitsPerPixel * pixels);
}

std::string Code(Colour colour) {
    return fmt::format("#{:02x}{:02x}{:02x}", colour.red, colour.green, colour.blue);
}

std::string StyleOf(const Stroke& stroke) {
    return stroke.width > 0
               ? fmt::format("stroke:{};stroke-width:{}", Code(stroke.colour), Units(stroke.width))
               : "stroke:none";
}

}  // namespace

const std::string& SvgCanvas::ClassOf(std::string style) {
    const auto name = fmt::format("c{}", m_classes.size());
    // Styles stand once, in the style sheet, and not with each path.
    return m_classes.try_emplace(std::move(style), name).first->second;
}

void SvgCanvas::EndPath() {
    if (!m_openStyle.empty()) {
        m_body += "\"/>\n";
        m_openStyle.clear();
    }
}

void SvgCanvas::AppendPath(std::string style, std::span<const Spot> spots, bool isClosed) {
    // Neighbours of the same colour share one path: viewers take their time for each element.
    if (style != m_openStyle) {
        EndPath();
        m_body += fmt::format("<path class=\"{}\" d=\"", ClassOf(style));
        m_openStyle = std::move(style);
    }
    auto out = std::back_inserter(m_body);
    long x = Units(spots[0].x);
    long y = Units(spots[0].y);
    fmt::format_to(out, "M{} {}", x, y);
    for (std::size_t i = 1; i < spots.size(); ++i) {
        const long nextX = Units(spots[i].x);
        const long nextY = Units(spots[i].y);
        // Steps from point to point, which have few digits. They are taken between rounded points,
        // so that rounding does not add up along a path.
        fmt::format_to(out, "{}{} {}", i == 1 ? "l" : " ", nextX - x, nextY - y);
        x = nextX;
        y = nextY;
    }
    if (isClosed) {
        m_body += 'z';
    }
}

void SvgCanvas::Polygon(std::span<const Spot> corners, Colour fill, const Stroke& border) {
    AppendPath(fmt::format("fill:{};{}", Code(fill), StyleOf(border)), corners, true);
}

void SvgCanvas::Line(std::span<const Spot> spots, const Stroke& stroke) {
    AppendPath("fill:none;" + StyleOf(stroke), spots, false);
}

void SvgCanvas::Disc(Spot centre, double radius, Colour fill, const Stroke& border) {
    EndPath();
    m_body += fmt::format("<circle class=\"{}\" cx=\"{}\" cy=\"{}\" r=\"{}\"/>\n",
                          ClassOf(fmt::format("fill:{};{}", Code(fill), StyleOf(border))),
                          Units(centre.x), Units(centre.y), Units(radius));
}

void SvgCanvas::Text(Spot at, Align align, double size, Colour colour, std::string_view text) {
    EndPath();
    // The width is given, since the viewer may lack the font.
    m_body += fmt::format(
        "<text class=\"{}\" x=\"{}\" y=\"{}\" textLength=\"{}\" xml:space=\"preserve\">{}</text>\n",
        ClassOf(fmt::format("fill:{};stroke:none;font:{}px '{}',sans-serif", Code(colour),
                            Units(size), ORQExcXmlEscaped(Fonts::OfSystem().Family()))),
        Units(TextStart(text, size, at.x, align)), Units(at.y), Units(TextWidth(text, size)),
        ORQExcXmlEscaped(text));
}

void SvgCanvas::Write(const std::filesystem::path& path) {
    EndPath();
    std::ofstream out(path, std::ios::binary);
    out << fmt::format(
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
        "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"{0}\" height=\"{1}\" "
        "viewBox=\"0 0 {2} {3}\">\n<style>path,circle{{stroke-linejoin:round;"
        "stroke-linecap:round}}\n",
        m_size.width, m_size.height, Units(m_size.width), Units(m_size.height));
    for (const auto& [style, name] : m_classes) {
        out << '.' << name << '{' << style << "}\n";
    }
    out << "</style>\n<rect width=\"100%\" height=\"100%\" fill=\"" << Code(kWhite) << "\"/>\n"
        << m_body << "</svg>\n";
    out.flush();
    if (!out) {
        throw ORQExcExportError(path.string() + ": cannot be written");
    }
}

}  // namespace orqmodel
