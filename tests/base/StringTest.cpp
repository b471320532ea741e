#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <limits>
#include <string>

#include "ORQBasAssertException.h"
#include "ORQString.h"

namespace {

const char* const s_mixed =
    "a\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80z";  // a, ae, euro sign, a face, z

template <class Number>
std::string Formatted(Number number, const char* format) {
    ORQString text;
    EXPECT_EQ(text.BuildFromNum(number, format), ORQStringResult::Ok) << format;
    return text.UTF8();
}

}  // namespace

TEST(String, CountsAndIndexesCharactersNotBytes) {
    const ORQString text(s_mixed);
    EXPECT_EQ(text.Length(), 5);
    EXPECT_EQ(text.ByteLength(), 11);
    EXPECT_EQ(text[1], U'\u00E4');
    EXPECT_EQ(text[2], U'\u20AC');
    EXPECT_EQ(text[3], U'\U0001F600');
    EXPECT_EQ(text[4], U'z');
    EXPECT_THROW(text[5], ORQBasAssertException);
    EXPECT_THROW(text[-1], ORQBasAssertException);
    EXPECT_EQ(ORQString(std::string_view("a\0b", 3)).Length(), 3);
}

TEST(String, MalformedTextIsRefusedOrReplaced) {
    const char* const malformed[] = {
        "\x80",              // a continuation alone
        "a\xC3",             // cut off
        "\xC0\xAF",          // overlong
        "\xE0\x80\x80",      // overlong
        "\xF0\x80\x80\x80",  // overlong
        "\xED\xA0\x80",      // a surrogate
        "\xF4\x90\x80\x80",  // beyond the last character
        "\xF8\x88\x80\x80",  // no such length
        "\xFF",
    };
    for (const char* const bytes : malformed) {
        ORQString text("kept");
        EXPECT_EQ(text.BuildFromUTF8(bytes), ORQStringResult::InvalidUTF8);
        EXPECT_EQ(text, "kept");
        ORQString again;
        EXPECT_EQ(again.BuildFromUTF8(ORQString(bytes).UTF8()), ORQStringResult::Ok);
    }
    EXPECT_EQ(ORQString("a\xC3"
                        "b"),
              "a\xEF\xBF\xBD"
              "b");
    ORQString text;
    EXPECT_EQ(text.BuildFromUTF8(s_mixed), ORQStringResult::Ok);
    EXPECT_EQ(text.Length(), 5);
    EXPECT_EQ(text.BuildFromUTF8("\xF4\x8F\xBF\xBF"), ORQStringResult::Ok);
    EXPECT_EQ(text[0], U'\U0010FFFF');
}

TEST(String, ConcatenatesTextsAndNumbers) {
    ORQString text = ORQString("Field_") + 0 + " of " + ORQString("S") + -12;
    EXPECT_EQ(text, "Field_0 of S-12");
    text = "<" + text;
    text.Append(text).Append(nullptr);
    EXPECT_EQ(text, "<Field_0 of S-12<Field_0 of S-12");
    EXPECT_EQ(text.Length(), 32);
    text.Reset();
    EXPECT_TRUE(text.IsEmpty());
    EXPECT_EQ(text.Length(), 0);
}

TEST(String, MovedFromIsEmptyAndUsable) {
    ORQString from(s_mixed);
    const ORQString to = std::move(from);
    EXPECT_EQ(to.Length(), 5);
    EXPECT_EQ(from.Append("x").Length(), 1);
}

TEST(String, TakesPartsByCharacters) {
    for (const ORQString& text : {ORQString("abcde"), ORQString(s_mixed)}) {
        EXPECT_EQ(text.SubString(1, 3).Length(), 3);
        EXPECT_EQ(text.SubString(1, 3)[2], text[3]);
        EXPECT_EQ(text.SubString(3, 100), text.SubString(3));
        EXPECT_TRUE(text.SubString(5).IsEmpty());
        EXPECT_THROW(text.SubString(6), ORQBasAssertException);
        EXPECT_THROW(text.SubString(0, -1), ORQBasAssertException);
        ORQString rest = text;
        rest.Remove(1, 3);
        EXPECT_EQ(rest, text.SubString(0, 1) + text.SubString(4));
        EXPECT_EQ(rest.Length(), 2);
        rest.Remove(1, 100);
        EXPECT_EQ(rest.Length(), 1);
    }
}

TEST(String, FindsPositionsInCharactersAndAnswersTheLengthWhenAbsent) {
    const ORQString quoted("\"\xC3\xA4 b\"c");
    EXPECT_EQ(quoted.FindPosition("\"", 1), 4);
    EXPECT_EQ(quoted.FindPosition("\"", 5), quoted.Length());
    EXPECT_EQ(quoted.FindPosition("c"), 5);
    EXPECT_EQ(quoted.FindPosition("\xC3\xA4"), 1);
    EXPECT_EQ(quoted.FindPosition("c", 99), quoted.Length());
    EXPECT_EQ(quoted.FindPosition("", 2), 2);
    EXPECT_EQ(ORQString().FindPosition("x"), 0);
    EXPECT_THROW(quoted.FindPosition("c", -1), ORQBasAssertException);
}

