#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <string>

#include "ParamMap.h"
#include "ProgramFile.h"
#include "TestFiles.h"

namespace {

using Bank = std::array<AGraEQProgram, kNumPrograms>;

// Normalised values as the import stores them.
float Gain(double dB) { return ValToNormalizeValue(kParamGainFirst, static_cast<float>(dB)); }
float Q(double q) { return ValToNormalizeValue(kParamQFirst, static_cast<float>(q)); }

// A body line: the Input field, 15 gains, 15 Qs (16.16), one trailing field.
std::string Body(const double gains[15], double q)
{
    std::string s = "65536";
    for (int b = 0; b < 15; ++b)
        s += "\t" + std::to_string(static_cast<long>(gains[b] * 65536));
    for (int b = 0; b < 15; ++b)
        s += "\t" + std::to_string(static_cast<long>(q * 65536));
    return s + "\t0";
}

const std::string kPrgHeader = "ZNT5.0 EFFECT PRG FILE\r\n", kListHeader = "ZNT5.0 EFFECT PROGRAM LIST\r\n";

}  // namespace

TEST(ProgramFile, TabSeparatedFieldsStayInBounds)
{
    // StrTerminateTab: the field, and the offset after its tab (-1 at the end).
    char field[kFieldBufferSize], small[4];
    const struct {
        const char* text;
        int offset, next;
        const char* field;
    } tabs[] = {{"a\tb", 0, 2, "a"},  {"a\tb", 2, -1, "b"}, {"\t\tx", 0, 1, ""},
                {"a\tb", -1, -1, ""}, {"a\tb", 50, -1, ""},  {nullptr, 0, -1, ""}};
    for (const auto& t : tabs) {
        EXPECT_EQ(StrTerminateTab(t.text, t.offset, field), t.next) << t.offset;
        EXPECT_STREQ(field, t.field);
    }
    // A field longer than the working copy, or than the destination, is cut.
    EXPECT_EQ(StrTerminateTab((std::string(6000, '7') + "\t1").c_str(), 0, field), -1);
    EXPECT_EQ(std::strlen(field), kFieldBufferSize - 1);
    EXPECT_EQ(StrTerminateTab("12345\t6", 0, small, sizeof small), 6);
    EXPECT_STREQ(small, "123");
}

TEST(ProgramFile, BodyLineOfValidFilesFirstLineOfOthers)
{
    TempDir dir;
    const struct {
        std::string bytes, body;
    } cases[] = {
        {kPrgHeader + "1\t2\t3\r\nignored\n", "1\t2\t3"},
        {"ZNT5.0 EFFECT PROGRAM LIST\n1\t2\n", "ZNT5.0 EFFECT PROGRAM LIST"},
        {kPrgHeader + std::string(900, '9') + "\n", std::string(500, '9')},  // the body is cut at 500 bytes
        {std::string(300, 'j'), std::string(80, 'j')},                       // the first line at 80
        {"", ""},
        {"ZNT5.0 EFFECT PRG FILE", ""},
    };
    char body[kPGMBodySize] = "previous";
    EXPECT_FALSE(LoadPGMFileBody((dir / "missing.PGM").c_str(), body));
    EXPECT_STREQ(body, "previous");
    for (const auto& c : cases) {
        WriteFile(dir / "p.PGM", c.bytes);
        ASSERT_TRUE(LoadPGMFileBody((dir / "p.PGM").c_str(), body));
        EXPECT_EQ(std::string(body), c.body) << c.bytes.substr(0, 30);
    }
}

TEST(ProgramFile, FieldRulesOfTheOldFormat)
{
    const AGraEQProgram flat;
    AGraEQProgram rec;
    // Input field, then one gain, then the trailing field: only index 3.
    ParsePGMBody("0\t65536\t131072", rec);
    EXPECT_FLOAT_EQ(rec.fValue[3], Gain(1.0));
    EXPECT_EQ(std::memcmp(rec.fValue + 4, flat.fValue + 4, sizeof(float) * (kNumParams - 4)), 0);
    EXPECT_EQ(rec.fValue[kParamInput], flat.fValue[kParamInput]);

    // An empty field (or one starting with a space) repeats the number.
    rec = AGraEQProgram();
    ParsePGMBody("0\t-786432\t\t x\t0", rec);
    for (int k : {3, 4, 5})
        EXPECT_FLOAT_EQ(rec.fValue[k], 0.0f) << k;  // -12 dB, the bottom

    // Garbage and out-of-range numbers end up bounded to the range.
    rec = AGraEQProgram();
    ParsePGMBody("x\tabc\t99999999999999999999\t-99999999999999999999\t1e9\tend", rec);
    EXPECT_FLOAT_EQ(rec.fValue[3], Gain(0.0));  // "abc" reads as 0
    EXPECT_FLOAT_EQ(rec.fValue[4], 1.0f);
    EXPECT_FLOAT_EQ(rec.fValue[5], 0.0f);
    EXPECT_FLOAT_EQ(rec.fValue[6], Gain(1.0 / 65536));  // "1e9" reads as 1

    // A full line sets 3..32 and nothing beyond, however many fields follow.
    double gains[15];
    for (int b = 0; b < 15; ++b)
        gains[b] = b - 7;
    std::string line = Body(gains, 2.0);
    for (int i = 0; i < 100; ++i)
        line += "\t65536";
    rec = AGraEQProgram();
    ParsePGMBody(line.c_str(), rec);
    for (int b = 0; b < 15; ++b) {
        EXPECT_FLOAT_EQ(rec.fValue[kParamGainFirst + b], Gain(b - 7)) << b;
        EXPECT_FLOAT_EQ(rec.fValue[kParamQFirst + b], Q(2.0)) << b;
    }
    EXPECT_STREQ(rec.szName, "Empty");
}

