#include "draw/LayupPicture.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "terminal/Console.h"

namespace orqmodel {
namespace {

const char* Text(const std::optional<bool>& answer, const char* yes, const char* no) {
    return !answer ? "" : *answer ? yes : no;
}

}  // namespace

LayupPicture::LayupPicture(const ORQExcSections::Section& section,
                           const ORQExcSections::Stack& layup, PictureSize size)
    : Picture(size), m_textSize(TextSizeFor(size)), m_stack(layup.layers, m_textSize) {
    m_title = fmt::format("section {}", ORQExcPrintable(section.name));
    const auto total = layup.Total();
    m_details = fmt::format(
        "{} layers, total thickness {}, {} elements{}{}", layup.layers.size(),
        !total                      ? "not known"
        : total->low == total->high ? fmt::format("{:.6g}", total->low)
                                    : fmt::format("{:.6g}..{:.6g}", total->low, total->high),
        section.elements.Size(), Text(layup.IsSymmetric(), ", symmetric", ", not symmetric"),
        Text(layup.IsBalanced(), ", balanced", ", not balanced"));
    const double margin = kPageMargin * m_textSize;
    const bool hasTexts = HasRoomForTexts(size);
    const double legend =
        hasTexts ? std::min(LegendWidth(m_stack.Legend(), m_textSize), 0.25 * size.width) : 0;
    m_left = margin;
    m_right = hasTexts ? 0.32 * size.width : size.width - margin;
    m_labelsRight = size.width - margin - legend - margin;
    PlanStack(layup);
}

void LayupPicture::PlanStack(const ORQExcSections::Stack& layup) {
    const bool hasTexts = HasRoomForTexts(m_size);
    const double top = hasTexts ? (3 + kLineHeight) * m_textSize : kPageMargin * m_textSize;
    const double bottom = m_size.height - (hasTexts ? 1 + kLineHeight : kPageMargin) * m_textSize;
    const double room = bottom - top;
    const auto nLayers = static_cast<double>(layup.layers.size());
    // Pixels: an adhesive beside a core would otherwise be a line that nobody sees. The heading says
    // how many layers are not to scale.
    constexpr double kLeastHeight = 3;
    const double least = std::min(kLeastHeight, room / std::max(1.0, nLayers));
    std::vector<double> thicknesses;
    for (const ORQExcSections::Layer& layer : layup.layers) {
        thicknesses.push_back(MeanOf(layer.thickness));
    }
    // The thin ones take their least height, the others share the rest; as what they share
    // shrinks, more may become thin.
    double scale = 0;
    std::vector<bool> isThin(thicknesses.size(), false);
    for (bool isSettled = false; !isSettled;) {
        double thick = 0;
        double left = room;
        for (std::size_t i = 0; i < thicknesses.size(); ++i) {
            thick += isThin[i] ? 0 : thicknesses[i];
            left -= isThin[i] ? least : 0;
        }
        scale = thick > 0 ? left / thick : 0;
        isSettled = true;
        for (std::size_t i = 0; i < thicknesses.size(); ++i) {
            if (!isThin[i] && scale * thicknesses[i] < least) {
                isThin[i] = true;
                isSettled = false;
            }
        }
    }
    std::vector<double> bounds = {bottom};
    for (std::size_t i = 0; i < thicknesses.size(); ++i) {
        bounds.push_back(bounds.back() - (isThin[i] ? least : scale * thicknesses[i]));
    }
    m_stack.PutAt(std::move(bounds));
    const auto nThin = std::ranges::count(isThin, true);
    if (nThin > 0 && scale > 0) {
        m_details += fmt::format(", {} too thin for the scale", nThin);
    }
}

void LayupPicture::Paint(Canvas& canvas) const {
    m_stack.Paint(canvas, m_left, m_right);
    if (!HasRoomForTexts(m_size)) {
        return;
    }
    PaintHeading(canvas, m_textSize, m_title, m_details);
    const double bottom = m_stack.Bounds().front();
    const double top = m_stack.Bounds().back();
    canvas.Text({(m_left + m_right) / 2, bottom + kLineHeight * m_textSize}, Align::Centre,
                0.85 * m_textSize, kInk, "bottom");
    m_stack.PaintLabels(canvas, m_right, m_labelsRight);
    PaintLegend(canvas, m_textSize, {m_labelsRight + kPageMargin * m_textSize, top + m_textSize},
                {m_size.width - kPageMargin * m_textSize, bottom}, m_stack.Legend());
}

}  // namespace orqmodel
