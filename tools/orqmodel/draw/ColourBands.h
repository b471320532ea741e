#pragma once

#include <limits>
#include <span>
#include <string>
#include <vector>

#include "draw/Canvas.h"

namespace orqmodel {

/// The range of the finite ones among some values; empty (lowest above highest) without any.
struct ValueRange {
    double lowest = std::numeric_limits<double>::infinity();
    double highest = -std::numeric_limits<double>::infinity();

    void Take(std::span<const double> values);
};

/// A range of values divided into bands, each with a colour from dark blue over green to yellow,
/// that grows lighter with the value for any colour vision.
class ColourBands {
  public:
    /// One band where all values are the same.
    explicit ColourBands(const ValueRange& range);

    int Count() const { return m_count; }
    double Lowest() const { return m_lowest; }
    double Highest() const { return m_highest; }
    /// The bound below a band; of Count(), the highest value.
    double Level(int band) const;
    /// -1 for what is not a finite number.
    int BandOf(double value) const;
    Colour ColourOf(int band) const;  ///< of -1, kPlain

  private:
    double m_lowest;
    double m_highest;
    int m_count;  // 0 without finite values
};

/// The width that a bar takes.
double ColourBarWidth(const ColourBands& bands, double textSize);

/// The bands as a bar under a title, the highest above, with a number at each bound.
void PaintColourBar(Canvas& canvas, double textSize, Spot upperLeft, Spot lowerRight,
                    const std::string& title, const ColourBands& bands);

}  // namespace orqmodel
