#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "WinStr.h"

TEST(Stricmp, ReturnsTheSignedPositionOfTheFirstDifference)
{
    EXPECT_EQ(stricmp("", ""), 0);
    EXPECT_EQ(stricmp("x", ""), 1);
    EXPECT_EQ(stricmp("", "x"), -1);
    EXPECT_EQ(stricmp("abc", "ABD"), -3);
    EXPECT_EQ(stricmp("ab", "ABC"), -3);
    EXPECT_EQ(stricmp("b", "a"), 1);
    EXPECT_EQ(stricmp("GraEQDef.FXB", "graeqdef.fxb"), 0);
    EXPECT_EQ(stricmp("abcd", "abc"), 4);
    // Only ASCII letters fold; other bytes compare as signed values, so a
    // high byte sorts below ASCII.
    EXPECT_EQ(stricmp("[", "{"), -1);
    EXPECT_EQ(stricmp("\xE9", "a"), -1);
    EXPECT_EQ(stricmp("a\xE9", "aa"), -2);
    EXPECT_EQ(stricmp(nullptr, "a"), -1);
}

TEST(ZeroMemoryAndLeadBytes, Basics)
{
    char buf[6] = {'a', 'b', 'c', 'd', 'e', 'f'};
    ZeroMemory(buf + 1, 3);
    EXPECT_EQ(std::string(buf, 6), std::string("a\0\0\0ef", 6));
    ZeroMemory(buf, -5);  // no-op
    EXPECT_EQ(buf[0], 'a');

    EXPECT_TRUE(IsDBCSLeadByte(0xA0));
    EXPECT_TRUE(IsDBCSLeadByte(0x81));
    EXPECT_TRUE(IsDBCSLeadByte(0xFF));
    EXPECT_FALSE(IsDBCSLeadByte(0x7F));
    EXPECT_FALSE(IsDBCSLeadByte('A'));
}

TEST(LoadString, KnownMissingAndBoundedLookups)
{
    char buf[1024];
    const unsigned n = LoadString(nullptr, 20135, buf, sizeof buf);
    EXPECT_EQ(n, std::strlen(buf));
    EXPECT_NE(std::string(buf).find("%s"), std::string::npos);  // takes the path
    EXPECT_NE(std::string(buf).find("could not be written"), std::string::npos);

    EXPECT_EQ(LoadString(nullptr, 4242, buf, sizeof buf), 4u);
    EXPECT_STREQ(buf, "4242");
    EXPECT_EQ(LoadStringUTF8(nullptr, 0, buf, sizeof buf), 1u);
    EXPECT_STREQ(buf, "0");

    char small[6];
    std::memset(small, 'x', sizeof small);
    EXPECT_EQ(LoadString(nullptr, 20135, small, sizeof small), 5u);
    EXPECT_EQ(small[5], '\0');
    EXPECT_EQ(LoadString(nullptr, 20135, nullptr, 10), ~0u);
    EXPECT_EQ(LoadString(nullptr, 20135, small, 0), ~0u);
}

namespace {
// "日本語の音色" and a twelve-character all-kanji/kana name, in UTF-8.
const char kJapanese[] = "\xE6\x97\xA5\xE6\x9C\xAC\xE8\xAA\x9E\xE3\x81\xAE\xE9\x9F\xB3\xE8\x89\xB2";
const char kJapaneseSJIS[] = "\x93\xFA\x96\x7B\x8C\xEA\x82\xCC\x89\xB9\x90\x46";
}  // namespace

TEST(ShiftJIS, RoundTripsAJapaneseName)
{
    const char* sjis = UTF8ToSJSINS(kJapanese);
    ASSERT_NE(sjis, nullptr);
    EXPECT_STREQ(sjis, kJapaneseSJIS);

    char stored[24] = {};
    std::strncpy(stored, sjis, sizeof stored - 1);
    EXPECT_FALSE(IsValidUTF8(stored));  // what the records hold is not UTF-8

    char back[64];
    EXPECT_EQ(CheckSJISAndToUFT8(stored, back), back);
    EXPECT_STREQ(back, kJapanese);

    // ASCII and valid UTF-8 pass through unchanged.
    EXPECT_STREQ(CheckSJISAndToUFT8("Vocal Presence", back), "Vocal Presence");
    EXPECT_STREQ(CheckSJISAndToUFT8(kJapanese, back), kJapanese);
    EXPECT_STREQ(UTF8ToSJSINS("Flat"), "Flat");
}

