#include "draw/Picture.h"

#include "draw/RasterCanvas.h"
#include "draw/SvgCanvas.h"

namespace orqmodel {

void Picture::WritePng(const std::filesystem::path& path) const {
    Image image(m_size);
    PaintBelow(image);
    RasterCanvas canvas(image);
    Paint(canvas);
    orqmodel::WritePng(image, path);
}

void Picture::WriteSvg(const std::filesystem::path& path) const {
    SvgCanvas canvas(m_size);
    PaintBelow(canvas);
    Paint(canvas);
    canvas.Write(path);
}

}  // namespace orqmodel
