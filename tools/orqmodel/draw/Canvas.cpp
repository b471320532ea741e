#include "draw/Canvas.h"

#include "draw/Fonts.h"

namespace orqmodel {

double TextWidth(std::string_view text, double size) {
    return size * Fonts::OfSystem().Shape(text).width;
}

double TextStart(std::string_view text, double size, double x, Align align) {
    return align == Align::Centre ? x - TextWidth(text, size) / 2 : x;
}

}  // namespace orqmodel
