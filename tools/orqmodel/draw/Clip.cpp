#include "draw/Clip.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include "ORQBasFailure.h"

namespace orqmodel {

Clip Clip::FromText(const std::string& text) {
    double value = 0;
    const char* const end = text.data() + text.size();
    const bool hasSign =
        text.size() > 2 && text[0] >= 'x' && text[0] <= 'z' && (text[1] == '<' || text[1] == '>');
    const auto [next, error] = std::from_chars(hasSign ? text.data() + 2 : end, end, value);
    if (error != std::errc() || next != end || !std::isfinite(value)) {
        ORQBasThrowUsage("--clip " + text +
                         ": is not x, y or z, then < or >, then a coordinate, as in x<0.5");
    }
    return {static_cast<std::size_t>(text[0] - 'x'), text[1] == '<', value};
}

bool AllKeep(const std::vector<Clip>& clips, const Point& point) {
    return std::ranges::all_of(clips, [&](const Clip& clip) { return clip.Keeps(point); });
}

}  // namespace orqmodel