TEST(ShiftJIS, WindowsCharactersAndFailures)
{
    // NEC row 13 and IBM extensions exist only in Windows-31J: the circled
    // digit one is 0x8740 there.
    const char* circled = UTF8ToSJSINS("\xE2\x91\xA0");
    ASSERT_NE(circled, nullptr);
    EXPECT_STREQ(circled, "\x87\x40");

    EXPECT_EQ(UTF8ToSJSINS("\xFF\xFE"), nullptr);          // not UTF-8
    EXPECT_EQ(UTF8ToSJSINS("\xF0\x9F\x8E\xB5"), nullptr);  // no Shift-JIS form
    EXPECT_EQ(UTF8ToSJSINS(nullptr), nullptr);

    // Neither UTF-8 nor Shift-JIS (a lone lead byte at the end): unchanged.
    char out[16];
    EXPECT_STREQ(CheckSJISAndToUFT8("ab\x81", out), "ab\x81");
    // A bounded destination never overflows and never splits a character.
    char tiny[5];
    CheckSJISAndToUFT8(kJapaneseSJIS, tiny, sizeof tiny);
    EXPECT_STREQ(tiny, "\xE6\x97\xA5");
}

TEST(ShiftJIS, NamesAreCutToTheFieldWithoutHalfCharacters)
{
    // Twelve two-byte characters: 24 bytes, one too many for 23; the 23rd
    // byte would start a character, so 22 bytes remain.
    std::string twelve;
    for (int i = 0; i < 12; ++i)
        twelve += "\x89\xB9";  // 音
    char name[64];
    std::strcpy(name, twelve.c_str());
    EXPECT_EQ(TruncateSJIS(name, 23), 22u);
    EXPECT_EQ(std::string(name), twelve.substr(0, 22));

    // One ASCII letter then eleven two-byte characters: exactly 23 bytes,
    // ending on a whole character, so nothing is lost.
    std::string mixed = "a";
    for (int i = 0; i < 11; ++i)
        mixed += "\x89\xB9";
    std::strcpy(name, mixed.c_str());
    EXPECT_EQ(TruncateSJIS(name, 23), 23u);

    // A 30-byte ASCII name keeps its first 23 bytes.
    std::strcpy(name, "abcdefghijklmnopqrstuvwxyz0123");
    EXPECT_EQ(TruncateSJIS(name, 23), 23u);
    EXPECT_STREQ(name, "abcdefghijklmnopqrstuvw");

    // Half-width katakana are single bytes, and three bytes each in UTF-8.
    std::strcpy(name, "\xB1\xB2\xB3");
    char kana[16];
    EXPECT_STREQ(CheckSJISAndToUFT8(name, kana), "\xEF\xBD\xB1\xEF\xBD\xB2\xEF\xBD\xB3");
    EXPECT_EQ(TruncateSJIS(name, 2), 2u);

    // The cut name still converts back to whole characters.
    std::strcpy(name, twelve.c_str());
    TruncateSJIS(name, 23);
    char utf8[64];
    CheckSJISAndToUFT8(name, utf8);
    EXPECT_TRUE(IsValidUTF8(utf8));
    EXPECT_EQ(std::strlen(utf8), 33u);  // eleven three-byte characters
}

TEST(UTF8Validation, RejectsMalformedSequences)
{
    EXPECT_TRUE(IsValidUTF8(""));
    EXPECT_TRUE(IsValidUTF8(kJapanese));
    EXPECT_FALSE(IsValidUTF8("\xC0\xAF"));          // overlong "/"
    EXPECT_FALSE(IsValidUTF8("\xED\xA0\x80"));      // surrogate
    EXPECT_FALSE(IsValidUTF8("\xF4\x90\x80\x80"));  // above U+10FFFF
    EXPECT_FALSE(IsValidUTF8("\xE6\x97"));          // cut short
    EXPECT_FALSE(IsValidUTF8(nullptr));
}
