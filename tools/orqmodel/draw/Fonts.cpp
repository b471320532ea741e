#include "draw/Fonts.h"

#include <fontconfig/fontconfig.h>
#include <ft2build.h>
#include <hb.h>
#include <utf8.h>

#include <cmath>
#include <iterator>

#include "ORQBasFailure.h"

#include FT_FREETYPE_H
#include FT_OUTLINE_H

namespace orqmodel {
namespace {

template <class T, void (*release)(T*)>
struct Release {
    void operator()(T* object) const { release(object); }
};
template <class T, void (*release)(T*)>
using Held = std::unique_ptr<T, Release<T, release>>;

using HeldBuffer = Held<hb_buffer_t, hb_buffer_destroy>;
using HeldPattern = Held<FcPattern, FcPatternDestroy>;

[[noreturn]] void ThrowNoFont() {
    throw ORQBasFailure(ORQBasFailureKind::Io,
                        "no font for the texts of pictures was found on this machine; Debian's "
                        "package fonts-dejavu-core has one");
}

/// Marks take the font and the script of the letter before them.
bool JoinsBefore(char32_t letter) {
    const hb_unicode_general_category_t category =
        hb_unicode_general_category(hb_unicode_funcs_get_default(), letter);
    return category == HB_UNICODE_GENERAL_CATEGORY_NON_SPACING_MARK ||
           category == HB_UNICODE_GENERAL_CATEGORY_ENCLOSING_MARK ||
           category == HB_UNICODE_GENERAL_CATEGORY_SPACING_MARK;
}

hb_script_t ScriptOf(char32_t letter) {
    return hb_unicode_script(hb_unicode_funcs_get_default(), letter);
}

/// Digits, blanks and the like belong to any script.
bool IsOfAnyScript(hb_script_t script) {
    return script == HB_SCRIPT_COMMON || script == HB_SCRIPT_INHERITED;
}

}  // namespace

/// One file, opened.
struct Fonts::Font {
    Font(FT_Library library, const char* file, int index) {
        if (FT_New_Face(library, file, index, &face) != 0) {
            face = nullptr;
            return;
        }
        const Held<hb_blob_t, hb_blob_destroy> blob(hb_blob_create_from_file(file));
        const Held<hb_face_t, hb_face_destroy> table(
            hb_face_create(blob.get(), static_cast<unsigned>(index)));
        shaper.reset(hb_font_create(table.get()));
        unitsPerSize = hb_face_get_upem(table.get());
    }
    ~Font() {
        if (face != nullptr) {
            FT_Done_Face(face);
        }
    }
    Font(const Font&) = delete;
    Font& operator=(const Font&) = delete;

    FT_Face face = nullptr;
    Held<hb_font_t, hb_font_destroy> shaper;
    double unitsPerSize = 1;
};

/// Letters of one font and one script, which are shaped together.
struct Fonts::Run {
    std::size_t font;
    hb_script_t script;
    std::size_t begin;
    std::size_t end;
};

struct Fonts::Library {
    Library() : config(FcInitLoadConfigAndFonts()) {
        if (config == nullptr || FT_Init_FreeType(&faces) != 0) {
            ThrowNoFont();
        }
        const HeldPattern wanted(FcPatternCreate());
        for (const char* family : {"DejaVu Sans", "sans-serif"}) {
            FcPatternAddString(wanted.get(), FC_FAMILY, reinterpret_cast<const FcChar8*>(family));
        }
        FcPatternAddBool(wanted.get(), FC_OUTLINE, FcTrue);
        FcConfigSubstitute(config, wanted.get(), FcMatchPattern);
        FcDefaultSubstitute(wanted.get());
        FcResult result = FcResultMatch;
        found = FcFontSort(config, wanted.get(), FcTrue, nullptr, &result);
    }
    ~Library() {
        if (found != nullptr) {
            FcFontSetDestroy(found);
        }
        FT_Done_FreeType(faces);
        FcConfigDestroy(config);
    }
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;

    std::size_t Count() const {
        return found == nullptr ? 0 : static_cast<std::size_t>(found->nfont);
    }
    const char* Text(std::size_t font, const char* property) const {
        FcChar8* text = nullptr;
        FcPatternGetString(found->fonts[font], property, 0, &text);
        return reinterpret_cast<const char*>(text);
    }

