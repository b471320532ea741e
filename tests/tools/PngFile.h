#pragma once

#include <png.h>

#include <algorithm>
#include <cstddef>
#include <stdexcept>
#include <string>

#include "draw/Image.h"

namespace orqmodel {

/// A PNG file as its pixels.
inline Image Decoded(const std::string& path) {
    png_image file = {};
    file.version = PNG_IMAGE_VERSION;
    if (png_image_begin_read_from_file(&file, path.c_str()) == 0) {
        throw std::runtime_error(path + ": " + file.message);
    }
    file.format = PNG_FORMAT_RGB;
    Image image({static_cast<int>(file.width), static_cast<int>(file.height)});
    if (png_image_finish_read(&file, nullptr, image.pixels.data(), 0, nullptr) == 0) {
        throw std::runtime_error(path + ": " + file.message);
    }
    return image;
}

/// Pixels of exactly that colour.
inline std::size_t Count(const Image& image, Colour colour) {
    return static_cast<std::size_t>(std::ranges::count(image.pixels, colour));
}

}  // namespace orqmodel
