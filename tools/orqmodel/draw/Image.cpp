#include "draw/Image.h"

#include <png.h>

#include "ORQExcExportError.h"

namespace orqmodel {

void WritePng(const Image& image, const std::filesystem::path& path) {
    static_assert(sizeof(Colour) == 3, "pixels lie as the format wants them");
    // The simplified interface reports by its result; the other one needs longjmp over destructors.
    png_image file = {};
    file.version = PNG_IMAGE_VERSION;
    file.width = static_cast<png_uint_32>(image.size.width);
    file.height = static_cast<png_uint_32>(image.size.height);
    file.format = PNG_FORMAT_RGB;
    if (png_image_write_to_file(&file, path.c_str(), 0, image.pixels.data(), 0, nullptr) == 0) {
        throw ORQExcExportError(path.string() + ": cannot be written: " + file.message);
    }
}

}  // namespace orqmodel