    FcConfig* config;
    FT_Library faces = nullptr;
    FcFontSet* found = nullptr;
};

Fonts::Fonts() : m_library(std::make_unique<Library>()), m_fonts(m_library->Count()) {
    if (m_fonts.empty() || Opened(0).face == nullptr) {
        ThrowNoFont();
    }
}

Fonts::~Fonts() {
    m_fonts.clear();  // Before the library that they are of.
}

Fonts& Fonts::OfSystem() {
    static Fonts fonts;
    return fonts;
}

std::string Fonts::Family() const {
    return m_library->Text(0, FC_FAMILY);
}

Fonts::Font& Fonts::Opened(std::size_t font) {
    if (!m_fonts[font]) {
        int index = 0;
        FcPatternGetInteger(m_library->found->fonts[font], FC_INDEX, 0, &index);
        m_fonts[font] =
            std::make_unique<Font>(m_library->faces, m_library->Text(font, FC_FILE), index);
    }
    return *m_fonts[font];
}

std::size_t Fonts::FontFor(char32_t letter) {
    for (std::size_t font = 0; font < m_fonts.size(); ++font) {
        FcCharSet* letters = nullptr;
        FcPatternGetCharSet(m_library->found->fonts[font], FC_CHARSET, 0, &letters);
        if (letters != nullptr && FcCharSetHasChar(letters, letter) != 0 &&
            Opened(font).face != nullptr) {
            return font;
        }
    }
    return 0;  // Which shows its box.
}

std::vector<Fonts::Run> Fonts::RunsOf(std::u32string_view letters) {
    std::vector<Run> runs;
    for (std::size_t i = 0; i < letters.size(); ++i) {
        if (!runs.empty() && JoinsBefore(letters[i])) {
            runs.back().end = i + 1;
            continue;
        }
        const std::size_t font = FontFor(letters[i]);
        const hb_script_t script = ScriptOf(letters[i]);
        if (runs.empty() || runs.back().font != font ||
            (runs.back().script != script && !IsOfAnyScript(script) &&
             !IsOfAnyScript(runs.back().script))) {
            runs.push_back({font, script, i, i + 1});
            continue;
        }
        runs.back().end = i + 1;
        runs.back().script = IsOfAnyScript(runs.back().script) ? script : runs.back().script;
    }
    return runs;
}

void Fonts::Append(const Run& run, std::u32string_view letters, ShapedText& shaped) {
    const Font& font = *m_fonts[run.font];
    const HeldBuffer buffer(hb_buffer_create());
    static_assert(sizeof(char32_t) == sizeof(std::uint32_t));
    hb_buffer_add_utf32(buffer.get(), reinterpret_cast<const std::uint32_t*>(letters.data()),
                        static_cast<int>(letters.size()), static_cast<unsigned>(run.begin),
                        static_cast<int>(run.end - run.begin));
    hb_buffer_guess_segment_properties(buffer.get());
    hb_shape(font.shaper.get(), buffer.get(), nullptr, 0);
    const unsigned count = hb_buffer_get_length(buffer.get());
    const std::span infos(hb_buffer_get_glyph_infos(buffer.get(), nullptr), count);
    const std::span places(hb_buffer_get_glyph_positions(buffer.get(), nullptr), count);
    for (unsigned i = 0; i < count; ++i) {
        shaped.glyphs.push_back({run.font,
                                 infos[i].codepoint,
                                 {shaped.width + places[i].x_offset / font.unitsPerSize,
                                  places[i].y_offset / font.unitsPerSize}});
        shaped.width += places[i].x_advance / font.unitsPerSize;
    }
}

ShapedText Fonts::Shape(std::string_view text) {
    std::string valid;
    utf8::replace_invalid(text.begin(), text.end(), std::back_inserter(valid));
    const std::u32string letters = utf8::utf8to32(valid);
    ShapedText shaped{{}, 0};
    for (const Run& run : RunsOf(letters)) {
        Append(run, letters, shaped);
    }
    return shaped;
}

GlyphImage Fonts::ImageOf(const ShapedText::Glyph& glyph, double size, Spot fraction) {
    constexpr double kUnits = 64;  // of a pixel, as the library counts
    FT_Face face = m_fonts[glyph.font]->face;
    const auto units = [](double pixels) {
        return static_cast<FT_Pos>(std::lround(kUnits * pixels));
    };
    // Hints are off: they would move outlines to whole pixels and make widths differ from those of
    // the layout.
    if (FT_Set_Char_Size(face, 0, units(size), 72, 72) != 0 ||
        FT_Load_Glyph(face, glyph.number, FT_LOAD_NO_HINTING | FT_LOAD_NO_BITMAP) != 0) {
        return {0, 0, 0, 0, {}};
    }
    FT_GlyphSlot slot = face->glyph;
    FT_Outline_Translate(&slot->outline, units(fraction.x), -units(fraction.y));
    if (FT_Render_Glyph(slot, FT_RENDER_MODE_NORMAL) != 0) {
        return {0, 0, 0, 0, {}};
    }
    const FT_Bitmap& bitmap = slot->bitmap;
    GlyphImage image{slot->bitmap_left,
                     -slot->bitmap_top,
                     static_cast<int>(bitmap.width),
                     static_cast<int>(bitmap.rows),
                     {}};
    for (unsigned row = 0; row < bitmap.rows; ++row) {
        const std::uint8_t* const begin =
            bitmap.buffer + static_cast<std::ptrdiff_t>(row) * bitmap.pitch;
        image.shares.insert(image.shares.end(), begin, begin + bitmap.width);
    }
    return image;
}

}  // namespace orqmodel
