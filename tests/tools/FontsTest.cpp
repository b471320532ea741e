// Texts of pictures in the fonts of the system.

#include <fontconfig/fontconfig.h>
#include <ft2build.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <string>

#include "CommandRun.h"
#include "ExodusFile.h"
#include "Files.h"
#include "PngFile.h"
#include "draw/Captions.h"
#include "draw/Fonts.h"
#include "draw/RasterCanvas.h"

#include FT_FREETYPE_H

namespace orqmodel {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

/// Advances of letters as the font's file has them, by the size of the text.
class FontFile {
  public:
    explicit FontFile(const std::string& family) {
        FcPattern* const wanted = FcNameParse(reinterpret_cast<const FcChar8*>(family.c_str()));
        FcConfig* const config = FcInitLoadConfigAndFonts();
        FcConfigSubstitute(config, wanted, FcMatchPattern);
        FcDefaultSubstitute(wanted);
        FcResult result = FcResultMatch;
        FcPattern* const found = FcFontMatch(config, wanted, &result);
        FcChar8* file = nullptr;
        FcPatternGetString(found, FC_FILE, 0, &file);
        EXPECT_EQ(FT_Init_FreeType(&m_library), 0);
        EXPECT_EQ(FT_New_Face(m_library, reinterpret_cast<const char*>(file), 0, &m_face), 0);
        FcPatternDestroy(found);
        FcPatternDestroy(wanted);
        FcConfigDestroy(config);
    }
    ~FontFile() {
        FT_Done_Face(m_face);
        FT_Done_FreeType(m_library);
    }
    FontFile(const FontFile&) = delete;
    FontFile& operator=(const FontFile&) = delete;

    double Advance(char32_t letter) const {
        EXPECT_EQ(FT_Load_Char(m_face, letter, FT_LOAD_NO_SCALE), 0);
        return static_cast<double>(m_face->glyph->advance.x) / m_face->units_per_EM;
    }

