#include "draw/Canvas.h"

#include <utf8.h>

#include "draw/StrokeFont.h"

namespace orqmodel {

double TextWidth(std::string_view text, double size) {
    return kLetterWidth * size * static_cast<double>(utf8::distance(text.begin(), text.end()));
}

double TextStart(std::string_view text, double size, double x, Align align) {
    return align == Align::Centre ? x - TextWidth(text, size) / 2 : x;
}

}  // namespace orqmodel
