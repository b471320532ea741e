#pragma once

#include <filesystem>
#include <map>
#include <string>

#include "draw/Canvas.h"

namespace orqmodel {

/// Collects an SVG drawing. Coordinates are whole tenths of a pixel; what looks alike and follows
/// each other becomes one path of a common class.
class SvgCanvas final : public Canvas {
  public:
    explicit SvgCanvas(PictureSize size) : m_size(size) {}

    PictureSize Size() const override { return m_size; }
    void Polygon(std::span<const Spot> corners, Colour fill, const Stroke& border) override;
    void Line(std::span<const Spot> spots, const Stroke& stroke) override;
    void Disc(Spot centre, double radius, Colour fill, const Stroke& border) override;
    void Text(Spot at, Align align, double size, Colour colour, std::string_view text) override;

    /// Writes what was drawn; throws ORQExcExportError.
    void Write(const std::filesystem::path& path);

  private:
    const std::string& ClassOf(std::string style);
    void AppendPath(std::string style, std::span<const Spot> spots, bool isClosed);
    void EndPath();

    PictureSize m_size;
    std::map<std::string, std::string> m_classes;  // by style
    std::string m_body;
    std::string m_openStyle;  // of the path that the body ends with; empty for none
};

}  // namespace orqmodel
