#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <set>
#include <string>

#include "CFile.h"
#include "CFileFind.h"
#include "FileName.h"

namespace {

class TempDir {
public:
    TempDir()
    {
        char tmpl[] = "/tmp/graphiceq-files-XXXXXX";
        path_ = mkdtemp(tmpl);
    }
    ~TempDir() { std::system(("rm -rf '" + path_ + "'").c_str()); }
    std::string operator/(const std::string& name) const { return path_ + "/" + name; }
    const std::string& path() const { return path_; }

private:
    std::string path_;
};

void WriteFile(const std::string& path, const std::string& bytes)
{
    std::ofstream(path, std::ios::binary) << bytes;
}

std::string ReadFile(const std::string& path)
{
    std::ifstream f(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(f), {});
}

off_t FileSize(const std::string& path)
{
    struct stat st;
    return stat(path.c_str(), &st) == 0 ? st.st_size : -1;
}

}  // namespace

TEST(FileName, UrlStringsAndPlainPaths)
{
    char out[kMaxFilePath];
    ASSERT_TRUE(FileNameToPosixPath("/tmp/a b%20c", out, sizeof out));
    EXPECT_STREQ(out, "/tmp/a b%20c");  // plain paths are used unchanged
    ASSERT_TRUE(FileNameToPosixPath("file:///tmp/a%20b/%E6%97%A5.fxb", out, sizeof out));
    EXPECT_STREQ(out, "/tmp/a b/\xE6\x97\xA5.fxb");
    ASSERT_TRUE(FileNameToPosixPath("file://localhost/x", out, sizeof out));
    EXPECT_STREQ(out, "/x");
    ASSERT_TRUE(FileNameToPosixPath("D:\\VSTEFX\\EFX\\GraEQ\\PROGRAM.LST", out, sizeof out));
    EXPECT_STREQ(out, "D:\\VSTEFX\\EFX\\GraEQ\\PROGRAM.LST");

    EXPECT_FALSE(FileNameToPosixPath("file://server/share/x", out, sizeof out));
    EXPECT_FALSE(FileNameToPosixPath("file:///a%00b", out, sizeof out));  // no NUL smuggling
    EXPECT_FALSE(FileNameToPosixPath("file:///a%zz", out, sizeof out));
    EXPECT_FALSE(FileNameToPosixPath("file:///a%4", out, sizeof out));
    EXPECT_FALSE(FileNameToPosixPath("", out, sizeof out));
    EXPECT_FALSE(FileNameToPosixPath(nullptr, out, sizeof out));
    const std::string tooLong(kMaxFilePath, 'a');
    EXPECT_FALSE(FileNameToPosixPath(tooLong.c_str(), out, sizeof out));
    EXPECT_STREQ(out, "");

    const CString url = PosixPathToFileURL("/tmp/a b/\xE6\x97\xA5%.fxb");
    EXPECT_STREQ(url, "file:///tmp/a%20b/%E6%97%A5%25.fxb");
    ASSERT_TRUE(FileNameToPosixPath(url, out, sizeof out));
    EXPECT_STREQ(out, "/tmp/a b/\xE6\x97\xA5%.fxb");
}

