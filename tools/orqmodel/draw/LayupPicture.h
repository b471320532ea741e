#pragma once

#include <string>
#include <vector>

#include "ORQExcSections.h"
#include "draw/Captions.h"
#include "draw/Picture.h"

namespace orqmodel {

/// A layered section as a picture: its stack from the bottom up, in the colours of the materials
/// and hatched by the angles, beside the layers' numbers, angles, thicknesses, points and plies.
///
/// Heights are to scale, but for layers so thin that they would not be seen; values that vary over
/// the elements count with their mean. Where there is no room for a line for each layer, layers
/// that repeat share one.
class LayupPicture : public Picture {
  public:
    LayupPicture(const ORQExcSections::Section& section, const ORQExcSections::Stack& layup,
                 PictureSize size);

  private:
    /// Layers [begin, end) that a line of text is for: `period` of them, over and over.
    struct Run {
        std::size_t begin;
        std::size_t end;
        std::size_t period;
    };

    void PlanStack(const ORQExcSections::Stack& layup);
    void Paint(Canvas& canvas) const override;
    void PaintLayer(Canvas& canvas, std::size_t layer) const;
    void PaintLabels(Canvas& canvas) const;
    std::vector<Run> RunsThatFit(std::size_t most) const;
    std::vector<Run> RepeatedRuns() const;
    bool IsSame(std::size_t a, std::size_t b) const;
    std::string TextOf(const Run& run) const;
    double Top(std::size_t layer) const { return m_bounds[layer + 1]; }
    double Bottom(std::size_t layer) const { return m_bounds[layer]; }

    double m_textSize;
    std::vector<ORQExcSections::Layer> m_layers;
    std::vector<double> m_bounds;  // heights in the picture, from the bottom of layer 0
    std::vector<Colour> m_colours;
    std::vector<LegendEntry> m_legend;
    std::string m_title;
    std::string m_details;
    std::size_t m_angleWidth = 0;  // in letters
    std::size_t m_thicknessWidth = 0;
    double m_left;
    double m_right;
    double m_labelsRight;
};

}  // namespace orqmodel
