#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <string>

#include "ParamMap.h"
#include "ProgramFile.h"
#include "TestFiles.h"

namespace {

using Bank = std::array<AGraEQProgram, kNumPrograms>;

// Normalised value of a band gain in dB, as the import stores it.
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

const char kPrgHeader[] = "ZNT5.0 EFFECT PRG FILE\r\n";
const char kListHeader[] = "ZNT5.0 EFFECT PROGRAM LIST\r\n";

}  // namespace

TEST(StrTerminateTab, SplitsFieldsAndReportsTheNextOffset)
{
    char field[kFieldBufferSize];
    EXPECT_EQ(StrTerminateTab("a\tb", 0, field), 2);
    EXPECT_STREQ(field, "a");
    EXPECT_EQ(StrTerminateTab("a\tb", 2, field), -1);
    EXPECT_STREQ(field, "b");
    EXPECT_EQ(StrTerminateTab("\t\tx", 0, field), 1);
    EXPECT_STREQ(field, "");
    EXPECT_EQ(StrTerminateTab("a\tb", -1, field), -1);
    EXPECT_STREQ(field, "");
    EXPECT_EQ(StrTerminateTab("a\tb", 50, field), -1);  // never reads past the text
    EXPECT_EQ(StrTerminateTab(nullptr, 0, field), -1);

    // A field longer than the working copy and than the destination is cut.
    const std::string huge(6000, '7');
    EXPECT_EQ(StrTerminateTab((huge + "\t1").c_str(), 0, field), -1);  // tab beyond 4099 bytes
    EXPECT_EQ(std::strlen(field), kFieldBufferSize - 1);
    char small[4];
    EXPECT_EQ(StrTerminateTab("12345\t6", 0, small, sizeof small), 6);
    EXPECT_STREQ(small, "123");
}

TEST(Myifstream, LinesBytesAndPositions)
{
    TempDir dir;
    const std::string path = dir / "lines";
    WriteFile(path, "abc\r\nlonger line\nx\r\rlast");

    Myifstream f;
    ASSERT_TRUE(f.open(path.c_str(), 33));
    char buf[16];
    ASSERT_TRUE(f.getline(buf, 10, '\n'));
    EXPECT_STREQ(buf, "abc");  // the CR before LF goes too
    ASSERT_TRUE(f.getline(buf, 6, '\n'));
    EXPECT_STREQ(buf, "longer");  // six bytes stored, terminator at index 6
    ASSERT_TRUE(f.getline(buf, 10, '\n'));
    EXPECT_STREQ(buf, " line");  // the rest of the cut line
    ASSERT_TRUE(f.getline(buf, 10, '\n'));
    EXPECT_STREQ(buf, "x\r\rlast");  // only a CR right before the LF is dropped
    EXPECT_TRUE(f.eof());
    EXPECT_FALSE(f.getline(buf, 10, '\n'));
    EXPECT_STREQ(buf, "");
    ASSERT_TRUE(f.getline(buf, 0, '\n'));
    EXPECT_STREQ(buf, "");

    f.seekg(1, 0);
    EXPECT_EQ(f.tellg(), 1);
    EXPECT_EQ(f.get(), 'b');
    f.seekg(-4, 2);
    EXPECT_TRUE(f.read(buf, 4));
    EXPECT_EQ(std::string(buf, 4), "last");
    EXPECT_FALSE(f.read(buf, 1));
    f.seekg(0, 0);
    EXPECT_TRUE(f.get(buf, 4));
    EXPECT_STREQ(buf, "abc");
    EXPECT_TRUE(f.getline(buf, 10, 'g'));  // another delimiter: no CR rule
    EXPECT_STREQ(buf, "\r\nlon");
    f.close();
    EXPECT_EQ(f.get(), 0);

    Myifstream missing;
    EXPECT_FALSE(missing.open((dir / "none").c_str(), 33));
    EXPECT_EQ(missing.rdstate() & Myifstream::failbit, Myifstream::failbit);
    EXPECT_TRUE(missing.fail());
    EXPECT_TRUE(missing.eof());

    // out | trunc creates a file to write.
    Myifstream out;
    ASSERT_TRUE(out.open((dir / "new").c_str(), Myifstream::out | Myifstream::trunc | Myifstream::binary));
    out.Write("hi", 2);
    out.close();
    EXPECT_EQ(ReadFile(dir / "new"), "hi");
}

