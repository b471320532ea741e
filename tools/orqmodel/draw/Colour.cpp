#include "draw/Colour.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

namespace orqmodel {

namespace {

/// A hue, from 0 to 1 around the circle, between black at 0 and white at 1.
Colour HueColour(double hue, double lightness) {
    const auto channel = [&](double turned) {
        const double place = 6 * (turned - std::floor(turned));
        const double full = std::clamp(std::abs(place - 3) - 1, 0.0, 1.0);
        const double reach = 0.75 * std::min(lightness, 1 - lightness);
        return static_cast<std::uint8_t>(std::lround(255 * (lightness + reach * (2 * full - 1))));
    };
    return {channel(hue), channel(hue - 1.0 / 3), channel(hue - 2.0 / 3)};
}

}  // namespace

Colour PaletteColour(int place) {
    // The palette of Okabe and Ito, made for any colour vision, without its black.
    static constexpr std::array<Colour, 7> hues = {{{0, 114, 178},
                                                    {230, 159, 0},
                                                    {0, 158, 115},
                                                    {213, 94, 0},
                                                    {86, 180, 233},
                                                    {204, 121, 167},
                                                    {240, 228, 66}}};
    constexpr int kHues = static_cast<int>(hues.size());
    if (place >= kToldApart) {
        // Steps of the golden ratio never come back to the same hue.
        constexpr double kGoldenRatio = 0.6180339887498949;
        constexpr std::array kLightness = {0.55, 0.35, 0.75};
        return HueColour(kGoldenRatio * place, kLightness[static_cast<std::size_t>(place % 3)]);
    }
    const Colour hue = hues[static_cast<std::size_t>(place % kHues)];
    switch (place / kHues) {
        case 1:
            return Mixed(hue, kWhite, 0.5);
        case 2:
            return Mixed(hue, kBlack, 0.4);
        default:
            return hue;
    }
}

Colour Mixed(Colour a, Colour b, double part) {
    const auto mixed = [part](std::uint8_t from, std::uint8_t to) {
        return static_cast<std::uint8_t>(std::lround(from + part * (to - from)));
    };
    return {mixed(a.red, b.red), mixed(a.green, b.green), mixed(a.blue, b.blue)};
}

}  // namespace orqmodel
