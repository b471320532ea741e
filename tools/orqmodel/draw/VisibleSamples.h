#pragma once

#include <cstdint>
#include <functional>
#include <span>

#include "draw/Scene.h"

namespace orqmodel {

// What is drawn wider than a line, in pixels to each side of it.
constexpr double kMeshEdgeReach = 0.3;
constexpr double kFeatureEdgeReach = 0.8;
constexpr double kLineReach = 1.1;
constexpr double kDotBorder = 1;

/// What is seen at one place of a pixel.
class VisibleSample {
  public:
    VisibleSample() = default;
    VisibleSample(std::size_t part, EdgeKind edge)
        : m_code((static_cast<std::uint32_t>(part) + 1) << 2 | static_cast<std::uint32_t>(edge)) {}

    bool IsEmpty() const { return m_code == 0; }
    std::size_t Part() const { return (m_code >> 2) - 1; }
    EdgeKind Edge() const { return static_cast<EdgeKind>(m_code & 3); }

  private:
    std::uint32_t m_code = 0;
};

/// Parts that a scene can have at most.
constexpr std::size_t kMostParts = (std::size_t{1} << 30) - 2;

/// Pixels by which a part counts as nearer than it is: lines and shells that lie on other facets,
/// marks on lines, and dots on all, shall be seen.
double DepthAdvantage(const Skin& skin, std::size_t part);

/// The colour of an edge of a kind on a part of some colour.
Colour EdgeColour(Colour colour, EdgeKind kind);

/// Removes what is hidden and calls use(y, samples) for each row of pixels from above; the samples
/// are [width][kSamplesPerPixel * kSamplesPerPixel] and valid during the call.
void ForEachVisibleRow(const Scene& scene, PictureSize size,
                       const std::function<void(int y, std::span<const VisibleSample>)>& use);

}  // namespace orqmodel
