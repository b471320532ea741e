#pragma once

#include <cstddef>
#include <filesystem>
#include <vector>

#include "draw/Canvas.h"

namespace orqmodel {

/// A picture of [height][width] pixels, white at first.
struct Image {
    explicit Image(PictureSize extent)
        : size(extent),
          pixels(static_cast<std::size_t>(extent.width) * static_cast<std::size_t>(extent.height),
                 kWhite) {}

    Colour& At(int x, int y) {
        return pixels[static_cast<std::size_t>(y) * static_cast<std::size_t>(size.width) +
                      static_cast<std::size_t>(x)];
    }

    PictureSize size;
    std::vector<Colour> pixels;
};

/// Each pixel is judged at this many places to the right and as many down, which smooths edges.
constexpr int kSamplesPerPixel = 3;

/// Writes a PNG file; throws ORQExcExportError.
void WritePng(const Image& image, const std::filesystem::path& path);

}  // namespace orqmodel
