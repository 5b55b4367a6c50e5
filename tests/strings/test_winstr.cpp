#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "WinStr.h"

namespace {
// "日本語の音色" in UTF-8 and in Shift-JIS; "音" in Shift-JIS.
const char kJapanese[] = "\xE6\x97\xA5\xE6\x9C\xAC\xE8\xAA\x9E\xE3\x81\xAE\xE9\x9F\xB3\xE8\x89\xB2";
const char kJapaneseSJIS[] = "\x93\xFA\x96\x7B\x8C\xEA\x82\xCC\x89\xB9\x90\x46";
const char kOn[] = "\x89\xB9";
}  // namespace

TEST(LoadString, KnownMissingAndBoundedLookups)
{
    char buf[1024], small[6] = "xxxxx";
    const unsigned n = LoadString(nullptr, 20135, buf, sizeof buf);
    EXPECT_EQ(n, std::strlen(buf));
    EXPECT_NE(std::string(buf).find("\"%s\" could not be written"), std::string::npos);
    EXPECT_EQ(LoadString(nullptr, 4242, buf, sizeof buf), 4u);  // missing: the id
    EXPECT_STREQ(buf, "4242");
    EXPECT_EQ(LoadString(nullptr, 20135, small, sizeof small), 5u);
    EXPECT_STREQ(small, "The p");
    EXPECT_EQ(LoadString(nullptr, 20135, nullptr, 10), ~0u);
    EXPECT_EQ(LoadString(nullptr, 20135, small, 0), ~0u);
}

TEST(ShiftJIS, RoundTripsAJapaneseName)
{
    EXPECT_STREQ(UTF8ToSJSINS(kJapanese), kJapaneseSJIS);
    EXPECT_FALSE(IsValidUTF8(kJapaneseSJIS));  // what the records hold is not UTF-8
    char back[64];
    EXPECT_EQ(CheckSJISAndToUFT8(kJapaneseSJIS, back), back);
    EXPECT_STREQ(back, kJapanese);

    // ASCII and UTF-8 pass through; Windows-31J's own characters convert.
    EXPECT_STREQ(CheckSJISAndToUFT8(kJapanese, back), kJapanese);
    EXPECT_STREQ(UTF8ToSJSINS("Flat"), "Flat");
    EXPECT_STREQ(UTF8ToSJSINS("\xE2\x91\xA0"), "\x87\x40");  // circled digit one (NEC row 13)
    EXPECT_EQ(UTF8ToSJSINS("\xFF\xFE"), nullptr);             // not UTF-8
    EXPECT_EQ(UTF8ToSJSINS("\xF0\x9F\x8E\xB5"), nullptr);     // no Shift-JIS form
    EXPECT_EQ(UTF8ToSJSINS(nullptr), nullptr);

    // Neither encoding (a lone lead byte at the end): unchanged.
    EXPECT_STREQ(CheckSJISAndToUFT8("ab\x81", back), "ab\x81");
    // Half-width katakana are single bytes, three each in UTF-8.
    EXPECT_STREQ(CheckSJISAndToUFT8("\xB1\xB2\xB3", back), "\xEF\xBD\xB1\xEF\xBD\xB2\xEF\xBD\xB3");
    // A bounded destination never overflows and never splits a character.
    char tiny[5];
    EXPECT_STREQ(CheckSJISAndToUFT8(kJapaneseSJIS, tiny, sizeof tiny), "\xE6\x97\xA5");
}

TEST(ShiftJIS, NamesAreCutToTheFieldWithoutHalfCharacters)
{
    std::string twelve, mixed = "a";
    for (int i = 0; i < 12; ++i)
        twelve += kOn;
    for (int i = 0; i < 11; ++i)
        mixed += kOn;
    const struct {
        std::string text;
        size_t max, kept;
    } cases[] = {
        {twelve, 23, 22},  // the 23rd byte would start a character: 22 remain
        {mixed, 23, 23},   // ends on a whole character: nothing lost
        {"abcdefghijklmnopqrstuvwxyz0123", 23, 23},
        {"\xB1\xB2\xB3", 2, 2},  // half-width katakana: one byte each
        {"ab\x89", 23, 2},       // a lead byte without its trail goes
    };
    for (const auto& c : cases) {
        char name[64];
        std::strcpy(name, c.text.c_str());
        EXPECT_EQ(TruncateSJIS(name, c.max), c.kept) << c.text;
        EXPECT_EQ(std::string(name), c.text.substr(0, c.kept));
    }
    // The cut name still converts back to whole characters: eleven of three bytes.
    char utf8[64];
    EXPECT_EQ(std::strlen(CheckSJISAndToUFT8(twelve.substr(0, 22).c_str(), utf8)), 33u);
    EXPECT_TRUE(IsValidUTF8(utf8));
}

TEST(UTF8Validation, RejectsMalformedSequences)
{
    EXPECT_TRUE(IsValidUTF8(""));
    EXPECT_TRUE(IsValidUTF8(kJapanese));
    for (const char* bad : {"\xC0\xAF", "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xE6\x97", "\xE0\x80\xAF"})
        EXPECT_FALSE(IsValidUTF8(bad)) << bad;  // overlong, surrogate, too high, cut short
    EXPECT_FALSE(IsValidUTF8(nullptr));
}