TEST(Convert, ImportsTheFixedListPath)
{
    TempDir dir;
    ScopedCwd here(dir.path);
    ASSERT_TRUE(here.ok);
    // On this platform the fixed names are plain relative file names.
    const std::string list = "D:\\VSTEFX\\EFX\\GraEQ\\PROGRAM.LST", folder = "D:\\VSTEFX\\EFX\\GraEQ\\\\";
    const double bright[15] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, -12, -6, 0};
    const double dark[15] = {-1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1};
    WriteFile(folder + "Bright.PGM", kPrgHeader + Body(bright, 3.0) + "\r\n");
    WriteFile(folder + "Dark.PGM", kPrgHeader + Body(dark, 8.0) + "\n");
    // "Missing" has no file: it takes the previous body again.
    WriteFile(list, kListHeader + "5\r\nBright\r\nDark\r\nMissing\r\n" + std::string(100, 'N'));

    Bank bank;
    bank[0].fValue[kParamOutput] = 0.25f;  // levels and switch are never imported
    EXPECT_EQ(Convert(bank.data(), kNumPrograms), 5);
    EXPECT_STREQ(bank[0].szName, "Bright");
    EXPECT_EQ(bank[0].fValue[kParamOutput], 0.25f);
    EXPECT_EQ(bank[0].fValue[kParamActive], 1.0f);
    for (int b = 0; b < 15; ++b)
        EXPECT_FLOAT_EQ(bank[0].fValue[kParamGainFirst + b], Gain(bright[b])) << b;
    EXPECT_FLOAT_EQ(bank[0].fValue[kParamQFirst + 14], Q(3.0));
    EXPECT_STREQ(bank[1].szName, "Dark");
    EXPECT_FLOAT_EQ(bank[1].fValue[kParamQFirst + 3], Q(8.0));
    EXPECT_STREQ(bank[2].szName, "Missing");
    EXPECT_EQ(std::memcmp(bank[2].fValue, bank[1].fValue, sizeof bank[1].fValue), 0);  // Dark's body again
    // A 100-character last line without a line end: the first 80 bytes were
    // read as the name (cut to the 24-byte field), the other 20 as the next.
    EXPECT_EQ(std::string(bank[3].szName), std::string(23, 'N'));
    EXPECT_EQ(std::string(bank[4].szName), std::string(20, 'N'));
    EXPECT_STREQ(bank[5].szName, "Empty");
}

TEST(Convert, BoundsListsAndRejectsBadHeaders)
{
    TempDir dir;
    const std::string list = dir / "PROGRAM.LST", folder = dir / "";
    WriteFile(folder + "\\P.PGM", kPrgHeader + "0\t65536\t0\n");
    std::string many = kListHeader + "5000\n";
    for (int i = 0; i < 5000; ++i)
        many += "P\n";
    const struct {
        std::string text;
        int filled;
    } cases[] = {
        {many, kNumPrograms},                                  // thousands of entries fill the bank and stop
        {kListHeader + "9\nP\nP\n", 2},                         // the list ends before its count
        {"ZNT5.0 EFFECT PROGRAM LIST, v2\n1\nP\n", 1},          // 26 characters compared
        {"ZNT5.0 EFFECT PROGRAM LIS\n1\nP\n", 0},               // header cut short
        {kListHeader + "0\nP\n", 0},  {kListHeader + "-3\nP\n", 0}, {kListHeader + "many\nP\n", 0},
        {kListHeader, 0},             {"", 0},
    };
    for (const auto& c : cases) {
        WriteFile(list, c.text);
        Bank bank;
        EXPECT_EQ(Convert(bank.data(), kNumPrograms, list.c_str(), folder.c_str()), c.filled) << c.text.substr(0, 40);
        EXPECT_FLOAT_EQ(bank[0].fValue[3], c.filled ? Gain(1.0) : Gain(0.0));
        EXPECT_STREQ(bank[0].szName, c.filled ? "P" : "Empty");
        EXPECT_FLOAT_EQ(bank[31].fValue[3], c.filled == kNumPrograms ? Gain(1.0) : Gain(0.0));
    }
    Bank bank;
    EXPECT_EQ(Convert(bank.data(), kNumPrograms, (dir / "none.LST").c_str(), folder.c_str()), 0);
    EXPECT_EQ(Convert(nullptr, kNumPrograms, list.c_str(), folder.c_str()), 0);
}