  private:
    FT_Library m_library = nullptr;
    FT_Face m_face = nullptr;
};

Image PaintedText(const std::string& text) {
    Image image({120, 60});
    RasterCanvas canvas(image);
    canvas.Text({10, 40}, Align::Left, 32, kInk, text);
    return image;
}

TEST(Fonts, WidthsAreTheAdvancesOfTheFont) {
    const FontFile file(Fonts::OfSystem().Family());
    for (const char32_t letter : {U'i', U'W', U'7', U' '}) {
        const std::string text(1, static_cast<char>(letter));
        EXPECT_NEAR(TextWidth(text, 20), 20 * file.Advance(letter), 1e-9) << text;
        EXPECT_NEAR(TextWidth(text + text + text, 20), 60 * file.Advance(letter), 1e-9) << text;
    }
    EXPECT_EQ(TextWidth("", 20), 0);
    // Digits stand below each other in columns.
    EXPECT_EQ(TextWidth("1", 20), TextWidth("8", 20));
    EXPECT_DOUBLE_EQ(TextStart("Wi", 20, 100, Align::Centre), 100 - TextWidth("Wi", 20) / 2);
}

TEST(Fonts, LettersOfManyScriptsHavePicturesOfTheirOwn) {
    std::set<std::vector<std::uint8_t>> seen;
    const std::vector<std::string> letters = {"a", "Ω", "σ", "Ж", "я", "é",
                                              "ł", "ب", "א", "≤", "µ"};
    for (const std::string& letter : letters) {
        const ShapedText shaped = Fonts::OfSystem().Shape(letter);
        ASSERT_EQ(shaped.glyphs.size(), 1U) << letter;
        EXPECT_NE(shaped.glyphs[0].number, 0U) << letter;
        const Image image = PaintedText(letter);
        std::vector<std::uint8_t> pixels;
        for (const Colour pixel : image.pixels) {
            pixels.push_back(pixel.red);
        }
        EXPECT_TRUE(seen.insert(pixels).second) << letter;
        // Dark in the middle of its strokes, and where the text is.
        EXPECT_GT(Count(image, kInk), 3U) << letter;
        for (int y = 0; y < image.size.height; ++y) {
            for (int x = 0; x < 8; ++x) {
                ASSERT_EQ(Image(image).At(x, y), kWhite) << letter;
            }
        }
    }
}

TEST(Fonts, LettersJoinAndMarksSitAsTheirScriptsWant) {
    Fonts& fonts = Fonts::OfSystem();
    EXPECT_NEAR(fonts.Shape("e\u0301").width, fonts.Shape("é").width, 1e-9);
    // The same letter has one form at the beginning of a word and another at its end, on the left.
    const ShapedText arabic = fonts.Shape("بب");
    ASSERT_EQ(arabic.glyphs.size(), 2U);
    EXPECT_NE(arabic.glyphs[0].number, arabic.glyphs[1].number);
    EXPECT_NE(arabic.glyphs[0].number, fonts.Shape("ب").glyphs[0].number);
    // Scripts side by side, from left to right.
    const ShapedText mixed = fonts.Shape("aب7");
    EXPECT_LT(mixed.glyphs[0].at.x, mixed.glyphs[1].at.x);
    EXPECT_NEAR(mixed.width, fonts.Shape("a").width + fonts.Shape("ب7").width, 1e-9);
}

TEST(Fonts, LettersThatNoFontHasAreBoxes) {
    // Code points that are given to no letter, then bytes that are no text.
    const Image box = PaintedText("\U0010FFFD");
    EXPECT_GT(Count(box, kInk), 3U);
    EXPECT_EQ(box.pixels, PaintedText("\U0010FFFC").pixels);
    EXPECT_EQ(Fonts::OfSystem().Shape("\U0010FFFD").glyphs.at(0).number, 0U);
    EXPECT_FALSE(Fonts::OfSystem().Shape("\xff\xc0 a\xe2\x82").glyphs.empty());
    // Whatever lies beside the picture is not painted.
    Image small({8, 8});
    RasterCanvas(small).Text({-20, 4}, Align::Left, 200, kInk, "Ж\U0010FFFDW");
    EXPECT_GT(Count(small, kInk), 0U);
}

TEST(Fonts, TextsThatAreTooWideLoseTheirMiddle) {
    const std::string name = "Längsträger Ж 0123456789 Ω";
    EXPECT_EQ(Shortened(name, 20, TextWidth(name, 20)), name);
    for (const double part : {0.9, 0.5, 0.2}) {
        const std::string shorter = Shortened(name, 20, part * TextWidth(name, 20));
        EXPECT_LE(TextWidth(shorter, 20), part * TextWidth(name, 20)) << shorter;
        EXPECT_GT(TextWidth(shorter, 20), part * TextWidth(name, 20) - 50) << shorter;
        EXPECT_THAT(shorter, HasSubstr("..."));
        EXPECT_THAT(shorter, StartsWith("L"));
    }
}

TEST(Fonts, PicturesHaveTitlesInAnyScript) {
    const exodus_file::ScratchFolder folder;
    std::vector<Image> pictures;
    for (const std::string title : {"Крыло σ ≤ 3", "Flügel"}) {
        exodus_file::Content content;
        content.title = title;
        exodus_file::Write(content, folder / "m.e");
        const std::string model = folder / "m.orq";
        ASSERT_EQ(RunHere({"import", folder / "m.e", "-o", model, "--force"}).status, 0);
        const std::string png = folder / "m.png";
        ASSERT_EQ(RunHere({"draw", model, "-o", png, "--force"}).status, 0);
        pictures.push_back(Decoded(png));
        const std::string svg = folder / "m.svg";
        ASSERT_EQ(RunHere({"draw", model, "-o", svg, "--force"}).status, 0);
        EXPECT_THAT(Bytes(svg), HasSubstr(">" + title + "</text>"));
        EXPECT_THAT(Bytes(svg), HasSubstr(Fonts::OfSystem().Family()));
    }
    EXPECT_NE(pictures[0].pixels, pictures[1].pixels);
}

}  // namespace
}  // namespace orqmodel