TEST(Myistrstream, WordsAndCharacters)
{
    const char text[] = "  one\ttwo  x";
    Myistrstream s(text, sizeof text - 1);
    char word[8];
    s >> word;
    EXPECT_STREQ(word, "one");
    EXPECT_FALSE(s.eof());
    s >> word;
    EXPECT_STREQ(word, "two");
    char c = '?';
    s >> c;
    EXPECT_EQ(c, 'x');
    EXPECT_TRUE(s.eof());
    s >> c;
    EXPECT_EQ(c, '\0');

    Myistrstream longWord("abcdefghijkl next", 17);
    char small[4];
    longWord >> small;
    EXPECT_STREQ(small, "abc");  // cut, and the rest of the word skipped
    longWord >> word;
    EXPECT_STREQ(word, "next");

    Myistrstream empty(nullptr, 5);
    EXPECT_TRUE(empty.eof());
    Myistrstream partial("ab\0cd", 5);  // an embedded NUL ends the text
    partial >> word;
    EXPECT_STREQ(word, "ab");
    EXPECT_TRUE(partial.eof());
}

TEST(LoadPGMFileBody, DataLineOfValidFilesFirstLineOfOthers)
{
    TempDir dir;
    char body[kPGMBodySize];
    std::strcpy(body, "previous");
    EXPECT_FALSE(LoadPGMFileBody((dir / "missing.PGM").c_str(), body));
    EXPECT_STREQ(body, "previous");

    WriteFile(dir / "ok.PGM", std::string(kPrgHeader) + "1\t2\t3\r\nignored\n");
    ASSERT_TRUE(LoadPGMFileBody((dir / "ok.PGM").c_str(), body));
    EXPECT_STREQ(body, "1\t2\t3");

    WriteFile(dir / "other.PGM", "ZNT5.0 EFFECT PROGRAM LIST\n1\t2\n");
    ASSERT_TRUE(LoadPGMFileBody((dir / "other.PGM").c_str(), body));
    EXPECT_STREQ(body, "ZNT5.0 EFFECT PROGRAM LIST");

    // An over-long body is cut at 500 bytes; an over-long first line at 80.
    WriteFile(dir / "long.PGM", std::string(kPrgHeader) + std::string(900, '9') + "\n");
    ASSERT_TRUE(LoadPGMFileBody((dir / "long.PGM").c_str(), body));
    EXPECT_EQ(std::strlen(body), 500u);
    WriteFile(dir / "junk.PGM", std::string(300, 'j'));
    ASSERT_TRUE(LoadPGMFileBody((dir / "junk.PGM").c_str(), body));
    EXPECT_EQ(std::strlen(body), 80u);
    WriteFile(dir / "empty.PGM", "");
    ASSERT_TRUE(LoadPGMFileBody((dir / "empty.PGM").c_str(), body));
    EXPECT_STREQ(body, "");
    WriteFile(dir / "headonly.PGM", "ZNT5.0 EFFECT PRG FILE");
    ASSERT_TRUE(LoadPGMFileBody((dir / "headonly.PGM").c_str(), body));
    EXPECT_STREQ(body, "");
}

TEST(ParsePGMBody, FieldRulesOfTheOldFormat)
{
    AGraEQProgram rec;
    const AGraEQProgram flat;

    // Input field, then one gain, then the trailing field: only index 3.
    ParsePGMBody("0\t65536\t131072", rec);
    EXPECT_FLOAT_EQ(rec.fValue[3], Gain(1.0));
    EXPECT_EQ(rec.fValue[4], flat.fValue[4]);
    EXPECT_EQ(rec.fValue[kParamInput], flat.fValue[kParamInput]);

    // An empty field (or one starting with a space) repeats the number.
    rec = AGraEQProgram();
    ParsePGMBody("0\t-786432\t\t x\t0", rec);
    EXPECT_FLOAT_EQ(rec.fValue[3], Gain(-12.0));
    EXPECT_FLOAT_EQ(rec.fValue[3], 0.0f);
    EXPECT_FLOAT_EQ(rec.fValue[4], Gain(-12.0));
    EXPECT_FLOAT_EQ(rec.fValue[5], Gain(-12.0));

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
    EXPECT_EQ(std::strcmp(rec.szName, "Empty"), 0);
}

