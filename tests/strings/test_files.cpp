#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <set>
#include <string>

#include "CFile.h"
#include "CFileFind.h"
#include "FileName.h"
#include "TestFiles.h"

TEST(FileName, UrlStringsAndPlainPaths)
{
    const struct {
        const char *in, *out;  // out null: rejected
    } cases[] = {
        {"/tmp/a b%20c", "/tmp/a b%20c"},  {"D:\\GraEQ\\PROGRAM.LST", "D:\\GraEQ\\PROGRAM.LST"},  // unchanged
        {"file:///tmp/a%20b/%E6%97%A5.fxb", "/tmp/a b/\xE6\x97\xA5.fxb"}, {"file://localhost/x", "/x"},
        {"file://server/share/x", nullptr}, {"file:///a%00b", nullptr},  // no NUL smuggling
        {"file:///a%zz", nullptr},          {"file:///a%4", nullptr},    {"", nullptr}, {nullptr, nullptr},
    };
    char out[kMaxFilePath];
    for (const auto& c : cases) {
        EXPECT_EQ(FileNameToPosixPath(c.in, out, sizeof out), c.out != nullptr) << (c.in ? c.in : "null");
        EXPECT_STREQ(out, c.out ? c.out : "");
    }
    EXPECT_FALSE(FileNameToPosixPath(std::string(kMaxFilePath, 'a').c_str(), out, sizeof out));

    const CString url = PosixPathToFileURL("/tmp/a b/\xE6\x97\xA5%.fxb");
    EXPECT_STREQ(url, "file:///tmp/a%20b/%E6%97%A5%25.fxb");
    ASSERT_TRUE(FileNameToPosixPath(url, out, sizeof out));
    EXPECT_STREQ(out, "/tmp/a b/\xE6\x97\xA5%.fxb");
}

TEST(CFile, ReadsWritesSeeksAndTruncates)
{
    TempDir dir;
    const std::string path = dir / "data bin";
    {
        CFile f;
        ASSERT_TRUE(f.Open(PosixPathToFileURL(path.c_str()), CFile::modeCreate | CFile::modeWrite));
        f.Write("0123456789", 10);
    }
    CFile f(path.c_str(), CFile::typeBinary);
    char buf[8] = {};
    EXPECT_EQ(f.Read(buf, 4), 4u);
    EXPECT_EQ(f.Seek(2, CFile::current), 6);
    EXPECT_EQ(f.Seek(0, 3), 6);  // unknown origin: no move
    EXPECT_EQ(f.Seek(-1, CFile::end), 9);
    EXPECT_EQ(f.GetLength(), 10u);
    EXPECT_EQ(f.GetPosition(), 9u);  // GetLength puts the position back
    EXPECT_EQ(f.Read(buf, 8), 1u);   // short read: only the count tells
    EXPECT_STREQ(buf, "9123");
    f.Close();
    f.Close();  // twice is harmless; a closed file answers zeros
    EXPECT_EQ(f.Read(buf, 4) + f.GetLength(), 0u);
    f.Write("x", 1);
    EXPECT_FALSE(f.Open((dir / "missing").c_str(), 0));
    EXPECT_FALSE(f.Open("file://elsewhere/x", 0));

    // Write-only (0x1001) and read-write both start from an empty file.
    for (unsigned flags : {0x1001u, unsigned(CFile::modeReadWrite)}) {
        WriteFile(path, std::string(100, 'x'));
        CFile w(path.c_str(), flags);
        w.Write("ab", 2);
        EXPECT_EQ(w.GetLength(), 2u) << flags;
    }
    // Create replaces even a file we may not write (it deletes first).
    chmod(path.c_str(), 0444);
    {
        CFile w(path.c_str(), CFile::modeCreate | CFile::modeWrite);
        w.Write("new", 3);
    }
    EXPECT_EQ(ReadFile(path), "new");
    CFile::Remove(path.c_str());
    EXPECT_NE(access(path.c_str(), F_OK), 0);
}

TEST(CFileFind, PrefixSearchSkipsHiddenEntries)
{
    TempDir dir;
    WriteFile(dir / "GraEQDef.fxb", std::string(5280, '\0'));
    WriteFile(dir / ".hidden.PGM", "x");
    WriteFile(dir / "Flat.PGM", "x");
    mkdir((dir / "sub").c_str(), 0755);

    CFileFind find;
    ASSERT_TRUE(find.FindFile(PosixPathToFileURL((dir / "GraEQDef.fxb").c_str())));
    EXPECT_STREQ(find.GetFileName(), "GraEQDef.fxb");
    EXPECT_EQ(find.GetLength(), 5280u);
    EXPECT_FALSE(find.IsDirectory());
    EXPECT_FALSE(find.FindNextFile());

    // "*.PGM" is the empty prefix: every visible entry, whatever its name.
    std::set<std::string> seen;
    ASSERT_TRUE(find.FindFile((dir / "*.PGM").c_str()));
    do {
        const std::string name(find.GetFileName());
        seen.insert(name);
        EXPECT_EQ(find.MatchesMask(CFileFind::FILE_ATTRIBUTE_DIRECTORY), name == "sub");
        EXPECT_EQ(std::string(find.GetFilePath()), dir / name);
    } while (find.FindNextFile());
    EXPECT_EQ(seen, (std::set<std::string>{"GraEQDef.fxb", "Flat.PGM", "sub"}));

    ASSERT_TRUE(find.FindFile((dir / "Fl*.x").c_str()));  // cut at the star: prefix "Fl"
    EXPECT_STREQ(find.GetFileName(), "Flat.PGM");
    EXPECT_FALSE(find.FindFile((dir / ".hidden.PGM").c_str()) || find.FindFile("/no/such/folder/x"));
    EXPECT_FALSE(find.FindNextFile());
    EXPECT_STREQ(find.GetFileName(), "");
}