TEST(String, ReplacesFromLeftToRightWithoutOverlap) {
    ORQString text("aaa_\xC3\xA4_aaaa");
    EXPECT_EQ(text.ReplaceAll("aa", "\xE2\x82\xAC"), 3);
    EXPECT_EQ(text,
              "\xE2\x82\xAC"
              "a_\xC3\xA4_\xE2\x82\xAC\xE2\x82\xAC");
    EXPECT_EQ(text.Length(), 7);
    EXPECT_EQ(text.ReplaceAll("", "x"), 0);
    EXPECT_EQ(text.ReplaceAll(text, text), 1);
    EXPECT_EQ(text.Length(), 7);
}

TEST(String, OrdersByCodePoint) {
    EXPECT_EQ(ORQString("a"), "a");
    EXPECT_NE(ORQString("a"), "A");
    EXPECT_EQ(ORQString(), static_cast<const char*>(nullptr));
    EXPECT_LT(ORQString("z"), ORQString("\xC3\xA4"));
    EXPECT_LT(ORQString("\xEF\xBF\xBD"), ORQString("\xF0\x9F\x98\x80"));
    EXPECT_LT(ORQString("a").Compare("ab"), 0);
    EXPECT_GT(ORQString("b").Compare("ab"), 0);
}

TEST(String, BuildsNumbersAsTheCLibraryDoes) {
    const char* const intFormats[] = {"%d", "%5d", "%-5d|", "%05d",  "%+d",    "% i",  "%x",
                                      "%o", "%u",  "%.3d",  "%6.3d", "%06.3d", "%.0d", "a%%b %d%%"};
    for (const char* const format : intFormats) {
        for (const int number :
             {0, 7, -42, 255, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()}) {
            char expected[64];
            std::snprintf(expected, sizeof expected, format, number);
            EXPECT_EQ(Formatted(number, format), expected) << format;
        }
    }
    const char* const doubleFormats[] = {"%f",       "%.0f",    "%e",  "%G",  "%.17g", "%12.3f",
                                         "%-12.3e|", "%012.4f", "%+g", "% E", "%020g"};
    for (const char* const format : doubleFormats) {
        for (const double number : {0.0, -0.0, 1.5, -2.25e-7, 1e300, 123456789.0,
                                    -std::numeric_limits<double>::infinity(), std::nan("")}) {
            char expected[512];
            std::snprintf(expected, sizeof expected, format, number);
            EXPECT_EQ(Formatted(number, format), expected) << format;
        }
    }
    EXPECT_EQ(Formatted(1e308, "%999.999f").size(), 1309U);
}

TEST(String, RefusesFormatsThatDoNotFitTheNumber) {
    ORQString text("kept");
    for (const char* const format : {"", "no conversion", "%", "%%", "%s", "%n", "%f", "%d %d",
                                     "%*d", "%ld", "%1000d", "%.1000d", "%#x", "%d%"}) {
        EXPECT_EQ(text.BuildFromNum(1, format), ORQStringResult::BadFormat) << format;
    }
    EXPECT_EQ(text.BuildFromNum(1, nullptr), ORQStringResult::BadFormat);
    for (const char* const format : {"%d", "%s", "%a", "%Lf", "%f%g"}) {
        EXPECT_EQ(text.BuildFromNum(1.0, format), ORQStringResult::BadFormat) << format;
    }
    EXPECT_EQ(text, "kept");
}

TEST(String, ReadsNumbersWholeOrNotAtAll) {
    int number = -1;
    EXPECT_EQ(ORQString("  +17").ConvertToNum(number, "%d"), ORQStringResult::Ok);
    EXPECT_EQ(number, 17);
    EXPECT_EQ(ORQString("Field_-3!").ConvertToNum(number, "Field_%d!"), ORQStringResult::Ok);
    EXPECT_EQ(number, -3);
    EXPECT_EQ(ORQString("fF").ConvertToNum(number, "%x"), ORQStringResult::Ok);
    EXPECT_EQ(number, 255);
    for (const char* const text : {"", "x", "1x", "1.5", "- 1", "+-1", "++1"}) {
        EXPECT_EQ(ORQString(text).ConvertToNum(number, "%d"), ORQStringResult::NotANumber) << text;
    }
    EXPECT_EQ(ORQString("Field").ConvertToNum(number, "Field_%d"), ORQStringResult::NotANumber);
    EXPECT_EQ(ORQString("2147483648").ConvertToNum(number, "%d"), ORQStringResult::OutOfRange);
    EXPECT_EQ(ORQString("1").ConvertToNum(number, "%f"), ORQStringResult::BadFormat);
    EXPECT_EQ(number, 255);

    double value = -1;
    EXPECT_EQ(ORQString("-1.25e-3").ConvertToNum(value, "%g"), ORQStringResult::Ok);
    EXPECT_EQ(value, -1.25e-3);
    EXPECT_EQ(ORQString("1e999").ConvertToNum(value, "%f"), ORQStringResult::OutOfRange);
    EXPECT_EQ(ORQString("1,5").ConvertToNum(value, "%f"), ORQStringResult::NotANumber);
    EXPECT_EQ(value, -1.25e-3);
}
