#pragma once

#include <span>
#include <string>
#include <vector>

#include "draw/Canvas.h"

namespace orqmodel {

/// A range of values divided into bands, each with a colour from dark blue over green to yellow,
/// that grows lighter with the value for any colour vision.
class ColourBands {
  public:
    /// The range of the finite values; one band when they are all the same.
    explicit ColourBands(std::span<const double> values);

    int Count() const { return m_count; }
    double Lowest() const { return m_lowest; }
    double Highest() const { return m_highest; }
    /// The bound below a band; of Count(), the highest value.
    double Level(int band) const;
    /// -1 for what is not a finite number.
    int BandOf(double value) const;
    Colour ColourOf(int band) const;  ///< of -1, kPlain

  private:
    double m_lowest = 0;
    double m_highest = 0;
    int m_count = 0;  // 0 without finite values
};

/// The width that a bar takes.
double ColourBarWidth(const ColourBands& bands, double textSize);

/// The bands as a bar under a title, the highest above, with a number at each bound.
void PaintColourBar(Canvas& canvas, double textSize, Spot upperLeft, Spot lowerRight,
                    const std::string& title, const ColourBands& bands);

}  // namespace orqmodel
