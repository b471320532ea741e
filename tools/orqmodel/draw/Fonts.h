#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "draw/Spot.h"

namespace orqmodel {

/// A line of text as the glyphs that show it. Lengths are parts of the text's size, for example
/// 0.6; y runs upwards from the baseline.
struct ShapedText {
    struct Glyph {
        std::size_t font;  ///< place among the fonts
        std::uint32_t number;
        Spot at;  ///< its origin, from the left end of the text
    };
    std::vector<Glyph> glyphs;
    double width;
};

/// How much of each pixel a glyph covers, 255 for all of it.
struct GlyphImage {
    int left;  ///< of the first column, from the pixel of the origin
    int top;   ///< of the first row, downwards
    int width;
    int height;
    std::vector<std::uint8_t> shares;  ///< [height][width]
};

/// The outline fonts of the system in the order in which they are asked for a letter: DejaVu Sans
/// where it is installed, then what fontconfig holds for a plain text. Opened one by one as texts
/// need them. Letters that none has are the empty box of the first one.
class Fonts {
  public:
    /// Found at the first call. Throws ORQBasFailure (Io) where the system has none.
    static Fonts& OfSystem();

    ~Fonts();
    Fonts(const Fonts&) = delete;
    Fonts& operator=(const Fonts&) = delete;

    /// UTF-8, which need not be valid. Letters join and marks sit as their script wants; where
    /// scripts of both directions meet in a text, its runs go from left to right.
    ShapedText Shape(std::string_view text);
    /// A glyph whose origin lies at `fraction`, each from 0 to 1, right of and below the corner of
    /// its pixel. `size` is in pixels.
    GlyphImage ImageOf(const ShapedText::Glyph& glyph, double size, Spot fraction);
    /// The name of the first font.
    std::string Family() const;

  private:
    Fonts();

    struct Font;
    struct Run;
    struct Library;

    Font& Opened(std::size_t font);
    std::size_t FontFor(char32_t letter);
    std::vector<Run> RunsOf(std::u32string_view letters);
    void Append(const Run& run, std::u32string_view letters, ShapedText& shaped);

    std::unique_ptr<Library> m_library;
    std::vector<std::unique_ptr<Font>> m_fonts;  // null until they are needed
};

}  // namespace orqmodel
