#include "draw/Colour.h"

#include <array>
#include <cmath>
#include <cstddef>

namespace orqmodel {

Colour PaletteColour(int place) {
    static constexpr std::array<Colour, 7> hues = {{{0, 114, 178},
                                                    {230, 159, 0},
                                                    {0, 158, 115},
                                                    {213, 94, 0},
                                                    {86, 180, 233},
                                                    {204, 121, 167},
                                                    {240, 228, 66}}};
    constexpr int kHues = static_cast<int>(hues.size());
    const Colour hue = hues[static_cast<std::size_t>(place % kHues)];
    switch (place / kHues % 3) {
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