TEST(CFile, ReadsWritesAndSeeksByPathOrUrl)
{
    TempDir dir;
    const std::string path = dir / "data bin";
    {
        CFile f;
        ASSERT_TRUE(f.Open(PosixPathToFileURL(path.c_str()), CFile::modeCreate | CFile::modeWrite));
        f.Write("0123456789", 10);
        EXPECT_EQ(f.GetLength(), 10u);
    }
    EXPECT_EQ(ReadFile(path), "0123456789");

    CFile f(path.c_str(), CFile::typeBinary);
    ASSERT_TRUE(f.IsOpen());
    char buf[8] = {};
    EXPECT_EQ(f.Read(buf, 4), 4u);
    EXPECT_EQ(std::string(buf), "0123");
    EXPECT_EQ(f.Seek(2, CFile::current), 6);
    EXPECT_EQ(f.Seek(0, 3), 6);  // unknown origin: no move
    EXPECT_EQ(f.Seek(-1, CFile::end), 9);
    EXPECT_EQ(f.GetPosition(), 9u);
    EXPECT_EQ(f.GetLength(), 10u);
    EXPECT_EQ(f.GetPosition(), 9u);  // GetLength puts the position back
    EXPECT_EQ(f.Read(buf, 8), 1u);   // short read: only the count tells
    f.Close();
    f.Close();  // twice is harmless

    // A closed file answers zeros and ignores writes.
    EXPECT_EQ(f.Read(buf, 4), 0u);
    EXPECT_EQ(f.Seek(0, CFile::begin), 0);
    EXPECT_EQ(f.GetLength(), 0u);
    f.Write("x", 1);

    EXPECT_FALSE(f.Open((dir / "missing").c_str(), 0));
    EXPECT_FALSE(f.Open("file://elsewhere/x", 0));
}

TEST(CFile, WriteAndReadWriteFlagsTruncate)
{
    TempDir dir;
    const std::string path = dir / "hundred";
    WriteFile(path, std::string(100, 'x'));
    {
        CFile f(path.c_str(), 0x1001);
        ASSERT_TRUE(f.IsOpen());
        EXPECT_EQ(FileSize(path), 0);
    }
    WriteFile(path, std::string(100, 'x'));
    {
        CFile f(path.c_str(), CFile::modeReadWrite);
        ASSERT_TRUE(f.IsOpen());
        EXPECT_EQ(FileSize(path), 0);
        f.Write("ab", 2);
        EXPECT_EQ(f.Seek(0, CFile::begin), 0);
        char c[3] = {};
        EXPECT_EQ(f.Read(c, 2), 2u);
        EXPECT_STREQ(c, "ab");
    }
    // Create replaces even a file we may not write (it deletes first).
    WriteFile(path, "old");
    chmod(path.c_str(), 0444);
    {
        CFile f(path.c_str(), CFile::modeCreate | CFile::modeWrite);
        EXPECT_TRUE(f.IsOpen());
        f.Write("new", 3);
    }
    EXPECT_EQ(ReadFile(path), "new");
    CFile::Remove(path.c_str());
    EXPECT_EQ(FileSize(path), -1);
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
    EXPECT_FALSE(find.IsDots());
    EXPECT_FALSE(find.FindNextFile());

    // "*.PGM" is the empty prefix: every visible entry, whatever its name.
    std::set<std::string> seen;
    ASSERT_TRUE(find.FindFile((dir / "*.PGM").c_str()));
    do {
        seen.insert(std::string(find.GetFileName()));
        if (std::string(find.GetFileName()) == "sub") {
            EXPECT_TRUE(find.MatchesMask(CFileFind::FILE_ATTRIBUTE_DIRECTORY));
            EXPECT_EQ(find.GetLength(), 0u);
        }
        EXPECT_EQ(std::string(find.GetFilePath()), dir / std::string(find.GetFileName()));
    } while (find.FindNextFile());
    EXPECT_EQ(seen, (std::set<std::string>{"GraEQDef.fxb", "Flat.PGM", "sub"}));

    // "Fl*.x" cuts at the star: prefix "Fl".
    ASSERT_TRUE(find.FindFile((dir / "Fl*.x").c_str()));
    EXPECT_STREQ(find.GetFileName(), "Flat.PGM");

    EXPECT_FALSE(find.FindFile((dir / ".hidden.PGM").c_str()));
    EXPECT_FALSE(find.FindFile((dir / "nothing").c_str()));
    EXPECT_FALSE(find.FindFile("/no/such/folder/x"));
    EXPECT_FALSE(find.FindNextFile());
    EXPECT_STREQ(find.GetFileName(), "");
    find.Close();
    EXPECT_FALSE(find.MatchesMask(~0u));
}
