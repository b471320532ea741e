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

/// The first places, from 0, have colours that people with any colour vision can tell apart: seven
/// hues, then the same ones lighter, then darker.
constexpr int kToldApart = 21;

/// The colour of a place. Behind those that can be told apart come others, of which no two of the
/// first thousand are the same.
Colour PaletteColour(int place);

/// `part` of b, from 0 to 1, and the rest of a.
Colour Mixed(Colour a, Colour b, double part);

}  // namespace orqmodel
