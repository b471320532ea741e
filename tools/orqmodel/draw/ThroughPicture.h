#pragma once

#include <string>

#include "draw/Axis.h"
#include "draw/LayerStack.h"
#include "draw/Picture.h"
#include "draw/ThroughThickness.h"

namespace orqmodel {

/// The values of one element through its thickness as a graph: the layers to scale from the bottom
/// up, beside them the values at their section points, joined within a layer, with thin lines for the
/// jumps between layers, and what each layer is.
class ThroughPicture : public Picture {
  public:
    ThroughPicture(ThroughThickness through, PictureSize size);

  private:
    double LegendRoom() const;
    void Paint(Canvas& canvas) const override;
    void PaintBands(Canvas& canvas) const;
    void PaintAxes(Canvas& canvas) const;
    void PaintValues(Canvas& canvas) const;

    ThroughThickness m_through;
    double m_textSize;
    LayerStack m_stack;
    Axis m_heights;
    Ticks m_ticks;  // of the heights
    Axis m_values;
    double m_stackLeft;
    double m_stackRight;
    double m_labelsRight;
};

}  // namespace orqmodel