TEST(Convert, ImportsTheFixedListPath)
{
    TempDir dir;
    ScopedCwd here(dir.path());
    ASSERT_TRUE(here.ok());
    // On this platform the fixed names are plain relative file names.
    const std::string list = "D:\\VSTEFX\\EFX\\GraEQ\\PROGRAM.LST";
    const std::string folder = "D:\\VSTEFX\\EFX\\GraEQ\\\\";

    double gainsA[15] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, -12, -6, 0};
    double gainsB[15] = {-1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1};
    WriteFile(folder + "Bright.PGM", std::string(kPrgHeader) + Body(gainsA, 3.0) + "\r\n");
    WriteFile(folder + "Dark.PGM", std::string(kPrgHeader) + Body(gainsB, 8.0) + "\n");
    // "Missing" has no file: it takes the previous body again.
    const std::string longName(100, 'N');
    WriteFile(list, std::string(kListHeader) + "5\r\nBright\r\nDark\r\nMissing\r\n" + longName + "\r\n");

    Bank bank;
    bank[0].fValue[kParamOutput] = 0.25f;  // levels and switch are never imported
    EXPECT_EQ(Convert(bank.data(), kNumPrograms), 5);
    EXPECT_STREQ(bank[0].szName, "Bright");
    EXPECT_EQ(bank[0].fValue[kParamOutput], 0.25f);
    EXPECT_EQ(bank[0].fValue[kParamActive], 1.0f);
    EXPECT_FLOAT_EQ(bank[0].fValue[kParamGainFirst + 0], Gain(1));
    EXPECT_FLOAT_EQ(bank[0].fValue[kParamGainFirst + 11], Gain(12));
    EXPECT_FLOAT_EQ(bank[0].fValue[kParamGainFirst + 12], Gain(-12));
    EXPECT_FLOAT_EQ(bank[0].fValue[kParamQFirst + 14], Q(3.0));
    EXPECT_STREQ(bank[1].szName, "Dark");
    EXPECT_FLOAT_EQ(bank[1].fValue[kParamQFirst + 3], Q(8.0));
    EXPECT_STREQ(bank[2].szName, "Missing");
    EXPECT_FLOAT_EQ(bank[2].fValue[kParamQFirst + 3], Q(8.0));  // Dark's body again
    // A 100-character line: the first 80 bytes were read as the name (cut to
    // the 24-byte field), the other 20 as the next name.
    EXPECT_EQ(std::string(bank[3].szName), std::string(23, 'N'));
    EXPECT_EQ(std::string(bank[4].szName), std::string(20, 'N'));
    EXPECT_STREQ(bank[5].szName, "Empty");
}

TEST(Convert, BoundsListsAndRejectsBadHeaders)
{
    TempDir dir;
    const std::string list = dir / "PROGRAM.LST";
    const std::string folder = dir.path() + "/";
    WriteFile(folder + "\\P.PGM", std::string(kPrgHeader) + "0\t65536\t0\n");

    // Thousands of entries fill the bank and stop there.
    std::string text = std::string(kListHeader) + "5000\n";
    for (int i = 0; i < 5000; ++i)
        text += "P\n";
    WriteFile(list, text);
    Bank bank;
    EXPECT_EQ(Convert(bank.data(), kNumPrograms, list.c_str(), folder.c_str()), kNumPrograms);
    EXPECT_FLOAT_EQ(bank[31].fValue[3], Gain(1.0));

    // A count larger than the names present stops at the end of the list.
    WriteFile(list, std::string(kListHeader) + "9\nP\nP\n");
    bank = Bank();
    EXPECT_EQ(Convert(bank.data(), kNumPrograms, list.c_str(), folder.c_str()), 2);

    const char* bad[] = {
        "ZNT5.0 EFFECT PROGRAM LIS\n1\nP\n",          // header cut short
        "ZNT5.0 EFFECT PROGRAM LIST\n0\nP\n",         // count below 1
        "ZNT5.0 EFFECT PROGRAM LIST\n-3\nP\n",
        "ZNT5.0 EFFECT PROGRAM LIST\nmany\nP\n",
        "ZNT5.0 EFFECT PROGRAM LIST\n",               // no count line
        "",
    };
    for (const char* b : bad) {
        WriteFile(list, b);
        bank = Bank();
        EXPECT_EQ(Convert(bank.data(), kNumPrograms, list.c_str(), folder.c_str()), 0) << b;
        EXPECT_STREQ(bank[0].szName, "Empty") << b;
    }
    EXPECT_EQ(Convert(bank.data(), kNumPrograms, (dir / "none.LST").c_str(), folder.c_str()), 0);
    EXPECT_EQ(Convert(nullptr, kNumPrograms, list.c_str(), folder.c_str()), 0);

    // The header comparison covers its 26 characters only.
    WriteFile(list, "ZNT5.0 EFFECT PROGRAM LIST, v2\n1\nP\n");
    EXPECT_EQ(Convert(bank.data(), kNumPrograms, list.c_str(), folder.c_str()), 1);
}
