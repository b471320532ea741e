#pragma once

#include <filesystem>

#include "draw/Canvas.h"
#include "draw/Image.h"

namespace orqmodel {

/// A picture of some size that can be written in each of the formats.
class Picture {
  public:
    virtual ~Picture() = default;

    /// Throw ORQExcExportError.
    void WritePng(const std::filesystem::path& path) const;
    void WriteSvg(const std::filesystem::path& path) const;

  protected:
    explicit Picture(PictureSize size) : m_size(size) {}
    Picture(const Picture&) = default;
    Picture& operator=(const Picture&) = default;

    virtual void Paint(Canvas& canvas) const = 0;
    /// What lies under that and is painted in another way for pixels than for shapes.
    virtual void PaintBelow(Image&) const {}
    virtual void PaintBelow(Canvas&) const {}

    PictureSize m_size;
};

}  // namespace orqmodel
