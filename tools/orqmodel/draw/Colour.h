#pragma once

#include <cstdint>

namespace orqmodel {

struct Colour {
    std::uint8_t red;
    std::uint8_t green;
    std::uint8_t blue;
    bool operator==(const Colour&) const = default;
};

constexpr Colour kWhite = {255, 255, 255};
constexpr Colour kBlack = {0, 0, 0};
constexpr Colour kInk = {35, 35, 35};       ///< of texts and outlines
constexpr Colour kPlain = {190, 190, 190};  ///< of what is not picked out

/// The `place`-th colour, from 0, of those that people with any colour vision can tell apart. Seven
/// hues come first, then the same ones lighter, then darker, and so on round.
Colour PaletteColour(int place);

/// `part` of b, from 0 to 1, and the rest of a.
Colour Mixed(Colour a, Colour b, double part);

}  // namespace orqmodel
