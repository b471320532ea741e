#pragma once

#include <string>
#include <vector>

#include "ORQExcSections.h"
#include "draw/Captions.h"
#include "draw/Colour.h"

namespace orqmodel {

/// The mean of a value that may vary over elements; 0 for one that is undefined.
double MeanOf(const ORQExcSections::Value& value);

/// Layers in a picture, from the bottom up: in the colours of their materials, hatched by their
/// angles, beside their numbers, angles, thicknesses, points and plies. Where there is no room for a
/// line for each layer, layers that repeat share one.
class LayerStack {
  public:
    LayerStack(std::vector<ORQExcSections::Layer> layers, double textSize);

    const std::vector<ORQExcSections::Layer>& Layers() const { return m_layers; }
    /// A line for each material.
    const std::vector<LegendEntry>& Legend() const { return m_legend; }
    Colour ColourOf(std::size_t layer) const { return m_colours[layer]; }

    /// Where the layers end in the picture, [layers + 1], from the bottom of the first.
    void PutAt(std::vector<double> bounds) { m_bounds = std::move(bounds); }
    const std::vector<double>& Bounds() const { return m_bounds; }
    /// REQUIRE: PutAt.
    void Paint(Canvas& canvas, double left, double right) const;
    void PaintLabels(Canvas& canvas, double left, double right) const;
    /// The room in which labels of single layers are not shortened.
    double LabelsWidth() const;

  private:
    /// Layers [begin, end) that a line of text is for: `period` of them, over and over.
    struct Run {
        std::size_t begin;
        std::size_t end;
        std::size_t period;
    };

    void PaintLayer(Canvas& canvas, std::size_t layer, double left, double right) const;
    std::vector<Run> RunsThatFit(std::size_t most) const;
    std::vector<Run> RepeatedRuns() const;
    bool IsSame(std::size_t a, std::size_t b) const;
    std::string TextOf(const Run& run) const;
    double Top(std::size_t layer) const { return m_bounds[layer + 1]; }
    double Bottom(std::size_t layer) const { return m_bounds[layer]; }

    std::vector<ORQExcSections::Layer> m_layers;
    double m_textSize;
    std::vector<double> m_bounds;
    std::vector<Colour> m_colours;
    std::vector<LegendEntry> m_legend;
    std::size_t m_angleWidth = 0;  // in letters
    std::size_t m_thicknessWidth = 0;
};

}  // namespace orqmodel
