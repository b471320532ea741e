#pragma once

#include <string>

#include "ORQExcSections.h"
#include "draw/LayerStack.h"
#include "draw/Picture.h"

namespace orqmodel {

/// A layered section as a picture of its stack. Heights are to scale, but for layers so thin that they
/// would not be seen; values that vary over the elements count with their mean.
class LayupPicture : public Picture {
  public:
    LayupPicture(const ORQExcSections::Section& section, const ORQExcSections::Stack& layup,
                 PictureSize size);

  private:
    void PlanStack(const ORQExcSections::Stack& layup);
    void Paint(Canvas& canvas) const override;

    double m_textSize;
    LayerStack m_stack;
    std::string m_title;
    std::string m_details;
    double m_left;
    double m_right;
    double m_labelsRight;
};

}  // namespace orqmodel
