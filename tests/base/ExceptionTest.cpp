#include <gtest/gtest.h>

#include <exception>
#include <memory>
#include <string>

#include "ORQBasAssertException.h"
#include "ORQBasFailure.h"
#include "atr_translate.h"

namespace {

constexpr auto s_unicode = ORQBasStringMode::Unicode;
constexpr auto s_ascii = ORQBasStringMode::Ascii;

class PlainException : public ORQBasException {
  public:
    atr_String AsString(ORQBasStringMode) override { return "plain"; }
    [[noreturn]] void Propagate() const override { throw *this; }
    int GetCode() const override { return 77; }
};

}  // namespace

TEST(AssertException, BeginsAtTheLineOfItsDeclarationAndKeepsTheBareText) {
    ORQBasAssertException made("100%s == count");
    EXPECT_EQ(made.GetLine(), 18);
    EXPECT_TRUE(std::string(made.GetFile()).ends_with("ORQBasAssertException.h"));
    EXPECT_STREQ(made.AsString(s_unicode).c_str(), "100%s == count");
}

TEST(AssertException, ThrowRecordsThePlaceAndRaisesTheDynamicType) {
    ORQBasAssertException made("n != 0");
    ORQBasException& base = made;
    try {
        base.Throw("dir\\file.cpp", 177);
        FAIL() << "Throw returned";
    } catch (ORQBasAssertException& caught) {
        EXPECT_STREQ(caught.GetFile(), "dir\\file.cpp");
        EXPECT_EQ(caught.GetLine(), 177);
        EXPECT_STREQ(caught.UserReport(s_unicode).c_str(), "n != 0");
        EXPECT_STREQ(caught.DeveloperReport(s_unicode).c_str(), "n != 0 (dir\\file.cpp:177)");
    }
}

TEST(AssertException, CloneOutlivesTheOriginalAndRaisesTheSameType) {
    std::unique_ptr<ORQBasException> clone;
    try {
        ORQBasAssertException(std::string(100, 'x').c_str()).Throw("f", 3);
    } catch (ORQBasException& caught) {
        clone.reset(caught.Clone());
    }
    ASSERT_NE(clone, nullptr);
    EXPECT_EQ(clone->GetLine(), 3);
    EXPECT_EQ(clone->GetCode(), ORQBasAssertException::s_code);
    EXPECT_EQ(clone->AsString(s_unicode), atr_String(std::string(100, 'x')));
    EXPECT_THROW(clone->Propagate(), ORQBasAssertException);
}

TEST(Exception, BaseOffersNoCloneAndReportsAnUnknownPlace) {
    PlainException plain;
    EXPECT_EQ(plain.Clone(), nullptr);
    EXPECT_STREQ(plain.DeveloperReport(s_unicode).c_str(), "plain (unknown file:0)");
}

TEST(Failure, IsAStandardExceptionWithItsText) {
    try {
        throw ORQBasFailure(ORQBasFailureKind::Io, "wing.orq: disk full");
    } catch (const std::exception& exception) {
        EXPECT_STREQ(exception.what(), "wing.orq: disk full");
    }
    EXPECT_THROW(ORQBasFailure(ORQBasFailureKind::Io, "x").Propagate(), ORQBasException);
}

TEST(IndexOutOfRange, NamesIndexAndRange) {
    try {
        ORQBasThrowIndexOutOfRange(-3, 5, "f", 1);
        FAIL() << "returned";
    } catch (ORQBasException& caught) {
        EXPECT_STREQ(caught.AsString(s_unicode).c_str(), "index -3 is outside [0, 5)");
    }
}

TEST(Translate, FillsPlaceholdersByNumberOnce) {
    const auto fill = [](const char* message, std::vector<std::string> values) {
        return std::string(atr_translate(message, s_unicode)
                               .atr_SubstituteFormat(std::move(values))
                               .Result()
                               .c_str());
    };
    EXPECT_EQ(fill("Layer %2 of %1, %2", {"S-1", "3"}), "Layer 3 of S-1, 3");
    EXPECT_EQ(fill("%1%2", {"%2", "%1"}), "%2%1");
    EXPECT_EQ(fill("%3 %0 % %x 5%", {"a", "b"}), "%3 %0 % %x 5%");
    EXPECT_EQ(fill("%10", std::vector<std::string>(10, "ten")), "ten");
    EXPECT_EQ(fill("%10", {"one"}), "%10");
    EXPECT_EQ(fill("%99999999999999999999999999", {"one"}), "%99999999999999999999999999");
    EXPECT_EQ(fill(nullptr, {"one"}), "");
}

TEST(Translate, AsciiModeEscapesWhatATerminalMayNotShow) {
    EXPECT_STREQ(atr_translate("M\xC3\xBCller \xF0\x9F\x98\x80", s_ascii).Result().c_str(),
                 "M\\u00FCller \\U0001F600");
    EXPECT_STREQ(atr_translate("a\xFF", s_unicode).Result().c_str(), "a\xEF\xBF\xBD");
}
